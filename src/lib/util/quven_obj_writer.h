#ifndef QUVEN_OBJ_WRITER_H
#define QUVEN_OBJ_WRITER_H

#include <cstdint>
#include <span>
#include <string_view>

#include "util/quven_env.h"
#include "util/quven_keyword.h"

class QUVENObject;
class QUVENOwnPtrBase;

/// Objects nest at most this deep in a stream, so that a hostile one cannot use up the call stack.
inline constexpr std::int32_t quvenMaxObjectDepth = 1000;

/// The writing half of the object streams: a stream of keywords and values, in the form of the derived class.
///
/// Errors:   all of a derived class are fatal reports.
/// Lifetime: one writer a stream, one thread a stream.
class QUVENObjWriter {
 public:
  /// An ordinary save; one for a worker; and one in which a class writes only what a merge of scan results needs.
  enum WriterMode : std::int32_t { Save = 0, SaveForWorker = 1, ScanResults = 2 };

  explicit QUVENObjWriter(std::int32_t mode) : writerMode(mode) {}
  QUVENObjWriter(const QUVENObjWriter&) = delete;
  QUVENObjWriter& operator=(const QUVENObjWriter&) = delete;

  virtual ~QUVENObjWriter();
  /// Comes before every keyword and every element of an array that is not written as a block. For forms with lines.
  virtual void beginItem(const QUVENEnvHandle&) {}
  virtual void writeKeyword(const QUVENKeyword& keyword, const QUVENEnvHandle& env) = 0;
  virtual void writeSignedByte(std::int8_t value, const QUVENEnvHandle& env) = 0;
  virtual void writeUnsignedByte(std::uint8_t value, const QUVENEnvHandle& env) = 0;
  virtual void writeString(std::string_view value, const QUVENEnvHandle& env) = 0;
  virtual void writeUnsignedVarint(std::uint64_t value, const QUVENEnvHandle& env) = 0;
  virtual void writeSignedVarint(std::int64_t value, const QUVENEnvHandle& env) = 0;
  virtual void writeDouble(double value, const QUVENEnvHandle& env) = 0;
  /// The keyword "BeginObjectType" and the name of the type, empty for no object.
  virtual void beginObjectType(std::string_view typeName, const QUVENEnvHandle& env) = 0;
  /// The keyword "BeginObject" alone.
  virtual void beginObject(const QUVENEnvHandle& env) = 0;
  /// The keyword "BeginArraySize" and the number of elements.
  virtual void beginArray(std::int64_t size, const QUVENEnvHandle& env) = 0;

  // The elements of an array of numbers, in one call. The stream is the same as of one call an element.
  virtual void writeNumbers(std::span<const std::int8_t> values, const QUVENEnvHandle& env);
  virtual void writeNumbers(std::span<const std::uint8_t> values, const QUVENEnvHandle& env);
  virtual void writeNumbers(std::span<const std::int64_t> values, const QUVENEnvHandle& env);
  virtual void writeNumbers(std::span<const std::uint64_t> values, const QUVENEnvHandle& env);
  virtual void writeNumbers(std::span<const double> values, const QUVENEnvHandle& env);

  // The bytes of the stream themselves, for elements that come in thousands. Forms other than the binary one have none.
  /// A place for up to count bytes, which commitBytes then puts into the stream; null where there is none.
  virtual char* roomForBytes(std::size_t) { return nullptr; }
  virtual void commitBytes(std::size_t) {}

  /// Whether everything so far was written.
  bool isOk() const { return ok != 0; }
  std::int32_t getWriterMode() const { return writerMode; }
  std::int32_t getDepth() const { return depth; }

  /// From now on scans are numbered 1, 2, ... in the order in which they are written. Their serial numbers depend on
  /// all that the environment has made, so they would make two files of the same objects differ.
  void numberScansAnew() { lastScanNumber = 0; }
  /// The number to write for the next scan.
  std::int32_t chooseScanNumber(std::int32_t serialNumber) {
    return lastScanNumber < 0 ? serialNumber : ++lastScanNumber;
  }

  /// Takes an object in the place of its image, for a writer that only looks for objects. False: it is to be written.
  virtual bool collect(const QUVENObject&) { return false; }

  // The frame of an object image that is written by hand.
  /// Errors: more than quvenMaxObjectDepth objects around each other are a fatal report.
  void raiseDepth(const QUVENEnvHandle& env);
  void lowerDepth() { --depth; }

 protected:
  std::int32_t ok = 1;
  std::int32_t writerMode;
  std::int32_t depth = 0;

 private:
  std::int32_t lastScanNumber = -1;  // below 0: scans have their serial numbers
};

/// Writes the image of an object: its type, its members, "EndObject".
void quvenWriteObject(QUVENObjWriter& writer, const QUVENObject& object, const QUVENEnvHandle& env);
/// The same for an object or null.
void quvenWriteObject(QUVENObjWriter& writer, const QUVENObject* object, const QUVENEnvHandle& env);

#endif  // QUVEN_OBJ_WRITER_H
