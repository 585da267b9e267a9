#include "option_lists.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <sstream>
#include <system_error>

#include "control/quven_csv_reader.h"
#include "table/column_names.h"

namespace vesk {

std::vector<std::string> readList(const std::string& option, const std::string& text) {
  if (text.empty()) return {};
  std::istringstream stream(text);
  QUVENCsvReader reader(stream);
  std::vector<std::string> list;
  if (reader.next()) list.assign(reader.getCells().begin(), reader.getCells().end());
  if (reader.next() || !reader.getMistake().empty()) throw CLI::ValidationError(option, "[" + text + "] is no list");
  return list;
}

std::vector<std::string> readNames(const std::string& option, const std::string& text) {
  std::vector<std::string> names = readList(option, text);
  for (std::string& name : names) {
    if (name.empty()) throw CLI::ValidationError(option, "[" + text + "] has an empty name");
    name = plainColumnName(name);
  }
  return names;
}

std::function<std::string(const std::string&)> wholeNumberFrom(std::uint64_t least) {
  return [least](const std::string& text) -> std::string {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc{} && stop == end && number >= least) return "";
    return "[" + text + "] is no whole number of at least " + std::to_string(least);
  };
}

double readShare(const std::string& option, const std::string& text) {
  const bool isPercent = text.ends_with('%');
  const char* const end = text.data() + text.size() - (isPercent ? 1 : 0);
  double share = -1;
  const auto [stop, error] = std::from_chars(text.data(), end, share);
  if (isPercent) share /= 100;
  if (error == std::errc{} && stop == end && share >= 0 && share <= 1) return share;
  throw CLI::ValidationError(option, "[" + text + "] is no share such as 5% or 0.05");
}

}  // namespace vesk
