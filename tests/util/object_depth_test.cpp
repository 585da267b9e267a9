// Objects that nest as deep as a stream allows, and deeper: the call stack has to hold them.

#include "stream_language.h"

namespace {

class ObjectDepthTest : public ObjectStreamTest {
 protected:
  /// A chain of nodes, each an element of the array of the one before.
  QUVENOwnPtr<QUVENTestNode> chainOfNodes(int length) {
    auto chain = quvenMake<QUVENTestNode>(QUVEN_ENV);
    for (int i = 2; i <= length; ++i) {
      auto owner = quvenMake<QUVENTestNode>(QUVEN_ENV);
      owner->ivInts.append(i, QUVEN_ENV);
      owner->ivFloats.append(1, QUVEN_ENV);
      owner->ivChildren.append(std::move(chain), QUVEN_ENV);
      chain = std::move(owner);
    }
    return chain;
  }
  /// Images of nodes around each other, down to one that is not there.
  std::string nestedImage(int depth) {
    std::string image;
    for (int i = 1; i <= depth; ++i) image += bytesOf("c1 8d 'QUVENTestNode' e0");
    return image + bytesOf("c1 80") + std::string(static_cast<std::size_t>(depth), bytesOf("c2")[0]);
  }
};

}  // namespace

TEST_F(ObjectDepthTest, AThousandObjectsAroundEachOtherTravel) {
  auto chain = chainOfNodes(quvenMaxObjectDepth - 1);  // the last node has an object by value, too
  const std::string bytes = imageOf(chain.get());
  QUVENOwnPtr<QUVENTestNode> read(QUVEN_ENV);
  const CapturedRun run = readValue(bytes, read);
  EXPECT_FALSE(run.threwLibraryException) << reportOf(run);
  EXPECT_TRUE(imageOf(read.get()) == bytes);
  QUVEN_DELETE(read);
  QUVEN_DELETE(chain);
}

TEST_F(ObjectDepthTest, OneMoreIsRefusedOnWriting) {
  auto chain = chainOfNodes(quvenMaxObjectDepth);
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  const CapturedRun run = capturedRun([&] { quvenWriteObject(writer, *chain, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), "Objects nested deeper than 1000 levels");
  QUVEN_DELETE(blob);
  QUVEN_DELETE(chain);
}

TEST_F(ObjectDepthTest, OneMoreIsRefusedOnReading) {
  QUVENOwnPtr<QUVENTestNode> read(QUVEN_ENV);
  EXPECT_FALSE(readValue(nestedImage(quvenMaxObjectDepth), read).threwLibraryException);
  QUVEN_DELETE(read);
  EXPECT_EQ(fatalReport<QUVENTestNode>(nestedImage(quvenMaxObjectDepth + 1)),
            "Syntax Error: Objects nested deeper than 1000 levels");
  EXPECT_EQ(fatalReport<QUVENTestNode>(nestedImage(20 * quvenMaxObjectDepth)),
            "Syntax Error: Objects nested deeper than 1000 levels");
}

TEST_F(ObjectDepthTest, DepthCountsObjectsAroundEachOtherAndNotInARow) {
  QUVENOwnPtr<QUVENTestNode> read(QUVEN_ENV);
  std::string children;
  const int count = 2 * quvenMaxObjectDepth;
  for (int i = 1; i <= count; ++i) children += nestedImage(2);
  const std::string size = written([&](QUVENObjWriter& w) { w.beginArray(count, QUVEN_ENV); });
  const CapturedRun run = readValue(bytesOf("c1 8d 'QUVENTestNode' df") + size + children + bytesOf("c5 c2"), read);
  EXPECT_FALSE(run.threwLibraryException) << reportOf(run);
  EXPECT_EQ(read->ivChildren.getSize(), count);
  QUVEN_DELETE(read);
}
