#ifndef TESTS_LEARNING_LITERAL_LEAST_SQUARES_H
#define TESTS_LEARNING_LITERAL_LEAST_SQUARES_H

// Least squares and forward selection by another method: two passes over the records, normal equations solved anew for
// each set of variables, residuals taken from the records. Sums are long double. Variables are counted from 0 here.

#include <vector>

struct LsRow {
  std::vector<double> x;  ///< the last is the target
  double w = 1;
  double v = 1;
};
using LsTable = std::vector<LsRow>;

struct LiteralData {
  LiteralData(LsTable itsRows, std::size_t n);

  LsTable rows;
  long double points = 0;
  long double sumW = 0;
  long double sumW2 = 0;
  long double sumWV = 0;
  long double sumWLogV = 0;
  std::vector<long double> mean;
  std::vector<std::vector<long double>> cov;
};

struct LiteralModel {
  std::vector<std::size_t> variables;
  std::vector<long double> coefficients;  ///< in the order of the variables
  long double intercept = 0;
  long double stdDev = 0;
  struct Fit {
    long double points, rss, score, scoreVariance;
  } train{}, eval{};
};
using LiteralPath = std::vector<LiteralModel>;

/// The solution of a linear system, by elimination with pivots.
std::vector<long double> solve(std::vector<std::vector<long double>> a, std::vector<long double> b);

/// The weighted sum of squared residuals of a model, record by record.
long double literalRss(const LiteralData& data, const LiteralModel& model);
long double literalTolerance(const LiteralData& data, std::size_t variable);
long double literalVariance(const LiteralData& data, long double rss, long double tolerance, long double floorFactor);
long double literalScore(const LiteralData& data, long double rss, long double variance);
/// The regression on some variables, without its scores.
LiteralModel literalFit(const LiteralData& data, const std::vector<std::size_t>& variables);

/// Per channel, from 0, the path of models.
std::vector<LiteralPath> literalFolds(const std::vector<LiteralData>& train, const std::vector<LiteralData>& eval,
                                      long double floorFactor);
LiteralPath literalTwoWay(const LiteralData& a, const LiteralData& b, long double floorFactor);
LiteralPath literalSingle(const LiteralData& data, long double floorFactor);

#endif  // TESTS_LEARNING_LITERAL_LEAST_SQUARES_H
