#include "special_list.h"

#include <limits>

#include "input_file_reader.h"
#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

class SpecialListTest : public LoaderTest {
 protected:
  CapturedRun readList(const std::string& text) {
    const std::string path = folder.write("list", text);
    return capturedRun([&] { opened = read_special_list(path, list); });
  }
  SpecialList list;
  bool opened = false;
};

TEST_F(SpecialListTest, ReadsNumbersInFreeFormOnceEach) {
  EXPECT_EQ(readList("3 1\n\t2.5 1e2\n 3\r\n-4").out, "");
  EXPECT_TRUE(opened);
  EXPECT_EQ(list.size(), 5U);
  for (const double number : {3.0, 1.0, 2.5, 100.0, -4.0}) EXPECT_TRUE(list.contains(number)) << number;
  EXPECT_FALSE(list.contains(2.0));
  EXPECT_FALSE(list.contains(std::numeric_limits<double>::quiet_NaN()));
}

TEST_F(SpecialListTest, IsEmptyForAnEmptyFileAndIsClearedFirst) {
  list.assign({1.0, 2.0});
  readList("");
  EXPECT_TRUE(opened);
  EXPECT_EQ(list.size(), 0U);
}

TEST_F(SpecialListTest, CannotBeReadFromAFileThatIsNotThere) {
  EXPECT_FALSE(read_special_list(folder.path("nothing"), list));
}

TEST_F(SpecialListTest, RefusesAWordThatIsNoNumber) {
  for (const char* word : {"x", "1x", "0x10", "1,2", "nan", "inf", "1e", "1e999", "--1"}) {
    const CapturedRun run = readList(std::string("12 ") + word + " 13");
    EXPECT_TRUE(run.threwLibraryException) << word;
    EXPECT_EQ(run.out,
              errorLine(1170, "Special list file " + folder.path("list") + " holds a word that is no number: " + word));
  }
}

TEST_F(SpecialListTest, RefusesADirectory) {
  const CapturedRun run = capturedRun([&] { opened = read_special_list(folder.path(), list); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out, errorLine(1170, "Special list file " + folder.path() + " cannot be read"));
}

}  // namespace
}  // namespace vesk_loader::testing
