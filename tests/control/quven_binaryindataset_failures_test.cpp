// What a dataset says when it cannot be read, with the exact texts.

#include <gmock/gmock.h>

#include "control/quven_binaryindataset.h"
#include "dataset_fixture.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class QUVENBinaryInputDatasetFailuresTest : public DatasetTest {
 protected:
  void TearDown() override { point.destroyPrimitive(QUVEN_ENV); }

  static literal::Dataset threeColumns() {
    literal::Dataset data;
    data.columns = {{"a", true, 1}, {"b", true, 1}, {"c", true, 1}};
    return data;
  }

  /// What an action prints that ends in a library exception.
  template <class Action>
  static std::string failureOf(Action&& action) {
    const CapturedRun run = capturedRun(action);
    EXPECT_TRUE(run.threwLibraryException);
    return run.out;
  }

  std::string openFailure(const std::string& name, bool parts = false, int rank = 0, int count = 1) {
    dataset.setMultiFile(parts);
    return failureOf([&] { dataset.open(name, &point, rank, count, QUVEN_ENV); });
  }

  std::string scanTypeFailure(int type) {
    return failureOf([&] { dataset.setScanType(static_cast<QUVENScanType>(type), QUVEN_ENV); });
  }

  static std::string fatal(const std::string& text) { return "    " + text + "\n"; }

  QUVENBinaryInputDataset dataset;
  QUVENDataPoint point;
};

TEST_F(QUVENBinaryInputDatasetFailuresTest, TellsADataFileThatIsMissing) {
  const std::string name = folder.path("nothing");
  const std::string out = openFailure(name);
  EXPECT_THAT(out, StartsWith("Error;|2305;|" + name + ";|Failed to open input data file !!;|ErrorEnd\n"));
  EXPECT_THAT(out, EndsWith(fatal("Failed to open input data file !!")));
  EXPECT_THAT(out, Not(HasSubstr("Terminating")));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, TellsADirectory) {
  const std::string name = folder.path();
  EXPECT_THAT(openFailure(name), StartsWith("Error;|2305;|" + name + ";|"));
  std::filesystem::create_directory(folder.path("data.0"));
  EXPECT_THAT(openFailure(folder.path("data"), true), StartsWith("Error;|2305;|" + folder.path("data") + ";|"));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, TellsPartsThatAreMissingOrEmpty) {
  const std::string name = folder.path("data");
  const std::string line = "Error;|2305;|" + name + ";|Failed to open input data file !!;|ErrorEnd\n";
  folder.write("data", "12345678");  // it is no part
  EXPECT_THAT(openFailure(name, true), StartsWith(line));
  folder.write("data.1", "12345678");  // behind a gap
  EXPECT_THAT(openFailure(name, true), StartsWith(line));
  folder.write("data.0", "");
  std::filesystem::remove(folder.path("data.1"));
  const std::string out = openFailure(name, true);
  EXPECT_THAT(out, StartsWith(line));
  EXPECT_THAT(out, EndsWith(fatal("Failed to open input data file !!")));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, TellsADescriptionThatIsMissingOrNoFile) {
  const std::string name = folder.write("data", "");
  const std::string line = "Error;|2306;|" + name + ".info;|Failed to open input data file info !!;|ErrorEnd\n";
  std::string out = openFailure(name);
  EXPECT_THAT(out, StartsWith(line));
  EXPECT_THAT(out, EndsWith(fatal("Failed to open input info file !!")));
  std::filesystem::create_directory(folder.path("data.info"));
  out = openFailure(name);
  EXPECT_THAT(out, StartsWith(line));
  EXPECT_THAT(out, EndsWith(fatal("Failed to open input info file !!")));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, TellsWrongWordsOfTheDescription) {
  const std::string name = folder.write("data", "");
  folder.write("data.info", "a numeric Explanatory\n");
  EXPECT_THAT(openFailure(name), EndsWith(fatal("Unknown attribute type \n")));
  folder.write("data.info", "a Numeric Goal\n");
  EXPECT_THAT(openFailure(name), EndsWith(fatal("Unknown attribute purpose \n")));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, NeedsADataPoint) {
  const std::string name = write(threeColumns());
  for (const int rank : {0, 1}) {
    EXPECT_THAT(failureOf([&] { dataset.open(name, nullptr, rank, 2, QUVEN_ENV); }),
                EndsWith(fatal("datapointPtr cannot be NULL \n")));
  }
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesTwoColumnsOfOneName) {
  const std::string name = folder.write("data", "");
  folder.write("data.info", "a Numeric Explanatory\na Categorical Explanatory\n");
  EXPECT_THAT(openFailure(name), HasSubstr("A field with this name exists already"));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, NeedsALineNumberColumnForLines) {
  ASSERT_EQ(dataset.open(write(threeColumns()), &point, 0, 1, QUVEN_ENV), 1);
  for (const int type : {5, 7}) {
    EXPECT_THAT(scanTypeFailure(type),
                EndsWith(fatal("Sparse mode requires a line number column in the data. No such column detected.")));
  }
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesUnknownModes) {
  literal::Dataset data = threeColumns();
  data.values.assign(6, 1.0);
  ASSERT_EQ(dataset.open(write(data), &point, 0, 1, QUVEN_ENV), 1);
  dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  for (const int type : {9, 1000, -1}) {
    EXPECT_THAT(scanTypeFailure(type), EndsWith(fatal("ivScanType should be 0, 1, 2 or 3")));
    EXPECT_THAT(failureOf([&] { dataset.readNext(point, QUVEN_ENV); }), EndsWith(fatal("Unknown sampling mode.")));
  }
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, NeedsAFieldForEveryColumn) {
  literal::Dataset data = threeColumns();
  data.values.assign(6, 1.0);
  ASSERT_EQ(dataset.open(write(data), &point, 0, 1, QUVEN_ENV), 1);
  dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  QUVENDataPoint other;
  EXPECT_THAT(failureOf([&] { dataset.readNext(other, QUVEN_ENV); }),
              HasSubstr("A data point without a field for a column of the dataset"));
  EXPECT_EQ(dataset.readNext(point, QUVEN_ENV), 0);
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesRecordsThatTheBlockCannotHold) {
  literal::Dataset data;
  const std::string name = write(data);
  ASSERT_EQ(dataset.open(name, &point, 0, 1, QUVEN_ENV), 1);
  EXPECT_THAT(scanTypeFailure(0), EndsWith(fatal("No column in input data file " + name)));
  dataset.setScanType(QUVENScanType::NoPass, QUVEN_ENV);
  EXPECT_EQ(dataset.readNext(point, QUVEN_ENV), -1);

  for (int c = 0; c <= 25000; ++c) data.columns.push_back({std::string("c").append(std::to_string(c)), true, 1});
  ASSERT_EQ(dataset.open(write(data), &point, 0, 1, QUVEN_ENV), 1);
  EXPECT_THAT(scanTypeFailure(0), EndsWith(fatal("A record of more than 25000 columns in input data file " + name)));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesAPartThatEndsInsideARecord) {
  literal::Dataset data = threeColumns();
  write(data);
  folder.write("data.0", bytesOf({1, 2, 3}));
  folder.write("data.1", bytesOf({1, 2, 3, 4}));
  const std::string name = folder.path("data");
  dataset.setMultiFile(true);
  ASSERT_EQ(dataset.open(name, &point, 0, 1, QUVEN_ENV), 1);
  EXPECT_THAT(scanTypeFailure(0), EndsWith(fatal("The last record is cut in input data file " + name + ".1")));
  // Quadruples are cut otherwise.
  EXPECT_THAT(scanTypeFailure(8), EndsWith(fatal("The last record is cut in input data file " + name + ".0")));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, TellsAFileThatIsGoneOrHasShrunk) {
  literal::Dataset data = threeColumns();
  data.values.assign(30000, 1.0);
  const std::string name = write(data);
  ASSERT_EQ(dataset.open(name, &point, 0, 1, QUVEN_ENV), 1);
  dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  EXPECT_EQ(dataset.readNext(point, QUVEN_ENV), 0);
  std::filesystem::resize_file(name, 200000);
  for (std::int32_t record = 1; record < 8333; ++record) ASSERT_EQ(dataset.readNext(point, QUVEN_ENV), record);
  EXPECT_THAT(failureOf([&] { dataset.readNext(point, QUVEN_ENV); }),
              EndsWith(fatal("Input data file is shorter than it was: " + name)));
  std::filesystem::remove(name);
  EXPECT_EQ(dataset.rewind(QUVEN_ENV), 1);
  EXPECT_THAT(failureOf([&] { dataset.readNext(point, QUVEN_ENV); }),
              EndsWith(fatal("Failed to read input data file " + name)));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesRatesThatNeverTakeARecord) {
  EXPECT_THAT(failureOf([&] { dataset.setSamplingRate(-0.1, QUVEN_ENV); }), HasSubstr("never takes a record"));
  EXPECT_THAT(failureOf([&] { dataset.setSamplingRate(std::nan(""), QUVEN_ENV); }), HasSubstr("never takes a record"));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesRanksThatThereAreNot) {
  const std::string name = write(threeColumns());
  EXPECT_THAT(openFailure(name, false, 1, 1), HasSubstr("rank < count"));
  EXPECT_THAT(openFailure(name, false, -1, 1), HasSubstr("rank >= 0"));
  EXPECT_THAT(openFailure(name, false, 0, 0), HasSubstr("count >= 1"));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, IsNotSavedCopiedOrMoved) {
  const std::string text = "Function/Feature not yet implemented";
  QUVENBinaryInputDataset other;
  EXPECT_THAT(failureOf([&] { dataset.copyFromPrimitive(&other, QUVEN_ENV); }), HasSubstr(text));
  EXPECT_THAT(failureOf([&] { dataset.transferFromPrimitive(&other, QUVEN_ENV); }), HasSubstr(text));
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  EXPECT_THAT(failureOf([&] { dataset.writePrimitive(writer, QUVEN_ENV); }), HasSubstr(text));
  QUVENOwnPtr<QUVENDataPoint> anything = dataset.makeDataPoint(QUVEN_ENV);
  blob.clear();
  quvenWriteObject(writer, *anything, QUVEN_ENV);
  blob.rewind();
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  EXPECT_THAT(failureOf([&] { dataset.readPrimitive(reader, QUVEN_ENV); }), HasSubstr(text));
  QUVEN_DELETE(anything);
  QUVEN_DELETE(blob);
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesAValueThatIsNotANumber) {
  literal::Dataset data = threeColumns();
  data.values.assign(30, 1.5);
  data.values[7 * 3 + 1] = std::nan("");
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.startPass(data);
  for (int record = 0; record < 7; ++record) EXPECT_TRUE(reader.dataset.readRecord(reader.point, QUVEN_ENV));
  const std::string out = failureOf([&] { reader.dataset.readRecord(reader.point, QUVEN_ENV); });
  const std::string text = "Record 7 has no number in the numeric column b";
  EXPECT_THAT(out, StartsWith("Error;|2305;|" + name + ";|" + text + ";|ErrorEnd\n"));
  EXPECT_THAT(out, EndsWith(fatal(text + " of input data file " + name)));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, NamesThePartWithTheValueThatIsNotANumber) {
  literal::Dataset data = threeColumns();
  data.values.assign(30, 1.5);
  data.values[7 * 3 + 1] = std::nan("");
  write(data, {4, 6});
  Reader reader(folder.path("data"), data, true, env);
  reader.startPass(data);
  for (int record = 0; record < 7; ++record) EXPECT_TRUE(reader.dataset.readRecord(reader.point, QUVEN_ENV));
  EXPECT_THAT(failureOf([&] { reader.dataset.readRecord(reader.point, QUVEN_ENV); }),
              StartsWith("Error;|2305;|" + folder.path("data.1") + ";|Record 7 has no number"));
}

TEST_F(QUVENBinaryInputDatasetFailuresTest, RefusesAnEntryThatIsNotANumber) {
  literal::Dataset data = threeColumns();
  data.scanType = 8;
  data.values = {0, 1, 0, 1, 0, 1, 2, std::nan(""), 0, 1, 3, 5};
  const std::string name = write(data);
  Reader reader(name, data, false, env);
  reader.startPass(data);
  EXPECT_THAT(failureOf([&] { reader.dataset.readRecord(reader.point, QUVEN_ENV); }),
              HasSubstr("Record 1 has no number in the numeric column b"));
}

}  // namespace
