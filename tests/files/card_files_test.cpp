#include "files/card_files.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>

#include "files/sha256.h"
#include "support/temporary_folder.h"

namespace vesk_files {
namespace {

using ::testing::HasSubstr;

class CardFilesTest : public ::testing::Test {
 protected:
  CardFilesTest() { card.run = "run7"; }

  CardFile add(const std::string& name, const std::string& bytes) {
    folder.write(name, bytes);
    return {name, bytes.size(), sha256OfText(bytes)};
  }
  void makeSingle() {
    card.parts = {add("d.bin", "data")};
    card.companions = {add("d.bin.info", "columns")};
  }
  void makeParts() {
    card.parts = {add("d.bin.0", "data 0"), add("d.bin.1", "data 1")};
    card.companions = {add("d.bin.0.info", "columns"), add("d.bin.1.info", "columns")};
  }
  std::optional<CardMismatch> compare(const std::string& name = "d.bin", CardCheck check = CardCheck::Sizes) const {
    return compareWithCard(folder.path(name), card, check);
  }
  void expectAgreed(const std::string& name = "d.bin") const {
    for (const CardCheck check : {CardCheck::Sizes, CardCheck::Hashes}) {
      const auto mismatch = compare(name, check);
      EXPECT_FALSE(mismatch) << mismatch->file << ": " << mismatch->text;
    }
  }
  void expectMismatch(const std::string& file, const std::string& text, const std::string& name = "d.bin",
                      CardCheck check = CardCheck::Sizes) const {
    const auto mismatch = compare(name, check);
    ASSERT_TRUE(mismatch) << text;
    EXPECT_EQ(mismatch->file, folder.path(file));
    EXPECT_THAT(mismatch->text, HasSubstr(text));
  }

  TemporaryFolder folder;
  DatasetCard card;
};

TEST_F(CardFilesTest, AreThoseOfTheCard) {
  makeSingle();
  folder.write("d.bin_payload_1", "another dataset");
  folder.write("d.bin.labels", "labels");
  folder.write("d.bin.old", "no part");
  folder.write("d.bin.100", "no number of a part");
  folder.write("d.bin.01", "no number of a part");
  folder.write("dd.bin", "another dataset");
  expectAgreed();
}

TEST_F(CardFilesTest, ArePartsInTheirOrder) {
  makeParts();
  expectAgreed();
  std::swap(card.parts[0], card.parts[1]);
  expectMismatch("d.bin", "is that of other files, the first is d.bin.1");
  card.parts = {card.parts[1]};
  expectMismatch("d.bin.1", "the file is not listed in the dataset's card; it is left from another run");
}

TEST_F(CardFilesTest, OfADatasetInOnePartAgree) {
  card.parts = {add("d.bin.0", "data")};
  expectAgreed();
}

TEST_F(CardFilesTest, OfPayloadsAgree) {
  card.kind = DatasetKind::Payload;
  folder.write("d.bin", "the table");
  card.parts = {add("d.bin_payload_1", "payload")};
  expectAgreed("d.bin_payload_1");
  add("d.bin.0_payload_1", "another run");
  expectMismatch("d.bin.0_payload_1", "not listed", "d.bin_payload_1");
  std::filesystem::remove(folder.path("d.bin_payload_1"));
  card.parts = {add("d.bin.0_payload_1", "p0"), add("d.bin.1_payload_1", "p1")};
  expectAgreed("d.bin_payload_1");
  add("d.bin.0_payload_12", "another payload");
  expectAgreed("d.bin_payload_1");
}

TEST_F(CardFilesTest, OfAnotherSizeAreFound) {
  makeParts();
  folder.write("d.bin.1", "data");
  expectMismatch("d.bin.1",
                 "the file has 4 bytes and its card says 6; it was cut or changed, or is of another run; the card is "
                 "of run run7");
  makeParts();
  folder.write("d.bin.0.info", "columns more");
  expectMismatch("d.bin.0.info", "the file has 12 bytes and its card says 7");
}

TEST_F(CardFilesTest, OfOtherBytesAreFoundByTheirHashes) {
  makeParts();
  folder.write("d.bin.1", "DATA 1");
  EXPECT_FALSE(compare());
  expectMismatch("d.bin.1", "the SHA-256 of the file is not that of its card", "d.bin", CardCheck::Hashes);
  makeParts();
  folder.write("d.bin.1.info", "Columns");
  EXPECT_FALSE(compare());
  expectMismatch("d.bin.1.info", "the SHA-256 of the file is not that of its card", "d.bin", CardCheck::Hashes);
}

TEST_F(CardFilesTest, ThatAreMissingAreFound) {
  for (const std::string name : {"d.bin.0", "d.bin.1", "d.bin.0.info", "d.bin.1.info"}) {
    makeParts();
    std::filesystem::remove(folder.path(name));
    expectMismatch(name, "the file is missing, and the dataset's card lists it; the card is of run run7");
  }
}

TEST_F(CardFilesTest, ThatTheCardDoesNotListAreFound) {
  for (const std::string name : {"d.bin", "d.bin.2", "d.bin.99", "d.bin.info", "d.bin.2.info"}) {
    makeParts();
    folder.write(name, "");
    expectMismatch(name, "the file is not listed in the dataset's card");
    std::filesystem::remove(folder.path(name));
  }
  for (const std::string part : {"d.bin.0", "d.bin.1", "d.bin.0.info", "d.bin.1.info"}) {
    std::filesystem::remove(folder.path(part));
  }
  makeSingle();
  folder.write("d.bin.0", "");
  expectMismatch("d.bin.0", "the file is not listed in the dataset's card");
}

TEST_F(CardFilesTest, OfAnotherNameAreNotTheDataset) {
  makeSingle();
  folder.write("d", "data");
  expectMismatch("d", "its card " + folder.path("d.card.json") + " is that of other files, the first is d.bin", "d");
}

TEST_F(CardFilesTest, OfOnePartAreNotTheDataset) {
  makeParts();
  expectMismatch("d.bin.0", "the file is one of the 2 parts of a dataset; name the dataset", "d.bin.0");
}

TEST_F(CardFilesTest, AreNotFollowedThroughLinks) {
  makeParts();
  folder.write("elsewhere/d.bin.1", "data 1");
  std::filesystem::remove(folder.path("d.bin.1"));
  std::filesystem::create_symlink("elsewhere/d.bin.1", folder.path("d.bin.1"));
  expectMismatch("d.bin.1", "a symbolic link; it is not followed");
}

TEST_F(CardFilesTest, AreRegularFiles) {
  makeSingle();
  std::filesystem::remove(folder.path("d.bin"));
  ASSERT_EQ(::mkfifo(folder.path("d.bin").c_str(), 0600), 0);
  expectMismatch("d.bin", "not a regular file");
  std::filesystem::remove(folder.path("d.bin"));
  std::filesystem::create_directory(folder.path("d.bin"));
  expectMismatch("d.bin", "not a regular file");
}

TEST_F(CardFilesTest, HaveTheCardBesideThem) {
  EXPECT_EQ(readCardText(folder.path("d.card.json")), std::nullopt);
  EXPECT_EQ(readCardText(folder.path("none/d.card.json")), std::nullopt);
  folder.write("d.card.json", "text");
  EXPECT_EQ(readCardText(folder.path("d.card.json")), "text");
}

TEST_F(CardFilesTest, RefuseACardThatIsNoFile) {
  const auto failureOf = [&](const std::string& name) -> std::string {
    try {
      readCardText(folder.path(name));
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "no failure";
  };
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(failureOf("pipe"), folder.path("pipe") + ": not a regular file");
  std::filesystem::create_directory(folder.path("folder"));
  EXPECT_EQ(failureOf("folder"), folder.path("folder") + ": not a regular file");
  std::filesystem::create_symlink("pipe", folder.path("link"));
  EXPECT_EQ(failureOf("link"), folder.path("link") + ": a symbolic link; it is not followed");
  folder.write("large", "");
  std::filesystem::resize_file(folder.path("large"), (std::uintmax_t{64} << 20) + 1);
  EXPECT_EQ(failureOf("large"), folder.path("large") + ": too large for a card");
}

TEST_F(CardFilesTest, InTheWorkingFolderNeedNoFolderInTheirName) {
  makeSingle();
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  const auto mismatch = compareWithCard("d.bin", card, CardCheck::Hashes);
  folder.write("d.bin.0", "");
  const auto unlisted = compareWithCard("d.bin", card, CardCheck::Sizes);
  std::filesystem::current_path(before);
  EXPECT_FALSE(mismatch);
  ASSERT_TRUE(unlisted);
  EXPECT_EQ(unlisted->file, "d.bin.0");
}

}  // namespace
}  // namespace vesk_files
