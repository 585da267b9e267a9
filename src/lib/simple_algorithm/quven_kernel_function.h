#ifndef QUVEN_KERNEL_FUNCTION_H
#define QUVEN_KERNEL_FUNCTION_H

// How alike two samples are: the kinds of kernel functions.

#include <cstdint>
#include <string>

#include "util/quven_object_of.h"
#include "util/quven_own_ptr.h"
#include "util/quven_xaray.h"

class QUVENXMLTag;

/// The measure of likeness of two samples.
///
/// Shapes: vectors are 1-based; what a function takes from both runs over the elements of x, and y has no fewer, but
///         for contact lists, which have any length.
class QUVENKernelFunction : public QUVENObjectOf<QUVENKernelFunction, QUVENObject> {
 public:
  using SampleNumber = std::uint64_t;
  using Vector = QUVENXaRay<double>;

  virtual double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const = 0;
  /// Adds the keys of the kind as leaves of the tag.
  virtual void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const = 0;
  /// Tells the samples that getCandidates may name, in their order. Does nothing here.
  virtual void setSampleIndex(const QUVENXaRay<SampleNumber>& samples, const QUVENEnvHandle& env);
  /// The positions of the samples that a vector names. Returns 2 with at least one, else 1.
  /// Shapes: the result has the size of the vector; behind the positions it holds -1.
  ///
  /// With FilterSimilarities a sample is compared with these only, so a kind that is to work with it must override both
  /// this and setSampleIndex: those of this class find nothing, no pair is compared, and the run ends with 3503. Of the
  /// kinds here QUVENKernelFunctionFriends overrides them.
  virtual int getCandidates(QUVENXaRay<std::int32_t>& result, const Vector& data, const QUVENEnvHandle& env);

 protected:
  QUVENKernelFunction() = default;

 private:
  QUVEN_MEMBER(ivDummy, std::int32_t) = 0;
};

/// The polynomial kernel: (mul x.y + bias) to the power of the degree.
class QUVENKernelFunctionPoly : public QUVENObjectOf<QUVENKernelFunctionPoly, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionPoly() = default;
  QUVENKernelFunctionPoly(double mul, std::int32_t degree, double bias) : ivMul(mul), ivDeg(degree), ivBias(bias) {}

  /// Each call says on standard output that it was reached.
  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;

 private:
  QUVEN_MEMBER(ivMul, double) = 1;
  QUVEN_MEMBER(ivDeg, std::int32_t) = 1;
  QUVEN_MEMBER(ivBias, double) = 1;
};

/// The radial basis function: exp(-gamma |x - y|^2).
class QUVENKernelFunctionRBF : public QUVENObjectOf<QUVENKernelFunctionRBF, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionRBF() = default;
  explicit QUVENKernelFunctionRBF(double gamma) : ivGamma(gamma) {}

  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;

 private:
  QUVEN_MEMBER(ivGamma, double) = 1;
};

/// The sigmoid kernel: tanh(mul x.y + bias).
class QUVENKernelFunctionSigmoid : public QUVENObjectOf<QUVENKernelFunctionSigmoid, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionSigmoid() = default;
  QUVENKernelFunctionSigmoid(double mul, double bias) : ivMul(mul), ivBias(bias) {}

  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;

 private:
  QUVEN_MEMBER(ivMul, double) = 1;
  QUVEN_MEMBER(ivBias, double) = 1;
};

/// The cosine of the angle between two vectors; of a zero vector the dot product, which is 0.
class QUVENKernelFunctionCosine : public QUVENObjectOf<QUVENKernelFunctionCosine, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionCosine() = default;

  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
};

/// Likeness that stands in the data: element sampleY of x, and 0 where x has none.
class QUVENKernelFunctionPrecomputed : public QUVENObjectOf<QUVENKernelFunctionPrecomputed, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionPrecomputed() = default;

  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
};

/// The mutual information of two sequences of discrete values, in bits.
///
/// Units:  elements are cut to integers; a pair of values is told by int(x) * numberOfBins + int(y).
/// Source: Cover and Thomas, Elements of Information Theory, 2.3, with the relative frequencies as probabilities.
class QUVENKernelFunctionInformation : public QUVENObjectOf<QUVENKernelFunctionInformation, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionInformation() = default;
  explicit QUVENKernelFunctionInformation(std::int32_t numberOfBins) : ivNumberOfBins(numberOfBins) {}

  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;

 private:
  QUVEN_MEMBER(ivNumberOfBins, std::int32_t) = 0;
};

/// What a kernel function is made of: its kind and the parameters of all kinds.
struct QUVENKernelSettings {
  std::string type;
  std::int32_t degree = 1;
  double bias = 1;
  double multiplier = 1;
  double gamma = 1;
  std::int32_t isIndicesData = 1;
  double emptyMarker = 0;
  double normalizingFactor = 50000000;
  std::int32_t numberOfBins = 0;
};

/// A kernel function by the name of its kind: "Poly", "RBF", "Sigmoid", "Cosine", "Precomputed", "Friends",
/// "Information". Errors: any other name is an internal error.
QUVENOwnPtr<QUVENKernelFunction> quvenMakeKernelFunction(const QUVENKernelSettings& settings,
                                                         const QUVENEnvHandle& env);

#endif  // QUVEN_KERNEL_FUNCTION_H
