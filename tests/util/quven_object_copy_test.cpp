#include "object_examples.h"
#include "recording_object.h"
#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_object.h"
#include "util/quven_registration.h"

// The virtual operations of objects outside streams: isA, makeNewObject, copy, transfer and release.

/// A class that makes nothing when it is asked for a new object.
class QUVENTestBarren : public QUVENObjectOf<QUVENTestBarren, QUVENObject> {
 public:
  void makeNewObject(QUVENOwnPtr<QUVENObject>&, const QUVENEnvHandle&) const override {}
};
QUVEN_REGISTER(QUVENTestBarren);

namespace {

class QUVENObjectTest : public RecordedEnvironment {
 protected:
  /// A node with something in members of every kind.
  QUVENOwnPtr<QUVENTestNode> makeNode() {
    auto node = quvenMake<QUVENTestNode>(QUVEN_ENV);
    node->ivInt = 7;
    node->ivText = "a text that is too long to stand in the string itself";
    node->ivName.assign("a name that is too long to stand in the string itself");
    for (int i = 1; i <= 5; ++i) node->ivDoubles.append(i * 0.5, QUVEN_ENV);
    node->ivTexts.append("another text that is too long to stand in the string", QUVEN_ENV);
    node->ivLeaf.ivNumber = 8;
    node->ivLeaves.setSize(2, QUVEN_ENV);
    node->ivLeaves[2].ivNumber = 9;
    node->ivOwned = quvenMake<QUVENTestDerived>(QUVEN_ENV);
    static_cast<QUVENTestDerived&>(*node->ivOwned).cache.append(2.5, QUVEN_ENV);
    node->ivChildren.append(quvenMake<QUVENTestNode>(QUVEN_ENV), QUVEN_ENV);
    node->ivChildren.append(QUVENOwnPtr<QUVENTestNode>(), QUVEN_ENV);
    node->ivChildren[1]->ivInts.append(3, QUVEN_ENV);
    node->ivAny = quvenMake<QUVENTestPlain>(QUVEN_ENV);
    return node;
  }

  static void expectNode(const QUVENTestNode& node) {
    EXPECT_EQ(node.ivInt, 7);
    EXPECT_EQ(node.ivText, "a text that is too long to stand in the string itself");
    EXPECT_EQ(node.ivName, "a name that is too long to stand in the string itself");
    ASSERT_EQ(node.ivDoubles.getSize(), 5);
    EXPECT_EQ(node.ivDoubles[5], 2.5);
    ASSERT_EQ(node.ivTexts.getSize(), 1);
    EXPECT_EQ(node.ivTexts[1], "another text that is too long to stand in the string");
    EXPECT_EQ(node.ivLeaf.ivNumber, 8);
    ASSERT_EQ(node.ivLeaves.getSize(), 2);
    EXPECT_EQ(node.ivLeaves[2].ivNumber, 9);
    ASSERT_NE(node.ivOwned.get(), nullptr);
    ASSERT_EQ(node.ivOwned->getTypeName(), QUVENTestDerived::typeName());
    EXPECT_EQ(static_cast<const QUVENTestDerived&>(*node.ivOwned).cache[1], 2.5);
    ASSERT_EQ(node.ivChildren.getSize(), 2);
    EXPECT_EQ(node.ivChildren[1]->ivInts[1], 3);
    EXPECT_EQ(node.ivChildren[2], nullptr);
    EXPECT_EQ(node.ivAny->getTypeName(), QUVENTestPlain::typeName());
  }
};

}  // namespace

TEST_F(QUVENObjectTest, SizeIsThatOfTheClass) {
  EXPECT_EQ(QUVENObject().sizeOf(), sizeof(QUVENObject));
  EXPECT_EQ(QUVENTestLeaf().sizeOf(), sizeof(QUVENTestLeaf));
  EXPECT_EQ(QUVENTestPlain().sizeOf(), sizeof(QUVENTestPlain));
}

TEST_F(QUVENObjectTest, IsAHoldsAlongTheChainAndNowhereElse) {
  const QUVENTestPlain plain;
  for (const QUVENTypeName* type : {&QUVENTestPlain::typeName(), &QUVENTestDerived::typeName(),
                                    &QUVENTestLeaf::typeName(), &QUVENObject::typeName()}) {
    EXPECT_EQ(plain.isA(*type), 1) << type->getName();
  }
  EXPECT_EQ(plain.isA(QUVENTestNode::typeName()), 0);
  EXPECT_EQ(QUVENTestLeaf().isA(QUVENTestDerived::typeName()), 0);
  EXPECT_EQ(QUVENObject().isA(QUVENObject::typeName()), 1);
  EXPECT_EQ(QUVENObject().isA(QUVENTestLeaf::typeName()), 0);
  const QUVENTestConcrete concrete;
  EXPECT_EQ(concrete.isA(QUVENTestAbstract::typeName()), 1);
}

TEST_F(QUVENObjectTest, IsATakesAnyTypeOfTheName) {
  const QUVENTypeName second("QUVENTestLeaf", nullptr);
  EXPECT_EQ(QUVENTestDerived().isA(second), 1);
  EXPECT_EQ(QUVENTestNode().isA(second), 0);
}

TEST_F(QUVENObjectTest, TypeOfAnObjectIsOneInstanceAClass) {
  EXPECT_EQ(&QUVENTestPlain().getTypeName(), &QUVENTestPlain::typeName());
  EXPECT_EQ(QUVENTestPlain().getTypeName().getIndex(), QUVENTypeNameAux::getIndex("QUVENTestPlain"));
}

TEST_F(QUVENObjectTest, NewObjectIsEmptyAndOfTheSameClass) {
  auto node = makeNode();
  const QUVENObject& object = *node;
  QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
  object.makeNewObject(made, QUVEN_ENV);
  ASSERT_EQ(made->getTypeName(), QUVENTestNode::typeName());
  const auto& empty = static_cast<const QUVENTestNode&>(*made);
  EXPECT_EQ(empty.ivInt, 0);
  EXPECT_TRUE(empty.ivText.empty());
  EXPECT_EQ(empty.ivOwned, nullptr);
  QUVEN_DELETE(made);
  QUVEN_DELETE(node);
}

TEST_F(QUVENObjectTest, CopyIsDeepAndLeavesTheSource) {
  auto node = makeNode();
  const std::int64_t bytes = inUse();
  auto copy = quvenNewCopy(*node, QUVEN_ENV);
  expectNode(*copy);
  expectNode(*node);
  // The source grew cell by cell; a copy has no spare cells.
  EXPECT_LE(inUse(), 2 * bytes);
  QUVEN_DELETE(node);
  expectNode(*copy);
  auto again = quvenNewCopy(*copy, QUVEN_ENV);
  const std::int64_t both = inUse();
  QUVEN_DELETE(again);
  EXPECT_EQ(2 * inUse(), both);
  QUVEN_DELETE(copy);
}

TEST_F(QUVENObjectTest, CopyReplacesWhatTheTargetHeld) {
  auto node = makeNode();
  auto target = makeNode();
  target->ivInts.append(1, QUVEN_ENV);
  target->ivAny->copyFromPrimitive(nullptr, QUVEN_ENV);
  target->copyFromPrimitive(node.get(), QUVEN_ENV);
  expectNode(*target);
  EXPECT_TRUE(target->ivInts.isEmpty());
  QUVEN_DELETE(node);
  QUVEN_DELETE(target);
}

TEST_F(QUVENObjectTest, NullAndItselfAsSourceChangeNothing) {
  auto node = makeNode();
  const std::int64_t bytes = inUse();
  node->copyFromPrimitive(nullptr, QUVEN_ENV);
  node->transferFromPrimitive(nullptr, QUVEN_ENV);
  node->copyFromPrimitive(node.get(), QUVEN_ENV);
  node->transferFromPrimitive(node.get(), QUVEN_ENV);
  expectNode(*node);
  EXPECT_EQ(inUse(), bytes);
  QUVEN_DELETE(node);
}

TEST_F(QUVENObjectTest, TransferEmptiesTheSourceAndReleasesWhatTheTargetHeld) {
  auto node = makeNode();
  const QUVENObject* owned = node->ivOwned.get();
  const double* cells = node->ivDoubles.begin();
  const std::int64_t bytes = inUse();
  auto target = makeNode();
  target->transferFromPrimitive(node.get(), QUVEN_ENV);
  expectNode(*target);
  EXPECT_EQ(target->ivOwned.get(), owned);
  EXPECT_EQ(target->ivDoubles.begin(), cells);

  EXPECT_TRUE(node->ivText.empty());
  EXPECT_TRUE(node->ivName.isEmpty());
  EXPECT_TRUE(node->ivDoubles.isEmpty());
  EXPECT_TRUE(node->ivTexts.isEmpty());
  EXPECT_TRUE(node->ivLeaves.isEmpty());
  EXPECT_EQ(node->ivOwned, nullptr);
  EXPECT_TRUE(node->ivChildren.isEmpty());
  EXPECT_EQ(node->ivAny, nullptr);
  EXPECT_EQ(inUse(), bytes + static_cast<std::int64_t>(sizeof(QUVENTestNode)));
  QUVEN_DELETE(node);
  EXPECT_EQ(inUse(), bytes);
  QUVEN_DELETE(target);
}

TEST_F(QUVENObjectTest, CopyAndTransferFromADerivedObjectTakeTheCommonMembers) {
  auto leaf = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  auto derived = quvenMake<QUVENTestDerived>(QUVEN_ENV);
  derived->ivNumber = 4;
  derived->ivText = "text";
  leaf->copyFromPrimitive(derived.get(), QUVEN_ENV);
  EXPECT_EQ(leaf->ivNumber, 4);
  EXPECT_EQ(derived->ivText, "text");
  leaf->transferFromPrimitive(derived.get(), QUVEN_ENV);
  EXPECT_EQ(leaf->ivText, "text");
  EXPECT_EQ(derived->ivText, "");
  QUVEN_DELETE(leaf);
  QUVEN_DELETE(derived);
}

TEST_F(QUVENObjectTest, CopyAndTransferFromAnotherClassFailAnAssertion) {
  auto leaf = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  auto node = quvenMake<QUVENTestNode>(QUVEN_ENV);
  for (const CapturedRun& run : {capturedRun([&] { leaf->copyFromPrimitive(node.get(), QUVEN_ENV); }),
                                 capturedRun([&] { leaf->transferFromPrimitive(node.get(), QUVEN_ENV); })}) {
    EXPECT_THAT(run.out, testing::EndsWith("\n    ASSERTION FAILED (source->isA(typeName()))\n"));
    EXPECT_TRUE(run.threwLibraryException);
  }
  QUVEN_DELETE(leaf);
  QUVEN_DELETE(node);
}

TEST_F(QUVENObjectTest, DestroyPrimitiveGivesBackWhatTheMembersOwn) {
  QUVENTestDerived object;
  object.cache.append(1, QUVEN_ENV);
  object.ivText = "text";
  EXPECT_GT(inUse(), 0);
  object.destroyPrimitive(QUVEN_ENV);
  EXPECT_EQ(inUse(), 0);
  EXPECT_TRUE(object.cache.isEmpty());
}

TEST_F(QUVENObjectTest, NewCopyWithoutMemoryLeavesNothingBehind) {
  auto node = makeNode();
  QUVENOwnPtr<QUVENObject> result = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  const QUVENObject* held = result.get();
  const std::int64_t bytes = inUse();
  const auto copies = [&](long allowed) {
    const CapturedRun run = capturedRun([&] {
      const FailingAllocation failure(allowed);
      node->newCopy(result, QUVEN_ENV);
    });
    EXPECT_EQ(run.out.find("while holding"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("without resetting"), std::string::npos) << run.out;
    // A text without memory is reported, too.
    EXPECT_EQ(run.out.find("Cannot allocate ") != std::string::npos, run.threwMemoryException) << run.out;
    return !run.threwMemoryException;
  };
  long allowed = 0;
  for (; !copies(allowed); ++allowed) {
    EXPECT_EQ(inUse(), bytes) << allowed;
    EXPECT_EQ(result.get(), held) << allowed;
    expectNode(*node);
  }
  EXPECT_GT(allowed, 12);  // five objects and what their arrays and strings hold
  expectNode(static_cast<const QUVENTestNode&>(*result));
  EXPECT_EQ(quvenDebugWords.error, 0);
  QUVEN_DELETE(node);
  QUVEN_DELETE(result);
}

TEST_F(QUVENObjectTest, NewCopyMayReplaceTheObjectItself) {
  auto node = makeNode();
  const QUVENTestNode* old = node.get();
  QUVENOwnPtr<QUVENObject> pointer = std::move(node);
  pointer->newCopy(pointer, QUVEN_ENV);
  EXPECT_NE(pointer.get(), old);
  expectNode(static_cast<const QUVENTestNode&>(*pointer));
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENObjectTest, NewCopyOfAClassThatMakesNothingFailsAnAssertion) {
  auto barren = quvenMake<QUVENTestBarren>(QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { static_cast<void>(quvenNewCopy(*barren, QUVEN_ENV)); });
  EXPECT_THAT(run.out, testing::EndsWith("\n    ASSERTION FAILED (copy != nullptr)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  QUVEN_DELETE(barren);
}

TEST_F(QUVENObjectTest, MoveAsTakesAnObjectOfTheClassOnly) {
  QUVENOwnPtr<QUVENObject> source = quvenMake<QUVENTestDerived>(QUVEN_ENV);
  QUVENOwnPtr<QUVENTestNode> wrong(QUVEN_ENV);
  EXPECT_TRUE(capturedRun([&] { quvenMoveAs(wrong, source, QUVEN_ENV); }).threwLibraryException);
  EXPECT_NE(source.get(), nullptr);
  EXPECT_EQ(wrong, nullptr);

  QUVENOwnPtr<QUVENTestLeaf> leaf = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  quvenMoveAs(leaf, source, QUVEN_ENV);
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(leaf->getTypeName(), QUVENTestDerived::typeName());
  quvenMoveAs(leaf, source, QUVEN_ENV);
  EXPECT_EQ(leaf, nullptr);
}
