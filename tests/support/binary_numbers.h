#ifndef TESTS_SUPPORT_BINARY_NUMBERS_H
#define TESTS_SUPPORT_BINARY_NUMBERS_H

#include <cstring>
#include <string>
#include <vector>

/// The bytes of numbers in a dataset.
inline std::string bytesOfNumbers(const std::vector<double>& numbers) {
  std::string bytes(numbers.size() * sizeof(double), '\0');
  if (!numbers.empty()) std::memcpy(bytes.data(), numbers.data(), bytes.size());
  return bytes;
}

/// The numbers in a dataset's bytes. Bytes of an incomplete number at the end are ignored.
inline std::vector<double> numbersOfBytes(const std::string& bytes) {
  std::vector<double> numbers(bytes.size() / sizeof(double));
  if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(double));
  return numbers;
}

#endif  // TESTS_SUPPORT_BINARY_NUMBERS_H
