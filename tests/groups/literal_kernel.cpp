#include "literal_kernel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

namespace literal {

double mutualInformation(double n, double m11, double m10, double m01) {
  const double m00 = n - m11 - m01 - m10;
  const double p00 = m00 / n;
  const double p01 = m01 / n;
  const double p10 = m10 / n;
  const double p11 = m11 / n;
  const double a = p10 + p00;
  const double b = 1 - a;
  const double c = p01 + p00;
  const double d = 1 - c;
  double information = 0;
  if (c > 0) {
    if (a > 0 && p00 > 0) information += p00 * std::log(p00 / (a * c));
    if (b > 0 && p01 > 0) information += p01 * std::log(p01 / (b * c));
  }
  if (d > 0) {
    if (a > 0 && p10 > 0) information += p10 * std::log(p10 / (a * d));
    if (b > 0 && p11 > 0) information += p11 * std::log(p11 / (b * d));
  }
  information = information / std::log(2.0);
  if (m01 + m10 > m00 + m11) information = -information;
  return information;
}

double friends(const Row& x, const Row& y, double emptyMarker, double normalizingFactor) {
  int a = 0;
  int b = 0;
  int c = 0;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < x.size() && j < y.size()) {
    while (i < x.size() && x[i] == emptyMarker) ++i;
    while (j < y.size() && y[j] == emptyMarker) ++j;
    if (i == x.size() || j == y.size()) break;
    if (x[i] == y[j]) {
      ++a;
      ++b;
      ++c;
      ++i;
      ++j;
    } else if (y[j] > x[i]) {
      ++a;
      ++i;
    } else {
      ++b;
      ++j;
    }
  }
  return mutualInformation(normalizingFactor, c, a - c, b - c);
}

std::optional<double> cutoffOf(const Bins& bins, double sparsityLevel) {
  if (bins.empty()) return std::nullopt;
  const auto location = [&](std::size_t j) { return bins[j - 1].first; };
  const auto count = [&](std::size_t j) { return bins[j - 1].second; };
  int total = 0;
  for (const auto& bin : bins) total += bin.second;
  const int k = static_cast<int>(total * sparsityLevel);
  if (bins.size() < 2) return location(1) - 1e-5;
  if (count(1) > k) {
    return (static_cast<double>(k) / count(1) - 0.5) * ((location(1) + location(2)) * 0.5) + location(1);
  }
  int sum = count(1);
  for (std::size_t j = 2; j <= bins.size(); ++j) {
    sum += count(j);
    if (sum >= k) {
      return (count(j - 1) * location(j - 1) + count(j) * location(j)) / (count(j) + count(j - 1));
    }
  }
  return location(1);
}

void KernelWorker::updateMine(const Line& line) {
  const std::uint64_t sample = sampleOf(line);
  if (samplesOrder.empty() || samplesOrder.back() != sample) samplesOrder.push_back(sample);
  const double column = seen(line.x1);
  inputMatrix[sample][column] = seen(line.x2);
  if (column > columnNum) columnNum = column;
}

void KernelWorker::setSampleIndex() {
  for (std::size_t i = 0; i < samplesOrder.size(); ++i) {
    sampleIndex.emplace(samplesOrder[i], static_cast<int>(i + 1));
  }
}

Row KernelWorker::sparseRow(std::uint64_t sample) const {
  Row row(static_cast<std::size_t>(static_cast<int>(columnNum)));
  for (const auto& [column, value] : inputMatrix.at(sample)) {
    if (column >= 1) row.at(static_cast<std::size_t>(static_cast<int>(column) - 1)) = value;
  }
  return row;
}

std::vector<int> KernelWorker::candidates(const Row& row) const {
  std::vector<int> positions;
  std::set<int> known;
  for (const double element : row) {
    if (element == parameters.emptyMarker) continue;
    const auto found = sampleIndex.find(static_cast<std::uint64_t>(element));
    if (found != sampleIndex.end() && known.insert(found->second).second) positions.push_back(found->second);
  }
  return positions;
}

Bins KernelWorker::selfKernelValues() const {
  if (!parameters.filterSimilarities) return randomPairs();
  Histogram histogram(parameters.numBins);
  for (const std::uint64_t sample : samplesOrder) {
    const Row row = sparseRow(sample);
    for (const int position : candidates(row)) histogram.add(compute(row, sparseRow(sampleAt(position))));
  }
  return histogram.getBins();
}

Bins KernelWorker::randomPairs() const {
  Histogram histogram(parameters.numBins);
  const auto n = static_cast<std::int64_t>(samplesOrder.size());
  const double share = static_cast<double>(n) / 70;
  const double w = n > 70 ? share * share : 1;
  for (std::int64_t v = 0; v < n * n;) {
    const auto first = static_cast<int>(v % n + 1);
    const auto second = static_cast<int>(v / n + 1);
    histogram.add(compute(sparseRow(sampleAt(first)), sparseRow(sampleAt(second))));
    v += static_cast<std::int64_t>(parameters.random() * std::ldexp(1.0, -15) * 2 * w);
  }
  return histogram.getBins();
}

std::optional<Record> KernelWorker::takeOther(const Line& line) {
  std::optional<Record> record = sparseData.update(line);
  if (!record) return std::nullopt;
  otherSamplesOrder.push_back(record->sample);
  columnNum = std::max(columnNum, static_cast<double>(record->row.size()));
  return record;
}

void KernelWorker::updateOther(const Line& line, double threshold) {
  const std::optional<Record> record = takeOther(line);
  if (!record) return;
  const Row& x = record->row;
  const int r = static_cast<int>(otherSamplesOrder.size());
  for (const int j : comparedWith(x)) {
    const double value = compute(sparseRow(sampleAt(j)), x);
    if (value >= threshold) kernelMatrix[j][r] = value;
  }
}

std::vector<int> KernelWorker::comparedWith(const Row& x) const {
  if (parameters.filterSimilarities) return candidates(x);
  std::vector<int> positions;
  for (int j = 1; j <= static_cast<int>(samplesOrder.size()); ++j) positions.push_back(j);
  return positions;
}

/// Whether the walk of friends meets a contact that both rows have.
bool hasCommonContact(const Row& x, const Row& y, double emptyMarker) {
  std::size_t i = 0;
  std::size_t j = 0;
  for (;;) {
    while (i < x.size() && x[i] == emptyMarker) ++i;
    while (j < y.size() && y[j] == emptyMarker) ++j;
    if (i == x.size() || j == y.size()) return false;
    if (x[i] == y[j]) return true;
    if (y[j] > x[i]) {
      ++i;
    } else {
      ++j;
    }
  }
}

void KernelWorker::updateOther(const Line& line, KernelResult& counts, std::vector<double>& values) {
  const std::optional<Record> record = takeOther(line);
  if (!record) return;
  const Row& x = record->row;
  const int r = static_cast<int>(otherSamplesOrder.size());
  for (const int j : comparedWith(x)) {
    if (sampleAt(j) == record->sample) continue;
    // Up to its last contact: how many columns a worker knows depends on its share.
    Row mine = sparseRow(sampleAt(j));
    while (!mine.empty() && mine.back() == 0) mine.pop_back();
    const bool isCommon = hasCommonContact(mine, x, parameters.emptyMarker);
    ++counts.numCompared;
    if (isCommon) ++counts.numWithCommon;
    if (parameters.amongCommon && !isCommon) continue;
    const double value = compute(mine, x);
    if (!std::isnan(value)) values.push_back(value);
    kernelMatrix[j][r] = value;
    if (isCommon) withCommon.insert({j, r});
  }
}

void KernelWorker::dropBelow(double threshold, KernelResult& counts) {
  std::map<int, std::map<int, double>> kept;
  for (const auto& [column, rows] : kernelMatrix) {
    for (const auto& [row, value] : rows) {
      if (!(value >= threshold)) continue;
      kept[column][row] = value;
      ++counts.numKept;
      if (!withCommon.contains({column, row})) ++counts.numKeptWithoutCommon;
    }
  }
  kernelMatrix = kept;
}

std::vector<KernelValue> KernelWorker::kept() const {
  std::vector<KernelValue> values;
  for (const auto& [column, rows] : kernelMatrix) {
    for (const auto& [row, value] : rows) {
      values.push_back({sampleAt(column), otherSamplesOrder[static_cast<std::size_t>(row - 1)], value});
    }
  }
  return values;
}

/// The number of callers: a caller is counted again where another has come between its records.
double callersOf(const std::vector<Line>& lines, int numWorkers) {
  double callers = 0;
  for (int rank = 0; rank < numWorkers; ++rank) {
    std::optional<std::uint64_t> last;
    for (const Line& line : shareOf(lines, rank, numWorkers)) {
      if (last != sampleOf(line)) ++callers;
      last = sampleOf(line);
    }
  }
  return callers;
}

KernelResult runKernelOfAllPairs(const std::vector<Line>& lines, const KernelParameters& parameters, int numWorkers) {
  KernelResult result;
  std::vector<KernelWorker> workers(static_cast<std::size_t>(numWorkers), KernelWorker(parameters));
  std::vector<double> values;
  for (int rank = 0; rank < numWorkers; ++rank) {
    KernelWorker& worker = workers[static_cast<std::size_t>(rank)];
    for (const Line& line : shareOf(lines, rank, numWorkers)) worker.updateMine(line);
    worker.setSampleIndex();
    for (const Line& line : lines) worker.updateOther(line, result, values);
  }
  result.failed = values.empty();
  if (result.failed) return result;
  std::sort(values.begin(), values.end());
  const auto place = static_cast<std::size_t>(static_cast<double>(values.size()) * parameters.sparsityLevel);
  result.cutoff = values[std::min(place, values.size() - 1)];
  for (KernelWorker& worker : workers) {
    worker.dropBelow(result.cutoff, result);
    result.keptByWorker.push_back(worker.kept());
  }
  return result;
}

KernelResult runKernel(const std::vector<Line>& lines, const KernelParameters& givenParameters, int numWorkers) {
  KernelParameters parameters = givenParameters;
  if (parameters.factorIsCallers) parameters.normalizingFactor = callersOf(lines, numWorkers);
  if (parameters.cutoffFromAllPairs) return runKernelOfAllPairs(lines, parameters, numWorkers);
  KernelResult result;
  std::vector<KernelWorker> workers(static_cast<std::size_t>(numWorkers), KernelWorker(parameters));
  std::vector<Bins> byRank;
  for (int rank = 0; rank < numWorkers; ++rank) {
    KernelWorker& worker = workers[static_cast<std::size_t>(rank)];
    for (const Line& line : shareOf(lines, rank, numWorkers)) worker.updateMine(line);
    worker.setSampleIndex();
    byRank.push_back(worker.selfKernelValues());
  }
  result.bins = mergeWorkers(byRank, parameters.numBins);
  const std::optional<double> cutoff = cutoffOf(result.bins, parameters.sparsityLevel);
  if (!cutoff) {
    result.failed = true;
    return result;
  }
  result.cutoff = *cutoff;
  for (KernelWorker& worker : workers) {
    for (const Line& line : lines) worker.updateOther(line, result.cutoff);
    result.keptByWorker.push_back(worker.kept());
  }
  return result;
}

std::string keptText(const std::vector<KernelValue>& kept) {
  std::string text;
  const auto append = [&](long double number, const char* behind) {
    char piece[400];
    std::snprintf(piece, sizeof piece, std::floor(number) == number ? "%15.0Lf" : "%15.6Lf", number);
    text += std::string(piece) + behind;
  };
  for (const KernelValue& value : kept) {
    append(static_cast<double>(value.column), ",\t");
    append(static_cast<double>(value.row), ",\t");
    append(value.value, "\n");
  }
  return text;
}

}  // namespace literal
