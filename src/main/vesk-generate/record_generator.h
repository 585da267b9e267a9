#ifndef VESK_GENERATE_RECORD_GENERATOR_H
#define VESK_GENERATE_RECORD_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bad_lines.h"
#include "call_network.h"
#include "dates.h"
#include "generator_settings.h"
#include "outcome_generator.h"
#include "random.h"

namespace vesk_generate {

/// A call of the network with what is drawn for it.
struct CallRecord {
  CallNetwork::Call call;
  std::uint64_t day;       ///< from 0
  std::uint32_t duration;  ///< seconds
  std::uint32_t multiplicity;
};

/// Makes the records of the settings as lines of text, one after the other.
///
/// Cost: the network's memory and nothing else; no allocation after construction.
class RecordGenerator {
 public:
  /// Errors: std::invalid_argument from checkSettings; std::bad_alloc when the callers do not fit into memory.
  explicit RecordGenerator(const GeneratorSettings& settings);

  /// Writes the next lines, or all that are left when these are fewer. The result is the number of bytes written.
  ///
  /// Requires: buffer.size() >= lines * lineBytes(), else std::length_error and nothing is written.
  [[nodiscard]] std::size_t fill(std::uint64_t lines, std::span<char> buffer);

  /// Draws the next record without its line. It counts in no outcomes and is never spoiled.
  ///
  /// Requires: recordsLeft() > 0.
  CallRecord draw();

  /// Counts each following record that is not spoiled in the outcomes, which are borrowed.
  void countInto(OutcomeGenerator& generator) { outcomes = &generator; }

  /// Bytes of a line with its line feed; only a short line, which is a bad one, has fewer.
  std::size_t lineBytes() const { return blankLine.size(); }

  std::uint64_t recordsLeft() const { return settings.records - recordsMade; }
  std::uint64_t getRecordsMade() const { return recordsMade; }
  const BadLineCounts& getBadLines() const { return spoiler.getCounts(); }
  const CallNetwork& getNetwork() const { return network; }

 private:
  std::size_t writeLine(char* line);
  std::uint64_t drawDay();
  std::uint32_t drawMultiplicity(std::uint64_t bits) const;

  GeneratorSettings settings;
  CallNetwork network;
  LineSpoiler spoiler;
  Xoshiro256 random;
  std::vector<DateText> dates;           // by day
  std::vector<std::uint32_t> durations;  // quantiles
  std::vector<char> blankLine;           // blanks and the line feed
  std::uint64_t recordsMade = 0;
  OutcomeGenerator* outcomes = nullptr;  // null: records are not counted
};

}  // namespace vesk_generate

#endif  // VESK_GENERATE_RECORD_GENERATOR_H
