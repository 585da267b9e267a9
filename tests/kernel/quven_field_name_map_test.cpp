#include "kernel/quven_field_name_map.h"

#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "kernel_fixture.h"
#include "util/quven_registration.h"

/// Refers to fields, of any class and of one.
class QUVENTestReferences : public QUVENObjectOf<QUVENTestReferences, QUVENObject> {
 public:
  QUVEN_MEMBER(ivAny, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivNum, QUVENNumField*) = nullptr;
};
QUVEN_REGISTER(QUVENTestReferences);

namespace {

class QUVENFieldNameMapTest : public KernelTest {
 protected:
  void TearDown() override {
    map.reset(QUVEN_ENV);
    age.reset(QUVEN_ENV);
    colour.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }
  template <class Field>
  QUVENOwnPtr<Field> fieldOf(const std::string& name) {
    QUVENOwnPtr<Field> field = make<Field>();
    field->setName(name);
    return field;
  }
  std::string unique(const std::string& name, std::int32_t start) {
    return map->makeUniqueName(name, start, QUVEN_ENV);
  }
  void addOwned(const std::string& name) { map->addOwned(fieldOf<QUVENNumField>(name), QUVEN_ENV); }

  QUVENOwnPtr<QUVENFieldNameMap> map = make<QUVENFieldNameMap>();
  QUVENOwnPtr<QUVENNumField> age = fieldOf<QUVENNumField>("age");
  QUVENOwnPtr<QUVENCatField> colour = fieldOf<QUVENCatField>("colour");
};

TEST_F(QUVENFieldNameMapTest, FindsItsOwnFieldsAndThoseOfOthers) {
  map->addReference(age.get(), QUVEN_ENV);
  QUVENField* owned = map->addOwned(fieldOf<QUVENCatField>("town"), QUVEN_ENV);
  EXPECT_EQ(map->getNumFields(), 2);
  EXPECT_EQ(map->find("age"), age.get());
  EXPECT_EQ(map->find(QUVENStringWithHash("town")), owned);
  EXPECT_EQ(map->find("colour"), nullptr);
  EXPECT_EQ(map->find(""), nullptr);
}

TEST_F(QUVENFieldNameMapTest, ANameBelongsToOneField) {
  map->addReference(age.get(), QUVEN_ENV);
  QUVENOwnPtr<QUVENNumField> other = fieldOf<QUVENNumField>("age");
  expectFailure([&] { map->addReference(other.get(), QUVEN_ENV); }, "A field with this name exists already");
  expectFailure([&] { map->addOwned(std::move(other), QUVEN_ENV); },  // which releases it
                "A field with this name exists already");
  EXPECT_EQ(map->find("age"), age.get());
  EXPECT_EQ(map->getNumFields(), 1);
}

TEST_F(QUVENFieldNameMapTest, RemovingReleasesOnlyWhatItOwns) {
  map->addReference(age.get(), QUVEN_ENV);
  for (const char* name : {"a", "b", "c"}) addOwned(name);
  map->remove("a", QUVEN_ENV);
  map->remove("age", QUVEN_ENV);
  map->remove("nobody", QUVEN_ENV);
  EXPECT_EQ(map->getNumFields(), 2);
  EXPECT_EQ(map->find("a"), nullptr);
  EXPECT_EQ(map->find("age"), nullptr);
  EXPECT_EQ(map->find("c")->getName().str(), "c");
  EXPECT_EQ(age->getName().str(), "age");
  map->remove("c", QUVEN_ENV);
  map->remove("b", QUVEN_ENV);
  EXPECT_EQ(map->getNumFields(), 0);
}

TEST_F(QUVENFieldNameMapTest, AFreeNameIsUniqueAsItIs) {
  EXPECT_EQ(unique("x", 0), "x");
  EXPECT_EQ(unique("x", -5), "x");
}

TEST_F(QUVENFieldNameMapTest, ATakenNameGetsTheFirstFreeNumber) {
  addOwned("x");
  EXPECT_EQ(unique("x", 0), "x1");
  addOwned("x1");
  EXPECT_EQ(unique("x", 0), "x2");
  EXPECT_EQ(unique("x", -5), "x2");
  EXPECT_EQ(unique("x", 1), "x2");
  addOwned("x3");
  EXPECT_EQ(unique("x", 2), "x2");
  EXPECT_EQ(unique("x", 3), "x4");
}

TEST_F(QUVENFieldNameMapTest, AStartFromOneOnAlwaysNumbersTheName) {
  EXPECT_EQ(unique("x", 1), "x1");
  EXPECT_EQ(unique("x", 7), "x7");
}

TEST_F(QUVENFieldNameMapTest, NumbersEndBelowAMillion) {
  EXPECT_EQ(unique("x", 999999), "x999999");
  addOwned("x999999");
  const std::string report = "Internal suffix limit exceeded in makeUniqueName";
  expectFailure([&] { unique("x", 999999); }, report);
  expectFailure([&] { unique("x", 1000000); }, report);
  addOwned("x999998");
  expectFailure([&] { unique("x", 999998); }, report);
  EXPECT_EQ(unique("x", 999997), "x999997");
}

TEST_F(QUVENFieldNameMapTest, TheKeywordsAreInTheOrderOfTheStream) {
  ASSERT_EQ(QUVENFieldNameMap::keywords().size(), 2U);
  EXPECT_EQ(QUVENFieldNameMap::keywords()[0].getName(), "ivFieldNameTable");
  EXPECT_EQ(QUVENFieldNameMap::keywords()[1].getName(), "ivCorrelationVec");
  ASSERT_EQ(QUVENModelFieldsUsed::keywords().size(), 1U);
  EXPECT_EQ(QUVENModelFieldsUsed::keywords()[0].getName(), "ivFieldsUsed");
  EXPECT_EQ(QUVENFieldNameMap::cvBackPtrName().str(), "QUVENFieldNameMap::cvBackPtrName");
}

TEST_F(QUVENFieldNameMapTest, IsReadWithItsFields) {
  map->addReference(age.get(), QUVEN_ENV);
  addOwned("a");
  map->addOwned(fieldOf<QUVENCatField>("b"), QUVEN_ENV);
  const std::string image = imageOf(*map);
  QUVENOwnPtr<QUVENFieldNameMap> read = objectOf<QUVENFieldNameMap>(image);
  EXPECT_EQ(read->getNumFields(), 2);  // what others own does not travel
  EXPECT_NE(read->find("a")->isA(QUVENNumField::typeName()), 0);
  EXPECT_NE(read->find("b")->isA(QUVENCatField::typeName()), 0);
  EXPECT_NE(read->find("a"), map->find("a"));
  read.reset(QUVEN_ENV);
}

// It went on finding fields that were released when the stream had fewer.
TEST_F(QUVENFieldNameMapTest, IsReadAgainWithoutWhatItHad) {
  addOwned("a");
  const std::string shorter = imageOf(*map);
  addOwned("b");
  map->addReference(age.get(), QUVEN_ENV);
  readImage(shorter, map);
  EXPECT_EQ(map->find("b"), nullptr);
  EXPECT_EQ(map->find("a")->getName().str(), "a");
  EXPECT_EQ(map->find("age"), age.get());
  EXPECT_EQ(map->getNumFields(), 2);
}

/// Once "Attempt to overwrite an existing field object with a different field": the last field moves into the place of
/// the removed one.
TEST_F(QUVENFieldNameMapTest, IsReadAgainAfterAFieldOtherThanTheLastWasRemoved) {
  for (const char* name : {"first", "second", "third"}) addOwned(name);
  QUVENOwnPtr<QUVENFieldNameMap> copy = objectOf<QUVENFieldNameMap>(imageOf(*map, QUVENObjWriter::SaveForWorker));
  QUVENField* const third = copy->find("third");
  map->remove("first", QUVEN_ENV);
  addOwned("first");  // another field with the name of the removed one
  readImage(imageOf(*map, QUVENObjWriter::SaveForWorker), copy);
  EXPECT_EQ(copy->getNumFields(), 3);
  EXPECT_EQ(copy->find("third"), third);
  EXPECT_EQ(copy->find("first")->getMergeWithSerialNumber(), map->find("first")->getSerialNumber());
  map->remove("second", QUVEN_ENV);
  readImage(imageOf(*map, QUVENObjWriter::SaveForWorker), copy);
  EXPECT_EQ(copy->find("second"), nullptr);
  EXPECT_EQ(copy->find("third"), third);
  copy.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldNameMapTest, ACopyFindsItsOwnFields) {
  addOwned("a");
  map->addReference(age.get(), QUVEN_ENV);
  QUVENOwnPtr<QUVENFieldNameMap> copy = quvenNewCopy(*map, QUVEN_ENV);
  EXPECT_NE(copy->find("a"), map->find("a"));
  EXPECT_EQ(copy->find("a")->getName().str(), "a");
  EXPECT_EQ(copy->find("age"), age.get());
  map.reset(QUVEN_ENV);
  EXPECT_EQ(copy->find("a")->getName().str(), "a");
  copy.reset(QUVEN_ENV);
}

TEST_F(QUVENFieldNameMapTest, AMoveHandsTheFieldsOver) {
  addOwned("a");
  QUVENField* field = map->find("a");
  QUVENOwnPtr<QUVENFieldNameMap> target = make<QUVENFieldNameMap>();
  target->transferFromPrimitive(map.get(), QUVEN_ENV);
  EXPECT_EQ(target->find("a"), field);
  EXPECT_EQ(map->find("a"), nullptr);
  EXPECT_EQ(map->getNumFields(), 0);
  target.reset(QUVEN_ENV);
}

class FieldReferenceTest : public QUVENFieldNameMapTest {
 protected:
  void SetUp() override {
    QUVENFieldNameMapTest::SetUp();
    map->addReference(age.get(), QUVEN_ENV);
    map->addReference(colour.get(), QUVEN_ENV);
  }
  std::string imageOfReferences(QUVENField* any, QUVENNumField* num) {
    QUVENTestReferences references;
    references.ivAny = any;
    references.ivNum = num;
    return imageOf(references);
  }
  /// Reads references into an object that refers to something already.
  QUVENOwnPtr<QUVENTestReferences> read(const std::string& image, bool withMap) {
    QUVENOwnPtr<QUVENTestReferences> object = make<QUVENTestReferences>();
    object->ivAny = colour.get();
    object->ivNum = age.get();
    readFrom(image, [&](QUVENObjReader& reader) {
      if (withMap) map->putInto(reader, QUVEN_ENV);
      quvenReadObject(reader, object, QUVENTestReferences::typeName(), QUVEN_ENV);
    });
    return object;
  }
};

TEST_F(FieldReferenceTest, GoesByNameAndComesBackThroughTheMap) {
  const std::string image = imageOfReferences(age.get(), age.get());
  EXPECT_NE(image.find("age"), std::string::npos);
  QUVENOwnPtr<QUVENTestReferences> object = read(image, true);
  EXPECT_EQ(object->ivAny, age.get());
  EXPECT_EQ(object->ivNum, age.get());
  object.reset(QUVEN_ENV);
}

TEST_F(FieldReferenceTest, NullIsAnEmptyTextAndNeedsNoMap) {
  const std::string value = written(
      QUVENObjWriter::Save, [&](QUVENObjWriter& writer) { quvenWriteFieldReference(writer, nullptr, QUVEN_ENV); });
  EXPECT_EQ(value, written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) { writer.writeString("", QUVEN_ENV); }));
  QUVENOwnPtr<QUVENTestReferences> object = read(imageOfReferences(nullptr, nullptr), false);
  EXPECT_EQ(object->ivAny, nullptr);
  EXPECT_EQ(object->ivNum, nullptr);
  object.reset(QUVEN_ENV);
}

TEST_F(FieldReferenceTest, AnUnknownNameIsRefused) {
  const std::string image = imageOfReferences(age.get(), nullptr);
  map->remove("age", QUVEN_ENV);
  expectFailure([&] { read(image, true); }, "ptr != 0", "No field with specified name");
}

TEST_F(FieldReferenceTest, WithoutAMapNothingIsFound) {
  const std::string image = imageOfReferences(age.get(), nullptr);
  expectFailure([&] { read(image, false); }, "ptr != 0", "No field with specified name");
}

TEST_F(FieldReferenceTest, AFieldOfAnotherClassIsRefused) {
  QUVENTestReferences references;
  references.ivAny = colour.get();
  const std::string image = imageOf(references);
  QUVENOwnPtr<QUVENTestReferences> object = read(image, true);  // any class will do here
  EXPECT_EQ(object->ivAny, colour.get());
  object.reset(QUVEN_ENV);
  const std::string value =
      written(QUVENObjWriter::Save, [&](QUVENObjWriter& w) { quvenWriteFieldReference(w, colour.get(), QUVEN_ENV); });
  expectFailure(
      [&] {
        readFrom(value, [&](QUVENObjReader& reader) {
          map->putInto(reader, QUVEN_ENV);
          quvenReadFieldReference(reader, QUVENNumField::typeName(), QUVEN_ENV);
        });
      },
      "Field is of another class");
}

TEST_F(FieldReferenceTest, AMapThatIsReadServesWhatFollowsInTheStream) {
  QUVENFieldNameMap owning;
  owning.addOwned(fieldOf<QUVENNumField>("age"), QUVEN_ENV);
  QUVENModelFieldsUsed used;
  used.add(owning.find("age"), QUVEN_ENV);
  const std::string bytes = imageOf(owning) + imageOf(used);
  readFrom(bytes, [&](QUVENObjReader& reader) {
    QUVENOwnPtr<QUVENFieldNameMap> readMap(QUVEN_ENV);
    QUVENOwnPtr<QUVENModelFieldsUsed> readUsed(QUVEN_ENV);
    quvenReadObject(reader, readMap, QUVENFieldNameMap::typeName(), QUVEN_ENV);
    quvenReadObject(reader, readUsed, QUVENModelFieldsUsed::typeName(), QUVEN_ENV);
    EXPECT_TRUE(readUsed->contains(readMap->find("age")));
    EXPECT_FALSE(readUsed->contains(owning.find("age")));
    readUsed.reset(QUVEN_ENV);
    readMap.reset(QUVEN_ENV);
  });
  used.destroyPrimitive(QUVEN_ENV);
  owning.destroyPrimitive(QUVEN_ENV);
}

TEST_F(FieldReferenceTest, TheListOfUsedFieldsHasEachOnce) {
  QUVENModelFieldsUsed used;
  used.add(age.get(), QUVEN_ENV);
  used.add(colour.get(), QUVEN_ENV);
  used.add(age.get(), QUVEN_ENV);
  EXPECT_EQ(used.getFields().getSize(), 2);
  EXPECT_EQ(used.getFields()[1], age.get());
  EXPECT_FALSE(used.contains(nullptr));
  used.destroyPrimitive(QUVEN_ENV);
}

TEST_F(FieldReferenceTest, CorrelationsTravelWithTheMap) {
  map->getCorrelations().append(make<QUVENFieldCorrelations>(), QUVEN_ENV);
  QUVENFieldCorrelations& correlations = *map->getCorrelations()[1];
  correlations.ivFieldNames.append("age", QUVEN_ENV);
  for (const double value : {1.0, 0.5, 1.0}) correlations.ivCorrelations.append(value, QUVEN_ENV);
  QUVENOwnPtr<QUVENFieldNameMap> copy = objectOf<QUVENFieldNameMap>(imageOf(*map));
  ASSERT_EQ(copy->getCorrelations().getSize(), 1);
  EXPECT_EQ(copy->getCorrelations()[1]->ivFieldNames[1], "age");
  EXPECT_EQ(copy->getCorrelations()[1]->ivCorrelations[2], 0.5);
  copy.reset(QUVEN_ENV);
}

}  // namespace
