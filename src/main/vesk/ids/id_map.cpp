#include "ids/id_map.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>
#include <utility>

#include "command.h"
#include "convert/call_values.h"
#include "files/descriptor.h"

namespace vesk {

namespace {

constexpr std::int64_t applicationId = 0x5645534B;  // "VESK"
constexpr int waitMilliseconds = 600000;
constexpr int longestValueBytes = 1 << 20;
constexpr const char* createTable = "CREATE TABLE ids(id INTEGER PRIMARY KEY, text TEXT UNIQUE)";

[[noreturn]] void refuseFile(const std::string& path, const std::string& why) {
  throw CommandFailure(Status::Data, path + " is no map of ids: " + why);
}

std::string wordsOf(MappedIds mapped) { return mapped == MappedIds::All ? "all ids" : "texts only"; }

/// Whether there is a file with content. Refuses what is not a regular file, before it is opened.
bool hasContent(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return false;
    throw std::runtime_error(vesk_files::systemFailure(path, "open the map of ids"));
  }
  if (!S_ISREG(status.st_mode)) refuseFile(path, "it is not a regular file");
  return status.st_size > 0;
}

}  // namespace

void IdMap::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

std::vector<std::string> filesOfIdMap(const std::string& path) {
  return {path, path + "-journal", path + "-wal", path + "-shm"};
}

IdMap::IdMap(std::string mapPath) : path(std::move(mapPath)) {
  firstAdded = nextId = FirstMappedId;
  if (!hasContent(path)) return;
  open();
  try {
    run("BEGIN");  // so that all checks see one state of the file
    const bool hasNothing = isEmptyDatabase();
    if (!hasNothing) checkSchema();
    run("COMMIT");
    if (hasNothing) sqlite3_close(std::exchange(database, nullptr));
  } catch (...) {
    sqlite3_close(std::exchange(database, nullptr));
    throw;
  }
}

IdMap::~IdMap() {
  textById.reset();
  idByText.reset();
  sqlite3_close(database);
}

void IdMap::open() {
  const int code = sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_PRIVATECACHE, nullptr);
  if (code != SQLITE_OK) {
    const std::string reason = database == nullptr ? "no memory" : sqlite3_errmsg(database);
    sqlite3_close(std::exchange(database, nullptr));
    throw std::runtime_error(path + ": cannot open the map of ids: " + reason);
  }
  sqlite3_extended_result_codes(database, 1);
  sqlite3_busy_timeout(database, waitMilliseconds);
  // The file may come from anywhere: nothing in its schema may run, and no value may be huge.
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, longestValueBytes);
}

void IdMap::fail(int code) const {
  const std::string reason = sqlite3_errmsg(database);
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw CommandFailure(Status::Refused, path + ": another process keeps the map of ids locked");
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:
    case SQLITE_CONSTRAINT:
    case SQLITE_TOOBIG:
    case SQLITE_FORMAT:
      refuseFile(path, reason);
    default:  // SQLITE_NOMEM too, which is also the answer to some damaged schemas
      throw std::runtime_error(path + ": the map of ids: " + reason);
  }
}

void IdMap::check(int code) const {
  if (code != SQLITE_OK) fail(code);
}

void IdMap::run(const char* sql) { check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr)); }

IdMap::Statement IdMap::prepare(const char* sql) const {
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr));
  return Statement(statement);
}

/// Whether the statement has a row.
bool IdMap::step(const Statement& statement) const {
  const int code = sqlite3_step(statement.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) fail(code);
  return code == SQLITE_ROW;
}

std::int64_t IdMap::number(const char* sql) const {
  const Statement statement = prepare(sql);
  return step(statement) ? sqlite3_column_int64(statement.get(), 0) : 0;
}

/// A process that was killed while it made the map leaves such a file.
bool IdMap::isEmptyDatabase() const {
  return number("SELECT count(*) FROM sqlite_schema") == 0 && number("PRAGMA application_id") == 0;
}

/// Refuses every schema but that of create: a trigger or a generated column would run with our statements.
void IdMap::checkSchema() const {
  if (number("PRAGMA application_id") != applicationId) refuseFile(path, "it belongs to another program");
  const std::int64_t version = number("PRAGMA user_version");
  if (version != static_cast<int>(MappedIds::Texts) && version != static_cast<int>(MappedIds::All)) {
    refuseFile(path, "it is of a later version");
  }
  const Statement schema = prepare("SELECT type, name, sql FROM sqlite_schema ORDER BY name");
  const auto text = [&](int column) {
    const void* bytes = sqlite3_column_text(schema.get(), column);
    return std::string(bytes == nullptr ? "" : static_cast<const char*>(bytes));
  };
  int tables = 0;
  while (step(schema)) {
    if (text(0) == "table" && text(1) == "ids" && text(2) == createTable) {
      ++tables;
    } else if (text(0) != "index" || text(1) != "sqlite_autoindex_ids_1" || !text(2).empty()) {
      refuseFile(path, "it has the " + text(0) + " " + text(1));
    }
  }
  if (tables != 1) refuseFile(path, "it has no table ids");
}

MappedIds IdMap::getMappedIds() { return static_cast<MappedIds>(number("PRAGMA user_version")); }

void IdMap::checkMapped(MappedIds mapped) const {
  const auto begunWith = static_cast<MappedIds>(number("PRAGMA user_version"));
  if (begunWith == mapped) return;
  throw CommandFailure(Status::Refused, path + " was begun for " + wordsOf(begunWith) + " (" +
                                            (begunWith == MappedIds::All ? "with" : "without") +
                                            " --map-all); ids would change their numbers");
}

/// Calls take(id, text) for the entries above the id, in ascending order.
template <class Take>
void IdMap::readSince(std::int64_t id, const Take& take) const {
  const Statement rows = prepare("SELECT id, text FROM ids WHERE id > ? ORDER BY id");
  check(sqlite3_bind_int64(rows.get(), 1, id));
  std::int64_t previous = id;
  while (step(rows)) {
    const std::int64_t rowId = sqlite3_column_int64(rows.get(), 0);
    constexpr auto first = static_cast<std::int64_t>(FirstMappedId);
    constexpr auto last = static_cast<std::int64_t>(LargestPlainId);
    if (rowId < first || rowId > last || rowId <= previous) {
      refuseFile(path, "it has the number " + std::to_string(rowId));
    }
    if (sqlite3_column_type(rows.get(), 1) != SQLITE_TEXT) {
      refuseFile(path, "number " + std::to_string(rowId) + " has no text");
    }
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(rows.get(), 1));
    const std::string_view text(bytes, static_cast<std::size_t>(sqlite3_column_bytes(rows.get(), 1)));
    if (const RowCause mistake = mistakeInIdText(text); mistake != RowCause::None) {
      refuseFile(path, "the text of number " + std::to_string(rowId) + ": " + std::string(vesk::wordsOf(mistake)));
    }
    take(static_cast<std::uint64_t>(rowId), text);
    previous = rowId;
  }
}

void IdMap::load(IdTable& table, MappedIds mapped) {
  endOfLoaded = table.getEnd();
  if (isNew()) return;
  checkMapped(mapped);
  // The largest number says how many there are, but it may be any number in a damaged file.
  const std::int64_t spread = number("SELECT max(id) FROM ids") - static_cast<std::int64_t>(FirstMappedId);
  constexpr std::int64_t leastRowBytes = 8;
  const std::int64_t most = number("PRAGMA page_count") * number("PRAGMA page_size") / leastRowBytes;
  table.reserve(static_cast<std::uint64_t>(std::clamp<std::int64_t>(spread, 0, most)));
  struct Waiting {
    std::uint64_t hash;
    std::uint64_t id;
    std::size_t textBytes;
  };
  constexpr std::size_t batchEntries = 64;
  std::vector<Waiting> batch;
  std::string texts;
  const auto insertBatch = [&] {
    std::string_view rest = texts;
    for (const Waiting& waiting : batch) {
      if (!table.insert(rest.substr(0, waiting.textBytes), waiting.hash, waiting.id)) {
        refuseFile(path, "it has a text twice, the second time with " + std::to_string(waiting.id));
      }
      rest.remove_prefix(waiting.textBytes);
    }
    batch.clear();
    texts.clear();
  };
  readSince(std::numeric_limits<std::int64_t>::min(), [&](std::uint64_t id, std::string_view text) {
    const std::uint64_t hash = IdTable::hashOf(text);
    table.prefetchSlot(hash);
    batch.push_back({hash, id, text.size()});
    texts += text;
    largestLoaded = id;
    if (batch.size() == batchEntries) insertBatch();
  });
  insertBatch();
  firstAdded = nextId = std::max(largestLoaded + 1, FirstMappedId);
  endOfLoaded = table.getEnd();
}

std::uint64_t IdMap::addToTable(IdTable& table, std::string_view text) {
  if (nextId > LargestPlainId) throw std::runtime_error(path + ": the map of ids is full");
  table.insert(text, nextId);
  return nextId++;
}

void IdMap::create(MappedIds mapped) {
  const std::string sql = std::string(createTable) + "; PRAGMA application_id = " + std::to_string(applicationId) +
                          "; PRAGMA user_version = " + std::to_string(static_cast<int>(mapped));
  run(sql.c_str());
}

std::optional<std::vector<std::uint64_t>> IdMap::save(const IdTable& table, MappedIds mapped) {
  if (getAdded() == 0 && !isNew()) return std::nullopt;
  if (isNew()) {
    const int made = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (made < 0) throw std::runtime_error(vesk_files::systemFailure(path, "make the map of ids"));
    ::close(made);
    open();
  }
  run("PRAGMA cache_size = -524288");  // KiB: the index on the texts is written in random order
  run("BEGIN IMMEDIATE");              // an exception leaves it open, and closing the file takes it back
  if (isEmptyDatabase() && largestLoaded == 0) create(mapped);
  checkSchema();
  checkMapped(mapped);
  if (static_cast<std::uint64_t>(number("SELECT max(id) FROM ids")) < largestLoaded) {
    refuseFile(path, "it lost texts since it was read");
  }
  std::vector<std::uint64_t> numbers(getAdded());
  std::uint64_t largest = std::max(largestLoaded, FirstMappedId - 1);
  bool othersAdded = false;
  readSince(static_cast<std::int64_t>(largestLoaded), [&](std::uint64_t id, std::string_view text) {
    largest = id;
    othersAdded = true;
    if (const std::uint64_t ours = table.find(text); ours >= firstAdded) numbers[ours - firstAdded] = id;
  });
  const Statement insert = prepare("INSERT INTO ids(id, text) VALUES(?, ?)");
  table.forEachSince(endOfLoaded, [&](std::string_view text, std::uint64_t ours) {
    if (numbers[ours - firstAdded] != 0) return;
    numbers[ours - firstAdded] = ++largest;
    if (largest > LargestPlainId) throw std::runtime_error(path + ": the map of ids is full");
    check(sqlite3_bind_int64(insert.get(), 1, static_cast<sqlite3_int64>(largest)));
    check(sqlite3_bind_text(insert.get(), 2, text.data(), static_cast<int>(text.size()), SQLITE_STATIC));
    step(insert);
    check(sqlite3_reset(insert.get()));
  });
  run("COMMIT");
  return othersAdded ? std::optional(std::move(numbers)) : std::nullopt;
}

std::uint64_t IdMap::count() { return static_cast<std::uint64_t>(number("SELECT count(*) FROM ids")); }

/// Without a transaction each lookup would lock the file and look for changes.
void IdMap::beginLookups() {
  if (sqlite3_get_autocommit(database) != 0) run("BEGIN");
}

std::optional<std::string_view> IdMap::findText(std::uint64_t id) {
  beginLookups();
  if (!textById) textById = prepare("SELECT text FROM ids WHERE id = ?");
  check(sqlite3_reset(textById.get()));
  check(sqlite3_bind_int64(textById.get(), 1, static_cast<sqlite3_int64>(id)));
  if (!step(textById)) return std::nullopt;
  if (sqlite3_column_type(textById.get(), 0) != SQLITE_TEXT) {
    refuseFile(path, "number " + std::to_string(id) + " has no text");
  }
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(textById.get(), 0));
  return std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(textById.get(), 0)));
}

std::optional<std::uint64_t> IdMap::findId(std::string_view text) {
  beginLookups();
  if (!idByText) idByText = prepare("SELECT id FROM ids WHERE text = ?");
  check(sqlite3_reset(idByText.get()));
  check(sqlite3_bind_text(idByText.get(), 1, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
  if (!step(idByText)) return std::nullopt;
  return static_cast<std::uint64_t>(sqlite3_column_int64(idByText.get(), 0));
}

}  // namespace vesk
