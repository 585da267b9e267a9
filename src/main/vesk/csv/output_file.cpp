#include "csv/output_file.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vesk {

namespace {

std::string folderOf(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

std::string partialNameOf(const std::string& path) { return path + ".partial" + std::to_string(::getpid()); }

std::string checkedName(std::string path) {
  std::error_code unknown;
  const auto status = std::filesystem::symlink_status(path, unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw std::runtime_error(path + ": is not a regular file");
  }
  return path;
}

}  // namespace

OutputFile::OutputFile(std::string finalPath, unsigned filePermissions)
    : path(checkedName(std::move(finalPath))), permissions(filePermissions) {
  open();
}

void OutputFile::open() {
  file = vesk_files::Descriptor::openUnnamed(folderOf(path), path, permissions);
  if (file.isOpen()) return;
  temporary = partialNameOf(path);
  file = vesk_files::Descriptor::openToWrite(temporary, permissions);
}

OutputFile::~OutputFile() {
  if (!temporary.empty()) ::unlink(temporary.c_str());
}

void OutputFile::rewriteLines(std::size_t lineBytes, const std::function<void(char* line)>& change) {
  vesk_files::Descriptor old = std::move(file);
  if (!temporary.empty()) {
    old = vesk_files::Descriptor::openToRead(temporary);
    ::unlink(temporary.c_str());  // the descriptor keeps the bytes
    temporary.clear();
  }
  if (::lseek(old.get(), 0, SEEK_SET) != 0) throw std::runtime_error(vesk_files::systemFailure(path, "read again"));
  open();
  constexpr std::size_t blockLines = 16384;
  std::string block(blockLines * lineBytes, '\0');
  std::size_t filled = 0;
  while (const std::size_t count = old.read(block.data() + filled, block.size() - filled)) {
    filled += count;
    if (filled < block.size()) continue;
    for (std::size_t at = 0; at < filled; at += lineBytes) change(block.data() + at);
    file.write(block);
    filled = 0;
  }
  for (std::size_t at = 0; at < filled; at += lineBytes) change(block.data() + at);
  file.write({block.data(), filled});
}

void OutputFile::commit() {
  file.sync();
  const bool isInPlace = temporary.empty() && file.giveName(path);
  if (!isInPlace && temporary.empty()) {  // a file of the name is there, and can be replaced by one with a name only
    temporary = partialNameOf(path);
    ::unlink(temporary.c_str());
    if (!file.giveName(temporary)) throw std::runtime_error(temporary + ": another process makes this file");
  }
  file.close();
  if (!isInPlace && ::rename(temporary.c_str(), path.c_str()) != 0) {
    throw std::runtime_error(vesk_files::systemFailure(path, "replace"));
  }
  temporary.clear();
  vesk_files::syncFolder(folderOf(path));
}

}  // namespace vesk
