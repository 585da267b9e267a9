#include "kernel/quven_cat_field_dist.h"

#include <random>
#include <span>

#include "field_workers.h"
#include "kernel/quven_cat_field.h"
#include "literal_distributions.h"

namespace {

using CatSample = std::vector<literal::Sampled<std::string>>;
using Counts = std::vector<std::pair<std::string, double>>;
using Records = std::vector<std::uint32_t>;

class QUVENCatFieldDistTest : public FieldWorkersTest {
 protected:
  void SetUp() override {
    FieldWorkersTest::SetUp();
    newField(1000, 100, 1);
  }
  void TearDown() override {
    field.reset(QUVEN_ENV);
    FieldWorkersTest::TearDown();
  }
  void newField(std::int32_t capacity, std::int32_t maxCats, std::int32_t minOccurance) {
    field.reset(QUVEN_ENV);
    field = make<QUVENCatField>();
    field->setName("colour");
    field->setSampleFlag(true, QUVEN_ENV);
    field->setSampleCapacity(capacity, QUVEN_ENV);
    field->setMaxCatsAllowed(maxCats, QUVEN_ENV);
    field->setMinCatOccuranceThreshold(minOccurance, QUVEN_ENV);
  }
  const QUVENCatFieldDist& dist() { return *field->getDistribution(); }
  void show(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      field->setCatValue(text);
      field->updateDistribution(++recordId, QUVEN_ENV);
    }
  }
  void pass(const std::vector<std::string>& texts) {
    field->beginDistributionPass(QUVEN_ENV);
    show(texts);
    field->endDistributionPass(QUVEN_ENV);
  }
  Counts counts() {
    Counts list;
    for (long i = 1; i <= dist().getNumCats(); ++i) {
      list.emplace_back(dist().getCat(i).getValue().str(), dist().getCat(i).getCount());
    }
    return list;
  }
  std::int32_t indexOf(const std::string& text) { return dist().getCatIndex(QUVENStringWithHash(text)); }
  CatSample sample() {
    CatSample list;
    for (const QUVENStringPQElement& element : dist().getSample()) {
      list.emplace_back(element.getPriority(), element.getValue().str());
    }
    return list;
  }
  std::uint32_t priorityOf(std::uint32_t record) { return hashPair(record, field->getName().hash()); }

  QUVENOwnPtr<QUVENCatField> field;
  std::uint32_t recordId = 0;
};

TEST_F(QUVENCatFieldDistTest, TheKeywordsAreInTheOrderOfTheStream) {
  const auto namesOf = [](std::span<const QUVENKeyword> keywords) {
    std::vector<std::string> names;
    for (const QUVENKeyword& keyword : keywords) names.emplace_back(keyword.getName());
    return names;
  };
  EXPECT_THAT(namesOf(QUVENStringPQElement::keywords()), testing::ElementsAre("ivValue", "ivPriority"));
  EXPECT_THAT(namesOf(QUVENCatFieldCat::keywords()), testing::ElementsAre("ivValue", "ivCount", "ivCurrCount"));
  EXPECT_THAT(namesOf(QUVENCatField::keywords()), testing::ElementsAre("ivSampleFlag", "ivCatFieldDistPtr"));
  EXPECT_THAT(namesOf(QUVENCatFieldDist::keywords()),
              testing::ElementsAre("ivSampleVec", "ivSampleVecCapacity", "ivCatsVec", "ivMaxCatsAllowed",
                                   "ivMinCatOccuranceThreshold", "ivScansDone", "ivValidCount", "ivMissingCount",
                                   "ivDefaultCount", "ivCurrValidCount", "ivCurrMissingCount", "ivCurrDefaultCount"));
}

TEST_F(QUVENCatFieldDistTest, CategoriesComeByFallingCounts) {
  pass({"a", "b", "c", "b", "c", "c"});
  EXPECT_EQ(counts(), (Counts{{"c", 3}, {"b", 2}, {"a", 1}}));
  EXPECT_EQ(dist().getDefaultCount(), 0);
  EXPECT_EQ(dist().getValidCount(), 6);
  EXPECT_EQ(dist().getScansDone(), 1);
  EXPECT_EQ(indexOf("c"), 1);
  EXPECT_EQ(indexOf("a"), 3);
  EXPECT_EQ(indexOf("d"), QUVENField::DefaultValueIndex);
  EXPECT_EQ(dist().getSample().getCapacity(), 0);  // its memory is released
  EXPECT_EQ(dist().getSampleCapacity(), 0);
}

TEST_F(QUVENCatFieldDistTest, TheMostFrequentAreKeptAndTheRestIsDefault) {
  newField(1000, 2, 1);
  pass({"a", "b", "c", "b", "c", "c"});
  EXPECT_EQ(counts(), (Counts{{"c", 3}, {"b", 2}}));
  EXPECT_EQ(dist().getDefaultCount(), 1);
  pass({"a", "a", "d", "b"});
  EXPECT_EQ(counts(), (Counts{{"c", 0}, {"b", 1}}));
  EXPECT_EQ(dist().getDefaultCount(), 3);
  EXPECT_EQ(dist().getValidCount(), 4);
  EXPECT_EQ(dist().getScansDone(), 2);
}

TEST_F(QUVENCatFieldDistTest, RareTextsAreNotKept) {
  newField(1000, 100, 2);
  pass({"a", "b", "c", "b", "c", "c"});
  EXPECT_EQ(counts(), (Counts{{"c", 3}, {"b", 2}}));
  EXPECT_EQ(dist().getDefaultCount(), 1);
}

TEST_F(QUVENCatFieldDistTest, WithoutCategoriesEverythingIsDefault) {
  newField(1000, 100, 5);
  pass({"a", "b", "b"});
  EXPECT_EQ(dist().getNumCats(), 0);
  EXPECT_EQ(dist().getDefaultCount(), 3);
  pass({"a", "a", "a", "a", "a"});  // too late for a sample
  EXPECT_EQ(dist().getNumCats(), 0);
  EXPECT_EQ(dist().getDefaultCount(), 5);
}

// The empty text is the most frequent: it takes no place of the two, and its count is the default's.
TEST_F(QUVENCatFieldDistTest, TheEmptyTextIsNeverACategory) {
  newField(1000, 2, 1);
  pass({"", "a", "", "b", "", "b"});
  EXPECT_EQ(counts(), (Counts{{"b", 2}, {"a", 1}}));
  EXPECT_EQ(dist().getDefaultCount(), 3);
  EXPECT_EQ(indexOf(""), QUVENField::DefaultValueIndex);
  pass({"", "a"});
  EXPECT_EQ(dist().getDefaultCount(), 1);
}

TEST_F(QUVENCatFieldDistTest, MissingValuesAreCountedAndNothingElse) {
  field->setMissing();
  field->updateDistribution(1, QUVEN_ENV);
  EXPECT_EQ(dist().getCurrMissingCount(), 1);
  EXPECT_EQ(dist().getCurrValidCount(), 0);
  EXPECT_EQ(dist().getSample().getSize(), 0);
  field->endDistributionPass(QUVEN_ENV);
  EXPECT_EQ(dist().getMissingCount(), 1);
  EXPECT_EQ(dist().getDefaultCount(), 0);
}

TEST_F(QUVENCatFieldDistTest, ASampleOfNothingIsNeverRead) {
  newField(0, 100, 1);
  pass({"a", "b"});
  EXPECT_EQ(dist().getNumCats(), 0);
  EXPECT_EQ(dist().getValidCount(), 2);
}

TEST_F(QUVENCatFieldDistTest, BeginningAPassDropsAnUnfinishedOne) {
  show({"x", "x"});
  pass({"a"});
  EXPECT_EQ(counts(), (Counts{{"a", 1}}));
  show({"a", "z"});
  pass({"a"});
  EXPECT_EQ(counts(), (Counts{{"a", 1}}));
  EXPECT_EQ(dist().getDefaultCount(), 0);
  EXPECT_EQ(dist().getValidCount(), 1);
}

TEST_F(QUVENCatFieldDistTest, TheSampleIsTheHeapOfTheSteps) {
  for (const std::int32_t capacity : {1, 2, 3, 8, 9, 50}) {
    newField(capacity, 10, 1);
    literal::SampleHeap<std::string> model(static_cast<std::size_t>(capacity));
    for (std::uint32_t record = 0; record < 50; ++record) {
      const std::string text(1, static_cast<char>('a' + record % 7));
      field->setCatValue(text);
      field->updateDistribution(record, QUVEN_ENV);
      model.add({priorityOf(record), text});
      ASSERT_EQ(sample(), model.values()) << capacity << " at " << record;
    }
  }
}

// A record that came twice, with two texts.
TEST_F(QUVENCatFieldDistTest, TextsOfOnePriorityLeaveByTheirOrder) {
  for (const bool smallerFirst : {true, false}) {
    newField(1, 10, 1);
    for (const char* text : {smallerFirst ? "a" : "b", smallerFirst ? "b" : "a"}) {
      field->setCatValue(text);
      field->updateDistribution(1, QUVEN_ENV);
    }
    EXPECT_EQ(sample(), (CatSample{{priorityOf(1), "b"}}));
  }
}

TEST_F(QUVENCatFieldDistTest, AnySplitOverWorkersGivesWhatOneWorkerHas) {
  std::mt19937 random(11);
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE(round);
    const unsigned distinct = 1 + random() % 40;
    std::vector<int> column(random() % 400);  // -1 missing, -2 absent, 0 the empty text
    for (int& value : column) {
      const unsigned kind = random() % 20;
      value = kind == 0 ? -1 : kind == 1 ? -2 : static_cast<int>(std::min(random() % distinct, random() % distinct));
    }
    const auto textOf = [](int value) { return value == 0 ? std::string() : "text" + std::to_string(value); };
    const Setter<QUVENCatField> set = [&](QUVENCatField& ofField, std::uint32_t record) {
      const int value = column[record];
      if (value == -1) ofField.setMissing();
      if (value < 0) return;
      // Texts and the numbers of a dataset give the same distribution.
      if (round % 2 == 0) {
        ofField.setCatValue(textOf(value));
      } else if (!ofField.setCatValueOf(value)) {
        ofField.setCatValueOf(value, textOf(value));
      }
    };
    const auto split = [&] {
      std::vector<Records> ranks(1 + random() % 5);
      for (std::uint32_t record = 0; record < column.size(); ++record) ranks[random() % ranks.size()].push_back(record);
      return ranks;
    };
    const std::int32_t capacity = 1 + static_cast<std::int32_t>(random() % 300);
    const std::int32_t maxCats = static_cast<std::int32_t>(random() % 30);
    const std::int32_t minCount = static_cast<std::int32_t>(random() % 4);
    newField(capacity, maxCats, minCount);

    gather<QUVENCatField>(*field, split(), set);
    CatSample all;
    for (std::uint32_t record = 0; record < column.size(); ++record) {
      if (column[record] >= 0) all.emplace_back(priorityOf(record), textOf(column[record]));
    }
    const CatSample expected = literal::sampleOf(all, static_cast<std::size_t>(capacity));
    CatSample kept = sample();
    std::sort(kept.begin(), kept.end());
    ASSERT_EQ(kept, expected);
    const double valid = static_cast<double>(all.size());
    const double missing = static_cast<double>(std::count(column.begin(), column.end(), -1));
    EXPECT_EQ(dist().getCurrValidCount(), valid);
    EXPECT_EQ(dist().getCurrMissingCount(), missing);

    field->endDistributionPass(QUVEN_ENV);
    const literal::Categories model = literal::categoriesOf(expected, static_cast<std::size_t>(maxCats), minCount);
    ASSERT_EQ(counts(), model.kept);
    EXPECT_EQ(dist().getDefaultCount(), model.defaultCount);

    gather<QUVENCatField>(*field, split(), set);
    field->endDistributionPass(QUVEN_ENV);
    double isDefault = valid;
    for (long i = 1; i <= dist().getNumCats(); ++i) {
      const auto same = [&](int value) { return value >= 0 && textOf(value) == dist().getCat(i).getValue(); };
      const double count = static_cast<double>(std::count_if(column.begin(), column.end(), same));
      EXPECT_EQ(dist().getCat(i).getCount(), count);
      EXPECT_EQ(indexOf(dist().getCat(i).getValue().str()), i);
      isDefault -= count;
    }
    EXPECT_EQ(dist().getDefaultCount(), isDefault);
    EXPECT_EQ(dist().getMissingCount(), missing);
    EXPECT_EQ(dist().getScansDone(), 2);
  }
}

TEST_F(QUVENCatFieldDistTest, EachPartOfADistributionTravels) {
  show({"a", "b", "", "b"});
  expectRoundTrip(dist());
  EXPECT_NE(imageOf(dist()).find("QUVENStringPQElement"), std::string::npos);
  field->endDistributionPass(QUVEN_ENV);
  show({"b", "q"});
  expectRoundTrip(dist());
  expectRoundTrip(dist().getCat(1));
  expectRoundTrip(QUVENStringPQElement(QUVENStringWithHash("a"), 4294967295U));
  QUVENOwnPtr<QUVENCatFieldDist> read = objectOf<QUVENCatFieldDist>(imageOf(dist()));
  EXPECT_EQ(read->getCatIndex(QUVENStringWithHash("b")), 1);
  EXPECT_EQ(read->getCatIndex(QUVENStringWithHash("q")), 0);
  read.reset(QUVEN_ENV);
}

// A foreign stream may have the empty text or a text twice among the categories.
TEST_F(QUVENCatFieldDistTest, TheEmptyTextOfAStreamIsStillDefault) {
  pass({"alpha", "omega", "omega"});
  std::string image = imageOf(dist());
  const auto textImage = [&](const std::string& text) {
    return written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) { writer.writeString(text, QUVEN_ENV); });
  };
  const auto rename = [&](const std::string& from, const std::string& to) {
    const std::size_t place = image.find(textImage(from));
    ASSERT_NE(place, std::string::npos);
    image.replace(place, textImage(from).size(), textImage(to));
  };
  rename("alpha", "omega");
  QUVENOwnPtr<QUVENCatFieldDist> read = objectOf<QUVENCatFieldDist>(image);
  EXPECT_EQ(read->getNumCats(), 2);
  EXPECT_EQ(read->getCatIndex(QUVENStringWithHash("omega")), 1);
  read.reset(QUVEN_ENV);
  rename("omega", "");
  read = objectOf<QUVENCatFieldDist>(image);
  EXPECT_EQ(read->getCatIndex(QUVENStringWithHash("")), 0);
  EXPECT_EQ(read->getCatIndex(QUVENStringWithHash("omega")), 2);
  read.reset(QUVEN_ENV);
}

}  // namespace
