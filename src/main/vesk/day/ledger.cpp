#include "day/ledger.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "day/calendar_day.h"
#include "files/printable.h"
#include "files/sha256.h"

namespace vesk {

namespace {

using Json = nlohmann::ordered_json;

// YYYY-MM-DDThh:mm:ssZ. The text is shown to people, so it must be nothing else.
bool isUtcTime(const std::string& text) {
  constexpr std::string_view form = "0000-00-00T00:00:00Z";
  return text.size() == form.size() && std::equal(text.begin(), text.end(), form.begin(), [](char c, char place) {
           return place == '0' ? c >= '0' && c <= '9' : c == place;
         });
}

// Reads the members of one JSON object.
class Members {
 public:
  explicit Members(const Json& value) : object(value) {
    if (!object.is_object()) throw std::runtime_error("it is no JSON object");
  }

  const Json& get(const char* name) const {
    const auto found = object.find(name);
    if (found == object.end()) throw std::runtime_error(std::string("the member ") + name + " is missing");
    return *found;
  }
  std::string text(const char* name) const {
    const Json& value = get(name);
    if (!value.is_string()) fail(name, "is no text");
    return value.get<std::string>();
  }
  std::uint64_t count(const char* name) const {
    const Json& value = get(name);
    if (!value.is_number_unsigned()) fail(name, "is no count");
    return value.get<std::uint64_t>();
  }
  double number(const char* name) const {
    const Json& value = get(name);
    if (!value.is_number()) fail(name, "is no number");
    return value.get<double>();
  }
  std::string hash(const char* name) const {
    std::string value = text(name);
    if (!vesk_files::isSha256(value)) fail(name, "is no SHA-256");
    return value;
  }
  std::string generation(const char* name) const {
    std::string value = text(name);
    if (!isGenerationName(value)) fail(name, "is no generation");
    return value;
  }
  std::string time(const char* name) const {
    std::string value = text(name);
    if (!isUtcTime(value)) fail(name, "is no time");
    return value;
  }
  const Json& list(const char* name) const {
    const Json& value = get(name);
    if (!value.is_array()) fail(name, "is no list");
    return value;
  }
  const Json& nested(const char* name) const {
    const Json& value = get(name);
    if (!value.is_object()) fail(name, "is no object");
    return value;
  }

 private:
  [[noreturn]] static void fail(const char* name, const char* what) {
    throw std::runtime_error(std::string("the member ") + name + " " + what);
  }

  const Json& object;
};

Json toJson(const LedgerInput& input) {
  return {{"name", input.name},     {"bytes", input.bytes},
          {"sha256", input.sha256}, {"content_sha256", input.contentSha256},
          {"lines", input.lines},   {"accepted", input.accepted}};
}

LedgerInput inputOf(const Json& json) {
  const Members members(json);
  return {members.text("name"),           members.count("bytes"), members.hash("sha256"),
          members.hash("content_sha256"), members.count("lines"), members.count("accepted")};
}

std::string hashOf(const std::map<std::string, std::string>& settings) {
  return vesk_files::sha256OfText(Json(settings).dump(-1, ' ', true, Json::error_handler_t::replace));
}

LedgerLine lineOf(const Json& json) {
  const Members members(json);
  LedgerLine line;
  const std::string action = members.text("action");
  if (action != "day" && action != "rollback") throw std::runtime_error("the action is neither day nor rollback");
  line.action = action == "day" ? LedgerLine::Action::Day : LedgerLine::Action::Rollback;
  line.generation = members.generation("generation");
  line.date = line.generation.substr(0, line.generation.find('.'));
  if (members.text("date") != line.date) throw std::runtime_error("the date is not that of the generation");
  if (!members.get("parent").is_null()) line.parent = members.generation("parent");
  line.finished = members.time("finished");
  if (line.action == LedgerLine::Action::Rollback) return line;
  line.version = members.text("version");
  for (const auto& [name, value] : members.nested("settings").items()) {
    if (!value.is_string()) throw std::runtime_error("the setting " + vesk_files::printable(name) + " is no text");
    line.settings[name] = value.get<std::string>();
  }
  if (members.text("settings_sha256") != hashOf(line.settings)) {
    throw std::runtime_error("the hash of the settings is not that of the settings");
  }
  line.output = members.text("output");
  for (const Json& input : members.list("inputs")) line.inputs.push_back(inputOf(input));
  line.lines = members.count("lines");
  line.accepted = members.count("accepted");
  for (const auto& [cause, count] : members.nested("refused").items()) {
    if (!count.is_number_unsigned()) throw std::runtime_error("the member refused holds no counts");
    line.refused[cause] = count.get<std::uint64_t>();
  }
  line.restricted = members.count("restricted");
  line.callers = members.count("callers");
  line.entries = members.count("entries");
  line.droppedByHorizon = members.count("dropped_by_horizon");
  line.stateBytes = members.count("state_bytes");
  line.peakMemoryBytes = members.count("peak_memory_bytes");
  line.seconds = members.number("seconds");
  return line;
}

}  // namespace

std::uint64_t LedgerLine::inputBytes() const {
  std::uint64_t sum = 0;
  for (const LedgerInput& input : inputs) sum += input.bytes;
  return sum;
}

std::string writeLedgerLine(const LedgerLine& line) {
  const bool isDay = line.action == LedgerLine::Action::Day;
  Json json;
  json["action"] = isDay ? "day" : "rollback";
  json["generation"] = line.generation;
  json["parent"] = line.parent.empty() ? Json() : Json(line.parent);
  json["date"] = line.date;
  json["finished"] = line.finished;
  if (isDay) {
    json["version"] = line.version;
    json["settings_sha256"] = hashOf(line.settings);
    json["settings"] = line.settings;
    json["output"] = line.output;
    json["inputs"] = Json::array();
    for (const LedgerInput& input : line.inputs) json["inputs"].push_back(toJson(input));
    json["lines"] = line.lines;
    json["accepted"] = line.accepted;
    json["refused"] = line.refused;
    json["restricted"] = line.restricted;
    json["callers"] = line.callers;
    json["entries"] = line.entries;
    json["dropped_by_horizon"] = line.droppedByHorizon;
    json["state_bytes"] = line.stateBytes;
    json["peak_memory_bytes"] = line.peakMemoryBytes;
    json["seconds"] = line.seconds;
  }
  return json.dump(-1, ' ', true, Json::error_handler_t::replace);
}

LedgerLine readLedgerLine(const std::string& text) {
  try {
    return lineOf(Json::parse(text));
  } catch (const Json::exception&) {
    throw std::runtime_error("it is no JSON text");
  }
}

bool isGenerationName(const std::string& text) {
  const std::size_t point = text.find('.');
  if (point == std::string::npos || !CalendarDay::parse(text.substr(0, point))) return false;
  const std::string number = text.substr(point + 1);
  return !number.empty() && number.size() <= 9 && number.front() != '0' &&
         number.find_first_not_of("0123456789") == std::string::npos;
}

Ledger::Ledger(const std::string& text, const std::string& name) {
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t feed = text.find('\n', start);
    isCut = feed == std::string::npos;
    if (isCut) break;
    try {
      lines.push_back(readLedgerLine(text.substr(start, feed - start)));
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(name + ": line " + std::to_string(lines.size() + 1) +
                               " cannot be used: " + error.what());
    }
    start = feed + 1;
  }
  whole = start;
}

const LedgerLine* Ledger::findDay(const std::string& generation) const {
  const auto found = std::find_if(lines.rbegin(), lines.rend(), [&](const LedgerLine& line) {
    return line.action == LedgerLine::Action::Day && line.generation == generation;
  });
  return found == lines.rend() ? nullptr : &*found;
}

std::vector<const LedgerLine*> Ledger::daysOf(const std::string& generation) const {
  std::vector<const LedgerLine*> days;
  for (std::string next = generation; !next.empty(); next = days.back()->parent) {
    const LedgerLine* const day = findDay(next);
    if (day == nullptr) throw std::runtime_error("the ledger has no line for the generation " + next);
    if (days.size() == lines.size()) throw std::runtime_error("the generations of the ledger lead in a circle");
    days.push_back(day);
  }
  return days;
}

}  // namespace vesk
