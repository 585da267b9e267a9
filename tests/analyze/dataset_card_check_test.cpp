#include "dataset_card_check.h"

#include <gmock/gmock.h>

#include "analysis_kind.h"
#include "files/sha256.h"
#include "support/captured_run.h"
#include "support/mpi_run.h"
#include "support/temporary_folder.h"

namespace vesk_analyze {
namespace {

using ::testing::HasSubstr;
using vesk_files::DatasetKind;

TEST(KindMistake, SaysWhatIsThereWhatIsNeededAndWhatToChange) {
  const CardNeeds groups{"groups", DatasetKind::TableSorted};
  const std::string change =
      "set CyclicTableSize, use an operation CyclicAdd, and set Output to Sparse, in the "
      "loader's parameter file";
  EXPECT_EQ(kindMistake(DatasetKind::TableSorted, groups), "");
  EXPECT_EQ(kindMistake(DatasetKind::TableUnsorted, groups),
            "the dataset holds a table with unsorted rows, and groups needs a table with sorted rows; set "
            "CyclicTableSort to Yes in the loader's parameter file");
  EXPECT_EQ(kindMistake(DatasetKind::PairSum, groups),
            "the dataset holds pair sums, and groups needs a table with sorted rows; " + change);
  EXPECT_EQ(kindMistake(DatasetKind::Sums, groups),
            "the dataset holds sums, and groups needs a table with sorted rows; " + change);
  EXPECT_EQ(kindMistake(DatasetKind::Dense, groups),
            "the dataset holds dense records, and groups needs a table with sorted rows; " + change);
  EXPECT_EQ(kindMistake(DatasetKind::Payload, groups),
            "the dataset holds payloads of a table, and groups needs a table with sorted rows; name the dataset "
            "itself, without _payload_ and its number");
}

TEST(KindMistake, OfDiffusionAndOfModels) {
  const CardNeeds diffusion{"diffusion", DatasetKind::PairSum};
  EXPECT_EQ(kindMistake(DatasetKind::PairSum, diffusion), "");
  EXPECT_EQ(kindMistake(DatasetKind::TableSorted, diffusion),
            "the dataset holds a table with sorted rows, and diffusion needs pair sums; use one operation PairSum with "
            "Output Sparse, and no CyclicTableSize, in the loader's parameter file");
  const CardNeeds train{"train", DatasetKind::Dense};
  EXPECT_EQ(kindMistake(DatasetKind::Dense, train), "");
  EXPECT_EQ(kindMistake(DatasetKind::Sums, train),
            "the dataset holds sums, and train needs a table with named columns; make a table of the sums with vesk "
            "table rows");
  EXPECT_THAT(kindMistake(DatasetKind::PairSum, train), HasSubstr("use operations Add or Count, and no "));
}

TEST(KindMistake, EveryCommandHasOneKind) {
  for (const AnalysisKind& kind : analysisKinds()) {
    const CardNeeds needs{kind.command, kind.datasetKind};
    const std::string command = kind.command;
    int accepted = 0;
    for (const DatasetKind given : {DatasetKind::TableSorted, DatasetKind::TableUnsorted, DatasetKind::PairSum,
                                    DatasetKind::Sums, DatasetKind::Dense, DatasetKind::Payload}) {
      accepted += kindMistake(given, needs).empty() ? 1 : 0;
    }
    EXPECT_EQ(accepted, 1) << command;
    const DatasetKind expected = command == "diffusion"                       ? DatasetKind::PairSum
                                 : command == "groups" || command == "kernel" ? DatasetKind::TableSorted
                                                                              : DatasetKind::Dense;
    EXPECT_EQ(kind.datasetKind, expected) << command;
  }
}

class DatasetCardCheck : public ::testing::Test {
 protected:
  DatasetCardCheck() {
    environment.activate();
    startMpi();
    transport.emplace();
    card.kind = DatasetKind::PairSum;
    card.run = "run 7";
    card.parts = {add("d.bin", "data")};
    card.companions = {add("d.bin.info", "columns")};
    folder.write("d.card.json", vesk_files::writeCard(card));
  }
  vesk_files::CardFile add(const std::string& name, const std::string& bytes) const {
    folder.write(name, bytes);
    return {name, bytes.size(), vesk_files::sha256OfText(bytes)};
  }
  std::optional<UsedCard> check(bool verifies = false) {
    QUVENEnv* env = &environment;
    return checkDatasetCard(folder.path("d.bin"), {"diffusion", DatasetKind::PairSum, verifies}, *transport, QUVEN_ENV);
  }
  void expectRefused(const std::string& file, const std::string& text, bool verifies = false) {
    const CapturedRun run = capturedRun([&] { check(verifies); });
    EXPECT_TRUE(run.threwLibraryException) << text;
    EXPECT_THAT(run.out, HasSubstr("Error;|2302;|" + folder.path(file) + ";|vesk-analyze: " + text));
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  std::optional<QUVENWorkerTransport> transport;
  vesk_files::DatasetCard card;
};

TEST_F(DatasetCardCheck, GivesTheCardOfASoundDataset) {
  for (const bool verifies : {false, true}) {
    const auto used = check(verifies);
    ASSERT_TRUE(used);
    EXPECT_EQ(used->run, "run 7");
    EXPECT_EQ(used->sha256, vesk_files::sha256OfFile(folder.path("d.card.json")));
    EXPECT_EQ(used->isVerified, verifies);
  }
}

TEST_F(DatasetCardCheck, LeavesADatasetWithoutCardAlone) {
  std::filesystem::remove(folder.path("d.card.json"));
  std::filesystem::remove(folder.path("d.bin"));
  const CapturedRun run = capturedRun([&] { EXPECT_FALSE(check(true)); });
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_FALSE(run.threwLibraryException);
}

TEST_F(DatasetCardCheck, RefusesOtherBytesWhenAsked) {
  folder.write("d.bin", "DATA");
  EXPECT_TRUE(check());
  expectRefused("d.bin", "the SHA-256 of the file is not that of its card", true);
  folder.write("d.bin", "more data");
  expectRefused("d.bin", "the file has 9 bytes and its card says 4");
}

TEST_F(DatasetCardCheck, RefusesACardThatCannotBeUsed) {
  folder.write("d.card.json", "");
  expectRefused("d.card.json", "the card is no JSON text;|");
  folder.write("d.card.json", "{\"format\": \"x\\ny\"}");
  expectRefused("d.card.json", "the card cannot be used: the format is not that of this version;|");
  std::filesystem::remove(folder.path("d.card.json"));
  std::filesystem::create_directory(folder.path("d.card.json"));
  expectRefused("d.card.json", "not a regular file;|");
}

TEST_F(DatasetCardCheck, KeepsNoControlCharacterOfTheRun) {
  card.run = "a\nb";
  folder.write("d.card.json", vesk_files::writeCard(card));
  EXPECT_EQ(check()->run, "a\\x0Ab");
}

}  // namespace
}  // namespace vesk_analyze
