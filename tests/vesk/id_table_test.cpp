#include "ids/id_table.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>

namespace vesk {
namespace {

// Enough entries for several chunks of 4 MiB and for a growing table.
TEST(IdTable, FindsWhatWasInserted) {
  IdTable table;
  std::map<std::string, std::uint64_t> model;
  for (std::uint64_t i = 1; i <= 120000; ++i) {
    const std::string text = std::to_string(i * 2654435761U) + std::string(i % 100, 'x');
    ASSERT_EQ(table.find(text), 0U);
    ASSERT_TRUE(table.insert(text, i));
    model[text] = i;
  }
  EXPECT_FALSE(table.insert(model.begin()->first, 7));
  EXPECT_EQ(table.getSize(), model.size());
  for (const auto& [text, number] : model) ASSERT_EQ(table.find(text), number);
  EXPECT_EQ(table.find("none"), 0U);
  std::uint64_t next = 1;
  table.forEachSince(0, [&](std::string_view text, std::uint64_t number) {
    ASSERT_EQ(number, next++);
    ASSERT_EQ(model.at(std::string(text)), number);
  });
  EXPECT_EQ(next, 120001U);
}

TEST(IdTable, GivesTheEntriesSinceAPlace) {
  IdTable table;
  table.reserve(1000000);
  table.insert("a", 1);
  const std::uint64_t place = table.getEnd();
  table.insert("", 2);
  table.insert(std::string(255, 'l'), 3);
  std::uint64_t sum = 0;
  table.forEachSince(place, [&](std::string_view, std::uint64_t number) { sum += number; });
  EXPECT_EQ(sum, 5U);
  EXPECT_EQ(table.find(std::string(255, 'l')), 3U);
  EXPECT_THROW(table.insert(std::string(256, 'l'), 4), std::length_error);
}

}  // namespace
}  // namespace vesk
