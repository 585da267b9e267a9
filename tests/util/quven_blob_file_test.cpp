#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "stream_language.h"
#include "support/temporary_folder.h"
#include "util/quven_blob_io.h"

namespace {

constexpr std::size_t buffer = 1 << 18;  // bytes that a file stream holds back

class QUVENFileBlobIOTest : public ObjectStreamTest {
 protected:
  static constexpr auto Read = QUVENFileBlobIO::Mode::Read;
  static constexpr auto Write = QUVENFileBlobIO::Mode::Write;

  static std::string noise(std::size_t count) {
    std::mt19937_64 random(count);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
  }
  void write(QUVENBlobIO& blob, std::string_view bytes) { blob.write(bytes.data(), bytes.size(), QUVEN_ENV); }
  std::string read(QUVENBlobIO& blob, std::size_t count) {
    std::string bytes(count, '?');
    bytes.resize(blob.read(bytes.data(), count, QUVEN_ENV));
    return bytes;
  }

  TemporaryFolder folder;
};

}  // namespace

TEST_F(QUVENFileBlobIOTest, KeepsBytesInPiecesOfAnySize) {
  for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, buffer - 1, buffer, buffer + 1, 3 * buffer + 7}) {
    const std::string bytes = noise(piece == 1 ? buffer + 100 : 4 * piece);
    QUVENFileBlobIO out(folder.path("file"), Write);
    for (std::size_t at = 0; at < bytes.size(); at += piece) write(out, std::string_view(bytes).substr(at, piece));
    EXPECT_EQ(out.getStatus(), QUVENBlobIO::Good);
    EXPECT_TRUE(out.close());
    EXPECT_TRUE(folder.read("file") == bytes) << piece;

    QUVENFileBlobIO in(folder.path("file"), Read);
    std::string taken;
    while (taken.size() < bytes.size()) {
      EXPECT_EQ(in.getRemaining(), bytes.size() - taken.size());
      const std::string next = read(in, std::min(piece, bytes.size() - taken.size()));
      ASSERT_FALSE(next.empty());
      taken += next;
    }
    EXPECT_TRUE(taken == bytes) << piece;
    EXPECT_EQ(in.getStatus(), QUVENBlobIO::Good);
    EXPECT_EQ(read(in, 1), "");
    EXPECT_EQ(in.getStatus(), QUVENBlobIO::EndOfInput);
    EXPECT_TRUE(in.close());
  }
}

TEST_F(QUVENFileBlobIOTest, MixesBigAndSmallPieces) {
  const std::string bytes = noise(3 * buffer + 2000);
  const std::size_t pieces[] = {10, buffer - 10, 1, buffer + 500, 7, buffer, 1492};
  QUVENFileBlobIO out(folder.path("file"), Write);
  std::size_t at = 0;
  for (const std::size_t piece : pieces) {
    write(out, std::string_view(bytes).substr(at, piece));
    at += piece;
  }
  EXPECT_EQ(at, bytes.size());
  EXPECT_TRUE(out.close());
  EXPECT_TRUE(folder.read("file") == bytes);
  QUVENFileBlobIO in(folder.path("file"), Read);
  std::string taken;
  for (const std::size_t piece : pieces) taken += read(in, piece);
  EXPECT_TRUE(taken == bytes);
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::Good);
}

TEST_F(QUVENFileBlobIOTest, AReadBeyondTheEndGivesWhatThereIs) {
  const std::string bytes = noise(1000);
  for (const std::size_t wanted : {std::size_t{1001}, buffer, 2 * buffer}) {
    QUVENFileBlobIO in(folder.write("file", bytes), Read);
    EXPECT_TRUE(read(in, wanted) == bytes);
    EXPECT_EQ(in.getStatus(), QUVENBlobIO::EndOfInput);
    EXPECT_EQ(in.getRemaining(), 0U);
    EXPECT_EQ(in.getErrorText(), "");
  }
}

TEST_F(QUVENFileBlobIOTest, AnEmptyFileEndsAtOnce) {
  QUVENFileBlobIO in(folder.write("file", ""), Read);
  EXPECT_EQ(in.getRemaining(), 0U);
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::Good);
  EXPECT_EQ(read(in, 1), "");
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::EndOfInput);
  QUVENFileBlobIO out(folder.path("other"), Write);
  EXPECT_TRUE(out.close());
  EXPECT_EQ(folder.read("other"), "");
}

TEST_F(QUVENFileBlobIOTest, WritingReplacesWhatWasThere) {
  folder.write("file", "a long text of before");
  QUVENFileBlobIO out(folder.path("file"), Write);
  write(out, "new");
  EXPECT_TRUE(out.close());
  EXPECT_EQ(folder.read("file"), "new");
}

TEST_F(QUVENFileBlobIOTest, AFileThatCannotBeOpenedHasFailed) {
  const std::pair<std::string, const char*> rows[] = {
      {folder.path("missing"), "No such file or directory"},
      {folder.path("missing/folder/file"), "No such file or directory"},
  };
  for (const auto& [path, text] : rows) {
    QUVENFileBlobIO in(path, Read);
    EXPECT_EQ(in.getStatus(), QUVENBlobIO::Failed);
    EXPECT_EQ(in.getErrorText(), text);
    EXPECT_EQ(read(in, 5), "");
    EXPECT_EQ(in.getStatus(), QUVENBlobIO::Failed);
    EXPECT_EQ(in.getErrorText(), text);  // the first failure counts
    EXPECT_FALSE(in.close());
  }
  QUVENFileBlobIO out(folder.path(), Write);
  EXPECT_EQ(out.getErrorText(), "Is a directory");
  write(out, "x");
  EXPECT_EQ(out.getStatus(), QUVENBlobIO::Failed);
  EXPECT_FALSE(out.close());
  EXPECT_FALSE(out.close());
}

TEST_F(QUVENFileBlobIOTest, ADirectoryFailsAtTheFirstRead) {
  QUVENFileBlobIO in(folder.path(), Read);
  EXPECT_EQ(read(in, 1), "");
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::Failed);
  EXPECT_EQ(in.getErrorText(), "Is a directory");
  EXPECT_FALSE(in.close());
}

TEST_F(QUVENFileBlobIOTest, AnUnreadableFileHasFailed) {
  const std::string path = folder.write("file", "text");
  ASSERT_EQ(::chmod(path.c_str(), 0), 0);
  if (::access(path.c_str(), R_OK) == 0) GTEST_SKIP() << "this user may read every file";
  const QUVENFileBlobIO in(path, Read);
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::Failed);
  EXPECT_EQ(in.getErrorText(), "Permission denied");
}

TEST_F(QUVENFileBlobIOTest, AFullDiskIsKnownAfterCloseAtTheLatest) {
  QUVENFileBlobIO small("/dev/full", Write);
  write(small, "x");
  EXPECT_EQ(small.getStatus(), QUVENBlobIO::Good);  // it is in the buffer
  EXPECT_FALSE(small.close());
  EXPECT_EQ(small.getErrorText(), "No space left on device");
  EXPECT_FALSE(small.close());
  QUVENFileBlobIO big("/dev/full", Write);
  write(big, std::string(buffer + 1, 'x'));
  EXPECT_EQ(big.getStatus(), QUVENBlobIO::Failed);
  write(big, "y");
  write(big, std::string(buffer, 'x'));
  EXPECT_EQ(big.getStatus(), QUVENBlobIO::Failed);
  EXPECT_FALSE(big.close());
}

TEST_F(QUVENFileBlobIOTest, AFullDiskEndsAWriterInItsReport) {
  QUVENFileBlobIO out("/dev/full", Write);
  QUVENBinObjWriter writer(out, QUVENObjWriter::Save);
  const CapturedRun run = capturedRun([&] {
    for (std::size_t i = 0; i <= buffer; ++i) writer.writeSignedVarint(0, QUVEN_ENV);
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), "BLOB I/O Write Error");
  EXPECT_FALSE(writer.isOk());
}

TEST_F(QUVENFileBlobIOTest, OnlyOneWayIsOpen) {
  QUVENFileBlobIO out(folder.path("file"), Write);
  write(out, "abc");
  EXPECT_EQ(read(out, 1), "");
  EXPECT_EQ(out.getStatus(), QUVENBlobIO::Failed);
  EXPECT_EQ(out.getErrorText(), "Bad file descriptor");
  EXPECT_FALSE(out.close());

  QUVENFileBlobIO in(folder.write("other", "abc"), Read);
  write(in, "x");
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::Failed);
  EXPECT_EQ(folder.read("other"), "abc");
}

TEST_F(QUVENFileBlobIOTest, IsClosedOnce) {
  QUVENFileBlobIO out(folder.path("file"), Write);
  write(out, "abc");
  EXPECT_TRUE(out.close());
  EXPECT_TRUE(out.close());
  write(out, "def");
  EXPECT_EQ(out.getStatus(), QUVENBlobIO::Failed);
  EXPECT_FALSE(out.close());
  EXPECT_EQ(folder.read("file"), "abc");
}

// What stood in the buffer was once still given out.
TEST_F(QUVENFileBlobIOTest, GivesNothingAfterItWasClosed) {
  QUVENFileBlobIO in(folder.write("file", "abcdef"), Read);
  EXPECT_EQ(read(in, 2), "ab");
  EXPECT_TRUE(in.close());
  EXPECT_EQ(read(in, 2), "");
  EXPECT_EQ(in.getStatus(), QUVENBlobIO::Failed);
}

TEST_F(QUVENFileBlobIOTest, LosesWhatItsBufferHoldsWithoutClose) {
  {
    QUVENFileBlobIO out(folder.path("file"), Write);
    write(out, "abc");
  }
  EXPECT_EQ(folder.read("file"), "");
}

TEST_F(QUVENFileBlobIOTest, ReadsAPipeWhoseLengthNobodyKnows) {
  const std::string path = folder.path("pipe");
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  QUVENTestLeaf leaf;
  leaf.ivText = noise(100000);
  const std::string bytes = imageOf(&leaf);
  std::thread sender([&] {
    std::ofstream pipe(path, std::ios::binary);
    for (std::size_t at = 0; at < bytes.size(); at += 777) pipe << bytes.substr(at, 777) << std::flush;
  });
  {
    QUVENFileBlobIO in(path, Read);
    EXPECT_EQ(in.getRemaining(), QUVENBlobIO::UnknownRemaining);
    QUVENBinObjReader reader(in, QUVEN_ENV);
    QUVENTestLeaf read;
    quvenReadObject(reader, read, QUVEN_ENV);
    EXPECT_TRUE(read.ivText == leaf.ivText);
    reader.takeKeyword();
    EXPECT_FALSE(reader.keywordMatches(QUVEN_KWD(EndObject), QUVEN_ENV));
    EXPECT_TRUE(reader.isAtEnd());
    sender.join();
  }
}

TEST_F(QUVENFileBlobIOTest, CarriesObjectsOfAllSizes) {
  QUVENFileBlobIO out(folder.path("file"), Write);
  QUVENBinObjWriter writer(out, QUVENObjWriter::Save);
  QUVENTestNode node;
  for (int i = 1; i <= 100000; ++i) node.ivLongs.append(i * 12345678901L, QUVEN_ENV);
  for (int i = 1; i <= 70000; ++i) node.ivInts.append(-i, QUVEN_ENV);
  for (int i = 1; i <= 50000; ++i) node.ivDoubles.append(1.0 / i, QUVEN_ENV);
  quvenWriteObject(writer, node, QUVEN_ENV);
  quvenWriteObject(writer, node, QUVEN_ENV);
  EXPECT_TRUE(out.close());
  const std::string image = imageOf(&node);
  EXPECT_TRUE(folder.read("file") == image + image);
  QUVENFileBlobIO in(folder.path("file"), Read);
  QUVENBinObjReader reader(in, QUVEN_ENV);
  for (int i = 1; i <= 2; ++i) {
    QUVENTestNode read;
    quvenReadObject(reader, read, QUVEN_ENV);
    reader.takeKeyword();
    EXPECT_TRUE(imageOf(&read) == image);
    read.destroyPrimitive(QUVEN_ENV);
  }
  EXPECT_EQ(in.getRemaining(), 0U);
  node.destroyPrimitive(QUVEN_ENV);
}
