#ifndef VESK_GENERATE_CSV_RECORDS_H
#define VESK_GENERATE_CSV_RECORDS_H

#include <chrono>
#include <cstdint>
#include <string>

#include "random.h"
#include "record_generator.h"

namespace vesk_generate {

/// The records of a generator as rows of a CSV file such as a billing system exports.
///
/// Columns: caller, callee, start, duration, calls, note. A subscriber has one text, +49151 and the number with at
/// least
///          eight digits; every seventh one is in quotes and has blanks. The start is an ISO 8601 time, in UTC or
///          with the offset +01:00; its UTC date is the day of the record. Durations are seconds
///          or h:mm:ss. Some notes have commas, quotes and line feeds.
/// The calls, days, durations and numbers of calls are those of the fixed-column lines of the same settings.
class CsvRecords {
 public:
  static constexpr const char* header = "caller,callee,start,duration,calls,note\n";

  /// `badShare` of the rows have one mistake: no callee, a date that no calendar has, cells missing or too many, a
  /// duration or a number of calls that is none. The generator is borrowed.
  CsvRecords(RecordGenerator& generator, const GeneratorSettings& settings, double badShare);

  /// Appends the row of the next record with its line feed.
  /// Requires: the generator has records left.
  void addRow(std::string& text);

  std::uint64_t getBadRows() const { return badRows; }

 private:
  void addTime(std::string& text, std::uint64_t day);
  void addDuration(std::string& text, std::uint32_t seconds);
  void addNote(std::string& text);

  RecordGenerator& records;
  Xoshiro256 random;
  std::uint64_t badThreshold;
  std::chrono::sys_days firstDay;
  std::uint64_t badRows = 0;
};

/// The text of a subscriber, in quotes where it has blanks.
std::string subscriberText(std::uint64_t number);

}  // namespace vesk_generate

#endif  // VESK_GENERATE_CSV_RECORDS_H
