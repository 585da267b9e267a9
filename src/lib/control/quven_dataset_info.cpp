#include "control/quven_dataset_info.h"

#include <algorithm>
#include <array>
#include <optional>
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

/// Nothing for a word that is none of them.
std::optional<std::int32_t> codeOf(const std::string& word, std::span<const Word> words) {
  for (const auto& [text, code] : words) {
    if (word == text) return code;
  }
  return std::nullopt;
}

/// The result is empty, or says what is wrong with a line.
std::string takeLines(std::istream& text, std::vector<Column>& found) {
  for (std::string line; std::getline(text, line);) {
    if (line.size() > MaxLineLength) return "A line of the input info file is longer than 1000 characters";
    std::istringstream words(line);
    std::string name;
    std::string type;
    std::string purpose;
    std::string surplus;
    if (!(words >> name)) continue;
    words >> type >> purpose >> surplus;
    if (!surplus.empty()) return "A line of the input info file has more than three words";
    const std::optional<std::int32_t> typeCode = codeOf(type, typeWords);
    if (!typeCode) return "Unknown attribute type \n";
    const std::optional<std::int32_t> purposeCode = codeOf(purpose, purposeWords);
    if (!purposeCode) return "Unknown attribute purpose \n";
    found.push_back({std::move(name), *typeCode, *purposeCode});
  }
  return {};
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
  const std::string mistake = takeLines(text, found);
  if (!mistake.empty()) quvenFatalReport(mistake, QUVEN_ENV);
  if (text.bad()) return false;
  columns = std::move(found);
  return true;
}

std::string readFrom(std::istream& text, std::vector<Column>& columns) {
  std::vector<Column> found;
  std::string mistake = takeLines(text, found);
  if (mistake.empty() && text.bad()) mistake = "cannot be read";
  while (mistake.ends_with('\n') || mistake.ends_with(' ')) mistake.pop_back();
  if (mistake.empty()) columns = std::move(found);
  return mistake;
}

}  // namespace dataset_info
