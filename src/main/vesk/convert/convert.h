#ifndef VESK_CONVERT_H
#define VESK_CONVERT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "convert/bad_rows.h"
#include "convert/call_values.h"
#include "ids/id_map.h"

namespace vesk {

struct ConvertOptions {
  std::vector<std::string> inputs;  ///< "-" is standard input
  std::string output;

  // A column is the name in the header, or its number from 1; empty: there is none.
  std::string caller;
  std::string callee;
  std::string time;
  std::string duration;
  std::string count;
  std::vector<std::string> payloads;

  std::optional<char> delimiter;  ///< otherwise found in the first line of each file: , ; or tab
  bool hasHeader = true;
  TimeForm timeForm = TimeForm::Auto;
  TimeZoneRule timeZone;
  std::string idMap;  ///< empty: none
  MappedIds mappedIds = MappedIds::Texts;
  std::string rejects;  ///< empty: none
  std::uint64_t rejectsMax = 1000;
  double maxBad = 0.05;  ///< share of the rows
};

/// What became of one input.
struct ConvertedInput {
  std::string name;
  std::string compression;  ///< "plain", "gzip", "zstd"
  char delimiter = ',';
  std::uint64_t rows = 0;  ///< without the header and empty lines
  std::uint64_t emptyLines = 0;
};

struct ConvertResult {
  std::vector<ConvertedInput> inputs;
  std::uint64_t rows = 0;
  std::uint64_t records = 0;
  std::uint32_t firstDate = 0;  ///< yyyymmdd; 0 without a time column
  std::uint32_t lastDate = 0;
  bool hasNewMap = false;
  std::uint64_t addedIds = 0;
  std::uint64_t knownIds = 0;  ///< of the map when it was read
  std::vector<BadRows::Group> badRows;
  std::uint64_t badCount = 0;
};

/// Writes the calls of CSV files as fixed-column records, with the parameter files for the loader beside them.
///
/// The output appears under its name when it is complete, after its parameter files, the reject file and the new ids;
/// without success there is no output, and a map has no new ids. The reject file is also written when there are too
/// many bad rows. The output and the reject file are readable by owner and group.
/// Errors: CommandFailure with Status::Data when more than maxBad of the rows are bad or none is good, for a column
/// that
///         a file does not have and for other files than CSV; what IdMap refuses; std::runtime_error for other
///         failures.
ConvertResult convertCalls(const ConvertOptions& options);

}  // namespace vesk

#endif  // VESK_CONVERT_H
