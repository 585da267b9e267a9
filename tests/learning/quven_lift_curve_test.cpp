#include "learning/quven_lift_curve.h"

#include "learning/quven_scan_log.h"
#include "lin_reg_fixture.h"

namespace {

struct LiftRecord {
  double actual, predicted, stdDev;
};

class QUVENLiftCurveTest : public LinearRegressionTest {
 protected:
  static constexpr double Infinity = std::numeric_limits<double>::infinity();

  QUVENLiftCurveTest() {
    openWorld(2);
    curve = make<QUVENLiftCurve>();
  }
  void TearDown() override {
    curve.reset(QUVEN_ENV);
    LinearRegressionTest::TearDown();
  }

  void addBins(QUVENLiftCurve& changed, const std::vector<double>& boundaries) {
    for (const double boundary : boundaries) changed.addBin(boundary, QUVEN_ENV);
  }
  void update(QUVENLiftCurve& changed, const std::vector<LiftRecord>& records) {
    for (const auto& [actual, predicted, stdDev] : records) {
      changed.updateLiftCurveStats(actual, predicted, stdDev, QUVEN_ENV);
    }
  }
  /// Three bins. The second record is on a boundary, the last one below all of them.
  void fillExample() {
    addBins(*curve, {2, 3, 1});
    update(*curve, example);
  }
  /// Gives a field its distribution in two passes.
  QUVENNumField& distribute(const std::vector<double>& values) {
    QUVENField& field = *x[0];
    field.setSampleFlag(true, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {
      field.beginDistributionPass(QUVEN_ENV);
      for (std::size_t i = 0; i < values.size(); ++i) {
        field.setNumValue(values[i]);
        field.updateDistribution(static_cast<std::uint32_t>(i), QUVEN_ENV);
      }
      field.endDistributionPass(QUVEN_ENV);
    }
    return static_cast<QUVENNumField&>(field);
  }
  static std::vector<double> boundariesOf(const QUVENLiftCurve& read) {
    std::vector<double> boundaries;
    for (long i = 1; i <= read.getNumBins(); ++i) boundaries.push_back(read.getBin(i).getBinBoundaryValue());
    return boundaries;
  }
  static std::vector<double> recordsOf(const QUVENLiftCurve& read) {
    std::vector<double> records;
    for (long i = 1; i <= read.getNumBins(); ++i) records.push_back(read.getBin(i).getNumRecords());
    return records;
  }
  static void expectBin(const QUVENLiftCurveBin& bin, const std::array<double, 6>& sums) {
    EXPECT_DOUBLE_EQ(bin.getNumRecords(), sums[0]);
    EXPECT_DOUBLE_EQ(bin.getSumPredVal(), sums[1]);
    EXPECT_DOUBLE_EQ(bin.getSumPredErr(), sums[2]);
    EXPECT_DOUBLE_EQ(bin.getSumSqrDev(), sums[3]);
    EXPECT_DOUBLE_EQ(bin.getSumSqrPredStdDev(), sums[4]);
    EXPECT_DOUBLE_EQ(bin.getRelChiSqr(), sums[5]);
  }
  void expectExampleBins(const QUVENLiftCurve& read) {
    EXPECT_EQ(boundariesOf(read), (std::vector<double>{3, 2, 1}));
    expectBin(read.getBin(1), {2, 6.5, 0.5, 0.125, 5, 0.25});
    expectBin(read.getBin(2), {2, 4.5, -1.5, 1.125, 0.25, 9});
    expectBin(read.getBin(3), {1, 1, -1, 0, 1, 1});
  }
  template <class Action>
  std::string outputOf(std::int32_t verbosity, Action&& action) {
    QUVENScanLog::get(QUVEN_ENV).setVerbosity(verbosity);
    const CapturedRun run = capturedRun(std::forward<Action>(action));
    EXPECT_FALSE(run.threwLibraryException);
    QUVENScanLog::get(QUVEN_ENV).setVerbosity(0);
    return run.out;
  }
  static std::string warningOf(const std::string& function) {
    return "Log;|2;|WARNING: QUVENLiftCurve not initialized in function " + function + ";|LogEnd\n";
  }
  /// Checks that every quality number warns and has its value for a curve without results.
  void expectNoQuality(const QUVENLiftCurve& asked) {
    EXPECT_EQ(outputOf(2,
                       [&] {
                         EXPECT_EQ(asked.getAreaAboveRandom(QUVEN_ENV), 0);
                         EXPECT_EQ(asked.getRMSE(QUVEN_ENV), 0);
                         EXPECT_EQ(asked.getRSquared(QUVEN_ENV), -1.7976931348623157e+308);
                         EXPECT_EQ(asked.getAccuracyQuality(QUVEN_ENV), -1.7976931348623157e+308);
                       }),
              warningOf("getAreaAboveRandom()") + warningOf("getRMSE()") + warningOf("getRSquared()") +
                  warningOf("getAccuracyQuality()"));
    EXPECT_EQ(outputOf(1, [&] { asked.getAreaAboveRandom(QUVEN_ENV); }), "");
  }

  const std::vector<LiftRecord> example = {{4, 3.5, 1}, {3, 3, 2}, {1, 2.5, 0.5}, {2, 2, 0}, {0, 1, 1}, {5, 0.5, 1}};
  QUVENOwnPtr<QUVENLiftCurve> curve;
};

// Records

TEST_F(QUVENLiftCurveTest, AddsEachRecordToTheFirstBinNotAboveIt) {
  fillExample();
  expectExampleBins(*curve);
  // The mean of 4, 3, 1, 2, 0, 5 is 2.5.
  EXPECT_EQ(curve->getPts(), 6);
  EXPECT_EQ(curve->getSumActVal(), 15);
  EXPECT_DOUBLE_EQ(curve->getVarActVal(), 17.5);
}

TEST_F(QUVENLiftCurveTest, KeepsTheBoundariesInDescendingOrder) {
  addBins(*curve, {5, 1, 5, 7, -Infinity, 2, 7});
  EXPECT_EQ(boundariesOf(*curve), (std::vector<double>{7, 7, 5, 5, 2, 1, -Infinity}));
  expectFailure([&] { curve->addBin(noNumber, QUVEN_ENV); }, "!std::isnan(boundary)");
}

TEST_F(QUVENLiftCurveTest, TheFirstOfEqualBoundariesTakesTheRecord) {
  addBins(*curve, {1, 2, 2, 2, 3});
  update(*curve, {{1, 2, 1}, {1, 2.9, 1}, {1, 3, 1}, {1, std::nextafter(2.0, 0.0), 1}});
  EXPECT_EQ(recordsOf(*curve), (std::vector<double>{1, 2, 0, 0, 1}));
}

TEST_F(QUVENLiftCurveTest, WarnsOfEachRecordWithoutABin) {
  addBins(*curve, {1, 2});
  const auto add = [&] { update(*curve, {{1, 0.5, 1}, {2, 1.5, 1}, {3, noNumber, 1}, {4, -Infinity, 1}}); };
  const std::string warning = warningOf("updateLiftCurveStats()");
  EXPECT_EQ(outputOf(2, add), warning + warning + warning);
  EXPECT_EQ(outputOf(1, add), "");
  EXPECT_EQ(recordsOf(*curve), (std::vector<double>{0, 2}));
  EXPECT_EQ(curve->getPts(), 8);
  update(*curve, {{1, Infinity, 1}});
  EXPECT_EQ(recordsOf(*curve), (std::vector<double>{1, 2}));
}

TEST_F(QUVENLiftCurveTest, BeginsAPassWithoutRecordsInItsBins) {
  fillExample();
  curve->finalizeStats(QUVEN_ENV);
  curve->beginRecords(QUVEN_ENV);
  EXPECT_EQ(curve->getPts(), 0);
  EXPECT_EQ(boundariesOf(*curve), (std::vector<double>{3, 2, 1}));
  expectNoQuality(*curve);
  update(*curve, example);
  expectExampleBins(*curve);
  EXPECT_EQ(curve->getSumActVal(), 15);
}

TEST_F(QUVENLiftCurveTest, ItsUpdateFunctionMustNotBeCalled) {
  EXPECT_FALSE(curve->wantsRecords());
  EXPECT_EQ(curve->beginDataScan(QUVEN_ENV), 1);
  EXPECT_TRUE(curve->wantsRecords());
  expectFailure([&] { curve->update(*point, QUVEN_ENV); }, unreachableText);
  EXPECT_EQ(curve->endDataScan(QUVEN_ENV), 1);
  EXPECT_FALSE(curve->wantsRecords());
}

// Merging

TEST_F(QUVENLiftCurveTest, MergesTheTotalsWithoutTheEarlierVariance) {
  // T: 1, 3 with the mean 2 and the variance sum 2. S: 2, 6, 7 with the mean 5 and the sum 14.
  const std::vector<LiftRecord> t = {{1, 1, 0}, {3, 1, 0}};
  const std::vector<LiftRecord> s = {{2, 1, 0}, {6, 1, 0}, {7, 1, 0}};
  const auto mergedVariance = [&](const std::vector<LiftRecord>& first, const std::vector<LiftRecord>& second) {
    auto a = make<QUVENLiftCurve>();
    auto b = make<QUVENLiftCurve>();
    update(*a, first);
    update(*b, second);
    EXPECT_TRUE(a->merge(b.get(), QUVEN_ENV));
    EXPECT_EQ(a->getPts(), static_cast<double>(first.size() + second.size()));
    const double variance = a->getVarActVal();
    if (!first.empty() && !second.empty()) {
      EXPECT_EQ(a->getSumActVal(), 19);
    }
    a.reset(QUVEN_ENV);
    b.reset(QUVEN_ENV);
    return variance;
  };
  // c = 5 * 3 / 2, d = 19 / 5 - 5: 14 + 7.5 * 1.44. The variance sum of all five is 26.8.
  EXPECT_DOUBLE_EQ(mergedVariance(t, s), 24.8);
  // c = 5 * 2 / 3, d = 19 / 5 - 2: 2 + 10 / 3 * 3.24.
  EXPECT_DOUBLE_EQ(mergedVariance(s, t), 12.8);
  EXPECT_EQ(mergedVariance({}, s), 14);
  EXPECT_EQ(mergedVariance(s, {}), 14);
  EXPECT_EQ(mergedVariance({}, {}), 0);
}

TEST_F(QUVENLiftCurveTest, MergesBinsExactly) {
  std::mt19937 random(5);
  std::vector<LiftRecord> records;
  for (int i = 0; i < 300; ++i) {
    records.push_back({1e4 + random() % 1000 * 0.01, random() % 100 * 0.1, random() % 4 * 0.5});
  }
  addBins(*curve, {0, 2, 4, 6, 8, 20});
  update(*curve, records);
  // The last part is empty, and so is a bin of the others.
  auto merged = make<QUVENLiftCurve>();
  addBins(*merged, {0, 2, 4, 6, 8, 20});
  for (std::size_t part = 0; part < 4; ++part) {
    auto gathered = make<QUVENLiftCurve>();
    addBins(*gathered, {0, 2, 4, 6, 8, 20});
    for (std::size_t i = part; i < records.size() && part < 3; i += 3) update(*gathered, {records[i]});
    EXPECT_TRUE(merged->merge(gathered.get(), QUVEN_ENV));
    gathered.reset(QUVEN_ENV);
  }
  for (long bin = 1; bin <= 6; ++bin) {
    const QUVENLiftCurveBin& a = merged->getBin(bin);
    const QUVENLiftCurveBin& b = curve->getBin(bin);
    EXPECT_EQ(a.getNumRecords(), b.getNumRecords());
    expectNear(a.getSumPredVal(), b.getSumPredVal());
    expectNear(a.getSumPredErr(), b.getSumPredErr());
    expectNear(a.getSumSqrDev(), b.getSumSqrDev(), 1e-9);
    expectNear(a.getSumSqrPredStdDev(), b.getSumSqrPredStdDev());
    expectNear(a.getRelChiSqr(), b.getRelChiSqr(), 1e-9);
  }
  EXPECT_EQ(merged->getBin(1).getNumRecords(), 0);
  merged.reset(QUVEN_ENV);
}

TEST_F(QUVENLiftCurveTest, MergeRefusesADifferentNumberOfBins) {
  addBins(*curve, {1, 2});
  auto other = make<QUVENLiftCurve>();
  addBins(*other, {1, 2, 3});
  expectFailure([&] { static_cast<void>(curve->merge(other.get(), QUVEN_ENV)); }, "part.getNumBins() == getNumBins()");
  other.reset(QUVEN_ENV);
}

// Sums that overflow merge in memory as they do after a stream.
TEST_F(QUVENLiftCurveTest, MergesInfiniteSumsAsAStreamDoes) {
  const std::vector<LiftRecord> records = {{1e200, -1e200, 1e-200}, {-1e308, 1e308, 1e200}};
  const auto gathered = [&] {
    auto made = make<QUVENLiftCurve>();
    addBins(*made, {-1e300, 1e300});
    made->beginDataScan(QUVEN_ENV);
    update(*made, records);
    return made;
  };
  auto inMemory = gathered();
  auto other = gathered();
  EXPECT_TRUE(inMemory->merge(other.get(), QUVEN_ENV));
  auto ofStream = gathered();
  auto copy = readWithNames<QUVENLiftCurve>(imageOf(*other));
  EXPECT_TRUE(ofStream->merge(copy.get(), QUVEN_ENV));
  const auto sums = [](const QUVENLiftCurve& read) {
    std::vector<double> all = {read.getPts(), read.getSumActVal(), read.getVarActVal()};
    for (long bin = 1; bin <= 2; ++bin) {
      const QUVENLiftCurveBin& b = read.getBin(bin);
      for (const double sum :
           {b.getSumPredVal(), b.getSumPredErr(), b.getSumSqrDev(), b.getSumSqrPredStdDev(), b.getRelChiSqr()}) {
        all.push_back(sum);
      }
    }
    return all;
  };
  EXPECT_EQ(sums(*inMemory), sums(*ofStream));
  EXPECT_THAT(sums(*inMemory), testing::Each(testing::Truly([](double sum) { return std::isfinite(sum); })));
  for (QUVENOwnPtr<QUVENLiftCurve>* made : {&inMemory, &other, &ofStream, &copy}) made->reset(QUVEN_ENV);
}

// Boundaries

TEST_F(QUVENLiftCurveTest, LaysOutItsBoundariesAtQuantiles) {
  std::vector<double> values;
  for (int i = 0; i < 5000; ++i) values.push_back(i * 17 % 5000 / 100.0 - 10);
  const QUVENNumField& field = distribute(values);
  curve->initialize(field, QUVEN_ENV);
  // The same quantiles by a literal walk over the bins of the distribution, from below.
  const QUVENNumFieldDist& distribution = *field.getDistribution();
  std::vector<double> expected;
  for (int i = 1; i <= 120; ++i) {
    const double fraction = i <= 20 ? 0.005 * i : i <= 100 ? 0.01 * (i - 20) + 0.1 : 0.005 * (i - 100) + 0.9;
    const double wanted = std::min(5000.0, fraction * 5000);
    double below = 0;
    for (long bin = 1; bin <= distribution.getNumBins(); ++bin) {
      const QUVENNumFieldBin& b = distribution.getBin(bin);
      if (b.getCount() > 0 && below + b.getCount() >= wanted) {
        expected.push_back(b.getMinValue() + (b.getMaxValue() - b.getMinValue()) * (wanted - below) / b.getCount());
        break;
      }
      below += b.getCount();
    }
  }
  std::reverse(expected.begin(), expected.end());
  const std::vector<double> boundaries = boundariesOf(*curve);
  ASSERT_EQ(boundaries.size(), 120U);
  for (std::size_t i = 0; i < boundaries.size(); ++i) EXPECT_NEAR(boundaries[i], expected.at(i), 1e-9) << i;
  EXPECT_EQ(boundaries.front(), *std::max_element(values.begin(), values.end()));
  EXPECT_TRUE(std::is_sorted(boundaries.rbegin(), boundaries.rend()));
  // Each bin of one percent has about 50 records, and all bins together have 99.5 percent of the records.
  for (const double value : values) curve->updateLiftCurveStats(0, value, 1, QUVEN_ENV);
  double sum = 0;
  for (const double records : recordsOf(*curve)) sum += records;
  EXPECT_NEAR(sum, 4975, 2);
  for (long bin = 22; bin <= 101; ++bin) EXPECT_NEAR(curve->getBin(bin).getNumRecords(), 50, 2);
}

TEST_F(QUVENLiftCurveTest, EqualPredictionsAllGoToTheFirstBin) {
  const std::vector<double> values(70, 2.5);
  curve->initialize(distribute(values), QUVEN_ENV);
  EXPECT_EQ(boundariesOf(*curve), std::vector<double>(120, 2.5));
  for (int i = 0; i < 70; ++i) curve->updateLiftCurveStats(i % 2, 2.5, 1, QUVEN_ENV);
  std::vector<double> expected(120);
  expected[0] = 70;
  EXPECT_EQ(recordsOf(*curve), expected);
  curve->finalizeStats(QUVEN_ENV);
  EXPECT_EQ(curve->getAreaAboveRandom(QUVEN_ENV), 0);
  // e is -2.5 or -1.5.
  EXPECT_DOUBLE_EQ(curve->getRMSE(QUVEN_ENV), std::sqrt((6.25 + 2.25) / 2));
  EXPECT_EQ(curve->getCumRecords(1), 70);
  EXPECT_EQ(curve->getCumRecords(120), 70);
}

TEST_F(QUVENLiftCurveTest, TwoPredictionsShareTheBoundaries) {
  std::vector<double> values;
  for (int i = 0; i < 200; ++i) values.push_back(i % 4 == 0 ? 1 : 0);
  curve->initialize(distribute(values), QUVEN_ENV);
  // The fractions up to 0.75 give 0: 20 of them up to 0.1, 65 of them up to 0.75. Between the two values nothing is.
  std::vector<double> expected(120, 1);
  std::fill(expected.begin() + 35, expected.end(), 0);
  EXPECT_EQ(boundariesOf(*curve), expected);
}

TEST_F(QUVENLiftCurveTest, AnEmptyDistributionCannotBeLaidOut) {
  for (const QUVENNumField* field : {static_cast<QUVENNumField*>(x[1]), &distribute({})}) {  // the first has none
    EXPECT_FALSE(QUVENLiftCurve::canInitialize(*field));
    expectFailure([&] { curve->initialize(*field, QUVEN_ENV); }, "numbins >= 1");
  }
}

TEST_F(QUVENLiftCurveTest, ADistributionWhoseBinsAreEmptyCannotBeLaidOut) {
  EXPECT_TRUE(QUVENLiftCurve::canInitialize(distribute({1})));
  const QUVENNumField& field = distribute({});  // still has the bin of the earlier value
  EXPECT_EQ(field.getDistribution()->getNumBins(), 1);
  EXPECT_FALSE(QUVENLiftCurve::canInitialize(field));
}

TEST_F(QUVENLiftCurveTest, WithoutBinsWarnsOfEachRecord) {
  EXPECT_EQ(outputOf(2, [&] { update(*curve, {{1, 1, 1}}); }), warningOf("updateLiftCurveStats()"));
  EXPECT_EQ(curve->getPts(), 1);
}

TEST_F(QUVENLiftCurveTest, LaysOutTheLargestNumbers) {
  constexpr double largest = std::numeric_limits<double>::max();
  curve->initialize(distribute({-largest, largest, Infinity, -Infinity, 0}), QUVEN_ENV);
  const std::vector<double> boundaries = boundariesOf(*curve);
  ASSERT_EQ(boundaries.size(), 120U);
  EXPECT_EQ(boundaries.front(), largest);
  EXPECT_THAT(boundaries, testing::Each(testing::Truly([](double value) { return std::isfinite(value); })));
}

// Results

TEST_F(QUVENLiftCurveTest, HasTheQualityOfItsBins) {
  fillExample();
  curve->finalizeStats(QUVEN_ENV);
  const double records[] = {2, 4, 5};
  const double actual[] = {7, 10, 10};
  const double z[] = {1, -1, 0};  // 0.25 / sqrt(0.125 / 2), -0.75 / sqrt(1.125 / 2), one record
  for (long bin = 1; bin <= 3; ++bin) {
    EXPECT_EQ(curve->getCumRecords(bin), records[bin - 1]);
    EXPECT_DOUBLE_EQ(curve->getCumActual(bin), actual[bin - 1]);
    EXPECT_DOUBLE_EQ(curve->getZ(bin), z[bin - 1]);
  }
  // The slope is 2: (3.5 - 2) 2 + (8.5 - 6) 2 + (10 - 9) 1.
  EXPECT_DOUBLE_EQ(curve->getAreaAboveRandom(QUVEN_ENV), 9);
  // 0.25 / 2 + 0.125, 2.25 / 2 + 1.125 and 1 over 5 records.
  EXPECT_DOUBLE_EQ(curve->getRMSE(QUVEN_ENV), std::sqrt(0.7));
  // 0.7 * 6 of 17.5.
  EXPECT_DOUBLE_EQ(curve->getRSquared(QUVEN_ENV), 0.76);
  // The mean errors are 0.25, -0.75, -1: products 0.5625, squares 0.625 and 1.5625.
  EXPECT_DOUBLE_EQ(curve->getAccuracyQuality(QUVEN_ENV), 0.430790021169691720);
  curve->setUsageValue(2);
  // R = 3.5, D = 10.25.
  EXPECT_DOUBLE_EQ(curve->getRSquared(QUVEN_ENV), 0.997685328764177823);
}

TEST_F(QUVENLiftCurveTest, CompressesRSquaredByAConstant) {
  const auto rSquared = [&](double error, double stdDev) {
    auto made = make<QUVENLiftCurve>();
    made->setUsageValue(1);
    addBins(*made, {0, 1});
    update(*made, {{2 + error, 2, stdDev}, {2 - error, 2, stdDev}});
    made->finalizeStats(QUVEN_ENV);
    const double result = made->getRSquared(QUVEN_ENV);
    made.reset(QUVEN_ENV);
    return result;
  };
  // R is 2 e^2, D is 2 (e / s)^2, so that the ratio is s^2.
  // 6.23 / log(exp(6.23 r) - 1 + exp(6.23)) with 30 digits for r = 0.5 and r = 2.
  EXPECT_NEAR(rSquared(1, std::sqrt(0.5)), 0.993377309148986525, 1e-14);
  EXPECT_NEAR(rSquared(1, std::sqrt(2)), 0.499921214505167671, 1e-14);
  EXPECT_NEAR(rSquared(1, 1e-5), 1, 1e-9);
  EXPECT_EQ(rSquared(1, 1e3), 0);                        // the exponential overflows
  EXPECT_EQ(rSquared(1, 0), QUVENLiftCurve::NoQuality);  // no record has a standard deviation
}

TEST_F(QUVENLiftCurveTest, RSquaredStaysFromZeroToOne) {
  addBins(*curve, {0, 1});
  update(*curve, {{3, 1, 0}, {3, 1, 0}});
  curve->finalizeStats(QUVEN_ENV);
  EXPECT_EQ(curve->getRSquared(QUVEN_ENV), 1);  // a constant target
  update(*curve, {{3.5, 1, 0}});
  curve->finalizeStats(QUVEN_ENV);
  EXPECT_EQ(curve->getRSquared(QUVEN_ENV), 0);
}

TEST_F(QUVENLiftCurveTest, ErrorsThatAreEqualHaveAnInfiniteZ) {
  addBins(*curve, {3, 2, 1});
  update(*curve, {{4, 3, 0}, {4, 3, 0}, {1, 2, 0}, {1, 2, 0}, {1, 1, 0}, {1, 1, 0}});
  curve->finalizeStats(QUVEN_ENV);
  EXPECT_EQ(curve->getZ(1), Infinity);
  EXPECT_EQ(curve->getZ(2), -Infinity);
  EXPECT_TRUE(std::isnan(curve->getZ(3)));
}

TEST_F(QUVENLiftCurveTest, IsFinalizedAgainAfterMoreRecords) {
  fillExample();
  expectNoQuality(*curve);
  curve->finalizeStats(QUVEN_ENV);
  update(*curve, {{2, 4, 1}});
  expectNoQuality(*curve);
  curve->finalizeStats(QUVEN_ENV);
  EXPECT_EQ(curve->getCumRecords(3), 6);
  EXPECT_EQ(curve->getCumActual(3), 12);
  auto other = make<QUVENLiftCurve>();
  addBins(*other, {1, 2, 3});
  EXPECT_TRUE(curve->merge(other.get(), QUVEN_ENV));
  EXPECT_FALSE(curve->isFinalized());
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENLiftCurveTest, WithFewerThanTwoBinsHasNoQuality) {
  constexpr const char* warning =
      "Warning;|3417;|Warning: no bins found in QUVENLiftCurve::finalizeStats;|WarningEnd\n";
  for (int bins = 0; bins < 2; ++bins) {
    update(*curve, {{1, 1, 1}, {2, 2, 1}});
    EXPECT_EQ(outputOf(1, [&] { curve->finalizeStats(QUVEN_ENV); }), warning);
    EXPECT_EQ(outputOf(2, [&] { curve->finalizeStats(QUVEN_ENV); }),
              std::string("Log;|2;|Warning: no bins found in QUVENLiftCurve::finalizeStats;|LogEnd\n") + warning);
    expectNoQuality(*curve);
    expectFailure([&] { curve->getCumRecords(1); }, "getSize()");
    addBins(*curve, {0});
  }
}

TEST_F(QUVENLiftCurveTest, WithoutRecordsHasNoQuality) {
  addBins(*curve, {1, 2});
  constexpr const char* warning =
      "Warning;|3416;|Warning: no records found in QUVENLiftCurve::finalizeStats;|WarningEnd\n";
  EXPECT_EQ(outputOf(2, [&] { curve->finalizeStats(QUVEN_ENV); }), warning);
  EXPECT_EQ(outputOf(2, [&] { EXPECT_EQ(curve->getAreaAboveRandom(QUVEN_ENV), 0); }),
            warningOf("getAreaAboveRandom()"));
  EXPECT_EQ(curve->getRMSE(QUVEN_ENV), QUVENLiftCurve::NoQuality);
  EXPECT_EQ(curve->getAccuracyQuality(QUVEN_ENV), QUVENLiftCurve::NoQuality);
  for (const std::int32_t usage : {3, 2}) {
    curve->setUsageValue(usage);
    EXPECT_EQ(curve->getRSquared(QUVEN_ENV), QUVENLiftCurve::NoQuality);
  }
}

// Streams

TEST_F(QUVENLiftCurveTest, StreamsCarryTheBinsWhole) {
  fillExample();
  curve->setUsageValue(2);
  curve->beginDataScan(QUVEN_ENV);
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    auto copy = objectOf<QUVENLiftCurve>(imageOf(*curve, mode));
    expectExampleBins(*copy);
    EXPECT_EQ(copy->getUsageValue(), 2);
    EXPECT_EQ(copy->getPts(), 6);
    EXPECT_EQ(copy->getSumActVal(), 15);
    EXPECT_DOUBLE_EQ(copy->getVarActVal(), 17.5);
    EXPECT_FALSE(copy->isFinalized());
    EXPECT_EQ(copy->isScanInProgress(), curve->isScanInProgress());
    copy.reset(QUVEN_ENV);
  }
}

}  // namespace
