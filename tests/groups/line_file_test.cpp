#include "groups/line_file.h"

#include "groups/groups_fixture.h"

namespace vesk_groups {
namespace {

using ::testing::ThrowsMessage;

class LineFileTest : public testing::GroupsFilesTest {};

TEST_F(LineFileTest, GivesTheLinesAndTheirNumbers) {
  const std::string longLine(100000, 'x');
  std::string text = "one\n\n";
  text.append(longLine).append("\nlast");
  writeText(text);
  LineFile file(path());
  std::string line = "before";
  EXPECT_EQ(file.lineNumber(), 0U);
  for (const std::string& expected : {std::string("one"), std::string(), longLine}) {
    ASSERT_TRUE(file.next(line));
    EXPECT_EQ(line, expected);
    EXPECT_FALSE(file.endsWithoutLineFeed());
  }
  ASSERT_TRUE(file.next(line));
  EXPECT_EQ(line, "last");
  EXPECT_TRUE(file.endsWithoutLineFeed());
  EXPECT_FALSE(file.next(line));
  EXPECT_FALSE(file.next(line));
  EXPECT_EQ(line, "");
  EXPECT_EQ(file.lineNumber(), 4U);
}

TEST_F(LineFileTest, ALineFeedAtTheEndBeginsNoLine) {
  writeText("one\n");
  LineFile file(path());
  std::string line;
  ASSERT_TRUE(file.next(line));
  EXPECT_FALSE(file.next(line));
  EXPECT_EQ(file.lineNumber(), 1U);
}

TEST_F(LineFileTest, AnErrorNamesFileAndLine) {
  writeText("one\ntwo\n");
  LineFile file(path());
  std::string line;
  ASSERT_TRUE(file.next(line));
  ASSERT_TRUE(file.next(line));
  EXPECT_THAT([&] { file.fail("odd"); }, ThrowsMessage<std::runtime_error>(path() + ", line 2: odd"));
  EXPECT_THAT([&] { file.failAt(1, "odd"); }, ThrowsMessage<std::runtime_error>(path() + ", line 1: odd"));
}

TEST_F(LineFileTest, NamesTheFileThatCannotBeOpenedOrRead) {
  const std::string missing = path("missing");
  EXPECT_THAT([&] { LineFile{missing}; },
              ThrowsMessage<std::runtime_error>("cannot open " + missing + ": No such file or directory"));
  std::filesystem::create_directory(path("folder"));
  EXPECT_THAT(
      [&] {
        LineFile file(path("folder"));
        std::string line;
        (void)file.next(line);
      },
      ThrowsMessage<std::runtime_error>("cannot read " + path("folder") + ": Is a directory"));
}

}  // namespace
}  // namespace vesk_groups
