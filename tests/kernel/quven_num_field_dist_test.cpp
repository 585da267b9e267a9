#include "kernel/quven_num_field_dist.h"

#include <cmath>
#include <random>
#include <span>

#include "field_workers.h"
#include "kernel/quven_num_field.h"
#include "literal_distributions.h"

namespace {

constexpr double lowest = QUVENNumFieldBin::LowestValue;
constexpr double highest = QUVENNumFieldBin::HighestValue;
constexpr double infinity = std::numeric_limits<double>::infinity();

class QUVENNumFieldDistTest : public FieldWorkersTest {
 protected:
  void SetUp() override {
    FieldWorkersTest::SetUp();
    field->setName("amount");
    field->setSampleFlag(true, QUVEN_ENV);
  }
  void TearDown() override {
    field.reset(QUVEN_ENV);
    FieldWorkersTest::TearDown();
  }
  const QUVENNumFieldDist& dist() { return *field->getDistribution(); }
  void show(double value) {
    field->setNumValue(value);
    field->updateDistribution(++recordId, QUVEN_ENV);
  }
  /// A whole pass over values.
  void pass(const std::vector<double>& values) {
    field->beginDistributionPass(QUVEN_ENV);
    for (const double value : values) show(value);
    field->endDistributionPass(QUVEN_ENV);
  }
  std::vector<literal::Bin> bins() {
    std::vector<literal::Bin> list;
    for (long i = 1; i <= dist().getNumBins(); ++i) {
      const QUVENNumFieldBin& bin = dist().getBin(i);
      list.push_back({bin.getLoEnd(), bin.getHiEnd(), bin.includesLoEnd(), bin.includesHiEnd()});
    }
    return list;
  }
  std::vector<int> counts() {
    std::vector<int> list;
    for (long i = 1; i <= dist().getNumBins(); ++i) list.push_back(dist().getBin(i).getCount());
    return list;
  }

  QUVENOwnPtr<QUVENNumField> field = make<QUVENNumField>();
  std::uint32_t recordId = 0;
};

using Bins = std::vector<literal::Bin>;

TEST_F(QUVENNumFieldDistTest, TheKeywordsAreInTheOrderOfTheStream) {
  const auto namesOf = [](std::span<const QUVENKeyword> keywords) {
    std::vector<std::string> names;
    for (const QUVENKeyword& keyword : keywords) names.emplace_back(keyword.getName());
    return names;
  };
  EXPECT_THAT(namesOf(QUVENNumFieldDist::keywords()),
              testing::ElementsAre("ivSampleSortVec", "ivSampleSortVecCapacity", "ivPotBinsVec", "ivScansDone",
                                   "ivMissingCount", "ivValidCount", "ivCurrMissingCount", "ivCurrValidCount"));
  EXPECT_THAT(namesOf(QUVENNumFieldBin::keywords()),
              testing::ElementsAre("ivLoEnd", "ivHiEnd", "ivIncLoEnd", "ivIncHiEnd", "ivCount", "ivMean", "ivVariance",
                                   "ivMaxValue", "ivMinValue", "ivCurrCount", "ivCurrSum", "ivCurrVariance",
                                   "ivCurrMaxValue", "ivCurrMinValue"));
  EXPECT_THAT(namesOf(QUVENRealPQElement::keywords()), testing::ElementsAre("ivValue", "ivPriority"));
  EXPECT_THAT(namesOf(QUVENNumField::keywords()), testing::ElementsAre("ivSampleFlag", "ivNumFieldDistPtr"));
}

// ---- bins ----

TEST(QUVENNumFieldBin, StartsEmpty) {
  const QUVENNumFieldBin bin(1, 2, true, false);
  EXPECT_EQ(bin.getCurrCount(), 0);
  EXPECT_EQ(bin.getCurrMaxValue(), -1.7976931348623157e308);
  EXPECT_EQ(bin.getCurrMinValue(), 1.7976931348623157e308);
}

// By hand: the values 2, 4, 9. Of 4: old mean 2, new mean 3, (4-3)(4-2) = 2. Of 9: old 3, new 5, (9-5)(9-3) = 24.
// About the mean 5 the squares are 9 + 1 + 16 = 26 as well.
TEST(QUVENNumFieldBin, GathersSumAndSquaresWorkedByHand) {
  QUVENNumFieldBin bin(0, 10, true, false);
  for (const double x : {2.0, 4.0, 9.0}) bin.update(x);
  EXPECT_EQ(bin.getCurrCount(), 3);
  EXPECT_EQ(bin.getCurrSum(), 15);
  EXPECT_EQ(bin.getCurrVariance(), 26);
  EXPECT_EQ(bin.getCurrMaxValue(), 9);
  EXPECT_EQ(bin.getCurrMinValue(), 2);
  bin.finishPass();
  EXPECT_EQ(bin.getCount(), 3);
  EXPECT_EQ(bin.getMean(), 5);
  EXPECT_EQ(bin.getVariance(), 26.0 / 3);
  EXPECT_EQ(bin.getMaxValue(), 9);
  EXPECT_EQ(bin.getMinValue(), 2);
  EXPECT_EQ(bin.getCurrCount(), 0);
  EXPECT_EQ(bin.getCurrSum(), 0);
  EXPECT_EQ(bin.getCurrVariance(), 0);
  EXPECT_EQ(bin.getCurrMaxValue(), lowest);
  EXPECT_EQ(bin.getCurrMinValue(), highest);
  bin.finishPass();
  EXPECT_EQ(bin.getCount(), 0);
  EXPECT_EQ(bin.getMean(), 5);  // half of 0 + 10
  EXPECT_EQ(bin.getVariance(), 0);
  EXPECT_EQ(bin.getMaxValue(), lowest);
}

QUVENNumFieldBin binOf(std::initializer_list<double> values) {
  QUVENNumFieldBin bin(0, 10, true, false);
  for (const double x : values) bin.update(x);
  return bin;
}

// By hand. {1, 3} with {5}: t = 3, q = 3/2 = 1, d = 9/3 - 5 = -2, 4 * (1*1) + 0 + 2 = 6; exact would be 8.
// {1} with {3, 5, 7}: t = 4, q = 4, d = 16/4 - 15/3 = -1, 1 * (4*3) + 8 + 0 = 20, which is exact.
TEST(QUVENNumFieldBin, MergesWithTheQuotientOfIntegers) {
  QUVENNumFieldBin first = binOf({1, 3});
  first.merge(binOf({5}));
  EXPECT_EQ(first.getCurrCount(), 3);
  EXPECT_EQ(first.getCurrSum(), 9);
  EXPECT_EQ(first.getCurrVariance(), 6);
  EXPECT_EQ(first.getCurrMaxValue(), 5);
  EXPECT_EQ(first.getCurrMinValue(), 1);
  QUVENNumFieldBin second = binOf({1});
  second.merge(binOf({3, 5, 7}));
  EXPECT_EQ(second.getCurrCount(), 4);
  EXPECT_EQ(second.getCurrSum(), 16);
  EXPECT_EQ(second.getCurrVariance(), 20);
}

TEST(QUVENNumFieldBin, MergesWithAnEmptyOneOnEitherSide) {
  QUVENNumFieldBin bin = binOf({1, 3});
  bin.merge(binOf({}));
  EXPECT_EQ(bin.getCurrCount(), 2);
  EXPECT_EQ(bin.getCurrVariance(), 2);
  QUVENNumFieldBin empty = binOf({});
  empty.merge(bin);
  EXPECT_EQ(empty.getCurrCount(), 2);
  EXPECT_EQ(empty.getCurrSum(), 4);
  EXPECT_EQ(empty.getCurrVariance(), 2);
  EXPECT_EQ(empty.getCurrMaxValue(), 3);
  EXPECT_EQ(empty.getCurrMinValue(), 1);
}

// A bin that has counted to the end of its 32 bits; the count before it comes from a stream.
TEST_F(QUVENNumFieldDistTest, ACountStaysAtTheLargestOne) {
  constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
  const std::string image = written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) {
    writer.beginObjectType("QUVENNumFieldBin", QUVEN_ENV);
    quvenWrite(writer, QUVENNumFieldBin::keywords()[9], largest - 1, QUVEN_ENV);
    quvenWrite(writer, QUVENNumFieldBin::keywords()[10], 0.0, QUVEN_ENV);
    writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
  });
  QUVENOwnPtr<QUVENNumFieldBin> bin = objectOf<QUVENNumFieldBin>(image);
  bin->update(1);
  EXPECT_EQ(bin->getCurrCount(), largest);
  bin->update(1);
  EXPECT_EQ(bin->getCurrCount(), largest);
  EXPECT_EQ(bin->getCurrSum(), 1);  // and what is not counted is in no sum
  bin.reset(QUVEN_ENV);
}

// The mean goes through no stream: a bin that was read goes on as the original does, to the bit.
TEST_F(QUVENNumFieldDistTest, ABinThatWasReadGoesOn) {
  pass({1, 2, 3});
  show(0.1);
  show(0.7);
  QUVENOwnPtr<QUVENNumFieldBin> read = objectOf<QUVENNumFieldBin>(imageOf(dist().getBin(1)));
  show(0.3);
  read->update(0.3);
  EXPECT_EQ(imageOf(*read), imageOf(dist().getBin(1)));
  read.reset(QUVEN_ENV);
}

// Sums beyond the largest number leave infinity for the mean, and draws must stay within the bin.
TEST(QUVENNumFieldBin, DrawsFromASumThatOverflowsStayInTheBin) {
  QUVENNumFieldBin bin = binOf({1, highest, highest});
  bin.finishPass();
  EXPECT_EQ(bin.getMean(), infinity);
  EXPECT_EQ(bin.valueOfDraw(0), highest);
  QUVENNumFieldBin both = binOf({lowest, lowest});
  both.merge(binOf({highest, highest}));
  both.finishPass();
  EXPECT_TRUE(std::isnan(both.getMean()));
  EXPECT_EQ(both.valueOfDraw(0), lowest);
}

// ---- potential bins ----

TEST_F(QUVENNumFieldDistTest, OneValueMakesOneBin) {
  pass({7});
  EXPECT_EQ(bins(), (Bins{{lowest, highest, true, false}}));
  EXPECT_EQ(dist().getBin(1).getCount(), 1);
  EXPECT_EQ(dist().getBin(1).getMean(), 7);
  EXPECT_EQ(dist().getBin(1).getMinValue(), 7);
  EXPECT_EQ(dist().getScansDone(), 1);
  EXPECT_EQ(dist().getValidCount(), 1);
  EXPECT_EQ(dist().getSample().getSize(), 0);
  EXPECT_EQ(dist().getSample().getCapacity(), 0);  // its memory is released
  EXPECT_EQ(dist().getSampleCapacity(), 0);
}

// n = 4, b = 2, step 2: position 3 gives the end 5, and back to 1. Position 3 again: a run up to 4, a point.
// Position 6.
TEST_F(QUVENNumFieldDistTest, EqualValuesMakeABinBelowThePointAndABinAbove) {
  pass({5, 5, 5, 5});
  EXPECT_EQ(bins(), (Bins{{lowest, 5, true, false}, {5, 5, true, true}, {5, highest, false, false}}));
  EXPECT_THAT(counts(), testing::ElementsAre(0, 4, 0));
  EXPECT_EQ(dist().getBinIndex(std::nextafter(5, 0), QUVEN_ENV), 1);
  EXPECT_EQ(dist().getBinIndex(5, QUVEN_ENV), 2);
  EXPECT_EQ(dist().getBinIndex(std::nextafter(5, 6), QUVEN_ENV), 3);
}

TEST_F(QUVENNumFieldDistTest, FewerThanFourValuesMakeOneBin) {
  pass({3, 1, 2});
  EXPECT_EQ(bins(), (Bins{{lowest, highest, true, false}}));
  EXPECT_EQ(dist().getBin(1).getMean(), 2);
  EXPECT_EQ(dist().getBin(1).getVariance(), 2.0 / 3);
}

// n = 4, b = 2, step 2: position 3 gives the end 3; then position 5.
TEST_F(QUVENNumFieldDistTest, TheUpperEndBelongsToTheNextBin) {
  pass({4, 1, 3, 2});
  EXPECT_EQ(bins(), (Bins{{lowest, 3, true, false}, {3, highest, true, false}}));
  EXPECT_THAT(counts(), testing::ElementsAre(2, 2));
}

// n = 9, b = 3, step 3, of 1 1 1 2 2 2 2 2 2: position 4 gives the end 2. Position 7: a run up to 9. Position 12.
TEST_F(QUVENNumFieldDistTest, ARunAtTheEndIsAPointWithABinAboveIt) {
  pass({1, 1, 1, 2, 2, 2, 2, 2, 2});
  EXPECT_EQ(bins(), (Bins{{lowest, 2, true, false}, {2, 2, true, true}, {2, highest, false, false}}));
  EXPECT_THAT(counts(), testing::ElementsAre(3, 6, 0));
  EXPECT_EQ(dist().getBin(3).getMean(), (2 + highest) * 0.5);
}

// n = 4, b = 2, step 2, of 1 1 1 2: position 3 gives the end 1, back to 1. Position 3: a run up to 4. Position 6.
TEST_F(QUVENNumFieldDistTest, ALastValueAboveARunIsInTheBinAbove) {
  pass({1, 1, 1, 2});
  EXPECT_EQ(bins(), (Bins{{lowest, 1, true, false}, {1, 1, true, true}, {1, highest, false, false}}));
  EXPECT_THAT(counts(), testing::ElementsAre(0, 3, 1));
}

// n = 5, b = 2, step 2: position 3 gives the end 3. Position 5 is n: no end, and the walk is not over. Position 7.
TEST_F(QUVENNumFieldDistTest, APositionAtTheLastValueMakesALastEmptyBin) {
  pass({1, 2, 3, 4, 5});
  EXPECT_EQ(bins(), (Bins{{lowest, 3, true, false}, {3, highest, true, false}, {highest, highest, true, false}}));
  EXPECT_THAT(counts(), testing::ElementsAre(2, 3, 0));
}

// A stream makes them of it; a worker that needs no stream must not have another sample.
TEST_F(QUVENNumFieldDistTest, InfinitiesCountAsTheLargestNumbers) {
  show(infinity);
  EXPECT_EQ(dist().getSample()[1].getValue(), highest);
  pass({-infinity, 1, 2, 3});
  EXPECT_EQ(dist().getBin(1).getMinValue(), lowest);
  pass({infinity});
  EXPECT_EQ(dist().getBin(dist().getNumBins()).getMaxValue(), highest);
  EXPECT_EQ(dist().getBin(dist().getNumBins()).getMean(), highest);
}

// n = 9, step 3: the bin below the largest number, the point, and the bin above it, which holds nothing.
TEST_F(QUVENNumFieldDistTest, InfinityIsInThePointOfTheLargestNumber) {
  pass({1, infinity, infinity, infinity, infinity, infinity, infinity, highest, highest});
  EXPECT_EQ(bins(),
            (Bins{{lowest, highest, true, false}, {highest, highest, true, true}, {highest, highest, false, false}}));
  EXPECT_THAT(counts(), testing::ElementsAre(1, 8, 0));
  EXPECT_EQ(dist().getBinIndex(highest, QUVEN_ENV), 2);
  EXPECT_EQ(dist().getBinIndex(infinity, QUVEN_ENV), 2);
}

TEST_F(QUVENNumFieldDistTest, InfinitiesAreInTheBinsAtTheEnds) {
  pass({1, 2, 3, 4});
  EXPECT_EQ(dist().getBinIndex(-infinity, QUVEN_ENV), 1);
  EXPECT_EQ(dist().getBinIndex(lowest, QUVEN_ENV), 1);
  EXPECT_EQ(dist().getBinIndex(highest, QUVEN_ENV), 2);
  EXPECT_EQ(dist().getBinIndex(infinity, QUVEN_ENV), 2);
  expectFailure([&] { dist().getBinIndex(std::nan(""), QUVEN_ENV); }, unreachableText);
}

TEST_F(QUVENNumFieldDistTest, BinsAreThoseOfTheLiteralModelAndCoverTheLine) {
  std::mt19937 random(20);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    std::vector<double> values(1 + random() % 400);
    const unsigned distinct = 1 + random() % 60;
    for (double& x : values) x = static_cast<double>(random() % distinct) / 4 - 3;
    if (round % 10 == 0) values[0] = round % 20 == 0 ? infinity : -infinity;
    if (round % 10 == 5) values[0] = round % 20 == 5 ? highest : lowest;
    field->setSampleFlag(false, QUVEN_ENV);
    field->setSampleFlag(true, QUVEN_ENV);
    pass(values);
    for (double& x : values) x = literal::finite(x);
    const Bins model = literal::potentialBins(values);
    ASSERT_EQ(bins(), model);
    std::vector<int> expected(model.size());
    for (const double x : values) ++expected[literal::binOf(model, x)];
    ASSERT_EQ(counts(), expected);
    for (const double x : values) {
      for (const double y : {std::nextafter(x, lowest), x, std::nextafter(x, highest)}) {
        ASSERT_EQ(dist().getBinIndex(y, QUVEN_ENV), static_cast<int>(literal::binOf(model, y)) + 1) << y;
      }
    }
  }
}

TEST_F(QUVENNumFieldDistTest, ManyValuesMakeAHundredBins) {
  std::vector<double> values(12345);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>((i * 7919) % values.size());
  field->setSampleCapacity(20000, QUVEN_ENV);
  pass(values);
  EXPECT_EQ(bins(), literal::potentialBins(values));
  EXPECT_EQ(bins().size(), 101U);  // steps of 123 leave 45 values over
}

// ---- counts ----

TEST_F(QUVENNumFieldDistTest, MissingValuesAreCountedAndNothingElse) {
  for (int i = 0; i < 3; ++i) {
    field->setMissing();
    field->updateDistribution(++recordId, QUVEN_ENV);
  }
  EXPECT_EQ(dist().getCurrMissingCount(), 3);
  EXPECT_EQ(dist().getCurrValidCount(), 0);
  EXPECT_EQ(dist().getSample().getSize(), 0);
  field->endDistributionPass(QUVEN_ENV);
  EXPECT_EQ(dist().getMissingCount(), 3);
  EXPECT_EQ(dist().getCurrMissingCount(), 0);
  EXPECT_EQ(dist().getNumBins(), 0);
  EXPECT_EQ(dist().getBinIndex(1, QUVEN_ENV), 0);
  pass({4, 5});  // too late for a sample
  EXPECT_EQ(dist().getValidCount(), 2);
  EXPECT_EQ(dist().getNumBins(), 0);
}

TEST_F(QUVENNumFieldDistTest, LaterPassesCountEveryValue) {
  field->setSampleCapacity(4, QUVEN_ENV);
  pass({1, 2, 3, 4});
  pass({0, 2.5, 3, 7, 8, -1});
  EXPECT_THAT(counts(), testing::ElementsAre(3, 3));
  EXPECT_EQ(dist().getBin(2).getMean(), 6);
  EXPECT_EQ(dist().getBin(1).getMinValue(), -1);
  EXPECT_EQ(dist().getScansDone(), 2);
  EXPECT_EQ(dist().getValidCount(), 6);
  pass({});
  EXPECT_THAT(counts(), testing::ElementsAre(0, 0));
}

TEST_F(QUVENNumFieldDistTest, BeginningAPassDropsAnUnfinishedOne) {
  show(1);
  field->setMissing();
  field->updateDistribution(++recordId, QUVEN_ENV);
  pass({5});
  EXPECT_EQ(dist().getValidCount(), 1);
  EXPECT_EQ(dist().getMissingCount(), 0);
  EXPECT_EQ(dist().getBin(1).getMean(), 5);
  show(100);
  pass({6});
  EXPECT_EQ(dist().getBin(1).getMaxValue(), 6);
  EXPECT_EQ(dist().getBin(1).getCount(), 1);
}

TEST_F(QUVENNumFieldDistTest, ASampleOfNothingIsNeverRead) {
  field->setSampleCapacity(0, QUVEN_ENV);
  pass({1, 2, 3});
  EXPECT_EQ(dist().getNumBins(), 0);
  EXPECT_EQ(dist().getValidCount(), 3);
}

TEST_F(QUVENNumFieldDistTest, NeedsItsFieldForASample) {
  QUVENOwnPtr<QUVENNumFieldDist> alone = make<QUVENNumFieldDist>();
  expectFailure([&] { alone->update(1, 2.0, QUVEN_ENV); }, "field != nullptr");
  alone.reset(QUVEN_ENV);
}

TEST_F(QUVENNumFieldDistTest, EndsThatAreNotNumbersLeadToNoBin) {
  pass({1, 2, 3, 4});
  std::string image = imageOf(dist());
  const auto numberImage = [&](double value) {
    return written(QUVENObjWriter::Save, [&](QUVENObjWriter& writer) { writer.writeDouble(value, QUVEN_ENV); });
  };
  for (const double end : {3.0, highest}) {
    for (std::size_t place = image.find(numberImage(end)); place != std::string::npos;
         place = image.find(numberImage(end))) {
      image.replace(place, 8, numberImage(std::nan("")));
    }
  }
  QUVENOwnPtr<QUVENNumFieldDist> read = objectOf<QUVENNumFieldDist>(image);
  expectFailure([&] { read->getBinIndex(1, QUVEN_ENV); }, unreachableText);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENNumFieldDistTest, EachPartOfADistributionTravels) {
  for (const double x : {3.0, 1.0, 2.0, 4.0}) show(x);
  expectRoundTrip(dist());
  EXPECT_NE(imageOf(dist()).find("QUVENRealPQElement"), std::string::npos);
  field->endDistributionPass(QUVEN_ENV);
  for (const double x : {3.5, 1.0}) show(x);
  expectRoundTrip(dist());
  expectRoundTrip(dist().getBin(2));
  expectRoundTrip(QUVENRealPQElement(2.5, 4294967295U));
}

}  // namespace
