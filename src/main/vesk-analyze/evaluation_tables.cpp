// Writes the tables of an evaluation as CSV.

#include <ostream>

#include "control/quven_csv_reader.h"
#include "evaluation_report.h"
#include "exact_text.h"
#include "segment_cells.h"

namespace vesk_analyze {

namespace {

/// Writes a number that is computed from records. The cell is empty if there are too few of them.
void writeCell(std::ostream& out, double value, bool hasRecords) {
  out << ',' << (hasRecords ? numberText(value) : exactText(value));
}

void writeResidualRow(const ResidualRow& row, std::size_t number, std::ostream& out) {
  out << quvenCsvCell(row.field) << ',' << number << ',' << segmentCells(row.segment) << ',' << numberText(row.records);
  for (const double value : {row.meanActual, row.meanPredicted, row.meanResidual}) {
    writeCell(out, value, row.records > 0);
  }
  writeCell(out, row.stdDev, row.records > 1);
  out << '\n';
}

}  // namespace

void writeLift(const EvaluationReport& report, std::ostream& out) {
  out << "bin,boundary,records,cum_records,sum_predicted,sum_error,cum_actual,lift,z\n";
  std::size_t bin = 0;
  for (const LiftRow& row : report.lift) {
    out << ++bin;
    for (const double value :
         {row.boundary, row.records, row.cumRecords, row.sumPredicted, row.sumError, row.cumActual, row.lift, row.z}) {
      out << ',' << numberText(value);
    }
    out << '\n';
  }
}

void writeQuality(const EvaluationReport& report, std::ostream& out) {
  out << "name,value\n";
  for (const QualityNumber& number : report.quality) {
    out << quvenCsvCell(number.name) << ',' << numberText(number.value) << '\n';
  }
}

void writeResiduals(const EvaluationReport& report, std::ostream& out) {
  out << "field,segment,kind,from,to,categories,records,mean_actual,mean_predicted,mean_residual,std_dev\n";
  std::size_t number = 0;
  for (const ResidualRow& row : report.twentieths) writeResidualRow(row, ++number, out);
  const std::string* field = nullptr;
  for (const ResidualRow& row : report.segments) {
    if (field == nullptr || *field != row.field) number = 0;
    field = &row.field;
    writeResidualRow(row, ++number, out);
  }
}

void writeSensitivity(const EvaluationReport& report, std::ostream& out) {
  out << "field,sensitivity,points\n";
  for (const SensitivityRow& row : report.sensitivities) {
    out << quvenCsvCell(row.field) << ',' << numberText(row.sensitivity) << ',' << numberText(row.points) << '\n';
  }
}

}  // namespace vesk_analyze
