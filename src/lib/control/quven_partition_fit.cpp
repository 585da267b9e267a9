#include "control/quven_partition_fit.h"

#include <cmath>

#include "control/quven_partition.h"

namespace {

constexpr double bitsOfCertainty = 40;

}  // namespace

QUVENPartitionFit::QUVENPartitionFit() {
  for (std::int32_t n = 2; n <= largestPartitionCount; ++n) candidates.push_back({static_cast<std::uint32_t>(n)});
}

void QUVENPartitionFit::add(std::size_t part, double caller) {
  const std::uint64_t remainder = key_as_integer(caller) % QUVENPartitionTest::modulus;
  if (part >= isTested.size()) isTested.resize(part + 1, std::vector<bool>(QUVENPartitionTest::modulus));
  if (isTested[part][remainder]) return;
  isTested[part][remainder] = true;
  ++remainders;
  std::erase_if(candidates, [&](Candidate& candidate) {
    if (part >= candidate.partitions) return false;  // a run with so few partitions has no such part
    ++candidate.remainders;
    return partition_of_key(remainder, candidate.partitions) != part;
  });
}

std::size_t QUVENPartitionFit::getPartitions(std::size_t parts) const {
  std::size_t found = 0;
  for (const Candidate& candidate : candidates) {
    if (candidate.partitions == parts) return parts;
    if (found == 0 && static_cast<double>(candidate.remainders) * std::log2(candidate.partitions) >= bitsOfCertainty) {
      found = candidate.partitions;
    }
  }
  return found;
}

bool QUVENPartitionFit::allowsEmptyPart(std::size_t parts) const {
  const auto n = static_cast<double>(parts);
  return parts < 2 || std::log2(n) + static_cast<double>(remainders) * std::log2(1 - 1 / n) > -bitsOfCertainty;
}
