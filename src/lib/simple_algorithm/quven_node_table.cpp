#include "simple_algorithm/quven_node_table.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "util/quven_debug.h"
#include "util/quven_stream_values.h"

namespace {
constexpr long fewestSlots = 64;
}

long QUVENNodeIndex::insertNew(Node node, const QUVENEnvHandle& env) {
  // At most 4/5 of the slots are taken: short chains, and not twice the memory.
  if (5 * (nodes.getSize() + 1) > 4 * slots.getSize()) growSlots(QUVEN_ENV);
  nodes.append(node, QUVEN_ENV);
  std::uint64_t slot = homeOf(node);
  while (slots[static_cast<long>(slot) + 1] != 0) slot = (slot + 1) & mask();
  slots[static_cast<long>(slot) + 1] = static_cast<std::uint32_t>(nodes.getSize());
  return nodes.getSize();
}

void QUVENNodeIndex::growSlots(const QUVENEnvHandle& env) {
  QUVENXaRay<std::uint32_t> larger;
  const long numSlots = std::max(fewestSlots, 2 * slots.getSize());
  larger.setSizeCapacity(numSlots, numSlots, QUVEN_ENV);
  larger.swap(slots);
  shift = 64 - std::countr_zero(static_cast<std::uint64_t>(numSlots));
  for (long index = 1; index <= nodes.getSize(); ++index) {
    std::uint64_t slot = homeOf(nodes[index]);
    while (slots[static_cast<long>(slot) + 1] != 0) slot = (slot + 1) & mask();
    slots[static_cast<long>(slot) + 1] = static_cast<std::uint32_t>(index);
  }
  larger.deleteMemory(QUVEN_ENV);
}

std::span<const std::uint32_t> QUVENNodeIndex::getAscending(const QUVENEnvHandle& env) const {
  if (order.getSize() != nodes.getSize()) {
    // The nodes that were entered since the last call come after the others, and are merged with them.
    const long numOrdered = order.getSize();
    const auto isBefore = [this](std::uint32_t a, std::uint32_t b) { return nodes[a] < nodes[b]; };
    order.setSizeCapacity(nodes.getSize(), nodes.getSize(), QUVEN_ENV);
    for (long i = numOrdered + 1; i <= order.getSize(); ++i) order[i] = static_cast<std::uint32_t>(i);
    std::sort(order.begin() + numOrdered, order.end(), isBefore);
    std::inplace_merge(order.begin(), order.begin() + numOrdered, order.end(), isBefore);
  }
  return order.toZeroBased();
}

void QUVENNodeIndex::clear() {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  nodes.setSize(0, QUVEN_ENV);
  order.setSize(0, QUVEN_ENV);
  std::fill(slots.begin(), slots.end(), 0);
}

void QUVENNodeIndex::copyFrom(const QUVENNodeIndex& other, const QUVENEnvHandle& env) {
  if (&other == this) return;
  nodes.copyFrom(other.nodes, QUVEN_ENV);
  slots.copyFrom(other.slots, QUVEN_ENV);
  order.copyFrom(other.order, QUVEN_ENV);
  shift = other.shift;
}

void QUVENNodeIndex::swap(QUVENNodeIndex& other) noexcept {
  nodes.swap(other.nodes);
  slots.swap(other.slots);
  order.swap(other.order);
  std::swap(shift, other.shift);
}

void QUVENNodeIndex::deleteMemory(const QUVENEnvHandle& env) {
  nodes.deleteMemory(QUVEN_ENV);
  slots.deleteMemory(QUVEN_ENV);
  order.deleteMemory(QUVEN_ENV);
  shift = 64;
}

namespace {

/// Writes an array of count numbers that a visit hands out one by one, in parts.
template <class Number, class Visit>
void writeArray(QUVENObjWriter& writer, const QUVENKeyword& keyword, long count, Visit visit,
                const QUVENEnvHandle& env) {
  constexpr std::size_t part = 512;
  std::array<Number, part> buffer;
  std::size_t filled = 0;
  const auto flush = [&] {
    quven_stream::writeElements(writer, std::span<const Number>(buffer.data(), filled), env);
    filled = 0;
  };
  writer.beginItem(env);
  writer.writeKeyword(keyword, env);
  writer.beginArray(count, env);
  visit([&](Number number) {
    buffer[filled++] = number;
    if (filled == part) flush();
  });
  flush();
  writer.beginItem(env);
  writer.writeKeyword(QUVEN_KWD(EndArray), env);
}

}  // namespace

template <class T>
void quvenWriteColumnValues(QUVENObjWriter& writer, const QUVENKeyword& keyword, const QUVENNodeColumn<T>& column,
                            std::span<const std::uint32_t> ascending, const QUVENEnvHandle& env) {
  const auto visit = [&](auto take) {
    for (const std::uint32_t index : ascending) {
      if (column.has(index)) take(column.get(index));
    }
  };
  writeArray<T>(writer, keyword, column.getCount(), visit, QUVEN_ENV);
}

template <class T>
void quvenWriteColumnNodes(QUVENObjWriter& writer, const QUVENKeyword& keyword, const QUVENNodeColumn<T>& column,
                           const QUVENNodeIndex& nodes, std::span<const std::uint32_t> ascending,
                           const QUVENEnvHandle& env) {
  const auto visit = [&](auto take) {
    for (const std::uint32_t index : ascending) {
      if (column.has(index)) take(nodes.getNode(index));
    }
  };
  writeArray<std::uint64_t>(writer, keyword, column.getCount(), visit, QUVEN_ENV);
}

template void quvenWriteColumnValues(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<double>&,
                                     std::span<const std::uint32_t>, const QUVENEnvHandle&);
template void quvenWriteColumnValues(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<std::int32_t>&,
                                     std::span<const std::uint32_t>, const QUVENEnvHandle&);
template void quvenWriteColumnNodes(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<double>&,
                                    const QUVENNodeIndex&, std::span<const std::uint32_t>, const QUVENEnvHandle&);
template void quvenWriteColumnNodes(QUVENObjWriter&, const QUVENKeyword&, const QUVENNodeColumn<std::int32_t>&,
                                    const QUVENNodeIndex&, std::span<const std::uint32_t>, const QUVENEnvHandle&);
