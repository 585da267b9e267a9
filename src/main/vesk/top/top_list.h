#ifndef VESK_TOP_LIST_H
#define VESK_TOP_LIST_H

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace vesk {

enum class TopOrder { Energy, Lift };

struct TopOptions {
  std::string energy;   ///< the CSV file of a diffusion
  std::string groups;   ///< NAME_1.nodes.csv of the group analysis; empty: none
  std::string seeds;    ///< one id per line; empty: none
  std::string dataset;  ///< the pair sums of the diffusion, to count contacts among the seeds; empty: none
  std::string idMap;    ///< empty: none
  std::uint64_t rows = 500;
  TopOrder order = TopOrder::Energy;
  std::uint64_t perGroup = 0;  ///< most members of a group in the list; 0: no limit
  bool withSeeds = false;
  std::string output;  ///< empty: standard output
};

/// A subscriber of the list.
struct TopRow {
  std::uint64_t id = 0;
  double energy = 0;
  std::optional<double> lift;  ///< energy by weighted in-degree; none for a subscriber who receives no call
  std::optional<std::uint64_t> group;
  std::optional<std::uint64_t> leader1;  ///< of the group, of type 1 and of type 2
  std::optional<std::uint64_t> leader2;
  std::optional<std::uint64_t> seedContacts;
};

struct TopResult {
  std::vector<TopRow> rows;
  std::uint64_t subscribers = 0;  ///< rows of the energy file
  std::uint64_t seeds = 0;        ///< different seeds
  std::uint64_t seedsFound = 0;   ///< of them in the energy file
};

/// The subscribers of highest energy or lift, of equal ones the smaller id first. Subscribers without energy are left
/// out, and seeds unless they are asked for.
///
/// Memory: 24 bytes per row of the energy file, 16 per row of the groups.
/// Errors: CommandFailure with Status::Data, the file and the line: a missing column, a cell that is no number, an id
///         that is there twice in the groups or with energy, a seed that is no id, seeds of which the energy file or
///         the dataset has none, groups of other subscribers, a dataset that is no pair sum, a file that cannot be
///         read; Status::Usage for an output that is an input.
TopResult findTop(const TopOptions& options);

/// Writes the list as CSV: rank,id,energy,lift,group,leader_1,leader_2,seed_contacts. Unknown values are empty; ids are
/// texts of the map where they have one.
/// Errors: CommandFailure with Status::Data for a number from 2^52 on that the map does not have; as OutputFile.
void writeTop(const TopOptions& options, const TopResult& result, std::ostream& standardOutput);

}  // namespace vesk

#endif  // VESK_TOP_LIST_H
