#include "call_network.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "power_law.h"

namespace vesk_generate {

namespace {

/// Puts the elements into a random order. Source: Fisher, Yates; Durstenfeld, CACM 7(7), 1964, algorithm 235.
template <class Element>
void shuffle(std::vector<Element>& elements, Xoshiro256& random) {
  for (std::size_t i = elements.size(); i > 1; --i) std::swap(elements[i - 1], elements[random.below(i)]);
}

std::vector<std::uint32_t> shuffledNumbers(std::uint32_t n, Xoshiro256& random) {
  std::vector<std::uint32_t> numbers(n);
  std::iota(numbers.begin(), numbers.end(), 0U);
  shuffle(numbers, random);
  return numbers;
}

std::vector<std::uint32_t> drawGroupBegins(const GeneratorSettings& settings, Xoshiro256& random) {
  std::vector<std::uint32_t> begins{0};
  begins.reserve(std::size_t{settings.groupCount} + 1);
  const std::uint32_t sizes = settings.groupSizeMax - settings.groupSizeMin + 1;
  for (std::uint32_t group = 0; group < settings.groupCount; ++group) {
    begins.push_back(begins.back() + settings.groupSizeMin + static_cast<std::uint32_t>(random.below(sizes)));
  }
  return begins;
}

std::vector<std::uint32_t> groupOfEachPlace(const std::vector<std::uint32_t>& begins) {
  std::vector<std::uint32_t> index(begins.back());
  for (std::uint32_t group = 0; group + 1 < begins.size(); ++group) {
    std::fill(index.begin() + begins[group], index.begin() + begins[group + 1], group);
  }
  return index;
}

AliasTable shuffledPowerLaw(std::uint32_t n, double exponent, Xoshiro256& random) {
  std::vector<std::uint64_t> weights = powerLawWeights(n, exponent);
  shuffle(weights, random);
  return AliasTable(weights);
}

}  // namespace

CallNetwork::CallNetwork(const GeneratorSettings& settings)
    : CallNetwork(settings, Xoshiro256(settings.seed, RandomStream::Network)) {}

CallNetwork::CallNetwork(const GeneratorSettings& settings, Xoshiro256 random)
    : firstCaller(settings.firstCaller),
      insideThreshold(shareThreshold(settings.insideShare)),
      numbers(shuffledNumbers(settings.callers, random)),
      groupBegins(drawGroupBegins(settings, random)),
      groupIndex(groupOfEachPlace(groupBegins)),
      activity(shuffledPowerLaw(settings.callers, settings.activityExponent, random)),
      popularity(shuffledPowerLaw(settings.callers, settings.popularityExponent, random)) {}

std::uint32_t CallNetwork::drawOutside(Range group, Xoshiro256& random) const {
  // A group can hold nearly all the popularity there is; after some tries any caller outside will do.
  constexpr int tries = 16;
  for (int i = 0; i < tries; ++i) {
    const std::uint32_t place = popularity.draw(random);
    if (!group.contains(place)) return place;
  }
  const auto place = static_cast<std::uint32_t>(random.below(numbers.size() - group.size()));
  return place < group.begin ? place : place + group.size();
}

std::vector<std::uint64_t> CallNetwork::groupMembers(std::uint32_t group) const {
  std::vector<std::uint64_t> members;
  for (std::uint32_t place = groupBegins.at(group - 1); place < groupBegins.at(group); ++place) {
    members.push_back(numberOf(place));
  }
  std::sort(members.begin(), members.end());
  return members;
}

}  // namespace vesk_generate
