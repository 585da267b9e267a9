#ifndef VESK_DAY_DAY_REPORT_H
#define VESK_DAY_DAY_REPORT_H

#include <iosfwd>
#include <string>
#include <vector>

#include "command.h"
#include "day/ledger.h"
#include "files/dataset_card.h"

namespace vesk {

/// What a run tells about itself, for people and as JSON.
struct DayReport {
  Status status = Status::Done;
  std::string message;  ///< why it ended, "" for a day that was loaded
  std::string state;    ///< folder
  LedgerLine line;      ///< as far as the run came
  std::vector<std::string> remarks;
  std::string rejects;  ///< path of the refused lines, "" for none
  std::vector<vesk_files::CardFile> files;  ///< those of the state and of the dataset

  /// JSON with the members status, message, state, rejects, remarks, files and ledger.
  std::string json() const;
};

/// What a generation's report holds for the runs after it.
struct StoredReport {
  LedgerLine line;
  std::vector<vesk_files::CardFile> files;
};

/// Reads the report of a generation. Errors: std::runtime_error with the file and what is wrong.
StoredReport readStoredReport(const std::string& path);

/// The table of causes, and the counts of a day that was loaded.
void printDay(std::ostream& out, const DayReport& report, int horizonDays);

/// The table of refused lines by cause, the most frequent first.
void printRefusals(std::ostream& out, const LedgerLine& line);

/// "12.3 %".
std::string percentText(double share);

/// Now in UTC, YYYY-MM-DDThh:mm:ssZ.
std::string utcNow();

}  // namespace vesk

#endif  // VESK_DAY_DAY_REPORT_H
