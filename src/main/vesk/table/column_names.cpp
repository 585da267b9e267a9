#include "table/column_names.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace vesk {

namespace {

bool isControlCharacter(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }

std::string nameByPlace(std::size_t place) { return std::string("C").append(std::to_string(place)); }

[[noreturn]] void refuse(std::size_t place, const std::string& what) {
  throw std::runtime_error(std::string("the name of column ").append(std::to_string(place)).append(what));
}

}  // namespace

std::string columnNameMistake(std::string_view name) {
  if (name.empty()) return " is empty";
  if (std::ranges::any_of(name, isControlCharacter)) return " has a control character";
  if (plainColumnName(name) != name) return " has white space, a comma or a double quote";
  if (name.size() > LongestColumnName) return " has more than " + std::to_string(LongestColumnName) + " bytes";
  return {};
}

std::string plainColumnName(std::string_view name) {
  std::string plain(name);
  constexpr std::string_view replaced = " \t\n\v\f\r,\"";
  std::ranges::replace_if(
      plain, [&](char c) { return replaced.find(c) != std::string_view::npos; }, '_');
  return plain;
}

std::vector<std::string> columnNames(const std::vector<std::string_view>& headings) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < headings.size(); ++i) {
    names.push_back(headings[i].empty() ? nameByPlace(i + 1) : plainColumnName(headings[i]));
    if (std::ranges::any_of(names.back(), isControlCharacter)) refuse(i + 1, " has a control character");
  }
  // The first column of a name keeps it, and no numbered name takes one that another column has already.
  std::set<std::string> taken(names.begin(), names.end());
  std::set<std::string> seen;
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string& name = names[i];
    if (!seen.insert(name).second) {
      std::string numbered;
      std::size_t number = 2;
      do {
        numbered = std::string(name).append("_").append(std::to_string(number++));
      } while (taken.contains(numbered));
      name = numbered;
      taken.insert(name);
      seen.insert(name);
    }
    if (name.size() > LongestColumnName) {
      refuse(i + 1, " has more than " + std::to_string(LongestColumnName) + " bytes");
    }
  }
  return names;
}

}  // namespace vesk
