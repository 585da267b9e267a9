#ifndef BENCH_LEARNING_BOOSTING_BOUND_H
#define BENCH_LEARNING_BOOSTING_BOUND_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

/// What the passes of boosted transform regression cost one thread when the data are laid out by hand: no objects,
/// random columns and random models of the right sizes, a block of records that stays in the processor's cache. There
/// is no selection, no merging and no file.
///
/// The channels of a sum or a coefficient are side by side, padded to Lanes. In stage 1 all channels see the same
/// numbers, so a record is added once, to the sums of its fold; in later stages it is added to all channels but its
/// own, and to its own as a test record. Shapes:   a stage has a transform of each column, and one of each output of
/// earlier stages that it reads: every
///           residual prediction and the last two predictions of the ensemble. Each transform learns from its column,
///           those outputs and the target.
/// Units:    seconds of processor time.
class BoostingBound {
 public:
  static constexpr std::size_t Lanes = 8;
  static constexpr std::size_t LearningSegments = 100;
  static constexpr std::size_t FinalSegments = 30;

  struct Seconds {
    double scoredAgain = 0;  ///< when finished stages are scored in every pass
    double kept = 0;         ///< when the outputs of finished stages are kept
  };

  /// keptTransforms: of each stage after its training, stage 1 first. Records are rounded down to whole blocks.
  BoostingBound(std::size_t records, std::size_t columns, std::size_t channels, std::vector<std::size_t> keptTransforms)
      : numBlocks(records / Block), numColumns(columns), numChannels(channels), kept(std::move(keptTransforms)) {
    if (channels > Lanes || numBlocks == 0) std::abort();
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> uniform;
    const auto fill = [&](std::vector<double>& values, std::size_t count) {
      values.resize(count);
      for (double& value : values) value = uniform(random);
    };
    fill(shared, Block * numColumns);
    fill(outputs, Block * Lanes * (2 * kept.size() + 3));
    folds.resize(Block);
    for (std::size_t& fold : folds) fold = random() % numChannels;
    for (const auto& [ends, count] :
         {std::pair(&learningEnds, LearningSegments), std::pair(&finalEnds, FinalSegments)}) {
      for (std::size_t i = 0; i < count; ++i) {
        ends->push_back((static_cast<double>(i) + 1) / static_cast<double>(count + 1));
      }
    }
  }

  /// Times the passes of all stages: two in stage 1, five in each later one.
  Seconds time() {
    Seconds total;
    double scoringOfFinished = 0;
    for (std::size_t s = 1; s <= kept.size(); ++s) {
      begin(s);
      const double ofTransforms = timed([&] { learnTransforms(); });
      const double ofRegression = timed([&] { learnRegression(); });
      const double scoring = timed([&] { scoreStage(s); });
      const double passes = s == 1 ? 2 : 5;
      // In the pass of the step the new stage is scored. The output transform is learned in one pass, and scored in
      // the next one.
      double own = ofTransforms + ofRegression;
      if (s > 1) own += scoring + 3 * ofTransforms / static_cast<double>(numTransforms);
      total.scoredAgain += own + passes * scoringOfFinished;
      total.kept += own + (s < kept.size() ? scoring : 0);
      scoringOfFinished += scoring;
    }
    return total;
  }

 private:
  static constexpr std::size_t Block = 1024;

  /// Doubles of the sum of weights, the means and the packed triangle of products of n variables.
  static std::size_t sizeOfSums(std::size_t n) { return 1 + n + n * (n + 1) / 2; }

  template <class Work>
  static double timed(Work work) {
    const auto now = [] { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; };
    const double start = now();
    work();
    return now() - start;
  }

  /// Adds a record of n values with weight 1. Source: Chan, Golub and LeVeque, "Updating formulae and a pairwise
  /// algorithm for computing sample variances", 1979.
  static void add(double* sums, const double* values, std::size_t n, double* differences) {
    const double before = sums[0];
    const double weight = before + 1;
    sums[0] = weight;
    double* const means = sums + 1;
    for (std::size_t i = 0; i < n; ++i) {
      differences[i] = values[i] - means[i];
      means[i] += differences[i] / weight;
    }
    double* products = means + n;
    for (std::size_t j = 0; j < n; ++j) {
      const double scaled = differences[j] * (before / weight);
      for (std::size_t i = 0; i <= j; ++i) products[i] += scaled * differences[i];
      products += j + 1;
    }
  }

  /// The same for all channels side by side, each with weight 0 or 1.
  static void addLanes(double* __restrict sums, const double* __restrict values,
                       const std::array<double, Lanes>& weights, std::size_t n, double* __restrict differences) {
    std::array<double, Lanes> share;
    std::array<double, Lanes> scale;
    for (std::size_t c = 0; c < Lanes; ++c) {
      const double before = sums[c];
      const double weight = before + weights[c];
      sums[c] = weight;
      share[c] = weight > 0 ? weights[c] / weight : 0;
      scale[c] = weight > 0 ? weights[c] * before / weight : 0;
    }
    double* const means = sums + Lanes;
    for (std::size_t i = 0; i < n * Lanes; i += Lanes) {
      for (std::size_t c = 0; c < Lanes; ++c) {
        differences[i + c] = values[i + c] - means[i + c];
        means[i + c] += share[c] * differences[i + c];
      }
    }
    double* products = means + n * Lanes;
    for (std::size_t j = 0; j < n * Lanes; j += Lanes) {
      std::array<double, Lanes> scaled;
      for (std::size_t c = 0; c < Lanes; ++c) scaled[c] = scale[c] * differences[j + c];
      for (std::size_t i = 0; i <= j; i += Lanes, products += Lanes) {
        for (std::size_t c = 0; c < Lanes; ++c) products[c] += scaled[c] * differences[i + c];
      }
    }
  }

  /// Without a branch on the value.
  static std::size_t segmentOf(const std::vector<double>& ends, double value) {
    const double* base = ends.data();
    std::size_t count = ends.size();
    while (count > 1) {
      const std::size_t half = count / 2;
      base = base[half - 1] < value ? base + half : base;
      count -= half;
    }
    return static_cast<std::size_t>(base - ends.data()) + (*base < value ? 1 : 0);
  }

  const double* outputOf(std::size_t output, std::size_t record) const {
    return &outputs[(output * Block + record) * Lanes];
  }

  void begin(std::size_t stage) {
    numCarried = stage == 1 ? 0 : stage - 1 + std::min<std::size_t>(stage - 1, 2);
    numTransforms = numColumns + numCarried;
    numVariables = numCarried + 2;
    const std::size_t slabs = numTransforms * (LearningSegments + 1) * sizeOfSums(numVariables) * Lanes;
    training.assign(slabs, 0);
    testing.assign(slabs, 0);
    regression.assign(2 * sizeOfSums(numTransforms + 1) * Lanes, 0);
    coefficients.assign(numTransforms * (FinalSegments + 1) * numVariables * Lanes, 0.01);
    row.resize((numTransforms + 1) * Lanes);
    differences.resize(row.size());
    single.resize(numTransforms + 1);
  }

  std::array<double, Lanes> weightsWithout(std::size_t fold) const {
    std::array<double, Lanes> weights{};
    std::fill_n(weights.begin(), numChannels, 1.0);
    weights[fold] = 0;
    return weights;
  }

  void addTo(std::size_t place, double* sumsOfTests, std::size_t fold, std::size_t n) {
    addLanes(&training[place], row.data(), weightsWithout(fold), n, differences.data());
    for (std::size_t j = 0; j < n; ++j) single[j] = row[j * Lanes + fold];
    add(sumsOfTests, single.data(), n, differences.data());
  }

  void learnTransforms() {
    const std::size_t size = sizeOfSums(numVariables);
    const std::size_t target = 2 * kept.size() + 2;
    const auto placeOf = [&](std::size_t t, double value) {
      return (t * (LearningSegments + 1) + segmentOf(learningEnds, value)) * size * Lanes;
    };
    for (std::size_t block = 0; block < numBlocks; ++block) {
      for (std::size_t t = 0; t < numTransforms; ++t) {
        for (std::size_t i = 0; i < Block; ++i) {
          const double* const y = outputOf(target, i);
          if (numCarried == 0) {
            const std::array<double, 2> values{shared[t * Block + i], y[0]};
            add(&training[placeOf(t, values[0]) + folds[i] * size], values.data(), 2, differences.data());
            continue;
          }
          for (std::size_t j = 0; j < numCarried; ++j) std::copy_n(outputOf(j, i), Lanes, &row[(1 + j) * Lanes]);
          std::copy_n(y, Lanes, &row[(numVariables - 1) * Lanes]);
          if (t < numColumns) {
            std::fill_n(row.begin(), Lanes, shared[t * Block + i]);
            const std::size_t place = placeOf(t, row[0]);
            addTo(place, &testing[place + folds[i] * size], folds[i], numVariables);
            continue;
          }
          // The channels of an output have segments of their own.
          const double* const split = outputOf(t - numColumns, i);
          for (std::size_t c = 0; c < numChannels; ++c) {
            single[0] = split[c];
            for (std::size_t j = 1; j < numVariables; ++j) single[j] = row[j * Lanes + c];
            double* const sums = c == folds[i] ? testing.data() : training.data();
            add(sums + placeOf(t, split[c]) + c * size, single.data(), numVariables, differences.data());
          }
        }
      }
    }
  }

  /// The predictions of one transform of a record, for all channels.
  void scoreTransform(std::size_t t, std::size_t record, double* predictions) const {
    const auto lineOf = [&](double value) {
      return &coefficients[(t * (FinalSegments + 1) + segmentOf(finalEnds, value)) * numVariables * Lanes];
    };
    if (t < numColumns) {
      const double value = shared[t * Block + record];
      const double* const line = lineOf(value);
      for (std::size_t c = 0; c < Lanes; ++c) predictions[c] = line[c] + line[Lanes + c] * value;
      for (std::size_t j = 0; j < numCarried; ++j) {
        const double* const output = outputOf(j, record);
        for (std::size_t c = 0; c < Lanes; ++c) predictions[c] += line[(2 + j) * Lanes + c] * output[c];
      }
      return;
    }
    for (std::size_t c = 0; c < numChannels; ++c) {
      const double value = outputOf(t - numColumns, record)[c];
      const double* const line = lineOf(value);
      predictions[c] = line[c] + line[Lanes + c] * value;
      for (std::size_t j = 0; j < numCarried; ++j) predictions[c] += line[(2 + j) * Lanes + c] * outputOf(j, record)[c];
    }
  }

  void learnRegression() {
    const std::size_t n = numTransforms + 1;
    const std::size_t target = 2 * kept.size() + 2;
    double* const tests = regression.data() + sizeOfSums(n) * Lanes;
    for (std::size_t block = 0; block < numBlocks; ++block) {
      for (std::size_t i = 0; i < Block; ++i) {
        for (std::size_t t = 0; t < numTransforms; ++t) scoreTransform(t, i, &row[t * Lanes]);
        std::copy_n(outputOf(target, i), Lanes, &row[numTransforms * Lanes]);
        addLanes(regression.data(), row.data(), weightsWithout(folds[i]), n, differences.data());
        for (std::size_t t = 0; t < n; ++t) single[t] = row[t * Lanes + folds[i]];
        add(tests + folds[i] * sizeOfSums(n), single.data(), n, differences.data());
      }
    }
    // Every record is in all channels but its own, and in its own as a test record.
    double weight = 0;
    for (std::size_t c = 0; c < numChannels; ++c) weight += regression[c] + tests[c * sizeOfSums(n)];
    if (weight != static_cast<double>(numBlocks * Block * numChannels)) std::abort();
  }

  void scoreStage(std::size_t stage) {
    std::array<double, Lanes> total{};
    std::array<double, Lanes> predictions{};
    for (std::size_t block = 0; block < numBlocks; ++block) {
      for (std::size_t i = 0; i < Block; ++i) {
        for (std::size_t t = 0; t < kept[stage - 1]; ++t) {
          scoreTransform(t % numTransforms, i, predictions.data());
          for (std::size_t c = 0; c < Lanes; ++c) total[c] += 0.1 * predictions[c];
        }
      }
    }
    if (!(total[0] > 0)) std::abort();  // all coefficients and values are positive
  }

  std::size_t numBlocks;
  std::size_t numColumns;
  std::size_t numChannels;
  std::vector<std::size_t> kept;
  std::vector<double> shared;   // column by column, the records of a block
  std::vector<double> outputs;  // output by output, record by record, the channels; the last one is the target
  std::vector<std::size_t> folds;
  std::vector<double> learningEnds;
  std::vector<double> finalEnds;
  // Of the present stage.
  std::size_t numCarried = 0;
  std::size_t numTransforms = 0;
  std::size_t numVariables = 0;
  std::vector<double> training;  // by transform and segment: sums of all channels
  std::vector<double> testing;
  std::vector<double> regression;    // training, then tests
  std::vector<double> coefficients;  // by transform and segment: intercept, own column, carried outputs
  std::vector<double> row;
  std::vector<double> differences;
  std::vector<double> single;
};

#endif  // BENCH_LEARNING_BOOSTING_BOUND_H
