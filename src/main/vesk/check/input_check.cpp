#include "check/input_check.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "check/tag_values.h"
#include "files/printable.h"
#include "files/sha256.h"

namespace vesk {

namespace {

// Below this many lines the digits beside a field say nothing.
constexpr std::uint64_t fewLines = 20;
constexpr double leastExpected = 10;

bool isShare(std::uint64_t part, std::uint64_t whole, double share) {
  return static_cast<double>(part) >= share * static_cast<double>(whole);
}

std::optional<std::chrono::sys_days> runDay(const RecordDates& dates) {
  if (dates.lastDay == 0) return std::nullopt;
  const auto last = dayOf(dates.lastDay, MonthFirst);
  if (!last) return std::nullopt;
  return *last - std::chrono::days(1);  // records of the day after are still loaded
}

std::string countOf(std::uint64_t count, const std::string& word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

class SampleCheck {
 public:
  SampleCheck(const CheckedParameters& parameters, const InputSample& readSample, const RecordDates& recordDates,
              double mostRefusedShare)
      : settings(parameters.settings), sample(readSample), dates(recordDates), mostRefused(mostRefusedShare) {}

  std::vector<ParameterFinding> findAll() {
    findInFiles();
    for (std::size_t field = 0; field < sample.fields.size(); ++field) {
      if (!isUsed(field)) continue;
      findNarrow(field, "after", sample.fields[field].after);
      findNarrow(field, "before", sample.fields[field].before);
      findOddNumbers(field);
    }
    findInDates();
    findRefusals();
    findIdleOperations();
    return std::move(findings);
  }

 private:
  void error(const std::string& text) { findings.push_back({true, text, 0, 0}); }
  void remark(const std::string& text) { findings.push_back({false, text, 0, 0}); }

  bool isUsed(std::size_t field) const {
    const auto index = static_cast<std::int32_t>(field);
    const auto has = [index](const std::vector<std::int32_t>& fields) {
      return std::ranges::find(fields, index) != fields.end();
    };
    return index == settings.keyField || index == settings.dateField ||
           (index >= 1 && index == settings.multiplicityField) || has(settings.operationInputs) ||
           has(settings.payloadInputs);
  }

  /// One finding for all files of which `holds` is true, with the first of them.
  template <class Holds>
  void findInFiles(bool isError, const Holds& holds, const std::string& text) {
    std::uint64_t count = 0;
    std::string first;
    for (const FileSample& file : sample.files) {
      if (holds(file) && count++ == 0) first = vesk_files::printable(file.file.path);
    }
    if (count == 0) return;
    std::string whole = first + ": " + text;
    if (count > 1) whole.append(" (and ").append(countOf(count - 1, "more file")).append(")");
    findings.push_back({isError, whole, 0, 0});
  }

  void findInFiles() {
    for (const FileSample& file : sample.files) {
      if (!file.failure.empty()) error(file.failure);
      if (file.header.empty() || hasHeader) continue;
      hasHeader = true;
      findInFiles(
          false, [](const FileSample& other) { return !other.header.empty(); },
          "line 1 is a header, " + inBrackets(vesk_files::printable(file.header)) + "; it is refused as a bad line");
    }
    findInFiles(
        false, [](const FileSample& file) { return file.failure.empty() && file.lines == 0; }, "holds no line");
    if (sample.accepted > 0) {
      findInFiles(
          mostRefused < 1.0, [](const FileSample& file) { return file.lines > 0 && file.accepted == 0; },
          "none of its lines would be loaded; does it belong to the input?");
    }
    findInFiles(
        false, [](const FileSample& file) { return file.compression != vesk_files::Compression::None; },
        "compressed; vesk day reads it, vesk-loader alone does not");
    findInFiles(
        false, [](const FileSample& file) { return file.hasMark; },
        "begins with a byte order mark, which vesk day drops");
    findInFiles(
        false, [](const FileSample& file) { return file.returns > 0; }, "lines end with CR LF; vesk day drops the CR");
    findInFiles(
        false, [](const FileSample& file) { return file.lacksEnd; },
        "the last line has no line end; was the file cut?");
  }

  void findNarrow(std::size_t field, const std::string& side, const EdgeSamples& edge) {
    const FieldSamples& samples = sample.fields[field];
    const std::uint64_t numbers = samples.of(WordKind::Plain);
    if (numbers < fewLines || edge.digits < fewLines || !isShare(edge.digits, numbers, 0.02) ||
        !isShare(edge.shortRuns, edge.digits, 0.9))
      return;
    if (isWholeDate(field)) return;
    // Were the digits a column of their own, as many lines would have them where the field is not full.
    const double share = static_cast<double>(edge.digits) / static_cast<double>(edge.full);
    const double expected = share * static_cast<double>(edge.apart + edge.detached);
    const bool goOn = expected >= leastExpected && static_cast<double>(edge.detached) <= expected / 10;
    // A number that always fills the field, with digits beside it that vary as those of numbers do.
    const auto different = std::ranges::count_if(edge.values, [](std::uint64_t count) { return count > 0; });
    const bool vary = edge.detached * 100 <= numbers && isShare(edge.digits, numbers, 0.8) && different >= 7 &&
                      !isShare(*std::ranges::max_element(edge.values), edge.digits, 0.4);
    const std::string lines = std::to_string(edge.digits) + " of " + countOf(numbers, "line");
    if (goOn || vary) {
      error(describeField(settings, field) + ": the numbers go on " + side + " the field: in " + lines +
            " there is a digit beside it that belongs to no field");
    } else if (isShare(edge.digits, numbers, 0.9)) {
      remark(describeField(settings, field) + ": in " + lines + " there is a digit just " + side +
             " the field that belongs to no field");
    }
  }

  bool isWholeDate(std::size_t field) const {
    if (static_cast<std::int32_t>(field) != settings.dateField) return false;
    const std::uint64_t lines = sample.dates.getLines();
    return isShare(readDates(sample.dates, DayFirst).days, lines, 0.9) ||
           isShare(readDates(sample.dates, MonthFirst).days, lines, 0.9);
  }

  void findOddNumbers(std::size_t field) {
    if (static_cast<std::int32_t>(field) == settings.dateField) return;  // findInDates says more
    const FieldSamples& samples = sample.fields[field];
    const auto say = [&](std::uint64_t count, const std::string& what) {
      if (count > 0) remark(describeField(settings, field) + ": " + countOf(count, "line") + " with " + what);
    };
    say(samples.above53, "a number above 2^53, which the loader rounds");
    say(samples.of(WordKind::Exponent), "an exponent");
    say(samples.of(WordKind::Hexadecimal),
        "a hexadecimal number, of which the loader takes the leading digits; vesk convert gives numbers to any ids");
    say(samples.of(WordKind::Text), "a text that is no number; vesk convert gives numbers to any ids");
    say(samples.of(WordKind::Signed), "a sign");
    say(samples.separators, "a comma or a tab in the field");
  }

  void findInDates() {
    if (settings.dateField < 0) return;
    const DateCounts& counts = sample.dates;
    const std::string field = describeField(settings, static_cast<std::size_t>(settings.dateField));
    if (counts.getLines() > 0 && isShare(counts.getOthers(), counts.getLines(), 0.5)) {
      const std::string_view notation = notationOf(counts.getFirstOther());
      error(field + ": " + inBrackets(vesk_files::printable(counts.getFirstOther())) + " is no date of eight digits" +
            (notation.empty() ? "" : "; these are " + std::string(notation) + ", which vesk convert reads"));
      return;
    }
    const DateReading first = readDates(counts, DayFirst);
    const DateReading second = readDates(counts, MonthFirst);
    if (first.days == 0 && second.days == 0 && counts.getLines() > 0) {
      const std::string example = std::to_string(counts.getDates().begin()->first);
      const std::string_view notation = notationOf(example);
      error(field + ": " + inBrackets(example) + " is no day of the calendar in either form" +
            (notation.empty() ? "" : "; these are " + std::string(notation)));
      return;
    }
    if (dates.format == NoDates) {
      if (settings.dateHorizon >= 0 && counts.getLines() > 0)
        remark(field + ": without a form of the dates, DateHorizon is not used");
      return;
    }
    const std::string why = whyOtherForm(counts, dates.format, runDay(dates));
    if (!why.empty()) {
      error(field + ": " + why + "; give --record-dates " + (dates.format == DayFirst ? "ymd" : "ydm"));
      return;
    }
    const DateReading& reading = dates.format == DayFirst ? first : second;
    if (reading.noDays > 0) {
      remark(field + ": " + countOf(reading.noDays, "line") + " with a number that no calendar has as " +
             nameOfDates(dates.format) + ", such as " + std::to_string(reading.firstNoDay));
    }
  }

  void findRefusals() {
    if (!sample.canExamine || sample.lines == 0) return;
    std::uint64_t refused = 0;
    std::size_t most = 0;
    for (std::size_t cause = 0; cause < CauseCount; ++cause) {
      refused += sample.refused[cause];
      if (sample.refused[cause] > sample.refused[most]) most = cause;
    }
    if (refused == 0) return;
    const std::string advice = isSeparated() ? ". The lines look like CSV, which vesk convert reads"
                               : hasNoColumns()
                                   ? ". The fields are separated by single blanks and are not in columns; vesk convert "
                                     "--delimiter ' ' reads them"
                                   : "";
    const RefusedExample& example = sample.examples[most];
    std::string text = std::string(nameOf(static_cast<Cause>(most))) + ": " + vesk_files::printable(example.file) +
                       ":" + std::to_string(example.line);
    if (example.field != Refusal::WholeLine) text += ": " + describeField(settings, example.field);
    text.append(" ").append(inBrackets(vesk_files::printable(example.text))).append(advice);
    const std::string lines = countOf(sample.lines, "line");
    if (sample.accepted == 0) {
      error("none of " + lines + " would be loaded. Most often " + text);
    } else if (static_cast<double>(refused) > mostRefused * static_cast<double>(sample.lines)) {
      error(std::to_string(refused) + " of " + lines + " would not be loaded. Most often " + text);
    }
  }

  bool isSeparated() const {
    std::uint64_t lines = 0;
    for (const FileSample& file : sample.files) lines += file.lineCommas;
    return isShare(lines, sample.lines, 0.9);
  }

  /// Whether no line is loaded and the first ones are words with one blank between any two, of different lengths.
  bool hasNoColumns() const {
    const std::vector<std::string>& lines = sample.firstLines;
    const auto hasWords = [](const std::string& line) {
      return line.find(' ') != std::string::npos && !line.starts_with(' ') && line.find("  ") == std::string::npos;
    };
    return sample.accepted == 0 && std::ranges::all_of(lines, hasWords) &&
           std::ranges::any_of(lines, [&](const std::string& line) { return line.size() != lines.front().size(); });
  }

  void findIdleOperations() {
    if (sample.accepted == 0) return;
    for (std::size_t i = 0; i < sample.operations.size(); ++i) {
      const OperationSample& operation = sample.operations[i];
      if (operation.done > 0) continue;
      remark(settings.operationNames[i] + " of " +
             describeField(settings, static_cast<std::size_t>(settings.operationInputs[i])) + " takes none of " +
             countOf(sample.accepted, "line") + ": " +
             (operation.restricted > 0 ? "the special list leaves them out" : "its condition does not hold"));
    }
  }

  const vesk_loader::LoaderSettings& settings;
  const InputSample& sample;
  RecordDates dates;
  double mostRefused;  // the share of lines that may be refused
  bool hasHeader = false;
  std::vector<ParameterFinding> findings;
};

}  // namespace

std::string describeField(const vesk_loader::LoaderSettings& settings, std::size_t field) {
  std::string text = "Field" + std::to_string(field + 1);
  if (field >= settings.fieldStarts.size()) return text;
  text.append(" (").append(settings.fieldNames[field]).append(", columns ");
  text.append(std::to_string(settings.fieldStarts[field] + 1)).append("-");
  return text.append(std::to_string(settings.fieldEnds[field] + 1)).append(")");
}

std::vector<ParameterFinding> findInSample(const CheckedParameters& parameters, const InputSample& sample,
                                           const RecordDates& dates, double mostRefused) {
  return SampleCheck(parameters, sample, dates, mostRefused).findAll();
}

std::vector<ParameterFinding> checkInput(const CheckedParameters& parameters, const std::vector<InputFile>& files,
                                         const RecordDates& dates, std::uint64_t lines) {
  const InputSample sample = sampleInput(parameters.settings, files, dates, lines);
  // How many lines may be refused is up to the run, which sees all of them.
  std::vector<ParameterFinding> findings = findInSample(parameters, sample, dates, 1.0);
  std::erase_if(findings, [](const ParameterFinding& finding) { return !finding.isError; });
  return findings;
}

std::vector<ParameterFinding> findEqualInputs(const std::vector<InputFile>& files) {
  std::map<std::uint64_t, std::vector<const InputFile*>> bySize;
  for (const InputFile& file : files) {
    if (file.bytes > 0) bySize[file.bytes].push_back(&file);
  }
  std::vector<ParameterFinding> findings;
  for (const auto& [bytes, equal] : bySize) {
    if (equal.size() < 2) continue;
    std::map<std::string, const InputFile*> byHash;
    for (const InputFile* file : equal) {
      const auto [place, isNew] = byHash.emplace(vesk_files::sha256OfFile(file->path), file);
      if (isNew) continue;
      findings.push_back(
          {true,
           vesk_files::printable(file->path) + ": holds the same as " + vesk_files::printable(place->second->path), 0,
           0});
    }
  }
  return findings;
}

}  // namespace vesk
