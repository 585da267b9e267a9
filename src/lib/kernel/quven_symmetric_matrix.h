#ifndef QUVEN_SYMMETRIC_MATRIX_H
#define QUVEN_SYMMETRIC_MATRIX_H

#include "kernel/quven_packed_triangle.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// A symmetric matrix of which one half is stored: the upper one, column by column.
///
/// Shapes:   rows and columns run 1..getOrder(). The element of row i and column j, i <= j, has the index
///           j(j-1)/2 + i, so that a column is contiguous and the diagonal element of i is at i(i+1)/2.
/// Memory:   8 bytes for each of the n(n+1)/2 stored elements; at most 65,535 rows.
/// Cost:     an update or a merge runs once over the stored elements, a swap over two columns; neither allocates.
/// Errors:   orders that differ and rows that do not exist are assertion failures, and so is a stream with a number of
///           elements that no order has.
class QUVENSymmetricMatrix : public QUVENObjectOf<QUVENSymmetricMatrix, QUVENObject> {
 public:
  static constexpr long MostRows = quvenMostPackedRows;

  /// The index of an element. Requires: 1 <= i <= j.
  static constexpr long indexOf(long i, long j) { return quvenPackedIndex(i, j); }

  /// Sets the number of rows and makes every element 0.
  void setOrder(long rows, const QUVENEnvHandle& env);
  long getOrder() const { return order; }

  /// Requires: 1 <= row, column <= getOrder(), checked in debug builds only; in any order.
  double get(long row, long column) const {
    return row <= column ? ivElements[indexOf(row, column)] : ivElements[indexOf(column, row)];
  }
  /// The stored elements, by their indices.
  QUVENXaRay<double>& getElements() { return ivElements; }
  const QUVENXaRay<double>& getElements() const { return ivElements; }

  /// A = A + w x x^T. The element of row i and column j gets (w x[j]) x[i], rounded in that order.
  /// Requires: a vector of getOrder() numbers.
  void addWeighted(double w, const QUVENXaRay<double>& x);
  /// A = A + B.
  void merge(const QUVENSymmetricMatrix& b);
  /// Exchanges the rows i and j, and with them the columns i and j.
  void swapRows(long i, long j);

  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  QUVEN_MEMBER(ivElements, QUVENXaRay<double>);
  QUVEN_STATE(order, long) = 0;  // follows from the number of elements
};

#endif  // QUVEN_SYMMETRIC_MATRIX_H
