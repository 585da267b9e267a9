#include "check/input_sample.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "files/printable.h"
#include "loader_dates.h"  // of vesk-loader
#include "number_reading.h"
#include "operations.h"
#include "records/record_lines.h"
#include "scan_plan.h"

namespace vesk {

namespace {

constexpr std::size_t shownLines = 3;

bool hasLetter(std::string_view text) {
  return std::ranges::any_of(text, [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); });
}

bool looksSeparated(std::string_view line) {
  const auto count = [line](char c) { return std::ranges::count(line, c); };
  return count(',') >= 2 || count(';') >= 2 || count('\t') >= 1 || count('|') >= 2;
}

/// Whether a plain file ends without a line end.
bool lacksLineFeed(const vesk_files::Descriptor& file, std::uint64_t bytes) {
  char last = '\n';
  return bytes > 0 && ::pread(file.get(), &last, 1, static_cast<off_t>(bytes - 1)) == 1 && last != '\n';
}

class InputSampler {
 public:
  InputSampler(const vesk_loader::LoaderSettings& loaderSettings, const RecordDates& recordDates)
      : settings(loaderSettings),
        dates(recordDates),
        fields(loaderSettings.fieldStarts, loaderSettings.fieldEnds),
        cutoff(recordDates.cutoff, static_cast<std::uint32_t>(recordDates.format)) {
    sample.canExamine = canExamineLines(settings);
    sample.operations.resize(settings.operationNames.size());
    // Lines before the horizon are counted beside the examiner, which names one cause of a line only.
    if (sample.canExamine) examiner = std::make_unique<LineExaminer>(settings, dates);
  }

  /// @return the lines read
  std::uint64_t addFile(const InputFile& file, std::uint64_t mostLines) {
    FileSample& read = sample.files.emplace_back();
    read.file = file;
    try {
      vesk_files::Descriptor open = openInput(file);
      const bool isCut = lacksLineFeed(open, file.bytes);
      vesk_files::InputBytes bytes(std::move(open));
      read.compression = bytes.getCompression();
      readLines(RecordLines(std::move(bytes), vesk_files::printable(file.path)), mostLines, read);
      if (read.compression == vesk_files::Compression::None) read.lacksEnd = isCut;
    } catch (const std::exception& failure) {
      read.failure = failure.what();
    }
    sample.lines += read.lines;
    return read.lines;
  }

  InputSample finish() {
    sample.fields = fields.getFields();
    if (sample.firstLines.empty()) sample.firstLines = std::move(otherLines);
    return std::move(sample);
  }

 private:
  void readLines(RecordLines reader, std::uint64_t mostLines, FileSample& read) {
    RecordLine record;
    while (true) {
      if (read.lines == mostLines) break;
      if (!reader.next(record)) {
        read.isWhole = true;
        break;
      }
      ++read.lines;
      read.contentBytes = record.byte + record.line.length + (record.hasReturn ? 2 : 1);
      if (record.hasReturn) ++read.returns;
      if (!record.hasEnd) read.lacksEnd = true;
      addLine(record, read);
    }
    // A header has lines of numbers below it.
    if (read.numberLines == 0 || read.numberLines * 2 < read.lines - 1) read.header.clear();
    read.hasMark = reader.hasMark();
    read.storedBytes = reader.getBytes().storedBytes();
  }

  void addLine(const RecordLine& record, FileSample& read) {
    if (record.isBinary || record.isTooLong) {
      refuse({record.isBinary ? Cause::Binary : Cause::LongLine}, record, read);
      return;
    }
    const std::string_view line(record.line.text, record.line.length);
    if (looksSeparated(line)) ++read.lineCommas;
    const Words words = countWords(line);
    if (words.numbers >= 2) ++read.numberLines;
    if (record.number == 1 && words.numbers == 0 && words.texts >= 2) {
      read.header = line;
    } else {
      fields.add(line);
      addDate(line);
    }
    if (!examiner) {
      keepLine(line, otherLines);
      return;
    }
    const std::optional<Refusal> refusal = examiner->examine(record.line);
    if (refusal) {
      keepLine(line, otherLines);
      refuse(*refusal, record, read);
      return;
    }
    ++read.accepted;
    ++sample.accepted;
    keepLine(line, sample.firstLines);
    apply();
  }

  static void keepLine(std::string_view line, std::vector<std::string>& lines) {
    if (lines.size() < shownLines) lines.emplace_back(line);
  }

  struct Words {
    std::size_t numbers = 0;
    std::size_t texts = 0;  ///< with a letter
  };

  Words countWords(std::string_view line) const {
    Words words;
    for (std::size_t i = 0; i < settings.fieldStarts.size(); ++i) {
      const std::string_view word = fields.wordOf(line, i);
      if (word.empty()) continue;
      if (kindOf(word) != WordKind::Text) {
        ++words.numbers;
      } else if (hasLetter(word)) {
        ++words.texts;
      }
    }
    return words;
  }

  void addDate(std::string_view line) {
    if (settings.dateField < 0 || static_cast<std::size_t>(settings.dateField) >= settings.fieldStarts.size()) return;
    const std::string_view word = fields.wordOf(line, static_cast<std::size_t>(settings.dateField));
    if (word.empty()) return;
    sample.dates.add(word);
    constexpr std::size_t dateDigits = 8;
    if (dates.cutoff != 0.0 && dates.format != NoDates && word.size() == dateDigits &&
        kindOf(word) == WordKind::Plain && cutoff.isBefore(vesk_loader::read_double_by_library(word))) {
      ++sample.beforeCutoff;
    }
  }

  void refuse(const Refusal& refusal, const RecordLine& record, const FileSample& read) {
    const auto cause = static_cast<std::size_t>(refusal.cause);
    if (sample.refused[cause]++ > 0) return;
    const std::string_view line(record.line.text, record.line.length);
    const bool ofField = refusal.field < settings.fieldStarts.size();
    std::string_view text = line;
    if (ofField) {
      const auto first = static_cast<std::size_t>(std::max(settings.fieldStarts[refusal.field], 0));
      const auto last = static_cast<std::size_t>(std::max(settings.fieldEnds[refusal.field], 0));
      text = first < line.size() && last >= first ? line.substr(first, last - first + 1) : std::string_view();
    }
    constexpr std::size_t longest = 60;
    sample.examples[cause] = {read.file.path, record.number, refusal.field, std::string(text.substr(0, longest))};
  }

  double valueOf(std::int32_t field) const {
    return vesk_loader::read_double(examiner->getFields()[static_cast<std::size_t>(field)]);
  }

  std::int32_t multiplicity() const {
    if (settings.multiplicityField < 1) return 1;
    const auto number =
        vesk_loader::read_integer(examiner->getFields()[static_cast<std::size_t>(settings.multiplicityField)]);
    const std::int32_t atLeast = std::max(number, 1);
    return settings.cyclicTableSize > 0 ? std::min(atLeast, settings.cyclicTableSize) : atLeast;
  }

  void apply() {
    const double caller = valueOf(settings.keyField);
    const std::int32_t count = multiplicity();
    sample.multiplicity += static_cast<std::uint64_t>(count);
    sample.callers.insert(std::bit_cast<std::uint64_t>(caller));
    const bool isTable = settings.cyclicTableSize > 0;
    for (std::size_t i = 0; i < sample.operations.size(); ++i) {
      OperationSample& operation = sample.operations[i];
      const bool countsAll = settings.operationNames[i] == "Count" && settings.operationConditions[i] == "NoCondition";
      const double value = countsAll ? 0.0 : valueOf(settings.operationInputs[i]);
      if (isTable && isRestricted(value)) {
        ++operation.restricted;
        continue;
      }
      if (!vesk_loader::Condition::fromSettings(settings.operationConditions[i], settings.operationThresholds[i])
               .holds(value)) {
        ++operation.notHolding;
        continue;
      }
      ++operation.done;
      operation.sum += settings.operationNames[i] == "Add" ? value : count;
      if (settings.pairSumFlag != 0) {
        constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;
        sample.pairs.insert(std::bit_cast<std::uint64_t>(caller) * factor + std::bit_cast<std::uint64_t>(value));
      }
    }
  }

  bool isRestricted(double value) const {
    using vesk_loader::SpecialListFilter;
    if (settings.specialListFilter == SpecialListFilter::None) return false;
    return settings.specialList.contains(value) == (settings.specialListFilter == SpecialListFilter::Exclude);
  }

  const vesk_loader::LoaderSettings& settings;
  RecordDates dates;
  FieldSampler fields;
  vesk_loader::CutoffTest cutoff;
  std::unique_ptr<LineExaminer> examiner;
  InputSample sample;
  std::vector<std::string> otherLines;
};

}  // namespace

bool canExamineLines(const vesk_loader::LoaderSettings& settings) {
  const auto exists = [&settings](std::int32_t field) {
    return field >= 0 && static_cast<std::size_t>(field) < settings.fieldStarts.size();
  };
  bool areColumns = true;
  for (std::size_t i = 0; i < settings.fieldStarts.size(); ++i) {
    areColumns = areColumns && settings.fieldStarts[i] >= 0 && settings.fieldEnds[i] >= settings.fieldStarts[i];
  }
  return areColumns && exists(settings.keyField) && (settings.dateField == -1 || exists(settings.dateField)) &&
         (settings.multiplicityField < 1 || exists(settings.multiplicityField)) &&
         std::ranges::all_of(settings.operationInputs, exists) && std::ranges::all_of(settings.payloadInputs, exists);
}

InputSample sampleInput(const vesk_loader::LoaderSettings& settings, const std::vector<InputFile>& files,
                        const RecordDates& dates, std::uint64_t lines) {
  InputSampler sampler(settings, dates);
  // What a short file leaves goes to the files after it; of each file a few lines are read in any case.
  const std::uint64_t leastLines = std::min<std::uint64_t>(lines, 10);
  std::uint64_t left = lines;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::uint64_t filesLeft = files.size() - i;
    const std::uint64_t read = sampler.addFile(files[i], std::max(leastLines, (left + filesLeft - 1) / filesLeft));
    left -= std::min(left, read);
  }
  return sampler.finish();
}

}  // namespace vesk
