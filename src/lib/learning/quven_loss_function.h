#ifndef QUVEN_LOSS_FUNCTION_H
#define QUVEN_LOSS_FUNCTION_H

#include "kernel/quven_model_outputs.h"

/// The loss of one stage of gradient boosting: it makes the pseudo-residuals that the residual models of the stage fit,
/// finds the size of the step, and gives the new prediction of the ensemble.
///
/// State:    as `State` says; the stage drives it by the enter functions, each of which calls the hooks of the class.
/// Channels: every value is per channel, 1..C; a field with one value serves every channel, and a field of texts is
///           0.0.
/// Lifetime: owns the fields that it makes, by way of the name map of the scan, which outlives it.
/// Errors:   a slot without a meaning here is "Program control should never reach this point".
/// Source:   J. H. Friedman, "Greedy function approximation: a gradient boosting machine", Annals of Statistics 29(5),
///           2001.
class QUVENLossFunction : public QUVENObjectOf<QUVENLossFunction, QUVENDataScan> {
 public:
  enum State : std::int32_t {
    NotBegun = 0,
    ResidualScan = 1,        ///< the residual models train on the pseudo-residuals
    ResidualModelsDone = 2,  ///< their outputs are bound
    StepSearch = 3,          ///< a pass of the step search is running
    StepKnown = 4,
    OutputsMade = 5,
    Predecessor = 6,  ///< a later stage is running, and reads the outputs of this one
    Ended = 7         ///< the values of this stage are final
  };
  enum LineSearchType : std::int32_t { NoLineSearch = 0, Newton = 1, MultiAlpha = 2 };
  using OutputsOfTargets = QUVENXaRay<QUVENModelOutputs, 0>;

  std::int32_t getState() const { return ivState; }
  std::int32_t getLineSearchType() const { return ivLineSearchType; }
  QUVENModelOutputs& getPseudoResiduals() { return pseudoResiduals; }
  const QUVENModelOutputs& getPseudoResiduals() const { return pseudoResiduals; }
  const QUVENModelOutputs& getInverseVarianceWeights() const { return inverseVarianceWeights; }
  /// What the residual model of each target predicts: index = target.
  OutputsOfTargets& getResidualModelOutputs() { return ivResidualModelOutputs; }
  const OutputsOfTargets& getResidualModelOutputs() const { return ivResidualModelOutputs; }
  QUVENModelOutputs& getCurrentUnnormalizedOutputs() { return currentUnnormalizedOutputs; }
  const QUVENModelOutputs& getCurrentUnnormalizedOutputs() const { return currentUnnormalizedOutputs; }

  // The states.

  void enterResidualScan(const QUVENEnvHandle& env);
  /// The predictions of the residual models gather their distribution from now on.
  /// Requires: the residual models have made their outputs in getResidualModelOutputs().
  void enterResidualModelsDone(const QUVENEnvHandle& env);
  /// Sets the line search to Newton and begins the step search. True: state 3, a pass is needed. False: state 4.
  bool enterStepSearch(const QUVENEnvHandle& env);
  /// Ends a pass of the step search. True: state 4. False: a further pass is needed.
  bool leaveStepSearch(const QUVENEnvHandle& env);
  /// Makes the outputs of each target: one of type 3 for each prediction of its residual model, one of type 7 for each
  /// standard deviation. Those of type 3 gather their distribution from now on.
  /// Their names end like those of the residuals.
  void enterOutputsMade(QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  /// A later stage runs: the outputs are computed for each record.
  void enterPredecessor(const QUVENEnvHandle& env);
  void enterEnded(const QUVENEnvHandle& env);

  /// None: the stage shows the records.
  UpdateFunction getUpdateFunction(const QUVENEnvHandle&) const override { return nullptr; }
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle&) const override { return nullptr; }
  /// In a pass of the step search.
  bool hasScanResult(const QUVENEnvHandle&) const override { return ivState == StepSearch; }

  // The slots of a class. Here each of them stops.

  virtual void initResidualScan(const QUVENEnvHandle& env);
  virtual void noteResidualModelDone(const QUVENEnvHandle& env);
  virtual void afterResidualModels(const QUVENEnvHandle& env);
  /// Whether a step is to be searched.
  virtual bool beginStepSearch(const QUVENEnvHandle& env);
  /// Whether the step is known.
  virtual bool endStepSearch(const QUVENEnvHandle& env);
  /// Adds the present record to what is summed for a channel, if the dealing of the step gives it the record.
  virtual void stepRecord(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env);
  virtual double getAlpha(long target, long channel) const;
  virtual void updatePredictionsAll(const QUVENEnvHandle& env);
  virtual void updatePredictionsOne(std::int32_t channel, const QUVENEnvHandle& env);
  /// Makes the outputs Predicted_ and StdDev_ of each target, which repeat the prediction of the ensemble.
  virtual void exportOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                             const QUVENEnvHandle& env);
  virtual void computeResidualsAll(const QUVENEnvHandle& env);
  virtual void computeResidualsOne(std::int32_t channel, const QUVENEnvHandle& env);

 protected:
  using Members::QUVENObjectOf;

  /// Begins a step search of a type. Requires: state 2, an assertion failure otherwise. The type goes back to none when
  /// beginStepSearch says that no step is to be searched.
  bool searchStep(LineSearchType type, const QUVENEnvHandle& env);
  /// After the outputs were added to currentUnnormalizedOutputs.
  virtual void noteOutputsMade(const QUVENEnvHandle& env);
  /// Makes an output with room for a value of each channel.
  QUVENField* makeOutput(QUVENModelOutputs& outputs, QUVENField* target, QUVENOutputType type, std::string_view suffix,
                         QUVENFieldNameMap& names, const QUVENEnvHandle& env) const;

 private:
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, pseudoResiduals, QUVENModelOutputs);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, inverseVarianceWeights, QUVENModelOutputs);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivResidualModelOutputs, OutputsOfTargets);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, currentUnnormalizedOutputs, QUVENModelOutputs);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivState, std::int32_t) = NotBegun;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLineSearchType, std::int32_t) = NoLineSearch;
};

#endif  // QUVEN_LOSS_FUNCTION_H
