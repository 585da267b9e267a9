#include "toy_regression.h"

#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENToyRegression);

const QUVENField& QUVENToyRegression::getVariable(long i) const {
  return i <= getNumInputs() ? *getExplanatoryFields()[i].getField() : *getTargetFields()[1].getField();
}

bool QUVENToyRegression::beginPass(const QUVENEnvHandle& env) {
  const long n = getNumInputs() + 1;
  ivMeans.setSize(n, QUVEN_ENV);
  for (long i = 1; i <= n; ++i) {
    const QUVENNumFieldDist* dist = static_cast<const QUVENNumField&>(getVariable(i)).getDistribution();
    QUVEN_ASSERT(dist != nullptr && dist->getNumBins() > 0);
    double sum = 0;
    for (long b = 1; b <= dist->getNumBins(); ++b) {
      if (dist->getBin(b).getCount() > 0) sum += dist->getBin(b).getCount() * dist->getBin(b).getMean();
    }
    ivMeans[i] = sum / dist->getValidCount();
  }
  return true;
}

void QUVENToyRegression::beginRecords(const QUVENEnvHandle& env) {
  ivRecords = 0;
  ivProducts.setOrder(getNumInputs() + 1, QUVEN_ENV);
  deviations.setSize(getNumInputs() + 1, QUVEN_ENV);
}

void QUVENToyRegression::learn(QUVENDataPoint&, const QUVENEnvHandle& env) {
  ++ivRecords;
  for (long i = 1; i <= deviations.getSize(); ++i) {
    const QUVENField& variable = getVariable(i);
    deviations[i] = variable.isMissing() ? 0 : variable.getNumValue(env) - ivMeans[i];
  }
  ivProducts.addWeighted(1, deviations);
}

bool QUVENToyRegression::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENToyRegression&>(*other);
  ivRecords += part.ivRecords;
  ivProducts.merge(part.ivProducts);
  return true;
}

bool QUVENToyRegression::endPass(std::int32_t, const QUVENEnvHandle& env) {
  solve(QUVEN_ENV);
  return true;
}

void QUVENToyRegression::solve(const QUVENEnvHandle& env) {
  const long n = getNumInputs();
  QUVENSymmetricMatrix& a = ivProducts;
  QUVENXaRay<QUVENXaRay<double>, 0> rows;  // the equations, with the right-hand side at n + 1
  rows.setSize(n, QUVEN_ENV);
  for (long i = 1; i <= n; ++i) {
    rows[i].setSize(n + 1, QUVEN_ENV);
    for (long j = 1; j <= n + 1; ++j) rows[i][j] = a.get(i, j);
  }
  for (long p = 1; p <= n; ++p) {
    for (long i = p + 1; i <= n; ++i) {
      const double factor = rows[i][p] / rows[p][p];
      for (long j = p; j <= n + 1; ++j) rows[i][j] -= factor * rows[p][j];
    }
  }
  ivCoefficients.setSize(n, QUVEN_ENV);
  for (long i = n; i >= 1; --i) {
    double value = rows[i][n + 1];
    for (long j = i + 1; j <= n; ++j) value -= rows[i][j] * ivCoefficients[j];
    ivCoefficients[i] = value / rows[i][i];
  }
  ivIntercept = ivMeans[n + 1];
  ivResidual = a.get(n + 1, n + 1);
  for (long i = 1; i <= n; ++i) {
    ivIntercept -= ivCoefficients[i] * ivMeans[i];
    ivResidual -= ivCoefficients[i] * a.get(i, n + 1);
  }
  rows.deleteMemory(QUVEN_ENV);
}

void QUVENToyRegression::scoreChannel(std::int32_t channel, QUVENDataPoint&, const QUVENEnvHandle& env) {
  double prediction = ivIntercept;
  for (long i = 1; i <= getNumInputs(); ++i) {
    const QUVENField& input = getVariable(i);
    prediction += ivCoefficients[i] * (input.isMissing() ? ivMeans[i] : input.getNumValue(env));
  }
  predict(channel, prediction, env);
}
