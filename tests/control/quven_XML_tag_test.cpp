#include "control/quven_XML_tag.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <string>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "xml_text.h"

namespace {

using ::testing::HasSubstr;
using xml_text::fatalReportOf;
using xml_text::notation;

class QUVENXMLTagTest : public ::testing::Test {
 protected:
  void SetUp() override {
    environment.activate();
    tag.setName("T", QUVEN_ENV);
  }

  void TearDown() override {
    tag.destroyPrimitive(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
  }

  std::string written(int level = 0) {
    std::ostringstream stream;
    tag.write(stream, level, QUVEN_ENV);
    return stream.str();
  }

  std::string listed(int level = 0) {
    std::ostringstream stream;
    tag.print(stream, level, QUVEN_ENV);
    return stream.str();
  }

  template <class Value>
  std::string valueOf(Value value) {
    tag.setValue(value, QUVEN_ENV);
    return tag.getValue();
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENXMLTag tag;
};

TEST_F(QUVENXMLTagTest, BeginsAsAnEmptyLeaf) {
  EXPECT_TRUE(tag.isLeaf());
  EXPECT_EQ(tag.getValue(), "");
  EXPECT_EQ(tag.getChildren().getSize(), 0);
  EXPECT_EQ(tag.getAttributeNames().getSize(), 0);
}

TEST_F(QUVENXMLTagTest, AddLeafTagAppendsAnEmptyLeafAndLeavesItsParentAsItIs) {
  QUVENXMLTag& child = tag.addLeafTag(" \tA b\t ", QUVEN_ENV);
  EXPECT_EQ(child.getName(), "A b");
  EXPECT_TRUE(child.isLeaf());
  EXPECT_EQ(child.getValue(), "");
  EXPECT_TRUE(tag.isLeaf());
  tag.becomeBranch();
  tag.addLeafTag("B", QUVEN_ENV);
  EXPECT_FALSE(tag.isLeaf());
}

TEST_F(QUVENXMLTagTest, AddBranchTagAppendsABranch) {
  EXPECT_FALSE(tag.addBranchTag(" A ", QUVEN_ENV).isLeaf());
  EXPECT_TRUE(tag.isLeaf());
  EXPECT_EQ(notation(tag), "T{A{}}");
}

TEST_F(QUVENXMLTagTest, AddingDoesNotLookForDuplicates) {
  tag.addLeafTag("A", QUVEN_ENV).setValue("1", QUVEN_ENV);
  tag.addBranchTag("A", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{A=1 A{}}");
  EXPECT_EQ(tag.getChild("A", QUVEN_ENV).getValue(), "1");  // the first of a name is found
}

TEST_F(QUVENXMLTagTest, ANameMayBeThatOfAChildWhichMoves) {
  // The name used to be read from the cell of the child after the growing array had moved it.
  tag.addLeafTag("a short name", QUVEN_ENV);
  for (int i = 0; i < 20; ++i) tag.addLeafTag(tag.getChildren()[1].getName(), QUVEN_ENV);
  for (const QUVENXMLTag& child : tag.getChildren()) EXPECT_EQ(child.getName(), "a short name");
}

TEST_F(QUVENXMLTagTest, WithoutMemoryForItsNameNoChildIsAdded) {
  tag.addLeafTag("room for one more", QUVEN_ENV);
  tag.addLeafTag("and this one", QUVEN_ENV);
  ASSERT_LT(tag.getChildren().getSize(), tag.getChildren().getCapacity());
  const CapturedRun run = capturedRun([&] {
    const FailingAllocation failure(0);
    tag.addLeafTag("a name that needs a block of its own", QUVEN_ENV);
  });
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(tag.getChildren().getSize(), 2);
}

TEST_F(QUVENXMLTagTest, ATreeIsReleasedWithoutMemory) {
  // The release used to list the parents first, and ended the program where memory had run out.
  for (const char* path : {"a/b/c/d", "a/b/e/f", "a/g", "h/i/j", "h/k", "l"}) {
    tag.addLeafTagPath(path, QUVEN_ENV).addAttributeName("x", QUVEN_ENV);
  }
  tag.getTag("a/b", QUVEN_ENV).removeAllChildren(QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{a{b g(x)} h{i{j(x)} k(x)} l(x)}");
  const FailingAllocation failure(0);
  tag.destroyPrimitive(QUVEN_ENV);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

TEST_F(QUVENXMLTagTest, ChildrenAreFoundByTheirExactNames) {
  tag.addLeafTag("A", QUVEN_ENV).setValue("1", QUVEN_ENV);
  tag.addLeafTag("a", QUVEN_ENV).setValue("2", QUVEN_ENV);
  tag.addLeafTag("a b/c", QUVEN_ENV).setValue("3", QUVEN_ENV);
  EXPECT_TRUE(tag.hasChild("A", QUVEN_ENV));
  EXPECT_EQ(tag.getChild("A", QUVEN_ENV).getValue(), "1");
  EXPECT_EQ(tag.getChild("a", QUVEN_ENV).getValue(), "2");
  EXPECT_EQ(tag.getChild("a b/c", QUVEN_ENV).getValue(), "3");
  for (const char* name : {"", "B", "A ", " A", "AA", "T", "A/"}) EXPECT_FALSE(tag.hasChild(name, QUVEN_ENV)) << name;
}

TEST_F(QUVENXMLTagTest, GetChildOfNoChildIsAFatalReport) {
  EXPECT_THAT(fatalReportOf([&] { tag.getChild("A", QUVEN_ENV); }),
              HasSubstr("\n    QUVENXMLTag::getChild, there is no [A] in the tag [T]"));
}

TEST_F(QUVENXMLTagTest, WalksAPath) {
  tag.addLeafTagPath("a/b/c", QUVEN_ENV).setValue("1", QUVEN_ENV);
  for (const char* path : {"", "a", "a/", "a/b", " a / b ", "a\t/b/", "a/b/c", "a/b/c/", "a/ b/c"})
    EXPECT_TRUE(tag.hasTag(path, QUVEN_ENV)) << "[" << path << "]";
  for (const char* path : {"/", "/a", "a//b", "a/b/c/d", "b", "A", "a/ ", " ", "a/b/c//", "..", "*", "a/*", "T"})
    EXPECT_FALSE(tag.hasTag(path, QUVEN_ENV)) << "[" << path << "]";
  EXPECT_EQ(&tag.getTag("", QUVEN_ENV), &tag);
  EXPECT_EQ(tag.getTag("a / b / c /", QUVEN_ENV).getValue(), "1");
  EXPECT_EQ(std::as_const(tag).getTag("a/b", QUVEN_ENV).getName(), "b");
  EXPECT_EQ(&std::as_const(tag).getChild("a", QUVEN_ENV), &tag.getTag("a", QUVEN_ENV));
}

TEST_F(QUVENXMLTagTest, AnEmptyPathIsTheTagOfALeafToo) {
  EXPECT_TRUE(tag.addLeafTag("leaf", QUVEN_ENV).hasTag("", QUVEN_ENV));
}

TEST_F(QUVENXMLTagTest, GetTagOfNoTagIsAFatalReport) {
  tag.addLeafTag("a", QUVEN_ENV);
  for (const char* path : {"b", "a/b", "/", "a//b"}) {
    EXPECT_THAT(fatalReportOf([&] { tag.getTag(path, QUVEN_ENV); }),
                HasSubstr("\n    QUVENXMLTag::getTag, there is no [" + std::string(path) + "] in the tag [T]"));
  }
}

TEST_F(QUVENXMLTagTest, AddLeafTagPathCreatesWhatIsMissing) {
  tag.addLeafTagPath("a/b/c", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{a{b{c}}}");
  tag.addLeafTagPath("a/b/d", QUVEN_ENV).setValue(1, QUVEN_ENV);
  tag.addLeafTagPath("e", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{a{b{c d=1}} e}");
  EXPECT_FALSE(tag.getTag("a/b", QUVEN_ENV).isLeaf());
  EXPECT_TRUE(tag.getTag("a/b/d", QUVEN_ENV).isLeaf());
}

TEST_F(QUVENXMLTagTest, AddBranchTagPathEndsInABranch) {
  tag.addBranchTagPath("a/b", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{a{b{}}}");
}

TEST_F(QUVENXMLTagTest, AddingAPathThatExistsReturnsItsTagAsItIs) {
  QUVENXMLTag& made = tag.addLeafTagPath("a/b", QUVEN_ENV);
  made.setValue("1", QUVEN_ENV);
  EXPECT_EQ(&tag.addLeafTagPath("a / b /", QUVEN_ENV), &made);
  EXPECT_EQ(&tag.addBranchTagPath("a/b", QUVEN_ENV), &made);
  EXPECT_TRUE(made.isLeaf());
  EXPECT_EQ(&tag.addLeafTagPath("", QUVEN_ENV), &tag);
  EXPECT_EQ(&tag.addBranchTagPath("", QUVEN_ENV), &tag);
  EXPECT_EQ(notation(tag), "T{a{b=1}}");
}

TEST_F(QUVENXMLTagTest, BlanksVanishFromTheNamesOfAnAddedPath) {
  tag.addLeafTagPath("Run Parameters/ Number of passes ", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{RunParameters{Numberofpasses}}");
  EXPECT_TRUE(tag.hasTag("Run Parameters/Number of passes", QUVEN_ENV));
}

TEST_F(QUVENXMLTagTest, AnEmptyNameInAnAddedPathIsAFatalReportAndAddsNothing) {
  for (const char* path : {"a//b", "/a", "/", " ", "a/ "}) {
    EXPECT_THAT(fatalReportOf([&] { tag.addLeafTagPath(path, QUVEN_ENV); }), HasSubstr("empty name in the path"))
        << path;
    EXPECT_THAT(fatalReportOf([&] { tag.addBranchTagPath(path, QUVEN_ENV); }), HasSubstr("empty name in the path"));
  }
  EXPECT_EQ(notation(tag), "T");
}

TEST_F(QUVENXMLTagTest, SetValueTrims) {
  EXPECT_EQ(valueOf(" \t a b \t "), "a b");
  EXPECT_EQ(valueOf(std::string("  x")), "x");
  EXPECT_EQ(valueOf(std::string_view("y  ")), "y");
  EXPECT_EQ(valueOf("   "), "");
  EXPECT_EQ(valueOf("\n"), "\n");
}

TEST_F(QUVENXMLTagTest, SetValueOfABooleanIsAWord) {
  EXPECT_EQ(valueOf(true), "True");
  EXPECT_EQ(valueOf(false), "False");
}

TEST_F(QUVENXMLTagTest, SetValueOfAnIntegerIsDecimal) {
  EXPECT_EQ(valueOf(0), "0");
  EXPECT_EQ(valueOf(-17), "-17");
  EXPECT_EQ(valueOf(std::numeric_limits<int>::min()), "-2147483648");
  EXPECT_EQ(valueOf(std::numeric_limits<int>::max()), "2147483647");
}

TEST_F(QUVENXMLTagTest, SetValueOfADoubleIsShortAndPlainWhereItIsReadable) {
  EXPECT_EQ(valueOf(0.0), "0");
  EXPECT_EQ(valueOf(-0.0), "-0");
  EXPECT_EQ(valueOf(0.01), "0.01");
  EXPECT_EQ(valueOf(-2.5), "-2.5");
  EXPECT_EQ(valueOf(100000.0), "100000");  // not 1e+05, which a reader of integers takes for 1
  EXPECT_EQ(valueOf(7230015551234.0), "7230015551234");
  EXPECT_EQ(valueOf(9999999999999998.0), "9999999999999998");
  EXPECT_EQ(valueOf(1e16), "1e+16");
  EXPECT_EQ(valueOf(0.00001), "0.00001");
  EXPECT_EQ(valueOf(0.000001), "1e-06");
  EXPECT_EQ(valueOf(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(valueOf(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(valueOf(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(valueOf(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST_F(QUVENXMLTagTest, EveryDoubleReadsBackToItself) {
  const unsigned seed = 20240611;
  std::mt19937_64 random(seed);
  for (int i = 0; i < 20000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(std::strtod(valueOf(value).c_str(), nullptr), value) << "seed " << seed << " number " << i;
  }
}

TEST_F(QUVENXMLTagTest, AttributesKeepTheirOrderAndAreTrimmed) {
  tag.addAttributeName(" b ", QUVEN_ENV);
  tag.addAttributeValue("\t1 2 ", QUVEN_ENV);
  tag.addAttributeName("a", QUVEN_ENV);
  tag.addAttributeValue("", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T(b=\"1 2\" a=\"\")");
  EXPECT_TRUE(tag.hasAttribute("b", QUVEN_ENV));
  EXPECT_TRUE(tag.hasAttribute("a", QUVEN_ENV));
  EXPECT_FALSE(tag.hasAttribute("B", QUVEN_ENV));
  EXPECT_FALSE(tag.hasAttribute("", QUVEN_ENV));
  EXPECT_EQ(tag.getAttribute("b", QUVEN_ENV), "1 2");
  EXPECT_EQ(tag.getAttribute("a", QUVEN_ENV), "");
}

TEST_F(QUVENXMLTagTest, GetAttributeOfNoAttributeOrNoValueIsAFatalReport) {
  tag.addAttributeName("a", QUVEN_ENV);
  for (const char* name : {"a", "b"}) {
    EXPECT_THAT(fatalReportOf([&] { tag.getAttribute(name, QUVEN_ENV); }),
                HasSubstr("QUVENXMLTag::getAttribute, there is no [" + std::string(name) + "] in the tag [T]"));
  }
}

TEST_F(QUVENXMLTagTest, RemoveAllChildrenMakesALeaf) {
  tag.becomeBranch();
  tag.addLeafTagPath("a/b", QUVEN_ENV);
  tag.addAttributeName("x", QUVEN_ENV);
  tag.removeAllChildren(QUVEN_ENV);
  EXPECT_TRUE(tag.isLeaf());
  EXPECT_EQ(notation(tag), "T(x)");
}

TEST_F(QUVENXMLTagTest, ClearEmptiesABranchWhichStaysABranch) {
  tag.becomeBranch();
  tag.addLeafTagPath("a/b", QUVEN_ENV);
  tag.addAttributeName("x", QUVEN_ENV);
  tag.addAttributeValue("1", QUVEN_ENV);
  tag.clear(QUVEN_ENV);
  EXPECT_FALSE(tag.isLeaf());
  EXPECT_EQ(notation(tag), "T{}");
  EXPECT_EQ(tag.getAttributeValues().getSize(), 0);
}

TEST_F(QUVENXMLTagTest, ClearLeavesALeafAsItIs) {
  tag.setValue("1", QUVEN_ENV);
  tag.addAttributeName("x", QUVEN_ENV);
  tag.addAttributeValue("2", QUVEN_ENV);
  tag.clear(QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T(x=\"2\")=1");
}

TEST_F(QUVENXMLTagTest, SetFromVectorMakesABranchOfNumberedLeaves) {
  QUVENXaRay<double> numbers;
  numbers.setSize(3, QUVEN_ENV);
  numbers[1] = 0.5;
  numbers[2] = -3;
  numbers[3] = 1e300;
  tag.setValue("old", QUVEN_ENV);
  tag.setFromVector(numbers, QUVEN_ENV);
  EXPECT_FALSE(tag.isLeaf());
  EXPECT_EQ(notation(tag), "T{v1=0.5 v2=-3 v3=1e+300}");
  numbers.setSize(1, QUVEN_ENV);
  tag.setFromVector(numbers, QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{v1=0.5}");
  numbers.setSize(0, QUVEN_ENV);
  tag.setFromVector(numbers, QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{}");
  numbers.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXMLTagTest, SetFromVectorTakesWholeNumbersToo) {
  QUVENXaRay<long> numbers;
  numbers.setSize(2, QUVEN_ENV);
  numbers[1] = -1;
  numbers[2] = 7230015551234L;
  tag.setFromVector(numbers, QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T{v1=-1 v2=7230015551234}");
  numbers.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENXMLTagTest, WritesALeafAsOneLine) {
  EXPECT_EQ(written(), "<T></T>\n");
  tag.setValue("1 2", QUVEN_ENV);
  EXPECT_EQ(written(), "<T>1 2</T>\n");
  EXPECT_EQ(written(3), "      <T>1 2</T>\n");
}

TEST_F(QUVENXMLTagTest, WritesABranchWithItsChildrenBelow) {
  tag.becomeBranch();
  EXPECT_EQ(written(1), "  <T>\n  </T>\n");
  tag.addLeafTagPath("a/b", QUVEN_ENV).setValue("1", QUVEN_ENV);
  tag.addLeafTag("c", QUVEN_ENV);
  EXPECT_EQ(written(),
            "<T>\n"
            "  <a>\n"
            "    <b>1</b>\n"
            "  </a>\n"
            "  <c></c>\n"
            "</T>\n");
}

TEST_F(QUVENXMLTagTest, BelowLevelZeroOnlyTheChildrenAreWritten) {
  tag.addLeafTagPath("a/b", QUVEN_ENV);  // the tag itself is still a leaf, as a new root is
  tag.addLeafTag("c", QUVEN_ENV);
  EXPECT_EQ(written(-1), "<a>\n  <b></b>\n</a>\n<c></c>\n");
  EXPECT_EQ(written(-2), "<b></b>\n");
  EXPECT_EQ(written(-3), "");
}

TEST_F(QUVENXMLTagTest, ALeafIsWrittenWithoutItsChildren) {
  tag.addLeafTag("a", QUVEN_ENV);
  EXPECT_EQ(written(), "<T></T>\n");
}

TEST_F(QUVENXMLTagTest, WritesAttributesAndEscapesEveryText) {
  tag.setName("<T>", QUVEN_ENV);
  tag.setValue("1 < 2 & 'x'", QUVEN_ENV);
  tag.addAttributeName("a>", QUVEN_ENV);
  tag.addAttributeValue("\"q\"", QUVEN_ENV);
  tag.addAttributeName("b", QUVEN_ENV);
  tag.addAttributeValue("", QUVEN_ENV);
  EXPECT_EQ(written(), "<&lt;T&gt; a&gt;=\"&quot;q&quot;\" b=\"\">1 &lt; 2 &amp; &apos;x&apos;</&lt;T&gt;>\n");
}

TEST_F(QUVENXMLTagTest, AnAttributeWithoutAValueIsWrittenAsNull) {
  tag.addAttributeName("a", QUVEN_ENV);
  tag.addAttributeValue("1", QUVEN_ENV);
  tag.addAttributeName("b", QUVEN_ENV);
  EXPECT_EQ(written(), "<T a=\"1\" b=\"NULL\"></T>\n");
  EXPECT_EQ(listed(), "[T][] { <a, 1> <b, NULL> }\n");
}

TEST_F(QUVENXMLTagTest, ListsEveryTagInALine) {
  tag.becomeBranch();
  QUVENXMLTag& leaf = tag.addLeafTag("a", QUVEN_ENV);
  leaf.setValue("1 < 2", QUVEN_ENV);
  leaf.addAttributeName("x", QUVEN_ENV);
  leaf.addAttributeValue("2", QUVEN_ENV);
  leaf.addLeafTag("hidden", QUVEN_ENV);  // the children of a leaf are listed too
  tag.addBranchTag("b", QUVEN_ENV);
  EXPECT_EQ(listed(),
            "[T] { }\n"
            "  [a][1 < 2] { <x, 2> }\n"
            "    [hidden][] { }\n"
            "  [b] { }\n");
  tag.removeAllChildren(QUVEN_ENV);
  EXPECT_EQ(listed(2), "    [T][] { }\n");
}

TEST_F(QUVENXMLTagTest, TheListingEndsAtItsLimit) {
  QUVENXMLTag* place = &tag;
  for (int depth = 1; depth <= QUVENXMLTag::MaxListingDepth; ++depth) place = &place->addLeafTag("d", QUVEN_ENV);
  EXPECT_THAT(listed(), ::testing::Not(HasSubstr("...")));
  place->addLeafTag("e", QUVEN_ENV);
  place->addLeafTag("f", QUVEN_ENV);
  const std::string indentation(2 * QUVENXMLTag::MaxListingDepth, ' ');
  EXPECT_TRUE(listed().ends_with("\n" + indentation + "[d][] { }\n" + indentation + "  ...\n")) << listed();
}

TEST_F(QUVENXMLTagTest, AMovedTagTakesItsTreeAlong) {
  tag.addLeafTagPath("a/b", QUVEN_ENV).setValue("1", QUVEN_ENV);
  QUVENXMLTag other(std::move(tag));
  EXPECT_EQ(notation(other), "T{a{b=1}}");
  tag = std::move(other);
  EXPECT_EQ(notation(tag), "T{a{b=1}}");
  other.destroyPrimitive(QUVEN_ENV);
}

}  // namespace
