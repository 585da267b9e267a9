#include "passes/quven_pass_driver.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

#include "kernel/quven_scan_results.h"
#include "passes/quven_row_file.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_debug.h"

namespace {

/// The channels of an environment are set before the first of its scans is made.
const QUVENPassSettings& withChannels(const QUVENPassSettings& settings, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(settings.numChannels >= 1);
  QUVEN_ASSERT(settings.numSlices >= 0);
  QUVEN_ASSERT(settings.distributionPasses >= 1);
  QUVEN_ASSERT(settings.lastPass >= 0);
  QUVEN_ASSERT(settings.outputCacheBytes >= 0);
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(settings.numChannels);
  return settings;
}

}  // namespace

QUVENPassDriver::QUVENPassDriver(const QUVENPassSettings& passSettings, const QUVENWorkerTransport& workerTransport,
                                 const QUVENEnvHandle& env)
    : settings(withChannels(passSettings, QUVEN_ENV)),
      transport(workerTransport),
      world(QUVEN_ENV),
      outputCache(settings.outputCacheBytes, settings.numChannels) {}

void QUVENPassDriver::release(const QUVENEnvHandle& env) { world.release(QUVEN_ENV); }

void QUVENPassDriver::shareFields(const QUVENEnvHandle& env) {
  if (transport.isMaster()) world.registerFields(QUVEN_ENV);
  if (transport.isAlone()) return;
  QUVENMemoryBlobIO blob;
  if (transport.isMaster()) world.writePoint(blob, QUVEN_ENV);
  transport.broadcast(blob, QUVEN_ENV);
  if (!transport.isMaster()) world.readPoint(blob, QUVEN_ENV);
  blob.deleteMemory(QUVEN_ENV);
}

void QUVENPassDriver::addField(QUVENField& field, const QUVENEnvHandle& env) {
  field.setSampleFlag(true, QUVEN_ENV);
  fieldNames.push_back(field.getName());
}

// What rank 0 decides

/// Whether a field that was added is to be shown its values in the next pass. An output has none before its model has
/// finished, so the scans do not wait for it.
bool QUVENPassDriver::fieldsGather(bool countOutputs) const {
  return std::any_of(fieldNames.begin(), fieldNames.end(), [&](const QUVENStringWithHash& name) {
    const QUVENField* field = world.getNames().find(name);
    if (field == nullptr || !QUVENRecordPass::gathers(*field, settings)) return false;
    return countOutputs || !field->isComputed() || field->hasValueProducer();
  });
}

/// Begins the scans once no added field of the data gathers; returns whether another pass is needed.
bool QUVENPassDriver::prepare(const QUVENEnvHandle& env) {
  const bool distributionsAreReady = !fieldsGather(false);
  bool isWanted = fieldsGather(true);
  const QUVENFieldSet fields = world.collectFields();
  for (const QUVENOwnPtr<QUVENDataScan>& scan : world.getScans()) {
    if (scan == nullptr) quvenFatalReport("The list of scans has a place without a scan", QUVEN_ENV);
    const QUVENScanProtocol& protocol = protocols.of(*scan, QUVEN_ENV);
    if (!protocol.readsOnly(*scan, fields)) {
      quvenFatalReport("A scan reads a field that no longer exists: the model with that output was dropped", QUVEN_ENV);
    }
    if (distributionsAreReady) protocol.begin(*scan, begunScans.insert(scan->getSerialNumber()).second, QUVEN_ENV);
    isWanted = protocol.isScanning(*scan) || isWanted;
  }
  return isWanted;
}

void QUVENPassDriver::runPasses(const QUVENEnvHandle& env) {
  for (;;) {
    std::int32_t word = Ended;
    if (transport.isMaster()) word = prepare(QUVEN_ENV) ? AnotherPass : Ended;
    if (transport.broadcastWord(word) == Ended) break;
    runPass(QUVEN_ENV);
    if (transport.isMaster() && betweenPasses) betweenPasses(passNumber);
  }
  outputCache.clear();
}

// One pass

void QUVENPassDriver::runPass(const QUVENEnvHandle& env) {
  ++passNumber;
  QUVENPassCounters& counters = passes.emplace_back();
  QUVENMemoryBlobIO blob;
  if (settings.numSlices > 0) {
    runSlicedPass(blob, counters, QUVEN_ENV);
  } else {
    runSharedPass(blob, counters, QUVEN_ENV);
  }
  blob.deleteMemory(QUVEN_ENV);
}

/// Each rank gathers its share in its own objects, rank 0 in the live ones.
void QUVENPassDriver::runSharedPass(QUVENMemoryBlobIO& blob, QUVENPassCounters& counters, const QUVENEnvHandle& env) {
  shareState(blob, counters, QUVEN_ENV);
  if (!transport.isMaster()) {
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Transport);
    readCopy(world, blob, QUVEN_ENV);
  }
  QUVENRecordPass pass(world, protocols, settings, QUVEN_ENV);
  pass.begin(QUVEN_ENV);
  const QUVENScanType type = agreeOnScanType(pass, QUVEN_ENV);
  {
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Update);
    pass.updateWithoutRecords(QUVEN_ENV);
  }
  outputCache.beginPass(world.collectFinalOutputs());
  if (outputCache.isUsed() && type == QUVENScanType::Slice) pass.useOutputCache(outputCache);
  if (type != QUVENScanType::NoPass && !takeKeptRecords(pass, counters, QUVEN_ENV)) {
    dataset->setWorker(transport.getRank(), transport.getCount(), QUVEN_ENV);
    dataset->setScanType(type, QUVEN_ENV);
    if (type == QUVENScanType::RandomSample || type == QUVENScanType::SampledLines) {
      dataset->setSamplingRate(pass.getSamplingRate(QUVEN_ENV), QUVEN_ENV);
    }
    scanRecords(
        world.getPoint(), counters, [&](std::int64_t record) { pass.take(record, env); }, QUVEN_ENV);
  }
  outputCache.endPass();
  {
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Update);
    pass.end(QUVEN_ENV);
  }
  collectResults(pass, blob, counters, QUVEN_ENV);
  if (transport.isMaster()) endPass(pass, counters, QUVEN_ENV);
}

/// Each slice is gathered in a copy of the live world, on rank 0 too; the live objects only take the merged results.
void QUVENPassDriver::runSlicedPass(QUVENMemoryBlobIO& blob, QUVENPassCounters& counters, const QUVENEnvHandle& env) {
  {
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Transport);
    if (transport.isMaster()) world.write(blob, QUVEN_ENV);
    transport.broadcast(blob, QUVEN_ENV);
  }
  // Copies are read when they are needed; the first one above rank 0 is the world of the rank.
  std::vector<std::unique_ptr<QUVENScanWorld>> copies;
  const auto readAnother = [&] {
    copies.push_back(std::make_unique<QUVENScanWorld>(env));
    readCopy(*copies.back(), blob, env);
    return copies.back().get();
  };
  QUVENScanWorld* firstCopy = &world;
  if (transport.isMaster()) {
    firstCopy = readAnother();
  } else {
    readCopy(world, blob, QUVEN_ENV);
  }
  QUVENRecordPass live(world, protocols, settings, QUVEN_ENV);
  if (transport.isMaster()) live.begin(QUVEN_ENV);
  const QUVENScanType type = agreeOnScanType(live, QUVEN_ENV);
  if (type != QUVENScanType::NoPass && type != QUVENScanType::Slice) {
    quvenFatalReport("A run in slices reads its records in slices only", QUVEN_ENV);
  }
  outputCache.beginPass(firstCopy->collectFinalOutputs());
  QUVENSlices slices(settings.numSlices, transport, counters);
  QUVENSliceResults results;
  if (type == QUVENScanType::Slice) {
    QUVENScanWorld* copy = firstCopy;
    for (int slice = slices.getFirst(); slice < slices.getLast(); ++slice) {
      if (copy == nullptr) copy = slices.takeFreeWorld();
      if (copy == nullptr) copy = readAnother();
      QUVENRecordPass pass(*copy, protocols, settings, QUVEN_ENV);
      pass.copyScanTypes(live, QUVEN_ENV);
      pass.dropScansWithoutRecords();
      if (outputCache.isUsed()) pass.useOutputCache(outputCache);
      pass.begin(QUVEN_ENV);
      dataset->setWorker(slice, settings.numSlices, QUVEN_ENV);
      dataset->setScanType(type, QUVEN_ENV);
      scanRecords(
          copy->getPoint(), counters, [&](std::int64_t record) { pass.take(record, env); }, QUVEN_ENV);
      pass.end(QUVEN_ENV);
      results = pass.takeResults(QUVEN_ENV);
      const bool isHeld = results.world != nullptr;  // until its results are merged
      slices.add(slice, std::move(results), QUVEN_ENV);
      if (isHeld) {
        copy = nullptr;
      } else if (slice + 1 < slices.getLast()) {
        readCopy(*copy, blob, QUVEN_ENV);
      }
    }
    results = slices.collect(QUVEN_ENV);
  }
  if (transport.isMaster()) {
    live.updateWithoutRecords(QUVEN_ENV);
    live.endWithoutRecords(QUVEN_ENV);
    if (type == QUVENScanType::Slice) {
      const QUVENPhaseTimer timer(counters, QUVENPassCounters::Merge);
      QUVENBinObjReader reader(results.stream, QUVEN_ENV);
      quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV);
      quvenMergeIntoLiveScans(results.scans, QUVEN_ENV);
    }
  }
  outputCache.endPass();
  slices.release(QUVEN_ENV);
  results.stream.deleteMemory(QUVEN_ENV);
  for (const std::unique_ptr<QUVENScanWorld>& copy : copies) copy->release(QUVEN_ENV);
  // Only the live objects are left: a decision by the memory in use is the same on any number of ranks.
  if (transport.isMaster()) endPass(live, counters, QUVEN_ENV);
}

void QUVENPassDriver::shareState(QUVENMemoryBlobIO& blob, QUVENPassCounters& counters, const QUVENEnvHandle& env) {
  if (transport.isAlone()) return;
  const QUVENPhaseTimer timer(counters, QUVENPassCounters::Transport);
  if (transport.isMaster()) world.write(blob, QUVEN_ENV);
  transport.broadcast(blob, QUVEN_ENV);
}

void QUVENPassDriver::readCopy(QUVENScanWorld& copy, QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) {
  const long numProducers = copy.read(blob, QUVEN_ENV);
  if (afterRead) afterRead(copy);
  // Without its producer a computed field would silently have no value.
  if (copy.countValueProducers() != numProducers) {
    quvenFatalReport("A computed field has no value producer on this rank", QUVEN_ENV);
  }
}

/// Rank 0 asks its live scans and tells all ranks.
QUVENScanType QUVENPassDriver::agreeOnScanType(QUVENRecordPass& pass, const QUVENEnvHandle& env) const {
  const bool hasLines = dataset->getLineNumberColumn() >= 0;
  for (long i = 1; i <= pass.getNumParticipants(); ++i) {
    std::int32_t type = 0;
    if (transport.isMaster()) type = static_cast<std::int32_t>(pass.getScanType(i, hasLines, QUVEN_ENV));
    pass.setScanType(i, static_cast<QUVENScanType>(transport.broadcastWord(type)));
  }
  return pass.chooseScanType(QUVEN_ENV);
}

/// A pass over the records that a scan keeps in memory. False when they are to be read from the file.
bool QUVENPassDriver::takeKeptRecords(const QUVENRecordPass& pass, QUVENPassCounters& counters,
                                      const QUVENEnvHandle& env) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  QUVENKeptRecords done;
  const bool isDone = pass.takeKeptRecords(done, QUVEN_ENV);
  counters.bytes += done.bytesRead;
  counters.seconds[QUVENPassCounters::Read] += done.secondsReading;
  if (!isDone) return false;
  counters.records += done.records;
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  counters.seconds[QUVENPassCounters::Update] += seconds - done.secondsReading;
  if (observer != nullptr) {
    observer->beginPass(static_cast<int>(passes.size()), done.records);
    observer->update(done.records);
    observer->endPass();
  }
  return true;
}

/// Shows the records of the mode that the dataset is in to an action, which gets the number of each record.
template <class Take>
void QUVENPassDriver::scanRecords(QUVENDataPoint& point, QUVENPassCounters& counters, Take take,
                                  const QUVENEnvHandle& env) {
  using Clock = std::chrono::steady_clock;
  // The records between two that are timed one by one. A prime, because rows of some lengths would otherwise never have
  // their last record timed, which does the work of the row.
  constexpr std::int64_t sampleInterval = 509;
  const std::int64_t recordBytes = dataset->getNumColumns() * static_cast<std::int64_t>(sizeof(double));
  const auto start = Clock::now();
  Clock::duration reading{};
  Clock::duration updating{};
  std::int64_t records = 0;

  dataset->rewind(QUVEN_ENV);
  if (observer != nullptr) {
    const std::int64_t ranks = transport.getCount();
    observer->beginPass(static_cast<int>(passes.size()), dataset->getTotalBytes() / recordBytes / ranks);
  }
  for (;; ++records) {
    if (records % sampleInterval != 0) {
      if (!dataset->readRecord(point, env)) break;
      take(dataset->getRecordNumber());
      continue;
    }
    if (observer != nullptr) observer->update(records);
    const auto before = Clock::now();
    const bool isRecord = dataset->readRecord(point, env);
    const auto between = Clock::now();
    reading += between - before;
    if (!isRecord) break;
    take(dataset->getRecordNumber());
    updating += Clock::now() - between;
  }
  if (observer != nullptr) observer->endPass();
  counters.records += records;
  counters.bytes += records * recordBytes;
  // The time of the pass is divided between its phases in the ratio of the timed records.
  const double total = std::chrono::duration<double>(Clock::now() - start).count();
  const double timed = std::chrono::duration<double>(reading + updating).count();
  const double readShare = timed > 0 ? std::chrono::duration<double>(reading).count() / timed : 1;
  counters.seconds[QUVENPassCounters::Read] += total * readShare;
  counters.seconds[QUVENPassCounters::Update] += total * (1 - readShare);
}

/// Merges the results of the ranks above 0 up a tree of neighbours, and the outcome into the live objects. In each pair
/// the lower rank merges the higher rank's results into its own, so the outcome is that of a chain in rank order.
void QUVENPassDriver::collectResults(const QUVENRecordPass& pass, QUVENMemoryBlobIO& blob, QUVENPassCounters& counters,
                                     const QUVENEnvHandle& env) {
  if (transport.isAlone()) return;
  const auto receive = [&](int rank, QUVENMemoryBlobIO& stream) {
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Transport);
    transport.receive(rank, stream, QUVEN_ENV);
  };
  if (transport.isMaster()) {
    receive(1, blob);
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Merge);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV);
    return;
  }
  pass.writeResults(blob, QUVEN_ENV);
  const auto take = [&](int rank) {
    QUVENMemoryBlobIO other;
    receive(rank, other);
    {
      const QUVENPhaseTimer timer(counters, QUVENPassCounters::Merge);
      quvenMergeResultStreams(blob, other, env);
    }
    other.deleteMemory(env);
  };
  transport.climbTree(take, [&](int rank) { transport.send(rank, blob); });
}

void QUVENPassDriver::endPass(QUVENRecordPass& pass, QUVENPassCounters& counters, const QUVENEnvHandle& env) {
  const QUVENPhaseTimer timer(counters, QUVENPassCounters::End);
  const bool isLast = settings.lastPass > 0 && passNumber >= settings.lastPass;
  pass.finish(isLast ? 1 : 0, QUVEN_ENV);
}

// A pass that writes

void QUVENPassDriver::writeRows(const std::string& path, const std::string& header, const WriteRow& writeRow,
                                const QUVENEnvHandle& env) {
  QUVENPassCounters& counters = passes.emplace_back();
  QUVENMemoryBlobIO blob;
  shareState(blob, counters, QUVEN_ENV);
  if (!transport.isMaster()) readCopy(world, blob, QUVEN_ENV);
  blob.deleteMemory(QUVEN_ENV);
  QUVENRecordPass pass(world, protocols, settings, QUVEN_ENV);
  writingPass = &pass;
  QUVENRowFile file(path, transport, QUVEN_ENV);
  if (transport.isMaster()) file.write(header, QUVEN_ENV);
  dataset->setWorker(transport.getRank(), transport.getCount(), QUVEN_ENV);
  dataset->setScanType(QUVENScanType::Slice, QUVEN_ENV);
  std::string row;
  const auto take = [&](std::int64_t record) {
    pass.score(record, env);
    row.clear();
    writeRow(world.getPoint(), record, row);
    file.write(row, env);
  };
  scanRecords(world.getPoint(), counters, take, QUVEN_ENV);
  writingPass = nullptr;
  file.commit(QUVEN_ENV);
}
