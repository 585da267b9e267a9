#ifndef VESK_GENERATE_RANDOM_H
#define VESK_GENERATE_RANDOM_H

// The random numbers of the generator. The standard library's distributions may differ between libraries, so
// everything here is integer arithmetic: the same seed gives the same numbers on every machine.

#include <array>
#include <bit>
#include <cstdint>

namespace vesk_generate {

__extension__ using Uint128 = unsigned __int128;

/// Steps a 64-bit state and gives a number; used to spread a seed over a larger state.
///
/// Source: Steele, Lea, Flood, "Fast splittable pseudorandom number generators", OOPSLA 2014; constants of
///         Vigna's splitmix64.
constexpr std::uint64_t splitMix64(std::uint64_t& state) {
  state += 0x9e3779b97f4a7c15U;
  std::uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
  return z ^ (z >> 31);
}

/// The streams of random numbers of one seed, independent of each other: a further draw on one moves none of the
/// others. The values are part of what a seed means and never change.
enum class RandomStream : std::uint64_t { Network = 1, Records = 2, BadLines = 3, Table = 4, Outcomes = 5, Csv = 6 };

/// The generator xoshiro256**: 256 bits of state, period 2^256 - 1.
///
/// Source: Blackman, Vigna, "Scrambled linear pseudorandom number generators", ACM TOMS 47(4), 2021.
class Xoshiro256 {
 public:
  constexpr Xoshiro256(std::uint64_t seed, RandomStream stream) {
    std::uint64_t mixed = splitMix64(seed) ^ static_cast<std::uint64_t>(stream);
    for (std::uint64_t& word : state) word = splitMix64(mixed);
  }

  explicit constexpr Xoshiro256(const std::array<std::uint64_t, 4>& words) : state(words) {}

  constexpr std::uint64_t next() {
    const std::uint64_t result = std::rotl(state[1] * 5, 7) * 9;
    const std::uint64_t shifted = state[1] << 17;
    state[2] ^= state[0];
    state[3] ^= state[1];
    state[1] ^= state[2];
    state[0] ^= state[3];
    state[2] ^= shifted;
    state[3] = std::rotl(state[3], 45);
    return result;
  }

  /// A number from 0 to n - 1: the high half of next() * n. Requires n >= 1.
  ///
  /// Accuracy: the values differ in probability by at most n / 2^64, which no run can see.
  /// Source: Lemire, "Fast random integer generation in an interval", ACM TOMACS 29(1), 2019, without the rejection.
  constexpr std::uint64_t below(std::uint64_t n) { return static_cast<std::uint64_t>((Uint128{next()} * n) >> 64); }

  /// True with the probability threshold / 2^53, see shareThreshold.
  constexpr bool hit(std::uint64_t threshold) { return (next() >> 11) < threshold; }

 private:
  std::array<std::uint64_t, 4> state{};
};

/// A share from 0 to 1 in units of 2^-53; the product is exact, so 1 gives 2^53 and is always hit.
constexpr std::uint64_t shareThreshold(double share) { return static_cast<std::uint64_t>(share * 0x1p53); }

}  // namespace vesk_generate

#endif  // VESK_GENERATE_RANDOM_H
