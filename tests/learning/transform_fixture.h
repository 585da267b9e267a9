#ifndef TESTS_LEARNING_TRANSFORM_FIXTURE_H
#define TESTS_LEARNING_TRANSFORM_FIXTURE_H

#include <cmath>
#include <limits>
#include <random>

#include "kernel/kernel_fixture.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "learning/quven_feature_transform.h"

inline constexpr double absent = std::numeric_limits<double>::quiet_NaN();

/// One record of the table x, c, z, w, y; NaN and "" are missing values.
struct TransformRecord {
  double x = 0;
  std::string c = "a";
  double z = 0;
  double y = 0;
  int channel = 3;
  double w = 1;
};

using TransformTable = std::vector<TransformRecord>;

/// Deals the records of a table to folds, and every tenth each to the test and the held-out records.
inline int channelOf(int i) { return i % 10 < 2 ? 1 + i % 10 : 3 + i / 2 % 3; }

/// Feature transforms over a table, in an environment of 5 channels.
class TransformTest : public KernelTest {
 protected:
  static constexpr int Channels = 5;

  TransformTest() {
    QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(Channels);
    names = make<QUVENFieldNameMap>();
    point = make<QUVENDataPoint>();
    x = addField<QUVENNumField>("x");
    c = addField<QUVENCatField>("c");
    z = addField<QUVENNumField>("z");
    w = addField<QUVENNumField>("w");
    y = addField<QUVENNumField>("y");
    static_cast<QUVENCatField*>(c)->setMinCatOccuranceThreshold(1, QUVEN_ENV);
    warning = addField<QUVENNumField>("warning");
    warning->setComputed(true);
    for (QUVENField* field : {x, c}) field->setSampleFlag(true, QUVEN_ENV);
    outputs = make<QUVENModelOutputs>();
  }
  void TearDown() override {
    transform.reset(QUVEN_ENV);
    outputs.reset(QUVEN_ENV);
    names.reset(QUVEN_ENV);
    point.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }

  template <class Field>
  QUVENField* addField(const char* name) {
    auto field = make<Field>();
    field->setName(name);
    const long index = point->addField(std::move(field), QUVEN_ENV);
    names->addReference(&point->getField(index), QUVEN_ENV);
    return &point->getField(index);
  }

  void setNumber(QUVENField& field, double value) { std::isnan(value) ? field.setMissing() : field.setNumValue(value); }
  void set(const TransformRecord& record) {
    setNumber(*x, record.x);
    setNumber(*z, record.z);
    setNumber(*w, record.w);
    setNumber(*y, record.y);
    record.c.empty() ? c->setMissing() : c->setCatValue(record.c);
    warning->clearValue();
    point->setChannel(record.channel);
  }
  /// Two passes for the distributions of x and c.
  void gather(const TransformTable& table) {
    for (QUVENField* field : {x, c}) {
      for (int pass = 0; pass < 2; ++pass) {
        field->beginDistributionPass(QUVEN_ENV);
        for (std::uint32_t i = 0; i < table.size(); ++i) {
          set(table[i]);
          field->updateDistribution(i, QUVEN_ENV);
        }
        field->endDistributionPass(QUVEN_ENV);
      }
    }
  }

  template <class Transform = QUVENFeatureTransform>
  void makeTransform(QUVENField* splitField, bool withContext = false) {
    transform.reset(QUVEN_ENV);
    transform = make<Transform>();
    addInputs(*transform, splitField, withContext);
    transform->setSplitField(splitField);
    transform->getOutputs(*outputs, "", *names, QUVEN_ENV);
  }
  void addInputs(QUVENModel& model, QUVENField* splitField, bool withContext) {
    model.addInput(splitField, QUVENUsageExplanatory, QUVEN_ENV);
    if (withContext) model.addInput(z, QUVENUsageCarried, QUVEN_ENV);
    model.addInput(y, QUVENUsageTarget, QUVEN_ENV);
  }
  /// One pass over a table, to be set by an action.
  template <class Set>
  void train(QUVENModel& model, std::int32_t mode, const TransformTable& table, Set&& setRecord) {
    EXPECT_TRUE(model.setMiningMode(mode, nullptr, QUVEN_ENV));
    ASSERT_TRUE(model.beginDataScan(QUVEN_ENV));
    model.beginRecords(QUVEN_ENV);
    for (const TransformRecord& record : table) {
      setRecord(record);
      model.update(*point, QUVEN_ENV);
    }
    model.endRecords(QUVEN_ENV);
    EXPECT_TRUE(model.endDataScan(1, QUVEN_ENV));
  }
  void train(QUVENModel& model, std::int32_t mode, const TransformTable& table) {
    train(model, mode, table, [&](const TransformRecord& record) { set(record); });
  }
  /// Distributions and training of a new transform.
  void trainOn(QUVENField* splitField, const TransformTable& table, bool withContext = false) {
    gather(table);
    makeTransform(splitField, withContext);
    train(*transform, 1, table);
  }

  /// y is a broken line of x: it falls to x = 50 and rises from there.
  static TransformTable brokenLine(int records = 1000) {
    std::mt19937 random(5);
    TransformTable table;
    for (int i = 0; i < records; ++i) {
      TransformRecord record;
      record.x = static_cast<double>(random() % 10000) / 100;
      record.z = static_cast<double>(random() % 100) / 10;
      record.y = std::abs(record.x - 50) + static_cast<double>(random() % 1000) / 1000;
      record.channel = channelOf(i);
      table.push_back(record);
    }
    return table;
  }
  /// y is 10, 20 or 30 by groups of the categories a to f.
  static TransformTable groupsOfLetters(int records = 900) {
    std::mt19937 random(6);
    TransformTable table;
    for (int i = 0; i < records; ++i) {
      TransformRecord record;
      const int letter = static_cast<int>(random() % 6);
      record.c = std::string(1, static_cast<char>('a' + letter));
      record.y = 10.0 * (1 + letter % 3) + static_cast<double>(random() % 1000) / 1000;
      record.channel = channelOf(i);
      table.push_back(record);
    }
    return table;
  }
  std::int32_t segmentOf(const TransformRecord& record) {
    set(record);
    return transform->getSplitTest()->getSegment(1, QUVEN_ENV);
  }

  /// The prediction for a record in a channel.
  double predict(const TransformRecord& record, int channel = 1) { return predictBy(*transform, record, channel); }
  double predictBy(QUVENModel& model, const TransformRecord& record, int channel = 1) {
    set(record);
    for (QUVENField* field : {predicted(), stdDev()}) field->clearValue();
    model.scorePoint(*point, QUVEN_ENV);
    return predicted()->getNumValueOfChannel(channel, QUVEN_ENV);
  }
  /// Every prediction and standard deviation of a table, in all channels.
  std::vector<double> scores(QUVENModel& model, const TransformTable& table) {
    std::vector<double> result;
    for (const TransformRecord& record : table) {
      for (int channel = 1; channel <= Channels; ++channel) {
        result.push_back(predictBy(model, record, channel));
        result.push_back(stdDev()->getNumValueOfChannel(channel, QUVEN_ENV));
      }
    }
    return result;
  }
  QUVENField* predicted() { return outputs->findOutput(y, QUVENOutputPredicted, ""); }
  QUVENField* stdDev() { return outputs->findOutput(y, QUVENOutputStdDev, ""); }

  template <class T>
  QUVENOwnPtr<T> readWithNames(const std::string& image) {
    QUVENOwnPtr<T> read(QUVEN_ENV);
    EXPECT_EQ(readFrom(image,
                       [&](QUVENObjReader& reader) {
                         names->putInto(reader, QUVEN_ENV);
                         quvenReadObject(reader, read, T::typeName(), QUVEN_ENV);
                       }),
              0U);
    return read;
  }

  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  QUVENOwnPtr<QUVENModelOutputs> outputs;
  QUVENOwnPtr<QUVENFeatureTransform> transform;
  QUVENField *x, *c, *z, *w, *y, *warning;
};

#endif  // TESTS_LEARNING_TRANSFORM_FIXTURE_H
