#ifndef VESK_ID_MAP_H
#define VESK_ID_MAP_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ids/id_table.h"

struct sqlite3;
struct sqlite3_stmt;

namespace vesk {

/// Which ids go through a map. It is kept in the map, because numbers would change from day to day otherwise.
enum class MappedIds { Texts = 1, All = 2 };

/// The map and the files that SQLite keeps beside it while it is changed.
std::vector<std::string> filesOfIdMap(const std::string& path);

/// The file in which the texts of ids keep their numbers from day to day: an SQLite database with the table
/// ids(id INTEGER PRIMARY KEY, text TEXT UNIQUE), numbers from 2^52 to 2^53, application_id 0x5645534B, user_version 1
/// (texts are mapped) or 2 (all ids are). A new map is readable and writable by its owner only.
///
/// Two processes may use a map at once: each adds its texts in one transaction, in which it first takes over what was
/// added since it read the map. A process that is killed leaves the map as it was before its transaction or after it.
/// Errors: CommandFailure with the file: Status::Data for a file that is no sound map, Status::Refused for other
///         MappedIds than the map was begun with and for a map that another process keeps locked for 10 minutes;
///         std::runtime_error for a failed read or write.
class IdMap {
 public:
  /// Opens a map. A file that is missing or empty, or a database without content, is a new map and is not kept open.
  explicit IdMap(std::string mapPath);
  ~IdMap();
  IdMap(const IdMap&) = delete;
  IdMap& operator=(const IdMap&) = delete;

  bool isNew() const { return database == nullptr; }
  const std::string& getPath() const { return path; }

  /// Reads the whole map into an empty table. To be called once.
  void load(IdTable& table, MappedIds mapped);

  /// Gives a text of no known number the next one; the table takes it, the map does not yet.
  std::uint64_t addToTable(IdTable& table, std::string_view text);
  /// How many texts addToTable was given.
  std::uint64_t getAdded() const { return nextId - firstAdded; }

  /// Adds the texts of addToTable to the map, which is made if it is new, in one transaction.
  /// Returns nothing when all of them have kept their numbers. Otherwise another process has added texts meanwhile, and
  /// the result has the number of each text by its old number minus getFirstAdded().
  std::optional<std::vector<std::uint64_t>> save(const IdTable& table, MappedIds mapped);
  std::uint64_t getFirstAdded() const { return firstAdded; }

  /// The number of texts in the map. Requires: the map is not new; here and below.
  std::uint64_t count();
  /// The text of a number; empty if there is none. Valid until the next call.
  /// The first lookup begins a read transaction, which lasts as long as the object: all lookups see one state of the
  /// map. Requires: save is not called afterwards.
  std::optional<std::string_view> findText(std::uint64_t id);
  /// The number of a text.
  std::optional<std::uint64_t> findId(std::string_view text);
  MappedIds getMappedIds();

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

  void open();
  [[noreturn]] void fail(int code) const;
  void check(int code) const;
  void run(const char* sql);
  Statement prepare(const char* sql) const;
  bool step(const Statement& statement) const;
  std::int64_t number(const char* sql) const;
  bool isEmptyDatabase() const;
  void checkSchema() const;
  void checkMapped(MappedIds mapped) const;
  void create(MappedIds mapped);
  void beginLookups();
  template <class Take>
  void readSince(std::int64_t id, const Take& take) const;

  std::string path;
  sqlite3* database = nullptr;
  Statement textById;
  Statement idByText;
  std::uint64_t largestLoaded = 0;  // 0: the map has no texts
  std::uint64_t firstAdded = 0;
  std::uint64_t nextId = 0;
  std::uint64_t endOfLoaded = 0;  // place in the table
};

}  // namespace vesk

#endif  // VESK_ID_MAP_H
