#include "groups/group_agreement.h"

#include "groups/contingency.h"

namespace vesk_groups {

namespace {

std::uint64_t pairsOf(std::uint64_t n) { return n == 0 ? 0 : n * (n - 1) / 2; }

std::uint64_t sumOfPairs(const std::vector<std::uint64_t>& sizes) {
  std::uint64_t sum = 0;
  for (const std::uint64_t size : sizes) sum += pairsOf(size);
  return sum;
}

std::optional<double> ratio(double dividend, double divisor) {
  if (divisor == 0.0) return std::nullopt;
  return dividend / divisor;
}

std::optional<double> adjustedRandIndex(double both, double found, double known, double all) {
  const std::optional<double> knownShare = ratio(known, all);
  if (!knownShare) return std::nullopt;
  const double expected = found * *knownShare;  // exact when all pairs are known, so that the divisor below is then 0
  return ratio(both - expected, (found + known) / 2.0 - expected);
}

}  // namespace

GroupAgreement compareGroups(const Grouping& found, const Grouping& known) {
  GroupAgreement result;
  result.matches.resize(found.numbers.size());
  std::vector<std::uint64_t> sharedOfFound(found.numbers.size(), 0);
  std::vector<std::uint64_t> sharedOfKnown(known.numbers.size(), 0);
  for (const SharedMembers& shared : findSharedMembers(found, known)) {
    result.sharedNodes += shared.members;
    result.sharedPairs += pairsOf(shared.members);
    sharedOfFound[shared.first] += shared.members;
    sharedOfKnown[shared.second] += shared.members;
    GroupAgreement::Match& match = result.matches[shared.first];
    if (shared.members > match.members) match = {shared.second, shared.members};
  }

  result.foundPairs = sumOfPairs(sizesOf(found));
  result.knownPairs = sumOfPairs(sizesOf(known));
  const auto both = static_cast<double>(result.sharedPairs);
  const auto foundPairs = static_cast<double>(result.foundPairs);
  const auto knownPairs = static_cast<double>(result.knownPairs);
  result.recall = ratio(both, knownPairs);
  result.precision = ratio(both, foundPairs);
  result.f1 = ratio(2.0 * both, foundPairs + knownPairs);
  result.adjustedRand = adjustedRandIndex(both, static_cast<double>(sumOfPairs(sharedOfFound)),
                                          static_cast<double>(sumOfPairs(sharedOfKnown)),
                                          static_cast<double>(pairsOf(result.sharedNodes)));
  return result;
}

}  // namespace vesk_groups
