#include "outcome_generator.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "generate_fixture.h"

namespace vesk_generate {
namespace {

using testing::generateText;
using testing::linesOf;
using testing::numberIn;

struct Row {
  double calls = 0;
  double seconds = 0;
  double contacts = 0;
  double contactsBefore = 0;
  std::uint32_t group = 0;
  int before = 0;
  int outcome = 0;

  double share() const { return contacts > 0 ? contactsBefore / contacts : 0; }
};

using Rows = std::map<std::uint64_t, Row>;

/// The rows of the outcomes as text.
std::string outcomesOf(const GeneratorSettings& settings, std::string* records = nullptr) {
  RecordGenerator generator(settings);
  OutcomeGenerator outcomes(settings, generator.getNetwork());
  generator.countInto(outcomes);
  std::string text(settings.records * generator.lineBytes(), '?');
  text.resize(generator.fill(settings.records, text));
  if (records != nullptr) *records = text;
  std::string rows;
  while (outcomes.callersLeft() > 0) outcomes.addRow(rows);
  return rows;
}

/// The outcomes, with the numbers of each caller counted from the lines of the records.
Rows rowsOf(const GeneratorSettings& settings) {
  Rows rows;
  std::string records;
  for (const std::string& line : linesOf(outcomesOf(settings, &records))) {
    const std::size_t comma = line.find(',');
    Row& row = rows[std::stoull(line)];
    row.before = line.at(comma + 1) - '0';
    row.outcome = line.at(comma + 3) - '0';
  }
  const CallNetwork network(settings);
  for (std::uint32_t group = 1; group <= network.groupCount(); ++group) {
    for (const std::uint64_t member : network.groupMembers(group)) rows.at(member).group = group;
  }
  const RecordLayout& layout = settings.layout;
  for (const std::string& line : linesOf(records)) {
    if (line.size() + 1 < layout.lineBytes() || line.find("19000101") != std::string::npos) continue;
    Row& caller = rows.at(numberIn(line, layout.caller));
    Row& callee = rows.at(numberIn(line, layout.callee));
    const auto calls = static_cast<double>(numberIn(line, layout.multiplicity));
    caller.calls += calls;
    caller.seconds += static_cast<double>(numberIn(line, layout.duration));
    caller.contacts += calls;
    callee.contacts += calls;
    caller.contactsBefore += calls * callee.before;
    callee.contactsBefore += calls * caller.before;
  }
  return rows;
}

/// F of each caller without the level of the group, by the formula of the class.
std::vector<double> logOddsOf(const Rows& rows) {
  double meanCalls = 0;
  double meanSeconds = 0;
  for (const auto& [number, row] : rows) {
    meanCalls += row.calls / static_cast<double>(rows.size());
    meanSeconds += row.seconds / static_cast<double>(rows.size());
  }
  std::vector<double> logOdds;
  for (const auto& [number, row] : rows) {
    logOdds.push_back(OutcomeGenerator::base + OutcomeGenerator::callWeight * row.calls / (row.calls + meanCalls) +
                      OutcomeGenerator::minuteWeight * row.seconds / (row.seconds + meanSeconds) +
                      OutcomeGenerator::contactWeight * row.share());
  }
  return logOdds;
}

double logistic(double logOdds) { return 1 / (1 + std::exp(-logOdds)); }

struct Rate {
  double records = 0;
  double ones = 0;
  double expected = 0;
  double variance = 0;

  void add(int outcome, double probability) {
    ++records;
    ones += outcome;
    expected += probability;
    variance += probability * (1 - probability);
  }
  double rate() const { return ones / records; }
  /// The distance of the number of ones from its expectation, in standard deviations.
  double deviation() const { return (ones - expected) / std::sqrt(variance); }
};

GeneratorSettings groupSettings() {
  GeneratorSettings settings;
  settings.records = 400000;
  settings.callers = 20000;
  settings.firstCaller = 700;
  settings.groupCount = 1000;
  settings.groupSizeMin = 10;
  settings.groupSizeMax = 14;
  return settings;
}

TEST(OutcomeGenerator, HasARowPerCallerByAscendingNumber) {
  GeneratorSettings settings;
  settings.records = 10;
  settings.callers = 5;
  settings.firstCaller = 98;
  std::uint64_t number = 98;
  for (const std::string& line : linesOf(outcomesOf(settings))) {
    EXPECT_TRUE(line.starts_with(std::to_string(number++) + ",")) << line;
    EXPECT_EQ(line.substr(line.find(',')).size(), 4U);
  }
  EXPECT_EQ(number, 103U);
}

TEST(OutcomeGenerator, LeavesTheRecordsUnchangedAndIsRepeatable) {
  GeneratorSettings settings = groupSettings();
  settings.records = 20000;
  settings.badShares.fill(0.01);
  std::string records;
  const std::string outcomes = outcomesOf(settings, &records);
  EXPECT_EQ(records, generateText(settings));
  EXPECT_EQ(outcomesOf(settings), outcomes);
  settings.seed = 2;
  EXPECT_NE(outcomesOf(settings), outcomes);
}

TEST(OutcomeGenerator, BeforeIsFrequentInAFewGroups) {
  std::map<std::uint32_t, Rate> groups;
  Rate outside;
  for (const auto& [number, row] : rowsOf(groupSettings())) {
    (row.group == 0 ? outside : groups[row.group]).add(row.before, OutcomeGenerator::lowRate);
  }
  EXPECT_LT(std::fabs(outside.deviation()), 4);
  // In a group of 10 to 14 members, three or more members have `before` with a probability of at most 1 / 200 for the
  // rate 0.02, and of at least 5 / 6 for the rate 0.4.
  const auto high =
      std::count_if(groups.begin(), groups.end(), [](const auto& group) { return group.second.ones > 2; });
  EXPECT_GT(high, 80);
  EXPECT_LT(high, 160);
}

TEST(OutcomeGenerator, OutcomesOutsideOfGroupsFollowTheFormula) {
  GeneratorSettings settings = groupSettings();
  settings.groupCount = 0;
  const Rows rows = rowsOf(settings);
  const std::vector<double> logOdds = logOddsOf(rows);
  std::vector<double> sorted = logOdds;
  std::sort(sorted.begin(), sorted.end());
  std::vector<Rate> fifths(5);
  std::size_t i = 0;
  for (const auto& [number, row] : rows) {
    const auto place = std::lower_bound(sorted.begin(), sorted.end(), logOdds[i]) - sorted.begin();
    fifths[static_cast<std::size_t>(place) * 5 / sorted.size()].add(row.outcome, logistic(logOdds[i]));
    ++i;
  }
  for (const Rate& fifth : fifths) EXPECT_LT(std::fabs(fifth.deviation()), 4);
  EXPECT_GT(fifths[4].rate(), 2.5 * fifths[0].rate());
}

TEST(OutcomeGenerator, OutcomesDependOnTheUsage) {
  Rate few;
  Rate many;
  for (const auto& [number, row] : rowsOf(groupSettings())) {
    if (row.share() > 0.02) continue;  // keeps callers whose share of calls to `before` is nearly 0
    if (row.calls <= 3) few.add(row.outcome, 0.5);
    if (row.calls >= 30) many.add(row.outcome, 0.5);
  }
  ASSERT_GT(std::min(few.records, many.records), 500);
  EXPECT_GT(many.rate(), 2 * few.rate());
}

TEST(OutcomeGenerator, OutcomesDependOnTheContactsOfTheMonthBefore) {
  Rate without;
  Rate with;
  for (const auto& [number, row] : rowsOf(groupSettings())) {
    if (row.calls < 10 || row.calls > 40) continue;  // keeps callers with similar usage
    if (row.share() < 0.02) without.add(row.outcome, 0.5);
    if (row.share() > 0.3) with.add(row.outcome, 0.5);
  }
  ASSERT_GT(std::min(without.records, with.records), 200);
  EXPECT_GT(with.rate(), 3 * without.rate());
}

TEST(OutcomeGenerator, OutcomesDependOnTheLevelOfTheGroup) {
  // The expectation leaves out the level, so groups differ from it by more than chance explains.
  const Rows rows = rowsOf(groupSettings());
  const std::vector<double> logOdds = logOddsOf(rows);
  std::map<std::uint32_t, Rate> groups;
  std::size_t i = 0;
  for (const auto& [number, row] : rows) {
    if (row.group != 0) groups[row.group].add(row.outcome, logistic(logOdds[i]));
    ++i;
  }
  double squares = 0;
  for (const auto& [number, group] : groups) squares += group.deviation() * group.deviation();
  // The mean of 1000 squares of a standardised number is 1, with a standard deviation below 0.1.
  EXPECT_GT(squares / static_cast<double>(groups.size()), 1.3);
}

TEST(OutcomeGenerator, OnlyFewCallersHaveTheOutcome) {
  Rate all;
  for (const auto& [number, row] : rowsOf(groupSettings())) all.add(row.outcome, 0.5);
  EXPECT_GT(all.rate(), 0.05);
  EXPECT_LT(all.rate(), 0.10);
}

TEST(OutcomeGenerator, SpoiledLinesDoNotCount) {
  GeneratorSettings settings;
  settings.records = 2000;
  settings.callers = 50;
  RecordGenerator generator(settings);
  const OutcomeGenerator untouched(settings, generator.getNetwork());
  settings.badShares[static_cast<std::size_t>(BadLineKind::OldDate)] = 1;
  std::string spoiled = outcomesOf(settings);
  OutcomeGenerator without = untouched;
  std::string none;
  while (without.callersLeft() > 0) without.addRow(none);
  EXPECT_EQ(spoiled, none);
}

}  // namespace
}  // namespace vesk_generate
