// Objects that are written and read, copied and moved: what comes out is what went in.

#include "random_objects.h"
#include "stream_language.h"

namespace {

constexpr const char* emptyLeaf = "c1 8d 'QUVENTestLeaf' c6 80 c7 80 c2";

class ObjectRoundTripTest : public ObjectStreamTest {
 protected:
  /// The report of a value that is read over another one, or "" if it was read.
  template <class T>
  std::string readOver(T& value, std::string_view text) {
    quvenDebugWords = QUVENDebugWords();
    const CapturedRun run = readValue(bytesOf(text), value);
    return run.threwLibraryException ? reportOf(run) : "";
  }
};

}  // namespace

TEST_F(ObjectRoundTripTest, RandomTreesTravelInEveryMode) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    auto tree = RandomObjects(seed, QUVEN_ENV).node(3);
    for (const std::int32_t mode : {0, 1, 2}) {
      const std::string bytes = imageOf(tree.get(), mode);
      QUVENOwnPtr<QUVENTestNode> read(QUVEN_ENV);
      EXPECT_FALSE(readValue(bytes, read).threwLibraryException) << "seed " << seed;
      EXPECT_TRUE(imageOf(read.get(), mode) == bytes) << "seed " << seed << " mode " << mode;
      QUVEN_DELETE(read);
    }
    QUVEN_DELETE(tree);
  }
}

TEST_F(ObjectRoundTripTest, AStreamWithoutWindowsCarriesTheSameBytes) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    auto tree = RandomObjects(seed, QUVEN_ENV).node(2);
    ScriptedBlobIO blob;
    QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
    quvenWriteObject(writer, *tree, QUVEN_ENV);
    EXPECT_TRUE(blob.text == imageOf(tree.get())) << "seed " << seed;
    QUVENOwnPtr<QUVENTestNode> read(QUVEN_ENV);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, read, QUVENTestNode::typeName(), QUVEN_ENV);
    EXPECT_TRUE(imageOf(read.get()) == blob.text) << "seed " << seed;
    EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
    QUVEN_DELETE(read);
    QUVEN_DELETE(tree);
  }
}

TEST_F(ObjectRoundTripTest, CopiesAndTransfersWriteTheSameBytes) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    auto tree = RandomObjects(seed, QUVEN_ENV).node(3);
    const std::string bytes = imageOf(tree.get());
    const std::int64_t before = environment.getBytesInUse();

    auto copy = quvenNewCopy(*tree, QUVEN_ENV);
    EXPECT_TRUE(imageOf(copy.get()) == bytes) << "seed " << seed;
    EXPECT_TRUE(imageOf(tree.get()) == bytes) << "seed " << seed;

    // Over another object, whose members go.
    auto other = RandomObjects(seed + 1000, QUVEN_ENV).node(2);
    other->copyFromPrimitive(tree.get(), QUVEN_ENV);
    EXPECT_TRUE(imageOf(other.get()) == bytes) << "seed " << seed;
    auto target = RandomObjects(seed + 2000, QUVEN_ENV).node(2);
    target->transferFromPrimitive(other.get(), QUVEN_ENV);
    EXPECT_TRUE(imageOf(target.get()) == bytes) << "seed " << seed;
    // The source keeps its numbers and nothing else.
    const std::int64_t inUse = environment.getBytesInUse();
    EXPECT_EQ(other->ivText + other->ivName.str() + other->ivLeaf.ivText, "");
    const std::int64_t itself = other->sizeOf();
    QUVEN_DELETE(other);
    EXPECT_EQ(environment.getBytesInUse(), inUse - itself) << "seed " << seed;

    QUVEN_DELETE(copy);
    QUVEN_DELETE(target);
    EXPECT_EQ(environment.getBytesInUse(), before);
    QUVEN_DELETE(tree);
  }
}

TEST_F(ObjectRoundTripTest, OneStreamMayBeReadOverAnother) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    auto first = RandomObjects(seed, QUVEN_ENV).node(3);
    auto second = RandomObjects(seed + 500, QUVEN_ENV).node(3);
    const std::string bytes = imageOf(second.get());
    QUVENObject* object = first.get();
    EXPECT_FALSE(readValue(bytes, first).threwLibraryException);
    EXPECT_EQ(first.get(), object);
    // A weight below zero keeps its ivPositive out of the stream, and so an old one may stay; nothing else does.
    auto fresh = quvenMake<QUVENTestNode>(QUVEN_ENV);
    readValue(bytes, fresh);
    EXPECT_TRUE(imageOf(fresh.get()) == bytes) << "seed " << seed;
    EXPECT_TRUE(imageOf(first.get()) == bytes) << "seed " << seed;
    QUVEN_DELETE(first);
    QUVEN_DELETE(second);
    QUVEN_DELETE(fresh);
  }
}

TEST_F(ObjectRoundTripTest, NoObjectIsNull) {
  auto pointer = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  EXPECT_EQ(readOver(pointer, "c1 80"), "");
  EXPECT_EQ(pointer.get(), nullptr);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

TEST_F(ObjectRoundTripTest, AnObjectOfTheTypeKeepsWhatTheStreamDoesNotMention) {
  auto pointer = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  pointer->ivNumber = 5;
  pointer->ivText = "old";
  const QUVENObject* held = pointer.get();
  EXPECT_EQ(readOver(pointer, "c1 8d 'QUVENTestLeaf' c7 83 'new' c2"), "");
  EXPECT_EQ(pointer.get(), held);
  EXPECT_EQ(pointer->ivNumber, 5);
  EXPECT_EQ(pointer->ivText, "new");
  EXPECT_EQ(readOver(pointer, "c1 8d 'QUVENTestLeaf' c2"), "");
  EXPECT_EQ(pointer->ivText, "new");
  QUVEN_DELETE(pointer);
}

TEST_F(ObjectRoundTripTest, AnObjectOfAnotherTypeIsReplaced) {
  QUVENOwnPtr<QUVENTestLeaf> pointer(QUVEN_ENV);
  pointer = quvenMake<QUVENTestDerived>(QUVEN_ENV);
  pointer->ivNumber = 5;
  EXPECT_EQ(readOver(pointer, "c1 8d 'QUVENTestLeaf' c2"), "");
  EXPECT_STREQ(pointer->getTypeName().getName(), "QUVENTestLeaf");
  EXPECT_EQ(pointer->ivNumber, 0);
  EXPECT_EQ(readOver(pointer, "c1 8e 'QUVENTestPlain' c6 87 c2"), "");
  EXPECT_STREQ(pointer->getTypeName().getName(), "QUVENTestPlain");
  EXPECT_EQ(pointer->ivNumber, 7);
  QUVEN_DELETE(pointer);
}

TEST_F(ObjectRoundTripTest, MembersComeInAnyOrderAndTheLastOneWins) {
  QUVENTestLeaf leaf;
  EXPECT_EQ(readOver(leaf, "c1 8d 'QUVENTestLeaf' c7 81 'a' c6 81 c7 81 'b' c6 82 c2"), "");
  EXPECT_EQ(leaf.ivNumber, 2);
  EXPECT_EQ(leaf.ivText, "b");
}

TEST_F(ObjectRoundTripTest, ArraysAreReplacedAndTheirObjectsReadInto) {
  QUVENTestNode node;
  node.ivLeaves.append(QUVENTestLeaf(), QUVEN_ENV);
  node.ivLeaves[1].ivNumber = 5;
  const std::string twoLeaves =
      "c1 8d 'QUVENTestNode' dd c4 82 c1 8d 'QUVENTestLeaf' c2 c1 8d 'QUVENTestLeaf' c2 c5 c2";
  EXPECT_EQ(readOver(node, twoLeaves), "");
  ASSERT_EQ(node.ivLeaves.getSize(), 2);
  EXPECT_EQ(node.ivLeaves[1].ivNumber, 5);
  EXPECT_EQ(node.ivLeaves[2].ivNumber, 0);
  EXPECT_EQ(readOver(node, "c1 8d 'QUVENTestNode' dd c4 80 c5 c2"), "");
  EXPECT_TRUE(node.ivLeaves.isEmpty());
  EXPECT_EQ(readOver(node, twoLeaves), "");
  EXPECT_EQ(node.ivLeaves[1].ivNumber, 0);  // released in between
  node.destroyPrimitive(QUVEN_ENV);
}

TEST_F(ObjectRoundTripTest, KeywordsMayComeAsText) {
  QUVENTestDerived object;
  EXPECT_EQ(readOver(object,
                     "8f 'BeginObjectType' 90 'QUVENTestDerived' 88 'ivNumber' 83"
                     "86 'weight' 00 00 00 00 00 00 04 40 c7 81 't' 89 'EndObject'"),
            "");
  EXPECT_EQ(object.ivNumber, 3);
  EXPECT_EQ(object.ivWeight, 2.5);
  EXPECT_EQ(object.ivText, "t");
}

// The codes of unrelated classes are the same: an image under the wrong name is misread or ends at a keyword.
TEST_F(ObjectRoundTripTest, AnImageUnderAnotherNameIsMisreadOrRefused) {
  QUVENOwnPtr<QUVENObject> pointer(QUVEN_ENV);
  EXPECT_EQ(readOver(pointer, "c1 91 'QUVENTestConcrete' c6 87 c7 80 c2"), "");
  QUVEN_DELETE(pointer);
  EXPECT_EQ(readOver(pointer, "c1 8d 'QUVENTestLeaf' c6 80 c7 80 c8 80 c2"),
            "Input keyword does not match expected keyword(s)");
  QUVEN_DELETE(pointer);
}

TEST_F(ObjectRoundTripTest, AnObjectOfAnotherClassThanThePointersIsRefused) {
  QUVENOwnPtr<QUVENTestDerived> derived(QUVEN_ENV);
  EXPECT_EQ(readOver(derived, emptyLeaf),
            "Syntax Error: Object of type QUVENTestLeaf where QUVENTestDerived is expected");
  EXPECT_EQ(derived.get(), nullptr);
  derived = quvenMake<QUVENTestDerived>(QUVEN_ENV);
  EXPECT_EQ(readOver(derived, "c1 8d 'QUVENTestNode' c2"),
            "Syntax Error: Object of type QUVENTestNode where QUVENTestDerived is expected");
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(readOver(derived, "c1 8b 'QUVENObject' c2"),
            "Syntax Error: Object of type QUVENObject where QUVENTestDerived is expected");
  QUVEN_DELETE(derived);
  QUVENOwnPtr<QUVENTestLeaf> leaf(QUVEN_ENV);
  EXPECT_EQ(readOver(leaf, "c1 90 'QUVENTestDerived' c2"), "");
  QUVEN_DELETE(leaf);
}

TEST_F(ObjectRoundTripTest, AnObjectByValueTakesItsOwnTypeOnly) {
  QUVENTestDerived derived;
  EXPECT_EQ(readOver(derived, emptyLeaf),
            "Syntax Error: Object of type QUVENTestLeaf where QUVENTestDerived is expected");
  EXPECT_EQ(readOver(derived, "c1 8e 'QUVENTestPlain' c2"),
            "Syntax Error: Object of type QUVENTestPlain where QUVENTestDerived is expected");
  EXPECT_EQ(readOver(derived, "c1 80"), "Syntax Error: No object where QUVENTestDerived is expected");
  EXPECT_EQ(readOver(derived, "c1 83 'Xyz' c2"), "Input object type does not match known object types");
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(ObjectRoundTripTest, UnknownAndAbstractTypesAreRefused) {
  QUVENOwnPtr<QUVENObject> pointer(QUVEN_ENV);
  EXPECT_EQ(readOver(pointer, "c1 83 'Xyz' c2"), "Input object type does not match known object types");
  EXPECT_EQ(readOver(pointer, "c1 8c 'QUVENTestLea' c2"), "Input object type does not match known object types");
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(readOver(pointer, "c1 91 'QUVENTestAbstract' c2"), "ASSERTION FAILED (ivFactoryFunc != 0)");
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(pointer.get(), nullptr);
}

TEST_F(ObjectRoundTripTest, ObjectsInARowNeedTheKeywordBetweenThemTaken) {
  const std::string bytes = bytesOf("c1 8b 'QUVENObject' c2 8a 'ScanResult' c1 80 c1 8d 'QUVENTestLeaf' c6 85 c2");
  const QUVENKeyword mark = QUVENKeyword::name("ScanResult");
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  const CapturedRun run = readBytes(bytes, [&](QUVENObjReader& reader) {
    quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV);
    EXPECT_FALSE(reader.keywordMatches(mark, QUVEN_ENV));  // it still is at the end of the object
    reader.takeKeyword();
    EXPECT_TRUE(reader.keywordMatches(mark, QUVEN_ENV));
    reader.takeKeyword();
    quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV);
    EXPECT_EQ(object.get(), nullptr);
    quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV);
    EXPECT_EQ(static_cast<QUVENTestLeaf*>(object.get())->ivNumber, 5);
    reader.takeKeyword();
    EXPECT_FALSE(reader.keywordMatches(mark, QUVEN_ENV));
    EXPECT_TRUE(reader.isAtEnd());
  });
  EXPECT_FALSE(run.threwLibraryException) << reportOf(run);
  QUVEN_DELETE(object);
}
