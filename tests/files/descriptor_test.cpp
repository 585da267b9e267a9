#include "files/descriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <utility>

#include "support/temporary_folder.h"

namespace vesk_files {
namespace {

using ::testing::StartsWith;

std::string failureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "no failure";
}

class DescriptorTest : public ::testing::Test {
 protected:
  std::size_t countFiles() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) count += entry.exists() ? 1 : 0;
    return count;
  }
  unsigned permissionsOf(const std::string& path) const {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 0777;
  }

  TemporaryFolder folder;
};

TEST_F(DescriptorTest, ReadsWhatWasWritten) {
  Descriptor file = Descriptor::openToWrite(folder.path("a"));
  EXPECT_TRUE(file.isOpen());
  EXPECT_EQ(file.getName(), folder.path("a"));
  file.write("some ");
  file.write("");
  file.write("bytes");
  file.sync();
  EXPECT_EQ(file.sizeBytes(), 10U);
  file.close();
  EXPECT_FALSE(file.isOpen());

  const Descriptor again = Descriptor::openToRead(folder.path("a"));
  char bytes[16] = {};
  EXPECT_EQ(again.read(bytes, 4), 4U);
  EXPECT_EQ(std::string(bytes, 4), "some");
  EXPECT_EQ(again.read(bytes, sizeof bytes), 6U);
  EXPECT_EQ(again.read(bytes, sizeof bytes), 0U);
}

TEST_F(DescriptorTest, ReplacesTheContentOfAFile) {
  folder.write("a", "a long text");
  Descriptor::openToWrite(folder.path("a")).write("new");
  EXPECT_EQ(folder.read("a"), "new");
}

TEST_F(DescriptorTest, DoesNotWriteThroughALink) {
  folder.write("target", "old");
  std::filesystem::create_symlink("target", folder.path("link"));
  EXPECT_THAT(failureOf([&] { Descriptor::openToWrite(folder.path("link")); }),
              StartsWith(folder.path("link") + ": cannot open the file for writing: "));
  EXPECT_EQ(folder.read("target"), "old");
}

TEST_F(DescriptorTest, IsClosedAtItsEndAndNotInherited) {
  int number = -1;
  {
    const Descriptor file = Descriptor::openToWrite(folder.path("a"));
    number = file.get();
    EXPECT_NE(::fcntl(number, F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(::fcntl(number, F_GETFD), -1);
}

TEST_F(DescriptorTest, IsMoved) {
  Descriptor first = Descriptor::openToWrite(folder.path("a"));
  const int number = first.get();
  Descriptor second = std::move(first);
  EXPECT_EQ(second.get(), number);
  Descriptor third;
  EXPECT_FALSE(third.isOpen());
  third = std::move(second);
  EXPECT_EQ(third.get(), number);
  EXPECT_EQ(third.getName(), folder.path("a"));
}

TEST_F(DescriptorTest, FailuresNameTheFileAndTheReason) {
  const std::string none = folder.path("none");
  EXPECT_EQ(failureOf([&] { Descriptor::openToRead(none); }),
            none + ": cannot open the file: No such file or directory");
  const std::string deep = folder.path("none/a");
  EXPECT_EQ(failureOf([&] { Descriptor::openToWrite(deep); }),
            deep + ": cannot open the file for writing: No such file or directory");
  folder.write("a", "text");
  const Descriptor reader = Descriptor::openToRead(folder.path("a"));
  EXPECT_EQ(failureOf([&] { reader.write("x"); }), folder.path("a") + ": cannot write: Bad file descriptor");
  const Descriptor directory = Descriptor::openToRead(folder.path());
  char byte = 0;
  EXPECT_EQ(failureOf([&] { static_cast<void>(directory.read(&byte, 1)); }),
            folder.path() + ": cannot read: Is a directory");
  Descriptor closed = Descriptor::openToRead(folder.path("a"));
  ::close(closed.get());
  EXPECT_EQ(failureOf([&] { closed.close(); }), folder.path("a") + ": cannot close: Bad file descriptor");
}

TEST_F(DescriptorTest, ReadsAWholeFileUpToALimit) {
  EXPECT_EQ(readWholeFile(folder.write("empty", "")), "");
  const std::string text(100000, 'x');
  folder.write("a", text);
  EXPECT_EQ(readWholeFile(folder.path("a")), text);
  EXPECT_EQ(readWholeFile(folder.path("a"), 100000), text);
  EXPECT_EQ(failureOf([&] { readWholeFile(folder.path("a"), 99999); }), folder.path("a") + ": more than 99999 bytes");
}

TEST_F(DescriptorTest, ReplacesAFileWhole) {
  const mode_t mask = ::umask(022);
  replaceFile(folder.path("a"), "first", 0640);
  EXPECT_EQ(folder.read("a"), "first");
  EXPECT_EQ(permissionsOf(folder.path("a")), 0640U);
  replaceFile(folder.path("a"), "second");
  EXPECT_EQ(folder.read("a"), "second");
  EXPECT_EQ(permissionsOf(folder.path("a")), 0644U);
  EXPECT_EQ(countFiles(), 1U);
  ::umask(mask);
}

TEST_F(DescriptorTest, ALinkIsReplacedAndNotItsTarget) {
  folder.write("target", "old");
  std::filesystem::create_symlink("target", folder.path("link"));
  replaceFile(folder.path("link"), "new");
  EXPECT_EQ(folder.read("target"), "old");
  EXPECT_EQ(folder.read("link"), "new");
  EXPECT_FALSE(std::filesystem::is_symlink(folder.path("link")));
}

TEST_F(DescriptorTest, AReplacementThatFailsLeavesTheOldContent) {
  folder.write("a", "old");
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit limit{1000, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  const std::string failure = failureOf([&] { replaceFile(folder.path("a"), std::string(2000, 'x')); });
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(failure, ::testing::EndsWith(": cannot write: File too large"));
  EXPECT_EQ(folder.read("a"), "old");
  EXPECT_EQ(countFiles(), 1U);

  std::filesystem::create_directory(folder.path("d"));
  EXPECT_EQ(failureOf([&] { replaceFile(folder.path("d"), "x"); }),
            folder.path("d") + ": cannot replace: Is a directory");
  EXPECT_EQ(countFiles(), 2U);
}

TEST_F(DescriptorTest, SyncsAFolderAndNothingElse) {
  syncFolder(folder.path());
  folder.write("a", "");
  EXPECT_EQ(failureOf([&] { syncFolder(folder.path("a")); }),
            folder.path("a") + ": cannot open the folder: Not a directory");
}

}  // namespace
}  // namespace vesk_files
