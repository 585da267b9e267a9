#include "simple_algorithm/quven_labeled_matrix.h"

#include <sstream>

#include "kernel_tools_fixture.h"

namespace {

class QUVENLabeledMatrixTest : public KernelToolsTest {
 protected:
  void SetUp() override {
    KernelToolsTest::SetUp();
    matrix = quvenMake<QUVENLabeledMatrix>(QUVEN_ENV);
  }
  void TearDown() override {
    matrix.reset(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }
  const Vector& vector(const std::vector<double>& values) {
    fill(x, values);
    return x;
  }
  std::string printed(bool withLabels) const {
    std::ostringstream text;
    matrix->print(text, withLabels);
    return text.str();
  }

  QUVENOwnPtr<QUVENLabeledMatrix> matrix;
};

TEST_F(QUVENLabeledMatrixTest, AnEmptyOneHasItsHeadingAlone) {
  EXPECT_EQ(printed(false), "% Matrix 0x0:\n");
  EXPECT_EQ(printed(true), "% Matrix 0x0:\n% first column is label\n");
}

TEST_F(QUVENLabeledMatrixTest, RowsHaveLabels) {
  matrix->addRow(vector({1, 2.5}), 17, QUVEN_ENV);
  matrix->addRow(vector({-3, 4}), QUVEN_ENV);
  EXPECT_EQ(matrix->getRowNum(), 2);
  EXPECT_EQ(matrix->getColumnNum(), 2);
  EXPECT_EQ(matrix->getLabel(1), 17);
  EXPECT_EQ(matrix->getLabel(2), 0);
  EXPECT_EQ(listOf(matrix->getRow(1)), (std::vector<double>{1, 2.5}));
  EXPECT_EQ(printed(false), "% Matrix 2x2:\n1 2.5\n-3 4\n");
  EXPECT_EQ(printed(true), "% Matrix 2x2:\n% first column is label\n17 1 2.5\n0 -3 4\n");
}

TEST_F(QUVENLabeledMatrixTest, TheLongestRowGivesTheColumns) {
  matrix->addRow(vector({1}), QUVEN_ENV);
  matrix->addRow(vector({1, 2, 3}), QUVEN_ENV);
  matrix->addRow(vector({}), QUVEN_ENV);
  EXPECT_EQ(matrix->getColumnNum(), 3);
  EXPECT_EQ(printed(true), "% Matrix 3x3:\n% first column is label\n0 1\n0 1 2 3\n0 \n");
}

TEST_F(QUVENLabeledMatrixTest, ARowIsReplacedAndKeepsItsLabel) {
  matrix->addRow(vector({1, 2}), 5, QUVEN_ENV);
  matrix->addRow(vector({3, 4}), 6, QUVEN_ENV);
  matrix->setRow(1, vector({7, 8, 9}), QUVEN_ENV);
  EXPECT_EQ(printed(true), "% Matrix 2x3:\n% first column is label\n5 7 8 9\n6 3 4\n");
  EXPECT_EQ(listOf(x), (std::vector<double>{7, 8, 9}));  // it has a copy
}

TEST_F(QUVENLabeledMatrixTest, PositionsOutsideAreRefused) {
  matrix->addRow(vector({1}), QUVEN_ENV);
  for (const long position : {0L, 2L, -1L}) {
    run = capturedRun([&] { matrix->setRow(position, x, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException) << position;
    run = capturedRun([&] { matrix->getRow(position); });
    EXPECT_TRUE(run.threwLibraryException) << position;
    run = capturedRun([&] { matrix->getLabel(position); });
    EXPECT_TRUE(run.threwLibraryException) << position;
  }
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENLabeledMatrixTest, ResizesRowsAndColumns) {
  matrix->addRow(vector({1, 2, 3}), 5, QUVEN_ENV);
  matrix->resize(2, 2, QUVEN_ENV);
  EXPECT_EQ(printed(true), "% Matrix 2x2:\n% first column is label\n5 1 2\n0 0 0\n");
  matrix->resize(1, 4, QUVEN_ENV);
  EXPECT_EQ(printed(true), "% Matrix 1x4:\n% first column is label\n5 1 2 0 0\n");
  matrix->resize(0, -1, QUVEN_ENV);
  EXPECT_EQ(printed(true), "% Matrix 0x0:\n% first column is label\n");
}

TEST_F(QUVENLabeledMatrixTest, MembersTravelInTheirOrder) {
  matrix->addRow(vector({1, 2}), 5, QUVEN_ENV);
  const std::string text = textOf(*matrix);
  std::size_t place = 0;
  for (const char* member : {"ivRows = [1]", "ivLabels = [1]", "ivRowNum = 1", "ivColumnNum = 2"}) {
    const std::size_t found = text.find(member);
    ASSERT_NE(found, std::string::npos) << text;
    EXPECT_GT(found, place);
    place = found;
  }
  const std::string image = imageOf(*matrix);
  QUVENOwnPtr<QUVENLabeledMatrix> copy(QUVEN_ENV);
  readInto(copy, image);
  EXPECT_EQ(imageOf(*copy), image);
  EXPECT_EQ(listOf(copy->getRow(1)), (std::vector<double>{1, 2}));
  EXPECT_EQ(copy->getLabel(1), 5);
  QUVEN_DELETE(copy);
}

}  // namespace
