#include "kernel/quven_num_field.h"

#include <cmath>
#include <random>
#include <tuple>

#include "field_workers.h"
#include "kernel/quven_data_point.h"
#include "literal_distributions.h"
#include "util/quven_registration.h"

/// Gives twice the record number, and nothing for every fifth record.
class QUVENTestNumProducer : public QUVENObjectOf<QUVENTestNumProducer, QUVENNumValueProducer> {
 public:
  bool produceValue(QUVENDataPoint& point, double& value, const QUVENEnvHandle&) override {
    value = 2.0 * point.getRecordId();
    return point.getRecordId() % 5 != 0;
  }
};
QUVEN_REGISTER(QUVENTestNumProducer);

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

using NumSample = std::vector<literal::Sampled<double>>;
using Records = std::vector<std::uint32_t>;

/// The column of a random data set: what each record delivers.
struct Column {
  std::vector<std::vector<double>> values;  ///< more than one in several channels; none in an absent or missing one
  std::vector<bool> missing;

  void set(QUVENNumField& field, std::uint32_t record, const QUVENEnvHandle& env) const {
    const std::vector<double>& mine = values[record];
    if (missing[record]) return field.setMissing();
    if (mine.size() == 1) return field.setNumValue(mine[0]);
    QUVENXaRay<double> array;
    array.fromZeroBased(mine, QUVEN_ENV);
    field.setNumValues(array, QUVEN_ENV);
    array.deleteMemory(QUVEN_ENV);
  }
};

/// Values are multiples of a quarter, so that every order of addition gives the same sum.
Column randomColumn(std::mt19937& random, bool withInfinities) {
  Column column;
  column.values.resize(random() % 500);
  const unsigned distinct = 1 + random() % 80;
  for (std::vector<double>& record : column.values) {
    const unsigned kind = random() % 20;
    column.missing.push_back(kind < 2);
    record.resize(kind < 3 ? 0 : kind < 5 ? 1 + random() % 3 : 1);
    for (double& x : record) x = static_cast<double>(random() % distinct) / 4 - 5;
    if (withInfinities && !record.empty() && random() % 8 == 0) record[0] = random() % 2 == 0 ? infinity : -infinity;
  }
  return column;
}

std::vector<Records> randomSplit(std::mt19937& random, std::size_t numRecords) {
  std::vector<Records> ranks(1 + random() % 5);
  const bool slices = random() % 2 == 0;
  for (std::uint32_t record = 0; record < numRecords; ++record) {
    ranks[slices ? record * ranks.size() / numRecords : random() % ranks.size()].push_back(record);
  }
  return ranks;
}

class QUVENNumFieldTest : public FieldWorkersTest {
 protected:
  void TearDown() override {
    field.reset(QUVEN_ENV);
    FieldWorkersTest::TearDown();
  }
  void newField(std::int32_t capacity) {
    field.reset(QUVEN_ENV);
    field = make<QUVENNumField>();
    field->setName("amount");
    field->setSampleCapacity(capacity, QUVEN_ENV);
    field->setSampleFlag(true, QUVEN_ENV);
  }
  const QUVENNumFieldDist& dist() { return *field->getDistribution(); }
  NumSample sample() {
    NumSample list;
    for (const QUVENSampledNumber& element : dist().getSample()) {
      list.emplace_back(element.getPriority(), element.getValue());
    }
    return list;
  }
  std::uint32_t priorityOf(std::uint32_t record) { return hashPair(record, field->getName().hash()); }
  Setter<QUVENNumField> setterOf(const Column& column) {
    return [&](QUVENNumField& ofField, std::uint32_t record) { column.set(ofField, record, QUVEN_ENV); };
  }
  void pass(const std::vector<double>& values) {
    std::uint32_t record = 0;
    for (const double value : values) {
      field->setNumValue(value);
      field->updateDistribution(++record, QUVEN_ENV);
    }
    field->endDistributionPass(QUVEN_ENV);
  }
  /// The current statistics of the bins against those of a fold over the ranks.
  void checkBins(const Column& column, const std::vector<Records>& ranks, const std::vector<literal::Bin>& bins,
                 bool withSquares);

  QUVENOwnPtr<QUVENNumField> field = make<QUVENNumField>();
};

void QUVENNumFieldTest::checkBins(const Column& column, const std::vector<Records>& ranks,
                                  const std::vector<literal::Bin>& bins, bool withSquares) {
  std::vector<literal::Statistics> total(bins.size());
  std::vector<std::vector<double>> all(bins.size());
  for (const Records& records : ranks) {
    std::vector<std::vector<double>> ofRank(bins.size());
    for (const std::uint32_t record : records) {
      for (const double x : column.values[record]) {
        ofRank[literal::binOf(bins, x)].push_back(literal::finite(x));
        all[literal::binOf(bins, x)].push_back(literal::finite(x));
      }
    }
    for (std::size_t i = 0; i < bins.size(); ++i) {
      total[i] = literal::merged(total[i], literal::statisticsOf(ofRank[i]));
    }
  }
  for (std::size_t i = 0; i < bins.size(); ++i) {
    SCOPED_TRACE(i);
    const QUVENNumFieldBin& bin = dist().getBin(static_cast<long>(i) + 1);
    const literal::Statistics one = literal::statisticsOf(all[i]);  // one worker alone
    EXPECT_EQ(bin.getCurrCount(), one.count);
    EXPECT_EQ(bin.getCurrMaxValue(), one.max);
    EXPECT_EQ(bin.getCurrMinValue(), one.min);
    if (!withSquares) continue;
    EXPECT_EQ(bin.getCurrSum(), one.sum);
    // The values are below 16 and the squares of few hundred of them: rounding is far below this.
    EXPECT_NEAR(bin.getCurrVariance(), total[i].squares, 1e-9 * (1 + total[i].squares));
    if (ranks.size() != 1) continue;
    EXPECT_NEAR(bin.getCurrVariance(), one.squares, 1e-9 * (1 + one.squares));
  }
}

TEST_F(QUVENNumFieldTest, SamplingMakesADistributionAndItsEndReleasesIt) {
  EXPECT_FALSE(field->isSampled());
  EXPECT_EQ(field->getSampleCapacity(), QUVENNumField::DefaultSampleCapacity);
  EXPECT_EQ(field->getNumDistValues(QUVEN_ENV), 0);
  EXPECT_EQ(field->getIndexOfValue(1, QUVEN_ENV), 0);
  field->setSampleFlag(true, QUVEN_ENV);
  EXPECT_TRUE(field->hasDistribution());
  EXPECT_EQ(dist().getSampleCapacity(), QUVENNumField::DefaultSampleCapacity);
  const QUVENNumFieldDist* before = field->getDistribution();
  field->setSampleFlag(true, QUVEN_ENV);
  EXPECT_EQ(field->getDistribution(), before);
  field->setSampleCapacity(7, QUVEN_ENV);
  EXPECT_EQ(dist().getSampleCapacity(), 7);
  field->setSampleFlag(false, QUVEN_ENV);
  EXPECT_FALSE(field->hasDistribution());
  EXPECT_EQ(field->getDistribution(), nullptr);
}

TEST_F(QUVENNumFieldTest, OnlyASampledFieldWithAValueShowsItToTheDistribution) {
  field->setNumValue(1);
  field->updateDistribution(1, QUVEN_ENV);  // not sampled
  newField(10);
  field->updateDistribution(1, QUVEN_ENV);  // nothing delivered
  EXPECT_EQ(dist().getCurrValidCount(), 0);
  EXPECT_EQ(dist().getCurrMissingCount(), 0);
  field->setMissing();
  field->updateDistribution(1, QUVEN_ENV);
  EXPECT_EQ(dist().getCurrMissingCount(), 1);
  field->setNumValue(3);
  field->updateDistribution(2, QUVEN_ENV);
  EXPECT_EQ(dist().getCurrValidCount(), 1);
  EXPECT_EQ(sample(), (NumSample{{priorityOf(2), 3.0}}));
}

TEST_F(QUVENNumFieldTest, TheIndexOfAValueIsItsBin) {
  newField(10);
  pass({1, 2, 3, 4});  // bins up to and from 3
  EXPECT_EQ(field->getNumDistValues(QUVEN_ENV), 2);
  field->setNumValue(2);
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), 1);
  field->setNumValue(3);
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), 2);
  EXPECT_EQ(field->getIndexOfValue(2, QUVEN_ENV), 1);
  field->setMissing();
  EXPECT_EQ(field->getIndexOfValue(2, QUVEN_ENV), -1);
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), -1);
}

TEST_F(QUVENNumFieldTest, AProducerComputesTheValue) {
  QUVENOwnPtr<QUVENDataPoint> point = make<QUVENDataPoint>();
  field->computeValue(*point, QUVEN_ENV);
  EXPECT_FALSE(field->hasValue());  // no producer
  QUVENTestNumProducer producer;
  field->setValueProducer(&producer);
  point->setRecordId(3);
  field->computeValue(*point, QUVEN_ENV);
  EXPECT_EQ(field->getNumValue(QUVEN_ENV), 6);
  point->setRecordId(5);
  field->computeValue(*point, QUVEN_ENV);
  EXPECT_TRUE(field->isMissing());
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), -1);
  point.reset(QUVEN_ENV);
  producer.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENNumFieldTest, AProducerIsAnAbstractClassWithAName) {
  const QUVENTypeName* type = QUVENTypeNameAux::find(QUVENStringWithHash("QUVENNumValueProducer"));
  ASSERT_NE(type, nullptr);
  EXPECT_TRUE(type->isAbstract());
  EXPECT_TRUE(QUVENNumValueProducer::keywords().empty());
}

TEST_F(QUVENNumFieldTest, TheSampleIsTheHeapOfTheSteps) {
  for (const std::int32_t capacity : {1, 2, 3, 4, 5, 16, 17, 50}) {
    newField(capacity);
    literal::SampleHeap<double> model(static_cast<std::size_t>(capacity));
    for (std::uint32_t record = 0; record < 50; ++record) {
      field->setNumValue(record);
      field->updateDistribution(record, QUVEN_ENV);
      model.add({priorityOf(record), record});
      ASSERT_EQ(sample(), model.values()) << capacity << " at " << record;
    }
  }
}

// Channels of a record share its priority. What a full sample keeps of them must not depend on what came before: it did
// when only priorities were compared.
TEST_F(QUVENNumFieldTest, ValuesOfOnePriorityLeaveByTheirSize) {
  Column column;
  column.values = {{1, 2, 3}, {6, 5, 4}};
  column.missing = {false, false};
  const std::uint32_t low = priorityOf(0) < priorityOf(1) ? 0 : 1;
  for (const Records& order : {Records{0, 1}, Records{1, 0}}) {
    newField(4);
    showRecords<QUVENNumField>(*field, order, setterOf(column));
    NumSample kept = sample();
    std::sort(kept.begin(), kept.end());
    ASSERT_EQ(kept.size(), 4U);
    EXPECT_EQ(kept[0].second, low == 0 ? 3 : 6);
  }
}

TEST_F(QUVENNumFieldTest, AnySplitOverWorkersGivesWhatOneWorkerHas) {
  std::mt19937 random(7);
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE(round);
    const bool withInfinities = round % 5 == 4;
    const Column column = randomColumn(random, withInfinities);
    const std::int32_t capacity = 1 + static_cast<std::int32_t>(random() % 300);
    newField(capacity);

    gather<QUVENNumField>(*field, randomSplit(random, column.values.size()), setterOf(column));
    NumSample all;
    double valid = 0;
    double missing = 0;
    for (std::uint32_t record = 0; record < column.values.size(); ++record) {
      for (const double x : column.values[record]) all.emplace_back(priorityOf(record), literal::finite(x));
      valid += static_cast<double>(column.values[record].size());
      missing += column.missing[record] ? 1 : 0;
    }
    const NumSample expected = literal::sampleOf(all, static_cast<std::size_t>(capacity));
    NumSample kept = sample();
    std::sort(kept.begin(), kept.end());
    ASSERT_EQ(kept, expected);
    EXPECT_EQ(dist().getCurrValidCount(), valid);
    EXPECT_EQ(dist().getCurrMissingCount(), missing);

    field->endDistributionPass(QUVEN_ENV);
    std::vector<double> values;
    for (const auto& [priority, x] : expected) values.push_back(x);
    const std::vector<literal::Bin> bins = literal::potentialBins(values);
    ASSERT_EQ(dist().getNumBins(), static_cast<long>(bins.size()));
    EXPECT_EQ(dist().getValidCount(), valid);
    EXPECT_EQ(dist().getMissingCount(), missing);
    if (bins.empty()) continue;

    const std::vector<Records> split = randomSplit(random, column.values.size());
    gather<QUVENNumField>(*field, split, setterOf(column));
    checkBins(column, split, bins, !withInfinities);
    field->endDistributionPass(QUVEN_ENV);
    EXPECT_EQ(dist().getScansDone(), 2);
  }
}

TEST_F(QUVENNumFieldTest, MergesNothingWithoutADistributionOnBothSides) {
  QUVENOwnPtr<QUVENNumField> other = make<QUVENNumField>();
  EXPECT_TRUE(field->hasScanResult(QUVEN_ENV));
  other->setSampleFlag(true, QUVEN_ENV);
  EXPECT_TRUE(field->merge(other.get(), QUVEN_ENV));
  EXPECT_FALSE(field->hasDistribution());
  other->setNumValue(1);
  other->updateDistribution(1, QUVEN_ENV);
  EXPECT_TRUE(other->merge(field.get(), QUVEN_ENV));
  EXPECT_EQ(other->getDistribution()->getCurrValidCount(), 1);
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENNumFieldTest, AComputedValueThatIsNotANumberCountsAsMissing) {
  newField(10);
  field->setComputed(true);
  const auto show = [&](double value) {
    field->setNumValue(value);
    field->updateDistribution(1, QUVEN_ENV);
  };
  show(std::nan(""));
  show(3);
  EXPECT_EQ(dist().getCurrMissingCount(), 1);
  EXPECT_EQ(dist().getCurrValidCount(), 1);
  field->endDistributionPass(QUVEN_ENV);
  show(std::nan(""));
  EXPECT_EQ(dist().getCurrMissingCount(), 1);
  QUVENXaRay<double> channels;
  for (const double value : {1.0, std::nan(""), 2.0}) channels.append(value, QUVEN_ENV);
  field->setNumValues(channels, QUVEN_ENV);
  field->updateDistribution(2, QUVEN_ENV);
  EXPECT_EQ(dist().getCurrMissingCount(), 2);
  EXPECT_EQ(dist().getCurrValidCount(), 2);
  channels.deleteMemory(QUVEN_ENV);
}

// The prediction of a model may overflow: in its single value, or in some channels, in the sample or in the bins.
TEST_F(QUVENNumFieldTest, AComputedValueThatIsInfiniteCountsAsTheLargestNumber) {
  constexpr double largest = std::numeric_limits<double>::max();
  newField(10);
  field->setComputed(true);
  QUVENXaRay<double> channels;
  for (const double value : {1.0, infinity, -infinity, std::nan("")}) channels.append(value, QUVEN_ENV);
  for (int pass = 0; pass < 3; ++pass) {
    SCOPED_TRACE(pass);
    field->setNumValues(channels, QUVEN_ENV);
    field->updateDistribution(1, QUVEN_ENV);
    for (const double value : {infinity, -infinity, 2.0, 3.0, 4.0}) {
      field->setNumValue(value);
      field->updateDistribution(2, QUVEN_ENV);
    }
    EXPECT_EQ(dist().getCurrValidCount(), 8);
    EXPECT_EQ(dist().getCurrMissingCount(), 1);
    for (const auto& [priority, value] : sample()) EXPECT_TRUE(std::isfinite(value));
    field->endDistributionPass(QUVEN_ENV);
    const long last = dist().getNumBins();
    ASSERT_GE(last, 2);
    EXPECT_EQ(dist().getBin(1).getMinValue(), -largest);
    EXPECT_EQ(dist().getBin(last).getMaxValue(), largest);
    for (long i = 1; i <= last; ++i) {
      EXPECT_TRUE(std::isfinite(dist().getBin(i).getLoEnd()) && std::isfinite(dist().getBin(i).getHiEnd()));
    }
  }
  for (const double value : {infinity, -infinity}) {
    field->setNumValue(value);
    EXPECT_EQ(field->getValueIndex(QUVEN_ENV), value > 0 ? dist().getNumBins() : 1);
  }
  field->setNumValue(std::nan(""));
  EXPECT_EQ(field->getValueIndex(QUVEN_ENV), QUVENField::MissingValueIndex);
  channels.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENNumFieldTest, AsksForAPassOnlyWhenItGathers) {
  EXPECT_EQ(field->getDistributionPasses(), -1);
  field->setSampleFlag(true, QUVEN_ENV);
  EXPECT_EQ(field->getDistributionPasses(), 0);
  field->markAsLineNumber(QUVEN_ENV);
  EXPECT_EQ(field->getDistributionPasses(), -1);
}

TEST_F(QUVENNumFieldTest, MergesOnlyWhatHasTheSameBins) {
  newField(10);
  QUVENOwnPtr<QUVENNumField> other = quvenNewCopy(*field, QUVEN_ENV);
  pass({1, 2, 3, 4});
  expectFailure([&] { std::ignore = field->merge(other.get(), QUVEN_ENV); },
                "ivPotBinsVec.getSize() == other.ivPotBinsVec.getSize()");
  other.reset(QUVEN_ENV);
}

// The distribution of a copy or of a read field takes the name from its own field.
TEST_F(QUVENNumFieldTest, ACopyOfADistributionBelongsToTheCopy) {
  newField(10);
  QUVENOwnPtr<QUVENNumField> copy = quvenNewCopy(*field, QUVEN_ENV);
  QUVENOwnPtr<QUVENNumField> read = objectOf<QUVENNumField>(imageOf(*field));
  const std::uint32_t expected = priorityOf(1);
  field.reset(QUVEN_ENV);
  for (QUVENNumField* one : {copy.get(), read.get()}) {
    one->setNumValue(5);
    one->updateDistribution(1, QUVEN_ENV);
    EXPECT_EQ(one->getDistribution()->getSample()[1].getPriority(), expected);
    one->endDistributionPass(QUVEN_ENV);
    EXPECT_EQ(one->getDistribution()->getBinIndex(1, QUVEN_ENV), 1);
  }
  copy.reset(QUVEN_ENV);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENNumFieldTest, AFieldTravelsWithItsDistribution) {
  newField(10);
  pass({1, 2, 3, 4});
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    QUVENOwnPtr<QUVENNumField> read = objectOf<QUVENNumField>(imageOf(*field, mode));
    EXPECT_EQ(imageOf(*read->getDistribution()), imageOf(dist()));
    EXPECT_EQ(read->isSampled(), mode != QUVENObjWriter::ScanResults);
    EXPECT_EQ(read->getDistribution()->getBinIndex(3, QUVEN_ENV), 2);
    read.reset(QUVEN_ENV);
  }
}

// ---- draws ----

TEST_F(QUVENNumFieldTest, DrawsNothingFromNothing) {
  field->setNumValue(5);
  field->sampleFromDistribution(1, QUVEN_ENV);
  EXPECT_EQ(field->getNumValue(QUVEN_ENV), 5);
  newField(10);
  field->setNumValue(5);
  field->sampleFromDistribution(1, QUVEN_ENV);  // no pass yet
  EXPECT_EQ(field->getNumValue(QUVEN_ENV), 5);
}

TEST_F(QUVENNumFieldTest, DrawsMissingWhenAllWasMissing) {
  newField(10);
  field->setMissing();
  field->updateDistribution(1, QUVEN_ENV);
  field->endDistributionPass(QUVEN_ENV);
  field->setNumValue(5);
  field->sampleFromDistribution(1, QUVEN_ENV);
  EXPECT_TRUE(field->hasValue());
  EXPECT_TRUE(field->isMissing());
}

TEST_F(QUVENNumFieldTest, ABinOfOneValueGivesIt) {
  newField(10);
  pass({2.5, 2.5});
  for (std::uint32_t record = 0; record < 50; ++record) {
    field->setMissing();
    field->sampleFromDistribution(record, QUVEN_ENV);
    EXPECT_EQ(field->getNumValue(QUVEN_ENV), 2.5);
    EXPECT_EQ(field->getValueIndex(QUVEN_ENV), 1);
  }
}

// One bin of 0, 1, 5: count 3, mean 2, variance 14/3. The weight of 0 is 14 / (2 * 5) = 1.4, that of 5 is
// 14 / (3 * 5) = 14/15, and 3 - 1.4 - 14/15 = 2/3 is left for the mean. In the order minimum, mean, maximum.
TEST_F(QUVENNumFieldTest, ADrawInABinIsItsMinimumMeanOrMaximum) {
  newField(10);
  pass({0, 1, 5});
  const QUVENNumFieldBin& bin = dist().getBin(1);
  EXPECT_EQ(bin.valueOfDraw(0), 0);
  EXPECT_EQ(bin.valueOfDraw(1.3999), 0);
  EXPECT_EQ(bin.valueOfDraw(1.4001), 2);
  EXPECT_EQ(bin.valueOfDraw(2.0665), 2);
  EXPECT_EQ(bin.valueOfDraw(2.0668), 5);
  EXPECT_EQ(bin.valueOfDraw(3), 5);
}

// The draws of a name and a record are the steps: missing first, then the bins; then the second hash in the bin.
TEST_F(QUVENNumFieldTest, ADrawIsThatOfTheSteps) {
  newField(10);
  field->setMissing();
  for (std::uint32_t i = 1; i <= 2; ++i) field->updateDistribution(i, QUVEN_ENV);
  pass({1, 2, 3, 4});  // bins of 1, 2 and of 3, 4; missing 2, valid 4
  int seen[4] = {};
  for (std::uint32_t record = 0; record < 200; ++record) {
    const std::uint32_t h = priorityOf(record);
    const double draw = h * 6.0 / 4294967295.0;
    field->setNumValue(99);
    field->sampleFromDistribution(record, QUVEN_ENV);
    const bool isMissing = draw < 2;
    ASSERT_EQ(field->isMissing(), isMissing) << record;
    ++seen[isMissing ? 0 : draw < 4 ? 1 : 2];
    if (isMissing) continue;
    const long index = draw < 4 ? 1 : 2;
    ASSERT_EQ(field->getValueIndex(QUVEN_ENV), index);
    // Count 2, mean 1.5 or 3.5, variance 0.25: the two ends have the weight 2 * 0.25 / (0.5 * 1) = 1 each.
    const double inBin = hashInt(h) * 2.0 / 4294967295.0;
    ASSERT_EQ(field->getNumValue(QUVEN_ENV), 2.0 * static_cast<double>(index) - (inBin < 1 ? 1 : 0));
  }
  EXPECT_GT(std::min({seen[0], seen[1], seen[2]}), 40);
}

// The counts of a sample are less than all values: what no bin has counted leaves the value.
TEST_F(QUVENNumFieldTest, ADrawPastTheLastBinLeavesTheValue) {
  newField(1);
  pass({1, 1, 1, 1});  // one was sampled
  int left = 0;
  for (std::uint32_t record = 0; record < 1000; ++record) {
    field->setNumValue(99);
    field->sampleFromDistribution(record, QUVEN_ENV);
    left += field->getNumValue(QUVEN_ENV) == 99 ? 1 : 0;
  }
  EXPECT_NEAR(left, 750, 60);  // four standard deviations of 13.7
}

// Draws of 200000 records have the mean and the variance of the values: with the standard deviation s of a draw, the
// standard error of the mean is s / 447; five of them are allowed, and 3 % of the variance.
TEST_F(QUVENNumFieldTest, DrawsHaveTheMeanAndTheVarianceOfTheData) {
  newField(1000);
  std::mt19937 random(3);
  std::vector<double> values(5000);
  for (double& x : values) x = std::pow(static_cast<double>(random() % 1000) / 100, 2);
  pass(values);
  pass(values);
  const literal::Statistics data = literal::statisticsOf(values);
  std::vector<double> draws;
  for (std::uint32_t record = 0; record < 200000; ++record) {
    field->sampleFromDistribution(record, QUVEN_ENV);
    draws.push_back(field->getNumValue(QUVEN_ENV));
  }
  const literal::Statistics drawn = literal::statisticsOf(draws);
  const double variance = data.squares / data.count;
  EXPECT_NEAR(drawn.sum / drawn.count, data.sum / data.count, 5 * std::sqrt(variance / 200000));
  EXPECT_NEAR(drawn.squares / drawn.count, variance, 0.03 * variance);
  // The same record draws the same.
  field->sampleFromDistribution(77, QUVEN_ENV);
  EXPECT_EQ(field->getNumValue(QUVEN_ENV), draws[77]);
}

}  // namespace
