#include "pass_driver.h"

#include "kernel/quven_scan_results.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

namespace vesk_analyze {

void PassDriver::runPasses(const QUVENEnvHandle& env) {
  QUVENMemoryBlobIO blob;
  if (transport.isMaster()) run.getModel().beginDataScan(QUVEN_ENV);
  std::int32_t word = AnotherPass;
  while (word == AnotherPass) {
    PassCounters& counters = passes.emplace_back();
    shareState(blob, counters, QUVEN_ENV);
    run.getModel().initIteration(QUVEN_ENV);
    scan(counters, QUVEN_ENV);
    finishIteration(counters, QUVEN_ENV);
    collectResults(blob, counters, QUVEN_ENV);
    if (transport.isMaster()) word = endPass(counters, QUVEN_ENV) ? Ended : AnotherPass;
    word = transport.broadcastWord(word);
  }
  blob.deleteMemory(QUVEN_ENV);
}

void PassDriver::finishIteration(PassCounters& counters, const QUVENEnvHandle& env) {
  const PhaseTimer timer(counters, PassCounters::Update);
  run.getModel().finishIteration(QUVEN_ENV);
}

void PassDriver::shareState(QUVENMemoryBlobIO& blob, PassCounters& counters, const QUVENEnvHandle& env) {
  if (transport.isAlone()) return;
  const PhaseTimer timer(counters, PassCounters::Transport);
  if (transport.isMaster()) run.writeModel(blob, QUVENObjWriter::SaveForWorker, QUVEN_ENV);
  transport.broadcast(blob, QUVEN_ENV);
  if (!transport.isMaster()) run.readModel(blob, QUVEN_ENV);
}

void PassDriver::scan(PassCounters& counters, const QUVENEnvHandle& env) {
  QUVENSimpleAlgorithmModel& model = run.getModel();
  std::int32_t kind = 0;
  if (transport.isMaster()) kind = static_cast<std::int32_t>(model.getScanType(QUVEN_ENV));
  auto type = static_cast<QUVENScanType>(transport.broadcastWord(kind));
  if (type == QUVENScanType::NoPass) {
    const PhaseTimer timer(counters, PassCounters::Update);
    model.updateWithoutDataScan(QUVEN_ENV);
    return;
  }
  // No caller's row may be cut where the share of one worker ends.
  if (type == QUVENScanType::Slice && run.getDataset().getLineNumberColumn() >= 0) type = QUVENScanType::Lines;
  scanRecords(type, counters, QUVEN_ENV);
}

void PassDriver::scanRecords(QUVENScanType type, PassCounters& counters, const QUVENEnvHandle& env) {
  using Clock = std::chrono::steady_clock;
  // Records between two that are timed one by one: a prime, or else rows of some lengths would never have their last
  // record timed, which does the work.
  constexpr std::int64_t sampleInterval = 509;
  QUVENBinaryInputDataset& dataset = run.getDataset();
  QUVENDataPoint& point = run.getPoint();
  QUVENSimpleAlgorithmModel& model = run.getModel();
  const std::int64_t recordBytes = dataset.getNumColumns() * static_cast<std::int64_t>(sizeof(double));
  const auto start = Clock::now();
  Clock::duration reading{};
  Clock::duration updating{};

  dataset.setScanType(type, QUVEN_ENV);
  if (type == QUVENScanType::RandomSample || type == QUVENScanType::SampledLines) {
    dataset.setSamplingRate(model.getSamplingRate(QUVEN_ENV), QUVEN_ENV);
  }
  dataset.rewind(QUVEN_ENV);
  progress.beginPass(static_cast<int>(passes.size()), dataset.getTotalBytes() / recordBytes / transport.getCount());
  for (std::int64_t records = 0;; ++records) {
    if (records % sampleInterval != 0) {
      if (dataset.readNext(point, env) == QUVENInputDataset::EndOfData) {
        counters.records = records;
        break;
      }
      model.update(point, env);
      continue;
    }
    progress.update(records);
    const auto before = Clock::now();
    const bool ended = dataset.readNext(point, env) == QUVENInputDataset::EndOfData;
    const auto between = Clock::now();
    reading += between - before;
    if (ended) {
      counters.records = records;
      break;
    }
    model.update(point, env);
    updating += Clock::now() - between;
  }
  progress.clear();
  counters.bytes = counters.records * recordBytes;
  // The time of the pass, shared out as the timed records say.
  const double total = std::chrono::duration<double>(Clock::now() - start).count();
  const double timed = std::chrono::duration<double>(reading + updating).count();
  const double readShare = timed > 0 ? std::chrono::duration<double>(reading).count() / timed : 1;
  counters.seconds[PassCounters::Read] += total * readShare;
  counters.seconds[PassCounters::Update] += total * (1 - readShare);
}

/// The results of the workers above the master, up a tree of neighbours: the lower rank takes in the higher one, so
/// that they come together in the order of the ranks.
void PassDriver::collectResults(QUVENMemoryBlobIO& blob, PassCounters& counters, const QUVENEnvHandle& env) {
  if (transport.isAlone()) return;
  const int numHelpers = transport.getCount() - 1;
  if (transport.isMaster()) {
    {
      const PhaseTimer timer(counters, PassCounters::Transport);
      transport.receive(1, blob, QUVEN_ENV);
    }
    const PhaseTimer timer(counters, PassCounters::Merge);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV);
    return;
  }
  blob.clear();
  QUVENBinObjWriter writer(blob, QUVENObjWriter::ScanResults);
  quvenWriteScanResults(run.getModel(), writer, quvenScanResultKeyword(), QUVEN_ENV);
  const int position = transport.getRank() - 1;
  for (int step = 1; step < numHelpers; step *= 2) {
    if (position % (2 * step) != 0) {
      transport.send(transport.getRank() - step, blob);
      return;
    }
    if (position + step < numHelpers) mergeWith(transport.getRank() + step, blob, counters, QUVEN_ENV);
  }
  transport.send(0, blob);
}

void PassDriver::mergeWith(int otherRank, QUVENMemoryBlobIO& blob, PassCounters& counters, const QUVENEnvHandle& env) {
  QUVENMemoryBlobIO other;
  QUVENMemoryBlobIO merged;
  {
    const PhaseTimer timer(counters, PassCounters::Transport);
    transport.receive(otherRank, other, QUVEN_ENV);
  }
  const PhaseTimer timer(counters, PassCounters::Merge);
  blob.rewind();
  QUVENBinObjReader readerA(blob, QUVEN_ENV);
  QUVENBinObjReader readerB(other, QUVEN_ENV);
  QUVENBinObjWriter writer(merged, QUVENObjWriter::ScanResults);
  quvenMergeDataScanResults(readerA, readerB, writer, quvenScanResultKeyword(), QUVEN_ENV);
  blob.swap(merged);
  merged.deleteMemory(QUVEN_ENV);
  other.deleteMemory(QUVEN_ENV);
}

bool PassDriver::endPass(PassCounters& counters, const QUVENEnvHandle& env) {
  const PhaseTimer timer(counters, PassCounters::End);
  const bool ended = run.getModel().endDataScan(0, QUVEN_ENV);
  return ended || run.getModel().isFinished(QUVEN_ENV);
}

}  // namespace vesk_analyze
