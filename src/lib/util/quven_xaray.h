#ifndef QUVEN_XARAY_H
#define QUVEN_XARAY_H

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include "util/quven_debug.h"
#include "util/quven_env.h"
#include "util/quven_memory.h"

/// The kind of cells that a type asks for: 1 plain data, 0 cells with a transfer operation (a move) of their own.
template <class T>
inline constexpr int quvenCellKind = std::is_trivially_copyable_v<T> ? 1 : 0;

/// Releases what a cell holds in an environment, just before the cell is cleared or destroyed: by the first of
/// deleteMemory(env), destroyPrimitive(env), reset(env) that the type has. Other types release in their destructor.
template <class T>
void quvenReleaseCell(T& cell, const QUVENEnvHandle& env) {
  if constexpr (requires { cell.deleteMemory(env); }) {
    cell.deleteMemory(env);
  } else if constexpr (requires { cell.destroyPrimitive(env); }) {
    cell.destroyPrimitive(env);
  } else if constexpr (requires { cell.reset(env); }) {
    cell.reset(env);
  } else {
    static_cast<void>(cell);
    static_cast<void>(env);
  }
}

/// Deep copy of a cell: by the first of copyFrom(source, env), copyFromPrimitive(&source, env), assignment. A text that
/// finds no memory is reported like any other allocation.
template <class T>
void quvenCopyCell(T& cell, const T& source, const QUVENEnvHandle& env) {
  if constexpr (requires { cell.copyFrom(source, env); }) {
    cell.copyFrom(source, env);
  } else if constexpr (requires { cell.copyFromPrimitive(&source, env); }) {
    cell.copyFromPrimitive(&source, env);
  } else if constexpr (std::is_same_v<T, std::string>) {
    quvenAssignText(cell, source, env);
  } else {
    static_cast<void>(env);
    cell = source;
  }
}

/// The block of an array and its growth; QUVENXaRay is what is used.
///
/// Shapes:   cells run 1..size; the stored pointer points one element below the block of capacity cells. Of kind 0 the
///           cells 1..size are alive, of kind 1 the cells beyond size are cleared bytes without meaning.
/// Lifetime: the owner calls deleteMemory(env) before the array ends.
template <class T, int kind>
class QUVENXaRayImplementation {
 public:
  QUVENXaRayImplementation() = default;

  /// An array that still holds its block is reported, and the error word is set; while an exception unwinds the stack
  /// the block is given back silently. Either way the bytes return to the environment of the thread.
  ~QUVENXaRayImplementation() {
    if (cells != nullptr) destroyHeldBlock();
  }

  QUVENXaRayImplementation(QUVENXaRayImplementation&& other) noexcept { swap(other); }
  /// Exchanges the blocks: what this array held goes to the source, whose owner still has to give it back.
  QUVENXaRayImplementation& operator=(QUVENXaRayImplementation&& other) noexcept {
    swap(other);
    return *this;
  }

  void swap(QUVENXaRayImplementation& other) noexcept {
    std::swap(capacity, other.capacity);
    std::swap(size, other.size);
    std::swap(cells, other.cells);
  }

  long getSize() const { return size; }
  long getCapacity() const { return capacity; }

  /// Sets the size and the number of cells of the block, which is at least the size; at or below 0 the block is freed.
  /// Cells that come into use are cleared, cells that go out of use are released.
  /// Errors: "Cannot allocate array memory" and XRTMemoryException; the array is unchanged then.
  void setSizeCapacity(long newSize, long newCapacity, const QUVENEnvHandle& env) {
    newSize = std::max(newSize, 0L);
    newCapacity = std::max(newCapacity, newSize);
    if (newCapacity <= 0) {
      deleteMemory(QUVEN_ENV);
    } else if (newCapacity == capacity) {
      changeSize(newSize, QUVEN_ENV);
    } else {
      const long kept = std::min(newSize, getSize());
      T* block = makeNewSegment(kept, newSize, newCapacity, QUVEN_ENV);
      if (kept > 0) transferCells(block, kept);
      receiveNewSegment(block, newSize, newCapacity, QUVEN_ENV);
    }
  }

  /// A block of capacity cells whose cells kept+1..size are cleared; the first kept cells are raw, for the caller to
  /// construct. Its bytes are charged.
  [[nodiscard]] static T* makeNewSegment(long kept, long newSize, long newCapacity, const QUVENEnvHandle& env) {
    checkKind();
    T* block = static_cast<T*>(quvenAllocateCells(newCapacity, cellBytes, alignof(T), QUVEN_ENV));
    try {
      std::uninitialized_value_construct(block + kept, block + newSize);
    } catch (...) {
      quvenFreeCells(block, newCapacity, cellBytes, alignof(T), QUVEN_ENV);
      throw;
    }
    return block;
  }

  /// Takes over a block of makeNewSegment, whose first newSize cells are alive, and gives back the old one.
  void receiveNewSegment(T* block, long newSize, long newCapacity, const QUVENEnvHandle& env) {
    deleteMemory(QUVEN_ENV);
    cells = block - 1;
    size = static_cast<std::int32_t>(newSize);
    capacity = static_cast<std::int32_t>(newCapacity);
  }

  /// Frees the block and returns its bytes; the array is empty then.
  void deleteMemory(const QUVENEnvHandle& env) {
    if (cells == nullptr) return;
    endCells(1, size, QUVEN_ENV);
    T* block = std::exchange(cells, nullptr) + 1;
    size = 0;
    quvenFreeCells(block, std::exchange(capacity, 0), cellBytes, alignof(T), QUVEN_ENV);
  }

 protected:
  T* cellPointer() const { return cells; }

 private:
  static constexpr std::size_t cellBytes = sizeof(T);  // NOLINT(bugprone-sizeof-expression): pointers are cells, too

  static constexpr void checkKind() {
    static_assert(kind == 0 || std::is_trivially_copyable_v<T>, "cells of this type need kind 0");
    static_assert(std::is_nothrow_move_constructible_v<T>, "a growing array moves its cells and cannot go back");
  }

  void changeSize(long newSize, const QUVENEnvHandle& env) {
    if (newSize > size) {
      std::uninitialized_value_construct(cells + 1 + size, cells + 1 + newSize);
    } else if (newSize < size) {
      endCells(newSize + 1, size, QUVEN_ENV);
      if constexpr (kind == 1) std::uninitialized_value_construct(cells + 1 + newSize, cells + 1 + size);
    }
    size = static_cast<std::int32_t>(newSize);
  }

  void endCells(long first, long last, const QUVENEnvHandle& env) {
    if constexpr (kind == 0) {
      for (long i = first; i <= last; ++i) {
        quvenReleaseCell(cells[i], QUVEN_ENV);
        std::destroy_at(&cells[i]);
      }
    } else {
      static_cast<void>(first), static_cast<void>(last), static_cast<void>(env);
    }
  }

  void transferCells(T* block, long count) { std::uninitialized_move(cells + 1, cells + 1 + count, block); }

  void destroyHeldBlock() noexcept {
    if (std::uncaught_exceptions() == 0) quvenGuardReport(" destructor called without resetting array\n");
    const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
    deleteMemory(QUVEN_ENV);
  }

  std::int32_t capacity = 0;
  std::int32_t size = 0;
  T* cells = nullptr;
};

/// The growing array of the library: 1-based, charged to an environment.
///
/// Shapes:   array[1] .. array[getSize()]; begin() and end() run over the same cells.
/// Units:    kind 1 holds plain data, kind 0 anything that moves without failing, such as a string, a class with arrays
///           among its members, or another array.
/// Lifetime: as of every array: deleteMemory(env) before it ends. References to cells end when the array grows.
/// Cost:     growing by autoExtend multiplies the capacity by 1.4142135623731: 1, 3, 5, 8, 12, 17, 25, ...
template <class T, int kind = 1>
class QUVENXaRay : public QUVENXaRayImplementation<T, kind> {
 public:
  /// Requires 1 <= index <= getSize(); checked in debug builds only.
  T& operator[](long index) {
    assert(1 <= index && index <= this->getSize());
    return this->cellPointer()[index];
  }
  const T& operator[](long index) const {
    assert(1 <= index && index <= this->getSize());
    return this->cellPointer()[index];
  }

  /// The cell of an index that may be out of range.
  /// Errors: an index outside 1..getSize() is an assertion failure.
  T& at(long index) {
    QUVEN_ASSERT(1 <= index && index <= this->getSize());
    return this->cellPointer()[index];
  }
  const T& at(long index) const {
    QUVEN_ASSERT(1 <= index && index <= this->getSize());
    return this->cellPointer()[index];
  }

  bool isEmpty() const { return this->getSize() == 0; }

  /// Sets the size; the block grows to it exactly, and never shrinks.
  void setSize(long newSize, const QUVENEnvHandle& env) {
    this->setSizeCapacity(newSize, std::max(newSize, this->getCapacity()), QUVEN_ENV);
  }

  /// Makes index a valid index, with room for more to come.
  void autoExtend(long index, const QUVENEnvHandle& env) {
    if (index > this->getSize()) {
      autoReserve(index, QUVEN_ENV);
      setSize(index, QUVEN_ENV);
    }
  }

  /// Grows the capacity as autoExtend does and leaves the size: an autoExtend up to index cannot fail then.
  void autoReserve(long index, const QUVENEnvHandle& env) {
    if (index > this->getCapacity()) growCapacity(index, QUVEN_ENV);
  }

  /// Adds a cell behind the last.
  void append(T value, const QUVENEnvHandle& env) {
    const long index = this->getSize() + 1;
    autoExtend(index, QUVEN_ENV);
    this->cellPointer()[index] = std::move(value);
  }

  /// Deep copy of another array, which may be this one; size and capacity become the size of the source.
  void copyFrom(const QUVENXaRay& other, const QUVENEnvHandle& env) {
    if (&other != this) copyCells(other.toZeroBased(), QUVEN_ENV);
  }

  /// Deep copy of 0-based data from elsewhere: element k becomes cell k + 1.
  void fromZeroBased(std::span<const T> source, const QUVENEnvHandle& env) { copyCells(source, QUVEN_ENV); }

  /// The cells as 0-based data: cell k is element k - 1.
  std::span<T> toZeroBased() { return {begin(), end()}; }
  std::span<const T> toZeroBased() const { return {begin(), end()}; }

  T* begin() { return firstCell(); }
  T* end() { return firstCell() + this->getSize(); }
  const T* begin() const { return firstCell(); }
  const T* end() const { return firstCell() + this->getSize(); }

 private:
  static constexpr double growthFactor = 1.4142135623731;

  T* firstCell() const { return this->cellPointer() == nullptr ? nullptr : this->cellPointer() + 1; }

  void growCapacity(long index, const QUVENEnvHandle& env) {
    double wanted = std::max(1.0, static_cast<double>(this->getCapacity()));
    while (wanted < static_cast<double>(index)) wanted *= growthFactor;
    // The last step before the limit of the 32-bit count is cut to it; an index beyond the limit fails as it is.
    constexpr double limit = std::numeric_limits<std::int32_t>::max();
    const long newCapacity = static_cast<long>(std::min(std::ceil(wanted), limit));
    this->setSizeCapacity(this->getSize(), std::max(newCapacity, index), QUVEN_ENV);
  }

  void copyCells(std::span<const T> source, const QUVENEnvHandle& env) {
    const long count = static_cast<long>(source.size());
    this->setSizeCapacity(count, count, QUVEN_ENV);
    for (long i = 1; i <= count; ++i) quvenCopyCell((*this)[i], source[static_cast<std::size_t>(i - 1)], QUVEN_ENV);
  }
};

#endif  // QUVEN_XARAY_H
