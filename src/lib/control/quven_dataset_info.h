#ifndef QUVEN_DATASET_INFO_H
#define QUVEN_DATASET_INFO_H

// The description of a dataset: a text line for each column, with its name, type and purpose.

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "util/quven_env.h"

namespace dataset_info {

inline constexpr std::size_t MaxLineLength = 1000;  ///< characters without the line end

enum ColumnType : std::int32_t { Numeric = 1, Categorical = 2 };
enum ColumnPurpose : std::int32_t { Explanatory = 1, Target = 2, LineNumber = 3 };

struct Column {
  std::string name;
  std::int32_t type = Numeric;
  std::int32_t purpose = Explanatory;

  bool operator==(const Column&) const = default;
};

/// Reads the lines up to the end of the text; the result is false when the stream fails on the way, with the columns
/// unchanged. Lines of white space only are passed over.
/// Errors: fatal reports, with the columns unchanged: "Unknown attribute type \n", "Unknown attribute purpose \n" (both
///         for a word that is absent, too), and for a line that is too long or holds a fourth word.
[[nodiscard]] bool read(std::istream& text, std::vector<Column>& columns, const QUVENEnvHandle& env);

/// The same without reports: the result is empty, or describes the mistake. A failed read of the stream is one, too.
[[nodiscard]] std::string readFrom(std::istream& text, std::vector<Column>& columns);

/// Writes the lines that read takes, one per column. The stream's state tells whether they were written.
/// Requires: names without white space, of at most MaxLineLength characters together with the words of their line.
void write(std::ostream& out, const std::vector<Column>& columns);

}  // namespace dataset_info

#endif  // QUVEN_DATASET_INFO_H
