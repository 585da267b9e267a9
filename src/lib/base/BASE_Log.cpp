#include "base/BASE_Log.h"

#include "base/BASE_Exception.h"

namespace {
// The positions are part of the reports, and stay where they are when this file changes.
constexpr const char* reportedFile = "src/lib/base/BASE_Log";
constexpr int alreadyOpenLine = 54;
constexpr int notOpenedLine = 55;
constexpr int noStreamLine = 64;
}  // namespace

Log& Log::instance() {
  static Log log;
  return log;
}

void Log::Open(const std::string& fileName) {
  std::ofstream& stream = instance().stream;
  if (stream.is_open()) BASE_StopOnInternalError("Log file already open", reportedFile, alreadyOpenLine);
  stream.open(fileName);
  if (!stream.is_open()) {
    BASE_StopOnUserError("Log file: '" + fileName + "' could not be opened", reportedFile, notOpenedLine);
  }
}

std::ostream& Log::GetStream() {
  std::ofstream& stream = instance().stream;
  if (!stream.is_open())
    BASE_StopOnInternalError("called Log::GetStream when stream is not opened", reportedFile, noStreamLine);
  return stream;
}
