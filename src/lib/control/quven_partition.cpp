#include "control/quven_partition.h"

#include <cmath>
#include <limits>

std::uint32_t partition_of_key(std::uint64_t key, std::uint32_t partitions) {
  static const double phi = (std::sqrt(5.0) - 1.0) / 2.0;
  const auto remainder = static_cast<std::uint32_t>(key % QUVENPartitionTest::modulus);
  const double x = remainder * phi;
  const auto spread = static_cast<std::uint32_t>(std::floor(partitions * (x - std::floor(x))));
  return (remainder % partitions * 17 + spread) % partitions;
}

std::uint64_t key_as_integer(double key) {
  constexpr double halfRange = 9223372036854775808.0;  // 2 to the power 63
  if (key != key) return 0;
  if (key >= 2 * halfRange) return std::numeric_limits<std::uint64_t>::max();
  if (key >= halfRange) return static_cast<std::uint64_t>(key - halfRange) + (std::uint64_t{1} << 63);
  if (key <= -halfRange) return std::uint64_t{1} << 63;
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(key));
}

QUVENPartitionTest::QUVENPartitionTest(std::uint32_t partitions) : partitionOfRemainder(modulus) {
  for (std::uint32_t remainder = 0; remainder < modulus; ++remainder) {
    partitionOfRemainder[remainder] = static_cast<std::uint8_t>(partition_of_key(remainder, partitions));
  }
}
