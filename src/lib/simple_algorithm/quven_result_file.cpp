#include "simple_algorithm/quven_result_file.h"

#include <filesystem>

namespace {

/// Where the bytes go first.
std::string writtenPathOf(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  const bool isSpecial = std::filesystem::exists(status) && !std::filesystem::is_regular_file(status);
  return isSpecial ? path : path + ".partial";
}

}  // namespace

QUVENResultFile::QUVENResultFile(const std::string& resultPath)
    : path(resultPath), writtenPath(writtenPathOf(resultPath)), stream(writtenPath, std::ios::binary) {}

QUVENResultFile::~QUVENResultFile() {
  if (committed || writtenPath == path || !stream.is_open()) return;
  stream.close();
  std::error_code error;  // nobody can do anything about it here
  std::filesystem::remove(writtenPath, error);
}

bool QUVENResultFile::commit() {
  stream.flush();
  if (!stream) return false;
  std::error_code error;
  if (writtenPath != path) std::filesystem::rename(writtenPath, path, error);
  if (error) return false;
  stream.close();
  committed = true;
  return true;
}
