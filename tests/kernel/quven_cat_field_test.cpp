#include "kernel/quven_cat_field.h"

#include <tuple>

#include "field_workers.h"
#include "kernel/quven_data_point.h"
#include "util/quven_registration.h"

/// Gives the record number as a text, and nothing for every fifth record.
class QUVENTestCatProducer : public QUVENObjectOf<QUVENTestCatProducer, QUVENCatValueProducer> {
 public:
  bool produceValue(QUVENDataPoint& point, QUVENStringWithHash& value, const QUVENEnvHandle&) override {
    value.assign(std::to_string(point.getRecordId()));
    return point.getRecordId() % 5 != 0;
  }
};
QUVEN_REGISTER(QUVENTestCatProducer);

namespace {

class QUVENCatFieldTest : public FieldWorkersTest {
 protected:
  void TearDown() override {
    field.reset(QUVEN_ENV);
    FieldWorkersTest::TearDown();
  }
  /// A field that has seen a pass of texts; "-" is a missing value.
  void learn(const std::vector<std::string>& texts, std::int32_t maxCats = 10) {
    field->setName("colour");
    field->setMaxCatsAllowed(maxCats, QUVEN_ENV);
    field->setMinCatOccuranceThreshold(1, QUVEN_ENV);
    field->setSampleFlag(true, QUVEN_ENV);
    std::uint32_t record = 0;
    for (const std::string& text : texts) {
      field->setCatValue(text);
      if (text == "-") field->setMissing();
      field->updateDistribution(++record, QUVEN_ENV);
    }
    field->endDistributionPass(QUVEN_ENV);
  }

  QUVENOwnPtr<QUVENCatField> field = make<QUVENCatField>();
};

TEST_F(QUVENCatFieldTest, SamplingMakesADistributionWithTheLimitsOfTheField) {
  EXPECT_FALSE(field->hasDistribution());
  EXPECT_EQ(field->getNumDistValues(QUVEN_ENV), 0);
  EXPECT_EQ(field->getIndexOfText(QUVENStringWithHash("a"), QUVEN_ENV), QUVENField::DefaultValueIndex);
  field->setMaxCatsAllowed(7, QUVEN_ENV);
  field->setSampleFlag(true, QUVEN_ENV);
  ASSERT_TRUE(field->hasDistribution());
  EXPECT_EQ(field->getDistribution()->getMaxCatsAllowed(), 7);
  EXPECT_EQ(field->getDistribution()->getMinCatOccuranceThreshold(), QUVENCatField::DefaultMinCatOccuranceThreshold);
  EXPECT_EQ(field->getDistribution()->getSampleCapacity(), QUVENCatField::DefaultSampleCapacity);
  field->setMinCatOccuranceThreshold(3, QUVEN_ENV);
  field->setSampleCapacity(5, QUVEN_ENV);
  EXPECT_EQ(field->getDistribution()->getMinCatOccuranceThreshold(), 3);
  EXPECT_EQ(field->getDistribution()->getSampleCapacity(), 5);
  field->setSampleFlag(false, QUVEN_ENV);
  EXPECT_FALSE(field->hasDistribution());
  EXPECT_FALSE(field->isSampled());
}

TEST_F(QUVENCatFieldTest, TheIndexOfAValueIsItsCategory) {
  learn({"red", "green", "red"});
  EXPECT_EQ(field->getNumDistValues(QUVEN_ENV), 2);
  field->setCatValue("green");
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), 2);
  field->setCatValue("blue");
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), QUVENField::DefaultValueIndex);
  field->setCatValue("");
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), QUVENField::DefaultValueIndex);
  field->setMissing();
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), -1);
  EXPECT_EQ(field->getIndexOfText(QUVENStringWithHash("red"), QUVEN_ENV), -1);
}

TEST_F(QUVENCatFieldTest, ACategoryHasItsTextAndTheDefaultNone) {
  learn({"red", "green", "red"});
  EXPECT_EQ(field->getCategoryText(1, QUVEN_ENV).str(), "red");
  EXPECT_EQ(field->getCategoryText(2, QUVEN_ENV).str(), "green");
  EXPECT_EQ(field->getCategoryText(QUVENField::DefaultValueIndex, QUVEN_ENV).str(), "");
  expectFailure([&] { field->getCategoryText(3, QUVEN_ENV); }, "1 <= index && index <= this->getSize()");
  expectFailure([&] { field->getCategoryText(-1, QUVEN_ENV); }, "1 <= index && index <= this->getSize()");
  field->setSampleFlag(false, QUVEN_ENV);
  expectFailure([&] { field->getCategoryText(1, QUVEN_ENV); }, "fieldDistPtr != nullptr");
}

TEST_F(QUVENCatFieldTest, AProducerComputesTheText) {
  QUVENOwnPtr<QUVENDataPoint> point = make<QUVENDataPoint>();
  QUVENTestCatProducer producer;
  field->setValueProducer(&producer);
  point->setRecordId(3);
  field->computeValue(*point, QUVEN_ENV);
  EXPECT_EQ(field->getCatValue(QUVEN_ENV).str(), "3");
  point->setRecordId(10);
  field->computeValue(*point, QUVEN_ENV);
  EXPECT_TRUE(field->isMissing());
  point.reset(QUVEN_ENV);
  producer.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENCatFieldTest, AProducerIsAnAbstractClassWithAName) {
  const QUVENTypeName* type = QUVENTypeNameAux::find(QUVENStringWithHash("QUVENCatValueProducer"));
  ASSERT_NE(type, nullptr);
  EXPECT_TRUE(type->isAbstract());
  EXPECT_TRUE(QUVENCatValueProducer::keywords().empty());
}

TEST_F(QUVENCatFieldTest, AsksForAPassOnlyWhenItGathers) {
  EXPECT_EQ(field->getDistributionPasses(), -1);
  field->setSampleFlag(true, QUVEN_ENV);
  EXPECT_EQ(field->getDistributionPasses(), 0);
}

TEST_F(QUVENCatFieldTest, MergesNothingWithoutADistributionOnBothSides) {
  QUVENOwnPtr<QUVENCatField> other = make<QUVENCatField>();
  EXPECT_TRUE(field->hasScanResult(QUVEN_ENV));
  learn({"red"});
  EXPECT_TRUE(field->merge(other.get(), QUVEN_ENV));
  EXPECT_TRUE(other->merge(field.get(), QUVEN_ENV));
  EXPECT_FALSE(other->hasDistribution());
  EXPECT_EQ(field->getDistribution()->getCurrValidCount(), 0);
  other->setSampleFlag(true, QUVEN_ENV);
  expectFailure([&] { std::ignore = field->merge(other.get(), QUVEN_ENV); },
                "ivCatsVec.getSize() == other.ivCatsVec.getSize()");
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENCatFieldTest, AFieldTravelsWithItsDistribution) {
  learn({"red", "green", "red"});
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    QUVENOwnPtr<QUVENCatField> read = objectOf<QUVENCatField>(imageOf(*field, mode));
    EXPECT_EQ(imageOf(*read->getDistribution()), imageOf(*field->getDistribution()));
    EXPECT_EQ(read->isSampled(), mode != QUVENObjWriter::ScanResults);
    read.reset(QUVEN_ENV);
  }
}

// The distribution of a copy or of a read field takes the name from its own field, and knows its categories.
TEST_F(QUVENCatFieldTest, ACopyOfADistributionBelongsToTheCopy) {
  field->setName("colour");
  field->setMinCatOccuranceThreshold(1, QUVEN_ENV);
  field->setSampleFlag(true, QUVEN_ENV);
  QUVENOwnPtr<QUVENCatField> copy = quvenNewCopy(*field, QUVEN_ENV);
  QUVENOwnPtr<QUVENCatField> read = objectOf<QUVENCatField>(imageOf(*field));
  const std::uint32_t expected = hashPair(1, field->getName().hash());
  field.reset(QUVEN_ENV);
  for (QUVENCatField* one : {copy.get(), read.get()}) {
    one->setCatValue("red");
    one->updateDistribution(1, QUVEN_ENV);
    EXPECT_EQ(one->getDistribution()->getSample()[1].getPriority(), expected);
    one->endDistributionPass(QUVEN_ENV);
    QUVENOwnPtr<QUVENCatField> copyOfCopy = quvenNewCopy(*one, QUVEN_ENV);
    EXPECT_EQ(copyOfCopy->getIndexOfText(QUVENStringWithHash("red"), QUVEN_ENV), 1);
    copyOfCopy.reset(QUVEN_ENV);
  }
  copy.reset(QUVEN_ENV);
  read.reset(QUVEN_ENV);
}

// ---- draws ----

// Counts: missing 2, default 3 ("x" is not kept), "red" 4, "green" 3; 12 in all.
TEST_F(QUVENCatFieldTest, ADrawIsThatOfTheSteps) {
  learn({"-", "-", "red", "red", "red", "red", "green", "green", "", "x", "", "green"}, 2);
  const QUVENCatFieldDist& dist = *field->getDistribution();
  ASSERT_EQ(dist.getMissingCount(), 2);
  ASSERT_EQ(dist.getDefaultCount(), 3);
  ASSERT_EQ(dist.getCat(1).getCount(), 4);
  ASSERT_EQ(dist.getCat(2).getCount(), 3);
  int seen[4] = {};
  for (std::uint32_t record = 0; record < 2000; ++record) {
    field->setCatValue("before");
    field->sampleFromDistribution(record, QUVEN_ENV);
    const double draw = hashPair(record, field->getName().hash()) * 12.0 / 4294967295.0;
    const int kind = draw < 2 ? 0 : draw < 5 ? 1 : draw < 9 ? 2 : 3;
    ++seen[kind];
    ASSERT_EQ(field->isMissing(), kind == 0) << record;
    ASSERT_EQ(field->getValueIndex(QUVEN_ENV), kind - 1) << record;
    if (kind == 0) continue;
    ASSERT_EQ(field->getCatValue(QUVEN_ENV).str(), kind == 1 ? "" : kind == 2 ? "red" : "green") << record;
  }
  // Shares of 2, 3, 4 and 3 twelfths of 2000, within five standard deviations of at most 21.1.
  EXPECT_NEAR(seen[0], 333, 106);
  EXPECT_NEAR(seen[1], 500, 106);
  EXPECT_NEAR(seen[2], 667, 106);
  EXPECT_NEAR(seen[3], 500, 106);
}

TEST_F(QUVENCatFieldTest, DrawsNothingFromNothing) {
  field->setCatValue("before");
  field->sampleFromDistribution(1, QUVEN_ENV);
  field->setSampleFlag(true, QUVEN_ENV);
  field->sampleFromDistribution(1, QUVEN_ENV);
  EXPECT_EQ(field->getCatValue(QUVEN_ENV).str(), "before");
}

TEST_F(QUVENCatFieldTest, ADrawPastTheLastCategoryLeavesTheValue) {
  field->setSampleCapacity(1, QUVEN_ENV);
  learn({"red", "red", "red", "red"});  // one was sampled
  int left = 0;
  for (std::uint32_t record = 0; record < 1000; ++record) {
    field->setCatValue("before");
    field->sampleFromDistribution(record, QUVEN_ENV);
    left += field->getCatValue(QUVEN_ENV) == "before" ? 1 : 0;
  }
  EXPECT_NEAR(left, 750, 60);  // four standard deviations of 13.7
}

}  // namespace
