#include "base/BASE_Log.h"

#include <cstdlib>

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
  if (stream.is_open()) {
    BASE_MlException().Throw("Log file already open", reportedFile, alreadyOpenLine);
    std::exit(1);
  }
  stream.open(fileName);
  if (!stream.is_open()) {
    BASE_MlExceptionUser().Throw("Log file: '" + fileName + "' could not be opened", reportedFile, notOpenedLine);
    std::exit(1);
  }
}

std::ostream& Log::GetStream() {
  std::ofstream& stream = instance().stream;
  if (!stream.is_open()) {
    BASE_MlException().Throw("called Log::GetStream when stream is not opened", reportedFile, noStreamLine);
    std::exit(1);
  }
  return stream;
}
