#include "output_files.h"

#include <limits>
#include <random>

#include "loader_fixture.h"
#include "output_rows.h"
#include "output_text.h"
#include "process_file.h"

namespace vesk_loader::testing {
namespace {

class OutputFiles : public LoaderTest {
 protected:
  // Tables in the form of a process file.
  void tablesAre(const Doubles& numbers) {
    const std::string path = folder.writeDoubles("process", numbers);
    capturedRun([&] { read_process_file(path, settings, tables); });
  }
  CapturedRun write(const std::string& stem = "out.bin") {
    return capturedRun([&] { result = write_pml_file(folder.path(stem), tables, settings); });
  }
  static LoaderSettings sums() {
    LoaderSettings settings = plainSettings();
    addOperation(settings, "Add", 3, 1);
    return settings;
  }

  LoaderSettings settings = tableSettings(5);
  LoaderTables tables;
  int result = -1;
};

TEST_F(OutputFiles, SparseRowsHaveHeaderEntriesAndFooter) {
  tablesAre({4, 30, 10, 20, -2, -1, 9, 7, -2, -1});
  const CapturedRun run = write();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 0, 3, 4, 1, 10, 4, 2, 20, 4, 3, 30, 4, 4, 0,  //
                                                    9, 0, 3, 9, 1, 7,  9, 4, 0}));
  EXPECT_EQ(folder.read("out.bin.info"),
            "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  const std::string stem = folder.path("out.bin");
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_pml_file, file = " + stem) +
                         logLine(1, ">>> VESK loader: Writing output file \nWriting .info file." + stem +
                                        ".info\nWriting .info file is done." + stem +
                                        ".info\n>>> VESK loader: Writing output file is done. 2records are written "
                                        "into the .bin file.") +
                         logLine(0, ">>> VESK loader: write_pml_file is done"));
}

TEST_F(OutputFiles, SparseBytesAreLittleEndianTriples) {
  tablesAre({1, 2, -2, -1});
  write();
  using namespace std::string_literals;
  const std::string one = "\0\0\0\0\0\0\xF0\x3F"s;
  const std::string two = "\0\0\0\0\0\0\0\x40"s;
  const std::string zero(8, '\0');
  EXPECT_EQ(folder.read("out.bin"), one + zero + one + one + one + two + one + two + zero);
}

TEST_F(OutputFiles, UnsortedTablesKeepTheOrderOfArrival) {
  settings.sortCyclicTable = false;
  tablesAre({4, 30, 10, -2, -1});
  write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 0, 2, 4, 1, 30, 4, 2, 10, 4, 3, 0}));
}

TEST_F(OutputFiles, PayloadsFollowTheOrderOfTheirRowIntoFilesOfTheirOwn) {
  settings.payloadInputs = {3, 2};
  tablesAre({4, 30, 10, -2, 1, 2, -2, 5, 6, -2, -1});
  write("out.bin.0");
  EXPECT_EQ(folder.readDoubles("out.bin.0"), (Doubles{4, 0, 2, 4, 1, 10, 4, 2, 30, 4, 3, 0}));
  EXPECT_EQ(folder.readDoubles("out.bin.0_payload_1"), (Doubles{4, 0, 2, 4, 1, 2, 4, 2, 1, 4, 3, 0}));
  EXPECT_EQ(folder.readDoubles("out.bin.0_payload_2"), (Doubles{4, 0, 2, 4, 1, 6, 4, 2, 5, 4, 3, 0}));
  EXPECT_TRUE(folder.has("out.bin.0.info"));
  EXPECT_FALSE(folder.has("out.bin.0_payload_1.info"));
}

TEST_F(OutputFiles, TableRowsWithoutEntriesAreLeftOut) {
  tablesAre({4, -2, -1, 5, 1, -2, -1});
  const CapturedRun run = write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{5, 0, 1, 5, 1, 1, 5, 2, 0}));
  EXPECT_NE(run.out.find("done. 1records"), std::string::npos);
}

TEST_F(OutputFiles, DenseTablesAreFilledUp) {
  settings.sparse = 0;
  settings.payloadInputs = {3};
  tablesAre({4, 30, 10, 20, -2, 1, 2, 3, -2, -1});
  write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 10, 20, 30, 0, 0}));
  EXPECT_EQ(folder.readDoubles("out.bin_payload_1"), (Doubles{4, 2, 3, 1, 0, 0}));
  EXPECT_EQ(folder.read("out.bin.info"),
            "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n"
            "Col4 Numeric Explanatory\nCol5 Numeric Explanatory\n");
}

TEST_F(OutputFiles, PlainRowsLoseTheirFirstPosition) {
  settings = sums();
  tablesAre({4, 11, 12, 13, -2, -1, 5, 21, -2, -1, 6, -2, -1});
  write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 0, 3, 4, 1, 12, 4, 2, 13, 4, 4, 0,  //
                                                    5, 0, 3, 5, 4, 0,                      //
                                                    6, 0, 3, 6, 4, 0}));
}

TEST_F(OutputFiles, DensePlainRowsAreNotFilledUp) {
  settings = sums();
  settings.sparse = 0;
  tablesAre({4, 11, 12, 13, -2, -1, 5, 21, 22, -2, -1});
  write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 12, 13, 5, 22}));
  EXPECT_EQ(folder.read("out.bin.info"),
            "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\n");
}

TEST_F(OutputFiles, EmptyTablesGiveAnEmptyDatasetWithItsDescription) {
  tablesAre({});
  write();
  EXPECT_EQ(folder.read("out.bin"), "");
  EXPECT_EQ(folder.read("out.bin.info"),
            "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  settings = sums();
  settings.sparse = 0;
  tablesAre({});
  write("dense");
  EXPECT_EQ(folder.read("dense"), "");
  EXPECT_EQ(folder.read("dense.info"), "Col0 Numeric Explanatory\n");
}

TEST_F(OutputFiles, PairSumsHaveTheirFooterMark) {
  settings = pairSumSettings();
  tablesAre({4, 8, 1, 2, 5.5, -2, -1, 9, 3, 4, -2, -1});
  write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 0, 2, 4, 2, 5.5, 4, 8, 1,   4, 0, 7788,  //
                                                    9, 0, 2, 9, 3, 4,   9, 0, 7788}));
}

TEST_F(OutputFiles, PairSumsLeaveOutCallersWithoutPairsAndKeepEmptyMaps) {
  settings = pairSumSettings();
  tablesAre({4, -2, -1, 9, 3, 4, -2, -1});
  tables.keys->findOrInsert(6);
  write();
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 0, 1, 4, 0, 7788, 9, 0, 1, 9, 3, 4, 9, 0, 7788}));
}

TEST_F(OutputFiles, XmlOfATableWithPayloads) {
  settings.outputFormat = OutputFormat::XML;
  settings.sparse = 0;
  settings.payloadInputs = {3};
  settings.tagPrefix = "x:";
  settings.outputNamespace = "xmlns:x=\"calls\"";
  tablesAre({4, 30, 10, -2, 1.5, 2.5, -2, -1});
  const CapturedRun run = write("out.xml");
  EXPECT_EQ(folder.read("out.xml"),
            "<x:Loader-Output xmlns:x=\"calls\">\n\n"
            "<x:Row>\n"
            "\t<x:Key> 4 </x:Key>\n"
            "\t<x:Col>\n"
            "\t\t<x:Index> 1 </x:Index>\n"
            "\t\t<x:Value> 10 </x:Value>\n"
            "\t\t<x:Payload>\n"
            "\t\t\t<x:Index> 1 </x:Index>\n"
            "\t\t\t<x:Value> 2 </x:Value>\n"
            "\t\t</x:Payload>\n"
            "\t</x:Col>\n"
            "\t<x:Col>\n"
            "\t\t<x:Index> 2 </x:Index>\n"
            "\t\t<x:Value> 30 </x:Value>\n"
            "\t\t<x:Payload>\n"
            "\t\t\t<x:Index> 1 </x:Index>\n"
            "\t\t\t<x:Value> 2 </x:Value>\n"
            "\t\t</x:Payload>\n"
            "\t</x:Col>\n"
            "</x:Row>\n\n"
            "</x:Loader-Output>\n");
  EXPECT_FALSE(folder.has("out.xml.info"));
  EXPECT_FALSE(folder.has("out.xml_payload_1"));
  EXPECT_NE(run.out.find(";|>>> VESK loader: Writing output file \n>>> VESK loader: Writing output file is done. "
                         "1records are written into the .bin file.;|"),
            std::string::npos);
}

TEST_F(OutputFiles, XmlOfPairSumsHasTheWeights) {
  settings = pairSumSettings();
  settings.outputFormat = OutputFormat::XML;
  settings.sparse = 0;
  tablesAre({4, 8, 3, -2, -1});
  write();
  EXPECT_EQ(folder.read("out.bin"),
            "<Loader-Output>\n\n<Row>\n\t<Key> 4 </Key>\n\t<Col>\n\t\t<Index> 1 </Index>\n\t\t<Value> 8 </Value>\n"
            "\t\t<SubValue> 3 </SubValue>\n\t</Col>\n</Row>\n\n</Loader-Output>\n");
}

TEST_F(OutputFiles, CsvLinesAreFilledUpInTheirOwnNotation) {
  settings.outputFormat = OutputFormat::CSV;
  settings.sparse = 0;
  settings.cyclicTableSize = 3;
  tablesAre({4, 30.6, 10.4, -2, -1});
  write();
  EXPECT_EQ(folder.read("out.bin"), "4, 10, 31, 0.0\n");
  settings.payloadInputs = {3, 2};
  tablesAre({4, 30, -2, 1, -2, 2, -2, -1});
  write();
  EXPECT_EQ(folder.read("out.bin"), "4, 30, 1, 2, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0\n");
  EXPECT_FALSE(folder.has("out.bin.info"));
}

TEST_F(OutputFiles, CsvOfAPlainRunIsNotFilledUp) {
  settings = sums();
  settings.outputFormat = OutputFormat::CSV;
  tablesAre({4, 1, 2.5, 3.5, -2, -1, 5, 1, -2, -1});
  write();
  EXPECT_EQ(folder.read("out.bin"), "4, 2, 4\n5\n");
}

TEST_F(OutputFiles, AMainFileThatCannotBeOpenedGivesZero) {
  tablesAre({});
  const CapturedRun run = write("no/such/out.bin");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_pml_file, file = " + folder.path("no/such/out.bin")));
}

TEST_F(OutputFiles, APayloadOfAnotherLengthThanItsRowEndsASortedOutputWithZero) {
  settings.payloadInputs = {3};
  tablesAre({4, 30, -2, 1, -2, -1, 5, 30, 10, -2, 1, -2, -1});
  const CapturedRun run = write();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_pml_file, file = " + folder.path("out.bin")));
  EXPECT_EQ(folder.readDoubles("out.bin"), (Doubles{4, 0, 2, 4, 1, 30, 4, 3, 0}));
  EXPECT_FALSE(folder.has("out.bin.info"));
}

// The end of the document used to be written after rows that are not all there.
TEST_F(OutputFiles, AnXmlOutputThatBreaksOffHasNoEnd) {
  settings.payloadInputs = {3};
  settings.outputFormat = OutputFormat::XML;
  tablesAre({5, 30, 10, -2, 1, -2, -1});
  write();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(folder.read("out.bin"), "<Loader-Output>\n\n");
}

TEST_F(OutputFiles, UnsortedOutputTakesAPayloadOfAnotherLengthAsItIs) {
  settings.payloadInputs = {3};
  settings.sortCyclicTable = false;
  tablesAre({5, 30, 10, -2, 1, -2, -1});
  write();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(folder.readDoubles("out.bin_payload_1"), (Doubles{5, 0, 2, 5, 1, 1, 5, 3, 0}));
}

// A row that fits into the block of the file used to give 1325 only: it was written outside the writer of the rows.
TEST_F(OutputFiles, AFullDiskNamesTheWriterOfTheRowFirstWhateverTheSizeOfTheRow) {
  const std::string begin = logLine(0, ">>> VESK loader: starting write_pml_file, file = /dev/full");
  const std::string failed = errorLine(1325, "write_pml_file: Unexpected exception occured (check io and memory)");
  tablesAre({4, 30, -2, -1});
  const CapturedRun run = capturedRun([&] { write_pml_file("/dev/full", tables, settings); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out,
            begin + errorLine(1320, "writeFeaturesToSparse: Unexpected exception occured (probably io)") + failed);
  settings.sparse = 0;
  tablesAre({4, 30, -2, -1});
  EXPECT_EQ(capturedRun([&] { write_pml_file("/dev/full", tables, settings); }).out,
            begin + errorLine(1321, "writeFeaturesToDense: Unexpected exception occured") + failed);
  settings.outputFormat = OutputFormat::CSV;
  tablesAre({4, 30, -2, -1});
  EXPECT_EQ(capturedRun([&] { write_pml_file("/dev/full", tables, settings); }).out, begin + failed);
}

TEST_F(OutputFiles, AFullDiskInTheMiddleOfARowNamesTheWriterOfTheRowFirst) {
  settings.cyclicTableSize = 100000;
  Doubles row = {4};
  for (int i = 0; i < 100000; ++i) row.push_back(i);
  row.insert(row.end(), {-2, -1});
  tablesAre(row);
  const std::string start = logLine(0, ">>> VESK loader: starting write_pml_file, file = /dev/full");
  const std::string end = errorLine(1325, "write_pml_file: Unexpected exception occured (check io and memory)");
  EXPECT_EQ(capturedRun([&] { write_pml_file("/dev/full", tables, settings); }).out,
            start + errorLine(1320, "writeFeaturesToSparse: Unexpected exception occured (probably io)") + end);
  settings.sparse = 0;
  settings.cyclicTableSize = 200000;
  tablesAre(row);
  EXPECT_EQ(capturedRun([&] { write_pml_file("/dev/full", tables, settings); }).out,
            start + errorLine(1321, "writeFeaturesToDense: Unexpected exception occured") + end);
}

TEST_F(OutputFiles, APairSumRunInAnotherFormIsRefused) {
  settings = pairSumSettings();
  settings.outputFormat = OutputFormat::CSV;
  tablesAre({});
  EXPECT_EQ(write().out,
            logLine(0, ">>> VESK loader: starting write_pml_file, file = " + folder.path("out.bin")) +
                errorLine(1106,
                          "write_pml_file: Pairsum is supported in sparse binary and XML formats only (code "
                          "should not got here)") +
                errorLine(1325, "write_pml_file: Unexpected exception occured (check io and memory)"));
}

TEST(Sort, IsStableAndGivesThePermutation) {
  std::vector<double> row = {3, 1, 2, 1, 3};
  std::vector<std::uint32_t> permutation;
  sort(row, permutation);
  EXPECT_EQ(row, (Doubles{1, 1, 2, 3, 3}));
  EXPECT_EQ(permutation, (std::vector<std::uint32_t>{1, 3, 2, 0, 4}));
}

TEST(Sort, EqualsTheBubbleSortForAllLengths) {
  std::mt19937_64 random(6);
  for (std::size_t length = 0; length < 120; ++length) {
    for (int round = 0; round < 20; ++round) {
      std::vector<double> row;
      for (std::size_t i = 0; i < length; ++i) {
        const bool nan = round % 4 == 3 && random() % 10 == 0;
        row.push_back(nan ? std::numeric_limits<double>::quiet_NaN() : static_cast<double>(random() % 20));
      }
      std::vector<double> expected = row;
      std::vector<std::uint32_t> expectedPermutation(length);
      for (std::uint32_t i = 0; i < length; ++i) expectedPermutation[i] = i;
      for (std::size_t i = 0; i + 1 < length; ++i) {
        for (std::size_t j = 0; j + 1 < length - i; ++j) {
          if (expected[j] > expected[j + 1]) {
            std::swap(expected[j], expected[j + 1]);
            std::swap(expectedPermutation[j], expectedPermutation[j + 1]);
          }
        }
      }
      std::vector<std::uint32_t> permutation;
      sort(row, permutation);
      EXPECT_EQ(permutation, expectedPermutation);
      for (std::size_t i = 0; i < length; ++i) EXPECT_TRUE(same_id(row[i], expected[i]));
    }
  }
}

TEST(AppendRounded, RoundsHalfToEvenWithoutDecimals) {
  const auto text = [](double number) {
    std::string result;
    append_rounded(result, number);
    return result;
  };
  EXPECT_EQ(text(0), "0");
  EXPECT_EQ(text(-0.3), "-0");
  EXPECT_EQ(text(0.5), "0");
  EXPECT_EQ(text(1.5), "2");
  EXPECT_EQ(text(2.5), "2");
  EXPECT_EQ(text(-7), "-7");
  EXPECT_EQ(text(9007199254740991.0), "9007199254740991");
  EXPECT_EQ(text(1e22), "10000000000000000000000");
  EXPECT_EQ(text(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(text(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(text(std::numeric_limits<double>::max()).size(), 309U);
}

}  // namespace
}  // namespace vesk_loader::testing
