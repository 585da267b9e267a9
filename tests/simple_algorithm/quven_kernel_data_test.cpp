// The kernel analysis on worked examples and beside the literal kernel.

#include "simple_algorithm/quven_kernel_data.h"

#include <cmath>
#include <numeric>

#include "control/quven_XML_tag.h"
#include "groups/networks.h"
#include "kernel_data_fixture.h"
#include "simple_algorithm/quven_kernel_function_friends.h"

namespace {

using literal::appendBlock;
using literal::mutualInformation;
using ::testing::HasSubstr;
using ::testing::Not;
using Status = QUVENKernelData::Status;

class QUVENKernelDataTest : public KernelDataTest {
 protected:
  /// 1: 2 3, 2: 1 3, 3: 1 2.
  static Lines triangle() {
    Lines lines;
    appendBlock(lines, 1, {2, 3});
    appendBlock(lines, 2, {1, 3});
    appendBlock(lines, 3, {1, 2});
    return lines;
  }
  static Keys keysOf(const literal::KernelParameters& parameters) {
    const auto text = [](double number) {
      std::ostringstream stream;
      stream.precision(17);
      stream << number;
      return stream.str();
    };
    return {{"SparsityLevel", text(parameters.sparsityLevel)},
            {"EmptyMarker", text(parameters.emptyMarker)},
            {"NormalizingFactor", text(parameters.normalizingFactor)},
            {"FilterSimilarities", parameters.filterSimilarities ? "1" : "0"}};
  }
  static Keys ofHundred() { return {{"NormalizingFactor", "100"}}; }

  std::vector<double> sparseRow(const QUVENKernelData& data, std::uint64_t sample) {
    data.getSparseRow(sample, x, QUVEN_ENV);
    return listOf(x);
  }
  literal::Bins binsOf(const QUVENKernelData& data) {
    const std::vector<double> locations = numbersOf(data, "ivKernelHistogramLocations");
    const std::vector<double> counts = numbersOf(data, "ivKernelHistogramCounts");
    literal::Bins bins;
    EXPECT_EQ(locations.size(), counts.size());
    for (std::size_t i = 0; i < locations.size(); ++i) {
      bins.emplace_back(locations[i], static_cast<std::int32_t>(counts[i]));
    }
    return bins;
  }
  static std::string cutoffLine(double cutoff) {
    std::ostringstream line;
    line << "cutoff threshold=" << cutoff << '\n';
    return line.str();
  }
};

/// The pairs 1-2 and 2-1 meet a contact of their own on both sides; of the others one list runs out first.
TEST_F(QUVENKernelDataTest, KeepsWhatIsNotBelowTheCutoff) {
  const double apart = mutualInformation(100, 1, 1, 1);
  const double close = mutualInformation(100, 1, 1, 0);
  ASSERT_EQ(close, mutualInformation(100, 1, 0, 1));
  ASSERT_LT(apart, close);
  Data data = open(ofHundred());
  EXPECT_EQ(data->getStatus(), Status::InitKernelObject);
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::Lines);
  EXPECT_EQ(data->beginDataScan(2, QUVEN_ENV), 1);
  run = capturedRun([&] { pass(*data, triangle()); });
  EXPECT_EQ(run.out, log(1, "Added 6 samples to the histogram"));
  EXPECT_EQ(data->getStatus(), Status::InputMySamples);
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::Lines);
  EXPECT_THAT(memberOf(*data, "ivKernelHistogramCounts"), HasSubstr(" 2 4\n"));
  run = capturedRun([&] { EXPECT_EQ(data->endDataScan(QUVEN_ENV), 0); });
  // Of 6 values 3 are to fall below: the first bin has 2.
  const double cutoff = (2 * apart + 4 * close) / 6;
  EXPECT_EQ(run.out, cutoffLine(cutoff));
  EXPECT_EQ(data->getSparsityThreshold(), cutoff);
  EXPECT_EQ(data->getStatus(), Status::InputOtherSamples);
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::EverythingSparse);
  EXPECT_EQ(data->beginDataScan(2, QUVEN_ENV), 1);
  EXPECT_FALSE(data->isFinished());
  run = capturedRun([&] {
    pass(*data, triangle());
    EXPECT_EQ(data->endDataScan(QUVEN_ENV), 1);
  });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(keptBy(*data), (Kept{{1, 3, close}, {2, 3, close}, {3, 1, close}, {3, 2, close}}));
  EXPECT_EQ(listOf(data->getKernelColSampleNumbers()), (std::vector<std::uint64_t>{1, 2, 3}));
  EXPECT_EQ(listOf(data->getOtherSamplesOrder()), (std::vector<std::uint64_t>{1, 2, 3}));
  EXPECT_EQ(data->getKernelValue(1, 3, QUVEN_ENV), close);
  EXPECT_EQ(data->getKernelValue(1, 2, QUVEN_ENV), 0);
  EXPECT_TRUE(data->isFinished());
  EXPECT_EQ(data->getScanKind(QUVEN_ENV), QUVENScanType::NoPass);
  EXPECT_EQ(data->beginDataScan(2, QUVEN_ENV), 0);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, AValueAtTheCutoffIsKept) {
  // One bin only, so the cutoff lies 1e-5 below it; then exactly on it.
  Lines lines;
  appendBlock(lines, 1, {2});
  appendBlock(lines, 2, {1, 2});
  Data data = open(ofHundred());
  run = capturedRun([&] {
    pass(*data, lines);
    data->endDataScan(QUVEN_ENV);
  });
  const double value = mutualInformation(100, 1, 0, 1);  // of 1 and 2; of 2 and 2 there is more
  const double more = mutualInformation(100, 2, 0, 0);
  setMembers(data, {{"ivSparsityThreshold", more}});
  run = capturedRun([&] { pass(*data, lines); });
  EXPECT_EQ(keptBy(*data), (Kept{{2, 2, more}}));
  QUVEN_DELETE(data);
  EXPECT_LT(value, more);
}

TEST_F(QUVENKernelDataTest, EqualsTheLiteralKernelOnRandomNetworks) {
  int ran = 0;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    literal::Choices choices(seed);
    const Lines lines = literal::randomNetwork(choices);
    const literal::KernelParameters parameters = literal::randomParameters(choices);
    for (int numWorkers = 1; numWorkers <= 4; ++numWorkers) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", workers " + std::to_string(numWorkers));
      // In one process each worker takes itself for the only one, and reports when it has no pair.
      bool hasPairs = true;
      for (int rank = 0; rank < numWorkers; ++rank) {
        hasPairs = hasPairs && !literal::runKernel(literal::shareOf(lines, rank, numWorkers), parameters, 1).failed;
      }
      const literal::KernelResult expected = literal::runKernel(lines, parameters, numWorkers);
      std::vector<Data> workers;
      const std::vector<Kept> kept = runWorkers(lines, numWorkers, keysOf(parameters), workers);
      EXPECT_EQ(run.threwLibraryException, !hasPairs) << run.out;
      if (hasPairs) {
        ++ran;
        EXPECT_EQ(binsOf(*workers[0]), expected.bins);
        EXPECT_EQ(workers[0]->getSparsityThreshold(), expected.cutoff);
        EXPECT_EQ(kept, expected.keptByWorker);
      } else {
        EXPECT_THAT(run.out, HasSubstr("Error;|3503;|"));
      }
      for (Data& worker : workers) QUVEN_DELETE(worker);
    }
  }
  EXPECT_GT(ran, 150);
}

TEST_F(QUVENKernelDataTest, WithoutTheFilterAllPairsAreCompared) {
  // The walk over the pairs takes the documented random numbers of C's example.
  literal::KernelParameters parameters;
  parameters.filterSimilarities = false;
  for (std::uint64_t seed = 1; seed <= 25; ++seed) {
    literal::Choices choices(seed);
    const Lines lines = literal::randomNetwork(choices);
    parameters.sparsityLevel = choices.between(1, 19) / 20.0;
    parameters.normalizingFactor = choices.oneIn(2) ? 150 : 5e7;
    parameters.emptyMarker = choices.oneIn(3) ? 7 : 0;
    parameters.random = [state = 1U]() mutable {
      state = state * 1103515245U + 12345U;
      return static_cast<int>((state >> 16U) & 0x7fffU);
    };
    for (int numWorkers = 1; numWorkers <= 3; ++numWorkers) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", workers " + std::to_string(numWorkers));
      const literal::KernelResult expected = literal::runKernel(lines, parameters, numWorkers);
      std::vector<Data> workers;
      const std::vector<Kept> kept = runWorkers(lines, numWorkers, keysOf(parameters), workers);
      ASSERT_EQ(run.threwLibraryException, expected.failed) << run.out;
      EXPECT_THAT(run.out, Not(HasSubstr("samples to the histogram")));
      if (!expected.failed) {
        EXPECT_EQ(binsOf(*workers[0]), expected.bins);
        EXPECT_EQ(workers[0]->getSparsityThreshold(), expected.cutoff);
        EXPECT_EQ(kept, expected.keptByWorker);
      }
      for (Data& worker : workers) QUVEN_DELETE(worker);
    }
  }
}

TEST_F(QUVENKernelDataTest, AboutAsManyRandomPairsAreTakenHoweverManySamples) {
  for (const int n : {400, 1000, 2500}) {
    SCOPED_TRACE(n);
    Lines lines;
    for (int i = 1; i <= n; ++i) appendBlock(lines, i, {static_cast<double>(i % 7 + 1)});
    Data data = open({{"FilterSimilarities", "0"}});
    run = capturedRun([&] { pass(*data, lines); });
    const std::vector<double> counts = numbersOf(*data, "ivKernelHistogramCounts");
    const double sum = std::accumulate(counts.begin(), counts.end(), 0.0);
    // 4900 steps of one length on average, with a deviation of 0.6 of it each: 40 in all. Cutting adds up to 3 percent.
    EXPECT_NEAR(sum, 4950, 250);
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENKernelDataTest, FewSamplesArePairedWithAll) {
  // With one sample there is one pair; up to 70 the walk leaves no pair out.
  Lines lines;
  appendBlock(lines, 5, {6, 7});
  Data data = open({{"FilterSimilarities", "0"}, {"NormalizingFactor", "100"}});
  runAlone(*data, lines);
  EXPECT_FALSE(run.threwLibraryException);
  const double value = mutualInformation(100, 2, 0, 0);
  EXPECT_EQ(data->getSparsityThreshold(), value - 1e-5);
  EXPECT_EQ(keptBy(*data), (Kept{{5, 5, value}}));
  QUVEN_DELETE(data);
  lines.clear();
  for (int i = 1; i <= 70; ++i) {
    // Sample i has i contacts, from number 1 on: pairs (i, j) meet min(i, j) of them.
    std::vector<double> contacts(static_cast<std::size_t>(i));
    std::iota(contacts.begin(), contacts.end(), 1.0);
    appendBlock(lines, 1000 + i, contacts);
  }
  data = open({{"FilterSimilarities", "0"}});
  run = capturedRun([&] { pass(*data, lines); });
  EXPECT_EQ(numbersOf(*data, "ivKernelHistogramLocations").size(), 70U);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, NoSampleAtAllIsReported) {
  for (const char* filter : {"0", "1"}) {
    Data data = open({{"FilterSimilarities", filter}});
    runAlone(*data, {});
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_THAT(run.out, HasSubstr("Error;|3503;|"));
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENKernelDataTest, NoValueForTheHistogramIsReported) {
  const std::string text =
      "Error;|3503;|buildSelfKernelValuesHistogram:Could not find any samples for the histogram. It is likely that the "
      "data is corrupt or parameters are set too restrictively.;|ErrorEnd";
  Lines strangers;
  appendBlock(strangers, 1, {8});
  appendBlock(strangers, 2, {9});
  Data data = open();
  run = capturedRun([&] { pass(*data, strangers); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportIn(run.out), text);
  EXPECT_THAT(run.out, HasSubstr("Warning;|5007;|FilterSimilarities;|"));
  QUVEN_DELETE(data);
  // The same of what all workers together have.
  data = open();
  setMembers(data, {{"ivDataStatus", std::int64_t{1}}});
  run = capturedRun([&] { data->endDataScan(QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportIn(run.out), text);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, ASampleWithoutContactsAmongTheSamplesAddsNothing) {
  Lines lines;
  appendBlock(lines, 1, {2, 9});
  appendBlock(lines, 2, {9});
  appendBlock(lines, 3, {});
  Data data = open();
  run = capturedRun([&] { pass(*data, lines); });
  EXPECT_EQ(run.out, log(1, "Added 1 samples to the histogram"));
  QUVEN_DELETE(data);
}

// The cutoff

class QUVENKernelCutoffTest : public QUVENKernelDataTest {
 protected:
  /// The cutoff of a histogram; what was written is in run.
  double cutoffOf(const literal::Bins& bins, double sparsityLevel) {
    Data data = open();
    MemberReader::Doubles locations;
    MemberReader::Integers counts;
    for (const auto& [location, count] : bins) {
      locations.push_back(location);
      counts.push_back(count);
    }
    setMembers(data, {{"ivDataStatus", std::int64_t{1}},
                      {"ivSparsityLevel", sparsityLevel},
                      {"ivKernelHistogramLocations", locations},
                      {"ivKernelHistogramCounts", counts}});
    run = capturedRun([&] { EXPECT_EQ(data->endDataScan(QUVEN_ENV), 0); });
    const double cutoff = data->getSparsityThreshold();
    QUVEN_DELETE(data);
    return cutoff;
  }
};

TEST_F(QUVENKernelCutoffTest, OfASingleValueLiesJustBelowIt) {
  EXPECT_EQ(cutoffOf({{0.25, 7}}, 0.5), 0.25 - 1e-5);
  EXPECT_EQ(run.out, log(1, "A single kernel value was found") + "cutoff threshold=0.24999\n");
}

TEST_F(QUVENKernelCutoffTest, InAFullFirstBinIsInterpolated) {
  const literal::Bins bins{{0.1, 6}, {0.3, 2}};
  EXPECT_NEAR(cutoffOf(bins, 0.5), 2.0 / 15, 1e-15);  // k = 4: (4/6 - 1/2) * 0.2 + 0.1
  EXPECT_EQ(run.out, "First bin is full enough for threshold\ncutoff threshold=0.133333\n");
  EXPECT_NEAR(cutoffOf(bins, 0.25), 1.0 / 15, 1e-15);  // k = 2: (2/6 - 1/2) * 0.2 + 0.1, below the bin
  EXPECT_NEAR(cutoffOf(bins, 0.1), 0, 1e-15);          // k = 0: -1/2 * 0.2 + 0.1
}

TEST_F(QUVENKernelCutoffTest, IsTheMeanOfTheTwoBinsWhereTheShareIsReached) {
  // k = 4: 1 + 2 is not enough, 1 + 2 + 1 is: (2 * 2 + 1 * 4) / 3
  EXPECT_DOUBLE_EQ(cutoffOf({{1, 1}, {2, 2}, {4, 1}, {8, 4}}, 0.5), 8.0 / 3);
  EXPECT_EQ(run.out, "cutoff threshold=2.66667\n");
  // A first bin of just k is not full enough, and the second reaches it at once: (4 * 1 + 4 * 2) / 8
  EXPECT_DOUBLE_EQ(cutoffOf({{1, 4}, {2, 4}}, 0.5), 1.5);
}

TEST_F(QUVENKernelCutoffTest, StaysAtTheFirstBinWhereTheSumNeverReaches) {
  // Levels of 1 and above do not come from parameters. 6 is not reached by 5.
  EXPECT_EQ(cutoffOf({{1, 2}, {2, 3}}, 1.2), 1);
  // A k of 0 with a first bin without a count: the walk stops at once.
  EXPECT_EQ(cutoffOf({{1, 0}, {2, 3}, {3, 3}}, 0.1), 2);
}

TEST_F(QUVENKernelCutoffTest, SumsBeyondTheIntegersAreRight) {
  constexpr std::int32_t most = 2147483647;
  EXPECT_DOUBLE_EQ(cutoffOf({{1, most}, {2, most}, {4, most}}, 0.9), 3);  // once the sum of the counts ran over
}

TEST_F(QUVENKernelCutoffTest, EqualsTheLiteralOneOfAnyHistogram) {
  for (std::uint64_t seed = 1; seed <= 500; ++seed) {
    SCOPED_TRACE(seed);
    literal::Choices choices(seed);
    literal::Bins bins;
    double location = choices.between(-20, 20) / 16.0;
    for (int i = choices.between(1, 12); i > 0; --i) {
      bins.emplace_back(location, choices.between(1, choices.oneIn(3) ? 1000 : 4));
      location += choices.between(1, 50) / 7.0;
    }
    const double level = choices.between(1, 99) / 100.0;
    EXPECT_EQ(cutoffOf(bins, level), literal::cutoffOf(bins, level));
  }
}

// Protocol

TEST_F(QUVENKernelDataTest, AStateThatHasNoPassToEndIsReported) {
  for (const std::int64_t status : {0, 3, 7}) {
    Data data = open();
    setMembers(data, {{"ivDataStatus", status}});
    run = capturedRun([&] { data->endDataScan(QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
    const std::string number = std::to_string(status);
    EXPECT_THAT(run.out, ::testing::StartsWith("Current status is " + number + "\nError;|3502;|" + number +
                                               ";|Invalid state for QUVENKernelData::ivDataStatus;|ErrorEnd\n"));
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENKernelDataTest, AnswersTheScanProtocol) {
  Data data = open();
  const auto kindIn = [&](std::int64_t status) {
    setMembers(data, {{"ivDataStatus", status}});
    return data->getScanKind(QUVEN_ENV);
  };
  EXPECT_EQ(kindIn(0), QUVENScanType::Lines);
  EXPECT_EQ(kindIn(1), QUVENScanType::Lines);
  EXPECT_EQ(kindIn(2), QUVENScanType::EverythingSparse);
  EXPECT_EQ(kindIn(3), QUVENScanType::NoPass);
  EXPECT_EQ(kindIn(4), QUVENScanType::Lines);
  setMembers(data, {{"ivIsSparseData", std::int64_t{0}}});
  EXPECT_EQ(kindIn(0), QUVENScanType::Slice);
  EXPECT_EQ(kindIn(1), QUVENScanType::Slice);
  EXPECT_EQ(kindIn(2), QUVENScanType::Everything);
  EXPECT_EQ(kindIn(3), QUVENScanType::NoPass);
  EXPECT_EQ(kindIn(4), QUVENScanType::Slice);
  EXPECT_EQ(kindIn(5), QUVENScanType::NoPass);
  EXPECT_EQ(kindIn(6), QUVENScanType::NoPass);
  run = capturedRun([&] { kindIn(7); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr("Function/Feature not yet implemented"));
  EXPECT_EQ(data->needsMerge(), 1);
  EXPECT_EQ(data->initIteration(QUVEN_ENV), 1);
  for (const auto& operation : std::vector<std::function<void()>>{
           [&] { data->reservedOperation(QUVEN_ENV); }, [&] { data->updateWithoutDataScan(QUVEN_ENV); },
           [&] { data->resultsAvailable(); }, [&] { data->getScanFraction(QUVEN_ENV); }}) {
    run = capturedRun(operation);
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_THAT(run.out, HasSubstr("Program control should never reach this point"));
  }
  std::ostringstream printed;
  data->print(printed);
  EXPECT_EQ(printed.str(), "");
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, AWorkerWithoutARecordHasBeenInThePassToo) {
  Data data = open({{"FilterSimilarities", "0"}});
  run = capturedRun([&] { pass(*data, {}); });
  EXPECT_FALSE(run.threwLibraryException);
  EXPECT_EQ(data->getStatus(), Status::InputMySamples);
  EXPECT_EQ(memberOf(*data, "ivKernelHistogramCounts"), "[0]");
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, WritesTheKeysOfItsFunctionToATag) {
  Data data = open({{"EmptyMarker", "-1"}});
  QUVENXMLTag tag;
  data->writeResultsToTag(tag, QUVEN_ENV);
  std::string text;
  for (const QUVENXMLTag& leaf : tag.getChildren()) text += leaf.getName() + "=" + leaf.getValue() + " ";
  EXPECT_EQ(text, "KernelType=Friends IsIndicesData=1 EmptyMarker=-1 NormalizingFactor=1000 ");
  tag.destroyPrimitive(QUVEN_ENV);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, TracesRecordsAboveItsLevel) {
  const auto traceOf = [&](const char* verbosity) {
    Data data = open({{"KernelVerbosity", verbosity}});
    run = capturedRun([&] {
      data->initIteration(QUVEN_ENV);
      record(*data, {5, 0, 1});
    });
    QUVEN_DELETE(data);
    return run.out;
  };
  EXPECT_EQ(traceOf("5"), "");
  const std::string traced =
      ">>>>>> Worker 0[SampleTraceKernelEventStarts]\n"
      " Entering QUVENKernelData::update, ivDataStatus = 1, sample num = 5\n"
      " -- dataVec size =  2\n  - Elm 1: 0\n  - Elm 2: 1\n-- targetVec size =  0\n";
  EXPECT_EQ(traceOf("6"), traced);
  EXPECT_EQ(traceOf("100"), traced);
}

// Rows

TEST_F(QUVENKernelDataTest, ARowHasAPlaceForEachPositionSeen) {
  Lines lines;
  appendBlock(lines, 1, {5, 6, 7});
  appendBlock(lines, 2, {9});
  Data data = open();
  data->initIteration(QUVEN_ENV);
  records(*data, lines);
  // The closing row of the longest record stands at 4.
  EXPECT_EQ(sparseRow(*data, 1), (std::vector<double>{5, 6, 7, 0}));
  EXPECT_EQ(sparseRow(*data, 2), (std::vector<double>{9, 0, 0, 0}));
  EXPECT_EQ(sparseRow(*data, 3), (std::vector<double>{0, 0, 0, 0}));
  record(*data, {2, 5, 0});
  EXPECT_EQ(sparseRow(*data, 2).size(), 5U);
  record(*data, {2, 3, 8});
  record(*data, {2, 1, 4});
  EXPECT_EQ(sparseRow(*data, 2), (std::vector<double>{4, 0, 8, 0, 0}));
  record(*data, {2, -3, 8});  // headers and what is below them stand in no place
  record(*data, {2, 0.5, 8});
  EXPECT_EQ(sparseRow(*data, 2), (std::vector<double>{4, 0, 8, 0, 0}));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, ALongerRowOfAnotherSampleLengthensTheRows) {
  Lines lines;
  appendBlock(lines, 1, {2});
  appendBlock(lines, 2, {1});
  Data data = open();
  run = capturedRun([&] {
    pass(*data, lines);
    data->endDataScan(QUVEN_ENV);
    data->initIteration(QUVEN_ENV);
  });
  EXPECT_EQ(sparseRow(*data, 1).size(), 2U);
  appendBlock(lines, 3, {1}, 6);
  records(*data, lines);
  EXPECT_EQ(sparseRow(*data, 1).size(), 6U);  // a record has no place for its closing row
  QUVEN_DELETE(data);
}

/// The second block adds to the row, and the sample stands twice in the order; candidates name its first position.
TEST_F(QUVENKernelDataTest, ASampleWithTwoBlocksIsTwoSamplesOfOneRow) {
  Lines lines;
  appendBlock(lines, 1, {2, 3});
  appendBlock(lines, 2, {1});
  appendBlock(lines, 1, {4});
  Data data = open(ofHundred());
  data->initIteration(QUVEN_ENV);
  records(*data, lines);
  EXPECT_EQ(sparseRow(*data, 1), (std::vector<double>{4, 0, 0}));  // the closing row of the second block at 2
  run = capturedRun([&] {
    data->finishIteration(QUVEN_ENV);
    data->endDataScan(QUVEN_ENV);
    pass(*data, lines);
  });
  EXPECT_EQ(listOf(data->getKernelColSampleNumbers()), (std::vector<std::uint64_t>{1, 2, 1}));
  EXPECT_EQ(listOf(data->getOtherSamplesOrder()), (std::vector<std::uint64_t>{1, 2, 1}));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, ARowOfTooManyPlacesIsReported) {
  constexpr double most = QUVENSparseRows::MaxPosition;
  for (const double position : {most + 1, 1e300, HUGE_VAL}) {
    Data data = open();
    run = capturedRun([&] {
      data->initIteration(QUVEN_ENV);
      record(*data, {77, position, 0});
    });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_EQ(reportIn(run.out),
              "Error;|4607;|77;|QUVENKernelData::update: a row of too many places; is it a table dataset?;|ErrorEnd");
    QUVEN_DELETE(data);
  }
}

TEST_F(QUVENKernelDataTest, RecordsThatAreNotCompleteAreNoSamplesOfTheSecondPass) {
  Data data = open();
  Lines lines = triangle();
  run = capturedRun([&] {
    pass(*data, lines);
    data->endDataScan(QUVEN_ENV);
    lines.pop_back();  // the closing row of 3
    pass(*data, lines);
  });
  EXPECT_EQ(listOf(data->getOtherSamplesOrder()), (std::vector<std::uint64_t>{1, 2}));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, ReadyItTakesNoMoreSparseRows) {
  Data data = open(ofHundred());
  runAlone(*data, triangle());
  const Kept kept = keptBy(*data);
  data->initIteration(QUVEN_ENV);
  const std::string before = imageOf(*data);
  const std::vector<double> row1 = sparseRow(*data, 1);
  Lines more;
  appendBlock(more, 1, {2, 3, 7});
  appendBlock(more, 9, {2, 3});
  records(*data, more);
  EXPECT_EQ(sparseRow(*data, 1), row1);
  EXPECT_EQ(keptBy(*data), kept);
  EXPECT_EQ(data->getOtherSamplesOrder().getSize(), 3);
  data->initIteration(QUVEN_ENV);  // a new assembler of rows
  EXPECT_EQ(imageOf(*data), before);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, ValuesAreSetAndOverwritten) {
  Data data = open();
  EXPECT_EQ(data->getKernelValue(4, 9, QUVEN_ENV), 0);
  data->setKernelValue(4, 9, 0.5, QUVEN_ENV);
  EXPECT_EQ(data->getKernelValue(4, 9, QUVEN_ENV), 0.5);
  data->setKernelValue(4, 9, -2, QUVEN_ENV);
  data->setKernelValue(1, 2, 3, QUVEN_ENV);
  EXPECT_EQ(data->getKernelValue(4, 9, QUVEN_ENV), -2);
  EXPECT_EQ(data->getKernelValues(QUVEN_ENV).size(), 2U);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataTest, AResetForgetsSamplesAndValues) {
  Data data = open({{"OutputFileName", "/nowhere/values.csv"}, {"NormalizingFactor", "100"}});
  run = capturedRun([&] {
    pass(*data, triangle());
    data->endDataScan(QUVEN_ENV);
  });
  const double cutoff = data->getSparsityThreshold();
  data->setKernelValue(1, 1, 1, QUVEN_ENV);
  data->reset(QUVEN_ENV);
  EXPECT_EQ(data->getOutputFileName(), "");
  EXPECT_TRUE(data->getKernelValues(QUVEN_ENV).empty());
  EXPECT_TRUE(data->getOtherSamplesOrder().isEmpty());
  EXPECT_TRUE(data->getKernelColSampleNumbers().isEmpty());
  EXPECT_EQ(sparseRow(*data, 1), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(data->getSparsityThreshold(), cutoff);
  EXPECT_EQ(memberOf(*data, "ivKernelHistogramCounts"), "[0]");
  setMembers(data, {{"ivDataStatus", std::int64_t{0}}});
  EXPECT_EQ(memberOf(*data, "ivSamplesOrder"), "[0]");
  EXPECT_THAT(memberOf(*data, "ivMyInputMatrixPtr"), HasSubstr("ivRowNum = 0"));
  // It can begin anew.
  runAlone(*data, triangle());
  EXPECT_FALSE(run.threwLibraryException);
  EXPECT_EQ(keptBy(*data).size(), 4U);
  QUVEN_DELETE(data);
}

}  // namespace
