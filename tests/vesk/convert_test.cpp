#include "convert/convert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "command.h"
#include "support/temporary_folder.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// CSV files in a folder that are converted to "out".
class ConvertTest : public ::testing::Test {
 protected:
  ConvertTest() {
    options.output = folder.path("out");
    options.caller = "a";
    options.callee = "b";
    options.maxBad = 1;
  }
  ConvertResult convert(const std::string& text, const std::string& name = "in.csv") {
    options.inputs = {folder.write(name, text)};
    return convertCalls(options);
  }
  /// What a refused conversion says after its status.
  std::string refusal(const std::string& text) {
    try {
      convert(text);
    } catch (const CommandFailure& failure) {
      return std::to_string(static_cast<int>(failure.getStatus())) + " " + failure.what();
    }
    return "";
  }
  /// The causes, with their counts.
  static std::vector<std::string> causesOf(const ConvertResult& result) {
    std::vector<std::string> words;
    for (const BadRows::Group& group : result.badRows) words.push_back(std::to_string(group.count) + " " + group.words);
    return words;
  }
  std::string in() const { return folder.path("in.csv"); }

  TemporaryFolder folder;
  ConvertOptions options;
};

// Files that were put together with their headers; as ids of a map the names of the columns would be subscribers.
TEST_F(ConvertTest, AHeaderBetweenRowsIsABadRow) {
  options.idMap = folder.path("m");
  const ConvertResult result = convert("a,b\n+1,2\n a , \"b\"\n3,a\n");
  EXPECT_EQ(result.records, 2U);
  EXPECT_THAT(causesOf(result), ElementsAre("1 the header once more"));
  EXPECT_EQ(result.addedIds, 2U);
}

TEST_F(ConvertTest, NumbersOfColumnsMeanTheSameInAllFiles) {
  options.caller = "1";
  options.callee = "2";
  folder.write("first", "a,b\n1,2\n");
  folder.write("same", "A , B,c\n3,4,5\n");
  folder.write("turned", "b,a\n2,1\n");
  options.inputs = {folder.path("first"), folder.path("same")};
  EXPECT_EQ(convertCalls(options).records, 2U);
  options.inputs.push_back(folder.path("turned"));
  try {
    convertCalls(options);
    ADD_FAILURE() << "the columns were taken";
  } catch (const CommandFailure& failure) {
    EXPECT_EQ(failure.getStatus(), Status::Data);
    EXPECT_EQ(failure.what(), folder.path("turned") + ": column 1 is b, but a in " + folder.path("first") +
                                  "; name the columns, or convert the files one by one");
  }
}

TEST_F(ConvertTest, OthersCannotChangeItsFiles) {
  options.rejects = folder.path("rejects");
  const mode_t before = ::umask(0);
  convert("a,b\n1,2\n");
  ::umask(before);
  for (const char* name : {"out", "out.xml", "out.pairs.xml", "out.sums.xml", "rejects"}) {
    struct stat status {};
    ASSERT_EQ(::stat(folder.path(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0022U, 0U) << name;
  }
}

TEST_F(ConvertTest, WritesOverNoFileOfTheMap) {
  options.idMap = folder.path("m");
  options.output = folder.path("m-journal");
  EXPECT_EQ(refusal("a,b\n1,2\n"), "1 " + options.output + " and " + options.output + " are the same file");
}

TEST_F(ConvertTest, WritesFixedColumns) {
  options.time = "t";
  options.duration = "d";
  options.count = "n";
  options.payloads = {"cell id"};
  const ConvertResult result =
      convert("cell id,n,d,t,b,a\n7.5,2,0:01:40,2020-02-29T01:00:00+02:00,9007199254740992,1\n");
  EXPECT_EQ(folder.read("out"),
            "               1 9007199254740992 20200228          100          2                      7.5\n");
  EXPECT_EQ(result.records, 1U);
  EXPECT_EQ(result.firstDate, 20200228U);
  EXPECT_EQ(folder.read("out.xml"),
            "<LoaderParams>\n"
            "  <Field1><Name>Caller</Name><Type>Numeric</Type><Start>1</Start><End>16</End></Field1>\n"
            "  <Field2><Name>Callee</Name><Type>Numeric</Type><Start>18</Start><End>33</End></Field2>\n"
            "  <Field3><Name>Date</Name><Type>Numeric</Type><Start>35</Start><End>42</End></Field3>\n"
            "  <Field4><Name>Duration</Name><Type>Numeric</Type><Start>44</Start><End>55</End></Field4>\n"
            "  <Field5><Name>Count</Name><Type>Numeric</Type><Start>57</Start><End>66</End></Field5>\n"
            "  <Field6><Name>cell_id</Name><Type>Numeric</Type><Start>68</Start><End>91</End></Field6>\n"
            "  <Key>1</Key>\n"
            "  <Output>Sparse</Output>\n"
            "  <DateField>3</DateField>\n"
            "  <DateHorizon>30</DateHorizon>\n"
            "  <CyclicTableSize>20</CyclicTableSize>\n"
            "  <Operation1><OpName>CyclicAdd</OpName><Input>2</Input></Operation1>\n"
            "  <Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2>\n"
            "  <Operation3><OpName>CyclicAddPayload</OpName><Input>6</Input></Operation3>\n"
            "</LoaderParams>\n");
  EXPECT_THAT(folder.read("out.pairs.xml"),
              HasSubstr("  <MultiplicityField>5</MultiplicityField>\n"
                        "  <Operation1><OpName>PairSum</OpName><Input>2</Input></Operation1>\n</LoaderParams>\n"));
  EXPECT_THAT(
      folder.read("out.sums.xml"),
      HasSubstr("  <Operation1><OpName>Count</OpName><Input>2</Input><Output>2</Output></Operation1>\n"
                "  <Operation2><OpName>Add</OpName><Input>4</Input><Output>3</Output></Operation2>\n"
                "  <Operation3><OpName>Count</OpName><Input>4</Input><Output>4</Output><Condition>GE</Condition>"
                "<Threshold>300</Threshold></Operation3>\n"
                "  <Operation4><OpName>Add</OpName><Input>6</Input><Output>5</Output></Operation4>\n"));
  struct stat status {};
  ASSERT_EQ(::stat(options.output.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0007, 0U);
}

TEST_F(ConvertTest, NeedsCallerAndCalleeOnly) {
  options.caller = "2";
  options.callee = "1";
  options.hasHeader = false;
  const ConvertResult result = convert("5;6\n7;8");
  EXPECT_EQ(folder.read("out"), "               6                5\n               8                7\n");
  EXPECT_EQ(result.inputs.at(0).delimiter, ';');
  EXPECT_EQ(folder.read("out.xml").find("DateField"), std::string::npos);
  EXPECT_EQ(folder.read("out.pairs.xml").find("MultiplicityField"), std::string::npos);
}

TEST_F(ConvertTest, CountsBadRowsByCauseAndRejectsThem) {
  options.time = "t";
  options.rejects = folder.path("rejects");
  options.rejectsMax = 2;
  const ConvertResult result = convert(
      "a,b,t\n"
      "1,2,2020-01-01\n"
      "1,2\n"
      "+1,2,2020-01-01\n"
      "+2,2,2020-01-01\n"
      "+3,2,2020-01-01\n"
      "1,,2020-01-01\n"
      "\n"
      "1,2,2020-01-01,4\n"
      "0,2,2020-01-01\n"
      "1,9007199254740993,2020-01-01\n"
      "1,2,\"2020-02-30\nx\"\n"
      "1,\"2,2020-01-01\n");
  EXPECT_EQ(folder.read("out"), "               1                2 20200101\n");
  EXPECT_EQ(result.rows, 11U);
  EXPECT_EQ(result.inputs.at(0).emptyLines, 1U);
  EXPECT_EQ(result.badCount, 10U);
  EXPECT_THAT(causesOf(result),
              ElementsAre("3 a: not a plain number: use --ids", "1 too few cells", "1 too many cells",
                          "1 a quote that is not closed", "1 a: 0 stands for no subscriber", "1 b: empty",
                          "1 b: above 2^53: use --ids", "1 t: not a time of a known form"));
  EXPECT_EQ(folder.read("rejects"),
            "file,line,byte,cause,field,text\n" +          //
                in() + ",3,21,too few cells,,\"1,2\"\n" +  //
                in() + ",4,25,not a plain number: use --ids,a,+1\n" + in() +
                ",5,41,not a plain number: use --ids,a,+2\n" + in() + ",7,73,empty,b,\n" + in() +
                ",9,88,too many cells,,\"1,2,2020-01-01,4\"\n" + in() + ",10,105,0 stands for no subscriber,a,0\n" +
                in() + ",11,120,above 2^53: use --ids,b,9007199254740993\n" + in() +
                ",12,150,not a time of a known form,t,2020-02-30?x\n" + in() +
                ",14,169,a quote that is not closed,,\"1,\"\"2,2020-01-01\"\n");
}

TEST_F(ConvertTest, WritesNothingAboveTheShareOfBadRows) {
  options.maxBad = 0.25;
  options.rejects = folder.path("rejects");
  EXPECT_EQ(refusal("a,b\n1,2\n3,4\n5,x\n"),
            "3 1 of 3 rows are bad, more than 25 %; 1 for: b: not a plain number: use --ids, such as " + in() +
                ", line 4: [x]");
  EXPECT_FALSE(folder.has("out"));
  EXPECT_FALSE(folder.has("out.xml"));
  EXPECT_TRUE(folder.has("rejects"));
  EXPECT_EQ(refusal("a,b\n1,2\n3,4\n5,6\n7,x\n"), "");
  options.maxBad = 1;
  folder.write("out", "old");
  EXPECT_THAT(refusal("a,b\nx,4\n"), StartsWith("3 1 of 1 rows are bad, none is good; 1 for: a: "));
  EXPECT_EQ(folder.read("out"), "old");
  EXPECT_EQ(refusal("a,b\n"), "3 no rows in " + in());
  EXPECT_EQ(refusal(""), "3 " + in() + " is empty");
}

TEST_F(ConvertTest, RefusesColumnsThatAreNotThere) {
  EXPECT_EQ(refusal("a,c\n1,2\n"), "3 " + in() + " has no column b; it has a, c");
  EXPECT_EQ(refusal("a,b,b\n1,2,3\n"), "3 " + in() + " has two columns b");
  options.callee = "3";
  EXPECT_EQ(refusal("a,b\n1,2\n"), "3 " + in() + " has 2 columns and no column 3");
  options.callee = "1";
  EXPECT_EQ(refusal("a,b\n1,2\n"), "3 " + in() + ": the caller and the callee are the same column");
  options.caller = "2";
  EXPECT_EQ(refusal("+491,492\n1,2\n"),
            "3 " + in() + ": the first row looks like a record and not like a header; use --no-header");
  options.hasHeader = false;
  options.caller = "a";
  EXPECT_EQ(refusal("1,2\n"), "3 " + in() + " has no header: a column is a number from 1, not a");
}

TEST_F(ConvertTest, RefusesOtherTextThanCsv) {
  EXPECT_EQ(refusal("\xFF\xFE"
                    "a\n"),
            "3 " + in() + " is UTF-16 text; make it UTF-8");
  EXPECT_EQ(refusal("a,b;c\n1,2\n"),
            "3 " + in() + ": the first line has as many of one delimiter as of another; use --delimiter");
  options.delimiter = ',';
  options.callee = "b;c";
  EXPECT_EQ(refusal("a,b;c\n1,2\n"), "");
}

TEST_F(ConvertTest, RefusesAnOutputThatIsAnInput) {
  options.output = in();
  EXPECT_EQ(refusal("a,b\n1,2\n"), "1 the output " + in() + " would take the place of the input " + in());
  options.output = folder.path("x");
  options.rejects = folder.path("x.sums.xml");
  EXPECT_EQ(refusal("a,b\n1,2\n"),
            "1 " + folder.path("x.sums.xml") + " and " + folder.path("x.sums.xml") + " are the same file");
  options.rejects.clear();
  options.idMap = in();
  EXPECT_THAT(refusal("a,b\n1,2\n"), StartsWith("1 the output "));
  EXPECT_EQ(folder.read("in.csv"), "a,b\n1,2\n");
}

TEST_F(ConvertTest, RefusesTheSameInputTwice) {
  const std::string one = folder.write("1", "a,b\n1,2\n");
  const std::string two = folder.write("2", "a,b\n1,2\n");
  std::filesystem::create_hard_link(one, folder.path("link"));
  const auto refusalOf = [&](const std::vector<std::string>& inputs) -> std::string {
    options.inputs = inputs;
    try {
      convertCalls(options);
    } catch (const CommandFailure& failure) {
      return failure.what();
    }
    return "";
  };
  EXPECT_EQ(refusalOf({one, one}), one + " is given twice");
  EXPECT_EQ(refusalOf({one, folder.path("link")}), folder.path("link") + " is given twice");
  EXPECT_EQ(refusalOf({one, two}), two + " holds the same bytes as " + one);
  folder.write("2", "b,a\n1,2\n");
  EXPECT_EQ(convertCalls(options).records, 2U);
  EXPECT_EQ(folder.read("out"), "               1                2\n               2                1\n");
}

TEST_F(ConvertTest, MapsIdsThatAreNoPlainNumbers) {
  options.idMap = folder.path("map");
  convert("a,b\n+49,2\n2,0x1F\n+49, 007 \n4503599627370496,4503599627370495\n");
  EXPECT_EQ(folder.read("out"),
            "4503599627370496                2\n"
            "               2 4503599627370497\n"
            "4503599627370496 4503599627370498\n"
            "4503599627370499 4503599627370495\n");
  // On another day the numbers stay, whatever the order.
  const ConvertResult result = convert("a,b\n007,0x1F\nnew,+49\n0,x\n");
  EXPECT_EQ(folder.read("out"), "4503599627370498 4503599627370497\n4503599627370500 4503599627370496\n");
  EXPECT_EQ(result.knownIds, 4U);
  EXPECT_EQ(result.addedIds, 1U);
  EXPECT_THAT(causesOf(result), ElementsAre("1 a: 0 stands for no subscriber"));
}

TEST_F(ConvertTest, MapsAllIds) {
  options.idMap = folder.path("map");
  options.mappedIds = MappedIds::All;
  convert("a,b\n2,1\n");
  EXPECT_EQ(folder.read("out"), "4503599627370496 4503599627370497\n");
  options.mappedIds = MappedIds::Texts;
  EXPECT_THAT(refusal("a,b\n2,1\n"), HasSubstr("was begun for all ids (with --map-all)"));
}

// A row with any mistake, and a run that ends without an output, add no id.
TEST_F(ConvertTest, AddsNoIdsOfBadRowsAndFailedRuns) {
  options.idMap = folder.path("map");
  options.count = "n";
  EXPECT_THAT(refusal("a,b,n\n+1,+2,x\n"), HasSubstr("none is good"));
  EXPECT_FALSE(folder.has("map"));
  convert("a,b,n\n+1,+2,x\n+3,\x80,1\n+4,+5,1\n");
  EXPECT_EQ(folder.read("out"), "4503599627370496 4503599627370497          1\n");
  IdMap map(options.idMap);
  EXPECT_EQ(map.count(), 2U);
  EXPECT_EQ(map.findText(4503599627370496), "+4");
}

// More rows than a batch of pending ids and than a block of lines, with ids that come again at all distances.
TEST_F(ConvertTest, MapsManyIds) {
  options.idMap = folder.path("map");
  std::string text = "a,b\n";
  constexpr int rows = 50000;
  const auto caller = [](int i) { return (i * 7919) % 5003; };
  const auto callee = [](int i) { return i / 3; };
  for (int i = 0; i < rows; ++i) text += "c" + std::to_string(caller(i)) + ",d" + std::to_string(callee(i)) + "\n";
  convert(text);
  const std::string lines = folder.read("out");
  ASSERT_EQ(lines.size(), rows * 34U);
  IdMap map(options.idMap);
  for (int i = 0; i < rows; i += 7) {
    const std::string line = lines.substr(static_cast<std::size_t>(i) * 34, 34);
    ASSERT_EQ(map.findText(std::stoull(line.substr(0, 16))), "c" + std::to_string(caller(i)));
    ASSERT_EQ(map.findText(std::stoull(line.substr(17))), "d" + std::to_string(callee(i)));
  }
}

}  // namespace
}  // namespace vesk
