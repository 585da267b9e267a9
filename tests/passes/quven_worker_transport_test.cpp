// Values between the ranks. Run alone, and by mpirun: every case holds on any number of ranks.

#include "passes/quven_worker_transport.h"

#include <cmath>
#include <functional>
#include <numeric>
#include <random>

#include "pass_fixture.h"

namespace {

class QUVENWorkerTransportTest : public PassTest {
 protected:
  using Values = std::vector<double>;

  /// What a rank has: numbers whose sum depends on the order in which they are added.
  static Values valuesOf(int ofRank, std::size_t size, unsigned seed) {
    std::mt19937_64 random(seed + 1000U * static_cast<unsigned>(ofRank));
    Values values(size);
    for (double& value : values) {
      const double magnitude = std::ldexp(1.0, static_cast<int>(random() % 60));
      value = (static_cast<double>(random() % 2000003) - 1000001.0) / 3 * magnitude;
    }
    return values;
  }
  /// The sums of the ranks above 0: first those of neighbours, then those of neighbouring pairs, and so on.
  static Values sumsUpTheTree(std::vector<Values> byRank) {
    byRank.erase(byRank.begin());
    while (byRank.size() > 1) {
      std::vector<Values> pairs;
      for (std::size_t i = 0; i < byRank.size(); i += 2) {
        pairs.push_back(byRank[i]);
        if (i + 1 == byRank.size()) continue;
        for (std::size_t k = 0; k < byRank[i].size(); ++k) pairs.back()[k] += byRank[i + 1][k];
      }
      byRank = std::move(pairs);
    }
    return byRank.front();
  }
  static Values sumsInTurn(const std::vector<Values>& byRank) {
    Values sums = byRank[1];
    for (std::size_t ofRank = 2; ofRank < byRank.size(); ++ofRank) {
      for (std::size_t k = 0; k < sums.size(); ++k) sums[k] += byRank[ofRank][k];
    }
    return sums;
  }

  QUVENWorkerTransport transport;
};

TEST_F(QUVENWorkerTransportTest, SumsUpTheTreeOfNeighbours) {
  for (const std::size_t size : {0U, 1U, 7U, 5000U}) {
    for (unsigned seed = 1; seed <= 5; ++seed) {
      std::vector<Values> byRank;
      for (int ofRank = 0; ofRank < count; ++ofRank) byRank.push_back(valuesOf(ofRank, size, seed));
      Values values = byRank[static_cast<std::size_t>(rank)];
      transport.combineAboveMaster(values, std::plus<>());
      if (!isRank0()) continue;
      if (count == 1) {
        EXPECT_EQ(values, byRank[0]);
        continue;
      }
      EXPECT_EQ(values, sumsUpTheTree(byRank));
      // Else the order would not be tested.
      if (count >= 5 && size == 5000) {
        EXPECT_NE(sumsUpTheTree(byRank), sumsInTurn(byRank));
      }
    }
  }
}

TEST_F(QUVENWorkerTransportTest, TheTreeIsThatOfTheRanksAbove0) {
  std::vector<int> taken;
  int sentTo = -1;
  if (!isRank0()) {
    transport.climbTree([&](int fromRank) { taken.push_back(fromRank); }, [&](int toRank) { sentTo = toRank; });
  }
  struct Place {
    std::vector<int> taken;
    int sentTo;
  };
  const std::vector<std::vector<Place>> places = {
      {}, {{{}, 0}}, {{{2}, 0}, {{}, 1}}, {{{2, 3}, 0}, {{}, 1}, {{}, 1}}, {{{2, 3}, 0}, {{}, 1}, {{4}, 1}, {{}, 3}},
  };
  if (isRank0() || static_cast<std::size_t>(count) > places.size()) return;
  const Place& expected = places[static_cast<std::size_t>(count - 1)][static_cast<std::size_t>(rank - 1)];
  EXPECT_EQ(taken, expected.taken);
  EXPECT_EQ(sentTo, expected.sentTo);
}

TEST_F(QUVENWorkerTransportTest, BroadcastsTheValuesOfRank0) {
  for (const std::size_t size : {0U, 1U, 100000U}) {
    std::vector<std::uint64_t> numbers(static_cast<std::size_t>(rank) * 3, 7);  // replaced, whatever their number is
    std::vector<double> values;
    if (isRank0()) {
      numbers.resize(size);
      values.resize(size);
      std::iota(numbers.begin(), numbers.end(), std::uint64_t{1} << 60);
      std::iota(values.begin(), values.end(), 0.5);
    }
    transport.broadcast(numbers);
    transport.broadcast(values);
    ASSERT_EQ(numbers.size(), size);
    ASSERT_EQ(values.size(), size);
    for (std::size_t i = 0; i < size; ++i) {
      ASSERT_EQ(numbers[i], (std::uint64_t{1} << 60) + i);
      ASSERT_EQ(values[i], static_cast<double>(i) + 0.5);
    }
  }
}

TEST_F(QUVENWorkerTransportTest, SendsValuesToRank0) {
  for (int ofRank = 1; ofRank < count; ++ofRank) {
    const std::vector<std::uint64_t> numbers(static_cast<std::size_t>(ofRank - 1) * 1000, 5U + ofRank);
    if (rank == ofRank) transport.send(0, numbers);
    if (!isRank0()) continue;
    std::vector<std::uint64_t> received(17, 1);
    transport.receive(ofRank, received);
    EXPECT_EQ(received, numbers);
  }
}

TEST_F(QUVENWorkerTransportTest, FindsTheLargestOfAllRanks) {
  EXPECT_EQ(transport.largestOfAll(rank), count - 1);
  EXPECT_EQ(transport.largestOfAll(-rank), 0);
  EXPECT_EQ(transport.largestOfAll(-5 - rank), -5);
  for (int highest = 0; highest < count; ++highest) EXPECT_EQ(transport.largestOfAll(rank == highest ? 3 : 1), 3);
}

}  // namespace
