#ifndef VESK_GENERATE_OUTCOME_GENERATOR_H
#define VESK_GENERATE_OUTCOME_GENERATOR_H

#include <cstdint>
#include <string>
#include <vector>

#include "call_network.h"
#include "generator_settings.h"
#include "random.h"

namespace vesk_generate {

/// Gives each caller an outcome, 0 or 1, such as the take-up of an offer: one of the month before, and one that follows
/// from the calls.
///
/// Before the calls each planted group draws whether it is one of few with a high rate, and a level of its own from -1
/// to 1. `before` is 1 with the probability highRate in a group of high rate, lowRate everywhere else. After the calls
/// `outcome` is 1 with the probability 1 / (1 + exp(-F)),
///
///   F = base + callWeight c / (c + C) + minuteWeight m / (m + M) + level + contactWeight s,
///
/// c, m   calls and minutes of the records in which the caller calls; C and M are their means over all callers. The
///        curves rise from 0, reach half of their weight at the mean, and saturate.
/// level  that of the group; 0 without a group.
/// s      of the calls that the caller makes and receives, the share whose other end has `before` = 1; 0 without calls.
///
/// A record counts as many calls as its multiplicity, and its duration once. Spoiled lines do not count.
/// Cost: 40 bytes per caller.
/// Accuracy: F is cut to a multiple of 1/1024. Only operations that IEEE 754 rounds exactly are used, so that the same
/// seed gives the same outcomes on every machine.
class OutcomeGenerator {
 public:
  static constexpr double highShare = 0.125;  ///< of the groups
  static constexpr double highRate = 0.4;
  static constexpr double lowRate = 0.02;
  static constexpr double base = -4.125;
  static constexpr double callWeight = 1.5;
  static constexpr double minuteWeight = 1.0;
  static constexpr double contactWeight = 6.0;

  static constexpr const char* header = "caller,before,outcome\n";

  /// Draws what is known before the calls.
  OutcomeGenerator(const GeneratorSettings& settings, const CallNetwork& network);

  /// Counts a record that is written.
  /// Requires: numbers of the network.
  void addRecord(const CallNetwork::Call& call, std::uint32_t seconds, std::uint32_t multiplicity);

  std::uint64_t callersLeft() const { return callers.size() - rowsMade; }
  /// Appends the row of the next caller, by ascending number, with the line feed.
  /// Requires: callersLeft() > 0, all
  /// records have been counted.
  void addRow(std::string& text);

 private:
  struct Caller {
    std::uint64_t callsMade = 0;
    std::uint64_t seconds = 0;
    std::uint64_t calls = 0;          // made and received
    std::uint64_t callsToBefore = 0;  // those of them whose other end has `before` = 1
    std::uint32_t group = 0;          // from 1; 0: none
    bool before = false;
  };

  double probabilityOf(const Caller& caller) const;

  std::uint64_t firstCaller;
  std::vector<Caller> callers;  // by number
  std::vector<double> levels;   // by group; [0] is that of callers without a group
  std::uint64_t totalCalls = 0;
  std::uint64_t totalSeconds = 0;
  std::uint64_t rowsMade = 0;
  Xoshiro256 random;
};

}  // namespace vesk_generate

#endif  // VESK_GENERATE_OUTCOME_GENERATOR_H
