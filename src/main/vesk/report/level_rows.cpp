#include "report/level_rows.h"

#include "top/result_rows.h"

namespace vesk {

std::vector<LevelRow> readLevels(const std::string& file) {
  ResultRows rows(file,
                  {"Level", "Cutoff", "KeptPairs", "Groups", "Members", "Largest", "FullGroups", "CallsInside",
                   "CallsInsideShare", "Coverage", "Modularity", "MeanDensity", "Chosen"},
                  "NAME_levels.csv of vesk-analyze groups --levels");
  constexpr std::size_t mostLevels = 1000;
  std::vector<LevelRow> levels;
  while (rows.next()) {
    const LevelRow row{.level = rows.getNumber(0),
                       .cutoff = rows.getNumber(1),
                       .keptPairs = rows.getWhole(2),
                       .groups = rows.getWhole(3),
                       .members = rows.getWhole(4),
                       .largest = rows.getWhole(5),
                       .fullGroups = rows.getWhole(6),
                       .callsInside = rows.getNumber(7),
                       .callsInsideShare = rows.getNumber(8),
                       .coverage = rows.getNumber(9),
                       .modularity = rows.getNumber(10),
                       .meanDensity = rows.getNumber(11),
                       .isChosen = rows.getFlag(12)};
    for (const LevelRow& other : levels) {
      if (other.level == row.level) rows.refuse("the level has a second row");
      if (other.isChosen && row.isChosen) rows.refuse("a second level is marked as chosen");
    }
    if (levels.size() == mostLevels) rows.refuse("more than " + std::to_string(mostLevels) + " levels");
    levels.push_back(row);
  }
  return levels;
}

std::map<std::string, std::uint64_t> countChanges(const std::string& file) {
  constexpr std::size_t mostEvents = 100;
  ResultRows rows(file, {"Event"}, "NAME_changes.csv of vesk-analyze groups --previous");
  std::map<std::string, std::uint64_t> counts;
  while (rows.next()) {
    ++counts[std::string(rows.getText(0))];
    if (counts.size() > mostEvents) rows.refuse("more than " + std::to_string(mostEvents) + " different events");
  }
  return counts;
}

}  // namespace vesk
