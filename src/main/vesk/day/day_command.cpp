#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "command.h"
#include "counted.h"
#include "day/day_plan.h"
#include "day/day_run.h"
#include "day/state_folder.h"
#include "day/stop_signal.h"
#include "files/descriptor.h"
#include "files/printable.h"
#include "option_lists.h"

namespace vesk {

namespace {

constexpr const char* footer = R"(
Loads the record files of a day into the state: the whole day or nothing. INPUT is a record file or a folder of them, plain
or compressed with gzip or zstd. STATE is a folder that this program makes and alone writes to. In it, `current` leads to
what the last run made: the process file, the dataset NAME.bin with its card, rejects.csv, loader.log and run.json.

Exit status: 0 the day is loaded; 1 the command line is wrong; 2 refused: loaded already, other settings, locked, no room;
3 the input or the parameter file is wrong; 99 failed. With any other status than 0 the state is what it was.

Examples:
  vesk day table.xml calls/2026-11-21 state --date 2026-11-21 --record-dates ymd --new
  vesk day table.xml calls/2026-11-22 state --date 2026-11-22
  vesk day table.xml calls/2026-11-22-corrected state --date 2026-11-22 --redo
  vesk day --list state
  vesk day --rollback 2026-11-21 state
)";

// The texts of the options as the user gave them.
struct RawOptions {
  DayOptions day;
  std::vector<std::string> places;
  std::string date;
  std::string maxBad = "5%";
  std::string list;
  std::string rollback;
};

CalendarDay readDay(const char* option, const std::string& text) {
  const std::optional<CalendarDay> day = CalendarDay::parse(text);
  if (!day) throw CLI::ValidationError(option, "[" + text + "] is no date of the form YYYY-MM-DD");
  return *day;
}

void requireOutputName(const std::string& name) {
  constexpr const char* allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  const bool isTaken = name == ProcessName || name == "run" || name == "rejects" || name == "records" ||
                       name == "parameters" || name == "loader";
  if (name.empty() || name.size() > 100 || name.find_first_not_of(allowed) != std::string::npos || isTaken) {
    throw CLI::ValidationError("--output",
                               "[" + name +
                                   "] is no name for a dataset: letters, digits, _ and -, no ending, and none of "
                                   "the names that a generation has");
  }
}

// The state has changed by now: a status other than 0 would say that it has not.
void requireShown(std::ostream& out, const std::string& what) {
  if (!out.flush()) throw CommandFailure(Status::Done, what + " cannot be written to standard output");
}

void runAndReport(const DayOptions& options, std::ostream& out, std::ostream& err) {
  requireSeparatePaths(options);
  DayReport report;
  // The status tells of the state, and the report comes after it: what hinders the report is a remark.
  const auto writeJson = [&] {
    if (options.json.empty()) return;
    try {
      vesk_files::replaceFile(options.json, report.json());
    } catch (const std::exception& error) {
      err << "vesk: " << error.what() << "; there is no report of this run\n";
    }
  };
  const auto writeFailure = [&](Status status, const char* message) {
    report.status = status;
    report.message = message;
    report.line.generation.clear();
    writeJson();
  };
  try {
    runDay(options, report, out, err);
  } catch (const CommandFailure& failure) {
    writeFailure(failure.getStatus(), failure.what());
    throw;
  } catch (const std::exception& error) {
    writeFailure(Status::Failed, error.what());
    throw;
  }
  writeJson();
  requireShown(out, "the day is loaded, but its report");
}

void listState(const std::string& path, std::ostream& out) {
  const StateFolder state = StateFolder::forReading(path);
  for (const LedgerLine& line : state.getLedger().getLines()) {
    if (line.action == LedgerLine::Action::Rollback) {
      out << "  " << line.generation << "  rollback from " << line.parent << ", " << line.finished << '\n';
      continue;
    }
    const bool isCurrent = line.generation == state.getCurrent();
    out << (isCurrent ? "* " : "  ") << line.generation << "  " << counted(line.inputs.size(), "file") << ", "
        << counted(line.lines, "line") << ", " << grouped(line.accepted) << " loaded; "
        << counted(line.callers, "caller") << ", " << grouped(line.entries) << " entries; " << line.finished
        << (state.has(line.generation) ? "" : "; not kept") << '\n';
  }
}

void rollbackState(const RawOptions& raw, std::ostream& out, std::ostream& err) {
  const StopSignal stop;
  StateFolder state = StateFolder::forRollback(raw.places.front(), raw.day.waitSeconds);
  for (const std::string& found : state.recover()) err << "vesk: " << found << '\n';
  const std::string generation = state.newestOf(raw.rollback);
  if (generation.empty()) {
    throw CommandFailure(Status::Refused, "no generation of " + raw.rollback + " is kept; vesk day --list " +
                                              raw.places.front() + " shows those that are");
  }
  if (generation == state.getCurrent()) throw CommandFailure(Status::Refused, generation + " is current already");
  for (const std::string& text : state.rollback(generation)) err << "vesk: " << text << '\n';
  out << "generation " << generation << " is current: " << vesk_files::printable(state.getPath()) << "/current\n";
  requireShown(out, "the generation " + generation + " is current, but the report");
}

// Files of a state are for their owner and the group.
void setPermissions() { ::umask(027); }

void chooseAction(const std::shared_ptr<RawOptions>& raw, Action& action) {
  std::erase(raw->places, "");
  if (!raw->list.empty()) {
    if (!raw->places.empty() || !raw->rollback.empty())
      throw CLI::ValidationError("--list", "goes with no other argument");
    action = [raw](std::ostream& out, std::ostream&) { listState(raw->list, out); };
    return;
  }
  if (!raw->rollback.empty()) {
    readDay("--rollback", raw->rollback);
    if (raw->places.size() != 1) throw CLI::ValidationError("--rollback", "needs STATE and no other argument");
    action = [raw](std::ostream& out, std::ostream& err) {
      setPermissions();
      rollbackState(*raw, out, err);
    };
    return;
  }
  if (raw->places.size() != 3) throw CLI::ValidationError("vesk day", "needs PARAMS, INPUT and STATE; see --help");
  DayOptions& day = raw->day;
  day.parameters = raw->places[0];
  day.input = raw->places[1];
  day.state = raw->places[2];
  if (!raw->date.empty()) day.date = readDay("--date", raw->date);
  day.maxBad = readShare("--max-bad", raw->maxBad);
  requireOutputName(day.output);
  if (day.isNew && day.redo) throw CLI::ValidationError("--redo", "a new state has no day to take back");
  action = [raw](std::ostream& out, std::ostream& err) {
    setPermissions();
    runAndReport(raw->day, out, err);
  };
}

void addOptions(CLI::App& command, Action& action) {
  auto raw = std::make_shared<RawOptions>();
  DayOptions& day = raw->day;
  raw->places.resize(3);
  command.add_option("PARAMS", raw->places[0], "Parameter file")->type_name("FILE");
  command.add_option("INPUT", raw->places[1], "Record file, or folder of record files")->type_name("FILE|FOLDER");
  command.add_option("STATE", raw->places[2], "Folder of the state")->type_name("FOLDER");
  command.add_option("--date", raw->date, "The day; without it today")->type_name("YYYY-MM-DD");
  command.add_option("--record-dates", day.recordDates, "How records write a date; without it as the run before")
      ->check(CLI::IsMember({"ymd", "ydm", "none"}));
  command.add_option("--output", day.output, "Name of the dataset")->type_name("NAME")->capture_default_str();
  command.add_option("--max-bad", raw->maxBad, "Share of refused lines up to which the day is loaded")
      ->type_name("SHARE")
      ->capture_default_str();
  command.add_option("--keep", day.keep, "Generations that stay")
      ->type_name("N")
      ->check(CLI::Range(1, 1000000).description(""))
      ->capture_default_str();
  command.add_flag("--new", day.isNew, "Begin a new state");
  command.add_flag("--redo", day.redo, "Take the day back if it is loaded, then load it");
  command.add_flag("--force", day.force, "Run also if memory or disk seem too small, or most of the state is too old");
  command.add_flag_callback(
      "--no-check", [&day] { day.check = false; }, "Do not look at the first lines before the run");
  command.add_option("--wait", day.waitSeconds, "Seconds to wait for a run that has the state")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 1e9).description(""));
  command.add_option("--rejects", day.rejects, "File for the refused lines; without it in the generation")
      ->type_name("FILE");
  command.add_option("--rejects-max", day.rejectsMax, "Refused lines of each cause that are written")
      ->type_name("N")
      ->capture_default_str();
  command.add_option("--json", day.json, "Write the report of the run, also of one that is refused")->type_name("FILE");
  command.add_option("--list", raw->list, "Show the ledger of a state and the generations that are kept")
      ->type_name("STATE");
  command.add_option("--rollback", raw->rollback, "Make the generation of a date current")->type_name("YYYY-MM-DD");
  command.footer(footer);
  command.callback([raw, &action] { chooseAction(raw, action); });
}

}  // namespace

const Command dayCommand = {"", "day", "Loads a day of record files into a state, whole or not at all", &addOptions};

}  // namespace vesk
