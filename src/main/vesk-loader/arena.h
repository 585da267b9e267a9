#ifndef ARENA_H
#define ARENA_H

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace vesk_loader {

/// Memory in blocks of 1 MiB that is given back all at once, in units of 8 bytes: doubles and pointers fit.
class Arena {
 public:
  /// `units` times 8 bytes, not initialised, valid until clear. Throws std::bad_alloc.
  double* allocate(std::size_t units) {
    if (units > left) return allocateInNewBlock(units);
    left -= units;
    return std::exchange(next, next + units);
  }

  void clear() { *this = Arena(); }

  std::size_t bytesInUse() const { return bytes; }

 private:
  double* allocateInNewBlock(std::size_t units) {
    const bool ownBlock = units > blockUnits / 8;  // a large piece leaves the current block in use
    const std::size_t size = ownBlock ? units : blockUnits;
    blocks.push_back(std::make_unique_for_overwrite<double[]>(size));
    bytes += size * sizeof(double);
    double* const place = blocks.back().get();
    if (!ownBlock) {
      next = place + units;
      left = size - units;
    }
    return place;
  }

  static constexpr std::size_t blockUnits = (std::size_t{1} << 20) / sizeof(double);

  std::vector<std::unique_ptr<double[]>> blocks;
  double* next = nullptr;
  std::size_t left = 0;
  std::size_t bytes = 0;
};

}  // namespace vesk_loader

#endif  // ARENA_H
