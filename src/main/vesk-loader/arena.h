#ifndef ARENA_H
#define ARENA_H

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "page_memory.h"

namespace vesk_loader {

/// Memory in blocks that is given back all at once, in units of 8 bytes: doubles and pointers fit. Blocks are of 1 MiB,
/// and of 8 MiB in large pages once there are many.
class Arena {
 public:
  /// `units` times 8 bytes, not initialised, valid until clear. Throws std::bad_alloc.
  double* allocate(std::size_t units) {
    if (units > left) return allocateInNewBlock(units);
    left -= units;
    return std::exchange(next, next + units);
  }

  void clear() { *this = Arena(); }

  /// Without the large pages of the current block that are untouched.
  std::size_t bytesInUse() const {
    return bytes - left * sizeof(double) / PageMemory::largePage * PageMemory::largePage;
  }

 private:
  double* allocateInNewBlock(std::size_t units) {
    const bool ownBlock = units > blockUnits / 8;  // a large piece leaves the current block in use
    if (!ownBlock && bytes >= firstBytes) {
      largeBlocks.emplace_back(largeBlockUnits * sizeof(double));
      return beginBlock(static_cast<double*>(largeBlocks.back().data()), largeBlockUnits, units);
    }
    const std::size_t size = ownBlock ? units : blockUnits;
    blocks.push_back(std::make_unique_for_overwrite<double[]>(size));
    if (!ownBlock) return beginBlock(blocks.back().get(), blockUnits, units);
    bytes += size * sizeof(double);
    return blocks.back().get();
  }

  double* beginBlock(double* block, std::size_t size, std::size_t units) {
    bytes += size * sizeof(double);
    next = block + units;
    left = size - units;
    return block;
  }

  static constexpr std::size_t blockUnits = (std::size_t{1} << 20) / sizeof(double);
  static constexpr std::size_t largeBlockUnits = 8 * blockUnits;
  static constexpr std::size_t firstBytes = std::size_t{8} << 20;

  std::vector<std::unique_ptr<double[]>> blocks;
  std::vector<PageMemory> largeBlocks;
  double* next = nullptr;
  std::size_t left = 0;
  std::size_t bytes = 0;
};

}  // namespace vesk_loader

#endif  // ARENA_H
