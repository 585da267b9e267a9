#include "key_table.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "key_order.h"

namespace vesk_loader {

namespace {

constexpr std::size_t firstSlotBits = 10;
constexpr std::uint32_t smallestPiece = 4;
constexpr std::uint32_t mostSumCells = 16;  // rows of more sums are rare, and a row without sums is to stay short

// The capacity and the link of a piece are kept in cells of the arena beside its entries.
std::uint64_t capacity(const double* piece) { return std::bit_cast<std::uint64_t>(piece[0]); }
double* entries(double* piece) { return piece + 1; }
double* link(const double* end) { return std::bit_cast<double*>(*end); }

// A row of distinct callees has as much room for repeats as for the callees, so that the repeats of a full row are
// removed once in at least tableSize appends.
std::uint32_t most_stored(const KeyTable::Shape& shape) {
  return shape.distinct ? shape.tableSize + std::max(shape.tableSize, smallestPiece) : shape.tableSize;
}

void keep_elements(std::vector<double>& column, std::span<const std::uint32_t> kept) {
  for (std::size_t i = 0; i < kept.size(); ++i) column[i] = column[kept[i]];
  column.resize(kept.size());
}

}  // namespace

void RowColumns::clear(std::size_t payloadCount) {
  values.clear();
  dates.clear();
  payloads.resize(payloadCount);
  for (auto& column : payloads) column.clear();
}

KeyTable::KeyTable(const Shape& shape_)
    : shape(shape_),
      width(1 + (shape_.dates ? 1 : 0) + shape_.payloadCount),
      mostStored(most_stored(shape_)),
      sumCells(shape_.sumCount <= mostSumCells ? std::max(shape_.sumCount, 1U) : 1),
      rowBytes(shape_.distinct        ? sizeof(DistinctRow)
               : shape_.tableSize > 0 ? sizeof(TableRow)
                                      : sizeof(Row) + sumCells * sizeof(double)),
      slots(std::size_t{1} << firstSlotBits),
      mask(slots.size() - 1),
      shift(64 - firstSlotBits) {}

std::uint32_t KeyTable::length(std::uint32_t row) const {
  if (isIrregular(at(row))) return static_cast<std::uint32_t>(irregular.at(row).values.size());
  return at(row).count;
}

std::uint32_t KeyTable::insert(double key, std::uint64_t hash, std::size_t slot) {
  if (rowCount >= slots.size() / 8 * 5) {
    growSlots();
    for (slot = hash >> shift; slots[slot].rowPlusOne != 0;) slot = (slot + 1) & mask;
  }
  if (rowCount == UINT32_MAX - 1) throw std::bad_alloc();  // row numbers are 32-bit
  if ((rowCount & (slabRows - 1)) == 0) {
    slabs.emplace_back(slabRows * rowBytes, slabs.empty() ? PageMemory::largePage : 0);
  }
  const std::uint32_t row = rowCount++;
  at(row) = {key, 0, 0};  // what follows is zero
  slots[slot] = {row + 1, tagOf(hash)};
  return row;
}

void KeyTable::growSlots() {
  slots.release();  // the rows hold all that the slots are made from
  slots = PageArray<Slot>(std::size_t{mask + 1} * 2);
  mask = slots.size() - 1;
  --shift;
  for (std::uint32_t row = 0; row < rowCount; ++row) {
    const std::uint64_t hash = hash_id(at(row).key);
    std::size_t slot = hash >> shift;
    while (slots[slot].rowPlusOne != 0) slot = (slot + 1) & mask;
    slots[slot] = {row + 1, tagOf(hash)};
  }
}

double* KeyTable::newPiece(std::uint32_t entryCount) {
  const std::size_t cells = std::size_t{entryCount} * width;
  double* const piece = arena.allocate(cells + 2);
  piece[0] = std::bit_cast<double>(std::uint64_t{entryCount});
  piece[cells + 1] = std::bit_cast<double>(static_cast<double*>(nullptr));
  return piece;
}

void KeyTable::makeRoom(TableRow& row) {
  if (shape.distinct) return makeDistinctRoom(distinctRow(row));
  double* piece = nullptr;
  if (row.next == nullptr) {
    piece = newPiece(std::min(smallestPiece, shape.tableSize));
    row.first = piece;
  } else if (link(row.next) != nullptr) {
    piece = link(row.next);
  } else if (row.count >= shape.tableSize) {
    piece = row.first;
  } else {
    piece = newPiece(std::min(std::max(smallestPiece, row.count), shape.tableSize - row.count));
    *row.next = std::bit_cast<double>(piece);
  }
  row.next = entries(piece);
  row.room = static_cast<std::uint32_t>(capacity(piece));
}

// Pieces double in size, so that those of one bit_width are of one size; the largest one is mostStored.
std::uint32_t KeyTable::roomFor(std::uint32_t count) const {
  std::uint32_t room = std::min(smallestPiece, mostStored);
  while (room < mostStored && room <= count) room = room <= mostStored / 2 ? 2 * room : mostStored;
  return room;
}

double* KeyTable::takePiece(std::uint32_t entryCount) {
  std::vector<double*>& spare = spares[static_cast<std::size_t>(std::bit_width(entryCount)) - 1];
  if (entryCount == mostStored || spare.empty()) return newPiece(entryCount);
  double* const piece = spare.back();
  spare.pop_back();
  return piece;
}

void KeyTable::givePiece(double* piece) {
  spares[static_cast<std::size_t>(std::bit_width(capacity(piece))) - 1].push_back(piece);
}

// The piece is read as a whole when its repeats are removed.
void KeyTable::prefetchPiece(const TableRow& row) const {
  constexpr std::ptrdiff_t mostAhead = 8 * 8;  // doubles; a longer piece is recognised by the processor
  if (row.first == nullptr) return;
  const double* const end = row.first + std::min<std::ptrdiff_t>(row.next - row.first, mostAhead);
  for (const double* place = row.first; place < end; place += 8) __builtin_prefetch(place, 1);
}

void KeyTable::makeDistinctRoom(DistinctRow& row) {
  std::uint32_t room = roomFor(0);
  double* const old = row.first;
  if (old != nullptr) {
    removeRepeats(row);
    const auto oldRoom = static_cast<std::uint32_t>(capacity(old));
    if (row.count <= oldRoom / 2 || oldRoom == mostStored) return;
    room = roomFor(oldRoom);
  }
  row.first = takePiece(room);
  const std::size_t cells = std::size_t{row.count} * width;
  if (old != nullptr) {
    std::copy_n(entries(old), cells, entries(row.first));
    givePiece(old);
  }
  row.next = entries(row.first) + cells;
  row.room = room - row.count;
}

void KeyTable::removeRepeats(DistinctRow& row) {
  if (row.distinct == row.count) return;
  double* const cells = entries(row.first);
  const auto kept = latest.select(cells, row.count, width, shape.tableSize);
  double* place = cells;
  for (const std::uint32_t index : kept) {
    const double* const entry = cells + std::size_t{index} * width;
    for (std::uint32_t column = 0; column < width; ++column) *place++ = entry[column];
  }
  row.count = static_cast<std::uint32_t>(kept.size());
  row.distinct = row.count;
  row.next = place;
  row.room = static_cast<std::uint32_t>(capacity(row.first)) - row.count;
}

void KeyTable::removeRepeats() {
  if (!shape.distinct) return;
  constexpr std::uint32_t ahead = 8;
  for (std::uint32_t row = 0; row < rowCount; ++row) {
    if (row + ahead < rowCount) {
      const TableRow& coming = tableRow(row + ahead);
      if (static_cast<const DistinctRow&>(coming).distinct != coming.count) prefetchPiece(coming);
    }
    removeRepeats(row);
  }
}

void KeyTable::keepLatest(RowColumns& columns) {
  const std::size_t count = columns.values.size();
  const auto kept = latest.select(columns.values.data(), count, 1, shape.tableSize);
  if (kept.size() == count) return;
  keep_elements(columns.values, kept);
  if (shape.dates) keep_elements(columns.dates, kept);
  for (auto& column : columns.payloads) keep_elements(column, kept);
}

void KeyTable::assignDistinct(DistinctRow& row, const RowColumns& columns) {
  const auto count = static_cast<std::uint32_t>(columns.values.size());
  if (row.first == nullptr && count > 0) row.first = takePiece(roomFor(count));
  if (count > 0 && capacity(row.first) < count) {
    givePiece(row.first);
    row.first = takePiece(roomFor(count));
  }
  row.count = count;
  row.distinct = count;
  row.next = nullptr;
  row.room = 0;
  if (row.first == nullptr) return;
  double* place = entries(row.first);
  for (std::uint32_t i = 0; i < count; ++i) {
    *place++ = columns.values[i];
    if (shape.dates) *place++ = columns.dates[i];
    for (const auto& column : columns.payloads) *place++ = column[i];
  }
  row.next = place;
  row.room = static_cast<std::uint32_t>(capacity(row.first)) - count;
}

double* KeyTable::extendSums(std::uint32_t row, std::uint32_t count) {
  Row& target = at(row);
  if (isIrregular(target)) {
    auto& values = irregular.at(row).values;
    if (values.size() < count) values.resize(count, 0.0);
    return values.data();
  }
  const double* const sums = sumsOf(target);
  const bool sumsFollow = target.room == 0;
  if (!sumsFollow && target.count >= count) return std::bit_cast<double*>(*cells(target));
  double* const larger = sumsFollow && count <= sumCells ? cells(target) : arena.allocate(count);
  if (larger != sums) std::copy_n(sums, target.count, larger);
  std::fill(larger + target.count, larger + count, 0.0);
  target.count = count;
  if (larger != cells(target)) {
    *cells(target) = std::bit_cast<double>(larger);
    target.room = 1;
  }
  return larger;
}

void KeyTable::appendIrregular(std::uint32_t row, const double* entry) {
  RowColumns& columns = irregular.at(row);
  if (shape.distinct) {
    const auto erase = [](std::vector<double>& column, std::ptrdiff_t index) {
      if (index < std::ssize(column)) column.erase(column.begin() + index);
    };
    const auto found = std::find_if(columns.values.begin(), columns.values.end(),
                                    [entry](double callee) { return same_id(callee, *entry); });
    const std::ptrdiff_t index = found - columns.values.begin();
    if (found != columns.values.end()) {
      erase(columns.values, index);
      erase(columns.dates, index);
      for (auto& column : columns.payloads) erase(column, index);
    }
  }
  columns.values.push_back(*entry++);
  if (shape.dates) columns.dates.push_back(*entry++);
  for (auto& column : columns.payloads) column.push_back(*entry++);
  if (columns.values.size() > shape.tableSize) {
    columns.values.erase(columns.values.begin());
    if (shape.dates) columns.dates.erase(columns.dates.begin());
    for (auto& column : columns.payloads) column.erase(column.begin());
  }
}

const RowColumns& KeyTable::view(std::uint32_t row, RowColumns& scratch) const {
  if (isIrregular(at(row))) return irregular.at(row);
  read(row, scratch);
  return scratch;
}

void KeyTable::reserveForViews(RowColumns& scratch) const {
  std::size_t longest = 0;
  for (std::uint32_t row = 0; row < rowCount; ++row) {
    if (!isIrregular(at(row))) longest = std::max<std::size_t>(longest, at(row).count);
  }
  scratch.clear(shape.tableSize == 0 ? 0 : shape.payloadCount);
  scratch.values.reserve(longest);
  if (shape.dates) scratch.dates.reserve(longest);
  for (auto& column : scratch.payloads) column.reserve(longest);
}

void KeyTable::read(std::uint32_t row, RowColumns& columns) const {
  const Row& source = at(row);
  if (isIrregular(source)) {
    columns = irregular.at(row);
    return;
  }
  if (shape.tableSize == 0) {
    columns.clear(0);
    const double* const sums = sumsOf(source);
    columns.values.assign(sums, sums + source.count);
    return;
  }
  readEntries(tableRow(row), columns);
}

void KeyTable::readEntries(const TableRow& source, RowColumns& columns) const {
  columns.clear(shape.payloadCount);
  columns.values.resize(source.count);
  if (shape.dates) columns.dates.resize(source.count);
  for (auto& column : columns.payloads) column.resize(source.count);
  if (source.count == 0) return;

  const double* place = entries(source.first);
  std::uint64_t room = capacity(source.first);
  if (source.count >= shape.tableSize && !shape.distinct) {  // a ring, which begins where the next entry will go
    place = source.next;
    room = source.room;
  }
  for (std::uint32_t i = 0; i < source.count; ++i) {
    if (room == 0) {
      double* const piece = link(place) != nullptr ? link(place) : source.first;
      place = entries(piece);
      room = capacity(piece);
    }
    columns.values[i] = *place++;
    if (shape.dates) columns.dates[i] = *place++;
    for (auto& column : columns.payloads) column[i] = *place++;
    --room;
  }
}

bool KeyTable::isRegular(const RowColumns& columns) const {
  const std::size_t count = columns.values.size();
  if (shape.tableSize == 0) return columns.dates.empty() && columns.payloads.empty();
  return columns.dates.size() == (shape.dates ? count : 0) && columns.payloads.size() == shape.payloadCount &&
         std::all_of(columns.payloads.begin(), columns.payloads.end(),
                     [count](const auto& column) { return column.size() == count; });
}

// Whether the pieces that a row has can hold `count` entries and keep the rules of a ring.
bool KeyTable::piecesFit(const TableRow& row, std::uint32_t count) const {
  std::uint64_t total = 0;
  for (const double* piece = row.first; piece != nullptr; piece = link(piece + 1 + capacity(piece) * width)) {
    total += capacity(piece);
  }
  return count >= shape.tableSize ? total == count : total >= count && total <= shape.tableSize;
}

void KeyTable::assign(std::uint32_t row, const RowColumns& assigned) {
  const bool isMadeDistinct = shape.distinct && isRegular(assigned);
  if (isMadeDistinct) {
    latestColumns = assigned;
    keepLatest(latestColumns);
  }
  const RowColumns& columns = isMadeDistinct ? latestColumns : assigned;
  if (isIrregular(at(row))) {
    irregular.erase(row);
    const double key = at(row).key;
    std::memset(placeOf(row), 0, rowBytes);
    at(row).key = key;
  }
  if (!isRegular(columns)) {
    irregular[row] = columns;
    at(row).count = irregularCount;
    at(row).room = shape.tableSize > 0 ? 0 : 1;  // the short way to append or to add is closed
    return;
  }
  if (shape.tableSize == 0) {
    assignSums(row, columns.values);
    return;
  }
  TableRow& target = tableRow(row);
  if (shape.distinct) return assignDistinct(distinctRow(target), columns);
  const auto count = static_cast<std::uint32_t>(columns.values.size());
  if (!piecesFit(target, count)) target.first = count > 0 ? newPiece(count) : nullptr;
  target.count = count;
  target.next = nullptr;
  target.room = 0;
  if (target.first == nullptr) return;
  target.next = entries(target.first);
  target.room = static_cast<std::uint32_t>(capacity(target.first));
  for (std::uint32_t i = 0; i < count; ++i) {
    if (target.room == 0) makeRoom(target);  // follows the links: the pieces are large enough
    *target.next++ = columns.values[i];
    if (shape.dates) *target.next++ = columns.dates[i];
    for (const auto& column : columns.payloads) *target.next++ = column[i];
    --target.room;
  }
}

void KeyTable::assignSums(std::uint32_t row, const std::vector<double>& values) {
  at(row).count = at(row).room = 0;
  if (!values.empty())
    std::copy(values.begin(), values.end(), extendSums(row, static_cast<std::uint32_t>(values.size())));
}

std::vector<std::uint32_t> KeyTable::rowsInOrder() const {
  std::vector<OrderedRow> order(rowCount);
  for (std::uint32_t row = 0; row < rowCount; ++row) order[row] = {ordered_bits(at(row).key), row};
  sort_by_key(order);
  std::vector<std::uint32_t> rows(rowCount);
  std::transform(order.begin(), order.end(), rows.begin(), [](const OrderedRow& entry) { return entry.row; });
  return rows;
}

void KeyTable::prefetchAhead(const std::vector<std::uint32_t>& order, std::size_t place) const {
  constexpr std::size_t stages = 5;       // the row and its first four pieces: a row of up to 32 entries
  constexpr std::size_t stageLength = 4;  // rows that are made while a stage is on its way
  constexpr std::size_t lineDoubles = 8;
  const std::size_t pieceDoubles = (smallestPiece * width + 2) * 2;
  for (std::size_t stage = 0; stage < stages; ++stage) {
    const std::size_t ahead = place + (stages - stage) * stageLength;
    if (ahead >= order.size()) continue;
    if (stage == 0) {
      __builtin_prefetch(placeOf(order[ahead]));
      __builtin_prefetch(placeOf(order[ahead]) + rowBytes - 1);
      continue;
    }
    if (shape.tableSize == 0) break;
    const TableRow& row = tableRow(order[ahead]);
    const double* const piece = findPiece(row, stage - 1);
    if (piece == nullptr) continue;
    for (std::size_t i = 0; i < pieceDoubles; i += lineDoubles) __builtin_prefetch(piece + i);
  }
}

// A piece of a row by its number from 0; null if there is none. The pieces before it are read.
const double* KeyTable::findPiece(const TableRow& row, std::size_t number) const {
  const double* piece = row.first;
  for (; number > 0 && piece != nullptr; --number) piece = link(piece + 1 + capacity(piece) * width);
  return piece;
}

std::size_t KeyTable::bytesInUse() const {
  return slots.size() * sizeof(Slot) + rowCount * rowBytes + arena.bytesInUse();
}

}  // namespace vesk_loader
