#include "day/day_plan.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>

#include "command.h"
#include "day/state_settings.h"
#include "files/printable.h"
#include "files/sha256.h"
#include "loader_dates.h"

namespace vesk {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void refuse(const std::string& text) { throw CommandFailure(Status::Refused, text); }

// "loaded 2026-11-21T02:10:00Z, line 3 of the ledger".
std::string whenLoaded(const LedgerLine& day, const Ledger& ledger) {
  const std::vector<LedgerLine>& lines = ledger.getLines();
  const auto index = static_cast<std::size_t>(&day - lines.data());
  std::string names;
  for (std::size_t i = 0; i < day.inputs.size() && i < 3; ++i) {
    names += (i == 0 ? "" : ", ") + vesk_files::printable(day.inputs[i].name);
  }
  if (day.inputs.size() > 3) names += ", ...";
  return "loaded " + day.finished + " as generation " + day.generation + " from " + names + ", line " +
         std::to_string(index + 1) + " of ledger.jsonl";
}

const LedgerLine* findContent(const DayBase& base, const std::string& hash, const LedgerInput*& found) {
  for (const LedgerLine* const day : base.days) {
    for (const LedgerInput& input : day->inputs) {
      if (input.lines == 0 || (input.contentSha256 != hash && input.sha256 != hash)) continue;
      found = &input;
      return day;
    }
  }
  return nullptr;
}

// Those of the hashes that an input of the state has. Ten thousand files a day make millions of hashes in the ledger,
// so they are passed over once.
std::set<std::string_view> loadedOf(const std::set<std::string_view>& hashes, const DayBase& base) {
  std::set<std::string_view> loaded;
  for (const LedgerLine* const day : base.days) {
    for (const LedgerInput& input : day->inputs) {
      for (const std::string_view hash : {std::string_view(input.sha256), std::string_view(input.contentSha256)}) {
        const auto found = hashes.find(hash);
        if (found != hashes.end()) loaded.insert(*found);
      }
    }
  }
  return loaded;
}

[[noreturn]] void refuseLoaded(const std::string& name, const LedgerInput& before, const LedgerLine& day,
                               const Ledger& ledger) {
  const std::string other = before.name == name ? "" : " under the name " + vesk_files::printable(before.name);
  refuse(vesk_files::printable(name) + ": the same records were loaded already" + other + ": day " + day.date + ", " +
         whenLoaded(day, ledger));
}

// The path as the system resolves it; of a file that is not there yet, its folder's path and its name.
fs::path resolved(const std::string& path) { return fs::weakly_canonical(fs::absolute(path)); }

bool isInside(const fs::path& inner, const fs::path& outer) {
  const auto [end, rest] = std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end());
  return end == outer.end() || (std::next(end) == outer.end() && end->empty());
}

bool isSameFile(const std::string& path, const InputFile& file) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && status.st_dev == file.device && status.st_ino == file.inode;
}

}  // namespace

DayBase chooseBase(const StateFolder& state, const DayOptions& options) {
  const Ledger& ledger = state.getLedger();
  DayBase base{state.getCurrent(), {}};
  if (!base.generation.empty()) {
    base.days = ledger.daysOf(base.generation);
    base.latest = base.days.front();
  }
  const std::string date = options.date.iso();
  const auto same =
      std::find_if(base.days.begin(), base.days.end(), [&](const LedgerLine* day) { return day->date == date; });
  if (same != base.days.end()) {
    const LedgerLine& day = **same;
    if (!options.redo) {
      refuse("the day " + date + " is in the state: " + whenLoaded(day, ledger) + "; --redo takes it back first");
    }
    if (same != base.days.begin()) {
      refuse("the day " + date + " cannot be taken back: later days were loaded after it, the last one " +
             base.days.front()->date + "; go back with --rollback first");
    }
    if (!day.parent.empty() && !state.has(day.parent)) {
      refuse("the day " + date + " cannot be taken back: the generation before it, " + day.parent +
             ", is not kept any more (see --keep)");
    }
    base.generation = day.parent;
    base.days.erase(base.days.begin());
  }
  if (!base.days.empty() && date < base.days.front()->date) {
    refuse("the day " + date + " is before the last one in the state, " + base.days.front()->date + ": " +
           whenLoaded(*base.days.front(), ledger));
  }
  return base;
}

std::string chooseRecordDates(const DayOptions& options, const vesk_loader::LoaderSettings& settings,
                              const DayBase& base) {
  if (!options.recordDates.empty()) return options.recordDates;
  if (settings.dateField < 0) return "none";
  if (base.latest != nullptr) {
    const auto& before = base.latest->settings;
    const auto found = before.find("--record-dates");
    if (found != before.end()) return found->second;
  }
  throw CommandFailure(
      Status::Usage,
      "--record-dates is missing: the parameter file has a DateField; say ymd (20261121), ydm (20262111), "
      "or none if dates are not to be considered");
}

int dateFormatOf(const std::string& recordDates) {
  if (recordDates == "ymd") return 2;
  return recordDates == "ydm" ? 1 : 0;
}

RecordDates datesOf(const vesk_loader::LoaderSettings& settings, const std::string& recordDates,
                    const CalendarDay& day) {
  RecordDates dates;
  dates.format = dateFormatOf(recordDates);
  if (settings.dateField < 0 || dates.format == 0) return dates;
  dates.lastDay = day.plusDays(1).number();  // a file of a day can hold the first calls of the next one
  if (settings.dateHorizon != -1) {
    dates.cutoff =
        vesk_loader::compute_cutoff_date(day.loaderNumber(), static_cast<std::uint32_t>(settings.dateHorizon));
  }
  return dates;
}

void requireSameSettings(const std::map<std::string, std::string>& settings, const DayBase& base) {
  if (base.days.empty()) return;
  const std::string difference = settingsDifference(base.days.front()->settings, settings);
  if (difference.empty()) return;
  refuse("the state was made with other settings, and its numbers would change their meaning. " + difference +
         ". Set the old values, or begin another state with --new");
}

void requireNewInputs(const std::vector<LedgerInput>& inputs, const DayBase& base, const Ledger& ledger) {
  std::set<std::string_view> hashes;
  for (const LedgerInput& input : inputs) hashes.insert(input.contentSha256);
  const std::set<std::string_view> loaded = loadedOf(hashes, base);
  std::map<std::string, std::string> names;
  for (const LedgerInput& input : inputs) {
    if (input.lines == 0) continue;
    const auto [other, isNew] = names.emplace(input.contentSha256, input.name);
    if (!isNew) {
      refuse("the input has the same records twice, as " + vesk_files::printable(other->second) + " and as " +
             vesk_files::printable(input.name));
    }
    if (!loaded.contains(input.contentSha256)) continue;
    const LedgerInput* before = nullptr;
    const LedgerLine* const day = findContent(base, input.contentSha256, before);
    if (day != nullptr) refuseLoaded(input.name, *before, *day, ledger);
  }
}

void requireNewFiles(const std::vector<InputFile>& files, const DayBase& base, const Ledger& ledger) {
  std::set<std::uint64_t> sizes;
  for (const LedgerLine* const day : base.days) {
    for (const LedgerInput& input : day->inputs) sizes.insert(input.bytes);
  }
  std::vector<std::pair<const InputFile*, std::string>> candidates;
  for (const InputFile& file : files) {
    if (file.bytes == 0 || !sizes.contains(file.bytes)) continue;
    candidates.emplace_back(&file, vesk_files::sha256Of(openInput(file)));
  }
  std::set<std::string_view> hashes;
  for (const auto& [file, hash] : candidates) hashes.insert(hash);
  const std::set<std::string_view> loaded = loadedOf(hashes, base);
  for (const auto& [file, hash] : candidates) {
    if (!loaded.contains(hash)) continue;
    const LedgerInput* before = nullptr;
    const LedgerLine* const day = findContent(base, hash, before);
    if (day != nullptr) refuseLoaded(file->name, *before, *day, ledger);
  }
}

void requireSeparatePaths(const DayOptions& options) {
  const fs::path state = resolved(options.state);
  const fs::path input = resolved(options.input);
  const auto usage = [](const std::string& text) { throw CommandFailure(Status::Usage, text); };
  if (isInside(input, state))
    usage("the input " + vesk_files::printable(options.input) + " is inside the state folder");
  if (isInside(state, input))
    usage("the state folder " + vesk_files::printable(options.state) + " is inside the input");
  const std::pair<const char*, const std::string&> outputs[] = {{"--rejects", options.rejects},
                                                                {"--json", options.json}};
  for (const auto& [option, name] : outputs) {
    if (name.empty()) continue;
    const fs::path path = resolved(name);
    if (path == resolved(options.parameters)) usage(std::string(option) + ": would replace the parameter file");
    if (isInside(path, state)) usage(std::string(option) + ": the file is inside the state folder");
    if (isInside(path, input)) usage(std::string(option) + ": the file is a record file, or inside their folder");
  }
  if (!options.rejects.empty() && !options.json.empty() && resolved(options.rejects) == resolved(options.json)) {
    usage("--rejects and --json name the same file");
  }
}

void requireOtherFile(const std::string& rejects, const std::vector<InputFile>& files) {
  for (const InputFile& file : files) {
    if (!rejects.empty() && isSameFile(rejects, file)) {
      throw CommandFailure(Status::Usage, "--rejects: would replace the input " + vesk_files::printable(file.path));
    }
  }
}

}  // namespace vesk
