#include "passes/quven_slices.h"

#include "kernel/quven_scan_results.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

QUVENSlices::QUVENSlices(int numSlices, const QUVENWorkerTransport& workerTransport, QUVENPassCounters& passCounters)
    : count(numSlices), transport(workerTransport), counters(passCounters) {}

/// The first slice of a rank, rounded up, so that slice 0 is always on rank 0.
int QUVENSlices::firstOf(int rank) const {
  const std::int64_t ranks = transport.getCount();
  return static_cast<int>((std::int64_t{rank} * count + ranks - 1) / ranks);
}

int QUVENSlices::ownerOf(int slice) const {
  int rank = static_cast<int>(std::int64_t{slice} * transport.getCount() / count);
  while (firstOf(rank) > slice) --rank;
  while (firstOf(rank + 1) <= slice) ++rank;
  return rank;
}

void QUVENSlices::mergeInto(int slice, int other, const QUVENEnvHandle& env) {
  const QUVENPhaseTimer timer(counters, QUVENPassCounters::Merge);
  const auto merged = results.find(other);
  quvenMergeResultStreams(results[slice].stream, merged->second.stream, QUVEN_ENV);
  quvenMergeDataScanResults(results[slice].scans, merged->second.scans, QUVEN_ENV);
  if (merged->second.world != nullptr) freeWorlds.push_back(merged->second.world);
  merged->second.stream.deleteMemory(QUVEN_ENV);
  results.erase(merged);
}

void QUVENSlices::add(int slice, QUVENSliceResults&& added, const QUVENEnvHandle& env) {
  QUVENSliceResults& kept = results[slice];
  kept.stream.swap(added.stream);
  kept.world = added.world;
  kept.scans = std::move(added.scans);
  // The pairs of the tree that end with this slice are complete if they begin on this rank.
  for (int step = 1; (slice + 1) % (2 * step) == 0 && slice + 1 - 2 * step >= getFirst(); step *= 2) {
    mergeInto(slice + 1 - 2 * step, slice + 1 - step, QUVEN_ENV);
  }
}

QUVENScanWorld* QUVENSlices::takeFreeWorld() {
  if (freeWorlds.empty()) return nullptr;
  QUVENScanWorld* const world = freeWorlds.back();
  freeWorlds.pop_back();
  return world;
}

void QUVENSlices::send(int slice, int toRank, const QUVENEnvHandle& env) {
  const auto sent = results.find(slice);
  transport.send(toRank, sent->second.stream);
  QUVENMemoryBlobIO ofScans;
  QUVENBinObjWriter writer(ofScans, QUVENObjWriter::ScanResults);
  quvenWriteScanResults(sent->second.scans, writer, quvenScanResultKeyword(), QUVEN_ENV);
  transport.send(toRank, ofScans);
  ofScans.deleteMemory(QUVEN_ENV);
  sent->second.stream.deleteMemory(QUVEN_ENV);
  results.erase(sent);
}

void QUVENSlices::mergeReceived(int slice, int fromRank, const QUVENEnvHandle& env) {
  QUVENMemoryBlobIO stream;
  QUVENMemoryBlobIO ofScans;
  {
    const QUVENPhaseTimer timer(counters, QUVENPassCounters::Transport);
    transport.receive(fromRank, stream, QUVEN_ENV);
    transport.receive(fromRank, ofScans, QUVEN_ENV);
  }
  const QUVENPhaseTimer timer(counters, QUVENPassCounters::Merge);
  quvenMergeResultStreams(results[slice].stream, stream, QUVEN_ENV);
  QUVENBinObjReader reader(ofScans, QUVEN_ENV);
  quvenMergeDataScanResults(results[slice].scans, reader, quvenScanResultKeyword(), QUVEN_ENV);
  stream.deleteMemory(QUVEN_ENV);
  ofScans.deleteMemory(QUVEN_ENV);
}

QUVENSliceResults QUVENSlices::collect(const QUVENEnvHandle& env) {
  const int rank = transport.getRank();
  for (int step = 1; step < count; step *= 2) {
    for (int slice = 0; slice + step < count; slice += 2 * step) {
      const int other = slice + step;
      const bool isHere = ownerOf(slice) == rank;
      const bool isOtherHere = ownerOf(other) == rank;
      if (isHere && !isOtherHere) {
        mergeReceived(slice, ownerOf(other), QUVEN_ENV);
      } else if (isOtherHere && !isHere) {
        send(other, ownerOf(slice), QUVEN_ENV);
      } else if (isHere && results.count(other) != 0) {
        mergeInto(slice, other, QUVEN_ENV);
      }
    }
  }
  QUVENSliceResults all;
  if (!transport.isMaster()) return all;
  all.stream.swap(results[0].stream);
  all.stream.rewind();
  all.scans = std::move(results[0].scans);
  return all;
}

void QUVENSlices::release(const QUVENEnvHandle& env) {
  for (auto& [slice, gathered] : results) gathered.stream.deleteMemory(QUVEN_ENV);
  results.clear();
}

void quvenMergeResultStreams(QUVENMemoryBlobIO& a, QUVENMemoryBlobIO& b, const QUVENEnvHandle& env) {
  QUVENMemoryBlobIO merged;
  a.rewind();
  b.rewind();
  QUVENBinObjReader readerA(a, QUVEN_ENV);
  QUVENBinObjReader readerB(b, QUVEN_ENV);
  QUVENBinObjWriter writer(merged, QUVENObjWriter::ScanResults);
  quvenMergeDataScanResults(readerA, readerB, writer, quvenScanResultKeyword(), QUVEN_ENV);
  a.swap(merged);
  merged.deleteMemory(QUVEN_ENV);
}
