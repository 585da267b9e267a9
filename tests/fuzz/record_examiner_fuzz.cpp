// Any bytes as a record file, under settings that the first bytes choose: its lines do not depend on the blocks in
// which they are read; of those that the examiner accepts the loader omits none, and reads every number that it uses as
// it is written.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <vector>

#include "command.h"
#include "files/input_bytes.h"
#include "fuzz_support.h"
#include "line_scan.h"
#include "loader/literal_cases.h"
#include "loader_common.h"
#include "loader_tables.h"
#include "record_scan.h"
#include "records/line_examiner.h"
#include "records/record_lines.h"

namespace {

using vesk_loader::LoaderSettings;
using vesk_loader::testing::ByteChoices;

const std::string padding(64, 'x');

LoaderSettings settingsOf(ByteChoices& choices) {
  LoaderSettings settings;
  const std::uint32_t fieldCount = 2 + choices.below(4);
  const auto field = [&] { return static_cast<std::int32_t>(choices.below(fieldCount)); };
  for (std::uint32_t i = 0; i < fieldCount; ++i) {
    const auto start = static_cast<std::int32_t>(choices.below(24));
    settings.fieldNames.emplace_back(1, static_cast<char>('a' + i));
    settings.fieldTypes.emplace_back("Numeric");
    settings.fieldStarts.push_back(start);
    settings.fieldEnds.push_back(start + static_cast<std::int32_t>(choices.below(20)));
  }
  settings.keyField = field();
  if (choices.below(2) == 1) settings.multiplicityField = field();
  settings.sparse = 1;
  const std::uint32_t kind = choices.below(3);
  const std::uint32_t operations = kind == 1 ? 1 : 1 + choices.below(3);
  for (std::uint32_t i = 0; i < operations; ++i) {
    constexpr std::array<const char*, 6> conditions = {"NoCondition", "EQ", "LE", "GE", "GT", "LT"};
    settings.operationNames.emplace_back(kind == 0               ? "CyclicAdd"
                                         : kind == 1             ? "PairSum"
                                         : choices.below(2) == 1 ? "Add"
                                                                 : "Count");
    settings.operationInputs.push_back(field());
    settings.operationOutputs.push_back(static_cast<std::int32_t>(choices.below(3)));
    settings.operationConditions.emplace_back(conditions[choices.below(conditions.size())]);
    settings.operationThresholds.push_back(choices.below(10));
  }
  if (kind == 0) {
    settings.cyclicTableSize = 1 + static_cast<std::int32_t>(choices.below(4));
    if (choices.below(2) == 1) settings.dateField = field();
    if (choices.below(2) == 1) settings.payloadInputs.push_back(field());
    settings.specialListFilter = static_cast<vesk_loader::SpecialListFilter>(choices.below(3));
    settings.specialList.assign({1.0, 5.0});
  }
  settings.pairSumFlag = kind == 1 ? 1 : 0;
  return settings;
}

struct ReadLine {
  std::string text;
  std::uint64_t byte = 0;
  bool hasEnd = true;
  bool canBeLoaded = false;
  bool operator==(const ReadLine&) const = default;
};

/// The lines of a file, or none if it cannot be read.
std::optional<std::vector<ReadLine>> linesOf(const std::string& path, std::size_t blockSize) {
  try {
    vesk::RecordLines lines(vesk_files::InputBytes(path), "file", blockSize);
    std::vector<ReadLine> read;
    vesk::RecordLine record;
    while (lines.next(record)) {
      REQUIRE(record.number == read.size() + 1);
      read.push_back({std::string(record.line.text, record.line.length), record.byte, record.hasEnd,
                      !record.isTooLong && !record.isBinary});
    }
    return read;
  } catch (const vesk::CommandFailure&) {
    return std::nullopt;
  } catch (const vesk_files::DamagedContent&) {
    return std::nullopt;
  }
}

/// The number that people read in the field: all of its one word.
double numberIn(std::string_view field) {
  constexpr std::string_view separators = " ,\t\n";
  const std::size_t first = field.find_first_not_of(separators);
  REQUIRE(first != std::string_view::npos);
  const std::string word(field.substr(first, field.find_last_not_of(separators) - first + 1));
  REQUIRE(word.find_first_not_of("0123456789.+-") == std::string::npos);
  char* end = nullptr;
  const double value = std::strtod(word.c_str(), &end);
  REQUIRE(end == word.c_str() + word.size());
  return value;
}

void requireAsWritten(const LoaderSettings& settings, const vesk::LineExaminer& examiner) {
  std::vector<std::int32_t> used = {settings.keyField};
  for (std::size_t i = 0; i < settings.operationInputs.size(); ++i) {
    const bool isUsed = settings.operationNames[i] != "Count" || settings.operationConditions[i] != "NoCondition";
    if (isUsed) used.push_back(settings.operationInputs[i]);
  }
  used.insert(used.end(), settings.payloadInputs.begin(), settings.payloadInputs.end());
  if (settings.dateField >= 0) used.push_back(settings.dateField);
  for (const std::int32_t field : used) {
    const vesk_loader::FieldText text = examiner.getFields()[static_cast<std::size_t>(field)];
    REQUIRE(vesk_loader::read_double(text) == numberIn(text.text()));
  }
  if (settings.multiplicityField < 1) return;
  const vesk_loader::FieldText text = examiner.getFields()[static_cast<std::size_t>(settings.multiplicityField)];
  const double most = settings.cyclicTableSize > 0 ? settings.cyclicTableSize : 2147483647.0;
  const double multiplicity = std::min(numberIn(text.text()), most);
  REQUIRE(std::max(multiplicity, 1.0) == std::max(1.0, std::min<double>(vesk_loader::read_integer(text), most)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  constexpr std::size_t settingsSize = 48;
  if (size < settingsSize) return 0;
  std::span<const std::uint8_t> bytes(data, size);
  ByteChoices choices(bytes.subspan(0, settingsSize));
  vesk::RecordDates dates;
  dates.format = static_cast<std::int32_t>(choices.below(3));
  if (dates.format != 0 && choices.below(2) == 1) dates.cutoff = 20200603;  // 6 March
  if (dates.format != 0 && choices.below(2) == 1) dates.lastDay = 20200401;
  const std::size_t blockSize = 1 + choices.below(300);
  const LoaderSettings settings = settingsOf(choices);
  const std::string path = folder.write("records", bytes.subspan(settingsSize));

  const auto lines = linesOf(path, std::size_t{1} << 18);
  REQUIRE(lines == linesOf(path, blockSize));
  if (!lines) return 0;

  vesk_loader::setVerbosity(0);
  const StdoutCapture silence;
  vesk_loader::start_new_file_statistics(vesk_loader::scan_statistics(), "x", settings.operationNames);
  vesk_loader::LoaderTables tables = vesk_loader::LoaderTables::create(settings);
  vesk_loader::ScanScope scope;
  scope.cutoffDate = dates.cutoff;
  scope.dateFormat = dates.format;
  std::uint32_t counter = 0;
  vesk_loader::LineScan scan(tables, settings, scope, counter);
  vesk::LineExaminer examiner(settings, dates);
  for (const ReadLine& line : *lines) {
    if (!line.canBeLoaded) continue;
    std::string padded = padding;
    padded.append(line.text).append(padding);
    const vesk_loader::Line view{padded.data() + padding.size(), line.text.size()};
    if (examiner.examine(view)) continue;
    requireAsWritten(settings, examiner);
    scan.countLine();
    scan.scanLine("x", view);
    REQUIRE(vesk_loader::scan_statistics().current().linesOmitted == 0);
  }
  scan.finish();
  vesk_loader::scan_statistics() = vesk_loader::ScanStatistics();
  return 0;
}
