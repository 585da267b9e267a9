#include "line_scan.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <string_view>

#include "loader_common.h"

namespace vesk_loader {

namespace {

constexpr std::uint32_t sampleInterval = 1000000;
constexpr std::int32_t traceEveryLine = 100;  // the verbosity that makes every line a sample

// A double as a 64-bit integer for people; one that has no such value gives the nearest end.
std::int64_t as_integer(double number) {
  constexpr double limit = 9223372036854775808.0;
  if (number >= limit) return std::numeric_limits<std::int64_t>::max();
  if (!(number > -limit)) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

double usable_cutoff(const LoaderSettings& settings, const ScanScope& scope) {
  const bool datesCount = settings.dateField != -1 && (scope.dateFormat == 1 || scope.dateFormat == 2);
  return datesCount ? scope.cutoffDate : 0.0;
}

std::size_t values_of_record(const LoaderTables& tables, const ScanPlan& plan) {
  return plan.tableRun ? tables.keys->entryWidth() : plan.valueInputs.size();
}

// Calls `use` with the condition as a test of a record's number. A condition that always holds reads no value.
template <class Value, class Use>
void with_condition(const Condition& condition, const Value& value, const Use& use) {
  const double threshold = condition.threshold;
  switch (condition.comparison) {
    case Comparison::EQ:
      return use([&](std::size_t i) { return value(i) == threshold; });
    case Comparison::LE:
      return use([&](std::size_t i) { return value(i) <= threshold; });
    case Comparison::GE:
      return use([&](std::size_t i) { return value(i) >= threshold; });
    case Comparison::GT:
      return use([&](std::size_t i) { return value(i) > threshold; });
    case Comparison::LT:
      return use([&](std::size_t i) { return value(i) < threshold; });
    case Comparison::Always:
      break;
  }
  use([](std::size_t) { return true; });
}

}  // namespace

LineScan::LineScan(LoaderTables& tables_, const LoaderSettings& settings_, const ScanScope& scope_,
                   std::uint32_t& lineCounter_)
    : tables(tables_),
      settings(settings_),
      scope(scope_),
      plan(settings_),
      partitionTest(scope_.partitions),
      cutoff(usable_cutoff(settings_, scope_), static_cast<std::uint32_t>(scope_.dateFormat)),
      datesAreTested(usable_cutoff(settings_, scope_) != 0.0),
      fields(settings_.fieldStarts, settings_.fieldEnds),
      lineCounter(lineCounter_),
      verbosityLevel(verbosity()),
      valueCount(values_of_record(tables_, plan)),
      values(batchSize * valueCount) {}

void LineScan::requireField(std::int32_t index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= fields.size()) throw exception_loader();
}

bool LineScan::isSample() const {
  return verbosityLevel == traceEveryLine || (verbosityLevel > 1 && lineCounter % sampleInterval == 0);
}

void LineScan::logSampleLine(const std::string& path, const Line& line) const {
  report_log(1, path + format_text(": %u lines scanned, sample line: ", lineCounter) +
                    std::string(line.text, line.length) + "\n");
}

void LineScan::scanLine(const std::string& path, const Line& line) {
  sample = isSample();
  if (sample) logSampleLine(path, line);
  if (firstLineLength == 0) {
    firstLineLength = line.length;
    report_log(1, format_text("Line length = %zu", line.length));
  }
  const bool isCut = fields.split_fixed_fields(line);
  if (scope.partitions > 1 && !belongsToPartition()) return;
  if (!isCut) {
    report_problem(scan_statistics(), Problem::Parsing, lineCounter);
    return;
  }
  if (!fields.findWords()) {
    report_problem(scan_statistics(), Problem::Spacing, lineCounter);
    return;
  }
  if (datesAreTested && cutoff.isBefore(fieldValue(plan.dateField))) {
    report_problem(scan_statistics(), Problem::DroppedDate, lineCounter);
    return;
  }
  if (plan.tableRun) {
    scanTableOperations();
  } else {
    scanPlainOperations();
  }
}

// A line that was given up before its key was cut is a problem of partition 0.
bool LineScan::belongsToPartition() {
  const bool keyIsCut = plan.keyField >= 0 && static_cast<std::size_t>(plan.keyField) < fields.cutCount();
  if (!keyIsCut && fields.cutCount() < fields.size()) return scope.partition == 0;
  requireField(plan.keyField);
  const auto field = static_cast<std::size_t>(plan.keyField);
  // The key counts here before the blank test, so it may be anything.
  FieldText word;
  const double key = fields.findWord(field, word) ? read_double(word) : read_double_by_library(fields.text(field));
  return partitionTest.partitionOf(key) == scope.partition;
}

void LineScan::push(double key, std::int32_t multiplicity) {
  const std::uint64_t hash = hash_id(key);
  tables.keys->prefetchSlot(hash);
  if (pendingCount >= slotDelay) tables.keys->prefetchRow(pending[pendingCount - slotDelay].keyHash);
  pending[pendingCount] = {key, hash, lineCounter, multiplicity, 0};
  if (++pendingCount == batchSize) applyBatch();
}

// The value that no operation uses is read for the trace alone, or to find that its field does not exist.
std::int32_t LineScan::readMultiplicity() const {
  if (plan.multiplicityField < 1) return 1;  // the very first field is none
  if (!plan.usesMultiplicity && plan.fieldsExist && !sample) return 1;
  const std::int32_t multiplicity = std::max(read_integer(checkedField(plan.multiplicityField)), 1);
  return plan.tableRun ? std::min(multiplicity, settings.cyclicTableSize) : multiplicity;
}

void LineScan::scanTableOperations() {
  const std::int32_t multiplicity = readMultiplicity();
  const double key = fieldValue(plan.keyField);
  if (!(key >= 1.0)) {
    report_problem(scan_statistics(), Problem::NegativeCaller, lineCounter);
    return;
  }
  if (sample) traceCallerOfTable(key, multiplicity);
  for (const PlannedOperation& operation : plan.operations) {
    const double callee = fieldValue(operation.input);
    if (settings.specialListFilter != SpecialListFilter::None &&
        settings.specialList.contains(callee) == (settings.specialListFilter == SpecialListFilter::Exclude)) {
      report_problem(scan_statistics(), Problem::RestrictedNumber, lineCounter, operation.index);
      continue;
    }
    if (!operation.condition.holds(callee)) {
      if (sample) report_log(1, "--- skipping, conditions do not hold.");
      continue;
    }
    if (sample) report_log(1, format_text("--- called ID (parsed) = %" PRId64, as_integer(callee)));
    double* entry = pendingValues();
    *entry++ = callee;
    if (plan.dateField != -1) *entry++ = fieldValue(plan.dateField);
    for (const std::int32_t input : settings.payloadInputs) *entry++ = fieldValue(input);
    push(key, multiplicity);
  }
}

void LineScan::scanPlainOperations() {
  const std::int32_t multiplicity = readMultiplicity();
  const double key = fieldValue(plan.keyField);
  if (!(key >= 1.0)) {
    report_problem(scan_statistics(), Problem::NegativeCaller, lineCounter);
    return;
  }
  if (sample) report_log(1, format_text("--- caller ID = %g", key));
  if (plan.operations.empty()) return;
  if (sample || !plan.fieldsExist) {
    for (const PlannedOperation& operation : plan.operations) {
      const double value = fieldValue(operation.input);
      if (sample) traceOperation(operation, value, multiplicity);
    }
  }
  double* const record = pendingValues();
  for (std::size_t i = 0; i < plan.valueInputs.size(); ++i) record[i] = fieldValue(plan.valueInputs[i]);
  push(key, multiplicity);
  if (sample && tables.pairs != nullptr && plan.operations[0].condition.holds(record[0])) tracePairSum(record[0]);
}

void LineScan::traceCallerOfTable(double key, std::int32_t multiplicity) const {
  report_log(1, format_text("--- cyclic add sample trace \n--- caller ID (parsed) = %" PRId64 "\n--- multiplicity = %d",
                            as_integer(key), multiplicity));
}

void LineScan::traceOperation(const PlannedOperation& operation, double value, std::int32_t multiplicity) const {
  print_line("--- " + std::string(operation.row.trace) +
             format_text(": called ID = %" PRId64 " multiplicity = %d", as_integer(value), multiplicity));
  if (addsToSum(operation.row.effect) && !operation.condition.holds(value)) {
    print_line("--- skipping due to conditions ");
  }
}

// The record that was pushed last: its weight is known once the batch is carried out.
void LineScan::tracePairSum(double callee) {
  const double key = pending[pendingCount == 0 ? batchSize - 1 : pendingCount - 1].key;
  applyBatch();
  const std::uint32_t row = tables.keys->findOrInsert(key);
  const double weight = tables.pairs->weight(row, callee, PairSumTable::hash(row, callee));
  print_line(format_text("line %u, caller %g called %g dur %g", lineCounter, key, callee, weight));
}

void LineScan::applyBatch() {
  const std::uint32_t linesRead = lineCounter;
  for (std::size_t i = pendingCount - std::min(pendingCount, slotDelay); i < pendingCount; ++i) {
    tables.keys->prefetchRow(pending[i].keyHash);
  }
  // If memory ends below, the line that is named is the one whose record could not be stored.
  for (std::size_t i = 0; i < pendingCount; ++i) {
    lineCounter = pending[i].line;
    pending[i].row = tables.keys->findOrInsert(pending[i].key, pending[i].keyHash);
    if (plan.tableRun) tables.keys->prefetchEntry(pending[i].row);
  }
  if (plan.tableRun) {
    applyTable();
  } else if (tables.pairs != nullptr) {
    applyPairs();
  } else {
    applySums();
  }
  lineCounter = linesRead;
  pendingCount = 0;
}

void LineScan::applyTable() {
  const double* entry = values.data();
  for (std::size_t i = 0; i < pendingCount; ++i, entry += valueCount) {
    lineCounter = pending[i].line;
    tables.keys->append(pending[i].row, entry, static_cast<std::uint32_t>(pending[i].multiplicity));
  }
}

void LineScan::applySums() {
  if (plan.sumCount == 0) return;  // no operation has a sum: the rows stay as they are
  std::array<double*, batchSize> rows;
  for (std::size_t i = 0; i < pendingCount; ++i) {
    lineCounter = pending[i].line;
    rows[i] = tables.keys->sums(pending[i].row, plan.sumCount);
  }
  if (plan.outputsAreDistinct) {
    for (const PlannedOperation& operation : plan.operations) addToSums(operation, rows.data(), 0, pendingCount);
    return;
  }
  // Two operations add to one sum: then the order of the records decides about the rounding.
  for (std::size_t i = 0; i < pendingCount; ++i) {
    for (const PlannedOperation& operation : plan.operations) addToSums(operation, rows.data(), i, i + 1);
  }
}

// Carries out one operation for some of the pending records, whose sums `rows` holds.
void LineScan::addToSums(const PlannedOperation& operation, double* const* rows, std::size_t first, std::size_t end) {
  const double* const inputs = values.data() + operation.value;
  const auto value = [&](std::size_t i) { return inputs[i * valueCount]; };
  const auto addAll = [&](const auto& summand) {
    with_condition(operation.condition, value, [&](const auto& holds) {
      for (std::size_t i = first; i < end; ++i) {
        double& sum = rows[i][operation.output];
        // Whether a condition holds cannot be foreseen, so the sum is chosen by a mask and not branched to.
        const auto old = std::bit_cast<std::uint64_t>(sum);
        const auto added = std::bit_cast<std::uint64_t>(sum + summand(i));
        sum = std::bit_cast<double>(old ^ ((old ^ added) & (std::uint64_t{0} - std::uint64_t{holds(i)})));
      }
    });
  };
  switch (operation.row.effect) {
    case Effect::AddValue:
      return addAll(value);
    case Effect::AddMultiplicity:
      return addAll([&](std::size_t i) -> double { return pending[i].multiplicity; });
    case Effect::AppendEntry:
    case Effect::AppendPayload:
    case Effect::WeighPair:
      break;
  }
  throw exception_loader();  // the operation has no sum
}

void LineScan::applyPairs() {
  std::array<std::uint64_t, batchSize> hashes;
  for (std::size_t i = 0; i < pendingCount; ++i) {
    hashes[i] = PairSumTable::hash(pending[i].row, values[i]);
    tables.pairs->prefetch(hashes[i]);
  }
  const Condition condition = plan.operations[0].condition;
  for (std::size_t i = 0; i < pendingCount; ++i) {
    lineCounter = pending[i].line;
    if (condition.holds(values[i]))
      tables.pairs->weight(pending[i].row, values[i], hashes[i]) += pending[i].multiplicity;
  }
}

}  // namespace vesk_loader
