#include "records/line_examiner.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "line_scan.h"
#include "loader_common.h"
#include "loader_tables.h"
#include "record_scan.h"
#include "support/stdout_capture.h"

namespace vesk {
namespace {

using vesk_loader::Line;
using vesk_loader::LoaderSettings;

/// A text with the room beside it that the reader of fields needs.
class PaddedLine {
 public:
  explicit PaddedLine(const std::string& text) : padded(std::string(64, 'x') + text + std::string(64, 'x')) {
    line = {padded.data() + 64, text.size()};
  }
  Line line;

 private:
  std::string padded;
};

/// Caller in columns 1-4, callee 5-8, date 9-16, seconds 17-20.
LoaderSettings tableSettings() {
  LoaderSettings settings;
  settings.fieldNames = {"Caller", "Callee", "Date", "Seconds"};
  settings.fieldTypes = {"Numeric", "Numeric", "Numeric", "Numeric"};
  settings.fieldStarts = {0, 4, 8, 16};
  settings.fieldEnds = {3, 7, 15, 19};
  settings.cyclicTableSize = 5;
  settings.operationNames = {"CyclicAdd"};
  settings.operationInputs = {1};
  settings.operationOutputs = {-1};
  settings.operationConditions = {"NoCondition"};
  settings.operationThresholds = {-1.0};
  settings.sparse = 1;
  settings.keyField = 0;
  settings.dateField = 2;
  settings.dateHorizon = 30;
  return settings;
}

std::string causeOf(const LoaderSettings& settings, const RecordDates& dates, const std::string& text) {
  LineExaminer examiner(settings, dates);
  const PaddedLine padded(text);
  const std::optional<Refusal> refusal = examiner.examine(padded.line);
  if (!refusal) return "";
  return std::string(nameOf(refusal->cause)) +
         (refusal->field == Refusal::WholeLine ? "" : " " + settings.fieldNames[refusal->field]);
}

constexpr RecordDates ymd{2, 20190812.0, 20200108};

TEST(LineExaminerTest, AcceptsWhatStandsThere) {
  const LoaderSettings settings = tableSettings();
  for (const char* text :
       {"   1   520200105  60", "1   5   20200105 60", "  +1  +520200105  60", " 1.0   520200105  60",
        "   1  5,20200105  60", "   1   020200105  60", "   1  -520200105  60", "   1   520200108  60"}) {
    EXPECT_EQ(causeOf(settings, ymd, text), "") << text;
  }
}

TEST(LineExaminerTest, FieldsThatNoOperationReadsCanBeAnyWord) {
  EXPECT_EQ(causeOf(tableSettings(), ymd, "   1   520200105 abc"), "");
  EXPECT_EQ(causeOf(tableSettings(), ymd, "   1   520200105    "), "blank field Seconds");
}

TEST(LineExaminerTest, NumbersAreRefusedThatWouldBeReadAsOthers) {
  const LoaderSettings settings = tableSettings();
  EXPECT_EQ(causeOf(settings, ymd, "   1 0x520200105  60"), "not a number Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1 12a20200105  60"), "not a number Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1 1e220200105  60"), "not a number Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1 inf20200105  60"), "not a number Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1 nan20200105  60"), "not a number Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1 1.520200105  60"), "not a number Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1  ,520200105  60"), "comma or tab inside a field Callee");
  EXPECT_EQ(causeOf(settings, ymd, "  +-   520200105  60"), "not a number Caller");
  EXPECT_EQ(causeOf(settings, ymd, "  .    520200105  60"), "not a number Caller");
  EXPECT_EQ(causeOf(settings, ymd, "   1  -120200105  60"), "-1 or -2 Callee");
  EXPECT_EQ(causeOf(settings, ymd, "   1  -220200105  60"), "-1 or -2 Callee");
  EXPECT_EQ(causeOf(settings, ymd, " 0.9   520200105  60"), "not a number Caller");
}

TEST(LineExaminerTest, IdsAreExactInADouble) {
  LoaderSettings settings = tableSettings();
  settings.fieldStarts = {0, 20, 40, 48};
  settings.fieldEnds = {19, 39, 47, 51};
  const auto callee = [&](const std::string& text) {
    return causeOf(settings, ymd, "                   1" + std::string(20 - text.size(), ' ') + text + "20200105  60");
  };
  EXPECT_EQ(callee("9007199254740992"), "");
  EXPECT_EQ(callee("9007199254740993"), "number above 2^53 Callee");
  EXPECT_EQ(callee("09007199254740992"), "");
  EXPECT_EQ(callee("12345678901234567"), "number above 2^53 Callee");
  EXPECT_EQ(callee("99999999999999999999"), "number above 2^53 Callee");
  EXPECT_EQ(callee("-9007199254740993"), "number above 2^53 Callee");
  EXPECT_EQ(callee("9007199254740992.5"), "not a number Callee") << "its double is whole";
  EXPECT_EQ(callee("1.00000000000000001"), "not a number Callee");
  EXPECT_EQ(callee("12.00"), "");
}

TEST(LineExaminerTest, MultiplicitiesAreThoseThatTheLoaderCounts) {
  LoaderSettings settings = tableSettings();
  settings.fieldStarts = {0, 4, 8, 16};
  settings.fieldEnds = {3, 7, 15, 27};
  settings.multiplicityField = 3;
  settings.payloadInputs.clear();
  const auto multiplicity = [&](const std::string& text) {
    return causeOf(settings, ymd, "   1   520200105" + std::string(12 - text.size(), ' ') + text);
  };
  EXPECT_EQ(multiplicity("2147483648"), "") << "a table takes as many entries as it holds";
  settings.cyclicTableSize = 0;
  settings.dateField = -1;
  settings.operationNames = {"Count"};
  EXPECT_EQ(multiplicity("2147483647"), "");
  EXPECT_EQ(multiplicity("2147483648"), "multiplicity above 2^31 - 1 Seconds");
  EXPECT_EQ(multiplicity("1.5"), "not a number Seconds");
  EXPECT_EQ(multiplicity("0"), "");
}

TEST(LineExaminerTest, DatesAreDaysOfTheCalendar) {
  const LoaderSettings settings = tableSettings();
  const auto date = [&](const std::string& text) { return causeOf(settings, ymd, "   1   5" + text + "  60"); };
  EXPECT_EQ(date("20191208"), "");
  EXPECT_EQ(date("20191207"), "before the horizon Date");
  EXPECT_EQ(date("20200109"), "after the day Date");
  EXPECT_EQ(date("20200431"), "no such date Date");
  EXPECT_EQ(date("20190229"), "no such date Date");
  EXPECT_EQ(date("20200001"), "no such date Date");
  EXPECT_EQ(date("20201301"), "no such date Date");
  EXPECT_EQ(date("20200100"), "no such date Date");
  EXPECT_EQ(date(" 2020010"), "no such date Date");
  EXPECT_EQ(date("99999999"), "no such date Date");
  EXPECT_EQ(date("2020.105"), "no such date Date");
  EXPECT_EQ(date("      -1"), "no such date Date") << "also as the first date of a run";
  RecordDates ydm = ymd;
  ydm.format = 1;
  EXPECT_EQ(causeOf(settings, ydm, "   1   520203112  60"), "after the day Date");
  EXPECT_EQ(causeOf(settings, ydm, "   1   520193112  60"), "");
  EXPECT_EQ(causeOf(settings, {}, "   1   599999999  60"), "") << "dates are not considered";
  EXPECT_EQ(causeOf(settings, {}, "   1   5 no date  60"), "blank inside a field Date");
  EXPECT_EQ(causeOf(settings, {}, "   1   5  nodate  60"), "not a number Date") << "the state keeps it";
}

TEST(LineExaminerTest, CountsEntriesThatTheSpecialListLeavesOut) {
  LoaderSettings settings = tableSettings();
  settings.specialList.assign({5.0});
  settings.specialListFilter = vesk_loader::SpecialListFilter::Exclude;
  LineExaminer examiner(settings, ymd);
  EXPECT_FALSE(examiner.examine(PaddedLine("   1   520200105  60").line));
  ASSERT_EQ(examiner.getRestricted().size(), 1U);
  EXPECT_EQ(examiner.getRestricted()[0].field, 1U);
  EXPECT_FALSE(examiner.examine(PaddedLine("   1   620200105  60").line));
  EXPECT_TRUE(examiner.getRestricted().empty());
}

TEST(LineExaminerTest, ADayThatTheListLeavesOutCountsInEachLine) {
  LoaderSettings settings = tableSettings();
  settings.operationInputs = {2};
  settings.specialList.assign({20200105.0});
  settings.specialListFilter = vesk_loader::SpecialListFilter::Exclude;
  LineExaminer examiner(settings, ymd);
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(examiner.examine(PaddedLine("   1   520200105  60").line));
    EXPECT_EQ(examiner.getRestricted().size(), 1U);
  }
}

TEST(LineExaminerTest, TheFirstDateIsJudged) {
  EXPECT_EQ(causeOf(tableSettings(), ymd, "   1   500000000  60"), "no such date Date");
  EXPECT_EQ(causeOf(tableSettings(), ymd, "   1   5      -1  60"), "no such date Date");
}

// Whatever is accepted here, the loader loads, and whatever the loader omits is refused here.
TEST(LineExaminerTest, RefusesWhatTheLoaderOmits) {
  std::mt19937 random(14);
  const std::string characters = "0123456789 ,\t.-+ex";
  LoaderSettings settings = tableSettings();
  LineExaminer examiner(settings, ymd);
  vesk_loader::setVerbosity(0);
  std::uint64_t accepted = 0;
  std::uint64_t omitted = 0;
  std::string wrong;
  {
    const StdoutCapture silence;
    vesk_loader::start_new_file_statistics(vesk_loader::scan_statistics(), "x", settings.operationNames);
    vesk_loader::LoaderTables tables = vesk_loader::LoaderTables::create(settings);
    vesk_loader::ScanScope scope;
    scope.cutoffDate = ymd.cutoff;
    scope.dateFormat = ymd.format;
    std::uint32_t counter = 0;
    vesk_loader::LineScan scan(tables, settings, scope, counter);
    for (int i = 0; i < 60000; ++i) {
      std::string text = "  12  3420200105  60";
      const auto changes = random() % 4;
      for (unsigned c = 0; c < changes; ++c) text[random() % text.size()] = characters[random() % characters.size()];
      if (random() % 8 == 0) text.resize(random() % (text.size() + 1));
      const PaddedLine padded(text);
      scan.countLine();
      scan.scanLine("x", padded.line);
      const bool isOmitted = vesk_loader::scan_statistics().current().linesOmitted > omitted;
      const bool isRefused = examiner.examine(padded.line).has_value();
      if (isOmitted && !isRefused) wrong += "[" + text + "]";
      accepted += isRefused ? 0 : 1;
      omitted += isOmitted ? 1 : 0;
    }
    scan.finish();
  }
  vesk_loader::setVerbosity(1);
  EXPECT_EQ(wrong, "");
  EXPECT_GT(accepted, 10000U);
  EXPECT_GT(omitted, 10000U);
}

}  // namespace
}  // namespace vesk
