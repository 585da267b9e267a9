// Any bytes as the nodes file of the group analysis, behind its head line when the first byte is even: its groups hold
// each node once and together as many as there are lines, or it is refused with a message that names the file.

#include "groups/found_groups.h"

#include <algorithm>
#include <stdexcept>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  if (size == 0) return 0;
  std::string text = data[0] % 2 == 0 ? std::string(vesk_groups::foundGroupsHeader) + "\n" : std::string();
  text.append(data + 1, data + size);
  const std::string path = folder.write("nodes.csv", text);
  try {
    const vesk_groups::FoundGroups found = vesk_groups::readFoundGroups(path);
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    const auto& members = found.grouping.members;
    REQUIRE(lines == members.size() + 1);
    REQUIRE(found.groups.size() == found.grouping.numbers.size());
    REQUIRE(std::is_sorted(found.grouping.numbers.begin(), found.grouping.numbers.end()));
    for (std::size_t i = 1; i < members.size(); ++i) REQUIRE(members[i - 1].node < members[i].node);
    std::uint64_t sizes = 0;
    for (const vesk_groups::FoundGroup& group : found.groups) {
      REQUIRE(group.size > 0 && group.coreNodes <= group.size);
      sizes += group.size;
    }
    REQUIRE(sizes == members.size());
    REQUIRE(found.isCore.size() == members.size());
    const vesk_groups::FoundGroups core = vesk_groups::coreOf(found);
    REQUIRE(core.groups.size() == core.grouping.numbers.size());
    for (const vesk_groups::FoundGroup& group : core.groups) REQUIRE(group.size == group.coreNodes && group.size > 0);
    const auto numCore = static_cast<std::size_t>(std::count(found.isCore.begin(), found.isCore.end(), true));
    REQUIRE(core.grouping.members.size() == numCore);
  } catch (const std::runtime_error& refused) {
    REQUIRE(std::string(refused.what()).find(path + ", line ") == 0);
  }
  return 0;
}
