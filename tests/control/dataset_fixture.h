#ifndef TESTS_CONTROL_DATASET_FIXTURE_H
#define TESTS_CONTROL_DATASET_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "control/quven_binaryindataset.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "literal_dataset.h"
#include "support/captured_run.h"
#include "support/mpi_run.h"
#include "support/temporary_folder.h"

/// The clock that tests put in the place of the real one: each look is some milliseconds later.
struct TestClock {
  static inline std::uint32_t now = 0;
  static constexpr std::uint32_t Step = 37;

  static std::uint32_t tick() { return now += Step; }
  /// A clock of its own that shows the same times, for the literal reading.
  static std::function<std::uint32_t()> copy() {
    return [time = now]() mutable { return time += Step; };
  }
};

/// Writes datasets, reads them back as a worker of several, and compares with the literal reading.
class DatasetTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { startMpi(); }

  void SetUp() override {
    environment.activate();
    TestClock::now = 0;
  }

  static std::string bytesOf(const std::vector<double>& values, std::size_t tailBytes = 0) {
    std::string bytes(values.size() * sizeof(double), '\0');
    if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
    bytes.append(tailBytes, '\x3f');  // stale bytes that would read as a number
    return bytes;
  }

  static std::string infoOf(const std::vector<literal::Column>& columns) {
    static constexpr const char* purposes[] = {"?", "Explanatory", "Target", "LineNumber"};
    std::string text;
    for (const literal::Column& column : columns) {
      text += column.name + (column.isNumeric ? " Numeric " : " Categorical ") + purposes[column.purpose] + "\n";
    }
    return text;
  }

  /// Writes a dataset as one file, or as parts of so many records each.
  std::string write(const literal::Dataset& data, const std::vector<std::size_t>& parts = {}) {
    folder.write("data.info", infoOf(data.columns));
    if (parts.empty()) return folder.write("data", bytesOf(data.values, data.tailBytes));
    std::size_t position = 0;
    for (std::size_t k = 0; k < parts.size(); ++k) {
      const std::size_t end = position + parts[k] * (data.scanType == 8 ? 4 : data.columns.size());
      folder.write("data." + std::to_string(k), bytesOf({data.values.begin() + static_cast<long>(position),
                                                         data.values.begin() + static_cast<long>(end)}));
      position = end;
    }
    return folder.path("data");
  }

  /// A reader of the written dataset as a worker: open, with the fields of the columns.
  struct Reader {
    Reader(const std::string& name, const literal::Dataset& data, bool parts, QUVENEnv* itsEnv) : env(itsEnv) {
      dataset.setMultiFile(parts);
      dataset.setMillisecondClock(&TestClock::tick);
      if (data.rank > 0) addFields(data.columns);
      EXPECT_EQ(dataset.open(name, &point, data.rank, data.count, QUVEN_ENV), 1);
    }
    ~Reader() {
      point.destroyPrimitive(QUVEN_ENV);
      dataset.destroyPrimitive(QUVEN_ENV);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// What the master sends to the other workers.
    void addFields(const std::vector<literal::Column>& columns) {
      for (const literal::Column& column : columns) {
        QUVENOwnPtr<QUVENField> field(QUVEN_ENV);
        if (column.isNumeric) {
          field = quvenMake<QUVENNumField>(QUVEN_ENV);
        } else {
          field = quvenMake<QUVENCatField>(QUVEN_ENV);
        }
        field->setName(column.name);
        field->setPurpose(column.purpose == 3 ? 7 : column.purpose == 2 ? 1 : 0);
        point.addField(std::move(field), QUVEN_ENV);
      }
    }

    std::string textOf(long index) {
      const QUVENField& field = point.getField(index);
      if (!field.hasValue()) return "?";
      if (field.isMissing()) return "-";
      return field.isNumeric() ? literal::numericText(field.getNumValue(QUVEN_ENV))
                               : field.getCatValue(QUVEN_ENV).str();
    }

    bool next(literal::Delivery& delivery) {
      point.setChannel(7);
      const std::int32_t number = dataset.readNext(point, QUVEN_ENV);
      if (number == QUVENInputDataset::EndOfData) return false;
      EXPECT_EQ(point.getRecordId(), static_cast<std::uint32_t>(number));
      EXPECT_EQ(point.getChannel(), 0);
      delivery = {number, {}, {}};
      for (long i = 1; i <= point.getNumFields(); ++i) delivery.fields.push_back(textOf(i));
      for (const std::int32_t index : point.getActiveFields()) delivery.active.push_back(index);
      return true;
    }

    std::vector<literal::Delivery> pass() {
      std::vector<literal::Delivery> result;
      for (literal::Delivery delivery; next(delivery);) result.push_back(delivery);
      return result;
    }

    /// The state of a dataset that one of the fields has at its start.
    void startPass(const literal::Dataset& data) {
      dataset.setScanType(static_cast<QUVENScanType>(data.scanType), QUVEN_ENV);
      dataset.setSamplingRate(data.samplingRate, QUVEN_ENV);
      EXPECT_EQ(dataset.rewind(QUVEN_ENV), 1);
    }

    QUVENEnv* env;
    QUVENBinaryInputDataset dataset;
    QUVENDataPoint point;
  };

  /// Compares a whole pass of one worker with the literal reading.
  void compare(literal::Dataset data, const std::string& name, bool parts = false) {
    SCOPED_TRACE("type " + std::to_string(data.scanType) + ", worker " + std::to_string(data.rank) + " of " +
                 std::to_string(data.count) + ", " + std::to_string(data.values.size()) + " doubles");
    Reader reader(name, data, parts, env);
    reader.startPass(data);
    data.clock = TestClock::copy();
    const std::vector<literal::Delivery> expected = data.pass();
    const std::vector<literal::Delivery> read = reader.pass();
    ASSERT_EQ(read.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(read[i], expected[i]) << "delivery " << i;
    EXPECT_EQ(reader.dataset.readNext(reader.point, QUVEN_ENV), QUVENInputDataset::EndOfData);
  }

  void compareAllWorkers(literal::Dataset data, const std::string& name, int count, bool parts = false) {
    data.count = count;
    for (data.rank = 0; data.rank < count; ++data.rank) compare(data, name, parts);
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

#endif  // TESTS_CONTROL_DATASET_FIXTURE_H
