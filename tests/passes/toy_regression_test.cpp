// A model on the whole of the library: distributions, cross products in slices, predictions as rows.

#include "toy_regression.h"

#include <bit>
#include <cmath>
#include <random>

#include "kernel/quven_num_field.h"
#include "pass_fixture.h"

namespace {

constexpr int Columns = 4;  // three inputs, and the target

class QUVENToyRegressionTest : public PassTest {
 protected:
  /// y = 2 + 3 a - b + 0.5 c and noise, with values of very different size and some missing ones.
  void writeTable(int records) {
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    values.clear();
    for (int i = 0; i < records; ++i) {
      const double a = std::exp(3 * normal(random));
      const double b = std::floor(10 * normal(random));
      const double c = 1e6 + normal(random);
      const double y = 2 + 3 * a - b + 0.5 * c + normal(random);
      values.insert(values.end(), {i % 17 == 5 ? Missing : a, b, c, i % 101 == 7 ? Missing : y});
    }
    write("a Numeric Explanatory\nb Numeric Explanatory\nc Numeric Explanatory\ny Numeric Target\n", values);
  }

  /// Trains on some ranks, writes the predictions, and gives what was learned to the last bit. On rank 0.
  std::string train(const QUVENPassSettings& settings, MPI_Comm ranks, const std::string& predictions) {
    PassRun run(path, settings, ranks);
    QUVENToyRegression* model = nullptr;
    if (run.isRank0()) {
      for (const char* name : {"a", "b", "c", "y"}) run.driver.addField(run.field(name), run.handle());
      model = &run.add<QUVENToyRegression>("a", "y");
      for (const char* name : {"b", "c"}) model->addInput(&run.field(name), QUVENUsageExplanatory, run.handle());
      model->addPrediction(run.driver.getNames(), run.handle());
    }
    run.passes();
    EXPECT_EQ(run.driver.getPasses().size(), static_cast<std::size_t>(settings.distributionPasses) + 1);
    const QUVENField& predicted = run.field("Predicted_y");
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      row = hex(predicted.getNumValue(run.handle()));
    };
    run.driver.writeRows(predictions, "prediction", writeRow, run.handle());
    if (model == nullptr) return "";
    coefficients.assign(model->getCoefficients().begin(), model->getCoefficients().end());
    intercept = model->getIntercept();
    std::string learned = hex(intercept) + hex(model->getScore(0, run.handle()));
    for (const double coefficient : coefficients) learned += " " + hex(coefficient);
    for (const char* name : {"a", "b", "c", "y"}) {
      const QUVENNumFieldDist& dist = *static_cast<const QUVENNumField&>(run.field(name)).getDistribution();
      for (long i = 1; i <= dist.getNumBins(); ++i) {
        const QUVENNumFieldBin& bin = dist.getBin(i);
        learned += " " + std::to_string(bin.getCount()) + hex(bin.getMean()) + hex(bin.getVariance());
      }
    }
    return learned;
  }

  static std::string hex(double value) { return ":" + std::to_string(std::bit_cast<std::uint64_t>(value)); }

  std::vector<double> values;
  std::vector<double> coefficients;
  double intercept = 0;
};

TEST_F(QUVENToyRegressionTest, LearnsTheSameBytesOnAnyNumberOfRanks) {
  writeTable(3000);
  for (const QUVENPassSettings& settings :
       {QUVENPassSettings{.numSlices = 8, .distributionPasses = 1}, QUVENPassSettings{.numSlices = 5}}) {
    const std::string alone = isRank0() ? train(settings, MPI_COMM_SELF, path + ".alone") : "";
    const std::string together = train(settings, MPI_COMM_WORLD, path + ".together");
    if (!isRank0()) continue;
    EXPECT_EQ(together, alone);
    EXPECT_EQ(folder.read("data.together"), folder.read("data.alone"));
    // Another number of slices adds in another order.
    EXPECT_NE(train({.numSlices = 3, .distributionPasses = settings.distributionPasses}, MPI_COMM_SELF, path + ".3"),
              alone);
  }
}

/// The literal answer: the normal equations with an intercept, in long double, missing values replaced by the means.
TEST_F(QUVENToyRegressionTest, LearnsWhatTheNormalEquationsSay) {
  writeTable(2000);
  for (const std::int32_t slices : {0, 4}) {
    train({.numSlices = slices, .distributionPasses = 2}, MPI_COMM_WORLD, path + ".rows");
    if (!isRank0()) continue;
    const std::size_t records = values.size() / Columns;
    std::vector<long double> means(Columns, 0);
    for (int c = 0; c < Columns; ++c) {
      long double present = 0;
      for (std::size_t r = 0; r < records; ++r) {
        const double value = values[r * Columns + static_cast<std::size_t>(c)];
        if (value == Missing) continue;
        means[static_cast<std::size_t>(c)] += value;
        present += 1;
      }
      means[static_cast<std::size_t>(c)] /= present;
    }
    // The gradient of the sum of squares is 0 at the solution: residuals are orthogonal to every input.
    std::vector<long double> gradient(Columns, 0);
    std::vector<long double> scale(Columns, 0);
    for (std::size_t r = 0; r < records; ++r) {
      std::vector<long double> row(Columns);
      for (std::size_t c = 0; c < Columns; ++c) {
        const double value = values[r * Columns + c];
        row[c] = value == Missing ? means[c] : static_cast<long double>(value);
      }
      long double residual = row[3] - intercept;
      for (std::size_t c = 0; c < 3; ++c) residual -= coefficients[c] * row[c];
      for (std::size_t c = 0; c < 3; ++c) {
        gradient[c] += residual * (row[c] - means[c]);
        scale[c] += std::fabs(residual * (row[c] - means[c]));
      }
      gradient[3] += residual;
      scale[3] += std::fabs(residual);
    }
    // Rounding alone: a wrong coefficient of one part in a million would give a thousand times more.
    for (std::size_t c = 0; c < Columns; ++c) EXPECT_LT(std::fabs(gradient[c]), 1e-9L * scale[c]) << c;
  }
}

}  // namespace
