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
    : path(checkedName(std::move(finalPath))),
      permissions(filePermissions),
      temporary(path + ".partial" + std::to_string(::getpid())),
      file(vesk_files::Descriptor::openToWrite(temporary, permissions)) {}

OutputFile::~OutputFile() {
  if (!temporary.empty()) ::unlink(temporary.c_str());
}

void OutputFile::rewriteLines(std::size_t lineBytes, const std::function<void(char* line)>& change) {
  const vesk_files::Descriptor old = vesk_files::Descriptor::openToRead(temporary);
  ::unlink(temporary.c_str());  // the descriptor keeps the bytes
  file = vesk_files::Descriptor::openToWrite(temporary, permissions);
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
  file.close();
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    throw std::runtime_error(vesk_files::systemFailure(path, "replace"));
  }
  temporary.clear();
  vesk_files::syncFolder(folderOf(path));
}

}  // namespace vesk
