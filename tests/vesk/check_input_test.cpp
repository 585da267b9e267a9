#include "check/input_check.h"

#include <random>

#include "check/run_estimate.h"
#include "files/sha256.h"
#include "support/temporary_folder.h"

namespace vesk {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string padded(std::uint64_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width - std::min(width, digits.size()), ' ') + digits;
}

/// Lines of a caller in columns 1-12, a callee in 14-25, a date in 27-34 and a duration in 36-40.
class CheckInput : public ::testing::Test {
 protected:
  CheckInput() { read(); }

  void read() {
    std::string text = "<LoaderParams>";
    const char* const names[] = {"Caller", "Callee", "Date", "Seconds"};
    for (std::size_t i = 0; i < 4; ++i) {
      const std::string number = std::to_string(i + 1);
      text += "<Field" + number + "><Name>" + names[i] + "</Name><Type>Numeric</Type><Start>" +
              std::to_string(columns[i].first) + "</Start><End>" + std::to_string(columns[i].second) + "</End></Field" +
              number + ">";
    }
    text +=
        "<Key>1</Key><DateField>3</DateField><DateHorizon>30</DateHorizon><CyclicTableSize>20</CyclicTableSize>"
        "<Output>Sparse</Output><Operation1><OpName>CyclicAdd</OpName><Input>2</Input>" +
        condition +
        "</Operation1><Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2></LoaderParams>";
    parameters = checkParameters(text, "p");
    ASSERT_FALSE(parameters.hasErrors()) << parameters.findings[0].text;
  }

  /// Lines of ids from `first` to `last` by chance.
  std::string lines(std::uint64_t first, std::uint64_t last, std::size_t count = 500,
                    const std::string& date = "20200115") {
    std::string text;
    const auto id = [&] { return first + random() % (last - first + 1); };
    for (std::size_t i = 0; i < count; ++i) {
      text += padded(id(), 12) + " " + padded(id(), 12) + " " + date + " " + padded(1 + random() % 900, 5) + "\n";
    }
    return text;
  }

  std::vector<std::string> errors() {
    std::vector<std::string> texts;
    for (const auto& finding : checkInput(parameters, listInput(folder.path("in")), dates, 10000)) {
      EXPECT_TRUE(finding.isError);
      texts.push_back(finding.text);
    }
    return texts;
  }
  std::vector<std::string> errorsOf(const std::string& content) {
    folder.write("in/a", content);
    return errors();
  }
  std::vector<std::string> remarksOf(const std::string& content) {
    folder.write("in/a", content);
    const InputSample sample = sampleInput(parameters.settings, listInput(folder.path("in")), dates, 10000);
    std::vector<std::string> texts;
    for (const auto& finding : findInSample(parameters, sample, dates)) {
      if (!finding.isError) texts.push_back(finding.text);
    }
    return texts;
  }

  TemporaryFolder folder;
  std::mt19937_64 random{14};
  std::pair<int, int> columns[4] = {{1, 12}, {14, 25}, {27, 34}, {36, 40}};
  std::string condition;
  CheckedParameters parameters;
  RecordDates dates{MonthFirst, 0.0, 0};
};

TEST_F(CheckInput, GoodLinesHaveNoFinding) {
  EXPECT_THAT(errorsOf(lines(1, 999999)), IsEmpty());
  EXPECT_THAT(errorsOf(lines(491500000000, 491599999999)), IsEmpty());
  EXPECT_THAT(remarksOf(lines(491500000000, 491599999999)), IsEmpty());
}

TEST_F(CheckInput, AFieldThatEndsTooEarly) {
  columns[1] = {14, 23};
  read();
  EXPECT_THAT(errorsOf(lines(1, 999999)), ElementsAre(AllOf(HasSubstr("Field2 (Callee, columns 14-23)"),
                                                            HasSubstr("the numbers go on after the field"))));
  // Numbers that always fill the field.
  EXPECT_THAT(errorsOf(lines(491500000000, 491599999999)), ElementsAre(HasSubstr("go on after the field")));
  columns[1] = {14, 25};
  columns[0] = {1, 11};
  read();
  EXPECT_THAT(errorsOf(lines(1, 97806)),
              ElementsAre(HasSubstr("Field1 (Caller, columns 1-11): the numbers go on after")));
}

TEST_F(CheckInput, AFieldThatBeginsTooLate) {
  columns[0] = {8, 12};
  read();
  EXPECT_THAT(errorsOf(lines(1, 999999, 5000)),
              ElementsAre(HasSubstr("Field1 (Caller, columns 8-12): the numbers go on before the field")));
  // Leading digits that are the same in all lines can be a column of their own: that is no error.
  columns[0] = {3, 12};
  read();
  EXPECT_THAT(errorsOf(lines(491500000000, 491599999999)), IsEmpty());
  EXPECT_THAT(remarksOf(lines(491500000000, 491599999999)), Contains(HasSubstr("a digit just before the field")));
}

TEST_F(CheckInput, UnlistedColumnsBesideAFieldAreNoError) {
  // A code of two digits after the callee, as wide as the gap, whatever the callee's length.
  const auto withCode = [&](std::uint64_t first, std::uint64_t last, const char* code) {
    std::string text;
    for (int i = 0; i < 500; ++i) {
      text += padded(first + random() % (last - first), 12) + code + padded(first + random() % (last - first), 12) +
              " 20200115 " + padded(random() % 900 + 1, 5) + "\n";
    }
    return text;
  };
  EXPECT_THAT(errorsOf(withCode(1, 999999, "7")), IsEmpty());
  EXPECT_THAT(errorsOf(withCode(491500000000, 491599999999, "7")), IsEmpty());
  // A flag before a callee that fills its field in nearly all lines.
  std::string flags;
  for (int i = 0; i < 5000; ++i) {
    flags += "491512345678" + std::string(random() % 20 == 0 ? "1" : " ") +
             padded(i % 100 == 0 ? 91512345678 : 491512345678, 12) + " 20200115 " + padded(random() % 900 + 1, 5) +
             "\n";
  }
  EXPECT_THAT(errorsOf(flags), IsEmpty());
  // Minutes after a callee that always fills its field; their first digit is one of six.
  std::string minutes;
  for (int i = 0; i < 500; ++i) {
    minutes += "491512345678 " + std::to_string(491512345678 + random() % 90000) + std::to_string(random() % 6) +
               "7 20200115 " + padded(random() % 900 + 1, 4) + "\n";
  }
  columns[2] = {29, 36};
  columns[3] = {38, 41};
  read();
  EXPECT_THAT(errorsOf(minutes), IsEmpty());
  // The time of day follows the date.
  columns[2] = {27, 34};
  columns[3] = {42, 46};
  read();
  std::string text;
  for (int i = 0; i < 500; ++i) {
    const std::string time = std::to_string(100000 + random() % 139999);
    text += padded(random() % 99999 + 1, 12) + " " + padded(random() % 99999 + 1, 12) + " 20200115" + time + " " +
            padded(random() % 900 + 1, 5) + "\n";
  }
  EXPECT_THAT(errorsOf(text), IsEmpty());
}

TEST_F(CheckInput, FewLinesSayNothingOfTheWidth) {
  columns[1] = {14, 23};
  read();
  EXPECT_THAT(errorsOf(lines(100000, 999999, 15)), IsEmpty());
}

TEST_F(CheckInput, AHeaderLineIsARemark) {
  const std::string header = "      Caller       Callee     Date  Secs\n";
  EXPECT_THAT(
      remarksOf(header + lines(1, 9999)),
      Contains(folder.path("in/a") +
               ": line 1 is a header, [      Caller       Callee     Date  Secs]; it is refused as a bad line"));
  EXPECT_THAT(errors(), IsEmpty());
  folder.write("in/b", header + lines(1, 9999));
  EXPECT_THAT(remarksOf(header + lines(1, 9999)), Contains(HasSubstr("bad line (and 1 more file)")));
  folder.write("in/b", lines(1, 9999));
  // A caller that is a word is a bad line, and no header.
  EXPECT_THAT(remarksOf("         abc          abc 20200115    12\n" + lines(1, 9999)),
              Not(Contains(HasSubstr("header"))));
}

TEST_F(CheckInput, LinesOfWordsAreNoHeaders) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "     zorro  \t     willi     mars      x\n";
  EXPECT_THAT(remarksOf(text), Not(Contains(HasSubstr("header"))));
}

TEST_F(CheckInput, WideTextAndDamagedFiles) {
  EXPECT_THAT(errorsOf(std::string("\xFF\xFE"
                                   "1\0 \0",
                                   6)),
              ElementsAre(HasSubstr("in/a: UTF-16 text")));
  EXPECT_THAT(errorsOf(std::string("\x1F\x8B\x08garbage")), ElementsAre(HasSubstr("in/a")));
}

TEST_F(CheckInput, NoLineThatWouldBeLoaded) {
  columns[2] = {27, 33};
  read();
  EXPECT_THAT(errorsOf(lines(1, 9999, 50)),
              Contains(HasSubstr("none of 50 lines would be loaded. Most often no such date: ")));
  columns[2] = {27, 34};
  columns[3] = {90, 95};
  read();
  EXPECT_THAT(errorsOf(lines(1, 9999, 50)), ElementsAre(HasSubstr("Most often short line: " + folder.path("in/a") +
                                                                  ":1: Field4 (Seconds, columns 90-95)")));
}

TEST_F(CheckInput, AFileThatDoesNotBelongThere) {
  folder.write("in/b", "notes on the calls\nof this week\n");
  EXPECT_THAT(errorsOf(lines(1, 9999, 100)), IsEmpty());
  const InputSample sample = sampleInput(parameters.settings, listInput(folder.path("in")), dates, 10000);
  const auto findings = findInSample(parameters, sample, dates);
  ASSERT_FALSE(findings.empty());
  EXPECT_EQ(findings[0].text,
            folder.path("in/b") + ": none of its lines would be loaded; does it belong to the input?");
  EXPECT_TRUE(findings[0].isError);
}

TEST_F(CheckInput, SeparatedLines) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "4915123,4915" + std::to_string(100 + i) + ",20200115,12\n";
  EXPECT_THAT(errorsOf(text), Contains(HasSubstr("The lines look like CSV, which vesk convert reads")));
}

TEST_F(CheckInput, LinesWithoutColumns) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "49151 " + std::to_string(9 + i) + " 20200115 12\n";
  EXPECT_THAT(errorsOf(text), Contains(HasSubstr(". The fields are separated by single blanks and are not in columns; "
                                                 "vesk convert --delimiter ' ' reads them")));
}

TEST_F(CheckInput, SomeRefusedLinesAreUpToTheRun) {
  const std::string text = lines(1, 9999, 80) + lines(1, 9999, 20, "20209999");
  EXPECT_THAT(errorsOf(text), IsEmpty());
  const InputSample sample = sampleInput(parameters.settings, listInput(folder.path("in")), dates, 10000);
  const auto findings = findInSample(parameters, sample, dates);
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_THAT(findings[0].text, HasSubstr("20 lines with a number that no calendar has as yyyymmdd, such as 20209999"));
  EXPECT_FALSE(findings[0].isError);
  EXPECT_THAT(findings[1].text, HasSubstr("20 of 100 lines would not be loaded. Most often no such date"));
  EXPECT_TRUE(findings[1].isError);
}

TEST_F(CheckInput, DatesOfTheOtherForm) {
  dates.format = DayFirst;
  EXPECT_THAT(errorsOf(lines(1, 9999, 50)), Contains(HasSubstr("give --record-dates ymd")));
  EXPECT_THAT(errorsOf(lines(1, 9999, 50, "20200301")), IsEmpty());
  dates.lastDay = 20200302;
  EXPECT_THAT(errorsOf(lines(1, 9999, 50, "20200301")), ElementsAre(HasSubstr("give --record-dates ymd")));
  dates.format = MonthFirst;
  EXPECT_THAT(errorsOf(lines(1, 9999, 50, "20200301")), IsEmpty());
}

TEST_F(CheckInput, OtherNotationsOfDates) {
  EXPECT_THAT(errorsOf(lines(1, 9999, 50, "01032014")), Contains(HasSubstr("these are dates with the year last")));
  columns[2] = {27, 36};
  columns[3] = {38, 42};
  read();
  EXPECT_THAT(errorsOf(lines(1, 9999, 50, "2020-01-15")),
              Contains(HasSubstr("these are ISO dates, which vesk convert reads")));
  EXPECT_THAT(errorsOf(lines(1, 9999, 50, "1579046400")), Contains(HasSubstr("these are unix seconds")));
}

TEST_F(CheckInput, LineEndsMarksAndCompressionAreRemarks) {
  std::string text = lines(1, 9999, 30);
  text = "\xEF\xBB\xBF" + text.substr(0, text.size() - 1);
  EXPECT_THAT(errorsOf(text), IsEmpty());
  EXPECT_THAT(remarksOf(text), ElementsAre(HasSubstr("byte order mark"), HasSubstr("the last line has no line end")));
  std::string returns;
  for (const char c : lines(1, 9999, 30)) returns += c == '\n' ? "\r\n" : std::string(1, c);
  EXPECT_THAT(errorsOf(returns), IsEmpty());
  EXPECT_THAT(remarksOf(returns), ElementsAre(HasSubstr("lines end with CR LF")));
}

TEST_F(CheckInput, OddNumbersAreRemarks) {
  const std::string line = "       9a3f7         1e+5 20200115    12\n";
  EXPECT_THAT(remarksOf(lines(1, 9999, 100) + line),
              ElementsAre(AllOf(HasSubstr("Field1"), HasSubstr("1 line with a hexadecimal number")),
                          AllOf(HasSubstr("Field2"), HasSubstr("1 line with an exponent"))));
}

TEST_F(CheckInput, OperationsThatTakeNothing) {
  condition = "<Condition>GT</Condition><Threshold>10000</Threshold>";
  read();
  EXPECT_THAT(remarksOf(lines(1, 9999, 50)),
              ElementsAre(AllOf(HasSubstr("CyclicAdd of Field2"), HasSubstr("takes none"))));
}

TEST_F(CheckInput, SamplesCountWhatTheRunWouldDo) {
  condition = "<Condition>GT</Condition><Threshold>100</Threshold>";
  read();
  folder.write("in/a",
               "           7           50 20200115    10\n"
               "           7          500 20200115    10\n"
               "           8          500 20200102    10\n"
               "           0          500 20200102    10\n");
  dates.cutoff = 20201001;  // 10 January
  const InputSample sample = sampleInput(parameters.settings, listInput(folder.path("in")), dates, 100);
  EXPECT_EQ(sample.lines, 4U);
  EXPECT_EQ(sample.accepted, 2U);
  EXPECT_EQ(sample.beforeCutoff, 2U);
  EXPECT_EQ(sample.callers.size(), 1U);
  ASSERT_EQ(sample.operations.size(), 1U);
  EXPECT_EQ(sample.operations[0].done, 1U);
  EXPECT_EQ(sample.operations[0].notHolding, 1U);
  EXPECT_EQ(sample.refused[static_cast<std::size_t>(Cause::BeforeHorizon)], 1U);
  EXPECT_EQ(sample.refused[static_cast<std::size_t>(Cause::CallerNotPositive)], 1U);
  EXPECT_EQ(sample.examples[static_cast<std::size_t>(Cause::BeforeHorizon)].text, "20200102");
  EXPECT_EQ(sample.firstLines.size(), 2U);
}

TEST_F(CheckInput, LinesAreSharedOutAmongTheFiles) {
  folder.write("in/a", lines(1, 9999, 20));
  folder.write("in/b", lines(1, 9999, 500));
  folder.write("in/c", lines(1, 9999, 500));
  const InputSample sample = sampleInput(parameters.settings, listInput(folder.path("in")), dates, 300);
  ASSERT_EQ(sample.files.size(), 3U);
  EXPECT_EQ(sample.files[0].lines, 20U);
  EXPECT_TRUE(sample.files[0].isWhole);
  EXPECT_EQ(sample.files[1].lines, 140U);
  EXPECT_FALSE(sample.files[1].isWhole);
  EXPECT_EQ(sample.files[2].lines, 140U);
  const RunEstimate estimate = estimateRun(parameters.settings, sample);
  EXPECT_NEAR(estimate.lines, 1020, 1);
  EXPECT_NEAR(estimate.lineBytes, 41, 0.01);
}

TEST_F(CheckInput, EstimatesHoldTheCallersOfTheWholeInput) {
  folder.write("in/a", lines(1, 2000, 40000));
  const InputSample sample = sampleInput(parameters.settings, listInput(folder.path("in")), dates, 4000);
  const RunEstimate estimate = estimateRun(parameters.settings, sample);
  EXPECT_NEAR(estimate.lines, 40000, 1);
  EXPECT_NEAR(estimate.callers.low, 2000, 100);
  EXPECT_GT(estimate.callers.high, 2000);
  EXPECT_LE(estimate.memory.low, estimate.memory.high);
  // 24 bytes an entry and 32 bytes a caller in the state, once every caller has its 20 entries.
  EXPECT_NEAR(estimate.state.low, estimate.callers.low * (4 * 8 + 20 * 24), estimate.state.low * 0.1);
  // A full row of distinct callees: 8 bytes more, and room for 20 repeats of 24 bytes.
  vesk_loader::LoaderSettings distinct = parameters.settings;
  distinct.distinctCyclicTable = true;
  EXPECT_NEAR(estimateRun(distinct, sample).fullCallerBytes, estimate.fullCallerBytes + 8 + 20 * 24, 1e-6);
}

TEST_F(CheckInput, SettingsThatNameNoFieldsAreNotExamined) {
  vesk_loader::LoaderSettings settings = parameters.settings;
  EXPECT_TRUE(canExamineLines(settings));
  settings.payloadInputs = {9};
  EXPECT_FALSE(canExamineLines(settings));
  settings = parameters.settings;
  settings.keyField = -1;
  EXPECT_FALSE(canExamineLines(settings));
  settings = parameters.settings;
  settings.fieldEnds[2] = 3;
  EXPECT_FALSE(canExamineLines(settings));
  folder.write("in/a", lines(1, 9999, 20));
  const InputSample sample = sampleInput(settings, listInput(folder.path("in")), dates, 100);
  EXPECT_EQ(sample.lines, 20U);
  EXPECT_EQ(sample.firstLines.size(), 3U);
  EXPECT_FALSE(sample.canExamine);
  EXPECT_EQ(sampleInput({}, listInput(folder.path("in")), dates, 100).lines, 20U);
}

TEST_F(CheckInput, EqualInputsAreFound) {
  const std::string text = lines(1, 9999, 20);
  folder.write("in/a", text);
  folder.write("in/b", lines(1, 9999, 20));
  folder.write("in/c", text);
  folder.write("in/d", "");
  folder.write("in/e", "");
  const auto findings = findEqualInputs(listInput(folder.path("in")));
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].text, folder.path("in/c") + ": holds the same as " + folder.path("in/a"));
  EXPECT_TRUE(findings[0].isError);
}

}  // namespace
}  // namespace vesk
