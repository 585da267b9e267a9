#include "generate.h"

#include <exception>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <variant>

#include "csv_records.h"
#include "generate_options.h"
#include "record_generator.h"
#include "record_output.h"

namespace vesk_generate {

namespace {

void flush(std::ostream& out) {
  if (!out.flush()) throw std::runtime_error("cannot write to standard output");
}

void printParams(const GenerateOptions& options, std::ostream& out) {
  writeLoaderParams(out, *options.params, options.generator.layout);
  flush(out);
}

void writeGroups(const CallNetwork& network, const std::string& path) {
  RecordOutput output(path);
  for (std::uint32_t group = 1; group <= network.groupCount(); ++group) {
    std::string line = std::to_string(group);
    for (const std::uint64_t member : network.groupMembers(group)) line.append(" ").append(std::to_string(member));
    line += '\n';
    output.write(line);
  }
  output.close();
}

void writeOutcomes(OutcomeGenerator& outcomes, RecordOutput& output) {
  constexpr std::size_t blockBytes = std::size_t{1} << 20;
  std::string block = OutcomeGenerator::header;
  while (outcomes.callersLeft() > 0) {
    outcomes.addRow(block);
    if (block.size() < blockBytes) continue;
    output.write(block);
    block.clear();
  }
  output.write(block);
  output.close();
}

/// Writes the files of the records, then the file of the outcomes if it is wanted. Returns the number of bytes of the
/// records.
std::uint64_t writeRecordsAndOutcomes(RecordGenerator& generator, const GenerateOptions& options) {
  const std::vector<std::string> names = recordFileNames(options.output, options.files);
  if (options.outcomesFile.empty()) return writeRecordFiles(generator, names);
  OutcomeGenerator outcomes(options.generator, generator.getNetwork());
  RecordOutput output(options.outcomesFile);
  generator.countInto(outcomes);
  const std::uint64_t bytes = writeRecordFiles(generator, names);
  writeOutcomes(outcomes, output);
  return bytes;
}

/// Writes the rows as CSV, each file with the header. Returns the number of bytes.
std::uint64_t writeCsv(RecordGenerator& generator, CsvRecords& rows, const GenerateOptions& options) {
  constexpr std::size_t blockBytes = std::size_t{1} << 20;
  const auto write = [&rows](std::uint64_t records, RecordOutput& output) {
    std::uint64_t bytes = 0;
    std::string block = CsvRecords::header;
    const auto flushBlock = [&] {
      output.write(block);
      bytes += block.size();
      block.clear();
    };
    for (; records > 0; --records) {
      rows.addRow(block);
      if (block.size() >= blockBytes) flushBlock();
    }
    flushBlock();
    return bytes;
  };
  return writeFiles(generator.recordsLeft(), recordFileNames(options.output, options.files), write);
}

void writeCurve(const std::string& path) {
  RecordOutput output(path);
  output.write(plantedCurveText());
  output.close();
}

void writeTable(const GenerateOptions& options, std::ostream& err) {
  constexpr std::size_t blockBytes = std::size_t{1} << 20;
  TableGenerator generator(*options.table);
  RecordOutput output(options.output);
  if (!options.curveFile.empty()) writeCurve(options.curveFile);
  std::uint64_t bytes = 0;
  std::string block = generator.getHeader();
  for (std::uint64_t row = 0; row < options.table->rows; ++row) {
    generator.addRow(block);
    if (block.size() < blockBytes && row + 1 < options.table->rows) continue;
    output.write(block);
    bytes += block.size();
    block.clear();
  }
  output.close();
  if (!options.quiet) err << options.table->rows << " rows, " << bytes << " bytes\n";
}

void printSummary(const RecordGenerator& generator, const GenerateOptions& options, std::uint64_t bytes,
                  std::ostream& err) {
  const GeneratorSettings& settings = options.generator;
  const DateText last = dateText(lastDay(settings.startDate, settings.days), DateForm::YearDayMonth);
  err << generator.getRecordsMade() << " records, " << bytes << " bytes, files: " << options.files
      << ", last day (yyyyddmm): " << std::string_view(last.data(), last.size()) << "\n";
  const BadLineCounts& counts = generator.getBadLines();
  std::string bad;
  for (std::size_t kind = 0; kind < badLineKinds; ++kind) {
    if (counts[kind] == 0) continue;
    bad.append(" ").append(badLineNames[kind]).append(" ").append(std::to_string(counts[kind]));
  }
  if (!bad.empty()) err << "bad lines:" << bad << "\n";
}

void run(const GenerateOptions& options, std::ostream& out, std::ostream& err) {
  if (options.table) return writeTable(options, err);
  if (options.params) printParams(options, out);
  if (options.output.empty() && options.groupsFile.empty()) return;
  RecordGenerator generator(options.generator);
  if (!options.groupsFile.empty()) writeGroups(generator.getNetwork(), options.groupsFile);
  if (options.output.empty()) return;
  if (options.isCsv) {
    CsvRecords rows(generator, options.generator, options.csvBadShare);
    const std::uint64_t bytes = writeCsv(generator, rows, options);
    if (options.quiet) return;
    printSummary(generator, options, bytes, err);
    err << "bad rows: " << rows.getBadRows() << "\n";
    return;
  }
  const std::uint64_t bytes = writeRecordsAndOutcomes(generator, options);
  if (!options.quiet) printSummary(generator, options, bytes, err);
}

}  // namespace

int runGenerate(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  try {
    const auto parsed = parseGenerateOptions(argc, argv, out, err);
    if (const int* status = std::get_if<int>(&parsed)) {
      flush(out);
      return *status;
    }
    run(std::get<GenerateOptions>(parsed), out, err);
    return 0;
  } catch (const std::bad_alloc&) {
    err << "vesk-generate: not enough memory for so many callers\n";
  } catch (const std::exception& error) {
    err << "vesk-generate: " << error.what() << "\n";
  }
  return 1;
}

}  // namespace vesk_generate
