#ifndef QUVEN_LABELED_MATRIX_H
#define QUVEN_LABELED_MATRIX_H

#include <iosfwd>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// Rows of numbers, each with a label.
///
/// Shapes: rows and columns run from 1. A row may be longer or shorter than the number of columns, which is that of the
///         longest row so far.
class QUVENLabeledMatrix : public QUVENObjectOf<QUVENLabeledMatrix, QUVENObject> {
 public:
  using Row = QUVENXaRay<double>;

  QUVENLabeledMatrix() = default;

  std::int32_t getRowNum() const { return ivRowNum; }
  std::int32_t getColumnNum() const { return ivColumnNum; }
  /// Requires: 1 <= position <= getRowNum().
  const Row& getRow(long position) const { return ivRows.at(position); }
  Row& getRow(long position) { return ivRows.at(position); }
  double getLabel(long position) const { return ivLabels.at(position); }

  /// Adds a copy of a row behind the last. Without a label it has the label 0.
  void addRow(const Row& row, double label, const QUVENEnvHandle& env);
  void addRow(const Row& row, const QUVENEnvHandle& env) { addRow(row, 0, QUVEN_ENV); }
  /// Puts a copy of a row in the place of another. Requires: 1 <= position <= getRowNum().
  void setRow(long position, const Row& row, const QUVENEnvHandle& env);
  /// Makes all rows that long; what is new is 0.
  void resize(std::int32_t rows, std::int32_t columns, const QUVENEnvHandle& env);
  void print(std::ostream& out, bool withLabels) const;

 private:
  QUVEN_MEMBER(ivRows, QUVENXaRay<Row, 0>);
  QUVEN_MEMBER(ivLabels, QUVENXaRay<double>);
  QUVEN_MEMBER(ivRowNum, std::int32_t) = 0;
  QUVEN_MEMBER(ivColumnNum, std::int32_t) = 0;
};

#endif  // QUVEN_LABELED_MATRIX_H
