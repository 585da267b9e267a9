#ifndef QUVEN_WORKER_TRANSPORT_H
#define QUVEN_WORKER_TRANSPORT_H

#include <mpi.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

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
  std::int64_t largestOfAll(std::int64_t number) const;
  /// Collective: broadcasts the bytes of rank 0, to be read from the beginning. The streams of the other ranks are
  /// replaced.
  void broadcast(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  /// Collective: replaces the values of the other ranks by those of rank 0, as many as it has.
  template <class Value>
  void broadcast(std::vector<Value>& values) const {
    std::uint64_t size = values.size();
    broadcastBytes(std::as_writable_bytes(std::span(&size, 1)));
    values.resize(size);
    broadcastBytes(std::as_writable_bytes(std::span(values)));
  }
  /// Collective: the values of rank 0 are replaced by those of all ranks above it, combined in the tree and order in
  /// which results are merged. The values of the ranks above 0 are overwritten.
  /// Shapes: as many on each rank. combine(value, other) gives the combination of a lower and a higher rank's value.
  template <class Value, class Combine>
  void combineAboveMaster(std::vector<Value>& values, Combine combine) const {
    if (isAlone()) return;
    if (isMaster()) return receiveBytes(1, std::as_writable_bytes(std::span(values)));
    std::vector<Value> other;
    const auto take = [&](int fromRank) {
      other.resize(values.size());
      receiveBytes(fromRank, std::as_writable_bytes(std::span(other)));
      for (std::size_t i = 0; i < values.size(); ++i) values[i] = combine(values[i], other[i]);
    };
    climbTree(take, [&](int toRank) { sendBytes(toRank, std::as_bytes(std::span(values))); });
  }
  /// Sends values to a rank that receives them.
  template <class Value>
  void send(int toRank, const std::vector<Value>& values) const {
    const std::uint64_t size = values.size();
    sendBytes(toRank, std::as_bytes(std::span(&size, 1)));
    sendBytes(toRank, std::as_bytes(std::span(values)));
  }
  template <class Value>
  void receive(int fromRank, std::vector<Value>& values) const {
    std::uint64_t size = 0;
    receiveBytes(fromRank, std::as_writable_bytes(std::span(&size, 1)));
    values.resize(size);
    receiveBytes(fromRank, std::as_writable_bytes(std::span(values)));
  }
  /// The share of a rank above 0 in combining the parts of all these ranks in a tree: in each pair the lower rank takes
  /// the higher one's part with takeFrom(rank), which that rank sends with sendTo(rank). Rank 1 sends the whole to
  /// rank 0.
  template <class Take, class Send>
  void climbTree(Take takeFrom, Send sendTo) const {
    const int position = rank - 1;
    for (int step = 1; step < count - 1; step *= 2) {
      if (position % (2 * step) != 0) return sendTo(rank - step);
      if (position + step < count - 1) takeFrom(rank + step);
    }
    sendTo(0);
  }
  void send(int toRank, const QUVENMemoryBlobIO& blob) const;
  void receive(int fromRank, QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  /// Collective: returns when every rank has called it.
  void waitForAll() const;

 private:
  void broadcastBytes(std::span<std::byte> bytes) const;
  void sendBytes(int toRank, std::span<const std::byte> bytes) const;
  void receiveBytes(int fromRank, std::span<std::byte> bytes) const;

  MPI_Comm communicator;
  int rank = 0;
  int count = 1;
};

#endif  // QUVEN_WORKER_TRANSPORT_H
