#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;
using Numbers = std::vector<double>;

/// One small table or row of sums in each form of output. Lines are "caller callee payload payload".
class LoaderOutputFormsRun : public LoaderCase {
 protected:
  void runLines(const std::string& statements, const Strings& lines) {
    parameters("fields 1-1 3-3 5-6 8-11; Key 1; " + statements);
    records("a", lines);
    run();
    expectCompleteRun(scanned("a", static_cast<int>(lines.size()), 11), recordCount,
                      statistics("a", static_cast<int>(lines.size())));
  }

  int recordCount = 1;
};

const std::string table = "CyclicTableSize 5; op CyclicAdd 2; ";
const std::string payloads = "op CyclicAddPayload 3; op CyclicAddPayload 4; ";
const std::string sparseInfo = "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n";

TEST_F(LoaderOutputFormsRun, SparseRowsStandBetweenHeaderAndFooter) {
  recordCount = 2;
  runLines(table + "Output Sparse", {"1 8 10 1000", "2 5 20 2000", "1 7 30 3000"});
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 2, 1, 1, 7, 1, 2, 8, 1, 3, 0,  //
                                     2, 0, 2, 2, 1, 5, 2, 3, 0}));
  EXPECT_EQ(content("out.info"), sparseInfo);
  EXPECT_EQ(files(), (Strings{"out", "out.info"}));
}

TEST_F(LoaderOutputFormsRun, SparsePayloadsHaveFilesOfTheSameForm) {
  recordCount = 2;
  runLines(table + payloads + "Output Sparse", {"1 8 10 1000", "2 5 20 2000", "1 7 30 3000"});
  EXPECT_EQ(numbers("out_payload_1"), (Numbers{1, 0, 2, 1, 1, 30, 1, 2, 10, 1, 3, 0,  //
                                               2, 0, 2, 2, 1, 20, 2, 3, 0}));
  EXPECT_EQ(numbers("out_payload_2"), (Numbers{1, 0, 2, 1, 1, 3000, 1, 2, 1000, 1, 3, 0,  //
                                               2, 0, 2, 2, 1, 2000, 2, 3, 0}));
  EXPECT_EQ(files(), (Strings{"out", "out.info", "out_payload_1", "out_payload_2"}));
}

TEST_F(LoaderOutputFormsRun, DenseRowsAreFilledUpToTheTableSize) {
  runLines(table + payloads + "Output Dense", {"1 8 10 1000", "1 7 30 3000", "1 9 40 4000"});
  EXPECT_EQ(numbers("out"), (Numbers{1, 7, 8, 9, 0, 0}));
  EXPECT_EQ(numbers("out_payload_1"), (Numbers{1, 30, 10, 40, 0, 0}));
  EXPECT_EQ(numbers("out_payload_2"), (Numbers{1, 3000, 1000, 4000, 0, 0}));
  EXPECT_EQ(content("out.info"),
            "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n"
            "Col4 Numeric Explanatory\nCol5 Numeric Explanatory\n");
  EXPECT_EQ(files(), (Strings{"out", "out.info", "out_payload_1", "out_payload_2"}));
}

TEST_F(LoaderOutputFormsRun, AnEmptyTableIsAFileOfNoLengthWithItsDescription) {
  recordCount = 0;
  runLines(table + "Output Sparse", {});
  EXPECT_EQ(content("out"), "");
  EXPECT_EQ(content("out.info"), sparseInfo);
  runLines("op Add 2 2; Output Dense", {});
  EXPECT_EQ(content("out"), "");
  EXPECT_EQ(content("out.info"), "Col0 Numeric Explanatory\n");
  runLines("CyclicTableSize 1; op CyclicAdd 2; Output Dense", {});
  EXPECT_EQ(content("out.info"), "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\n");
}

TEST_F(LoaderOutputFormsRun, XmlShowsEachEntryWithItsPayloads) {
  recordCount = 2;
  runLines(table + payloads + "Output XML", {"1 8 10 1000", "2 5 20 2000", "1 7 30 3000"});
  EXPECT_EQ(content("out"),
            "<Loader-Output>\n"
            "\n"
            "<Row>\n"
            "\t<Key> 1 </Key>\n"
            "\t<Col>\n"
            "\t\t<Index> 1 </Index>\n"
            "\t\t<Value> 7 </Value>\n"
            "\t\t<Payload>\n"
            "\t\t\t<Index> 1 </Index>\n"
            "\t\t\t<Value> 30 </Value>\n"
            "\t\t</Payload>\n"
            "\t\t<Payload>\n"
            "\t\t\t<Index> 2 </Index>\n"
            "\t\t\t<Value> 3000 </Value>\n"
            "\t\t</Payload>\n"
            "\t</Col>\n"
            "\t<Col>\n"
            "\t\t<Index> 2 </Index>\n"
            "\t\t<Value> 8 </Value>\n"
            "\t\t<Payload>\n"
            "\t\t\t<Index> 1 </Index>\n"
            "\t\t\t<Value> 10 </Value>\n"
            "\t\t</Payload>\n"
            "\t\t<Payload>\n"
            "\t\t\t<Index> 2 </Index>\n"
            "\t\t\t<Value> 1000 </Value>\n"
            "\t\t</Payload>\n"
            "\t</Col>\n"
            "</Row>\n"
            "\n"
            "<Row>\n"
            "\t<Key> 2 </Key>\n"
            "\t<Col>\n"
            "\t\t<Index> 1 </Index>\n"
            "\t\t<Value> 5 </Value>\n"
            "\t\t<Payload>\n"
            "\t\t\t<Index> 1 </Index>\n"
            "\t\t\t<Value> 20 </Value>\n"
            "\t\t</Payload>\n"
            "\t\t<Payload>\n"
            "\t\t\t<Index> 2 </Index>\n"
            "\t\t\t<Value> 2000 </Value>\n"
            "\t\t</Payload>\n"
            "\t</Col>\n"
            "</Row>\n"
            "\n"
            "</Loader-Output>\n");
  EXPECT_EQ(files(), Strings{"out"});
}

TEST_F(LoaderOutputFormsRun, ThePrefixStandsInEveryTagAndTheNamespaceInTheFirst) {
  runLines("op Add 2 2; Output XML; xml x: xmlns:x='some name'", {"1 8 10 1000"});
  EXPECT_EQ(content("out"),
            "<x:Loader-Output xmlns:x='some name'>\n"
            "\n"
            "<x:Row>\n"
            "\t<x:Key> 1 </x:Key>\n"
            "\t<x:Col>\n"
            "\t\t<x:Index> 1 </x:Index>\n"
            "\t\t<x:Value> 8 </x:Value>\n"
            "\t</x:Col>\n"
            "</x:Row>\n"
            "\n"
            "</x:Loader-Output>\n");
}

TEST_F(LoaderOutputFormsRun, AnEmptyXmlDocumentHasItsTwoTags) {
  recordCount = 0;
  runLines(table + "Output XML; xml - n", {});
  EXPECT_EQ(content("out"), "<Loader-Output n>\n\n</Loader-Output>\n");
}

TEST_F(LoaderOutputFormsRun, TheXmlTagOfAnotherFormIsIgnored) {
  runLines(table + "Output Sparse; xml x: y", {"1 8 10 1000"});
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 1, 1, 1, 8, 1, 2, 0}));
}

TEST_F(LoaderOutputFormsRun, CsvLinesAreFilledUpToTheTableSize) {
  recordCount = 2;
  runLines(table + payloads + "Output CSV", {"1 8 10 1000", "2 5 20 2000", "1 7 30 3000"});
  EXPECT_EQ(content("out"),
            "1, 7, 30, 3000, 8, 10, 1000, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0\n"
            "2, 5, 20, 2000, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0\n");
  EXPECT_EQ(files(), Strings{"out"});
}

TEST_F(LoaderOutputFormsRun, TextFormsRoundToIntegersAndBinaryFormsDoNot) {
  runLines("op Add 4 2; Output CSV", {"1 8 10  1.5", "1 8 10  1.2"});  // 2.7
  EXPECT_EQ(content("out"), "1, 3\n");
  runLines("op Add 4 2; Output XML", {"1 8 10  0.5"});  // a half rounds to the even side
  EXPECT_THAT(content("out"), ::testing::HasSubstr("<Value> 0 </Value>"));
  runLines("op Add 4 2; Output Dense", {"1 8 10  1.5", "1 8 10  1.2"});
  EXPECT_EQ(numbers("out"), (Numbers{1, 1.5 + 1.2}));
}

TEST_F(LoaderOutputFormsRun, IdsOfFifteenDigitsAreExactInEveryForm) {
  records("a", {"972541234567891 972549876543219"});
  const auto runForm = [this](const std::string& form) {
    parameters("fields 1-15 17-31; Key 1; CyclicTableSize 1; op CyclicAdd 2; Output " + form);
    run();
    expectCompleteRun(scanned("a", 1, 31), 1, statistics("a", 1));
  };
  runForm("CSV");
  EXPECT_EQ(content("out"), "972541234567891, 972549876543219\n");
  runForm("Dense");
  EXPECT_EQ(numbers("out"), (Numbers{972541234567891.0, 972549876543219.0}));
  runForm("XML");
  EXPECT_THAT(content("out"), ::testing::HasSubstr("<Key> 972541234567891 </Key>"));
}

TEST_F(LoaderOutputFormsRun, RowsStandInAscendingOrderOfTheirNumbers) {
  parameters("fields 1-4 6-6; Key 1; Output CSV; op Add 2 2");
  records("a", {"1000 1", "9    2", "10   3", "2.5  4", "0999 5"});
  run();
  expectCompleteRun(scanned("a", 5, 6), 5, statistics("a", 5));
  EXPECT_EQ(content("out"), "2, 4\n9, 2\n10, 3\n999, 5\n1000, 1\n");
}

TEST_F(LoaderOutputFormsRun, AnOlderOutputIsReplaced) {
  writeFile("out", std::string(100000, 'x'));
  writeFile("out.info", std::string(100000, 'x'));
  runLines(table + "Output Sparse", {"1 8 10 1000"});
  EXPECT_EQ(numbers("out"), (Numbers{1, 0, 1, 1, 1, 8, 1, 2, 0}));
  EXPECT_EQ(content("out.info"), sparseInfo);
}

TEST_F(LoaderOutputFormsRun, PlainDenseRowsAreAsLongAsTheirSums) {
  // Rows of a process file of fewer sums stay shorter until their caller calls again.
  processFile = "process";
  writeNumbers("process", {2, 0, 5, -2, -1});
  parameters("fields 1-1 3-3; Key 1; Output Dense; op Add 2 2; op Add 2 4");
  records("a", {"1 8"});
  run();
  expectRun(0, head() + opened() + processFileRead() + listed({"a"}) + scanned("a", 1, 3) + processFileWritten(2) +
                   written(2) + statistics("a", 1) + completed());
  EXPECT_EQ(numbers("out"), (Numbers{1, 8, 0, 8, 2, 5}));
  EXPECT_EQ(content("out.info"),
            "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
}

}  // namespace
}  // namespace vesk_e2e
