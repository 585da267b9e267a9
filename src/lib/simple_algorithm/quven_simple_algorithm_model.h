#ifndef QUVEN_SIMPLE_ALGORITHM_MODEL_H
#define QUVEN_SIMPLE_ALGORITHM_MODEL_H

#include <iosfwd>
#include <string>
#include <vector>

#include "kernel/quven_model.h"
#include "simple_algorithm/quven_simple_algorithm_data.h"

class QUVENXMLTag;

/// A model whose work is done by an analysis: it binds the fields, and passes on what the scan protocol asks.
///
/// It is trained, never applied: what a model does for scoring is "Function/Feature not yet implemented" here.
/// State: 0 empty, 1 open, 2 in a pass, 3 a pass ended.
class QUVENSimpleAlgorithmModel : public QUVENObjectOf<QUVENSimpleAlgorithmModel, QUVENModel> {
 public:
  enum ModelId : std::int32_t { KernelModel = 8, GroupModel = 17, DiffusionModel = 24 };
  enum State : std::int32_t { Empty = 0, Open = 1, InPass = 2, PassEnded = 3 };

  explicit QUVENSimpleAlgorithmModel(const QUVENEnvHandle& env) : Members(env) {}

  /// The file that the parameter tag was read from, for analyses that look into its text. Set before open.
  void setParameterFileName(const std::string& fileName) { parameterFileName = fileName; }

  /// Binds the fields, which are inputs of the model already, and opens the analysis of the model id.
  /// Errors: a field that is no input, an unknown id: internal errors. Those of the analysis for its parameters.
  void open(std::int32_t modelId, const QUVENXaRay<QUVENField*>& fieldList, const QUVENXMLTag& parameterTag,
            const QUVENEnvHandle& env);
  /// Lets the analysis keep the rows of its records in memory; null, as at first, for passes over the file. Borrowed. A
  /// copy of a model has none.
  void setKeptRows(QUVENKeptRows* rows) { keptRows = rows; }

  /// Back to the state after construction.
  void resetModel(const QUVENEnvHandle& env);

  int initIteration(const QUVENEnvHandle& env) { return getData(env).initIteration(env); }
  int finishIteration(const QUVENEnvHandle& env) { return getData(env).finishIteration(env); }
  bool isFinished(const QUVENEnvHandle& env) const { return getData(env).isFinished(); }
  void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
    getData(env).writeResultsToTag(tag, env);
  }
  /// For debugging, one item a line.
  void print(std::ostream& out) const;

  State getState() const { return static_cast<State>(ivState); }
  std::int32_t getIterationCount() const { return ivIterationCount; }
  QUVENSimpleAlgorithmAbstractData& getData(const QUVENEnvHandle& env) const;

  // The scan protocol, answered by the analysis.
  QUVENScanType getScanType(const QUVENEnvHandle& env) const override;
  double getSamplingRate(const QUVENEnvHandle& env) const override;
  bool getScanOption(const QUVENEnvHandle& env) const override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return true; }
  void beginRecords(const QUVENEnvHandle& env) override { initIteration(env); }
  void endRecords(const QUVENEnvHandle& env) override { finishIteration(env); }
  int updateWithoutDataScan(const QUVENEnvHandle& env) override { return getData(env).updateWithoutDataScan(env); }
  bool updateFromKeptRecords(QUVENKeptRecords& done, const QUVENEnvHandle& env) override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;

  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  UpdateFunction batchHandler(const QUVENEnvHandle& env) const override;
  /// Binds the fields anew.
  void prepareInput(const QUVENEnvHandle& env) override;
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
  bool beginPass(const QUVENEnvHandle& env) override;
  bool endPass(std::int32_t stage, const QUVENEnvHandle& env) override;
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override;
  void selectBest(long index, const QUVENEnvHandle& env) override;
  // "Function/Feature not yet implemented".
  bool hasUsableData(const QUVENEnvHandle& env) const override;
  double getVolume(const QUVENEnvHandle& env) const override;
  double getScore(int which, const QUVENEnvHandle& env) const override;
  double getScoreVariance(int which, const QUVENEnvHandle& env) const override;
  bool hasNoSignal(const QUVENEnvHandle& env) const override;
  void pruneInputs(const QUVENEnvHandle& env) override;
  void finishScoring(const QUVENEnvHandle& env) override;
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;

 private:
  using Fields = std::vector<const QUVENField*>;

  /// The work of one record.
  void updatePoint(QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Sizes the vectors and finds the fields behind the orders.
  void bindFields(const QUVENEnvHandle& env);
  bool hasFields() const { return !getExplanatoryFields().isEmpty() || !getTargetFields().isEmpty(); }

  // Results carry the analysis alone.
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivExplanatoryFieldOrder, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivTargetFieldOrder, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLineNumberFieldOrder, std::int32_t) = -1;
  QUVEN_MEMBER(ivDataPtr, QUVENOwnPtr<QUVENSimpleAlgorithmAbstractData>);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivIterationCount, std::int32_t) = 0;
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivState, std::int32_t) = Empty;

  QUVEN_STATE(ivDataVec, QUVENXaRay<double>);
  QUVEN_STATE(ivTargetVec, QUVENXaRay<double>);
  QUVEN_STATE(parameterFileName, std::string);

  // The fields behind the orders, bound after open and after a read.
  Fields explanatoryFields;
  Fields targetFields;
  const QUVENField* lineNumberField = nullptr;
  QUVENKeptRows* keptRows = nullptr;
};

#endif  // QUVEN_SIMPLE_ALGORITHM_MODEL_H
