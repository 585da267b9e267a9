// Any bytes as a map of ids: it is refused in one line, or its texts have different numbers from 2^52 on, and a new
// text that is added is there when the map is read again.

#include <set>
#include <stdexcept>

#include "convert/call_values.h"
#include "fuzz_support.h"
#include "ids/id_map.h"

namespace {

constexpr const char* newText = "a text that no corpus has";

void checkEntries(const vesk::IdTable& table) {
  std::set<std::uint64_t> numbers;
  table.forEachSince(0, [&](std::string_view text, std::uint64_t number) {
    REQUIRE(number >= vesk::FirstMappedId && number <= vesk::LargestPlainId);
    REQUIRE(numbers.insert(number).second);
    REQUIRE(table.find(text) == number);
    REQUIRE(vesk::mistakeInIdText(text) == vesk::RowCause::None);
  });
  REQUIRE(numbers.size() == table.getSize());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  const std::string path = folder.write("map", std::span(data, size));
  try {
    std::uint64_t added = 0;
    {
      vesk::IdMap map(path);
      const vesk::MappedIds mapped = map.isNew() ? vesk::MappedIds::Texts : map.getMappedIds();
      vesk::IdTable table;
      map.load(table, mapped);
      checkEntries(table);
      if (table.find(newText) == 0) {
        added = map.addToTable(table, newText);
        REQUIRE(!map.save(table, mapped));
      }
      if (added != 0) map.findText(added);
      map.findId("x");
      map.count();
    }
    vesk::IdMap again(path);
    vesk::IdTable table;
    again.load(table, again.getMappedIds());
    REQUIRE(added == 0 || table.find(newText) == added);
  } catch (const std::runtime_error& error) {
    REQUIRE(std::string(error.what()).find('\n') == std::string::npos);
  }
  for (const char* name : {"map", "map-journal", "map-wal", "map-shm"}) std::filesystem::remove(folder.path(name));
  REQUIRE(folder.isEmpty());
  return 0;
}
