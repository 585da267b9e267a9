#include "files/dataset_card.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "files/sha256.h"

namespace vesk_files {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::ordered_json;

const std::string hash = sha256OfText("abc");

bool isSame(const std::vector<CardFile>& a, const std::vector<CardFile>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const CardFile& x, const CardFile& y) {
    return x.name == y.name && x.bytes == y.bytes && x.sha256 == y.sha256;
  });
}

class DatasetCardTest : public ::testing::Test {
 protected:
  DatasetCardTest() {
    card.kind = DatasetKind::PairSum;
    card.run = "2026-11-21-1";
    card.version = "2.0.6";
    card.records = 9007199254740993;
    card.callers = 12;
    card.parts = {{"pairs.bin.0", 24, hash}, {"pairs.bin.1", 18446744073709551615U, hash}};
    card.companions = {{"pairs.bin.0.info", 73, hash}, {"pairs.bin.1.info", 73, hash}};
    card.settings = {{"NumberOfPartitions", "2"}, {"Output", "Sparse"}};
  }
  /// The card as JSON after a change.
  template <class Change>
  std::string changed(Change change) const {
    Json json = Json::parse(writeCard(card));
    change(json);
    return json.dump();
  }
  void expectRefused(const std::string& text, const std::string& mistake) const {
    try {
      readCard(text, "pairs.card.json");
      ADD_FAILURE() << mistake << ": " << text;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), "pairs.card.json: the card " + mistake);
    }
  }
  void expectUnusable(const std::string& text, const std::string& mistake) const {
    expectRefused(text, "cannot be used: " + mistake);
  }

  DatasetCard card;
};

TEST_F(DatasetCardTest, ReadsWhatIsWritten) {
  for (const DatasetKind kind : {DatasetKind::TableSorted, DatasetKind::TableUnsorted, DatasetKind::PairSum,
                                 DatasetKind::Sums, DatasetKind::Dense, DatasetKind::Payload}) {
    card.kind = kind;
    const DatasetCard read = readCard(writeCard(card), "card");
    EXPECT_EQ(read.kind, kind);
    EXPECT_EQ(read.run, card.run);
    EXPECT_EQ(read.version, card.version);
    EXPECT_EQ(read.records, card.records);
    EXPECT_EQ(read.callers, card.callers);
    EXPECT_TRUE(isSame(read.parts, card.parts));
    EXPECT_TRUE(isSame(read.companions, card.companions));
    EXPECT_EQ(read.settings, card.settings);
    EXPECT_EQ(writeCard(read), writeCard(card));
  }
}

TEST_F(DatasetCardTest, KeepsNamesOfAnyText) {
  for (const std::string name : {"a b.bin", "a\nb", "\xC3\xA4.bin", "\"\\.bin", "...", "-", "\x01"}) {
    card.parts = {{name, 0, hash}};
    EXPECT_EQ(readCard(writeCard(card), "card").parts.front().name, name);
  }
}

TEST_F(DatasetCardTest, RefusesToWriteANameThatIsNotUtf8) {
  for (const std::string name : {"\xE4.bin", "a\xC3", "\xC0\xAF"}) {
    card.companions = {{name, 0, hash}};
    EXPECT_THROW(writeCard(card), std::runtime_error) << name;
  }
  card.companions.clear();
  card.run = "\xE4";
  EXPECT_EQ(readCard(writeCard(card), "card").run, "\xEF\xBF\xBD");
}

TEST_F(DatasetCardTest, RefusesWhatIsNoJson) {
  const std::string whole = writeCard(card);
  for (const std::string& text :
       {std::string(), std::string("{"), std::string("text"), whole + "x", std::string("{\"format\": \"\xE4\"}"),
        std::string(100000, '['), std::string(3, '\0')}) {
    expectRefused(text, "is no JSON text");
  }
  for (std::size_t size = 0; size + 2 < whole.size(); ++size) expectRefused(whole.substr(0, size), "is no JSON text");
  for (const char* text : {"[]", "null", "1", "\"text\""}) expectUnusable(text, "the text is no JSON object");
}

TEST_F(DatasetCardTest, RefusesMissingMembersAndThoseOfAnotherType) {
  const std::vector<std::pair<const char*, const char*>> members = {
      {"format", "text"},   {"kind", "text"},  {"run", "text"},        {"version", "text"},   {"records", "count"},
      {"callers", "count"}, {"parts", "list"}, {"companions", "list"}, {"settings", "object"}};
  for (const auto& [name, type] : members) {
    const std::string member = name;
    expectUnusable(changed([&](Json& json) { json.erase(member); }), "there is no member " + member);
    const std::string mistake = "the member " + member + " is no " + type;
    const std::string given = type;
    for (const Json& value : {Json(nullptr), Json(true), Json(-1), Json(1.5), Json(1e300)}) {
      expectUnusable(changed([&](Json& json) { json[member] = value; }), mistake);
    }
    if (given != "text") expectUnusable(changed([&](Json& json) { json[member] = "1"; }), mistake);
    if (given != "count") expectUnusable(changed([&](Json& json) { json[member] = 1; }), mistake);
    if (given != "list") expectUnusable(changed([&](Json& json) { json[member] = Json::array(); }), mistake);
    if (given != "object") expectUnusable(changed([&](Json& json) { json[member] = Json::object(); }), mistake);
  }
  expectUnusable(changed([](Json& json) { json["more"] = 1; }), "the member [more] is not known");
  expectUnusable(changed([](Json& json) { json["m\nore"] = 1; }), "the member [m\\x0Aore] is not known");
}

TEST_F(DatasetCardTest, RefusesOtherFormatsAndKinds) {
  expectUnusable(changed([](Json& json) { json["format"] = "vesk dataset card 2"; }),
                 "the format is not that of this version");
  expectUnusable(changed([](Json& json) { json["kind"] = "table"; }), "[table] is no kind of a dataset");
  expectUnusable(changed([](Json& json) { json["kind"] = "a\nb"; }), "[a\\x0Ab] is no kind of a dataset");
  expectUnusable(changed([](Json& json) { json["settings"]["Output"] = 1; }), "the setting [Output] is no text");
  expectUnusable(changed([](Json& json) { json["settings"][std::string("a\0b", 3)] = 1; }),
                 "the setting [a\\x00b] is no text");
}

TEST_F(DatasetCardTest, RefusesFilesThatAreNone) {
  for (const std::string list : {"parts", "companions"}) {
    expectUnusable(changed([&](Json& json) { json[list][1] = "name"; }), "the member " + list + " holds no file");
    for (const std::string member : {"name", "bytes", "sha256"}) {
      expectUnusable(changed([&](Json& json) { json[list][1].erase(member); }), "there is no member " + member);
      expectUnusable(changed([&](Json& json) { json[list][1][member] = Json::array(); }),
                     "the member " + member + (member == "bytes" ? " is no count" : " is no text"));
    }
    expectUnusable(changed([&](Json& json) { json[list][1]["time"] = 1; }), "the member [time] is not known");
    expectUnusable(changed([&](Json& json) { json[list][1]["bytes"] = -1; }), "the member bytes is no count");
    expectUnusable(changed([&](Json& json) {
                     json[list][1]["name"] = "x";
                     json[list][1]["sha256"] = hash.substr(1);
                   }),
                   "the hash of x is none");
  }
  expectUnusable(changed([](Json& json) { json["parts"] = Json::array(); }), "there are no parts");
}

TEST_F(DatasetCardTest, RefusesNamesThatLeadOutOfTheFolder) {
  for (const std::string list : {"parts", "companions"}) {
    for (const std::string name : {"", ".", "..", "/", "/etc/passwd", "../x", "a/b", "a/", "./a"}) {
      expectUnusable(changed([&](Json& json) { json[list][0]["name"] = name; }),
                     "[" + name + "] is no name of a file in the card's folder");
    }
    expectUnusable(changed([&](Json& json) { json[list][0]["name"] = std::string("a\0b", 3); }),
                   "[a\\x00b] is no name of a file in the card's folder");
  }
}

TEST_F(DatasetCardTest, RefusesAFileThatIsListedTwice) {
  expectUnusable(changed([](Json& json) { json["parts"][1]["name"] = "pairs.bin.0"; }), "pairs.bin.0 is listed twice");
  expectUnusable(changed([](Json& json) { json["companions"][1]["name"] = "pairs.bin.1"; }),
                 "pairs.bin.1 is listed twice");
}

TEST_F(DatasetCardTest, AMistakeIsOneShortLine) {
  const std::string text = changed([](Json& json) { json["kind"] = std::string(100000, '\n'); });
  try {
    readCard(text, "card");
    ADD_FAILURE();
  } catch (const std::runtime_error& error) {
    EXPECT_LT(std::string(error.what()).size(), 400U);
    EXPECT_THAT(error.what(), Not(HasSubstr("\n")));
  }
}

TEST(CardPath, IsBesideTheDataset) {
  EXPECT_EQ(cardPath("dir/pairs.bin"), "dir/pairs.card.json");
  EXPECT_EQ(cardPath("pairs.bin"), "pairs.card.json");
  EXPECT_EQ(cardPath("pairs"), "pairs.card.json");
  EXPECT_EQ(cardPath("pairs.bin.0"), "pairs.card.json");
  EXPECT_EQ(cardPath("pairs.bin.17"), "pairs.card.json");
  EXPECT_EQ(cardPath("pairs.3"), "pairs.card.json");
  EXPECT_EQ(cardPath("a.bin/b"), "a.bin/b.card.json");
  EXPECT_EQ(cardPath("a.1/b"), "a.1/b.card.json");
  EXPECT_EQ(cardPath("dir/.bin"), "dir/.bin.card.json");
  EXPECT_EQ(cardPath("pairs.bin.1a"), "pairs.bin.1a.card.json");
}

TEST(CardPath, OfAPayloadFileIsItsOwn) {
  EXPECT_EQ(cardPath("dir/t.bin_payload_1"), "dir/t.payload_1.card.json");
  EXPECT_EQ(cardPath("dir/t.bin.0_payload_12"), "dir/t.payload_12.card.json");
  EXPECT_EQ(cardPath("t_payload_1"), "t.payload_1.card.json");
  EXPECT_EQ(cardPath("a_payload_1/t.bin"), "a_payload_1/t.card.json");
  EXPECT_EQ(cardPath("t.bin_payload_x"), "t.bin_payload_x.card.json");
  EXPECT_EQ(cardPath("dir/_payload_1"), "dir/_payload_1.card.json");
}

}  // namespace
}  // namespace vesk_files
