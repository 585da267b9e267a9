#include "table_rows.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace vesk_analyze {
namespace {

using Records = std::vector<std::array<double, 3>>;  ///< caller, position, value

/// The number of the first record that does not fit, or 0; and how many were looked at.
std::array<int, 2> firstMisfit(const Records& records) {
  TableRows rows;
  int number = 0;
  for (const auto& [caller, position, value] : records) {
    if (rows.isDecided()) break;
    ++number;
    if (!rows.accept(caller, position, value)) return {number, number};
  }
  return {0, number};
}

using Answer = std::array<int, 2>;

TEST(TableRows, TheFirstCallerDecides) {
  EXPECT_EQ(firstMisfit({}), (Answer{0, 0}));
  EXPECT_EQ(firstMisfit({{5, 0, 2}, {5, 1, 7}, {5, 2, 8}, {5, 3, 0}}), (Answer{0, 4}));
  EXPECT_EQ(firstMisfit({{5, 0, 1}, {5, 1, 7}, {5, 2, 0}, {6, 9, 9}, {7, 9, 9}}), (Answer{0, 4}));
  EXPECT_EQ(firstMisfit({{5, 0, 0}, {6, 0, 0}, {7, 0, 0}}), (Answer{0, 2}));
}

TEST(TableRows, TheFirstRecordIsAHeader) {
  EXPECT_EQ(firstMisfit({{5, 1, 7}}), (Answer{1, 1}));
  EXPECT_EQ(firstMisfit({{5, 20120302, 3}, {6, 0, 1}}), (Answer{1, 1}));
  EXPECT_EQ(firstMisfit({{5, -1, 7}}), (Answer{1, 1}));
}

/// A pair sum row ends with 0 and 7788; a table row has no 0 but in its header.
TEST(TableRows, AFooterOfAPairSumRowIsFound) {
  EXPECT_EQ(firstMisfit({{5, 0, 1}, {5, 9, 3}, {5, 0, 7788}, {6, 0, 1}}), (Answer{3, 3}));
  EXPECT_EQ(firstMisfit({{5, 0, 0}, {5, 0, 7788}}), (Answer{2, 2}));
  // As a count in a header or a contact it is a number like others.
  EXPECT_EQ(firstMisfit({{5, 0, 7788}, {5, 1, 7788}, {5, 7789, 0}, {6, 0, 1}}), (Answer{0, 4}));
}

}  // namespace
}  // namespace vesk_analyze
