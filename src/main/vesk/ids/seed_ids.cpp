#include "ids/seed_ids.h"

#include <optional>
#include <string_view>

#include "command.h"
#include "convert/call_values.h"
#include "csv/csv_input.h"
#include "csv/csv_rows.h"

namespace vesk {

namespace {

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

}  // namespace

std::unique_ptr<IdMap> openIdMap(const std::string& path) {
  if (path.empty()) return nullptr;
  auto map = std::make_unique<IdMap>(path);
  if (map->isNew()) refuse(path + " does not exist, or is empty");
  return map;
}

std::unordered_set<std::uint64_t> readSeedIds(const std::string& path, IdMap* map) {
  std::unordered_set<std::uint64_t> seeds;
  CsvInput bytes(path);
  CsvRows rows([&bytes](char* data, std::size_t size) { return bytes.read(data, size); });
  rows.setDelimiter('\n');  // a line is one cell, whatever it has
  const bool mapsAll = map != nullptr && map->getMappedIds() == MappedIds::All;
  while (rows.next()) {
    const std::string place = path + ", line " + std::to_string(rows.getLine()) + ": ";
    if (rows.getFault() != RowFault::None) refuse(place + "no seed");
    const std::string_view cell = rows.getCells()[0];
    const std::optional<std::uint64_t> plain = readPlainId(cell);
    std::optional<std::uint64_t> id;
    if (plain && (!mapsAll || *plain >= FirstMappedId)) id = plain;
    if (!id && map != nullptr) id = map->findId(cell);
    if (!id || *id == 0) {
      refuse(place + "[" + std::string(cell.substr(0, 40)) + "] is no " +
             (map == nullptr ? "plain number; ids of another form need --ids"
                             : "plain number and no id of " + map->getPath()));
    }
    seeds.insert(*id);
  }
  if (seeds.empty()) refuse(path + " has no seed");
  return seeds;
}

std::string shownId(std::uint64_t id, IdMap* map) {
  if (map == nullptr || id < FirstMappedId) return std::to_string(id);
  const std::optional<std::string_view> text = map->findText(id);
  if (!text)
    refuse(map->getPath() + " does not have the number " + std::to_string(id) + "; it is the map of other data");
  return std::string(*text);
}

}  // namespace vesk
