#include "util/quven_object_of.h"

#include "stream_language.h"
#include "util/quven_class_info.h"

namespace {

std::string describe(std::span<const QUVENKeyword> keywords) {
  std::string text;
  for (const QUVENKeyword& keyword : keywords) {
    text += keyword.getName().str() + " " + std::to_string(keyword.getClassLevel()) + "." +
            std::to_string(keyword.getFieldOrdinal()) + " = " + std::to_string(keyword.getCode()) + "\n";
  }
  return text;
}

std::string describe(const QUVENClassInfo& info) {
  std::string text;
  for (const QUVENMemberInfo& member : info.getMembers()) {
    text += std::string(member.name) + " as " + (member.keyword == nullptr ? "-" : member.keyword->getName().str()) +
            ": " + member.type.describe() + (member.isConditional ? ", sometimes" : "") + "\n";
  }
  return text;
}

/// A class that has its keywords in scope.
class ScopeProbe : public QUVENTestDerived {
 public:
  static const QUVENKeyword& limit() { return QUVEN_KWD(ivLimit); }
  static const QUVENKeyword& weight() { return QUVEN_KWD(ivWeight); }
  static const QUVENKeyword& last() { return QUVEN_KWD(ivLast); }
};

class QUVENObjectOfTest : public ObjectStreamTest {};

}  // namespace

TEST_F(QUVENObjectOfTest, CodesRunOnAlongAChainOfClasses) {
  EXPECT_EQ(describe(QUVENTestLeaf::keywords()), "ivNumber 1.1 = 7\nivText 1.2 = 8\n");
  EXPECT_EQ(describe(QUVENTestDerived::keywords()),
            "weight 2.1 = 9\nivLimit 2.2 = 10\nivPositive 2.3 = 11\nivLast 2.4 = 12\n");
  EXPECT_EQ(describe(QUVENTestPlain::keywords()), "");
  EXPECT_EQ(&QUVENTestPlain::lastKeyword(), &QUVENTestDerived::keywords()[3]);
  EXPECT_EQ(&QUVENObject::lastKeyword(), &QUVEN_KWD(EndArray));
}

TEST_F(QUVENObjectOfTest, UnrelatedClassesUseTheSameCodes) {
  EXPECT_EQ(QUVENTestNode::keywords()[0].getCode(), 7);
  EXPECT_EQ(QUVENTestAbstract::keywords()[0].getCode(), 7);
  EXPECT_EQ(QUVENTestConcrete::keywords()[0].getCode(), 8);
  EXPECT_EQ(QUVENTestNode::lastKeyword().getCode(), 33);
}

TEST_F(QUVENObjectOfTest, LevelsCountTheClasses) {
  EXPECT_EQ(QUVENObject::classLevel(), 0);
  EXPECT_EQ(QUVENTestLeaf::classLevel(), 1);
  EXPECT_EQ(QUVENTestDerived::classLevel(), 2);
  EXPECT_EQ(QUVENTestPlain::classLevel(), 3);
}

TEST_F(QUVENObjectOfTest, AKeywordIsInScopeByTheNameOfItsMember) {
  EXPECT_EQ(&ScopeProbe::weight(), &QUVENTestDerived::keywords()[0]);
  EXPECT_EQ(&ScopeProbe::limit(), &QUVENTestDerived::keywords()[1]);
  EXPECT_EQ(&ScopeProbe::last(), &QUVENTestDerived::keywords()[3]);
}

TEST_F(QUVENObjectOfTest, TellsOfItsMembers) {
  EXPECT_EQ(describe(QUVENTestDerived::classInfo()),
            "ivWeight as weight: double\n"
            "ivLimit as ivLimit: 32-bit integer, sometimes\n"
            "ivPositive as ivPositive: string, sometimes\n"
            "ivLast as ivLast: unsigned 32-bit integer\n"
            "counter as -: not in streams\n"
            "cache as -: not in streams\n");
  EXPECT_EQ(&QUVENTestDerived::classInfo().getType(), &QUVENTestDerived::typeName());
  EXPECT_EQ(QUVENTestDerived::classInfo().getBase(), &QUVENTestLeaf::classInfo());
  EXPECT_EQ(QUVENTestLeaf::classInfo().getBase(), &QUVENObject::classInfo());
  EXPECT_EQ(QUVENObject::classInfo().getBase(), nullptr);
  EXPECT_EQ(QUVENClassInfo::find(QUVENTestPlain::typeName()), &QUVENTestPlain::classInfo());
  EXPECT_TRUE(QUVENTestPlain::classInfo().getMembers().empty());
}

TEST_F(QUVENObjectOfTest, ATypeWithoutAListHasNoInfo) {
  const QUVENTypeName type("QUVENTestWithoutList", nullptr);
  EXPECT_EQ(QUVENClassInfo::find(type), nullptr);
}

TEST_F(QUVENObjectOfTest, ConditionalMembersKeepTheirCodesAndAreReadWhereverTheyCome) {
  const char* whole = "c1 90 'QUVENTestDerived' c6 80 c7 80 c8 00 00 00 00 00 00 f0 bf c9 86 ca 81 'p' cb 87 c2";
  QUVENTestDerived object;
  EXPECT_FALSE(readValue(bytesOf(whole), object).threwLibraryException);
  EXPECT_EQ(object.ivLimit, 6);
  EXPECT_EQ(object.ivPositive, "p");
  EXPECT_EQ(object.ivLast, 7U);
  EXPECT_EQ(object.postReads, 1);
  // Of a weight below zero ivPositive is not written, and with the results of a scan neither is ivLimit.
  EXPECT_EQ(hexOf(imageOf(&object)),
            hexOfText("c1 90 'QUVENTestDerived' c6 80 c7 80 c8 00 00 00 00 00 00 f0 bf c9 86 cb 87 c2"));
  EXPECT_EQ(hexOf(imageOf(&object, QUVENObjWriter::ScanResults)),
            hexOfText("c1 90 'QUVENTestDerived' c6 80 c7 80 c8 00 00 00 00 00 00 f0 bf cb 87 c2"));
}

TEST_F(QUVENObjectOfTest, StateIsCopiedTransferredAndReleasedButNotWritten) {
  QUVENTestDerived object;
  object.counter = 5;
  object.cache.append(1.5, QUVEN_ENV);
  const std::string bytes = imageOf(&object);
  QUVENTestDerived copy;
  copy.copyFromPrimitive(&object, QUVEN_ENV);
  EXPECT_EQ(copy.counter, 5);
  EXPECT_EQ(copy.cache[1], 1.5);
  EXPECT_NE(copy.cache.begin(), object.cache.begin());
  QUVENTestDerived target;
  target.cache.append(9, QUVEN_ENV);
  const double* block = object.cache.begin();
  target.transferFromPrimitive(&object, QUVEN_ENV);
  EXPECT_EQ(target.cache.begin(), block);
  EXPECT_TRUE(object.cache.isEmpty());
  EXPECT_EQ(target.counter, 5);
  EXPECT_EQ(imageOf(&target), bytes);
  QUVENTestDerived read;
  readValue(bytes, read);
  EXPECT_EQ(read.counter, 0);
  EXPECT_TRUE(read.cache.isEmpty());
  copy.destroyPrimitive(QUVEN_ENV);
  target.destroyPrimitive(QUVEN_ENV);
}

TEST_F(QUVENObjectOfTest, AnObjectOfAnotherClassIsNoSource) {
  QUVENTestNode node;
  QUVENTestDerived derived;
  QUVENTestLeaf leaf;
  for (const auto& action : std::initializer_list<std::function<void()>>{
           [&] { derived.copyFromPrimitive(&leaf, QUVEN_ENV); }, [&] { leaf.copyFromPrimitive(&node, QUVEN_ENV); },
           [&] { derived.transferFromPrimitive(&leaf, QUVEN_ENV); }}) {
    const CapturedRun run = capturedRun(action);
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_EQ(reportOf(run), "ASSERTION FAILED (source->isA(typeName()))");
  }
  derived.ivNumber = 3;
  leaf.copyFromPrimitive(&derived, QUVEN_ENV);  // what a leaf has of it
  EXPECT_EQ(leaf.ivNumber, 3);
  leaf.copyFromPrimitive(nullptr, QUVEN_ENV);
  leaf.transferFromPrimitive(nullptr, QUVEN_ENV);
  leaf.transferFromPrimitive(&leaf, QUVEN_ENV);
  EXPECT_EQ(leaf.ivNumber, 3);
}
