#include "util/quven_keyword.h"

#include "util/quven_hash.h"

QUVENKeyword::QUVENKeyword(std::string_view keywordName, std::int32_t level, std::int32_t ordinal, std::int32_t code)
    : ivName(keywordName), classLevel(level), fieldOrdinal(ordinal), keywordCode(code) {
  using quven_hash::factor;
  using quven_hash::offset;
  std::uint32_t x = ivName.hash() + static_cast<std::uint32_t>(classLevel);
  x = static_cast<std::uint32_t>(fieldOrdinal) - x * factor - offset;
  x = static_cast<std::uint32_t>(keywordCode) - x * factor - offset;
  keywordHash = hashInt(hashIntegerKey(x));
}

const QUVENKeyword& quvenKeyword_BeginObject() {
  static const QUVENKeyword keyword = QUVENKeyword::reserved("BeginObject", 1);
  return keyword;
}

const QUVENKeyword& quvenKeyword_BeginObjectType() {
  static const QUVENKeyword keyword = QUVENKeyword::reserved("BeginObjectType", 2);
  return keyword;
}

const QUVENKeyword& quvenKeyword_EndObject() {
  static const QUVENKeyword keyword = QUVENKeyword::reserved("EndObject", 3);
  return keyword;
}

const QUVENKeyword& quvenKeyword_BeginArray() {
  static const QUVENKeyword keyword = QUVENKeyword::reserved("BeginArray", 4);
  return keyword;
}

const QUVENKeyword& quvenKeyword_BeginArraySize() {
  static const QUVENKeyword keyword = QUVENKeyword::reserved("BeginArraySize", 5);
  return keyword;
}

const QUVENKeyword& quvenKeyword_EndArray() {
  static const QUVENKeyword keyword = QUVENKeyword::reserved("EndArray", 6);
  return keyword;
}
