#include "check/special_list_check.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "check/tag_values.h"
#include "files/printable.h"

namespace vesk {

namespace {

// The loader's own rule: decimal notation only.
bool parseNumber(const std::string& word, double& number) {
  if (word.find_first_not_of("0123456789+-.eE") != std::string::npos) return false;
  char* end = nullptr;
  number = std::strtod(word.c_str(), &end);
  return end == word.c_str() + word.size() && std::isfinite(number);
}

/// The line, from 1, of a word of the file, counted from 0.
std::size_t lineOfWord(const std::string& path, std::size_t wanted) {
  std::ifstream file(path);
  std::size_t number = 0;
  std::size_t words = 0;
  for (std::string line; words <= wanted && std::getline(file, line); ++number) {
    std::istringstream text(line);
    for (std::string word; text >> word;) ++words;
  }
  return number;
}

}  // namespace

std::string readSpecialList(const std::string& path, vesk_loader::SpecialList& list) {
  list.clear();
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) return path + " does not exist";
  // A device or a pipe may have no end.
  if (!std::filesystem::is_regular_file(status)) return path + " is no regular file";
  errno = 0;
  std::ifstream file(path);
  if (!file) return path + " cannot be opened: " + std::strerror(errno);
  std::vector<double> numbers;
  for (std::string word; file >> word;) {
    double number = 0.0;
    if (!parseNumber(word, number)) {
      return path + ":" + std::to_string(lineOfWord(path, numbers.size())) + ": " +
             inBrackets(vesk_files::printable(word)) + " is no decimal number";
    }
    numbers.push_back(number);
  }
  if (file.bad()) return path + " cannot be read";
  list.assign(std::move(numbers));
  return "";
}

}  // namespace vesk
