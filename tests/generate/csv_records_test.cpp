#include "csv_records.h"

#include <sstream>

#include "generate.h"
#include "generate_fixture.h"

namespace vesk_generate {
namespace {

using ::testing::HasSubstr;
using testing::linesOf;
using ::testing::MatchesRegex;
using testing::TemporaryFolder;

GeneratorSettings smallSettings() {
  GeneratorSettings settings;
  settings.records = 2000;
  settings.callers = 300;
  settings.days = 3;
  return settings;
}

std::string rowsOf(const GeneratorSettings& settings, double badShare, std::uint64_t& bad) {
  RecordGenerator generator(settings);
  CsvRecords rows(generator, settings, badShare);
  std::string text;
  while (generator.recordsLeft() > 0) rows.addRow(text);
  bad = rows.getBadRows();
  return text;
}

TEST(CsvRecords, WritesASubscriberInOneWay) {
  EXPECT_EQ(subscriberText(8), "+4915100000008");
  EXPECT_EQ(subscriberText(7), "\"+49 151 0000 0007\"");
  EXPECT_EQ(subscriberText(123456789), "+49151123456789");
}

TEST(CsvRecords, HasTheCallsOfTheFixedColumns) {
  std::uint64_t bad = 0;
  const std::string text = rowsOf(smallSettings(), 0.0, bad);
  EXPECT_EQ(bad, 0U);
  // The line breaks inside quotes make two lines of some rows.
  std::vector<std::string> rows;
  for (const std::string& line : linesOf(text)) {
    if (line != "lines\"") rows.push_back(line);
  }
  const std::vector<std::string> records = testing::generateLines(smallSettings());
  ASSERT_EQ(rows.size(), records.size());
  const RecordLayout layout;
  int offsets = 0;
  int clocks = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::uint64_t caller = testing::numberIn(records[i], layout.caller);
    const std::uint64_t callee = testing::numberIn(records[i], layout.callee);
    const std::string begin = subscriberText(caller) + "," + subscriberText(callee) + ",2020-01-0";
    ASSERT_EQ(rows[i].substr(0, begin.size()), begin);
    ASSERT_THAT(rows[i].substr(begin.size() - 9),
                MatchesRegex("2020-01-0[1-4]T[0-2][0-9]:[0-5][0-9]:[0-5][0-9](Z|\\+01:00),[0-9:]+,[123],.*"));
    // The UTC date is that of the record: with an offset the first hour of the next day belongs to it.
    const std::string date = testing::columns(records[i], layout.date);
    const std::string day = rows[i].substr(begin.size(), 1);
    if (rows[i].find("+01:00,") == std::string::npos) {
      ASSERT_EQ(date.substr(7), day);
    } else {
      ++offsets;
      const bool isNextDay = rows[i].substr(begin.size() + 2, 2) == "00";
      ASSERT_EQ(std::stoi(date.substr(7)) + (isNextDay ? 1 : 0), std::stoi(day));
    }
    const std::string seconds = std::to_string(testing::numberIn(records[i], layout.duration));
    const std::string count = std::to_string(testing::numberIn(records[i], layout.multiplicity));
    if (rows[i].find("," + seconds + "," + count + ",") == std::string::npos) {
      ++clocks;
      ASSERT_THAT(rows[i], HasSubstr(":"));
    }
  }
  EXPECT_NEAR(offsets, 500, 80);
  EXPECT_NEAR(clocks, 250, 60);
}

TEST(CsvRecords, SpoilsAShareAndLeavesTheOtherRowsAlone) {
  std::uint64_t bad = 0;
  const std::string good = rowsOf(smallSettings(), 0.0, bad);
  const std::string spoiled = rowsOf(smallSettings(), 0.1, bad);
  EXPECT_NEAR(static_cast<double>(bad), 200, 50);
  for (const char* mistake : {",,2020", "2020-02-30T", ",n/a,", ",-1,", ",?\n", "Z\n"}) {
    EXPECT_THAT(spoiled, HasSubstr(mistake));
    EXPECT_EQ(good.find(mistake), std::string::npos) << mistake;
  }
}

TEST(CsvRecords, EachFileHasTheHeader) {
  const TemporaryFolder folder;
  const std::string path = folder.path("calls.csv");
  const char* const arguments[] = {"vesk-generate", "--csv", "--csv-bad", "0",         "-n", "10",
                                   "--files",       "2",     "-o",        path.c_str()};
  std::ostringstream out;
  std::ostringstream err;
  ASSERT_EQ(runGenerate(10, arguments, out, err), 0) << err.str();
  for (const char* part : {"calls.csv.1", "calls.csv.2"}) {
    EXPECT_EQ(folder.read(part).substr(0, 40), CsvRecords::header) << part;
  }
  EXPECT_THAT(err.str(), HasSubstr("10 records"));
  EXPECT_THAT(err.str(), HasSubstr("bad rows: 0\n"));
  const char* const wrong[] = {"vesk-generate", "--csv", "--bad", "all=0.1", "-o", path.c_str()};
  std::ostringstream reason;
  EXPECT_EQ(runGenerate(6, wrong, out, reason), 1);
  EXPECT_EQ(reason.str(), "vesk-generate: --bad does not go with --csv\n");
}

}  // namespace
}  // namespace vesk_generate
