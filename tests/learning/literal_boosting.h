#ifndef TESTS_LEARNING_LITERAL_BOOSTING_H
#define TESTS_LEARNING_LITERAL_BOOSTING_H

// Transform regression over a table in memory, step by step: every fit is made from the records, nothing is cached
// between fits but the numbers of a group of segments, and no pass is made. Only the first cut of a field into segments
// is the library's, because the values of its boundaries must be the same.

#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "learning/literal_least_squares.h"

inline constexpr double absentNumber = std::numeric_limits<double>::quiet_NaN();

struct BoostRow {
  std::vector<double> x;  ///< per input: a number, or the number of a category; NaN is missing
  double y = 0;           ///< NaN is missing
  double w = 1;           ///< NaN is missing, as for v
  int channel = 3;
  double v = 1;  ///< the inverse-variance weight
};

struct BoostTable {
  std::vector<bool> isCategorical;  ///< per input
  std::vector<BoostRow> rows;
  int channels = 5;
};

/// The ids of the losses.
enum BoostLoss : int { Squared = 1, Logistic, Poisson, SupportVector, LogisticLink, PoissonLink };

/// Per row, from 0, the values of the channels, from 0.
using ChannelValues = std::vector<std::vector<double>>;

/// A field that the models read.
struct LiteralField {
  std::string name;  ///< the order of the categories and the sample depend on it
  ChannelValues values;
  bool isCategorical = false;
  bool hasValuePerChannel = false;
  bool isCarried = false;  ///< an output of an earlier stage, which every transform reads
  bool hasBins = false;
  int numDistributionPasses = 2;  ///< that it has had when a split of it is made
};

/// Points, fit and variance.
struct LiteralTriple {
  long double points = 0;
  long double fit = 0;
  long double variance = 0;
};

/// A regression with one rank for all channels, counted from 0.
struct LiteralRegression {
  std::vector<LiteralModel> models;
  std::vector<std::size_t> equalRanks;  ///< those that fit as well up to rounding, this one included
  LiteralTriple triples[3];
  double volume = 0;
  bool isUsable = false;

  std::size_t rank() const { return models.back().variables.size(); }
  double predict(const std::vector<const LiteralField*>& inputs, std::size_t row, std::size_t channel) const;
};

/// What the step after a learner gives: alpha, and the prediction of the ensemble.
struct LiteralStep {
  std::vector<double> alpha;  ///< per channel
  ChannelValues prediction;
};

struct LiteralStage {
  ChannelValues residuals;
  std::size_t numTransforms = 0;
  std::size_t rank = 0;
  std::vector<std::size_t> equalRanks;  ///< those that fit as well up to rounding, this one included
  ChannelValues learned;                ///< what the residual model predicts
  LiteralStep step;
  ChannelValues outputLearned;  ///< of the output transform; empty in stage 1
  LiteralStep outputStep;
  LiteralTriple score;
  bool hasNoSignal = false;
  int passes = 0;
};

class LiteralBoosting {
 public:
  enum class Stop { NoSignal, MostStages, NothingSignificant };

  /// disturbance: 0, or the seed of changes of rounding size to all coefficients. Where two candidates tie, other
  /// seeds may decide otherwise.
  LiteralBoosting(const BoostTable& itsTable, int itsLossId, int itsMode, unsigned disturbance = 0);

  std::vector<LiteralStage> stages;
  Stop stop = Stop::NoSignal;
  std::size_t best = 1;  ///< the stage whose output transform takes its place; 1: all stages stay as they are
  int passes = 0;        ///< those of the distributions included

  /// What the finished model predicts.
  const ChannelValues& finalPrediction() const {
    return best > 1 ? stages[best - 1].outputStep.prediction : stages.back().step.prediction;
  }
  /// The stages of the finished model.
  std::size_t numKept() const { return best > 1 ? best : stages.size(); }

  static long significantBack(const std::vector<LiteralTriple>& scores);
  static std::size_t findBest(const std::vector<LiteralTriple>& scores);

 private:
  using Inputs = std::vector<const LiteralField*>;
  /// Whether a row is a record of a fit in a channel.
  using Belongs = std::function<bool(std::size_t row, std::size_t channel)>;
  struct Transform {
    LiteralField output;
    LiteralTriple triples[3];
  };

  std::size_t numChannels() const { return static_cast<std::size_t>(table.channels); }
  ChannelValues filled(const std::function<double(std::size_t row, std::size_t channel)>& value) const;
  void makeDataFields();
  double previous(std::size_t stage, std::size_t row, std::size_t channel) const;
  ChannelValues computeResiduals(std::size_t stage) const;
  double applyLink(double prediction) const;
  std::vector<LiteralField> stageOutputs(std::size_t stage) const;
  LiteralRegression fit(const Inputs& inputs, const ChannelValues& target, const Belongs& belongs) const;
  Transform fitTransform(const LiteralField& split, const Inputs& inputs, const ChannelValues& target) const;
  void learnStage(LiteralStage& stage, std::size_t number) const;
  void learnOutput(LiteralStage& stage, std::size_t number) const;
  LiteralStep searchStep(const ChannelValues& learned, std::size_t stage) const;

  long double disturbed(long double value) const;

  const BoostTable& table;
  int lossId;
  int mode;
  bool isDisturbed;
  mutable std::mt19937 random;
  std::vector<LiteralField> data;
};

#endif  // TESTS_LEARNING_LITERAL_BOOSTING_H
