#include "files/dataset_card.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "files/printable.h"
#include "files/sha256.h"

namespace vesk_files {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view formatName = "vesk dataset card 1";
constexpr std::string_view binaryEnding = ".bin";
constexpr std::string_view payloadMark = "_payload_";

constexpr std::array<std::pair<DatasetKind, std::string_view>, 6> kindNames = {{
    {DatasetKind::TableSorted, "table-sorted"},
    {DatasetKind::TableUnsorted, "table-unsorted"},
    {DatasetKind::PairSum, "pair-sum"},
    {DatasetKind::Sums, "sums"},
    {DatasetKind::Dense, "dense"},
    {DatasetKind::Payload, "payload"},
}};

DatasetKind kindOf(const std::string& name) {
  for (const auto& [kind, text] : kindNames) {
    if (text == name) return kind;
  }
  throw std::runtime_error("[" + printable(name) + "] is no kind of a dataset");
}

bool isDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether JSON can hold the text as it is.
bool isUtf8(const std::string& text) {
  try {
    static_cast<void>(Json(text).dump());
    return true;
  } catch (const Json::exception&) {
    return false;
  }
}

Json toJson(const std::vector<CardFile>& files) {
  Json list = Json::array();
  for (const CardFile& file : files)
    list.push_back({{"name", file.name}, {"bytes", file.bytes}, {"sha256", file.sha256}});
  for (const CardFile& file : files) {
    if (!isUtf8(file.name)) throw std::runtime_error("the name of a file of the dataset is not UTF-8: " + file.name);
  }
  return list;
}

void checkMembers(const Json& object, std::initializer_list<std::string_view> known) {
  for (const auto& [name, value] : object.items()) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    throw std::runtime_error("the member [" + printable(name) + "] is not known");
  }
}

const Json& member(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end()) throw std::runtime_error(std::string("there is no member ") + name);
  return *found;
}

std::string textOf(const Json& object, const char* name) {
  const Json& value = member(object, name);
  if (!value.is_string()) throw std::runtime_error(std::string("the member ") + name + " is no text");
  return value.get<std::string>();
}

std::uint64_t countOf(const Json& object, const char* name) {
  const Json& value = member(object, name);
  if (!value.is_number_unsigned()) throw std::runtime_error(std::string("the member ") + name + " is no count");
  return value.get<std::uint64_t>();
}

std::vector<CardFile> filesOf(const Json& object, const char* name) {
  const Json& list = member(object, name);
  if (!list.is_array()) throw std::runtime_error(std::string("the member ") + name + " is no list");
  std::vector<CardFile> files;
  for (const Json& entry : list) {
    if (!entry.is_object()) throw std::runtime_error(std::string("the member ") + name + " holds no file");
    checkMembers(entry, {"name", "bytes", "sha256"});
    CardFile file{textOf(entry, "name"), countOf(entry, "bytes"), textOf(entry, "sha256")};
    if (file.name.empty() || file.name == "." || file.name == ".." || file.name.find('/') != std::string::npos ||
        file.name.find('\0') != std::string::npos) {
      throw std::runtime_error("[" + printable(file.name) + "] is no name of a file in the card's folder");
    }
    if (!isSha256(file.sha256)) throw std::runtime_error("the hash of " + printable(file.name) + " is none");
    files.push_back(std::move(file));
  }
  return files;
}

DatasetCard cardOf(const Json& json) {
  if (!json.is_object()) throw std::runtime_error("the text is no JSON object");
  if (textOf(json, "format") != formatName) throw std::runtime_error("the format is not that of this version");
  checkMembers(json, {"format", "kind", "run", "version", "records", "callers", "parts", "companions", "settings"});
  DatasetCard card;
  card.kind = kindOf(textOf(json, "kind"));
  card.run = textOf(json, "run");
  card.version = textOf(json, "version");
  card.records = countOf(json, "records");
  card.callers = countOf(json, "callers");
  card.parts = filesOf(json, "parts");
  card.companions = filesOf(json, "companions");
  if (card.parts.empty()) throw std::runtime_error("there are no parts");
  std::set<std::string> names;
  for (const std::vector<CardFile>* files : {&card.parts, &card.companions}) {
    for (const CardFile& file : *files) {
      if (!names.insert(file.name).second) throw std::runtime_error(printable(file.name) + " is listed twice");
    }
  }
  const Json& settings = member(json, "settings");
  if (!settings.is_object()) throw std::runtime_error("the member settings is no object");
  for (const auto& [name, value] : settings.items()) {
    if (!value.is_string()) throw std::runtime_error("the setting [" + printable(name) + "] is no text");
    card.settings[name] = value.get<std::string>();
  }
  return card;
}

}  // namespace

std::string_view nameOf(DatasetKind kind) {
  for (const auto& [known, text] : kindNames) {
    if (known == kind) return text;
  }
  return "";
}

std::string cardPath(const std::string& datasetPath) {
  std::string stem = datasetPath;
  std::string payload;
  const std::size_t slash = stem.find_last_of('/') + 1;
  const std::size_t mark = stem.rfind(payloadMark);
  if (mark != std::string::npos && mark > slash && isDigits(std::string_view(stem).substr(mark + payloadMark.size()))) {
    payload = stem.substr(mark);
    payload.front() = '.';
    stem.resize(mark);
  }
  const std::size_t point = stem.find_last_of('.');
  if (point != std::string::npos && point > slash && isDigits(std::string_view(stem).substr(point + 1))) {
    stem.resize(point);
  }
  if (stem.size() > slash + binaryEnding.size() && stem.ends_with(binaryEnding)) {
    stem.resize(stem.size() - binaryEnding.size());
  }
  return stem + payload + ".card.json";
}

std::string writeCard(const DatasetCard& card) {
  Json json;
  json["format"] = formatName;
  json["kind"] = nameOf(card.kind);
  json["run"] = card.run;
  json["version"] = card.version;
  json["records"] = card.records;
  json["callers"] = card.callers;
  json["parts"] = toJson(card.parts);
  json["companions"] = toJson(card.companions);
  json["settings"] = card.settings;
  return json.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}

DatasetCard readCard(const std::string& text, const std::string& name) {
  try {
    return cardOf(Json::parse(text));
  } catch (const Json::exception&) {
    throw std::runtime_error(name + ": the card is no JSON text");
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(name + ": the card cannot be used: " + error.what());
  }
}

}  // namespace vesk_files
