#ifndef QUVEN_KERNEL_FUNCTION_FRIENDS_H
#define QUVEN_KERNEL_FUNCTION_FRIENDS_H

#include <span>

#include "simple_algorithm/quven_kernel_function.h"
#include "simple_algorithm/quven_node_table.h"

/// The likeness of two subscribers by their contacts: the mutual information, over the whole population, of being a
/// contact of the one and being a contact of the other; negative where the two disagree more than they agree.
///
/// Units:  bits. The normalizing factor is the size of the population.
/// Shapes: with indices data both vectors are ascending lists of contact numbers, in which the empty marker fills
///         places; else dense vectors of one length, in which what is above 0 is a contact.
/// Cost:   one merge walk of the two lists, no allocation. What is left of one list when the other has run out is not
///         counted, on purpose.
/// Source: Cover and Thomas, Elements of Information Theory, 2.3, of two binary variables.
class QUVENKernelFunctionFriends : public QUVENObjectOf<QUVENKernelFunctionFriends, QUVENKernelFunction> {
 public:
  QUVENKernelFunctionFriends() = default;
  QUVENKernelFunctionFriends(std::int32_t isIndicesData, double emptyMarker, double normalizingFactor)
      : ivIsIndicesData(isIndicesData), ivNormalizingFactor(normalizingFactor), ivEmptyMarker(emptyMarker) {}

  double ComputeKernel(const Vector& x, const Vector& y, SampleNumber sampleX, SampleNumber sampleY) const override;
  void writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
  /// Position i of the list is sample i; of a sample that stands twice the first position counts.
  void setSampleIndex(const QUVENXaRay<SampleNumber>& samples, const QUVENEnvHandle& env) override;
  int getCandidates(QUVENXaRay<std::int32_t>& result, const Vector& data, const QUVENEnvHandle& env) override;

  /// The same for indices data whose places with the empty marker are left out already.
  double computeFromContacts(std::span<const double> x, std::span<const double> y) const;
  /// The same from the outcome of the walk: the common contacts, and those of each list that it has passed.
  double computeFromCounts(std::size_t common, std::size_t stepsX, std::size_t stepsY) const;

  /// Whether two lists of contacts have one in common that the walk of ComputeKernel meets. Requires: indices data.
  bool hasCommonContact(const Vector& x, const Vector& y) const;

  double getNormalizingFactor() const { return ivNormalizingFactor; }
  void setNormalizingFactor(double population) { ivNormalizingFactor = population; }
  double getEmptyMarker() const { return ivEmptyMarker; }
  bool hasIndicesData() const { return ivIsIndicesData != 0; }

 private:
  /// The contacts that two lists have in common and those that only one has, as far as the walk goes.
  struct Walk {
    long m11 = 0;
    long m10 = 0;
    long m01 = 0;
  };
  Walk walk(const Vector& x, const Vector& y) const;
  /// The information of the four cells of two binary variables.
  double informationOf(double m00, double m01, double m10, double m11) const;

  QUVEN_MEMBER(ivIsIndicesData, std::int32_t) = 1;
  QUVEN_MEMBER(ivNormalizingFactor, double) = 50000000;
  QUVEN_MEMBER(ivEmptyMarker, double) = 0;

  QUVEN_STATE(sampleIndex, QUVENNodeIndex);
  QUVEN_STATE(positions, QUVENXaRay<std::int32_t>);  // of the samples by their index
  QUVEN_STATE(lastSeen, QUVENXaRay<std::uint32_t>);  // by index: the search that met the sample last
  QUVEN_STATE(numSearches, std::uint32_t) = 0;
};

#endif  // QUVEN_KERNEL_FUNCTION_FRIENDS_H
