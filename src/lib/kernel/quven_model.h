#ifndef QUVEN_MODEL_H
#define QUVEN_MODEL_H

// The base of everything that learns from a data scan.

#include "kernel/quven_data_scan.h"
#include "kernel/quven_model_input.h"
#include "kernel/quven_model_scores.h"

class QUVENModelOutputs;

/// Inputs with their usage, a mining mode with its scans, and the choice of the best candidate after training.
///
/// State:    0 without a mode; m for mode m (1..10) chosen; 100 + m scanning in it; -m trained in it.
/// Shapes:   inputs run 1..n in the order in which they were added.
/// Errors:   a broken protocol is a fatal report: "Invalid model state", "Invalid model input field usage type".
/// Lifetime: fields and the reference model are referred to, not owned.
class QUVENModel : public QUVENObjectOf<QUVENModel, QUVENDataScan> {
 public:
  enum MiningMode : std::int32_t { BestModelTrainDataOnly = 1, TrainForMerging = 2 };

  using Inputs = QUVENXaRay<QUVENModelInput, 0>;

  /// Files a field by its usage. A case weight or an inverse variance weight replaces an earlier one.
  void addInput(QUVENField* field, std::int32_t usage, const QUVENEnvHandle& env);
  /// Requires: 1 <= index <= getExplanatoryFields().getSize(), an assertion failure otherwise.
  void removeExplanatory(long index, const QUVENEnvHandle& env);

  /// Sets the mode if the model has it, with the inputs of a reference model and one more input where they are given.
  /// Each input that is copied or added ends with a call of noteInputAdded. Returns whether the model has the mode.
  bool setMiningMode(std::int32_t mode, QUVENModel* refModelPtr, const QUVENModelInput* extraInput,
                     const QUVENEnvHandle& env);
  bool setMiningMode(std::int32_t mode, QUVENModel* refModelPtr, const QUVENEnvHandle& env) {
    return setMiningMode(mode, refModelPtr, nullptr, env);
  }

  /// True when the model is scanning now.
  /// Errors: without a mode "Invalid model state", after the answer of beginPass, which may have words of its own.
  bool beginDataScan(const QUVENEnvHandle& env);
  /// True when the model has finished.
  bool endDataScan(std::int32_t lastPass, const QUVENEnvHandle& env);

  /// A new model of the same class with these inputs, and nothing learned. Its noteInputAdded is called for each input.
  void clone(QUVENOwnPtr<QUVENModel>& result, const QUVENEnvHandle& env) const;
  /// The reduction step of bottom-up training: 1 when the other model was merged, and this one refitted. 0 when they
  /// differ in the explanatory inputs or the degrees of freedom, or when the class cannot merge them: all inputs are
  /// cleared then, and the explanatory ones of the other are taken over, last first; mode and the smaller number of
  /// degrees stay.
  int mergeModel(QUVENModel* other, const QUVENEnvHandle& env);
  /// Removes the explanatory inputs that the model does not use.
  void pruneUnusedInputs(const QUVENEnvHandle& env);
  /// Chooses a candidate by triple 1 or 2: the one with the smallest criterion, the lowest index of equal ones.
  void selectBestModel(int selector, const QUVENEnvHandle& env);

  std::int32_t getModelState() const { return ivModelState; }
  bool isScanning() const { return ivModelState > ScanningBase; }
  std::int32_t getMiningMode(const QUVENEnvHandle& env) const;
  const Inputs& getTargetFields() const { return ivTargetFields; }
  const Inputs& getExplanatoryFields() const { return ivExplanatoryFields; }
  QUVENField* getCaseWeightField() const { return ivCaseWeightFieldPtr; }
  QUVENField* getInvVarWeightField() const { return ivInvVarWeightFieldPtr; }
  std::int32_t getNumAddDegreesOfFreedom() const { return ivNumAddDegreesOfFreedom; }
  void setNumAddDegreesOfFreedom(std::int32_t number) { ivNumAddDegreesOfFreedom = number; }
  QUVENModel* getReferenceModel() const { return referenceModel; }

  /// 1-based positions of a field, 0 without one.
  long findTarget(const QUVENField* field) const;
  long findExplanatory(const QUVENField* field) const;
  long findExplanatory(const QUVENField* field, std::int32_t usage) const;

  /// Prints how many explanatory inputs the source gives, and how many it had itself.
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  /// Prints the same counts; then the refusal of every scan follows.
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;

  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override { return recordHandler(env); }
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle& env) const override { return batchHandler(env); }

  /// What the present state does with a record and with a batch; null for nothing.
  virtual UpdateFunction recordHandler(const QUVENEnvHandle& env) const;
  virtual UpdateFunction batchHandler(const QUVENEnvHandle& env) const;
  // Hooks that do nothing here.
  virtual void noteModeChosen(const QUVENEnvHandle& env);
  virtual void noteScanBegun(const QUVENEnvHandle& env);
  virtual void noteScanEnded(const QUVENEnvHandle& env);
  /// Called by mergeModel between merge and the choice of the best candidate: what follows from the gathered data is
  /// made anew here.
  virtual void refitMerged(const QUVENEnvHandle& env);
  virtual void clearInputs(const QUVENEnvHandle& env);
  virtual int acceptsScore() const;
  virtual void prepareInput(const QUVENEnvHandle& env) = 0;
  /// Whether the model has this mode.
  virtual bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) = 0;
  /// Whether at least one data scan is needed.
  virtual bool beginPass(const QUVENEnvHandle& env) = 0;
  /// Whether training in this mode has finished.
  virtual bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) = 0;
  // Queries with an answer here: 0.
  virtual std::int32_t reservedQuery1() const;
  virtual std::int32_t reservedQuery2() const;
  virtual std::int32_t reservedQuery3() const;
  virtual std::int32_t reservedQuery4() const;
  virtual bool hasUsableData(const QUVENEnvHandle& env) const = 0;
  virtual double getVolume(const QUVENEnvHandle& env) const = 0;
  /// One entry a candidate, index 1 upward.
  virtual void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const = 0;
  virtual double getScore(int which, const QUVENEnvHandle& env) const = 0;
  virtual double getScoreVariance(int which, const QUVENEnvHandle& env) const = 0;
  virtual bool hasNoSignal(const QUVENEnvHandle& env) const = 0;
  virtual void selectBest(long index, const QUVENEnvHandle& env) = 0;
  virtual void pruneInputs(const QUVENEnvHandle& env) = 0;
  virtual void finishScoring(const QUVENEnvHandle& env) = 0;
  virtual void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) = 0;
  virtual void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) = 0;
  // Scoring in steps, 1..getNumScoringSteps(): when an input of a record has changed, the steps before the first step
  // that reads it need not be repeated. By default a model has one step.
  virtual long getNumScoringSteps() const { return 1; }
  /// The first step that reads a field; getNumScoringSteps() + 1 for a field that the model does not read.
  virtual long firstStepReading(const QUVENField* field, const QUVENEnvHandle& env) const;
  /// Requires: 1 <= step; the result fields of the earlier steps are those of the present record.
  virtual void scoreChannelFrom(long step, std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env);
  virtual void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const = 0;
  /// Passes the usage on to the field, as its purpose unless it has one. A supplementary field gets none: its code is
  /// that of the line number, by which a dataset deals the records of a sparse file.
  virtual int noteInputAdded(QUVENField* field, std::int32_t usage, const QUVENEnvHandle& env);
  /// Makes the outputs Predicted_ and StdDev_ of the first target; the model sets them when it scores a record.
  /// Errors: a class without outputs is "Function/Feature not yet implemented".
  virtual void getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                          const QUVENEnvHandle& env);

 protected:
  using Members::QUVENObjectOf;

  /// Takes over how far another model is: its state and degrees of freedom.
  void copyTraining(const QUVENModel& source) {
    ivModelState = source.ivModelState;
    ivNumAddDegreesOfFreedom = source.ivNumAddDegreesOfFreedom;
  }

 private:
  static constexpr std::int32_t ScanningBase = 100;
  static constexpr std::int32_t LastMode = 10;

  void chooseBest(std::int32_t mode, const QUVENEnvHandle& env);
  void noteInputsAdded(const Inputs& inputs, const QUVENEnvHandle& env);
  static bool sameFields(const Inputs& a, const Inputs& b);

  // A stream of results carries no references to fields, because it is read without a name map.
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTargetFields, Inputs);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivExplanatoryFields, Inputs);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivCaseWeightFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivInvVarWeightFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivNumAddDegreesOfFreedom, std::int32_t) = 0;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivModelState, std::int32_t) = 0;
  QUVEN_STATE(referenceModel, QUVENModel*) = nullptr;
  QUVEN_STATE(scratchWord, std::int64_t) = 0;
};

#endif  // QUVEN_MODEL_H
