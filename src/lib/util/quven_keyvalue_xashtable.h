#ifndef QUVEN_KEYVALUE_XASHTABLE_H
#define QUVEN_KEYVALUE_XASHTABLE_H

#include <algorithm>
#include <utility>

#include "util/quven_xashtable.h"

/// A table of keys with a value for each, parallel to the keys.
///
/// Lifetime: as of QUVENObjectIndexXAshTable; references to values end at the next insertion, too.
template <class K, class V>
class QUVENKeyValueXAshTable : public QUVENObjectIndexXAshTable<K> {
  using Base = QUVENObjectIndexXAshTable<K>;

 public:
  /// The dense index of a key; a new key gets a cleared value.
  template <class Lookup>
  long insert(const Lookup& key, const QUVENEnvHandle& env) {
    // First the room, so that no key is left without a value when memory runs out.
    const auto makeRoom = [&] { values.autoReserve(Base::getNumKeys() + 1, QUVEN_ENV); };
    const long index = Base::insert(key, makeRoom, QUVEN_ENV);
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
    deleteMemory(QUVEN_ENV);
    try {
      Base::copyFrom(other, QUVEN_ENV);
      values.copyFrom(other.values, QUVEN_ENV);
    } catch (...) {
      deleteMemory(QUVEN_ENV);
      throw;
    }
  }

  void deleteMemory(const QUVENEnvHandle& env) {
    Base::deleteMemory(QUVEN_ENV);
    values.deleteMemory(QUVEN_ENV);
  }

 private:
  QUVENXaRay<V, quvenCellKind<V>> values;
};

#endif  // QUVEN_KEYVALUE_XASHTABLE_H
