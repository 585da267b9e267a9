// Ordinary mistakes of users: each ends in words that name the cause, and nothing is loaded.

#include <gmock/gmock.h>

#include <functional>

#include "day_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;

class DayMistakesTest : public DayCase {
 protected:
  void SetUp() override {
    DayCase::SetUp();
    std::string lines;
    for (int i = 0; i < 200; ++i) {
      lines += line(1000 + i * 37 % 9000, 1000 + i * 91 % 9000, "2020010" + std::to_string(1 + i % 7), 1 + i % 600);
    }
    folder.write("in1/calls", lines);
    ASSERT_EQ(firstDay().status, 0);
    std::filesystem::remove_all(folder.path("st"));
  }

  void expectRefused(const ProgramRun& run, const std::string& words) {
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr(words));
    EXPECT_FALSE(folder.has("st/current"));
  }

  /// Runs with another parameter file.
  void expectParametersRefused(const std::string& from, const std::string& to, const std::string& words) {
    SCOPED_TRACE(from + " -> " + to);
    std::string text = layout(tableTags(3));
    const std::size_t place = text.find(from);
    ASSERT_NE(place, std::string::npos);
    folder.write("p.xml", text.replace(place, from.size(), to));
    expectRefused(firstDay(), words);
  }

  /// Runs with the lines changed one by one.
  void expectLinesRefused(const std::function<std::string(const std::string&)>& change, const std::string& words) {
    const std::string lines = folder.read("in1/calls");
    std::string changed;
    for (std::size_t start = 0; start < lines.size(); start += 21) changed += change(lines.substr(start, 20)) + "\n";
    folder.write("in1/calls", changed);
    expectRefused(firstDay(), words);
    folder.write("in1/calls", lines);
  }
};

TEST_F(DayMistakesTest, ParametersThatMeanSomethingElse) {
  expectParametersRefused("<DateHorizon>30</DateHorizon>", "<DateHorizn>30</DateHorizn>",
                          "vesk: p.xml:8:1: DateHorizn: did you mean DateHorizon?\n");
  expectParametersRefused("<Key>1</Key>", "<Key>1</Key><MultiplicityFeild>4</MultiplicityFeild>",
                          "MultiplicityFeild: did you mean MultiplicityField?");
  expectParametersRefused("<Input>2</Input>", "<Input>2</Input><Condition>GTE</Condition><Threshold>5</Threshold>",
                          "Operation1/Condition: [GTE] is none of EQ, LE, GE, GT, LT, NoCondition");
  expectParametersRefused("<CyclicTableSize>3<", "<CyclicTableSize>-5<",
                          "CyclicTableSize: [-5] is not from 0 to 2147483647");
  expectParametersRefused("<DateHorizon>30<", "<DateHorizon>one month<", "DateHorizon: [one month] is no whole number");
  expectParametersRefused("<Start>1<", "<Start>0<", "Field1/Start: [0] is not from 1 to ");
  expectParametersRefused("<Start>5</Start><End>8<", "<Start>8</Start><End>5<",
                          "Field2/End: column 5 lies before Start, 8");
  expectParametersRefused(
      "<Start>17</Start><End>20<", "<Start>40</Start><End>44<",
      "none of 200 lines would be loaded. Most often short line: in1/calls:1: Field4 (Seconds, columns 40-44)");
  expectParametersRefused("<Key>1<", "<Key>9<", "Key: there is no Field9; the file has 4 fields");
  expectParametersRefused("<Input>2<", "<Input>9<", "there is no Field9; the file has 4 fields");
  expectParametersRefused("<DateField>3<", "<DateField>4<", "Field4 (Seconds, columns 17-20): [");
  expectParametersRefused("<LoaderParams>", "<?xml version=\"1.0\"?>\n<LoaderParams>", "vesk: p.xml:1:1: a prolog");
  expectParametersRefused("<Key>", "<!-- the caller -->\n<Key>", "vesk: p.xml:6:1: a comment");
  expectParametersRefused("</Field3>", "", "where the end of <Field3> of line 4 is expected");
}

TEST_F(DayMistakesTest, MissingNumbersInNames) {
  folder.write("p.xml", [&] {
    std::string text = layout(tableTags(3));
    for (std::size_t place; (place = text.find("Operation1")) != std::string::npos;)
      text.replace(place, 10, "Operation2");
    return text;
  }());
  expectRefused(firstDay(), "Operation2: not read, because there is no Operation1");
  folder.write("p.xml", [&] {
    std::string text = layout(tableTags(3));
    for (std::size_t place; (place = text.find("Field4")) != std::string::npos;) text.replace(place, 6, "Field5");
    return text;
  }());
  expectRefused(firstDay(), "Field5: not read, because there is no Field4");
}

TEST_F(DayMistakesTest, FieldsOneOrTwoColumnsTooNarrow) {
  expectParametersRefused("<Start>5</Start><End>8<", "<Start>5</Start><End>6<",
                          "Field2 (Callee, columns 5-6): the numbers go on after the field: in 200 of 200 lines");
  expectParametersRefused("<Start>1</Start><End>4<", "<Start>1</Start><End>3<",
                          "Field1 (Caller, columns 1-3): the numbers go on after the field: in 200 of 200 lines");
}

TEST_F(DayMistakesTest, RecordsInOtherForms) {
  expectLinesRefused([](const std::string& l) { return l.substr(0, 6) + "af" + l.substr(8); },
                     "Most often not a number: in1/calls:1: Field2 (Callee, columns 5-8) [");
  expectLinesRefused([](const std::string& l) { return l.substr(0, 12) + "-" + l.substr(12, 2) + "-" + l.substr(14); },
                     "[2020-01-] is no date of eight digits");
  expectLinesRefused([](const std::string& l) { return l.substr(0, 4) + "," + l.substr(4, 4) + "," + l.substr(8); },
                     "The lines look like CSV, which vesk convert reads");
  expectLinesRefused([](const std::string& l) { return l.substr(0, 8) + "15778" + l.substr(13); },
                     "is no day of the calendar in either form");
  expectLinesRefused([](const std::string& l) { return l.substr(0, 4) + " " + l.substr(4); },
                     "of 200 lines would be loaded");
}

TEST_F(DayMistakesTest, DatesOfAnotherFormOrTime) {
  expectRefused(day("in1", "2020-01-07", {"--record-dates", "ydm", "--new"}), "give --record-dates ymd");
  // Old records and the day of today.
  expectRefused(day("in1", "2026-11-23", {"--record-dates", "ymd", "--new"}),
                "none of 200 lines would be loaded. Most often before the horizon: in1/calls:1: Field3 (Date, columns "
                "9-16) [2020010");
  expectLinesRefused([](const std::string& l) { return l.substr(0, 8) + "20991305" + l.substr(16); }, "20991305");
}

TEST_F(DayMistakesTest, FilesThatAreNotThere) {
  ProgramRun run = vesk({"day", "nope.xml", "in1", "st", "--new"});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "vesk: nope.xml: cannot open the file: No such file or directory\n");
  run = vesk({"day", "in1", "p.xml", "st", "--new"});
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "vesk: in1: cannot read: Is a directory\n");
}

TEST_F(DayMistakesTest, AStrayBinaryFileIsNamed) {
  std::string bytes;
  for (int i = 0; i < 400; ++i) bytes += static_cast<char>(i * 7919 % 251);
  folder.write("in1/stray", bytes);
  const ProgramRun run = firstDay({"--max-bad", "10%"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("vesk: stray: no line of the file was accepted\n"));
}

}  // namespace
}  // namespace vesk_e2e
