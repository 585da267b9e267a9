#include "day/state_check.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace vesk {

namespace {

constexpr double pairSumMark = 7788.0;

std::string numberText(double number) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.17g", number);
  return text.data();
}

// Compares one file of the dataset with what its rows should be.
class ExpectedRows {
 public:
  ExpectedRows(const std::string& path, const vesk_loader::LoaderSettings& settings_, const IsWritten& isWritten)
      : numbers(path, isWritten),
        settings(settings_),
        isTable(settings_.cyclicTableSize > 0),
        isPairSum(settings_.pairSumFlag != 0) {}

  // `values` in the order of the file; `places`: the callees of a pair sum, otherwise null.
  void take(double key, const double* values, std::size_t count, const double* places) {
    ++rows;
    caller = key;
    const bool hasFirstSum = !isTable && !isPairSum;  // the first sum is never written
    if (hasFirstSum) {
      ++values;
      --count;
    }
    longest = std::max(longest, count + (hasFirstSum ? 1 : 0));
    if (settings.sparse != 0) {
      takeSparse(values, count, places);
    } else {
      takeDense(values, count);
    }
  }

  void finish() {
    double number = 0.0;
    if (numbers.next(number)) fail("there is more than the state holds");
    if (rows > 0 && settings.sparse != 0 && width != static_cast<double>(longest)) {
      throw std::runtime_error(numbers.getName() + ": the width is " + numberText(width) + ", the longest row has " +
                               std::to_string(longest));
    }
  }

  std::uint64_t recordCount() const { return records; }

  /// Requires: finish has returned.
  vesk_files::CardFile describe() { return numbers.describe(); }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw std::runtime_error(numbers.getName() + ": near byte " + std::to_string(numbers.byte()) + ", caller " +
                             numberText(caller) + ": " + what);
  }

  void require(double expected) {
    double number = 0.0;
    if (!numbers.next(number)) fail("the file ends too early");
    if (number != expected) fail(numberText(number) + " stands where the state has " + numberText(expected));
  }

  void requireTriple(double place, double value) {
    require(caller);
    require(place);
    require(value);
    ++records;
  }

  void takeSparse(const double* values, std::size_t count, const double* places) {
    if (rows == 1) {
      require(caller);
      require(0.0);
      if (!numbers.next(width)) fail("the file ends too early");
      ++records;
    } else {
      requireTriple(0.0, width);
    }
    for (std::size_t i = 0; i < count; ++i) {
      requireTriple(places != nullptr ? places[i] : static_cast<double>(i + 1), values[i]);
    }
    if (isPairSum) {
      requireTriple(0.0, pairSumMark);
    } else {
      requireTriple(width + 1.0, 0.0);
    }
  }

  void takeDense(const double* values, std::size_t count) {
    ++records;
    require(caller);
    for (std::size_t i = 0; i < count; ++i) require(values[i]);
    if (!isTable) return;
    for (std::size_t i = count; i < static_cast<std::size_t>(settings.cyclicTableSize); ++i) require(0.0);
  }

  NumberStream numbers;
  const vesk_loader::LoaderSettings& settings;
  bool isTable;
  bool isPairSum;
  std::uint64_t rows = 0;
  std::uint64_t records = 0;
  std::size_t longest = 0;
  double width = 0.0;
  double caller = 0.0;
};

// The order in which the output shows the entries of a row: equal values keep their order. Rows are short.
void sortPlaces(const std::vector<double>& values, std::vector<std::size_t>& places) {
  places.resize(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    std::size_t place = i;
    for (; place > 0 && values[places[place - 1]] > values[i]; --place) places[place] = places[place - 1];
    places[place] = i;
  }
}

void reorder(const std::vector<double>& values, const std::vector<std::size_t>& places, std::vector<double>& result) {
  result.resize(values.size());
  for (std::size_t i = 0; i < places.size(); ++i) result[i] = values[places[i]];
}

}  // namespace

StateCounts& StateCounts::operator+=(const StateCounts& other) {
  callers += other.callers;
  entries += other.entries;
  tooOld += other.tooOld;
  files.insert(files.end(), other.files.begin(), other.files.end());
  return *this;
}

ProcessShape shapeOf(const vesk_loader::LoaderSettings& settings) {
  return {settings.dateField >= 0, settings.pairSumFlag != 0, settings.payloadInputs.size()};
}

StateCounts countState(const std::string& path, const ProcessShape& shape,
                       const std::optional<vesk_loader::CutoffTest>& cutoff) {
  ProcessRows rows(path, shape);
  ProcessRow row;
  StateCounts counts;
  while (rows.next(row)) {
    ++counts.callers;
    counts.entries += row.values.size();
    if (!cutoff) continue;
    for (const double date : row.dates) counts.tooOld += cutoff->isBefore(date) ? 1 : 0;
  }
  counts.files.push_back(rows.describe());
  return counts;
}

PartitionCheck checkPartition(const std::string& process, const std::string& dataset,
                              const vesk_loader::LoaderSettings& settings, const IsWritten& isWritten) {
  ProcessRows rows(process, shapeOf(settings));
  ExpectedRows main(dataset, settings, isWritten);
  std::vector<std::unique_ptr<ExpectedRows>> payloads;
  for (std::size_t p = 1; p <= settings.payloadInputs.size(); ++p) {
    payloads.push_back(std::make_unique<ExpectedRows>(dataset + "_payload_" + std::to_string(p), settings, isWritten));
  }
  const bool isPairSum = settings.pairSumFlag != 0;
  const bool isSorted = settings.cyclicTableSize > 0 && settings.sortCyclicTable;
  PartitionCheck check;
  ProcessRow row;
  std::vector<std::size_t> places;
  std::vector<double> reordered;
  const auto next = [&](ProcessRow& to) {
    try {
      return rows.next(to);
    } catch (const std::runtime_error& error) {
      const bool hasSums = settings.cyclicTableSize == 0 && !isPairSum;
      throw std::runtime_error(std::string(error.what()) +
                               (hasSums ? "; a sum of exactly -2 ends a record of the process file" : ""));
    }
  };
  while (next(row)) {
    ++check.state.callers;
    check.state.entries += row.values.size();
    const bool needsSort = isSorted && !std::is_sorted(row.values.begin(), row.values.end());
    if (needsSort && payloads.empty()) {
      std::sort(row.values.begin(), row.values.end());
    } else if (needsSort) {
      sortPlaces(row.values, places);
      reorder(row.values, places, reordered);
      row.values.swap(reordered);
    }
    main.take(row.key, isPairSum ? row.weights.data() : row.values.data(), row.values.size(),
              isPairSum ? row.values.data() : nullptr);
    for (std::size_t p = 0; p < payloads.size(); ++p) {
      if (needsSort) {
        reorder(row.payloads[p], places, reordered);
        row.payloads[p].swap(reordered);
      }
      payloads[p]->take(row.key, row.payloads[p].data(), row.payloads[p].size(), nullptr);
    }
  }
  check.state.files.push_back(rows.describe());
  main.finish();
  check.files.push_back(main.describe());
  for (const auto& payload : payloads) {
    payload->finish();
    check.files.push_back(payload->describe());
  }
  check.callers = check.state.callers;
  check.records = main.recordCount();
  return check;
}

}  // namespace vesk
