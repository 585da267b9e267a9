#include "bad_lines.h"

#include <set>
#include <stdexcept>

#include "generate_fixture.h"

namespace vesk_generate {
namespace {

using testing::columns;
using testing::generateLines;

GeneratorSettings settingsWith(BadLineKind kind, double share) {
  GeneratorSettings settings;
  settings.records = 2000;
  settings.callers = 500;
  settings.badShares[static_cast<std::size_t>(kind)] = share;
  return settings;
}

std::vector<std::string> spoiltLines(BadLineKind kind) { return generateLines(settingsWith(kind, 1.0)); }

bool isBlank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

/// True when a blank stands between two other characters.
bool hasInnerBlank(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first != std::string::npos && text.substr(first, text.find_last_not_of(' ') - first).find(' ') != text.npos;
}

/// The number of fields for which the test holds, by line.
template <class Test>
std::set<long> fieldCounts(const std::vector<std::string>& lines, Test test) {
  std::set<long> counts;
  for (const std::string& line : lines) {
    const auto fields = RecordLayout{}.fields();
    counts.insert(std::count_if(fields.begin(), fields.end(), [&](const auto& f) { return test(columns(line, f)); }));
  }
  return counts;
}

// The second id field starts behind the end of the line: 0-based start 16, so at most 15 characters.
TEST(BadLines, AShortLineEndsBeforeTheSecondIdField) {
  std::set<std::size_t> lengths;
  for (const std::string& line : spoiltLines(BadLineKind::ShortLine)) lengths.insert(line.size());
  EXPECT_EQ(*lengths.begin(), 0U);
  EXPECT_EQ(*lengths.rbegin(), 15U);
}

TEST(BadLines, ABlankFieldIsAnyOneOfTheFive) {
  const auto lines = spoiltLines(BadLineKind::BlankField);
  EXPECT_EQ(fieldCounts(lines, isBlank), std::set<long>{1});
  for (const ColumnRange& field : RecordLayout{}.fields()) {
    EXPECT_TRUE(
        std::any_of(lines.begin(), lines.end(), [&](const auto& line) { return isBlank(columns(line, field)); }));
  }
}

TEST(BadLines, AnInnerBlankSplitsOneField) {
  EXPECT_EQ(fieldCounts(spoiltLines(BadLineKind::InnerBlank), hasInnerBlank), std::set<long>{1});
}

TEST(BadLines, TheCallerIsZeroNegativeOrNoNumber) {
  const ColumnRange caller = RecordLayout{}.caller;
  for (const auto& line : spoiltLines(BadLineKind::ZeroCaller)) EXPECT_EQ(columns(line, caller), "              0");
  for (const auto& line : spoiltLines(BadLineKind::TextCaller)) EXPECT_EQ(columns(line, caller), "            abc");
  std::set<int> callers;
  for (const auto& line : spoiltLines(BadLineKind::NegativeCaller)) callers.insert(std::stoi(columns(line, caller)));
  EXPECT_EQ(callers, (std::set<int>{-9, -8, -7, -6, -5, -4, -3, -2, -1}));
}

TEST(BadLines, AnOldDateIsTheFirstDayOf1900) {
  for (const auto& line : spoiltLines(BadLineKind::OldDate)) EXPECT_EQ(columns(line, RecordLayout{}.date), "19000101");
}

TEST(BadLines, EachKindKeepsTheLengthOfTheLineButTheShortOne) {
  for (std::size_t kind = 1; kind < badLineKinds; ++kind) {
    for (const auto& line : spoiltLines(static_cast<BadLineKind>(kind))) ASSERT_EQ(line.size(), 50U) << kind;
  }
}

TEST(BadLines, AreCountedByKindAndLeaveTheOthersAlone) {
  GeneratorSettings clean = settingsWith(BadLineKind::ZeroCaller, 0.0);
  GeneratorSettings dirty = clean;
  dirty.badShares = {0.0, 0.0, 0.0, 0.1, 0.0, 0.2, 0.0};
  const auto cleanLines = generateLines(clean);
  const auto dirtyLines = generateLines(dirty);
  std::uint64_t zeros = 0;
  std::uint64_t texts = 0;
  for (std::size_t i = 0; i < dirtyLines.size(); ++i) {
    const std::string caller = columns(dirtyLines[i], RecordLayout{}.caller);
    if (caller == "              0") {
      ++zeros;
    } else if (caller == "            abc") {
      ++texts;
    } else {
      ASSERT_EQ(dirtyLines[i], cleanLines[i]);
    }
    ASSERT_EQ(dirtyLines[i].substr(15), cleanLines[i].substr(15));
  }
  RecordGenerator generator(dirty);
  std::vector<char> buffer(dirty.records * generator.lineBytes());
  ASSERT_GT(generator.fill(dirty.records, buffer), 0U);
  EXPECT_EQ(generator.getBadLines(), (BadLineCounts{0, 0, 0, zeros, 0, texts, 0}));
  EXPECT_NEAR(static_cast<double>(zeros), 200.0, 67.0);  // 5 standard deviations of 13.4
  EXPECT_NEAR(static_cast<double>(texts), 400.0, 90.0);  // 5 standard deviations of 17.9
}

TEST(BadLines, ReadsSharesByKind) {
  BadLineShares shares{};
  parseBadShare("short=0.25", shares);
  parseBadShare("old-date=1e-3", shares);
  EXPECT_EQ(shares, (BadLineShares{0.25, 0.0, 0.0, 0.0, 0.0, 0.0, 0.001}));
  parseBadShare("all=0.7", shares);
  for (const double share : shares) EXPECT_DOUBLE_EQ(share, 0.1);
}

TEST(BadLines, RefusesUnknownKindsAndShares) {
  BadLineShares shares{};
  for (const char* wrong :
       {"", "short", "short=", "short=x", "short=1.5", "short=-0.1", "short=nan", "tall=0.1", "short=0.1x", "=0.1"}) {
    EXPECT_THROW(parseBadShare(wrong, shares), std::invalid_argument) << wrong;
  }
  EXPECT_EQ(shares, BadLineShares{});
}

}  // namespace
}  // namespace vesk_generate
