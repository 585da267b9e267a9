#ifndef VESK_DAY_STATE_FOLDER_H
#define VESK_DAY_STATE_FOLDER_H

#include <cstddef>
#include <string>
#include <vector>

#include "day/calendar_day.h"
#include "day/ledger.h"
#include "files/descriptor.h"

namespace vesk {

/// The folder that holds the state from day to day:
///   current          link to the generation that holds
///   generations/ID   what one run has made, ID as in 2026-11-21.1; never changed afterwards
///   ledger.jsonl     one line a run
///   last-failed      log, refused lines and report of the last run that was not committed
///   .work-*          of a run that is under way; a killed one leaves it
///   .old-*           a generation that is being removed
///   .lock
/// A generation becomes current by the rename of the link, so at any moment one whole generation is current.
///
/// Errors: CommandFailure, Refused where the user decides, otherwise Failed; std::runtime_error when a system call
/// fails.
class StateFolder {
 public:
  /// Reads the folder without a lock, for a list.
  static StateFolder forReading(const std::string& path);

  /// Opens and locks the folder; `isNew`: makes it. Waits up to `waitSeconds` for a run that has the lock.
  static StateFolder forRun(const std::string& path, bool isNew, double waitSeconds);

  /// Opens and locks a folder that has a state, also one whose link `current` is missing.
  static StateFolder forRollback(const std::string& path, double waitSeconds);

  /// Removes what killed runs have left, and adds the line that the ledger lacks of the current generation. Returns
  /// what was found, one sentence each. Errors: CommandFailure if the ledger and the generations do not fit together.
  /// Requires: forRun or forRollback.
  std::vector<std::string> recover();

  const std::string& getPath() const { return path; }
  const Ledger& getLedger() const { return ledger; }
  /// The generation that holds; "" in a new state.
  const std::string& getCurrent() const { return current; }
  /// Whether the files of a generation are there.
  bool has(const std::string& generation) const;
  std::string folderOf(const std::string& generation) const;
  /// The newest generation of a date that is there, or "".
  std::string newestOf(const std::string& date) const;
  /// The name of the next generation of a date.
  std::string nextName(const CalendarDay& date) const;

  /// Makes an empty folder for a run and returns its path.
  std::string makeWork();
  /// Syncs the work folder, makes it the generation `line.generation` and current, and writes the line to the ledger.
  /// The state is the new one from the rename of the link on; a failure after it is a remark and no error.
  std::vector<std::string> commit(const std::string& work, const LedgerLine& line);
  /// Keeps log, refused lines and report of a run that ends without a commit, and removes the rest of its folder.
  void abandon(const std::string& work);
  /// Makes an earlier or later generation current. As with commit, a failure after the rename of the link is a remark.
  std::vector<std::string> rollback(const std::string& generation);
  /// Removes all but `keep` generations: the current one and those that it was made from, the newest first, and then
  /// those that were made last.
  void prune(std::size_t keep);

 private:
  explicit StateFolder(std::string folder);
  void lock(double waitSeconds);
  void readContent();
  std::string readCurrent() const;
  void removeLeftovers(std::vector<std::string>& found) const;
  void completeLedger(std::vector<std::string>& found);
  void removeUncommitted(std::vector<std::string>& found) const;
  bool isParentKnown(const std::string& generation) const;
  void requireWhole(const std::string& generation) const;
  void makeCurrent(const std::string& generation);
  void appendToLedger(const LedgerLine& line);
  std::vector<std::string> namesOfGenerations() const;

  std::string path;
  vesk_files::Descriptor lockFile;
  Ledger ledger;
  std::string current;
};

/// Names of files in a generation.
constexpr const char* ProcessName = "process";
constexpr const char* LoaderLogName = "loader.log";
constexpr const char* RejectsName = "rejects.csv";
constexpr const char* RunReportName = "run.json";
constexpr const char* ParametersName = "parameters.xml";

}  // namespace vesk

#endif  // VESK_DAY_STATE_FOLDER_H
