#ifndef QUVEN_XASHTABLE_H
#define QUVEN_XASHTABLE_H

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "util/quven_hash.h"
#include "util/quven_xaray.h"
#include "util/quven_xashtable_params.h"

/// Hash and equality of a key type. A class of keys has hash() and ==; an integer needs nothing.
/// The key that is looked up may be of another type with the same hash, such as a text for a string.
template <class K>
struct QUVENXAshKey {
  template <class Lookup>
  static std::uint32_t hash(const Lookup& key) {
    return key.hash();
  }
};

template <std::integral K>
struct QUVENXAshKey<K> {
  static std::uint32_t hash(K key) { return hashIntegerKey(key); }
};

/// A set of keys that gives each key a dense index from 1 upward, by open addressing.
///
/// Shapes:   keys[1] .. keys[getNumKeys()] in order of their first insertion; a removed key leaves a reset cell, whose
///           index goes to a later key that meets its slot.
/// Lifetime: deleteMemory(env) before the table ends. References to keys end at the next insertion.
/// Cost:     one or two slots looked at for a find in an ordinary table; a failed search ends after the longest chain.
template <class K>
class QUVENObjectIndexXAshTable {
 public:
  using Keys = QUVENXaRay<K, quvenCellKind<K>>;

  QUVENObjectIndexXAshTable() = default;
  QUVENObjectIndexXAshTable(QUVENObjectIndexXAshTable&& other) noexcept { swap(other); }
  QUVENObjectIndexXAshTable& operator=(QUVENObjectIndexXAshTable&& other) noexcept {
    swap(other);
    return *this;
  }
  void swap(QUVENObjectIndexXAshTable& other) noexcept {
    slots.swap(other.slots);
    keys.swap(other.keys);
    std::swap(liveCount, other.liveCount);
    std::swap(params, other.params);
  }

  /// Makes room for n keys in an empty table.
  void prepare(long n, const QUVENEnvHandle& env) {
    QUVEN_ASSERT(liveCount == 0);
    clear(QUVEN_ENV);
    calcHashParams(n, QUVEN_ENV);
  }

  /// The dense index of a key, or 0.
  template <class Lookup>
  long getIndex(const Lookup& key) const {
    const long slot = findSlot(QUVENXAshKey<K>::hash(key), key);
    return slot == 0 ? 0 : slots[slot].index;
  }

  /// The dense index of a key, which is inserted if it is new.
  /// Errors: "Cannot allocate array memory" and XRTMemoryException; the table is as it was then.
  template <class Lookup>
  long insert(const Lookup& key, const QUVENEnvHandle& env) {
    const auto doNothing = [] {};
    return insert(key, doNothing, QUVEN_ENV);
  }

  /// Takes a key out and returns the dense index that it had, or 0 if it is not there. The cell of the key is reset.
  template <class Lookup>
  long remove(const Lookup& key, const QUVENEnvHandle& env) {
    const long slot = findSlot(QUVENXAshKey<K>::hash(key), key);
    if (slot == 0) return 0;
    const long index = slots[slot].index;
    slots[slot].index = static_cast<std::int32_t>(-index);
    --liveCount;
    quvenReleaseCell(keys[index], QUVEN_ENV);
    keys[index] = K();
    return index;
  }

  /// Doubles the slots; dense indices stay, those of removed keys too.
  /// Errors: as of calcForTwice and of an array; the table is as it was then.
  void expandXAshTable(const QUVENEnvHandle& env) { reHash(QUVEN_ENV); }

  /// Removes all keys; their memory stays.
  void clear(const QUVENEnvHandle& env) {
    const long numSlots = slots.getSize();
    slots.setSize(0, QUVEN_ENV);
    slots.setSize(numSlots, QUVEN_ENV);
    keys.setSize(0, QUVEN_ENV);
    liveCount = 0;
    params.setStepsUsed(0);
  }

  /// Deep copy of another table, which may be this one.
  /// Errors: "Cannot allocate array memory" and XRTMemoryException; the table is empty then.
  void copyFrom(const QUVENObjectIndexXAshTable& other, const QUVENEnvHandle& env) {
    if (&other == this) return;
    deleteMemory(QUVEN_ENV);
    try {
      keys.copyFrom(other.keys, QUVEN_ENV);
      slots.copyFrom(other.slots, QUVEN_ENV);
    } catch (...) {
      deleteMemory(QUVEN_ENV);
      throw;
    }
    liveCount = other.liveCount;
    params = other.params;
  }

  void deleteMemory(const QUVENEnvHandle& env) {
    slots.deleteMemory(QUVEN_ENV);
    keys.deleteMemory(QUVEN_ENV);
    liveCount = 0;
    params = QUVENXAshTableParams();
  }

  long getLiveCount() const { return liveCount; }
  /// The dense indices given out so far, those of removed keys included.
  long getNumKeys() const { return keys.getSize(); }
  long getNumSlots() const { return slots.getSize(); }
  const K& getKey(long index) const { return keys[index]; }
  const QUVENXAshTableParams& getParams() const { return params; }

  /// Whether a dense index belongs to a key that was not removed.
  bool isLive(long index) const { return getIndex(keys[index]) == index; }

  /// Iteration over the live keys in dense order:
  /// for (long i = table.initIteration(); !table.finishIteration(i); ++i)
  long initIteration() const { return 1; }
  bool finishIteration(long& index) const {
    while (index <= keys.getSize() && !isLive(index)) ++index;
    return index > keys.getSize();
  }

 protected:
  /// The same with something to do before a key that is new; what it throws leaves the table as it was.
  template <class Lookup, class BeforeNewKey>
  long insert(const Lookup& key, BeforeNewKey beforeNewKey, const QUVENEnvHandle& env) {
    const std::uint32_t hash = QUVENXAshKey<K>::hash(key);
    // The search goes first: the slot of a removed key may stand before the slot of this one.
    const long found = findSlot(hash, key);
    if (found != 0) return slots[found].index;
    beforeNewKey();
    return insertAt(findInsertionIndex(hash, QUVEN_ENV), hash, key, QUVEN_ENV);
  }

 private:
  /// Prepares the table for n keys, with empty slots.
  void calcHashParams(long n, const QUVENEnvHandle& env) {
    n = std::min(std::max(n, keys.getSize()), QUVENXAshTableParams::maxSlots);
    QUVENXAshTableParams newParams;
    const long numSlots = newParams.calcForKeys(n);
    keys.setSizeCapacity(keys.getSize(), std::max(n, keys.getCapacity()), QUVEN_ENV);
    QUVENXaRay<QUVENXAshTableEntry, 0> newSlots;
    newSlots.setSizeCapacity(numSlots, numSlots, QUVEN_ENV);
    newSlots.swap(slots);
    params = newParams;
    newSlots.deleteMemory(QUVEN_ENV);
  }

  /// The slot of a key, or 0.
  template <class Lookup>
  long findSlot(std::uint32_t hash, const Lookup& key) const {
    QUVENXAshTableParams::Search search(params, hash);
    for (long steps = params.getStepsUsed(); steps > 0; --steps, search.step()) {
      const QUVENXAshTableEntry& entry = slots[search.getSlot()];
      if (entry.index == 0) return 0;
      if (entry.index > 0 && entry.hash == hash && keys[entry.index] == key) return search.getSlot();
    }
    return 0;
  }

  /// The slot for a key of this hash that is not in the table.
  long findInsertionIndex(std::uint32_t hash, const QUVENEnvHandle& env) {
    for (;;) {
      const long slot = findFreeSlot(hash);
      if (slot != 0) return slot;
      reHash(QUVEN_ENV);
    }
  }

  /// The first slot of a hash that is empty or of a removed key, or 0 where the chain would grow too long.
  long findFreeSlot(std::uint32_t hash) {
    if (liveCount >= slots.getSize()) return 0;
    QUVENXAshTableParams::Search search(params, hash);
    long steps = 1;
    while (slots[search.getSlot()].index > 0) {
      search.step();
      ++steps;
    }
    if (steps > params.getStepsUsed()) {
      if (steps > params.getMaxSteps() && 2L * liveCount >= slots.getSize()) return 0;
      params.setStepsUsed(steps);
    }
    return search.getSlot();
  }

  template <class Lookup>
  long insertAt(long slot, std::uint32_t hash, const Lookup& key, const QUVENEnvHandle& env) {
    QUVENXAshTableEntry& entry = slots[slot];
    const long index = entry.index < 0 ? -entry.index : keys.getSize() + 1;
    // All that can fail comes first: no dense index is spent then, and no copy is left over.
    keys.autoReserve(index, QUVEN_ENV);
    K copy = makeKey(key, QUVEN_ENV);
    keys.autoExtend(index, QUVEN_ENV);
    keys[index] = std::move(copy);
    entry = {hash, static_cast<std::int32_t>(index)};
    ++liveCount;
    return index;
  }

  template <class Lookup>
  static K makeKey(const Lookup& key, const QUVENEnvHandle& env) {
    if constexpr (std::is_same_v<K, Lookup>) {
      K copy{};
      try {
        quvenCopyCell(copy, key, QUVEN_ENV);
      } catch (...) {
        quvenReleaseCell(copy, QUVEN_ENV);
        throw;
      }
      return copy;
    } else {
      return K(key);
    }
  }

  void reHash(const QUVENEnvHandle& env) {
    if (slots.getSize() == 0) {
      keys.setSize(0, QUVEN_ENV);
      return calcHashParams(1, QUVEN_ENV);
    }
    QUVENXAshTableParams newParams = params;
    const long numSlots = newParams.calcForTwice(slots);
    QUVENXaRay<QUVENXAshTableEntry, 0> oldHTable;
    oldHTable.setSizeCapacity(numSlots, numSlots, QUVEN_ENV);
    oldHTable.swap(slots);
    params = newParams;
    reinsert(oldHTable);
    oldHTable.deleteMemory(QUVEN_ENV);
  }

  void reinsert(const QUVENXaRay<QUVENXAshTableEntry, 0>& oldHTable) {
    long firstRemoved = 0;
    long lastRemoved = -1;
    liveCount = 0;
    for (long i = 1; i <= oldHTable.getSize(); ++i) {
      const QUVENXAshTableEntry& entry = oldHTable[i];
      if (entry.index > 0) {
        // Never refused: twice the slots are more than twice the keys placed so far.
        slots[findFreeSlot(entry.hash)] = entry;
        ++liveCount;
      } else if (entry.index < 0) {
        if (firstRemoved == 0) firstRemoved = i;
        lastRemoved = i;
      }
    }
    // A removed key takes a slot of its own, or else its dense index would be lost.
    for (long i = firstRemoved; i <= lastRemoved; ++i) {
      if (oldHTable[i].index < 0) slots[firstNeverUsed(oldHTable[i].hash)] = oldHTable[i];
    }
  }

  long firstNeverUsed(std::uint32_t hash) const {
    QUVENXAshTableParams::Search search(params, hash);
    while (slots[search.getSlot()].index != 0) search.step();
    return search.getSlot();
  }

  QUVENXaRay<QUVENXAshTableEntry, 0> slots;
  Keys keys;
  std::int32_t liveCount = 0;
  QUVENXAshTableParams params;
};

#endif  // QUVEN_XASHTABLE_H
