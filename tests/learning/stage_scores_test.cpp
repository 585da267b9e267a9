// What follows from the scores of stages, on scores that are made up.

#include "kernel/kernel_fixture.h"
#include "learning/quven_transform_regression.h"

namespace {

class QUVENStageScoresTest : public KernelTest {
 protected:
  static constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  static constexpr double infinity = std::numeric_limits<double>::infinity();
  static constexpr double most = std::numeric_limits<double>::max();

  void TearDown() override {
    scores.deleteMemory(QUVEN_ENV);
    KernelTest::TearDown();
  }
  void set(const std::vector<QUVENScoreTriple>& triples) {
    scores.setSize(0, QUVEN_ENV);
    for (const QUVENScoreTriple& triple : triples) scores.append(QUVENStageScore(triple), QUVEN_ENV);
  }
  /// Stage 1 without a score, and later stages of 2 points and variance 1 each. Two of them differ significantly when
  /// their fits differ by 2 or more: d is half of that, and (1/2 + 1/2) (1 + 1)/(2 + 2 - 2) is 1.
  void setFits(const std::vector<double>& fits) {
    std::vector<QUVENScoreTriple> triples{{0, 0, 0}};
    for (const double fit : fits) triples.push_back({2, fit, 1});
    set(triples);
  }
  long significantBack() const { return QUVENTransformRegression::significantBack(scores); }
  long bestStage() const { return QUVENTransformRegression::findBestStage(scores); }

  QUVENTransformRegression::StageScores scores;
};

TEST_F(QUVENStageScoresTest, FewStagesAreAllThatIsBack) {
  EXPECT_EQ(significantBack(), 0);
  set({{0, 0, 0}});
  EXPECT_EQ(significantBack(), 0);
  setFits({5});
  EXPECT_EQ(significantBack(), 1);
}

TEST_F(QUVENStageScoresTest, TheNearestStageThatIsSignificantlyWorseCounts) {
  setFits({12, 10});
  EXPECT_EQ(significantBack(), 1);
  setFits({14, 12, 10});
  EXPECT_EQ(significantBack(), 1);
  setFits({12, 11, 10});
  EXPECT_EQ(significantBack(), 2);
  setFits({12, 11, 10, 10.5, 10});
  EXPECT_EQ(significantBack(), 4);
  setFits({11, 11, 11, 11, 30, 11, 11, 11, 10});
  EXPECT_EQ(significantBack(), 4);
}

TEST_F(QUVENStageScoresTest, WithoutAWorseStageAllStagesAreBack) {
  setFits({11.9, 10});
  EXPECT_EQ(significantBack(), 2);
  setFits({8, 8, 10});  // the last is worse
  EXPECT_EQ(significantBack(), 3);
  setFits({10, 10, 10});
  EXPECT_EQ(significantBack(), 3);
  setFits({10, 10, 10, 10, 10, 10, 10, 10, 10});
  EXPECT_EQ(significantBack(), 9);
}

TEST_F(QUVENStageScoresTest, TheBoundFollowsFromPointsAndVariances) {
  // (1/4 + 1/2) (5 + 11)/(4 + 2 - 2) = 3, so d of sqrt(3) = 1.732.
  set({{0, 0, 0}, {4, 4 * 2.74, 5}, {2, 2 * 1.0, 11}});
  EXPECT_EQ(significantBack(), 1);
  set({{0, 0, 0}, {4, 4 * 2.73, 5}, {2, 2 * 1.0, 11}});
  EXPECT_EQ(significantBack(), 2);
}

TEST_F(QUVENStageScoresTest, FewerThanTwoPointsEndTheSearch) {
  set({{0, 0, 0}, {2, 20, 1}, {1.5, 20, 1}, {2, 10, 1}});
  EXPECT_EQ(significantBack(), 3);
  set({{0, 0, 0}, {2, 20, 1}, {2, 20, 1}, {1.5, 10, 1}});
  EXPECT_EQ(significantBack(), 3);
  set({{0, 0, 0}, {1, 20, 1}, {2, 20, 1}, {2, 10, 1}});  // found before it
  EXPECT_EQ(significantBack(), 1);
}

TEST_F(QUVENStageScoresTest, AScoreThatIsNoNumberIsNeverSignificant) {
  setFits({20, 10, nan});
  EXPECT_EQ(significantBack(), 3);
  setFits({20, nan, 10});
  EXPECT_EQ(significantBack(), 2);
  set({{0, 0, 0}, {2, 20, nan}, {2, 10, 1}});
  EXPECT_EQ(significantBack(), 2);
}

TEST_F(QUVENStageScoresTest, TheSmallestFitIsTheBest) {
  setFits({5, 3, 4});
  EXPECT_EQ(bestStage(), 3);
  setFits({9, 8, 7, 6, 5, 4, 3, 2, 1});
  EXPECT_EQ(bestStage(), 10);
  setFits({-1, 8, 7, 6, 5, 4, 3, 2, 1});
  EXPECT_EQ(bestStage(), 2);
}

TEST_F(QUVENStageScoresTest, TheLaterOfEqualFitsIsTheBest) {
  setFits({4, 3, 3, 5});
  EXPECT_EQ(bestStage(), 4);
  setFits({3, 3, 3});
  EXPECT_EQ(bestStage(), 4);
}

TEST_F(QUVENStageScoresTest, WithoutAScoreStage1IsTheBest) {
  EXPECT_EQ(bestStage(), 1);
  set({{0, 0, 0}});
  EXPECT_EQ(bestStage(), 1);
  set({{5, -100, 1}, {0, -7, 1}, {0, -9, 1}});  // stage 1 is never compared, stages without points neither
  EXPECT_EQ(bestStage(), 1);
  setFits({nan, nan});
  EXPECT_EQ(bestStage(), 1);
  setFits({infinity, most});  // neither is below the largest number
  EXPECT_EQ(bestStage(), 1);
}

TEST_F(QUVENStageScoresTest, WhatIsNoNumberIsNeverTheBest) {
  setFits({4, nan, 5});
  EXPECT_EQ(bestStage(), 2);
  setFits({nan, 7, infinity});
  EXPECT_EQ(bestStage(), 3);
  set({{0, 0, 0}, {2, 4, 1}, {nan, 1, 1}});
  EXPECT_EQ(bestStage(), 2);
}

// Modes

TEST_F(QUVENStageScoresTest, OtherModesThan1And8AreRefused) {
  auto model = make<QUVENTransformRegression>();
  for (const std::int32_t mode : {2, 3, 4, 5, 6, 7, 9, 10}) {
    expectFailure([&] { model->setMiningMode(mode, nullptr, QUVEN_ENV); }, notImplementedText);
  }
  for (const std::int32_t mode : {0, -1, 11}) {
    expectFailure([&] { model->setMiningMode(mode, nullptr, QUVEN_ENV); }, "Invalid mining mode");
  }
  for (const std::int32_t mode : {1, 8}) EXPECT_TRUE(model->setMiningMode(mode, nullptr, QUVEN_ENV));
  model.reset(QUVEN_ENV);
}

}  // namespace
