#ifndef TESTS_PASSES_CATEGORY_MEAN_H
#define TESTS_PASSES_CATEGORY_MEAN_H

#include "kernel/quven_learning_model.h"

/// The mean of a numeric target for each category of one categorical input, learned in one pass.
///
/// A record without a value of the target, or with NaN there, is not learned from. After training the prediction is the
/// mean of the category of the record, and missing if no record of it was learned from.
/// Requires: the distribution of the input has its categories before the model begins, an assertion failure otherwise.
/// Shapes:   slots run 1..n+2 for n categories: 1 an input that is missing or has no value, 2 the default category, 3..
///           the categories 1..n.
/// Source:   Chan, Golub and LeVeque 1983, the update for the mean and the squares of two groups.
class QUVENCategoryMean : public QUVENObjectOf<QUVENCategoryMean, QUVENPredictingModel> {
 public:
  explicit QUVENCategoryMean(const QUVENEnvHandle& env) : Members(env) {}

  // By category: QUVENField::MissingValueIndex, QUVENField::DefaultValueIndex, 1..n.
  double getCount(std::int32_t category) const { return ivCounts.at(category + SlotOfDefault); }
  double getMean(std::int32_t category) const { return ivMeans.at(category + SlotOfDefault); }

  void beginRecords(const QUVENEnvHandle& env) override;
  void learn(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  [[nodiscard]] bool merge(QUVENDataScan* other, const QUVENEnvHandle& env) override;
  double getVolume(const QUVENEnvHandle& env) const override;
  /// The mean squared difference of the target and its mean.
  double getScore(int which, const QUVENEnvHandle& env) const override;
  void scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) override;

 private:
  static constexpr std::int32_t SlotOfDefault = 2;

  QUVENField& getInput() const { return *getExplanatoryFields().at(1).getField(); }
  /// Adds records with their mean to a slot.
  void add(long slot, double count, double mean);

  QUVEN_MEMBER(ivCounts, QUVENXaRay<double>);
  QUVEN_MEMBER(ivMeans, QUVENXaRay<double>);
  QUVEN_MEMBER(ivSquares, double) = 0;  // the sum of the squared differences
};

#endif  // TESTS_PASSES_CATEGORY_MEAN_H
