#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "check/check_report.h"
#include "check/input_check.h"
#include "check/parameter_check.h"
#include "command.h"
#include "day/calendar_day.h"
#include "files/descriptor.h"
#include "files/printable.h"
#include "loader_dates.h"  // of vesk-loader
#include "option_lists.h"

namespace vesk {

namespace {

struct CheckOptions {
  std::string parameters;
  std::string input;
  std::uint64_t lines = 10000;
  std::string recordDates;
  std::string date;
  std::optional<CalendarDay> day;
};

constexpr const char* footer = R"(
Reads, and writes nothing. PARAMS is a parameter file of the loader; INPUT is a record file or a folder of them, plain or
compressed by gzip or zstd. The report shows the fields over the first lines, what is in each field, the dates, which
lines would be loaded and why others would not, and an estimate of memory, disk and time. The findings come last: errors
lead to a run that fails or loads something else than what is meant; remarks are worth to be looked at.
Without --record-dates the form that fits the dates is taken; without --date the last day of the lines.

Exit status: 0 without errors, 3 with errors.

Example:
  vesk check table.xml in --record-dates ymd --date 2026-11-21
)";

std::string readParameters(const std::string& path) {
  if (std::filesystem::is_directory(path)) {
    throw CommandFailure(Status::Data,
                         vesk_files::printable(path) + ": a folder; the parameter file comes first, then the input");
  }
  constexpr std::uint64_t largest = std::uint64_t{1} << 24;
  try {
    return vesk_files::readWholeFile(path, largest);
  } catch (const std::runtime_error& error) {
    throw CommandFailure(Status::Data, error.what());
  }
}

void addFindings(std::vector<ParameterFinding> more, std::vector<ParameterFinding>& findings) {
  std::ranges::move(more, std::back_inserter(findings));
}

/// The form of the dates that the option says, or else the one that fits.
std::int32_t chooseForm(const CheckOptions& options, const DateCounts& counts, CheckResult& result) {
  if (options.recordDates == "ymd") return MonthFirst;
  if (options.recordDates == "ydm") return DayFirst;
  if (options.recordDates == "none" || counts.getLines() == 0) return NoDates;
  const std::int32_t likely = likelyForm(counts);
  const std::int32_t form = likely == NoDates ? MonthFirst : likely;
  const std::string word = form == MonthFirst ? "ymd" : "ydm";
  if (readDates(counts, form).days == 0) return form;  // no form fits: other findings say that
  const std::string text = likely == NoDates ? "the dates fit ymd and ydm; ymd is taken. Give --record-dates"
                                             : "the dates fit " + word + "; run with --record-dates " + word;
  result.findings.push_back({false, text, 0, 0});
  return form;
}

/// The day from which the horizon counts.
std::optional<CalendarDay> chooseDay(const CheckOptions& options, const DateCounts& counts, CheckResult& result) {
  if (options.day) {
    result.dayText = options.day->iso();
    return options.day;
  }
  const DateReading reading = readDates(counts, result.dates.format);
  if (reading.days == 0) return std::nullopt;
  result.dayText = isoText(reading.last) + ", the last day of these lines";
  return CalendarDay::parse(isoText(reading.last));
}

void checkRecords(const CheckOptions& options, CheckResult& result) {
  const vesk_loader::LoaderSettings& settings = result.parameters.settings;
  std::vector<InputFile> files;
  try {
    files = listInput(options.input);
  } catch (const CommandFailure& failure) {
    result.findings.push_back({true, failure.what(), 0, 0});
    return;
  }
  if (settings.dateField >= 0) {
    const InputSample first = sampleInput(settings, files, {}, options.lines);
    result.dates.format = chooseForm(options, first.dates, result);
    if (options.day) result.dates.lastDay = options.day->plusDays(1).number();
    if (result.dates.format != NoDates && settings.dateHorizon >= 0) {
      const auto day = chooseDay(options, first.dates, result);
      if (day) {
        result.dates.cutoff =
            vesk_loader::compute_cutoff_date(day->loaderNumber(), static_cast<std::uint32_t>(settings.dateHorizon));
      }
    }
  }
  result.sample = sampleInput(settings, files, result.dates, options.lines);
  addFindings(findInSample(result.parameters, result.sample, result.dates), result.findings);
  addFindings(findEqualInputs(files), result.findings);
}

void run(const CheckOptions& options, std::ostream& out) {
  CheckResult result;
  result.parameterName = options.parameters;
  result.inputName = options.input;
  result.parameters = checkParameters(readParameters(options.parameters), vesk_files::printable(options.parameters));
  result.findings = result.parameters.findings;
  checkRecords(options, result);
  out << writeCheckReport(result);
  const auto errors = std::ranges::count_if(result.findings, &ParameterFinding::isError);
  if (errors == 0) return;
  out.flush();
  throw CommandFailure(Status::Data,
                       "the check found " + std::to_string(errors) + (errors == 1 ? " error" : " errors"));
}

void readTexts(CheckOptions& options) {
  if (options.date.empty()) return;
  options.day = CalendarDay::parse(options.date);
  if (!options.day) throw CLI::ValidationError("--date", "[" + options.date + "] is no day in the form YYYY-MM-DD");
}

void addOptions(CLI::App& command, Action& action) {
  auto options = std::make_shared<CheckOptions>();
  command.add_option("PARAMS", options->parameters, "The parameter file of the loader")->required()->type_name("FILE");
  command.add_option("INPUT", options->input, "A record file, or a folder of record files")
      ->required()
      ->type_name("PATH");
  command.add_option("--lines", options->lines, "How many lines are read, shared out among the files")
      ->type_name("N")
      ->check(wholeNumberFrom(1))
      ->capture_default_str();
  command.add_option("--record-dates", options->recordDates, "How the dates of records are written: ymd, ydm or none")
      ->check(CLI::IsMember({"ymd", "ydm", "none"}));
  command.add_option("--date", options->date, "The day of the run, from which the horizon counts")
      ->type_name("YYYY-MM-DD");
  command.footer(footer);
  command.callback([options, &action] {
    readTexts(*options);
    action = [options](std::ostream& out, std::ostream&) { run(*options, out); };
  });
}

}  // namespace

const Command checkCommand = {"", "check", "Checks a parameter file and the first lines of an input", &addOptions};

}  // namespace vesk
