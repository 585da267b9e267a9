#ifndef VESK_ANALYZE_EVALUATION_REPORT_H
#define VESK_ANALYZE_EVALUATION_REPORT_H

// The contents of the files of an evaluation, independent of the classes of models and scans.

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
  double cumActual = 0;  ///< sum of the actual values, computed as predictions plus errors
  double lift = 0;  ///< mean actual value of the bins up to this one, divided by that of all records; NaN if that is 0
  double z = 0;
};

/// The errors of a group of records.
struct ResidualRow {
  std::string field;              ///< empty for a twentieth of the prediction
  DescribedSegment segment = {};  ///< only kind, from, to and categories are set
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
  double smallest = 0;  ///< smallest value in the training; numeric fields only
  double largest = 0;
};

/// One evaluation of a model.
struct EvaluationReport {
  std::string modelFile;
  std::string modelKind;
  std::string dataset;
  std::string trainedOn;  ///< name of the table
  std::string target;
  std::string loss;           ///< its name in the parameter file of the training
  std::string chosenRecords;  ///< All, Test or HeldOut
  bool isOfTwoClasses = false;
  double numRecords = 0;  ///< with a target and a finite prediction; every table is about these
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
  std::string sensitivityRemark = {};              ///< why there are none, or how many records were used
  std::vector<SensitivityRow> sensitivities = {};  ///< the largest first; of equal ones the earlier input
  std::vector<DescribedStage> stages = {};         ///< rank, alphas and transforms are set
  std::vector<std::string> warnings = {};
};

/// One row per bin, largest predictions first.
void writeLift(const EvaluationReport& report, std::ostream& out);
/// One row per number.
void writeQuality(const EvaluationReport& report, std::ostream& out);
/// One row per twentieth of the prediction, then one per segment.
void writeResiduals(const EvaluationReport& report, std::ostream& out);
/// One row per input.
void writeSensitivity(const EvaluationReport& report, std::ostream& out);
/// One page of HTML with pictures in it. It needs no script, no other file and no network.
void writePage(const EvaluationReport& report, std::ostream& out);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EVALUATION_REPORT_H
