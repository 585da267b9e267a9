#include "simple_algorithm/quven_labeled_matrix.h"

#include <algorithm>
#include <ostream>

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLabeledMatrix);

void QUVENLabeledMatrix::addRow(const Row& row, double label, const QUVENEnvHandle& env) {
  ivRows.autoExtend(ivRows.getSize() + 1, QUVEN_ENV);
  ivLabels.append(label, QUVEN_ENV);
  ivRowNum = static_cast<std::int32_t>(ivRows.getSize());
  setRow(ivRowNum, row, QUVEN_ENV);
}

void QUVENLabeledMatrix::setRow(long position, const Row& row, const QUVENEnvHandle& env) {
  ivRows.at(position).copyFrom(row, QUVEN_ENV);
  ivColumnNum = std::max(ivColumnNum, static_cast<std::int32_t>(row.getSize()));
}

void QUVENLabeledMatrix::resize(std::int32_t rows, std::int32_t columns, const QUVENEnvHandle& env) {
  ivRows.setSize(rows, QUVEN_ENV);
  ivLabels.setSize(rows, QUVEN_ENV);
  for (Row& row : ivRows) row.setSize(columns, QUVEN_ENV);
  ivRowNum = static_cast<std::int32_t>(ivRows.getSize());
  ivColumnNum = std::max(columns, 0);
}

void QUVENLabeledMatrix::print(std::ostream& out, bool withLabels) const {
  out << "% Matrix " << ivRowNum << 'x' << ivColumnNum << ":\n";
  if (withLabels) out << "% first column is label\n";
  for (long i = 1; i <= ivRows.getSize(); ++i) {
    if (withLabels) out << ivLabels[i] << ' ';
    const char* separator = "";
    for (const double value : ivRows[i]) {
      out << separator << value;
      separator = " ";
    }
    out << '\n';
  }
}
