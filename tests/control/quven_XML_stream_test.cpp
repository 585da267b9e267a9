// The parameter tree and its handler as objects: copy, transfer, and the way through an object stream.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "control/quven_XML_handler.h"
#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_class_info.h"
#include "util/quven_debug.h"
#include "xml_text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using xml_text::childrenNotation;
using xml_text::fatalReportOf;
using xml_text::notation;
using xml_text::printedBy;

static_assert(std::is_nothrow_move_constructible_v<QUVENXMLTag>, "a tag lives by value in an array");

/// Bytes from their notation: hex numbers, and text in single quotes.
std::string bytesOf(const std::string& text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
    } else if (text[at] == '\'') {
      const std::size_t end = text.find('\'', at + 1);
      bytes += text.substr(at + 1, end - at - 1);
      at = end + 1;
    } else {
      bytes += static_cast<char>(std::stoi(text.substr(at, 2), nullptr, 16));
      at += 2;
    }
  }
  return bytes;
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

int countOf(const std::string& piece, const std::string& text) {
  int count = 0;
  for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

// An object begins with keyword -2 and the text of its type, and ends with keyword -3. A keyword is minus its code, so
// the six members of a tag, with the codes 7 to 12, are C6 to CB. An array is C4, its count, its elements, C5.
const std::string beginTag = "C1 8B 'QUVENXMLTag' ";
const std::string beginHandler = "C1 8F 'QUVENXMLHandler' ";
const std::string leafImage = beginTag + "C6 81 C7 81 'c' C8 82 'vw' C9 C4 80 C5 CA C4 80 C5 CB C4 80 C5 C2 ";
const std::string treeImage =
    beginTag + "C6 80 C7 81 'T' C8 80 C9 C4 82 81 'a' 81 'b' C5 CA C4 81 82 '12' C5 CB C4 81 " + leafImage + "C5 C2 ";

class QUVENXMLStream : public ::testing::Test {
 protected:
  void SetUp() override { environment.activate(); }

  void TearDown() override {
    tag.destroyPrimitive(QUVEN_ENV);
    QUVEN_DELETE(handler);
    EXPECT_EQ(environment.getBytesInUse(), 0);
    quvenDebugWords = QUVENDebugWords();
  }

  std::string imageOf(const QUVENObject& object) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
    quvenWriteObject(writer, object, QUVEN_ENV);
    EXPECT_EQ(writer.getDepth(), 0);
    const std::string image(blob.getBytes().data(), blob.getBytes().size());
    QUVEN_DELETE(blob);
    return image;
  }

  void read(const std::string& image, QUVENXMLTag& target) {
    QUVENViewBlobIO blob(image);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, target, QUVEN_ENV);
    EXPECT_EQ(reader.getDepth(), 0);
    EXPECT_EQ(blob.getRemaining(), 0U);
  }

  template <class T>
  void read(const std::string& image, QUVENOwnPtr<T>& target) {
    QUVENViewBlobIO blob(image);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, target, T::typeName(), QUVEN_ENV);
    EXPECT_EQ(reader.getDepth(), 0);
    EXPECT_EQ(blob.getRemaining(), 0U);
  }

  std::string textOf(const QUVENXMLTag& tree) {
    std::ostringstream stream;
    tree.write(stream, 0, QUVEN_ENV);
    return stream.str();
  }

  /// T(a="12" b){c=vw}
  void makeSmallTree(QUVENXMLTag& tree) {
    tree.setName("T", QUVEN_ENV);
    tree.becomeBranch();
    tree.addAttributeName("a", QUVEN_ENV);
    tree.addAttributeValue("12", QUVEN_ENV);
    tree.addAttributeName("b", QUVEN_ENV);
    tree.addLeafTag("c", QUVEN_ENV).setValue("vw", QUVEN_ENV);
  }

  void makeHandler() {
    handler = QUVENXMLHandler::create(QUVEN_ENV);
    handler->resetTree(QUVEN_ENV);
    makeSmallTree(handler->getTag("", QUVEN_ENV).addBranchTag("", QUVEN_ENV));
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENXMLTag tag;
  QUVENOwnPtr<QUVENXMLHandler> handler;
};

/// Trees of every shape that the members can hold, also of those that no file has: any bytes in the texts, leaves with
/// children, names that stand twice, attributes without a value.
class AnyTree {
 public:
  AnyTree(unsigned seed, QUVENEnv& ofTree) : random(seed), environment(ofTree) {}

  void fill(QUVENXMLTag& tag, int depth) {
    QUVENEnv& env = environment;
    tag.setName(text(), QUVEN_ENV);
    tag.setValue(text(), QUVEN_ENV);
    for (unsigned i = below(4); i > 0; --i) tag.addAttributeName(text(), QUVEN_ENV);
    for (unsigned i = below(4); i > 0; --i) tag.addAttributeValue(text(), QUVEN_ENV);
    if (below(2) == 0) tag.becomeBranch();
    if (depth == 0) return;
    for (unsigned i = below(5); i > 0; --i) fill(tag.addLeafTag("", QUVEN_ENV), depth - 1);
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random() % limit); }

  std::string text() {
    std::string all(below(4) == 0 ? below(200) : below(5), '\0');
    for (char& byte : all) byte = static_cast<char>(below(256));
    return all;
  }

  std::mt19937_64 random;
  QUVENEnv& environment;
};

TEST_F(QUVENXMLStream, TheMembersAndTheirKeywordsAreInTheirOrder) {
  std::vector<std::string> names;
  for (const QUVENMemberInfo& member : QUVENXMLTag::classInfo().getMembers()) {
    names.push_back(std::string(member.keyword->getName()) + ": " + member.type.describe());
  }
  EXPECT_THAT(names, ElementsAre("ivIsLeaf: 32-bit integer", "ivName: string", "ivValue: string",
                                 "ivAttrNames: array of string", "ivAttrVals: array of string",
                                 "ivChildren: array of QUVENXMLTag"));
  names.clear();
  for (const QUVENMemberInfo& member : QUVENXMLHandler::classInfo().getMembers()) {
    names.push_back(std::string(member.keyword->getName()) + ": " + member.type.describe());
  }
  EXPECT_THAT(names, ElementsAre("root: owned QUVENXMLTag"));
  EXPECT_EQ(QUVENXMLHandler::lastKeyword().getCode(), 7);
  EXPECT_EQ(QUVENXMLTag::lastKeyword().getCode(), 12);
}

TEST_F(QUVENXMLStream, BothClassesAreKnownByTheirNames) {
  for (const char* name : {"QUVENXMLTag", "QUVENXMLHandler"}) {
    const QUVENTypeName* type = QUVENTypeNameAux::find(std::string_view(name));
    ASSERT_NE(type, nullptr) << name;
    QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
    type->create(made, QUVEN_ENV);
    EXPECT_STREQ(made->getTypeName().getName(), name);
    EXPECT_EQ(made->isA(*type), 1);
    EXPECT_EQ(made->isA(QUVENObject::typeName()), 1);
    EXPECT_EQ(environment.getBytesInUse(), made->sizeOf());
    QUVENOwnPtr<QUVENObject> another(QUVEN_ENV);
    made->makeNewObject(another, QUVEN_ENV);
    EXPECT_STREQ(another->getTypeName().getName(), name);
    QUVEN_DELETE(made);
    QUVEN_DELETE(another);
  }
  EXPECT_EQ(tag.isA(QUVENXMLHandler::typeName()), 0);
  EXPECT_EQ(tag.sizeOf(), sizeof(QUVENXMLTag));
  EXPECT_EQ(QUVENXMLHandler().sizeOf(), sizeof(QUVENXMLHandler));
}

TEST_F(QUVENXMLStream, AnEmptyTagIsSixMembersOfNothing) {
  EXPECT_EQ(imageOf(tag), bytesOf(beginTag + "C6 81 C7 80 C8 80 C9 C4 80 C5 CA C4 80 C5 CB C4 80 C5 C2"));
}

TEST_F(QUVENXMLStream, ATreeIsItsGoldenBytes) {
  makeSmallTree(tag);
  EXPECT_EQ(imageOf(tag), bytesOf(treeImage));
  QUVENXMLTag other;
  read(bytesOf(treeImage), other);
  EXPECT_EQ(notation(other), "T(a=\"12\" b){c=vw}");
  EXPECT_FALSE(other.isLeaf());
  EXPECT_TRUE(other.getChildren()[1].isLeaf());
  other.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENXMLStream, AHandlerWithoutATreeIsANullObject) {
  handler = QUVENXMLHandler::create(QUVEN_ENV);
  const std::string image = bytesOf(beginHandler + "C6 C1 80 C2");
  EXPECT_EQ(imageOf(*handler), image);
  handler->resetTree(QUVEN_ENV);
  read(image, handler);
  EXPECT_THAT(fatalReportOf([&] { (void)handler->hasTag("", QUVEN_ENV); }), HasSubstr("no tree"));
}

TEST_F(QUVENXMLStream, AHandlerIsItsRoot) {
  makeHandler();
  const std::string image =
      bytesOf(beginHandler + "C6 " + beginTag + "C6 81 C7 8B '__XMLRoot__' C8 80 C9 C4 80 C5 CA C4 80 C5 CB C4 81 " +
              treeImage + "C5 C2 C2");
  EXPECT_EQ(imageOf(*handler), image);
  QUVENOwnPtr<QUVENXMLHandler> other(QUVEN_ENV);
  read(image, other);
  EXPECT_EQ(other->getTag("", QUVEN_ENV).getName(), "__XMLRoot__");
  EXPECT_EQ(other->getTag("T/c", QUVEN_ENV).getValue(), "vw");
  QUVEN_DELETE(other);
}

TEST_F(QUVENXMLStream, EveryModeWritesTheSame) {
  makeSmallTree(tag);
  for (const auto mode : {QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    quvenWriteObject(writer, tag, QUVEN_ENV);
    EXPECT_EQ(std::string(blob.getBytes().data(), blob.getBytes().size()), bytesOf(treeImage)) << mode;
    QUVEN_DELETE(blob);
  }
}

TEST_F(QUVENXMLStream, ARandomTreeComesBackAsItWasAndSoDoesItsCopy) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    QUVENXMLTag tree;
    AnyTree(seed, environment).fill(tree, 5);
    const std::string image = imageOf(tree);
    QUVENXMLTag back;
    read(image, back);
    ASSERT_EQ(notation(back), notation(tree));
    ASSERT_EQ(textOf(back), textOf(tree));
    ASSERT_EQ(imageOf(back), image);

    AnyTree(seed + 1000, environment).fill(tag, 3);  // what a tag held before is gone after a copy
    tag.copyFromPrimitive(&tree, QUVEN_ENV);
    tree.destroyPrimitive(QUVEN_ENV);
    ASSERT_EQ(imageOf(tag), image);

    AnyTree(seed + 2000, environment).fill(tree, 3);  // and after a transfer
    tree.transferFromPrimitive(&tag, QUVEN_ENV);
    ASSERT_EQ(imageOf(tree), image);
    tree.destroyPrimitive(QUVEN_ENV);
    back.destroyPrimitive(QUVEN_ENV);
    ASSERT_EQ(environment.getBytesInUse(), 0);
  }
}

TEST_F(QUVENXMLStream, AFileThatWentThroughAStreamIsWrittenAsItWasRead) {
  const TemporaryFolder folder;
  const std::string text = "<A b=\"&lt;1&gt;\">\n  <B>x &amp; y</B>\n  <C></C>\n</A>\n<D>2</D>\n";
  handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  ASSERT_EQ(handler->readXMLFile(folder.write("in.xml", text), QUVEN_ENV), 1);
  const std::string image = imageOf(*handler);
  QUVEN_DELETE(handler);
  read(image, handler);
  EXPECT_EQ(handler->writeXMLFile(folder.path("out.xml"), QUVEN_ENV), 1);
  EXPECT_EQ(folder.read("out.xml"), text);
}

TEST_F(QUVENXMLStream, ReadingKeepsWhatTheStreamDoesNotMention) {
  tag.setName("old", QUVEN_ENV);
  tag.setValue("kept", QUVEN_ENV);
  tag.addAttributeName("x", QUVEN_ENV);
  tag.addLeafTag("c", QUVEN_ENV).setValue("1", QUVEN_ENV);
  tag.addLeafTag("d", QUVEN_ENV).addLeafTag("below", QUVEN_ENV);
  tag.addLeafTag("dropped", QUVEN_ENV).addLeafTag("too", QUVEN_ENV);
  // A new name, and two children: of the first only the value, of the second nothing.
  read(bytesOf(beginTag + "C7 83 'new' CB C4 82 " + beginTag + "C8 81 '9' C2 " + beginTag + "C2 C5 C2"), tag);
  EXPECT_EQ(notation(tag), "new(x)=kept{c=9 d{below}}");
}

TEST_F(QUVENXMLStream, ReadingIntoAHandlerReadsIntoItsRoot) {
  makeHandler();
  const QUVENXMLTag* root = &handler->getTag("", QUVEN_ENV);
  read(bytesOf(beginHandler + "C6 " + beginTag + "C8 81 'v' C2 C2"), handler);
  EXPECT_EQ(&handler->getTag("", QUVEN_ENV), root);
  EXPECT_EQ(notation(*root), "__XMLRoot__=v{T(a=\"12\" b){c=vw}}");
}

TEST_F(QUVENXMLStream, TheMembersMayComeInAnyOrderAndTheLastOneWins) {
  read(bytesOf(beginTag + "CB C4 82 " + leafImage + leafImage + "C5 C7 81 'x' C6 80 CB C4 81 " + leafImage +
               "C5 C7 81 'y' C2"),
       tag);
  EXPECT_EQ(notation(tag), "y{c=vw}");
}

TEST_F(QUVENXMLStream, WhatIsWrongInAStreamIsAReport) {
  struct Case {
    std::string image;
    const char* report;
  };
  const char* noEndOfArray =
      "ASSERTION FAILED (reader.keywordMatches (QUVEN_KWD(EndArray), QUVEN_ENV))\n    PROBABLE CAUSE: Syntax Error: "
      "EndArray keyword expected\n";
  const char* unknownKeyword = "Input keyword does not match expected keyword(s)";
  const char* readError = "BLOB Binary I/O Read Error";
  const std::vector<Case> cases = {
      {"CB C4 80 C2 ", noEndOfArray},
      {"C9 C4 81 81 'a' C6 80 C2 ", noEndOfArray},
      {"CA C4 80 C4 ", noEndOfArray},
      {"CB C4 81 " + leafImage + leafImage + "C5 ", noEndOfArray},
      {"CB C4 82 " + leafImage + "C5 C2 ", "Syntax Error: Reserved(integer) keyword expected"},
      {"CB C4 C0 ", "Function/Feature not yet implemented"},
      {"C9 C4 C0 ", "Function/Feature not yet implemented"},
      {"CB C3 80 C5 ", "Syntax Error: Reserved(integer) keyword expected"},
      {"CC 80 C2 ", unknownKeyword},
      {"C5 C2 ", unknownKeyword},
      {"83 'foo' C2 ", unknownKeyword},
      {"C7 8A 'short' ", readError},
      {"C9 C4 88 C5 C2 ", readError},  // more elements than bytes
      {"CB C4 81 C1 80 C5 C2 ", "Syntax Error: No object where QUVENXMLTag is expected"},
      {"CB C4 81 C1 83 'foo' C2 C5 C2 ", "Input object type does not match known object types"},
      {"CB C4 81 " + beginHandler + "C2 C5 C2 ",
       "Syntax Error: Object of type QUVENXMLHandler where QUVENXMLTag is expected"},
  };
  for (const Case& one : cases) {
    QUVENXMLTag target;
    // Behind a complete child, and in a child itself.
    for (const std::string& image :
         {beginTag + "CB C4 81 " + leafImage + "C5 " + one.image, beginTag + "CB C4 81 " + beginTag + one.image}) {
      const CapturedRun run = capturedRun([&] { read(bytesOf(image), target); });
      EXPECT_TRUE(run.threwLibraryException) << image;
      EXPECT_THAT(run.out, HasSubstr(one.report)) << image;
      target.destroyPrimitive(QUVEN_ENV);
      EXPECT_EQ(environment.getBytesInUse(), 0) << image;
    }
  }
}

TEST_F(QUVENXMLStream, TheRootOfAHandlerIsATag) {
  handler = QUVENXMLHandler::create(QUVEN_ENV);
  EXPECT_THAT(fatalReportOf([&] { read(bytesOf(beginHandler + "C6 " + beginHandler + "C2 C2"), handler); }),
              HasSubstr("Syntax Error: Object of type QUVENXMLHandler where QUVENXMLTag is expected"));
}

TEST_F(QUVENXMLStream, AStreamThatIsCutAnywhereIsAReport) {
  makeHandler();
  const std::string image = imageOf(*handler);
  const auto bytes = environment.getBytesInUse();
  for (std::size_t length = 0; length < image.size(); ++length) {
    // The new object goes with the exception, and one that was there before stays with what has been read.
    const CapturedRun fresh = capturedRun([&] {
      QUVENOwnPtr<QUVENXMLHandler> target(QUVEN_ENV);
      read(image.substr(0, length), target);
      QUVEN_DELETE(target);
    });
    EXPECT_TRUE(fresh.threwLibraryException) << length;
    EXPECT_EQ(countOf("*** ERROR", fresh.out), 1) << length << fresh.out;  // nothing is said of the release
    EXPECT_EQ(environment.getBytesInUse(), bytes) << length;
    const CapturedRun again = capturedRun([&] { read(image.substr(0, length), handler); });
    EXPECT_TRUE(again.threwLibraryException) << length;
  }
  read(image, handler);
  EXPECT_EQ(imageOf(*handler), image);
}

TEST_F(QUVENXMLStream, AStreamWithAWrongByteIsReadOrReported) {
  makeHandler();
  const std::string image = imageOf(*handler);
  const auto bytes = environment.getBytesInUse();
  int accepted = 0;
  int reported = 0;
  quvenDebugWords.quiet = 1;
  for (std::size_t place = 0; place < image.size(); ++place) {
    for (int change = 1; change < 256; ++change) {
      std::string wrong = image;
      wrong[place] = static_cast<char>(wrong[place] ^ change);
      QUVENOwnPtr<QUVENXMLHandler> target(QUVEN_ENV);
      QUVENViewBlobIO blob(wrong);
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      try {
        quvenReadObject(reader, target, QUVENXMLHandler::typeName(), QUVEN_ENV);
        ++accepted;
      } catch (int payload) {
        ASSERT_EQ(payload, 0);
        ++reported;
      }
      QUVEN_DELETE(target);
      ASSERT_EQ(environment.getBytesInUse(), bytes) << "byte " << place << " changed by " << change;
    }
  }
  EXPECT_GT(accepted, 1000);   // a changed text is a text
  EXPECT_GT(reported, 10000);  // most bytes are lengths and keywords
}

TEST_F(QUVENXMLStream, ACopyIsATreeOfItsOwn) {
  makeSmallTree(tag);
  auto copy = quvenNewCopy(tag, QUVEN_ENV);
  EXPECT_EQ(imageOf(*copy), bytesOf(treeImage));
  tag.getTag("c", QUVEN_ENV).setValue("other", QUVEN_ENV);
  tag.addAttributeValue("3", QUVEN_ENV);
  EXPECT_EQ(imageOf(*copy), bytesOf(treeImage));
  copy->addLeafTag("d", QUVEN_ENV);
  EXPECT_EQ(notation(tag), "T(a=\"12\" b=\"3\"){c=other}");
  QUVEN_DELETE(copy);
}

TEST_F(QUVENXMLStream, ACopyOfNullOrOfItselfChangesNothing) {
  makeSmallTree(tag);
  const auto bytes = environment.getBytesInUse();
  tag.copyFromPrimitive(nullptr, QUVEN_ENV);
  tag.copyFromPrimitive(&tag, QUVEN_ENV);
  tag.transferFromPrimitive(nullptr, QUVEN_ENV);
  tag.transferFromPrimitive(&tag, QUVEN_ENV);
  EXPECT_EQ(imageOf(tag), bytesOf(treeImage));
  EXPECT_EQ(environment.getBytesInUse(), bytes);
  makeHandler();
  const std::string image = imageOf(*handler);
  handler->copyFromPrimitive(nullptr, QUVEN_ENV);
  handler->copyFromPrimitive(handler.get(), QUVEN_ENV);
  handler->transferFromPrimitive(nullptr, QUVEN_ENV);
  handler->transferFromPrimitive(handler.get(), QUVEN_ENV);
  EXPECT_EQ(imageOf(*handler), image);
}

TEST_F(QUVENXMLStream, ATagMayBecomeACopyOfATagBelowIt) {
  tag.setName("top", QUVEN_ENV);
  makeSmallTree(tag.addLeafTagPath("a/b/c", QUVEN_ENV));
  tag.copyFromPrimitive(&tag.getTag("a/b/T", QUVEN_ENV), QUVEN_ENV);
  EXPECT_EQ(imageOf(tag), bytesOf(treeImage));
}

TEST_F(QUVENXMLStream, ACopyFromAnotherClassIsAnAssertionFailure) {
  makeSmallTree(tag);
  makeHandler();
  const std::string image = imageOf(*handler);
  EXPECT_THAT(fatalReportOf([&] { tag.copyFromPrimitive(handler.get(), QUVEN_ENV); }),
              HasSubstr("source->isA(typeName())"));
  EXPECT_THAT(fatalReportOf([&] { handler->copyFromPrimitive(&tag, QUVEN_ENV); }),
              HasSubstr("source->isA(typeName())"));
  EXPECT_THAT(fatalReportOf([&] { tag.transferFromPrimitive(handler.get(), QUVEN_ENV); }),
              HasSubstr("source->isA(typeName())"));
  EXPECT_EQ(imageOf(tag), bytesOf(treeImage));
  EXPECT_EQ(imageOf(*handler), image);
}

TEST_F(QUVENXMLStream, ATransferLeavesTheSourceEmpty) {
  makeSmallTree(tag);
  tag.setValue("a value of a branch, in a block of its own", QUVEN_ENV);
  const std::string image = imageOf(tag);
  const auto bytes = environment.getBytesInUse();
  QUVENXMLTag other;
  {
    const FailingAllocation failure(0);  // it moves, and needs no memory
    other.transferFromPrimitive(&tag, QUVEN_ENV);
  }
  EXPECT_EQ(environment.getBytesInUse(), bytes);
  EXPECT_EQ(imageOf(other), image);
  // All but the number, which stays: the tag was a branch.
  EXPECT_EQ(imageOf(tag), bytesOf(beginTag + "C6 80 C7 80 C8 80 C9 C4 80 C5 CA C4 80 C5 CB C4 80 C5 C2"));
  other.destroyPrimitive(QUVEN_ENV);
}

// The children that the transfer releases hold its source.
TEST_F(QUVENXMLStream, ATagBecomesATagBelowIt) {
  const auto bytes = environment.getBytesInUse();
  QUVENXMLTag& branch = tag.addBranchTag("upper", QUVEN_ENV).addBranchTag("lower", QUVEN_ENV);
  branch.addAttributeName("a name in a block of its own", QUVEN_ENV);
  branch.addLeafTag("leaf", QUVEN_ENV).setValue("a value in a block of its own", QUVEN_ENV);
  tag.addLeafTag("other", QUVEN_ENV);
  const std::string image = imageOf(branch);
  tag.transferFromPrimitive(&branch, QUVEN_ENV);
  EXPECT_EQ(imageOf(tag), image);
  tag.transferFromPrimitive(&tag.getChild("leaf", QUVEN_ENV), QUVEN_ENV);
  EXPECT_EQ(tag.getValue(), "a value in a block of its own");
  EXPECT_TRUE(tag.isLeaf());
  tag.destroyPrimitive(QUVEN_ENV);
  EXPECT_EQ(environment.getBytesInUse(), bytes);
}

TEST_F(QUVENXMLStream, AHandlerIsCopiedAndTransferredWithItsTree) {
  makeHandler();
  const std::string image = imageOf(*handler);
  const std::string emptyImage = bytesOf(beginHandler + "C6 C1 80 C2");
  auto copy = quvenNewCopy(*handler, QUVEN_ENV);
  EXPECT_EQ(imageOf(*copy), image);
  handler->getTag("T/c", QUVEN_ENV).setValue("other", QUVEN_ENV);
  EXPECT_EQ(imageOf(*copy), image);
  handler->copyFromPrimitive(copy.get(), QUVEN_ENV);  // over a tree
  EXPECT_EQ(imageOf(*handler), image);

  auto empty = QUVENXMLHandler::create(QUVEN_ENV);
  handler->copyFromPrimitive(empty.get(), QUVEN_ENV);
  EXPECT_EQ(imageOf(*handler), emptyImage);
  handler->transferFromPrimitive(copy.get(), QUVEN_ENV);
  EXPECT_EQ(imageOf(*handler), image);
  EXPECT_EQ(imageOf(*copy), emptyImage);
  handler->transferFromPrimitive(empty.get(), QUVEN_ENV);
  EXPECT_EQ(imageOf(*handler), emptyImage);
  QUVEN_DELETE(copy);
  QUVEN_DELETE(empty);
}

TEST_F(QUVENXMLStream, AHandlerThatNobodyReleasesIsReported) {
  const std::string report = printedBy([&] {
    auto forgotten = QUVENXMLHandler::create(QUVEN_ENV);
    forgotten->resetTree(QUVEN_ENV);
  });
  EXPECT_THAT(report, HasSubstr(" QUVENOwnPtr destructor called while holding an object\n"));
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

class QUVENXMLStreamWithoutMemory : public QUVENXMLStream {
 protected:
  /// Runs an action with memory that runs out after 0, 1, 2, ... allocations and stays so until all is released, up to
  /// the first run that gets through. check follows every run that failed.
  template <class Action, class Check>
  void failEverywhere(long fewest, Action action, Check check) {
    const auto bytes = environment.getBytesInUse();
    long allowed = 0;
    for (bool failed = true; failed; ++allowed) {
      const CapturedRun run = capturedRun([&] {
        const FailingAllocation failure(allowed);
        action();
      });
      failed = run.threwMemoryException;
      EXPECT_FALSE(run.threwLibraryException) << allowed;
      EXPECT_EQ(quvenDebugWords.error, 0) << allowed << run.out;
      if (failed) {
        EXPECT_EQ(environment.getBytesInUse(), bytes) << allowed;
        check();
      }
      ASSERT_LT(allowed, 1000);
    }
    EXPECT_GT(allowed, fewest);
  }

  /// 12 blocks at least: 6 texts, 2 arrays of attributes, 3 of children, and what owns the tree.
  void makeLongTree(QUVENXMLTag& tree) {
    tree.setValue(longText, QUVEN_ENV);
    tree.addAttributeName(longText, QUVEN_ENV);
    tree.addAttributeValue(longText, QUVEN_ENV);
    for (const char* path : {"a/b/c", "a/d", "e"}) tree.addLeafTagPath(path, QUVEN_ENV).setValue(longText, QUVEN_ENV);
  }

  const std::string longText = "a text that needs a block of its own";
};

TEST_F(QUVENXMLStreamWithoutMemory, ARead) {
  makeHandler();
  makeLongTree(handler->getTag("T", QUVEN_ENV));
  const std::string image = imageOf(*handler);
  failEverywhere(
      12,
      [&] {
        QUVENOwnPtr<QUVENXMLHandler> target(QUVEN_ENV);
        read(image, target);
        QUVEN_DELETE(target);
      },
      [] {});
}

TEST_F(QUVENXMLStreamWithoutMemory, ACopyLeavesTheTargetAsItWas) {
  makeLongTree(tag);
  QUVENXMLTag target;
  makeSmallTree(target);
  failEverywhere(
      12, [&] { target.copyFromPrimitive(&tag, QUVEN_ENV); }, [&] { EXPECT_EQ(imageOf(target), bytesOf(treeImage)); });
  EXPECT_EQ(imageOf(target), imageOf(tag));
  target.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENXMLStreamWithoutMemory, ANewCopyOfAHandler) {
  makeHandler();
  makeLongTree(handler->getTag("T", QUVEN_ENV));
  const std::string image = imageOf(*handler);
  failEverywhere(
      12,
      [&] {
        auto copy = quvenNewCopy(*handler, QUVEN_ENV);
        QUVEN_DELETE(copy);
      },
      [&] { EXPECT_EQ(imageOf(*handler), image); });
}

class DeepStream : public QUVENXMLStream {
 protected:
  /// A tag with depth - 1 tags below it, one in the other.
  void makeDeep(QUVENXMLTag& top, int depth) {
    QUVENXMLTag* place = &top;
    for (int i = 1; i < depth; ++i) place = &place->addLeafTag("d", QUVEN_ENV);
  }

  static int depthOf(const QUVENXMLTag& top) {
    int depth = 1;
    for (const QUVENXMLTag* place = &top; !place->getChildren().isEmpty(); place = &place->getChildren()[1]) ++depth;
    return depth;
  }

  static constexpr int Million = 1000000;  // a call a level would need about 100 MB of stack
};

TEST_F(DeepStream, ATreeAMillionLevelsDeepIsCopiedTransferredAndReleased) {
  makeDeep(tag, Million);
  const auto bytes = environment.getBytesInUse();
  QUVENXMLTag other;
  other.copyFromPrimitive(&tag, QUVEN_ENV);
  EXPECT_EQ(depthOf(other), Million);
  EXPECT_EQ(environment.getBytesInUse(), 2 * bytes);
  other.transferFromPrimitive(&tag, QUVEN_ENV);  // over a tree as deep
  EXPECT_EQ(depthOf(other), Million);
  EXPECT_EQ(depthOf(tag), 1);
  EXPECT_EQ(environment.getBytesInUse(), bytes);
  other.destroyPrimitive(QUVEN_ENV);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

TEST_F(DeepStream, AHandlerWithATreeAMillionLevelsDeepIsCopied) {
  handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  makeDeep(handler->getTag("", QUVEN_ENV), Million);
  auto copy = quvenNewCopy(*handler, QUVEN_ENV);
  QUVEN_DELETE(handler);
  EXPECT_EQ(depthOf(copy->getTag("", QUVEN_ENV)), Million);
  QUVEN_DELETE(copy);
}

TEST_F(DeepStream, ACopyOfADeepTreeThatFailsIsReleased) {
  makeDeep(tag, Million);
  QUVENXMLTag other;
  const auto bytes = environment.getBytesInUse();
  environment.setBytesBudget(bytes + bytes / 2);
  const CapturedRun run = capturedRun([&] { other.copyFromPrimitive(&tag, QUVEN_ENV); });
  environment.setBytesBudget(0);
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_THAT(run.out, EndsWith("\n    Cannot allocate array memory\n"));
  EXPECT_EQ(environment.getBytesInUse(), bytes);
  EXPECT_EQ(depthOf(other), 1);
}

TEST_F(DeepStream, AThousandObjectsInEachOtherAreTheMostThatAStreamTakes) {
  makeDeep(tag, quvenMaxObjectDepth);
  QUVENXMLTag other;
  read(imageOf(tag), other);
  EXPECT_EQ(depthOf(other), quvenMaxObjectDepth);
  other.destroyPrimitive(QUVEN_ENV);
  for (const int depth : {quvenMaxObjectDepth + 1, 3 * quvenMaxObjectDepth}) {
    tag.destroyPrimitive(QUVEN_ENV);
    makeDeep(tag, depth);
    EXPECT_THAT(fatalReportOf([&] { (void)imageOf(tag); }), HasSubstr("\n    Objects nested deeper than 1000 levels"));
  }
}

TEST_F(DeepStream, AHandlerIsOneOfTheThousand) {
  handler = QUVENXMLHandler::create(QUVEN_ENV);
  handler->resetTree(QUVEN_ENV);
  makeDeep(handler->getTag("", QUVEN_ENV), quvenMaxObjectDepth - 1);
  const std::string image = imageOf(*handler);
  QUVEN_DELETE(handler);
  read(image, handler);
  EXPECT_EQ(depthOf(handler->getTag("", QUVEN_ENV)), quvenMaxObjectDepth - 1);
  handler->resetTree(QUVEN_ENV);
  makeDeep(handler->getTag("", QUVEN_ENV), quvenMaxObjectDepth);
  EXPECT_THAT(fatalReportOf([&] { (void)imageOf(*handler); }), HasSubstr("Objects nested deeper than 1000 levels"));
}

TEST_F(DeepStream, AStreamThatNestsDeeperIsAReport) {
  const auto nested = [](int depth) {
    return bytesOf(repeated(beginTag + "CB C4 81 ", depth - 1) + beginTag + "C2 " + repeated("C5 C2 ", depth - 1));
  };
  read(nested(quvenMaxObjectDepth), tag);
  EXPECT_EQ(depthOf(tag), quvenMaxObjectDepth);
  EXPECT_THAT(fatalReportOf([&] { read(nested(quvenMaxObjectDepth + 1), tag); }),
              HasSubstr("\n    Syntax Error: Objects nested deeper than 1000 levels"));
}

}  // namespace
