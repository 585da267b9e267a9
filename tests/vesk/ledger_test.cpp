#include "day/ledger.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "day/calendar_day.h"

namespace vesk {
namespace {

LedgerLine dayLine(const std::string& generation, const std::string& parent) {
  LedgerLine line;
  line.generation = generation;
  line.parent = parent;
  line.date = generation.substr(0, 10);
  line.finished = "2026-11-22T01:02:03Z";
  line.version = "2.0.6";
  line.settings = {{"CyclicTableSize", "20"}};
  line.output = "dataset";
  line.inputs = {{"a \"b\"\n\xFF", 12, std::string(64, 'a'), std::string(64, 'b'), 3, 2}};
  line.lines = 3;
  line.accepted = 2;
  line.refused = {{"short line", 1}};
  line.restricted = 4;
  line.callers = 5;
  line.entries = 6;
  line.droppedByHorizon = 7;
  line.stateBytes = 8;
  line.peakMemoryBytes = 9;
  line.seconds = 1.5;
  return line;
}

std::string refusalOf(const std::string& text) {
  try {
    readLedgerLine(text);
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TEST(LedgerTest, LineComesBack) {
  const LedgerLine line = dayLine("2026-11-21.2", "2026-11-20.1");
  const std::string text = writeLedgerLine(line);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  const LedgerLine back = readLedgerLine(text);
  EXPECT_EQ(back.generation, line.generation);
  EXPECT_EQ(back.parent, line.parent);
  EXPECT_EQ(back.settings, line.settings);
  EXPECT_EQ(back.inputs[0].contentSha256, line.inputs[0].contentSha256);
  EXPECT_EQ(back.refused, line.refused);
  EXPECT_EQ(back.droppedByHorizon, 7U);
  EXPECT_EQ(back.inputBytes(), 12U);
  EXPECT_EQ(writeLedgerLine(back), text) << "a byte that is no UTF-8 is replaced once";
}

TEST(LedgerTest, EveryWrongMemberIsNamed) {
  const auto good = nlohmann::ordered_json::parse(writeLedgerLine(dayLine("2026-11-21.2", "2026-11-20.1")));
  EXPECT_EQ(refusalOf(good.dump()), "");
  for (const auto& [name, value] : good.items()) {
    auto without = good;
    without.erase(name);
    EXPECT_EQ(refusalOf(without.dump()), "the member " + name + " is missing");
    auto other = good;
    other[name] = true;
    EXPECT_NE(refusalOf(other.dump()), "") << name;
  }
  auto bad = good;
  bad["generation"] = "../../etc";
  EXPECT_EQ(refusalOf(bad.dump()), "the member generation is no generation");
  bad = good;
  bad["parent"] = "2026-11-21.1/..";
  EXPECT_EQ(refusalOf(bad.dump()), "the member parent is no generation");
  bad = good;
  bad["settings"]["CyclicTableSize"] = "21";
  EXPECT_EQ(refusalOf(bad.dump()), "the hash of the settings is not that of the settings");
  bad = good;
  bad["finished"] = "2026-11-22T01:02:0\x1B";
  EXPECT_EQ(refusalOf(bad.dump()), "the member finished is no time");
  bad = good;
  bad["lines"] = -1;
  EXPECT_EQ(refusalOf(bad.dump()), "the member lines is no count");
  EXPECT_EQ(refusalOf("{"), "it is no JSON text");
  EXPECT_EQ(refusalOf("[]"), "it is no JSON object");
}

TEST(LedgerTest, GenerationsHaveADateAndANumber) {
  for (const char* name : {"2026-11-21.1", "2026-11-21.999999999"}) EXPECT_TRUE(isGenerationName(name)) << name;
  for (const char* name :
       {"", ".", "..", "2026-11-21", "2026-11-21.", "2026-11-21.0", "2026-11-21.01", "2026-02-30.1", "2026-11-21.1/",
        "2026-11-21.1.2", "2026-11-21.-1", "2026-11-21.1234567890", "x2026-11-21.1"}) {
    EXPECT_FALSE(isGenerationName(name)) << name;
  }
}

TEST(LedgerTest, ACutLastLineIsLeftOut) {
  const std::string first = writeLedgerLine(dayLine("2026-11-20.1", "")) + "\n";
  const std::string second = writeLedgerLine(dayLine("2026-11-21.1", "2026-11-20.1"));
  const Ledger ledger(first + second, "ledger.jsonl");
  EXPECT_EQ(ledger.getLines().size(), 1U);
  EXPECT_TRUE(ledger.hasCutLine());
  EXPECT_EQ(ledger.wholeBytes(), first.size());
  const Ledger whole(first + second + "\n", "ledger.jsonl");
  EXPECT_FALSE(whole.hasCutLine());
  EXPECT_EQ(whole.getLines().size(), 2U);
}

TEST(LedgerTest, DaysOfAGenerationFollowItsParents) {
  Ledger ledger;
  ledger.add(dayLine("2026-11-20.1", ""));
  ledger.add(dayLine("2026-11-21.1", "2026-11-20.1"));
  ledger.add(dayLine("2026-11-21.2", "2026-11-20.1"));
  ledger.add(dayLine("2026-11-22.1", "2026-11-21.2"));
  std::string days;
  for (const LedgerLine* const day : ledger.daysOf("2026-11-22.1")) days += day->generation + " ";
  EXPECT_EQ(days, "2026-11-22.1 2026-11-21.2 2026-11-20.1 ");
  EXPECT_THROW(ledger.daysOf("2026-11-23.1"), std::runtime_error);
  ledger.add(dayLine("2026-11-24.1", "2026-11-25.1"));
  ledger.add(dayLine("2026-11-25.1", "2026-11-24.1"));
  EXPECT_THROW(ledger.daysOf("2026-11-25.1"), std::runtime_error) << "a circle";
}

TEST(CalendarDayTest, ReadsIsoDatesOnly) {
  EXPECT_EQ(CalendarDay::parse("2020-02-29")->number(), 20200229U);
  EXPECT_EQ(CalendarDay::parse("2020-03-01")->loaderNumber(), 20200103U);
  EXPECT_EQ(CalendarDay::parse("2019-12-31")->plusDays(1).iso(), "2020-01-01");
  EXPECT_EQ(CalendarDay::parse("2020-03-01")->plusDays(-1).iso(), "2020-02-29");
  for (const char* text : {"", "20200101", "2020-1-1", "2020-13-01", "2019-02-29", "2020-01-00", "2020/01/01",
                           "0999-01-01", "2020-01-01 ", "+020-01-01", "2020-01-0x"}) {
    EXPECT_FALSE(CalendarDay::parse(text)) << text;
  }
}

}  // namespace
}  // namespace vesk
