#ifndef QUVEN_BIN_OBJ_WRITER_H
#define QUVEN_BIN_OBJ_WRITER_H

#include "util/quven_blob_io.h"
#include "util/quven_obj_writer.h"

/// The binary form: tagged, compact, without header. Numbers other than integers of variable length are little-endian.
///
/// Errors:   a byte stream that fails is the fatal report "BLOB I/O Write Error", and isOk is false then.
/// Lifetime: the byte stream belongs to the caller.
class QUVENBinObjWriter final : public QUVENObjWriter {
 public:
  QUVENBinObjWriter(QUVENBlobIO& byteStream, std::int32_t mode) : QUVENObjWriter(mode), blob(&byteStream) {}

  void writeKeyword(const QUVENKeyword& keyword, const QUVENEnvHandle& env) override;
  void writeSignedByte(std::int8_t value, const QUVENEnvHandle& env) override;
  void writeUnsignedByte(std::uint8_t value, const QUVENEnvHandle& env) override;
  void writeString(std::string_view value, const QUVENEnvHandle& env) override;
  void writeUnsignedVarint(std::uint64_t value, const QUVENEnvHandle& env) override;
  void writeSignedVarint(std::int64_t value, const QUVENEnvHandle& env) override;
  void writeDouble(double value, const QUVENEnvHandle& env) override;
  void beginObjectType(std::string_view typeName, const QUVENEnvHandle& env) override;
  void beginObject(const QUVENEnvHandle& env) override;
  void beginArray(std::int64_t size, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::int8_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::uint8_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::int64_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::uint64_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const double> values, const QUVENEnvHandle& env) override;
  char* roomForBytes(std::size_t count) override {
    return blob->getStatus() == QUVENBlobIO::Good ? blob->roomFor(count) : nullptr;
  }
  void commitBytes(std::size_t count) override { blob->commit(count); }

 private:
  void writeBytes(const void* bytes, std::size_t count, const QUVENEnvHandle& env);
  template <class Encode>
  void writeEncoded(Encode encode, const QUVENEnvHandle& env);
  template <class Number, class Encode>
  void writeEncodedNumbers(std::span<const Number> values, Encode encode, const QUVENEnvHandle& env);
  void checkStatus(const QUVENEnvHandle& env) {
    if (blob->getStatus() != QUVENBlobIO::Good) reportWriteError(env);
  }
  void reportWriteError(const QUVENEnvHandle& env);

  QUVENBlobIO* blob;
};

#endif  // QUVEN_BIN_OBJ_WRITER_H
