#ifndef TESTS_SIMPLE_ALGORITHM_ANALYSIS_EXAMPLES_H
#define TESTS_SIMPLE_ALGORITHM_ANALYSIS_EXAMPLES_H

#include <string>

#include "simple_algorithm/quven_simple_algorithm_data.h"

/// An analysis that sums the first value and notes what it is asked.
class QUVENTestAnalysis : public QUVENObjectOf<QUVENTestAnalysis, QUVENSimpleAlgorithmAbstractData> {
 public:
  QUVENTestAnalysis() = default;

  QUVEN_MEMBER(ivSum, double) = 0;
  QUVEN_MEMBER(ivHasEnded, std::int32_t) = 0;
  QUVEN_MEMBER(ivScanKind, std::int32_t) = 0;

  std::string calls;
  SampleNumber lastSample = 0;

  /// The calls so far, which are forgotten.
  std::string takeCalls();
  void note(const std::string& call) { calls += (calls.empty() ? "" : "; ") + call; }

  int beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle& env) override;
  void update(const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec, SampleNumber sampleNumber,
              const QUVENEnvHandle& env) override;
  int endDataScan(const QUVENEnvHandle& env) override;
  int updateWithoutDataScan(const QUVENEnvHandle& env) override;
  int initIteration(const QUVENEnvHandle& env) override;
  int finishIteration(const QUVENEnvHandle& env) override;
  bool isFinished() const override { return ivHasEnded != 0; }
  void merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) override;
  void print(std::ostream& out) const override;
  void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
  QUVENScanType getScanKind(const QUVENEnvHandle&) const override { return static_cast<QUVENScanType>(ivScanKind); }
  double getScanFraction(const QUVENEnvHandle&) const override { return 0.25; }
  int needsMerge() const override { return 1; }
};

/// An analysis that has no operation at all.
class QUVENTestBareAnalysis : public QUVENObjectOf<QUVENTestBareAnalysis, QUVENSimpleAlgorithmAbstractData> {
 public:
  QUVENTestBareAnalysis() = default;
};

#endif  // TESTS_SIMPLE_ALGORITHM_ANALYSIS_EXAMPLES_H
