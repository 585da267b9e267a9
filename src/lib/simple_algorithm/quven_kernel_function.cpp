#include "simple_algorithm/quven_kernel_function.h"

#include <cmath>
#include <iostream>
#include <limits>
#include <map>

#include "control/quven_XML_tag.h"
#include "kernel/quven_sample_number.h"
#include "simple_algorithm/quven_kernel_function_friends.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENKernelFunction);
QUVEN_REGISTER(QUVENKernelFunctionPoly);
QUVEN_REGISTER(QUVENKernelFunctionRBF);
QUVEN_REGISTER(QUVENKernelFunctionSigmoid);
QUVEN_REGISTER(QUVENKernelFunctionCosine);
QUVEN_REGISTER(QUVENKernelFunctionPrecomputed);
QUVEN_REGISTER(QUVENKernelFunctionInformation);

namespace {

using Vector = QUVENKernelFunction::Vector;

double dot(const Vector& x, const Vector& y) {
  double sum = 0;
  for (long i = 1; i <= x.getSize(); ++i) sum += x[i] * y[i];
  return sum;
}

double squaredDistance(const Vector& x, const Vector& y) {
  double sum = 0;
  for (long i = 1; i <= x.getSize(); ++i) {
    const double difference = x[i] - y[i];
    sum += difference * difference;
  }
  return sum;
}

/// A value cut to an integer; what no integer holds becomes the nearest one, NaN 0.
std::int64_t cut(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (value >= Limits::max()) return Limits::max();
  if (value <= Limits::min()) return Limits::min();
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

template <class T>
void setLeaf(QUVENXMLTag& tag, const char* key, T value, const QUVENEnvHandle& env) {
  tag.addLeafTagPath(key, QUVEN_ENV).setValue(value, QUVEN_ENV);
}

}  // namespace

void QUVENKernelFunction::setSampleIndex(const QUVENXaRay<SampleNumber>&, const QUVENEnvHandle&) {}
int QUVENKernelFunction::getCandidates(QUVENXaRay<std::int32_t>&, const Vector&, const QUVENEnvHandle&) { return 1; }

double QUVENKernelFunctionPoly::ComputeKernel(const Vector& x, const Vector& y, SampleNumber, SampleNumber) const {
  const double d = ivMul * dot(x, y) + ivBias;
  const double result = ivDeg == 1 ? d : ivDeg == 2 ? d * d : std::pow(d, ivDeg);
  // On purpose, whichever branch ran.
  std::cout << "QUVENKernelFunctionPoly::ComputeKernel, alleged dead code reached (multi-platform adjustments)\n";
  return result;
}

void QUVENKernelFunctionPoly::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  setLeaf(tag, "KernelType", "Poly", QUVEN_ENV);
  setLeaf(tag, "Deg", ivDeg, QUVEN_ENV);
  setLeaf(tag, "Bias", ivBias, QUVEN_ENV);
  setLeaf(tag, "Mul", ivMul, QUVEN_ENV);
}

double QUVENKernelFunctionRBF::ComputeKernel(const Vector& x, const Vector& y, SampleNumber, SampleNumber) const {
  return std::exp(-ivGamma * squaredDistance(x, y));
}

void QUVENKernelFunctionRBF::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  setLeaf(tag, "KernelType", "RBF", QUVEN_ENV);
  setLeaf(tag, "Gamma", ivGamma, QUVEN_ENV);
}

double QUVENKernelFunctionSigmoid::ComputeKernel(const Vector& x, const Vector& y, SampleNumber, SampleNumber) const {
  return std::tanh(ivMul * dot(x, y) + ivBias);
}

void QUVENKernelFunctionSigmoid::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  setLeaf(tag, "KernelType", "Sigmoid", QUVEN_ENV);
  setLeaf(tag, "Bias", ivBias, QUVEN_ENV);
  setLeaf(tag, "Mul", ivMul, QUVEN_ENV);
}

double QUVENKernelFunctionCosine::ComputeKernel(const Vector& x, const Vector& y, SampleNumber, SampleNumber) const {
  const double product = dot(x, y);
  const double lengths = std::sqrt(dot(y, y) * dot(x, x));
  return lengths > 0 ? product / lengths : product;
}

void QUVENKernelFunctionCosine::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  setLeaf(tag, "KernelType", "Cosine", QUVEN_ENV);
}

double QUVENKernelFunctionPrecomputed::ComputeKernel(const Vector& x, const Vector&, SampleNumber,
                                                     SampleNumber sampleY) const {
  const bool has = sampleY >= 1 && sampleY <= static_cast<SampleNumber>(x.getSize());
  return has ? x[static_cast<long>(sampleY)] : 0;
}

void QUVENKernelFunctionPrecomputed::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  setLeaf(tag, "KernelType", "Precomputed", QUVEN_ENV);
}

double QUVENKernelFunctionInformation::ComputeKernel(const Vector& x, const Vector& y, SampleNumber,
                                                     SampleNumber) const {
  struct Pair {
    std::int64_t x = 0;
    std::int64_t y = 0;
    long count = 0;
  };
  std::map<std::int64_t, long> countsX;
  std::map<std::int64_t, long> countsY;
  std::map<std::int64_t, Pair> pairs;
  for (long i = 1; i <= x.getSize(); ++i) {
    const std::int64_t cutX = cut(x[i]);
    const std::int64_t cutY = cut(y[i]);
    ++countsX[cutX];
    ++countsY[cutY];
    Pair& pair = pairs[cutX * ivNumberOfBins + cutY];
    if (pair.count++ == 0) pair = {cutX, cutY, 1};
  }
  const double n = static_cast<double>(x.getSize());
  const auto probability = [n](long count) { return static_cast<double>(count) / n; };
  double sum = 0;
  for (const auto& [key, pair] : pairs) {
    const double both = probability(pair.count);
    sum += both * std::log(both / (probability(countsX[pair.x]) * probability(countsY[pair.y])));
  }
  return sum / std::log(2.0);
}

void QUVENKernelFunctionInformation::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  setLeaf(tag, "KernelType", "Information", QUVEN_ENV);
  setLeaf(tag, "NumberOfBins", ivNumberOfBins, QUVEN_ENV);
}

QUVENOwnPtr<QUVENKernelFunction> quvenMakeKernelFunction(const QUVENKernelSettings& settings,
                                                         const QUVENEnvHandle& env) {
  if (settings.type == "Poly") {
    return quvenMake<QUVENKernelFunctionPoly>(QUVEN_ENV, settings.multiplier, settings.degree, settings.bias);
  }
  if (settings.type == "RBF") return quvenMake<QUVENKernelFunctionRBF>(QUVEN_ENV, settings.gamma);
  if (settings.type == "Sigmoid") {
    return quvenMake<QUVENKernelFunctionSigmoid>(QUVEN_ENV, settings.multiplier, settings.bias);
  }
  if (settings.type == "Cosine") return quvenMake<QUVENKernelFunctionCosine>(QUVEN_ENV);
  if (settings.type == "Precomputed") return quvenMake<QUVENKernelFunctionPrecomputed>(QUVEN_ENV);
  if (settings.type == "Friends") {
    return quvenMake<QUVENKernelFunctionFriends>(QUVEN_ENV, settings.isIndicesData, settings.emptyMarker,
                                                 settings.normalizingFactor);
  }
  if (settings.type == "Information") {
    return quvenMake<QUVENKernelFunctionInformation>(QUVEN_ENV, settings.numberOfBins);
  }
  quvenUnreachable(QUVEN_ENV);
}
