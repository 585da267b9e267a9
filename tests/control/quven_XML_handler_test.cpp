#include "control/quven_XML_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_debug.h"
#include "xml_text.h"

namespace {

using ::testing::HasSubstr;
using xml_text::childrenNotation;
using xml_text::fatalReportOf;
using xml_text::parse;
using xml_text::Parsed;
using xml_text::printedBy;

struct Passing {
  const char* text;
  const char* tree;
};

void expectPasses(std::initializer_list<Passing> cases) {
  for (const Passing& one : cases) EXPECT_EQ(parse(one.text), (Parsed{1, "", "", one.tree})) << one.text;
}

struct Failing {
  const char* text;
  const char* message;
  const char* tree;  // what was read until then
};

void expectFails(std::initializer_list<Failing> cases) {
  for (const Failing& one : cases) {
    const Parsed parsed = parse(one.text);
    EXPECT_EQ(parsed.result, 0) << one.text;
    EXPECT_EQ(parsed.message, one.message) << one.text;
    EXPECT_EQ(parsed.tree, one.tree) << one.text;
    EXPECT_TRUE(parsed.dump.ends_with("\n\nERROR ecnountered while reading XML file\n")) << one.text << parsed.dump;
  }
}

constexpr const char* NotALeaf =
    "Attempting to create a value for a non-leaf, or attempting to create more than one value for a leaf";
constexpr const char* NoQuote =
    "Attribute value not preceded by \", or attribute name not followed by value at the same line";

TEST(QUVENXMLHandler, ReadsTagsValuesAndAttributes) {
  expectPasses({
      {"<A></A>", "A"},
      {"<A/>", "A"},
      {"<A>1</A>", "A=1"},
      {"<A><B>1</B><C>2</C></A>", "A{B=1 C=2}"},
      {"<A><B><C/></B></A>", "A{B{C}}"},
      {"<A b=\"1\"/>", "A(b=\"1\")"},
      {"<A b=\"1\" c=\"2\">x</A>", "A(b=\"1\" c=\"2\")=x"},
      {"<A/><B/>", "A B"},  // several top elements
      {"<A><A><A/></A></A>", "A{A{A}}"},
      {"<__XMLRoot__/>", "__XMLRoot__"},  // the name of the root is free below the root
  });
}

TEST(QUVENXMLHandler, AnEmptyFileIsATreeWithoutChildren) {
  expectPasses({{"", ""}, {"\n", ""}, {" \t\n\r\n  ", ""}, {"\x01\x80\xff", ""}});
}

TEST(QUVENXMLHandler, TextAloneIsTheValueOfTheRoot) {
  expectPasses({{"text", "__XMLRoot__=text"}, {"\n  some text \n", "__XMLRoot__=some text"}});
}

TEST(QUVENXMLHandler, ReadsBlanksAroundTheParts) {
  expectPasses({
      {"<A ></A>", "A"},
      {"<A></A >", "A"},
      {"<A></ A>", "A"},
      {"<A>< / A >", "A"},
      {"<A / >", "A"},
      {"<A\t/\t>", "A"},
      {"<AB></A B>", "AB"},  // blanks vanish from the name of an end tag
      {"<A b = \"1\" />", "A(b=\"1\")"},
      {"<A b c=\"1\"/>", "A(bc=\"1\")"},  // and from that of an attribute
      {"<A b=\"1\"c=\"2\"/>", "A(b=\"1\" c=\"2\")"},
      {"<A> 1  2\t3 </A>", "A=1  2 3"},  // a tab inside a value is a blank
      {"<A b=\"  x  y \"/>", "A(b=\"x  y\")"},
      {"<A>   </A>", "A"},
  });
}

TEST(QUVENXMLHandler, ATagMaySpanLines) {
  expectPasses({
      {"<A\n>\n</A\t>", "A"},
      {"<A\n/>", "A"},
      {"<A\nb=\"1\"\nc=\"2\"\n>1\n</A>", "A(b=\"1\" c=\"2\")=1"},
      {"<A\n\n  \nb=\"1\"/>", "A(b=\"1\")"},
      {"<A>\n1\n</A>", "A=1"},
      {"<A b=\n\"1\"/>", "A(b=\"1\")"},
      {"<A b\n\"1\"/>", "A(b=\"1\")"},  // the end of the line stands for the "="
      {"<A b=\"1\n/>", "A(b=\"1\")"},   // and for the closing quote
      {"<A b=\"1/>\n/>", "A(b=\"1/>\")"},
  });
}

TEST(QUVENXMLHandler, ALineEndsAtALineFeedOnly) {
  expectPasses({
      {"<A>\r\n1\r\n</A>\r\n", "A=1"},
      {"<\rA\r>1\r2</A>", "A=12"},  // carriage returns are dropped wherever they stand
      {"<A>1</A>", "A=1"},          // the last line needs no line feed
      {"<A>1\v2\f3</A>", "A=1 2 3"},
  });
}

TEST(QUVENXMLHandler, ControlCharactersAndBytesAbove127AreBlanks) {
  expectPasses({
      {"<A>x\x01y\x1fz</A>", "A=x y z"},
      {"<A>x\x80y\xffz</A>", "A=x y z"},
      {"<A>\xc3\xa4 1 \xc3\xa4</A>", "A=1"},
      {"<A\x80></A>", "A"},
      {"<A>x\x7fy</A>", "A=x\x7fy"},
  });
  EXPECT_EQ(parse(std::string("<A>x\0y</A>", 11)).tree, "A=x y");
}

TEST(QUVENXMLHandler, DecodesEntitiesAfterTheTokenWasRead) {
  expectPasses({
      {"<A>&lt;B/&gt; &amp;amp; &quot;&apos;</A>", "A=<B/> &amp; \"'"},
      {"<A b=\"&quot;&#65;&#x42;\"/>", "A(b=\"\"AB\")"},
      {"<&#65;></A>", "A"},
      {"<A></&#x41;>", "A"},
      {"<A &#65;=\"1\"/>", "A(A=\"1\")"},
      {"<A><x&gt;y/></A>", "A{x>y}"},
      {"<A>&#32;</A>", "A"},       // trimmed after it is decoded: no value
      {"<A>&#32;\n1</A>", "A=1"},  // so there is room for one
      {"<A b=\"&#32;\"/>", "A(b=\"\")"},
  });
}

TEST(QUVENXMLHandler, ANameIsTrimmedAfterItIsDecoded) {
  expectPasses({{"<A&#32;></A>", "A"}, {"<A></A&#09;>", "A"}, {"<A b&#32;=\"1\"/>", "A(b=\"1\")"}});
  expectFails({
      {"<A><B/><B&#32;/></A>", "Duplicate child tag [B]", "A{B}"},
      {"<A b=\"1\" b&#32;=\"2\"/>", "Duplicate attribute [b]", "A(b=\"1\")"},
      {"<&#32;/>", "Could not locate end of tag", ""},
      {"<A &#32;=\"1\"/>", "Attributes chain ended unexpectedly", "A"},
  });
}

TEST(QUVENXMLHandler, TakesSomeUnusualNames) {
  expectPasses({
      {"<a=b c=\"1\"></a=b>", "a=b(c=\"1\")"},
      {"<a<b></a<b>", "a<b"},
      {"<a\"b/>", "a\"b"},
      {"<A b>c=\"1\"/>", "A(b>c=\"1\")"},
      {"<A b/c=\"1\"/>", "A(b/c=\"1\")"},
      {"<!A/>", "!A"},
  });
}

TEST(QUVENXMLHandler, FailsInAStartTag) {
  expectFails({
      {"< A>", "Could not locate end of tag", ""},
      {"<\tA>", "Could not locate end of tag", ""},
      {"<>", "Could not locate end of tag", ""},
      {"<", "Could not locate end of tag", ""},
      {"<\nA>", "Could not locate end of tag", ""},
      {"<A/x>", "Syntax error in empty tag", "A"},
      {"<A/", "Syntax error in empty tag", "A"},
      {"<A/\n>", "Syntax error in empty tag", "A"},
      {"<A /x>", "Syntax error in empty tag", "A"},
      {"<A&x;>", "Could not preprocess [A&x;]", ""},
      {"<A&>", "Could not preprocess [A&]", ""},
      {"<A><B/><B/></A>", "Duplicate child tag [B]", "A{B}"},
      {"<A/><A/>", "Duplicate child tag [A]", "A"},
      {"<A>1<B>2</B></A>", "Cannot associate more than one value to [A]. Current value is [1]", "A=1"},
      {"text\n<A/>", "Cannot associate more than one value to [__XMLRoot__]. Current value is [text]",
       "__XMLRoot__=text"},
  });
}

TEST(QUVENXMLHandler, FailsInAnAttribute) {
  expectFails({
      {"<A =\"1\"/>", "Attributes chain ended unexpectedly", "A"},
      {"<A b=\"1\" b=\"2\"/>", "Duplicate attribute [b]", "A(b=\"1\")"},
      {"<A b&x;=\"1\"/>", "Could not preprocess [b&x;]", "A"},
      {"<A b=1/>", NoQuote, "A(b)"},
      {"<A b='1'/>", NoQuote, "A(b)"},
      {"<A b\n=\"1\"/>", NoQuote, "A(b)"},
      {"<A b>\n</A>", NoQuote, "A(b>)"},  // without "=" the rest of the line is the name
      {"<A b=\"\"/>", "Attribute value not followed by \"", "A(b)"},
      {"<A b=\"  \"/>", "Attribute value not followed by \"", "A(b)"},
      {"<A b=\"", "Attribute value not followed by \"", "A(b)"},
      {"<A b=\"&#97;\"/>", "Could not preprocess [&#97;]", "A(b)"},
  });
}

TEST(QUVENXMLHandler, FailsInAValue) {
  expectFails({
      {"<A><B>1</B>2</A>", NotALeaf, "A{B=1}"},
      {"<A>1\n2</A>", NotALeaf, "A=1"},
      {"<A/>text", NotALeaf, "A"},
      {"1\n2", NotALeaf, "__XMLRoot__=1"},
      {"<A>a & b</A>", "Could not preprocess [a & b]", "A"},
      {"<A>&nbsp;</A>", "Could not preprocess [&nbsp;]", "A"},
  });
}

TEST(QUVENXMLHandler, FailsInAnEndTag) {
  expectFails({
      {"<A></>", "Syntax error in end tag", "A"},
      {"<A></", "Syntax error in end tag", "A"},
      {"<A></A", "Syntax error in end tag", "A"},
      {"<A></A\n>", "Syntax error in end tag", "A"},
      {"<A></B>", "Closing tag [B] does not match opening tag [A]", "A"},
      {"<A></a>", "Closing tag [a] does not match opening tag [A]", "A"},
      {"<A></A/>", "Closing tag [A/] does not match opening tag [A]", "A"},
      {"<A></A b=\"1\">", "Closing tag [Ab=\"1\"] does not match opening tag [A]", "A"},
      {"</A>", "Closing tag [A] does not match opening tag [__XMLRoot__]", ""},
      {"<A><B></A></B>", "Closing tag [A] does not match opening tag [B]", "A{B}"},
      {"<A></A&x;>", "Could not preprocess [A&x;]", "A"},
  });
}

TEST(QUVENXMLHandler, HasNoPrologCommentOrSection) {
  expectFails({
      {"<?xml version=\"1.0\"?>\n<A/>", NoQuote, "?xml(version=\"1.0\" ?>)"},
      {"<!-- c -->\n<A/>", NoQuote, "!--(c-->)"},
      {"<A><![CDATA[x]]></A>", "Closing tag [A] does not match opening tag [![CDATA[x]]]", "A{![CDATA[x]]}"},
  });
  expectPasses({{"<x:A/>", "x:A"}});
}

TEST(QUVENXMLHandler, PrintsTheStackAndThePartialTreeAfterAnError) {
  const Parsed parsed = parse("<A>\n<B x=\"1\">2</B>\n<C y=3></A>\n<D/>");
  EXPECT_EQ(parsed.message, NoQuote);
  EXPECT_EQ(parsed.dump,
            "XML Parse error.\n"
            "Current tag stack: __XMLRoot__ A C \n"
            "Current XML partial read: \n"
            "[__XMLRoot__] { }\n"
            "  [A] { }\n"
            "    [B][2] { <x, 1> }\n"
            "    [C][] { <y, NULL> }\n"
            "\n"
            "ERROR ecnountered while reading XML file\n");
}

TEST(QUVENXMLHandler, AnUnclosedTagIsNoErrorState) {
  EXPECT_EQ(parse("<A><B>1</B>"), (Parsed{0, "",
                                          "XML Parse error.\n"
                                          "Current tag stack: __XMLRoot__ A \n"
                                          "Current XML partial read: \n"
                                          "[__XMLRoot__] { }\n"
                                          "  [A] { }\n"
                                          "    [B][1] { }\n"
                                          "\n",
                                          "A{B=1}"}));
  for (const char* text : {"<A", "<A b", "<A b=\"1", "<A>", "<A>1", "<A><B/>"}) {
    const Parsed parsed = parse(text);
    EXPECT_EQ(parsed.result, 0) << text;
    EXPECT_EQ(parsed.message, "") << text;
    EXPECT_THAT(parsed.dump, HasSubstr("Current tag stack: __XMLRoot__ A \n")) << text;
    EXPECT_TRUE(parsed.dump.ends_with("\n\n")) << text << parsed.dump;
  }
}

TEST(QUVENXMLHandler, AnUnclosedTagWithTheNameOfTheRootIsPoppedInItsPlace) {
  const Parsed parsed = parse("<__XMLRoot__>");
  EXPECT_EQ(parsed.result, 0);
  EXPECT_THAT(parsed.dump, HasSubstr("Current tag stack: __XMLRoot__ \n"));
}

TEST(QUVENXMLHandler, ATextThatClosesTheRootFails) {
  EXPECT_EQ(parse("<A/></__XMLRoot__>"), (Parsed{0, "",
                                                 "XML Parse error.\n"
                                                 "Current tag stack: \n"
                                                 "Current XML partial read: \n"
                                                 "[__XMLRoot__] { }\n"
                                                 "  [A][] { }\n"
                                                 "\n",
                                                 "A"}));
  expectFails({
      {"</__XMLRoot__><A/>", "Search for non existent tag in tagStack", ""},
      {"</__XMLRoot__>text", "Search for non existent tag in tagStack", ""},
      {"</__XMLRoot__></A>", "Closing tag [A] does not match opening tag []", ""},
  });
}

TEST(QUVENXMLHandler, LooksAtNothingBehindAnError) {
  expectFails({{"<A></B></A><C/>\n<D/>", "Closing tag [B] does not match opening tag [A]", "A"}});
}

TEST(QUVENXMLHandler, ALineOfSomeMegabytesIsRead) {
  // Every step looks at the rest of the line; were it copied there, this would take hours.
  std::string text = "<A>";
  for (int group = 1; group <= 400; ++group) {
    text += "<G" + std::to_string(group) + ">";
    for (int i = 1; i <= 400; ++i) text += "<F" + std::to_string(i) + " b=\"1\">2</F" + std::to_string(i) + ">";
    text += "</G" + std::to_string(group) + ">";
  }
  text += "</A>";
  const Parsed parsed = parse(text);
  EXPECT_EQ(parsed.result, 1);
  EXPECT_EQ(std::count(parsed.tree.begin(), parsed.tree.end(), '='), 2 * 400 * 400);
}

class DeepTree : public ::testing::Test {
 protected:
  static constexpr int Depth = 300000;  // a walk with a call for each level would need about 30 MB of stack

  static std::string repeated(const char* text) {
    std::string all;
    for (int i = 0; i < Depth; ++i) all += text;
    return all;
  }

  int read(const std::string& text) { return handler->readXMLFile(folder.write("deep.xml", text), QUVEN_ENV); }

  void SetUp() override {
    environment.activate();
    handler = QUVENXMLHandler::create(QUVEN_ENV);
    handler->resetTree(QUVEN_ENV);
  }

  void TearDown() override { QUVEN_DELETE(handler); }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENXMLHandler> handler;
};

TEST_F(DeepTree, IsReadSearchedAndReleased) {
  EXPECT_EQ(read(repeated("<a>") + repeated("</a>")), 1);
  EXPECT_TRUE(handler->hasTag(repeated("a/"), QUVEN_ENV));
  EXPECT_FALSE(handler->hasTag(repeated("a/") + "a", QUVEN_ENV));
  handler->getTag("a", QUVEN_ENV).clear(QUVEN_ENV);
  EXPECT_FALSE(handler->hasTag("a/a", QUVEN_ENV));
  QUVEN_DELETE(handler);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

TEST_F(DeepTree, TheListingOfAPartialTreeEndsAtItsLimit) {
  int result = -1;
  const std::string printed = printedBy([&] { result = read(repeated("<a>")); });
  EXPECT_EQ(result, 0);
  const std::string last = std::string(2 * QUVENXMLTag::MaxListingDepth, ' ') + "[a] { }\n" +
                           std::string(2 * (QUVENXMLTag::MaxListingDepth + 1), ' ') + "...\n\n";
  EXPECT_TRUE(printed.ends_with(last)) << printed.substr(printed.size() - 1000);
}

/// A handler with a tree, in an environment whose account is checked at the end.
class HandlerFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    environment.activate();
    handler = QUVENXMLHandler::create(QUVEN_ENV);
    handler->resetTree(QUVEN_ENV);
  }

  void TearDown() override {
    QUVEN_DELETE(handler);
    EXPECT_EQ(environment.getBytesInUse(), 0);
    EXPECT_EQ(quvenDebugWords.error, 0);
  }

  std::string tree() { return childrenNotation(handler->getTag("", QUVEN_ENV)); }
  int read(const std::string& text) { return handler->readXMLFile(folder.write("in.xml", text), QUVEN_ENV); }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENXMLHandler> handler;
};

TEST_F(HandlerFiles, AFileThatCannotBeOpenedIsZeroWithoutAWord) {
  int result = -1;
  EXPECT_EQ(printedBy([&] { result = handler->readXMLFile(folder.path("none.xml"), QUVEN_ENV); }), "");
  EXPECT_EQ(result, 0);
}

TEST_F(HandlerFiles, AFileThatCannotBeReadIsTheErrorReport2100) {
  // A directory opens like a file and fails at the first read.
  EXPECT_THAT(fatalReportOf([&] { (void)handler->readXMLFile(folder.path("."), QUVEN_ENV); }),
              HasSubstr("Error;|2100;|QUVENXMLHandler::readXMLFile, bad ifstream;|ErrorEnd\nTerminating VESK\n"));
}

TEST_F(HandlerFiles, AStreamThatIsBadFromTheStartIsTheErrorReport2100) {
  std::istringstream stream("<A/>");
  stream.setstate(std::ios::badbit);
  EXPECT_THAT(
      fatalReportOf([&] { (void)handler->readXMLStream(stream, QUVEN_ENV); }),
      HasSubstr(
          "Error;|2100;|QUVENXMLHandler::readXMLFile, bad conversion to std::istream (can result from comatibility "
          "issues either in code building or between the code build and the target machine);|ErrorEnd\nTerminating "
          "VESK\n"));
  EXPECT_EQ(tree(), "");
}

/// Delivers its text and then fails, as a file on a disk that breaks.
class BreakingText : public std::stringbuf {
 public:
  explicit BreakingText(const std::string& text) : std::stringbuf(text, std::ios::in) {}

 protected:
  int_type underflow() override { throw std::ios_base::failure("broken"); }
};

TEST_F(HandlerFiles, AReadThatFailsInTheMiddleIsTheErrorReport2100) {
  BreakingText text("<A>\n</A>\n");  // well-formed as far as it goes
  std::istream stream(&text);
  EXPECT_THAT(fatalReportOf([&] { (void)handler->readXMLStream(stream, QUVEN_ENV); }),
              HasSubstr("Error;|2100;|QUVENXMLHandler::readXMLFile, bad ifstream;|ErrorEnd\nTerminating VESK\n"));
}

TEST_F(HandlerFiles, ASecondFileIsReadIntoTheSameTree) {
  EXPECT_EQ(read("<A>1</A>"), 1);
  EXPECT_EQ(read("<B>2</B>"), 1);
  EXPECT_EQ(tree(), "A=1 B=2");
  int result = -1;
  EXPECT_THAT(printedBy([&] { result = read("<A/>"); }), HasSubstr("Duplicate child tag [A]\n"));
  EXPECT_EQ(result, 0);
}

TEST_F(HandlerFiles, ResetTreeDropsTheOldTree) {
  EXPECT_EQ(read("<A>1</A>"), 1);
  handler->resetTree(QUVEN_ENV);
  EXPECT_EQ(tree(), "");
  EXPECT_EQ(handler->getTag("", QUVEN_ENV).getName(), "__XMLRoot__");
  EXPECT_TRUE(handler->getTag("", QUVEN_ENV).isLeaf());
  EXPECT_EQ(read("<A>1</A>"), 1);
  EXPECT_FALSE(handler->getTag("", QUVEN_ENV).isLeaf());
}

TEST_F(HandlerFiles, PathsLoseTheirBlanksAndAreDecoded) {
  EXPECT_EQ(read("<A><B>1</B><c&amp;d>2</c&amp;d></A>"), 1);
  for (const char* path : {"", "  \t", "A", " A ", "A/", "A/B", "A / B", "A/B/", "&#65;/&#x42;", "A/c&amp;d"})
    EXPECT_TRUE(handler->hasTag(path, QUVEN_ENV)) << path;
  for (const char* path : {"B", "a", "/A", "A//B", "A/B/C", "A/c&d", "A/&nbsp;", "&"})
    EXPECT_FALSE(handler->hasTag(path, QUVEN_ENV)) << path;
  EXPECT_EQ(handler->getTag("A / B", QUVEN_ENV).getValue(), "1");
  EXPECT_EQ(handler->getTag("A/c&amp;d", QUVEN_ENV).getValue(), "2");
  EXPECT_EQ(handler->getTag("", QUVEN_ENV).getName(), "__XMLRoot__");
}

TEST_F(HandlerFiles, GetTagOfNoTagIsAFatalReport) {
  EXPECT_EQ(read("<A/>"), 1);
  EXPECT_THAT(fatalReportOf([&] { handler->getTag("A/B", QUVEN_ENV); }),
              HasSubstr("\n    QUVENXMLTag::getTag, there is no [A/B] in the tag [__XMLRoot__]"));
  EXPECT_THAT(fatalReportOf([&] { handler->getTag("&x;", QUVEN_ENV); }),
              HasSubstr("\n    QUVENXMLHandler::getTag, wrong entity in the path [&x;]"));
}

TEST_F(HandlerFiles, WithoutATreeEveryOperationIsAFatalReport) {
  auto bare = QUVENXMLHandler::create(QUVEN_ENV);
  const auto expectFatal = [&](auto action) {
    EXPECT_THAT(fatalReportOf(action), HasSubstr("\n    QUVENXMLHandler, no tree: resetTree comes first"));
  };
  expectFatal([&] { (void)bare->readXMLFile(folder.write("in.xml", "<A/>"), QUVEN_ENV); });
  expectFatal([&] { (void)bare->writeXMLFile(folder.path("out.xml"), QUVEN_ENV); });
  expectFatal([&] { (void)bare->hasTag("", QUVEN_ENV); });
  expectFatal([&] { bare->getTag("", QUVEN_ENV); });
  expectFatal([&] { bare->dumpAndClear(QUVEN_ENV); });
  QUVEN_DELETE(bare);
}

TEST_F(HandlerFiles, CreateGivesAHandlerWithoutATree) {
  auto created = QUVENXMLHandler::create(QUVEN_ENV);
  EXPECT_THAT(fatalReportOf([&] { (void)created->hasTag("", QUVEN_ENV); }), HasSubstr("no tree"));
  created->resetTree(QUVEN_ENV);
  EXPECT_TRUE(created->hasTag("", QUVEN_ENV));
  QUVEN_DELETE(created);
}

TEST_F(HandlerFiles, WritesTheTreeWithoutTheRoot) {
  EXPECT_EQ(read("<A b=\"&lt;1&gt;\"><B>x &amp; y</B><C/></A><D>2</D>"), 1);
  EXPECT_EQ(handler->writeXMLFile(folder.path("out.xml"), QUVEN_ENV), 1);
  EXPECT_EQ(folder.read("out.xml"),
            "<A b=\"&lt;1&gt;\">\n"
            "  <B>x &amp; y</B>\n"
            "  <C></C>\n"
            "</A>\n"
            "<D>2</D>\n");
}

TEST_F(HandlerFiles, AnOutputFileThatCannotBeOpenedIsSaid) {
  const std::string name = folder.path("none/out.xml");
  int result = -1;
  EXPECT_EQ(printedBy([&] { result = handler->writeXMLFile(name, QUVEN_ENV); }),
            "Error: Could not open output file " + name + "\n");
  EXPECT_EQ(result, 0);
}

TEST_F(HandlerFiles, AnOutputFileThatCannotBeWrittenIsSaid) {
  EXPECT_EQ(read("<A>1</A>"), 1);
  int result = -1;
  EXPECT_EQ(printedBy([&] { result = handler->writeXMLFile("/dev/full", QUVEN_ENV); }),
            "Error: Could not write output file /dev/full\n");
  EXPECT_EQ(result, 0);
}

TEST_F(HandlerFiles, DumpAndClearListsTheTreeBeforeAndAfter) {
  EXPECT_EQ(read("<A b=\"1\"><B>2</B></A>"), 1);
  EXPECT_EQ(printedBy([&] { handler->dumpAndClear(QUVEN_ENV); }),
            "[__XMLRoot__] { }\n"
            "  [A] { <b, 1> }\n"
            "    [B][2] { }\n"
            "[__XMLRoot__] { }\n");
}

TEST_F(HandlerFiles, AnExceptionReleasesTheTree) {
  const auto bytes = environment.getBytesInUse();
  EXPECT_THAT(fatalReportOf([&] {
                auto other = QUVENXMLHandler::create(QUVEN_ENV);
                other->resetTree(QUVEN_ENV);
                EXPECT_EQ(other->readXMLFile(folder.write("in.xml", "<A b=\"1\"><B>1</B></A>"), QUVEN_ENV), 1);
                EXPECT_GT(environment.getBytesInUse(), bytes);
                other->getTag("none", QUVEN_ENV);
              }),
              HasSubstr("there is no [none]"));
  EXPECT_EQ(environment.getBytesInUse(), bytes);
}

TEST_F(HandlerFiles, ResetTreeKeepsTheOldTreeWithoutMemoryForARoot) {
  EXPECT_EQ(read("<A>1</A>"), 1);
  environment.setBytesBudget(environment.getBytesInUse() + static_cast<std::int64_t>(sizeof(QUVENXMLTag)) - 1);
  CapturedRun run = capturedRun([&] { handler->resetTree(QUVEN_ENV); });
  EXPECT_THAT(run.out, ::testing::EndsWith("\n    Cannot allocate object memory\n"));
  EXPECT_TRUE(run.threwMemoryException);
  environment.setBytesBudget(0);
  run = capturedRun([&] {
    const FailingAllocation failure(0);
    handler->resetTree(QUVEN_ENV);
  });
  EXPECT_THAT(run.out, HasSubstr("\n    Cannot allocate object memory\n"));
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(tree(), "A=1");
}

TEST_F(HandlerFiles, MemoryThatRunsOutAnywhereIsAnExceptionAndLeavesTheAccountExact) {
  const auto bytes = environment.getBytesInUse();
  const std::string name = folder.write("in.xml",
                                        "<A first_attribute_of_the_tag=\"a value that needs a block of its own\">\n"
                                        "<B><C><D/></C><E>another value that needs a block of its own</E></B>\n"
                                        "<a_name_that_needs_a_block_of_its_own/></A>");
  int result = 0;
  long allowed = 0;
  // Memory stays exhausted until everything is released.
  for (bool failed = true; failed; ++allowed) {
    const CapturedRun run = capturedRun([&] {
      const FailingAllocation failure(allowed);
      auto other = QUVENXMLHandler::create(QUVEN_ENV);
      other->resetTree(QUVEN_ENV);
      result = other->readXMLFile(name, QUVEN_ENV);
      QUVEN_DELETE(other);
    });
    failed = run.threwMemoryException || run.threwLibraryException;
    EXPECT_EQ(environment.getBytesInUse(), bytes) << allowed;
    EXPECT_EQ(quvenDebugWords.error, 0) << allowed;
    ASSERT_LT(allowed, 1000);
  }
  EXPECT_EQ(result, 1);
  EXPECT_GT(allowed, 20);
}

}  // namespace
