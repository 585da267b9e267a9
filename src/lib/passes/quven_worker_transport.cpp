#include "passes/quven_worker_transport.h"

#include <algorithm>

namespace {

// A message counts its bytes in an int.
constexpr std::uint64_t largestPart = 1 << 30;

/// Calls an action for the parts of a message, with their place and their length.
template <class Byte, class Action>
void forEachPart(std::span<Byte> bytes, Action action) {
  while (!bytes.empty()) {
    const std::size_t length = std::min<std::uint64_t>(largestPart, bytes.size());
    action(bytes.data(), static_cast<int>(length));
    bytes = bytes.subspan(length);
  }
}

}  // namespace

QUVENWorkerTransport::QUVENWorkerTransport(MPI_Comm ranks) : communicator(ranks) {
  MPI_Comm_rank(communicator, &rank);
  MPI_Comm_size(communicator, &count);
}

int QUVENWorkerTransport::getCountOnMachine() const {
  MPI_Comm machine = MPI_COMM_NULL;
  int ranks = 1;
  MPI_Comm_split_type(communicator, MPI_COMM_TYPE_SHARED, rank, MPI_INFO_NULL, &machine);
  MPI_Comm_size(machine, &ranks);
  MPI_Comm_free(&machine);
  return ranks;
}

std::int32_t QUVENWorkerTransport::broadcastWord(std::int32_t word) const {
  if (!isAlone()) MPI_Bcast(&word, 1, MPI_INT32_T, 0, communicator);
  return word;
}

std::int64_t QUVENWorkerTransport::largestOfAll(std::int64_t number) const {
  if (!isAlone()) MPI_Allreduce(MPI_IN_PLACE, &number, 1, MPI_INT64_T, MPI_MAX, communicator);
  return number;
}

void QUVENWorkerTransport::broadcast(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const {
  if (isAlone()) return;
  std::uint64_t length = blob.getSize();
  MPI_Bcast(&length, 1, MPI_UINT64_T, 0, communicator);
  if (isMaster()) {
    const std::span<const char> bytes = blob.getBytes();
    // MPI_Bcast takes a pointer to bytes that it may write, but does not write on the sending rank.
    forEachPart(std::span<char>(const_cast<char*>(bytes.data()), bytes.size()),
                [this](char* part, int size) { MPI_Bcast(part, size, MPI_CHAR, 0, communicator); });
    return;
  }
  forEachPart(blob.resize(length, QUVEN_ENV),
              [this](char* part, int size) { MPI_Bcast(part, size, MPI_CHAR, 0, communicator); });
  blob.rewind();
}

void QUVENWorkerTransport::broadcastBytes(std::span<std::byte> bytes) const {
  if (isAlone()) return;
  forEachPart(bytes, [this](std::byte* part, int size) { MPI_Bcast(part, size, MPI_BYTE, 0, communicator); });
}

void QUVENWorkerTransport::sendBytes(int toRank, std::span<const std::byte> bytes) const {
  forEachPart(bytes,
              [=, this](const std::byte* part, int size) { MPI_Send(part, size, MPI_BYTE, toRank, 0, communicator); });
}

void QUVENWorkerTransport::receiveBytes(int fromRank, std::span<std::byte> bytes) const {
  forEachPart(bytes, [=, this](std::byte* part, int size) {
    MPI_Recv(part, size, MPI_BYTE, fromRank, 0, communicator, MPI_STATUS_IGNORE);
  });
}

void QUVENWorkerTransport::send(int toRank, const QUVENMemoryBlobIO& blob) const {
  const std::uint64_t length = blob.getSize();
  MPI_Send(&length, 1, MPI_UINT64_T, toRank, 0, communicator);
  forEachPart(blob.getBytes(),
              [=, this](const char* part, int size) { MPI_Send(part, size, MPI_CHAR, toRank, 0, communicator); });
}

void QUVENWorkerTransport::receive(int fromRank, QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const {
  std::uint64_t length = 0;
  MPI_Recv(&length, 1, MPI_UINT64_T, fromRank, 0, communicator, MPI_STATUS_IGNORE);
  forEachPart(blob.resize(length, QUVEN_ENV), [=, this](char* part, int size) {
    MPI_Recv(part, size, MPI_CHAR, fromRank, 0, communicator, MPI_STATUS_IGNORE);
  });
  blob.rewind();
}

void QUVENWorkerTransport::waitForAll() const {
  if (!isAlone()) MPI_Barrier(communicator);
}
