#ifndef QUVEN_CANDIDATE_QUEUE_H
#define QUVEN_CANDIDATE_QUEUE_H

#include <cstdint>
#include <limits>

#include "util/quven_debug.h"
#include "util/quven_heap.h"
#include "util/quven_xaray.h"

/// The candidates of one step of a feature selection, popped by descending score.
///
/// Push all candidates, call heapify once, then pop. On equal scores the parent stays where it is and the left child
/// wins against the right one; NaN wins no comparison. So the order is the same on every machine.
/// Lifetime: the owner calls deleteMemory(env) before the queue ends.
class QUVENCandidateQueue {
 public:
  static constexpr std::int32_t NoPosition = -1;

  void clear() {
    while (count > 0) slots[count--] = Slot();
  }
  void push(std::int32_t position, double score, const QUVENEnvHandle& env) {
    slots.autoExtend(count + 1, QUVEN_ENV);
    slots[++count] = {position, score};
  }
  void heapify(const QUVENEnvHandle& env) { heap().heapify(count, QUVEN_ENV); }

  bool isEmpty() const { return count == 0; }
  long getSize() const { return count; }
  /// Removes the candidate with the highest score and returns its position. The last candidate moves to the root.
  /// Errors: an empty queue is an assertion failure.
  std::int32_t pop(const QUVENEnvHandle& env) {
    QUVEN_ASSERT(count > 0);
    const std::int32_t position = slots[1].position;
    slots[1] = slots[count];
    slots[count--] = Slot();
    heap().siftDown(1, count, QUVEN_ENV);
    return position;
  }

  void deleteMemory(const QUVENEnvHandle& env) {
    count = 0;
    slots.deleteMemory(QUVEN_ENV);
  }

 private:
  struct Slot {
    std::int32_t position = NoPosition;
    double score = -std::numeric_limits<double>::max();
  };
  struct Less {
    bool operator()(const Slot& a, const Slot& b) const { return b.score > a.score; }
  };

  QUVENHeap<QUVENXaRay<Slot>, Less> heap() { return QUVENHeap<QUVENXaRay<Slot>, Less>(slots); }

  QUVENXaRay<Slot> slots;
  long count = 0;
};

#endif  // QUVEN_CANDIDATE_QUEUE_H
