#ifndef QUVEN_FOLD_DEALING_H
#define QUVEN_FOLD_DEALING_H

#include <cstdint>

/// How the records of a training are dealt over the channels: 1 the test, 2 the held-out records, 3 and up the folds.
struct QUVENFoldDealing {
  std::int32_t testPercent = 10;
  std::int32_t heldOutPercent = 10;
  std::int32_t numFolds = 5;  ///< at least 1
  std::uint32_t seed = 0;

  static constexpr std::int32_t TestChannel = 1;
  static constexpr std::int32_t HeldOutChannel = 2;
  static constexpr std::int32_t FirstFold = 3;

  static constexpr std::int32_t FewestFolds = 2;
  static constexpr std::int32_t MostFolds = 20;
  static constexpr std::int32_t MostPercent = 50;

  std::int32_t getNumChannels() const { return numFolds + FirstFold - 1; }
  /// Whether a training may have these numbers.
  bool isLegal() const {
    const auto isShare = [](std::int32_t percent) { return 0 <= percent && percent <= MostPercent; };
    return FewestFolds <= numFolds && numFolds <= MostFolds && isShare(testPercent) && isShare(heldOutPercent);
  }

  /// The channel of a record, by its number in the dataset, from 0. The number is mixed first, because the channels of
  /// neighbours must not depend on each other.
  /// Source: the finalizer of Steele, Lea and Flood, "Fast splittable pseudorandom number generators", OOPSLA 2014.
  std::int32_t channelOf(std::int64_t recordNumber) const {
    std::uint64_t z = (static_cast<std::uint64_t>(recordNumber) + 1) * 0x9E3779B97F4A7C15U + seed;
    z ^= z >> 30;
    z *= 0xBF58476D1CE4E5B9U;
    z ^= z >> 27;
    z *= 0x94D049BB133111EBU;
    z ^= z >> 31;
    const auto percent = static_cast<std::int32_t>(z % 100);
    if (percent < testPercent) return TestChannel;
    if (percent < testPercent + heldOutPercent) return HeldOutChannel;
    return FirstFold + static_cast<std::int32_t>(z / 100 % static_cast<std::uint64_t>(numFolds));
  }
};

#endif  // QUVEN_FOLD_DEALING_H
