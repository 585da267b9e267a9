#ifndef VESK_GENERATE_CALL_NETWORK_H
#define VESK_GENERATE_CALL_NETWORK_H

#include <cstdint>
#include <vector>

#include "alias_table.h"
#include "generator_settings.h"
#include "random.h"

namespace vesk_generate {

/// Who calls whom: callers of power-law activity, callees of power-law popularity, and planted groups whose members
/// call each other more than chance would have it.
///
/// Callers are known by their place from 0 to callers - 1. The members of a group stand side by side in the places;
/// the numbers of the callers are a random order of them, so that a group cannot be told by its numbers.
///
/// Cost: 20 to 24 bytes a caller; a draw is a handful of look-ups.
class CallNetwork {
 public:
  struct Call {
    std::uint64_t caller;
    std::uint64_t callee;  ///< never the caller
  };

  /// Requires: settings that checkSettings accepts.
  explicit CallNetwork(const GeneratorSettings& settings);

  Call draw(Xoshiro256& random) const {
    const std::uint32_t caller = activity.draw(random);
    const Range group = groupOf(caller);
    const bool inside = group.size() > 1 && random.hit(insideThreshold);
    const std::uint32_t callee = inside ? drawInside(caller, group, random) : drawOutside(group, random);
    return {numberOf(caller), numberOf(callee)};
  }

  std::uint32_t groupCount() const { return static_cast<std::uint32_t>(groupBegins.size() - 1); }

  /// The numbers of the members of a group, ascending. Requires 1 <= group <= groupCount().
  std::vector<std::uint64_t> groupMembers(std::uint32_t group) const;

 private:
  /// Places from begin to end - 1.
  struct Range {
    std::uint32_t begin;
    std::uint32_t end;
    std::uint32_t size() const { return end - begin; }
    bool contains(std::uint32_t place) const { return place >= begin && place < end; }
  };

  CallNetwork(const GeneratorSettings& settings, Xoshiro256 random);

  std::uint64_t numberOf(std::uint32_t place) const { return firstCaller + numbers[place]; }

  /// A caller without a group is alone in its own.
  Range groupOf(std::uint32_t place) const {
    if (place >= groupIndex.size()) return {place, place + 1};
    const std::uint32_t group = groupIndex[place];
    return {groupBegins[group], groupBegins[group + 1]};
  }

  static std::uint32_t drawInside(std::uint32_t caller, Range group, Xoshiro256& random) {
    const auto other = group.begin + static_cast<std::uint32_t>(random.below(group.size() - 1));
    return other < caller ? other : other + 1;
  }

  std::uint32_t drawOutside(Range group, Xoshiro256& random) const;

  std::uint64_t firstCaller;
  std::uint64_t insideThreshold;
  std::vector<std::uint32_t> numbers;      // by place: the number less firstCaller
  std::vector<std::uint32_t> groupBegins;  // by group: its first place; one more for the end of the last
  std::vector<std::uint32_t> groupIndex;   // by place, up to the end of the last group
  AliasTable activity;                     // by place
  AliasTable popularity;                   // by place
};

}  // namespace vesk_generate

#endif  // VESK_GENERATE_CALL_NETWORK_H
