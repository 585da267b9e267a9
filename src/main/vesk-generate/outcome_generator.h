#ifndef VESK_GENERATE_OUTCOME_GENERATOR_H
#define VESK_GENERATE_OUTCOME_GENERATOR_H

#include <cstdint>
#include <string>
#include <vector>

#include "call_network.h"
#include "generator_settings.h"
#include "random.h"

namespace vesk_generate {

/// Gives each caller two outcomes, 0 or 1, such as the take-up of an offer: `before`, that of the month before, and
/// `outcome`, which depends on the calls.
///
/// Before the calls, two draws are made for each planted group: whether it has the high rate, and a level from -1 to 1.
/// `before` is 1 with the probability highRate in a group with the high rate, lowRate everywhere else. After the calls
/// `outcome` is 1 with the probability 1 / (1 + exp(-F)),
///
///   F = base + callWeight c / (c + C) + minuteWeight m / (m + M) + level + contactWeight s,
///
/// c, m   calls and minutes that the caller makes; C and M are their means over all callers. Both terms rise from 0,
///        reach half of their weight at the mean, and saturate.
/// level  the level of the caller's group; 0 without a group.
/// s      of the calls that the caller makes and receives, the share whose other party has `before` = 1; 0 without
///        calls.
///
/// A record counts as many calls as its multiplicity, but its duration counts once. Spoiled lines do not count.
/// Cost:     40 bytes per caller.
/// Accuracy: F is cut to a multiple of 1/1024. All operations are exactly rounded by IEEE 754, so the same seed gives
///           the same outcomes on every machine.
class OutcomeGenerator {
 public:
  static constexpr double highShare = 0.125;  ///< share of the groups that have the high rate
  static constexpr double highRate = 0.4;
  static constexpr double lowRate = 0.02;
  static constexpr double base = -4.125;
  static constexpr double callWeight = 1.5;
  static constexpr double minuteWeight = 1.0;
  static constexpr double contactWeight = 6.0;

  static constexpr const char* header = "caller,before,outcome\n";

  /// Draws the rates and levels of the groups, and `before` of each caller.
  OutcomeGenerator(const GeneratorSettings& settings, const CallNetwork& network);

  /// Counts a record that is written.
  /// Requires: the caller and the callee are subscribers of the network.
  void addRecord(const CallNetwork::Call& call, std::uint32_t seconds, std::uint32_t multiplicity);

  std::uint64_t callersLeft() const { return callers.size() - rowsMade; }
  /// Appends the row of the next caller, by ascending number, with the line feed.
  /// Requires: callersLeft() > 0; all records have been counted.
  void addRow(std::string& text);

 private:
  struct Caller {
    std::uint64_t callsMade = 0;
    std::uint64_t seconds = 0;
    std::uint64_t calls = 0;          // made and received
    std::uint64_t callsToBefore = 0;  // those whose other party has `before` = 1
    std::uint32_t group = 0;          // from 1; 0: none
    bool before = false;
  };

  double probabilityOf(const Caller& caller) const;

  std::uint64_t firstCaller;
  std::vector<Caller> callers;  // by number
  std::vector<double> levels;   // by group; [0] is for callers without a group
  std::uint64_t totalCalls = 0;
  std::uint64_t totalSeconds = 0;
  std::uint64_t rowsMade = 0;
  Xoshiro256 random;
};

}  // namespace vesk_generate

#endif  // VESK_GENERATE_OUTCOME_GENERATOR_H
