#ifndef QUVEN_SPARSE_TO_DENSE_DATA_H
#define QUVEN_SPARSE_TO_DENSE_DATA_H

#include "simple_algorithm/quven_simple_algorithm_data.h"
#include "simple_algorithm/quven_sparse_rows.h"

/// Puts the rows of a sparse record together: a header (0, n), rows (position, value), and a closing row with a
/// position above n, which carries the target.
///
/// Shapes: positions run 1..n; places without a row are 0.
/// Errors: a header of more than MaxRowSize places is the terminating report 4607; rows that do not fit together are
///         left out without a word.
class QUVENSparseToDenseData : public QUVENObjectOf<QUVENSparseToDenseData, QUVENSimpleAlgorithmAbstractData> {
 public:
  enum State : std::int32_t { Idle = 0, Filling = 1, Complete = 2 };
  static constexpr std::int32_t MaxRowSize = QUVENSparseRows::MaxPosition;

  QUVENSparseToDenseData() = default;

  /// One row. Vectors of another size than 2 are left out. The target vector is not looked at.
  void update(const QUVENXaRay<double>& x, const QUVENXaRay<double>& target, SampleNumber sample,
              const QUVENEnvHandle& env) override;
  /// Whether a record is complete.
  bool isFinished() const override { return ivState == Complete; }
  /// Hands the record out and is idle again. Returns the sample number.
  SampleNumber takeRecord(QUVENXaRay<double>& row, double& target, const QUVENEnvHandle& env);
  int needsMerge() const override { return 1; }

 private:
  void sizeRow(double size, const QUVENEnvHandle& env);

  QUVEN_MEMBER(ivRow, QUVENXaRay<double>);
  QUVEN_MEMBER(ivTarget, double) = 0;
  QUVEN_MEMBER(ivCurrentRow, SampleNumber) = 0;
  QUVEN_MEMBER(ivState, std::int32_t) = Idle;
};

#endif  // QUVEN_SPARSE_TO_DENSE_DATA_H
