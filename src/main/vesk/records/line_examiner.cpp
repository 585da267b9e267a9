#include "records/line_examiner.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "number_reading.h"

namespace vesk {

namespace {

constexpr std::string_view separators = " ,\t\n";
constexpr std::uint64_t largestId = std::uint64_t{1} << 53;  // above it two ids can be one double
constexpr double largestCount = std::numeric_limits<std::int32_t>::max();

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Digits with at most one point, after at most one sign: what people read as the number that atof gives.
bool isPlainDecimal(std::string_view word) {
  if (!word.empty() && (word.front() == '+' || word.front() == '-')) word.remove_prefix(1);
  std::size_t points = 0;
  std::size_t digits = 0;
  for (const char c : word) {
    if (isDigit(c)) {
      ++digits;
    } else if (c == '.') {
      ++points;
    } else {
      return false;
    }
  }
  return digits > 0 && points <= 1;
}

// Requires: a plain decimal. Looks at the digits: the double of a number above the limit can be the limit.
bool isAboveLargestId(std::string_view word) {
  if (word.front() == '+' || word.front() == '-') word.remove_prefix(1);
  word = word.substr(0, word.find('.'));
  if (word.empty()) return false;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error != std::errc() || number > largestId;
}

// Requires: a plain decimal. Looks at the digits: the double of a long number that is not whole can be whole.
bool isWhole(std::string_view word) {
  const std::size_t point = word.find('.');
  return point == std::string_view::npos || word.find_first_not_of('0', point + 1) == std::string_view::npos;
}

std::uint32_t daysOfMonth(std::uint32_t year, std::uint32_t month) {
  constexpr std::uint32_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && isLeap ? 29 : days[month - 1];
}

}  // namespace

LineExaminer::LineExaminer(const vesk_loader::LoaderSettings& settings_, const RecordDates& dates_)
    : settings(settings_),
      dates(dates_),
      cutoff(dates_.cutoff, static_cast<std::uint32_t>(dates_.format)),
      fields(settings_.fieldStarts, settings_.fieldEnds) {
  planFields();
}

LineExaminer::UsedField& LineExaminer::use(std::int32_t field) {
  const auto index = static_cast<std::size_t>(field);
  for (UsedField& used : usedFields) {
    if (used.field == index) return used;
  }
  usedFields.push_back({index});
  return usedFields.back();
}

void LineExaminer::planFields() {
  const bool isTable = settings.cyclicTableSize > 0;
  UsedField& caller = use(settings.keyField);
  caller.isWhole = true;
  caller.isCaller = true;
  for (std::size_t i = 0; i < settings.operationInputs.size(); ++i) {
    const std::string& condition = settings.operationConditions[i];
    const bool isCount = settings.operationNames[i] == "Count";
    if (isCount && condition == "NoCondition") continue;  // counts whatever the field holds
    UsedField& input = use(settings.operationInputs[i]);
    if (isTable || settings.pairSumFlag != 0) {
      input.isWhole = true;
      input.isReserved = true;
    }
    input.isRestricted = isTable && settings.specialListFilter != vesk_loader::SpecialListFilter::None;
  }
  for (const std::int32_t payload : settings.payloadInputs) use(payload).isReserved = true;
  // The very first field is no multiplicity.
  if (settings.multiplicityField >= 1) {
    UsedField& multiplicity = use(settings.multiplicityField);
    multiplicity.isWhole = true;
    multiplicity.isCount = !isTable;  // a table holds no more entries than its size
  }
  if (settings.dateField >= 0) use(settings.dateField).isDate = dates.format != 0;
  for (UsedField& used : usedFields) {
    used.remembersDate = used.isDate && !used.isRestricted;
    if (used.isDate || used.isRestricted) continue;
    used.goodFrom = used.isCaller ? 1 : 0;
    used.goodTo = used.isWhole ? largestId : std::numeric_limits<std::uint64_t>::max();
    if (used.isCount) used.goodTo = static_cast<std::uint64_t>(largestCount);
  }
}

std::optional<Refusal> LineExaminer::examine(const vesk_loader::Line& line) {
  restricted.clear();
  if (!fields.split_fixed_fields(line)) return Refusal{Cause::ShortLine, fields.cutCount()};
  if (!fields.findWords()) return findSpacing(line);
  for (const UsedField& used : usedFields) {
    const vesk_loader::FieldText field = fields[used.field];
    std::uint64_t digits = 0;
    // Nearly every field: at most 16 digits without a sign.
    const bool isDigits =
        field.wordLength - 1 < 16 &&
        vesk_loader::read_digits(field.begin + field.wordStart + field.wordLength, field.wordLength, digits);
    if (isDigits && digits >= used.goodFrom && digits <= used.goodTo) continue;
    if (isDigits && used.remembersDate && digits == lastGoodDate) continue;
    double value = static_cast<double>(digits);
    std::optional<Cause> cause = isDigits ? std::nullopt : readNumber(used, field, value);
    if (isDigits && used.isWhole && digits > largestId) cause = Cause::NumberTooLarge;
    if (!cause) cause = judge(used, value);
    if (cause) return Refusal{*cause, used.field};
    if (isDigits && used.remembersDate) lastGoodDate = digits;
  }
  return std::nullopt;
}

std::optional<Refusal> LineExaminer::findSpacing(const vesk_loader::Line& line) const {
  for (std::size_t field = 0; field < fields.size(); ++field) {
    const std::string_view text = fields.text(field);
    const std::size_t first = text.find_first_not_of(separators);
    if (first == std::string_view::npos) {
      // A line that ends where the field starts, or before, has no such field.
      const bool isMissing = static_cast<std::size_t>(settings.fieldStarts[field]) >= line.length;
      return Refusal{isMissing ? Cause::ShortLine : Cause::Blank, field};
    }
    const std::string_view inside = text.substr(first, text.find_last_not_of(separators) - first + 1);
    const std::size_t separator = inside.find_first_of(separators);
    if (separator == std::string_view::npos) continue;
    const bool isBlank = inside.find_first_of(",\t") == std::string_view::npos;
    return Refusal{isBlank ? Cause::InnerBlank : Cause::InnerSeparator, field};
  }
  return Refusal{Cause::Blank};  // not reached: one of the fields is not one word
}

// A number in another form than digits alone.
std::optional<Cause> LineExaminer::readNumber(const UsedField& used, const vesk_loader::FieldText& field,
                                              double& value) {
  const std::string_view text = field.text();
  const std::size_t first = text.find_first_not_of(separators);
  if (text.substr(0, first).find(',') != std::string_view::npos) return Cause::InnerSeparator;  // reads as 0
  const std::string_view word = text.substr(first, text.find_last_not_of(separators) - first + 1);
  if (!isPlainDecimal(word)) return Cause::NotANumber;
  value = vesk_loader::read_double_by_library(word);
  if (!std::isfinite(value)) return Cause::NumberTooLarge;
  if (!used.isWhole) return std::nullopt;
  if (isAboveLargestId(word)) return Cause::NumberTooLarge;
  return isWhole(word) ? std::nullopt : std::optional(Cause::NotANumber);
}

std::optional<Cause> LineExaminer::judge(const UsedField& used, double value) {
  if (used.isDate) {
    const std::optional<Cause> cause = judgeDate(value);
    if (cause) return cause;
  }
  if (used.isCount && value > largestCount) return Cause::MultiplicityTooLarge;
  if (used.isCaller && value < 1.0) return Cause::CallerNotPositive;
  if (used.isReserved && (value == -1.0 || value == -2.0)) return Cause::ReservedNumber;
  if (used.isRestricted &&
      settings.specialList.contains(value) == (settings.specialListFilter == vesk_loader::SpecialListFilter::Exclude)) {
    // Once for each operation that reads the field.
    const auto operations = std::count(settings.operationInputs.begin(), settings.operationInputs.end(),
                                       static_cast<std::int32_t>(used.field));
    restricted.insert(restricted.end(), static_cast<std::size_t>(operations), {Cause::Restricted, used.field});
  }
  return std::nullopt;
}

std::optional<Cause> LineExaminer::judgeDate(double value) const {
  if (!(value >= 10000101.0 && value <= 99993112.0) || value != std::floor(value)) return Cause::NoSuchDate;
  const auto number = static_cast<std::uint32_t>(value);
  const std::uint32_t year = number / 10000;
  const bool isMonthFirst = dates.format == 2;
  const std::uint32_t month = isMonthFirst ? number / 100 % 100 : number % 100;
  const std::uint32_t day = isMonthFirst ? number % 100 : number / 100 % 100;
  if (month < 1 || month > 12 || day < 1 || day > daysOfMonth(year, month)) return Cause::NoSuchDate;
  if (dates.lastDay != 0 && year * 10000 + month * 100 + day > dates.lastDay) return Cause::AfterDay;
  if (dates.cutoff != 0.0 && cutoff.isBefore(value)) return Cause::BeforeHorizon;
  return std::nullopt;
}

}  // namespace vesk
