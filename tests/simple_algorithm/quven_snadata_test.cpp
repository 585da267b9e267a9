#include "simple_algorithm/quven_snadata.h"

#include <cmath>
#include <filesystem>
#include <random>

#include "diffusion_fixture.h"
#include "util/quven_class_info.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class QUVENSNADataTest : public DiffusionTest {
 protected:
  void expectLiteral(const LiteralDiffusion& expected, const QUVENSNAData& data) {
    EXPECT_EQ(data.getNumIterations(), expected.iterations);
    EXPECT_NEAR(data.getDiffVal(), expected.diffVal, 1e-12);
    const auto actual = results();
    ASSERT_EQ(actual.size(), expected.nodes.size());
    for (const auto& [number, node] : expected.nodes) {
      ASSERT_TRUE(actual.contains(number)) << number;
      const LiteralResult& other = actual.at(number);
      // The file has nine digits.
      EXPECT_NEAR(other.energy, node.energy, 1e-8 * std::max(1e-3, std::fabs(node.energy))) << number;
      EXPECT_EQ(other.inDegree, node.inDegree) << number;
      EXPECT_EQ(other.outDegree, node.outDegree) << number;
      EXPECT_EQ(other.weightedInDegree, node.weightedInDegree) << number;
      EXPECT_EQ(other.weightedOutDegree, node.weightedOutDegree) << number;
    }
  }
};

/// Seed 1 calls 2 with weight 3 and 3 with weight 1; the coefficient is 1/2. It keeps 1/2, 2 gets 3/8 and 3 gets 1/8;
/// these two call nobody, keep it, and the second pass changes nothing.
TEST_F(QUVENSNADataTest, SpreadsBySharesOfTheWeights) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 3}, {3, 1}}}}, 1);
  EXPECT_EQ(folder.read("out.csv"),
            "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n"
            "1,0.5,0,2,0,4\n"
            "2,0.375,1,0,3,0\n"
            "3,0.125,1,0,1,0\n");
  EXPECT_EQ(data->getNumIterations(), 2);
  EXPECT_EQ(data->getDiffVal(), 0);
  EXPECT_THAT(run.out, HasSubstr("Log;|1;|Diffusion Model 1, Iteration 1 diffVal = 0.5;|LogEnd\n"));
  EXPECT_THAT(run.out, HasSubstr("Log;|0;|SNA Terminated Successfully;|LogEnd\n"));
  QUVEN_DELETE(data);
}

/// Seed 1 is named twice and calls, 3 is called, 77 is nowhere; one line is no seed.
TEST_F(QUVENSNADataTest, SaysHowManySeedsAreInTheData) {
  for (const std::size_t workers : {1U, 2U, 3U}) {
    Data data = open("", "1\n3\nx\n77\n1\n");
    runPasses(data, {{1, {{2, 3}, {3, 1}}}, {2, {{4, 1}}}, {5, {}}}, workers);
    EXPECT_THAT(run.out, HasSubstr("Log;|1;|Seeds: lines read: 5, taken: 4, different subscribers: 3, occurring in the "
                                   "data: 2, calling somebody: 1;|LogEnd\n"));
    EXPECT_THAT(run.out, ::testing::Not(HasSubstr("Warning;|")));
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENSNADataTest, WarnsWhenNoSeedIsInTheData) {
  const std::string warning = "Warning;|5009;|" + folder.path("seeds") +
                              ";|QUVENSNAData::endDataScan: no seed occurs in the data, so no energy spreads;|";
  Data data = open("", "77\n");
  runPasses(data, {{1, {{2, 1}}}}, 2);
  EXPECT_THAT(run.out, HasSubstr(warning));
  EXPECT_FALSE(run.threwLibraryException);
  QUVEN_DELETE(data);
  std::filesystem::remove(folder.path("out.csv"));
  environment.setStrict(true);
  data = open("", "77\n");
  runPasses(data, {{1, {{2, 1}}}}, 2);
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_FALSE(folder.has("out.csv"));
  QUVEN_DELETE(data);
  // A subscriber without calls is in the data.
  data = open("", "5\n");
  runPasses(data, {{5, {}}}, 1);
  EXPECT_THAT(run.out, HasSubstr("occurring in the data: 1, calling somebody: 0"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENSNADataTest, AGoldenStreamOfEachState) {
  Data data = open("", "");
  using namespace std::string_literals;
  const std::string type =
      "\xc1\x8c"
      "QUVENSNAData"s;
  const std::string half = "\0\0\0\0\0\0\xe0\x3f"s;
  const std::string hundredThousand = "\0\0\0\0\0\x6a\xf8\x40"s;
  const std::string one = "\0\0\0\0\0\0\xf0\x3f"s;
  // ivDummy, ivIsSparse, ivVerbosityLvl, ivState, the matrix state, row sums and their samples, coefficient, change.
  EXPECT_EQ(image(*data, QUVENObjWriter::SaveForWorker),
            type + "\xc6\x80\xc7\x81\xc8\x81\xc9\x80\xca\x80\xcb\xc4\x80\xc5\xcc\xc4\x80\xc5\xcd"s + half + "\xce"s +
                hundredThousand + "\xcf\xc4\x80\xc5\xd0\xc4\x80\xc5\xd1\xc4\x80\xc5\xd2\xc4\x80\xc5\xc2"s);
  run = capturedRun([&] {
    data->initIteration(QUVEN_ENV);
    row(*data, {5, {{9, 1}}});
    data->finishIteration(QUVEN_ENV);
  });
  const std::string head = type + "\xc6\x80\xc7\x81\xc8\x81\xc9"s;
  const std::string rowSums =
      "\xca\x80\xcb\xc4\x81"s + one + "\xc5\xcc\xc4\x81\x85\xc5\xcd"s + half + "\xce"s + hundredThousand;
  EXPECT_EQ(image(*data, QUVENObjWriter::ScanResults),
            head + "\x80"s + rowSums +
                "\xcf\xc4\x81\x81\xc5\xd0\xc4\x81\x89\xc5\xd1\xc4\x81\x81\xc5\xd2\xc4\x81\x85\xc5\xc2"s);
  run = capturedRun([&] {
    data->endDataScan(QUVEN_ENV);
    data->initIteration(QUVEN_ENV);
    row(*data, {5, {{9, 2.9}}});
    data->finishIteration(QUVEN_ENV);
  });
  EXPECT_EQ(image(*data, QUVENObjWriter::ScanResults),
            head + "\x81"s + rowSums +
                "\xd3\xc4\x81\x82\xc5\xd4\xc4\x81\x89\xc5\xd5\xc4\x81\x82\xc5\xd6\xc4\x81\x85\xc5\xc2"s);
  run = capturedRun([&] { data->endDataScan(QUVEN_ENV); });
  EXPECT_EQ(image(*data, QUVENObjWriter::SaveForWorker),
            head + "\x82"s + rowSums + "\xd7\xc4\x80\xc5\xd8\xc4\x80\xc5\xc2"s);
  run = capturedRun([&] { data->initIteration(QUVEN_ENV); });
  // From now on the workers have the row sums.
  EXPECT_EQ(image(*data, QUVENObjWriter::SaveForWorker), head + "\x82\xca\x80\xcb\xc4\x80\xc5\xcc\xc4\x80\xc5\xcd"s +
                                                             half + "\xce"s + hundredThousand +
                                                             "\xd7\xc4\x80\xc5\xd8\xc4\x80\xc5\xc2"s);
  QUVEN_DELETE(data);
}

TEST_F(QUVENSNADataTest, SeedsOfAllKindsKeepTheirEnergyRight) {
  // 5 calls nobody, 7 is named twice, 8 calls itself, 9 does not occur in the data, 6 has header and footer alone.
  const std::vector<LiteralRow> rows{{6, {}}, {7, {{5, 2}, {1, 2}}}, {8, {{8, 1}}}, {10, {{7, 0.5}, {0, 3}}}};
  const std::vector<std::uint64_t> seeds{5, 7, 7, 8, 9};
  for (const std::size_t workers : {1U, 2U, 3U, 4U, 5U}) {
    SCOPED_TRACE(workers);
    Data data = open("<EndConditionValue>0.001</EndConditionValue>\n", "5\n7\n7\n8\n9\n");
    runPasses(data, rows, workers);
    expectLiteral(literalDiffusion(rows, seeds, 0.5, 0.001, 100), *data);
    EXPECT_FALSE(results().contains(6));
    EXPECT_EQ(results().at(9).energy, 1);
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENSNADataTest, EqualsTheLiteralComputationOnRandomNetworks) {
  for (unsigned seed = 1; seed <= 25; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&](unsigned limit) { return random() % limit; };
    std::vector<LiteralRow> rows;
    const std::uint64_t callers = 1 + below(60);
    for (std::uint64_t caller = 1; caller <= callers; ++caller) {
      if (below(8) == 0) continue;
      LiteralRow literal{caller * (seed % 3 == 0 ? 1000000007U : 1), {}};
      for (unsigned i = below(12); i > 0; --i) {
        literal.callees.emplace_back(below(80), 0.1 * (1 + below(90)));  // 0 is no callee
      }
      // A caller whose weights are all dropped would divide by nothing.
      literal.callees.emplace_back(1 + below(80), 1);
      rows.push_back(literal);
    }
    std::vector<std::uint64_t> seeds;
    std::string seedText;
    for (unsigned i = 1 + below(6); i > 0; --i) {
      seeds.push_back(1 + below(100));
      seedText += std::to_string(seeds.back()) + "\n";
    }
    const double coefficient = 0.1 + 0.08 * below(10);
    const LiteralDiffusion expected = literalDiffusion(rows, seeds, coefficient, 0.0005, 30);
    std::ostringstream tags;
    tags << "<SpreadCoefficient>" << coefficient
         << "</SpreadCoefficient>\n<EndConditionValue>0.0005</EndConditionValue>\n"
         << "<MaxNumIterations>30</MaxNumIterations>\n";
    for (const std::size_t workers : {1U, 2U, 3U, 4U}) {
      SCOPED_TRACE(workers);
      Data data = open(tags.str(), seedText);
      runPasses(data, rows, workers);
      ASSERT_FALSE(run.threwLibraryException) << run.out;
      expectLiteral(expected, *data);
      QUVEN_DELETE(data);
    }
  }
}

/// Among nodes that all call somebody, nothing is lost: what leaves a total is fresh in the next pass.
TEST_F(QUVENSNADataTest, EnergyIsConservedAmongNodesThatCall) {
  std::vector<LiteralRow> rows;
  for (std::uint64_t caller = 1; caller <= 20; ++caller) {
    rows.push_back(
        {caller, {{static_cast<double>(caller % 20 + 1), 2}, {static_cast<double>(caller * 7 % 20 + 1), 3}}});
  }
  Data data = open("<EndConditionValue>0.000001</EndConditionValue>\n", "3\n11\n");
  runPasses(data, rows, 2);
  double sum = 0;
  for (const auto& [number, node] : results()) sum += node.energy;
  EXPECT_NEAR(sum, 2.0, 1e-6);
  QUVEN_DELETE(data);
}

/// Weights of up to twelve orders of magnitude, coefficients up to 0.99, seeds of all kinds: rounding stays far below
/// the tolerance, and an ordinary run has no warning.
TEST_F(QUVENSNADataTest, EveryOrdinaryRunConservesItsEnergy) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&](unsigned limit) { return random() % limit; };
    std::vector<LiteralRow> rows;
    for (std::uint64_t caller = 1; caller <= 500; ++caller) {
      LiteralRow literal{caller, {}};
      for (unsigned i = below(40); i > 0; --i) {
        const double weight = (1 + below(1000)) * std::pow(10.0, static_cast<double>(below(seed % 2 == 0 ? 13 : 1)));
        literal.callees.emplace_back(1 + below(i % 2 == 0 ? 5 : 900), weight);
      }
      rows.push_back(literal);
    }
    std::string seeds;
    for (int i = 0; i < 10; ++i) seeds += std::to_string(1 + below(1500)) + "\n";
    Data data = open(
        "<SpreadCoefficient>0.99</SpreadCoefficient>\n<EndConditionValue>1e-9</EndConditionValue>\n"
        "<MaxNumIterations>200</MaxNumIterations>\n",
        seeds);
    runPasses(data, rows, 1 + seed % 4);
    ASSERT_FALSE(run.threwLibraryException) << run.out;
    EXPECT_THAT(run.out, Not(HasSubstr("Warning;|5008")));
    QUVEN_DELETE(data);
  }
}

/// The second row of a caller begins the sum of its weights anew, and both rows are shared out by the sum of the
/// second. Seed 1 passes 1/2 of its energy on: row (2, weight 3) by the sum 1 makes it 3/2, row (3, weight 1) 1/2. 2
/// and 3 keep it.
TEST_F(QUVENSNADataTest, ACallerInTwoPlacesIsWarnedAbout) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 3}}}, {4, {{5, 1}}}, {1, {{3, 1}}}}, 1);
  EXPECT_EQ(results().at(2).energy, 1.5);
  EXPECT_THAT(run.out, HasSubstr("Warning;|5008;|" + folder.path("out.csv") +
                                 ";|QUVENSNAData::endDataScan: the energies of all subscribers sum to 2.5, those of "
                                 "the seeds to 1; the rows of a caller are in two places of the dataset, or its "
                                 "weights are too large;|WarningEnd\n"));
  QUVEN_DELETE(data);
  std::filesystem::remove(folder.path("out.csv"));
  environment.setStrict(true);
  data = open("", "1\n");
  runPasses(data, {{1, {{2, 3}}}, {4, {{5, 1}}}, {1, {{3, 1}}}}, 1);
  EXPECT_THAT(run.out, HasSubstr("Error;|4608;|5008;|--strict: "));
  EXPECT_FALSE(folder.has("out.csv"));
  QUVEN_DELETE(data);
}

/// Once the sum of two weights ran over, which is undefined.
TEST_F(QUVENSNADataTest, WeightedDegreesStopAtTheirLimit) {
  const std::vector<LiteralRow> rows{{1, {{9, 2e9}, {9, 2e9}}}, {2, {{9, 2e9}}}, {3, {{8, -2e9}, {8, -2e9}, {8, 9e9}}}};
  for (const std::size_t workers : {1U, 3U}) {
    Data data = open("", "1\n");
    runPasses(data, rows, workers);
    EXPECT_EQ(results().at(9).weightedInDegree, 2147483647);
    EXPECT_EQ(results().at(1).weightedOutDegree, 2147483647);
    EXPECT_EQ(results().at(3).weightedOutDegree, -1);  // from the lowest number up again
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENSNADataTest, OnePassOfDiffusionIsAtLeastAndAtMostWhatIsAsked) {
  const std::vector<LiteralRow> rows{{1, {{2, 1}}}, {2, {{1, 1}}}};
  Data data = open("<MaxNumIterations>1</MaxNumIterations>\n", "1\n");
  runPasses(data, rows, 1);
  EXPECT_EQ(data->getNumIterations(), 1);
  EXPECT_EQ(results().at(2).energy, 0.5);
  QUVEN_DELETE(data);
  data = open("<EndConditionValue>100000</EndConditionValue>\n", "1\n");
  runPasses(data, rows, 1);
  EXPECT_EQ(data->getNumIterations(), 0);  // ends with the first pass
  EXPECT_EQ(results().at(1).energy, 1);
  QUVEN_DELETE(data);
}

TEST_F(QUVENSNADataTest, AnswersTheScanProtocol) {
  Data data = open("", "");
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::Lines);
  EXPECT_EQ(data->getScanFraction(QUVEN_ENV), 1.0);
  EXPECT_EQ(data->needsMerge(), 1);
  EXPECT_FALSE(data->isFinished());
  run = capturedRun([&] { EXPECT_EQ(data->beginDataScan(2, QUVEN_ENV), 1); });
  EXPECT_EQ(run.out, "Log;|1;|Entering beginDataScan;|LogEnd\n");
  std::ostringstream printed;
  data->print(printed);
  EXPECT_EQ(printed.str(), "");
  run = capturedRun([&] { data->reservedOperation(QUVEN_ENV); });
  EXPECT_THAT(run.out, HasSubstr("Function/Feature not yet implemented"));
  run = capturedRun([&] { data->updateWithoutDataScan(QUVEN_ENV); });
  EXPECT_THAT(run.out, HasSubstr("Program control should never reach this point"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENSNADataTest, WritesItsParametersAndCountersToATag) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 1}}}}, 1);
  QUVENXMLTag tag;
  data->writeResultsToTag(tag, QUVEN_ENV);
  const auto value = [&](const char* path) { return tag.getTag(path, QUVEN_ENV).getValue(); };
  EXPECT_EQ(value("InputParameters/Spreading Coefficient"), "0.5");
  EXPECT_EQ(value("InputParameters/End Condition Value"), "0.01");
  EXPECT_EQ(value("InputParameters/Max Number of Iterations"), "100");
  EXPECT_EQ(value("InputParameters/IsSparse"), "1");
  EXPECT_EQ(value("InputParameters/OutputFormat"), "CSV");
  EXPECT_EQ(value("RunParameters/Model 1 iterations"), "2");
  EXPECT_EQ(value("RunParameters/Model 1 Diff Val at Convergence"), "0");
  tag.destroyPrimitive(QUVEN_ENV);
  QUVEN_DELETE(data);
}

TEST_F(QUVENSNADataTest, WeightedDegreesStayAtTheEndOfTheirRange) {
  const std::vector<LiteralRow> rows{{1, {{2, 3e9}, {3, 1.9}}}, {4, {{2, 2147483647.9}, {3, 1.9}}}, {5, {{2, 1e300}}}};
  for (const std::size_t workers : {1U, 2U, 3U}) {
    Data data = open("", "1\n");
    runPasses(data, rows, workers);
    EXPECT_EQ(results().at(1).weightedOutDegree, 2147483647);
    EXPECT_EQ(results().at(2).weightedInDegree, 2147483647);
    EXPECT_EQ(results().at(3).weightedInDegree, 2);
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENSNADataTest, TellsItsProgress) {
  Data data = open("", "1\n");
  runPasses(data, {{1, {{2, 1}}}}, 1);
  const auto log = [](int level, const std::string& text) {
    return "Log;|" + std::to_string(level) + ";|" + text + ";|LogEnd\n";
  };
  int reports = 0;
  const auto progress = [&](int iteration, const std::string& method, const std::string& text) {
    return log(1, "\n[Worker:0, Iteration: " + std::to_string(iteration) + ", ProgressReport:" +
                      std::to_string(reports++) + "]\nMethod name:QUVENSNAData::" + method + ": " + text + "\n\n");
  };
  std::string expected = log(1, "Entering beginDataScan");
  expected += progress(0, "finishIteration", "Finished an iteration of computing normalizer");
  expected +=
      log(1, "Seeds: lines read: 1, taken: 1, different subscribers: 1, occurring in the data: 1, calling somebody: 1");
  expected += progress(0, "endDataScan", "Finished computing normalizer");
  expected += progress(0, "finishIteration", "Finished an iteration of computing weighted in/out degree");
  expected += progress(0, "endDataScan", "Finished computing weighted in/out degree");
  expected += progress(1, "finishIteration", "Finished an iteration of diffusion model 1");
  expected += log(1, "Diffusion Model 1, Iteration 1 diffVal = 0.5");
  expected += progress(1, "endDataScan", "Finished an iteration of diffusion model 1");
  expected += progress(2, "finishIteration", "Finished an iteration of diffusion model 1");
  expected += log(1, "Diffusion Model 1, Iteration 2 diffVal = 0");
  expected += progress(2, "endDataScan", "Finished diffusion iteration model 1");
  expected += log(0, "SNA Terminated Successfully");
  EXPECT_EQ(run.out, expected);
  QUVEN_DELETE(data);
}

TEST_F(QUVENSNADataTest, TracesRecordsAboveItsLevel) {
  const auto traceOf = [&](const std::string& verbosity) {
    Data data = open("<VerbosityLevel>" + verbosity + "</VerbosityLevel>\n", "1\n");
    run = capturedRun([&] {
      data->initIteration(QUVEN_ENV);
      targetVec.setSize(1, QUVEN_ENV);
      targetVec[1] = 7.5;
      record(*data, 5, 0, 1);
    });
    QUVEN_DELETE(data);
    return run.out;
  };
  EXPECT_EQ(traceOf("30"), "");
  const std::string traced =
      ">>>>>> Worker 0[SampleTraceEventStarts]\n"
      " Entering QUVENSNAData::update, ivState = 0, sample num = 5\n"
      " -- dataVec size =  2\n  - Elm 1: 0\n  - Elm 2: 1\n-- targetVec size =  1\n  - Elm 1: 7.5\n";
  EXPECT_EQ(traceOf("31"), traced);
  EXPECT_EQ(traceOf("100"), traced);
}

TEST_F(QUVENSNADataTest, AStateThatIsNoneEndsTheRun) {
  Data data = open("", "1\n");
  std::string bytes = image(*data, QUVENObjWriter::SaveForWorker);
  const std::size_t place = bytes.find("\xc9\x80");  // ivState
  ASSERT_NE(place, std::string::npos);
  bytes[place + 1] = '\x83';
  run = capturedRun([&] { readInto(data, bytes); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr("Function/Feature not yet implemented"));
  run = capturedRun([&] { data->initIteration(QUVEN_ENV); });
  EXPECT_THAT(run.out, HasSubstr("Function/Feature not yet implemented"));
  QUVEN_DELETE(data);
}

}  // namespace
