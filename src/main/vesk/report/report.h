#ifndef VESK_REPORT_H
#define VESK_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

namespace vesk {

struct ReportOptions {
  std::string groups;             ///< the output name NAME of the group run; empty: none
  std::string energy;             ///< the CSV file of a diffusion; empty: none
  std::vector<std::string> runs;  ///< files of --results-json
  std::string seeds;              ///< one id per line; empty: none
  std::string idMap;              ///< empty: none
  std::string title;              ///< empty: what the page is about
  std::string output;             ///< the page
};

struct ReportResult {
  std::vector<std::string> csvFiles;
  std::vector<std::string> remarks;  ///< doubts, which the page shows too
};

/// The name of a table's CSV file: that of the page without .html, and the name of the table.
std::string csvFileOf(const std::string& page, const std::string& table);

/// Reads the results of analyses and writes a page about them, and each of its tables as a CSV file beside it. Reads
/// NAME_levels.csv and NAME_changes.csv if they exist. The page appears last, when all files are complete.
///
/// Memory: 16 bytes per row of the energy file and per member of a group.
/// Errors: CommandFailure, and nothing is written: Status::Data with the file and the line for an input that is wrong
/// or
///         of another run; Status::Usage for an output that is an input. As OutputFile.
ReportResult makeReport(const ReportOptions& options);

}  // namespace vesk

#endif  // VESK_REPORT_H
