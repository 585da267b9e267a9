#include "kernel/quven_symmetric_matrix.h"

#include <algorithm>
#include <cmath>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENSymmetricMatrix);

void QUVENSymmetricMatrix::setOrder(long rows, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(0 <= rows && rows <= MostRows);
  ivElements.setSize(indexOf(rows, rows), QUVEN_ENV);
  std::fill(ivElements.begin(), ivElements.end(), 0.0);
  order = rows;
}

void QUVENSymmetricMatrix::addWeighted(double w, const QUVENXaRay<double>& x) {
  QUVEN_ASSERT(x.getSize() == order);
  quvenAddPackedSquare(ivElements.begin(), x.begin(), order, w);
}

void QUVENSymmetricMatrix::merge(const QUVENSymmetricMatrix& b) {
  QUVEN_ASSERT(order == b.order);
  std::transform(ivElements.begin(), ivElements.end(), b.ivElements.begin(), ivElements.begin(),
                 [](double mine, double other) { return mine + other; });
}

void QUVENSymmetricMatrix::swapRows(long i, long j) {
  QUVEN_ASSERT(1 <= i && i <= order && 1 <= j && j <= order);
  if (i == j) return;
  if (i > j) std::swap(i, j);
  const auto exchange = [this](long a, long b) { std::swap(ivElements[a], ivElements[b]); };
  for (long k = 1; k < i; ++k) exchange(indexOf(k, i), indexOf(k, j));
  for (long k = i + 1; k < j; ++k) exchange(indexOf(i, k), indexOf(k, j));
  for (long k = j + 1; k <= order; ++k) exchange(indexOf(i, k), indexOf(j, k));
  exchange(indexOf(i, i), indexOf(j, j));
}

void QUVENSymmetricMatrix::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  const long elements = ivElements.getSize();
  order = static_cast<long>((std::sqrt(8.0 * static_cast<double>(elements) + 1) - 1) / 2);
  QUVEN_ASSERT(indexOf(order, order) == elements);
}
