// Any bytes as a list of special numbers: accepted if every word is a decimal number, and then read as a stream does.

#include <cctype>
#include <cmath>
#include <set>
#include <sstream>

#include "fuzz_support.h"
#include "input_file_reader.h"

using namespace vesk_loader;

namespace {

/// Sign, digits with at most one point, exponent; finite.
bool isNumber(const std::string& word) {
  std::size_t i = 0;
  const auto sign = [&] {
    if (i < word.size() && (word[i] == '+' || word[i] == '-')) ++i;
  };
  const auto digits = [&] {
    const std::size_t start = i;
    while (i < word.size() && word[i] >= '0' && word[i] <= '9') ++i;
    return i - start;
  };
  sign();
  std::size_t mantissa = digits();
  if (i < word.size() && word[i] == '.') {
    ++i;
    mantissa += digits();
  }
  if (mantissa == 0) return false;
  if (i < word.size() && (word[i] == 'e' || word[i] == 'E')) {
    ++i;
    sign();
    if (digits() == 0) return false;
  }
  return i == word.size() && std::isfinite(std::strtod(word.c_str(), nullptr));
}

bool allNumbers(const std::string& text) {
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (!isNumber(word)) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  const std::string path = folder.write("list", {data, size});
  const std::string text(reinterpret_cast<const char*>(data), size);

  SpecialList list;
  list.assign({12345.0});
  const FuzzRun run = fuzzRun([&] { REQUIRE(read_special_list(path, list)); });
  REQUIRE(run.terminated != allNumbers(text));
  if (run.terminated) return 0;
  REQUIRE(run.out.empty());
  std::istringstream numbers(text);
  std::set<double> literal;
  for (double number = 0.0; numbers >> number;) literal.insert(number);
  REQUIRE(numbers.eof());
  REQUIRE(list.size() == literal.size());
  for (const double number : literal) REQUIRE(list.contains(number));
  return 0;
}
