#ifndef VESK_REPORT_LEVEL_ROWS_H
#define VESK_REPORT_LEVEL_ROWS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vesk {

/// What a group run found at one sparsity level.
struct LevelRow {
  double level = 0;
  double cutoff = 0;
  std::uint64_t keptPairs = 0;
  std::uint64_t groups = 0;
  std::uint64_t members = 0;
  std::uint64_t largest = 0;
  std::uint64_t fullGroups = 0;
  double callsInside = 0;
  double callsInsideShare = 0;
  double coverage = 0;  ///< members as a share of the callers
  double modularity = 0;
  double meanDensity = 0;
  bool isChosen = false;  ///< the level that the run went on with
};

/// Reads NAME_levels.csv of a group run, in its order.
/// Errors: CommandFailure with Status::Data, the file and the line: as ResultRows; two chosen levels, a level twice,
/// more than
///         1000 levels.
std::vector<LevelRow> readLevels(const std::string& file);

/// How often each event occurs in NAME_changes.csv.
/// Errors: CommandFailure with Status::Data, the file and the line: as ResultRows; more than 100 different events.
std::map<std::string, std::uint64_t> countChanges(const std::string& file);

}  // namespace vesk

#endif  // VESK_REPORT_LEVEL_ROWS_H
