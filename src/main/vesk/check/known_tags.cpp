#include "check/known_tags.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace vesk {

namespace {

struct LevelTags {
  TagLevel level;
  const char* place;  ///< where its tags stand, for messages
  std::vector<std::string_view> names;
  std::vector<std::string_view> numbered;  ///< stems of names that end with a number
};

const std::array<LevelTags, 5>& levels() {
  static const std::array<LevelTags, 5> all = {{
      {TagLevel::Top,
       "directly below LoaderParams",
       {"CyclicTableSize", "CyclicTableSort", "CyclicTableDistinct", "SpecialList", "Output", "XML", "Key", "DateField",
        "MultiplicityField", "NumberOfPartitions", "DateHorizon"},
       {"Field", "Operation"}},
      {TagLevel::Field, "in Field1, Field2, ...", {"Name", "Type", "Start", "End"}, {}},
      {TagLevel::Operation,
       "in Operation1, Operation2, ...",
       {"OpName", "Input", "Output", "Condition", "Threshold"},
       {}},
      {TagLevel::SpecialList, "in SpecialList", {"File", "OpName"}, {}},
      {TagLevel::Xml, "in XML", {"TagPrefix", "OutputNamespace"}, {}},
  }};
  return all;
}

const LevelTags& tagsOf(TagLevel level) {
  return *std::ranges::find_if(levels(), [level](const LevelTags& tags) { return tags.level == level; });
}

bool contains(const LevelTags& tags, std::string_view name) {
  return std::ranges::find(tags.names, name) != tags.names.end() ||
         std::ranges::any_of(tags.numbered, [name](auto stem) { return numberOf(name, stem).has_value(); });
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Insertions, deletions, changes and swaps of neighbours.
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        rows[i][j] = i + j;
        continue;
      }
      const bool same = lower(a[i - 1]) == lower(b[j - 1]);
      rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1])) {
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
      }
    }
  }
  return rows[a.size()][b.size()];
}

template <class Texts>
std::optional<std::string_view> nearest(std::string_view text, const Texts& known) {
  constexpr std::size_t longest = 64;  // no known text is nearly as long
  if (text.size() > longest) return std::nullopt;
  std::optional<std::string_view> best;
  std::size_t bestDistance = 0;
  for (const std::string_view candidate : known) {
    const std::size_t distance = editDistance(text, candidate);
    const std::size_t limit = std::max<std::size_t>(1, std::min(text.size(), candidate.size()) / 4);
    if (distance > limit || (best && distance >= bestDistance)) continue;
    best = candidate;
    bestDistance = distance;
  }
  return best;
}

// "Field03", "feild3" and "Operatoin2" are names with a number.
std::string nearestNumbered(const LevelTags& tags, std::string_view name) {
  const std::size_t last = name.find_last_not_of("0123456789");
  if (last == std::string_view::npos || last + 1 == name.size()) return "";
  std::string_view digits = name.substr(last + 1);
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  const auto stem = nearest(name.substr(0, last + 1), tags.numbered);
  if (!stem) return "";
  if (digits.empty()) return std::string(*stem) + "1 (the numbers begin at 1)";
  return std::string(*stem).append(digits);
}

}  // namespace

bool isKnownTag(TagLevel level, std::string_view name) { return contains(tagsOf(level), name); }

std::optional<std::uint32_t> numberOf(std::string_view name, std::string_view stem) {
  if (!name.starts_with(stem)) return std::nullopt;
  const std::string_view digits = name.substr(stem.size());
  constexpr std::size_t mostDigits = 9;
  if (digits.empty() || digits.size() > mostDigits || digits.front() == '0') return std::nullopt;
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

std::string hintFor(TagLevel level, std::string_view name) {
  const LevelTags& tags = tagsOf(level);
  if (const auto near = nearest(name, tags.names)) return " did you mean " + std::string(*near) + "?";
  if (const std::string near = nearestNumbered(tags, name); !near.empty()) return " did you mean " + near + "?";
  for (const std::string_view stem : tags.numbered) {
    if (nearest(name, std::array{stem})) return " did you mean " + std::string(stem) + "1?";
  }
  for (const LevelTags& other : levels()) {
    if (contains(other, name)) return std::string(" it belongs ") + other.place;
  }
  return "";
}

std::optional<std::string_view> nearestText(std::string_view text, std::initializer_list<std::string_view> known) {
  return nearest(text, known);
}

std::optional<std::string_view> nearestText(std::string_view text, const std::vector<std::string>& known) {
  return nearest(text, known);
}

}  // namespace vesk
