#include "groups/line_file.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vesk_groups {

namespace {

[[noreturn]] void failWithReason(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + " " + path + ": " + std::generic_category().message(errno));
}

}  // namespace

LineFile::LineFile(std::string name) : path(std::move(name)), stream(path, std::ios::binary) {
  if (!stream) failWithReason("cannot open", path);
}

bool LineFile::next(std::string& line) {
  line.clear();
  if (stream.eof()) return false;
  std::getline(stream, line);
  if (stream.bad()) failWithReason("cannot read", path);
  if (stream.fail()) return false;
  ++lines;
  return true;
}

void LineFile::failAt(std::uint64_t line, const std::string& what) const {
  throw std::runtime_error(path + ", line " + std::to_string(line) + ": " + what);
}

}  // namespace vesk_groups
