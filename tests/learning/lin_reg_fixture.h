#ifndef TESTS_LEARNING_LIN_REG_FIXTURE_H
#define TESTS_LEARNING_LIN_REG_FIXTURE_H

#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "kernel/kernel_fixture.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel/quven_scan_results.h"
#include "learning/literal_least_squares.h"
#include "learning/quven_lin_reg_model.h"

inline constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();
inline constexpr int RegressionInputs = 3;

/// One record of the table x1, x2, x3, w, v, y. A NaN is a missing value.
struct RegressionRecord {
  std::array<double, RegressionInputs> x{};
  double y = 0;
  int channel = 3;
  double w = 1;
  double v = 1;
  bool hasValuePerChannel = false;  ///< then channel c has the c-th multiples of the values
};
using RegressionTable = std::vector<RegressionRecord>;

/// Where a record of channel k goes: row k - 1, letter c of channel c. e: eval, t: train. Fewer channels have the first
/// rows and letters.
inline const std::array<std::string, 5> dealtTo = {"e----", "te---", "ttett", "tttet", "tttte"};

/// Linear regressions over records, beside literal statistics of the same records.
class LinearRegressionTest : public KernelTest {
 protected:
  void TearDown() override {
    closeWorld();
    KernelTest::TearDown();
  }

  /// Makes the fields anew, in a world of so many channels.
  void openWorld(int count) {
    closeWorld();
    channels = count;
    QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(count);
    names = make<QUVENFieldNameMap>();
    point = make<QUVENDataPoint>();
    outputs = make<QUVENModelOutputs>();
    x = {addField<QUVENNumField>("x1"), addField<QUVENNumField>("x2"), addField<QUVENNumField>("x3")};
    text = addField<QUVENCatField>("text");
    w = addField<QUVENNumField>("w");
    v = addField<QUVENNumField>("v");
    y = addField<QUVENNumField>("y");
  }
  void closeWorld() {
    model.reset(QUVEN_ENV);
    outputs.reset(QUVEN_ENV);
    names.reset(QUVEN_ENV);
    point.reset(QUVEN_ENV);
  }
  template <class Field>
  QUVENField* addField(const char* name) {
    auto field = make<Field>();
    field->setName(name);
    const long index = point->addField(std::move(field), QUVEN_ENV);
    names->addReference(&point->getField(index), QUVEN_ENV);
    return &point->getField(index);
  }

  static double valueIn(const RegressionRecord& record, double value, int channel) {
    return record.hasValuePerChannel ? value * channel : value;
  }
  void setField(QUVENField& field, const RegressionRecord& record, double value) {
    field.clearValue();
    if (!record.hasValuePerChannel) {
      std::isnan(value) ? field.setMissing() : field.setNumValue(value);
      return;
    }
    for (int c = 1; c <= channels; ++c) field.setNumValueOfChannel(c, valueIn(record, value, c), QUVEN_ENV);
  }
  void set(const RegressionRecord& record) {
    for (std::size_t i = 0; i < x.size(); ++i) setField(*x[i], record, record.x[i]);
    setField(*w, record, record.w);
    setField(*v, record, record.v);
    setField(*y, record, record.y);
    text->setCatValue("text");
    point->setChannel(record.channel);
  }

  QUVENOwnPtr<QUVENLinRegModel> makeModel(bool withWeights = false) {
    auto made = make<QUVENLinRegModel>();
    for (QUVENField* field : x) made->addInput(field, QUVENUsageExplanatory, QUVEN_ENV);
    made->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    if (withWeights) {
      made->addInput(w, QUVENUsageCaseWeight, QUVEN_ENV);
      made->addInput(v, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
    }
    return made;
  }
  void begin(QUVENLinRegModel& begun, std::int32_t mode = 2) {
    ASSERT_TRUE(begun.setMiningMode(mode, nullptr, QUVEN_ENV));
    ASSERT_TRUE(begun.beginDataScan(QUVEN_ENV));
    begun.beginRecords(QUVEN_ENV);
  }
  void show(QUVENLinRegModel& shown, const RegressionTable& table) {
    for (const RegressionRecord& record : table) {
      set(record);
      shown.update(*point, QUVEN_ENV);
    }
  }
  void gather(QUVENLinRegModel& trained, const RegressionTable& table, std::int32_t mode = 2) {
    begin(trained, mode);
    show(trained, table);
    trained.endRecords(QUVEN_ENV);
  }
  void train(QUVENLinRegModel& trained, const RegressionTable& table, std::int32_t mode = 2) {
    gather(trained, table, mode);
    ASSERT_TRUE(trained.endDataScan(1, QUVEN_ENV));
    ASSERT_EQ(trained.getModelState(), -mode);
  }
  /// A model of all inputs with outputs, in `model`, trained on a table.
  void trainModel(const RegressionTable& table, std::int32_t mode = 1, bool withWeights = false) {
    model = makeModel(withWeights);
    model->getOutputs(*outputs, "", *names, QUVEN_ENV);
    train(*model, table, mode);
  }
  QUVENField* predicted() { return names->find("Predicted_y"); }
  QUVENField* stdDev() { return names->find("StdDev_y"); }
  double predict(QUVENLinRegModel& used, const RegressionRecord& record, int channel) {
    set(record);
    for (QUVENField* field : {predicted(), stdDev()}) field->clearValue();
    used.scorePoint(*point, QUVEN_ENV);
    return predicted()->getNumValueOfChannel(channel, QUVEN_ENV);
  }

  /// The rows that the eval data ('e') or the train data ('t') of a channel get.
  LiteralData literal(const RegressionTable& table, int channel, char kind) const {
    LsTable rows;
    for (const RegressionRecord& record : table) {
      const std::string& letters = dealtTo.at(static_cast<std::size_t>(record.channel - 1));
      if (letters.at(static_cast<std::size_t>(channel - 1)) != kind) continue;
      LsRow row;
      for (const double value : record.x) row.x.push_back(valueIn(record, value, channel));
      row.x.push_back(valueIn(record, record.y, channel));
      row.w = valueIn(record, record.w, channel);
      row.v = valueIn(record, record.v, channel);
      rows.push_back(row);
    }
    return {rows, RegressionInputs + 1};
  }
  std::vector<LiteralData> literals(const RegressionTable& table, char kind) const {
    std::vector<LiteralData> all;
    for (int c = 1; c <= channels; ++c) all.push_back(literal(table, c, kind));
    return all;
  }

  static void expectNear(double value, long double expected, double tolerance = 1e-12) {
    EXPECT_NEAR(value, static_cast<double>(expected),
                tolerance * std::max(1.0, std::abs(static_cast<double>(expected))));
  }
  static void expectData(const QUVENLSData& data, const LiteralData& expected) {
    ASSERT_EQ(data.getNumDataPoints(), static_cast<double>(expected.points));
    expectNear(data.getSumCaseWeights(), expected.sumW);
    expectNear(data.getSumCaseWeights2(), expected.sumW2);
    expectNear(data.getSumCaseXInvVarWeights(), expected.sumWV);
    expectNear(data.getSumCaseXLogInvVarWeights(), expected.sumWLogV);
    for (std::size_t j = 0; j < expected.mean.size(); ++j) {
      const long column = static_cast<long>(j) + 1;
      expectNear(data.getDataMean()[column], expected.mean[j]);
      for (std::size_t i = 0; i <= j; ++i) {
        const long double scale = std::sqrt(expected.cov[i][i] * expected.cov[j][j]);
        const double element = data.getDataCov()[column * (column - 1) / 2 + static_cast<long>(i) + 1];
        EXPECT_NEAR(element, static_cast<double>(expected.cov[i][j]), 1e-12 * static_cast<double>(1 + scale));
      }
    }
  }
  void expectChannels(const QUVENLinRegModel& tested, const RegressionTable& table) const {
    ASSERT_EQ(tested.getEvalChannels().getSize(), channels);
    ASSERT_EQ(tested.getTrnChannels().getSize(), channels);
    for (int c = 1; c <= channels; ++c) {
      SCOPED_TRACE("channel " + std::to_string(c));
      expectData(tested.getEvalChannels()[c], literal(table, c, 'e'));
      expectData(tested.getTrnChannels()[c], literal(table, c, 't'));
    }
  }
  /// The records of a table that an action chooses.
  template <class Choose>
  static RegressionTable part(const RegressionTable& table, Choose&& choose) {
    RegressionTable chosen;
    for (std::size_t i = 0; i < table.size(); ++i) {
      if (choose(i)) chosen.push_back(table[i]);
    }
    return chosen;
  }
  /// y depends on x1 and x2 with noise of deviation 0.3, and not on x3. The channels go round.
  RegressionTable randomRecords(int records, unsigned seed = 1, bool withWeights = false) const {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    RegressionTable table;
    for (int i = 0; i < records; ++i) {
      RegressionRecord record;
      for (double& value : record.x) value = 3 + normal(random);
      record.y = 1 + 2 * record.x[0] - record.x[1] + 0.3 * normal(random);
      record.channel = 1 + i % channels;
      constexpr double weights[] = {0.0, 0.5, 1.0, 2.0, 3.25};
      if (withWeights) record.w = weights[random() % 5];
      if (withWeights) record.v = random() % 4 == 0 ? 1.0 : std::exp(0.5 * normal(random));
      table.push_back(record);
    }
    return table;
  }

  std::string resultOf(const QUVENDataScan& scan) {
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenWriteScanResults(scan, writer, quvenScanResultKeyword(), QUVEN_ENV);
    });
  }
  /// Two results merged without the live scan, as slices are.
  std::string mergedResults(const std::string& a, const std::string& b) {
    QUVENViewBlobIO blobA({a.data(), a.size()});
    QUVENViewBlobIO blobB({b.data(), b.size()});
    QUVENBinObjReader readerA(blobA, QUVEN_ENV);
    QUVENBinObjReader readerB(blobB, QUVEN_ENV);
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenMergeDataScanResults(readerA, readerB, writer, quvenScanResultKeyword(), QUVEN_ENV);
    });
  }
  void readResults(const std::string& results) {
    readFrom(results,
             [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV); });
  }
  /// Reads an object whose references are names of the fields of this world.
  template <class T>
  QUVENOwnPtr<T> readWithNames(const std::string& image) {
    QUVENOwnPtr<T> read(QUVEN_ENV);
    readFrom(image, [&](QUVENObjReader& reader) {
      names->putInto(reader, QUVEN_ENV);
      quvenReadObject(reader, read, T::typeName(), QUVEN_ENV);
    });
    return read;
  }

  int channels = 0;
  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  QUVENOwnPtr<QUVENModelOutputs> outputs;
  QUVENOwnPtr<QUVENLinRegModel> model;
  std::array<QUVENField*, RegressionInputs> x{};
  QUVENField *text = nullptr, *w = nullptr, *v = nullptr, *y = nullptr;
};

#endif  // TESTS_LEARNING_LIN_REG_FIXTURE_H
