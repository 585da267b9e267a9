#include <limits>
#include <random>

#include "check/parameter_check.h"
#include "check/parameter_text.h"
#include "support/temporary_folder.h"
#include "vesk/check/settings_comparison.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* tableTags =
    "<Field1><Name>Caller</Name><Type>Numeric</Type><Start>1</Start><End>15</End></Field1>\n"
    "<Field2><Name>Callee</Name><Type>Numeric</Type><Start>16</Start><End>30</End></Field2>\n"
    "<Field3><Name>Date</Name><Type>Numeric</Type><Start>31</Start><End>38</End></Field3>\n"
    "<Field4><Name>Calls</Name><Type>Numeric</Type><Start>39</Start><End>41</End></Field4>\n"
    "<Key>1</Key>\n<DateField>3</DateField>\n<DateHorizon>30</DateHorizon>\n<MultiplicityField>4</MultiplicityField>\n"
    "<CyclicTableSize>20</CyclicTableSize>\n<NumberOfPartitions>3</NumberOfPartitions>\n<Output>Sparse</Output>\n"
    "<Operation1><OpName>CyclicAdd</OpName><Input>2</Input><Condition>GE</Condition><Threshold>1</Threshold>"
    "</Operation1>\n"
    "<Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2>\n";

constexpr const char* sumsTags =
    "<Field1><Name>Caller</Name><Type>Numeric</Type><Start>1</Start><End>15</End></Field1>\n"
    "<Field2><Name>Seconds</Name><Type>Numeric</Type><Start>16</Start><End>30</End></Field2>\n"
    "<Key>1</Key>\n<Output>Dense</Output>\n"
    "<Operation1><OpName>Count</OpName><Input>2</Input><Output>2</Output></Operation1>\n"
    "<Operation2><OpName>Add</OpName><Input>2</Input><Output>3</Output></Operation2>\n";

constexpr const char* pairTags =
    "<Field1><Name>Caller</Name><Type>Numeric</Type><Start>1</Start><End>15</End></Field1>\n"
    "<Field2><Name>Callee</Name><Type>Numeric</Type><Start>16</Start><End>30</End></Field2>\n"
    "<Key>1</Key>\n<Output>Sparse</Output>\n"
    "<Operation1><OpName>PairSum</OpName><Input>2</Input></Operation1>\n";

std::string whole(const std::string& tags) { return "<LoaderParams>\n" + tags + "</LoaderParams>\n"; }

std::string changed(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  if (at == std::string::npos) throw std::runtime_error("no " + from);
  return text.replace(at, from.size(), to);
}

std::vector<std::string> texts(const std::vector<ParameterFinding>& findings, bool errors) {
  std::vector<std::string> result;
  for (const ParameterFinding& finding : findings) {
    if (finding.isError == errors) result.push_back(finding.text);
  }
  return result;
}

std::vector<std::string> errorsOf(const std::string& text) { return texts(checkParameters(text, "p").findings, true); }
std::vector<std::string> remarksOf(const std::string& text) {
  return texts(checkParameters(text, "p").findings, false);
}

std::vector<std::string> tableErrors(const std::string& from, const std::string& to) {
  return errorsOf(changed(whole(tableTags), from, to));
}
std::vector<std::string> sumsErrors(const std::string& from, const std::string& to) {
  return errorsOf(changed(whole(sumsTags), from, to));
}

TEST(CheckParameters, GoodFilesHaveNoFinding) {
  for (const char* tags : {tableTags, sumsTags, pairTags}) {
    const CheckedParameters checked = checkParameters(whole(tags), "p");
    EXPECT_THAT(texts(checked.findings, true), IsEmpty());
    EXPECT_THAT(texts(checked.findings, false), IsEmpty());
    EXPECT_FALSE(checked.hasErrors());
  }
}

TEST(CheckParameters, SettingsAreThoseOfTheLoader) {
  const CheckedParameters checked = checkParameters(whole(tableTags), "p");
  const vesk_loader::LoaderSettings& settings = checked.settings;
  EXPECT_THAT(settings.fieldNames, ElementsAre("Caller", "Callee", "Date", "Calls"));
  EXPECT_THAT(settings.fieldStarts, ElementsAre(0, 15, 30, 38));
  EXPECT_THAT(settings.fieldEnds, ElementsAre(14, 29, 37, 40));
  EXPECT_EQ(settings.cyclicTableSize, 20);
  EXPECT_EQ(settings.multiplicityField, 3);
  EXPECT_THAT(settings.payloadInputs, ElementsAre(3));
  EXPECT_EQ(checked.tags.at("Field2/Start"), "16");
  EXPECT_EQ(checked.tags.at("Operation1/Condition"), "GE");
  EXPECT_EQ(checked.tags.at("Key"), "1");
  EXPECT_EQ(checked.tags.count("Field2"), 0U);
  for (const char* tags : {tableTags, sumsTags, pairTags}) EXPECT_EQ(differenceToLoader(whole(tags)), "");
}

TEST(CheckParameters, DamagedTextsHaveLineAndColumn) {
  const auto damage = [](const std::string& text) {
    const CheckedParameters checked = checkParameters(text, "p");
    EXPECT_EQ(checked.findings.size(), 1U) << text;
    EXPECT_TRUE(checked.settings.fieldNames.empty() && checked.tags.empty());
    return checked.findings.empty() ? "" : checked.findings[0].text;
  };
  EXPECT_EQ(damage("<LoaderParams>\n  <!-- the key -->\n</LoaderParams>"), "p:2:3: a comment; the loader reads none");
  EXPECT_EQ(damage("<?xml version=\"1.0\"?>\n<LoaderParams/>"),
            "p:1:1: a prolog or processing instruction; the loader reads none");
  EXPECT_EQ(damage("<LoaderParams>\n<Key>1\n<Output>Sparse</Output>\n</LoaderParams>"),
            "p:3:1: the tag <Output> comes after a text; is the end of <Key> of line 2 missing?");
  EXPECT_EQ(damage("<LoaderParams>\n<XML>\n"), "p:2:1: the tag <XML> is not closed");
  EXPECT_EQ(damage("<LoaderParams>\n<Key>1</Kee>\n</LoaderParams>"),
            "p:2:7: </Kee> where the end of <Key> of line 2 is expected");
  EXPECT_EQ(damage("<LoaderParams version=\"2\">\n</LoaderParams>"),
            "p:1:15: an attribute in the tag <LoaderParams>; the loader reads none");
  EXPECT_EQ(damage("<Params>\n</Params>"), "p:1:1: the top tag is <Params>, not <LoaderParams>");
  EXPECT_EQ(damage(""), "p:1:1: the text holds no tag");
  EXPECT_EQ(damage("<LoaderParams></LoaderParams>\n<Key>1</Key>"),
            "p:2:1: a second top tag, <Key>; the loader does not read it");
  EXPECT_EQ(damage("<LoaderParams>\n<Key>1</Key><Key>2</Key>\n</LoaderParams>"),
            "p:2:13: a second tag <Key> in the same tag; the first is in line 2");
  EXPECT_EQ(damage("<LoaderParams>\n<Key>1 &nbsp; </Key>\n</LoaderParams>"),
            "p:2:6: an entity in [1 &nbsp;] that the loader cannot read");
  EXPECT_EQ(damage(std::string("\xFF\xFE<\0L\0", 6)),
            "p:1:1: the text is UTF-16 or binary; save it as plain ASCII or UTF-8");
  EXPECT_EQ(damage("<LoaderParams>\n<\n</LoaderParams>"), "p:2:1: a tag's name is expected after <");
  EXPECT_EQ(damage("<LoaderParams>\nKey\n<Key>1</Key></LoaderParams>"),
            "p:3:1: the tag <Key> comes after a text; is the end of <LoaderParams> of line 1 missing?");
}

TEST(CheckParameters, ColumnsCountCharacters) {
  EXPECT_THAT(errorsOf("<LoaderParams>\n<XML>\xC3\xA9\xC3\xA9</XMM></LoaderParams>"),
              ElementsAre("p:2:8: </XMM> where the end of <XML> of line 2 is expected"));
  EXPECT_THAT(errorsOf("<LoaderParams>\r\n<XML>\xC3\xA9 a</XMM></LoaderParams>"),
              ElementsAre("p:2:9: </XMM> where the end of <XML> of line 2 is expected"));
}

TEST(CheckParameters, UnknownTagsComeWithTheNearest) {
  EXPECT_THAT(tableErrors("<DateHorizon>30</DateHorizon>", "<DateHorizont>30</DateHorizont>"),
              ElementsAre("p:8:1: DateHorizont: did you mean DateHorizon?"));
  EXPECT_THAT(tableErrors("<MultiplicityField>4</MultiplicityField>", "<MultiplictyField>4</MultiplictyField>"),
              ElementsAre("p:9:1: MultiplictyField: did you mean MultiplicityField?"));
  EXPECT_THAT(tableErrors("<Start>16</Start>", "<start>16</start>"),
              ElementsAre("p:3:1: Field2: has no Start", "p:3:48: Field2/start: did you mean Start?"));
  EXPECT_THAT(tableErrors("<Key>", "<Colour>blue</Colour><Key>"),
              ElementsAre("p:6:1: Colour: the loader knows no such tag"));
  EXPECT_THAT(tableErrors("<Key>", "<Condition>GE</Condition><Key>"),
              ElementsAre("p:6:1: Condition: it belongs in Operation1, Operation2, ..."));
  EXPECT_THAT(tableErrors("<Key>", "<Field0></Field0><Feild5></Feild5><Key>"),
              ElementsAre("p:6:1: Field0: did you mean Field1 (the numbers begin at 1)?",
                          "p:6:18: Feild5: did you mean Field5?"));
  EXPECT_THAT(tableErrors("<Key>1</Key>", "<Key><Field>1</Field></Key>"),
              ElementsAre("p:6:1: Key: tags where a text is expected", "p:6:6: Key: the number is missing"));
}

TEST(CheckParameters, ValuesThatMeanNothing) {
  EXPECT_THAT(
      tableErrors(">GE<", ">GTE<"),
      ElementsAre(
          "p:13:66: Operation1/Condition: [GTE] is none of EQ, LE, GE, GT, LT, NoCondition; the loader would test "
          "nothing; did you mean GE?"));
  EXPECT_THAT(tableErrors(">20<", ">-5<"),
              ElementsAre(HasSubstr("DateField"), "p:10:18: CyclicTableSize: [-5] is not from 0 to 2147483647",
                          HasSubstr("needs a CyclicTableSize"), HasSubstr("needs a CyclicTableSize")));
  EXPECT_THAT(tableErrors(">30<", ">one month<"),
              ElementsAre("p:3:70: Field2/End: [one month] is no whole number; the loader would take 0"));
  EXPECT_THAT(tableErrors("<DateHorizon>30", "<DateHorizon>one month"),
              ElementsAre("p:8:14: DateHorizon: [one month] is no whole number; the loader would take 0"));
  EXPECT_THAT(tableErrors("<DateHorizon>30", "<DateHorizon>24856"),
              ElementsAre("p:8:14: DateHorizon: [24856] is not from 0 to 24855"));
  EXPECT_THAT(tableErrors("<DateHorizon>30", "<DateHorizon>"),
              ElementsAre("p:8:14: DateHorizon: the number is missing"));
  EXPECT_THAT(tableErrors("<Key>1", "<Key>1x"),
              ElementsAre("p:6:6: Key: [1x] is no whole number; the loader would take 1"));
  EXPECT_THAT(tableErrors("<Key>1", "<Key>4294967297"),
              ElementsAre(HasSubstr("[4294967297] is not from 1 to 2147483647")));
  EXPECT_THAT(tableErrors("<Key>1", "<Key>9"), ElementsAre("p:6:6: Key: there is no Field9; the file has 4 fields"));
  EXPECT_THAT(tableErrors("<Key>1</Key>", ""), ElementsAre("p: there is no Key, the number of the caller's field"));
  EXPECT_THAT(tableErrors("<MultiplicityField>4", "<MultiplicityField>1"),
              ElementsAre(HasSubstr("the loader takes Field1 for no multiplicity")));
  EXPECT_THAT(tableErrors("<Start>16", "<Start>0"), ElementsAre("p:3:55: Field2/Start: [0] is not from 1 to 9999"));
  EXPECT_THAT(tableErrors("<End>15", "<End>0"), ElementsAre(HasSubstr("[0] is not from 1")));
  EXPECT_THAT(tableErrors("<End>30", "<End>10"), ElementsAre("p:3:70: Field2/End: column 10 lies before Start, 16"));
  EXPECT_THAT(tableErrors("<NumberOfPartitions>3", "<NumberOfPartitions>101"),
              ElementsAre(HasSubstr("[101] is not from 1 to 100")));
  EXPECT_THAT(tableErrors("<Output>Sparse", "<Output>sparse"),
              ElementsAre(HasSubstr("[sparse] is none of Sparse, Dense, CSV, XML; did you mean Sparse?")));
  EXPECT_THAT(tableErrors("<Key>", "<CyclicTableSort>True</CyclicTableSort><Key>"),
              ElementsAre(HasSubstr("[True] is none of Yes, No")));
  EXPECT_THAT(tableErrors("<Key>", "<CyclicTableDistinct>yes</CyclicTableDistinct><Key>"),
              ElementsAre(HasSubstr("CyclicTableDistinct: [yes] is none of Yes, No; did you mean Yes?")));
  EXPECT_THAT(tableErrors(">CyclicAdd<", ">CyclicAd<"),
              ElementsAre(HasSubstr("did you mean CyclicAdd?"), HasSubstr("there is no CyclicAdd")));
  EXPECT_THAT(tableErrors("<Threshold>1", "<Threshold>0,5"),
              ElementsAre(HasSubstr("Operation1/Threshold: [0,5] is no decimal number")));
  EXPECT_THAT(tableErrors("<Threshold>1", "<Threshold>0x10"), ElementsAre(HasSubstr("is no decimal number")));
  EXPECT_THAT(tableErrors("<Threshold>1", "<Threshold>1e999"), ElementsAre(HasSubstr("beyond the largest")));
}

TEST(CheckParameters, GapsAndMissingTags) {
  EXPECT_THAT(tableErrors("Operation1>", "Operation4>"), ElementsAre(HasSubstr("</Operation1>")));
  std::string gap = changed(changed(whole(sumsTags), "<Operation1>", "<Operation3>"), "</Operation1>", "</Operation3>");
  EXPECT_THAT(errorsOf(gap),
              ElementsAre("p:6:1: Operation3: not read, because there is no Operation1; the numbers must have no gap",
                          "p:7:1: Operation2: not read, because there is no Operation1; the numbers must have no gap",
                          "p: there is no Operation1, so that nothing would be loaded"));
  gap = changed(changed(whole(tableTags), "<Field3>", "<Field5>"), "</Field3>", "</Field5>");
  EXPECT_THAT(errorsOf(gap), ::testing::Contains(HasSubstr("p:4:1: Field5: not read, because there is no Field3")));
  EXPECT_THAT(sumsErrors("<Output>2</Output>", ""), ElementsAre("p:6:1: Operation1: Count has no Output"));
  EXPECT_THAT(sumsErrors("<Output>2</Output>", "<Output>0</Output>"), ElementsAre(HasSubstr("[0] is not from 1")));
  EXPECT_THAT(sumsErrors("<Input>2</Input>", ""), ElementsAre("p:6:1: Operation1: has no Input"));
  EXPECT_THAT(sumsErrors("<OpName>Count</OpName>", ""), ElementsAre("p:6:1: Operation1: has no OpName"));
  EXPECT_THAT(sumsErrors("<Type>Numeric</Type>", ""), ElementsAre("p:2:1: Field1: has no Type"));
  EXPECT_THAT(sumsErrors("<Input>2</Input>", "<Input>7</Input>"),
              ElementsAre("p:6:42: Operation1/Input: there is no Field7; the file has 2 fields"));
  EXPECT_THAT(tableErrors("<DateField>3</DateField>", ""),
              ElementsAre("p:8:1: DateHorizon: there is no DateField, so that nothing would be dropped"));
  EXPECT_THAT(tableErrors("<Condition>GE</Condition>", ""),
              ElementsAre(HasSubstr("Operation1/Threshold: there is no Condition")));
  EXPECT_THAT(tableErrors("<Threshold>1</Threshold>", ""),
              ElementsAre(HasSubstr("Operation1/Condition: there is no Threshold")));
}

TEST(CheckParameters, OperationsThatDoNotGoTogether) {
  EXPECT_THAT(tableErrors("<CyclicTableSize>20</CyclicTableSize>", ""),
              ElementsAre(HasSubstr("DateField: dates need a CyclicTableSize"),
                          HasSubstr("CyclicAdd needs a CyclicTableSize"), HasSubstr("CyclicAddPayload needs")));
  EXPECT_THAT(tableErrors("CyclicAddPayload", "PairSum"),
              ElementsAre(HasSubstr("CyclicAdd is for a table"), HasSubstr("PairSum must be the only operation")));
  EXPECT_THAT(sumsErrors("<Key>", "<CyclicTableSize>5</CyclicTableSize><Key>"),
              ElementsAre(HasSubstr("Count does not go together with CyclicTableSize"), HasSubstr("Add does not")));
  for (const char* output : {"<Output>Dense</Output>", "<Output>CSV</Output>", ""}) {
    EXPECT_THAT(errorsOf(changed(whole(pairTags), "<Output>Sparse</Output>", output)),
                ElementsAre(HasSubstr("PairSum needs Sparse or XML")));
  }
  EXPECT_THAT(errorsOf(changed(whole(pairTags), "<Key>", "<DateField>1</DateField><Key>")),
              ElementsAre(HasSubstr("dates need a CyclicTableSize")));
  EXPECT_THAT(tableErrors("<Input>4</Input>", "<Input>4</Input><Condition>GE</Condition><Threshold>2</Threshold>"),
              ElementsAre(HasSubstr("CyclicAddPayload tests nothing"), HasSubstr("CyclicAddPayload tests nothing")));
}

TEST(CheckParameters, RemarksDoNotEndARun) {
  const auto sumsRemarks = [](const char* from, const char* to) {
    EXPECT_THAT(sumsErrors(from, to), IsEmpty());
    return remarksOf(changed(whole(sumsTags), from, to));
  };
  EXPECT_THAT(sumsRemarks("<Output>2<", "<Output>1<"),
              ElementsAre("p:6:51: Operation1/Output: the sum of Output 1 is kept but never written to the dataset"));
  EXPECT_THAT(sumsRemarks("<Output>2<", "<Output>3<"),
              ElementsAre(HasSubstr("Operation2/Output: 3 is the Output of Operation1 as well")));
  EXPECT_THAT(sumsRemarks("<Start>16", "<Start>15"),
              ElementsAre(HasSubstr("Field2: its columns overlap those of Field1")));
  EXPECT_THAT(sumsRemarks("<Output>Dense</Output>", ""), ElementsAre(HasSubstr("there is no Output")));
  EXPECT_THAT(sumsRemarks("<Key>", "<XML><TagPrefix>x:</TagPrefix></XML><Key>"),
              ElementsAre(HasSubstr("Output is not XML")));
  EXPECT_THAT(sumsRemarks("<Key>", "<CyclicTableSort>No</CyclicTableSort><Key>"),
              ElementsAre(HasSubstr("tables only")));
  EXPECT_THAT(sumsRemarks("<Key>", "<CyclicTableDistinct>Yes</CyclicTableDistinct><Key>"),
              ElementsAre(HasSubstr("CyclicTableDistinct: used for tables only")));
  EXPECT_THAT(remarksOf(changed(whole(tableTags), "<Input>2", "<Output>3</Output><Input>2")),
              ElementsAre(HasSubstr("Operation1/Output: CyclicAdd does not use it")));
}

TEST(CheckParameters, SpecialListIsRead) {
  const TemporaryFolder folder;
  const auto with = [&](const std::string& content, const std::string& filter) {
    return changed(whole(tableTags), "<Key>",
                   "<SpecialList><File>" + folder.write("list", content) + "</File>" + filter + "</SpecialList><Key>");
  };
  const std::string good = with("12 7\n1e3 ", "<OpName>Exclude</OpName>");
  const CheckedParameters checked = checkParameters(good, "p");
  EXPECT_FALSE(checked.hasErrors());
  EXPECT_EQ(checked.settings.specialList.size(), 3U);
  EXPECT_TRUE(checked.settings.specialList.contains(1000));
  EXPECT_EQ(checked.settings.specialListFilter, vesk_loader::SpecialListFilter::Exclude);
  EXPECT_EQ(differenceToLoader(good), "");
  EXPECT_THAT(errorsOf(with("12\n7 0x10", "")), ElementsAre(HasSubstr("list:2: [0x10] is no decimal number")));
  EXPECT_THAT(errorsOf(with("", "")), ElementsAre(HasSubstr("holds no number")));
  EXPECT_THAT(errorsOf(with("1", "<OpName>Only</OpName>")),
              ElementsAre(HasSubstr("[Only] is none of Exclude, Restrict")));
  EXPECT_THAT(tableErrors("<Key>", "<SpecialList></SpecialList><Key>"), ElementsAre("p:6:1: SpecialList: has no File"));
  EXPECT_THAT(tableErrors("<Key>", "<SpecialList><File>/none/of/it</File></SpecialList><Key>"),
              ElementsAre("p:6:20: SpecialList/File: /none/of/it does not exist"));
  EXPECT_THAT(tableErrors("<Key>", "<SpecialList><File>/dev/zero</File></SpecialList><Key>"),
              ElementsAre(HasSubstr("/dev/zero is no regular file")));
  EXPECT_THAT(sumsErrors("<Key>", "<SpecialList><File>" + folder.write("list", "1") + "</File></SpecialList><Key>"),
              ElementsAre(HasSubstr("the list is used for tables only")));
}

// Any text without an error gives the settings of the loader's own reader.
TEST(CheckParameters, ChangedTextsWithoutErrorsReadAsTheLoaderReadsThem) {
  std::mt19937 random(20261121);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const std::vector<std::string> pieces = {
      "<",     ">",      "</",     "/>",          " ",     "\n",   "\t",     "\r",         "1",       "-",
      "0",     "99",     "a",      "&",           "&#49;", "&lt;", "=\"a\"", "<!-- a -->", "\x80",    "Key",
      "<Key>", "</Key>", "Sparse", "NoCondition", "+",     ".",    "e",      "<XML/>",     "<Field3>"};
  std::size_t withoutErrors = 0;
  std::size_t damaged = 0;
  for (int i = 0; i < 20000; ++i) {
    const char* const starts[] = {tableTags, sumsTags, pairTags};
    std::string text = whole(starts[below(3)]);
    for (std::size_t change = 0; change <= below(3); ++change) {
      const std::size_t at = below(text.size());
      switch (below(4)) {
        case 0:
          text.erase(at, 1 + below(3));
          break;
        case 1:
          text.insert(at, pieces[below(pieces.size())]);
          break;
        case 2:
          text.replace(at, 1, pieces[below(pieces.size())]);
          break;
        default:
          std::swap(text[at], text[below(text.size())]);
      }
    }
    if (checkParameters(text, "p").hasErrors()) {
      ++damaged;
      continue;
    }
    ++withoutErrors;
    ASSERT_EQ(differenceToLoader(text), "") << text;
  }
  EXPECT_GT(withoutErrors, 200U);
  EXPECT_GT(damaged, 1000U);
}

}  // namespace
}  // namespace vesk
