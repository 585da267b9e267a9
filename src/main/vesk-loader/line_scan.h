#ifndef LINE_SCAN_H
#define LINE_SCAN_H

// One line of a record file after the other: tested, and its operations carried out on the tables.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "control/quven_partition.h"
#include "fixed_fields.h"
#include "loader_dates.h"
#include "loader_tables.h"
#include "record_scan.h"
#include "scan_plan.h"

namespace vesk_loader {

/// The scan of one file in one partition.
///
/// Accepted records wait in a batch before they reach the tables, so that the memory of a batch is fetched together;
/// they are carried out in the order of their lines. The settings, the tables and the line counter stay the caller's
/// and outlive the scan.
class LineScan {
 public:
  LineScan(LoaderTables& tables, const LoaderSettings& settings, const ScanScope& scope, std::uint32_t& lineCounter);

  void countLine() { ++lineCounter; }
  std::uint32_t lineCount() const { return lineCounter; }

  /// Requires: the line was counted. Throws exception_loader if a setting names a field that does not exist.
  void scanLine(const std::string& path, const Line& line);

  /// Carries out what still waits.
  void finish() { applyBatch(); }

 private:
  static constexpr std::size_t batchSize = 128;
  static constexpr std::size_t slotDelay = 16;  // records after which the slot of a key has arrived

  // One accepted record of a plain run, or one accepted entry of a table run.
  struct Pending {
    double key;
    std::uint64_t keyHash;
    std::uint32_t line;
    std::int32_t multiplicity;
    std::uint32_t row;
  };

  FieldText checkedField(std::int32_t index) const {
    if (!plan.fieldsExist) requireField(index);
    return fields[static_cast<std::size_t>(index)];
  }
  void requireField(std::int32_t index) const;
  double fieldValue(std::int32_t index) const { return read_double(checkedField(index)); }

  bool isSample() const;
  void logSampleLine(const std::string& path, const Line& line) const;
  bool belongsToPartition();
  std::int32_t readMultiplicity() const;
  void scanTableOperations();
  void scanPlainOperations();
  void traceCallerOfTable(double key, std::int32_t multiplicity) const;
  void traceOperation(const PlannedOperation& operation, double value, std::int32_t multiplicity) const;
  void tracePairSum(double callee);

  /// The values of the next pending record; it counts once push is called.
  double* pendingValues() { return values.data() + pendingCount * valueCount; }
  [[gnu::always_inline]] inline void push(double key, std::int32_t multiplicity);
  void applyBatch();
  void applyTable();
  void applySums();
  void addToSums(const PlannedOperation& operation, double* const* rows, std::size_t first, std::size_t end);
  void applyPairs();

  LoaderTables& tables;
  const LoaderSettings& settings;
  const ScanScope scope;
  const ScanPlan plan;
  const QUVENPartitionTest partitionTest;
  const CutoffTest cutoff;
  const bool datesAreTested;
  FixedFields fields;
  std::uint32_t& lineCounter;
  std::size_t firstLineLength = 0;
  const std::int32_t verbosityLevel;  // the same for the whole scan
  bool sample = false;                // the current line is traced

  std::array<Pending, batchSize> pending{};
  std::size_t pendingCount = 0;
  std::size_t valueCount;      // doubles a pending record
  std::vector<double> values;  // of the pending records
};

}  // namespace vesk_loader

#endif  // LINE_SCAN_H
