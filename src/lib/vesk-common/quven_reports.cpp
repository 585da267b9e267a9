#include "vesk-common/quven_reports.h"

#include <charconv>
#include <cstdlib>

#include "util/quven_debug.h"
#include "util/quven_output.h"
#include "vesk-common/quven_warning_list.h"

namespace {

// The position is part of the report, and stays where it is when this file changes.
constexpr const char* reportedFunction = "report_error";
constexpr int reportedLine = 44;
constexpr const char* reportedFile = "quven_reports";

/// Prints a report line: the parameter and the text, or the text alone. Nothing is allocated, so that a report comes
/// out when memory has run out. Every report is one write, so that reports of several ranks never mix.
void printLine(std::string_view kind, int number, std::string_view first, std::string_view separator = "",
               std::string_view second = "") {
  char digits[16];
  const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
  quvenWriteOutput({kind, ";|", {digits, end.ptr}, ";|", first, separator, second, ";|", kind, "End\n"});
}

void printLineWithParameter(std::string_view kind, int number, std::string_view parameter, std::string_view text) {
  printLine(kind, number, parameter, ";|", text);
}

[[noreturn]] void terminateRun() {
  quvenWriteOutput({"Terminating VESK\n"});
  quvenFatalReport(reportedFunction, reportedLine, reportedFile, "QUVEN Terminating");
}

bool isInteger(const std::string& value) {
  char* end = nullptr;
  std::strtol(value.c_str(), &end, 0);
  return !value.empty() && end == value.c_str() + value.size();
}

bool isDouble(const std::string& value) {
  char* end = nullptr;
  std::strtod(value.c_str(), &end);
  return end == value.c_str() + value.size();
}

bool accept(bool legal, const char* complaint, const std::string& value) {
  if (!legal) quvenWriteOutput({complaint, value, "\n"});
  return legal;
}

}  // namespace

void report_error(int code, std::string_view text, const QUVENEnvHandle&, bool terminate) {
  printLine("Error", code, text);
  if (terminate) terminateRun();
}

void report_error(int code, const std::ostringstream& text, const QUVENEnvHandle& env, bool terminate) {
  report_error(code, text.view(), QUVEN_ENV, terminate);
}

void report_error(int code, std::string_view parameter, std::string_view text, const QUVENEnvHandle&, bool terminate) {
  printLineWithParameter("Error", code, parameter, text);
  if (terminate) terminateRun();
}

void report_error(int code, std::string_view text, bool exitFlag) {
  printLine("Error", code, text);
  if (exitFlag) std::exit(1);
}

void report_error(int code, std::string_view parameter, std::string_view text, bool exitFlag) {
  printLineWithParameter("Error", code, parameter, text);
  if (exitFlag) std::exit(1);
}

void report_warning(int code, std::string_view text) {
  printLine("Warning", code, text);
  QUVENWarningList::get().add(code, "", text);
}

void report_warning(int code, std::string_view parameter, std::string_view text) {
  printLineWithParameter("Warning", code, parameter, text);
  QUVENWarningList::get().add(code, parameter, text);
}

void report_log(int level, std::string_view text) { printLine("Log", level, text); }

void report_log(int level, const std::ostringstream& text) { report_log(level, text.view()); }

bool TestInputStringType(const std::string& value, std::string_view typeName) {
  if (typeName == "int") {
    return accept(isInteger(value), "TestInputStringType, illegal int value found: ", value);
  }
  // An unknown type is told apart by its values only; without one it passes as a double.
  if (typeName != "double" && !value.empty()) {
    report_error(2400, "TestInputStringType:unknown type to compare", quvenTrue);
  }
  return accept(isDouble(value), "TestInputStringType, illegal double value found: ", value);
}
