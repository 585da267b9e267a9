#ifndef QUVEN_DATASET_BUFFER_H
#define QUVEN_DATASET_BUFFER_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "util/quven_env.h"

/// Where the bytes of a refill come from.
struct QUVENDatasetSpan {
  std::string fileName;
  std::int64_t fileOffset = 0;  ///< in the file, where the reading starts
  std::int64_t firstByte = 0;   ///< the same place in the stream of all parts
  std::int64_t endByte = 0;     ///< in the stream, behind the last byte of the file
};

/// The block of a dataset that is in memory: one run of bytes of the stream that its files make together.
///
/// Units:      positions are bytes of the stream.
/// Lifetime:   the file is open during a refill only; views into the block end with the next refill or reset.
/// Collective: in the open world a refill is a call of all workers.
class QUVENDatasetBuffer {
 public:
  static constexpr std::int64_t BlockBytes = 200000;

  /// Forgets and frees the block; the files are a worker's own again.
  void reset();
  /// Whether files are opened by all workers together.
  void setOpenWorld(bool world) { openWorld = world ? 1 : 0; }

  bool holds(std::int64_t firstByte, std::int64_t endByte) const {
    return firstByte >= bufferFirstByte && endByte - 1 <= bufferLastByte;
  }
  /// Requires: the byte is held.
  const char* at(std::int64_t byte) const { return data.get() + (byte - bufferFirstByte); }

  /// The bytes that are held from one on. Requires: the byte is held.
  std::int64_t getBytesFrom(std::int64_t byte) const { return bufferLastByte + 1 - byte; }

  /// Reads the block that starts at a span. It holds what of the span fits into it.
  /// Errors: a fatal report naming the file when it cannot be read or is shorter than it was; "Cannot allocate array
  ///         memory". Nothing is held then.
  void refill(const QUVENDatasetSpan& span, const QUVENEnvHandle& env);

  /// The part that the block is from, from 0 upward.
  std::int32_t getCurrentPart() const { return currentPart; }
  void setCurrentPart(std::int32_t part) { currentPart = part; }

 private:
  struct Free {
    void operator()(char* block) const { std::free(block); }
  };

  std::int64_t bufferFirstByte = 0;
  std::int64_t bufferLastByte = 0;  // no record fits between two equal positions: the empty block
  std::unique_ptr<char, Free> data;
  std::int32_t currentPart = 0;
  std::int32_t openWorld = 0;
};

#endif  // QUVEN_DATASET_BUFFER_H
