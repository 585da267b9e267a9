#ifndef KEY_TABLE_H
#define KEY_TABLE_H

// The tables of one partition that are keyed by the caller: find or insert, append, sum, ordered visit.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "arena.h"
#include "latest_entries.h"
#include "number_hash.h"
#include "page_memory.h"

namespace vesk_loader {

/// One caller's row as columns: the form in which rows are read, stored, filtered and written.
/// In a regular row all columns that are in use have the length of `values`.
struct RowColumns {
  std::vector<double> values;                 ///< callees of a table run, sums of a plain run
  std::vector<double> dates;                  ///< empty without a date field
  std::vector<std::vector<double>> payloads;  ///< a column for each payload input

  /// Empties the columns and keeps their memory. `payloadCount` columns exist afterwards.
  void clear(std::size_t payloadCount);
};

/// The rows of the callers of one partition, with the date and the payloads of each entry beside its value: the
/// KeyTable, the DateTable and the PayloadTable in one store, so that an entry is one place in memory.
///
/// Rows are numbered densely in order of first appearance; the ordered visit sorts the numbers by key.
/// A table run (tableSize > 0) appends entries and lets the oldest fall out; a plain run adds to sums by position.
/// In a table of distinct callees an appended entry takes the place of an earlier one with the same callee (same_id):
/// a row has the latest entry of each of the latest tableSize callees, in the order of arrival of these entries.
/// Appending stores the entry only; repeats are removed when a row's memory is full, and by removeRepeats.
///
/// Memory: 8 bytes a slot at 5/16 to 5/8 load. Table run: 32 bytes a caller, 8 bytes a value, date or payload, and 16
///         bytes for each piece of a row; a row doubles, from 4 entries on, and never grows beyond the table size.
///         Distinct callees: 40 bytes a caller, and one piece for a row: with room for 4 entries, doubled when the
///         callees of a full piece are more than half of its room, up to twice the table size.
///         Plain run: 16 bytes a caller and 8 bytes a sum, at least one; a row with more sums than the settings name
///         has them elsewhere.
/// Cost:   find or insert: one probe of a slot and one row, in which a plain run has its sums; append: one more place.
///         No allocation for most entries. Distinct callees: on average about two probes more of a small hash table.
/// Errors: std::bad_alloc when memory ends; the table is then good for nothing but its destruction.
class KeyTable {
 public:
  struct Shape {
    std::uint32_t tableSize = 0;     ///< most entries a row; 0 in a plain or pair sum run
    bool dates = false;              ///< a date field is configured
    std::uint32_t payloadCount = 0;  ///< payload inputs
    std::uint32_t sumCount = 0;      ///< plain run: sums that most rows have
    bool distinct = false;           ///< table run: a callee is in a row once
  };

  explicit KeyTable(const Shape& shape);

  const Shape& getShape() const { return shape; }

  /// Number of callers.
  std::uint32_t size() const { return rowCount; }

  double key(std::uint32_t row) const { return at(row).key; }

  /// Number of entries of a row; of distinct callees after removeRepeats.
  std::uint32_t length(std::uint32_t row) const;

  /// The row of a key; made if the key is new. `hash` is hash_id(key).
  std::uint32_t findOrInsert(double key, std::uint64_t hash) {
    for (std::size_t slot = hash >> shift;; slot = (slot + 1) & mask) {
      const Slot found = slots[slot];
      if (found.rowPlusOne == 0) return insert(key, hash, slot);
      if (found.tag == tagOf(hash) && same_id(at(found.rowPlusOne - 1).key, key)) return found.rowPlusOne - 1;
    }
  }
  std::uint32_t findOrInsert(double key) { return findOrInsert(key, hash_id(key)); }

  /// Hints for a batch: the slot of a key, then its row, then the row's next free place. They are always inlined: the
  /// compiler takes a function of nothing but prefetches for one without an effect and drops its calls.
  [[gnu::always_inline]] void prefetchSlot(std::uint64_t hash) const { __builtin_prefetch(&slots[hash >> shift]); }
  [[gnu::always_inline]] void prefetchRow(std::uint64_t hash) const {
    const Slot slot = slots[hash >> shift];
    if (slot.rowPlusOne == 0) return;
    const char* const row = placeOf(slot.rowPlusOne - 1);
    __builtin_prefetch(row, 1);
    __builtin_prefetch(row + rowBytes - 1, 1);
  }
  /// Table run only.
  [[gnu::always_inline]] void prefetchEntry(std::uint32_t row) const {
    const TableRow& target = tableRow(row);
    __builtin_prefetch(target.next, 1);
    if (shape.distinct && target.room == 0) prefetchPiece(target);
  }

  /// Doubles an entry: the value, the date if configured, the payloads.
  std::uint32_t entryWidth() const { return width; }

  /// Table run: appends an entry of entryWidth() doubles `times` times; beyond the table size the oldest falls out for
  /// each one added. Distinct callees: appends it once.
  void append(std::uint32_t row, const double* entry, std::uint32_t times) {
    TableRow& target = tableRow(row);
    if (shape.distinct) times = std::min(times, 1U);
    for (std::uint32_t i = 0; i < times; ++i) {
      if (target.room == 0) {
        if (isIrregular(target)) {
          appendIrregular(row, entry);
          continue;
        }
        makeRoom(target);
      }
      for (std::uint32_t column = 0; column < width; ++column) target.next[column] = entry[column];
      target.next += width;
      --target.room;
      if (target.count < mostStored) ++target.count;
    }
  }

  /// Distinct callees: brings rows into the form that is read. Required after append and before length, read and view
  /// of the row. Does nothing in other tables.
  void removeRepeats();
  void removeRepeats(std::uint32_t row) {
    if (!shape.distinct || isIrregular(at(row))) return;
    DistinctRow& target = distinctRow(tableRow(row));
    if (target.distinct != target.count) removeRepeats(target);
  }

  /// Plain run: the row's sums, at least `count` of them; new ones are 0.0. Valid until more sums of this row are asked
  /// for, or the row is assigned.
  double* sums(std::uint32_t row, std::uint32_t count) {
    Row& target = at(row);
    return target.room == 0 && target.count >= count ? cells(target) : extendSums(row, count);
  }

  /// Copies a row out, oldest entry first. The columns' memory is used again.
  void read(std::uint32_t row, RowColumns& columns) const;

  /// A row, oldest entry first: the table's own columns where it holds such, otherwise a copy in `scratch`. Valid until
  /// the table or `scratch` changes.
  const RowColumns& view(std::uint32_t row, RowColumns& scratch) const;

  /// Room in `scratch` for the longest row that view copies: view allocates nothing afterwards.
  void reserveForViews(RowColumns& scratch) const;

  /// The columns of a row that the table holds as such; null for all other rows.
  const RowColumns* irregularRow(std::uint32_t row) const {
    return isIrregular(at(row)) ? &irregular.at(row) : nullptr;
  }

  /// Plain run: the sums of a row that is not irregular.
  std::span<const double> sumsOfRow(std::uint32_t row) const { return {sumsOf(at(row)), at(row).count}; }

  /// Replaces a row. Columns of different lengths are kept as they are. Distinct callees: of columns of equal lengths
  /// the latest entry of each callee, and of these the latest tableSize. Entries of unequal columns stay, since a
  /// payload column that loses all its elements could not be read back from a process file.
  void assign(std::uint32_t row, const RowColumns& columns);

  /// Frees the memory that finds a key. Nothing is looked up or inserted afterwards.
  void endLookups() { slots.release(); }

  /// The rows in ascending order of their keys.
  std::vector<std::uint32_t> rowsInOrder() const;

  /// Hints for an ordered visit, to be given at each place of it: the memory of the rows ahead is fetched in stages,
  /// since each piece of a row is found through the one before it.
  void prefetchAhead(const std::vector<std::uint32_t>& order, std::size_t place) const;

  std::size_t bytesInUse() const;

 private:
  // Begins each row. In a table run it is a TableRow; in a plain run `sumCells` sums follow, or in their place a
  // pointer to the sums of a row that has more.
  struct Row {
    double key;
    std::uint32_t count;  // irregularCount: the row is in `irregular`
    std::uint32_t room;   // table run: free places of the current piece; plain run: 0 if the sums follow
  };

  // A piece of a row lies in the arena as [capacity in entries][entries][next piece]. While a row is shorter than
  // the table it fills its pieces from the first on; once full, its pieces are a ring and together hold exactly
  // `count` entries, the oldest at the place of the next one.
  struct TableRow : Row {
    double* first;  // the first piece
    double* next;   // place of the next entry; at the end of a piece that is the link to the next piece
  };

  // A row of distinct callees is one piece, and no ring. Its first entries, `distinct` of them, are free of repeats.
  struct DistinctRow : TableRow {
    std::uint64_t distinct;
  };

  struct Slot {
    std::uint32_t rowPlusOne = 0;  // 0: empty
    std::uint32_t tag = 0;
  };

  // With rows of a multiple of 8 bytes a slab is a whole number of large pages.
  static constexpr std::uint32_t slabBits = 18;
  static constexpr std::uint32_t slabRows = 1U << slabBits;
  static constexpr std::uint32_t irregularCount = UINT32_MAX;

  static std::uint32_t tagOf(std::uint64_t hash) { return static_cast<std::uint32_t>(hash); }

  char* placeOf(std::uint32_t row) const {
    return static_cast<char*>(slabs[row >> slabBits].data()) + std::size_t{row & (slabRows - 1)} * rowBytes;
  }
  Row& at(std::uint32_t row) { return *reinterpret_cast<Row*>(placeOf(row)); }
  const Row& at(std::uint32_t row) const { return *reinterpret_cast<const Row*>(placeOf(row)); }
  TableRow& tableRow(std::uint32_t row) { return *reinterpret_cast<TableRow*>(placeOf(row)); }
  const TableRow& tableRow(std::uint32_t row) const { return *reinterpret_cast<const TableRow*>(placeOf(row)); }

  // Plain run: what follows the row.
  static double* cells(Row& row) { return reinterpret_cast<double*>(&row + 1); }
  static const double* cells(const Row& row) { return reinterpret_cast<const double*>(&row + 1); }
  static const double* sumsOf(const Row& row) {
    return row.room == 0 ? cells(row) : std::bit_cast<const double*>(*cells(row));
  }

  static bool isIrregular(const Row& row) { return row.count == irregularCount; }

  std::uint32_t insert(double key, std::uint64_t hash, std::size_t slot);
  void growSlots();
  void makeRoom(TableRow& row);
  DistinctRow& distinctRow(TableRow& row) { return static_cast<DistinctRow&>(row); }
  void makeDistinctRoom(DistinctRow& row);
  void removeRepeats(DistinctRow& row);
  void keepLatest(RowColumns& columns);
  void assignDistinct(DistinctRow& row, const RowColumns& columns);
  std::uint32_t roomFor(std::uint32_t count) const;
  double* takePiece(std::uint32_t entryCount);
  void givePiece(double* piece);
  void prefetchPiece(const TableRow& row) const;
  void readEntries(const TableRow& source, RowColumns& columns) const;
  double* newPiece(std::uint32_t capacity);
  double* extendSums(std::uint32_t row, std::uint32_t count);
  void appendIrregular(std::uint32_t row, const double* entry);
  void assignSums(std::uint32_t row, const std::vector<double>& values);
  bool isRegular(const RowColumns& columns) const;
  const double* findPiece(const TableRow& row, std::size_t number) const;
  bool piecesFit(const TableRow& row, std::uint32_t count) const;

  Shape shape;
  std::uint32_t width;
  std::uint32_t mostStored;  // table run: entries that a row's memory can hold
  std::uint32_t sumCells;    // plain run: cells of a row
  std::size_t rowBytes;
  PageArray<Slot> slots;
  std::size_t mask;
  unsigned shift;
  std::uint32_t rowCount = 0;
  std::vector<PageMemory> slabs;
  Arena arena;
  std::unordered_map<std::uint32_t, RowColumns> irregular;

  // Distinct callees.
  LatestEntries latest;
  RowColumns latestColumns;                     // scratch of assign
  std::array<std::vector<double*>, 32> spares;  // pieces that rows have outgrown, by bit_width of their capacity
};

}  // namespace vesk_loader

#endif  // KEY_TABLE_H
