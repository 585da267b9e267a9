// python/vesk.py on what the programs write, and the examples of docs/python.md where their programs are installed.

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "card_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using vesk_files::DatasetKind;

/// The fenced blocks of the page by the words after the fence.
std::map<std::string, std::string> blocksOfPage() {
  std::ifstream page(std::string(VESK_SOURCE_DIR) + "/docs/python.md");
  std::map<std::string, std::string> blocks;
  std::string name;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("```")) {
      inside = !inside;
      name = line.substr(3);
    } else if (inside) {
      blocks[name] += line + "\n";
    }
  }
  return blocks;
}

class PythonModule : public CardCase {
 protected:
  using Strings = std::vector<std::string>;

  PythonModule() { outputFile = "d.bin"; }
  void SetUp() override {
    if (!hasModule("numpy")) GTEST_SKIP() << python() << " has no numpy";
  }

  /// The interpreter; VESK_PYTHON names another.
  static std::string python() {
    const char* named = std::getenv("VESK_PYTHON");
    return named == nullptr ? "/usr/bin/python3" : named;
  }
  bool hasModule(const std::string& name) {
    if (!std::filesystem::exists(python())) return false;
    return runOther(python(), {"-c", "import " + name}).status == 0;
  }
  static std::string start() { return "import sys\nsys.path.insert(0, '" VESK_SOURCE_DIR "/python')\nimport vesk\n"; }
  /// Runs a script; nothing is left in the folder of the module.
  std::string runScript(const std::string& script) {
    writeFile("script.py", "import sys\nsys.dont_write_bytecode = True\n" + start() + script);
    result = runOther(python(), {"script.py"});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
  std::string failureOf(const std::string& call) {
    return runScript("try:\n  vesk." + call +
                     "\n  print('no failure')\nexcept vesk.VeskError as error:\n  print(error)\n");
  }
  /// The columns of the dataset are those that the program exports.
  void expectAsExported(const std::string& dataset, const std::string& kind) {
    result = runOther("vesk", {"export", dataset, "-o", "exported.csv"});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string out = runScript(
        "import numpy as np\n"
        "dataset = vesk.read_dataset('" +
        dataset +
        "')\n"
        "mine, exported = vesk.columns(dataset), vesk.read_results('exported.csv')\n"
        "assert list(mine) == list(exported), (list(mine), list(exported))\n"
        "for name in mine:\n"
        "  a, b = mine[name], exported[name]\n"
        "  if a.dtype == object:\n"
        "    b = np.array([None if t == '' else t for t in b], dtype=object)\n"
        "    assert a.tolist() == b.tolist(), name\n"
        "  else:\n"
        "    assert np.array_equal(a, b, equal_nan=True), (name, a[:5], b[:5])\n"
        "print(dataset['kind'], len(next(iter(mine.values()))))\n");
    EXPECT_THAT(out, StartsWith(kind + " "));
    EXPECT_NE(out, kind + " 0\n");
  }
};

TEST_F(PythonModule, ReadsWhatIsExported) {
  load("Output Sparse; op PairSum 2");
  expectAsExported("d.bin", "pair-sum");
  load("Output Sparse; CyclicTableSize 5; op CyclicAdd 2; op CyclicAddPayload 2");
  expectAsExported("d.bin", "table");
  expectAsExported("d.bin_payload_1", "payload");
  load("Output Sparse; op Count 2 2; op Add 2 4");
  expectAsExported("d.bin", "sums");
  load("Output Dense; CyclicTableSize 4; op CyclicAdd 2");
  expectAsExported("d.bin", "dense");
}

TEST_F(PythonModule, ReadsParts) {
  outputFile = "p.bin";
  load("Output Sparse; op PairSum 2; NumberOfPartitions 3");
  expectAsExported("p.bin", "pair-sum");
  writeCardOf("p.bin", DatasetKind::PairSum, 3);
  expectAsExported("p.bin", "pair-sum");
  EXPECT_EQ(
      runScript("print(vesk.read_card('p.bin')['run'], len(vesk.read_dataset('p.bin', verify=True)['callers']))\n"),
      "2026-11-21-1 200\n");
  changeBit("p.bin.1");
  EXPECT_EQ(failureOf("read_dataset('p.bin', verify=True)"),
            "p.bin.1: the SHA-256 of the file is not that of its card\n");
  writeFile("p.bin.4", "");
  EXPECT_EQ(failureOf("read_dataset('p.bin')"), "p.bin.4: the file is not listed in the dataset's card\n");
  std::filesystem::remove(path("p.card.json"));
  EXPECT_EQ(failureOf("read_dataset('p.bin')"), "p.bin.3: a part of the dataset is missing\n");
}

TEST_F(PythonModule, HasTheRowsOfCallers) {
  load("Output Sparse; op PairSum 2");
  EXPECT_EQ(
      runScript(
          "d = vesk.read_dataset('d.bin')\n"
          "a, b = d['offsets'][1:3]\n"
          "print(d['callers'][1], d['callees'][a:b], d['weights'][a:b], d['callers'].dtype, len(d['offsets']))\n"),
      "2 [1 3 4] [1. 1. 1.] int64 201\n");
}

TEST_F(PythonModule, ReadsTablesWithLabels) {
  writeFile("in.csv", "months,plan,left\n12.5,basic,no\n,family,yes\n3,\"a, b\",no\n7,,yes\n");
  ASSERT_EQ(runOther("vesk", {"table", "csv", "in.csv", "t.bin", "--target", "left"}).status, 0);
  expectAsExported("t.bin", "dense");
  EXPECT_EQ(
      runScript("d = vesk.read_dataset('t.bin')\nprint(d['names'], d['types'], d['purposes'])\n"
                "print(d['records'][:, 0], vesk.columns(d)['plan'])\n"),
      "['months', 'plan', 'left'] ['Numeric', 'Categorical', 'Numeric'] ['Explanatory', 'Explanatory', 'Target']\n"
      "[12.5  nan  3.   7. ] ['basic' 'family' 'a, b' None]\n");
}

TEST_F(PythonModule, RefusesDatasetsThatAreNone) {
  load("Output Sparse; op PairSum 2");
  EXPECT_EQ(failureOf("read_dataset('none.bin')"), "none.bin: there is no such dataset\n");
  const std::string bytes = content("d.bin");
  writeFile("d.bin", bytes + "x");
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin: 24001 bytes are no whole number of records of 24 bytes\n");
  writeFile("d.bin", bytes.substr(0, bytes.size() - 24));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin, triple 999, caller 200: the row has no footer\n");
  writeFile("d.bin", bytes.substr(24));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin, triple 1, caller 1: the row has no header\n");
  writeNumbers("d.bin", {1, 0, 2, 1, 3, 30, 1, 3, 0});
  EXPECT_EQ(failureOf("read_dataset('d.bin')"),
            "d.bin, triple 2, caller 1: the position does not fit; positions ascend from 1 to the width\n");
  writeFile("d.bin.info", "Col1 Number LineNumber\n");
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin.info: [Col1 Number LineNumber] is no name, type and purpose\n");
  std::filesystem::remove(path("d.bin.info"));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin: there is no description d.bin.info\n");
}

TEST_F(PythonModule, RefusesFilesThatDifferFromTheirCard) {
  load("Output Sparse; op PairSum 2");
  writeCardOf("d.bin", DatasetKind::PairSum);
  EXPECT_EQ(failureOf("read_dataset('d.bin', verify=True)"), "no failure\n");
  const std::string bytes = content("d.bin");
  writeFile("d.bin", bytes.substr(0, bytes.size() - 5 * 24));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin: the file has 23880 bytes and its card says 24000\n");
  std::filesystem::rename(path("d.bin"), path("elsewhere"));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin: the file is missing, and the dataset's card lists it\n");
  std::filesystem::create_symlink("elsewhere", path("d.bin"));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"), "d.bin: a symbolic link; it is not followed\n");
  for (const auto& [card, mistake] : {std::pair("", "the card is no JSON text"),
                                      std::pair("[]", "the card cannot be used: the text is no JSON object"),
                                      std::pair("{\"format\": \"vesk dataset card 1\", \"x\\ny\": 1}",
                                                "the card cannot be used: the member [x?y] is not known")}) {
    writeFile("d.card.json", card);
    EXPECT_EQ(failureOf("read_dataset('d.bin')"), std::string("d.card.json: ") + mistake + "\n");
  }
}

TEST_F(PythonModule, RefusesACardThatLeadsOut) {
  load("Output Sparse; op PairSum 2");
  vesk_files::DatasetCard card = cardOf("d.bin", DatasetKind::PairSum);
  card.companions[0].name = "../d.bin.info";
  writeFile("d.card.json", vesk_files::writeCard(card));
  EXPECT_EQ(failureOf("read_dataset('d.bin')"),
            "d.card.json: the card cannot be used: [../d.bin.info] is no name of a file in the card's folder\n");
}

TEST_F(PythonModule, ReadsResultsByTheirTypes) {
  writeFile("r.csv", "id,share,name,empty,zip,big\n1,0.5,\"a, b\",,007,99999999999999999999\n-2,,x,1,12,1\n");
  EXPECT_EQ(runScript("for name, a in vesk.read_results('r.csv').items():\n  print(name, a.dtype, a.tolist())\n"),
            "id int64 [1, -2]\nshare float64 [0.5, nan]\nname object ['a, b', 'x']\nempty float64 [nan, 1.0]\n"
            "zip object ['007', '12']\nbig object ['99999999999999999999', '1']\n");
  writeFile("r.csv", "a,b\n1,2\n3\n");
  EXPECT_EQ(failureOf("read_results('r.csv')"), "r.csv, line 3: 1 cells, the first line has 2\n");
  EXPECT_EQ(failureOf("read_energy('r.csv')"), "r.csv, line 3: 1 cells, the first line has 2\n");
  writeFile("r.csv", "a,b\n1,2\n");
  EXPECT_EQ(failureOf("read_energy('r.csv')"), "r.csv: there is no column Number; another result?\n");
  EXPECT_EQ(failureOf("read_groups('none')"), "none_1.clusters.csv: No such file or directory\n");
}

TEST_F(PythonModule, ReadsTheLedger) {
  std::filesystem::create_directory(path("state"));
  writeFile("state/ledger.jsonl", "{\"date\": \"2026-11-20\"}\n{\"date\": \"2026-11-21\", \"lines\": 7}\n");
  EXPECT_EQ(runScript("print(vesk.read_ledger('state') == vesk.read_ledger('state/ledger.jsonl'))\n"
                      "print(vesk.read_ledger('state')[1])\n"),
            "True\n{'date': '2026-11-21', 'lines': 7}\n");
  writeFile("state/ledger.jsonl", "{\"date\": \"2026-11-20\"}\n{\"date\": \"20");
  EXPECT_EQ(failureOf("read_ledger('state')"), "state/ledger.jsonl, line 2: no JSON text\n");
}

/// The datasets and results that the examples of the page read.
class PythonPage : public PythonModule {
 protected:
  void SetUp() override {
    PythonModule::SetUp();
    if (IsSkipped()) return;
    outputFile = "pairs.bin";
    load("Output Sparse; op PairSum 2");
    outputFile = "table.bin";
    load("Output Sparse; CyclicTableSize 5; op CyclicAdd 2");
    writeFile("customers.csv", "id,plan\n1,basic\n2,family\n3,basic\n");
    writeFile("seeds", "1\n20\n");
    writeFile("diffusion.xml",
              "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n</AnalysisParams>\n");
    writeFile("groups.xml",
              "<AnalysisParams>\n<MaxClusterSize>20</MaxClusterSize>\n<OutputFileName>found</OutputFileName>\n"
              "<OutputFormat>CSV</OutputFormat>\n<KernelParams>\n<KernelType>Friends</KernelType>\n"
              "<FilterSimilarities>1</FilterSimilarities>\n<isSparseData>1</isSparseData>\n"
              "<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n"
              "<NormalizingFactor>100</NormalizingFactor>\n</KernelParams>\n</AnalysisParams>\n");
    expectDone("vesk", {"table", "csv", "customers.csv", "customers.bin"});
    expectDone("vesk-analyze", {"diffusion", "diffusion.xml", "pairs.bin"});
    expectDone("vesk-analyze", {"groups", "groups.xml", "table.bin"});
    expectDone("vesk", {"export", "pairs.bin", "-o", "pairs.csv"});
    std::filesystem::remove(path("d.bin"));
  }
  void expectDone(const std::string& program, const Strings& arguments) {
    result = runOther(program, arguments);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
  }
  std::string runBlock(const std::string& name) {
    const std::map<std::string, std::string> blocks = blocksOfPage();
    EXPECT_TRUE(blocks.contains(name)) << name;
    return blocks.contains(name) ? runScript(blocks.at(name)) : "";
  }
  static std::string inPath(const std::string& program) {
    const char* folders = std::getenv("PATH");
    std::istringstream list(folders == nullptr ? "" : folders);
    for (std::string folderName; std::getline(list, folderName, ':');) {
      const std::string found = folderName + "/" + program;
      if (std::filesystem::exists(found)) return found;
    }
    return "";
  }
};

TEST_F(PythonPage, ArraysAreThoseOfThePrograms) {
  const std::string out = runBlock("python arrays");
  EXPECT_THAT(out, StartsWith("busiest 1 3.0\nenergy [ 1 20"));
  EXPECT_THAT(out, HasSubstr("groups 50 members 200\n"));
  EXPECT_THAT(out, HasSubstr("plans ['basic', 'family']\n"));
}

TEST_F(PythonPage, PandasReadsThem) {
  if (!hasModule("pandas")) GTEST_SKIP() << python() << " has no pandas";
  const std::string out = runBlock("python pandas");
  EXPECT_THAT(out, HasSubstr("pairs 600 weight 600.0\n"));
  EXPECT_THAT(out, HasSubstr("GroupNumber"));
}

TEST_F(PythonPage, RReadsThem) {
  const std::string program = inPath("Rscript");
  if (program.empty()) GTEST_SKIP() << "there is no Rscript";
  writeFile("script.r", blocksOfPage().at("r"));
  expectDone(program, {"--vanilla", "script.r"});
  EXPECT_THAT(result.out, HasSubstr("pairs 600 weight 600"));
  EXPECT_THAT(result.out, HasSubstr("[1]  1 20"));
}

TEST_F(PythonPage, DuckDbReadsThem) {
  const std::string program = inPath("duckdb");
  if (program.empty() && !hasModule("duckdb")) GTEST_SKIP() << "there is no duckdb";
  writeFile("script.sql", blocksOfPage().at("sql duckdb"));
  if (program.empty()) {
    const std::string out = runScript(
        "import duckdb\nfor text in open('script.sql').read().split(';'):\n"
        "  if text.strip(): print(duckdb.execute(text).fetchall())\n");
    EXPECT_THAT(out, HasSubstr("[('pairs', 600, 600)]\n"));
    return;
  }
  expectDone(program, {"-csv", "-c", blocksOfPage().at("sql duckdb")});
  EXPECT_THAT(result.out, HasSubstr("pairs,600,600"));
}

}  // namespace
}  // namespace vesk_e2e
