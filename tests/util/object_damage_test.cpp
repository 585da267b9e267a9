// Streams that are cut or changed, and memory that runs out: reading ends in an orderly report, and the account is
// exact afterwards.

#include "random_objects.h"
#include "stream_language.h"
#include "support/failing_allocation.h"
#include "xrt/xrt_exception.h"

namespace {

class ObjectDamageTest : public ObjectStreamTest {
 protected:
  enum class End { Read, Reported, OutOfMemory };

  /// Reads an object from bytes, without a word. Any exception other than those of the library fails the test.
  End endOf(std::string_view bytes) {
    quvenDebugWords.quiet = 1;
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
    End end = End::Read;
    try {
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV);
      EXPECT_EQ(reader.getDepth(), 0);
    } catch (int payload) {
      EXPECT_EQ(payload, 0);
      end = End::Reported;
    } catch (const XRTMemoryException&) {
      end = End::OutOfMemory;
    }
    QUVEN_DELETE(object);
    EXPECT_EQ(environment.getBytesInUse(), 0);
    return end;
  }

  /// A stream with something of every kind in it, and short.
  std::string richStream() {
    std::string shortest;
    for (unsigned seed = 1; seed <= 200; ++seed) {
      auto candidate = RandomObjects(seed, QUVEN_ENV).node(1);
      const bool rich = candidate->ivChildren.getSize() >= 1 && candidate->ivChildren[1].get() != nullptr &&
                        candidate->ivOwned.get() != nullptr && candidate->ivAny.get() != nullptr &&
                        !candidate->ivLeaves.isEmpty() && !candidate->ivTexts.isEmpty() &&
                        !candidate->ivInts.isEmpty() && !candidate->ivDoubles.isEmpty();
      const std::string bytes = imageOf(candidate.get());
      if (rich && (shortest.empty() || bytes.size() < shortest.size())) shortest = bytes;
      QUVEN_DELETE(candidate);
    }
    EXPECT_FALSE(shortest.empty());
    return shortest;
  }
};

}  // namespace

TEST_F(ObjectDamageTest, EveryPrefixEndsInAReport) {
  const std::string bytes = richStream();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    // A copy of just that length, so that a read behind it is seen by the tools.
    const std::vector<char> prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    ASSERT_EQ(endOf({prefix.data(), prefix.size()}), End::Reported) << length << " of " << bytes.size();
  }
  EXPECT_EQ(endOf(bytes), End::Read);
}

TEST_F(ObjectDamageTest, EveryChangedByteIsReadOrReported) {
  const std::string bytes = richStream();
  int read = 0;
  int reported = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::string damaged = bytes;
    for (const int change : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
      damaged[i] = static_cast<char>(bytes[i] ^ change);
      const End end = endOf(damaged);
      ASSERT_NE(end, End::OutOfMemory) << "byte " << i << " changed by " << change;
      ++(end == End::Read ? read : reported);
    }
    for (const char value : bytesOf("00 80 c0 c1 c2 c4 c5 ff 7f 81")) {
      damaged[i] = value;
      ASSERT_NE(endOf(damaged), End::OutOfMemory) << "byte " << i << " set to " << static_cast<int>(value);
    }
  }
  EXPECT_GT(read, 0);
  EXPECT_GT(reported, 0);
}

TEST_F(ObjectDamageTest, DroppedAndDoubledBytesAreReadOrReported) {
  const std::string bytes = richStream();
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (const std::size_t count : {1, 2, 7}) {
      const std::string piece = bytes.substr(i, count);
      ASSERT_NE(endOf(bytes.substr(0, i) + bytes.substr(std::min(i + count, bytes.size()))), End::OutOfMemory) << i;
      ASSERT_NE(endOf(bytes.substr(0, i) + piece + bytes.substr(i)), End::OutOfMemory) << i;
    }
  }
}

TEST_F(ObjectDamageTest, EveryFailedAllocationIsOrderly) {
  const std::string bytes = richStream();
  bool read = false;
  long failures = 0;
  for (long allowed = 0; !read; ++allowed) {
    ASSERT_LT(allowed, 10000);
    const FailingAllocation failing(allowed);
    const End end = endOf(bytes);
    ASSERT_NE(end, End::Reported) << allowed;
    read = end == End::Read;
    if (!read) ++failures;
  }
  EXPECT_GT(failures, 20);
}

TEST_F(ObjectDamageTest, EveryBudgetIsKept) {
  const std::string bytes = richStream();
  std::int64_t needed = 0;
  End end = End::OutOfMemory;
  while (end != End::Read) {
    ASSERT_LT(needed, 100000);
    environment.setBytesBudget(++needed);
    end = endOf(bytes);
    ASSERT_NE(end, End::Reported) << needed;
  }
  EXPECT_GT(needed, static_cast<std::int64_t>(2 * sizeof(QUVENTestNode)));
  environment.setBytesBudget(0);
}

/// Each of many nested arrays claims as many elements as the rest of the stream has room for.
TEST_F(ObjectDamageTest, ClaimsOfNestedArraysDoNotMultiply) {
  constexpr std::size_t levels = 20;
  constexpr std::size_t claim = 50000;
  const std::int32_t childrenCode = QUVENTestNode::keywords()[QUVENTestNode::keywords().size() - 2].getCode();
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  for (std::size_t level = 0; level < levels; ++level) {
    writer.beginObjectType("QUVENTestNode", QUVEN_ENV);
    writer.writeSignedVarint(-childrenCode, QUVEN_ENV);
    writer.beginArray(claim, QUVEN_ENV);
  }
  std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
  QUVEN_DELETE(blob);
  bytes.append(2 * claim, '\xc1');  // room for what is claimed
  environment.setBytesBudget(1 << 20);
  EXPECT_EQ(endOf(bytes), End::Reported);
  environment.setBytesBudget(0);
}
