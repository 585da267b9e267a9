#ifndef QUVEN_FEATURE_TRANSFORM_H
#define QUVEN_FEATURE_TRANSFORM_H

#include <vector>

#include "learning/quven_lin_reg_model.h"
#include "learning/quven_record_block.h"
#include "learning/quven_split_test.h"

/// Settings that all feature transforms of an environment share: what they do with records of segments that had no
/// usable training data. No stream carries them.
class QUVENTransformGlobalVars : public QUVENObjectOf<QUVENTransformGlobalVars, QUVENObject> {
 public:
  static QUVENTransformGlobalVars& get(const QUVENEnvHandle& env);

  /// Whether the root scores a record of the missing segment when that segment had no usable data. Off at first.
  void setUnseenFromRoot(bool fromRoot) { unseenFromRoot = fromRoot; }
  bool isUnseenFromRoot() const { return unseenFromRoot; }
  /// Counts, by channel, the transforms whose segment of the record had no usable data. It is a computed field, cleared
  /// before each record; a value that is absent or NaN is a count of 0. Null, as at first: nothing is counted.
  void setWarningField(QUVENField* field) { warningField = field; }
  QUVENField* getWarningField() const { return warningField; }

 private:
  QUVEN_STATE(unseenFromRoot, bool) = false;
  QUVEN_STATE(warningField, QUVENField*) = nullptr;
};

/// A piecewise model of the target over the values of one field: a linear regression for each segment of them.
///
/// The field is cut into fine segments, each of which gets a QUVENLinRegModel in one pass. Then the segments are merged
/// bottom-up without further data, neighbours only for a numeric field, as far as the folds of the cross-validation
/// favour it (QUVENTransformTree). A root model over all records is trained beside them.
///
/// Shapes:   segments run 1..getNumSegments(), in no particular order after the training; describeSegments has the
///           order of the axis.
/// Values:   a value of the field that is missing or NaN is of the missing segment, which is never merged. A segment
///           without usable data predicts what its few records say, 0.0 without any.
/// Modes:    1 and 8. Errors: 2..7, 9 and 10 are "Function/Feature not yet implemented", any other number "Invalid
///           model state".
/// Requires: the field has its distribution before the pass; without one it is a single segment.
/// Memory:   the least squares data of a regression for each initial segment and each merge, until the training ends.
/// Lifetime: owns its models; fields are referred to.
class QUVENFeatureTransform : public QUVENObjectOf<QUVENFeatureTransform, QUVENModel> {
 public:
  explicit QUVENFeatureTransform(const QUVENEnvHandle& env) : Members(env) {}

  /// The field that is transformed. It is a regression input as well only if it is added as one.
  void setSplitField(QUVENField* field) { ivSplitFieldPtr = field; }
  QUVENField* getSplitField() const { return ivSplitFieldPtr; }
  /// Makes the outputs Predicted_ and StdDev_ of the first target, into which the model of the segment writes.
  /// Requires: a target was added.
  void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                  const QUVENEnvHandle& env) override;
  /// Writes into fields that another object made; null for none.
  void setOutputFields(QUVENField* prediction, QUVENField* stdDev);
  QUVENField* getPredValField() const { return predValField; }
  QUVENField* getPredValStdDevField() const { return predValStdDevField; }

  /// Starts the scans of the root, in mode 1, and of the segments, in the given mode with the root as reference. True
  /// when segments are scanning.
  bool beginBottomUpTraining(std::int32_t mode, const QUVENEnvHandle& env);

  // Null before the training.
  const QUVENLinRegModel* getRoot() const { return ivRootModelPtr.get(); }
  const QUVENSplitTest* getSplitTest() const { return ivSplitTestPtr.get(); }
  long getNumSegments() const { return ivSegmentModelVec.getSize(); }
  const QUVENLinRegModel& getSegmentModel(long segment) const {
    return segmentModel(static_cast<std::int32_t>(segment));
  }
  /// How many segments the last training began with; 0 after a stream.
  std::int32_t getNumInitialSegments() const { return numInitialSegments; }
  /// The segments in the order of the axis. Requires: a trained model.
  std::vector<QUVENSegmentDescription> describeSegments(const QUVENEnvHandle& env) const;

  /// Shows the present record to all channels.
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env);
  // The form for blocks of records, for transforms whose inputs beside their own field are the variables of a block.

  /// Looks up what the transform has of the present record, which is number `record` of the block.
  void addToBlock(QUVENBlockOfTransform& part, long record, const QUVENEnvHandle& env) const;
  /// Shows the records of a block, in their order, to all channels.
  void learnBlock(const QUVENRecordBlock& block, const QUVENBlockOfTransform& part, const QUVENEnvHandle& env);

  /// Shows the present record to one channel: the batch form.
  void learnChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env);
  void setBatchChannel(std::int32_t channel) { batchChannel = channel; }

  /// Errors: a stream with another number of models than segments is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;

  /// None of its own: those of the root and the segments.
  bool hasScanResult(const QUVENEnvHandle&) const override { return false; }
  bool changesOnlyItsResults() const override { return true; }
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;

  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  /// Shows a record to the channel of setBatchChannel.
  UpdateFunction batchHandler(const QUVENEnvHandle& env) const override;
  void prepareInput(const QUVENEnvHandle&) override {}
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
  bool beginPass(const QUVENEnvHandle& env) override;
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  /// Whether a segment has.
  bool hasUsableData(const QUVENEnvHandle& env) const override;
  /// The smallest of the segments, 0.0 without one.
  double getVolume(const QUVENEnvHandle& env) const override;
  /// One candidate, triple by triple the sum over the segments.
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override;
  /// The sum over the segments.
  double getScore(int which, const QUVENEnvHandle& env) const override;
  double getScoreVariance(int which, const QUVENEnvHandle& env) const override;
  /// Of the segments with a variance of the train score: whether there is at most one, and it has no signal.
  bool hasNoSignal(const QUVENEnvHandle& env) const override;
  void selectBest(long, const QUVENEnvHandle&) override {}
  /// Removes the inputs that root, segments and the split do not use. Does nothing before the training.
  void pruneInputs(const QUVENEnvHandle& env) override;
  void finishScoring(const QUVENEnvHandle& env) override;
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// The split field, and what root and segments use; all explanatory inputs before the training.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 protected:
  /// Makes the root model, without inputs. The segments are clones of it.
  virtual void makeRootModel(QUVENOwnPtr<QUVENLinRegModel>& result, const QUVENEnvHandle& env) const;

 private:
  using SegmentModels = QUVENXaRay<QUVENOwnPtr<QUVENLinRegModel>, 0>;

  bool isLearning() const;
  // Errors: a part that a damaged stream has left out is an assertion failure.
  const QUVENSplitTest& splitTest() const;
  QUVENLinRegModel& rootModel() const;
  QUVENLinRegModel& segmentModel(std::int32_t segment) const;
  /// Calls an action with the root and each segment, in this order.
  template <class Action>
  void forRootAndSegments(Action action) const;
  /// The sum of a number over the segments.
  template <class Number>
  double sumOverSegments(Number number) const;
  void releaseModels(const QUVENEnvHandle& env);
  void mergeSegments(const QUVENEnvHandle& env);
  void findUnusableSegments(const QUVENEnvHandle& env);
  long scorerOf(std::int32_t segment, std::int32_t channel, const QUVENEnvHandle& env);
  QUVENChannelScorer& getScorer();
  void learnBatch(QUVENDataPoint& point, const QUVENEnvHandle& env);

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSplitFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSplitTestPtr, QUVENOwnPtr<QUVENSplitTest>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivRootModelPtr, QUVENOwnPtr<QUVENLinRegModel>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivSegmentModelVec, SegmentModels);

  QUVEN_STATE(predValField, QUVENField*) = nullptr;
  QUVEN_STATE(predValStdDevField, QUVENField*) = nullptr;
  QUVEN_STATE(numInitialSegments, std::int32_t) = 0;
  QUVEN_STATE(isUnusable, QUVENXaRay<bool>);     // by segment
  QUVEN_STATE(blockRecord, QUVENXaRay<double>);  // the variables of a record of a block
  /// Of the segments and, after them, the root; empty until a record is scored. Not copied.
  QUVENChannelScorer scorer;
  QUVEN_STATE(batchChannel, std::int32_t) = 1;
};

#endif  // QUVEN_FEATURE_TRANSFORM_H
