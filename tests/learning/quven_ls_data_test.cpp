#include "learning/quven_ls_data.h"

#include <cmath>
#include <memory>
#include <string>

#include "ls_fixture.h"
#include "support/stream_text.h"

namespace {

class QUVENLSDataTest : public LeastSquaresTest {
 protected:
  static std::vector<double> vectorOf(const QUVENXaRay<double>& array) { return {array.begin(), array.end()}; }

  /// Compares with the literal computation. The scale of an error in a cross product is that of its diagonal elements.
  static void expectLiteral(const QUVENLSData& data, const LiteralData& literal, double tolerance) {
    const long n = data.getNumFields();
    ASSERT_EQ(n, static_cast<long>(literal.mean.size()));
    const auto expectNear = [&](double value, long double expected, long double scale) {
      EXPECT_NEAR(value, static_cast<double>(expected), tolerance * static_cast<double>(scale));
    };
    EXPECT_EQ(data.getNumDataPoints(), static_cast<double>(literal.points));
    expectNear(data.getSumCaseWeights(), literal.sumW, literal.sumW);
    expectNear(data.getSumCaseWeights2(), literal.sumW2, literal.sumW2);
    expectNear(data.getSumCaseXInvVarWeights(), literal.sumWV, literal.sumWV);
    expectNear(data.getSumCaseXLogInvVarWeights(), literal.sumWLogV, literal.sumW);
    for (long j = 1; j <= n; ++j) {
      const std::size_t b = static_cast<std::size_t>(j - 1);
      expectNear(data.getDataMean()[j], literal.mean[b], std::abs(literal.mean[b]));
      for (long i = 1; i <= j; ++i) {
        const std::size_t a = static_cast<std::size_t>(i - 1);
        expectNear(data.getDataCov()[j * (j - 1) / 2 + i], literal.cov[a][b],
                   std::sqrt(literal.cov[a][a] * literal.cov[b][b]));
      }
    }
  }
};

// By hand: the means are 2, 4, 1; the deviations (-1,-2,1), (1,2,-1).
TEST_F(QUVENLSDataTest, TheTriangleIsPackedByColumnsOfTheUpperHalf) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{1, 2, 2}}, {{3, 6, 0}}}, 3);
  EXPECT_EQ(vectorOf(data->getDataMean()), (std::vector<double>{2, 4, 1}));
  // (1,1); (1,2), (2,2); (1,3), (2,3), (3,3).
  EXPECT_EQ(vectorOf(data->getDataCov()), (std::vector<double>{2, 4, 8, -2, -4, 2}));
}

TEST_F(QUVENLSDataTest, ARecordWithoutWeightIsOnlyCounted) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{1, 2}, 2, 1}, {{4, 5}, 1, 3}}, 2);
  Held<QUVENLSData> more(environment);
  more->copyFromPrimitive(&*data, QUVEN_ENV);
  add(*more, {{{9, 9}, 0, 1}, {{9, 9}, -1, 1}, {{9, 9}, 1, 0}, {{9, 9}, 1, -2}, {{9, 9}, -1, -2}});
  EXPECT_EQ(more->getNumDataPoints(), 7);
  EXPECT_EQ(more->getSumCaseWeights(), data->getSumCaseWeights());
  EXPECT_EQ(more->getSumCaseWeights2(), data->getSumCaseWeights2());
  EXPECT_EQ(more->getSumCaseXInvVarWeights(), data->getSumCaseXInvVarWeights());
  EXPECT_EQ(more->getSumCaseXLogInvVarWeights(), data->getSumCaseXLogInvVarWeights());
  EXPECT_EQ(vectorOf(more->getDataMean()), vectorOf(data->getDataMean()));
  EXPECT_EQ(vectorOf(more->getDataCov()), vectorOf(data->getDataCov()));
}

TEST_F(QUVENLSDataTest, TheFirstRecordWithWeightSetsTheMeansOnly) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{7, 8}, 0, 1}, {{0.1, -3}, 0.3, 0.7}}, 2);
  EXPECT_EQ(vectorOf(data->getDataMean()), (std::vector<double>{0.1, -3}));
  EXPECT_EQ(vectorOf(data->getDataCov()), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(data->getNumDataPoints(), 2);
  EXPECT_EQ(data->getSumCaseWeights(), 0.3);
  EXPECT_EQ(data->getSumCaseWeights2(), 0.3 * 0.3);
  EXPECT_EQ(data->getSumCaseXInvVarWeights(), 0.3 * 0.7);
  EXPECT_EQ(data->getSumCaseXLogInvVarWeights(), 0.3 * std::log(0.7));
}

// Whole weights act like repeated records; v acts on the cross products, but not on the sum of w.
TEST_F(QUVENLSDataTest, BothWeightsMultiplyTheCrossProducts) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{0, 0}, 3, 1}, {{4, 8}, 1, 1}}, 2);
  EXPECT_EQ(vectorOf(data->getDataMean()), (std::vector<double>{1, 2}));
  EXPECT_EQ(vectorOf(data->getDataCov()), (std::vector<double>{12, 24, 48}));
  fill(*data, {{{0, 0}, 1, 3}, {{4, 8}, 1, 1}}, 2);
  EXPECT_EQ(vectorOf(data->getDataCov()), (std::vector<double>{12, 24, 48}));
  EXPECT_EQ(data->getSumCaseWeights(), 2);
  EXPECT_EQ(data->getSumCaseXLogInvVarWeights(), std::log(3.0));
}

// A product of weights that underflows leaves W at 0, and nothing is divided by it.
TEST_F(QUVENLSDataTest, AWeightThatUnderflowsDividesNothing) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{5, 6}, 1e-200, 1e-200}}, 2);
  EXPECT_EQ(data->getSumCaseXInvVarWeights(), 0);
  EXPECT_EQ(vectorOf(data->getDataMean()), (std::vector<double>{0, 0}));
  EXPECT_EQ(vectorOf(data->getDataCov()), (std::vector<double>{0, 0, 0}));
}

TEST_F(QUVENLSDataTest, EqualsTheComputationInTwoPasses) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const long n = 1 + static_cast<long>(seed % 7);
    const LsTable table = randomTable(seed, n, 5 + static_cast<int>(seed) * 7, seed % 2 == 0);
    Held<QUVENLSData> data(environment);
    fill(*data, table, n);
    expectLiteral(*data, LiteralData(table, static_cast<std::size_t>(n)), 1e-12);
  }
}

TEST_F(QUVENLSDataTest, KeepsItsAccuracyFarFromZero) {
  LsTable table = randomTable(3, 3, 200, false);
  for (LsRow& row : table) {
    for (double& x : row.x) x = 1e6 + std::round(x * 64) / 64;  // exact
  }
  Held<QUVENLSData> data(environment);
  fill(*data, table, 3);
  expectLiteral(*data, LiteralData(table, 3), 1e-8);
}

TEST_F(QUVENLSDataTest, PartsOfAnyNumberOfWorkersMergeToTheWhole) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const long n = 1 + static_cast<long>(seed % 5);
    const LsTable table = randomTable(seed, n, 60, seed % 2 == 1);
    const LiteralData literal(table, static_cast<std::size_t>(n));
    std::mt19937 random(seed);
    for (std::size_t workers = 1; workers <= 5; ++workers) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", workers " + std::to_string(workers));
      std::vector<LsTable> parts(workers);
      for (const LsRow& row : table) parts[random() % workers].push_back(row);
      std::vector<std::unique_ptr<Held<QUVENLSData>>> data;
      for (const LsTable& part : parts) {
        data.push_back(std::make_unique<Held<QUVENLSData>>(environment));
        fill(**data.back(), part, n);
      }
      // Neighbours are merged in pairs, then the results in pairs, until one is left.
      for (std::size_t step = 1; step < workers; step *= 2) {
        for (std::size_t i = 0; i + step < workers; i += 2 * step) (*data[i])->merge(**data[i + step], QUVEN_ENV);
      }
      expectLiteral(**data[0], literal, 1e-12);
    }
  }
}

TEST_F(QUVENLSDataTest, MergingIntoAnEmptyObjectCopiesTheSource) {
  const LsTable table = randomTable(5, 3, 30, true);
  Held<QUVENLSData> source(environment);
  Held<QUVENLSData> target(environment);
  fill(*source, table, 3);
  target->allocate(3, QUVEN_ENV);
  target->merge(*source, QUVEN_ENV);
  EXPECT_EQ(imageOf(*target), imageOf(*source));
}

// A rank merges some parts as they are and others as they come from a stream, which clamps infinity.
TEST_F(QUVENLSDataTest, PartsThatOverflowMergeAsTheirImagesDo) {
  const LsTable tables[] = {{{{1e200, 1}}, {{-1e200, 2}}, {{2e200, 3}}},
                            {{{3e200, 4}}, {{-5e200, -1}}},
                            {{{1e308, 2}}, {{-1e308, 1}}, {{1e308, 5}}}};
  for (const LsTable& first : tables) {
    for (const LsTable& second : tables) {
      Held<QUVENLSData> a(environment);
      Held<QUVENLSData> b(environment);
      fill(*a, first, 2);
      fill(*b, second, 2);
      ASSERT_FALSE(std::isfinite(a->getDataCov()[1]));
      QUVENOwnPtr<QUVENLSData> readA = objectOf<QUVENLSData>(imageOf(*a));
      QUVENOwnPtr<QUVENLSData> readB = objectOf<QUVENLSData>(imageOf(*b));
      a->merge(*b, QUVEN_ENV);
      readA->merge(*readB, QUVEN_ENV);
      EXPECT_EQ(imageOf(*a), imageOf(*readA));
      QUVENOwnPtr<QUVENLSData> again = objectOf<QUVENLSData>(imageOf(*a));
      EXPECT_EQ(imageOf(*again), imageOf(*a));
      for (auto* each : {&readA, &readB, &again}) each->reset(QUVEN_ENV);
    }
  }
}

TEST_F(QUVENLSDataTest, MergingAnEmptySourceChangesNothing) {
  const LsTable table = randomTable(6, 3, 30, true);
  Held<QUVENLSData> source(environment);
  Held<QUVENLSData> target(environment);
  fill(*target, table, 3);
  const std::string before = imageOf(*target);
  source->allocate(3, QUVEN_ENV);
  target->merge(*source, QUVEN_ENV);
  EXPECT_EQ(imageOf(*target), before);
  // Records without weight still count.
  add(*source, {{{1, 2, 3}, 0, 1}});
  target->merge(*source, QUVEN_ENV);
  EXPECT_EQ(target->getNumDataPoints(), 31);
  add(*target, {{{1, 2, 3}, 0, 1}});
  EXPECT_EQ(target->getNumDataPoints(), 32);
}

TEST_F(QUVENLSDataTest, RefusesToMergeWhatDoesNotFit) {
  Held<QUVENLSData> a(environment);
  Held<QUVENLSData> b(environment);
  a->allocate(2, QUVEN_ENV);
  b->allocate(3, QUVEN_ENV);
  expectFailure([&] { a->merge(*b, QUVEN_ENV); }, "getNumFields() == source.getNumFields()");
  expectFailure([&] { a->merge(*a, QUVEN_ENV); }, "this != &source");
  QUVENXaRay<double> values;
  values.setSize(3, QUVEN_ENV);
  expectFailure([&] { a->addDataPoint(values, 1, 1); }, "values.getSize() == getNumFields()");
  values.deleteMemory(QUVEN_ENV);
  for (const long n : {-1L, 65536L}) {
    expectFailure([&] { a->allocate(n, QUVEN_ENV); }, "0 <= n && n <= quvenMostPackedRows");
  }
}

TEST_F(QUVENLSDataTest, ResidualsOfAFitOfOtherRecordsAreThoseOfTheRecords) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const long n = 2 + static_cast<long>(seed % 4);
    const LsTable all = randomTable(seed, n, 80, seed % 2 == 0);
    const LsTable fitted(all.begin(), all.begin() + 50);
    const LsTable judged(all.begin() + 50, all.end());
    const LiteralData literal(fitted, static_cast<std::size_t>(n));
    std::vector<std::size_t> variables;
    for (long i = n - 1; i >= 1 + static_cast<long>(seed % 2); --i)
      variables.push_back(static_cast<std::size_t>(i - 1));
    const LiteralModel model = literalFit(literal, variables);

    Held<QUVENLSData> train(environment);
    Held<QUVENLSData> eval(environment);
    fill(*train, fitted, n);
    fill(*eval, judged, n);
    Held<QUVENXaRay<std::int32_t>> permutation(environment);
    Held<QUVENXaRay<double>> coefficients(environment);
    coefficients->setSize(n, QUVEN_ENV);
    (*coefficients)[n] = -1;
    for (std::size_t i = 0; i < variables.size(); ++i) {
      permutation->append(static_cast<std::int32_t>(variables[i]) + 1, QUVEN_ENV);
      (*coefficients)[static_cast<long>(variables[i]) + 1] = static_cast<double>(model.coefficients[i]);
    }
    const long rank = permutation->getSize();
    for (QUVENLSData* data : {&*train, &*eval}) {
      const double expected = static_cast<double>(
          literalRss(LiteralData(data == &*train ? fitted : judged, static_cast<std::size_t>(n)), model));
      EXPECT_NEAR(data->getResidualSumOfSquares(train->getDataMean(), *permutation, *coefficients, rank), expected,
                  1e-10 * expected);
    }
    // Rank 0 predicts the mean of the target.
    EXPECT_NEAR(
        eval->getResidualSumOfSquares(train->getDataMean(), *permutation, *coefficients, 0),
        static_cast<double>(literalRss(LiteralData(judged, static_cast<std::size_t>(n)), literalFit(literal, {}))),
        1e-9);
  }
}

// Values by hand, from the formulas.
TEST_F(QUVENLSDataTest, ScoresFollowTheFormulas) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{1, 0}, 1, 2}, {{3, 4}, 2, 1}, {{9, 9}, 0, 1}}, 2);
  // W = 4, points = 3, sum w = 3, sum w^2 = 5, means 2 and 2, C(1,1) = 2 + 2 = 4, C(2,2) = 8 + 8 = 16.
  const double eps = 1.1920928955078125e-07;
  EXPECT_EQ(data->getDataCov()[1], 4);
  EXPECT_EQ(data->getDataCov()[3], 16);
  EXPECT_DOUBLE_EQ(data->getTolerance(1), (2 * 2 * 2 * 4 + 4) * eps * eps + eps * 4);
  EXPECT_DOUBLE_EQ(data->getTolerance(2), (2 * 2 * 2 * 4 + 16) * eps * eps + eps * 16);
  expectFailure([&] { data->getTolerance(0); }, "1 <= index");
  expectFailure([&] { data->getTolerance(3); }, "index <= this->getSize()");

  EXPECT_DOUBLE_EQ(data->getVarianceEstimate(8, 1, 0), 2);        // rss / W
  EXPECT_DOUBLE_EQ(data->getVarianceEstimate(-8, 1, 0), 0.25);    // tolerance / W
  EXPECT_DOUBLE_EQ(data->getVarianceEstimate(0, 0, 2), 2.0 / 4);  // floor / (points + 1)
  const double logTwoPi = 1.8378770664093454836;
  EXPECT_DOUBLE_EQ(data->getScore(8, 2), 0.5 * ((logTwoPi + std::log(2.0)) * 3 - std::log(2.0) + 4));
  // The variance estimate is 2, so q is 2 / 0.5.
  EXPECT_DOUBLE_EQ(data->getScoreVariance(8, 0.5, 1, 0), 0.5 * 3 * 5 * 16);
  EXPECT_DOUBLE_EQ(data->getScoreVariance(0, 0.5, 1, 0), 0.5 * 3 * 5 * 0.25);
}

TEST_F(QUVENLSDataTest, WithoutWeightTheVarianceIsNotDivided) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{1, 0}, 0, 1}, {{3, 4}, 0, 1}, {{3, 4}, 0, 1}}, 2);
  EXPECT_EQ(data->getVarianceEstimate(8, 1, 0), 8);
  EXPECT_EQ(data->getVarianceEstimate(0, 1, 0), 1);
  EXPECT_EQ(data->getVarianceEstimate(0, 0, 2), 0.5);
  EXPECT_EQ(data->getTolerance(1), 0);
}

// A diagonal that rounding has made negative counts as 0.
TEST_F(QUVENLSDataTest, ANegativeDiagonalHasNoShareInTheTolerance) {
  const std::string image = bytesOf(
      "C1 8B 'QUVENLSData'"
      "C9 00 00 00 00 00 00 F0 3F"  // W = 1
      "CB C4 81 00 00 00 00 00 00 00 40 C5"
      "CC C4 81 00 00 00 00 00 00 F0 BF C5 C2");
  QUVENOwnPtr<QUVENLSData> data = objectOf<QUVENLSData>(image);
  EXPECT_EQ(data->getDataCov()[1], -1);
  EXPECT_EQ(data->getTolerance(1), 8 * 0x1p-46);
  data.reset(QUVEN_ENV);
}

TEST_F(QUVENLSDataTest, AddingRecordsAllocatesNothing) {
  Held<QUVENLSData> small(environment);
  Held<QUVENLSData> large(environment);
  small->allocate(2, QUVEN_ENV);
  large->allocate(9, QUVEN_ENV);
  QUVENXaRay<double> values;
  values.setSize(9, QUVEN_ENV);
  const std::int64_t before = environment.getBytesInUse();
  for (int i = 0; i < 10; ++i) large->addDataPoint(values, 1, 1);
  EXPECT_EQ(environment.getBytesInUse(), before);
  values.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(QUVENLSEnvGlobalVector::get(QUVEN_ENV).getDeltaVector().getSize(), 9);
  // The smaller one, made before the scratch vector grew, uses it as well.
  add(*small, {{{0, 0}}, {{2, 4}}});
  EXPECT_EQ(vectorOf(small->getDataCov()), (std::vector<double>{2, 4, 8}));
}

TEST_F(QUVENLSDataTest, AllocatingAgainBeginsAgain) {
  Held<QUVENLSData> data(environment);
  fill(*data, randomTable(1, 3, 10, true), 3);
  Held<QUVENLSData> fresh(environment);
  fresh->allocate(3, QUVEN_ENV);
  data->allocate(3, QUVEN_ENV);
  EXPECT_EQ(imageOf(*data), imageOf(*fresh));
}

TEST_F(QUVENLSDataTest, ReleasingTheStatisticsKeepsTheSums) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{1, 0}, 1, 2}, {{3, 4}, 2, 1}, {{9, 9}, 0, 1}}, 2);
  data->releaseStatistics(QUVEN_ENV);
  EXPECT_EQ(data->getNumFields(), 0);
  EXPECT_EQ(data->getDataCov().getCapacity(), 0);
  QUVENOwnPtr<QUVENLSData> read = objectOf<QUVENLSData>(imageOf(*data));
  for (const QUVENLSData* released : {&*data, read.get()}) {
    EXPECT_EQ(released->getNumDataPoints(), 3);
    EXPECT_EQ(released->getSumCaseWeights(), 3);
    EXPECT_EQ(released->getSumCaseWeights2(), 5);
    EXPECT_EQ(released->getSumCaseXInvVarWeights(), 4);
    EXPECT_EQ(released->getSumCaseXLogInvVarWeights(), std::log(2.0));
  }
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENLSDataTest, CopiedMovedAndReadObjectsGoOnCounting) {
  const LsTable table = randomTable(8, 4, 40, true);
  const LsTable first(table.begin(), table.begin() + 20);
  const LsTable second(table.begin() + 20, table.end());
  Held<QUVENLSData> whole(environment);
  fill(*whole, table, 4);
  Held<QUVENLSData> half(environment);
  fill(*half, first, 4);
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    const std::string image = imageOf(*half, mode);
    EXPECT_EQ(image, imageOf(*half));
    QUVENOwnPtr<QUVENLSData> read = objectOf<QUVENLSData>(image);
    EXPECT_EQ(imageOf(*read, mode), image);
    add(*read, second);
    EXPECT_EQ(imageOf(*read), imageOf(*whole));
    read.reset(QUVEN_ENV);
  }
  Held<QUVENXaRay<QUVENLSData, 0>> array(environment);
  array->setSize(1, QUVEN_ENV);
  (*array)[1].copyFromPrimitive(&*half, QUVEN_ENV);
  array->setSizeCapacity(1, 5, QUVEN_ENV);  // moves the cell
  add((*array)[1], second);
  EXPECT_EQ(imageOf((*array)[1]), imageOf(*whole));
  Held<QUVENLSData> moved(environment);
  moved->transferFromPrimitive(&*half, QUVEN_ENV);
  add(*moved, second);
  EXPECT_EQ(imageOf(*moved), imageOf(*whole));
  EXPECT_EQ(half->getNumFields(), 0);
}

// Two environments have a scratch vector each.
TEST_F(QUVENLSDataTest, ACopyUsesTheScratchVectorOfItsOwnEnvironment) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{0, 0}}}, 2);
  QUVENLSEnvGlobalVector* const first = &QUVENLSEnvGlobalVector::get(QUVEN_ENV);
  QUVENEnv another;
  another.activate();
  env = &another;
  {
    Held<QUVENLSData> copy(another);
    copy->copyFromPrimitive(&*data, QUVEN_ENV);
    EXPECT_NE(&QUVENLSEnvGlobalVector::get(QUVEN_ENV), first);
    environment.getAux().deleteMemory(QUVENEnvHandle(environment, "", 0, ""));
    add(*copy, {{{2, 4}}});
    EXPECT_EQ(vectorOf(copy->getDataCov()), (std::vector<double>{2, 4, 8}));
  }
  env = &environment;
}

// The order of the members, and the packed layout, are part of the format.
TEST_F(QUVENLSDataTest, HasAFixedImage) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{0, 0}, 1, 1}, {{2, 4}, 1, 1}, {{0, 0}, 0, 1}}, 2);
  EXPECT_EQ(hexOf(imageOf(*data)), hexOfText("C1 8B 'QUVENLSData'"
                                             "C6 00 00 00 00 00 00 08 40"  // points
                                             "C7 00 00 00 00 00 00 00 40"  // sum w
                                             "C8 00 00 00 00 00 00 00 40"  // sum w^2
                                             "C9 00 00 00 00 00 00 00 40"  // W
                                             "CA 00 00 00 00 00 00 00 00"  // sum w log v
                                             "CB C4 82 00 00 00 00 00 00 F0 3F 00 00 00 00 00 00 00 40 C5"
                                             "CC C4 83 00 00 00 00 00 00 00 40 00 00 00 00 00 00 10 40"
                                             "00 00 00 00 00 00 20 40 C5 C2"));
}

TEST_F(QUVENLSDataTest, RefusesDamagedStreams) {
  Held<QUVENLSData> data(environment);
  fill(*data, {{{0, 0}, 1, 1}, {{2, 4}, 1, 1}}, 2);
  const std::string image = imageOf(*data);
  for (const int array : {1, 2}) {
    expectFailure([&] { objectOf<QUVENLSData>(withoutArrayEnd(image, array)); },
                  "Syntax Error: EndArray keyword expected");
  }
  for (std::size_t size = 0; size < image.size(); ++size) {
    SCOPED_TRACE(size);
    expectFailure([&] { objectOf<QUVENLSData>(image.substr(0, size)); }, "");
  }
  // A triangle of another number of variables.
  Held<QUVENLSData> more(environment);
  more->allocate(3, QUVEN_ENV);
  const std::string other = imageOf(*more);
  const std::string mixed = image.substr(0, image.find("\xCC\xC4")) + other.substr(other.find("\xCC\xC4"));
  expectFailure([&] { objectOf<QUVENLSData>(mixed); },
                "ivDataCov.getSize() == quvenPackedIndex(getNumFields(), getNumFields())");
}

}  // namespace
