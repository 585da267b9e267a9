// The worked example of the README prints what the README says.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

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

std::string content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Readme, ExamplePrintsWhatItSays) {
  const std::vector<Block> blocks = readme_blocks();
  ASSERT_GE(blocks.size(), 3U);
  ASSERT_EQ(blocks[0].language, "sh");
  std::string pattern = (fs::temp_directory_path() / "vesk-readme-XXXXXX").string();
  ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
  const fs::path folder = pattern;
  std::ofstream(folder / "example.sh") << blocks[0].text;
  const std::string command =
      "cd " + pattern + " && PATH=" + VESK_BIN_DIR + ":$PATH sh -e example.sh > printed 2> complaints";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(content(folder / "complaints"), "");
  std::string printed = content(folder / "printed");

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
  fs::remove_all(folder);
}

}  // namespace
