#include <charconv>
#include <cmath>
#include <limits>
#include <random>

#include "export/delimited_output.h"
#include "files/dataset_card.h"
#include "files/sha256.h"
#include "table_case.h"

namespace vesk {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* sparseInfo = "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n";

std::string textOf(double number) {
  std::string text;
  appendNumber(text, number);
  return text;
}

TEST(AppendNumber, WritesWholeNumbersAsDigits) {
  EXPECT_EQ(textOf(0), "0");
  EXPECT_EQ(textOf(-0.0), "-0");
  EXPECT_EQ(textOf(-7), "-7");
  EXPECT_EQ(textOf(5e15), "5000000000000000");
  EXPECT_EQ(textOf(9007199254740991), "9007199254740991");
  EXPECT_EQ(textOf(0.1), "0.1");
  EXPECT_EQ(textOf(1e300), "1e+300");
  EXPECT_EQ(textOf(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(textOf(std::nan("")), "nan");
}

TEST(AppendNumber, ReadsBackExactly) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 100000; ++i) {
    const auto number = std::bit_cast<double>(random());
    if (std::isnan(number)) continue;
    const std::string text = textOf(number);
    double read = 0;
    EXPECT_EQ(std::from_chars(text.data(), text.data() + text.size(), read).ec, std::errc());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(read), std::bit_cast<std::uint64_t>(number)) << text;
  }
}

class ExportTest : public TableCase {
 protected:
  void sparse(const std::string& name, const Numbers& triples) const {
    writeNumbers(name, triples);
    folder.write(name + ".info", sparseInfo);
  }
  int exportAs(const std::string& name, const Strings& options = {}) {
    Strings arguments = {"export", folder.path(name)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
  }
  void expectExported(const std::string& name, const Strings& options, const std::string& text) {
    EXPECT_EQ(exportAs(name, options), 0) << errText;
    EXPECT_EQ(outText, text);
    EXPECT_EQ(errText, "");
  }
  void expectRefused(const std::string& name, const Strings& options, const std::string& text, int status = 3) {
    Strings all = options;
    all.insert(all.end(), {"-o", folder.path("out.csv")});
    EXPECT_EQ(exportAs(name, all), status) << text;
    EXPECT_THAT(errText, StartsWith("vesk: " + text));
    EXPECT_EQ(errText.find('\n'), errText.size() - 1);
    expectNoOutput();
  }
  vesk_files::CardFile fileOf(const std::string& name) const {
    return {name, folder.read(name).size(), vesk_files::sha256OfText(folder.read(name))};
  }
  void writeCard(const std::string& name, vesk_files::DatasetKind kind, const Strings& parts,
                 const Strings& companions) const {
    vesk_files::DatasetCard card;
    card.kind = kind;
    card.run = "r1";
    for (const std::string& part : parts) card.parts.push_back(fileOf(part));
    for (const std::string& companion : companions) card.companions.push_back(fileOf(companion));
    folder.write(vesk_files::cardPath(name), vesk_files::writeCard(card));
  }

  // Two rows, of 2 and 1 callees.
  const Numbers table = {1, 0, 2, 1, 1, 30, 1, 2, 50, 1, 3, 0, 2, 0, 2, 2, 1, 7, 2, 3, 0};
  const Numbers pairs = {1, 0, 2, 1, 30, 2.5, 1, 50, 1, 1, 0, 7788, 2, 0, 2, 2, 7, 4, 2, 0, 7788};
  // Positions 1 and 2 of width 3; caller 2 has only the first.
  const Numbers sums = {1, 0, 3, 1, 1, 0.1, 1, 2, 5e15, 1, 4, 0, 2, 0, 3, 2, 1, -99999, 2, 4, 0, 3, 0, 3, 3, 4, 0};
};

TEST_F(ExportTest, OfATableHasOneLinePerContact) {
  sparse("t.bin", table);
  expectExported("t.bin", {}, "caller,callee\n1,30\n1,50\n2,7\n");
  expectExported("t.bin", {"--wide"}, "caller,callee_1,callee_2\n1,30,50\n2,7,\n");
  expectExported("t.bin", {"--tsv"}, "caller\tcallee\n1\t30\n1\t50\n2\t7\n");
}

TEST_F(ExportTest, OfPairSumsHasTheWeights) {
  sparse("p.bin", pairs);
  expectExported("p.bin", {}, "caller,callee,weight\n1,30,2.5\n1,50,1\n2,7,4\n");
  expectExported("p.bin", {"--wide"}, "caller,callee_1,weight_1,callee_2,weight_2\n1,30,2.5,50,1\n2,7,4,,\n");
}

TEST_F(ExportTest, OfSumsHasThePositions) {
  sparse("s.bin", sums);
  expectExported("s.bin", {}, "caller,position,value\n1,1,0.1\n1,2,5000000000000000\n2,1,\n");
  expectExported("s.bin", {"--wide"}, "caller,value_1,value_2\n1,0.1,5000000000000000\n2,,\n3,,\n");
}

TEST_F(ExportTest, OfACalleeThatLooksLikeTheMarkKeepsIt) {
  sparse("p.bin", {1, 0, 2, 1, 0, 7788, 1, 5, 1, 1, 0, 7788});
  expectExported("p.bin", {}, "caller,callee,weight\n1,0,7788\n1,5,1\n");
}

TEST_F(ExportTest, OfAnEmptyDatasetHasTheNames) {
  sparse("e.bin", {});
  expectExported("e.bin", {}, "caller,position,value\n");
  expectExported("e.bin", {"--wide"}, "caller\n");
  writeCard("e.bin", vesk_files::DatasetKind::PairSum, {"e.bin"}, {"e.bin.info"});
  expectExported("e.bin", {}, "caller,callee,weight\n");
}

TEST_F(ExportTest, OfPartsIsThatOfAllInTheirOrder) {
  sparse("t.bin.0", table);
  sparse("t.bin.1", {});
  sparse("t.bin.2", {9, 0, 3, 9, 1, 1, 9, 2, 2, 9, 3, 3, 9, 4, 0});
  expectExported("t.bin", {}, "caller,callee\n1,30\n1,50\n2,7\n9,1\n9,2\n9,3\n");
  expectExported("t.bin", {"--wide"}, "caller,callee_1,callee_2,callee_3\n1,30,50,\n2,7,,\n9,1,2,3\n");
  folder.write("t.bin.4", "");
  expectRefused("t.bin", {}, "t.bin.3: a part of the dataset is missing");
}

TEST_F(ExportTest, OfAPayloadFileUsesTheDescriptionOfItsTable) {
  sparse("t.bin", table);
  writeNumbers("t.bin_payload_1", {1, 0, 2, 1, 1, 60, 1, 2, 70, 1, 3, 0, 2, 0, 2, 2, 1, 0, 2, 3, 0});
  expectExported("t.bin_payload_1", {}, "caller,position,value\n1,1,60\n1,2,70\n2,1,0\n");
  expectExported("t.bin_payload_1", {"--wide"}, "caller,value_1,value_2\n1,60,70\n2,0,\n");
  writeCard("t.bin_payload_1", vesk_files::DatasetKind::Payload, {"t.bin_payload_1"}, {});
  expectExported("t.bin_payload_1", {}, "caller,position,value\n1,1,60\n1,2,70\n2,1,0\n");
}

TEST_F(ExportTest, OfPayloadsInPartsFindsThem) {
  sparse("t.bin.0", {});
  sparse("t.bin.1", {});
  writeNumbers("t.bin.0_payload_1", {1, 0, 1, 1, 1, 60, 1, 2, 0});
  writeNumbers("t.bin.1_payload_1", {2, 0, 1, 2, 1, 70, 2, 2, 0});
  expectExported("t.bin_payload_1", {}, "caller,position,value\n1,1,60\n2,1,70\n");
  writeNumbers("t.bin.3_payload_1", {});
  expectRefused("t.bin_payload_1", {}, "t.bin.2_payload_1: a part of the dataset is missing");
}

TEST_F(ExportTest, OfDenseRecordsHasTheNamesOfTheDescription) {
  writeNumbers("d.bin", {1, 3, 5, 2, -99999, 0});
  folder.write("d.bin.info", "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\n");
  expectExported("d.bin", {}, "Col0,Col1,Col2\n1,3,5\n2,,0\n");
  expectExported("d.bin", {"--wide"}, "Col0,Col1,Col2\n1,3,5\n2,,0\n");
}

TEST_F(ExportTest, OfRowsOfDifferentLengthsIsRefused) {
  // Rows 1: 3, 5 and 2: 4 and 3: 6.
  writeNumbers("d.bin", {1, 3, 5, 2, 4, 3, 6, 7, 8});
  folder.write("d.bin.info", "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\n");
  EXPECT_EQ(exportAs("d.bin"), 0) << "2, 4, 3 and 6, 7, 8 could be rows";
  writeNumbers("d.bin", {5, 3, 5, 2, 4, 3});
  expectRefused("d.bin", {}, "d.bin, record 2: the callers do not ascend");
}

TEST_F(ExportTest, OfATableWithLabelsIsTheTextsAgain) {
  const std::string csv = "months,plan,left\n12.5,basic,no\n,family,yes\n3,\"a, b\",no\n7,,yes\n";
  folder.write("in.csv", csv);
  ASSERT_EQ(run({"table", "csv", folder.path("in.csv"), folder.path("t.bin"), "--target", "left"}), 0) << errText;
  expectExported("t.bin", {}, csv);
  expectExported("t.bin", {"--tsv"}, "months\tplan\tleft\n12.5\tbasic\tno\n\tfamily\tyes\n3\ta, b\tno\n7\t\tyes\n");
}

TEST_F(ExportTest, ToAFileSaysHowMuch) {
  sparse("t.bin", table);
  EXPECT_EQ(exportAs("t.bin", {"-o", folder.path("out.csv")}), 0);
  EXPECT_EQ(outText, "out.csv: 3 lines, 2 columns\n");
  EXPECT_EQ(folder.read("out.csv"), "caller,callee\n1,30\n1,50\n2,7\n");
  EXPECT_EQ(exportAs("t.bin", {"-o", folder.path("out.tsv"), "--wide"}), 0);
  EXPECT_EQ(folder.read("out.tsv"), "caller\tcallee_1\tcallee_2\n1\t30\t50\n2\t7\t\n");
  EXPECT_EQ(files(), (Strings{"out.csv", "out.tsv", "t.bin", "t.bin.info"}));
}

TEST_F(ExportTest, OverAnInputIsRefused) {
  sparse("t.bin", table);
  writeCard("t.bin", vesk_files::DatasetKind::TableSorted, {"t.bin"}, {"t.bin.info"});
  std::filesystem::create_hard_link(folder.path("t.bin"), folder.path("other"));
  const std::string bytes = folder.read("t.bin");
  for (const std::string name : {"t.bin", "t.bin.info", "t.card.json", "other"}) {
    EXPECT_EQ(exportAs("t.bin", {"-o", folder.path(name)}), 1);
    EXPECT_THAT(errText, StartsWith("vesk: the output " + name + " would take the place of the input "));
  }
  EXPECT_EQ(folder.read("t.bin"), bytes);
  EXPECT_EQ(files(), (Strings{"other", "t.bin", "t.bin.info", "t.card.json"}));
}

TEST_F(ExportTest, OfADatasetThatIsNotOneIsRefused) {
  expectRefused("none.bin", {}, "none.bin: there is no such dataset");
  writeNumbers("n.bin", table);
  expectRefused("n.bin", {}, "n.bin has no description n.bin.info");
  folder.write("n.bin.info", "");
  expectRefused("n.bin", {}, "n.bin.info has no columns");
  folder.write("n.bin.info", "Col1 Number LineNumber\n");
  expectRefused("n.bin", {}, "n.bin.info: ");
  sparse("c.bin", table);
  folder.write("c.bin", folder.read("c.bin") + "x");
  expectRefused("c.bin", {}, "c.bin has 1 bytes after its last whole triple, number 7");
}

TEST_F(ExportTest, OfDamagedRowsIsRefusedWithTheTriple) {
  const std::vector<std::pair<Numbers, std::string>> damages = {
      {{1, 0, 2, 1, 1, 30, 2, 0, 2, 2, 3, 0}, "t.bin, triple 2, caller 1: the row has no footer"},
      {{1, 0, 2, 1, 1, 30, 1, 2, 50}, "t.bin, triple 3, caller 1: the row has no footer"},
      {{1, 0, 2}, "t.bin, triple 1, caller 1: the row has no footer"},
      {{1, 1, 2, 1, 3, 0}, "t.bin, triple 1, caller 1: the row has no header"},
      {{1, 0, 2.5, 1, 3.5, 0}, "t.bin, triple 1, caller 1: the width 2.5 is not a whole number"},
      {{1, 0, -1, 1, 0, 0}, "t.bin, triple 1, caller 1: the width -1 is not a whole number"},
      {{1, 0, 2, 1, 3, 1, 1, 3, 0}, "t.bin, triple 2, caller 1: the position 3 does not fit"},
      {{1, 0, 2, 1, 2, 1, 1, 1, 1, 1, 3, 0}, "t.bin, triple 3, caller 1: the position 1 does not fit"},
      {{1, 0, 2, 1, 0.5, 1, 1, 3, 0}, "t.bin, triple 2, caller 1: the position 0.5 does not fit"}};
  for (const auto& [triples, text] : damages) {
    sparse("t.bin", triples);
    expectRefused("t.bin", {}, text);
    expectRefused("t.bin", {"--wide"}, text);
  }
  sparse("t.bin", {1, 0, 1, 1, 5, 1, 1, 6, 1, 1, 0, 7788});
  expectRefused("t.bin", {"--wide"}, "t.bin: the row of caller 1 is longer than its header says");
  sparse("t.bin", {1, 0, 1e12, 1, 1e12 + 1, 0});
  expectRefused("t.bin", {"--wide"}, "t.bin: the longest row is too long for one line; leave out --wide");
}

TEST_F(ExportTest, OfADatasetThatDiffersFromItsCardIsRefused) {
  sparse("t.bin", table);
  writeCard("t.bin", vesk_files::DatasetKind::TableSorted, {"t.bin"}, {"t.bin.info"});
  expectExported("t.bin", {"--verify"}, "caller,callee\n1,30\n1,50\n2,7\n");
  Numbers other = table;
  other[5] = 31;
  writeNumbers("t.bin", other);
  expectExported("t.bin", {}, "caller,callee\n1,31\n1,50\n2,7\n");
  expectRefused("t.bin", {"--verify"}, "t.bin: the SHA-256 of the file is not that of its card");
  other.resize(other.size() - 9);
  writeNumbers("t.bin", other);
  expectRefused("t.bin", {}, "t.bin: the file has 96 bytes and its card says 168");
  writeNumbers("t.bin", table);
  writeNumbers("t.bin.0", table);
  expectRefused("t.bin", {}, "t.bin.0: the file is not listed in the dataset's card");
  folder.write("t.card.json", "{}");
  expectRefused("t.bin", {}, "t.card.json: the card cannot be used: there is no member format");
}

TEST_F(ExportTest, OfADescriptionThatDoesNotFitTheCardIsRefused) {
  sparse("t.bin", table);
  writeCard("t.bin", vesk_files::DatasetKind::Dense, {"t.bin"}, {"t.bin.info"});
  expectRefused("t.bin", {}, "t.bin: the description does not fit the card, which says dense");
}

TEST_F(ExportTest, ThatCannotBeWrittenSaysSo) {
  sparse("t.bin", table);
  EXPECT_EQ(exportAs("t.bin", {"-o", folder.path("none/out.csv")}), 99);
  EXPECT_EQ(errText, "vesk: cannot write none/out.csv: No such file or directory\n");
  EXPECT_EQ(exportAs("t.bin", {"-o", "/dev/full"}), 99);
  EXPECT_THAT(errText, StartsWith("vesk: cannot write /dev/full"));
}

}  // namespace
}  // namespace vesk
