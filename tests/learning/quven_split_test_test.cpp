#include "learning/quven_split_test.h"

#include <cmath>
#include <limits>
#include <random>

#include "kernel/kernel_fixture.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// A field that is neither numeric nor categorical.
class QUVENTestFieldOfNoType : public QUVENField {
 public:
  explicit QUVENTestFieldOfNoType(const QUVENEnvHandle& env) : QUVENField(static_cast<QUVENFieldType>(3), env) {}
};

class QUVENSplitTestTest : public KernelTest {
 protected:
  static constexpr int Channels = 3;

  QUVENSplitTestTest() {
    QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(Channels);
    num = make<QUVENNumField>();
    num->setName("x");
    num->setSampleFlag(true, QUVEN_ENV);
    cat = make<QUVENCatField>();
    cat->setName("c");
    cat->setMinCatOccuranceThreshold(1, QUVEN_ENV);
    cat->setSampleFlag(true, QUVEN_ENV);
  }
  void TearDown() override {
    split.reset(QUVEN_ENV);
    num.reset(QUVEN_ENV);
    cat.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }

  /// Two passes over values; NaN is a missing one.
  void showNumbers(const std::vector<double>& values) {
    for (int pass = 0; pass < 2; ++pass) {
      num->beginDistributionPass(QUVEN_ENV);
      for (std::uint32_t i = 0; i < values.size(); ++i) {
        setNumber(values[i]);
        num->updateDistribution(i, QUVEN_ENV);
      }
      num->endDistributionPass(QUVEN_ENV);
    }
  }
  void setNumber(double value) { std::isnan(value) ? num->setMissing() : num->setNumValue(value); }
  /// Shows each text as often as it says; "" is a missing value.
  void showTexts(const std::vector<std::pair<std::string, int>>& texts) {
    for (int pass = 0; pass < 2; ++pass) {
      cat->beginDistributionPass(QUVEN_ENV);
      std::uint32_t record = 0;
      for (const auto& [text, count] : texts) {
        for (int i = 0; i < count; ++i) {
          setText(text);
          cat->updateDistribution(++record, QUVEN_ENV);
        }
      }
      cat->endDistributionPass(QUVEN_ENV);
    }
  }
  void setText(const std::string& text) { text.empty() ? cat->setMissing() : cat->setCatValue(text); }

  void makeSplit(QUVENField& field, double minRecords) {
    QUVENSplitTest::createSplitTest(split, &field, minRecords, QUVEN_ENV);
  }
  std::vector<double> boundaries() const {
    const auto& values = static_cast<const QUVENNumericSplit&>(*split).getBoundaries();
    return {values.begin(), values.end()};
  }
  std::int32_t segmentOfNumber(double value) {
    setNumber(value);
    return split->getSegment(1, QUVEN_ENV);
  }
  std::int32_t segmentOfText(const std::string& text) {
    setText(text);
    return split->getSegment(1, QUVEN_ENV);
  }
  void map(const std::vector<std::int32_t>& segments) {
    QUVENXaRay<std::int32_t> array;
    array.fromZeroBased(segments, QUVEN_ENV);
    split->mapSegments(array, QUVEN_ENV);
    array.deleteMemory(QUVEN_ENV);
  }
  /// One text per segment: "2:(1,5]", "3:{1,2,*}", with "?" for missing values.
  std::vector<std::string> described() {
    std::vector<std::string> texts;
    for (const QUVENSegmentDescription& description : split->describeSegments(QUVEN_ENV)) {
      std::ostringstream text;
      text << description.segment << ":";
      if (description.isInterval) text << "(" << description.from << "," << description.to << "]";
      for (const std::int32_t category : description.categories) {
        text << " " << (category == 0 ? "*" : std::string(cat->getCategoryText(category, QUVEN_ENV)));
      }
      if (description.isMissing) text << " ?";
      texts.push_back(text.str());
    }
    return texts;
  }

  QUVENOwnPtr<QUVENNumField> num;
  QUVENOwnPtr<QUVENCatField> cat;
  QUVENOwnPtr<QUVENSplitTest> split;
};

TEST_F(QUVENSplitTestTest, RefusesAFieldOfAnotherType) {
  auto field = make<QUVENTestFieldOfNoType>();
  expectFailure([&] { makeSplit(*field, 1); }, "Invalid field type");
  field.reset(QUVEN_ENV);
  expectFailure([&] { QUVENSplitTest::createSplitTest(split, nullptr, 1, QUVEN_ENV); }, "Invalid field type");
  EXPECT_EQ(split, nullptr);
}

TEST_F(QUVENSplitTestTest, AFieldWithoutBinsHasOneSegmentAndTheMissingOne) {
  makeSplit(*num, 10);
  EXPECT_THAT(boundaries(), IsEmpty());
  EXPECT_EQ(split->getNumSegments(), 2);
  EXPECT_EQ(split->getMissingSegment(), 2);
  EXPECT_EQ(segmentOfNumber(-1e300), 1);
  EXPECT_EQ(segmentOfNumber(notANumber), 2);
  EXPECT_THAT(described(), ElementsAre("1:(-inf,inf]", "2: ?"));
  num->setSampleFlag(false, QUVEN_ENV);
  makeSplit(*num, 10);
  EXPECT_EQ(split->getNumSegments(), 2);
}

// 100 numbers make 10 bins that end at 11, 21, .. 91 and the largest number, of 10 numbers each.
TEST_F(QUVENSplitTestTest, CutsNumbersAtTheEndsOfBins) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  ASSERT_EQ(num->getNumDistValues(QUVEN_ENV), 10);
  // With 10 there is a boundary at each of the 9 ends; the last bin is not counted, so the last one goes.
  makeSplit(*num, 10);
  EXPECT_THAT(boundaries(), ElementsAre(11, 21, 31, 41, 51, 61, 71, 81));
  EXPECT_EQ(split->getNumSegments(), 10);
  EXPECT_EQ(split->getMissingSegment(), 10);
  // Cuts after bins 2, 4, 6 and 8; the 10 numbers of bin 9 are too few, so the last cut goes.
  makeSplit(*num, 11);
  EXPECT_THAT(boundaries(), ElementsAre(21, 41, 61));
  makeSplit(*num, 30);
  EXPECT_THAT(boundaries(), ElementsAre(31, 61));
  makeSplit(*num, 90);
  EXPECT_THAT(boundaries(), IsEmpty());
  makeSplit(*num, 91);
  EXPECT_THAT(boundaries(), IsEmpty());
  makeSplit(*num, 0);
  EXPECT_EQ(boundaries().size(), 9U);
}

TEST_F(QUVENSplitTestTest, ABoundaryBelongsToTheIntervalBelow) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  makeSplit(*num, 30);
  EXPECT_EQ(segmentOfNumber(-infinity), 1);
  EXPECT_EQ(segmentOfNumber(31), 1);
  EXPECT_EQ(segmentOfNumber(std::nextafter(31, 32)), 2);
  EXPECT_EQ(segmentOfNumber(61), 2);
  EXPECT_EQ(segmentOfNumber(61.5), 3);
  EXPECT_EQ(segmentOfNumber(infinity), 3);
  EXPECT_EQ(segmentOfNumber(notANumber), 4);
  num->setNumValue(notANumber);
  EXPECT_EQ(split->getSegment(1, QUVEN_ENV), 4);
  num->clearValue();
  EXPECT_EQ(split->getSegment(1, QUVEN_ENV), 4);
  EXPECT_THAT(described(), ElementsAre("1:(-inf,31]", "2:(31,61]", "3:(61,inf]", "4: ?"));
}

// Half of the values are 5: the bin of that value alone has the end of the bin below it.
TEST_F(QUVENSplitTestTest, NeverCutsTwiceAtOneValue) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i % 2 == 0 ? 5 : i);
  showNumbers(numbers);
  makeSplit(*num, 1);
  const std::vector<double> cuts = boundaries();
  EXPECT_EQ(std::ranges::count(cuts, 5), 1);
  EXPECT_TRUE(std::ranges::is_sorted(cuts));
  EXPECT_EQ(std::ranges::adjacent_find(cuts), cuts.end());
}

TEST_F(QUVENSplitTestTest, CountsAFieldWithAValuePerChannelOncePerRecord) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  num->setActualChannelCount(Channels);
  makeSplit(*num, 10);  // as 30 counts
  EXPECT_THAT(boundaries(), ElementsAre(31, 61));
}

TEST_F(QUVENSplitTestTest, FindsTheSegmentOfEachChannel) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  makeSplit(*num, 30);
  num->clearValue();
  EXPECT_FALSE(split->hasValuePerChannel());
  num->setNumValueOfChannel(1, 40, QUVEN_ENV);
  num->setNumValueOfChannel(3, 99, QUVEN_ENV);
  EXPECT_TRUE(split->hasValuePerChannel());
  EXPECT_EQ(split->getSegment(1, QUVEN_ENV), 2);
  EXPECT_EQ(split->getSegment(2, QUVEN_ENV), 4);  // nothing has set it: NaN
  EXPECT_EQ(split->getSegment(3, QUVEN_ENV), 3);
}

TEST_F(QUVENSplitTestTest, AComputedFieldThatNothingHasSetIsReported) {
  makeSplit(*num, 10);
  num->setComputed(true);
  num->clearValue();
  expectFailure([&] { split->getSegment(1, QUVEN_ENV); }, "A computed field is read before the record has set it");
}

TEST_F(QUVENSplitTestTest, MappingIntervalsRemovesBoundariesBetweenEqualOnes) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  makeSplit(*num, 10);  // 9 intervals and the missing segment
  map({3, 3, 1, 1, 1, 2, 2, 2, 2, 4});
  EXPECT_THAT(boundaries(), ElementsAre(21, 51));
  EXPECT_EQ(split->getNumSegments(), 4);
  EXPECT_EQ(split->getMissingSegment(), 4);
  EXPECT_THAT(described(), ElementsAre("3:(-inf,21]", "1:(21,51]", "2:(51,inf]", "4: ?"));
  EXPECT_EQ(segmentOfNumber(21), 3);
  EXPECT_EQ(segmentOfNumber(22), 1);
  map({1, 1, 1, 2});
  EXPECT_THAT(boundaries(), IsEmpty());
  EXPECT_EQ(split->getNumSegments(), 2);
  EXPECT_EQ(segmentOfNumber(22), 1);
}

/// The boundaries by the literal rule.
std::vector<double> literalBoundaries(const QUVENNumFieldDist& dist, double f, double minRecords) {
  std::vector<double> result;
  double counter = 0;
  for (long i = 1; i <= dist.getNumBins() - 1; ++i) {
    counter = counter + dist.getBin(i).getCount();
    const bool differs = dist.getBin(i).getHiEnd() != dist.getBin(i + 1).getHiEnd();
    if (differs && counter * f >= minRecords) {
      result.push_back(dist.getBin(i).getHiEnd());
      counter = 0;
    }
  }
  if (counter * f < minRecords && !result.empty()) result.pop_back();
  return result;
}

TEST_F(QUVENSplitTestTest, RandomNumbersAreCutByTheLiteralRule) {
  std::mt19937 random(11);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    num.reset(QUVEN_ENV);
    num = make<QUVENNumField>();
    num->setName("x");
    num->setSampleFlag(true, QUVEN_ENV);
    const int channels = round % 3 == 0 ? 3 : 1;
    num->setActualChannelCount(channels);
    std::vector<double> numbers(1 + random() % 900);
    const unsigned distinct = 1 + random() % 200;
    for (double& number : numbers) number = random() % 20 == 0 ? notANumber : 0.5 * (random() % distinct);
    showNumbers(numbers);
    const double minRecords = random() % 40;
    makeSplit(*num, minRecords);
    const std::vector<double> expected = literalBoundaries(*num->getDistribution(), 1.0 / channels, minRecords);
    EXPECT_EQ(boundaries(), expected);
    ASSERT_EQ(split->getNumSegments(), static_cast<int>(expected.size()) + 2);
    for (const double number : numbers) {
      std::size_t interval = 0;
      while (interval < expected.size() && !(number <= expected[interval])) ++interval;
      ASSERT_EQ(segmentOfNumber(number), std::isnan(number) ? split->getNumSegments() : static_cast<int>(interval) + 1);
    }
  }
}

TEST_F(QUVENSplitTestTest, FindsTheIntervalBesideEachBoundary) {
  std::vector<double> numbers;
  for (int i = 0; i < 20000; ++i) numbers.push_back(i % 300);
  num->setSampleFlag(false, QUVEN_ENV);
  num->setSampleCapacity(20000, QUVEN_ENV);
  num->setSampleFlag(true, QUVEN_ENV);
  showNumbers(numbers);
  makeSplit(*num, 1);
  const std::vector<double> cuts = boundaries();
  for (const double cut : cuts) {
    const auto interval = static_cast<std::int32_t>(std::ranges::lower_bound(cuts, cut) - cuts.begin()) + 1;
    EXPECT_EQ(segmentOfNumber(std::nextafter(cut, -infinity)), interval);
    EXPECT_EQ(segmentOfNumber(cut), interval);
    EXPECT_EQ(segmentOfNumber(std::nextafter(cut, infinity)), interval + 1);
  }
}

TEST_F(QUVENSplitTestTest, FrequentCategoriesHaveSegmentsOfTheirOwn) {
  showTexts({{"a", 30}, {"b", 20}, {"c", 9}, {"d", 10}, {"e", 3}, {"", 9}});
  makeSplit(*cat, 10);
  EXPECT_EQ(split->getNumSegments(), 4);
  EXPECT_EQ(segmentOfText("a"), 1);
  EXPECT_EQ(segmentOfText("b"), 2);
  EXPECT_EQ(segmentOfText("d"), 3);
  for (const char* rare : {"c", "e", "unseen", ""}) EXPECT_EQ(segmentOfText(rare), 4) << rare;
  EXPECT_EQ(split->getMissingSegment(), 4);  // 9 missing values are few
  EXPECT_THAT(described(), ElementsAre("1: a", "2: b", "3: d", "4: c e * ?"));
  cat->clearValue();
  EXPECT_EQ(split->getSegment(1, QUVEN_ENV), 4);
  EXPECT_FALSE(split->hasValuePerChannel());
}

TEST_F(QUVENSplitTestTest, ManyMissingValuesHaveASegmentOfTheirOwn) {
  showTexts({{"a", 30}, {"b", 9}, {"", 10}});
  makeSplit(*cat, 10);
  EXPECT_EQ(split->getNumSegments(), 3);
  EXPECT_EQ(segmentOfText("a"), 1);
  EXPECT_EQ(segmentOfText("b"), 2);
  EXPECT_EQ(segmentOfText("unseen"), 2);
  EXPECT_EQ(segmentOfText(""), 3);
  EXPECT_THAT(described(), ElementsAre("1: a", "2: b *", "3: ?"));
}

TEST_F(QUVENSplitTestTest, CategoriesThatAreAllRareShareOneSegment) {
  makeSplit(*cat, 10);
  EXPECT_EQ(split->getNumSegments(), 1);
  EXPECT_EQ(segmentOfText("a"), 1);
  EXPECT_EQ(segmentOfText(""), 1);
  showTexts({{"a", 6}, {"b", 5}});
  makeSplit(*cat, 10);
  EXPECT_EQ(split->getNumSegments(), 1);
  EXPECT_EQ(segmentOfText("a"), 1);
  EXPECT_THAT(described(), ElementsAre("1: a b * ?"));
  cat->setSampleFlag(false, QUVEN_ENV);
  makeSplit(*cat, 10);
  EXPECT_EQ(split->getNumSegments(), 1);
}

TEST_F(QUVENSplitTestTest, MappingCategoriesKeepsTheSharedSegmentForUnseenOnes) {
  showTexts({{"a", 30}, {"b", 20}, {"d", 10}, {"e", 3}, {"", 12}});
  makeSplit(*cat, 10);  // a, b, d, shared, missing
  map({2, 1, 2, 1, 3});
  EXPECT_EQ(split->getNumSegments(), 3);
  EXPECT_EQ(segmentOfText("a"), 2);
  EXPECT_EQ(segmentOfText("b"), 1);
  EXPECT_EQ(segmentOfText("d"), 2);
  EXPECT_EQ(segmentOfText("e"), 1);  // an index above the last frequent category
  EXPECT_EQ(segmentOfText("unseen"), 1);
  EXPECT_EQ(segmentOfText(""), 3);
  EXPECT_THAT(described(), ElementsAre("2: a d", "1: b e *", "3: ?"));
}

TEST_F(QUVENSplitTestTest, ReadFromAStreamItFindsTheSameSegments) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  showTexts({{"a", 30}, {"b", 20}, {"", 12}});
  auto names = make<QUVENFieldNameMap>();
  names->addReference(num.get(), QUVEN_ENV);
  names->addReference(cat.get(), QUVEN_ENV);
  for (QUVENField* field : {static_cast<QUVENField*>(num.get()), static_cast<QUVENField*>(cat.get())}) {
    makeSplit(*field, 10);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
      const std::string image = imageOf(*split, mode);
      QUVENOwnPtr<QUVENSplitTest> read(QUVEN_ENV);
      readFrom(image, [&](QUVENObjReader& reader) {
        names->putInto(reader, QUVEN_ENV);
        quvenReadObject(reader, read, QUVENSplitTest::typeName(), QUVEN_ENV);
      });
      EXPECT_EQ(imageOf(*read, mode), image);
      const std::vector<std::string> expected = described();
      QUVENOwnPtr<QUVENSplitTest> copy = quvenNewCopy(*read, QUVEN_ENV);
      read.reset(QUVEN_ENV);
      split = std::move(copy);
      EXPECT_EQ(described(), expected);
    }
  }
  names.reset(QUVEN_ENV);
}

TEST_F(QUVENSplitTestTest, ADamagedStreamIsRefused) {
  std::vector<double> numbers;
  for (int i = 1; i <= 100; ++i) numbers.push_back(i);
  showNumbers(numbers);
  showTexts({{"a", 30}, {"b", 20}, {"c", 15}, {"d", 12}, {"", 12}});
  auto names = make<QUVENFieldNameMap>();
  names->addReference(num.get(), QUVEN_ENV);
  names->addReference(cat.get(), QUVEN_ENV);
  const auto expectRefused = [&](std::string image, const std::string& bytes, const std::string& damaged,
                                 const std::string& words) {
    const std::size_t place = image.find(bytes);
    ASSERT_NE(place, std::string::npos);
    image.replace(place, bytes.size(), damaged);
    QUVENOwnPtr<QUVENSplitTest> read(QUVEN_ENV);
    const auto readDamaged = [&] {
      readFrom(image, [&](QUVENObjReader& reader) {
        names->putInto(reader, QUVEN_ENV);
        quvenReadObject(reader, read, QUVENSplitTest::typeName(), QUVEN_ENV);
      });
    };
    expectFailure(readDamaged, words);
    read.reset(QUVEN_ENV);
  };
  const auto bytesOf = [](double value) { return std::string(reinterpret_cast<const char*>(&value), sizeof value); };
  const std::string segments = "\x81\x82\x83\x84";  // 1, 2, 3, 4
  for (QUVENField* field : {static_cast<QUVENField*>(num.get()), static_cast<QUVENField*>(cat.get())}) {
    makeSplit(*field, 10);
    const std::string image = imageOf(*split);
    expectRefused(image, segments, "\x80\x82\x83\x84", "areSegments");
    expectRefused(image, segments, "\xC1\x82\x83\x84", "areSegments");
    expectRefused(image, segments, "\x81\x82\x83\xBE", "areSegments");
    expectRefused(image, std::string(1, '\x81').append(field->getName().str()), "\x80", "ivFieldPtr != nullptr");
  }
  makeSplit(*num, 10);
  const QUVENXaRay<double>& boundaries = static_cast<const QUVENNumericSplit&>(*split).getBoundaries();
  ASSERT_GE(boundaries.getSize(), 3);
  for (const double damaged : {boundaries[1], boundaries[3], notANumber}) {
    expectRefused(imageOf(*split), bytesOf(boundaries[2]), bytesOf(damaged), "ivBoundaryVec[i] > ivBoundaryVec[i - 1]");
  }
  names.reset(QUVEN_ENV);
}

}  // namespace
