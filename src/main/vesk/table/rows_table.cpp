#include "table/rows_table.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <queue>
#include <stdexcept>
#include <utility>

#include "control/quven_file_formats.h"
#include "control/quven_partition_fit.h"
#include "table/dataset_files.h"
#include "table/key_value.h"
#include "table/sums_file.h"
#include "table/table_files.h"

namespace vesk {

namespace {

/// The rows of all parts in ascending order of their keys.
class MergedSums {
 public:
  MergedSums(const std::vector<std::string>& paths, std::span<const WantedPosition> wanted) {
    for (const std::string& path : paths) {
      files.push_back(std::make_unique<SumsFile>(path, wanted));
      advance(files.size() - 1);
    }
  }

  bool isAtEnd() const { return waiting.empty(); }
  /// Reads the row with the lowest key.
  void readRow(std::span<double> record, std::span<std::uint64_t> counts) {
    const auto [key, part] = waiting.top();
    waiting.pop();
    if (!waiting.empty() && waiting.top().first == key) {
      throw std::runtime_error(files[waiting.top().second]->getPath() + ": key " + numberText(key) + " is in " +
                               files[part]->getPath() + ", too");
    }
    record[0] = key;
    fit.add(part, key);
    files[part]->readRow(record, counts);
    advance(part);
  }
  /// Refuses parts that are not exactly the parts of one loader run, as far as the callers show it.
  /// Requires: isAtEnd().
  void refuseOtherRun(const std::string& dataset) const {
    if (files.front()->getPath() == dataset) return;  // a single file
    const std::size_t partitions = fit.getPartitions(files.size());
    if (partitions == 0 || partitions == files.size()) return;
    const bool isMissing = partitions > files.size();
    const std::string part = dataset + "." + std::to_string(isMissing ? files.size() : partitions);
    throw std::runtime_error(part +
                             (isMissing ? ": a part of the dataset is missing" : ": a part is left from another run") +
                             "; the other parts are of a run with " + std::to_string(partitions) + " partitions");
  }
  std::uint64_t countOtherEntries() const {
    std::uint64_t count = 0;
    for (const auto& file : files) count += file->countOtherEntries();
    return count;
  }

 private:
  using KeyInPart = std::pair<double, std::size_t>;

  void advance(std::size_t part) {
    if (files[part]->nextRow()) waiting.emplace(files[part]->getKey(), part);
  }

  std::vector<std::unique_ptr<SumsFile>> files;
  QUVENPartitionFit fit;
  std::priority_queue<KeyInPart, std::vector<KeyInPart>, std::greater<>> waiting;
};

/// The positions in ascending order. Index 0 of a record is the key.
std::vector<WantedPosition> wantedPositions(const std::vector<SumsColumn>& columns) {
  std::vector<WantedPosition> wanted;
  for (std::size_t c = 0; c < columns.size(); ++c) wanted.push_back({static_cast<double>(columns[c].position), c + 1});
  std::ranges::sort(wanted, {}, &WantedPosition::position);
  return wanted;
}

void refuseOtherForms(const std::string& description) {
  const std::size_t columns = readDescription(description).size();
  if (columns == sparse_format::columns) return;
  throw std::runtime_error(description + " has " + std::to_string(columns) +
                           " columns, not the three of a sparse dataset");
}

std::vector<dataset_info::Column> descriptionOf(const RowsOptions& options) {
  std::vector<dataset_info::Column> description{{options.key}};
  for (const SumsColumn& column : options.columns) description.push_back({column.name});
  return description;
}

}  // namespace

RowsTable makeRowsTable(const RowsOptions& options) {
  const std::vector<std::string> paths = datasetFilesOf(options.input);
  for (const std::string& path : paths) TableFiles::refuseInput(options.output, path);
  if (const std::string description = descriptionPathOf(options.input); !description.empty()) {
    TableFiles::refuseInput(options.output, description);
    refuseOtherForms(description);
  }
  const std::vector<WantedPosition> wanted = wantedPositions(options.columns);
  std::vector<std::uint64_t> counts(wanted.size());
  std::vector<std::uint64_t> missing(wanted.size());
  std::vector<double> record(wanted.size() + 1);
  MergedSums sums(paths, wanted);
  if (sums.isAtEnd()) throw std::runtime_error(options.input + " has no rows");
  TableFiles files(options.output);
  RowsTable table;
  for (; !sums.isAtEnd(); ++table.records) {
    std::ranges::fill(record, 0.0);
    sums.readRow(record, counts);
    for (std::size_t c = 0; c < missing.size(); ++c) missing[c] += record[c + 1] == dataset_format::missingValue;
    files.writeRecord(record);
  }
  sums.refuseOtherRun(options.input);
  files.complete(descriptionOf(options), QUVENTableLabels());
  table.otherEntries = sums.countOtherEntries();
  table.callers.resize(wanted.size());
  for (std::size_t i = 0; i < wanted.size(); ++i) table.callers[wanted[i].place - 1] = counts[i];
  for (std::size_t c = 0; c < options.columns.size(); ++c) {
    const SumsColumn& column = options.columns[c];
    if (table.callers[c] == 0) {
      table.remarks.push_back("no caller has position " + std::to_string(column.position) + ", column " + column.name);
    }
    if (missing[c] > 0) {
      table.remarks.push_back("column " + column.name + " has " + std::to_string(missing[c]) +
                              " sums of -99999, which means a missing value in a dataset");
    }
  }
  return table;
}

}  // namespace vesk
