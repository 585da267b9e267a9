#ifndef TESTS_LEARNING_STAGE_COMPARISON_H
#define TESTS_LEARNING_STAGE_COMPARISON_H

#include <algorithm>
#include <optional>

#include "learning/boosting_fixture.h"

inline double largestOf(const ChannelValues& values, std::size_t channel) {
  double largest = 0;
  for (const std::vector<double>& row : values) largest = std::max(largest, std::abs(row[channel]));
  return largest;
}

/// What differs between a boosted model and a literal one: all stages of a run that chooses later, and what another run
/// without a choice has kept.
class StageComparison {
 public:
  StageComparison(const TrainedFacts& chosenRun, const TrainedFacts& finishedRun, const LiteralBoosting& literalModel)
      : chosen(chosenRun), finished(finishedRun), literal(literalModel) {
    std::size_t passes = 2;
    for (std::size_t s = 1; s <= std::min(chosen.stages.size(), literal.stages.size()) && differences.empty(); ++s) {
      lastStage = s;
      passes += static_cast<std::size_t>(literal.stages[s - 1].passes);
      expectEqual("passes until stage " + std::to_string(s), chosen.stages[s - 1].passes, passes);
      compareStage(s);
    }
    expectEqual("passes", chosen.stages.back().passes, static_cast<std::size_t>(literal.passes));
    expectEqual("stages", chosen.stages.size(), literal.stages.size());
    expectEqual("why training stopped", static_cast<std::size_t>(chosen.stopReason),
                static_cast<std::size_t>(QUVENTransformRegression::StopReason::NoSignal) +
                    static_cast<std::size_t>(literal.stop));
    expectEqual("the best stage", static_cast<std::size_t>(chosen.bestStage), literal.best);
    compareFinished();
  }

  std::string differences;
  std::size_t lastStage = 0;  ///< up to which stages were compared: that of the first difference
  double largestDifference = 0;
  std::size_t stepsOfRounding = 0;
  /// A transform that predicts 0 up to rounding changes no fit, whether the regression takes it or not.
  std::size_t ranksOfOneFit = 0;

 private:
  static constexpr double tolerance = 1e-9;

  void expectNear(const std::string& what, double value, double expected, double scale) {
    const double difference = std::abs(value - expected) / std::max(scale, std::numeric_limits<double>::min());
    if (difference <= tolerance) {
      largestDifference = std::max(largestDifference, difference);
      return;
    }
    differences +=
        what + ": " + testing::PrintToString(value) + " in the place of " + testing::PrintToString(expected) + "\n";
  }
  void expectEqual(const std::string& what, std::size_t value, std::size_t expected) {
    if (value == expected) return;
    differences += what + ": " + std::to_string(value) + " in the place of " + std::to_string(expected) + "\n";
  }
  static const ChannelValues* predictionsOf(const TrainedFacts& run, const std::string& suffix) {
    const auto found = run.predictions.find("UnnormalizedPredicted_y_" + suffix);
    return found == run.predictions.end() ? nullptr : &found->second;
  }

  void compareStage(std::size_t s) {
    const std::string stage = "stage " + std::to_string(s);
    const StageFacts& facts = chosen.stages[s - 1];
    const LiteralStage& expected = literal.stages[s - 1];
    if (facts.rank != expected.rank && std::ranges::count(expected.equalRanks, facts.rank) > 0) {
      ++ranksOfOneFit;
    } else {
      expectEqual(stage + ", rank", facts.rank, expected.rank);
    }
    if (s > 1) expectEqual(stage + ", no signal", facts.hasNoSignal ? 1 : 0, expected.hasNoSignal ? 1 : 0);
    const auto points = static_cast<double>(expected.score.points);
    const auto fit = static_cast<double>(expected.score.fit);
    const auto variance = static_cast<double>(expected.score.variance);
    expectNear(stage + ", points", facts.score.ivPts, points, 1);
    expectNear(stage + ", fit", facts.score.ivFit, fit, std::max(std::abs(fit), points));
    expectNear(stage + ", variance", facts.score.ivVar, variance, std::abs(variance));
    compareStep(stage, std::to_string(s), facts.alphas, expected.step, expected.learned, expected.residuals);
    if (s == 1) return;
    compareStep(stage + ", output", std::to_string(s) + "_output", facts.outputAlphas, expected.outputStep,
                expected.outputLearned, expected.residuals);
  }

  /// A learner that predicts 0 up to rounding has a step of rounding over rounding: channels with one are counted and
  /// not compared.
  void compareStep(const std::string& what, const std::string& suffix, const std::vector<double>& alphas,
                   const LiteralStep& expected, const ChannelValues& learned, const ChannelValues& residuals) {
    const ChannelValues* predictions = predictionsOf(chosen, suffix);
    if (predictions == nullptr || predictions->size() != expected.prediction.size()) {
      differences += what + ": no predictions\n";
      return;
    }
    for (std::size_t c = 0; c < expected.alpha.size(); ++c) {
      const std::string channel = what + ", channel " + std::to_string(c + 1);
      const double step = largestOf(learned, c);
      if (step < 1e-11 * largestOf(residuals, c)) {
        ++stepsOfRounding;
        continue;
      }
      // What counts of alpha is its product with the prediction of the learner.
      const double scale = largestOf(expected.prediction, c);
      if (!alphas.empty()) expectNear(channel + ", alpha", alphas.at(c) * step, expected.alpha[c] * step, scale);
      std::size_t furthest = 0;
      for (std::size_t row = 0; row < predictions->size(); ++row) {
        const auto distance = [&](std::size_t r) { return std::abs((*predictions)[r][c] - expected.prediction[r][c]); };
        if (!(distance(row) <= distance(furthest))) furthest = row;
      }
      expectNear(channel + ", record " + std::to_string(furthest), (*predictions)[furthest][c],
                 expected.prediction[furthest][c], scale);
    }
  }

  /// What was kept predicts as it did before the choice, to the last bit.
  void compareFinished() {
    expectEqual("stages kept", static_cast<std::size_t>(finished.numStages), literal.numKept());
    const std::string suffix = std::to_string(literal.numKept()) + (literal.best > 1 ? "_output" : "");
    const ChannelValues* kept = predictionsOf(finished, suffix);
    const ChannelValues* all = predictionsOf(chosen, suffix);
    if (kept == nullptr || all == nullptr || *kept != *all) differences += "the finished model predicts otherwise\n";
    if (finished.predictionName != "UnnormalizedPredicted_y_" + suffix) {
      differences += "the finished model predicts " + finished.predictionName + "\n";
    }
  }

  const TrainedFacts& chosen;
  const TrainedFacts& finished;
  const LiteralBoosting& literal;
};

/// Whether two literal models predict otherwise in a stage up to the given one.
inline bool literalsDiffer(const LiteralBoosting& a, const LiteralBoosting& b, std::size_t lastStage) {
  const auto differ = [](const ChannelValues& x, const ChannelValues& y) {
    for (std::size_t row = 0; row < x.size(); ++row) {
      for (std::size_t c = 0; c < x[row].size(); ++c) {
        if (!(std::abs(x[row][c] - y[row][c]) <= 1e-9 * largestOf(x, c))) return true;
      }
    }
    return false;
  };
  for (std::size_t s = 1; s <= lastStage; ++s) {
    if (s > a.stages.size() || s > b.stages.size()) return true;
    const LiteralStage& x = a.stages[s - 1];
    const LiteralStage& y = b.stages[s - 1];
    if (differ(x.step.prediction, y.step.prediction)) return true;
    if (s > 1 && differ(x.outputStep.prediction, y.outputStep.prediction)) return true;
  }
  return false;
}

/// Compares trainings of tables with literal ones.
class LiteralBoostTest : public BoostTest {
 protected:
  /// Trains on a table and compares. Where the literal model differs, two candidates may tie: the table counts as a tie
  /// if the literal model agrees in full after its coefficients were disturbed by as much as rounding does. With many
  /// ties no disturbance may decide all of them so: then the table counts as a tie if most disturbances change a stage
  /// up to that of the first difference.
  void compare(const BoostTable& table, int loss, int mode) {
    constexpr unsigned mostDisturbances = 24;
    writeTable(table);
    const TrainedFacts chosen = trainAndPredict(table, loss, mode, true);
    const TrainedFacts finished = trainAndPredict(table, loss, mode, false);
    ++tables;
    std::string differences;
    std::size_t differentStage = 0;
    unsigned changes = 0;
    std::optional<LiteralBoosting> undisturbed;
    for (unsigned disturbance = 0; disturbance <= mostDisturbances; ++disturbance) {
      const LiteralBoosting literal(table, loss, mode, disturbance);
      const StageComparison comparison(chosen, finished, literal);
      if (comparison.differences.empty()) {
        largestDifference = std::max(largestDifference, comparison.largestDifference);
        stepsOfRounding += comparison.stepsOfRounding;
        ranksOfOneFit += comparison.ranksOfOneFit;
        numStages += literal.stages.size();
        if (disturbance > 0) ++ties;
        return;
      }
      if (disturbance == 0) {
        differences = comparison.differences;
        differentStage = comparison.lastStage;
        undisturbed.emplace(literal);
      } else if (literalsDiffer(*undisturbed, literal, differentStage)) {
        ++changes;
      }
    }
    if (2 * changes > mostDisturbances) {
      ++ties;
      return;
    }
    ADD_FAILURE() << differences;
  }
  TrainedFacts trainAndPredict(const BoostTable& table, int loss, int mode, bool choosesLater) {
    const auto run = train(table, loss, mode, settingsOf(table, 0), MPI_COMM_WORLD, choosesLater);
    run->writePredictions(path + ".predictions");
    return run->getFacts();
  }
  /// From stage 3 on a stage has nearly equal columns, what the stages before it have learned and their F, so a few
  /// ties are to be expected. Each of them was shown to be one by disturbances.
  void expectFewTies() {
    EXPECT_LE(ties * 100, 5 * tables) << ties << " of " << tables;
    RecordProperty("tables", std::to_string(tables));
    RecordProperty("stages", std::to_string(numStages));
    RecordProperty("ties", std::to_string(ties));
    RecordProperty("steps_of_rounding", std::to_string(stepsOfRounding));
    RecordProperty("ranks_of_one_fit", std::to_string(ranksOfOneFit));
    RecordProperty("largest_difference", testing::PrintToString(largestDifference));
  }

  double largestDifference = 0;
  std::size_t tables = 0;
  std::size_t numStages = 0;
  std::size_t ties = 0;
  std::size_t stepsOfRounding = 0;
  std::size_t ranksOfOneFit = 0;
};

#endif  // TESTS_LEARNING_STAGE_COMPARISON_H
