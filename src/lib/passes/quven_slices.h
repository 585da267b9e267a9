#ifndef QUVEN_SLICES_H
#define QUVEN_SLICES_H

#include <map>
#include <vector>

#include "passes/quven_pass_counters.h"
#include "passes/quven_scan_world.h"
#include "passes/quven_worker_transport.h"

/// What was gathered in one slice, or in several that are merged.
struct QUVENSliceResults {
  QUVENMemoryBlobIO stream;                ///< results that are merged as streams
  QUVENScanWorld* world = nullptr;         ///< the copy whose scans hold the other results; borrowed, null for none
  std::vector<QUVENDataScan*> scans = {};  ///< those scans
};

/// The results of a pass in fixed slices, merged in one tree over the slice numbers whatever rank has gathered them.
///
/// In round k, for step 2^k, the results of slice s + step are merged into those of slice s, for each s that is a
/// multiple of 2 * step. So the outcome depends on the number of slices and not on the number of ranks.
/// Shapes:   slices run from 0; a rank has the slices getFirst()..getLast()-1, maybe none; rank 0 has slice 0.
/// Lifetime: release(env) before it ends.
class QUVENSlices {
 public:
  QUVENSlices(int numSlices, const QUVENWorkerTransport& workerTransport, QUVENPassCounters& passCounters);

  int getFirst() const { return firstOf(transport.getRank()); }
  int getLast() const { return firstOf(transport.getRank() + 1); }

  /// Takes the results of a slice, in ascending order of the slices of this rank, and merges what it can.
  void add(int slice, QUVENSliceResults&& results, const QUVENEnvHandle& env);
  /// A copy whose results were merged into those of another one, and which is free again; null for none.
  QUVENScanWorld* takeFreeWorld();
  /// Collective: merges the results of all ranks. Rank 0 gets them, with the stream at its beginning; it releases the
  /// stream.
  QUVENSliceResults collect(const QUVENEnvHandle& env);

  void release(const QUVENEnvHandle& env);

 private:
  int firstOf(int rank) const;
  int ownerOf(int slice) const;
  void mergeInto(int slice, int other, const QUVENEnvHandle& env);
  void mergeReceived(int slice, int fromRank, const QUVENEnvHandle& env);
  void send(int slice, int toRank, const QUVENEnvHandle& env);

  int count;
  const QUVENWorkerTransport& transport;
  QUVENPassCounters& counters;
  std::map<int, QUVENSliceResults> results;  // the slices whose results are here
  std::vector<QUVENScanWorld*> freeWorlds;
};

/// Merges the results in two streams, those of b into those of a, into a stream that takes the place of a.
void quvenMergeResultStreams(QUVENMemoryBlobIO& a, QUVENMemoryBlobIO& b, const QUVENEnvHandle& env);

#endif  // QUVEN_SLICES_H
