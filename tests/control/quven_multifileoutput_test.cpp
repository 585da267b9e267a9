#include "control/quven_multifileoutput.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "kernel/quven_worker.h"
#include "support/captured_run.h"
#include "support/mpi_run.h"
#include "support/temporary_folder.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class QUVENMultifileOutputTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { startMpi(); }
  void SetUp() override { environment.activate(); }
  void TearDown() override { output.destroyPrimitive(QUVEN_ENV); }

  /// What is in the file after lines of numbers.
  std::string written(const std::vector<std::vector<double>>& lines) {
    EXPECT_EQ(output.open(folder.path("out.csv"), QUVEN_ENV), 1);
    for (const std::vector<double>& line : lines) {
      QUVENXaRay<double> numbers;
      numbers.fromZeroBased(line, QUVEN_ENV);
      EXPECT_EQ(output.writeLine(numbers, QUVEN_ENV), 1);
      QUVEN_DELETE(numbers);
    }
    EXPECT_EQ(output.close(QUVEN_ENV), 1);
    return folder.read(ownName());
  }

  static std::string ownName() { return "out_worker_" + std::to_string(quvenWorkerRank()) + ".csv"; }

  template <class Action>
  static std::string failureOf(Action&& action) {
    const CapturedRun run = capturedRun(action);
    EXPECT_TRUE(run.threwLibraryException);
    return run.out;
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENMultifileOutput output;
};

TEST_F(QUVENMultifileOutputTest, PutsTheWorkerBeforeTheLastPoint) {
  const auto path = &QUVENMultifileOutput::pathOf;
  EXPECT_EQ(path("out.csv", 3), "out_worker_3.csv");
  EXPECT_EQ(path("out", 3), "out_worker_3");
  EXPECT_EQ(path("a.b.csv", 0), "a.b_worker_0.csv");
  EXPECT_EQ(path("out.", 12), "out_worker_12.");
  EXPECT_EQ(path(".csv", 1), "_worker_1.csv");
  EXPECT_EQ(path("", 1), "_worker_1");
  // The last point counts, on purpose, in a directory as well.
  EXPECT_EQ(path("run.1/out", 2), "run_worker_2.1/out");
}

TEST_F(QUVENMultifileOutputTest, WritesNumbersInColumns) {
  EXPECT_EQ(written({{1, 2.5, -3}, {0.1}, {1234567890123456.0, 1e15, 0}}),
            "              1,\t       2.500000,\t             -3\n"
            "       0.100000\n"
            "1234567890123456,\t1000000000000000,\t              0\n");
}

TEST_F(QUVENMultifileOutputTest, WritesNumbersOfAllSizes) {
  const double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(written({{0.0000004, 0.0000006, -0.5}, {infinite, -infinite, std::nan("")}, {std::ldexp(1.0, 64)}}),
            "       0.000000,\t       0.000001,\t      -0.500000\n"
            "            inf,\t           -inf,\t            nan\n"
            "18446744073709551616\n");
  const std::string largest = written({{-std::numeric_limits<double>::max()}});
  EXPECT_EQ(largest.size(), 311U);  // sign, 309 digits, line end
  EXPECT_EQ(std::strtod(largest.c_str(), nullptr), -std::numeric_limits<double>::max());
}

TEST_F(QUVENMultifileOutputTest, WritesNothingForNoNumbers) {
  EXPECT_EQ(written({{}, {}}), "");
  EXPECT_EQ(written({{1}, {}, {2}}), "              1\n              2\n");
}

TEST_F(QUVENMultifileOutputTest, WritesTexts) {
  ASSERT_EQ(output.open(folder.path("out.csv"), QUVEN_ENV), 1);
  EXPECT_EQ(output.getPath(), folder.path(ownName()));
  EXPECT_EQ(output.writeString("", QUVEN_ENV), 1);
  EXPECT_EQ(output.writeString("head", QUVEN_ENV), 1);
  EXPECT_EQ(output.writeString("er\n", QUVEN_ENV), 1);
  QUVENXaRay<std::string, 0> texts;
  EXPECT_EQ(output.writeStringLine(texts, QUVEN_ENV), 1);
  texts.append("a", QUVEN_ENV);
  EXPECT_EQ(output.writeStringLine(texts, QUVEN_ENV), 1);
  texts.append("b c", QUVEN_ENV);
  EXPECT_EQ(output.writeStringLine(texts, QUVEN_ENV), 1);
  QUVEN_DELETE(texts);
  EXPECT_EQ(output.close(QUVEN_ENV), 1);
  EXPECT_EQ(output.close(QUVEN_ENV), 1);  // closed already
  EXPECT_EQ(folder.read(ownName()), "header\na\na,\tb c\n");
}

TEST_F(QUVENMultifileOutputTest, KeepsNothingOfAnOlderFile) {
  folder.write(ownName(), std::string(1000, 'x'));
  EXPECT_EQ(written({{7}}), "              7\n");
  EXPECT_EQ(written({}), "");
}

TEST_F(QUVENMultifileOutputTest, OpensTheNextFileInPlaceOfTheFirst) {
  ASSERT_EQ(output.open(folder.path("first.csv"), QUVEN_ENV), 1);
  output.writeString("first", QUVEN_ENV);
  EXPECT_EQ(written({{2}}), "              2\n");
  EXPECT_EQ(folder.read("first_worker_" + std::to_string(quvenWorkerRank()) + ".csv"), "first");
}

TEST_F(QUVENMultifileOutputTest, TellsAFileThatDoesNotOpen) {
  const std::string path = folder.path("none/out.csv");
  EXPECT_THAT(failureOf([&] { output.open(path, QUVEN_ENV); }),
              EndsWith("    Failed to open output file " + folder.path("none/" + ownName()) + "\n"));
  EXPECT_THAT(failureOf([&] { output.writeString("x", QUVEN_ENV); }), HasSubstr("No output file is open"));
}

TEST_F(QUVENMultifileOutputTest, TellsAWriteThatFails) {
  std::filesystem::create_symlink("/dev/full", folder.path(ownName()));
  const std::string report = "    Failed to write output file " + folder.path(ownName()) + "\n";
  ASSERT_EQ(output.open(folder.path("out.csv"), QUVEN_ENV), 1);
  // A write is seen by the system when a block is full or the file is closed.
  const std::string block(1 << 16, 'x');
  EXPECT_THAT(failureOf([&] { output.writeString(block, QUVEN_ENV); }), EndsWith(report));
  QUVENXaRay<double> numbers;
  numbers.append(1, QUVEN_ENV);
  output.writeLine(numbers, QUVEN_ENV);
  EXPECT_THAT(failureOf([&] { output.close(QUVEN_ENV); }), EndsWith(report));
  QUVEN_DELETE(numbers);
}

TEST_F(QUVENMultifileOutputTest, WritesMoreThanABlockInItsOrder) {
  std::string expected;
  ASSERT_EQ(output.open(folder.path("out.csv"), QUVEN_ENV), 1);
  for (int line = 0; line < 20000; ++line) {
    const std::string text = std::to_string(line) + "\n";
    output.writeString(text, QUVEN_ENV);
    expected += text;
  }
  EXPECT_EQ(output.close(QUVEN_ENV), 1);
  EXPECT_EQ(folder.read(ownName()), expected);
}

TEST_F(QUVENMultifileOutputTest, IsNotSavedCopiedOrMoved) {
  const std::string text = "Function/Feature not yet implemented";
  QUVENMultifileOutput other;
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  EXPECT_THAT(failureOf([&] { output.writePrimitive(writer, QUVEN_ENV); }), HasSubstr(text));
  EXPECT_THAT(failureOf([&] { output.copyFromPrimitive(&other, QUVEN_ENV); }), HasSubstr(text));
  EXPECT_THAT(failureOf([&] { output.transferFromPrimitive(&other, QUVEN_ENV); }), HasSubstr(text));
  writer.writeKeyword(QUVEN_KWD(EndObject), QUVEN_ENV);
  blob.rewind();
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  EXPECT_THAT(failureOf([&] { output.readPrimitive(reader, QUVEN_ENV); }), HasSubstr(text));
  QUVEN_DELETE(blob);
}

}  // namespace
