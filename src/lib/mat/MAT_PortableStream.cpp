#include "mat/MAT_PortableStream.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/BASE_Exception.h"

namespace {
constexpr const char* reportedFile = "src/lib/mat/MAT_PortableStream";
static_assert(sizeof(double) == 8 && std::numeric_limits<double>::is_iec559);
}  // namespace

MAT_PortableWriter::MAT_PortableWriter(std::ostream& stream) : out(stream), reversesDoubles(htonl(1) != 1) {}

void MAT_PortableWriter::write(std::uint32_t value) {
  const std::uint32_t ordered = htonl(value);
  char bytes[sizeof ordered];
  std::memcpy(bytes, &ordered, sizeof bytes);
  writeBytes(bytes, sizeof bytes);
}

void MAT_PortableWriter::write(double value) {
  char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof bytes);
  if (reversesDoubles) std::reverse(std::begin(bytes), std::end(bytes));
  writeBytes(bytes, sizeof bytes);
}

void MAT_PortableWriter::write(std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    BASE_StopOnInternalError("String too long for a portable stream", reportedFile, __LINE__);
  }
  write(static_cast<std::uint32_t>(text.size()));
  writeBytes(text.data(), text.size());
}

void MAT_PortableWriter::writeBytes(const char* bytes, std::size_t size) {
  if (!out.write(bytes, static_cast<std::streamsize>(size))) {
    BASE_StopOnUserError("Array file could not be written", reportedFile, __LINE__);
  }
}

MAT_PortableReader::MAT_PortableReader(std::istream& stream) : in(stream), reversesDoubles(htonl(1) != 1) {}

std::uint32_t MAT_PortableReader::readInteger() {
  char bytes[sizeof(std::uint32_t)];
  readBytes(bytes, sizeof bytes);
  std::uint32_t ordered = 0;
  std::memcpy(&ordered, bytes, sizeof bytes);
  return ntohl(ordered);
}

double MAT_PortableReader::readDouble() {
  char bytes[sizeof(double)];
  readBytes(bytes, sizeof bytes);
  if (reversesDoubles) std::reverse(std::begin(bytes), std::end(bytes));
  double value = 0;
  std::memcpy(&value, bytes, sizeof bytes);
  return value;
}

std::string MAT_PortableReader::readString() {
  std::string text;
  char piece[4096];
  for (std::size_t left = readInteger(); left > 0;) {
    const std::size_t size = std::min(left, sizeof piece);
    readBytes(piece, size);
    text.append(piece, size);
    left -= size;
  }
  return text;
}

void MAT_PortableReader::expectEnd() {
  if (in.peek() != std::istream::traits_type::eof()) {
    BASE_StopOnUserError("Array file goes on behind its end", reportedFile, __LINE__);
  }
}

void MAT_PortableReader::refuse(std::string_view reason) {
  BASE_StopOnUserError(std::string("Array file is damaged: ").append(reason), reportedFile, __LINE__);
}

void MAT_PortableReader::readBytes(char* bytes, std::size_t size) {
  if (!in.read(bytes, static_cast<std::streamsize>(size))) {
    BASE_StopOnUserError("Array file is cut", reportedFile, __LINE__);
  }
}
