#include "control/quven_result_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "support/temporary_folder.h"

namespace {

/// Where the bytes of a result named "out" are until it is complete.
std::string partialName() { return "out.partial" + std::to_string(::getpid()); }

TEST(QUVENResultFile, AppearsWhenItIsComplete) {
  const TemporaryFolder folder;
  {
    QUVENResultFile file(folder.path("out"));
    ASSERT_TRUE(file.isOpen());
    file.getStream() << "rows\n";
    EXPECT_FALSE(folder.has("out"));
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(folder.read("out"), "rows\n");
  }
  EXPECT_EQ(folder.read("out"), "rows\n");
  EXPECT_FALSE(folder.has(partialName()));
}

TEST(QUVENResultFile, WithoutCommitTheOldResultStays) {
  const TemporaryFolder folder;
  folder.write("out", "old");
  {
    QUVENResultFile file(folder.path("out"));
    file.getStream() << "new" << std::flush;
    EXPECT_TRUE(folder.has(partialName()));
  }
  EXPECT_EQ(folder.read("out"), "old");
  EXPECT_FALSE(folder.has(partialName()));
}

TEST(QUVENResultFile, TakesThePlaceOfAnOldResult) {
  const TemporaryFolder folder;
  folder.write("out", "a longer old result");
  QUVENResultFile file(folder.path("out"));
  file.getStream() << "new";
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(folder.read("out"), "new");
}

TEST(QUVENResultFile, WhenItIsClosedTheOldResultStaysUntilCommit) {
  const TemporaryFolder folder;
  folder.write("out", "old");
  QUVENResultFile file(folder.path("out"));
  file.getStream() << "new";
  EXPECT_TRUE(file.close());
  EXPECT_TRUE(file.close());
  EXPECT_EQ(folder.read("out"), "old");
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(folder.read("out"), "new");
}

TEST(QUVENResultFile, WithoutAFolderItIsNotOpen) {
  const TemporaryFolder folder;
  QUVENResultFile file(folder.path("missing/out"));
  EXPECT_FALSE(file.isOpen());
  EXPECT_FALSE(file.commit());
  EXPECT_TRUE(folder.isEmpty());
}

TEST(QUVENResultFile, AStreamThatFailedIsNotCommitted) {
  const TemporaryFolder folder;
  {
    QUVENResultFile file(folder.path("out"));
    file.getStream() << "some";
    file.getStream().setstate(std::ios::badbit);
    EXPECT_FALSE(file.commit());
  }
  EXPECT_TRUE(folder.isEmpty());
}

TEST(QUVENResultFile, ADirectoryInItsPlaceIsNoResult) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path("out"));
  {
    QUVENResultFile file(folder.path("out"));
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.commit());
  }
  EXPECT_TRUE(std::filesystem::is_directory(folder.path("out")));
}

TEST(QUVENResultFile, ADirectoryThatComesMeanwhileIsNotReplaced) {
  const TemporaryFolder folder;
  {
    QUVENResultFile file(folder.path("out"));
    file.getStream() << "some";
    std::filesystem::create_directory(folder.path("out"));
    EXPECT_FALSE(file.commit());
  }
  EXPECT_FALSE(folder.has(partialName()));
}

TEST(QUVENResultFile, ADeviceIsWrittenAsItIs) {
  QUVENResultFile file("/dev/null");
  ASSERT_TRUE(file.isOpen());
  file.getStream() << "some";
  EXPECT_TRUE(file.commit());
  EXPECT_FALSE(std::filesystem::exists("/dev/null.partial" + std::to_string(::getpid())));
}

/// The link of a process to its standard output names no path when that is a pipe; it was followed to that name.
TEST(QUVENResultFile, APipeBehindALinkIsWrittenAsItIs) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const std::string link = "/proc/self/fd/" + std::to_string(ends[1]);
  if (!std::filesystem::exists(link)) GTEST_SKIP() << "no such link";
  QUVENResultFile file(link);
  EXPECT_TRUE(file.isOpen());
  file.getStream() << "rows\n";
  EXPECT_TRUE(file.commit());
  ::close(ends[1]);
  std::array<char, 16> bytes{};
  EXPECT_EQ(::read(ends[0], bytes.data(), bytes.size()), 5);
  EXPECT_STREQ(bytes.data(), "rows\n");
  ::close(ends[0]);
}

TEST(QUVENResultFile, AFullDeviceIsNoticed) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no such device";
  QUVENResultFile file("/dev/full");
  ASSERT_TRUE(file.isOpen());
  file.getStream() << "some";
  EXPECT_FALSE(file.commit());
}

}  // namespace
