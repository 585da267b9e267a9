#include "util/quven_bin_obj_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "util/quven_debug.h"
#include "util/quven_memory.h"
#include "util/quven_numbers.h"
#include "util/quven_varint.h"

void QUVENBinObjReader::reportReadError(const QUVENEnvHandle& env) {
  quvenFatalReport("BLOB Binary I/O Read Error", QUVEN_ENV);
}

void QUVENBinObjReader::readBytes(void* bytes, std::size_t size, const QUVENEnvHandle& env) {
  const std::size_t read = blob->read(bytes, size, QUVEN_ENV);
  if (blob->getStatus() != QUVENBlobIO::Good) reportReadError(QUVEN_ENV);
  QUVEN_ASSERT(read == size);
}

void QUVENBinObjReader::checkCount(std::uint64_t count, std::uint64_t fewestBytesEach, const QUVENEnvHandle& env) {
  if (count > blob->getRemaining() / fewestBytesEach) reportReadError(QUVEN_ENV);
}

long QUVENBinObjReader::getElementsAtATime() const {
  constexpr long step = 4096;
  return blob->getRemaining() == QUVENBlobIO::UnknownRemaining ? step : QUVENObjReader::getElementsAtATime();
}

std::string_view QUVENBinObjReader::readText(std::int64_t length, const QUVENEnvHandle& env) {
  if (length < 0) reportReadError(QUVEN_ENV);
  const std::size_t wanted = static_cast<std::size_t>(length);
  const std::span<const char> window = blob->getReadWindow();
  if (wanted <= window.size()) {
    blob->skip(wanted);
    return {window.data(), wanted};
  }
  checkCount(wanted, 1, QUVEN_ENV);
  // Where the rest of the stream is unknown, a claim is paid for only as far as its bytes arrive.
  constexpr std::size_t part = 1 << 20;
  scratch.clear();
  while (scratch.size() < wanted) {
    const std::size_t done = scratch.size();
    const std::size_t next =
        blob->getRemaining() == QUVENBlobIO::UnknownRemaining ? std::min(part, wanted - done) : wanted - done;
    quvenResizeText(scratch, done + next, QUVEN_ENV);
    readBytes(scratch.data() + done, next, QUVEN_ENV);
  }
  return scratch;
}

bool QUVENBinObjReader::readVarintBytes(char* bytes, AtEnd atEnd, const QUVENEnvHandle& env) {
  for (std::size_t i = 0; i < quvenMaxVarintBytes; ++i) {
    const std::size_t read = blob->read(bytes + i, 1, QUVEN_ENV);
    const int status = blob->getStatus();
    if (status == QUVENBlobIO::EndOfInput && i == 0 && atEnd == AtEnd::IsAllowed) return false;
    if (status != QUVENBlobIO::Good) reportReadError(QUVEN_ENV);
    constexpr std::size_t size = 1;
    QUVEN_ASSERT(read == size);
    if ((static_cast<unsigned char>(bytes[i]) & quven_varint::lastMark) != 0) return true;
  }
  reportReadError(QUVEN_ENV);
}

template <class Number, class Decode>
bool QUVENBinObjReader::readVarint(Number& value, Decode decode, AtEnd atEnd, const QUVENEnvHandle& env) {
  const std::span<const char> window = blob->getReadWindow();
  if (window.size() >= quvenMaxVarintBytes) {
    const char* at = window.data();
    if (!decode(at, value)) reportReadError(QUVEN_ENV);
    blob->skip(static_cast<std::size_t>(at - window.data()));
    return true;
  }
  char bytes[quvenMaxVarintBytes];
  if (!readVarintBytes(bytes, atEnd, QUVEN_ENV)) return false;
  const char* at = bytes;
  if (!decode(at, value)) reportReadError(QUVEN_ENV);
  return true;
}

template <class Number, class Decode>
void QUVENBinObjReader::readVarints(std::span<Number> values, Decode decode, const QUVENEnvHandle& env) {
  std::size_t done = 0;
  while (done < values.size()) {
    const std::span<const char> window = blob->getReadWindow();
    const char* at = window.data();
    const char* lastStart = at + window.size() - std::min(window.size(), quvenMaxVarintBytes);
    if (window.size() >= quvenMaxVarintBytes) {
      for (; done < values.size() && at <= lastStart; ++done) {
        if (!decode(at, values[done])) reportReadError(QUVEN_ENV);
      }
      blob->skip(static_cast<std::size_t>(at - window.data()));
    }
    if (done < values.size()) readVarint(values[done++], decode, AtEnd::IsError, QUVEN_ENV);
  }
}

void QUVENBinObjReader::readNextKeyword(const QUVENEnvHandle& env) {
  std::int64_t value = 0;
  if (!readVarint(value, quvenDecodeSigned, AtEnd::IsAllowed, QUVEN_ENV)) return bufferEnd();
  if (value >= 1) return bufferName(readText(value, QUVEN_ENV), QUVEN_ENV);
  constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  bufferCode(value == lowest ? std::numeric_limits<std::int64_t>::max() : -value);
}

void QUVENBinObjReader::expectKeyword(const QUVENKeyword& expected, const char* textAtEnd, const QUVENEnvHandle& env) {
  std::int64_t value = 0;
  if (!readVarint(value, quvenDecodeSigned, AtEnd::IsAllowed, QUVEN_ENV)) quvenFatalReport(textAtEnd, QUVEN_ENV);
  if (value < 1) {
    if (value != -expected.getCode()) {
      quvenFatalReport("Syntax Error: Reserved(integer) keyword expected", QUVEN_ENV);
    }
  } else if (!(expected.getName() == readText(value, QUVEN_ENV))) {
    quvenFatalReport("Syntax Error: Reserved(string) keyword expected", QUVEN_ENV);
  }
}

std::int8_t QUVENBinObjReader::readSignedByte(const QUVENEnvHandle& env) {
  std::int8_t value = 0;
  readBytes(&value, 1, QUVEN_ENV);
  return value;
}

std::uint8_t QUVENBinObjReader::readUnsignedByte(const QUVENEnvHandle& env) {
  std::uint8_t value = 0;
  readBytes(&value, 1, QUVEN_ENV);
  return value;
}

void QUVENBinObjReader::readString(std::string& value, const QUVENEnvHandle& env) {
  quvenAssignText(value, readText(readSignedVarint(QUVEN_ENV), QUVEN_ENV), QUVEN_ENV);
}

std::uint64_t QUVENBinObjReader::readUnsignedVarint(const QUVENEnvHandle& env) {
  std::uint64_t value = 0;
  readVarint(value, quvenDecodeUnsigned, AtEnd::IsError, QUVEN_ENV);
  return value;
}

std::int64_t QUVENBinObjReader::readSignedVarint(const QUVENEnvHandle& env) {
  std::int64_t value = 0;
  readVarint(value, quvenDecodeSigned, AtEnd::IsError, QUVEN_ENV);
  return value;
}

double QUVENBinObjReader::readDouble(const QUVENEnvHandle& env) {
  double value = 0;
  const std::span<const char> window = blob->getReadWindow();
  if (sizeof value <= window.size()) {
    std::memcpy(&value, window.data(), sizeof value);
    blob->skip(sizeof value);
  } else {
    readBytes(&value, sizeof value, QUVEN_ENV);
  }
  return quvenClampDouble(value);
}

const QUVENStringWithHash& QUVENBinObjReader::readObjectType(const QUVENEnvHandle& env) {
  expectKeyword(QUVEN_KWD(BeginObjectType), "Syntax Error: BeginObjectType keyword expected", QUVEN_ENV);
  const std::string_view name = readText(readSignedVarint(QUVEN_ENV), QUVEN_ENV);
  // Many objects in a row are of one type, whose hash is known.
  if (!(objectType == name)) quvenAssignText(objectType, name, QUVEN_ENV);
  return objectType;
}

void QUVENBinObjReader::expectBeginObject(const QUVENEnvHandle& env) {
  expectKeyword(QUVEN_KWD(BeginObject), "Syntax Error: BeginObject keyword expected", QUVEN_ENV);
}

std::int64_t QUVENBinObjReader::expectBeginArraySize(const QUVENEnvHandle& env) {
  expectKeyword(QUVEN_KWD(BeginArraySize), "Syntax Error: BeginArray or BeginArraySize keyword expected", QUVEN_ENV);
  return readSignedVarint(QUVEN_ENV);
}

void QUVENBinObjReader::readNumbers(std::span<std::int8_t> values, const QUVENEnvHandle& env) {
  readBytes(values.data(), values.size_bytes(), QUVEN_ENV);
}

void QUVENBinObjReader::readNumbers(std::span<std::uint8_t> values, const QUVENEnvHandle& env) {
  readBytes(values.data(), values.size_bytes(), QUVEN_ENV);
}

void QUVENBinObjReader::readNumbers(std::span<std::int64_t> values, const QUVENEnvHandle& env) {
  readVarints(values, quvenDecodeSigned, QUVEN_ENV);
}

void QUVENBinObjReader::readNumbers(std::span<std::uint64_t> values, const QUVENEnvHandle& env) {
  readVarints(values, quvenDecodeUnsigned, QUVEN_ENV);
}

void QUVENBinObjReader::readNumbers(std::span<double> values, const QUVENEnvHandle& env) {
  constexpr std::size_t block = 1024;  // as many as stay at hand for the test behind the copy
  while (!values.empty()) {
    const auto part = values.first(std::min(block, values.size()));
    readBytes(part.data(), part.size_bytes(), QUVEN_ENV);
    if (!quvenAllFinite(part)) std::transform(part.begin(), part.end(), part.begin(), quvenClampDouble);
    values = values.subspan(part.size());
  }
}
