#include "parts_check.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <queue>
#include <sstream>
#include <utility>

#include "control/quven_dataset_parts.h"
#include "control/quven_partition_fit.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

namespace fs = std::filesystem;

enum Code : int { DataUnusable = 2305, EmptyPart = 5014 };

std::string partName(const std::string& dataset, std::size_t number) { return dataset + "." + std::to_string(number); }

bool isFile(const std::string& path) {
  std::error_code unknown;  // then there is no such file
  return fs::exists(path, unknown) && !fs::is_directory(path, unknown);
}

[[noreturn]] void refuse(const std::string& file, const std::string& text, const QUVENEnvHandle& env) {
  report_error(DataUnusable, file, "vesk-analyze: " + text, QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);  // the report terminates
}

/// The callers of a part, each once for a series of records with its number.
class CallerReader {
 public:
  CallerReader(const std::string& path, std::size_t columnCount, std::size_t callerColumn)
      : file(path, std::ios::binary), columns(columnCount), place(callerColumn) {
    records.resize(std::max<std::size_t>(blockBytes / sizeof(double) / columns, 1) * columns);
  }

  [[nodiscard]] bool next() {
    const double previous = caller;
    while (at < available || refill()) {
      caller = records[at + place];
      at += columns;
      if (begun && caller == previous) continue;
      ascending = ascending && (begun ? caller > previous : !std::isnan(caller));
      begun = true;
      return true;
    }
    return false;
  }
  double getCaller() const { return caller; }
  bool isAscending() const { return ascending; }

 private:
  static constexpr std::size_t blockBytes = 1 << 18;

  bool refill() {
    file.read(reinterpret_cast<char*>(records.data()), static_cast<std::streamsize>(records.size() * sizeof(double)));
    at = 0;
    available = static_cast<std::size_t>(file.gcount()) / sizeof(double) / columns * columns;
    return available > 0;
  }

  std::ifstream file;
  std::size_t columns;
  std::size_t place;
  std::vector<double> records;
  std::size_t at = 0;
  std::size_t available = 0;
  double caller = 0;
  bool begun = false;
  bool ascending = true;
};

/// The callers of all the parts of a dataset.
class CallersOfParts {
 public:
  CallersOfParts(std::vector<std::string> partNames, std::size_t columnCount, std::size_t callerColumn)
      : parts(std::move(partNames)), columns(columnCount), column(callerColumn) {}

  void check(const std::string& dataset, const QUVENEnvHandle& env) {
    if (!checkByMerging(QUVEN_ENV)) checkBySorting(QUVEN_ENV);
    const std::size_t partitions = fit.getPartitions(parts.size());
    const std::string run = "the other parts are of a run with " + std::to_string(partitions) + " partitions";
    if (partitions > parts.size()) {
      refuse(partName(dataset, parts.size()), "a part of the dataset is missing; " + run, QUVEN_ENV);
    }
    if (partitions > 0 && partitions < parts.size()) {
      refuse(parts[partitions], "a part is left from another run; " + run, QUVEN_ENV);
    }
    for (const std::string& part : parts) {
      std::error_code unknown;  // opening the dataset has reported it
      if (fs::file_size(part, unknown) != 0 || unknown || fit.allowsEmptyPart(parts.size())) continue;
      report_doubt(
          EmptyPart, part,
          "vesk-analyze: the part is empty, although there are enough callers for every part; it may have lost "
          "its content",
          QUVEN_ENV);
    }
  }

 private:
  using CallerInPart = std::pair<double, std::size_t>;

  void refuseIfSame(const CallerInPart& first, const CallerInPart& second, const QUVENEnvHandle& env) const {
    if (first.first != second.first || first.second == second.second) return;
    std::ostringstream text;
    text.precision(17);
    text << "caller " << first.first << " is in " << parts[std::min(first.second, second.second)]
         << ", too; the parts are of different runs";
    refuse(parts[std::max(first.second, second.second)], text.str(), QUVEN_ENV);
  }

  /// False if the callers of a part are not ascending.
  [[nodiscard]] bool checkByMerging(const QUVENEnvHandle& env) {
    std::vector<CallerReader> readers;
    std::priority_queue<CallerInPart, std::vector<CallerInPart>, std::greater<>> waiting;
    const auto advance = [&](std::size_t part) {
      if (!readers[part].next()) return true;
      if (!readers[part].isAscending()) return false;
      fit.add(part, readers[part].getCaller());
      waiting.emplace(readers[part].getCaller(), part);
      return true;
    };
    for (const std::string& part : parts) readers.emplace_back(part, columns, column);
    for (std::size_t part = 0; part < parts.size(); ++part) {
      if (!advance(part)) return false;
    }
    while (!waiting.empty()) {
      const CallerInPart least = waiting.top();
      waiting.pop();
      if (!waiting.empty()) refuseIfSame(least, waiting.top(), QUVEN_ENV);
      if (!advance(least.second)) return false;
    }
    return true;
  }

  void checkBySorting(const QUVENEnvHandle& env) {
    fit = QUVENPartitionFit();
    std::vector<CallerInPart> callers;
    for (std::size_t part = 0; part < parts.size(); ++part) {
      CallerReader reader(parts[part], columns, column);
      while (reader.next()) {
        fit.add(part, reader.getCaller());
        if (!std::isnan(reader.getCaller())) callers.emplace_back(reader.getCaller(), part);
      }
    }
    std::sort(callers.begin(), callers.end());
    for (std::size_t i = 1; i < callers.size(); ++i) refuseIfSame(callers[i - 1], callers[i], QUVEN_ENV);
  }

  const std::vector<std::string> parts;
  const std::size_t columns;
  const std::size_t column;
  QUVENPartitionFit fit;
};

}  // namespace

std::vector<std::string> partsOf(const std::string& dataset) {
  std::vector<std::string> parts;
  std::error_code unknown;
  while (fs::exists(partName(dataset, parts.size()), unknown)) parts.push_back(partName(dataset, parts.size()));
  return parts;
}

void checkParts(const std::string& dataset, const QUVENEnvHandle& env) {
  const QUVENDatasetFiles files = quvenFindDatasetFiles(dataset);
  if (!files.wrongFile.empty()) refuse(files.wrongFile, files.mistake, QUVEN_ENV);
}

void checkCallersOfParts(const std::string& dataset, const QUVENDataPoint& point, const QUVENEnvHandle& env) {
  if (isFile(dataset)) return;
  for (long i = 1; i <= point.getNumFields(); ++i) {
    if (static_cast<QUVENFieldPurpose>(point.getField(i).getPurpose()) != QUVENFieldPurpose::LineNumber) continue;
    CallersOfParts callers(partsOf(dataset), static_cast<std::size_t>(point.getNumFields()),
                           static_cast<std::size_t>(i - 1));
    return callers.check(dataset, QUVEN_ENV);
  }
}

}  // namespace vesk_analyze
