#include "check/run_estimate.h"

#include <algorithm>
#include <cmath>

#include "scan_plan.h"  // of vesk-loader

namespace vesk {

namespace {

constexpr double number = 8.0;  // bytes of a stored number

// Lines a second of the loader on one core of about 3 GHz.
constexpr double tableLines = 3e6;
constexpr double pairLines = 2e6;
constexpr double sumLines = 8e6;

// Of the loader's tables: a slot of the index of callers at its mean load, a row, the links of its pieces.
constexpr double slotBytes = 20.0;
constexpr double tableRowBytes = 32.0 + 2 * 16.0;
constexpr double sumRowBytes = 16.0;
// Rows grow by doubling, so that on average a quarter of the room is free.
constexpr double freeRoom = 4.0 / 3.0;
// A row of distinct callees has another count and room for as many repeats.
constexpr double distinctRowBytes = 8.0;
constexpr double distinctRoom = 2.0;
// A pair while the pairs are collected, at mean load, and in order for the output.
constexpr double pairBytes = 24.0 / 0.56 + 16.0;

/// How many different things `lines` lines hold when `seen` different ones are in `sampled` lines. Low: all are equally
/// frequent, so that the sample has met most of them. High: as many new ones in each further line as in the sample.
Estimate differentThings(double seen, double sampled, double lines) {
  const double high = std::max(seen, seen / sampled * lines);
  if (seen >= sampled) return {high, high};
  // Solves seen = all * (1 - exp(-sampled / all)) for all.
  double low = seen;
  double top = seen * 1e6;
  for (int i = 0; i < 100; ++i) {
    const double all = std::sqrt(low * top);
    (all * -std::expm1(-sampled / all) < seen ? low : top) = all;
  }
  return {std::clamp(low * -std::expm1(-lines / low), seen, high), high};
}

void estimateLines(const InputSample& sample, RunEstimate& estimate) {
  double content = 0.0;
  double lines = 0.0;
  for (const FileSample& file : sample.files) {
    content += static_cast<double>(file.contentBytes);
    lines += static_cast<double>(file.lines);
  }
  estimate.lineBytes = content / std::max(lines, 1.0);
  for (const FileSample& file : sample.files) {
    if (!file.failure.empty()) continue;
    if (file.isWhole || file.lines == 0) {
      estimate.lines += static_cast<double>(file.lines);
      continue;
    }
    const auto stored = static_cast<double>(file.file.bytes);
    const auto read = static_cast<double>(file.contentBytes);
    const bool isPlain = file.compression == vesk_files::Compression::None;
    const double whole = isPlain ? stored : stored * std::max(1.0, read / static_cast<double>(file.storedBytes));
    estimate.lines += whole * static_cast<double>(file.lines) / read;
  }
}

/// Bytes of `callers` callers with `values` entries, pairs or sums of all of them.
struct Shape {
  double memoryCaller = 0.0;
  double memoryValue = 0.0;
  double stateCaller = 0.0;
  double stateValue = 0.0;
  double datasetCaller = 0.0;
  double datasetValue = 0.0;
};

Shape shapeOf(const vesk_loader::LoaderSettings& settings, std::uint32_t sums) {
  const auto payloads = static_cast<double>(settings.payloadInputs.size());
  const bool isSparse = settings.sparse != 0;
  const double ends = isSparse ? 6 * number : number;  // header and footer of a row, or its key
  Shape shape;
  shape.stateCaller = (3 + payloads) * number;
  if (settings.cyclicTableSize > 0) {
    const double width = 1.0 + (settings.dateField >= 0 ? 1.0 : 0.0) + payloads;
    const bool isDistinct = settings.distinctCyclicTable;
    shape.memoryCaller = slotBytes + tableRowBytes + (isDistinct ? distinctRowBytes : 0.0);
    shape.memoryValue = width * number * (isDistinct ? distinctRoom : freeRoom);
    shape.stateValue = width * number;
    shape.datasetCaller = (1 + payloads) * (isSparse ? ends : ends + number * settings.cyclicTableSize);
    shape.datasetValue = isSparse ? (1 + payloads) * 3 * number : 0.0;
  } else if (settings.pairSumFlag != 0) {
    shape.memoryCaller = slotBytes + sumRowBytes + number;
    shape.memoryValue = pairBytes;
    shape.stateValue = 2 * number;
    shape.datasetCaller = ends;
    shape.datasetValue = 3 * number;
  } else {
    shape.memoryCaller = slotBytes + sumRowBytes;
    shape.memoryValue = number;
    shape.stateValue = number;
    // The first sum is not written.
    shape.datasetCaller = ends - (isSparse ? 3 * number : number) * (sums > 0 ? 1.0 : 0.0);
    shape.datasetValue = isSparse ? 3 * number : number;
  }
  return shape;
}

}  // namespace

RunEstimate estimateRun(const vesk_loader::LoaderSettings& settings, const InputSample& sample) {
  RunEstimate estimate;
  estimateLines(sample, estimate);
  const auto sampled = static_cast<double>(sample.accepted);
  const double accepted = estimate.lines * sampled / static_cast<double>(sample.lines);
  estimate.callers = differentThings(static_cast<double>(sample.callers.size()), sampled, accepted);

  const std::uint32_t sums = vesk_loader::ScanPlan(settings).sumCount;
  const Shape shape = shapeOf(settings, sums);
  const bool isTable = settings.cyclicTableSize > 0;
  Estimate values;
  if (isTable) {
    double entries = 0.0;
    for (const OperationSample& operation : sample.operations) entries += operation.sum;
    entries *= accepted / sampled;
    const double size = settings.cyclicTableSize;
    values = {std::min(entries, estimate.callers.low * size), std::min(entries, estimate.callers.high * size)};
    estimate.fullCallerBytes =
        shape.memoryCaller + shape.memoryValue / (settings.distinctCyclicTable ? 1.0 : freeRoom) * size;
  } else if (settings.pairSumFlag != 0) {
    values = differentThings(static_cast<double>(std::max<std::size_t>(sample.pairs.size(), 1)), sampled, accepted);
  } else {
    values = {estimate.callers.low * sums, estimate.callers.high * sums};
  }
  const auto total = [&](double caller, double value) {
    return Estimate{estimate.callers.low * caller + values.low * value,
                    estimate.callers.high * caller + values.high * value};
  };
  constexpr double programBytes = 10e6;
  const double partitions = settings.numberOfPartitions;
  const Estimate tables = total(shape.memoryCaller, shape.memoryValue);
  estimate.memory = {programBytes + tables.low / partitions, programBytes + tables.high / partitions};
  estimate.callerBytes = tables.low / std::max(estimate.callers.low, 1.0);
  if (isTable) estimate.callerBytes = std::min(estimate.callerBytes, estimate.fullCallerBytes);
  estimate.state = total(shape.stateCaller, shape.stateValue);
  estimate.dataset = total(shape.datasetCaller, shape.datasetValue);
  const double rate = isTable ? tableLines : settings.pairSumFlag != 0 ? pairLines : sumLines;
  // Each partition reads every line, and passes over those of the others.
  estimate.seconds = estimate.lines / rate + estimate.lines * (partitions - 1) / sumLines;
  return estimate;
}

}  // namespace vesk
