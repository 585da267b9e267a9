#include "number_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace vesk_inspect {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + " " + path + ": " + std::generic_category().message(errno));
}

}  // namespace

NumberFile::NumberFile(std::string name)
    : path(std::move(name)), descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), block(blockBytes) {
  if (descriptor < 0) fail("cannot open", path);
}

NumberFile::~NumberFile() { ::close(descriptor); }

/// Moves the rest of the block to its front and fills up behind it; false when no whole number is there even so.
bool NumberFile::readBlock() {
  const std::size_t rest = blockEnd - place;
  std::memmove(block.data(), block.data() + place, rest);
  blockOffset += place;
  place = 0;
  blockEnd = rest;
  while (blockEnd < block.size()) {
    const ssize_t got = ::read(descriptor, block.data() + blockEnd, block.size() - blockEnd);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) fail("cannot read", path);
    if (got == 0) break;
    blockEnd += static_cast<std::size_t>(got);
  }
  return blockEnd >= sizeof(double);
}

}  // namespace vesk_inspect
