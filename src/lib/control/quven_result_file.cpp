#include "control/quven_result_file.h"

#include <unistd.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

/// The file that a name stands for, through symbolic links, also where the last one points to nothing yet. Of links
/// that go round a link is left, which does not open. The last link to a pipe can stay: /proc/self/fd/1 points to
/// a text that is not a path.
std::string targetOf(const std::string& path) {
  constexpr int mostLinks = 40;  // as many as the system follows
  fs::path target = path;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  const bool isWrittenAsItIs = fs::exists(status) && !fs::is_regular_file(status);
  for (int i = 0; i < mostLinks && fs::is_symlink(fs::symlink_status(target, error)); ++i) {
    const fs::path next = fs::read_symlink(target, error);
    if (error) break;
    const fs::path follower = target.parent_path() / next;
    if (isWrittenAsItIs && !fs::exists(fs::symlink_status(follower, error))) break;
    target = follower;
  }
  return target.string();
}

/// Where the bytes go first: beside the result, under a name that no other run writes to.
std::string writtenPathOf(const std::string& path, long process) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  const bool isWrittenAsItIs = path.empty() || fs::is_symlink(fs::symlink_status(path, error)) ||
                               (fs::exists(status) && !fs::is_regular_file(status));
  return isWrittenAsItIs ? path : path + ".partial" + std::to_string(process);
}

/// The whole name, with the links of it that are there followed; empty if that cannot be told.
fs::path wholeName(const std::string& path) {
  std::error_code unknown;
  return fs::weakly_canonical(fs::absolute(path, unknown), unknown);
}

}  // namespace

QUVENResultFile::QUVENResultFile(const std::string& resultPath)
    : path(targetOf(resultPath)), writtenPath(writtenPathOf(path, ::getpid())), stream(writtenPath, std::ios::binary) {
  opened = stream.is_open();
}

QUVENResultFile::~QUVENResultFile() {
  if (committed || writtenPath == path || !opened) return;
  stream.close();
  std::error_code error;  // nobody can do anything about it here
  fs::remove(writtenPath, error);
}

bool QUVENResultFile::close() {
  if (stream.is_open()) stream.close();
  return opened && !stream.fail();
}

bool QUVENResultFile::commit() {
  if (!close()) return false;
  std::error_code error;
  if (writtenPath != path) fs::rename(writtenPath, path, error);
  committed = !error;
  return committed;
}

void quvenRemoveIncompleteResult(const std::string& resultPath, long process) {
  const std::string path = targetOf(resultPath);
  const std::string written = writtenPathOf(path, process);
  std::error_code ignored;  // a file that was never made, or that cannot be removed any more
  if (written != path) fs::remove(written, ignored);
}

bool quvenIsSameFile(const std::string& a, const std::string& b) {
  std::error_code unknown;
  if (fs::exists(a, unknown) && !fs::is_regular_file(a, unknown)) return false;
  if (fs::equivalent(a, b, unknown)) return true;
  const fs::path name = wholeName(a);
  return !name.empty() && name == wholeName(b);
}
