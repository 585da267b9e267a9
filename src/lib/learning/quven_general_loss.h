#ifndef QUVEN_GENERAL_LOSS_H
#define QUVEN_GENERAL_LOSS_H

#include "kernel/quven_model.h"
#include "learning/quven_loss_function.h"

/// A loss over numeric targets, with the two searches of the step. A class below it says what the residual of a record
/// is, and what a record adds to a search.
///
/// With y the target, F the prediction of the stage before and r that of the residual model, the new prediction is
/// F + alpha r, and r alone in the first stage, which searches no step.
/// Shapes:   the vectors of fields run over the targets, 1..T; alpha, gradient and Hessian over the channels, 1..C; all
///           targets share one alpha per channel.
/// Units:    a record whose target is missing or NaN has missing residuals, and adds nothing to a search. The searches
///           know no weights.
/// Dealing:  a record of channel k is summed for channel c when c <= 2 and k >= c, or c > 2 and k > c.
/// Errors:   a slot that a class must give and does not is "Function/Feature not yet implemented".
class QUVENGeneralLoss : public QUVENObjectOf<QUVENGeneralLoss, QUVENLossFunction> {
 public:
  using Fields = QUVENXaRay<QUVENField*>;
  using Channels = QUVENXaRay<double>;

  explicit QUVENGeneralLoss(const QUVENEnvHandle& env) : Members(env) {}

  /// Makes the loss of an id: 1 squared, 2 logistic, 3 Poisson, 4 support vector, 5 logistic link, 6 Poisson link; any
  /// other is squared.
  static void create(QUVENOwnPtr<QUVENGeneralLoss>& result, std::int32_t lossId, const QUVENEnvHandle& env);
  /// The id of a name: "Logistic", "Poisson", "SupportVector", "LogisticLink", "PoissonLink"; any other is 1.
  static std::int32_t idOf(std::string_view name);
  /// Whether a loss has this name: those of idOf, and "Squared".
  static bool isName(std::string_view name);

  /// Binds the loss of the first stage to its targets, and makes their residual fields, Residual_<target>_<suffix>.
  void openFirst(const QUVENModel::Inputs& targets, QUVENField* invVarWeight, std::string_view suffix,
                 QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  /// Binds the loss of a later stage to the targets and outputs of the loss of the stage before it.
  void openNext(const QUVENGeneralLoss& previous, std::string_view suffix, QUVENFieldNameMap& names,
                const QUVENEnvHandle& env);

  long getNumTargets() const { return ivTargets.getSize(); }
  const Fields& getTargets() const { return ivTargets; }
  /// Empty in the first stage.
  const Fields& getPreviousPredictedValues() const { return ivPreviousPredictedValues; }
  const Fields& getResiduals() const { return ivResiduals; }
  /// The inverse variance weight of each target, which is that of the model; empty without one.
  const Fields& getInvVarFields() const { return ivInvVarFields; }
  const Fields& getResidualPredictions() const { return ivResidualPredictions; }
  /// The prediction of the ensemble for each target, type 3. Empty before state 5.
  const Fields& getCurrentPredictedValues() const { return ivCurrentPredictedValues; }
  bool isFirstStage() const { return ivPreviousPredictedValues.isEmpty(); }
  const Channels& getGradient() const { return ivNegGradVector; }
  const Channels& getHessian() const { return ivHessianVector; }
  const Channels& getAlphas() const { return ivAlphaVector; }
  /// The losses of the steps of the other search: trial m is the step m/2. Empty outside of that search.
  const QUVENXaRay<Channels, 0>& getTrials() const { return ivMultiAlpha; }
  /// Begins the pass of the other search. Requires: a stage that is not the first, in state 2.
  void beginMultiAlpha(const QUVENEnvHandle& env);

  /// The mean loss of a record as reports give it: squared (y - F)^2, logistic log(1 + exp(-2 y F)) with a class 0 as
  /// -1, Poisson exp(F) - y F, support vector max(0, 1 - y F).
  virtual double getReportedLoss(double target, double prediction) const;
  /// What the prediction of a target by the first stage becomes before it is F: itself, but for a loss with a link.
  /// Requires: 1 <= target <= getNumTargets().
  virtual double applyLinkOf(long /*target*/, double prediction) const { return prediction; }
  /// The same for the first target.
  double applyLink(double prediction) const { return applyLinkOf(1, prediction); }
  /// The fields of earlier stages that the loss reads.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const;

  void initResidualScan(const QUVENEnvHandle& env) override;
  void noteResidualModelDone(const QUVENEnvHandle& env) override;
  void afterResidualModels(const QUVENEnvHandle& env) override;
  bool beginStepSearch(const QUVENEnvHandle& env) override;
  bool endStepSearch(const QUVENEnvHandle& env) override;
  void stepRecord(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// 1.0 unless the line search type is 1 or 2.
  double getAlpha(long target, long channel) const override;
  void updatePredictionsAll(const QUVENEnvHandle& env) override;
  void updatePredictionsOne(std::int32_t channel, const QUVENEnvHandle& env) override;
  void exportOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                     const QUVENEnvHandle& env) override;
  void computeResidualsAll(const QUVENEnvHandle& env) override;
  void computeResidualsOne(std::int32_t channel, const QUVENEnvHandle& env) override;

  void beginRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 protected:
  void noteOutputsMade(const QUVENEnvHandle& env) override;
  /// After a first stage was bound to its targets, whose distributions are known.
  virtual void noteTargetsBound(const QUVENEnvHandle& env);

  // What a class below gives, and getReportedLoss. All stop here.

  /// The pseudo-residual of a stage after the first.
  virtual double residualOf(double target, double prediction, const QUVENEnvHandle& env) const;
  /// What a record adds to gradient and Hessian. step: x a + p, the prediction with the present alpha.
  virtual void addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                             const QUVENEnvHandle& env) const;
  /// The loss of a record at a prediction, as the multi-alpha search compares it.
  virtual double trialLoss(double target, double prediction, const QUVENEnvHandle& env) const;

 private:
  bool hasGathered() const {
    return getState() == StepSearch || (getState() == NotBegun && !ivNegGradVector.isEmpty());
  }
  void makeResiduals(std::string_view suffix, QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  void bindStdDevs(const QUVENEnvHandle& env);
  void clearGathered();
  void computeResidual(long target, long firstChannel, long lastChannel, const QUVENEnvHandle& env);
  void updatePredictions(long firstChannel, long lastChannel, const QUVENEnvHandle& env);
  void beginNewton();
  bool endNewton();
  void endMultiAlpha(const QUVENEnvHandle& env);
  void checkFields() const;
  void checkChannels() const;

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTargets, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPreviousPredictedValues, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivResiduals, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivInvVarFields, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivResidualPredictions, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivResidualStdDevs, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivCurrentPredictedValues, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFinalPredictedValues, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFinalStandardDeviations, Fields);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivInvVarPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults || hasGathered(), ivNegGradVector, Channels);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults || hasGathered(), ivHessianVector, Channels);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivAlphaVector, Channels);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults || hasGathered(), ivMultiAlpha, QUVENXaRay<Channels, 0>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivMultiAlphaStepSize, double) = 0.5;

  // Of the Newton search.
  QUVEN_STATE(iterationCounter, std::int32_t) = 1;
  QUVEN_STATE(maxIterations, std::int32_t) = 1;
  QUVEN_STATE(convergenceTolerance, double) = 1e-10;
  QUVEN_STATE(currentStdDevs, Fields);  // the outputs of type 7, null where a target has none
};

#endif  // QUVEN_GENERAL_LOSS_H
