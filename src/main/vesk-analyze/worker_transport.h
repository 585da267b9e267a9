#ifndef VESK_ANALYZE_WORKER_TRANSPORT_H
#define VESK_ANALYZE_WORKER_TRANSPORT_H

#include <cstdint>

#include "util/quven_blob_io.h"

namespace vesk_analyze {

/// Streams between the workers, of any length.
class WorkerTransport {
 public:
  /// Requires: MPI runs.
  WorkerTransport();

  int getRank() const { return rank; }
  int getCount() const { return count; }
  bool isMaster() const { return rank == 0; }
  bool isAlone() const { return count == 1; }

  /// Collective: the word of the master.
  std::int32_t broadcastWord(std::int32_t word) const;
  /// Collective: the bytes of the master, to be read from the beginning. Other workers' streams are replaced.
  void broadcast(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  void send(int toRank, const QUVENMemoryBlobIO& blob) const;
  void receive(int fromRank, QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;

 private:
  int rank = 0;
  int count = 1;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_WORKER_TRANSPORT_H
