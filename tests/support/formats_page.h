#ifndef TESTS_SUPPORT_FORMATS_PAGE_H
#define TESTS_SUPPORT_FORMATS_PAGE_H

// The examples of docs/formats.md, for the tests that compare them with what is written and read.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

/// The fenced blocks of the page by what stands behind the fence.
inline std::map<std::string, std::string> page_blocks() {
  std::ifstream page(std::string(VESK_SOURCE_DIR) + "/docs/formats.md");
  std::map<std::string, std::string> blocks;
  std::string name;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.rfind("```", 0) == 0) {
      inside = !inside;
      if (inside) name = line.substr(3);
    } else if (inside) {
      blocks[name] += line + "\n";
    }
  }
  return blocks;
}

/// Lines of an offset, bytes, and a note behind four blanks. The offsets must be right too.
inline std::string bytes_of(const std::string& dump) {
  std::string bytes;
  std::istringstream lines(dump);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_EQ(std::stoul(line.substr(0, 4), nullptr, 16), bytes.size()) << line;
    std::istringstream numbers(line.substr(4, line.find("    ") - 4));
    for (std::string number; numbers >> number;) bytes += static_cast<char>(std::stoi(number, nullptr, 16));
  }
  return bytes;
}

#endif  // TESTS_SUPPORT_FORMATS_PAGE_H
