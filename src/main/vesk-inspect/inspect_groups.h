#ifndef VESK_INSPECT_INSPECT_GROUPS_H
#define VESK_INSPECT_INSPECT_GROUPS_H

#include <cstddef>
#include <iosfwd>
#include <string>

namespace vesk_inspect {

struct GroupsOptions {
  std::string foundPath{};  ///< the nodes file of the group analysis
  std::string knownPath{};  ///< in one of the forms of readKnownGroups
  std::size_t largest = 0;  ///< found groups to print
  bool coreOnly = false;    ///< of the found groups only the core nodes count
  bool full = false;        ///< print coverage and the measures of partitions, too
  std::string dataset{};    ///< print the modularity on this network dataset, too; empty for none
};

/// Prints how the found groups agree with the known ones, and the largest found groups with their leaders.
///
/// Errors: std::runtime_error when a file cannot be read or is not what it should be, and as forEachCall.
void inspectGroups(const GroupsOptions& options, std::ostream& out);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_INSPECT_GROUPS_H
