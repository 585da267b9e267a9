#include "util/quven_bin_obj_writer.h"

#include <bit>
#include <cstring>

#include "util/quven_debug.h"
#include "util/quven_varint.h"

static_assert(std::endian::native == std::endian::little, "the files of the system are little-endian");

void QUVENBinObjWriter::reportWriteError(const QUVENEnvHandle& env) {
  ok = 0;
  quvenFatalReport("BLOB I/O Write Error", QUVEN_ENV);
}

void QUVENBinObjWriter::writeBytes(const void* bytes, std::size_t count, const QUVENEnvHandle& env) {
  // The usual case first and without the handle of a call: objects of few bytes come in thousands.
  if (char* place = count == 0 ? nullptr : blob->roomFor(count)) {
    std::memcpy(place, bytes, count);
    blob->commit(count);
  } else {
    blob->write(bytes, count, QUVEN_ENV);
  }
  checkStatus(env);
}

template <class Encode>
void QUVENBinObjWriter::writeEncoded(Encode encode, const QUVENEnvHandle& env) {
  if (char* place = blob->roomFor(quvenMaxVarintBytes)) {
    blob->commit(encode(place));
    return checkStatus(env);
  }
  char bytes[quvenMaxVarintBytes];
  writeBytes(bytes, encode(bytes), env);
}

template <class Number, class Encode>
void QUVENBinObjWriter::writeEncodedNumbers(std::span<const Number> values, Encode encode, const QUVENEnvHandle& env) {
  constexpr std::size_t chunk = 512;
  char bytes[chunk * quvenMaxVarintBytes];
  while (!values.empty()) {
    const auto part = values.first(std::min(chunk, values.size()));
    std::size_t count = 0;
    for (const Number value : part) count += encode(value, bytes + count);
    writeBytes(bytes, count, env);
    values = values.subspan(part.size());
  }
}

void QUVENBinObjWriter::writeSignedVarint(std::int64_t value, const QUVENEnvHandle& env) {
  writeEncoded([value](char* place) { return quvenEncodeSigned(value, place); }, QUVEN_ENV);
}

void QUVENBinObjWriter::writeUnsignedVarint(std::uint64_t value, const QUVENEnvHandle& env) {
  writeEncoded([value](char* place) { return quvenEncodeUnsigned(value, place); }, QUVEN_ENV);
}

void QUVENBinObjWriter::writeKeyword(const QUVENKeyword& keyword, const QUVENEnvHandle& env) {
  if (keyword.isName()) {
    writeString(keyword.getName(), QUVEN_ENV);
  } else {
    writeSignedVarint(-keyword.getCode(), QUVEN_ENV);
  }
}

void QUVENBinObjWriter::writeSignedByte(std::int8_t value, const QUVENEnvHandle& env) {
  writeBytes(&value, 1, QUVEN_ENV);
}

void QUVENBinObjWriter::writeUnsignedByte(std::uint8_t value, const QUVENEnvHandle& env) {
  writeBytes(&value, 1, QUVEN_ENV);
}

void QUVENBinObjWriter::writeString(std::string_view value, const QUVENEnvHandle& env) {
  writeSignedVarint(static_cast<std::int64_t>(value.size()), QUVEN_ENV);
  if (!value.empty()) writeBytes(value.data(), value.size(), QUVEN_ENV);
}

void QUVENBinObjWriter::writeDouble(double value, const QUVENEnvHandle& env) {
  writeBytes(&value, sizeof value, QUVEN_ENV);
}

void QUVENBinObjWriter::beginObjectType(std::string_view typeName, const QUVENEnvHandle& env) {
  writeKeyword(QUVEN_KWD(BeginObjectType), QUVEN_ENV);
  writeString(typeName, QUVEN_ENV);
}

void QUVENBinObjWriter::beginObject(const QUVENEnvHandle& env) { writeKeyword(QUVEN_KWD(BeginObject), QUVEN_ENV); }

void QUVENBinObjWriter::beginArray(std::int64_t size, const QUVENEnvHandle& env) {
  writeKeyword(QUVEN_KWD(BeginArraySize), QUVEN_ENV);
  writeSignedVarint(size, QUVEN_ENV);
}

void QUVENBinObjWriter::writeNumbers(std::span<const std::int8_t> values, const QUVENEnvHandle& env) {
  writeBytes(values.data(), values.size_bytes(), QUVEN_ENV);
}

void QUVENBinObjWriter::writeNumbers(std::span<const std::uint8_t> values, const QUVENEnvHandle& env) {
  writeBytes(values.data(), values.size_bytes(), QUVEN_ENV);
}

void QUVENBinObjWriter::writeNumbers(std::span<const std::int64_t> values, const QUVENEnvHandle& env) {
  writeEncodedNumbers(values, quvenEncodeSigned, QUVEN_ENV);
}

void QUVENBinObjWriter::writeNumbers(std::span<const std::uint64_t> values, const QUVENEnvHandle& env) {
  writeEncodedNumbers(values, quvenEncodeUnsigned, QUVEN_ENV);
}

void QUVENBinObjWriter::writeNumbers(std::span<const double> values, const QUVENEnvHandle& env) {
  writeBytes(values.data(), values.size_bytes(), QUVEN_ENV);
}
