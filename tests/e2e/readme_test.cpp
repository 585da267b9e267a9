// The worked example of the README prints what the README says.

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

std::vector<Block> readme_blocks() {
  std::ifstream page(std::string(VESK_SOURCE_DIR) + "/README.md");
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

TEST(Readme, ExamplePrintsWhatItSays) {
  const std::vector<Block> blocks = readme_blocks();
  ASSERT_GE(blocks.size(), 3U);
  ASSERT_EQ(blocks[0].language, "sh");
  const TemporaryFolder folder;
  folder.write("example.sh", blocks[0].text);
  const std::string command =
      "cd " + folder.path() + " && PATH=" + VESK_BIN_DIR + ":$PATH sh -e example.sh > printed 2> complaints";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(folder.read("complaints"), "");
  std::string printed = folder.read("printed");

  // The report is shown shortened: its pieces between the "..." lines come in this order.
  std::istringstream shown(blocks[1].text);
  std::size_t position = 0;
  for (std::string line; std::getline(shown, line);) {
    if (line == "...") continue;
    const std::size_t found = printed.find(line + "\n", position);
    ASSERT_NE(found, std::string::npos) << line;
    position = found + line.size() + 1;
  }
  // What vesk-inspect prints is shown whole.
  EXPECT_EQ(printed.substr(position), blocks[2].text);
}

}  // namespace
