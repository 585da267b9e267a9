#ifndef QUVEN_PARTITION_H
#define QUVEN_PARTITION_H

// Which part of a dataset in parts has the rows of a caller.

#include <cstdint>
#include <vector>

/// The most parts that a loader run writes.
inline constexpr std::int32_t largestPartitionCount = 100;

/// The partition, 0 to `partitions` - 1, of a key.
/// Source: the multiplicative method (Knuth, The Art of Computer Programming 3, section 6.4) on the key modulo 7919.
std::uint32_t partition_of_key(std::uint64_t key, std::uint32_t partitions);

/// A key as an unsigned integer: fractions are cut, a negative key converts modulo 2 to the power 64. A key beyond that
/// range gives the nearest end of it, a NaN gives 0.
std::uint64_t key_as_integer(double key);

/// partition_of_key for a whole run: the partition of each remainder is worked out once.
class QUVENPartitionTest {
 public:
  explicit QUVENPartitionTest(std::uint32_t partitions);

  std::uint32_t partitionOf(double key) const { return partitionOfRemainder[key_as_integer(key) % modulus]; }

  static constexpr std::uint32_t modulus = 7919;

 private:
  std::vector<std::uint8_t> partitionOfRemainder;
};

#endif  // QUVEN_PARTITION_H
