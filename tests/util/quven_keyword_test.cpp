#include "util/quven_keyword.h"

#include "stream_language.h"

namespace {

struct Parts {
  std::string name;
  int level, ordinal, code;
  friend bool operator==(const Parts&, const Parts&) = default;
};

Parts partsOf(const QUVENKeyword& keyword) {
  return {keyword.getName().str(), keyword.getClassLevel(), keyword.getFieldOrdinal(), keyword.getCode()};
}

/// The chain of hash steps, written out.
std::uint32_t literalHash(const Parts& parts) {
  constexpr std::uint32_t factor = 1354167659;
  constexpr std::uint32_t offset = 775096599;
  std::uint32_t x = hashBytes(parts.name.data(), parts.name.size(), 0) + static_cast<std::uint32_t>(parts.level);
  x = static_cast<std::uint32_t>(parts.ordinal) - x * factor - offset;
  x = static_cast<std::uint32_t>(parts.code) - x * factor - offset;
  return hashInt(3519870697U - x * factor);
}

}  // namespace

TEST(QUVENKeyword, ReservedOnesHaveOneNumberForOrdinalAndCode) {
  EXPECT_EQ(partsOf(QUVEN_KWD(BeginObject)), (Parts{"BeginObject", 0, 1, 1}));
  EXPECT_EQ(partsOf(QUVEN_KWD(BeginObjectType)), (Parts{"BeginObjectType", 0, 2, 2}));
  EXPECT_EQ(partsOf(QUVEN_KWD(EndObject)), (Parts{"EndObject", 0, 3, 3}));
  EXPECT_EQ(partsOf(QUVEN_KWD(BeginArray)), (Parts{"BeginArray", 0, 4, 4}));
  EXPECT_EQ(partsOf(QUVEN_KWD(BeginArraySize)), (Parts{"BeginArraySize", 0, 5, 5}));
  EXPECT_EQ(partsOf(QUVEN_KWD(EndArray)), (Parts{"EndArray", 0, 6, 6}));
}

TEST(QUVENKeyword, AFieldFollowsTheLastKeywordOfTheBase) {
  const QUVENKeyword first("ivFirst", 1, 1, QUVEN_KWD(EndArray));
  const QUVENKeyword second("ivSecond", 1, 2, QUVEN_KWD(EndArray));
  const QUVENKeyword derived("ivDerived", 2, 1, second);
  EXPECT_EQ(partsOf(first), (Parts{"ivFirst", 1, 1, 7}));
  EXPECT_EQ(partsOf(second), (Parts{"ivSecond", 1, 2, 8}));
  EXPECT_EQ(partsOf(derived), (Parts{"ivDerived", 2, 1, 9}));
  EXPECT_FALSE(first.isName());
}

TEST(QUVENKeyword, ANameHasZerosAndGoesAsText) {
  const QUVENKeyword mark = QUVENKeyword::name("ScanResult");
  EXPECT_EQ(partsOf(mark), (Parts{"ScanResult", 0, 0, 0}));
  EXPECT_TRUE(mark.isName());
}

TEST(QUVENKeyword, IsOneInstanceAKeyword) {
  EXPECT_EQ(&QUVEN_KWD(EndArray), &QUVEN_KWD(EndArray));
  EXPECT_TRUE(QUVEN_KWD(EndArray).getName().isHashValid());
}

TEST(QUVENKeyword, EqualsInAllItsParts) {
  const QUVENKeyword& base = QUVEN_KWD(EndArray);
  const QUVENKeyword keyword("ivA", 1, 2, base);
  EXPECT_TRUE(keyword == QUVENKeyword("ivA", 1, 2, base));
  EXPECT_FALSE(keyword == QUVENKeyword("ivB", 1, 2, base));
  EXPECT_FALSE(keyword == QUVENKeyword("ivA", 2, 2, base));
  EXPECT_FALSE(keyword == QUVENKeyword("ivA", 1, 3, base));
  EXPECT_FALSE(keyword == QUVENKeyword("ivA", 1, 2, QUVEN_KWD(EndObject)));
}

TEST(QUVENKeyword, HashesAllItsParts) {
  const QUVENKeyword first("ivFirst", 1, 1, QUVEN_KWD(EndArray));
  const QUVENKeyword deep("ivNumberOfRecords", 7, 12, first);
  for (const QUVENKeyword& keyword : {first, deep, QUVENKeyword::name("ScanResult"), QUVENKeyword::name(""),
                                      QUVEN_KWD(BeginObject), QUVEN_KWD(EndArray)}) {
    EXPECT_EQ(keyword.hash(), literalHash(partsOf(keyword))) << keyword.getName().str();
  }
  EXPECT_NE(first.hash(), QUVENKeyword("ivFirst", 1, 2, QUVEN_KWD(EndArray)).hash());
  EXPECT_NE(first.hash(), QUVENKeyword("ivFirst", 2, 1, QUVEN_KWD(EndArray)).hash());
  EXPECT_NE(first.hash(), QUVENKeyword("ivFirsu", 1, 1, QUVEN_KWD(EndArray)).hash());
}
