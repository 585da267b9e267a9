#include "literal_loader.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace vesk_loader::testing {

namespace {

constexpr std::size_t longestLine = 9999;

std::string decimal(double number) {
  std::ostringstream text;
  text << number;
  return text.str();
}

/// Towards 0, and the nearest there is; a NaN is the lowest.
std::int64_t integer(double number) {
  if (number >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
  if (std::isnan(number) || number < -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

std::string integerText(double number) { return std::to_string(integer(number)); }

std::string outputFormatName(OutputFormat format) {
  switch (format) {
    case OutputFormat::Binary:
      return "Binary";
    case OutputFormat::XML:
      return "XML";
    case OutputFormat::CSV:
      return "CSV";
  }
  return "Unknown";
}

std::string part(const std::string& text, std::size_t first, std::size_t count) {
  return first < text.size() ? text.substr(first, count) : std::string();
}

std::string fixedText(double number) {
  std::ostringstream text;
  text.setf(std::ios::fixed);
  text.precision(6);
  text << number;
  return text.str();
}

std::string problemText(Problem type) {
  switch (type) {
    case Problem::BadAllocation:
      return "bad allocation";
    case Problem::NegativeCaller:
      return "negative caller ID";
    case Problem::ConditionFails:
      return "conditions don't hold";
    case Problem::RestrictedNumber:
      return "number restrictions";
    case Problem::DroppedDate:
      return "dropped date";
    case Problem::TableLimit:
      return "table size limit reached";
    case Problem::Parsing:
      return "parsing problems";
    case Problem::Spacing:
      return "spacing problems";
  }
  return {};
}

/// One word, perhaps padded: neither blank nor with a separator inside.
bool isOneWord(const std::string& field) {
  const std::string separators = " ,\t\n";
  const std::size_t first = field.find_first_not_of(separators);
  if (first == std::string::npos) return false;
  const std::size_t last = field.find_last_not_of(separators);
  return field.substr(first, last - first + 1).find_first_of(separators) == std::string::npos;
}

}  // namespace

bool LiteralOrder::operator()(double left, double right) const {
  if (std::isnan(left)) return false;
  if (std::isnan(right)) return true;
  return left < right;
}

std::uint32_t literalPartitionOfKey(std::uint64_t key, std::uint32_t partitions) {
  const std::uint64_t k = key % 7919;
  const double phi = (std::sqrt(5.0) - 1.0) / 2.0;
  const double x = static_cast<double>(k) * phi;
  const auto b = static_cast<std::uint64_t>(std::floor(partitions * (x - std::floor(x))));
  return static_cast<std::uint32_t>(((k % partitions) * 17 + b) % partitions);
}

std::uint64_t literalUnsigned(double value) {
  constexpr double twoTo63 = 9223372036854775808.0;
  if (std::isnan(value)) return 0;
  if (value >= 2.0 * twoTo63) return std::numeric_limits<std::uint64_t>::max();
  if (value >= twoTo63) return static_cast<std::uint64_t>(value - twoTo63) + (std::uint64_t{1} << 63);
  return static_cast<std::uint64_t>(integer(value));
}

bool literalDateIsBefore(double date, double reference, std::int32_t dateFormat) {
  const std::string first = fixedText(date);
  const std::string second = fixedText(reference);
  const std::string year = part(first, 0, 4);
  const std::string month = part(first, dateFormat == 2 ? 4 : 6, 2);
  const std::string day = part(first, dateFormat == 2 ? 6 : 4, 2);
  const std::string otherYear = part(second, 0, 4);
  const std::string otherDay = part(second, 4, 2);
  const std::string otherMonth = part(second, 6, 2);
  if (year != otherYear) return year < otherYear;
  if (month != otherMonth) return month < otherMonth;
  return day < otherDay;
}

double literalCutoffDate(double startDate, std::uint32_t horizonDays) {
  const std::time_t now = std::time(nullptr);
  std::tm fields = *std::localtime(&now);
  const int number = static_cast<int>(startDate);
  fields.tm_year = number / 10000 - 1900;
  fields.tm_mday = number % 10000 / 100;
  fields.tm_mon = number % 100 - 1;
  const std::time_t start = std::mktime(&fields);
  const std::time_t cutoff = start - static_cast<std::int32_t>(horizonDays * 86400U);
  const std::tm result = *std::localtime(&cutoff);
  return (result.tm_year + 1900) * 10000.0 + result.tm_mday * 100.0 + (result.tm_mon + 1);
}

bool literalCondition(const std::string& condition, double value, double threshold) {
  if (condition == "EQ") return value == threshold;
  if (condition == "LE") return value <= threshold;
  if (condition == "GE") return value >= threshold;
  if (condition == "GT") return value > threshold;
  if (condition == "LT") return value < threshold;
  return true;
}

std::vector<std::size_t> literalSort(LiteralRow& row) {
  std::vector<std::size_t> permutation(row.size());
  for (std::size_t i = 0; i < row.size(); ++i) permutation[i] = i;
  for (std::size_t i = 0; i + 1 < row.size(); ++i) {
    for (std::size_t j = 0; j + 1 < row.size() - i; ++j) {
      if (row[j] > row[j + 1]) {
        std::swap(row[j], row[j + 1]);
        std::swap(permutation[j], permutation[j + 1]);
      }
    }
  }
  return permutation;
}

struct LiteralLoader::Line {
  const std::string& text;
  std::uint32_t number;
  bool sample;
  std::vector<std::string> fields;

  /// Beyond the last field: std::out_of_range.
  const std::string& field(std::int32_t index) const { return fields.at(static_cast<std::size_t>(index)); }
  double numberIn(std::int32_t index) const { return std::atof(field(index).c_str()); }
};

LiteralLoader::LiteralLoader(LoaderSettings theSettings, std::set<double> theSpecialNumbers, std::int32_t theVerbosity)
    : settings(std::move(theSettings)), specialNumbers(std::move(theSpecialNumbers)), verbosityLevel(theVerbosity) {}

void LiteralLoader::log(std::int32_t level, const std::string& text) {
  out += "Log;|" + std::to_string(level) + ";|" + text + ";|LogEnd\n";
}

void LiteralLoader::warn(std::int32_t code, const std::string& text) {
  out += "Warning;|" + std::to_string(code) + ";|" + text + ";|WarningEnd\n";
}

void LiteralLoader::print(const std::string& text) { out += text + "\n"; }

void LiteralLoader::error(std::int32_t code, const std::string& text) {
  out += "Error;|" + std::to_string(code) + ";|" + text + ";|ErrorEnd\n";
  out += "\n*** ERROR in function report_error at line 41 in file loader_common\n    QUVEN Terminating\n";
  throw LiteralTermination();
}

int LiteralLoader::run(const CommandLine& line, bool modeWord, const LiteralDirectory& directory) {
  log(0, "vesk-loader version is 2.0.6");
  if (modeWord && !line.singleInput) print("using input directory " + line.inputDirectory);
  if (modeWord && line.singleInput) {
    print("using single cdr file input " + line.inputDirectory + "/" + line.singleFile);
  }
  if (line.startDate == 0.0) warn(1000, "Start date is zero, possibly an input error");
  try {
    log(0, ">>> VESK loader: starting read_input_file_format: reading input file " + line.parameterFile);
    log(0, ">>> VESK loader: read input file format done.");
    logSettings(line);
    checkSettings();
    for (std::int32_t partition = 0; partition < settings.numberOfPartitions; ++partition) {
      runPartition(line, directory, static_cast<std::uint32_t>(partition));
    }
    printScanStatistics();
    log(0, "VESK loader completed succesfully.");
    return 0;
  } catch (const LiteralTermination&) {
    log(2, "Ill termination of VESK loader");
    return 99;
  }
}

void LiteralLoader::logSettings(const CommandLine& line) {
  std::ostringstream text;
  text << "VESK loader settings information:\n";
  for (std::size_t i = 0; i < settings.fieldNames.size(); ++i) {
    text << settings.fieldNames[i] << " " << settings.fieldTypes[i] << " " << settings.fieldStarts[i] << " "
         << settings.fieldEnds[i] << "\n";
  }
  text << "Cyclic table size " << settings.cyclicTableSize << "\n";
  text << "Sort cyclic table ? " << (settings.sortCyclicTable ? "Yes" : "No") << "\n";
  if (settings.distinctCyclicTable) text << "Distinct cyclic table ? Yes\n";
  text << "Key " << settings.keyField << "\n";
  text << "Sparse " << settings.sparse << "\n";
  if (!line.processFileInUse) text << "No process file will be used.\n";
  text << "Output format: " << outputFormatName(settings.outputFormat) << "\n";
  text << "Date " << settings.dateField << "\n";
  text << "Date Horizon " << settings.dateHorizon << "\n";
  text << "Start Date " << integerText(line.startDate) << "\n";
  text << "Verbosity level " << verbosityLevel << "\n";
  if (settings.outputFormat != OutputFormat::Binary) {
    warn(1000, "only BINARY format is supported by GA and DA, use other formats for debug only!");
  }
  if (settings.multiplicityField >= 1) {
    text << "Multiplicity field =  " << settings.multiplicityField << " (ignored in add operations)\n";
  } else {
    text << "No multiplicity field\n";
  }
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    text << settings.operationNames[i] << " " << settings.operationInputs[i] << " " << settings.operationOutputs[i]
         << " " << settings.operationConditions[i] << " " << settings.operationThresholds[i] << "\n";
  }
  if (settings.keyField == -1) error(1104, "Key field not specified");
  if (settings.numberOfPartitions == 1) {
    text << "All data will be processed into one file\n";
  } else {
    text << "Data will be paritioned into " << settings.numberOfPartitions << " files\n";
  }
  log(2, text.str());
}

void LiteralLoader::checkSettings() {
  if (settings.cyclicTableSize >= 1) {
    for (const std::string& name : settings.operationNames) {
      if (name != "CyclicAdd" && name != "CyclicAddPayload") {
        error(1105, "Table and non table oeration cannot be interleaved");
      }
    }
  }
  if (settings.pairSumFlag != 0) {
    if (settings.cyclicTableSize != 0 || settings.operationNames.size() != 1) {
      error(1106, "PairSum must be a sole operation");
    }
    const bool dense = settings.outputFormat == OutputFormat::Binary && settings.sparse == 0;
    if (settings.outputFormat == OutputFormat::CSV || dense) {
      error(1106, "Pairsum is supported in sparse binary and XML formats only");
    }
    if (!settings.payloadInputs.empty()) error(1105, "Payloads are not allowed with Pairsum");
  }
}

void LiteralLoader::runPartition(const CommandLine& line, const LiteralDirectory& directory, std::uint32_t partition) {
  tables = LiteralTables();
  const bool partitioned = settings.numberOfPartitions > 1;
  const std::string suffix = partitioned ? "." + std::to_string(partition) : std::string();
  if (partitioned) print("--- VESK loader: Starting partition " + std::to_string(partition));
  print(line.processFile);
  print("current output file full name = " + line.outputFile + suffix);
  if (line.processFileInUse && !readProcessFile(line.processFile + suffix)) {
    print("Process file does not present, so creating a new one...");
  }
  ScanScope scope;
  scope.dateFormat = line.dateFormat;
  scope.partition = partition;
  scope.partitions = static_cast<std::uint32_t>(settings.numberOfPartitions);
  if (settings.dateHorizon != -1 && settings.dateField != -1 && line.dateFormat != 0) {
    scope.cutoffDate = literalCutoffDate(line.startDate, static_cast<std::uint32_t>(settings.dateHorizon));
    print("Everything before " + integerText(scope.cutoffDate) + " will be dropped ");
    dropOldEntries(scope.cutoffDate, line.dateFormat);
  }
  updateProcessFile(directory, line.singleFile, scope);
  if (line.processFileInUse) writeProcessFile(line.processFile + suffix);
  if (!writePmlFile(line.outputFile + suffix)) error(1304, "Error writing pml file ");
}

void LiteralLoader::problem(Problem type, std::uint32_t line, std::int32_t operation) {
  const bool quiet = type == Problem::ConditionFails || type == Problem::RestrictedNumber ||
                     type == Problem::DroppedDate || type == Problem::TableLimit;
  if (verbosityLevel > 0 && !quiet) log(1, problemText(type) + ", line number " + std::to_string(line) + "\n");
  FileStatistics& record = statistics.back();
  if (type == Problem::RestrictedNumber) {
    ++record.restrictedNumbers.at(static_cast<std::size_t>(operation));
    return;
  }
  if (type == Problem::NegativeCaller) ++record.negativeCallers;
  if (type == Problem::DroppedDate) ++record.date;
  if (type == Problem::Parsing) ++record.parsing;
  if (type == Problem::Spacing) ++record.spacing;
  record.problemsFound = true;
  ++record.linesOmitted;
}

void LiteralLoader::printScanStatistics() {
  for (const FileStatistics& record : statistics) {
    std::ostringstream text;
    text << "Stats for file: " << record.fileName << "\n";
    if (!record.problemsFound) {
      text << record.linesScanned << " lines scanned, no problem found \n";
    } else {
      text << record.linesScanned << " lines are scanned, " << record.linesOmitted << " omitted (" << record.date
           << " date, " << record.negativeCallers << " negative callers, " << record.parsing << " parsing, "
           << record.spacing << " space in the middle)\n";
      for (std::size_t i = 0; i < record.operationNames.size(); ++i) {
        text << "  operation " << i << ": " << record.problemLines[i] << " problem cdrs, "
             << record.restrictedNumbers[i] << " restricted numbers ";
      }
      const std::string omitted = std::to_string(record.linesOmitted);
      warn(1372, omitted + ";|Warning: The total omitted lines count is " + omitted);
    }
    log(1, text.str());
  }
}

bool LiteralLoader::listDirectory(const LiteralDirectory& directory, const std::string& filter,
                                  std::vector<const LiteralDirectory::Entry*>& entries) {
  if (!directory.exists) {
    print("Error: Invalid file handle. Error is 2");
    return true;  // only an empty listing is an error
  }
  for (const LiteralDirectory::Entry& entry : directory.entries) {
    if (!filter.empty() && entry.name != filter) continue;
    print(entry.name);
    entries.push_back(&entry);
  }
  return !entries.empty();
}

void LiteralLoader::updateProcessFile(const LiteralDirectory& directory, const std::string& singleFile,
                                      const ScanScope& scope) {
  log(0, ">>> VESK loader: update_process_file ");
  std::vector<const LiteralDirectory::Entry*> entries;
  if (!listDirectory(directory, singleFile, entries)) {
    error(1200, "update_process_file: Cannot open directory " + directory.path);
  }
  for (const LiteralDirectory::Entry* entry : entries) {
    const std::string path = directory.path + "/" + entry->name;
    print("Processing " + path);
    updateMap(path, entry->bytes, scope);
  }
}

void LiteralLoader::updateMap(const std::string& path, const std::optional<std::string>& bytes, ScanScope scope) {
  log(0, ">>> VESK loader: staring update_map, file = " + path);
  if (!bytes) {
    warn(1000, "update_map: cannot open file " + path + ", ignoring");
    return;
  }
  FileStatistics record;
  record.fileName = path;
  record.index = static_cast<std::int32_t>(statistics.size());
  record.operationNames = settings.operationNames;
  record.operationCount = static_cast<std::int32_t>(settings.operationNames.size());
  record.tableRun = isTableRun();
  record.firstProblemLine.assign(settings.operationNames.size(), -1);
  record.problemLines.assign(settings.operationNames.size(), 0);
  record.restrictedNumbers.assign(settings.operationNames.size(), 0);
  record.conditions.assign(settings.operationNames.size(), 0);
  statistics.push_back(record);
  log(1, ">>> VESK loader: updating map, file = " + path + ", partition = " + std::to_string(scope.partition));

  std::uint32_t count = 0;
  const auto unexpected = [&] {
    const std::string line = std::to_string(count);
    error(1351, line + ";|update map: Unexpected error occured: last line read = " + line);
  };
  try {
    if (settings.dateField == -1 || (scope.dateFormat != 1 && scope.dateFormat != 2)) scope.cutoffDate = 0.0;
    if (settings.cyclicTableSize == 0 && settings.dateField != -1) {
      error(1350, "update map: loader does not support date field in non table operations (fix ldr file)");
    }
    scanLines(path, *bytes, scope, count);
  } catch (const LiteralTermination&) {
    unexpected();
  } catch (const LiteralFailure&) {
    unexpected();
  } catch (const std::out_of_range&) {
    unexpected();
  }
  statistics.back().linesScanned = count;
}

void LiteralLoader::scanLines(const std::string& path, const std::string& bytes, const ScanScope& scope,
                              std::uint32_t& count) {
  std::size_t rememberedLength = 0;
  std::size_t position = 0;
  for (;;) {
    const std::size_t feed = bytes.find('\n', position);
    const std::size_t length = (feed == std::string::npos ? bytes.size() : feed) - position;
    if (feed == std::string::npos && length <= longestLine) break;  // a tail without a line feed is no line
    ++count;
    if (length > longestLine) {
      ++count;
      log(2, "Vesk Loader, update_map: reading failure in line " + std::to_string(count));
      throw LiteralFailure();
    }
    std::string text = bytes.substr(position, length);
    text = text.substr(0, text.find('\0'));
    position = feed + 1;
    const bool sample = verbosityLevel == 100 || (verbosityLevel > 1 && count % 1000000 == 0);
    if (sample) log(1, path + ": " + std::to_string(count) + " lines scanned, sample line: " + text + "\n");
    if (rememberedLength == 0) {
      rememberedLength = text.size();
      log(1, "Line length = " + std::to_string(rememberedLength));
    }
    scanLine(Line{text, count, sample, {}}, scope);
  }
  log(1,
      "cdr file scan completed: " + std::to_string(count) + " lines are scanned\n>>> VESK loader: update map is done.");
}

bool LiteralLoader::splitFixedFields(const std::string& text, std::vector<std::string>& fields) const {
  const auto length = static_cast<std::int64_t>(text.size());
  for (std::size_t i = 0; i < settings.fieldStarts.size(); ++i) {
    const std::int64_t start = settings.fieldStarts[i];
    if (start < 0 || start > length) return false;
    const std::int64_t last = std::min<std::int64_t>(settings.fieldEnds[i], length - 1);
    const std::int64_t count = last < start ? 0 : last - start + 1;
    fields.push_back(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
  }
  return true;
}

void LiteralLoader::scanLine(const Line& raw, const ScanScope& scope) {
  Line line = raw;
  const bool cut = splitFixedFields(line.text, line.fields);
  if (scope.partitions > 1) {
    const bool keyMissing = settings.keyField < 0 || static_cast<std::size_t>(settings.keyField) >= line.fields.size();
    std::uint32_t owner = 0;
    if (cut || !keyMissing) {
      owner = literalPartitionOfKey(literalUnsigned(line.numberIn(settings.keyField)), scope.partitions);
    }
    if (owner != scope.partition) return;
  }
  if (!cut) return problem(Problem::Parsing, line.number, -1);
  for (const std::string& field : line.fields) {
    if (!isOneWord(field)) return problem(Problem::Spacing, line.number, -1);
  }
  if (scope.cutoffDate != 0.0) {
    const double date = line.numberIn(settings.dateField);
    if (literalDateIsBefore(date, scope.cutoffDate, scope.dateFormat)) {
      return problem(Problem::DroppedDate, line.number, -1);
    }
  }
  const std::int32_t multiplicity = multiplicityOf(line);
  if (isTableRun()) {
    tableOperations(line, multiplicity);
  } else {
    plainOperations(line, multiplicity);
  }
}

std::int32_t LiteralLoader::multiplicityOf(const Line& line) const {
  if (settings.multiplicityField < 1) return 1;
  long multiplicity = std::strtol(line.field(settings.multiplicityField).c_str(), nullptr, 10);  // atoi that can tell
  if (multiplicity < 1) multiplicity = 1;
  if (multiplicity > std::numeric_limits<std::int32_t>::max()) multiplicity = std::numeric_limits<std::int32_t>::max();
  if (isTableRun() && multiplicity > settings.cyclicTableSize) multiplicity = settings.cyclicTableSize;
  return static_cast<std::int32_t>(multiplicity);
}

void LiteralLoader::tableOperations(const Line& line, std::int32_t multiplicity) {
  const double key = line.numberIn(settings.keyField);
  if (!(key >= 1.0)) return problem(Problem::NegativeCaller, line.number, -1);
  if (line.sample) {
    log(1, "--- cyclic add sample trace \n--- caller ID (parsed) = " + integerText(key) +
               "\n--- multiplicity = " + std::to_string(multiplicity));
  }
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    if (settings.operationNames[i] != "CyclicAdd") continue;
    const double callee = line.numberIn(settings.operationInputs[i]);
    const bool listed = specialNumbers.count(callee) > 0 && !std::isnan(callee);
    const bool restricted = settings.specialListFilter == SpecialListFilter::Restrict && !listed;
    const bool excluded = settings.specialListFilter == SpecialListFilter::Exclude && listed;
    if (restricted || excluded) {
      problem(Problem::RestrictedNumber, line.number, static_cast<std::int32_t>(i));
      continue;
    }
    if (!literalCondition(settings.operationConditions[i], callee, settings.operationThresholds[i])) {
      if (line.sample) log(1, "--- skipping, conditions do not hold.");
      continue;
    }
    if (line.sample) log(1, "--- called ID (parsed) = " + integerText(callee));
    insert(line, key, callee, multiplicity);
  }
}

void LiteralLoader::insert(const Line& line, double key, double value, std::int32_t multiplicity) {
  const bool dated = settings.dateField != -1;
  if (tables.keys.count(key) == 0) {
    tables.keys[key];
    if (dated) tables.dates[key];
    tables.payloads[key].assign(settings.payloadInputs.size(), {});
  }
  LiteralRow& row = tables.keys[key];
  std::vector<LiteralRow>& columns = tables.payloads[key];
  if (settings.distinctCyclicTable) {
    removeCallee(key, value);
    multiplicity = 1;
  }
  for (std::int32_t repeat = 0; repeat < multiplicity; ++repeat) {
    row.push_back(value);
    if (dated) tables.dates[key].push_back(line.numberIn(settings.dateField));
    for (std::size_t p = 0; p < columns.size(); ++p) columns[p].push_back(line.numberIn(settings.payloadInputs[p]));
    if (row.size() > static_cast<std::size_t>(settings.cyclicTableSize)) {
      row.erase(row.begin());
      if (dated) tables.dates[key].erase(tables.dates[key].begin());
      for (LiteralRow& column : columns) column.erase(column.begin());
    }
  }
}

/// Takes the first entry of a callee out of a row, with its date and its payloads. A column that ends before the entry
/// has nothing to lose.
void LiteralLoader::removeCallee(double key, double callee) {
  LiteralRow& row = tables.keys[key];
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (row[i] != callee && !(std::isnan(row[i]) && std::isnan(callee))) continue;
    removeEntry(key, i);
    return;
  }
}

void LiteralLoader::removeEntry(double key, std::size_t entry) {
  const auto remove = [entry](LiteralRow& column) {
    if (entry < column.size()) column.erase(column.begin() + static_cast<std::ptrdiff_t>(entry));
  };
  remove(tables.keys[key]);
  remove(tables.dates[key]);
  for (LiteralRow& column : tables.payloads[key]) remove(column);
}

void LiteralLoader::plainOperations(const Line& line, std::int32_t multiplicity) {
  const double key = line.numberIn(settings.keyField);
  if (!(key >= 1.0)) return problem(Problem::NegativeCaller, line.number, -1);
  if (line.sample) log(1, "--- caller ID = " + decimal(key));
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    const std::string& name = settings.operationNames[i];
    if (name != "Add" && name != "Count" && name != "PairSum") continue;
    LiteralRow& row = tables.keys[key];
    const auto output = static_cast<std::size_t>(settings.operationOutputs[i]);
    if (name != "PairSum") {
      while (row.size() <= output) row.push_back(0.0);
    }
    const double value = line.numberIn(settings.operationInputs[i]);
    if (line.sample) {
      print("--- " + (name == "PairSum" ? "pairSum" : name) + ": called ID = " + integerText(value) +
            " multiplicity = " + std::to_string(multiplicity));
    }
    if (!literalCondition(settings.operationConditions[i], value, settings.operationThresholds[i])) {
      if (line.sample && name != "PairSum") print("--- skipping due to conditions ");
      continue;
    }
    if (name == "Add") row[output] += value;
    if (name == "Count") row[output] += static_cast<double>(multiplicity);
    if (name == "PairSum") {
      double& weight = tables.pairs[key][value];
      weight += static_cast<double>(multiplicity);
      if (line.sample) {
        print("line " + std::to_string(line.number) + ", caller " + decimal(key) + " called " + decimal(value) +
              " dur " + decimal(weight));
      }
    }
  }
}

}  // namespace vesk_loader::testing
