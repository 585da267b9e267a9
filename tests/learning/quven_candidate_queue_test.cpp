#include "learning/quven_candidate_queue.h"

#include <cmath>
#include <random>
#include <set>

#include "ls_fixture.h"

namespace {

class QUVENCandidateQueueTest : public LeastSquaresTest {
 protected:
  void TearDown() override {
    queue.deleteMemory(QUVEN_ENV);
    LeastSquaresTest::TearDown();
  }
  std::vector<std::int32_t> order(const std::vector<double>& scores) {
    queue.clear();
    std::int32_t position = 0;
    for (const double score : scores) queue.push(++position, score, QUVEN_ENV);
    EXPECT_EQ(queue.getSize(), static_cast<long>(scores.size()));
    queue.heapify(QUVEN_ENV);
    std::vector<std::int32_t> popped;
    while (!queue.isEmpty()) popped.push_back(queue.pop(QUVEN_ENV));
    return popped;
  }

  QUVENCandidateQueue queue;
};

/// The steps, one by one, on 1-based vectors.
std::vector<std::int32_t> literalOrder(const std::vector<double>& scores) {
  std::vector<std::pair<std::int32_t, double>> slots(1);
  for (const double score : scores) slots.emplace_back(static_cast<std::int32_t>(slots.size()), score);
  std::size_t n = scores.size();
  const auto sift = [&](std::size_t i) {
    while (2 * i <= n) {
      std::size_t child = 2 * i;
      if (child + 1 <= n && slots[child + 1].second > slots[child].second) child += 1;  // otherwise the left one
      if (!(slots[child].second > slots[i].second)) return;                             // the parent stays
      std::swap(slots[i], slots[child]);
      i = child;
    }
  };
  for (std::size_t i = (n + 1) / 2; i >= 1; --i) sift(i);
  std::vector<std::int32_t> popped;
  while (n > 0) {
    popped.push_back(slots[1].first);
    slots[1] = slots[n--];
    sift(1);
  }
  return popped;
}

TEST_F(QUVENCandidateQueueTest, PopsByDescendingScore) {
  EXPECT_EQ(order({}), (std::vector<std::int32_t>{}));
  EXPECT_EQ(order({4}), (std::vector<std::int32_t>{1}));
  EXPECT_EQ(order({2, 5, 3, 1, 4}), (std::vector<std::int32_t>{2, 5, 3, 1, 4}));
}

// By hand. 1 is popped and 3 moves to the root; 2 does not exceed it, so 3 stays.
TEST_F(QUVENCandidateQueueTest, EqualScoresKeepTheOrderOfTheSteps) {
  EXPECT_EQ(order({7, 7, 7}), (std::vector<std::int32_t>{1, 3, 2}));
  EXPECT_EQ(order({1, 7, 7}), (std::vector<std::int32_t>{2, 3, 1}));  // the left child wins
}

TEST_F(QUVENCandidateQueueTest, ANumberThatIsNoneWinsNoComparison) {
  const double nan = std::nan("");
  EXPECT_EQ(order({1, nan, 3}), (std::vector<std::int32_t>{1, 3, 2}));
  EXPECT_EQ(order({nan, 1, 3}), (std::vector<std::int32_t>{1, 3, 2}));
  EXPECT_EQ(order({nan, nan}), (std::vector<std::int32_t>{1, 2}));
}

TEST_F(QUVENCandidateQueueTest, FollowsTheStepsWithTiesInfinitiesAndNaN) {
  std::mt19937 random(4);
  for (int round = 0; round < 300; ++round) {
    std::vector<double> scores(random() % 40);
    for (double& score : scores) {
      const double choice[] = {1, 2, 3, 4, -1, 0, std::nan(""), HUGE_VAL, -HUGE_VAL};
      score = choice[random() % 9];
    }
    const std::vector<std::int32_t> popped = order(scores);
    ASSERT_EQ(popped, literalOrder(scores)) << "round " << round;
    EXPECT_EQ(std::set<std::int32_t>(popped.begin(), popped.end()).size(), scores.size());
  }
}

TEST_F(QUVENCandidateQueueTest, AnEmptyQueueHasNothingToPop) {
  EXPECT_TRUE(queue.isEmpty());
  expectFailure([&] { queue.pop(QUVEN_ENV); }, "count > 0");
  queue.push(3, 1, QUVEN_ENV);
  queue.clear();
  EXPECT_TRUE(queue.isEmpty());
}

}  // namespace
