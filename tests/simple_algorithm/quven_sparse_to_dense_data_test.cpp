#include "simple_algorithm/quven_sparse_to_dense_data.h"

#include <cmath>
#include <limits>
#include <random>

#include "groups/literal_rows.h"
#include "kernel_tools_fixture.h"

namespace {

using ::testing::HasSubstr;
using Row = std::vector<double>;

constexpr double infinity = std::numeric_limits<double>::infinity();

class QUVENSparseToDenseDataTest : public KernelToolsTest {
 protected:
  void SetUp() override {
    KernelToolsTest::SetUp();
    data = quvenMake<QUVENSparseToDenseData>(QUVEN_ENV);
  }
  void TearDown() override {
    data.reset(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }

  void row(std::uint64_t sample, const Row& values) {
    fill(x, values);
    data->update(x, y, sample, QUVEN_ENV);
  }
  /// Row, target and sample of the record that is complete.
  std::tuple<Row, double, std::uint64_t> take() {
    EXPECT_TRUE(data->isFinished());
    double target = -1;
    fill(x, {9, 9, 9, 9, 9, 9});
    const std::uint64_t sample = data->takeRecord(x, target, QUVEN_ENV);
    EXPECT_FALSE(data->isFinished());
    return {listOf(x), target, sample};
  }
  /// The members as they travel.
  std::string state() {
    std::string text = textOf(*data);
    const std::string head = "QUVENSparseToDenseData {\n  ivDummy = 0\n";
    EXPECT_THAT(text, ::testing::StartsWith(head));
    return text.substr(head.size());
  }

  QUVENOwnPtr<QUVENSparseToDenseData> data;
};

using Taken = std::tuple<Row, double, std::uint64_t>;

TEST_F(QUVENSparseToDenseDataTest, PutsARecordTogether) {
  row(7, {0, 3});
  row(7, {1, 0.5});
  row(7, {3, -2});
  EXPECT_FALSE(data->isFinished());
  row(7, {4, 0});
  EXPECT_EQ(take(), Taken({0.5, 0, -2}, 0, 7));
  // The next one has nothing of the first.
  row(8, {0, 2});
  row(8, {3, 1.25});
  EXPECT_EQ(take(), Taken({0, 0}, 1.25, 8));
}

TEST_F(QUVENSparseToDenseDataTest, VectorsOfAnotherSizeAreLeftOut) {
  row(7, {0, 2});
  row(7, {});
  row(7, {1});
  row(7, {1, 5, 6});
  row(7, {9, 5, 6});
  EXPECT_FALSE(data->isFinished());
  row(7, {3, 4});
  row(8, {1});
  row(8, {1, 2, 3});
  EXPECT_EQ(take(), Taken({0, 0}, 4, 7));
}

TEST_F(QUVENSparseToDenseDataTest, IdleItWaitsForAHeader) {
  const std::string idle = state();
  for (const Row& values : {Row{1, 5}, Row{-1, 5}, Row{0, 0}, Row{0, -3}, Row{0, std::nan("")}, Row{std::nan(""), 2}}) {
    row(7, values);
    EXPECT_EQ(state(), idle) << values[0] << ' ' << values[1];
  }
  EXPECT_EQ(idle, "  ivRow = [0]\n  ivTarget = 0\n  ivCurrentRow = 0\n  ivState = 0\n}");
  row(9, {0.9, 2.9});  // positions and sizes are cut to integers
  EXPECT_EQ(state(), "  ivRow = [2] {\n    0 0\n  }\n  ivTarget = 0\n  ivCurrentRow = 9\n  ivState = 1\n}");
}

TEST_F(QUVENSparseToDenseDataTest, APartOfAPlaceIsARecordWithoutPlaces) {
  row(7, {-0.5, 0.5});
  EXPECT_EQ(state(), "  ivRow = [0]\n  ivTarget = 0\n  ivCurrentRow = 7\n  ivState = 1\n}");
  row(7, {1, 3});
  EXPECT_EQ(take(), Taken({}, 3, 7));
}

TEST_F(QUVENSparseToDenseDataTest, ANewHeaderOverridesAndKeepsTheCells) {
  row(7, {0, 4});
  for (int i = 1; i <= 4; ++i) row(7, {static_cast<double>(i), i * 1.5});
  row(8, {0, 2});
  EXPECT_EQ(state(), "  ivRow = [2] {\n    1.5 3\n  }\n  ivTarget = 0\n  ivCurrentRow = 8\n  ivState = 1\n}");
  row(9, {0, 3});  // what had gone out of use is 0
  EXPECT_EQ(state(), "  ivRow = [3] {\n    1.5 3 0\n  }\n  ivTarget = 0\n  ivCurrentRow = 9\n  ivState = 1\n}");
  row(10, {0, -1});  // not resized
  EXPECT_EQ(state(), "  ivRow = [3] {\n    1.5 3 0\n  }\n  ivTarget = 0\n  ivCurrentRow = 10\n  ivState = 1\n}");
  row(11, {0, 0});
  EXPECT_EQ(state(), "  ivRow = [0]\n  ivTarget = 0\n  ivCurrentRow = 11\n  ivState = 1\n}");
  row(11, {1, 2});
  EXPECT_EQ(take(), Taken({}, 2, 11));
}

TEST_F(QUVENSparseToDenseDataTest, AHeaderOfTheSameSampleIsAWriteThatNobodySees) {
  row(7, {0, 2});
  row(7, {1, 5});
  const std::string before = state();
  row(7, {0, 9});
  row(7, {0.5, 9});
  row(7, {-1, 9});
  row(7, {-1e300, 9});
  row(7, {std::nan(""), 9});
  EXPECT_EQ(state(), before);
  row(7, {3, 0});
  EXPECT_EQ(take(), Taken({5, 0}, 0, 7));
}

TEST_F(QUVENSparseToDenseDataTest, PlacesOfAnotherSampleGoIntoTheRecordAtHand) {
  row(7, {0, 2});
  row(8, {2, 6});
  row(8, {3, 1});
  EXPECT_EQ(take(), Taken({0, 6}, 1, 7));
}

TEST_F(QUVENSparseToDenseDataTest, TheLastPlaceIsOfTheRecordAndTheNextClosesIt) {
  for (const double n : {1.0, 2.0, 17.0}) {
    row(7, {0, n});
    row(7, {n, 3});
    EXPECT_FALSE(data->isFinished());
    row(7, {n + 0.9, 4});  // is n
    EXPECT_FALSE(data->isFinished());
    row(7, {n + 1, 5});
    Row expected(static_cast<std::size_t>(n));
    expected.back() = 4;
    EXPECT_EQ(take(), Taken(expected, 5, 7));
  }
  row(7, {0, 1});
  row(7, {infinity, 2});
  EXPECT_EQ(take(), Taken({0}, 2, 7));
}

TEST_F(QUVENSparseToDenseDataTest, CompleteItKeepsTheRecordAndTheLatestTarget) {
  row(7, {0, 1});
  row(7, {2, 5});
  row(8, {0, 3});
  EXPECT_TRUE(data->isFinished());
  EXPECT_EQ(state(), "  ivRow = [1] {\n    0\n  }\n  ivTarget = 3\n  ivCurrentRow = 7\n  ivState = 2\n}");
  row(8, {1, 6});
  EXPECT_EQ(take(), Taken({0}, 6, 7));
  EXPECT_EQ(state(), "  ivRow = [0]\n  ivTarget = 0\n  ivCurrentRow = 7\n  ivState = 0\n}");
}

TEST_F(QUVENSparseToDenseDataTest, AHeaderThatIsTooLongIsReported) {
  constexpr double most = QUVENSparseToDenseData::MaxRowSize;
  const auto report = [&](double size) {
    run = capturedRun([&] { row(18446744073709551615U, {0, size}); });
    EXPECT_TRUE(run.threwLibraryException);
    return reportIn(run.out);
  };
  const std::string text =
      "Error;|4607;|18446744073709551615;|QUVENSparseToDenseData::update: a row of too many places; is it a table "
      "dataset?;|ErrorEnd";
  for (const double size : {most + 1, 1e300, infinity}) EXPECT_EQ(report(size), text) << size;
  row(7, {0, 1});
  EXPECT_EQ(report(most + 1), text);  // of a header that overrides
}

TEST_F(QUVENSparseToDenseDataTest, TravelsInTheMiddleOfARecord) {
  row(7, {0, 3});
  row(7, {2, 5});
  const std::string image = imageOf(*data);
  QUVENOwnPtr<QUVENSparseToDenseData> copy(QUVEN_ENV);
  readInto(copy, image);
  EXPECT_EQ(imageOf(*copy), image);
  fill(x, {4, 1});
  copy->update(x, y, 7, QUVEN_ENV);
  double target = 0;
  EXPECT_EQ(copy->takeRecord(x, target, QUVEN_ENV), 7U);
  EXPECT_EQ(listOf(x), (Row{0, 5, 0}));
  QUVEN_DELETE(copy);
}

TEST_F(QUVENSparseToDenseDataTest, AnswersWhatItIsAsked) {
  EXPECT_EQ(data->needsMerge(), 1);
  EXPECT_FALSE(data->isFinished());
  run = capturedRun([&] { data->finishIteration(QUVEN_ENV); });
  EXPECT_THAT(run.out, HasSubstr("Program control should never reach this point"));
}

TEST_F(QUVENSparseToDenseDataTest, EqualsTheLiteralAssemblyOfAnyRows) {
  std::mt19937 random(20240304);
  const auto below = [&](unsigned limit) { return random() % limit; };
  literal::SparseToDense literalData;
  long records = 0;
  for (int i = 0; i < 100000; ++i) {
    const literal::Line line{static_cast<double>(1 + below(4)), below(7) - 1.0 + (below(6) == 0 ? 0.5 : 0),
                             below(8) - 1.0 + (below(6) == 0 ? 0.5 : 0)};
    row(literal::sampleOf(line), {line.x1, line.x2});
    const auto expected = literalData.update(line);
    ASSERT_EQ(data->isFinished(), expected.has_value()) << i;
    if (!expected) continue;
    ++records;
    ASSERT_EQ(take(), Taken(expected->row, line.x2, expected->sample)) << i;
  }
  EXPECT_GT(records, 1000);
}

}  // namespace
