#ifndef QUVEN_HEAP_H
#define QUVEN_HEAP_H

#include <type_traits>
#include <utility>

#include "util/quven_env.h"
#include "util/quven_xaray.h"

/// Binary max-heap in the first n cells of a 1-based array, under a comparator less(a, b).
///
/// Shapes:   the children of cell i are the cells 2i and 2i + 1; cell 1 is a largest element.
/// Cost:     sift down O(log n), heapify O(n), heap sort O(n log n), in place. The order of equal elements is fixed by
///           the steps alone, so that it is the same on every machine.
/// Elements of a class with swap, or without copyFromPrimitive, are swapped; those of any other class with
/// copyFromPrimitive are copied through a temporary of their own class.
template <class Array, class Less>
class QUVENHeap {
 public:
  explicit QUVENHeap(Array& theArray, Less comparator = Less()) : array(theArray), less(comparator) {}

  /// Moves element i down within the cells 1..n until no child is larger.
  void siftDown(long i, long n, const QUVENEnvHandle& env) {
    if constexpr (std::is_trivially_copyable_v<Element>) return siftPlainDown(i, n);
    for (long child = 2 * i; child <= n; i = child, child = 2 * i) {
      if (child < n && less(array[child], array[child + 1])) ++child;
      if (!less(array[i], array[child])) return;
      exchange(i, child, QUVEN_ENV);
    }
  }

  /// Moves element i up until no parent is smaller.
  void siftUp(long i, const QUVENEnvHandle& env) {
    for (; i > 1 && less(array[i / 2], array[i]); i /= 2) exchange(i, i / 2, QUVEN_ENV);
  }

  /// Makes the cells 1..n a heap.
  void heapify(long n, const QUVENEnvHandle& env) {
    if (n < 2) return;
    for (long i = (n + 1) / 2; i >= 1; --i) siftDown(i, n, QUVEN_ENV);
  }

  /// Sorts the cells 1..n in ascending order.
  void heapSort(long n, const QUVENEnvHandle& env) {
    heapify(n, QUVEN_ENV);
    for (long k = n; k >= 2; --k) {
      exchange(1, k, QUVEN_ENV);
      siftDown(1, k - 1, QUVEN_ENV);
    }
  }

 private:
  using Element = std::remove_reference_t<decltype(std::declval<Array&>()[1])>;

  /// The same steps for plain data: the element is held apart and written once, and a child is chosen without a branch.
  void siftPlainDown(long i, long n) {
    if (i > n) return;
    const Element element = array[i];
    long child = 2 * i;
    for (; child < n; child = 2 * i) {
      child += less(array[child], array[child + 1]) ? 1 : 0;
      if (!less(element, array[child])) break;
      array[i] = array[child];
      i = child;
    }
    if (child == n && less(element, array[child])) {
      array[i] = array[child];
      i = child;
    }
    array[i] = element;
  }

  void exchange(long i, long j, const QUVENEnvHandle& env) {
    auto& a = array[i];
    auto& b = array[j];
    if constexpr (requires(Element & e) { e.swap(b); }) {
      a.swap(b);
    } else if constexpr (requires(Element & e) { e.copyFromPrimitive(&b, env); }) {
      Element temporary{};
      temporary.copyFromPrimitive(&a, QUVEN_ENV);
      a.copyFromPrimitive(&b, QUVEN_ENV);
      b.copyFromPrimitive(&temporary, QUVEN_ENV);
      quvenReleaseCell(temporary, QUVEN_ENV);
    } else {
      static_cast<void>(env);
      using std::swap;
      swap(a, b);
    }
  }

  Array& array;
  Less less;
};

#endif  // QUVEN_HEAP_H
