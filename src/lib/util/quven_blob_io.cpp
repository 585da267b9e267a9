#include "util/quven_blob_io.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "util/quven_debug.h"
#include "util/quven_memory.h"

namespace {

// The block of a stream in memory is counted in cells, so that a 32-bit count covers 128 GiB.
constexpr std::size_t cellBytes = 64;
constexpr std::uint64_t fewestCells = 4;
constexpr double growthFactor = 1.4142135623731;

long cellsFor(std::uint64_t bytes) { return static_cast<long>(bytes / cellBytes + (bytes % cellBytes != 0 ? 1 : 0)); }

}  // namespace

std::size_t QUVENViewBlobIO::readBlock(void* bytes, std::size_t count, const QUVENEnvHandle&) {
  const std::size_t taken = std::min(count, getReadWindow().size());
  if (taken > 0) std::memcpy(bytes, readAt, taken);
  skip(taken);
  if (taken < count) status = EndOfInput;
  return taken;
}

QUVENMemoryBlobIO::~QUVENMemoryBlobIO() {
  if (block == nullptr) return;
  if (std::uncaught_exceptions() == 0) quvenGuardReport(" destructor called without resetting array\n");
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  deleteMemory(QUVEN_ENV);
}

void QUVENMemoryBlobIO::swap(QUVENMemoryBlobIO& other) noexcept {
  std::swap(block, other.block);
  std::swap(status, other.status);
  std::swap(writeAt, other.writeAt);
  std::swap(writeEnd, other.writeEnd);
  std::swap(readAt, other.readAt);
  std::swap(readEnd, other.readEnd);
}

void QUVENMemoryBlobIO::grow(std::uint64_t bytes, const QUVENEnvHandle& env) {
  const std::uint64_t used = getSize();
  const std::uint64_t read = readPosition();
  const Status statusBefore = status;
  double wanted = static_cast<double>(std::max(fewestCells, capacityBytes() / cellBytes));
  while (wanted < static_cast<double>(cellsFor(bytes))) wanted *= growthFactor;
  const long cells = static_cast<long>(std::ceil(wanted));
  char* larger = static_cast<char*>(quvenAllocateCells(cells, cellBytes, alignof(std::max_align_t), QUVEN_ENV));
  if (used > 0) std::memcpy(larger, block, used);
  deleteMemory(QUVEN_ENV);
  block = larger;
  writeAt = larger + used;
  writeEnd = larger + static_cast<std::uint64_t>(cells) * cellBytes;
  readAt = larger + read;
  readEnd = writeAt;
  status = statusBefore;
}

void QUVENMemoryBlobIO::reserve(std::uint64_t bytes, const QUVENEnvHandle& env) {
  if (bytes > capacityBytes()) grow(bytes, QUVEN_ENV);
}

std::span<char> QUVENMemoryBlobIO::resize(std::uint64_t bytes, const QUVENEnvHandle& env) {
  clear();
  reserve(bytes, QUVEN_ENV);
  writeAt = block + bytes;
  return {block, bytes};
}

void QUVENMemoryBlobIO::rewind() {
  readAt = block;
  readEnd = writeAt;
  status = Good;
}

void QUVENMemoryBlobIO::clear() {
  writeAt = block;
  rewind();
}

void QUVENMemoryBlobIO::deleteMemory(const QUVENEnvHandle& env) {
  quvenFreeCells(block, cellsFor(capacityBytes()), cellBytes, alignof(std::max_align_t), QUVEN_ENV);
  block = writeEnd = nullptr;
  clear();
}

void QUVENMemoryBlobIO::writeBlock(const void* bytes, std::size_t count, const QUVENEnvHandle& env) {
  if (count == 0) return;
  grow(getSize() + count, QUVEN_ENV);
  std::memcpy(writeAt, bytes, count);
  commit(count);
}

std::size_t QUVENMemoryBlobIO::readBlock(void* bytes, std::size_t count, const QUVENEnvHandle&) {
  if (readAt == nullptr) readAt = block;
  readEnd = writeAt;  // what was written since
  const std::size_t taken = std::min(count, getReadWindow().size());
  if (taken > 0) std::memcpy(bytes, readAt, taken);
  skip(taken);
  if (taken < count) status = EndOfInput;
  return taken;
}
