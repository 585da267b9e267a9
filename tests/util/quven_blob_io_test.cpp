#include "util/quven_blob_io.h"

#include <cmath>

#include "stream_language.h"
#include "support/failing_allocation.h"
#include "xrt/xrt_exception.h"

namespace {

class QUVENBlobIOTest : public ObjectStreamTest {
 protected:
  void write(QUVENBlobIO& blob, std::string_view bytes) { blob.write(bytes.data(), bytes.size(), QUVEN_ENV); }
  /// Up to so many bytes of a stream.
  std::string read(QUVENBlobIO& blob, std::size_t count) {
    std::string bytes(count, '?');
    bytes.resize(blob.read(bytes.data(), count, QUVEN_ENV));
    return bytes;
  }
  std::int64_t bytesInUse() const { return environment.getBytesInUse(); }
};

class QUVENMemoryBlobIOTest : public QUVENBlobIOTest {
 protected:
  void TearDown() override {
    blob.deleteMemory(QUVEN_ENV);
    QUVENBlobIOTest::TearDown();
  }
  std::string content() const { return {blob.getBytes().begin(), blob.getBytes().end()}; }

  QUVENMemoryBlobIO blob;
};

using QUVENViewBlobIOTest = QUVENBlobIOTest;

}  // namespace

TEST_F(QUVENViewBlobIOTest, GivesItsBytesAndThenTheEnd) {
  const std::string bytes = "abcdef";
  QUVENViewBlobIO blob({bytes.data(), bytes.size()});
  EXPECT_EQ(blob.getRemaining(), 6U);
  EXPECT_EQ(read(blob, 2), "ab");
  EXPECT_EQ(read(blob, 0), "");
  EXPECT_EQ(read(blob, 4), "cdef");
  EXPECT_EQ(blob.getRemaining(), 0U);
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);  // no read came up short
  EXPECT_EQ(read(blob, 1), "");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::EndOfInput);
}

TEST_F(QUVENViewBlobIOTest, AReadBeyondTheEndGivesWhatThereIs) {
  const std::string bytes = "abc";
  QUVENViewBlobIO blob({bytes.data(), bytes.size()});
  EXPECT_EQ(read(blob, 5), "abc");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::EndOfInput);
}

TEST_F(QUVENViewBlobIOTest, MayBeOfNothing) {
  QUVENViewBlobIO blob({});
  EXPECT_EQ(blob.read(nullptr, 0, QUVEN_ENV), 0U);
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  EXPECT_EQ(read(blob, 1), "");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::EndOfInput);
}

TEST_F(QUVENViewBlobIOTest, CannotBeWritten) {
  const std::string bytes = "abc";
  QUVENViewBlobIO blob({bytes.data(), bytes.size()});
  write(blob, "x");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Failed);
  EXPECT_EQ(bytes, "abc");
}

TEST_F(QUVENViewBlobIOTest, OffersItsWindow) {
  const std::string bytes = "abc";
  QUVENViewBlobIO blob({bytes.data(), bytes.size()});
  EXPECT_EQ(blob.getReadWindow().data(), bytes.data());
  blob.skip(1);
  EXPECT_EQ(blob.getReadWindow().size(), 2U);
  EXPECT_EQ(read(blob, 2), "bc");
  EXPECT_EQ(blob.roomFor(1), nullptr);
}

TEST_F(QUVENMemoryBlobIOTest, IsEmptyAtFirst) {
  EXPECT_EQ(blob.getSize(), 0U);
  EXPECT_EQ(blob.getRemaining(), 0U);
  EXPECT_TRUE(blob.getBytes().empty());
  EXPECT_EQ(bytesInUse(), 0);
  write(blob, "");
  blob.write(nullptr, 0, QUVEN_ENV);
  EXPECT_EQ(bytesInUse(), 0);
  EXPECT_EQ(read(blob, 3), "");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::EndOfInput);
}

TEST_F(QUVENMemoryBlobIOTest, GivesWhatWasWrittenFromTheBeginning) {
  write(blob, "abc");
  EXPECT_EQ(read(blob, 2), "ab");
  write(blob, "def");
  EXPECT_EQ(blob.getRemaining(), 4U);
  EXPECT_EQ(read(blob, 4), "cdef");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  EXPECT_EQ(content(), "abcdef");
  blob.rewind();
  EXPECT_EQ(read(blob, 100), "abcdef");
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::EndOfInput);
  blob.rewind();
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  EXPECT_EQ(read(blob, 3), "abc");
}

TEST_F(QUVENMemoryBlobIOTest, ReadsOnWhileItGrows) {
  std::string all;
  std::string taken;
  for (int i = 0; i < 2000; ++i) {
    const std::string piece(static_cast<std::size_t>(i % 7), static_cast<char>('a' + i % 26));
    all += piece;
    write(blob, piece);
    taken += read(blob, std::min<std::size_t>(blob.getRemaining(), static_cast<std::size_t>(i % 5)));
  }
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  EXPECT_EQ(content(), all);
  EXPECT_EQ(taken + read(blob, blob.getRemaining()), all);
}

// The block counts cells of 64 bytes and grows as the arrays do: 4 cells, then ceilings of the powers of the factor.
TEST_F(QUVENMemoryBlobIOTest, GrowsByTheFactorOfTheArrays) {
  std::vector<long> cells;
  for (int i = 0; i < 64 * 40; ++i) {
    write(blob, "x");
    EXPECT_EQ(bytesInUse() % 64, 0);
    if (cells.empty() || cells.back() != bytesInUse() / 64) cells.push_back(bytesInUse() / 64);
  }
  std::vector<long> expected = {4};
  while (expected.back() < 40) {
    expected.push_back(static_cast<long>(std::ceil(static_cast<double>(expected.back()) * 1.4142135623731)));
  }
  EXPECT_EQ(expected, (std::vector<long>{4, 6, 9, 13, 19, 27, 39, 56}));  // by hand
  EXPECT_EQ(cells, expected);
}

TEST_F(QUVENMemoryBlobIOTest, ReservesAtLeastWhatIsAskedFor) {
  blob.reserve(1000, QUVEN_ENV);
  const std::int64_t reserved = bytesInUse();
  EXPECT_GE(reserved, 1000);
  EXPECT_EQ(blob.getSize(), 0U);
  {
    const FailingAllocation failing(0);
    for (int i = 0; i < 1000; ++i) write(blob, "x");
  }
  EXPECT_EQ(blob.getSize(), 1000U);
  blob.reserve(10, QUVEN_ENV);
  EXPECT_EQ(bytesInUse(), reserved);
}

TEST_F(QUVENMemoryBlobIOTest, IsFilledInPlace) {
  write(blob, "old");
  EXPECT_EQ(read(blob, 5), "old");
  const std::span<char> bytes = blob.resize(300, QUVEN_ENV);
  ASSERT_EQ(bytes.size(), 300U);
  std::fill(bytes.begin(), bytes.end(), 'z');
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  EXPECT_EQ(blob.getRemaining(), 300U);
  EXPECT_EQ(read(blob, 300), std::string(300, 'z'));
  EXPECT_EQ(blob.resize(2, QUVEN_ENV).size(), 2U);
  EXPECT_EQ(blob.getSize(), 2U);
  write(blob, "!");
  EXPECT_EQ(content(), "zz!");
  EXPECT_TRUE(blob.resize(0, QUVEN_ENV).empty());
  EXPECT_EQ(read(blob, 1), "");
}

TEST_F(QUVENMemoryBlobIOTest, KeepsItsBlockWhenCleared) {
  write(blob, std::string(500, 'x'));
  const std::int64_t before = bytesInUse();
  EXPECT_EQ(read(blob, 501).size(), 500U);
  blob.clear();
  EXPECT_EQ(bytesInUse(), before);
  EXPECT_EQ(blob.getSize(), 0U);
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  write(blob, "abc");
  EXPECT_EQ(content(), "abc");
  EXPECT_EQ(read(blob, 3), "abc");
  blob.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(bytesInUse(), 0);
  write(blob, "new");
  EXPECT_EQ(read(blob, 4), "new");
}

TEST_F(QUVENMemoryBlobIOTest, IsHandedOverWithoutACopy) {
  write(blob, "abcdef");
  EXPECT_EQ(read(blob, 2), "ab");
  const char* bytes = blob.getBytes().data();
  const std::int64_t charged = bytesInUse();
  QUVENMemoryBlobIO other(std::move(blob));
  EXPECT_EQ(other.getBytes().data(), bytes);
  EXPECT_EQ(blob.getSize(), 0U);
  EXPECT_EQ(read(other, 2), "cd");
  EXPECT_EQ(bytesInUse(), charged);
  QUVENMemoryBlobIO third;
  third = std::move(other);
  EXPECT_EQ(third.getBytes().data(), bytes);
  EXPECT_EQ(read(third, 9), "ef");
  EXPECT_EQ(third.getStatus(), QUVENBlobIO::EndOfInput);
  blob.swap(third);
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::EndOfInput);
  EXPECT_EQ(content(), "abcdef");
  EXPECT_EQ(bytesInUse(), charged);
}

TEST_F(QUVENMemoryBlobIOTest, ReportsABlockThatNobodyFreed) {
  const CapturedRun run = capturedRun([&] {
    QUVENMemoryBlobIO forgotten;
    write(forgotten, "x");
  });
  EXPECT_EQ(run.out, "\n*** ERROR destructor called without resetting array\n");
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(bytesInUse(), 0);
}

TEST_F(QUVENMemoryBlobIOTest, FreesItsBlockSilentlyUnderAnException) {
  const CapturedRun run = capturedRun([&] {
    QUVENMemoryBlobIO held;
    write(held, "x");
    throw 0;
  });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(bytesInUse(), 0);
}

TEST_F(QUVENMemoryBlobIOTest, StaysAsItWasWhenMemoryRunsOut) {
  write(blob, std::string(200, 'x'));
  const std::int64_t before = bytesInUse();
  const std::string piece(100, 'y');
  const std::function<void()> actions[] = {
      [&] { write(blob, piece); },
      [&] { blob.reserve(100000, QUVEN_ENV); },
      [&] { blob.reserve(std::numeric_limits<std::uint64_t>::max(), QUVEN_ENV); },
      [&] { blob.reserve(std::numeric_limits<std::uint64_t>::max() / 2, QUVEN_ENV); },
  };
  for (const auto& action : actions) {
    for (const bool byBudget : {false, true}) {
      environment.setBytesBudget(byBudget ? before + 10 : 0);
      const CapturedRun run = capturedRun([&] {
        const FailingAllocation failing(byBudget ? 1000 : 0);
        action();
      });
      EXPECT_TRUE(run.threwMemoryException);
      // Without any memory the exception has to do without its text.
      EXPECT_EQ(reportOf(run), byBudget ? "Cannot allocate array memory"
                                        : "Cannot allocate array memory\n*** XRT_SEVERE_OUT_OF_MEMORY ***");
      EXPECT_EQ(bytesInUse(), before);
      EXPECT_EQ(content(), std::string(200, 'x'));
    }
  }
  environment.setBytesBudget(0);
}

// A length that a transport was told may be anything; near the end of 64 bits the number of cells once became 0.
TEST_F(QUVENMemoryBlobIOTest, RefusesAnySizeThatCannotBe) {
  for (const std::uint64_t back : {0, 1, 62, 63, 64, 65}) {
    const CapturedRun run = capturedRun(
        [&] { static_cast<void>(blob.resize(std::numeric_limits<std::uint64_t>::max() - back, QUVEN_ENV)); });
    EXPECT_TRUE(run.threwMemoryException) << back;
    EXPECT_EQ(bytesInUse(), 0);
  }
}
