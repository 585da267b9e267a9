#include "kernel/quven_field.h"

#include <cmath>
#include <limits>
#include <span>
#include <tuple>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel_fixture.h"
#include "util/quven_registration.h"

/// A field that overrides nothing.
class QUVENTestField : public QUVENObjectOf<QUVENTestField, QUVENField> {
 public:
  explicit QUVENTestField(const QUVENEnvHandle& env) : Members(QUVENFieldType::Numeric, env) {}
};
QUVEN_REGISTER(QUVENTestField);

namespace {

class QUVENFieldTest : public KernelTest {
 protected:
  void TearDown() override {
    num.reset(QUVEN_ENV);
    cat.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }
  void setNumValues(std::initializer_list<double> values) {
    QUVENXaRay<double> array;
    array.fromZeroBased({values.begin(), values.size()}, QUVEN_ENV);
    num->setNumValues(array, QUVEN_ENV);
    array.deleteMemory(QUVEN_ENV);
  }

  QUVENOwnPtr<QUVENNumField> num = make<QUVENNumField>();
  QUVENOwnPtr<QUVENCatField> cat = make<QUVENCatField>();
};

TEST_F(QUVENFieldTest, StartsWithoutNameRoleAndValue) {
  EXPECT_TRUE(num->getName().isEmpty());
  EXPECT_TRUE(num->getAlias().isEmpty());
  EXPECT_EQ(num->getPurpose(), 0);
  EXPECT_FALSE(num->isComputed());
  EXPECT_EQ(num->getActualChannelCount(), 1);
  EXPECT_FALSE(num->hasValue());
  EXPECT_FALSE(num->isMissing());
  EXPECT_FALSE(num->isLineNumber());
  EXPECT_FALSE(num->hasDistribution());
  EXPECT_EQ(static_cast<std::int32_t>(num->getType()), 2);
  EXPECT_TRUE(num->isNumeric());
  EXPECT_FALSE(cat->isNumeric());
}

TEST_F(QUVENFieldTest, TheKeywordsAreInTheOrderOfTheStream) {
  std::vector<std::string> names;
  for (const QUVENKeyword& keyword : QUVENField::keywords()) names.emplace_back(keyword.getName());
  EXPECT_THAT(names, testing::ElementsAre("ivName", "ivPurpose", "ivAlias", "ivFieldType", "ivComputed",
                                          "ivActualChannelCount"));
}

TEST_F(QUVENFieldTest, AValueIsAbsentPresentOrMissing) {
  num->setNumValue(2.5);
  EXPECT_TRUE(num->hasValue());
  EXPECT_FALSE(num->isMissing());
  EXPECT_EQ(num->getNumValue(QUVEN_ENV), 2.5);
  num->setMissing();
  EXPECT_TRUE(num->hasValue());
  EXPECT_TRUE(num->isMissing());
  EXPECT_EQ(num->getValueIndex(QUVEN_ENV), QUVENField::MissingValueIndex);
  num->clearValue();
  EXPECT_FALSE(num->hasValue());
  EXPECT_FALSE(num->isMissing());
  cat->setMissing();
  cat->setCatValue("red");
  EXPECT_FALSE(cat->isMissing());
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "red");
}

TEST_F(QUVENFieldTest, TheValueOfAMissingFieldIsRefused) {
  num->setMissing();
  cat->setMissing();
  expectFailure([&] { num->getNumValue(QUVEN_ENV); }, "!isMissing()");
  expectFailure([&] { num->getNumValueOfChannel(1, QUVEN_ENV); }, "!isMissing()");
  expectFailure([&] { cat->getCatValue(QUVEN_ENV); }, "!isMissing()");
}

TEST_F(QUVENFieldTest, SeveralChannelsAreBuffered) {
  setNumValues({1, 2, 4});
  EXPECT_EQ(num->getNumValues(), 3);
  EXPECT_EQ(num->getNumValueOfChannel(1, QUVEN_ENV), 1);
  EXPECT_EQ(num->getNumValueOfChannel(3, QUVEN_ENV), 4);
  EXPECT_EQ(num->getNumValue(QUVEN_ENV), 1);
  setNumValues({8, 9});
  EXPECT_EQ(num->getNumValues(), 2);
  EXPECT_EQ(num->getNumValueOfChannel(2, QUVEN_ENV), 9);
  expectFailure([&] { num->getNumValueOfChannel(3, QUVEN_ENV); }, "1 <= channel && channel <= numValueCount");
  expectFailure([&] { num->getNumValueOfChannel(0, QUVEN_ENV); }, "1 <= channel && channel <= numValueCount");
  num->setNumValue(5);
  EXPECT_EQ(num->getNumValues(), 0);
  setNumValues({});
  EXPECT_FALSE(num->hasValue());
}

TEST_F(QUVENFieldTest, ASavedValueComesBackWhole) {
  QUVENFieldValue saved;
  setNumValues({1, 2, 4});
  num->saveValue(saved, QUVEN_ENV);
  num->setMissing();
  num->restoreValue(saved, QUVEN_ENV);
  EXPECT_TRUE(num->hasValue());
  EXPECT_FALSE(num->isMissing());
  EXPECT_EQ(num->getNumValues(), 3);
  EXPECT_EQ(num->getNumValueOfChannel(3, QUVEN_ENV), 4);

  num->setMissing();
  num->saveValue(saved, QUVEN_ENV);
  num->setNumValue(6);
  num->restoreValue(saved, QUVEN_ENV);
  EXPECT_TRUE(num->isMissing());
  num->clearValue();
  num->saveValue(saved, QUVEN_ENV);
  num->setNumValue(6);
  num->restoreValue(saved, QUVEN_ENV);
  EXPECT_FALSE(num->hasValue());

  cat->setCatValue("red");
  cat->saveValue(saved, QUVEN_ENV);
  cat->setCatValue("green");
  cat->restoreValue(saved, QUVEN_ENV);
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "red");
  expectFailure([&] { num->restoreValue(saved, QUVEN_ENV); }, "savedfieldval.ivFieldType == getType()");
  saved.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, ANumberKeepsTheTextThatItWasGiven) {
  cat->setCatValue("red");
  EXPECT_FALSE(cat->setCatValueOf(5));
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "red");
  cat->setCatValueOf(5, "five");
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "five");
  cat->setMissing();
  EXPECT_FALSE(cat->setCatValueOf(6));
  EXPECT_TRUE(cat->isMissing());
  EXPECT_TRUE(cat->setCatValueOf(5));
  EXPECT_FALSE(cat->isMissing());
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "five");
  cat->setCatValue(cat->getCatValue(QUVEN_ENV));  // its own text
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "five");
  cat->setCatValue("red");
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "red");
}

TEST_F(QUVENFieldTest, TheTextOfANumberIsSavedAndCopied) {
  QUVENFieldValue saved;
  cat->setCatValueOf(5, "five");
  cat->saveValue(saved, QUVEN_ENV);
  cat->setCatValueOf(6, "six");
  cat->restoreValue(saved, QUVEN_ENV);
  EXPECT_EQ(cat->getCatValue(QUVEN_ENV).str(), "five");
  ASSERT_TRUE(cat->setCatValueOf(6));
  QUVENOwnPtr<QUVENCatField> copy = make<QUVENCatField>();
  copy->copyFromPrimitive(cat.get(), QUVEN_ENV);
  cat->setCatValue("red");
  EXPECT_EQ(copy->getCatValue(QUVEN_ENV).str(), "six");
  EXPECT_FALSE(copy->setCatValueOf(6));  // it learns the texts of numbers anew
  copy.reset(QUVEN_ENV);
  saved.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, TheIndexOfANumberFollowsTheCategories) {
  const auto set = [this](double number) {
    if (!cat->setCatValueOf(number)) cat->setCatValueOf(number, number == 1 ? "one" : "two");
    return cat->getValueIndex(QUVEN_ENV);
  };
  const auto pass = [&](double frequent, double rare) {
    cat->beginDistributionPass(QUVEN_ENV);
    for (std::uint32_t record = 1; record <= 5; ++record) {
      set(record <= 3 ? frequent : rare);
      cat->updateDistribution(record, QUVEN_ENV);
    }
    cat->endDistributionPass(QUVEN_ENV);
  };
  EXPECT_EQ(set(1), QUVENField::DefaultValueIndex);  // there are no categories yet
  cat->setSampleFlag(true, QUVEN_ENV);
  EXPECT_EQ(set(1), QUVENField::DefaultValueIndex);
  pass(1, 2);
  EXPECT_EQ(set(1), 1);
  EXPECT_EQ(set(2), 2);
  pass(2, 1);  // counts, and leaves the categories
  EXPECT_EQ(cat->getDistribution()->getCat(1).getCount(), 2);
  EXPECT_EQ(cat->getDistribution()->getCat(2).getCount(), 3);
  EXPECT_EQ(set(2), 2);
  // The distribution of another field comes by a stream, as on the ranks above 0.
  QUVENOwnPtr<QUVENCatField> other = make<QUVENCatField>();
  readImage(imageOf(*cat), other);
  cat->setSampleFlag(false, QUVEN_ENV);
  EXPECT_EQ(set(2), QUVENField::DefaultValueIndex);
  cat->setSampleFlag(true, QUVEN_ENV);
  pass(2, 1);
  EXPECT_EQ(set(2), 1);
  readImage(imageOf(*other), cat);
  EXPECT_EQ(set(2), 2);
  cat->copyFromPrimitive(other.get(), QUVEN_ENV);
  EXPECT_EQ(set(1), 1);
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, ABaseOfFieldsImplementsNothing) {
  QUVENOwnPtr<QUVENTestField> base = make<QUVENTestField>();
  QUVENOwnPtr<QUVENDataPoint> point = make<QUVENDataPoint>();
  const QUVENStringWithHash text("text");
  expectFailure([&] { base->hasScanResult(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { std::ignore = base->merge(num.get(), QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->getNumDistValues(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->setSampleFlag(true, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->computeValue(*point, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->reservedOperation(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->updateDistribution(1, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->beginDistributionPass(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->endDistributionPass(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->getIndexOfText(text, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->getIndexOfValue(1, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->getCategoryText(1, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->sampleFromDistribution(1, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base->hasDistribution(); }, notImplementedText);
  base.reset(QUVEN_ENV);
  point.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, ReservedOperationsDoNothing) {
  num->reservedOperation(QUVEN_ENV);
  cat->reservedOperation(QUVEN_ENV);
  EXPECT_FALSE(num->hasValue());
  EXPECT_FALSE(cat->hasValue());
}

TEST_F(QUVENFieldTest, OperationsOfTheOtherKindAreRefused) {
  expectFailure([&] { num->getIndexOfText(QUVENStringWithHash("a"), QUVEN_ENV); }, "ASSERTION FAILED (0)\n");
  expectFailure([&] { num->getCategoryText(1, QUVEN_ENV); }, unreachableText);
  expectFailure([&] { cat->getIndexOfValue(1, QUVEN_ENV); }, unreachableText);
}

TEST_F(QUVENFieldTest, StreamsCarryTheColumnAndNotTheValue) {
  num->setName("age");
  num->setAlias("years");
  num->setPurpose(7);
  num->setComputed(true);
  num->setActualChannelCount(3);
  num->setNumValue(5);
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
    QUVENOwnPtr<QUVENNumField> read = objectOf<QUVENNumField>(imageOf(*num, mode));
    EXPECT_EQ(read->getName().str(), "age");
    EXPECT_EQ(read->getAlias().str(), "years");
    EXPECT_EQ(read->getPurpose(), 7);
    EXPECT_TRUE(read->isComputed());
    EXPECT_EQ(read->getActualChannelCount(), 3);
    EXPECT_FALSE(read->hasValue());
    EXPECT_EQ(read->getMergeWithSerialNumber(), num->getSerialNumber());
    read.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENFieldTest, AResultCarriesNothingOfTheColumn) {
  num->setName("age");
  num->setAlias("years");
  num->setPurpose(7);
  const std::string result = imageOf(*num, QUVENObjWriter::ScanResults);
  EXPECT_EQ(result.find("age"), std::string::npos);
  QUVENOwnPtr<QUVENNumField> read = objectOf<QUVENNumField>(result);
  EXPECT_TRUE(read->getName().isEmpty());
  EXPECT_EQ(read->getPurpose(), 0);
  read.reset(QUVEN_ENV);
}

// Member by member, in the order and the widths of the stream: a result has the number of its scan and its
// distribution.
TEST_F(QUVENFieldTest, TheImageOfAFieldIsThatOfItsMembers) {
  num->setName("age");
  num->setAlias("years");
  num->setPurpose(7);
  num->setComputed(true);
  num->setActualChannelCount(3);
  cat->setName("colour");
  const auto imageByHand = [&](const QUVENField& field, std::span<const QUVENKeyword> own, std::int32_t mode) {
    return written(mode, [&](QUVENObjWriter& writer) {
      const bool isResult = mode == QUVENObjWriter::ScanResults;
      const auto write = [&](const QUVENKeyword& keyword, const auto& value) {
        quvenWrite(writer, keyword, value, QUVEN_ENV);
      };
      writer.beginObjectType(field.isNumeric() ? "QUVENNumField" : "QUVENCatField", QUVEN_ENV);
      write(QUVENDataScan::keywords()[0], isResult ? 0 : field.getSerialNumber());
      if (!isResult) {
        const auto keywords = QUVENField::keywords();
        write(keywords[0], field.getName().str());
        write(keywords[1], field.getPurpose());
        write(keywords[2], field.getAlias().str());
        write(keywords[3], std::int64_t{field.isNumeric() ? 2 : 1});
        write(keywords[4], std::int32_t{field.isComputed()});
        write(keywords[5], field.getActualChannelCount());
        write(own[0], std::int32_t{0});
      }
      const QUVENOwnPtr<QUVENNumFieldDist> none;
      write(own[1], none);
      writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
    });
  };
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    EXPECT_EQ(imageOf(*num, mode), imageByHand(*num, QUVENNumField::keywords(), mode)) << mode;
    EXPECT_EQ(imageOf(*cat, mode), imageByHand(*cat, QUVENCatField::keywords(), mode)) << mode;
  }
}

TEST_F(QUVENFieldTest, AStreamDoesNotPutAnotherFieldInItsPlace) {
  num->setName("age");
  const std::string age = imageOf(*num);
  QUVENOwnPtr<QUVENNumField> other = make<QUVENNumField>();
  other->setName("weight");
  const std::string weight = imageOf(*other);

  readImage(age, num);  // its own name
  EXPECT_EQ(num->getName().str(), "age");
  expectFailure([&] { readImage(weight, num); }, "*** ERROR age != weight");
  expectFailure([&] { readImage(weight, num); }, "ivName.size() <= 0 || ivName == tempName",
                "Attempt to overwrite an existing field object with a different field");
  EXPECT_EQ(num->getName().str(), "age");
  other->setName("");
  const std::string nameless = imageOf(*other);
  expectFailure([&] { readImage(nameless, num); }, "*** ERROR age != ");
  readImage(age, other);  // a field without a name takes any
  EXPECT_EQ(other->getName().str(), "age");
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, ACopyHasColumnAndValueButNotTheSerialNumber) {
  cat->setName("colour");
  cat->setCatValue("red");
  QUVENOwnPtr<QUVENCatField> copy = quvenNewCopy(*cat, QUVEN_ENV);
  EXPECT_EQ(copy->getName().str(), "colour");
  EXPECT_EQ(copy->getCatValue(QUVEN_ENV).str(), "red");
  EXPECT_NE(copy->getSerialNumber(), cat->getSerialNumber());
  copy.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, ALineNumberKeepsNoDistribution) {
  num->setSampleFlag(true, QUVEN_ENV);
  EXPECT_TRUE(num->hasDistribution());
  num->markAsLineNumber(QUVEN_ENV);
  EXPECT_TRUE(num->isLineNumber());
  EXPECT_FALSE(num->hasDistribution());
  EXPECT_FALSE(num->isSampled());
  num->setSampleFlag(true, QUVEN_ENV);
  EXPECT_FALSE(num->hasDistribution());
  num->setNumValue(4);
  num->updateDistribution(1, QUVEN_ENV);
  num->endDistributionPass(QUVEN_ENV);
  EXPECT_EQ(num->getNumDistValues(QUVEN_ENV), 0);
}

// Worked in whole numbers without a limit, cut to 32 bits after each step, with C = 3519870697 and M = 1354167659. For
// (0, 0): t = C - 0 * M = 0xD1CCF6E9, its halves exchanged 0xF6E9D1CC, and C - 0xF6E9D1CC * M = 4047637157.
TEST(HashPair, GivesTheNumbersWorkedByHand) {
  EXPECT_EQ(hashPair(0, 0), 4047637157U);
  EXPECT_EQ(hashPair(1, 0), 3509519710U);
  EXPECT_EQ(hashPair(0, 1), 705167180U);
  EXPECT_EQ(hashPair(1, 2), 2473714711U);
  EXPECT_EQ(hashPair(0xFFFFFFFFU, 0x12345678U), 3815370213U);
}

TEST(HashPair, IsOneToOneInTheRecordForAName) {
  std::vector<std::uint32_t> hashes;
  for (std::uint32_t record = 0; record < 20000; ++record) hashes.push_back(hashPair(record, 12345));
  std::sort(hashes.begin(), hashes.end());
  EXPECT_EQ(std::adjacent_find(hashes.begin(), hashes.end()), hashes.end());
}

TEST_F(QUVENFieldTest, AModelReadsAChannelOrTheSingleValue) {
  EXPECT_EQ(num->getNumValueOrSingle(1), 0);
  num->setMissing();
  EXPECT_EQ(num->getNumValueOrSingle(1), 0);
  num->setNumValue(7);
  for (const long channel : {0L, 1L, 9L}) EXPECT_EQ(num->getNumValueOrSingle(channel), 7);
  setNumValues({1, 2, 4});
  EXPECT_EQ(num->getNumValueOrSingle(0), 1);
  EXPECT_EQ(num->getNumValueOrSingle(3), 4);
  EXPECT_EQ(num->getNumValueOrSingle(4), 1);
  cat->setCatValue("5");
  EXPECT_EQ(cat->getNumValueOrSingle(1), 0);
}

TEST_F(QUVENFieldTest, AModelWritesAChannel) {
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(3);
  QUVENOwnPtr<QUVENNumField> field = make<QUVENNumField>();
  for (const int record : {1, 2}) {
    SCOPED_TRACE(record);
    field->setNumValueOfChannel(2, 5, QUVEN_ENV);
    EXPECT_EQ(field->getNumValues(), 3);
    EXPECT_TRUE(std::isnan(field->getNumValueOrSingle(1)));
    EXPECT_TRUE(std::isnan(field->getNumValue(QUVEN_ENV)));
    EXPECT_EQ(field->getNumValueOrSingle(2), 5);
    EXPECT_TRUE(std::isnan(field->getNumValueOrSingle(3)));
    field->setNumValueOfChannel(1, 4, QUVEN_ENV);
    EXPECT_EQ(field->getNumValue(QUVEN_ENV), 4);
    EXPECT_EQ(field->getNumValueOrSingle(2), 5);
    field->clearValue();
    EXPECT_FALSE(field->hasValue());
  }
  field->setNumValue(8);
  field->setNumValueOfChannel(3, 6, QUVEN_ENV);
  for (const long channel : {1L, 2L}) EXPECT_EQ(field->getNumValueOrSingle(channel), 8);
  EXPECT_EQ(field->getNumValueOrSingle(3), 6);
  field->setMissing();
  field->setNumValueOfChannel(3, 6, QUVEN_ENV);
  EXPECT_FALSE(field->isMissing());
  EXPECT_TRUE(std::isnan(field->getNumValueOrSingle(1)));
  for (const long channel : {0L, 4L}) {
    expectFailure([&] { field->setNumValueOfChannel(channel, 1, QUVEN_ENV); }, "1 <= channel && channel <= channels");
  }
  field.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldTest, ALineNumberFieldThatWasReadIsOne) {
  num->setPurpose(static_cast<std::int32_t>(QUVENFieldPurpose::LineNumber));
  num->markAsLineNumber(QUVEN_ENV);
  QUVENOwnPtr<QUVENNumField> read = objectOf<QUVENNumField>(imageOf(*num, QUVENObjWriter::SaveForWorker));
  EXPECT_TRUE(read->isLineNumber());
  read->setSampleFlag(true, QUVEN_ENV);
  EXPECT_FALSE(read->hasDistribution());
  read.reset(QUVEN_ENV);
}

}  // namespace
