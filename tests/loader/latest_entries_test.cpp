#include "latest_entries.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace vesk_loader::testing {
namespace {

using Indices = std::vector<std::uint32_t>;

Indices select(LatestEntries& latest, const std::vector<double>& values, std::size_t most, std::size_t stride = 1) {
  const auto kept = latest.select(values.data(), values.size() / stride, stride, most);
  return {kept.begin(), kept.end()};
}

/// By the definition: an entry stays if no later one has its callee, and fewer than `most` such entries follow.
Indices literalSelection(const std::vector<double>& values, std::size_t most, std::size_t stride) {
  const std::size_t count = values.size() / stride;
  const auto same = [&](std::size_t i, std::size_t j) {
    const double a = values[i * stride];
    const double b = values[j * stride];
    return a == b || (std::isnan(a) && std::isnan(b));
  };
  Indices kept;
  for (std::size_t i = 0; i < count; ++i) {
    bool repeated = false;
    for (std::size_t j = i + 1; j < count; ++j) repeated = repeated || same(i, j);
    if (!repeated) kept.push_back(static_cast<std::uint32_t>(i));
  }
  if (kept.size() > most) kept.erase(kept.begin(), kept.end() - static_cast<std::ptrdiff_t>(most));
  return kept;
}

TEST(LatestEntries, KeepsTheLatestEntryOfEachCallee) {
  LatestEntries latest;
  EXPECT_EQ(select(latest, {5, 6, 5, 7, 6}, 10), (Indices{2, 3, 4}));
  EXPECT_EQ(select(latest, {5, 6, 5, 7, 6}, 2), (Indices{3, 4}));
  EXPECT_EQ(select(latest, {5, 6, 5, 7, 6}, 0), Indices());
  EXPECT_EQ(select(latest, {}, 3), Indices());
  EXPECT_EQ(select(latest, {8}, 3), (Indices{0}));
}

TEST(LatestEntries, BothZerosAreOneCalleeAndSoAreAllNans) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> values = {0.0, nan, -0.0, -nan, 1.0};
  LatestEntries latest;
  EXPECT_EQ(select(latest, values, 10), (Indices{2, 3, 4}));
  values.insert(values.begin(), 40, 1.0);  // enough for the hash table
  EXPECT_EQ(select(latest, values, 10), (Indices{42, 43, 44}));
}

TEST(LatestEntries, EqualsTheDefinitionForRowsOfAllLengths) {
  std::mt19937_64 random(3);
  LatestEntries latest;
  for (int round = 0; round < 4000; ++round) {
    const std::size_t stride = 1 + random() % 4;
    const std::size_t count = random() % (round % 10 == 0 ? 500 : 45);
    const std::size_t callees = 1 + random() % 60;
    std::vector<double> values(count * stride);
    for (double& value : values) value = static_cast<double>(random() % callees);
    const std::size_t most = random() % 40;
    ASSERT_EQ(select(latest, values, most, stride), literalSelection(values, most, stride)) << "round " << round;
  }
}

}  // namespace
}  // namespace vesk_loader::testing
