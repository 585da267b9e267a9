#ifndef QUVEN_BIN_OBJ_READER_H
#define QUVEN_BIN_OBJ_READER_H

#include "util/quven_blob_io.h"
#include "util/quven_obj_reader.h"

/// Reads what QUVENBinObjWriter writes.
///
/// Errors:   an input that ends too early or fails is "BLOB Binary I/O Read Error", and so are numbers beyond 64 bits
///           and lengths beyond the rest of the stream. A keyword out of place has its own text. All are fatal reports.
/// Lifetime: the byte stream belongs to the caller. Bytes behind the last object stay unread.
class QUVENBinObjReader final : public QUVENObjReader {
 public:
  QUVENBinObjReader(QUVENBlobIO& byteStream, const QUVENEnvHandle& env) : QUVENObjReader(env), blob(&byteStream) {}

  void readNextKeyword(const QUVENEnvHandle& env) override;
  std::int8_t readSignedByte(const QUVENEnvHandle& env) override;
  std::uint8_t readUnsignedByte(const QUVENEnvHandle& env) override;
  void readString(std::string& value, const QUVENEnvHandle& env) override;
  std::uint64_t readUnsignedVarint(const QUVENEnvHandle& env) override;
  std::int64_t readSignedVarint(const QUVENEnvHandle& env) override;
  double readDouble(const QUVENEnvHandle& env) override;
  const QUVENStringWithHash& readObjectType(const QUVENEnvHandle& env) override;
  void expectBeginObject(const QUVENEnvHandle& env) override;
  std::int64_t expectBeginArraySize(const QUVENEnvHandle& env) override;
  void readNumbers(std::span<std::int8_t> values, const QUVENEnvHandle& env) override;
  void readNumbers(std::span<std::uint8_t> values, const QUVENEnvHandle& env) override;
  void readNumbers(std::span<std::int64_t> values, const QUVENEnvHandle& env) override;
  void readNumbers(std::span<std::uint64_t> values, const QUVENEnvHandle& env) override;
  void readNumbers(std::span<double> values, const QUVENEnvHandle& env) override;
  void checkCount(std::uint64_t count, std::uint64_t fewestBytesEach, const QUVENEnvHandle& env) override;
  long getElementsAtATime() const override;
  std::span<const char> getBytesAhead() const override { return blob->getReadWindow(); }
  void skipBytes(std::size_t count) override { blob->skip(count); }

 private:
  enum class AtEnd { IsError, IsAllowed };

  /// Reads just that many bytes.
  void readBytes(void* bytes, std::size_t count, const QUVENEnvHandle& env);
  /// The bytes of a length that was read before; valid until the next read from the byte stream.
  std::string_view readText(std::int64_t length, const QUVENEnvHandle& env);
  /// The bytes of a number of variable length in bytes; false at the end of the input, where that is allowed.
  bool readVarintBytes(char* bytes, AtEnd atEnd, const QUVENEnvHandle& env);
  template <class Number, class Decode>
  bool readVarint(Number& value, Decode decode, AtEnd atEnd, const QUVENEnvHandle& env);
  template <class Number, class Decode>
  void readVarints(std::span<Number> values, Decode decode, const QUVENEnvHandle& env);
  void expectKeyword(const QUVENKeyword& expected, const char* textAtEnd, const QUVENEnvHandle& env);
  [[noreturn]] void reportReadError(const QUVENEnvHandle& env);

  QUVENBlobIO* blob;
  std::string scratch;
  QUVENStringWithHash objectType;
};

#endif  // QUVEN_BIN_OBJ_READER_H
