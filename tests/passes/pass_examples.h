#ifndef TESTS_PASSES_PASS_EXAMPLES_H
#define TESTS_PASSES_PASS_EXAMPLES_H

#include <vector>

#include "kernel/quven_learning_model.h"
#include "kernel/quven_model_outputs.h"

/// A model with answers to what a test does not look at.
class QUVENPassModel : public QUVENObjectOf<QUVENPassModel, QUVENLearningModel> {
 public:
  void beginRecords(const QUVENEnvHandle&) override {}
  void learn(QUVENDataPoint&, const QUVENEnvHandle&) override {}
  double getVolume(const QUVENEnvHandle&) const override { return 0; }
  double getScore(int, const QUVENEnvHandle&) const override { return 0; }
  void scoreChannel(std::int32_t, QUVENDataPoint&, const QUVENEnvHandle&) override {}

 protected:
  using Members::QUVENObjectOf;
};

/// Counts records, and adds up the values of its first input, for some passes. What it has counted last stays in the
/// stream, so a driver that forgets the hook counts it twice.
class QUVENPassCount : public QUVENObjectOf<QUVENPassCount, QUVENPassModel> {
 public:
  explicit QUVENPassCount(const QUVENEnvHandle& env) : Members(env) {}

  QUVEN_MEMBER(ivId, std::int32_t) = 0;
  QUVEN_MEMBER(ivPassesLeft, std::int32_t) = 1;
  QUVEN_MEMBER(ivRecords, std::int64_t) = 0;
  QUVEN_MEMBER(ivSum, double) = 0;
  QUVEN_MEMBER(ivMistakes, std::int32_t) = 0;
  QUVEN_MEMBER(ivScanType, std::int32_t) = 0;

  std::vector<std::int64_t> recordsOfPasses;  // on rank 0
  std::vector<double> sumsOfPasses;
  std::vector<std::int32_t> lastPassWords;
  std::vector<std::int32_t> mistakesOfPasses;

  QUVENScanType getScanType(const QUVENEnvHandle&) const override { return static_cast<QUVENScanType>(ivScanType); }
  void beginRecords(const QUVENEnvHandle& env) override;
  int updateWithoutDataScan(const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) override { count(point, env); }
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  void count(QUVENDataPoint& point, const QUVENEnvHandle& env);
  /// Notes the results of a pass.
  void noteResults();

 private:
  std::int32_t idOfThisObject = 0;  // in no stream: it must stay with the model of this id
};

/// Doubles its input into an output once it has ended a pass.
class QUVENPassDoubler : public QUVENObjectOf<QUVENPassDoubler, QUVENPassModel> {
 public:
  explicit QUVENPassDoubler(const QUVENEnvHandle& env) : Members(env) {}

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivOutputs, QUVENModelOutputs);

  static inline long scored = 0;  // records of this process

  QUVENField* addOutput(QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  [[nodiscard]] bool merge(QUVENDataScan*, const QUVENEnvHandle&) override { return true; }
  UpdateFunction recordHandler(const QUVENEnvHandle&) const override { return nullptr; }
  void scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
};

/// Owns models with their outputs; a test adds, drops and reorders them between passes. The output of a model is the
/// value of the first input times the id of the model.
class QUVENPassEnsemble : public QUVENObjectOf<QUVENPassEnsemble, QUVENPassModel> {
 public:
  explicit QUVENPassEnsemble(const QUVENEnvHandle& env) : Members(env) {}
  using Models = QUVENXaRay<QUVENOwnPtr<QUVENPassCount>, 0>;
  using Outputs = QUVENXaRay<QUVENModelOutputs, 0>;

  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivModels, Models);
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivOutputs, Outputs);
  QUVEN_MEMBER(ivPassesLeft, std::int32_t) = 1;

  void addModel(std::int32_t id, QUVENFieldNameMap& names, const QUVENEnvHandle& env);
  void dropModel(long place, const QUVENEnvHandle& env);
  void swapModels(long a, long b, const QUVENEnvHandle& env);

  [[nodiscard]] bool merge(QUVENDataScan*, const QUVENEnvHandle&) override { return true; }
  void beginRecords(const QUVENEnvHandle& env) override;
  void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                             const QUVENEnvHandle& env) const override;
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override;
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
};

#endif  // TESTS_PASSES_PASS_EXAMPLES_H
