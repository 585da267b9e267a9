// Analyses of datasets with a card beside them, alone and on several ranks.

#include <gmock/gmock.h>

#include "card_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using vesk_files::DatasetKind;

constexpr const char* pairSum = "Output Sparse; op PairSum 2";
constexpr const char* table = "Output Sparse; CyclicTableSize 5; op CyclicAdd 2";

class DatasetCards : public CardCase {
 protected:
  using Strings = std::vector<std::string>;

  DatasetCards() {
    outputFile = "d.bin";
    writeFile("seeds", "1\n20\n");
    writeFile("diffusion.xml",
              "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n"
              "</AnalysisParams>\n");
    writeFile("groups.xml",
              "<AnalysisParams>\n<MaxClusterSize>20</MaxClusterSize>\n<OutputFileName>found</OutputFileName>\n"
              "<OutputFormat>CSV</OutputFormat>\n<KernelParams>\n<KernelType>Friends</KernelType>\n"
              "<FilterSimilarities>1</FilterSimilarities>\n<isSparseData>1</isSparseData>\n"
              "<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n"
              "<NormalizingFactor>100</NormalizingFactor>\n</KernelParams>\n</AnalysisParams>\n");
  }
  void analyse(int ranks, const std::string& command, const Strings& options = {},
               const std::string& dataset = "d.bin") {
    for (const char* name : {"energy.csv", "found_1.clusters.csv", "found_1.nodes.csv"}) {
      std::filesystem::remove(path(name));
    }
    Strings arguments{"-n",    std::to_string(ranks), std::string(VESK_BIN_DIR) + "/vesk-analyze",
                      command, command + ".xml",      dataset};
    arguments.insert(arguments.end(), options.begin(), options.end());
    result = runOther(VESK_MPIRUN, arguments);
  }
  void expectAccepted(const std::string& command, const Strings& options = {}) {
    for (const int ranks : {1, 2, 3}) {
      analyse(ranks, command, options);
      EXPECT_EQ(result.status, 0) << result.out << result.err;
      EXPECT_TRUE(exists(command == "diffusion" ? "energy.csv" : "found_1.nodes.csv"));
    }
  }
  static std::size_t count(const std::string& text, const std::string& word) {
    std::size_t found = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++found;
    return found;
  }
  /// One error with the file and the text, and no result. On several ranks the text begins with `rank`.
  void expectRefusedBy(int ranks, const std::string& file, const std::string& text, const std::string& command,
                       const Strings& options = {}) {
    SCOPED_TRACE(std::to_string(ranks) + " ranks: " + text);
    analyse(ranks, command, options);
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Error;|2302;|" + file + ";|vesk-analyze: " + text));
    EXPECT_EQ(count(result.out, "Error;|"), 1U) << result.out;
    EXPECT_FALSE(exists("energy.csv"));
    EXPECT_FALSE(exists("found_1.nodes.csv"));
  }
  void expectRefused(const std::string& file, const std::string& text, const std::string& command = "diffusion",
                     const Strings& options = {}) {
    expectRefusedBy(1, file, text, command, options);
    for (const int ranks : {2, 3}) expectRefusedBy(ranks, file, "on rank 0: " + text, command, options);
  }
  void expectKindRefused(const std::string& command, const std::string& content, const std::string& change) {
    const std::string needed = command == "diffusion" ? "pair sums" : "a table with sorted rows";
    for (const int ranks : {1, 2, 3}) {
      expectRefusedBy(ranks, "d.bin",
                      "the dataset holds " + content + ", and " + command + " needs " + needed + "; " + change,
                      command);
    }
  }
};

TEST_F(DatasetCards, OfSoundDatasetsChangeNothing) {
  load(pairSum);
  analyse(1, "diffusion");
  const std::string energies = content("energy.csv");
  writeCardOf("d.bin", DatasetKind::PairSum);
  expectAccepted("diffusion");
  expectAccepted("diffusion", {"--verify", "--strict"});
  analyse(1, "diffusion");
  EXPECT_EQ(content("energy.csv"), energies);

  load(table);
  writeCardOf("d.bin", DatasetKind::TableSorted);
  expectAccepted("groups");
  expectAccepted("groups", {"--verify"});
}

TEST_F(DatasetCards, OfPartsAreAccepted) {
  load(std::string(pairSum) + "; NumberOfPartitions 3");
  writeCardOf("d.bin", DatasetKind::PairSum, 3);
  expectAccepted("diffusion");
  expectAccepted("diffusion", {"--verify"});
}

TEST_F(DatasetCards, AreNotNeeded) {
  load(pairSum);
  expectAccepted("diffusion");
  expectAccepted("diffusion", {"--verify"});
}

TEST_F(DatasetCards, OfAnotherKindAreRefused) {
  const std::string toTable =
      "set CyclicTableSize, use an operation CyclicAdd, and set Output to Sparse, in the loader's parameter file";
  const std::string toPairs =
      "use one operation PairSum with Output Sparse, and no CyclicTableSize, in the loader's parameter file";
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  expectKindRefused("groups", "pair sums", toTable);
  load(table);
  writeCardOf("d.bin", DatasetKind::TableSorted);
  expectKindRefused("diffusion", "a table with sorted rows", toPairs);
  load(std::string(table) + "; CyclicTableSort No");
  writeCardOf("d.bin", DatasetKind::TableUnsorted);
  expectKindRefused("groups", "a table with unsorted rows",
                    "set CyclicTableSort to Yes in the loader's parameter file");
  load("Output Sparse; op Count 2 2");
  writeCardOf("d.bin", DatasetKind::Sums);
  expectKindRefused("groups", "sums", toTable);
  expectKindRefused("diffusion", "sums", toPairs);
  load("Output Dense; CyclicTableSize 5; op CyclicAdd 2");
  writeCardOf("d.bin", DatasetKind::Dense);
  expectKindRefused("groups", "dense records", toTable);
  expectKindRefused("diffusion", "dense records", toPairs);
}

TEST_F(DatasetCards, OfAPayloadFileAreRefused) {
  load("Output Sparse; CyclicTableSize 5; op CyclicAdd 2; op CyclicAddPayload 2");
  writeCardOf("d.bin_payload_1", DatasetKind::Payload);
  writeFile("d.bin_payload_1.info", content("d.bin.info"));
  analyse(2, "groups", {}, "d.bin_payload_1");
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("Error;|2302;|d.bin_payload_1;|vesk-analyze: the dataset holds payloads of a table, "
                        "and groups needs a table with sorted rows; name the dataset itself"));
}

TEST_F(DatasetCards, FindAFileThatWasCutBetweenTwoRows) {
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  const std::string bytes = content("d.bin");
  // A row has a header, three callees and a footer.
  writeFile("d.bin", bytes.substr(0, bytes.size() - 5 * 24));
  expectRefused("d.bin",
                "the file has 23880 bytes and its card says 24000; it was cut or changed, or is of another "
                "run; the card is of run 2026-11-21-1;|ErrorEnd");
}

TEST_F(DatasetCards, FindAChangedDescription) {
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  writeFile("d.bin.info", content("d.bin.info") + "\n");
  expectRefused("d.bin.info", "the file has ");
}

TEST_F(DatasetCards, FindChangedBytesWhenAsked) {
  load(std::string(pairSum) + "; NumberOfPartitions 2");
  writeCardOf("d.bin", DatasetKind::PairSum, 2);
  changeBit("d.bin.1");
  expectRefused("d.bin.1", "the SHA-256 of the file is not that of its card; ", "diffusion", {"--verify"});
}

TEST_F(DatasetCards, FindMissingAndForeignParts) {
  load(std::string(pairSum) + "; NumberOfPartitions 3");
  writeCardOf("d.bin", DatasetKind::PairSum, 3);
  const std::string last = content("d.bin.2");
  std::filesystem::remove(path("d.bin.2"));
  expectRefused("d.bin.2", "the file is missing, and the dataset's card lists it");
  writeFile("d.bin.2", last);
  writeFile("d.bin.3", "");
  expectRefused("d.bin.3", "the file is not listed in the dataset's card; it is left from another run");
  std::filesystem::remove(path("d.bin.3"));
  writeFile("d.bin", last);
  expectRefused("d.bin", "the file is not listed in the dataset's card");
}

TEST_F(DatasetCards, FindPartsOfAnotherRun) {
  load(std::string(pairSum) + "; NumberOfPartitions 2");
  writeCardOf("d.bin", DatasetKind::PairSum, 2);
  const std::string part = content("d.bin.1");
  writeFile("d.bin.1", part + part.substr(0, 5 * 24));
  expectRefused("d.bin.1", "the file has ");
}

TEST_F(DatasetCards, NameTheRankThatSeesOtherFiles) {
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  const std::string whole = content("d.bin");
  std::string changed = whole;
  changed[24 * 7] = static_cast<char>(changed[24 * 7] ^ 1);
  const auto runInFolders = [&](const Strings& dataOfRanks, const Strings& options) {
    Strings arguments;
    for (std::size_t rank = 0; rank < dataOfRanks.size(); ++rank) {
      const std::string rankFolder = path("node" + std::to_string(rank));
      std::filesystem::create_directories(rankFolder);
      for (const char* name : {"seeds", "diffusion.xml", "d.bin.info"}) {
        std::filesystem::copy_file(path(name), rankFolder + "/" + name,
                                   std::filesystem::copy_options::overwrite_existing);
      }
      if (rank == 0) {
        std::filesystem::copy_file(path("d.card.json"), rankFolder + "/d.card.json",
                                   std::filesystem::copy_options::overwrite_existing);
      }
      writeFile("node" + std::to_string(rank) + "/d.bin", dataOfRanks[rank]);
      const Strings own{rank == 0 ? "-n" : ":"};
      arguments.insert(arguments.end(), own.begin(), own.end());
      if (rank > 0) arguments.emplace_back("-n");
      const Strings rest{"1",         "-wdir",         rankFolder, std::string(VESK_BIN_DIR) + "/vesk-analyze",
                         "diffusion", "diffusion.xml", "d.bin"};
      arguments.insert(arguments.end(), rest.begin(), rest.end());
      arguments.insert(arguments.end(), options.begin(), options.end());
    }
    result = runOther(VESK_MPIRUN, arguments);
  };
  const auto expectRank = [&](int rank, const std::string& text) {
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out,
                HasSubstr("Error;|2302;|d.bin;|vesk-analyze: on rank " + std::to_string(rank) + ": " + text));
    EXPECT_EQ(count(result.out, "Error;|"), 1U) << result.out;
    EXPECT_FALSE(exists("node0/energy.csv"));
  };
  runInFolders({whole, whole, whole}, {"--verify"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_TRUE(exists("node0/energy.csv"));
  std::filesystem::remove(path("node0/energy.csv"));

  const std::string cut = whole.substr(0, whole.size() - 5 * 24);
  runInFolders({whole, cut}, {});
  expectRank(1, "the file has 23880 bytes and its card says 24000");
  runInFolders({whole, whole, cut}, {});
  expectRank(2, "the file has 23880 bytes and its card says 24000");
  runInFolders({whole, cut, cut}, {});
  expectRank(1, "the file has 23880 bytes and its card says 24000");
  runInFolders({whole, changed}, {"--verify"});
  expectRank(1, "the SHA-256 of the file is not that of its card");
}

TEST_F(DatasetCards, ThatCannotBeReadAreRefused) {
  load(pairSum);
  for (const auto& [card, mistake] : {std::pair("", "the card is no JSON text"), std::pair("{", "the card is no JSON"),
                                      std::pair("{}", "the card cannot be used: there is no member format")}) {
    writeFile("d.card.json", card);
    for (const int ranks : {1, 2, 3}) expectRefusedBy(ranks, "d.card.json", mistake, "diffusion");
  }
}

TEST_F(DatasetCards, AreNotFollowedOutOfTheirFolder) {
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  vesk_files::DatasetCard card = cardOf("d.bin", DatasetKind::PairSum);
  card.parts[0].name = "../d.bin";
  writeFile("d.card.json", vesk_files::writeCard(card));
  expectRefusedBy(2, "d.card.json", "the card cannot be used: [../d.bin] is no name of a file in the card's folder",
                  "diffusion");
  std::filesystem::create_directory(path("elsewhere"));
  std::filesystem::rename(path("d.bin"), path("elsewhere/d.bin"));
  std::filesystem::create_symlink("elsewhere/d.bin", path("d.bin"));
  writeCardOf("d.bin", DatasetKind::PairSum);
  expectRefused("d.bin", "a symbolic link; it is not followed");
}

TEST_F(DatasetCards, AreNamedInTheResults) {
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  analyse(2, "diffusion", {"--results", "run.xml"});
  ASSERT_EQ(result.status, 0) << result.out;
  const std::string hash = vesk_files::sha256OfFile(path("d.card.json"));
  const auto spaced = [](const std::string& tag, const std::string& value) {
    return "<" + tag + ">" + value + "</" + tag + ">";
  };
  EXPECT_THAT(content("run.xml"), HasSubstr(spaced("Run", "2026-11-21-1")));
  EXPECT_THAT(content("run.xml"), HasSubstr(spaced("Sha256", hash)));
  EXPECT_THAT(content("run.xml"), HasSubstr(spaced("Verified", "0")));
  analyse(1, "diffusion", {"--results", "run.xml", "--verify"});
  EXPECT_THAT(content("run.xml"), HasSubstr(spaced("Verified", "1")));
  std::filesystem::remove(path("d.card.json"));
  analyse(1, "diffusion", {"--results", "run.xml"});
  EXPECT_THAT(content("run.xml"), Not(HasSubstr("DatasetCard")));
}

TEST_F(DatasetCards, AreNotOverwrittenByAResult) {
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  const std::string card = content("d.card.json");
  analyse(1, "diffusion", {"--results", "d.card.json"});
  EXPECT_EQ(result.status, 99);
  EXPECT_EQ(content("d.card.json"), card);
}

TEST_F(DatasetCards, OfDenseRecordsAreAcceptedByCorrelations) {
  load("Output Dense; CyclicTableSize 3; op CyclicAdd 2");
  writeFile("correlations.xml",
            "<AnalysisParams>\n<Target>Col3</Target>\n<OutputFileName>c</OutputFileName>\n</AnalysisParams>\n");
  analyse(1, "correlations");
  const int without = result.status;
  EXPECT_EQ(without, 0) << result.out;
  writeCardOf("d.bin", DatasetKind::Dense);
  analyse(2, "correlations", {"--verify"});
  EXPECT_EQ(result.status, without) << result.out;
  load(pairSum);
  writeCardOf("d.bin", DatasetKind::PairSum);
  analyse(2, "correlations");
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("the dataset holds pair sums, and correlations needs a table with named columns; "));
}

}  // namespace
}  // namespace vesk_e2e
