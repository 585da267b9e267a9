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
    for (std::size_t i = 0; i < fields.cutCount(); ++i) texts.emplace_back(fields.text(i));
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
  EXPECT_EQ(fields.text(0), "ab");
  EXPECT_TRUE(fields.split_fixed_fields({full.data() + 64, 6}));
  EXPECT_EQ(fields.text(0), "abcdef");
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
      const Split split({0}, {static_cast<std::int32_t>(width) - 1}, text);
      FieldText word;
      EXPECT_EQ(split.fields.findWord(0, word), isOneWord(text)) << '[' << text << ']';
    }
  }
}

TEST(FixedFields, FindWordGivesTheWord) {
  const Split split({0}, {9}, "  123,    ");
  FieldText word;
  ASSERT_TRUE(split.fields.findWord(0, word));
  EXPECT_EQ(word.wordStart, 2U);
  EXPECT_EQ(word.wordLength, 3U);
}

TEST(FixedFields, FindWordLeavesAWordBehindACommaToTheLibrary) {
  const Split split({0}, {9}, " ,123     ");
  FieldText word;
  ASSERT_TRUE(split.fields.findWord(0, word));
  EXPECT_EQ(word.wordLength, 0U);
  EXPECT_EQ(read_double(word), 0.0);
}

TEST(FixedFields, FindWordsStopsAtTheFirstBadField) {
  EXPECT_TRUE(Split({0, 2}, {1, 3}, "1 2 ").fields.findWords());
  EXPECT_FALSE(Split({0, 2}, {1, 3}, "1   ").fields.findWords());
  EXPECT_FALSE(Split({0, 2}, {2, 3}, "1 2 ").fields.findWords());
}

// A line of blanks, words and separators, with more bad characters than records have.
std::string randomLine(std::mt19937_64& random, std::size_t length) {
  std::string line(length, ' ');
  for (char& character : line) {
    const auto kind = random() % 40;
    if (kind < 25) character = static_cast<char>('0' + random() % 10);
    if (kind == 25) character = ",\t\r\x80.-+"[random() % 7];
  }
  return line;
}

TEST(FixedFields, FindWordsFollowsTheRuleForAnyLayout) {
  std::mt19937_64 random(23);
  int accepted = 0;
  for (int layout = 0; layout < 6000; ++layout) {
    std::vector<std::int32_t> starts;
    std::vector<std::int32_t> ends;
    const std::size_t fieldCount = 1 + random() % 8;
    std::int32_t next = 0;
    for (std::size_t i = 0; i < fieldCount; ++i) {
      // Most layouts are in order and without overlaps; widths reach beyond a window now and then.
      const auto start = random() % 20 == 0 ? static_cast<std::int32_t>(random() % 100)
                                            : next + static_cast<std::int32_t>(random() % 3);
      const auto width = static_cast<std::int32_t>(random() % 30 == 0 ? random() % 90 : 1 + random() % 40);
      starts.push_back(start);
      ends.push_back(start + width - 1);
      next = start + width;
    }
    for (int round = 0; round < 20; ++round) {
      std::string line = randomLine(random, static_cast<std::size_t>(next) + random() % 4);
      if (round % 2 == 0) {  // a good line but for one character at most
        line.assign(line.size(), ' ');
        for (std::size_t i = 0; i < fieldCount; ++i) {
          const std::int32_t width = ends[i] - starts[i] + 1;
          if (width < 1) continue;
          const auto wordWidth = 1 + random() % static_cast<std::uint64_t>(width);
          const auto before = random() % (static_cast<std::uint64_t>(width) - wordWidth + 1);
          for (std::uint64_t j = 0; j < wordWidth; ++j) {
            const auto place = static_cast<std::size_t>(starts[i]) + before + j;
            if (place < line.size()) line[place] = static_cast<char>('0' + random() % 10);
          }
        }
        if (random() % 2 == 0) line[random() % line.size()] = " ,\t.\x80\r"[random() % 6];
      }
      if (random() % 8 == 0) line.resize(random() % (line.size() + 1));  // a short line
      Split split(starts, ends, line);
      if (!split.complete) continue;
      bool expected = true;
      for (const std::string& text : split.texts) expected = expected && isOneWord(text);
      ASSERT_EQ(split.fields.findWords(), expected) << '[' << line << ']';
      if (!expected) continue;
      ++accepted;
      for (std::size_t i = 0; i < fieldCount; ++i) {
        const FieldText together = split.fields[i];
        FieldText alone;
        ASSERT_TRUE(split.fields.findWord(i, alone));
        EXPECT_EQ(together.text(), split.texts[i]);
        EXPECT_EQ(together.wordLength, alone.wordLength) << '[' << split.texts[i] << ']';
        EXPECT_TRUE(alone.wordLength == 0 || together.wordStart == alone.wordStart) << '[' << split.texts[i] << ']';
      }
    }
  }
  EXPECT_GT(accepted, 20000);
}

TEST(Separators, AreTheSameInBothForms) {
  std::mt19937_64 random(29);
  for (int round = 0; round < 20000; ++round) {
    std::string text = randomLine(random, 64);
    text[random() % text.size()] = static_cast<char>(random());
    const auto length = static_cast<std::uint32_t>(1 + random() % 64);
    const std::uint64_t inside = ~std::uint64_t{0} >> (64 - length);
    std::uint64_t all = 0;
    std::uint64_t notBlanks = 0;
    for (std::uint32_t i = 0; i < length; ++i) {
      const std::uint64_t bit = std::uint64_t{1} << i;
      if (text[i] == ',' || text[i] == '\t') notBlanks |= bit;
      if (text[i] == ' ' || (notBlanks & bit) != 0) all |= bit;
    }
    const SeparatorMask words = separators_by_words(text.data(), length);
    EXPECT_EQ(words.all & inside, all);
    EXPECT_EQ(words.notBlanks & inside, notBlanks);
#ifdef __SSE2__
    const SeparatorMask vectors = separators_by_vectors(text.data(), length);
    EXPECT_EQ(vectors.all & inside, all);
    EXPECT_EQ(vectors.notBlanks & inside, notBlanks);
#endif
  }
}

}  // namespace
}  // namespace vesk_loader
