#include "ids/id_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include "command.h"
#include "convert/call_values.h"
#include "support/temporary_folder.h"

namespace vesk {
namespace {

using ::testing::HasSubstr;

/// A map in a folder, changed by statements of SQL as another program would.
class IdMapTest : public ::testing::Test {
 protected:
  /// Gives the texts numbers, as one conversion does.
  std::optional<std::vector<std::uint64_t>> add(const std::vector<std::string>& texts) {
    IdMap map(path);
    IdTable table;
    map.load(table, MappedIds::Texts);
    for (const std::string& text : texts) map.addToTable(table, text);
    return map.save(table, MappedIds::Texts);
  }
  std::uint64_t idOf(const std::string& text) { return IdMap(path).findId(text).value_or(0); }
  void sql(const std::string& statements) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    char* mistake = nullptr;
    EXPECT_EQ(sqlite3_exec(database, statements.c_str(), nullptr, nullptr, &mistake), SQLITE_OK) << mistake;
    sqlite3_free(mistake);
    sqlite3_close(database);
  }
  /// What loading the map says, with its status.
  std::string refusal(MappedIds mapped = MappedIds::Texts) {
    try {
      IdMap map(path);
      IdTable table;
      map.load(table, mapped);
    } catch (const CommandFailure& failure) {
      return std::to_string(static_cast<int>(failure.getStatus())) + " " + failure.what();
    }
    return "";
  }

  TemporaryFolder folder;
  std::string path = folder.path("m");
};

TEST_F(IdMapTest, KeepsNumbersFromDayToDay) {
  EXPECT_FALSE(add({"+49", "b"}));
  EXPECT_FALSE(add({"c"}));
  EXPECT_EQ(idOf("+49"), FirstMappedId);
  EXPECT_EQ(idOf("b"), FirstMappedId + 1);
  EXPECT_EQ(idOf("c"), FirstMappedId + 2);
  IdMap map(path);
  EXPECT_EQ(map.count(), 3U);
  EXPECT_EQ(map.findText(FirstMappedId + 2), "c");
  EXPECT_EQ(map.findText(FirstMappedId + 3), std::nullopt);
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

// Both read the map, then both add texts; the second one takes over the numbers of the first one.
TEST_F(IdMapTest, TakesOverWhatAnotherProcessAdded) {
  add({"a"});
  IdMap first(path);
  IdMap second(path);
  IdTable ofFirst;
  IdTable ofSecond;
  first.load(ofFirst, MappedIds::Texts);
  second.load(ofSecond, MappedIds::Texts);
  for (const char* text : {"x", "y"}) first.addToTable(ofFirst, text);
  for (const char* text : {"z", "y", "w"}) second.addToTable(ofSecond, text);
  EXPECT_FALSE(first.save(ofFirst, MappedIds::Texts));
  const auto numbers = second.save(ofSecond, MappedIds::Texts);
  ASSERT_TRUE(numbers);
  EXPECT_EQ(second.getFirstAdded(), FirstMappedId + 1);
  EXPECT_EQ(*numbers, (std::vector<std::uint64_t>{FirstMappedId + 3, FirstMappedId + 2, FirstMappedId + 4}));
  EXPECT_EQ(idOf("y"), FirstMappedId + 2);
  EXPECT_EQ(idOf("w"), FirstMappedId + 4);
}

TEST_F(IdMapTest, TwoNewMapsBecomeOne) {
  IdMap first(path);
  IdMap second(path);
  IdTable ofFirst;
  IdTable ofSecond;
  first.load(ofFirst, MappedIds::Texts);
  second.load(ofSecond, MappedIds::Texts);
  first.addToTable(ofFirst, "x");
  second.addToTable(ofSecond, "y");
  EXPECT_FALSE(first.save(ofFirst, MappedIds::Texts));
  const auto numbers = second.save(ofSecond, MappedIds::Texts);
  ASSERT_TRUE(numbers);
  EXPECT_EQ(numbers->at(0), FirstMappedId + 1);
}

// A kill in the transaction that makes a map leaves a file with a journal, of which SQLite makes an empty database.
TEST_F(IdMapTest, TakesAnEmptyDatabaseForANewMap) {
  sql("CREATE TABLE x(y); DROP TABLE x");
  ASSERT_GT(std::filesystem::file_size(path), 0U);
  EXPECT_TRUE(IdMap(path).isNew());
  EXPECT_FALSE(add({"a"}));
  EXPECT_EQ(idOf("a"), FirstMappedId);
}

TEST_F(IdMapTest, RefusesOtherSettings) {
  add({"a"});
  EXPECT_EQ(refusal(MappedIds::All),
            "2 " + path + " was begun for texts only (without --map-all); ids would change their numbers");
}

TEST_F(IdMapTest, RefusesWhatIsNoMap) {
  folder.write("m", "a text file that is long enough to be looked at, and then some more words of it");
  EXPECT_THAT(refusal(), HasSubstr("3 " + path + " is no map of ids: file is not a database"));
  std::filesystem::remove(path);
  sql("CREATE TABLE ids(id INTEGER PRIMARY KEY, text TEXT UNIQUE)");
  EXPECT_EQ(refusal(), "3 " + path + " is no map of ids: it belongs to another program");
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ(refusal(), "3 " + path + " is no map of ids: it is not a regular file");
}

TEST_F(IdMapTest, RefusesAnotherSchema) {
  add({"a"});
  sql("CREATE TRIGGER t AFTER INSERT ON ids BEGIN DELETE FROM ids; END");
  EXPECT_EQ(refusal(), "3 " + path + " is no map of ids: it has the trigger t");
  sql("DROP TRIGGER t; DROP TABLE ids; CREATE TABLE ids(id INTEGER PRIMARY KEY, text TEXT)");
  EXPECT_EQ(refusal(), "3 " + path + " is no map of ids: it has the table ids");
  sql("DROP TABLE ids");
  EXPECT_EQ(refusal(), "3 " + path + " is no map of ids: it has no table ids");
  sql("PRAGMA user_version = 3");
  EXPECT_EQ(refusal(), "3 " + path + " is no map of ids: it is of a later version");
}

TEST_F(IdMapTest, RefusesBadEntries) {
  const auto with = [&](const std::string& values) {
    std::filesystem::remove(path);
    add({"a"});
    sql("INSERT INTO ids VALUES(" + values + ")");
    return refusal();
  };
  const std::string begin = "3 " + path + " is no map of ids: ";
  EXPECT_EQ(with("5, 'x'"), begin + "it has the number 5");
  EXPECT_EQ(with("-5, 'x'"), begin + "it has the number -5");
  EXPECT_EQ(with("9007199254740993, 'x'"), begin + "it has the number 9007199254740993");
  EXPECT_EQ(with("4503599627370497, NULL"), begin + "number 4503599627370497 has no text");
  EXPECT_EQ(with("4503599627370497, X'4142'"), begin + "number 4503599627370497 has no text");
  EXPECT_EQ(with("4503599627370497, char(10)"),
            begin + "the text of number 4503599627370497: not UTF-8 text, or a control character in it");
  EXPECT_EQ(with("9007199254740992, 'x'"), "");
  EXPECT_THROW(add({"y"}), std::runtime_error);  // full
}

TEST_F(IdMapTest, RefusesAMapThatLostTexts) {
  add({"a", "b"});
  IdMap map(path);
  IdTable table;
  map.load(table, MappedIds::Texts);
  map.addToTable(table, "c");
  sql("DELETE FROM ids WHERE text = 'b'");
  EXPECT_THROW(map.save(table, MappedIds::Texts), CommandFailure);
  EXPECT_EQ(idOf("c"), 0U);
}

}  // namespace
}  // namespace vesk
