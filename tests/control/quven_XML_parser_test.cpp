#include "control/quven_XML_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "xml_text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using xml_text::fatalReportOf;
using xml_text::notation;
using xml_text::printedBy;
using State = QUVENXMLState;

constexpr int NumStates = 15;

State stateOf(int value) { return static_cast<State>(value); }

TEST(QUVENXMLState, HasItsNamesAndValues) {
  const char* names[NumStates] = {
      "IN_ROOT_TAG",           "IN_TAG_CONTENT",         "START_START_TAG",   "TAG_NAME_PARSED",  "START_ATTRIBUTES",
      "ATTRIBUTE_NAME_PARSED", "ATTRIBUTE_VALUE_PARSED", "ATTRIBUTES_PARSED", "START_TAG_PARSED", "START_VALUE",
      "VALUE_PARSED",          "START_END_TAG",          "END_TAG_PARSED",    "NO_MORE_DATA",     "ERROR"};
  for (int value = 0; value < NumStates; ++value) EXPECT_STREQ(getStateName(stateOf(value)), names[value]);
  for (const int value : {-1, 15, 1000}) EXPECT_STREQ(getStateName(stateOf(value)), "Unknown State");
}

TEST(QUVENXMLState, AllowsTheseTransitionsAndNoOthers) {
  // Row: from, column: to, in the order of the values; x is allowed.
  const std::string allowed[NumStates] = {
      ".x.............",  // IN_ROOT_TAG
      "..x......x.x...",  // IN_TAG_CONTENT
      "...x...........",  // START_START_TAG
      "....x.......x..",  // TAG_NAME_PARSED
      ".....x.x.......",  // START_ATTRIBUTES
      "......x........",  // ATTRIBUTE_NAME_PARSED
      "....x..........",  // ATTRIBUTE_VALUE_PARSED
      "........x...x..",  // ATTRIBUTES_PARSED
      ".x.............",  // START_TAG_PARSED
      "..........x....",  // START_VALUE
      ".x.............",  // VALUE_PARSED
      ".x.............",  // START_END_TAG
      ".x.............",  // END_TAG_PARSED
      "failure        ",  // NO_MORE_DATA
      "...............",  // ERROR
  };
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  for (int from = 0; from < NumStates; ++from) {
    if (stateOf(from) == State::NO_MORE_DATA) continue;
    for (int to = 0; to < NumStates; ++to) {
      EXPECT_EQ(isAllowedTransition(stateOf(from), stateOf(to), QUVEN_ENV),
                allowed[from][static_cast<std::size_t>(to)] == 'x')
          << getStateName(stateOf(from)) << " to " << getStateName(stateOf(to));
    }
  }
  for (int to = 0; to < NumStates; ++to) {
    EXPECT_THAT(fatalReportOf([&] { (void)isAllowedTransition(State::NO_MORE_DATA, stateOf(to), QUVEN_ENV); }),
                HasSubstr("\n    Program control should never reach this point"));
  }
}

class QUVENXMLParserTest : public ::testing::Test {
 protected:
  void SetUp() override {
    environment.activate();
    root.setName("root", QUVEN_ENV);
  }

  void TearDown() override {
    root.destroyPrimitive(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
  }

  static std::vector<std::string> stackOf(const QUVENXMLParser& parser) {
    return {parser.getTagStack().begin(), parser.getTagStack().end()};
  }

  /// The state behind the lines, read from the start of a text.
  State stateAfter(const std::vector<std::string>& lines) {
    root.removeAllChildren(QUVEN_ENV);
    QUVENXMLParser parser(root, QUVEN_ENV);
    for (const std::string& line : lines) parser.readLine(line, QUVEN_ENV);
    return parser.getState();
  }

  /// What is printed for a line that the machine meets in a state with the tag <A> open; it must end in ERROR.
  std::string messageIn(State state, const std::string& line) {
    root.removeAllChildren(QUVEN_ENV);
    root.addLeafTag("A", QUVEN_ENV);
    QUVENXMLParser parser(root, QUVEN_ENV);
    parser.startAt(state, {"A"}, QUVEN_ENV);
    std::string printed = printedBy([&] { parser.readLine(line, QUVEN_ENV); });
    EXPECT_EQ(parser.getState(), State::ERROR) << line;
    return printed;
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENXMLTag root;
};

TEST_F(QUVENXMLParserTest, RestsInTheStateInWhichTheLineEnds) {
  EXPECT_EQ(stateAfter({}), State::IN_ROOT_TAG);
  EXPECT_EQ(stateAfter({"", " \t"}), State::IN_ROOT_TAG);
  EXPECT_EQ(stateAfter({"<A"}), State::TAG_NAME_PARSED);
  EXPECT_EQ(stateAfter({"<A  ", "  "}), State::TAG_NAME_PARSED);
  EXPECT_EQ(stateAfter({"<A b"}), State::ATTRIBUTE_NAME_PARSED);
  EXPECT_EQ(stateAfter({"<A", "b ="}), State::ATTRIBUTE_NAME_PARSED);
  EXPECT_EQ(stateAfter({"<A b=\"1\""}), State::ATTRIBUTE_VALUE_PARSED);
  EXPECT_EQ(stateAfter({"<A>"}), State::IN_TAG_CONTENT);
  EXPECT_EQ(stateAfter({"<A", ">"}), State::IN_TAG_CONTENT);
  EXPECT_EQ(stateAfter({"<A>1"}), State::VALUE_PARSED);
  EXPECT_EQ(stateAfter({"<A>1</A>"}), State::IN_TAG_CONTENT);
  EXPECT_EQ(stateAfter({"<A/>"}), State::END_TAG_PARSED);
}

TEST_F(QUVENXMLParserTest, EveryStateRefusesWhatItCannotRead) {
  // Some of these states are entered by the machine only in front of what they read; they check it all the same.
  EXPECT_EQ(messageIn(State::START_START_TAG, "< A>"), "Could not locate end of tag\n");
  EXPECT_EQ(messageIn(State::START_ATTRIBUTES, " = "), "Attributes chain ended unexpectedly\n");
  EXPECT_EQ(messageIn(State::ATTRIBUTE_NAME_PARSED, " x"),
            "Attribute value not preceded by \", or attribute name not followed by value at the same line\n");
  EXPECT_EQ(messageIn(State::ATTRIBUTE_NAME_PARSED, " \"\""), "Attribute value not followed by \"\n");
  EXPECT_EQ(messageIn(State::ATTRIBUTES_PARSED, " / x"), "Syntax error in empty tag\n");
  EXPECT_EQ(messageIn(State::ATTRIBUTES_PARSED, " x"), "Syntax error in start tag\n");
  EXPECT_EQ(messageIn(State::START_TAG_PARSED, " x"), "Syntax error in start tag\n");
  EXPECT_EQ(messageIn(State::START_VALUE, "  <"), "Syntax error reading value\n");
  EXPECT_EQ(messageIn(State::START_END_TAG, " x y/A>"), "Expected end tag, got [xy]\n");
  EXPECT_EQ(messageIn(State::START_END_TAG, "x y"), "Expected end tag, got [xy]\n");
  EXPECT_EQ(messageIn(State::START_END_TAG, "/ >"), "Syntax error in end tag\n");
  EXPECT_EQ(messageIn(State::START_END_TAG, "/A"), "Syntax error in end tag\n");
}

TEST_F(QUVENXMLParserTest, NoMoreDataIsNeverRead) {
  QUVENXMLParser parser(root, QUVEN_ENV);
  parser.startAt(State::NO_MORE_DATA, {}, QUVEN_ENV);
  EXPECT_THAT(fatalReportOf([&] { parser.readLine("x", QUVEN_ENV); }),
              HasSubstr("\n    Program control should never reach this point"));
}

TEST_F(QUVENXMLParserTest, ErrorIsFinal) {
  QUVENXMLParser parser(root, QUVEN_ENV);
  parser.startAt(State::ERROR, {}, QUVEN_ENV);
  EXPECT_EQ(printedBy([&] { parser.readLine("<A/>", QUVEN_ENV); }), "");
  EXPECT_EQ(parser.getState(), State::ERROR);
  EXPECT_EQ(notation(root), "root");
  EXPECT_FALSE(parser.finish(QUVEN_ENV));
}

TEST_F(QUVENXMLParserTest, ATransitionThatIsNotAllowedIsAnError) {
  QUVENXMLParser parser(root, QUVEN_ENV);
  parser.enter(State::IN_TAG_CONTENT, QUVEN_ENV);
  EXPECT_EQ(parser.getState(), State::IN_TAG_CONTENT);
  EXPECT_EQ(printedBy([&] { parser.enter(State::ATTRIBUTES_PARSED, QUVEN_ENV); }),
            "Failed on transition from [IN_TAG_CONTENT] to [ATTRIBUTES_PARSED]\n");
  EXPECT_EQ(parser.getState(), State::ERROR);

  parser.startAt(State::START_VALUE, {}, QUVEN_ENV);
  EXPECT_EQ(printedBy([&] { parser.enter(stateOf(99), QUVEN_ENV); }),
            "Failed on transition from [START_VALUE] to [Unknown State]\n");
}

TEST_F(QUVENXMLParserTest, KeepsTheNamesOfTheOpenTags) {
  QUVENXMLParser parser(root, QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root"));
  parser.readLine("<A><B><C/>", QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root", "A", "B"));
  parser.readLine("</B><D", QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root", "A", "D"));
  parser.readLine("/></A>", QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root"));
  EXPECT_TRUE(parser.finish(QUVEN_ENV));
  EXPECT_TRUE(parser.getTagStack().isEmpty());
  EXPECT_EQ(notation(root), "root{A{B{C} D}}");
}

TEST_F(QUVENXMLParserTest, GoesOnInTheMiddleOfAText) {
  root.addBranchTagPath("A/B", QUVEN_ENV);
  QUVENXMLParser parser(root, QUVEN_ENV);
  parser.startAt(State::IN_TAG_CONTENT, {"A", "B"}, QUVEN_ENV);
  parser.readLine("<C>1</C></B></A>", QUVEN_ENV);
  EXPECT_TRUE(parser.finish(QUVEN_ENV));
  EXPECT_EQ(notation(root), "root{A{B{C=1}}}");
}

TEST_F(QUVENXMLParserTest, StartsAgainWithNoOtherTagsOpen) {
  root.addBranchTagPath("A/B", QUVEN_ENV);
  QUVENXMLParser parser(root, QUVEN_ENV);
  parser.startAt(State::IN_TAG_CONTENT, {"A", "B"}, QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root", "A", "B"));
  parser.startAt(State::IN_TAG_CONTENT, {"A"}, QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root", "A"));
  parser.readLine("</A>", QUVEN_ENV);
  EXPECT_TRUE(parser.finish(QUVEN_ENV));
  parser.startAt(State::IN_ROOT_TAG, {}, QUVEN_ENV);
  EXPECT_THAT(stackOf(parser), ElementsAre("root"));
}

TEST_F(QUVENXMLParserTest, ABrokenStackIsAFatalReport) {
  root.addBranchTagPath("A/B", QUVEN_ENV);
  QUVENXMLParser parser(root, QUVEN_ENV);
  const std::string printed = fatalReportOf([&] { parser.startAt(State::IN_TAG_CONTENT, {"A", "C", "B"}, QUVEN_ENV); });
  EXPECT_TRUE(printed.starts_with("Searched: tagStack[3] = [C] at level 2 of [root/A/C]. Found [A]\n")) << printed;
  EXPECT_THAT(printed, HasSubstr("\n    Search for non existent tag in tagStack"));
}

TEST_F(QUVENXMLParserTest, OpenTagsStayInPlaceWhileTheirArraysGrow) {
  // Each child may move its siblings, but never a tag that is open.
  std::ostringstream text;
  for (int i = 1; i <= 50; ++i) text << "<B" << i << " c=\"1\"><D/><E>2</E></B" << i << ">";
  QUVENXMLParser parser(root, QUVEN_ENV);
  parser.readLine("<A>" + text.str() + "</A>", QUVEN_ENV);
  EXPECT_TRUE(parser.finish(QUVEN_ENV));

  std::ostringstream expected;
  for (int i = 1; i <= 50; ++i) expected << (i == 1 ? "" : " ") << "B" << i << "(c=\"1\"){D E=2}";
  EXPECT_EQ(notation(root), "root{A{" + expected.str() + "}}");
}

}  // namespace
