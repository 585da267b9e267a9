#include "results_json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "run_timings.h"

namespace vesk_analyze {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes the digits at the beginning of a text and returns how many there are.
std::size_t takeDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && isDigit(text[count])) ++count;
  text.remove_prefix(count);
  return count;
}

bool take(std::string_view& text, std::string_view characters) {
  if (text.empty() || characters.find(text.front()) == std::string_view::npos) return false;
  text.remove_prefix(1);
  return true;
}

/// Whether the text is a number of the grammar of JSON. Source: RFC 8259, section 6.
bool isJsonNumber(std::string_view text) {
  take(text, "-");
  const bool startsWithZero = text.starts_with('0');
  const std::size_t numWhole = takeDigits(text);
  if (numWhole == 0 || (startsWithZero && numWhole > 1)) return false;
  if (take(text, ".") && takeDigits(text) == 0) return false;
  if (take(text, "eE")) {
    take(text, "+-");
    if (takeDigits(text) == 0) return false;
  }
  return text.empty();
}

std::optional<double> finiteNumber(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || stop != text.data() + text.size() || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::string shortestNumber(double number) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string numberOrText(const std::string& value) {
  const std::optional<double> number = finiteNumber(value);
  if (!number) return jsonText(value);
  return isJsonNumber(value) ? value : shortestNumber(*number);
}

/// The number of children from `first` on whose names are `name` with 1, 2, 3, ... after it.
long lengthOfSeries(const QUVENXMLTag& tag, long first, std::string_view name) {
  const auto& children = tag.getChildren();
  long length = 0;
  while (first + length <= children.getSize() &&
         children[first + length].getName() == std::string(name) + std::to_string(length + 1)) {
    ++length;
  }
  return length;
}

bool isVector(const QUVENXMLTag& tag) {
  const long size = tag.getChildren().getSize();
  return size > 0 && lengthOfSeries(tag, 1, "v") == size;
}

class ResultsWriter {
 public:
  explicit ResultsWriter(const IsTextLeaf& isTextLeaf) : isText(isTextLeaf) {}

  std::string valueOf(const QUVENXMLTag& tag, const std::string& path, int level) const {
    if (tag.isLeaf()) return isText(path) ? jsonText(tag.getValue()) : numberOrText(tag.getValue());
    if (isVector(tag)) return arrayOf(tag, 1, tag.getChildren().getSize(), path, level);
    return objectOf(tag, path, level);
  }

 private:
  static std::string lineStart(int level) {
    std::string start(1 + 2 * static_cast<std::size_t>(level), ' ');
    start.front() = '\n';
    return start;
  }

  std::string objectOf(const QUVENXMLTag& tag, const std::string& path, int level) const {
    const auto& children = tag.getChildren();
    std::string members;
    for (long i = 1; i <= children.getSize();) {
      std::string name = children[i].getName();
      const long length = name.ends_with("-1") ? lengthOfSeries(tag, i, name.substr(0, name.size() - 1)) : 0;
      if (length > 0) name.resize(name.size() - 2);
      const std::string childPath = path.empty() ? name : path + "/" + name;
      members += members.empty() ? "" : ",";
      members += lineStart(level + 1) + jsonText(name) + ": ";
      members +=
          length > 0 ? arrayOf(tag, i, length, childPath, level + 1) : valueOf(children[i], childPath, level + 1);
      i += length > 0 ? length : 1;
    }
    return members.empty() ? "{}" : "{" + members + lineStart(level) + "}";
  }

  std::string arrayOf(const QUVENXMLTag& tag, long first, long length, const std::string& path, int level) const {
    std::string elements;
    for (long i = first; i < first + length; ++i) {
      elements += elements.empty() ? "" : ",";
      elements += lineStart(level + 1) + valueOf(tag.getChildren()[i], path, level + 1);
    }
    return "[" + elements + lineStart(level) + "]";
  }

  const IsTextLeaf& isText;
};

}  // namespace

std::string resultsJson(const QUVENXMLTag& results, const IsTextLeaf& isText) {
  return ResultsWriter(isText).valueOf(results, "", 0) + "\n";
}

}  // namespace vesk_analyze
