#ifndef QUVEN_XASHTABLE_PARAMS_H
#define QUVEN_XASHTABLE_PARAMS_H

#include <cstdint>

#include "util/quven_debug.h"

/// A slot of an open addressing table. index 0: empty; above 0: the dense index of a key; below 0: a removed key, whose
/// dense index is kept negated and given out again.
struct QUVENXAshTableEntry {
  std::uint32_t hash = 0;
  std::int32_t index = 0;
};

/// The numbers that steer the search in an open addressing table.
///
/// The search for a hash is a full period of a linear congruential sequence over the slots, so that it meets every slot
/// once; it never goes beyond the longest chain so far.
class QUVENXAshTableParams {
 public:
  static constexpr long maxSlots = 0x40000000L;

  /// A walk over the slots of one hash: getSlot is 1-based.
  class Search {
   public:
    Search(const QUVENXAshTableParams& params, std::uint32_t hash)
        : mask(params.mask),
          position((hash >> params.shift1) & mask),
          multiplier((((hash >> params.shift2) & ~2U) | 5U) & mask),
          increment((2U * hash + 1U) & mask) {}
    long getSlot() const { return static_cast<long>(position) + 1; }
    void step() { position = (position * multiplier + increment) & mask; }

   private:
    std::uint32_t mask;
    std::uint32_t position;
    std::uint32_t multiplier;
    std::uint32_t increment;
  };

  /// Sets the numbers for a table that is to hold n keys and returns its number of slots, a power of two.
  long calcForKeys(long n);

  /// Sets the numbers for twice the slots of a table and returns the new number of slots.
  /// Errors: a table of maxSlots slots fails the assertion "oldHTable.getSize() < 0x40000000L"; nothing changes then.
  template <class Slots>
  long calcForTwice(const Slots& oldHTable) {
    QUVEN_ASSERT(oldHTable.getSize() < 0x40000000L);
    setForSlots(2 * oldHTable.getSize(), shift1 - 1, maxSteps + 1);
    return 2 * oldHTable.getSize();
  }

  long getShift1() const { return shift1; }
  long getShift2() const { return shift2; }
  long getMask() const { return mask; }
  long getMaxSteps() const { return maxSteps; }
  long getStepsUsed() const { return stepsUsed; }
  void setStepsUsed(long steps) { stepsUsed = static_cast<std::int32_t>(steps); }

 private:
  void setForSlots(long slots, std::int32_t newShift1, std::int32_t newMaxSteps);

  std::int32_t shift1 = 0;
  std::int32_t shift2 = 0;
  std::uint32_t mask = 0;
  std::int32_t maxSteps = 0;
  std::int32_t stepsUsed = 0;
};

#endif  // QUVEN_XASHTABLE_PARAMS_H
