#include "table/table_files.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace vesk {

namespace {

constexpr std::size_t blockNumbers = 8192;

std::string infoPathOf(const std::string& name) { return name + ".info"; }

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  const std::string reason = errno == 0 ? "" : ": " + std::generic_category().message(errno);
  throw std::runtime_error(what + " " + path + reason);
}

}  // namespace

OpenResultFile::OpenResultFile(const std::string& name) : QUVENResultFile(name) {
  if (!isOpen()) fail("cannot write", getPath());
}

void TableFiles::refuseInput(const std::string& name, const std::string& input) {
  for (const std::string& output : {name, infoPathOf(name), QUVENTableLabels::pathOf(name)}) {
    if (quvenIsSameFile(output, input)) {
      throw std::runtime_error("the output " + output + " would take the place of the input");
    }
  }
}

TableFiles::TableFiles(const std::string& name)
    : data(name), info(infoPathOf(name)), labelsFile(QUVENTableLabels::pathOf(name)) {
  block.reserve(blockNumbers);
}

void TableFiles::writeRecord(std::span<const double> record) {
  block.insert(block.end(), record.begin(), record.end());
  if (block.size() >= blockNumbers) writeBlock();
}

void TableFiles::writeBlock() {
  errno = 0;
  data.getStream().write(reinterpret_cast<const char*>(block.data()),
                         static_cast<std::streamsize>(block.size() * sizeof(double)));
  if (!data.getStream()) fail("cannot write", data.getPath());
  block.clear();
}

void TableFiles::complete(const std::vector<dataset_info::Column>& description, const QUVENTableLabels& labels) {
  writeBlock();
  dataset_info::write(info.getStream(), description);
  labels.write(labelsFile.getStream());
  const std::array<QUVENResultFile*, 3> files = {&info, &labelsFile, &data};
  for (QUVENResultFile* file : files) {
    errno = 0;
    if (!file->getStream().flush()) fail("cannot write", file->getPath());
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    errno = 0;
    if (files[i]->commit()) continue;
    const int reason = errno;
    for (std::size_t j = 0; j < i; ++j) {
      std::error_code ignored;  // the failure that leads here is the one to report
      std::filesystem::remove(files[j]->getPath(), ignored);
    }
    errno = reason;
    fail("cannot write", files[i]->getPath());
  }
}

}  // namespace vesk
