#ifndef QUVEN_NODE_TABLE_H
#define QUVEN_NODE_TABLE_H

// What an analysis keeps per node: a dense index for every node number, and columns of values by that index.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <span>
#include <utility>

#include "util/quven_env.h"
#include "util/quven_obj_writer.h"
#include "util/quven_xaray.h"

/// The node numbers seen so far, each with a dense index from 1 upward in the order of their first appearance.
///
/// Memory:   8 bytes a node, and 5 to 11 for its slot.
/// Cost:     one probe a look-up in the ordinary case.
/// Lifetime: deleteMemory(env) before it ends.
class QUVENNodeIndex {
 public:
  using Node = std::uint64_t;

  /// The dense index of a node, or 0.
  long find(Node node) const {
    if (slots.isEmpty()) return 0;
    for (std::uint64_t slot = homeOf(node);; slot = (slot + 1) & mask()) {
      const std::uint32_t index = slots[static_cast<long>(slot) + 1];
      if (index == 0 || nodes[index] == node) return index;
    }
  }
  /// The dense index of a node, which is entered if it is new.
  long insert(Node node, const QUVENEnvHandle& env) {
    const long found = find(node);
    return found != 0 ? found : insertNew(node, QUVEN_ENV);
  }
  /// Brings the slot of a node near, for a look-up that follows soon.
  [[gnu::always_inline]] void prefetch(Node node) const {
    if (!slots.isEmpty()) __builtin_prefetch(slots.begin() + homeOf(node));
  }

  /// The index that the first slot of a node has, which the node mostly is, with its number brought near; 0 for none.
  [[gnu::always_inline]] long prefetchNode(Node node) const {
    if (slots.isEmpty()) return 0;
    const std::uint32_t index = slots.begin()[homeOf(node)];
    if (index != 0) __builtin_prefetch(&nodes[index]);
    return index;
  }

  Node getNode(long index) const { return nodes[index]; }
  long getSize() const { return nodes.getSize(); }

  /// The dense indices in ascending order of their nodes, for as long as no node is entered.
  std::span<const std::uint32_t> getAscending(const QUVENEnvHandle& env) const;

  /// Gives back the order; it is made anew when it is asked for.
  void dropOrder(const QUVENEnvHandle& env) { order.deleteMemory(QUVEN_ENV); }
  /// Removes all nodes; the memory stays.
  void clear();
  void copyFrom(const QUVENNodeIndex& other, const QUVENEnvHandle& env);
  void swap(QUVENNodeIndex& other) noexcept;
  void deleteMemory(const QUVENEnvHandle& env);

 private:
  std::uint64_t mask() const { return static_cast<std::uint64_t>(slots.getSize()) - 1; }
  std::uint64_t homeOf(Node node) const {
    constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;  // 2^64 over the golden ratio: Knuth, vol. 3, 6.4
    return (node * factor) >> shift;
  }
  long insertNew(Node node, const QUVENEnvHandle& env);
  void growSlots(const QUVENEnvHandle& env);

  QUVENXaRay<Node> nodes;
  QUVENXaRay<std::uint32_t> slots;          // a power of two; dense index, 0 for an empty one
  mutable QUVENXaRay<std::uint32_t> order;  // made when it is asked for
  int shift = 64;
};

/// A map from nodes to values: a column by dense index, with a bit for each value that is there.
///
/// What is not there reads as 0. Visits go through the index, in ascending order of the nodes.
template <class T>
class QUVENNodeColumn {
 public:
  bool has(long index) const { return index <= values.getSize() && (present[wordOf(index)] & bitOf(index)) != 0; }
  T get(long index) const { return has(index) ? values[index] : T(); }
  /// The value of an index, which is entered with 0 if it is not there.
  T& at(long index, const QUVENEnvHandle& env) {
    if (index > values.getSize()) grow(index, QUVEN_ENV);
    std::uint64_t& word = present[wordOf(index)];
    if ((word & bitOf(index)) == 0) {
      word |= bitOf(index);
      ++count;
      values[index] = T();
    }
    return values[index];
  }
  /// Brings a value near, for a change that follows soon.
  [[gnu::always_inline]] void prefetch(long index) const {
    if (1 <= index && index <= values.getSize()) __builtin_prefetch(&values[index], 1);
  }
  /// A word for each 64 indices, with the bit of an index in the word and at the place of (index - 1).
  std::span<const std::uint64_t> getPresence() const { return present.toZeroBased(); }
  /// Makes values of 0 for the bits of another column's presence, and removes all others.
  void clearTo(std::span<const std::uint64_t> presence, const QUVENEnvHandle& env) {
    values.setSize(0, QUVEN_ENV);
    values.setSize(wordBits * static_cast<long>(presence.size()), QUVEN_ENV);
    present.fromZeroBased(presence, QUVEN_ENV);
    count = 0;
    for (const std::uint64_t word : presence) count += std::popcount(word);
  }
  /// The values by index - 1. Those that are not there have no meaning.
  std::span<T> getValues() { return values.toZeroBased(); }
  /// The number of values that are there.
  long getCount() const { return count; }
  bool isEmpty() const { return count == 0; }

  /// Removes all values; the memory stays.
  void clear() {
    std::fill(present.begin(), present.end(), 0);
    count = 0;
  }
  void swap(QUVENNodeColumn& other) noexcept {
    values.swap(other.values);
    present.swap(other.present);
    std::swap(count, other.count);
  }
  void copyFrom(const QUVENNodeColumn& other, const QUVENEnvHandle& env) {
    if (&other == this) return;
    values.copyFrom(other.values, QUVEN_ENV);
    present.copyFrom(other.present, QUVEN_ENV);
    count = other.count;
  }
  void deleteMemory(const QUVENEnvHandle& env) {
    values.deleteMemory(QUVEN_ENV);
    present.deleteMemory(QUVEN_ENV);
    count = 0;
  }

  /// Multiplies every value that is there.
  void scale(double factor) {
    for (T& value : values) value = static_cast<T>(value * factor);
  }

 private:
  static constexpr long wordBits = 64;
  static long wordOf(long index) { return (index - 1) / wordBits + 1; }
  static std::uint64_t bitOf(long index) { return std::uint64_t{1} << ((index - 1) % wordBits); }

  void grow(long index, const QUVENEnvHandle& env) {
    present.autoReserve(wordOf(index), QUVEN_ENV);
    values.autoExtend(index, QUVEN_ENV);
    present.autoExtend(wordOf(index), QUVEN_ENV);
  }

  QUVENXaRay<T> values;
  QUVENXaRay<std::uint64_t> present;
  long count = 0;
};

/// Writes a column as the array of its values, those of the lowest nodes first.
template <class T>
void quvenWriteColumnValues(QUVENObjWriter& writer, const QUVENKeyword& keyword, const QUVENNodeColumn<T>& column,
                            std::span<const std::uint32_t> ascending, const QUVENEnvHandle& env);
/// Writes the nodes of a column as an array beside that of its values.
template <class T>
void quvenWriteColumnNodes(QUVENObjWriter& writer, const QUVENKeyword& keyword, const QUVENNodeColumn<T>& column,
                           const QUVENNodeIndex& nodes, std::span<const std::uint32_t> ascending,
                           const QUVENEnvHandle& env);

extern template void quvenWriteColumnValues(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<double>&,
                                            std::span<const std::uint32_t>, const QUVENEnvHandle&);
extern template void quvenWriteColumnValues(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<std::int32_t>&,
                                            std::span<const std::uint32_t>, const QUVENEnvHandle&);
extern template void quvenWriteColumnNodes(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<double>&,
                                           const QUVENNodeIndex&, std::span<const std::uint32_t>,
                                           const QUVENEnvHandle&);
extern template void quvenWriteColumnNodes(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<std::int32_t>&,
                                           const QUVENNodeIndex&, std::span<const std::uint32_t>,
                                           const QUVENEnvHandle&);

#endif  // QUVEN_NODE_TABLE_H
