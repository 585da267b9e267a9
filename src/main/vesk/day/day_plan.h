#ifndef VESK_DAY_DAY_PLAN_H
#define VESK_DAY_DAY_PLAN_H

#include <map>
#include <string>
#include <vector>

#include "day/day_options.h"
#include "day/ledger.h"
#include "day/state_folder.h"
#include "loader_settings.h"
#include "records/input_list.h"
#include "records/line_examiner.h"

namespace vesk {

/// What a run starts from.
struct DayBase {
  std::string generation;               ///< "": from nothing
  std::vector<const LedgerLine*> days;  ///< that it holds, the newest first
  const LedgerLine* latest = nullptr;   ///< the newest day of the state, also one that is taken back; null: none
};

/// The generation to which the day is added. Errors: CommandFailure (Refused) when the day was loaded, or a later one;
/// the text names the line of the ledger.
DayBase chooseBase(const StateFolder& state, const DayOptions& options);

/// The form of the record dates: that of the command line or of the state. Errors: CommandFailure (Usage) without one.
std::string chooseRecordDates(const DayOptions& options, const vesk_loader::LoaderSettings& settings,
                              const DayBase& base);

/// The loader's number of a form: ymd 2, ydm 1, none 0.
int dateFormatOf(const std::string& recordDates);

/// What the dates of the records must be on the day.
RecordDates datesOf(const vesk_loader::LoaderSettings& settings, const std::string& recordDates,
                    const CalendarDay& day);

/// Errors: CommandFailure (Refused) with the difference, tag by tag.
void requireSameSettings(const std::map<std::string, std::string>& settings, const DayBase& base);

/// Compares inputs that were read with those of the days before and with each other.
/// Errors: CommandFailure (Refused) with the names of both files and the line of the ledger.
void requireNewInputs(const std::vector<LedgerInput>& inputs, const DayBase& base, const Ledger& ledger);

/// The same before the run, for the files that have the size of one that was loaded. Of the others requireNewInputs
/// finds those that hold the same records in another compression.
void requireNewFiles(const std::vector<InputFile>& files, const DayBase& base, const Ledger& ledger);

/// The names on the command line must not lead into each other. Nothing is read.
/// Errors: CommandFailure (Usage).
void requireSeparatePaths(const DayOptions& options);

/// The file of refused lines must be none of the files that are read, under any name.
/// Errors: CommandFailure (Usage).
void requireOtherFile(const std::string& rejects, const std::vector<InputFile>& files);

}  // namespace vesk

#endif  // VESK_DAY_DAY_PLAN_H
