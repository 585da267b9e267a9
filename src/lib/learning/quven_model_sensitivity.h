#ifndef QUVEN_MODEL_SENSITIVITY_H
#define QUVEN_MODEL_SENSITIVITY_H

#include <functional>
#include <vector>

#include "kernel/quven_model.h"

/// How much the prediction of a model depends on each input: the mean square of its change when the input's value is
/// replaced by one drawn from the distribution of the input.
///
/// The draw of a field depends only on its name and on the index of the record. Of two inputs with the same information
/// the model may use either, so they share the sensitivity or one of them has all of it. The scan leaves the record and
/// the results of the model unchanged. A record whose prediction is not finite adds to no field; a change that is not
/// finite is not added to its field.
/// Shapes:   fields run 1..getFields().getSize(), in the order of setFields.
/// Units:    during the pass the mean of squared changes; after the pass, if isNormalized, shares of their sum.
/// Cost:     per record one scoring for each field that the model reads, and one more at the end. Each scoring starts
///           at the first step of the model that reads the field.
class QUVENModelSensitivity : public QUVENObjectOf<QUVENModelSensitivity, QUVENMultiScan> {
 public:
  using AfterScoring = std::function<void(const QUVENEnvHandle& env)>;

  explicit QUVENModelSensitivity(const QUVENEnvHandle& env) : Members(env) {}

  /// The inputs, in the order of the results. The fields are borrowed.
  void setFields(const std::vector<QUVENField*>& fields, const QUVENEnvHandle& env);
  /// Sets what is not in the stream; must be called for each copy of the scan. All objects are borrowed.
  /// scoredModel: a trained model that has scored the record on channel 1 before the scan sees it. scoredPrediction:
  /// the field that is read after each scoring. afterScoringAction: called after each scoring by this scan, to set
  /// fields that are computed from those of the model; may be null. indexField: its integer value is the index for the
  /// draws; if it is null or has no value, the index is the record id of the data point.
  void setScoring(QUVENModel& scoredModel, const QUVENField& scoredPrediction, AfterScoring afterScoringAction,
                  QUVENField* indexField);

  const QUVENXaRay<QUVENField*>& getFields() const { return ivSenstFields; }
  // Requires: 1 <= field <= getFields().getSize(), an assertion failure otherwise.
  double getSensitivity(long field) const { return ivSenstValVec.at(field); }
  /// The number of records that the sensitivity was computed from.
  double getPoints(long field) const { return ivSenstPoints.at(field); }
  /// Whether the last pass ended with a sum above 0, so that the sensitivities are shares of it.
  bool isNormalized() const { return normalized; }

  void destroyPrimitive(const QUVENEnvHandle& env) override;
  /// Requires: setScoring.
  void beginRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanInProgress(); }
  bool changesOnlyItsResults() const override { return true; }
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  int beginDataScanPrimitive(const QUVENEnvHandle&) override { return 1; }
  /// Errors: a sum that is not above 0 gives the report 3418, which does not end the run.
  int endDataScanPrimitive(const QUVENEnvHandle& env) override;

 private:
  struct Replacement {
    long field;
    long firstStep;  ///< the first step of the model that reads the field
  };

  void observe(QUVENDataPoint& point, const QUVENEnvHandle& env);
  std::uint32_t indexOf(const QUVENDataPoint& point, const QUVENEnvHandle& env) const;
  double getPrediction() const;
  void scoreFrom(long step, QUVENDataPoint& point, const QUVENEnvHandle& env);
  void add(long field, double change);

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSenstFields, QUVENXaRay<QUVENField*>);
  QUVEN_MEMBER(ivSenstValVec, QUVENXaRay<double>);
  QUVEN_MEMBER(ivSenstPoints, QUVENXaRay<double>);
  QUVEN_STATE(normalized, bool) = false;
  // Set by setScoring; not copied.
  QUVENModel* model = nullptr;
  const QUVENField* prediction = nullptr;
  AfterScoring afterScoring;
  QUVENField* sampleField = nullptr;
  // Used during a pass; not copied.
  std::vector<Replacement> replacements;  // in descending order of their first steps
  QUVENFieldValue savedValue;
};

#endif  // QUVEN_MODEL_SENSITIVITY_H
