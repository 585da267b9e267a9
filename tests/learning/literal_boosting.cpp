#include "learning/literal_boosting.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "control/quven_category_code.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "learning/literal_tree.h"
#include "learning/quven_split_test.h"
#include "util/quven_env_aux.h"

namespace {

constexpr long double floorFactor = 1.1920928955078125e-07L;
constexpr std::size_t firstFold = 2;  // channels are counted from 0 here

/// Whether the records of a channel train another one.
bool trains(std::size_t record, std::size_t channel) {
  if (channel == 0) return true;
  return record != 0 && (channel == 1 || record != 1);
}

/// Per row and channel the segment, from 1, that the library's split test of a field gives.
struct InitialSegments {
  std::vector<std::vector<int>> ofRow;
  int count = 0;
  int missingSegment = 0;
  bool isEmpty = false;  ///< the field has neither bins nor categories
};

void setValue(QUVENField& field, const LiteralField& values, std::size_t row, QUVENEnv* env) {
  const std::vector<double>& value = values.values[row];
  field.clearValue();
  if (values.hasValuePerChannel) {
    for (std::size_t c = 0; c < value.size(); ++c) {
      field.setNumValueOfChannel(static_cast<long>(c) + 1, value[c], QUVEN_ENV);
    }
  } else if (std::isnan(value[0])) {
    field.setMissing();
  } else if (values.isCategorical) {
    field.setCatValue(QUVENCategoryText(value[0]).get());
  } else {
    field.setNumValue(value[0]);
  }
}

template <class Field>
InitialSegments cutWith(const LiteralField& values, int channels) {
  InitialSegments segments;
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(channels);
  auto field = quvenMake<Field>(QUVEN_ENV);
  field->setName(values.name);
  field->setComputed(values.hasValuePerChannel);
  field->setActualChannelCount(values.hasValuePerChannel ? channels : 1);
  field->setSampleFlag(true, QUVEN_ENV);
  for (int pass = 0; pass < values.numDistributionPasses; ++pass) {
    field->beginDistributionPass(QUVEN_ENV);
    for (std::size_t row = 0; row < values.values.size(); ++row) {
      setValue(*field, values, row, env);
      field->updateDistribution(static_cast<std::uint32_t>(row), QUVEN_ENV);
    }
    field->endDistributionPass(QUVEN_ENV);
  }
  segments.isEmpty = field->getNumDistValues(QUVEN_ENV) == 0;
  QUVENOwnPtr<QUVENSplitTest> split(QUVEN_ENV);
  QUVENSplitTest::createSplitTest(split, &*field, 2.0 * (channels - 2), QUVEN_ENV);
  segments.count = split->getNumSegments();
  segments.missingSegment = split->getMissingSegment();
  for (std::size_t row = 0; row < values.values.size(); ++row) {
    setValue(*field, values, row, env);
    segments.ofRow.emplace_back();
    for (int c = 1; c <= channels; ++c) segments.ofRow.back().push_back(split->getSegment(c, QUVEN_ENV));
  }
  split.reset(QUVEN_ENV);
  field.reset(QUVEN_ENV);
  environment.getAux().deleteMemory(QUVEN_ENV);
  return segments;
}

InitialSegments cut(const LiteralField& values, int channels) {
  return values.isCategorical ? cutWith<QUVENCatField>(values, channels) : cutWith<QUVENNumField>(values, channels);
}

/// The fit of each rank in the evaluation; empty without evaluation records.
std::vector<long double> fitsOfRanks(const std::vector<LiteralPath>& paths) {
  std::vector<long double> fits(paths.back().size());
  long double points = 0;
  for (std::size_t rank = 0; rank < fits.size(); ++rank) {
    for (std::size_t c = firstFold; c < paths.size(); ++c) {
      points += paths[c][rank].eval.points;
      fits[rank] += paths[c][rank].eval.score;
    }
  }
  return points > 0 ? fits : std::vector<long double>();
}

/// The class of a target: 0 is the negative one, any other number is as it is.
long double classOf(long double y) { return y == 0 ? -1 : y; }

/// A share of a logistic curve: e / (e + 1) with e = exp(x).
long double logistic(long double x) { return 1 / (1 + std::exp(-x)); }

bool isLogistic(int lossId) { return lossId == Logistic || lossId == LogisticLink; }
bool isPoisson(int lossId) { return lossId == Poisson || lossId == PoissonLink; }

/// The pseudo-residual of a stage after the first.
long double residualOf(int lossId, long double y, long double prediction) {
  if (isLogistic(lossId)) {
    const long double t = -2 * classOf(y);
    return -t * logistic(t * prediction);
  }
  if (isPoisson(lossId)) return y - std::exp(prediction);
  if (lossId == SupportVector) return classOf(y) * prediction <= 1 ? classOf(y) : 0;
  return y - prediction;
}

/// The terms of a record in the search of the step, which begins at 0.
void addTerms(int lossId, long double y, long double p, long double x, long double& gradient, long double& hessian) {
  if (isLogistic(lossId)) {
    const long double t = -2 * classOf(y);
    const long double q = logistic(t * p);
    gradient += -(t * q) * x;
    hessian += 4 * classOf(y) * classOf(y) * q * (1 - q) * x * x;
  } else if (isPoisson(lossId)) {
    gradient += -(std::exp(p) - y) * x;
    hessian += std::exp(p) * x * x;
  } else if (lossId == SupportVector) {
    gradient += (p * classOf(y) <= 1 ? classOf(y) : 0) * x;
    hessian += x * x;
  } else {
    gradient += (y - p) * x;
    hessian += x * x;
  }
}

}  // namespace

double LiteralRegression::predict(const std::vector<const LiteralField*>& inputs, std::size_t row,
                                  std::size_t channel) const {
  const LiteralModel& model = models[channel];
  long double prediction = model.intercept;
  for (std::size_t i = 0; i < model.variables.size(); ++i) {
    const double value = inputs[model.variables[i]]->values[row][channel];
    if (!std::isnan(value)) prediction += model.coefficients[i] * value;
  }
  return static_cast<double>(prediction);
}

LiteralBoosting::LiteralBoosting(const BoostTable& itsTable, int itsLossId, int itsMode, unsigned disturbance)
    : table(itsTable), lossId(itsLossId), mode(itsMode), isDisturbed(disturbance != 0), random(disturbance) {
  makeDataFields();
  passes = 2;
  for (;;) {
    const std::size_t number = stages.size() + 1;
    LiteralStage stage;
    learnStage(stage, number);
    stages.push_back(std::move(stage));
    LiteralStage& current = stages.back();
    current.step = searchStep(current.learned, number);
    current.hasNoSignal = current.rank == 0 || !(std::abs(current.step.alpha[0]) > 0);
    if (number > 1) learnOutput(current, number);
    passes += current.passes;

    std::vector<LiteralTriple> scores;
    for (const LiteralStage& each : stages) scores.push_back(each.score);
    if (number > 1 && current.hasNoSignal) {
      stop = Stop::NoSignal;
    } else if (number == 10) {
      stop = Stop::MostStages;
    } else if (significantBack(scores) > 2) {
      stop = Stop::NothingSignificant;
    } else {
      continue;
    }
    best = findBest(scores);
    return;
  }
}

long double LiteralBoosting::disturbed(long double value) const {
  constexpr long double size = 1e-13L;
  return isDisturbed ? value * (1 + size * (static_cast<long double>(random()) / random.max() - 0.5L)) : value;
}

ChannelValues LiteralBoosting::filled(const std::function<double(std::size_t, std::size_t)>& value) const {
  ChannelValues values;
  for (std::size_t row = 0; row < table.rows.size(); ++row) {
    values.emplace_back();
    for (std::size_t c = 0; c < numChannels(); ++c) values.back().push_back(value(row, c));
  }
  return values;
}

void LiteralBoosting::makeDataFields() {
  for (std::size_t i = 0; i < table.isCategorical.size(); ++i) {
    LiteralField field;
    field.values = filled([&](std::size_t row, std::size_t) { return table.rows[row].x[i]; });
    field.name = "x" + std::to_string(i);
    field.isCategorical = table.isCategorical[i];
    field.hasBins = !cut(field, table.channels).isEmpty;
    data.push_back(field);
  }
}

/// F of the stage before.
double LiteralBoosting::previous(std::size_t stage, std::size_t row, std::size_t channel) const {
  return stages[stage - 2].step.prediction[row][channel];
}

ChannelValues LiteralBoosting::computeResiduals(std::size_t stage) const {
  return filled([&](std::size_t row, std::size_t c) {
    const double y = table.rows[row].y;
    if (std::isnan(y) || stage == 1) return y;
    return static_cast<double>(residualOf(lossId, y, previous(stage, row, c)));
  });
}

/// The prediction of stage 1 on the scale of the loss.
double LiteralBoosting::applyLink(double prediction) const {
  double sum = 0;
  double count = 0;
  double smallest = std::numeric_limits<double>::infinity();
  for (const BoostRow& row : table.rows) {
    if (std::isnan(row.y)) continue;
    sum += row.y;
    count += 1;
    smallest = std::min(smallest, row.y);
  }
  if (lossId == PoissonLink) {
    const double mean = count > 0 ? sum / count : 0;
    return std::log(std::max(prediction, mean > 0 ? mean / 100 : 1e-10));
  }
  if (lossId == LogisticLink) {
    const double share = smallest < 0 ? (prediction + 1) / 2 : prediction;
    const double p = std::min(0.999, std::max(0.001, share));
    return std::log(p / (1 - p)) / 2;
  }
  return prediction;
}

/// What a stage gets from those before it: the predictions of all residual models, F of the last two.
std::vector<LiteralField> LiteralBoosting::stageOutputs(std::size_t stage) const {
  std::vector<LiteralField> outputs;
  for (std::size_t s = stage - 1; s >= 1; --s) {
    LiteralField learned;
    learned.name = "Predicted_Residual_y_" + std::to_string(s);
    learned.values = stages[s - 1].learned;
    learned.hasValuePerChannel = learned.isCarried = true;
    // A stage is scored from the next stage on, so F has no bins when that one begins. What it has learned is computed
    // in the pass of its step as well, which the first stage does not have.
    const bool wasScored = s + 1 < stage;
    learned.numDistributionPasses = wasScored ? 2 : 1;
    learned.hasBins = wasScored || s > 1;
    outputs.push_back(learned);
    if (stage - s > 2) continue;
    LiteralField ensemble = learned;
    ensemble.name = "UnnormalizedPredicted_y_" + std::to_string(s);
    ensemble.values = stages[s - 1].step.prediction;
    ensemble.numDistributionPasses = 2;
    ensemble.hasBins = wasScored;
    outputs.push_back(ensemble);
  }
  return outputs;
}

LiteralRegression LiteralBoosting::fit(const Inputs& inputs, const ChannelValues& target,
                                       const Belongs& belongs) const {
  LiteralRegression result;
  std::vector<LiteralData> train;
  std::vector<LiteralData> eval;
  const std::size_t n = inputs.size() + 1;
  for (std::size_t c = 0; c < numChannels(); ++c) {
    LsTable trainRows;
    LsTable evalRows;
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
      const auto k = static_cast<std::size_t>(table.rows[row].channel) - 1;
      if ((k != c && !trains(k, c)) || std::isnan(target[row][c]) || !belongs(row, c)) continue;
      LsRow record;
      for (const LiteralField* input : inputs) {
        const double value = input->isCategorical ? 0.0 : input->values[row][c];
        record.x.push_back(std::isnan(value) ? 0.0 : value);
      }
      record.x.push_back(target[row][c]);
      record.w = std::isnan(table.rows[row].w) ? 0.0 : table.rows[row].w;
      record.v = std::isnan(table.rows[row].v) ? 0.0 : table.rows[row].v;
      (k == c ? evalRows : trainRows).push_back(record);
    }
    train.emplace_back(trainRows, n);
    eval.emplace_back(evalRows, n);
  }

  const std::vector<LiteralPath> paths = literalFolds(train, eval, floorFactor);
  const std::vector<long double> fits = fitsOfRanks(paths);
  const auto rank =
      static_cast<std::size_t>(std::ranges::min_element(fits) - fits.begin());  // the lowest of equal ones
  for (std::size_t other = 0; other < fits.size(); ++other) {
    if (fits[other] - fits[rank] <= 1e-12L * std::max(std::abs(fits[rank]), 1.0L)) result.equalRanks.push_back(other);
  }
  for (const LiteralPath& path : paths) {
    result.models.push_back(path[rank]);
    LiteralModel& model = result.models.back();
    model.intercept = disturbed(model.intercept);
    for (long double& coefficient : model.coefficients) coefficient = disturbed(coefficient);
  }
  const auto add = [&](int triple, const LiteralModel::Fit& fit) {
    result.triples[triple].points += fit.points;
    result.triples[triple].fit += fit.score;
    result.triples[triple].variance += fit.scoreVariance;
  };
  for (std::size_t c = firstFold; c < numChannels(); ++c) {
    add(0, result.models[c].train);
    add(1, result.models[c].eval);
  }
  add(2, result.models[1].eval);

  result.isUsable = true;
  result.volume = std::numeric_limits<double>::max();
  for (std::size_t c = 0; c < numChannels(); ++c) {
    const auto trainPoints = static_cast<double>(train[c].points);
    const auto evalPoints = static_cast<double>(eval[c].points);
    result.isUsable = result.isUsable && trainPoints >= 5 && (c < firstFold || evalPoints >= 1);
    result.volume = std::min(result.volume, 0.1 * trainPoints);
    if (c >= firstFold) result.volume = std::min(result.volume, 0.5 * evalPoints);
  }
  return result;
}

namespace {

/// A set of initial segments, as the literal tree asks for it.
struct SegmentGroup {
  std::set<int> segments;
  std::function<const LiteralRegression&(const std::set<int>&)> numbers;

  bool isUsable() const { return numbers(segments).isUsable; }
  double volume() const { return numbers(segments).volume; }
  double score(int which) const { return static_cast<double>(numbers(segments).triples[which].fit); }
  SegmentGroup operator+(const SegmentGroup& other) const {
    SegmentGroup sum = *this;
    sum.segments.insert(other.segments.begin(), other.segments.end());
    return sum;
  }
};

}  // namespace

LiteralBoosting::Transform LiteralBoosting::fitTransform(const LiteralField& split, const Inputs& inputs,
                                                         const ChannelValues& target) const {
  const InitialSegments initial = cut(split, table.channels);
  std::map<std::set<int>, LiteralRegression> known;
  const auto numbers = [&](const std::set<int>& group) -> const LiteralRegression& {
    const auto found = known.find(group);
    if (found != known.end()) return found->second;
    const auto belongs = [&](std::size_t row, std::size_t c) { return group.contains(initial.ofRow[row][c]); };
    return known.emplace(group, fit(inputs, target, belongs)).first->second;
  };
  std::vector<SegmentGroup> leaves;
  for (int segment = 1; segment <= initial.count; ++segment) leaves.push_back({{segment}, numbers});
  const LiteralTree<SegmentGroup> tree(leaves, initial.missingSegment, !split.isCategorical);

  Transform transform;
  std::map<int, const LiteralRegression*> modelOf;
  for (const std::set<int>& group : tree.groups) {
    const LiteralRegression& model = numbers(group);
    for (const int segment : group) modelOf[segment] = &model;
    for (int which = 0; which < 3; ++which) {
      transform.triples[which].points += model.triples[which].points;
      transform.triples[which].fit += model.triples[which].fit;
      transform.triples[which].variance += model.triples[which].variance;
    }
  }
  transform.output.hasValuePerChannel = true;
  transform.output.values = filled(
      [&](std::size_t row, std::size_t c) { return modelOf.at(initial.ofRow[row][c])->predict(inputs, row, c); });
  return transform;
}

/// The transforms of a stage and the regression over them.
void LiteralBoosting::learnStage(LiteralStage& stage, std::size_t number) const {
  stage.residuals = computeResiduals(number);
  const std::vector<LiteralField> outputs = number > 1 ? stageOutputs(number) : std::vector<LiteralField>();
  Inputs explanatory;
  for (const LiteralField& field : data) explanatory.push_back(&field);
  for (const LiteralField& field : outputs) explanatory.push_back(&field);

  std::vector<Transform> transforms;
  for (const LiteralField* field : explanatory) {
    if (!field->hasBins) continue;
    Inputs inputs;
    if (!field->isCarried) inputs.push_back(field);
    for (const LiteralField& context : outputs) inputs.push_back(&context);
    transforms.push_back(fitTransform(*field, inputs, stage.residuals));
  }
  stage.numTransforms = transforms.size();
  Inputs regressed;
  for (const Transform& transform : transforms) regressed.push_back(&transform.output);
  if (transforms.empty()) regressed = explanatory;
  const LiteralRegression regression = fit(regressed, stage.residuals, [](std::size_t, std::size_t) { return true; });
  stage.rank = regression.rank();
  stage.equalRanks = regression.equalRanks;
  stage.learned = filled([&](std::size_t row, std::size_t c) { return regression.predict(regressed, row, c); });
  // The transforms are one pass, the regression is one, the step of a later stage is one.
  stage.passes = (transforms.empty() ? 0 : 1) + 1 + (number > 1 ? 1 : 0);
}

/// The output transform of a stage, which has the residuals of the stage and is split by F of the stage before.
void LiteralBoosting::learnOutput(LiteralStage& stage, std::size_t number) const {
  const std::vector<LiteralField> outputs = stageOutputs(number);
  Inputs inputs;
  for (const LiteralField& field : outputs) inputs.push_back(&field);
  const Transform transform = fitTransform(outputs[1], inputs, stage.residuals);
  stage.outputLearned = transform.output.values;
  stage.outputStep = searchStep(stage.outputLearned, number);
  stage.passes += 2;
  int which = 0;
  if (transform.triples[1].points > 0) which = 1;
  if (mode == 8 && transform.triples[2].points > 0) which = 2;
  stage.score = transform.triples[which];
}

LiteralStep LiteralBoosting::searchStep(const ChannelValues& learned, std::size_t stage) const {
  LiteralStep step;
  if (stage == 1) {
    step.alpha.assign(numChannels(), 1.0);
    step.prediction = filled([&](std::size_t row, std::size_t c) { return applyLink(learned[row][c]); });
    return step;
  }
  for (std::size_t c = 1; c <= numChannels(); ++c) {
    long double gradient = 0;
    long double hessian = 0;
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
      const auto k = static_cast<std::size_t>(table.rows[row].channel);
      const bool isDealt = (c <= 2 && k >= c) || (c > 2 && k > c);
      if (!isDealt || std::isnan(table.rows[row].y)) continue;
      addTerms(lossId, table.rows[row].y, previous(stage, row, c - 1), learned[row][c - 1], gradient, hessian);
    }
    const bool isEmpty = gradient == 0 && hessian == 0;
    step.alpha.push_back(isEmpty ? 1.0 : static_cast<double>(disturbed(gradient / hessian)));
  }
  step.prediction = filled([&](std::size_t row, std::size_t c) {
    return static_cast<double>(previous(stage, row, c) + static_cast<long double>(step.alpha[c]) * learned[row][c]);
  });
  return step;
}

long LiteralBoosting::significantBack(const std::vector<LiteralTriple>& scores) {
  const long n = static_cast<long>(scores.size());
  if (n < 1) return n;
  if (n - 1 < 2) return n - 1;
  const LiteralTriple& last = scores.back();
  for (long k = n - 1; k >= 2; --k) {
    const LiteralTriple& earlier = scores[static_cast<std::size_t>(k - 1)];
    if (last.points < 2 || earlier.points < 2) return n - 1;
    const long double d = last.fit / last.points - earlier.fit / earlier.points;
    const long double bound = (1 / earlier.points + 1 / last.points) * (earlier.variance + last.variance) /
                              (earlier.points + last.points - 2);
    if (d < 0 && d * d >= bound) return n - k;
  }
  return n - 1;
}

std::size_t LiteralBoosting::findBest(const std::vector<LiteralTriple>& scores) {
  std::size_t best = 1;
  long double smallest = std::numeric_limits<double>::max();
  for (std::size_t s = scores.size(); s >= 2; --s) {
    const LiteralTriple& score = scores[s - 1];
    if (!(score.points > 0)) continue;
    if (score.fit < smallest) {
      smallest = score.fit;
      best = s;
    }
  }
  return best;
}
