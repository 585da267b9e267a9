#include "base/BASE_Exception.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace {

constinit bool showPositions = false;
constinit bool suppressPositions = false;

constexpr std::size_t headingColumn = 14;
constexpr std::size_t fileColumn = 50;
constexpr std::size_t lineColumn = 5;

std::string leftAligned(std::string_view text, std::size_t column) {
  std::string cell(text);
  cell.resize(std::max(cell.size(), column), ' ');
  return cell;
}

std::string rightAligned(const std::string& text, std::size_t column) {
  return std::string(column - std::min(column, text.size()), ' ') + text;
}

void printLine(std::string_view heading, std::string_view text) {
  std::cerr << leftAligned(heading, headingColumn) << " - " << text << "\n";
}

void printThrow(std::string_view heading, std::string_view message) {
  std::cerr << "\n";
  printLine(heading, message);
}

std::string positionAndText(std::string_view file, int line, std::string_view text) {
  return BASE_FormatPosition(file, line).append(" : ").append(text);
}

}  // namespace

std::string BASE_FormatPosition(std::string_view file, int line) {
  if (suppressPositions) return {};
  std::string name(file);
  if (name.size() > fileColumn) {
    std::string_view tail = file.substr(file.size() - (fileColumn - 3));
    if (const std::size_t slash = tail.find('/'); slash != std::string_view::npos) tail.remove_prefix(slash);
    name = std::string("...").append(tail);
  }
  return leftAligned(name, fileColumn) + " : " + rightAligned(std::to_string(line), lineColumn);
}

void BASE_MlException::Throw(std::string_view message, std::string_view file, int line) {
  printThrow("Internal Error", message);
  printLine("Thrown", BASE_FormatPosition(file, line));
}

void BASE_MlException::Catch(std::string_view file, int line, std::string_view text) {
  printLine("Catch", positionAndText(file, line, text));
}

void BASE_MlException::FinalCatch(std::string_view file, int line, std::string_view text) {
  printLine("Final catch", positionAndText(file, line, text));
}

void BASE_MlException::setShowPositions(bool on) { showPositions = on; }
void BASE_MlException::setSuppressPositions(bool on) { suppressPositions = on; }
bool BASE_MlException::isDebugging() { return showPositions || suppressPositions; }

void BASE_MlExceptionUser::Throw(std::string_view message, std::string_view file, int line) {
  printThrow("User Error", message);
  if (isDebugging()) printLine("Thrown", BASE_FormatPosition(file, line));
}

void BASE_MlExceptionUser::Catch(std::string_view file, int line, std::string_view text) {
  if (isDebugging()) BASE_MlException::Catch(file, line, text);
}

void BASE_MlExceptionUser::FinalCatch(std::string_view file, int line, std::string_view text) {
  if (isDebugging()) BASE_MlException::FinalCatch(file, line, text);
}

void BASE_StopOnInternalError(std::string_view message, std::string_view file, int line) {
  BASE_MlException().Throw(message, file, line);
  std::exit(1);
}

void BASE_StopOnUserError(std::string_view message, std::string_view file, int line) {
  BASE_MlExceptionUser().Throw(message, file, line);
  std::exit(1);
}

void BASE_ReportExpectedException() { std::cerr << "Exception arrived as expected.\n"; }
