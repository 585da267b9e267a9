#include "check/check_report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "check/column_ruler.h"
#include "check/input_check.h"
#include "check/run_estimate.h"
#include "files/printable.h"
#include "loader_common.h"  // of vesk-loader

namespace vesk {

namespace {

using vesk_loader::format_text;

constexpr std::size_t reportWidth = 100;

std::string share(std::uint64_t part, std::uint64_t whole) {
  if (whole == 0) return "-";
  const double percent = 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  // A share that is neither nothing nor all is not rounded to that.
  if (part > 0 && percent < 0.1) return "<0.1 %";
  if (part < whole && percent > 99.9) return ">99.9 %";
  return format_text("%.1f %%", percent);
}

std::string bytesText(double bytes) {
  if (bytes < 1e3) return format_text("%.0f bytes", bytes);
  if (bytes < 1e6) return format_text("%.0f kB", bytes / 1e3);
  if (bytes < 1e9) return format_text("%.0f MB", bytes / 1e6);
  return format_text("%.1f GB", bytes / 1e9);
}

std::string countText(double count) {
  if (count < 1e5) return format_text("%.0f", count);
  if (count < 1e6) return format_text("%.0f thousand", count / 1e3);
  return format_text("%.1f million", count / 1e6);
}

/// "A to B", or A if both read alike.
std::string rangeText(const Estimate& estimate, std::string (*text)(double)) {
  const std::string low = text(estimate.low);
  const std::string high = text(estimate.high);
  return low == high ? low : low + " to " + high;
}

/// A text in lines of the report's width, the further ones indented.
std::string wrapped(std::string text, std::size_t indent) {
  std::string result;
  while (text.size() > reportWidth) {
    const std::size_t cut = text.rfind(' ', reportWidth);
    if (cut == std::string::npos || text.find_first_not_of(' ') > cut) break;
    result.append(text, 0, cut).append("\n");
    text = std::string(indent, ' ') + text.substr(cut + 1);
  }
  return result.append(text).append("\n");
}

class ReportWriter {
 public:
  explicit ReportWriter(const CheckResult& checkResult)
      : result(checkResult), settings(checkResult.parameters.settings), sample(checkResult.sample) {}

  std::string writeAll() {
    const bool hasFields = !settings.fieldStarts.empty();
    if (hasFields) writeParameters();
    writeInput();
    if (!sample.firstLines.empty()) writeRuler();
    if (hasFields && sample.lines > 0) {
      writeFields();
      if (settings.dateField >= 0 && sample.dates.getLines() > 0) writeDates();
    }
    if (sample.canExamine && sample.lines > 0) {
      writeLines();
      if (sample.accepted > 0) {
        writeOperations();
        writeEstimate();
      }
    }
    writeFindings();
    return std::move(text);
  }

 private:
  void heading(const std::string& title) { text.append(text.empty() ? "" : "\n").append(title).append("\n"); }
  void line(const std::string& content) { text += wrapped("  " + content, 4); }

  void writeParameters() {
    heading("Parameters: " + vesk_files::printable(result.parameterName));
    if (settings.cyclicTableSize > 0) {
      line(format_text("table run, the last %d %s of a caller", settings.cyclicTableSize,
                       settings.distinctCyclicTable ? "different callees" : "calls"));
    } else {
      line(settings.pairSumFlag != 0 ? "pair sum run" : "sums run");
    }
    constexpr const char* forms[] = {"Binary", "XML", "CSV"};
    const bool isBinary = settings.outputFormat == vesk_loader::OutputFormat::Binary;
    const char* const form =
        isBinary ? (settings.sparse != 0 ? "Sparse" : "Dense") : forms[static_cast<std::size_t>(settings.outputFormat)];
    line(format_text("output %s, %d partition%s", form, settings.numberOfPartitions,
                     settings.numberOfPartitions == 1 ? "" : "s"));
    if (settings.specialList.size() > 0) {
      const bool excludes = settings.specialListFilter == vesk_loader::SpecialListFilter::Exclude;
      line(format_text("special list of %zu numbers, %s", settings.specialList.size(),
                       excludes ? "which are left out" : "which alone are taken"));
    }
  }

  void writeInput() {
    heading("Input: " + vesk_files::printable(result.inputName));
    double bytes = 0.0;
    std::uint64_t compressed = 0;
    for (const FileSample& file : sample.files) {
      bytes += static_cast<double>(file.file.bytes);
      if (file.compression != vesk_files::Compression::None) ++compressed;
    }
    std::string files = format_text("%zu file%s, ", sample.files.size(), sample.files.size() == 1 ? "" : "s");
    files += bytesText(bytes);
    if (compressed > 0) files += format_text(", %llu compressed", static_cast<unsigned long long>(compressed));
    line(files + format_text("; %llu lines read", static_cast<unsigned long long>(sample.lines)));
  }

  void writeRuler() {
    heading(sample.accepted > 0 ? "Columns of the first lines that would be loaded" : "Columns of the first lines");
    text += drawRuler(settings, sample.firstLines);
  }

  std::string usesOf(std::size_t field) const {
    const auto index = static_cast<std::int32_t>(field);
    std::string uses;
    const auto add = [&uses](const std::string& use) { uses.append(uses.empty() ? "" : ", ").append(use); };
    if (index == settings.keyField) add("key");
    if (index == settings.dateField) add("date");
    if (index == settings.multiplicityField && index >= 1) add("multiplicity");
    for (std::size_t i = 0; i < settings.operationInputs.size(); ++i) {
      if (settings.operationInputs[i] == index && uses.find(settings.operationNames[i]) == std::string::npos) {
        add(settings.operationNames[i]);
      }
    }
    if (std::ranges::find(settings.payloadInputs, index) != settings.payloadInputs.end()) add("payload");
    return uses.empty() ? "none" : uses;
  }

  void writeFields() {
    heading("Fields");
    text += "  no name           columns   blank  number        smallest         largest longest  use\n";
    for (std::size_t i = 0; i < sample.fields.size(); ++i) {
      const FieldSamples& field = sample.fields[i];
      const std::string columns = format_text("%d-%d", settings.fieldStarts[i] + 1, settings.fieldEnds[i] + 1);
      const std::string smallest = field.numbers > 0 ? format_text("%.15g", field.smallest) : "-";
      const std::string largest = field.numbers > 0 ? format_text("%.15g", field.largest) : "-";
      text += wrapped(
          format_text("  %2zu %-12.12s %9s %7s %7s %15s %15s %7zu  ", i + 1,
                      vesk_files::printable(settings.fieldNames[i]).c_str(), columns.c_str(),
                      share(field.blanks, field.lines).c_str(), share(field.of(WordKind::Plain), field.lines).c_str(),
                      smallest.c_str(), largest.c_str(), field.longest) +
              usesOf(i),
          6);
      std::string samples = "such as";
      for (const std::string& one : field.samples) samples += " [" + vesk_files::printable(one) + "]";
      if (!field.samples.empty()) text += wrapped("      " + samples, 6);
      writeKinds(field);
    }
  }

  void writeKinds(const FieldSamples& field) {
    std::string kinds;
    const auto add = [&](std::uint64_t count, const char* what) {
      if (count > 0) kinds.append(kinds.empty() ? "" : ", ").append(share(count, field.lines)).append(" ").append(what);
    };
    add(field.of(WordKind::Signed), "with a sign");
    add(field.of(WordKind::Fraction), "with a point");
    add(field.of(WordKind::Exponent), "with an exponent");
    add(field.of(WordKind::Hexadecimal), "hexadecimal");
    add(field.of(WordKind::Text), "text");
    add(field.innerBlanks, "of several words");
    add(field.separators, "with a comma or tab");
    add(field.above53, "above 2^53");
    if (!kinds.empty()) text += wrapped("      " + kinds, 6);
  }

  void writeDates() {
    heading("Dates");
    const DateCounts& counts = sample.dates;
    for (const std::int32_t format : {MonthFirst, DayFirst}) {
      if (result.dates.format != NoDates && result.dates.format != format) continue;
      const DateReading reading = readDates(counts, format);
      std::string content = std::string("read as ") + nameOfDates(format) + ": ";
      if (reading.days > 0) {
        content += isoText(reading.first) + " to " + isoText(reading.last) + ", " +
                   format_text("%zu day%s", reading.differentDays, reading.differentDays == 1 ? "" : "s");
      } else {
        content += "no day";
      }
      if (reading.noDays > 0) content += "; " + share(reading.noDays, counts.getLines()) + " no day of the calendar";
      if (counts.getOthers() > 0) content += "; " + share(counts.getOthers(), counts.getLines()) + " not eight digits";
      line(content);
    }
    if (result.dates.format == NoDates) line("the dates are not considered");
    if (result.dates.cutoff == 0.0) return;
    const auto day = dayOf(static_cast<std::uint32_t>(result.dates.cutoff), DayFirst);
    line("cutoff " + (day ? isoText(*day) : format_text("%.0f", result.dates.cutoff)) +
         format_text(", %d days before %s: ", settings.dateHorizon, result.dayText.c_str()) +
         format_text("%llu of %llu lines (", static_cast<unsigned long long>(sample.beforeCutoff),
                     static_cast<unsigned long long>(counts.getLines())) +
         share(sample.beforeCutoff, counts.getLines()) + ") lie before it");
  }

  void writeLines() {
    heading("Lines");
    line(format_text("%llu of %llu would be loaded (", static_cast<unsigned long long>(sample.accepted),
                     static_cast<unsigned long long>(sample.lines)) +
         share(sample.accepted, sample.lines) + ")");
    for (std::size_t cause = 0; cause < CauseCount; ++cause) {
      if (sample.refused[cause] == 0) continue;
      const RefusedExample& example = sample.examples[cause];
      std::string content = format_text("%llu ", static_cast<unsigned long long>(sample.refused[cause]));
      content.append(nameOf(static_cast<Cause>(cause))).append(": ").append(vesk_files::printable(example.file));
      content += format_text(":%llu", static_cast<unsigned long long>(example.line));
      if (example.field != Refusal::WholeLine) content += ": " + describeField(settings, example.field);
      line(content + " [" + vesk_files::printable(example.text) + "]");
    }
  }

  void writeOperations() {
    heading("Operations on the lines that would be loaded");
    for (std::size_t i = 0; i < sample.operations.size(); ++i) {
      const OperationSample& operation = sample.operations[i];
      const std::string& name = settings.operationNames[i];
      std::string content =
          name + " of " + describeField(settings, static_cast<std::size_t>(settings.operationInputs[i]));
      if (settings.operationConditions[i] != "NoCondition") {
        content += " if " + settings.operationConditions[i] + format_text(" %g", settings.operationThresholds[i]);
      }
      content += ": " + share(operation.done, sample.accepted) + " of the lines, ";
      if (name == "CyclicAdd") {
        content += format_text("%.0f entries", operation.sum);
      } else if (name == "PairSum") {
        content += format_text("%zu pairs, weight %.0f", sample.pairs.size(), operation.sum);
      } else {
        content += format_text("%.15g in all, to output %d", operation.sum, settings.operationOutputs[i] + 1);
      }
      if (operation.restricted > 0) content += "; the list leaves out " + share(operation.restricted, sample.accepted);
      line(content);
    }
    if (!settings.payloadInputs.empty())
      line(format_text("payloads of each entry: %zu", settings.payloadInputs.size()));
  }

  void writeEstimate() {
    const RunEstimate estimate = estimateRun(settings, sample);
    heading("Estimate for the whole input, without what a state holds already");
    line("lines: " + countText(estimate.lines) + format_text(" of %.0f bytes", estimate.lineBytes));
    line("callers: " + rangeText(estimate.callers, countText) +
         "; memory of a caller: " + bytesText(estimate.callerBytes) +
         (estimate.fullCallerBytes > 0 ? ", with a full table " + bytesText(estimate.fullCallerBytes) : ""));
    line("memory: " + rangeText(estimate.memory, bytesText));
    line("disk: state " + rangeText(estimate.state, bytesText) + ", dataset " + rangeText(estimate.dataset, bytesText));
    const double seconds = estimate.seconds;
    const std::string time = seconds < 0.1 ? "less than 0.1" : format_text("about %.*f", seconds < 10 ? 1 : 0, seconds);
    line("time: " + time + " s of the loader on one core");
  }

  void writeFindings() {
    heading("Findings");
    if (result.findings.empty()) line("none");
    for (const bool errors : {true, false}) {
      for (const ParameterFinding& finding : result.findings) {
        if (finding.isError == errors) text += wrapped((errors ? "  error: " : "  remark: ") + finding.text, 4);
      }
    }
  }

  const CheckResult& result;
  const vesk_loader::LoaderSettings& settings;
  const InputSample& sample;
  std::string text;
};

}  // namespace

std::string writeCheckReport(const CheckResult& result) { return ReportWriter(result).writeAll(); }

}  // namespace vesk
