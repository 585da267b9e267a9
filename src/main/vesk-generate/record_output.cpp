#include "record_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vesk_generate {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
constexpr int closed = -1;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + " " + path + ": " + std::generic_category().message(errno));
}

constexpr const char* standardOutput = "-";

/// A device such as /dev/null stays where it is, and so does a link such as /dev/stdout.
void removeRegularFile(const std::string& path) {
  if (path == standardOutput) return;
  std::error_code ignored;  // the failure that leads here is the one to report
  if (std::filesystem::is_regular_file(std::filesystem::symlink_status(path, ignored))) {
    std::filesystem::remove(path, ignored);
  }
}

std::uint64_t writeRecords(RecordGenerator& generator, std::uint64_t records, RecordOutput& output) {
  const std::uint64_t blockLines = std::max<std::uint64_t>(1, blockBytes / generator.lineBytes());
  std::vector<char> block(blockLines * generator.lineBytes());
  std::uint64_t bytesWritten = 0;
  for (std::uint64_t left = records; left > 0;) {
    const std::uint64_t lines = std::min(left, blockLines);
    const std::size_t bytes = generator.fill(lines, block);
    output.write({block.data(), bytes});
    bytesWritten += bytes;
    left -= lines;
  }
  return bytesWritten;
}

}  // namespace

RecordOutput::RecordOutput(std::string name)
    : path(std::move(name)),
      descriptor(path == standardOutput ? ::dup(STDOUT_FILENO)
                                        : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
  if (descriptor < 0) fail("cannot open", path);
}

RecordOutput::~RecordOutput() {
  if (descriptor == closed) return;
  ::close(descriptor);
  removeRegularFile(path);
}

void RecordOutput::write(std::span<const char> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail("cannot write", path);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

void RecordOutput::close() {
  if (::close(std::exchange(descriptor, closed)) == 0) return;
  const int reason = errno;
  removeRegularFile(path);
  errno = reason;
  fail("cannot close", path);
}

std::vector<std::string> recordFileNames(const std::string& output, std::uint32_t files) {
  std::string stem = output;
  if (std::error_code ignored; std::filesystem::is_directory(output, ignored)) {
    stem = (std::filesystem::path(output) / "calls").string();
  }
  if (files == 1) return {stem};
  const std::size_t digits = std::to_string(files).size();
  std::vector<std::string> names;
  for (std::uint32_t file = 1; file <= files; ++file) {
    const std::string number = std::to_string(file);
    names.push_back(stem + "." + std::string(digits - number.size(), '0') + number);
  }
  return names;
}

std::uint64_t writeFiles(std::uint64_t records, const std::vector<std::string>& names, const WriteRecords& write) {
  const std::uint64_t each = records / names.size();
  const std::uint64_t longer = records % names.size();  // the first files take one record more
  std::uint64_t bytesWritten = 0;
  for (std::size_t file = 0; file < names.size(); ++file) {
    try {
      RecordOutput output(names[file]);
      bytesWritten += write(each + (file < longer ? 1 : 0), output);
      output.close();
    } catch (...) {
      std::for_each(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(file), removeRegularFile);
      throw;
    }
  }
  return bytesWritten;
}

std::uint64_t writeRecordFiles(RecordGenerator& generator, const std::vector<std::string>& names) {
  return writeFiles(generator.recordsLeft(), names, [&generator](std::uint64_t records, RecordOutput& output) {
    return writeRecords(generator, records, output);
  });
}

}  // namespace vesk_generate
