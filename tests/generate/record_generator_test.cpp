#include "record_generator.h"

#include <set>
#include <stdexcept>

#include "generate_fixture.h"

namespace vesk_generate {
namespace {

using testing::checksum;
using testing::columns;
using ::testing::ContainsRegex;
using ::testing::Each;
using testing::generateLines;
using testing::generateText;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using testing::numberIn;
using ::testing::ThrowsMessage;

GeneratorSettings smallSettings() {
  GeneratorSettings settings;
  settings.records = 3000;
  settings.callers = 400;
  settings.groupCount = 20;
  return settings;
}

// What the seed means must never change, on any machine. The checksum is also that of a literal model of the formulas,
// written in another language with integers of any size.
TEST(RecordGenerator, GivesTheSameBytesForTheSameSeed) {
  GeneratorSettings settings = smallSettings();
  settings.badShares.fill(0.01);
  const std::string text = generateText(settings);
  EXPECT_EQ(text, generateText(settings));
  EXPECT_EQ(text.substr(0, 4 * 51),
            "            203             385 20200101     84  1\n"
            "             72             356 20200101     29  1\n"
            "            309             304 20200101     11  3\n"
            "            307              93 20200101    207  1\n");
  EXPECT_EQ(checksum(text), 1235095318132098169U);
}

TEST(RecordGenerator, GivesOtherBytesForAnotherSeed) {
  GeneratorSettings settings = smallSettings();
  const std::string first = generateText(settings);
  settings.seed = 2;
  EXPECT_NE(generateText(settings), first);
}

TEST(RecordGenerator, PiecesAndOnePassAgree) {
  GeneratorSettings settings = smallSettings();
  settings.badShares.fill(0.02);
  RecordGenerator generator(settings);
  std::vector<char> buffer(7 * generator.lineBytes());
  std::string pieces;
  while (generator.recordsLeft() > 0) pieces.append(buffer.data(), generator.fill(7, buffer));
  EXPECT_EQ(pieces, generateText(settings));
  EXPECT_EQ(generator.getRecordsMade(), 3000U);
  EXPECT_EQ(generator.fill(7, buffer), 0U);
}

TEST(RecordGenerator, TheDefaultLayoutHasEachFieldInItsColumns) {
  EXPECT_THAT(generateLines(smallSettings()),
              Each(MatchesRegex("[ 0-9]{14}[0-9] [ 0-9]{14}[0-9] [0-9]{8} [ 0-9]{5}[0-9]  [0-9]")));
}

TEST(RecordGenerator, EveryLineEndsWithALineFeed) {
  const std::string text = generateText(smallSettings());
  ASSERT_EQ(text.size(), 3000U * 51);
  for (std::size_t end = 50; end < text.size(); end += 51) ASSERT_EQ(text[end], '\n');
}

TEST(RecordGenerator, AnotherLayoutMovesTheFieldsAndNothingElse) {
  GeneratorSettings settings = smallSettings();
  const auto plain = generateLines(settings);
  settings.layout = parseLayout("40-54,1-9,12-21,23-30,32-32");
  const auto moved = generateLines(settings);
  const auto from = RecordLayout{}.fields();
  const auto to = settings.layout.fields();
  for (std::size_t i = 0; i < plain.size(); ++i) {
    ASSERT_EQ(moved[i].size(), 54U);
    for (std::size_t f = 0; f < from.size(); ++f) ASSERT_EQ(numberIn(moved[i], to[f]), numberIn(plain[i], from[f]));
  }
}

TEST(RecordGenerator, TheLargestNumbersFillTheirColumns) {
  GeneratorSettings settings;
  settings.records = 100;
  settings.callers = 2;
  settings.firstCaller = 999999999999998;
  for (const std::string& line : generateLines(settings)) {
    EXPECT_THAT(line, ContainsRegex("^99999999999999[89] 99999999999999[89] 2"));
  }
}

TEST(RecordGenerator, DatesRiseAndShareOutTheRecordsEvenly) {
  GeneratorSettings settings = smallSettings();
  settings.days = 30;
  const auto lines = generateLines(settings);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::size_t day = i / 100;  // 3000 records, 30 days
    ASSERT_EQ(numberIn(lines[i], settings.layout.date), 20200101 + day);
  }
}

TEST(RecordGenerator, ShuffledDatesReachEveryDay) {
  GeneratorSettings settings = smallSettings();
  settings.days = 5;
  settings.shuffleDates = true;
  settings.dateForm = DateForm::YearDayMonth;
  std::set<std::uint64_t> dates;
  bool falls = false;
  std::uint64_t last = 0;
  for (const std::string& line : generateLines(settings)) {
    const std::uint64_t date = numberIn(line, settings.layout.date);
    falls = falls || date < last;
    dates.insert(last = date);
  }
  EXPECT_TRUE(falls);
  EXPECT_EQ(dates, (std::set<std::uint64_t>{20200101, 20200201, 20200301, 20200401, 20200501}));
}

TEST(RecordGenerator, DurationsHaveTheMeanAsked) {
  GeneratorSettings settings = smallSettings();
  settings.records = 100000;
  settings.meanDurationSeconds = 300.0;
  double sum = 0.0;
  for (const std::string& line : generateLines(settings)) {
    sum += static_cast<double>(numberIn(line, settings.layout.duration));
  }
  EXPECT_NEAR(sum / 100000, 300.0,
              20.0);  // the standard deviation of the table is near 850: 5 * 850 / sqrt(100000) = 13
}

TEST(RecordGenerator, AFurtherCallHasTheProbabilityOneQuarter) {
  GeneratorSettings settings = smallSettings();
  settings.records = 64000;
  settings.maxMultiplicity = 3;
  std::vector<int> counts(4, 0);
  for (const auto& line : generateLines(settings)) ++counts.at(numberIn(line, settings.layout.multiplicity));
  EXPECT_EQ(counts[0], 0);
  EXPECT_NEAR(counts[1], 48000, 548);  // 5 standard deviations each
  EXPECT_NEAR(counts[2], 12000, 494);
  EXPECT_NEAR(counts[3], 4000, 307);
}

TEST(RecordGenerator, OneIsTheOnlyMultiplicityOnRequest) {
  GeneratorSettings settings = smallSettings();
  settings.maxMultiplicity = 1;
  for (const auto& line : generateLines(settings)) ASSERT_EQ(columns(line, settings.layout.multiplicity), " 1");
}

TEST(RecordGenerator, RefusesABufferThatIsTooSmallAndWritesNothing) {
  GeneratorSettings settings = smallSettings();
  RecordGenerator generator(settings);
  std::vector<char> buffer(2 * 51 - 1, '?');
  EXPECT_THROW((void)generator.fill(2, buffer), std::length_error);
  EXPECT_THAT(buffer, Each('?'));
  EXPECT_EQ(generator.fill(1, buffer), 51U);
}

TEST(RecordGenerator, NoRecordsAreNoBytes) {
  GeneratorSettings settings;
  settings.records = 0;
  EXPECT_EQ(generateText(settings), "");
}

struct WrongSetting {
  std::string text;
  void (*change)(GeneratorSettings&);
};

TEST(GeneratorSettings, EachSettingOutOfRangeIsRefused) {
  const std::vector<WrongSetting> cases{
      {"number of records", [](auto& s) { s.records = 100000000000001ULL; }},
      {"number of callers", [](auto& s) { s.callers = 1; }},
      {"number of callers", [](auto& s) { s.callers = 2000000001U; }},
      {"first caller", [](auto& s) { s.firstCaller = 0; }},
      {"activity exponent", [](auto& s) { s.activityExponent = -0.1; }},
      {"activity exponent", [](auto& s) { s.activityExponent = std::numeric_limits<double>::quiet_NaN(); }},
      {"popularity exponent", [](auto& s) { s.popularityExponent = 4.1; }},
      {"at least 2 members", [](auto& s) { s.groupSizeMin = 1; }},
      {"smallest group size", [](auto& s) { s.groupSizeMin = 16; }},
      {"smaller than the number of callers",
       [](auto& s) { s.groupCount = 1, s.groupSizeMin = s.groupSizeMax = s.callers; }},
      {"may need more callers", [](auto& s) { s.groupCount = s.callers / s.groupSizeMax + 1; }},
      {"share of calls inside", [](auto& s) { s.insideShare = 1.1; }},
      {"start date", [](auto& s) { s.startDate = parseDate("1949-12-31"); }},
      {"number of days", [](auto& s) { s.days = 0; }},
      {"number of days", [](auto& s) { s.days = 36526; }},
      {"after the year 9999", [](auto& s) { s.startDate = parseDate("9999-12-31"), s.days = 2; }},
      {"mean duration", [](auto& s) { s.meanDurationSeconds = 0.5; }},
      {"largest multiplicity", [](auto& s) { s.maxMultiplicity = 0; }},
      {"largest multiplicity", [](auto& s) { s.maxMultiplicity = 21; }},
      {"from 0 to 1", [](auto& s) { s.badShares[0] = -1.0; }},
      {"add up to more than 1", [](auto& s) { s.badShares[0] = 0.6, s.badShares[1] = 0.5; }},
      {"overlap", [](auto& s) { s.layout.callee.first = 15; }},
      {"largest caller does not fit", [](auto& s) { s.firstCaller = 999999999999999; }},
      {"largest caller does not fit", [](auto& s) { s.firstCaller = std::numeric_limits<std::uint64_t>::max(); }},
      {"largest callee does not fit", [](auto& s) { s.layout.callee.last = 19; }},
      {"largest multiplicity does not fit", [](auto& s) { s.maxMultiplicity = 10, s.layout.multiplicity.first = 50; }}};
  for (const WrongSetting& wrong : cases) {
    GeneratorSettings settings;
    wrong.change(settings);
    EXPECT_THAT([&] { RecordGenerator{settings}; }, ThrowsMessage<std::invalid_argument>(HasSubstr(wrong.text)))
        << wrong.text;
  }
}

TEST(GeneratorSettings, TheLimitsThemselvesAreAccepted) {
  GeneratorSettings settings;
  settings.callers = 30;
  settings.groupCount = 2;
  settings.groupSizeMin = 2;
  settings.groupSizeMax = 15;
  settings.insideShare = 1.0;
  settings.days = 36525;
  settings.activityExponent = 4.0;
  settings.popularityExponent = 0.0;
  settings.maxMultiplicity = 20;
  settings.meanDurationSeconds = 10000.0;
  settings.badShares[0] = 1.0;
  EXPECT_NO_THROW(checkSettings(settings));
}

}  // namespace
}  // namespace vesk_generate
