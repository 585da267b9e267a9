#include "simple_algorithm/quven_sparse_to_dense_data.h"

#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENSparseToDenseData);

namespace {

constexpr int RowTooLong = 4607;

/// A position or a size cut to an integer, up to just above the longest row.
long cut(double value) {
  constexpr double most = static_cast<double>(QUVENSparseToDenseData::MaxRowSize) + 1;
  return value >= most ? static_cast<long>(most) : value > -most ? static_cast<long>(value) : -1;
}

}  // namespace

void QUVENSparseToDenseData::sizeRow(double size, const QUVENEnvHandle& env) {
  if (cut(size) > MaxRowSize) {
    report_error(RowTooLong, std::to_string(ivCurrentRow),
                 "QUVENSparseToDenseData::update: a row of too many places; is it a table dataset?", QUVEN_ENV, true);
  }
  ivRow.setSize(cut(size), QUVEN_ENV);
}

void QUVENSparseToDenseData::update(const QUVENXaRay<double>& x, const QUVENXaRay<double>&, SampleNumber sample,
                                    const QUVENEnvHandle& env) {
  if (x.getSize() != 2) return;
  const long position = cut(x[1]);
  const double value = x[2];
  switch (static_cast<State>(ivState)) {
    case Idle:
      if (position != 0 || !(value > 0)) return;
      ivCurrentRow = sample;
      sizeRow(value, env);
      ivState = Filling;
      return;
    case Filling:
      if (sample != ivCurrentRow && position == 0) {
        // A new record takes the place of one that has not ended, and keeps the cells that are there.
        ivCurrentRow = sample;
        if (!(cut(value) < 0)) sizeRow(value, env);
      } else if (position > ivRow.getSize()) {
        ivState = Complete;
        ivTarget = value;
      } else if (position >= 1) {  // nobody sees what stands at 0 or below
        ivRow[position] = value;
      }
      return;
    case Complete:
      ivTarget = value;
      return;
  }
}

QUVENSparseToDenseData::SampleNumber QUVENSparseToDenseData::takeRecord(QUVENXaRay<double>& row, double& target,
                                                                        const QUVENEnvHandle& env) {
  row.setSize(0, env);
  row.setSize(ivRow.getSize(), env);
  std::copy(ivRow.begin(), ivRow.end(), row.begin());
  target = ivTarget;
  ivRow.setSize(0, env);
  ivState = Idle;
  ivTarget = 0;
  return ivCurrentRow;
}
