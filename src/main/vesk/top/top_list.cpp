#include "top/top_list.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "command.h"
#include "control/quven_dataset_parts.h"
#include "control/quven_file_formats.h"
#include "control/quven_result_file.h"
#include "csv/column_choice.h"
#include "csv/output_file.h"
#include "files/dataset_card.h"
#include "ids/id_map.h"
#include "ids/seed_ids.h"
#include "table/dataset_files.h"
#include "table/record_file.h"
#include "top/result_rows.h"

namespace vesk {

namespace {

constexpr unsigned privatePermissions = 0640;
using Ids = std::unordered_set<std::uint64_t>;

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

struct Candidate {
  std::uint64_t id;
  double energy;
  double lift;  // negative: none
};

/// Groups of the subscribers and their leaders.
struct Groups {
  struct Leaders {
    std::optional<std::uint64_t> ofType1;
    std::optional<std::uint64_t> ofType2;
  };
  std::unordered_map<std::uint64_t, std::uint64_t> groupOf;
  std::unordered_map<std::uint64_t, Leaders> leaders;
};

Groups readGroups(const std::string& path) {
  Groups groups;
  if (path.empty()) return groups;
  ResultRows rows(path, {"NodeNumber", "GroupNumber", "IsGroupLeaderType1", "IsGroupLeaderType2"},
                  "NAME_1.nodes.csv of vesk-analyze groups");
  while (rows.next()) {
    const std::uint64_t id = rows.getWhole(0);
    const std::uint64_t group = rows.getWhole(1);
    if (!groups.groupOf.emplace(id, group).second)
      rows.refuse("subscriber " + std::to_string(id) + " has a second group");
    Groups::Leaders& leaders = groups.leaders[group];
    if (rows.getWhole(2) == 1) leaders.ofType1 = id;
    if (rows.getWhole(3) == 1) leaders.ofType2 = id;
  }
  return groups;
}

std::vector<Candidate> readCandidates(const TopOptions& options, const Ids& seeds, const Groups& groups,
                                      TopResult& result) {
  std::vector<Candidate> candidates;
  bool hasMember = false;
  ResultRows rows(options.energy, {"Number", "DA_DiffusedEnergy", "WeightedInDegree"},
                  "the OutputFileName of vesk-analyze diffusion");
  while (rows.next()) {
    ++result.subscribers;
    const std::uint64_t id = rows.getWhole(0);
    const double energy = rows.getNumber(1);
    const double calls = rows.getNumber(2);
    hasMember = hasMember || groups.groupOf.contains(id);
    const bool isSeed = seeds.contains(id);
    if (isSeed) ++result.seedsFound;
    if (energy <= 0 || (isSeed && !options.withSeeds)) continue;
    candidates.push_back({id, energy, calls > 0 ? energy / calls : -1});
  }
  if (!seeds.empty() && result.seedsFound == 0) {
    refuse(options.energy + " has none of the " + std::to_string(seeds.size()) + " seeds of " + options.seeds);
  }
  if (!groups.groupOf.empty() && !hasMember) {
    refuse(options.groups + " has no subscriber of " + options.energy + "; the two are of different calls");
  }
  std::ranges::sort(candidates, {}, &Candidate::id);
  if (const auto twice = std::ranges::adjacent_find(candidates, {}, &Candidate::id); twice != candidates.end()) {
    refuse(options.energy + " has two rows of subscriber " + std::to_string(twice->id));
  }
  return candidates;
}

/// The contacts among the seeds of each subscriber of the list: how many different seeds call it or are called by it.
void countSeedContacts(const TopOptions& options, const Ids& seeds, std::vector<TopRow>& list) {
  Ids listed;
  for (const TopRow& row : list) listed.insert(row.id);
  std::set<std::pair<std::uint64_t, std::uint64_t>> contacts;  // a subscriber of the list and a seed
  bool hasSeed = false;
  for (const std::string& path : datasetFilesOf(options.dataset)) {
    RecordFile triples(path, sparse_format::columns, "triple");
    bool isInRow = false;
    bool callerIsSeed = false;
    bool callerIsListed = false;
    std::uint64_t caller = 0;
    while (const double* triple = triples.next()) {
      const auto refuseTriple = [&](const std::string& why) {
        refuse(path + ", triple " + std::to_string(triples.getNumber()) + ": " + why + "; --dataset wants pair sums");
      };
      const auto toId = [&](double number) {
        if (!(number >= 0 && number <= 0x1p53) || std::trunc(number) != number) refuseTriple("a number that is no id");
        return static_cast<std::uint64_t>(number);
      };
      const std::uint64_t first = toId(triple[0]);
      if (!isInRow) {
        if (triple[1] != sparse_format::headerPosition) refuseTriple("a row without a header");
        isInRow = true;
        caller = first;
        callerIsSeed = seeds.contains(caller);
        callerIsListed = listed.contains(caller);
        hasSeed = hasSeed || callerIsSeed;
        continue;
      }
      if (first != caller) refuseTriple("a row without a footer");
      if (triple[1] == sparse_format::headerPosition) {
        if (triple[2] != sparse_format::pairSumFooterMark) refuseTriple("a footer of another kind");
        isInRow = false;
        continue;
      }
      const std::uint64_t callee = toId(triple[1]);
      const bool calleeIsSeed = seeds.contains(callee);
      hasSeed = hasSeed || calleeIsSeed;
      if (callee == caller) continue;
      if (callerIsListed && calleeIsSeed) contacts.emplace(caller, callee);
      if (callerIsSeed && listed.contains(callee)) contacts.emplace(callee, caller);
    }
    if (isInRow) refuse(path + " ends inside a row; --dataset wants pair sums");
  }
  if (!hasSeed) refuse(options.dataset + " has none of the seeds; it is not the dataset of " + options.energy);
  std::unordered_map<std::uint64_t, std::uint64_t> counts;
  for (const auto& [subscriber, seed] : contacts) ++counts[subscriber];
  for (TopRow& row : list) row.seedContacts = counts[row.id];
}

std::string numberText(double number, const char* format) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

/// The files of the dataset, with its descriptions and its card, which the analyses need beside it.
std::vector<std::string> filesBesideDataset(const std::string& dataset) {
  std::vector<std::string> files = {dataset, dataset + ".info", vesk_files::cardPath(dataset)};
  for (const std::string& part : quvenFindDatasetFiles(dataset).paths) {
    files.push_back(part);
    files.push_back(part + ".info");
  }
  return files;
}

void refuseSharedFiles(const TopOptions& options) {
  if (options.output.empty()) return;
  std::vector<std::string> inputs = {options.energy, options.groups, options.seeds};
  if (!options.dataset.empty()) std::ranges::move(filesBesideDataset(options.dataset), std::back_inserter(inputs));
  if (!options.idMap.empty()) std::ranges::move(filesOfIdMap(options.idMap), std::back_inserter(inputs));
  for (const std::string& input : inputs) {
    if (!input.empty() && quvenIsSameFile(options.output, input)) {
      throw CommandFailure(Status::Usage, "the output " + options.output + " would take the place of " + input);
    }
  }
}

}  // namespace

TopResult findTop(const TopOptions& options) {
  refuseSharedFiles(options);
  TopResult result;
  const std::unique_ptr<IdMap> map = openIdMap(options.idMap);
  const Ids seeds = options.seeds.empty() ? Ids{} : readSeedIds(options.seeds, map.get());
  result.seeds = seeds.size();
  const Groups groups = readGroups(options.groups);
  std::vector<Candidate> candidates = readCandidates(options, seeds, groups, result);
  std::ranges::sort(candidates, [&](const Candidate& a, const Candidate& b) {
    const double first = options.order == TopOrder::Energy ? a.energy : a.lift;
    const double second = options.order == TopOrder::Energy ? b.energy : b.lift;
    return first != second ? first > second : a.id < b.id;
  });
  std::unordered_map<std::uint64_t, std::uint64_t> taken;  // by group
  for (const Candidate& candidate : candidates) {
    if (result.rows.size() == options.rows) break;
    TopRow row;
    if (const auto group = groups.groupOf.find(candidate.id); group != groups.groupOf.end()) {
      if (options.perGroup > 0 && ++taken[group->second] > options.perGroup) continue;
      row.group = group->second;
      const Groups::Leaders& leaders = groups.leaders.at(group->second);
      row.leader1 = leaders.ofType1;
      row.leader2 = leaders.ofType2;
    }
    row.id = candidate.id;
    row.energy = candidate.energy;
    if (candidate.lift >= 0) row.lift = candidate.lift;
    result.rows.push_back(row);
  }
  if (options.dataset.empty()) return result;
  try {
    countSeedContacts(options, seeds, result.rows);
  } catch (const CommandFailure&) {
    throw;
  } catch (const std::runtime_error& error) {
    refuse(error.what());
  }
  return result;
}

void writeTop(const TopOptions& options, const TopResult& result, std::ostream& standardOutput) {
  const std::unique_ptr<IdMap> map = openIdMap(options.idMap);
  const auto idText = [&](const std::optional<std::uint64_t>& id) -> std::string {
    return id ? csvCell(shownId(*id, map.get()), ',') : "";
  };
  const auto countText = [](const std::optional<std::uint64_t>& count) { return count ? std::to_string(*count) : ""; };
  std::string text = "rank,id,energy,lift,group,leader_1,leader_2,seed_contacts\n";
  std::uint64_t rank = 0;
  for (const TopRow& row : result.rows) {
    text += std::to_string(++rank) + "," + idText(row.id) + "," + numberText(row.energy, "%.9g") + "," +
            (row.lift ? numberText(*row.lift, "%.6g") : "") + "," + countText(row.group) + "," + idText(row.leader1) +
            "," + idText(row.leader2) + "," + countText(row.seedContacts) + "\n";
  }
  if (options.output.empty()) {
    standardOutput << text;
    return;
  }
  OutputFile file(options.output, privatePermissions);
  file.write(text);
  file.commit();
}

}  // namespace vesk
