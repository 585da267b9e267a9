#include "groups/known_groups.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "groups/line_file.h"

namespace vesk_groups {

namespace {

/// The items between blanks, tabs and carriage returns, or between single commas among these.
void splitItems(const LineFile& file, std::string_view line, std::vector<std::uint64_t>& items) {
  constexpr std::string_view blanks = " \t\r";
  items.clear();
  for (std::size_t place = line.find_first_not_of(blanks); place != std::string_view::npos;) {
    const std::size_t end = std::min(line.find_first_of(" \t\r,", place), line.size());
    const std::string_view item = line.substr(place, end - place);
    const auto number = readWholeNumber(item);
    if (!number) file.fail(std::string("'").append(item).append("' is no whole number"));
    items.push_back(*number);
    place = line.find_first_not_of(blanks, end);
    if (place != std::string_view::npos && line[place] == ',') {
      place = line.find_first_not_of(blanks, place + 1);
      if (place == std::string_view::npos) file.fail("nothing follows the last comma");
    }
  }
}

/// Takes the lines of the two forms; which one it is shows with the first.
class KnownGroupsReader {
 public:
  explicit KnownGroupsReader(const std::string& path) : file(path) {}

  Grouping read() {
    std::string line;
    for (std::vector<std::uint64_t> items; file.next(line);) {
      splitItems(file, line, items);
      if (items.empty()) continue;
      if (form == Form::Unknown) form = items.size() == 2 ? Form::Labels : Form::Groups;
      if (form == Form::Labels) {
        takeLabel(items);
      } else {
        takeGroup(items);
      }
    }
    if (form == Form::Unknown)
      file.failAt(std::max<std::uint64_t>(file.lineNumber(), 1), "the file ends without any group");
    return builder.finish(file);
  }

 private:
  enum class Form { Unknown, Groups, Labels };

  void takeLabel(const std::vector<std::uint64_t>& items) {
    if (items.size() != 2) {
      file.fail(std::to_string(items.size()) + " items, but the file has a node and its group a line");
    }
    builder.add(items[0], items[1], file.lineNumber());
  }

  void takeGroup(const std::vector<std::uint64_t>& items) {
    const std::string group = "group " + std::to_string(items[0]);
    if (items.size() == 1) file.fail(group + " has no members");
    const auto [place, isNew] = lineOfGroup.emplace(items[0], file.lineNumber());
    if (!isNew) file.fail(group + " stands already in line " + std::to_string(place->second));
    for (std::size_t i = 1; i < items.size(); ++i) builder.add(items[i], items[0], file.lineNumber());
  }

  LineFile file;
  Form form = Form::Unknown;
  GroupingBuilder builder;
  std::unordered_map<std::uint64_t, std::uint64_t> lineOfGroup;
};

}  // namespace

Grouping readKnownGroups(const std::string& path) { return KnownGroupsReader(path).read(); }

}  // namespace vesk_groups
