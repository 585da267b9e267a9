#include "groups/contingency.h"

#include <gtest/gtest.h>

namespace vesk_groups {
namespace {

TEST(ContingencyTest, CountsMembersInBothByGroup) {
  const Grouping first{{10, 20}, {{1, 0}, {2, 1}, {3, 0}, {5, 0}, {7, 1}}};
  const Grouping second{{4, 5, 6}, {{0, 0}, {1, 2}, {3, 2}, {5, 0}, {6, 1}, {7, 2}, {9, 1}}};
  const std::vector<SharedMembers> shared = findSharedMembers(first, second);
  ASSERT_EQ(shared.size(), 3U);
  const SharedMembers expected[] = {{0, 0, 1}, {0, 2, 2}, {1, 2, 1}};
  for (std::size_t i = 0; i < shared.size(); ++i) {
    EXPECT_EQ(shared[i].first, expected[i].first);
    EXPECT_EQ(shared[i].second, expected[i].second);
    EXPECT_EQ(shared[i].members, expected[i].members);
  }
  EXPECT_TRUE(findSharedMembers(first, {}).empty());
  EXPECT_TRUE(findSharedMembers({}, second).empty());
  EXPECT_EQ(sizesOf(first), (std::vector<std::uint64_t>{3, 2}));
  EXPECT_EQ(sizesOf({}), std::vector<std::uint64_t>{});
}

}  // namespace
}  // namespace vesk_groups
