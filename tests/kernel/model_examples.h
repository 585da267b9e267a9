#ifndef TESTS_KERNEL_MODEL_EXAMPLES_H
#define TESTS_KERNEL_MODEL_EXAMPLES_H

#include <string>
#include <vector>

#include "kernel/quven_model.h"

/// A model that counts records and notes what it is asked. A test says how it behaves.
class QUVENTestModel : public QUVENObjectOf<QUVENTestModel, QUVENModel> {
 public:
  explicit QUVENTestModel(const QUVENEnvHandle& env) : Members(env) {}

  QUVEN_MEMBER(ivRecords, std::int32_t) = 0;

  bool hasMode = true;
  bool needsData = true;
  bool isDone = true;
  bool canMerge = true;
  std::vector<QUVENModelScores> candidates{QUVENModelScores()};
  std::vector<const QUVENField*> usedFields;
  mutable std::vector<std::string> calls;

  /// The calls so far, which are forgotten.
  std::string takeCalls();
  /// A candidate with its points and criterion in each triple.
  void addCandidate(QUVENScoreTriple evaluation, QUVENScoreTriple heldOut = {});

  void count(QUVENDataPoint&, const QUVENEnvHandle&) { ++ivRecords; }
  void countTwice(QUVENDataPoint&, const QUVENEnvHandle&) { ivRecords += 2; }

  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  bool hasScanResult(const QUVENEnvHandle&) const override { return true; }
  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override;
  UpdateFunction batchHandler(const QUVENEnvHandle& env) const override;
  void noteModeChosen(const QUVENEnvHandle&) override { calls.emplace_back("mode chosen"); }
  void noteScanBegun(const QUVENEnvHandle&) override { calls.emplace_back("scan begun"); }
  void noteScanEnded(const QUVENEnvHandle&) override { calls.emplace_back("scan ended"); }
  void refitMerged(const QUVENEnvHandle&) override { calls.emplace_back("refit"); }
  void clearInputs(const QUVENEnvHandle& env) override;
  void prepareInput(const QUVENEnvHandle&) override { calls.emplace_back("prepare"); }
  bool setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle& env) override;
  bool beginPass(const QUVENEnvHandle& env) override;
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  bool hasUsableData(const QUVENEnvHandle&) const override { return true; }
  double getVolume(const QUVENEnvHandle&) const override { return 0; }
  void getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const override;
  double getScore(int, const QUVENEnvHandle&) const override { return 0; }
  double getScoreVariance(int, const QUVENEnvHandle&) const override { return 0; }
  bool hasNoSignal(const QUVENEnvHandle&) const override { return false; }
  void selectBest(long index, const QUVENEnvHandle&) override { calls.push_back("best " + std::to_string(index)); }
  void pruneInputs(const QUVENEnvHandle&) override {}
  void finishScoring(const QUVENEnvHandle&) override {}
  void scorePoint(QUVENDataPoint&, const QUVENEnvHandle&) override {}
  void scoreChannel(std::int32_t, QUVENDataPoint&, const QUVENEnvHandle&) override {}
  void collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const override;
  int noteInputAdded(QUVENField* field, std::int32_t usage, const QUVENEnvHandle& env) override;
};

/// A model whose handlers are those of the base.
class QUVENTestBareModel : public QUVENObjectOf<QUVENTestBareModel, QUVENTestModel> {
 public:
  explicit QUVENTestBareModel(const QUVENEnvHandle& env) : Members(env) {}
  UpdateFunction recordHandler(const QUVENEnvHandle& env) const override { return QUVENModel::recordHandler(env); }
  UpdateFunction batchHandler(const QUVENEnvHandle& env) const override { return QUVENModel::batchHandler(env); }
};

#endif  // TESTS_KERNEL_MODEL_EXAMPLES_H
