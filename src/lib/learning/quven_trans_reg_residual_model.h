#ifndef QUVEN_TRANS_REG_RESIDUAL_MODEL_H
#define QUVEN_TRANS_REG_RESIDUAL_MODEL_H

#include <limits>

#include "learning/quven_feature_transform.h"
#include "learning/quven_forwarding_model.h"

/// A feature transform with its outputs and the score by which transforms are ranked.
class QUVENXformModelOutputPair : public QUVENObjectOf<QUVENXformModelOutputPair, QUVENModelOutputPair> {
 public:
  /// Of the evaluation records; smaller is better. NaN before the transform is trained.
  double getRankingScore() const { return ivRankingScore; }
  void setRankingScore(double score) { ivRankingScore = score; }
  const QUVENFeatureTransform& getTransform() const { return static_cast<const QUVENFeatureTransform&>(*getModel()); }
  QUVENFeatureTransform& getTransform() { return static_cast<QUVENFeatureTransform&>(*getModel()); }
  /// The prediction of the transform; null before the regression over the transforms has begun.
  QUVENField* getPrediction() const { return getTransform().getPredValField(); }

 private:
  QUVEN_MEMBER(ivRankingScore, double) = std::numeric_limits<double>::quiet_NaN();
};

/// The learner of a stage of transform regression: a feature transform for each explanatory input, and a stepwise
/// linear regression over their predictions.
///
/// Passes:   one per batch of transforms, then one for the regression. A batch ends early when the soft limit of the
///           environment is exceeded; the weakest half of the transforms of earlier batches gives way before.
/// Lifetime: owns its models; the name map, in which it makes their outputs, is borrowed.
class QUVENTransRegResidualModel : public QUVENObjectOf<QUVENTransRegResidualModel, QUVENForwardingModel> {
 public:
  using Transforms = QUVENXaRay<QUVENOwnPtr<QUVENXformModelOutputPair>, 0>;

  explicit QUVENTransRegResidualModel(const QUVENEnvHandle& env) : Members(env) {}

  /// Whether a field has bins or categories to be split by. An input without them gets no transform.
  static bool hasUsableDistribution(const QUVENField& field, const QUVENEnvHandle& env);

  /// After pruneInputs those whose prediction the regression uses.
  const Transforms& getTransforms() const { return ivXformFeatureVec; }
  /// Null before its pass.
  const QUVENLinRegModel* getRegression() const { return ivFeatureRegressionPtr.get(); }

  /// Weights each record of the regression by its own inverse-variance weight over m^2, m being the smallest standard
  /// deviation among the transforms. Off at first. Requires: no pass was begun.
  void setWeightedVariant(bool on) { weightedVariant = on; }

  /// Makes the outputs of the regression. Requires: its pass was begun.
  void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& outputNames,
                  const QUVENEnvHandle& env) override;

  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;

  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  /// Errors: a soft limit that the first transform exceeds is the terminating report 2202 of MemoryLimit.
  bool beginPass(const QUVENEnvHandle& env) override;
  /// Errors: as for beginPass.
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  bool hasNoSignal(const QUVENEnvHandle& env) const override { return answering(env).hasNoSignal(QUVEN_ENV); }
  /// Removes the transforms that the regression does not use, and the inputs that nothing uses.
  void pruneInputs(const QUVENEnvHandle& env) override;
  void finishScoring(const QUVENEnvHandle& env) override;
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// What transforms and regression use, without the outputs of the transforms.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 protected:
  /// The regression.
  const QUVENModel& answering(const QUVENEnvHandle& env) const override;

 private:
  enum State : std::int32_t { TrainsTransforms = 1, TrainsRegression = 2, Done = 3 };

  bool isWeighted() const { return weightedVariant || !invVarWeightOutput.getResultFields().isEmpty(); }
  QUVENXaRay<QUVENField*> contextFields(const QUVENEnvHandle& env) const;
  void rankTransforms(const QUVENEnvHandle& env);
  bool startBatch(const QUVENEnvHandle& env);
  void addTransform(const QUVENModelInput& input, const QUVENXaRay<QUVENField*>& context, const QUVENEnvHandle& env);
  void removeTransform(long index, const QUVENEnvHandle& env);
  void startRegression(const QUVENEnvHandle& env);
  void addRegressionInputs(const QUVENEnvHandle& env);
  bool endTransforms(std::int32_t lastPass, const QUVENEnvHandle& env);
  void setRecordWeight(std::int32_t channel, const QUVENEnvHandle& env);
  void learnTransforms(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void learnRegression(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void openBlock(const QUVENEnvHandle& env);
  void learnBlock(const QUVENEnvHandle& env);

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivXformFeatureVec, Transforms);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFeatureRegressionPtr, QUVENOwnPtr<QUVENLinRegModel>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults && isWeighted(), invVarWeightOutput, QUVENModelOutputs);
  QUVEN_MEMBER(ivStartingSuffix, std::int32_t) = 1;
  QUVEN_MEMBER(ivLastExplanatory, std::int32_t) = 0;
  QUVEN_MEMBER(ivResidState, std::int32_t) = TrainsTransforms;
  QUVEN_STATE(weightedVariant, bool) = false;
  // The records of a pass that the transforms have not learned yet. Empty between passes; not copied.
  QUVENRecordBlock block;
  std::vector<QUVENBlockOfTransform> partsOfBlock;  // parallel to ivXformFeatureVec
};

#endif  // QUVEN_TRANS_REG_RESIDUAL_MODEL_H
