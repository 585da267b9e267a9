// How a kernel analysis travels, is copied, merges, and runs out of memory.

#include "kernel_data_fixture.h"
#include "support/failing_allocation.h"
#include "support/stream_text.h"

namespace {

using ::testing::HasSubstr;
using Status = QUVENKernelData::Status;

class QUVENKernelDataStreamTest : public KernelDataTest {
 protected:
  static Lines triangle() {
    Lines lines;
    for (const auto& [caller, contacts] :
         std::vector<std::pair<double, std::vector<double>>>{{1, {2, 3}}, {2, {1, 3}}, {3, {1, 2}}}) {
      lines.push_back({caller, 0, 2});
      lines.push_back({caller, 1, contacts[0]});
      lines.push_back({caller, 2, contacts[1]});
      lines.push_back({caller, 3, 0});
    }
    return lines;
  }
  std::vector<double> sparseRow(const QUVENKernelData& data, std::uint64_t sample) {
    data.getSparseRow(sample, x, QUVEN_ENV);
    return listOf(x);
  }
};

const std::vector<std::string> always{"ivDummy",
                                      "ivDataStatus",
                                      "ivKernelVerbosityLvl",
                                      "ivKernelMode",
                                      "ivIsSparseKernel",
                                      "ivSparsityLevel",
                                      "ivKernelHistogramLocations",
                                      "ivKernelHistogramCounts",
                                      "ivSparsityThreshold",
                                      "ivIsSparseData",
                                      "ivSparseDataPtr",
                                      "ivOutputFileName",
                                      "ivFilterSimilarities",
                                      "ivNumberOfComputeIterations",
                                      "ivCurComputeIteration"};

TEST_F(QUVENKernelDataStreamTest, OnlyTheFirstStateHasTheFunctionAndTheSamples) {
  std::vector<std::string> first = always;
  for (const char* name : {"ivSamplesNum", "ivAllSamplesNum", "ivFirstKernelCol", "ivKernelFunctionPtr",
                           "ivSamplesOrder", "ivOtherSamplesOrder", "ivMyInputMatrixPtr", "ivMyTargetMatrixPtr",
                           "ivOtherTargetMatrixPtr", "ivKernelMatrixPtr", "ivSamplesCounter"}) {
    first.emplace_back(name);
  }
  Data data = open();
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    setMembers(data, {{"ivDataStatus", std::int64_t{0}}});
    EXPECT_EQ(keywordsOf(*data, mode), first);
    for (const std::int64_t status : {1, 2, 3}) {
      setMembers(data, {{"ivDataStatus", status}});
      EXPECT_EQ(keywordsOf(*data, mode), always) << status;
    }
  }
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataStreamTest, AGoldenStreamOfALaterState) {
  Data data = open({{"OutputFileName", "out"}, {"KernelVerbosity", "5"}, {"SparsityLevel", "0.5"}});
  setMembers(data, {{"ivDataStatus", std::int64_t{2}},
                    {"ivSparsityThreshold", 1.0},
                    {"ivKernelHistogramLocations", MemberReader::Doubles{1, 0.5}},
                    {"ivKernelHistogramCounts", MemberReader::Integers{3, 4}}});
  const std::string one = " 00 00 00 00 00 00 f0 3f";
  const std::string half = " 00 00 00 00 00 00 e0 3f";
  EXPECT_EQ(hexOf(imageOf(*data)),
            hexOfText("c1 8f 'QUVENKernelData' c6 80 c7 82 c8 85 c9 80 ca 81 cb" + half + " cc c4 82" + one + half +
                      " c5 cd c4 82 83 84 c5 ce" + one + " cf 81 d0 c1 80 d1 83 'out' d2 81 d3 81 d4 81 c2"));
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataStreamTest, EachStateIsReadBack) {
  Data data = open({{"NormalizingFactor", "100"}});
  const Lines lines = triangle();
  const auto check = [&](Status status) {
    EXPECT_EQ(data->getStatus(), status);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
      const std::string image = imageOf(*data, mode);
      Data copy(QUVEN_ENV);
      readInto(copy, image);
      EXPECT_EQ(imageOf(*copy, mode), image);
      EXPECT_EQ(copy->getStatus(), status);
      EXPECT_EQ(copy->getSparsityThreshold(), data->getSparsityThreshold());
      QUVEN_DELETE(copy);
    }
  };
  check(Status::InitKernelObject);
  run = capturedRun([&] {
    data->initIteration(QUVEN_ENV);
    record(*data, lines[0]);
    check(Status::InputMySamples);
    for (std::size_t i = 1; i < lines.size(); ++i) record(*data, lines[i]);
    data->finishIteration(QUVEN_ENV);
    check(Status::InputMySamples);
    data->endDataScan(QUVEN_ENV);
    check(Status::InputOtherSamples);
    pass(*data, lines);
    check(Status::InputOtherSamples);
    data->endDataScan(QUVEN_ENV);
    check(Status::ReadyForQuery);
  });
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataStreamTest, AWorkerKeepsItsSamplesWhenItReadsTheMastersState) {
  Data master = open({{"NormalizingFactor", "100"}});
  Data worker(QUVEN_ENV);
  readInto(worker, imageOf(*master, QUVENObjWriter::SaveForWorker));
  run = capturedRun([&] {
    pass(*worker, triangle());
    pass(*master, triangle());
    master->endDataScan(QUVEN_ENV);
  });
  readInto(worker, imageOf(*master, QUVENObjWriter::SaveForWorker));
  EXPECT_EQ(worker->getStatus(), Status::InputOtherSamples);
  EXPECT_EQ(worker->getSparsityThreshold(), master->getSparsityThreshold());
  EXPECT_EQ(sparseRow(*worker, 2), (std::vector<double>{1, 3, 0}));
  run = capturedRun([&] { pass(*worker, triangle()); });
  EXPECT_EQ(keptBy(*worker).size(), 4U);  // its function and its index are there as well
  QUVEN_DELETE(worker);
  QUVEN_DELETE(master);
}

TEST_F(QUVENKernelDataStreamTest, ACopyGoesOnByItself) {
  Data data = open({{"NormalizingFactor", "100"}});
  Data copy(QUVEN_ENV);
  run = capturedRun([&] {
    pass(*data, triangle());
    data->endDataScan(QUVEN_ENV);
    copy = quvenMake<QUVENKernelData>(QUVEN_ENV);
    copy->copyFromPrimitive(data.get(), QUVEN_ENV);
    pass(*copy, triangle());
    EXPECT_TRUE(data->getKernelValues(QUVEN_ENV).empty());
    EXPECT_EQ(sparseRow(*data, 1), (std::vector<double>{2, 3, 0}));
    pass(*data, triangle());
  });
  EXPECT_EQ(keptBy(*copy), keptBy(*data));
  EXPECT_EQ(keptBy(*copy).size(), 4U);
  Data other = quvenMake<QUVENKernelData>(QUVEN_ENV);
  const Kept kept = keptBy(*copy);
  other->transferFromPrimitive(copy.get(), QUVEN_ENV);
  EXPECT_EQ(keptBy(*other), kept);
  EXPECT_TRUE(copy->getKernelValues(QUVEN_ENV).empty());
  QUVEN_DELETE(other);
  QUVEN_DELETE(copy);
  QUVEN_DELETE(data);
}

TEST_F(QUVENKernelDataStreamTest, HistogramsMergeInTheFirstPassOnly) {
  const auto withBins = [&](std::int64_t status, const MemberReader::Doubles& locations,
                            const MemberReader::Integers& counts) {
    Data data = open();
    setMembers(
        data,
        {{"ivDataStatus", status}, {"ivKernelHistogramLocations", locations}, {"ivKernelHistogramCounts", counts}});
    return data;
  };
  for (const std::int64_t status : {0, 1, 2, 3}) {
    Data low = withBins(status, {1, 3}, {2, 5});
    Data high = withBins(1, {2, 3}, {7, 1});
    low->merge(high.get(), QUVEN_ENV);
    const bool merges = status == Status::InputMySamples;
    EXPECT_EQ(numbersOf(*low, "ivKernelHistogramLocations"),
              merges ? (std::vector<double>{1, 2, 3}) : (std::vector<double>{1, 3}));
    EXPECT_EQ(numbersOf(*low, "ivKernelHistogramCounts"),
              merges ? (std::vector<double>{2, 7, 6}) : (std::vector<double>{2, 5}));
    EXPECT_EQ(numbersOf(*high, "ivKernelHistogramCounts"), (std::vector<double>{7, 1}));
    QUVEN_DELETE(low);
    QUVEN_DELETE(high);
  }
  // Nor without a sparse kernel, nor with itself.
  Data low = withBins(1, {1, 3}, {2, 5});
  low->merge(low.get(), QUVEN_ENV);
  EXPECT_EQ(numbersOf(*low, "ivKernelHistogramCounts"), (std::vector<double>{2, 5}));
  setMembers(low, {{"ivIsSparseKernel", std::int64_t{0}}});
  Data high = withBins(1, {2}, {7});
  low->merge(high.get(), QUVEN_ENV);
  EXPECT_EQ(numbersOf(*low, "ivKernelHistogramCounts"), (std::vector<double>{2, 5}));
  run = capturedRun([&] { low->merge(nullptr, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  quvenDebugWords = QUVENDebugWords();
  QUVEN_DELETE(low);
  QUVEN_DELETE(high);
}

TEST_F(QUVENKernelDataStreamTest, AMergeHoldsAThousandBins) {
  MemberReader::Doubles locations[2];
  MemberReader::Integers counts(900, 1);
  for (int i = 0; i < 900; ++i) {
    locations[0].push_back(3 * i);
    locations[1].push_back(3 * i + 1);  // nearer to the first than to the next
  }
  Data workers[2] = {open(), open()};
  for (int i = 0; i < 2; ++i) {
    setMembers(workers[i], {{"ivDataStatus", std::int64_t{1}},
                            {"ivKernelHistogramLocations", locations[i]},
                            {"ivKernelHistogramCounts", counts}});
  }
  workers[0]->merge(workers[1].get(), QUVEN_ENV);
  const std::vector<double> merged = numbersOf(*workers[0], "ivKernelHistogramLocations");
  ASSERT_EQ(merged.size(), 1000U);
  EXPECT_EQ(merged[0], 0.5);
  EXPECT_EQ(merged[799], 3 * 799 + 0.5);
  EXPECT_EQ(merged[800], 2400);
  EXPECT_EQ(merged[999], 2698);
  for (Data& worker : workers) QUVEN_DELETE(worker);
}

TEST_F(QUVENKernelDataStreamTest, WithoutMemoryNothingIsLeftBehind) {
  fill(shownRow, {0, 0});  // is there before and after
  const std::int64_t before = environment.getBytesInUse();
  const auto failuresOf = [&](const Keys& keys, auto&& action) {
    int failures = 0;
    for (long allowed = 0;; ++allowed) {
      Data data = open(keys);
      setMembers(data, {{"ivKernelHistogramLocations", MemberReader::Doubles{1}},
                        {"ivKernelHistogramCounts", MemberReader::Integers{1}}});
      run = capturedRun([&] { action(*data, allowed); });
      EXPECT_FALSE(run.threwLibraryException) << run.out;
      QUVEN_DELETE(data);
      EXPECT_EQ(environment.getBytesInUse(), before) << allowed;
      if (!run.threwMemoryException) return failures;
      ++failures;
    }
  };
  const Lines lines = triangle();
  for (const char* filter : {"0", "1"}) {
    const Keys keys{{"NormalizingFactor", "100"}, {"FilterSimilarities", filter}, {"EmptyMarker", "-1"}};
    EXPECT_GT(failuresOf(keys,
                         [&](QUVENKernelData& data, long allowed) {
                           const FailingAllocation failing(allowed);
                           data.initIteration(QUVEN_ENV);
                           records(data, lines);
                         }),
              8);
    EXPECT_GT(failuresOf(keys,
                         [&](QUVENKernelData& data, long allowed) {
                           data.initIteration(QUVEN_ENV);
                           records(data, lines);
                           const FailingAllocation failing(allowed);
                           data.finishIteration(QUVEN_ENV);
                         }),
              8);
    EXPECT_GT(failuresOf(keys,
                         [&](QUVENKernelData& data, long allowed) {
                           pass(data, lines);
                           data.endDataScan(QUVEN_ENV);
                           const FailingAllocation failing(allowed);
                           pass(data, lines);
                         }),
              8);
  }
  Data other = open();
  setMembers(other, {{"ivKernelHistogramLocations", MemberReader::Doubles{2, 3}},
                     {"ivKernelHistogramCounts", MemberReader::Integers{1, 1}}});
  const std::int64_t withOther = environment.getBytesInUse();
  // The histogram is an object first, and has arrays then. With the debugging root an object is more than one
  // allocation.
  std::string kinds;
  do {
    Data data = open();
    setMembers(data, {{"ivDataStatus", std::int64_t{1}},
                      {"ivKernelHistogramLocations", MemberReader::Doubles{1}},
                      {"ivKernelHistogramCounts", MemberReader::Integers{1}}});
    const long allowed = static_cast<long>(kinds.size());
    run = capturedRun([&] {
      const FailingAllocation failing(allowed);
      data->merge(other.get(), QUVEN_ENV);
    });
    ASSERT_TRUE(run.threwMemoryException) << allowed;
    kinds += run.out.find("Cannot allocate object memory") != std::string::npos  ? 'o'
             : run.out.find("Cannot allocate array memory") != std::string::npos ? 'a'
                                                                                 : '?';
    QUVEN_DELETE(data);
    EXPECT_EQ(environment.getBytesInUse(), withOther);
  } while (kinds.size() < 8 && !kinds.ends_with("aa"));
  EXPECT_THAT(kinds, ::testing::MatchesRegex("o+aa"));
  QUVEN_DELETE(other);
}

}  // namespace
