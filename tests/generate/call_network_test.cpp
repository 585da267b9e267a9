#include "call_network.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace vesk_generate {
namespace {

GeneratorSettings groupSettings() {
  GeneratorSettings settings;
  settings.callers = 1000;
  settings.firstCaller = 5001;
  settings.groupCount = 40;
  settings.groupSizeMin = 4;
  settings.groupSizeMax = 9;
  settings.insideShare = 0.7;
  return settings;
}

/// The group of each member.
std::map<std::uint64_t, std::uint32_t> groupsByMember(const CallNetwork& network) {
  std::map<std::uint64_t, std::uint32_t> groups;
  for (std::uint32_t group = 1; group <= network.groupCount(); ++group) {
    for (const std::uint64_t member : network.groupMembers(group)) groups[member] = group;
  }
  return groups;
}

struct InsideCount {
  int calls = 0;  // by members of groups
  int inside = 0;
};

InsideCount countInside(const GeneratorSettings& settings, int draws) {
  const CallNetwork network(settings);
  const auto groups = groupsByMember(network);
  Xoshiro256 random(settings.seed, RandomStream::Records);
  InsideCount count;
  for (int i = 0; i < draws; ++i) {
    const CallNetwork::Call call = network.draw(random);
    const auto group = groups.find(call.caller);
    if (group == groups.end()) continue;
    ++count.calls;
    const auto other = groups.find(call.callee);
    if (other != groups.end() && other->second == group->second) ++count.inside;
  }
  return count;
}

TEST(CallNetwork, GroupsAreDisjointAndOfTheSizesAsked) {
  const CallNetwork network(groupSettings());
  ASSERT_EQ(network.groupCount(), 40U);
  std::set<std::uint64_t> all;
  std::set<std::size_t> sizes;
  std::size_t total = 0;
  for (std::uint32_t group = 1; group <= 40; ++group) {
    const auto members = network.groupMembers(group);
    EXPECT_TRUE(std::is_sorted(members.begin(), members.end()));
    sizes.insert(members.size());
    total += members.size();
    all.insert(members.begin(), members.end());
  }
  EXPECT_EQ(all.size(), total);
  EXPECT_GE(*all.begin(), 5001U);
  EXPECT_LE(*all.rbegin(), 6000U);
  EXPECT_EQ(sizes, (std::set<std::size_t>{4, 5, 6, 7, 8, 9}));
}

TEST(CallNetwork, TheShareOfCallsInsideIsTheOneAsked) {
  for (const double share : {0.0, 0.3, 0.7, 1.0}) {
    GeneratorSettings settings = groupSettings();
    settings.insideShare = share;
    const InsideCount count = countInside(settings, 200000);
    ASSERT_GT(count.calls, 20000);
    const double fiveSigma = 5.0 * std::sqrt(count.calls * share * (1.0 - share));
    EXPECT_NEAR(count.inside, count.calls * share, fiveSigma) << share;
  }
}

TEST(CallNetwork, NobodyCallsItselfWithinAGroup) {
  GeneratorSettings settings = groupSettings();
  settings.insideShare = 1.0;
  const CallNetwork network(settings);
  Xoshiro256 random(1, RandomStream::Records);
  for (int i = 0; i < 20000; ++i) {
    const CallNetwork::Call call = network.draw(random);
    ASSERT_NE(call.caller, call.callee);
  }
}

TEST(CallNetwork, NobodyCallsItself) {
  for (const std::uint32_t callers : {2U, 3U, 10U}) {
    GeneratorSettings settings;
    settings.callers = callers;
    settings.activityExponent = 4.0;
    settings.popularityExponent = 4.0;
    const CallNetwork network(settings);
    Xoshiro256 random(1, RandomStream::Records);
    for (int i = 0; i < 10000; ++i) {
      const CallNetwork::Call call = network.draw(random);
      ASSERT_NE(call.caller, call.callee);
      ASSERT_GE(std::min(call.caller, call.callee), 1U);
      ASSERT_LE(std::max(call.caller, call.callee), callers);
    }
  }
}

// All but one caller are in the group: a callee outside is hardly ever found by popularity.
TEST(CallNetwork, ACallOutOfAGroupOfNearlyAllStaysOutside) {
  GeneratorSettings settings = groupSettings();
  settings.groupCount = 1;
  settings.groupSizeMin = settings.groupSizeMax = 999;
  settings.insideShare = 0.0;
  EXPECT_EQ(countInside(settings, 20000).inside, 0);
}

std::map<std::uint64_t, int> callsByCaller(double exponent) {
  GeneratorSettings settings;
  settings.callers = 100;
  settings.activityExponent = exponent;
  const CallNetwork network(settings);
  Xoshiro256 random(1, RandomStream::Records);
  std::map<std::uint64_t, int> calls;
  for (int i = 0; i < 100000; ++i) ++calls[network.draw(random).caller];
  return calls;
}

int largest(const std::map<std::uint64_t, int>& counts) {
  return std::max_element(counts.begin(), counts.end(), [](auto& a, auto& b) { return a.second < b.second; })->second;
}

TEST(CallNetwork, ActivityIsHeavyTailedByTheExponent) {
  EXPECT_NEAR(largest(callsByCaller(0.0)), 1000, 160);  // 5 standard deviations of 31.5
  // At exponent 1 the first of 100 ranks has 1 / H(100) = 1 / 5.18738 of the calls.
  EXPECT_NEAR(largest(callsByCaller(1.0)), 19278, 625);  // 5 standard deviations of 124.7
}

// The callers of rank 1 by activity and by popularity are drawn apart: popularity alone decides who is called.
TEST(CallNetwork, PopularityIsHeavyTailedByItsOwnExponent) {
  GeneratorSettings settings;
  settings.callers = 100;
  settings.activityExponent = 0.0;
  settings.popularityExponent = 1.0;
  const CallNetwork network(settings);
  Xoshiro256 random(1, RandomStream::Records);
  std::map<std::uint64_t, int> calls;
  for (int i = 0; i < 100000; ++i) ++calls[network.draw(random).callee];
  // 99 callers of 100 can call the first: p = (1 / 5.18738); the others' draws of themselves add at most 1/100 of it.
  EXPECT_NEAR(largest(calls), 19278, 900);
}

TEST(CallNetwork, NumbersOfAGroupAreScattered) {
  GeneratorSettings settings = groupSettings();
  settings.groupSizeMin = settings.groupSizeMax = 9;
  const auto members = CallNetwork(settings).groupMembers(1);
  EXPECT_GT(members.back() - members.front(), 100U);
}

}  // namespace
}  // namespace vesk_generate
