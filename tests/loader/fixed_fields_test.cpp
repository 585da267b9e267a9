#include "fixed_fields.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace vesk_loader {
namespace {

class Split {
 public:
  Split(std::vector<std::int32_t> starts, std::vector<std::int32_t> ends, const std::string& line)
      : buffer(std::string(64, 'x') + line + std::string(64, 'x')), fields(starts, ends) {
    complete = fields.split_fixed_fields({buffer.data() + 64, line.size()});
    for (std::size_t i = 0; i < fields.cutCount(); ++i) texts.emplace_back(fields[i].text());
  }
  bool complete = false;
  std::vector<std::string> texts;

 private:
  std::string buffer;

 public:
  FixedFields fields;
};

using Texts = std::vector<std::string>;

TEST(FixedFields, CutsByColumnsBothEndsInclusive) {
  const Split split({0, 3, 5}, {2, 4, 5}, "abcdef");
  EXPECT_TRUE(split.complete);
  EXPECT_EQ(split.texts, (Texts{"abc", "de", "f"}));
}

TEST(FixedFields, MayOverlapAndStandInAnyOrder) {
  EXPECT_EQ(Split({2, 0}, {4, 3}, "abcdef").texts, (Texts{"cde", "abcd"}));
}

TEST(FixedFields, AreShortenedByTheEndOfTheLine) {
  const Split split({0, 3}, {2, 9}, "abcde");
  EXPECT_TRUE(split.complete);
  EXPECT_EQ(split.texts, (Texts{"abc", "de"}));
}

TEST(FixedFields, ThatStartAtTheEndOfTheLineAreEmpty) {
  const Split split({0, 3}, {2, 9}, "abc");
  EXPECT_TRUE(split.complete);
  EXPECT_EQ(split.texts, (Texts{"abc", ""}));
}

TEST(FixedFields, ThatStartBeyondTheLineStopTheCut) {
  const Split split({0, 4, 0}, {2, 9, 1}, "abc");
  EXPECT_FALSE(split.complete);
  EXPECT_EQ(split.texts, (Texts{"abc"}));
}

TEST(FixedFields, ThatStartBeforeTheFirstColumnCanNeverBeCut) {
  const Split split({0, -1}, {2, 3}, "abcdef");
  EXPECT_FALSE(split.complete);
  EXPECT_EQ(split.texts, (Texts{"abc"}));
}

TEST(FixedFields, ThatEndBeforeTheyStartAreEmpty) {
  EXPECT_EQ(Split({3, 3, 3}, {2, 1, -5}, "abcdef").texts, (Texts{"", "", ""}));
  EXPECT_FALSE(Split({7}, {2}, "abcdef").complete);
}

TEST(FixedFields, OfAnEmptyLineAreEmptyOnlyAtColumnZero) {
  EXPECT_EQ(Split({0}, {3}, "").texts, (Texts{""}));
  EXPECT_FALSE(Split({1}, {3}, "").complete);
}

TEST(FixedFields, OfTheFullLineComeBackAfterAShortOne) {
  const std::string margin(64, 'x');
  const std::string text = margin + "ab" + margin;
  const std::string full = margin + "abcdef" + margin;
  FixedFields fields({0}, {5});
  EXPECT_TRUE(fields.split_fixed_fields({text.data() + 64, 2}));
  EXPECT_EQ(fields[0].text(), "ab");
  EXPECT_TRUE(fields.split_fixed_fields({full.data() + 64, 6}));
  EXPECT_EQ(fields[0].text(), "abcdef");
}

TEST(FixedFields, WithoutFieldsCutEveryLine) { EXPECT_TRUE(Split({}, {}, "abc").complete); }

// The blank test by the rule as it is told: first and last character outside the set, no separator between them.
bool isOneWord(const std::string& text) {
  const std::string separators = " ,\t\n";
  const std::size_t first = text.find_first_not_of(separators);
  if (first == std::string::npos) return false;
  const std::size_t last = text.find_last_not_of(separators);
  return text.substr(first, last - first + 1).find_first_of(separators) == std::string::npos;
}

TEST(FixedFields, FindWordFollowsTheRuleForEveryWidth) {
  std::mt19937_64 random(7);
  for (std::size_t width = 1; width <= 140; ++width) {
    for (int round = 0; round < 400; ++round) {
      std::string text(width, ' ');
      const std::size_t start = random() % width;
      const std::size_t end = start + random() % (width - start + 1);
      for (std::size_t i = start; i < end; ++i) text[i] = static_cast<char>('0' + random() % 10);
      for (std::size_t changes = random() % 3; changes > 0; --changes)
        text[random() % width] = " ,\t.\x80\r"[random() % 6];
      Split split({0}, {static_cast<std::int32_t>(width) - 1}, text);
      EXPECT_EQ(split.fields.findWord(0), isOneWord(text)) << '[' << text << ']';
    }
  }
}

TEST(FixedFields, FindWordGivesTheWord) {
  Split split({0}, {9}, "  123,    ");
  ASSERT_TRUE(split.fields.findWord(0));
  EXPECT_EQ(split.fields[0].wordStart, 2U);
  EXPECT_EQ(split.fields[0].wordLength, 3U);
}

TEST(FixedFields, FindWordLeavesAWordBehindACommaToTheLibrary) {
  Split split({0}, {9}, " ,123     ");
  ASSERT_TRUE(split.fields.findWord(0));
  EXPECT_EQ(split.fields[0].wordLength, 0U);
  EXPECT_EQ(read_double(split.fields[0]), 0.0);
}

TEST(FixedFields, FindWordsStopsAtTheFirstBadField) {
  EXPECT_TRUE(Split({0, 2}, {1, 3}, "1 2 ").fields.findWords());
  EXPECT_FALSE(Split({0, 2}, {1, 3}, "1   ").fields.findWords());
  EXPECT_FALSE(Split({0, 2}, {2, 3}, "1 2 ").fields.findWords());
}

}  // namespace
}  // namespace vesk_loader
