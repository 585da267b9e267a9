// Identity of scans in arrays, values that are not numbers, and samples and bins beside a literal model.

#include <cmath>
#include <compare>
#include <limits>
#include <random>
#include <vector>

#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel_fixture.h"
#include "scan_examples.h"
#include "util/quven_registration.h"

/// Gives a value that is not a number.
class QUVENTestNanProducer : public QUVENObjectOf<QUVENTestNanProducer, QUVENNumValueProducer> {
 public:
  bool produceValue(QUVENDataPoint&, double& value, const QUVENEnvHandle&) override {
    value = std::nan("");
    return true;
  }
};
QUVEN_REGISTER(QUVENTestNanProducer);

namespace {

class QUVENIdentityAndNanTest : public KernelTest {};

TEST_F(QUVENIdentityAndNanTest, AProducedValueThatIsNotANumberCountsAsMissingInEveryPass) {
  auto field = make<QUVENNumField>();
  auto point = make<QUVENDataPoint>();
  field->setName(QUVENStringWithHash("x"));
  field->setComputed(true);
  field->setSampleCapacity(10, QUVEN_ENV);
  field->setSampleFlag(true, QUVEN_ENV);
  field->setNumValue(3);
  field->updateDistribution(1, QUVEN_ENV);
  field->endDistributionPass(QUVEN_ENV);
  QUVENTestNanProducer producer;
  field->setValueProducer(&producer);
  const CapturedRun run = capturedRun([&] {
    field->computeValue(*point, QUVEN_ENV);
    field->updateDistribution(2, QUVEN_ENV);
  });
  EXPECT_FALSE(run.threwLibraryException) << run.out;
  quvenDebugWords.error = 0;
  EXPECT_EQ(field->getDistribution()->getCurrMissingCount(), 1);
  field.reset(QUVEN_ENV);
  point.reset(QUVEN_ENV);
  producer.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENIdentityAndNanTest, AnEmptyPlaceInAnArrayDoesNotEndTheScanThatWasThere) {
  auto scan = make<QUVENTestScan>();
  scan->addChild(QUVEN_ENV);
  const std::string first = imageOf(*scan, QUVENObjWriter::SaveForWorker);
  auto copy = objectOf<QUVENTestScan>(first);
  const QUVENTestScan* child = copy->ivChildren[1].get();
  copy->ivChildren[1]->calls.emplace_back("kept");
  scan->addChild(QUVEN_ENV);
  std::swap(scan->ivChildren[1], scan->ivChildren[2]);
  scan->ivChildren[1].reset(QUVEN_ENV);
  readImage(imageOf(*scan, QUVENObjWriter::SaveForWorker), copy);
  ASSERT_EQ(copy->ivChildren.getSize(), 2);
  EXPECT_EQ(copy->ivChildren[2].get(), child);
  EXPECT_EQ(copy->ivChildren[2]->calls.size(), 1U);
  scan.reset(QUVEN_ENV);
  copy.reset(QUVEN_ENV);
}

TEST_F(QUVENIdentityAndNanTest, TransferLeavesAnEmptyDistribution) {
  auto field = make<QUVENNumField>();
  field->setName(QUVENStringWithHash("x"));
  QUVENNumFieldDist dist;
  QUVENNumFieldDist other;
  dist.setField(field.get());
  dist.setSampleCapacity(10);
  for (std::uint32_t i = 0; i < 10; ++i) dist.update(i, i, QUVEN_ENV);
  dist.endPass(QUVEN_ENV);
  EXPECT_GT(dist.getNumBins(), 0);
  other.transferFromPrimitive(&dist, QUVEN_ENV);
  EXPECT_EQ(dist.getNumBins(), 0);
  EXPECT_EQ(dist.getBinIndex(3, QUVEN_ENV), 0);
  dist.update(1, 3, QUVEN_ENV);
  other.destroyPrimitive(QUVEN_ENV);
  EXPECT_EQ(other.getNumBins(), 0);
  other.update(1, 3, QUVEN_ENV);
  dist.destroyPrimitive(QUVEN_ENV);
  other.destroyPrimitive(QUVEN_ENV);
  field.reset(QUVEN_ENV);
}

struct Plain {
  double value;
  std::uint32_t priority;
  bool before(const Plain& o) const {
    return priority != o.priority ? priority < o.priority : std::strong_order(value, o.value) < 0;
  }
};
/// The steps with exchanges, one element at a time.
struct OldSample {
  std::vector<Plain> a{Plain{}};
  long cap;
  static bool less(const Plain& x, const Plain& y) { return y.before(x); }
  void sift(long i, long n) {
    for (long child = 2 * i; child <= n; i = child, child = 2 * i) {
      if (child < n && less(a[child], a[child + 1])) ++child;
      if (!less(a[i], a[child])) return;
      std::swap(a[i], a[child]);
    }
  }
  void add(const Plain& e) {
    if (cap < 1) return;
    const long n = static_cast<long>(a.size()) - 1;
    if (n >= cap) {
      if (!a[1].before(e)) return;
      a[1] = e;
      sift(1, n);
      return;
    }
    a.push_back(e);
    if (n + 1 == cap)
      for (long i = (n + 2) / 2; i >= 1; --i) sift(i, n + 1);
  }
};

TEST_F(QUVENIdentityAndNanTest, TheSampleIsElementForElementThatOfTheSteps) {
  std::mt19937_64 random(5);
  for (int round = 0; round < 300; ++round) {
    const long cap = static_cast<long>(random() % (round % 3 == 0 ? 3000 : 20));
    OldSample old{.cap = cap};
    QUVENNumberSample sample;
    const std::uint64_t range = round % 4 == 0 ? 40 : 4294967296ULL;
    const int n = static_cast<int>(random() % 20000);
    const std::uint64_t looks = 1 + random() % 5000;
    for (int i = 0; i < n; ++i) {
      const Plain e{static_cast<double>(random() % 9) - 4, static_cast<std::uint32_t>(random() % range)};
      old.add(e);
      sample.add(QUVENSampledNumber(e.value, e.priority), cap, QUVEN_ENV);
      if (random() % looks == 0) static_cast<void>(sample.begin());
    }
    ASSERT_EQ(sample.getSize() + 1, static_cast<long>(old.a.size()));
    for (long i = 1; i <= sample.getSize(); ++i) {
      ASSERT_EQ(sample[i].getPriority(), old.a[i].priority) << round;
      ASSERT_EQ(sample[i].getValue(), old.a[i].value);
    }
    sample.deleteMemory(QUVEN_ENV);
  }
}
TEST_F(QUVENIdentityAndNanTest, EveryNumberIsInTheFirstBinThatReachesUpToIt) {
  std::mt19937_64 random(6);
  constexpr double largest = std::numeric_limits<double>::max();
  const double tiny = std::numeric_limits<double>::denorm_min();
  const auto draw = [&]() -> double {
    switch (random() % 8) {
      case 0:
        return largest;
      case 1:
        return -largest;
      case 2:
        return random() % 2 == 0 ? 0.0 : -0.0;
      case 3:
        return tiny * static_cast<double>(random() % 5) - 2 * tiny;
      case 4:
        return std::ldexp(static_cast<double>(random() % 1000) - 500, static_cast<int>(random() % 2000) - 1010);
      default:
        return static_cast<double>(random() % 40) - 20;
    }
  };
  auto field = make<QUVENNumField>();
  field->setName(QUVENStringWithHash("x"));
  for (int round = 0; round < 200; ++round) {
    QUVENNumFieldDist dist;
    dist.setField(field.get());
    dist.setSampleCapacity(20000);
    const std::uint32_t n = 1 + static_cast<std::uint32_t>(random() % (round % 10 == 0 ? 12000 : 300));
    std::vector<double> seen;
    for (std::uint32_t i = 0; i < n; ++i) {
      seen.push_back(draw());
      dist.update(i, seen.back(), QUVEN_ENV);
    }
    dist.endPass(QUVEN_ENV);
    for (int i = 0; i < 200; ++i) {
      double x = i % 2 == 0 ? draw() : seen[random() % seen.size()];
      if (i % 5 == 0) x = std::nextafter(x, 0);
      std::int32_t expected = 1;
      while (expected < dist.getNumBins() && !dist.getBin(expected).reachesUpTo(x)) ++expected;
      ASSERT_EQ(dist.getBinIndex(x, QUVEN_ENV), expected) << x;
    }
    dist.destroyPrimitive(QUVEN_ENV);
  }
  field.reset(QUVEN_ENV);
}

}  // namespace
