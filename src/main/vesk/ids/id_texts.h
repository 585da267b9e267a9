#ifndef VESK_ID_TEXTS_H
#define VESK_ID_TEXTS_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "ids/id_map.h"

namespace vesk {

struct IdTextsOptions {
  std::string input;  ///< a CSV file; "-" is standard input
  std::vector<std::string> columns;
  bool hasHeader = true;
  bool toText = true;  ///< numbers become texts; otherwise texts become numbers
  std::string output;  ///< empty: standard output
};

struct IdTextsResult {
  std::uint64_t rows = 0;
  std::uint64_t replaced = 0;  ///< cells
  std::uint64_t unknown = 0;   ///< numbers from 2^52 on that the map does not have; they are left as they are
  std::string unknownExample;  ///< "NUMBER in line N"
};

/// Replaces the numbers of ids by their texts in columns of a CSV file, or the texts by their numbers. Ids that stay
/// themselves stay here too. Cells are put in quotes where they must be, and blanks around cells are left out.
///
/// Errors: CommandFailure with Status::Data and the line: a row that is no CSV or has another number of cells than the
///         first one, a text that the map does not have, numbers of which the map has none, a missing column.
IdTextsResult replaceIds(IdMap& map, const IdTextsOptions& options, std::ostream& standardOutput);

}  // namespace vesk

#endif  // VESK_ID_TEXTS_H
