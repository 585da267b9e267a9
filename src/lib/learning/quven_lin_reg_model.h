#ifndef QUVEN_LIN_REG_MODEL_H
#define QUVEN_LIN_REG_MODEL_H

#include "kernel/quven_model.h"
#include "kernel/quven_model_outputs.h"
#include "learning/quven_channel_scorer.h"
#include "learning/quven_fold_dealing.h"
#include "learning/quven_ls_data.h"
#include "learning/quven_ls_model.h"

class QUVENXMLTag;

/// Stepwise linear regression of the first target on the numeric inputs of usage 2, 3 and 4, cross-validated over
/// channels: one pass gathers least squares data for each channel, then every channel gets the path of models from rank
/// 0 upward, and one rank is chosen for all.
///
/// Channels: the records of channel 1 train no channel: they are the test. Those of channel 2 train channel 1 only:
///           they are held out. Channels 3..C are the folds of the cross-validation. A model needs C >= 3 to be usable.
/// Shapes:   variables run 1..n: the explanatory inputs in their order, then the target. Channels run 1..C.
/// Values:   a missing explanatory value, and one that is not a number, is 0.0. A record whose target is missing, or is
///           not a number in a channel, does not count there. A missing weight is 0.0.
/// Memory:   2 C least squares data of n variables until releaseStatistics; nothing for a record.
/// Errors:   "Invalid Model State" for a mode outside 1..9 and for a pass in a state that gathers nothing.
/// Source:   the rule of one minimum over folds: Hastie, Tibshirani and Friedman, The Elements of Statistical Learning,
///           2nd ed., 7.10.
class QUVENLinRegModel : public QUVENObjectOf<QUVENLinRegModel, QUVENModel> {
 public:
  explicit QUVENLinRegModel(const QUVENEnvHandle& env) : Members(env) {}

  /// Makes the outputs Predicted_ and StdDev_ of the first target. Requires: a target was added.
  void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                  const QUVENEnvHandle& env) override;
  /// Writes into fields that another model made; null for none.
  void setOutputFields(QUVENField* prediction, QUVENField* stdDev);
  QUVENField* getPredValField() const { return ivPredValFieldPtr; }
  QUVENField* getPredValStdDevField() const { return ivPredValStdDevFieldPtr; }

  // The records of a pass. When each field has one value in a record, only the eval data of the record's channel gets
  // it, and the train data follow by merging: one update instead of C.

  /// Shows the present record to all channels.
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Shows the present record to one channel: the batch form.
  void learnChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Whether each field that the model reads has one value in the present record.
  bool hasOneValueNow() const;
  /// learn, for a record of which hasOneValueNow is known. Requires: isOneValued().
  void learnOneValued(QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Looks the values of the present record up for all channels; false when the target is missing.
  bool lookUpRecord(const QUVENEnvHandle& env);
  /// Shows the record that a model of the same inputs has looked up to all channels.
  void learnLookedUp(QUVENLinRegModel& source, std::int32_t recordChannel, const QUVENEnvHandle& env);
  /// Adds a record that was looked up, for one channel. Shapes: as many values as variables, the target last.
  /// Requires: leaveOneValued, and a target that is a number.
  void addRecord(std::int32_t channel, bool isOwnRecord, const QUVENXaRay<double>& record, double caseWeight,
                 double invVarWeight) {
    QUVENLSData& data = isOwnRecord ? ivEvalChannels[channel] : ivTrnChannels[channel];
    data.addDataPoint(record, caseWeight, invVarWeight);
  }
  /// Whether the records of a channel train another one.
  static bool trains(std::int32_t recordChannel, std::int32_t channel) {
    if (channel == TestChannel) return true;
    return recordChannel != TestChannel && (channel == HeldOutChannel || recordChannel != HeldOutChannel);
  }
  /// Whether all records of the pass so far had one value in each field. The train data are empty then.
  bool isOneValued() const { return oneValued; }
  /// Adds the records of another model of the same inputs. Requires: the pass of both has ended, or isOneValued() is
  /// false; an assertion failure otherwise.
  void mergeGathered(const QUVENLinRegModel& other, const QUVENEnvHandle& env);
  /// From now on train data are gathered as well: what is not one-valued may follow.
  void leaveOneValued(const QUVENEnvHandle& env);

  /// Adds the selected models to a scorer as its next segment. Errors: no selected model is an assertion failure.
  void addTo(QUVENChannelScorer& channelScorer) const;

  /// A model with the same inputs, gathered data, state, degrees of freedom and outputs, for a merge that is tried. It
  /// has no models yet: mergeModel makes them.
  void cloneGathered(QUVENOwnPtr<QUVENLinRegModel>& result, const QUVENEnvHandle& env) const;
  /// Drops what only another merge or selection would need. Counts, scores and the selected models stay.
  /// Requires: a selected model.
  void releaseStatistics(const QUVENEnvHandle& env);

  /// The fields of the selected models, in the order of their coefficients.
  const QUVENXaRay<QUVENField*>& getInputFields() const { return ivInputFields; }
  /// Null before the selection.
  const QUVENLSModel* getSelectedModel(long channel) const;
  const QUVENXaRay<QUVENLSData, 0>& getEvalChannels() const { return ivEvalChannels; }
  const QUVENXaRay<QUVENLSData, 0>& getTrnChannels() const { return ivTrnChannels; }
  const QUVENXaRay<QUVENLSResults, 0>& getResultsChannels() const { return ivResultsChannels; }

  /// Describes inputs, run and the model of channel 1. Requires: a selected model.
  void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const;

  /// Errors: a stream in which a selected model does not have the input fields of the regression is an assertion
  /// failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;

  void beginRecords(const QUVENEnvHandle& env) override;
  void endRecords(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return isScanning(); }
  bool changesOnlyItsResults() const override { return true; }

  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  /// Shows a record to the channel of setBatchChannel.
  UpdateFunction batchHandler(const QUVENEnvHandle& env) const override;
  void setBatchChannel(std::int32_t channel) { batchChannel = channel; }

  void clearInputs(const QUVENEnvHandle& env) override;
  void prepareInput(const QUVENEnvHandle&) override {}
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
  bool beginPass(const QUVENEnvHandle& env) override;
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  /// Selects again, on the merged data.
  void refitMerged(const QUVENEnvHandle& env) override;
  bool hasUsableData(const QUVENEnvHandle& env) const override;
  double getVolume(const QUVENEnvHandle& env) const override;
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override;
  /// Errors: "ivResultsChannels.getSize() == numChannels"; no selected model is an assertion failure as well.
  double getScore(int which, const QUVENEnvHandle& env) const override;
  double getScoreVariance(int which, const QUVENEnvHandle& env) const override;
  /// Whether the selected model has no input, or there is none.
  bool hasNoSignal(const QUVENEnvHandle& env) const override;
  void selectBest(long index, const QUVENEnvHandle& env) override;
  void pruneInputs(const QUVENEnvHandle& env) override;
  void finishScoring(const QUVENEnvHandle&) override {}
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// Errors: no selected model is an assertion failure.
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// The inputs of the selected models; all explanatory ones before the selection.
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 private:
  using Channels = QUVENXaRay<QUVENLSData, 0>;

  static constexpr std::int32_t TestChannel = QUVENFoldDealing::TestChannel;
  static constexpr std::int32_t HeldOutChannel = QUVENFoldDealing::HeldOutChannel;
  static constexpr std::int32_t FirstFold = QUVENFoldDealing::FirstFold;

  long getNumVariables() const { return getExplanatoryFields().getSize() + getTargetFields().getSize(); }
  bool isGathering() const;
  /// Whether its channels are the result of a pass: while it scans, and in an object read from a stream of results,
  /// which carries no state.
  bool hasGathered() const { return isScanning() || (getModelState() == 0 && !ivEvalChannels.isEmpty()); }
  /// A worker gathers anew in each pass, so what was gathered does not go out.
  bool writesChannels(std::int32_t writerMode) const {
    if (writerMode == QUVENObjWriter::ScanResults) return hasGathered();
    return writerMode != QUVENObjWriter::SaveForWorker || !isGathering();
  }
  std::int32_t getRecordChannel(const QUVENDataPoint& point) const;
  void allocateChannels(const QUVENEnvHandle& env);
  void bindVariables(const QUVENEnvHandle& env);
  bool collectValues(long channel);
  double getWeight(const QUVENField* field, long channel) const;
  void deriveTrain(const QUVENEnvHandle& env);
  void learnBatch(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void selectModels(const QUVENEnvHandle& env);
  QUVENChannelScorer& getScorer();
  double scoreOf(int which, double QUVENLSFit::*part, const QUVENEnvHandle& env) const;

  QUVEN_MEMBER_IF(writesChannels(writerMode), ivEvalChannels, Channels);
  QUVEN_MEMBER_IF(writesChannels(writerMode), ivTrnChannels, Channels);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivResultsChannels, QUVENXaRay<QUVENLSResults, 0>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivInputFields, QUVENXaRay<QUVENField*>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPredValFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivPredValStdDevFieldPtr, QUVENField*) = nullptr;

  QUVEN_STATE(values, QUVENXaRay<double>);          // of one record, explanatory ones first, the target last
  QUVEN_STATE(variables, QUVENXaRay<QUVENField*>);  // their fields, null for what counts as 0.0; bound by a pass
  QUVEN_STATE(oneValued, bool) = true;
  QUVEN_STATE(batchChannel, std::int32_t) = TestChannel;
  QUVEN_STATE(sources, QUVENXaRay<const double*>);  // of a record: the values of each variable by channel
  QUVEN_STATE(rows, QUVENXaRay<double>);            // room for the values of a record by channel
  QUVENChannelScorer scorer;  // of the selected models, empty until a record is scored; not copied
};

#endif  // QUVEN_LIN_REG_MODEL_H
