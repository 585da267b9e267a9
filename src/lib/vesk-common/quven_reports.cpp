#include "vesk-common/quven_reports.h"

#include <cstdio>
#include <cstdlib>

#include "util/quven_debug.h"

namespace {

// The position is part of the report, and stays where it is when this file changes.
constexpr const char* reportedFunction = "report_error";
constexpr int reportedLine = 44;
constexpr const char* reportedFile = "quven_reports";

/// One write a line: the lines of several processes may share an output.
void printLine(std::string_view kind, int number, std::string_view text) {
  std::string line;
  line.append(kind).append(";|").append(std::to_string(number)).append(";|");
  line.append(text).append(";|").append(kind).append("End\n");
  std::fwrite(line.data(), 1, line.size(), stdout);
}

void printErrorLine(int code, std::string_view text) {
  printLine("Error", code, text);
  std::fflush(stdout);
}

std::string withParameter(std::string_view parameter, std::string_view text) {
  return std::string(parameter).append(";|").append(text);
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
  if (!legal) std::printf("%s%s\n", complaint, value.c_str());
  return legal;
}

}  // namespace

void report_error(int code, std::string_view text, const QUVENEnvHandle&, bool terminate) {
  printErrorLine(code, text);
  if (!terminate) return;
  std::fputs("Terminating VESK\n", stdout);
  std::fflush(stdout);
  quvenFatalReport(reportedFunction, reportedLine, reportedFile, "QUVEN Terminating");
}

void report_error(int code, const std::ostringstream& text, const QUVENEnvHandle& env, bool terminate) {
  report_error(code, text.view(), QUVEN_ENV, terminate);
}

void report_error(int code, std::string_view parameter, std::string_view text, const QUVENEnvHandle& env,
                  bool terminate) {
  report_error(code, withParameter(parameter, text), QUVEN_ENV, terminate);
}

void report_error(int code, std::string_view text, bool exitFlag) {
  printErrorLine(code, text);
  if (exitFlag) std::exit(1);
}

void report_error(int code, std::string_view parameter, std::string_view text, bool exitFlag) {
  report_error(code, withParameter(parameter, text), exitFlag);
}

void report_warning(int code, std::string_view text) { printLine("Warning", code, text); }

void report_warning(int code, std::string_view parameter, std::string_view text) {
  report_warning(code, withParameter(parameter, text));
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
