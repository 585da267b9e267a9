#include "record_output.h"

#include <stdexcept>

#include "generate_fixture.h"

namespace vesk_generate {
namespace {

using testing::contentOf;
using testing::generateText;
using ::testing::HasSubstr;
using testing::TemporaryFolder;
using ::testing::ThrowsMessage;

GeneratorSettings someSettings() {
  GeneratorSettings settings;
  settings.records = 50000;  // more than two blocks of 1 MiB
  settings.badShares.fill(0.01);
  return settings;
}

TEST(RecordOutput, OneFileHoldsAllRecords) {
  const TemporaryFolder folder;
  RecordGenerator generator(someSettings());
  const std::uint64_t bytes = writeRecordFiles(generator, recordFileNames(folder.path("calls"), 1));
  const std::string content = contentOf(folder.path("calls"));
  EXPECT_EQ(content.size(), bytes);
  EXPECT_EQ(content, generateText(someSettings()));
}

TEST(RecordOutput, FilesShareOutTheRecordsInOrder) {
  const TemporaryFolder folder;
  GeneratorSettings settings = someSettings();
  settings.records = 10;
  RecordGenerator generator(settings);
  const auto names = recordFileNames(folder.path("calls"), 4);
  EXPECT_EQ(writeRecordFiles(generator, names), generateText(settings).size());
  std::string together;
  std::vector<std::size_t> lines;
  for (const std::string& name : names) {
    const std::string content = contentOf(name);
    lines.push_back(static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n')));
    together += content;
  }
  EXPECT_EQ(lines, (std::vector<std::size_t>{3, 3, 2, 2}));
  EXPECT_EQ(together, generateText(settings));
}

TEST(RecordOutput, MoreFilesThanRecordsLeavesTheLastOnesEmpty) {
  const TemporaryFolder folder;
  GeneratorSettings settings = someSettings();
  settings.records = 1;
  RecordGenerator generator(settings);
  (void)writeRecordFiles(generator, recordFileNames(folder.path("calls"), 3));
  EXPECT_NE(contentOf(folder.path("calls.1")), "");
  EXPECT_EQ(contentOf(folder.path("calls.3")), "");
}

TEST(RecordOutput, NamesSortAsTheyCount) {
  const auto names = recordFileNames("a/b", 12);
  ASSERT_EQ(names.size(), 12U);
  EXPECT_EQ(names[0], "a/b.01");
  EXPECT_EQ(names[11], "a/b.12");
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(recordFileNames("a/b", 1), std::vector<std::string>{"a/b"});
}

TEST(RecordOutput, ADirectoryGetsFilesCalledCalls) {
  const TemporaryFolder folder;
  EXPECT_EQ(recordFileNames(folder.path(""), 1), std::vector<std::string>{folder.path("calls")});
  EXPECT_EQ(recordFileNames(folder.path(""), 2)[1], folder.path("calls.2"));
}

TEST(RecordOutput, AFullDiskIsAnErrorThatNamesTheFile) {
  RecordGenerator generator(someSettings());
  EXPECT_THAT([&] { (void)writeRecordFiles(generator, {"/dev/full"}); },
              ThrowsMessage<std::runtime_error>("cannot write /dev/full: No space left on device"));
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST(RecordOutput, AMissingDirectoryIsAnErrorThatNamesTheFile) {
  const TemporaryFolder folder;
  const std::string path = folder.path("none/calls");
  EXPECT_THAT([&] { RecordOutput{path}; },
              ThrowsMessage<std::runtime_error>("cannot open " + path + ": No such file or directory"));
}

TEST(RecordOutput, AFailureLeavesNoFileOfTheRun) {
  const TemporaryFolder folder;
  RecordGenerator generator(someSettings());
  EXPECT_THAT(
      [&] {
        (void)writeRecordFiles(generator, {folder.path("calls.1"), "/dev/full", folder.path("calls.3")});
      },
      ThrowsMessage<std::runtime_error>(HasSubstr("/dev/full")));
  EXPECT_TRUE(folder.isEmpty());
}

TEST(RecordOutput, AFileThatWasNotClosedIsRemoved) {
  const TemporaryFolder folder;
  {
    RecordOutput output(folder.path("cut"));
    output.write(std::string("half"));
    EXPECT_TRUE(std::filesystem::exists(folder.path("cut")));
  }
  EXPECT_TRUE(folder.isEmpty());
}

// A link such as /dev/stdout leads to a regular file when the output is redirected; the link is not ours.
TEST(RecordOutput, ALinkStaysWhenTheWritingFails) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink(folder.path("target"), folder.path("link"));
  { RecordOutput output(folder.path("link")); }
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link")));
  EXPECT_TRUE(std::filesystem::exists(folder.path("target")));
}

}  // namespace
}  // namespace vesk_generate
