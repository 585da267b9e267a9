// The literal kernel on cases worked out by hand.

#include "literal_kernel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "networks.h"

namespace literal {
namespace {

TEST(LiteralFriends, IdenticalListsShareAllTheirInformation) {
  // Half of the population are contacts of both: one bit.
  EXPECT_DOUBLE_EQ(friends({1, 2}, {1, 2}, 0, 4), 1);
  EXPECT_GT(friends({1, 2, 3}, {1, 2, 3}, 0, 5e7), 0);
}

TEST(LiteralFriends, TheRestOfTheLongerListIsNotCounted) {
  // 1 in x only, 2 in both, then x has run out. H(y) = H(1/4), H(y|x) = 1/2.
  EXPECT_NEAR(friends({1, 2}, {2, 3, 4}, 0, 4), 0.311278124459, 1e-12);
  EXPECT_EQ(friends({1, 2}, {2, 3, 4}, 0, 100), mutualInformation(100, 1, 1, 0));
  EXPECT_EQ(friends({2, 3, 4}, {1, 2}, 0, 100), mutualInformation(100, 1, 0, 1));
}

TEST(LiteralFriends, DisagreementIsNegative) {
  // 1 and 3 in x only, 2 in y only, nobody in neither: (1/3) log 3 + (2/3) log 1.5 bits, the sign turned.
  EXPECT_NEAR(friends({1, 3}, {2, 4}, 0, 3), -0.918295834054, 1e-12);
  EXPECT_GT(friends({1, 3}, {2, 4}, 0, 1000), 0);
}

TEST(LiteralFriends, MarkersAreSkipped) {
  EXPECT_EQ(friends({0, 1, 0, 2}, {1, 0, 0, 2, 0}, 0, 9), friends({1, 2}, {1, 2}, 0, 9));
  EXPECT_EQ(friends({7, 7}, {1, 7}, 7, 9), 0);
  // Behind the last contact only fillers: y has run out before 2 of x is met.
  EXPECT_EQ(friends({1, 2}, {1, 0}, 0, 9), mutualInformation(9, 1, 0, 0));
  // With another marker a filler is a contact like any other.
  EXPECT_EQ(friends({1, 0}, {1, 0}, 5, 9), mutualInformation(9, 2, 0, 0));
  EXPECT_EQ(friends({1, 2}, {1, 0, 2}, 5, 9), mutualInformation(9, 2, 0, 1));
}

TEST(LiteralFriends, APopulationOfNobodyHasNoInformation) {
  EXPECT_EQ(friends({}, {}, 0, 0), 0);
  EXPECT_EQ(friends({1, 2}, {1, 3}, 0, 0), 0);
}

TEST(LiteralCutoff, OfOneBinLiesJustBelowIt) {
  EXPECT_EQ(cutoffOf({{0.25, 7}}, 0.5), 0.25 - 1e-5);
  EXPECT_EQ(cutoffOf({}, 0.5), std::nullopt);
}

TEST(LiteralCutoff, InAFullFirstBinIsInterpolated) {
  const Bins bins{{0.1, 6}, {0.3, 2}};
  EXPECT_NEAR(*cutoffOf(bins, 0.5), 2.0 / 15, 1e-15);   // k = 4: (4/6 - 1/2) * 0.2 + 0.1
  EXPECT_NEAR(*cutoffOf(bins, 0.25), 1.0 / 15, 1e-15);  // k = 2: (2/6 - 1/2) * 0.2 + 0.1
  EXPECT_NEAR(*cutoffOf(bins, 0.1), 0, 1e-15);          // k = 0: -1/2 * 0.2 + 0.1
}

TEST(LiteralCutoff, IsTheMeanOfTheTwoBinsWhereTheShareIsReached) {
  // k = 4: 1 + 2 is not enough, 1 + 2 + 1 is: (2 * 2 + 1 * 4) / 3
  EXPECT_DOUBLE_EQ(*cutoffOf({{1, 1}, {2, 2}, {4, 1}, {8, 4}}, 0.5), 8.0 / 3);
  // A first bin of just k is not full enough: (4 * 1 + 4 * 2) / 8
  EXPECT_DOUBLE_EQ(*cutoffOf({{1, 4}, {2, 4}}, 0.5), 1.5);
}

TEST(LiteralSparseToDense, GivesARowAtItsClosingRecord) {
  SparseToDense data;
  EXPECT_FALSE(data.update({7, 1, 3}));  // no header yet
  EXPECT_FALSE(data.update({7, 0, 0}));  // a header without positions
  EXPECT_FALSE(data.update({7, 0, 3}));
  EXPECT_FALSE(data.update({7, 2, 5}));
  EXPECT_FALSE(data.update({7, 0, 9}));  // element 0
  EXPECT_FALSE(data.update({7, 3, -99999}));
  const auto record = data.update({7, 4, 0});
  ASSERT_TRUE(record);
  EXPECT_EQ(record->sample, 7U);
  EXPECT_EQ(record->row, (Row{0, 5, 0}));
  EXPECT_FALSE(data.update({7, 5, 0}));
}

TEST(LiteralSparseToDense, ANewRecordKeepsTheCellsOfAnUnfinishedOne) {
  SparseToDense data;
  data.update({1, 0, 2});
  data.update({1, 1, 11});
  data.update({1, 2, 12});
  data.update({2, 0, 1});  // one cell is left
  data.update({3, 0, 3});
  data.update({4, 3, 43});  // no header: into the record of 3
  data.update({5, 0, -1});  // no size: only the sample changes
  const auto record = data.update({5, 4, 0});
  ASSERT_TRUE(record);
  EXPECT_EQ(record->sample, 5U);
  EXPECT_EQ(record->row, (Row{11, 0, 43}));
}

/// 1: 2 3, 2: 1 3, 3: 1 2. Of six ordered pairs 1-2 and 2-1 meet a contact of their own on both sides, and of the
/// others one list runs out first.
std::vector<Line> triangle() {
  std::vector<Line> lines;
  appendBlock(lines, 1, {2, 3});
  appendBlock(lines, 2, {1, 3});
  appendBlock(lines, 3, {1, 2});
  return lines;
}

KernelParameters ofHundred(double sparsityLevel) {
  KernelParameters parameters;
  parameters.sparsityLevel = sparsityLevel;
  parameters.normalizingFactor = 100;
  return parameters;
}

TEST(LiteralKernel, KeepsWhatIsNotBelowTheCutoff) {
  const double apart = mutualInformation(100, 1, 1, 1);
  const double close = mutualInformation(100, 1, 1, 0);
  EXPECT_EQ(close, mutualInformation(100, 1, 0, 1));
  ASSERT_LT(apart, close - 1e-3);
  const KernelResult result = runKernel(triangle(), ofHundred(0.5), 1);
  EXPECT_EQ(result.bins, (Bins{{apart, 2}, {close, 4}}));
  EXPECT_EQ(result.cutoff, (2 * apart + 4 * close) / 6);
  const std::vector<KernelValue> kept{{1, 3, close}, {2, 3, close}, {3, 1, close}, {3, 2, close}};
  EXPECT_EQ(result.keptByWorker, std::vector<std::vector<KernelValue>>{kept});
}

TEST(LiteralKernel, WorkersKnowTheCutoffOfAllAndCompareWithTheirOwn) {
  const double close = mutualInformation(100, 1, 1, 0);
  const KernelResult result = runKernel(triangle(), ofHundred(0.5), 2);
  EXPECT_EQ(result.bins, (Bins{{close, 2}}));  // 1-3 and 3-1; 2 knows nobody of its worker
  EXPECT_EQ(result.cutoff, close - 1e-5);
  ASSERT_EQ(result.keptByWorker.size(), 2U);
  EXPECT_EQ(result.keptByWorker[0], (std::vector<KernelValue>{{2, 3, close}}));
  EXPECT_EQ(result.keptByWorker[1], (std::vector<KernelValue>{{1, 3, close}, {3, 1, close}, {3, 2, close}}));
}

TEST(LiteralKernel, FailsWithoutASelfKernelValueOnAnyWorker) {
  EXPECT_TRUE(runKernel(triangle(), ofHundred(0.5), 4).failed);
  std::vector<Line> strangers;
  appendBlock(strangers, 1, {8});
  appendBlock(strangers, 2, {9});
  EXPECT_TRUE(runKernel(strangers, ofHundred(0.5), 1).failed);
  EXPECT_TRUE(runKernel({}, ofHundred(0.5), 3).failed);
}

TEST(LiteralKernel, ACallerWithTwoBlocksIsOneRowAndTwoSamples) {
  std::vector<Line> lines;
  appendBlock(lines, 1, {4, 2, 5});
  appendBlock(lines, 2, {1});
  appendBlock(lines, 1, {3});
  KernelWorker worker(ofHundred(0.5));
  for (const Line& line : lines) worker.updateMine(line);
  worker.setSampleIndex();
  // The second block overrides position 1, and its footer position 2.
  EXPECT_EQ(worker.sparseRow(1), (Row{3, 0, 5, 0}));
  EXPECT_EQ(worker.sparseRow(2), (Row{1, 0, 0, 0}));
  EXPECT_EQ(worker.candidates({0, 2, 1, 5, 1, 2}), (std::vector<int>{2, 1}));
  for (const Line& line : lines) worker.updateOther(line, -1);
  // The first record of 1 names 2, and 2 names 1, whose row is the joined one.
  EXPECT_EQ(worker.kept(),
            (std::vector<KernelValue>{{1, 2, friends({3, 5}, {1}, 0, 100)}, {2, 1, friends({1}, {4, 2, 5}, 0, 100)}}));
}

TEST(LiteralKernel, ASampleCountsInTheHistogramAsOftenAsItStands) {
  std::vector<Line> lines;
  appendBlock(lines, 1, {2});
  appendBlock(lines, 2, {7});
  appendBlock(lines, 1, {2});
  KernelWorker worker(ofHundred(0.5));
  for (const Line& line : lines) worker.updateMine(line);
  worker.setSampleIndex();
  EXPECT_EQ(worker.selfKernelValues(), (Bins{{friends({2}, {7}, 0, 100), 2}}));
}

TEST(LiteralKernel, AValueOnTheCutoffIsKept) {
  const double close = mutualInformation(100, 1, 1, 0);
  for (const double cutoff : {close, std::nextafter(close, 1.0)}) {
    KernelWorker worker(ofHundred(0.5));
    for (const Line& line : triangle()) worker.updateMine(line);
    worker.setSampleIndex();
    for (const Line& line : triangle()) worker.updateOther(line, cutoff);
    EXPECT_EQ(worker.kept().size(), cutoff == close ? 4U : 0U);
  }
}

/// x and y with 5 contacts of both, 1 of x only and 5 of y only, in a population of 150: the sums of the two directions
/// differ in the last digit.
TEST(LiteralKernel, TheFirstListIsThatOfTheSampleOfTheWorker) {
  const double forth = mutualInformation(150, 5, 1, 5);
  const double back = mutualInformation(150, 5, 5, 1);
  ASSERT_NE(forth, back);
  const auto valuesOf = [](const std::vector<double>& first, const std::vector<double>& second) {
    KernelParameters parameters;
    parameters.normalizingFactor = 150;
    KernelWorker worker(parameters);
    std::vector<Line> lines;
    appendBlock(lines, 100, first);
    appendBlock(lines, 200, second);
    for (const Line& line : lines) worker.updateMine(line);
    worker.setSampleIndex();
    for (const Line& line : lines) worker.updateOther(line, -1);
    return std::pair(worker.selfKernelValues(), worker.kept());
  };
  // Only 100 names the other; in the second pass the record is that of 100 and the sample of the worker 200.
  const auto [bins, kept] = valuesOf({1, 10, 11, 12, 13, 200}, {2, 3, 4, 5, 6, 10, 11, 12, 13, 200});
  EXPECT_EQ(bins.size(), 2U);
  EXPECT_THAT(kept, ::testing::Contains(KernelValue{200, 100, back}));
  EXPECT_THAT(bins, ::testing::Contains(::testing::Pair(forth, 1)));
}

TEST(LiteralKernel, ACallerWithItselfAsContactMeetsItself) {
  std::vector<Line> lines;
  appendBlock(lines, 5, {5});
  const KernelResult result = runKernel(lines, ofHundred(0.5), 1);
  const double self = mutualInformation(100, 1, 0, 0);
  EXPECT_EQ(result.bins, (Bins{{self, 1}}));
  EXPECT_EQ(result.keptByWorker[0], (std::vector<KernelValue>{{5, 5, self}}));
}

TEST(LiteralKernel, WithAnotherMarkerTheLengthOfARowCounts) {
  std::vector<Line> lines;
  appendBlock(lines, 1, {2});
  appendBlock(lines, 2, {1});
  appendBlock(lines, 3, {7, 8});
  KernelParameters parameters = ofHundred(0.5);
  parameters.emptyMarker = -1;
  // Columns 1 to 3: 2 0 0 and 1 0 0. The three of the smaller first contact are passed over, then that list has run
  // out.
  EXPECT_EQ(mutualInformation(100, 0, 0, 3), mutualInformation(100, 0, 3, 0));
  EXPECT_EQ(runKernel(lines, parameters, 1).bins, (Bins{{mutualInformation(100, 0, 0, 3), 2}}));
}

TEST(LiteralKernel, WithoutTheFilterAllPairsMeet) {
  KernelParameters parameters = ofHundred(0.5);
  parameters.filterSimilarities = false;
  parameters.random = [] { return 16384; };  // steps of 1: every pair once
  std::vector<Line> lines;
  appendBlock(lines, 1, {7});
  appendBlock(lines, 2, {8});
  appendBlock(lines, 3, {7});
  const double same = mutualInformation(100, 1, 0, 0);
  const double other = mutualInformation(100, 0, 1, 0);
  EXPECT_EQ(other, mutualInformation(100, 0, 0, 1));
  const KernelResult result = runKernel(lines, parameters, 1);
  EXPECT_EQ(result.bins, (Bins{{other, 4}, {same, 5}}));
  const std::vector<KernelValue> kept{{1, 1, same}, {1, 3, same}, {2, 2, same}, {3, 1, same}, {3, 3, same}};
  EXPECT_EQ(result.keptByWorker[0], kept);
}

TEST(LiteralKernel, WritesKeptValuesInColumns) {
  EXPECT_EQ(keptText({{1, 30, 0.0123456789}, {9007199254740992, 2, 1}, {3, 4, -0.5}}),
            "              1,\t             30,\t       0.012346\n"
            "9007199254740992,\t              2,\t              1\n"
            "              3,\t              4,\t      -0.500000\n");
  EXPECT_EQ(keptText({}), "");
}

}  // namespace
}  // namespace literal
