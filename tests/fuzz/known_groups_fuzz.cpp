// Any bytes as a file of known groups: what is read and written again, a line a group or a line a node, reads as the
// same groups; or the file is refused with a message that names it. Groups agree with themselves.

#include "groups/known_groups.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "fuzz_support.h"
#include "groups/group_agreement.h"

namespace {

using vesk_groups::Grouping;

bool isSame(const Grouping& a, const Grouping& b) {
  return a.numbers == b.numbers &&
         std::equal(a.members.begin(), a.members.end(), b.members.begin(), b.members.end(),
                    [](const auto& x, const auto& y) { return x.node == y.node && x.group == y.group; });
}

std::string asLabels(const Grouping& grouping) {
  std::string text;
  for (const Grouping::Member& member : grouping.members) {
    text += std::to_string(member.node) + "," + std::to_string(grouping.numbers[member.group]) + "\n";
  }
  return text;
}

/// The largest group first: its line shows the form if any does.
std::string asGroups(const Grouping& grouping) {
  std::vector<std::vector<std::uint64_t>> groups(grouping.numbers.size());
  for (std::size_t i = 0; i < groups.size(); ++i) groups[i].push_back(grouping.numbers[i]);
  for (const Grouping::Member& member : grouping.members) groups[member.group].push_back(member.node);
  std::sort(groups.begin(), groups.end(), [](const auto& a, const auto& b) { return a.size() > b.size(); });
  if (groups.front().size() == 2) return asLabels(grouping);
  std::string text;
  for (const auto& group : groups) {
    for (const std::uint64_t item : group) text += std::to_string(item) + " ";
    text += "\n";
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  const std::string path = folder.write("groups.txt", {data, size});
  Grouping known;
  try {
    known = vesk_groups::readKnownGroups(path);
  } catch (const std::runtime_error& refused) {
    REQUIRE(std::string(refused.what()).find(path + ", line ") == 0);
    return 0;
  }
  REQUIRE(!known.members.empty());
  REQUIRE(isSame(known, vesk_groups::readKnownGroups(folder.write("labels.txt", asLabels(known)))));
  REQUIRE(isSame(known, vesk_groups::readKnownGroups(folder.write("again.txt", asGroups(known)))));
  const vesk_groups::GroupAgreement agreement = compareGroups(known, known);
  REQUIRE(agreement.sharedNodes == known.members.size());
  REQUIRE(agreement.f1.value_or(1.0) == 1.0);
  REQUIRE(agreement.adjustedRand.value_or(1.0) == 1.0);
  return 0;
}
