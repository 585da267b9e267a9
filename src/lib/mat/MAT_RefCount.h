#ifndef MAT_REF_COUNT_H
#define MAT_REF_COUNT_H

#include <cstdint>

/// The count of the handles that share an object. While the cell is free, it is a link of the list of free cells
/// instead.
union MAT_RefCount {
  std::int64_t count;
  MAT_RefCount* next;
};

/// The free cells. The list grows with the cells that are returned and is never shrunk.
/// Not for use by several threads at once, nor are the handles.
extern MAT_RefCount* MAT_freeRefCounts;

/// A cell with the count 1.
inline MAT_RefCount* MAT_takeRefCount() {
  MAT_RefCount* cell = MAT_freeRefCounts;
  if (cell == nullptr) return new MAT_RefCount{1};
  MAT_freeRefCounts = cell->next;
  cell->count = 1;
  return cell;
}

inline void MAT_returnRefCount(MAT_RefCount* cell) {
  cell->next = MAT_freeRefCounts;
  MAT_freeRefCounts = cell;
}

#endif  // MAT_REF_COUNT_H
