#include "csv_records.h"

namespace vesk_generate {

namespace {

enum class RowMistake : std::uint64_t { NoCallee, NoSuchDay, CellsMissing, ExtraCell, NoDuration, NoCount };
constexpr std::uint64_t rowMistakes = 6;

constexpr std::uint64_t secondsOfDay = 86400;
constexpr std::uint64_t subscribersPerQuoted = 7;

/// Appends the number with at least `digits` digits.
void addNumber(std::string& text, std::uint64_t number, std::size_t digits = 1) {
  const std::string plain = std::to_string(number);
  if (plain.size() < digits) text.append(digits - plain.size(), '0');
  text += plain;
}

void addClock(std::string& text, std::uint64_t seconds) {
  addNumber(text, seconds / 3600, 2);
  text += ':';
  addNumber(text, seconds / 60 % 60, 2);
  text += ':';
  addNumber(text, seconds % 60, 2);
}

}  // namespace

std::string subscriberText(std::uint64_t number) {
  constexpr std::size_t leastDigits = 8;
  std::string digits;
  addNumber(digits, number, leastDigits);
  if (number % subscribersPerQuoted != 0) return "+49151" + digits;
  return "\"+49 151 " + digits.substr(0, 4) + " " + digits.substr(4) + "\"";
}

CsvRecords::CsvRecords(RecordGenerator& generator, const GeneratorSettings& settings, double badShare)
    : records(generator),
      random(settings.seed, RandomStream::Csv),
      badThreshold(shareThreshold(badShare)),
      firstDay(settings.startDate) {}

void CsvRecords::addRow(std::string& text) {
  const CallRecord record = records.draw();
  const bool isBad = random.hit(badThreshold);
  const auto mistake = static_cast<RowMistake>(random.below(rowMistakes));
  const auto has = [&](RowMistake m) { return isBad && mistake == m; };
  if (isBad) ++badRows;
  text += subscriberText(record.call.caller);
  text += ',';
  if (!has(RowMistake::NoCallee)) text += subscriberText(record.call.callee);
  text += ',';
  if (has(RowMistake::NoSuchDay)) {
    text += "2020-02-30T12:00:00Z";
  } else {
    addTime(text, record.day);
  }
  if (has(RowMistake::CellsMissing)) {
    text += '\n';
    return;
  }
  text += ',';
  if (has(RowMistake::NoDuration)) {
    text += "n/a";
  } else {
    addDuration(text, record.duration);
  }
  text += has(RowMistake::NoCount) ? ",-" : ",";
  addNumber(text, record.multiplicity);
  text += ',';
  addNote(text);
  text += has(RowMistake::ExtraCell) ? ",?\n" : "\n";
}

void CsvRecords::addTime(std::string& text, std::uint64_t day) {
  const bool isUtc = random.below(4) > 0;
  const std::uint64_t local = random.below(secondsOfDay) + (isUtc ? 0 : 3600);
  const std::chrono::year_month_day date = firstDay + std::chrono::days(static_cast<int>(day + local / secondsOfDay));
  addNumber(text, static_cast<std::uint64_t>(static_cast<int>(date.year())), 4);
  text += '-';
  addNumber(text, static_cast<unsigned>(date.month()), 2);
  text += '-';
  addNumber(text, static_cast<unsigned>(date.day()), 2);
  text += 'T';
  addClock(text, local % secondsOfDay);
  text += isUtc ? "Z" : "+01:00";
}

void CsvRecords::addDuration(std::string& text, std::uint32_t seconds) {
  if (random.below(8) > 0) return addNumber(text, seconds);
  addNumber(text, seconds / 3600);
  text += ':';
  addNumber(text, seconds / 60 % 60, 2);
  text += ':';
  addNumber(text, seconds % 60, 2);
}

void CsvRecords::addNote(std::string& text) {
  switch (random.below(32)) {
    case 0:
      text += "\"forwarded, twice\"";
      break;
    case 1:
      text += "\"said \"\"hello\"\"\"";
      break;
    case 2:
      text += "\"two\nlines\"";
      break;
    default:
      break;
  }
}

}  // namespace vesk_generate
