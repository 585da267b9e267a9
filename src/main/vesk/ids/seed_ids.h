#ifndef VESK_SEED_IDS_H
#define VESK_SEED_IDS_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>

#include "ids/id_map.h"

namespace vesk {

/// The map of ids that an option names; null for an empty path.
/// Errors: as IdMap; CommandFailure with Status::Data for a map that is missing or empty.
std::unique_ptr<IdMap> openIdMap(const std::string& path);

/// The different subscribers of a file with one id per line: a plain number, or a text of the map.
/// map: null for none.
/// Errors: CommandFailure with Status::Data, the file and the line, for a line that is no id; for a file without a
/// seed.
std::unordered_set<std::uint64_t> readSeedIds(const std::string& path, IdMap* map);

/// An id as people know it: the text of the map, or the number itself where there is no map or the number is below
/// FirstMappedId.
/// Errors: CommandFailure with Status::Data for a number from FirstMappedId on that the map does not have.
std::string shownId(std::uint64_t id, IdMap* map);

}  // namespace vesk

#endif  // VESK_SEED_IDS_H
