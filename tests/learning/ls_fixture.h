#ifndef TESTS_LEARNING_LS_FIXTURE_H
#define TESTS_LEARNING_LS_FIXTURE_H

#include <random>
#include <vector>

#include "kernel/kernel_fixture.h"
#include "learning/literal_least_squares.h"
#include "learning/quven_ls_data.h"

/// An object by value that is released at the end of a block.
template <class T>
class Held {
 public:
  explicit Held(QUVENEnv& environment) : env(&environment) {}
  ~Held() { quvenReleaseCell(value, QUVEN_ENV); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  T& operator*() { return value; }
  T* operator->() { return &value; }

 private:
  QUVENEnv* env;
  T value;
};

/// Least-squares data from tables of records.
class LeastSquaresTest : public KernelTest {
 protected:
  void add(QUVENLSData& data, const LsTable& table) {
    QUVENXaRay<double> values;
    for (const LsRow& row : table) {
      values.fromZeroBased(row.x, QUVEN_ENV);
      data.addDataPoint(values, row.w, row.v);
    }
    values.deleteMemory(QUVEN_ENV);
  }
  void fill(QUVENLSData& data, const LsTable& table, long n) {
    data.allocate(n, QUVEN_ENV);
    add(data, table);
  }
  /// An image with the end of its array of a number, from 1, replaced by the end of an object.
  static std::string withoutArrayEnd(std::string image, int number) {
    std::size_t place = 0;
    for (int i = 0; i < number; ++i) {
      place = image.find('\xC5', place + 1);
      if (place == std::string::npos) ADD_FAILURE() << "no array " << number;
    }
    image.at(place) = '\xC2';
    return image;
  }
};

/// A seeded table of n variables: the target depends on the others, with noise. Weights other than 1 are optional.
LsTable randomTable(unsigned seed, long n, int rows, bool withWeights);

#endif  // TESTS_LEARNING_LS_FIXTURE_H
