#include "kernel/quven_symmetric_matrix.h"

#include <random>
#include <vector>

#include "kernel_fixture.h"

namespace {

/// A whole matrix, both halves of it.
using Square = std::vector<std::vector<double>>;

class QUVENSymmetricMatrixTest : public KernelTest {
 protected:
  QUVENSymmetricMatrixTest() { setOrder(4); }
  void TearDown() override {
    x.deleteMemory(QUVEN_ENV);
    matrix.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }
  void setOrder(long rows) {
    matrix->setOrder(rows, QUVEN_ENV);
    whole.assign(static_cast<std::size_t>(rows), std::vector<double>(static_cast<std::size_t>(rows)));
    x.setSize(rows, QUVEN_ENV);
  }
  /// Small whole numbers, whose sums and products are exact.
  void drawVector() {
    for (double& value : x) value = static_cast<double>(static_cast<int>(random() % 21) - 10);
  }
  void add(double w) {
    drawVector();
    matrix->addWeighted(w, x);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      for (std::size_t j = 0; j < whole.size(); ++j) {
        whole[i][j] += w * x[static_cast<long>(i) + 1] * x[static_cast<long>(j) + 1];
      }
    }
  }
  void expectWhole() {
    ASSERT_EQ(matrix->getOrder(), static_cast<long>(whole.size()));
    for (long i = 1; i <= matrix->getOrder(); ++i) {
      for (long j = 1; j <= matrix->getOrder(); ++j) {
        ASSERT_EQ(matrix->get(i, j), whole[static_cast<std::size_t>(i - 1)][static_cast<std::size_t>(j - 1)])
            << i << " " << j;
      }
    }
  }

  QUVENOwnPtr<QUVENSymmetricMatrix> matrix = make<QUVENSymmetricMatrix>();
  QUVENXaRay<double> x;
  Square whole;
  std::mt19937 random{9};
};

TEST_F(QUVENSymmetricMatrixTest, ColumnsOfTheUpperHalfFollowEachOther) {
  long index = 0;
  for (long j = 1; j <= 5; ++j) {
    for (long i = 1; i <= j; ++i) EXPECT_EQ(QUVENSymmetricMatrix::indexOf(i, j), ++index);
  }
  EXPECT_EQ(matrix->getElements().getSize(), 10);
  matrix->getElements()[QUVENSymmetricMatrix::indexOf(2, 3)] = 5;
  EXPECT_EQ(matrix->get(2, 3), 5);
  EXPECT_EQ(matrix->get(3, 2), 5);
}

TEST_F(QUVENSymmetricMatrixTest, AddsTheProductsOfAVector) {
  for (const double w : {1.0, 3.0, -2.0, 0.5}) add(w);
  expectWhole();
  expectFailure(
      [&] {
        x.setSize(3, QUVEN_ENV);
        matrix->addWeighted(1, x);
      },
      "x.getSize() == order");
}

TEST_F(QUVENSymmetricMatrixTest, ANewOrderIsAMatrixOfZeros) {
  add(1);
  setOrder(2);
  expectWhole();
  setOrder(0);
  matrix->addWeighted(1, x);
  EXPECT_EQ(matrix->getOrder(), 0);
  for (const long rows : {-1L, QUVENSymmetricMatrix::MostRows + 1}) {
    expectFailure([&] { matrix->setOrder(rows, QUVEN_ENV); }, "0 <= rows && rows <= MostRows");
  }
}

TEST_F(QUVENSymmetricMatrixTest, MergingAdds) {
  add(1);
  QUVENOwnPtr<QUVENSymmetricMatrix> other = quvenNewCopy(*matrix, QUVEN_ENV);
  EXPECT_EQ(other->getOrder(), 4);
  add(2);
  const Square second = whole;
  matrix->merge(*other);
  for (long i = 1; i <= 4; ++i) {
    for (long j = 1; j <= 4; ++j) {
      EXPECT_EQ(matrix->get(i, j),
                second[static_cast<std::size_t>(i - 1)][static_cast<std::size_t>(j - 1)] + other->get(i, j));
    }
  }
  other->setOrder(3, QUVEN_ENV);
  expectFailure([&] { matrix->merge(*other); }, "order == b.order");
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENSymmetricMatrixTest, SwapsRowsAndColumnsTogether) {
  for (const long rows : {1L, 2L, 3L, 7L}) {
    setOrder(rows);
    for (int step = 0; step < 3; ++step) add(step + 1);
    for (long i = 1; i <= rows; ++i) {
      for (long j = 1; j <= rows; ++j) {
        SCOPED_TRACE(std::to_string(rows) + " rows, " + std::to_string(i) + " with " + std::to_string(j));
        matrix->swapRows(i, j);
        std::swap(whole[static_cast<std::size_t>(i - 1)], whole[static_cast<std::size_t>(j - 1)]);
        for (auto& row : whole) std::swap(row[static_cast<std::size_t>(i - 1)], row[static_cast<std::size_t>(j - 1)]);
        expectWhole();
      }
    }
  }
  expectFailure([&] { matrix->swapRows(0, 1); }, "1 <= i && i <= order");
  expectFailure([&] { matrix->swapRows(1, 8); }, "j <= order");
}

TEST_F(QUVENSymmetricMatrixTest, TravelsThroughAStream) {
  for (const long rows : {0L, 1L, 2L, 3L, 50L, 300L}) {
    setOrder(rows);
    add(1);
    QUVENOwnPtr<QUVENSymmetricMatrix> read = objectOf<QUVENSymmetricMatrix>(imageOf(*matrix));
    std::swap(matrix, read);
    expectWhole();
    read.reset(QUVEN_ENV);
  }
  setOrder(2);
  matrix->getElements().setSize(4, QUVEN_ENV);
  const std::string image = imageOf(*matrix);
  expectFailure([&] { objectOf<QUVENSymmetricMatrix>(image); }, "indexOf(order, order) == elements");
}

}  // namespace
