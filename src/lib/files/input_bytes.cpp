#include "files/input_bytes.h"

#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "files/sha256.h"

namespace vesk_files {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
constexpr std::string_view gzipMark("\x1F\x8B", 2);
constexpr std::string_view zstdMark("\x28\xB5\x2F\xFD", 4);
constexpr int gzipWindow = 15 + 16;  // the largest window, and the gzip header

// A frame without content, as parallel compressors put before a frame.
bool isSkippableFrame(std::string_view start) {
  return start.size() >= 4 && (static_cast<unsigned char>(start[0]) & 0xF0) == 0x50 &&
         start.substr(1, 3) == "\x2A\x4D\x18";
}

Descriptor openInput(const std::string& path) {
  if (path != "-") return Descriptor::openToRead(path);
  const int copy = ::dup(STDIN_FILENO);
  if (copy < 0) throw std::runtime_error(systemFailure("standard input", "open"));
  return {copy, "standard input"};
}

}  // namespace

const char* nameOf(Compression compression) {
  switch (compression) {
    case Compression::None:
      return "plain";
    case Compression::Gzip:
      return "gzip";
    case Compression::Zstd:
      return "zstd";
  }
  return "";
}

struct InputBytes::State {
  explicit State(Descriptor file_) : file(std::move(file_)), block(blockBytes) {
    while (available < zstdMark.size() && fill()) {
    }
    const std::string_view start(block.data(), available);
    if (start.substr(0, gzipMark.size()) == gzipMark) {
      compression = Compression::Gzip;
      if (inflateInit2(&gzip, gzipWindow) != Z_OK) throw std::bad_alloc();
    } else if (start.substr(0, zstdMark.size()) == zstdMark || isSkippableFrame(start)) {
      compression = Compression::Zstd;
      zstd = ZSTD_createDStream();
      if (zstd == nullptr) throw std::bad_alloc();
    }
  }
  ~State() {
    if (compression == Compression::Gzip) inflateEnd(&gzip);
    ZSTD_freeDStream(zstd);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  [[noreturn]] void fail(const std::string& what) const {
    throw DamagedContent(file.getName() + ": " + what + ", near byte " + std::to_string(stored - available + used) +
                         " of the file");
  }

  // Reads more bytes after the unread part of the block. False at the end of the file.
  bool fill() {
    if (used == available) used = available = 0;
    const std::size_t size = file.read(block.data() + available, block.size() - available);
    stored += size;
    storedHash.update(block.data() + available, size);
    available += size;
    return size > 0;
  }

  bool hasBytes() { return used < available || fill(); }

  std::size_t read(char* data, std::size_t size) {
    std::size_t count = 0;
    switch (compression) {
      case Compression::None:
        return readPlain(data, size);
      case Compression::Gzip:
        count = readGzip(data, size);
        break;
      case Compression::Zstd:
        count = readZstd(data, size);
        break;
    }
    contentHash.update(data, count);
    return count;
  }

  std::size_t readPlain(char* data, std::size_t size) {
    if (used < available) {
      const std::size_t count = std::min(size, available - used);
      std::memcpy(data, block.data() + used, count);
      used += count;
      return count;
    }
    const std::size_t count = file.read(data, size);
    stored += count;
    storedHash.update(data, count);
    return count;
  }

  std::size_t readGzip(char* data, std::size_t size) {
    gzip.next_out = reinterpret_cast<unsigned char*>(data);
    gzip.avail_out = static_cast<unsigned>(std::min<std::size_t>(size, 1U << 30));
    const unsigned room = gzip.avail_out;
    while (gzip.avail_out == room) {
      if (memberEnded) {
        if (!hasBytes()) return 0;
        if (inflateReset(&gzip) != Z_OK) fail("the gzip data cannot be read");
        memberEnded = false;
      }
      if (!hasBytes()) fail("the gzip data ends too early");
      gzip.next_in = reinterpret_cast<unsigned char*>(block.data() + used);
      gzip.avail_in = static_cast<unsigned>(available - used);
      const int result = inflate(&gzip, Z_NO_FLUSH);
      used = available - gzip.avail_in;
      if (result == Z_STREAM_END) {
        memberEnded = true;
      } else if (result == Z_MEM_ERROR) {
        throw std::bad_alloc();
      } else if (result != Z_OK && result != Z_BUF_ERROR) {
        fail("the gzip data is damaged");
      }
    }
    return room - gzip.avail_out;
  }

  std::size_t readZstd(char* data, std::size_t size) {
    ZSTD_outBuffer output{data, size, 0};
    while (output.pos == 0) {
      // Between two frames the file may end; inside a frame, what the library still holds comes out without input.
      if (!hasBytes() && memberEnded) return 0;
      const bool atEnd = used == available;
      ZSTD_inBuffer input{block.data(), available, used};
      const std::size_t result = ZSTD_decompressStream(zstd, &output, &input);
      used = input.pos;
      if (ZSTD_isError(result)) fail("the zstd data is damaged");
      memberEnded = result == 0;
      if (atEnd && output.pos == 0) fail("the zstd data ends too early");
    }
    return output.pos;
  }

  Descriptor file;
  std::vector<char> block;
  std::size_t available = 0;
  std::size_t used = 0;
  std::uint64_t stored = 0;
  Compression compression = Compression::None;
  z_stream gzip{};
  ZSTD_DStream* zstd = nullptr;
  bool memberEnded = false;  // a gzip member or a zstd frame was read whole
  Sha256 storedHash;
  Sha256 contentHash;  // of a compressed file
};

InputBytes::InputBytes(const std::string& path) : InputBytes(openInput(path)) {}
InputBytes::InputBytes(Descriptor file) : state(std::make_unique<State>(std::move(file))) {}
InputBytes::~InputBytes() = default;
InputBytes::InputBytes(InputBytes&&) noexcept = default;
InputBytes& InputBytes::operator=(InputBytes&&) noexcept = default;

std::size_t InputBytes::read(char* data, std::size_t size) { return size == 0 ? 0 : state->read(data, size); }
Compression InputBytes::getCompression() const { return state->compression; }
std::uint64_t InputBytes::storedBytes() const { return state->stored; }

InputBytes::Hashes InputBytes::finishHashes() {
  Hashes hashes;
  hashes.stored = state->storedHash.finish();
  hashes.content = state->compression == Compression::None ? hashes.stored : state->contentHash.finish();
  return hashes;
}

}  // namespace vesk_files
