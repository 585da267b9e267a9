#ifndef QUVEN_KEYWORD_H
#define QUVEN_KEYWORD_H

#include <cstdint>
#include <string_view>

#include "util/quven_string.h"

/// The name of a member in an object stream, or a mark of the stream itself.
///
/// A field keyword has the code of the last keyword before it in the chain of classes plus its ordinal; a code is
/// unique along one chain of inheritance, and unrelated classes use the same codes. A reserved keyword has level 0 and
/// one number for ordinal and code. A name keyword, with zeros, goes as text and marks what follows at the level of the
/// stream.
class QUVENKeyword {
 public:
  /// The level is that of the class: 1 directly under QUVENObject. Ordinals of fields run 1, 2, 3, ... in each class.
  QUVENKeyword(std::string_view keywordName, std::int32_t level, std::int32_t ordinal, const QUVENKeyword& base)
      : QUVENKeyword(keywordName, level, ordinal, base.keywordCode + ordinal) {}

  static QUVENKeyword reserved(std::string_view keywordName, std::int32_t code) {
    return QUVENKeyword(keywordName, 0, code, code);
  }
  static QUVENKeyword name(std::string_view keywordName) { return QUVENKeyword(keywordName, 0, 0, 0); }

  const QUVENStringWithHash& getName() const { return ivName; }
  std::int32_t getClassLevel() const { return classLevel; }
  std::int32_t getFieldOrdinal() const { return fieldOrdinal; }
  std::int32_t getCode() const { return keywordCode; }
  /// A name keyword has no code and goes as text.
  bool isName() const { return keywordCode == 0; }

  /// Hash of all five parts, for tables of keywords. Streams do not use it.
  std::uint32_t hash() const { return keywordHash; }

  friend bool operator==(const QUVENKeyword& a, const QUVENKeyword& b) {
    return a.classLevel == b.classLevel && a.fieldOrdinal == b.fieldOrdinal && a.keywordCode == b.keywordCode &&
           a.ivName == b.ivName;
  }

 private:
  QUVENKeyword(std::string_view keywordName, std::int32_t level, std::int32_t ordinal, std::int32_t code);

  QUVENStringWithHash ivName;
  std::int32_t classLevel;
  std::int32_t fieldOrdinal;
  std::int32_t keywordCode;
  std::uint32_t keywordHash;
};

// The reserved keywords, which every class has in scope as QUVEN_KWD(EndObject) and so on.
const QUVENKeyword& quvenKeyword_BeginObject();
const QUVENKeyword& quvenKeyword_BeginObjectType();
const QUVENKeyword& quvenKeyword_EndObject();
const QUVENKeyword& quvenKeyword_BeginArray();
const QUVENKeyword& quvenKeyword_BeginArraySize();
const QUVENKeyword& quvenKeyword_EndArray();

/// A keyword by its name: a reserved one anywhere, that of a member inside the class that lists it.
#define QUVEN_KWD(keywordName) quvenKeyword_##keywordName()

#endif  // QUVEN_KEYWORD_H
