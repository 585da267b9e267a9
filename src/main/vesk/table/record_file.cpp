#include "table/record_file.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vesk {

namespace {

constexpr std::size_t blockDoubles = (std::size_t{1} << 18) / sizeof(double);

}  // namespace

RecordFile::RecordFile(std::string filePath, std::size_t recordWidth, std::string recordName)
    : path(std::move(filePath)), width(recordWidth), word(std::move(recordName)), stream(path, std::ios::binary) {
  if (!stream) throw std::runtime_error("cannot open " + path + ": " + std::generic_category().message(errno));
  block.resize(std::max<std::size_t>(blockDoubles / width, 1) * width);
}

bool RecordFile::refill() {
  stream.read(reinterpret_cast<char*>(block.data()), static_cast<std::streamsize>(block.size() * sizeof(double)));
  if (stream.bad()) throw std::runtime_error("cannot read " + path);
  const auto bytes = static_cast<std::size_t>(stream.gcount());
  const std::size_t records = bytes / (width * sizeof(double));
  if (const std::size_t rest = bytes - records * width * sizeof(double); rest > 0) {
    throw std::runtime_error(path + " has " + std::to_string(rest) + " bytes after its last whole " + word +
                             ", number " + std::to_string(number + records));
  }
  at = 0;
  available = records * width;
  return available > 0;
}

}  // namespace vesk
