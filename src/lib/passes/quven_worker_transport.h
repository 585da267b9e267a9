#ifndef QUVEN_WORKER_TRANSPORT_H
#define QUVEN_WORKER_TRANSPORT_H

#include <mpi.h>

#include <cstdint>

#include "util/quven_blob_io.h"

/// Streams between the ranks of a run, of any length.
class QUVENWorkerTransport {
 public:
  /// Requires: MPI runs. The communicator is borrowed.
  explicit QUVENWorkerTransport(MPI_Comm ranks = MPI_COMM_WORLD);

  int getRank() const { return rank; }
  int getCount() const { return count; }
  bool isMaster() const { return rank == 0; }
  bool isAlone() const { return count == 1; }
  /// Collective: how many ranks share the memory of this machine.
  int getCountOnMachine() const;

  /// Collective: broadcasts one integer from rank 0.
  std::int32_t broadcastWord(std::int32_t word) const;
  /// Collective: the largest of one integer of each rank.
  std::int32_t largestOfAll(std::int32_t word) const;
  /// Collective: broadcasts the bytes of rank 0, to be read from the beginning. The streams of the other ranks are
  /// replaced.
  void broadcast(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  void send(int toRank, const QUVENMemoryBlobIO& blob) const;
  void receive(int fromRank, QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  /// Collective: returns when every rank has called it.
  void waitForAll() const;

 private:
  MPI_Comm communicator;
  int rank = 0;
  int count = 1;
};

#endif  // QUVEN_WORKER_TRANSPORT_H
