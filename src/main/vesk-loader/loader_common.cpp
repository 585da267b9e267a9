#include "loader_common.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "loader_settings.h"
#include "util/quven_debug.h"

namespace vesk_loader {

namespace {

constexpr std::int32_t majorStep = 0;  // the log level of a step's start and end
constexpr int terminationLine = 41;    // the place that the wrapper knows from every termination report

void print_error(std::int32_t code, std::string_view text) {
  std::printf("Error;|%d;|", code);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputs(";|ErrorEnd\n", stdout);
  std::fflush(stdout);
}

std::string with_parameter(const std::string& parameter, const std::string& text) { return parameter + ";|" + text; }

std::int32_t processVerbosity = 1;

constexpr std::array<const char*, 8> problemTexts = {
    "bad allocation", "negative caller ID",       "conditions don't hold", "number restrictions",
    "dropped date",   "table size limit reached", "parsing problems",      "spacing problems"};

bool is_logged(Problem type) {
  return type != Problem::ConditionFails && type != Problem::RestrictedNumber && type != Problem::DroppedDate &&
         type != Problem::TableLimit;
}

}  // namespace

std::int32_t verbosity() { return processVerbosity; }
void setVerbosity(std::int32_t level) { processVerbosity = level; }

void report_error(std::int32_t code, std::string_view text) {
  print_error(code, text);
  quvenFatalReport("report_error", terminationLine, "loader_common", "QUVEN Terminating");
}

void report_error(std::int32_t code, const std::string& parameter, const std::string& text) {
  report_error(code, std::string_view(with_parameter(parameter, text)));
}

void report_error_and_exit(std::int32_t code, const std::string& text) {
  print_error(code, text);
  std::exit(1);
}

void report_warning(std::int32_t code, const std::string& text) {
  std::printf("Warning;|%d;|", code);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputs(";|WarningEnd\n", stdout);
}

void report_warning(std::int32_t code, const std::string& parameter, const std::string& text) {
  report_warning(code, with_parameter(parameter, text));
}

void report_warning(const std::string& text) { report_warning(1000, text); }

void report_log(std::int32_t level, std::string_view text) {
  std::printf("Log;|%d;|", level);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputs(";|LogEnd\n", stdout);
  if (level == majorStep) std::fflush(stdout);
}

void print_line(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
}

void flush_reports() { std::fflush(stdout); }

std::string format_text(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(static_cast<std::size_t>(length < 0 ? 0 : length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}

ScanStatistics& scan_statistics() {
  static ScanStatistics statistics;
  return statistics;
}

void start_new_file_statistics(ScanStatistics& statistics, const std::string& fileName,
                               const std::vector<std::string>& operationNames) {
  auto record = std::make_unique<FileStatistics>();
  record->fileName = fileName;
  record->index = static_cast<std::int32_t>(statistics.fileRecords.size());
  record->operationNames = operationNames;
  record->operationCount = static_cast<std::int32_t>(operationNames.size());
  record->firstProblemLine.assign(operationNames.size(), -1);
  record->problemLines.assign(operationNames.size(), 0);
  record->restrictedNumbers.assign(operationNames.size(), 0);
  record->conditions.assign(operationNames.size(), 0);
  statistics.currentFile = record->index;
  statistics.fileRecords.push_back(std::move(record));
}

void report_problem(ScanStatistics& statistics, Problem type, std::uint32_t line, std::int32_t operation) {
  const auto number = static_cast<std::int32_t>(type);
  const bool known = number >= 0 && number < static_cast<std::int32_t>(problemTexts.size());
  if (verbosity() > 0 && known && is_logged(type)) {
    report_log(1, format_text("%s, line number %u\n", problemTexts[static_cast<std::size_t>(number)], line));
  }
  FileStatistics& record = statistics.current();
  const auto index = static_cast<std::size_t>(operation);
  switch (type) {
    case Problem::NegativeCaller:
      ++record.negativeCallers;
      break;
    case Problem::ConditionFails:
      if (operation < 0) report_error(1001, "bug: nopeation should be provided\n");
      ++record.conditions[index];
      break;
    case Problem::RestrictedNumber:
      if (operation < 0) report_error(1001, "bug: noperation should be provided\n");
      ++record.restrictedNumbers[index];
      return;
    case Problem::DroppedDate:
      ++record.date;
      break;
    case Problem::TableLimit:
      ++record.tableLimitCount;
      return;
    case Problem::Parsing:
      ++record.parsing;
      break;
    case Problem::Spacing:
      ++record.spacing;
      break;
    default:
      report_error(1001, "illegal problem type (should not have got here!)\n");
  }
  record.problemsFound = true;
  ++record.linesOmitted;
  if (operation >= 0) {
    if (record.firstProblemLine[index] < 0) record.firstProblemLine[index] = static_cast<std::int32_t>(line);
    ++record.problemLines[index];
  }
}

void print_scan_statistics(const ScanStatistics& statistics) {
  for (const auto& record : statistics.fileRecords) {
    std::string text = "Stats for file: " + record->fileName + "\n";
    if (!record->problemsFound) {
      text += format_text("%u lines scanned, no problem found \n", record->linesScanned);
    } else {
      text += format_text(
          "%u lines are scanned, %u omitted (%u date, %u negative callers, %u parsing, %u space in the middle)\n",
          record->linesScanned, record->linesOmitted, record->date, record->negativeCallers, record->parsing,
          record->spacing);
      for (std::size_t i = 0; i < record->operationNames.size(); ++i) {
        text += format_text("  operation %zu: %d problem cdrs, %d restricted numbers ", i, record->problemLines[i],
                            record->restrictedNumbers[i]);
      }
      report_warning(
          1372, format_text("%d", static_cast<std::int32_t>(record->linesOmitted)),
          format_text("Warning: The total omitted lines count is %d", static_cast<std::int32_t>(record->linesOmitted)));
    }
    report_log(1, text);
  }
}

}  // namespace vesk_loader
