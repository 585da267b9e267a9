#include "learning/quven_term_variances.h"

#include "lin_reg_fixture.h"

namespace {

class QUVENTermVariancesTest : public LinearRegressionTest {
 protected:
  QUVENTermVariancesTest() { openWorld(5); }

  /// Terms of x1, of x2 and of x1 again.
  QUVENOwnPtr<QUVENTermVariances> makeVariances() {
    auto variances = make<QUVENTermVariances>();
    EXPECT_EQ(variances->addTerm(x[0], 1, QUVEN_ENV), 1);
    EXPECT_EQ(variances->addTerm(x[1], -2.5, QUVEN_ENV), 2);
    EXPECT_EQ(variances->addTerm(x[0], 0.1, QUVEN_ENV), 3);
    EXPECT_EQ(variances->getNumTerms(), 3);
    return variances;
  }
  void gather(QUVENTermVariances& variances, const RegressionTable& table) {
    variances.beginRecords(QUVEN_ENV);
    for (const RegressionRecord& record : table) {
      set(record);
      variances.update(*point, QUVEN_ENV);
    }
    variances.endRecords(QUVEN_ENV);
  }
  /// Values far from 0, beside which the spread of x1 is small.
  static RegressionTable tableOfTerms(int records) {
    RegressionTable table;
    for (int i = 0; i < records; ++i) {
      RegressionRecord record{.x = {1e7 + i % 13 * 0.5, i % 7 * 1.25 - i % 3, 0}, .channel = 1 + i % 5};
      record.hasValuePerChannel = i % 4 == 0;
      if (i % 11 == 0) record.x[1] = std::numeric_limits<double>::infinity();
      table.push_back(record);
    }
    return table;
  }
  /// In two passes over the records of channels 2 and up.
  static long double variance(const RegressionTable& table, std::size_t input, long double factor) {
    std::vector<long double> values;
    for (const RegressionRecord& record : table) {
      if (record.channel >= 2 && std::isfinite(record.x.at(input))) values.push_back(factor * record.x.at(input));
    }
    long double mean = 0;
    for (const long double value : values) mean += value / static_cast<long double>(values.size());
    long double squares = 0;
    for (const long double value : values) squares += (value - mean) * (value - mean);
    return squares / static_cast<long double>(values.size());
  }
  static void expectVariances(const QUVENTermVariances& variances, const RegressionTable& table) {
    expectNear(variances.getVariance(1), variance(table, 0, 1), 1e-9);
    expectNear(variances.getVariance(2), variance(table, 1, -2.5));
    expectNear(variances.getVariance(3), variance(table, 0, 0.1L), 1e-9);
  }
};

TEST_F(QUVENTermVariancesTest, AreThoseOfTheTrainingRecords) {
  auto variances = makeVariances();
  EXPECT_TRUE(variances->beginDataScan(QUVEN_ENV));
  gather(*variances, tableOfTerms(500));
  expectVariances(*variances, tableOfTerms(500));
  // A second pass begins anew.
  gather(*variances, tableOfTerms(120));
  expectVariances(*variances, tableOfTerms(120));
  EXPECT_TRUE(variances->endDataScan(QUVEN_ENV));
  variances.reset(QUVEN_ENV);
}

TEST_F(QUVENTermVariancesTest, WithoutARecordAreZero) {
  auto variances = makeVariances();
  variances->beginDataScan(QUVEN_ENV);
  gather(*variances, {{.x = {3, 4, 5}, .channel = 1}});
  for (long term = 1; term <= 3; ++term) EXPECT_EQ(variances->getVariance(term), 0);
  gather(*variances, {{.x = {3, 4, 5}, .channel = 2}});
  for (long term = 1; term <= 3; ++term) EXPECT_EQ(variances->getVariance(term), 0);
  variances.reset(QUVEN_ENV);
}

TEST_F(QUVENTermVariancesTest, AMissingValueIsZero) {
  auto variances = makeVariances();
  variances->beginDataScan(QUVEN_ENV);
  gather(*variances, {{.x = {noNumber, 1, 0}}, {.x = {4, 1, 0}}});
  EXPECT_EQ(variances->getVariance(1), 4);
  EXPECT_EQ(variances->getVariance(2), 0);
  variances.reset(QUVEN_ENV);
}

TEST_F(QUVENTermVariancesTest, ResultsOfWorkersMergeToThoseOfOnePass) {
  const RegressionTable table = tableOfTerms(400);
  auto variances = makeVariances();
  variances->beginDataScan(QUVEN_ENV);
  variances->beginRecords(QUVEN_ENV);
  std::vector<std::string> results;
  for (std::size_t worker = 0; worker < 4; ++worker) {  // the last one has no record
    auto copy = readWithNames<QUVENTermVariances>(imageOf(*variances, QUVENObjWriter::SaveForWorker));
    gather(*copy, part(table, [&](std::size_t i) { return i % 3 == worker; }));
    results.push_back(resultOf(*copy));
    copy.reset(QUVEN_ENV);
  }
  // Two results first, as slices are merged, then all into the live scan.
  results[0] = mergedResults(results[0], results[1]);
  for (const std::string& result : {results[3], results[0], results[2]}) readResults(result);
  expectVariances(*variances, table);
  variances.reset(QUVEN_ENV);
}

}  // namespace
