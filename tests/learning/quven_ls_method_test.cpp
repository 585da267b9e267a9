#include "learning/quven_ls_method.h"

#include <algorithm>
#include <cmath>

#include "ls_fixture.h"

namespace {

constexpr double floorFactor = 1.1920928955078125e-07;

class QUVENLSCholeskiMethodTest : public LeastSquaresTest {
 protected:
  void TearDown() override {
    train.deleteMemory(QUVEN_ENV);
    eval.deleteMemory(QUVEN_ENV);
    results.deleteMemory(QUVEN_ENV);
    path.destroyPrimitive(QUVEN_ENV);
    LeastSquaresTest::TearDown();
  }

  /// Deals a record of each channel as the linear model does: to eval of its own channel, to train of the others, but
  /// channel 1 trains none and channel 2 only channel 1.
  void deal(const std::vector<LsTable>& byChannel, long n) {
    const std::size_t channels = byChannel.size();
    std::vector<LsTable> trainTables(channels);
    for (std::size_t c = 0; c < channels; ++c) {
      for (std::size_t k = 0; k < channels; ++k) {
        const bool trains = k != c && (c == 0 || (c == 1 && k != 0) || (c > 1 && k > 1));
        if (trains) trainTables[c].insert(trainTables[c].end(), byChannel[k].begin(), byChannel[k].end());
      }
    }
    setSizes(channels);
    literalTrain.clear();
    literalEval.clear();
    for (std::size_t c = 0; c < channels; ++c) {
      fill(train[static_cast<long>(c) + 1], trainTables[c], n);
      fill(eval[static_cast<long>(c) + 1], byChannel[c], n);
      literalTrain.emplace_back(trainTables[c], static_cast<std::size_t>(n));
      literalEval.emplace_back(byChannel[c], static_cast<std::size_t>(n));
    }
  }
  /// Records dealt at random to C channels.
  void deal(const LsTable& table, std::size_t channels, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<LsTable> byChannel(channels);
    for (const LsRow& row : table) byChannel[random() % channels].push_back(row);
    deal(byChannel, static_cast<long>(table[0].x.size()));
  }
  void setSizes(std::size_t channels) {
    train.setSize(static_cast<long>(channels), QUVEN_ENV);
    eval.setSize(static_cast<long>(channels), QUVEN_ENV);
  }
  void selectFolds() { QUVENLSCholeskiMethod().selectFolds(train, eval, results, floorFactor, QUVEN_ENV); }

  static void expectNear(double value, long double expected, double tolerance = 1e-8) {
    EXPECT_NEAR(value, static_cast<double>(expected),
                tolerance * std::max(1.0, std::abs(static_cast<double>(expected))));
  }
  static void expectFit(const QUVENLSFit& fit, const LiteralModel::Fit& literal) {
    expectNear(fit.points, literal.points);
    expectNear(fit.residSSQ, literal.rss);
    expectNear(fit.score, literal.score);
    expectNear(fit.scoreVariance, literal.scoreVariance);
  }
  static void expectPath(const QUVENLSResults& result, const LiteralPath& literal) {
    ASSERT_EQ(result.getNumModels(), static_cast<long>(literal.size()));
    for (long rank = 0; rank < result.getNumModels(); ++rank) {
      SCOPED_TRACE("rank " + std::to_string(rank));
      const QUVENLSModel& model = result.getModel(rank);
      const LiteralModel& expected = literal[static_cast<std::size_t>(rank)];
      ASSERT_EQ(model.getModelRank(), static_cast<std::int32_t>(expected.variables.size()));
      for (long i = 1; i <= rank; ++i) {
        ASSERT_EQ(model.getVariableAt(i),
                  static_cast<std::int32_t>(expected.variables[static_cast<std::size_t>(i - 1)]) + 1);
        expectNear(model.getCoefficientAt(i), expected.coefficients[static_cast<std::size_t>(i - 1)]);
      }
      expectNear(model.getIntercept(), expected.intercept);
      expectNear(model.getModelStdDev(), expected.stdDev);
      expectFit(model.getTrain(), expected.train);
      expectFit(model.getEval(), expected.eval);
    }
  }
  /// The variables of the longest model of a path.
  static std::vector<std::int32_t> variablesOf(const QUVENLSResults& result) {
    std::vector<std::int32_t> variables;
    const QUVENLSModel& last = result.getModel(result.getNumModels() - 1);
    for (long i = 1; i <= last.getModelRank(); ++i) variables.push_back(last.getVariableAt(i));
    return variables;
  }

  QUVENXaRay<QUVENLSData, 0> train;
  QUVENXaRay<QUVENLSData, 0> eval;
  QUVENXaRay<QUVENLSResults, 0> results;
  QUVENLSResults path;
  std::vector<LiteralData> literalTrain;
  std::vector<LiteralData> literalEval;
};

TEST_F(QUVENLSCholeskiMethodTest, FoldsFollowTheLiteralSteps) {
  std::size_t whole = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    const std::size_t channels = 4 + seed % 4;
    const long n = 1 + static_cast<long>(seed % 7);
    SCOPED_TRACE("seed " + std::to_string(seed) + ", channels " + std::to_string(channels));
    deal(randomTable(seed, n, 60 + static_cast<int>(seed), seed % 2 == 0), channels, seed);
    selectFolds();
    const std::vector<LiteralPath> literal = literalFolds(literalTrain, literalEval, floorFactor);
    ASSERT_EQ(results.getSize(), static_cast<long>(channels));
    for (std::size_t c = 0; c < channels; ++c) {
      SCOPED_TRACE("channel " + std::to_string(c + 1));
      expectPath(results[static_cast<long>(c) + 1], literal[c]);
    }
    whole += static_cast<long>(literal[0].size()) == n ? 1 : 0;
  }
  EXPECT_GT(whole, 40U);  // most paths reach the full rank
}

// A column without any effect: its coefficient does not improve the folds, and the path has only the model of rank 0.
TEST_F(QUVENLSCholeskiMethodTest, TheFirstVariableMustImproveTheScore) {
  int empty = 0;
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    LsTable table = randomTable(seed, 4, 80, false);
    std::mt19937 random(seed);
    for (LsRow& row : table) row.x[3] = std::normal_distribution<double>()(random);
    deal(table, 6, seed);
    selectFolds();
    const std::vector<LiteralPath> literal = literalFolds(literalTrain, literalEval, floorFactor);
    for (std::size_t c = 0; c < 6; ++c) expectPath(results[static_cast<long>(c) + 1], literal[c]);
    empty += results[1].getNumModels() == 1 ? 1 : 0;
  }
  EXPECT_GE(empty, 5);
  EXPECT_LE(empty, 19);
}

// From the second variable on nothing is asked: columns without effect enter, up to the full rank.
TEST_F(QUVENLSCholeskiMethodTest, ThePathRunsToTheFullRank) {
  LsTable table = randomTable(3, 7, 90, false);
  for (LsRow& row : table) row.x[6] = 4 * row.x[2] + std::sin(40 * row.x[0]);
  deal(table, 5, 3);
  selectFolds();
  std::vector<std::int32_t> variables = variablesOf(results[1]);
  EXPECT_EQ(variables.at(0), 3);
  std::sort(variables.begin(), variables.end());
  EXPECT_EQ(variables, (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6}));
  for (long c = 1; c <= 5; ++c) EXPECT_EQ(variablesOf(results[c]), variablesOf(results[1]));
}

// At full rank the order of the selection does not matter: the design with a column of ones, without any centring.
TEST_F(QUVENLSCholeskiMethodTest, TheFullRankSolvesTheNormalEquations) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    const LsTable table = randomTable(seed, 5, 100, true);
    deal(table, 5, seed);
    selectFolds();
    for (long c = 1; c <= 5; ++c) {
      ASSERT_EQ(results[c].getNumModels(), 5);
      std::vector<std::vector<long double>> a(5, std::vector<long double>(5));
      std::vector<long double> b(5);
      for (const LsRow& row : literalTrain[static_cast<std::size_t>(c - 1)].rows) {
        std::vector<double> design = row.x;
        design.back() = 1;
        for (std::size_t i = 0; i < 5; ++i) {
          for (std::size_t j = 0; j < 5; ++j)
            a[i][j] += static_cast<long double>(row.w) * row.v * design[i] * design[j];
          b[i] += static_cast<long double>(row.w) * row.v * design[i] * row.x.back();
        }
      }
      const std::vector<long double> solution = solve(a, b);
      const QUVENLSModel& model = results[c].getModel(4);
      for (long i = 1; i <= 4; ++i) {
        expectNear(model.getCoefficientOfVariable(i), solution[static_cast<std::size_t>(i - 1)], 1e-10);
      }
      expectNear(model.getIntercept(), solution[4], 1e-9);
    }
  }
}

TEST_F(QUVENLSCholeskiMethodTest, ConstantAndCollinearColumnsStayOut) {
  LsTable table = randomTable(2, 6, 120, false);
  for (LsRow& row : table) {
    row.x[0] = 3;
    row.x[4] = row.x[1] - 2 * row.x[2];
  }
  deal(table, 5, 2);
  selectFolds();
  const std::vector<std::int32_t> variables = variablesOf(results[1]);
  EXPECT_EQ(variables.size(), 3U);  // two of the three dependent columns, and column 4
  EXPECT_EQ(std::count(variables.begin(), variables.end(), 1), 0);
  EXPECT_EQ(std::count(variables.begin(), variables.end(), 4), 1);
}

// Constant in the train data of one fold only: excluded in all channels.
TEST_F(QUVENLSCholeskiMethodTest, AColumnRuledOutInOneChannelIsOutInAll) {
  std::vector<LsTable> byChannel(5);
  LsTable table = randomTable(5, 4, 100, false);
  for (std::size_t r = 0; r < table.size(); ++r) {
    const std::size_t channel = r % 5;
    table[r].x[3] = 2 * table[r].x[0] + std::sin(40 * table[r].x[2]);
    if (channel != 2) table[r].x[1] = 1;  // varies in channel 3 alone, which does not train itself
    byChannel[channel].push_back(table[r]);
  }
  deal(byChannel, 4);
  selectFolds();
  for (long c = 1; c <= 5; ++c) {
    const std::vector<std::int32_t> variables = variablesOf(results[c]);
    EXPECT_EQ(variables.size(), 2U);
    EXPECT_EQ(std::count(variables.begin(), variables.end(), 2), 0);
  }
}

TEST_F(QUVENLSCholeskiMethodTest, ATargetWithoutVarianceHasOneModel) {
  LsTable table = randomTable(5, 4, 100, false);
  for (LsRow& row : table) row.x[3] = 2.5;
  deal(table, 5, 1);
  selectFolds();
  for (long c = 1; c <= 5; ++c) {
    EXPECT_EQ(results[c].getNumModels(), 1);
    EXPECT_NEAR(results[c].getModel(0).getIntercept(), 2.5, 1e-14);
  }
}

TEST_F(QUVENLSCholeskiMethodTest, ASingleVariableHasOneModel) {
  const LsTable table = randomTable(5, 1, 50, false);
  deal(table, 5, 1);
  selectFolds();
  for (long c = 1; c <= 5; ++c) EXPECT_EQ(results[c].getNumModels(), 1);
  QUVENLSCholeskiMethod().selectTwoWay(train[3], eval[3], path, floorFactor, QUVEN_ENV);
  EXPECT_EQ(path.getNumModels(), 1);
  QUVENLSCholeskiMethod().selectSingle(train[3], path, floorFactor, QUVEN_ENV);
  EXPECT_EQ(path.getNumModels(), 1);
  EXPECT_EQ(path.getModel(0).getModelRank(), 0);
}

// Two channels have no folds, and the only fold of three has no train data.
TEST_F(QUVENLSCholeskiMethodTest, TwoOrThreeChannelsLearnNothing) {
  for (const std::size_t channels : {2U, 3U}) {
    SCOPED_TRACE(channels);
    deal(randomTable(8, 4, 60, true), channels, 8);
    selectFolds();
    const std::vector<LiteralPath> literal = literalFolds(literalTrain, literalEval, floorFactor);
    ASSERT_EQ(results.getSize(), static_cast<long>(channels));
    for (std::size_t c = 0; c < channels; ++c) {
      EXPECT_EQ(results[static_cast<long>(c) + 1].getNumModels(), 1);
      expectPath(results[static_cast<long>(c) + 1], literal[c]);
    }
  }
  setSizes(1);
  expectFailure([&] { selectFolds(); }, "channels >= 2");
}

TEST_F(QUVENLSCholeskiMethodTest, RefusesVectorsThatDoNotFit) {
  deal(randomTable(8, 4, 60, true), 4, 8);
  eval.setSize(3, QUVEN_ENV);
  expectFailure([&] { selectFolds(); }, "evalVec.getSize() == channels");
  eval.setSize(4, QUVEN_ENV);
  eval[4].allocate(4, QUVEN_ENV);
  selectFolds();
  eval[4].allocate(3, QUVEN_ENV);
  expectFailure([&] { selectFolds(); }, "evalPtr->getNumFields() == n");
  train[4].allocate(3, QUVEN_ENV);
  expectFailure([&] { selectFolds(); }, "all[1]->getNumFields() == all[all.getSize()]->getNumFields()");
}

TEST_F(QUVENLSCholeskiMethodTest, EarlierResultsAreDropped) {
  deal(randomTable(8, 4, 60, false), 5, 8);
  selectFolds();
  for (QUVENLSResults& result : results) result.selectRank(1, QUVEN_ENV);
  selectFolds();
  for (const QUVENLSResults& result : results) {
    EXPECT_EQ(result.getNumModels(), 4);
    EXPECT_EQ(result.getSelectedModel(), nullptr);
  }
}

// Four records per fold, the same in each, so that the score of the folds is that of the fit: with the target
// +-1 + slope x it falls by about N slope^2 / 2. The bound is 2^-36 N 1.42 here, between both slopes.
TEST_F(QUVENLSCholeskiMethodTest, AnImprovementThatRoundingExplainsIsNone) {
  for (const double slope : {0.0, 1e-6, 1e-5}) {
    const LsTable four = {{{1, 1 + slope}}, {{1, -1 + slope}}, {{-1, 1 - slope}}, {{-1, -1 - slope}}};
    deal(std::vector<LsTable>(7, four), 2);
    selectFolds();
    EXPECT_EQ(results[1].getNumModels(), slope == 1e-5 ? 2 : 1) << slope;
    QUVENLSCholeskiMethod().selectTwoWay(eval[3], eval[4], path, floorFactor, QUVEN_ENV);
    EXPECT_EQ(path.getNumModels(), slope == 1e-5 ? 2 : 1) << slope;
  }
}

// The candidate of the largest reduction is rejected by the folds and is out for good; the next one enters.
TEST_F(QUVENLSCholeskiMethodTest, ARejectedFirstCandidateIsOutForGood) {
  int seen = 0;
  for (unsigned seed = 1; seed <= 200; ++seed) {
    LsTable table = randomTable(seed, 5, 40, false);
    std::mt19937 random(seed);
    for (LsRow& row : table) {
      row.x[4] = 0.25 * row.x[1] + std::normal_distribution<double>()(random);
      if (random() % 20 == 0) row.x[0] *= 30;
    }
    deal(table, 5, seed);
    selectFolds();
    const std::vector<LiteralPath> literal = literalFolds(literalTrain, literalEval, floorFactor);
    for (std::size_t c = 0; c < 5; ++c) expectPath(results[static_cast<long>(c) + 1], literal[c]);
    const long models = results[1].getNumModels();
    seen += models > 1 && models < 5 ? 1 : 0;
  }
  EXPECT_GT(seen, 10);
}

// A column that is not a number neither enters first nor stops the search.
TEST_F(QUVENLSCholeskiMethodTest, AColumnThatIsNotANumberDoesNotEnterFirst) {
  LsTable table = randomTable(4, 4, 60, false);
  for (LsRow& row : table) row.x[0] = std::nan("");
  deal(table, 5, 4);
  selectFolds();
  ASSERT_GE(results[1].getNumModels(), 2);
  EXPECT_NE(results[1].getModel(1).getVariableAt(1), 1);
  for (LsRow& row : table) row.x[3] = std::nan("");
  deal(table, 5, 4);
  selectFolds();
  EXPECT_EQ(results[1].getNumModels(), 1);
}

// Of two equal columns the lower one enters: the left child of the heap and the parent win.
TEST_F(QUVENLSCholeskiMethodTest, OfEqualColumnsThePlaceInTheHeapDecides) {
  LsTable table = randomTable(6, 4, 60, false);
  for (LsRow& row : table) {
    row.x[0] = row.x[1] = row.x[2];
    row.x[3] = 2 * row.x[0] + std::sin(40 * row.x[0]);
  }
  deal(table, 5, 4);
  selectFolds();
  EXPECT_EQ(variablesOf(results[1]), (std::vector<std::int32_t>{1}));
}

TEST_F(QUVENLSCholeskiMethodTest, TwoWayFollowsTheLiteralSteps) {
  std::size_t partial = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const long n = 1 + static_cast<long>(seed % 7);
    const LsTable all = randomTable(seed, n, 50, seed % 2 == 0);
    const LsTable first(all.begin(), all.begin() + 20);
    const LsTable second(all.begin() + 20, all.end());
    Held<QUVENLSData> a(environment);
    Held<QUVENLSData> b(environment);
    fill(*a, first, n);
    fill(*b, second, n);
    QUVENLSCholeskiMethod().selectTwoWay(*a, *b, path, floorFactor, QUVEN_ENV);
    const LiteralData literalA(first, static_cast<std::size_t>(n));
    const LiteralData literalB(second, static_cast<std::size_t>(n));
    const LiteralPath literal = literalTwoWay(literalA, literalB, floorFactor);
    expectPath(path, literal);
    partial += path.getNumModels() < n ? 1 : 0;
  }
  EXPECT_GT(partial, 10U);
}

TEST_F(QUVENLSCholeskiMethodTest, SingleFollowsTheLiteralSteps) {
  for (unsigned seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const long n = 1 + static_cast<long>(seed % 7);
    const LsTable table = randomTable(seed, n, 50, seed % 2 == 0);
    Held<QUVENLSData> data(environment);
    fill(*data, table, n);
    QUVENLSCholeskiMethod().selectSingle(*data, path, floorFactor, QUVEN_ENV);
    expectPath(path, literalSingle(LiteralData(table, static_cast<std::size_t>(n)), floorFactor));
    EXPECT_EQ(path.getNumModels(), n);
  }
}

TEST_F(QUVENLSCholeskiMethodTest, ClonesAndTravels) {
  QUVENLSCholeskiMethod method;
  QUVENOwnPtr<QUVENLSMethod> clone = method.clone(QUVEN_ENV);
  EXPECT_TRUE(clone->getTypeName() == QUVENLSCholeskiMethod::typeName());
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    QUVENOwnPtr<QUVENLSMethod> read(QUVEN_ENV);
    readImage(imageOf(*clone, mode), read);
    EXPECT_EQ(imageOf(*read, mode), imageOf(method, mode));
    read.reset(QUVEN_ENV);
  }
  clone.reset(QUVEN_ENV);
}

TEST_F(QUVENLSCholeskiMethodTest, TheBaseImplementsNothing) {
  QUVENLSMethod base;
  QUVENLSData data;
  expectFailure([&] { base.clone(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base.selectFolds(train, eval, results, floorFactor, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base.selectTwoWay(data, data, path, floorFactor, QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { base.selectSingle(data, path, floorFactor, QUVEN_ENV); }, notImplementedText);
}

}  // namespace
