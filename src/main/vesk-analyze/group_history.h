#ifndef VESK_ANALYZE_GROUP_HISTORY_H
#define VESK_ANALYZE_GROUP_HISTORY_H

#include <string>
#include <vector>

#include "groups/found_groups.h"
#include "output_check.h"

namespace vesk_analyze {

/// Lets the group numbers of an earlier run go on in the results of this run, and writes what has changed to
/// NAME_changes.csv.
class GroupHistory {
 public:
  /// `resultName`: the beginning of the names of the results, NAME.
  GroupHistory(std::string previousNodesFile, const std::string& resultName);

  /// Reads the earlier groups, checks the names of the files, and adds the file of changes to the outputs. The earlier
  /// file may be the nodes file that this run replaces.
  /// Errors: the terminating report 2302 with the name of the file: the earlier file cannot be read or is not a nodes
  ///         file, a group number in it is 2^63 or above, another output has its name, or the results are no regular
  ///         files, in which numbers cannot be changed.
  void open(RunFiles& files, const QUVENEnvHandle& env);

  /// Gives the groups in the two complete files of results their numbers, and writes the file of changes. Nothing else
  /// changes in the files.
  /// Requires: open.
  /// Returns the name of a file that cannot be read or written, or nothing.
  [[nodiscard]] std::string continueNumbers(const std::string& clustersPath, const std::string& nodesPath) const;

 private:
  std::string previousFile;
  std::string clustersFile;
  std::string nodesFile;
  std::string changesFile;
  vesk_groups::FoundGroups previous;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_GROUP_HISTORY_H
