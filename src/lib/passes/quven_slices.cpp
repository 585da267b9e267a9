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
  const auto merged = streams.find(other);
  quvenMergeResultStreams(streams[slice], merged->second, QUVEN_ENV);
  merged->second.deleteMemory(QUVEN_ENV);
  streams.erase(merged);
}

void QUVENSlices::add(int slice, QUVENMemoryBlobIO& results, const QUVENEnvHandle& env) {
  streams[slice].swap(results);
  // The pairs of the tree that end with this slice are complete if they begin on this rank.
  for (int step = 1; (slice + 1) % (2 * step) == 0 && slice + 1 - 2 * step >= getFirst(); step *= 2) {
    mergeInto(slice + 1 - 2 * step, slice + 1 - step, QUVEN_ENV);
  }
}

void QUVENSlices::collect(QUVENMemoryBlobIO& results, const QUVENEnvHandle& env) {
  const int rank = transport.getRank();
  for (int step = 1; step < count; step *= 2) {
    for (int slice = 0; slice + step < count; slice += 2 * step) {
      const int other = slice + step;
      const bool isHere = ownerOf(slice) == rank;
      const bool isOtherHere = ownerOf(other) == rank;
      if (isHere && !isOtherHere) {
        const QUVENPhaseTimer timer(counters, QUVENPassCounters::Transport);
        transport.receive(ownerOf(other), streams[other], QUVEN_ENV);
      } else if (isOtherHere && !isHere) {
        transport.send(ownerOf(slice), streams[other]);
        streams[other].deleteMemory(QUVEN_ENV);
        streams.erase(other);
      }
      if (isHere && streams.count(other) != 0) mergeInto(slice, other, QUVEN_ENV);
    }
  }
  if (!transport.isMaster()) return;
  results.swap(streams[0]);
  results.rewind();
}

void QUVENSlices::release(const QUVENEnvHandle& env) {
  for (auto& [slice, stream] : streams) stream.deleteMemory(QUVEN_ENV);
  streams.clear();
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
