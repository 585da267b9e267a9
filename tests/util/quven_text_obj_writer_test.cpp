#include "util/quven_text_obj_writer.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "object_examples.h"

namespace {

class QUVENTextObjWriterTest : public ::testing::Test {
 protected:
  QUVENTextObjWriterTest() { environment.activate(); }

  std::string textOf(const QUVENObject* object, std::size_t shown = QUVENTextObjWriter::AllElements) {
    std::ostringstream out;
    QUVENTextObjWriter writer(out, QUVENObjWriter::Save, shown);
    quvenWriteObject(writer, object, QUVEN_ENV);
    EXPECT_EQ(writer.getDepth(), 0);
    return out.str();
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

TEST_F(QUVENTextObjWriterTest, ShowsNoObjectAndAnObjectWithoutMembers) {
  EXPECT_EQ(textOf(nullptr), "null");
  QUVENObject bare;
  EXPECT_EQ(textOf(&bare), "QUVENObject {\n}");
}

TEST_F(QUVENTextObjWriterTest, ShowsEachKindOfMember) {
  QUVENTestNode node;
  node.ivSignedByte = -128;
  node.ivUnsignedByte = 255;
  node.ivBoolean = true;
  node.ivLong = std::numeric_limits<std::int64_t>::min();
  node.ivUnsignedLong = std::numeric_limits<std::uint64_t>::max();
  node.ivFloat = 0.5F;
  node.ivDouble = 1e300;
  node.ivText = "a \"quoted\" back\\slash\n\x01\x7f";
  node.ivName.assign("name");
  node.ivBytes.append(7, QUVEN_ENV);
  node.ivChars.append('A', QUVEN_ENV);
  node.ivInts.append(-5, QUVEN_ENV);
  node.ivInts.append(6, QUVEN_ENV);
  node.ivTexts.append("first", QUVEN_ENV);
  node.ivTexts.append("", QUVEN_ENV);
  node.ivLeaf.ivNumber = 3;
  node.ivLeaves.setSize(1, QUVEN_ENV);
  node.ivChildren.setSize(1, QUVEN_ENV);
  node.ivAny = quvenMake<QUVENObject>(QUVEN_ENV);
  EXPECT_EQ(textOf(&node),
            "QUVENTestNode {\n"
            "  ivSignedByte = -128\n"
            "  ivUnsignedByte = 255\n"
            "  ivBoolean = 1\n"
            "  ivShort = 0\n"
            "  ivUnsignedShort = 0\n"
            "  ivInt = 0\n"
            "  ivUnsigned = 0\n"
            "  ivLong = -9223372036854775808\n"
            "  ivUnsignedLong = 18446744073709551615\n"
            "  ivFloat = 0.5\n"
            "  ivDouble = 1e+300\n"
            "  ivText = \"a \\\"quoted\\\" back\\\\slash\\x0a\\x01\\x7f\"\n"
            "  ivName = \"name\"\n"
            "  ivBytes = [1] {\n"
            "    7\n"
            "  }\n"
            "  ivChars = [1] {\n"
            "    65\n"
            "  }\n"
            "  ivBooleans = [0]\n"
            "  ivInts = [2] {\n"
            "    -5 6\n"
            "  }\n"
            "  ivLongs = [0]\n"
            "  ivUnsignedLongs = [0]\n"
            "  ivFloats = [0]\n"
            "  ivDoubles = [0]\n"
            "  ivTexts = [2] {\n"
            "    \"first\"\n"
            "    \"\"\n"
            "  }\n"
            "  ivLeaf = QUVENTestLeaf {\n"
            "    ivNumber = 3\n"
            "    ivText = \"\"\n"
            "  }\n"
            "  ivLeaves = [1] {\n"
            "    QUVENTestLeaf {\n"
            "      ivNumber = 0\n"
            "      ivText = \"\"\n"
            "    }\n"
            "  }\n"
            "  ivOwned = null\n"
            "  ivChildren = [1] {\n"
            "    null\n"
            "  }\n"
            "  ivAny = QUVENObject {\n"
            "  }\n"
            "}");
  node.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENTextObjWriterTest, BreaksAndCutsLongArrays) {
  QUVENTestNode node;
  for (int i = 1; i <= 300; ++i) node.ivDoubles.append(1000 + i, QUVEN_ENV);
  const std::string all = textOf(&node);
  std::istringstream lines(all);
  std::size_t longest = 0;
  for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
  EXPECT_LE(longest, 106U);
  EXPECT_GE(longest, 96U);
  EXPECT_NE(all.find(" 1299 1300\n  }\n"), std::string::npos);

  for (int i = 1; i <= 300; ++i) node.ivInts.append(i, QUVEN_ENV);  // goes in several parts
  const std::string cut = textOf(&node, 3);
  EXPECT_NE(cut.find("  ivInts = [300] {\n    1 2 3\n    ...\n  }\n"), std::string::npos) << cut;
  EXPECT_NE(cut.find("  ivDoubles = [300] {\n    1001 1002 1003\n    ...\n  }\n"), std::string::npos) << cut;
  node.destroyPrimitive(QUVEN_ENV);
}

}  // namespace
