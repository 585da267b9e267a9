#ifndef TESTS_VESK_TABLE_CASE_H
#define TESTS_VESK_TABLE_CASE_H

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/binary_numbers.h"
#include "support/temporary_folder.h"
#include "vesk.h"

namespace vesk {

/// Runs commands of the program in a folder. The texts that it returns name the files without the folder.
class TableCase : public ::testing::Test {
 protected:
  using Strings = std::vector<std::string>;
  using Numbers = std::vector<double>;

  int run(const Strings& arguments) {
    std::vector<const char*> argv = {"vesk"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    std::ostringstream out;
    std::ostringstream err;
    const int status = runVesk(static_cast<int>(argv.size()), argv.data(), out, err);
    outText = withoutFolder(out.str());
    errText = withoutFolder(err.str());
    return status;
  }

  std::string withoutFolder(std::string text) const {
    const std::string prefix = folder.path() + "/";
    for (std::size_t at = text.find(prefix); at != std::string::npos; at = text.find(prefix)) {
      text.erase(at, prefix.size());
    }
    return text;
  }
  void writeNumbers(const std::string& name, const Numbers& numbers) const {
    folder.write(name, bytesOfNumbers(numbers));
  }
  Numbers numbers(const std::string& name) const { return numbersOfBytes(folder.read(name)); }

  /// The names of the files, sorted.
  Strings files() const {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
  }
  /// Checks that there is neither an output nor a temporary file.
  void expectNoOutput() const {
    EXPECT_EQ(outText, "");
    for (const std::string& name : files()) EXPECT_FALSE(name.starts_with("out")) << name;
  }

  TemporaryFolder folder;
  std::string outText;
  std::string errText;
};

}  // namespace vesk

#endif  // TESTS_VESK_TABLE_CASE_H
