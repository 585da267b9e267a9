#include "learning/literal_least_squares.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "learning/ls_fixture.h"

namespace {

constexpr long double eps = 1.1920928955078125e-07L;

using Variables = std::vector<std::size_t>;

/// One regression problem: where it is fitted, and where it is judged.
struct Problem {
  const LiteralData* train;
  const LiteralData* eval;
};

std::size_t targetOf(const LiteralData& data) { return data.mean.size() - 1; }

bool counts(const LsRow& row) { return row.w > 0 && row.v > 0; }

/// The covariance of the residuals of two variables after regressing both on others.
long double remaining(const LiteralData& data, const Variables& on, std::size_t a, std::size_t b) {
  std::vector<std::vector<long double>> matrix;
  std::vector<long double> right;
  for (const std::size_t i : on) {
    matrix.emplace_back();
    for (const std::size_t j : on) matrix.back().push_back(data.cov[i][j]);
    right.push_back(data.cov[i][b]);
  }
  const std::vector<long double> x = solve(matrix, right);
  long double result = data.cov[a][b];
  for (std::size_t i = 0; i < on.size(); ++i) result -= data.cov[a][on[i]] * x[i];
  return result;
}

LiteralModel::Fit fitOf(const LiteralData& data, const LiteralModel& model, long double variance, long double tolerance,
                        long double phi) {
  const long double rss = literalRss(data, model);
  const long double q = literalVariance(data, rss, tolerance, phi) / variance;
  return {data.points, rss, literalScore(data, rss, variance), data.points * data.sumW2 * q * q / 2};
}

LiteralModel modelOf(const Problem& problem, const Variables& variables, long double variance, long double phi) {
  LiteralModel model = literalFit(*problem.train, variables);
  const long double tolerance = literalTolerance(*problem.train, targetOf(*problem.train));
  model.stdDev = std::sqrt(variance);
  model.train = fitOf(*problem.train, model, variance, tolerance, phi);
  model.eval = fitOf(*problem.eval, model, variance, tolerance, phi);
  return model;
}

long double varianceFor(const LiteralData& train, long double rss, long double phi) {
  return literalVariance(train, rss, literalTolerance(train, targetOf(train)), phi);
}

LiteralModel modelOf(const Problem& problem, const Variables& variables, long double phi) {
  const long double rss = literalRss(*problem.train, literalFit(*problem.train, variables));
  return modelOf(problem, variables, varianceFor(*problem.train, rss, phi), phi);
}

long double scoreOf(const std::vector<Problem>& judges, const Variables& variables, long double phi) {
  long double sum = 0;
  for (const Problem& judge : judges) sum += modelOf(judge, variables, phi).eval.score;
  return sum;
}

/// The state of a selection.
struct Selection {
  std::vector<Problem> all;
  std::vector<Problem> judges;
  long double phi;
  Variables selected = {};
  Variables candidates = {};

  bool canAdd() const {
    return std::all_of(all.begin(), all.end(), [&](const Problem& problem) {
      const std::size_t target = targetOf(*problem.train);
      return remaining(*problem.train, selected, target, target) > 0;
    });
  }

  bool canSelect(std::size_t v) const {
    return std::all_of(all.begin(), all.end(), [&](const Problem& problem) {
      const long double c = problem.train->cov[v][v];
      const long double d = remaining(*problem.train, selected, v, v);
      const long double share = c <= 0 || d <= literalTolerance(*problem.train, v) ? 0 : d / c;
      return share > eps;
    });
  }

  long double reduction(std::size_t v) const {
    long double sum = 0;
    for (const Problem& problem : judges) {
      const long double e = remaining(*problem.train, selected, v, targetOf(*problem.train));
      sum += e * e / remaining(*problem.train, selected, v, v);
    }
    return sum;
  }

  /// Adds one candidate; needed: only one that improves the score.
  bool addOne(bool needed) {
    std::erase_if(candidates, [&](std::size_t v) { return !canSelect(v); });
    std::vector<long double> reductions(all[0].train->mean.size());
    for (const std::size_t v : candidates) reductions[v] = reduction(v);
    std::stable_sort(candidates.begin(), candidates.end(),
                     [&](std::size_t a, std::size_t b) { return reductions[a] > reductions[b]; });
    while (!candidates.empty()) {
      const std::size_t v = candidates.front();
      candidates.erase(candidates.begin());
      Variables trial = selected;
      trial.push_back(v);
      if (needed) {
        long double weights = 0;
        for (const Problem& judge : judges) weights += judge.eval->sumW;
        const long double without = scoreOf(judges, selected, phi);
        const long double with = scoreOf(judges, trial, phi);
        if (!(without - with > std::ldexp(1.0L, -36) * std::max(std::abs(without), weights))) continue;
      }
      selected = trial;
      return true;
    }
    return false;
  }
};

Selection startOf(std::vector<Problem> all, std::vector<Problem> judges, long double phi) {
  Selection selection{std::move(all), std::move(judges), phi};
  for (std::size_t v = 0; v < targetOf(*selection.all[0].train); ++v) selection.candidates.push_back(v);
  return selection;
}

}  // namespace

LiteralData::LiteralData(LsTable itsRows, std::size_t n)
    : rows(std::move(itsRows)), mean(n), cov(n, std::vector<long double>(n)) {
  for (const LsRow& row : rows) {
    points += 1;
    if (!counts(row)) continue;
    const long double weight = static_cast<long double>(row.w) * row.v;
    sumW += row.w;
    sumW2 += static_cast<long double>(row.w) * row.w;
    sumWV += weight;
    sumWLogV += row.w * std::log(static_cast<long double>(row.v));
    for (std::size_t i = 0; i < n; ++i) mean[i] += weight * row.x[i];
  }
  if (sumWV > 0) {
    for (long double& m : mean) m /= sumWV;
  }
  for (const LsRow& row : rows) {
    if (!counts(row)) continue;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) {
        cov[i][j] += static_cast<long double>(row.w) * row.v * (row.x[i] - mean[i]) * (row.x[j] - mean[j]);
      }
    }
  }
}

std::vector<long double> solve(std::vector<std::vector<long double>> a, std::vector<long double> b) {
  const std::size_t n = b.size();
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i) {
      if (std::abs(a[i][k]) > std::abs(a[pivot][k])) pivot = i;
    }
    std::swap(a[k], a[pivot]);
    std::swap(b[k], b[pivot]);
    for (std::size_t i = k + 1; i < n; ++i) {
      const long double factor = a[i][k] / a[k][k];
      for (std::size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
      b[i] -= factor * b[k];
    }
  }
  for (std::size_t k = n; k-- > 0;) {
    for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k][j] * b[j];
    b[k] /= a[k][k];
  }
  return b;
}

long double literalRss(const LiteralData& data, const LiteralModel& model) {
  long double sum = 0;
  for (const LsRow& row : data.rows) {
    if (!counts(row)) continue;
    long double residual = row.x.back() - model.intercept;
    for (std::size_t i = 0; i < model.variables.size(); ++i) {
      residual -= model.coefficients[i] * row.x[model.variables[i]];
    }
    sum += static_cast<long double>(row.w) * row.v * residual * residual;
  }
  return sum;
}

long double literalTolerance(const LiteralData& data, std::size_t variable) {
  const long double m = data.mean[variable];
  const long double c = std::max(0.0L, data.cov[variable][variable]);
  return (2 * m * m * data.sumWV + c) * eps * eps + eps * c;
}

long double literalVariance(const LiteralData& data, long double rss, long double tolerance, long double floorFactor) {
  long double lowest = floorFactor / (data.points + 1);
  if (data.sumWV > 0) lowest *= data.sumWV;
  const long double r = std::max({rss, tolerance, lowest});
  return data.sumWV > 0 ? r / data.sumWV : r;
}

long double literalScore(const LiteralData& data, long double rss, long double variance) {
  return (std::log(2 * std::numbers::pi_v<long double> * variance) * data.sumW - data.sumWLogV + rss / variance) / 2;
}

LiteralModel literalFit(const LiteralData& data, const Variables& variables) {
  LiteralModel model;
  model.variables = variables;
  std::vector<std::vector<long double>> matrix;
  std::vector<long double> right;
  const std::size_t target = targetOf(data);
  for (const std::size_t i : variables) {
    matrix.emplace_back();
    for (const std::size_t j : variables) matrix.back().push_back(data.cov[i][j]);
    right.push_back(data.cov[i][target]);
  }
  model.coefficients = solve(matrix, right);
  model.intercept = data.mean[target];
  for (std::size_t i = 0; i < variables.size(); ++i) {
    model.intercept -= model.coefficients[i] * data.mean[variables[i]];
  }
  return model;
}

std::vector<LiteralPath> literalFolds(const std::vector<LiteralData>& train, const std::vector<LiteralData>& eval,
                                      long double floorFactor) {
  const std::size_t channels = train.size();
  std::vector<Problem> all{{&train[0], &train[0]}, {&train[1], &eval[1]}};
  std::vector<Problem> judges;
  long double foldWeight = 0;
  for (std::size_t c = 2; c < channels; ++c) {
    judges.push_back({&train[c], &eval[c]});
    all.push_back(judges.back());
    foldWeight += eval[c].sumWV;
  }
  const long double twoWeight = foldWeight + eval[1].sumWV;
  const long double scale2 = foldWeight > 0 ? train[1].sumWV / foldWeight : 1;
  const long double scale1 = twoWeight > 0 ? train[0].sumWV / twoWeight : 1;
  Selection selection = startOf(all, judges, floorFactor);
  std::vector<LiteralPath> paths(channels);
  do {
    long double rss = 0;
    for (std::size_t c = 2; c < channels; ++c) {
      paths[c].push_back(modelOf(all[c], selection.selected, floorFactor));
      rss += paths[c].back().eval.rss;
    }
    paths[1].push_back(
        modelOf(all[1], selection.selected, varianceFor(train[1], rss * scale2, floorFactor), floorFactor));
    rss += paths[1].back().eval.rss;
    paths[0].push_back(
        modelOf(all[0], selection.selected, varianceFor(train[0], rss * scale1, floorFactor), floorFactor));
  } while (selection.canAdd() && selection.addOne(selection.selected.empty()));
  return paths;
}

LiteralPath literalTwoWay(const LiteralData& a, const LiteralData& b, long double floorFactor) {
  LsTable rows = a.rows;
  rows.insert(rows.end(), b.rows.begin(), b.rows.end());
  const LiteralData merged(rows, a.mean.size());
  Selection selection = startOf({{&merged, &merged}, {&b, &a}, {&a, &b}}, {{&b, &a}, {&a, &b}}, floorFactor);
  LiteralPath path;
  do {
    path.push_back(modelOf(selection.all[0], selection.selected, floorFactor));
  } while (selection.canAdd() && selection.addOne(true));
  return path;
}

LiteralPath literalSingle(const LiteralData& data, long double floorFactor) {
  Selection selection = startOf({{&data, &data}}, {{&data, &data}}, floorFactor);
  LiteralPath path;
  do {
    path.push_back(modelOf(selection.all[0], selection.selected, floorFactor));
  } while (selection.canAdd() && selection.addOne(false));
  return path;
}

LsTable randomTable(unsigned seed, long n, int rows, bool withWeights) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> effects;
  for (long i = 1; i < n; ++i) effects.push_back(i % 3 == 0 ? 0.0 : normal(random));
  LsTable table;
  for (int r = 0; r < rows; ++r) {
    LsRow row;
    const double common = normal(random);
    double y = 5 + normal(random);
    for (const double effect : effects) {
      row.x.push_back(10 + 0.6 * common + normal(random));
      y += effect * row.x.back();
    }
    row.x.push_back(y);
    if (withWeights) {
      constexpr double weights[] = {0.0, 0.5, 1.0, 2.0, 3.25};
      row.w = weights[random() % 5];
      row.v = random() % 4 == 0 ? 1.0 : std::exp(0.5 * normal(random));
    }
    table.push_back(row);
  }
  return table;
}
