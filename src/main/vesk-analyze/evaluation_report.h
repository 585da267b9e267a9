#ifndef VESK_ANALYZE_EVALUATION_REPORT_H
#define VESK_ANALYZE_EVALUATION_REPORT_H

// What the files of an evaluation say, free of the classes of models and scans.

#include <iosfwd>
#include <limits>
#include <string>
#include <vector>

#include "model_description.h"

namespace vesk_analyze {

/// A bin of a lift curve. Bin 1 has the largest predictions.
struct LiftRow {
  double boundary = 0;  ///< the smallest prediction of the bin
  double records = 0;
  double cumRecords = 0;
  double sumPredicted = 0;
  double sumError = 0;   ///< of actual - predicted
  double cumActual = 0;  ///< of actual values, as predictions plus errors
  double lift = 0;       ///< mean actual value so far over that of all records; NaN for a mean of 0
  double z = 0;
};

/// The errors of a group of records.
struct ResidualRow {
  std::string field;              ///< empty: a twentieth of the prediction
  DescribedSegment segment = {};  ///< kind, from, to and categories; nothing else of it
  double records = 0;
  double meanActual = std::numeric_limits<double>::quiet_NaN();
  double meanPredicted = std::numeric_limits<double>::quiet_NaN();
  double meanResidual = std::numeric_limits<double>::quiet_NaN();  ///< actual - predicted
  double stdDev = std::numeric_limits<double>::quiet_NaN();        ///< of the residual, with records - 1; NaN below 2
};

struct SensitivityRow {
  std::string field;
  double sensitivity = 0;  ///< share of the sum over all inputs
  double points = 0;       ///< records
};

struct QualityNumber {
  std::string name;
  double value = 0;
};

/// A field that stage 1 has a transform of.
struct FieldCurve {
  DescribedTransform transform;
  double smallest = 0;  ///< of the values in the training; of a numeric field
  double largest = 0;
};

/// One evaluation of a model.
struct EvaluationReport {
  std::string modelFile;
  std::string modelKind;
  std::string dataset;
  std::string trainedOn;  ///< name of the table
  std::string target;
  std::string loss;           ///< as in the parameter file of the training
  std::string chosenRecords;  ///< All, Test or HeldOut
  bool isOfTwoClasses = false;
  double numRecords = 0;  ///< with a target and a finite prediction: those of every table here
  double numWithoutTarget = 0;
  double numNotFinite = 0;     ///< with a target, but a prediction that is NaN or infinite
  double numBelowLastBin = 0;  ///< predictions below the lowest boundary of the curve
  double meanActual = 0;
  std::vector<QualityNumber> quality = {};
  std::vector<LiftRow> lift = {};            ///< records ordered by the prediction
  std::vector<LiftRow> optimum = {};         ///< ordered by the target itself
  std::vector<ResidualRow> twentieths = {};  ///< smallest predictions first
  std::vector<ResidualRow> segments = {};    ///< field by field, of stage 1
  std::vector<FieldCurve> curves = {};       ///< in the order of the fields in segments
  bool hasSensitivities = false;
  std::string sensitivityRemark = {};              ///< why there are none, or of how many records they are
  std::vector<SensitivityRow> sensitivities = {};  ///< the largest first; of equal ones the earlier input
  std::vector<DescribedStage> stages = {};         ///< those of the model: rank, alphas and transforms are known
  std::vector<std::string> warnings = {};
};

/// One row a bin, from the largest predictions.
void writeLift(const EvaluationReport& report, std::ostream& out);
/// One row a number.
void writeQuality(const EvaluationReport& report, std::ostream& out);
/// One row a twentieth of the prediction, then one a segment.
void writeResiduals(const EvaluationReport& report, std::ostream& out);
/// One row an input.
void writeSensitivity(const EvaluationReport& report, std::ostream& out);
/// One page of HTML with pictures in it. It needs no script, no other file and no network.
void writePage(const EvaluationReport& report, std::ostream& out);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EVALUATION_REPORT_H
