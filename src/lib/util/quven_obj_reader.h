#ifndef QUVEN_OBJ_READER_H
#define QUVEN_OBJ_READER_H

#include <cstdint>
#include <limits>
#include <span>
#include <string>

#include "util/quven_env.h"
#include "util/quven_keyvalue_xashtable.h"
#include "util/quven_keyword.h"
#include "util/quven_obj_writer.h"
#include "util/quven_string.h"

class QUVENObject;
class QUVENOwnPtrBase;
class QUVENTypeName;

/// The reading half of the object streams.
///
/// A keyword is read into a buffer of one and stays there until somebody takes it. Members may come in any order; a
/// class takes those that it knows.
/// Errors:   all of a derived class are fatal reports.
/// Lifetime: one reader a stream, one thread a stream. It keeps its tables in the environment of its construction.
class QUVENObjReader {
 public:
  explicit QUVENObjReader(const QUVENEnvHandle& env) : environment(&env.resolve()) {}
  QUVENObjReader(const QUVENObjReader&) = delete;
  QUVENObjReader& operator=(const QUVENObjReader&) = delete;

  virtual ~QUVENObjReader();
  /// Reads the next keyword into the buffer, or notes the end of the input there.
  virtual void readNextKeyword(const QUVENEnvHandle& env) = 0;
  /// Called for a keyword that no member takes; fatal.
  virtual void reportUnexpectedKeyword(const QUVENEnvHandle& env);
  virtual std::int8_t readSignedByte(const QUVENEnvHandle& env) = 0;
  virtual std::uint8_t readUnsignedByte(const QUVENEnvHandle& env) = 0;
  virtual void readString(std::string& value, const QUVENEnvHandle& env) = 0;
  virtual std::uint64_t readUnsignedVarint(const QUVENEnvHandle& env) = 0;
  virtual std::int64_t readSignedVarint(const QUVENEnvHandle& env) = 0;
  virtual double readDouble(const QUVENEnvHandle& env) = 0;
  /// Expects "BeginObjectType" and returns the name of the type, empty for no object; valid until the next call.
  virtual const QUVENStringWithHash& readObjectType(const QUVENEnvHandle& env) = 0;
  /// Called for a type that is not registered; fatal.
  virtual void reportUnknownObjectType(const QUVENEnvHandle& env);
  virtual void expectBeginObject(const QUVENEnvHandle& env) = 0;
  /// Expects "BeginArraySize" and returns the number of elements; a negative one announces an array that is read until
  /// atArrayEnd.
  virtual std::int64_t expectBeginArraySize(const QUVENEnvHandle& env) = 0;
  /// Errors: "Function/Feature not yet implemented" unless a form has such arrays.
  virtual bool atArrayEnd(const QUVENEnvHandle& env);
  /// Whether a form knows how to go on behind a keyword that no member takes.
  virtual bool canSkipUnknown() const { return false; }

  // The elements of an array of numbers, in one call.
  virtual void readNumbers(std::span<std::int8_t> values, const QUVENEnvHandle& env);
  virtual void readNumbers(std::span<std::uint8_t> values, const QUVENEnvHandle& env);
  virtual void readNumbers(std::span<std::int64_t> values, const QUVENEnvHandle& env);
  virtual void readNumbers(std::span<std::uint64_t> values, const QUVENEnvHandle& env);
  virtual void readNumbers(std::span<double> values, const QUVENEnvHandle& env);

  /// Refuses a number of elements, each of some bytes at least, that the rest of the stream cannot hold.
  virtual void checkCount(std::uint64_t count, std::uint64_t fewestBytesEach, const QUVENEnvHandle& env);
  /// How many elements to make room for at a time: all that are announced, unless nobody knows what the stream holds.
  virtual long getElementsAtATime() const { return std::numeric_limits<long>::max(); }

  // The bytes of the stream themselves, for elements that come in thousands. Forms other than the binary one have none.
  /// The next bytes as far as they are at hand, maybe none; skipBytes takes bytes of it.
  virtual std::span<const char> getBytesAhead() const { return {}; }
  virtual void skipBytes(std::size_t) {}

  /// Whether this keyword comes next; then it is matched, and whoever reads its value calls takeKeyword.
  bool keywordMatches(const QUVENKeyword& keyword, const QUVENEnvHandle& env);
  /// The value of the matched keyword was read: the next test reads a new keyword.
  void takeKeyword() { bufferState = NothingBuffered; }
  /// Whether the last keyword is done with. A class asks after its base has looked at a keyword.
  bool isKeywordTaken() const { return bufferState == NothingBuffered; }
  bool isAtEnd() const { return bufferState == EndOfInput; }
  /// The buffered keyword if it is a name in text form, else empty.
  std::string_view getBufferedName() const;

  std::int32_t getDepth() const { return depth; }
  std::int32_t getKeywordsRead() const { return keywordsRead; }

  /// Notes an object that others refer to by name, for the rest of the stream. The latest of a name counts.
  void putBackPointer(const QUVENStringWithHash& name, void* pointer, const QUVENEnvHandle& env);
  /// The object noted under a name, or null.
  template <class T>
  void getBackPointer(T*& pointer, const QUVENStringWithHash& name) const {
    void* const* found = backPointers.find(name);
    pointer = found == nullptr ? nullptr : static_cast<T*>(*found);
  }

  /// Reads the members of an object up to its "EndObject".
  void readObjectBody(QUVENObject& object, const QUVENEnvHandle& env) {
    beginObjectBody(env);
    readObjectMembers(object, env);
  }
  // The same in two steps, for a reader that looks at the first member before it chooses the object.
  void beginObjectBody(const QUVENEnvHandle& env);
  void readObjectMembers(QUVENObject& object, const QUVENEnvHandle& env);
  // The frame of an array.
  void beginArrayElements() { ++depth; }
  /// Errors: anything but "EndArray" is an assertion failure.
  void endArrayElements(const QUVENEnvHandle& env);

 protected:
  enum BufferState : std::int32_t { NothingBuffered = 0, Buffered = 1, Matched = 2, EndOfInput = 3 };
  enum BufferedKind : std::int32_t {
    NothingRead = 0,
    NameText = 1,
    IntegerCode = 2,
    LevelAndOrdinal = 3,
    FullKeyword = 4
  };

  // What a form buffers.
  void bufferName(std::string_view name, const QUVENEnvHandle& env);
  void bufferCode(std::int64_t code);
  void bufferLevelAndOrdinal(std::int32_t classLevel, std::int32_t fieldOrdinal);
  void bufferEnd() { bufferState = EndOfInput; }

 private:
  bool isBuffered(const QUVENKeyword& keyword) const;

  // The buffered keyword. Of a full one, copied from a match, the keyword itself is kept: it is static.
  QUVENStringWithHash bufferedName;
  std::int32_t bufferedClassLevel = 0;
  std::int32_t bufferedFieldOrdinal = 0;
  std::int64_t bufferedCode = 0;
  const QUVENKeyword* matchedKeyword = nullptr;
  BufferedKind bufferedKind = NothingRead;
  BufferState bufferState = NothingBuffered;
  std::int32_t depth = 0;
  std::int32_t objectDepth = 0;
  std::int32_t keywordsRead = 0;
  QUVENKeyValueXAshTable<QUVENStringWithHash, void*> backPointers;
  QUVENEnv* environment;
};

/// Reads an object image into an owning pointer of objects of a class.
///
/// An object of the same type that the pointer holds already is read into: what the stream does not mention stays.
/// Otherwise the pointer gets a new object, or null for the image of no object.
/// Errors: a type that is not registered, or not of the expected class, is a fatal report.
void quvenReadObject(QUVENObjReader& reader, QUVENOwnPtrBase& pointer, const QUVENTypeName& expected,
                     const QUVENEnvHandle& env);
/// The same behind the name of the type.
void quvenReadObjectOfType(QUVENObjReader& reader, const QUVENStringWithHash& typeName, QUVENOwnPtrBase& pointer,
                           const QUVENTypeName& expected, const QUVENEnvHandle& env);
/// Makes a new object of a named type, for an image of it to be read into.
/// Errors: a type that is not registered, or not of the expected class, is a fatal report.
void quvenMakeObjectOfType(QUVENObjReader& reader, const QUVENStringWithHash& typeName, QUVENOwnPtrBase& pointer,
                           const QUVENTypeName& expected, const QUVENEnvHandle& env);
/// Reads an object image into an object of just that type, which its owner keeps by value.
/// Errors: the image of another type, or of no object, is a fatal report.
void quvenReadObject(QUVENObjReader& reader, QUVENObject& object, const QUVENEnvHandle& env);

#endif  // QUVEN_OBJ_READER_H
