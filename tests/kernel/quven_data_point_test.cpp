#include "kernel/quven_data_point.h"

#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "kernel_fixture.h"

namespace {

class QUVENDataPointTest : public KernelTest {
 protected:
  void TearDown() override {
    point.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }
  template <class Field>
  long add(const std::string& name) {
    QUVENOwnPtr<Field> field = make<Field>();
    field->setName(name);
    return point->addField(std::move(field), QUVEN_ENV);
  }
  static std::vector<std::string> namesOf(const QUVENDataPoint& ofPoint) {
    std::vector<std::string> names;
    for (long i = 1; i <= ofPoint.getNumFields(); ++i) names.push_back(ofPoint.getField(i).getName().str());
    return names;
  }
  /// Each name leads to the field of this point that has it.
  static void checkIndex(const QUVENDataPoint& ofPoint) {
    for (long i = 1; i <= ofPoint.getNumFields(); ++i) {
      const QUVENStringWithHash& name = ofPoint.getField(i).getName();
      EXPECT_EQ(ofPoint.getFieldIndex(name), i);
      EXPECT_EQ(ofPoint.getFieldIndex(name.str()), i);
      EXPECT_EQ(ofPoint.findField(name), &ofPoint.getField(i));
    }
  }

  QUVENOwnPtr<QUVENDataPoint> point = make<QUVENDataPoint>();
};

TEST_F(QUVENDataPointTest, StartsEmpty) {
  EXPECT_EQ(point->getNumFields(), 0);
  EXPECT_EQ(point->getChannel(), 0);
  EXPECT_EQ(point->getRecordId(), 0U);
  EXPECT_TRUE(point->getActiveFields().isEmpty());
  EXPECT_EQ(point->getFieldIndex(""), 0);
  EXPECT_EQ(point->findField(QUVENStringWithHash("x")), nullptr);
}

TEST_F(QUVENDataPointTest, FieldsKeepTheOrderOfTheColumns) {
  for (int i = 1; i <= 100; ++i) EXPECT_EQ(add<QUVENNumField>("column" + std::to_string(i)), i);
  EXPECT_EQ(point->getNumFields(), 100);
  EXPECT_EQ(point->getField(73).getName().str(), "column73");
  EXPECT_EQ(point->getFieldIndex("column101"), 0);
  checkIndex(*point);
}

TEST_F(QUVENDataPointTest, ANameBelongsToOneField) {
  add<QUVENNumField>("age");
  expectFailure([&] { add<QUVENCatField>("age"); }, "A field with this name exists already");
  EXPECT_EQ(point->getNumFields(), 1);
  EXPECT_NE(point->getField(1).isA(QUVENNumField::typeName()), 0);
}

TEST_F(QUVENDataPointTest, ActiveFieldsAreThoseOfTheRecord) {
  point->addActiveField(3, QUVEN_ENV);
  point->addActiveField(1, QUVEN_ENV);
  EXPECT_THAT(std::vector<std::int32_t>(point->getActiveFields().begin(), point->getActiveFields().end()),
              testing::ElementsAre(3, 1));
  point->clearActiveFields(QUVEN_ENV);
  EXPECT_TRUE(point->getActiveFields().isEmpty());
}

TEST_F(QUVENDataPointTest, RecordNumbersUseAll32Bits) {
  point->setRecordId(4294967295U);
  EXPECT_EQ(point->getRecordId(), 4294967295U);
  EXPECT_EQ(point->getChannel(), 0);
  point->setChannel(2);
  EXPECT_EQ(point->getChannel(), 2);
  EXPECT_EQ(point->getRecordId(), 4294967295U);
}

TEST_F(QUVENDataPointTest, OnlyTheFieldsTravelAndTheIndexIsRebuilt) {
  ASSERT_EQ(QUVENDataPoint::keywords().size(), 1U);
  EXPECT_EQ(QUVENDataPoint::keywords()[0].getName(), "fields");
  add<QUVENNumField>("age");
  add<QUVENCatField>("colour");
  point->setChannel(2);
  point->setRecordId(9);
  point->addActiveField(2, QUVEN_ENV);
  QUVENOwnPtr<QUVENDataPoint> read = objectOf<QUVENDataPoint>(imageOf(*point, QUVENObjWriter::SaveForWorker));
  EXPECT_THAT(namesOf(*read), testing::ElementsAre("age", "colour"));
  EXPECT_NE(read->getField(2).isA(QUVENCatField::typeName()), 0);
  EXPECT_EQ(read->getChannel(), 0);
  EXPECT_EQ(read->getRecordId(), 0U);
  EXPECT_TRUE(read->getActiveFields().isEmpty());
  checkIndex(*read);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENDataPointTest, APointThatIsReadAgainForgetsItsActiveFields) {
  add<QUVENNumField>("age");
  const std::string image = imageOf(*point);
  add<QUVENNumField>("weight");
  point->addActiveField(2, QUVEN_ENV);
  readImage(image, point);
  EXPECT_THAT(namesOf(*point), testing::ElementsAre("age"));
  EXPECT_EQ(point->getFieldIndex("weight"), 0);
  EXPECT_TRUE(point->getActiveFields().isEmpty());
  checkIndex(*point);
}

TEST_F(QUVENDataPointTest, AStreamWithTwoFieldsOfOneNameIsRefused) {
  add<QUVENNumField>("age");
  add<QUVENNumField>("ege");
  std::string image = imageOf(*point);
  image[image.find("ege")] = 'a';
  expectFailure([&] { objectOf<QUVENDataPoint>(image); }, "Two fields of a data point with one name");
}

TEST_F(QUVENDataPointTest, ACopyFindsItsOwnFieldsAndHasTheWords) {
  add<QUVENNumField>("age");
  add<QUVENCatField>("colour");
  point->getField(1).setNumValue(5);
  point->setChannel(2);
  point->setRecordId(9);
  point->addActiveField(2, QUVEN_ENV);
  QUVENOwnPtr<QUVENDataPoint> copy = quvenNewCopy(*point, QUVEN_ENV);
  EXPECT_THAT(namesOf(*copy), testing::ElementsAre("age", "colour"));
  EXPECT_NE(copy->findField(QUVENStringWithHash("age")), point->findField(QUVENStringWithHash("age")));
  EXPECT_EQ(copy->getField(1).getNumValue(QUVEN_ENV), 5);
  EXPECT_EQ(copy->getChannel(), 2);
  EXPECT_EQ(copy->getRecordId(), 9U);
  EXPECT_EQ(copy->getActiveFields().getSize(), 1);
  point.reset(QUVEN_ENV);
  checkIndex(*copy);
  copy.reset(QUVEN_ENV);
}

TEST_F(QUVENDataPointTest, AMoveHandsTheFieldsOver) {
  add<QUVENNumField>("age");
  point->setRecordId(9);
  QUVENField* field = &point->getField(1);
  QUVENOwnPtr<QUVENDataPoint> target = make<QUVENDataPoint>();
  target->transferFromPrimitive(point.get(), QUVEN_ENV);
  EXPECT_EQ(target->findField(QUVENStringWithHash("age")), field);
  EXPECT_EQ(target->getRecordId(), 9U);
  EXPECT_EQ(point->getNumFields(), 0);
  EXPECT_EQ(point->getFieldIndex("age"), 0);
  target.reset(QUVEN_ENV);
}

}  // namespace
