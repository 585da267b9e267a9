#include "simple_algorithm/quven_kernel_function_friends.h"

#include <cmath>

#include "control/quven_XML_tag.h"
#include "kernel/quven_sample_number.h"
#include "simple_algorithm/quven_kernel_parameters.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENKernelFunctionFriends);

double QUVENKernelFunctionFriends::informationOf(double m00, double m01, double m10, double m11) const {
  // The order of the operations stands: values are told apart by exact equality.
  const double n = ivNormalizingFactor;
  const double p00 = m00 / n;
  const double p01 = m01 / n;
  const double p10 = m10 / n;
  const double p11 = m11 / n;
  const double a = p10 + p00;
  const double b = 1 - a;
  const double c = p01 + p00;
  const double d = 1 - c;
  double information = 0;
  if (c > 0) {
    if (a > 0 && p00 > 0) information += p00 * std::log(p00 / (a * c));
    if (b > 0 && p01 > 0) information += p01 * std::log(p01 / (b * c));
  }
  if (d > 0) {
    if (a > 0 && p10 > 0) information += p10 * std::log(p10 / (a * d));
    if (b > 0 && p11 > 0) information += p11 * std::log(p11 / (b * d));
  }
  information /= std::log(2.0);
  return m01 + m10 > m00 + m11 ? -information : information;
}

double QUVENKernelFunctionFriends::computeFromContacts(std::span<const double> x, std::span<const double> y) const {
  const double* atX = x.data();
  const double* atY = y.data();
  const double* const endX = atX + x.size();
  const double* const endY = atY + y.size();
  long common = 0;
  // Which list to step in cannot be foreseen, so it is no branch. An element that compares with nothing is y's turn.
  while (atX != endX && atY != endY) {
    const double elementX = *atX;
    const double elementY = *atY;
    const bool equal = elementX == elementY;
    const bool isFirstX = elementY > elementX;
    const long stepX = static_cast<long>(equal) | static_cast<long>(isFirstX);
    const long stepY = static_cast<long>(!isFirstX);
    common += static_cast<long>(equal);
    atX += stepX;
    atY += stepY;
  }
  return computeFromCounts(static_cast<std::size_t>(common), static_cast<std::size_t>(atX - x.data()),
                           static_cast<std::size_t>(atY - y.data()));
}

double QUVENKernelFunctionFriends::computeFromCounts(std::size_t common, std::size_t stepsX, std::size_t stepsY) const {
  const double m11 = static_cast<double>(common);
  const double m10 = static_cast<double>(stepsX - common);
  const double m01 = static_cast<double>(stepsY - common);
  return informationOf(ivNormalizingFactor - m11 - m01 - m10, m01, m10, m11);
}

QUVENKernelFunctionFriends::Walk QUVENKernelFunctionFriends::walk(const Vector& x, const Vector& y) const {
  Walk counts;
  const double* atX = x.begin();
  const double* atY = y.begin();
  const auto skipEmpty = [this](const double*& at, const double* end) {
    while (at != end && *at == ivEmptyMarker) ++at;
  };
  for (;;) {
    skipEmpty(atX, x.end());
    skipEmpty(atY, y.end());
    if (atX == x.end() || atY == y.end()) return counts;
    if (*atX == *atY) {
      ++counts.m11;
      ++atX;
      ++atY;
    } else if (*atY > *atX) {
      ++counts.m10;
      ++atX;
    } else {
      ++counts.m01;
      ++atY;
    }
  }
}

bool QUVENKernelFunctionFriends::hasCommonContact(const Vector& x, const Vector& y) const { return walk(x, y).m11 > 0; }

double QUVENKernelFunctionFriends::ComputeKernel(const Vector& x, const Vector& y, SampleNumber, SampleNumber) const {
  if (hasIndicesData()) {
    const Walk counts = walk(x, y);
    const double rest = ivNormalizingFactor - static_cast<double>(counts.m11) - static_cast<double>(counts.m01);
    return informationOf(rest - static_cast<double>(counts.m10), static_cast<double>(counts.m01),
                         static_cast<double>(counts.m10), static_cast<double>(counts.m11));
  }
  long m00 = 0;
  long m01 = 0;
  long m10 = 0;
  long m11 = 0;
  for (long i = 1; i <= x.getSize(); ++i) {
    if (x[i] == ivEmptyMarker || y[i] == ivEmptyMarker) continue;
    if (x[i] > 0) {
      ++(y[i] > 0 ? m11 : m10);
    } else {
      ++(y[i] > 0 ? m01 : m00);
    }
  }
  return informationOf(static_cast<double>(m00), static_cast<double>(m01), static_cast<double>(m10),
                       static_cast<double>(m11));
}

void QUVENKernelFunctionFriends::writeParameters(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  tag.addLeafTagPath("KernelType", QUVEN_ENV).setValue("Friends", QUVEN_ENV);
  tag.addLeafTagPath("IsIndicesData", QUVEN_ENV).setValue(ivIsIndicesData, QUVEN_ENV);
  tag.addLeafTagPath("EmptyMarker", QUVEN_ENV).setValue(ivEmptyMarker, QUVEN_ENV);
  QUVENXMLTag& factor = tag.addLeafTagPath("NormalizingFactor", QUVEN_ENV);
  // From a kernel values file the callers are never counted.
  if (ivNormalizingFactor == quvenCountedCallers) {
    factor.setValue("Callers", QUVEN_ENV);
  } else {
    factor.setValue(ivNormalizingFactor, QUVEN_ENV);
  }
}

void QUVENKernelFunctionFriends::setSampleIndex(const QUVENXaRay<SampleNumber>& samples, const QUVENEnvHandle& env) {
  sampleIndex.deleteMemory(QUVEN_ENV);
  positions.setSize(0, QUVEN_ENV);
  for (long i = 1; i <= samples.getSize(); ++i) {
    const long index = sampleIndex.insert(samples[i], QUVEN_ENV);
    if (index > positions.getSize()) positions.append(static_cast<std::int32_t>(i), QUVEN_ENV);
  }
  lastSeen.deleteMemory(QUVEN_ENV);
  lastSeen.setSize(positions.getSize(), QUVEN_ENV);
  numSearches = 0;
}

int QUVENKernelFunctionFriends::getCandidates(QUVENXaRay<std::int32_t>& result, const Vector& data,
                                              const QUVENEnvHandle& env) {
  if (++numSearches == 0) {  // the numbers have run out
    std::fill(lastSeen.begin(), lastSeen.end(), 0);
    numSearches = 1;
  }
  result.setSize(data.getSize(), QUVEN_ENV);
  std::fill(result.begin(), result.end(), -1);
  long numFound = 0;
  for (long i = 1; i <= data.getSize(); ++i) {
    if (data[i] == ivEmptyMarker) continue;
    const SampleNumber key = hasIndicesData() ? quvenSampleNumber(data[i]) : static_cast<SampleNumber>(i);
    const long index = sampleIndex.find(key);
    if (index == 0 || lastSeen[index] == numSearches) continue;
    lastSeen[index] = numSearches;
    result[++numFound] = positions[index];
  }
  return numFound > 0 ? 2 : 1;
}
