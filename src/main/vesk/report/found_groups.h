#ifndef VESK_REPORT_FOUND_GROUPS_H
#define VESK_REPORT_FOUND_GROUPS_H

#include <cstdint>
#include <string>
#include <vector>

namespace vesk {

/// A group of the group analysis.
struct FoundGroup {
  struct Leader {
    std::uint64_t id = 0;
    double confidence = 0;
  };
  std::uint64_t number = 0;
  std::uint64_t size = 0;
  double density = 0;
  double kernelDensity = 0;
  double coreShare = 0;  ///< of the members
  Leader leader1;        ///< who is listened to
  Leader leader2;        ///< who reaches the others
  double energy = 0;     ///< of all members; 0 until it is added
};

/// The groups in the order of their file, and their members.
struct FoundGroups {
  struct Member {
    std::uint64_t id;
    std::uint32_t group;  ///< its index in `groups`
  };
  std::vector<FoundGroup> groups;
  std::vector<Member> members;  ///< ascending by id
  std::uint64_t coreMembers = 0;
};

/// The names of the two files of a group run with the output name NAME.
std::string clustersFileOf(const std::string& name);
std::string nodesFileOf(const std::string& name);

/// Reads NAME_1.clusters.csv and NAME_1.nodes.csv.
///
/// Memory: about 120 bytes per group and 16 per member.
/// Errors: CommandFailure with Status::Data, the file and the line: as ResultRows; a group or a member twice, a member
///         of a group without a row, a group with another number of members than its row says or without a leader.
FoundGroups readFoundGroups(const std::string& name);

/// The groups by size, the largest first; of equal ones the denser and then the one with the smaller number first.
/// Returns at most `most` indices.
std::vector<std::size_t> largestGroups(const FoundGroups& found, std::size_t most);

}  // namespace vesk

#endif  // VESK_REPORT_FOUND_GROUPS_H
