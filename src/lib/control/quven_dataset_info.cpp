#include "control/quven_dataset_info.h"

#include <algorithm>
#include <array>
#include <span>
#include <sstream>
#include <string_view>
#include <utility>

#include "util/quven_debug.h"

namespace dataset_info {

namespace {

using Word = std::pair<std::string_view, std::int32_t>;
constexpr std::array<Word, 2> typeWords = {{{"Numeric", Numeric}, {"Categorical", Categorical}}};
constexpr std::array<Word, 3> purposeWords = {
    {{"Explanatory", Explanatory}, {"Target", Target}, {"LineNumber", LineNumber}}};

std::int32_t codeOf(const std::string& word, std::span<const Word> words, std::string_view complaint,
                    const QUVENEnvHandle& env) {
  for (const auto& [text, code] : words) {
    if (word == text) return code;
  }
  quvenFatalReport(complaint, QUVEN_ENV);
}

}  // namespace

void write(std::ostream& out, const std::vector<Column>& columns) {
  const auto wordOf = [](std::int32_t code, std::span<const Word> words) {
    return std::ranges::find(words, code, &Word::second)->first;
  };
  for (const Column& column : columns) {
    out << column.name << ' ' << wordOf(column.type, typeWords) << ' ' << wordOf(column.purpose, purposeWords) << '\n';
  }
}

bool read(std::istream& text, std::vector<Column>& columns, const QUVENEnvHandle& env) {
  std::vector<Column> found;
  for (std::string line; std::getline(text, line);) {
    if (line.size() > MaxLineLength) {
      quvenFatalReport("A line of the input info file is longer than 1000 characters", QUVEN_ENV);
    }
    std::istringstream words(line);
    std::string name;
    std::string type;
    std::string purpose;
    std::string surplus;
    if (!(words >> name)) continue;
    words >> type >> purpose >> surplus;
    if (!surplus.empty()) quvenFatalReport("A line of the input info file has more than three words", QUVEN_ENV);
    const std::int32_t typeCode = codeOf(type, typeWords, "Unknown attribute type \n", QUVEN_ENV);
    const std::int32_t purposeCode = codeOf(purpose, purposeWords, "Unknown attribute purpose \n", QUVEN_ENV);
    found.push_back({std::move(name), typeCode, purposeCode});
  }
  if (text.bad()) return false;
  columns = std::move(found);
  return true;
}

}  // namespace dataset_info
