#ifndef QUVEN_PACKED_TRIANGLE_H
#define QUVEN_PACKED_TRIANGLE_H

// The layout of a symmetric matrix of which the upper half is stored, column by column.

/// The index, from 1, of the element of row i and column j. Requires: 1 <= i <= j.
/// A column is contiguous; the diagonal element of i has the index i(i+1)/2.
constexpr long quvenPackedIndex(long i, long j) { return j * (j - 1) / 2 + i; }

/// A = A + w x x^T, on the stored half. The element of row i and column j gets (w x[j]) x[i], rounded in that order.
///
/// Shapes:   triangle points to the n(n+1)/2 stored elements, x to n numbers, both from 0.
/// Requires: x does not overlap the triangle.
/// Cost:     n(n+1)/2 multiply-adds.
inline void quvenAddPackedSquare(double* __restrict triangle, const double* __restrict x, long n, double w) {
  for (long j = 0; j < n; ++j) {
    const double factor = w * x[j];
    for (long i = 0; i <= j; ++i) triangle[i] += factor * x[i];
    triangle += j + 1;
  }
}

#endif  // QUVEN_PACKED_TRIANGLE_H
