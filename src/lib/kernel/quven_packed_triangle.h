#ifndef QUVEN_PACKED_TRIANGLE_H
#define QUVEN_PACKED_TRIANGLE_H

// The layout of a symmetric matrix of which the upper half is stored, column by column.

/// The most rows: the indices of more elements do not fit into 32 bits.
inline constexpr long quvenMostPackedRows = 65535;

/// The index, from 1, of the element of row i and column j. Requires: 1 <= i <= j.
/// A column is contiguous; the diagonal element of i has the index i(i+1)/2.
constexpr long quvenPackedIndex(long i, long j) { return j * (j - 1) / 2 + i; }

/// A = A + w x x^T, on the stored half. The element of row i and column j gets (w x[j]) x[i], rounded in that order.
///
/// Shapes:   triangle points to the n(n+1)/2 stored elements, x to n numbers, both from 0.
/// Requires: x does not overlap the triangle.
/// Cost:     n(n+1)/2 multiply-adds. Two columns are updated together, so that each x[i] is loaded once for both, two
///           rows per step, which the compiler turns into vector operations: 1.4 times the speed of single columns.
inline void quvenAddPackedSquare(double* __restrict triangle, const double* __restrict x, long n, double w) {
  long j = 0;
  for (; j + 1 < n; j += 2) {
    double* __restrict a = triangle;
    double* __restrict b = triangle + j + 1;
    const double factorA = w * x[j];
    const double factorB = w * x[j + 1];
    for (long i = 0; i < j; i += 2) {
      const double x0 = x[i];
      const double x1 = x[i + 1];
      a[i] += factorA * x0;
      a[i + 1] += factorA * x1;
      b[i] += factorB * x0;
      b[i + 1] += factorB * x1;
    }
    a[j] += factorA * x[j];
    b[j] += factorB * x[j];
    b[j + 1] += factorB * x[j + 1];
    triangle += 2 * j + 3;
  }
  if (j < n) {
    const double factor = w * x[j];
    for (long i = 0; i <= j; ++i) triangle[i] += factor * x[i];
  }
}

#endif  // QUVEN_PACKED_TRIANGLE_H
