#ifndef QUVEN_XASHTABLE_H
#define QUVEN_XASHTABLE_H

#include <concepts>
#include <cstdint>
#include <utility>

#include "util/quven_hash.h"
#include "util/quven_xaray.h"

/// A slot of an open addressing table. index 0: empty; above 0: the dense index of a key; below 0: a removed key, whose
/// dense index is kept negated and given out again.
struct QUVENXAshTableEntry {
  std::uint32_t hash = 0;
  std::int32_t index = 0;
};

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
    const std::uint32_t hash = QUVENXAshKey<K>::hash(key);
    // The search goes first: the slot of a removed key may stand before the slot of this one.
    const long found = findSlot(hash, key);
    if (found != 0) return slots[found].index;
    return insertAt(findInsertionIndex(hash, QUVEN_ENV), hash, key, QUVEN_ENV);
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

  void copyFrom(const QUVENObjectIndexXAshTable& other, const QUVENEnvHandle& env) {
    if (&other == this) return;
    deleteMemory(QUVEN_ENV);
    keys.copyFrom(other.keys, QUVEN_ENV);
    slots.copyFrom(other.slots, QUVEN_ENV);
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
    // The copy comes first: when it fails, no dense index is spent.
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
      quvenCopyCell(copy, key, QUVEN_ENV);
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

/// The same with a value for each key, parallel to the keys.
template <class K, class V>
class QUVENKeyValueXAshTable : public QUVENObjectIndexXAshTable<K> {
  using Base = QUVENObjectIndexXAshTable<K>;

 public:
  /// The dense index of a key; a new key gets a cleared value.
  template <class Lookup>
  long insert(const Lookup& key, const QUVENEnvHandle& env) {
    // First the room, so that no key is left without a value when memory runs out.
    values.autoReserve(Base::getNumKeys() + 1, QUVEN_ENV);
    const long index = Base::insert(key, QUVEN_ENV);
    values.autoExtend(index, QUVEN_ENV);
    return index;
  }

  /// Sets the value of a key, which is inserted if it is new, and returns its dense index.
  template <class Lookup>
  long put(const Lookup& key, V value, const QUVENEnvHandle& env) {
    const long index = insert(key, QUVEN_ENV);
    quvenReleaseCell(values[index], QUVEN_ENV);
    values[index] = std::move(value);
    return index;
  }

  void swap(QUVENKeyValueXAshTable& other) noexcept {
    Base::swap(other);
    values.swap(other.values);
  }

  /// The value of a key, or null.
  template <class Lookup>
  V* find(const Lookup& key) {
    const long index = Base::getIndex(key);
    return index == 0 ? nullptr : &values[index];
  }
  template <class Lookup>
  const V* find(const Lookup& key) const {
    const long index = Base::getIndex(key);
    return index == 0 ? nullptr : &values[index];
  }

  V& getValue(long index) { return values[index]; }
  const V& getValue(long index) const { return values[index]; }

  template <class Lookup>
  long remove(const Lookup& key, const QUVENEnvHandle& env) {
    const long index = Base::remove(key, QUVEN_ENV);
    if (index != 0) {
      quvenReleaseCell(values[index], QUVEN_ENV);
      values[index] = V();
    }
    return index;
  }

  void prepare(long n, const QUVENEnvHandle& env) {
    Base::prepare(n, QUVEN_ENV);
    values.setSizeCapacity(0, std::max(n, values.getCapacity()), QUVEN_ENV);
  }

  void clear(const QUVENEnvHandle& env) {
    Base::clear(QUVEN_ENV);
    values.setSize(0, QUVEN_ENV);
  }

  void copyFrom(const QUVENKeyValueXAshTable& other, const QUVENEnvHandle& env) {
    if (&other == this) return;
    Base::copyFrom(other, QUVEN_ENV);
    values.copyFrom(other.values, QUVEN_ENV);
  }

  void deleteMemory(const QUVENEnvHandle& env) {
    Base::deleteMemory(QUVEN_ENV);
    values.deleteMemory(QUVEN_ENV);
  }

 private:
  QUVENXaRay<V, quvenCellKind<V>> values;
};

#endif  // QUVEN_XASHTABLE_H
