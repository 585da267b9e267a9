// The worked examples of the README and of the pages of the loader and of vesk convert print what the pages say.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace {

struct Block {
  std::string language;
  std::string text;
};

std::vector<Block> blocksOf(const std::string& name) {
  std::ifstream page(std::string(VESK_SOURCE_DIR) + "/" + name);
  std::vector<Block> blocks;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.rfind("```", 0) == 0) {
      inside = !inside;
      if (inside) blocks.push_back({line.substr(3), ""});
    } else if (inside) {
      blocks.back().text += line + "\n";
    }
  }
  return blocks;
}

/// Runs the first block of a page in an empty folder and compares what it prints with the second, which is shortened:
/// its pieces between the "..." lines come in this order. Gives what is printed after them.
std::string runExample(const std::vector<Block>& blocks) {
  const TemporaryFolder folder;
  folder.write("example.sh", blocks[0].text);
  const std::string command =
      "cd " + folder.path() + " && PATH=" + VESK_BIN_DIR + ":$PATH sh -e example.sh > printed 2> complaints";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(folder.read("complaints"), "");
  const std::string printed = folder.read("printed");
  std::istringstream shown(blocks[1].text);
  std::size_t position = 0;
  for (std::string line; std::getline(shown, line);) {
    if (line == "...") continue;
    const std::size_t found = printed.find(line + "\n", position);
    if (found == std::string::npos) {
      ADD_FAILURE() << line << " is not printed:\n" << printed;
      return "";
    }
    position = found + line.size() + 1;
  }
  return printed.substr(position);
}

TEST(Readme, ExamplePrintsWhatItSays) {
  const std::vector<Block> blocks = blocksOf("README.md");
  ASSERT_GE(blocks.size(), 2U);
  EXPECT_EQ(runExample(blocks), "");
}

TEST(ConvertPage, ExamplePrintsWhatItSays) {
  const std::vector<Block> blocks = blocksOf("docs/convert.md");
  ASSERT_GE(blocks.size(), 2U);
  EXPECT_NE(runExample(blocks), "");
}

TEST(LoaderPage, ExamplePrintsWhatItSays) {
  const std::vector<Block> blocks = blocksOf("docs/loader.md");
  ASSERT_GE(blocks.size(), 3U);
  // What vesk-inspect prints is shown whole.
  EXPECT_EQ(runExample(blocks), blocks[2].text);
}

}  // namespace
