#include "run_timings.h"

#include <optional>
#include <vector>

#include "control/quven_result_file.h"
#include "exact_text.h"
#include "output_check.h"
#include "page/utf8_text.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

using vesk_page::firstUtf8Character;
using vesk_page::Utf8Character;
using vesk_page::utf8Replacement;

namespace {

/// A member of each phase, as an object.
template <class NumberOf>
std::string ofPhases(NumberOf numberOf) {
  std::string object = "{";
  for (std::size_t phase = 0; phase < QUVENPassCounters::NumPhases; ++phase) {
    if (phase > 0) object += ", ";
    object += jsonText(quvenPhaseName(phase));
    object += ": ";
    object += numberOf(phase);
  }
  object += '}';
  return object;
}

/// Records, bytes, and of each phase the seconds and the records per second; members of an object without its braces.
std::string countersMembers(const QUVENPassCounters& counters) {
  const auto rate = [&](std::size_t phase) -> std::string {
    if (!(counters.seconds[phase] > 0)) return "null";
    return exactText(static_cast<double>(counters.records) / counters.seconds[phase]);
  };
  std::string members = "\"records\": " + std::to_string(counters.records);
  members += ", \"bytesRead\": " + std::to_string(counters.bytes);
  members += ", \"seconds\": " + ofPhases([&](std::size_t phase) { return exactText(counters.seconds[phase]); });
  members += ", \"recordsPerSecond\": " + ofPhases(rate);
  return members;
}

/// The texts of all ranks on rank 0, in the order of the ranks; nothing on the others.
std::vector<std::string> gatherTexts(const std::string& text, const QUVENWorkerTransport& transport,
                                     const QUVENEnvHandle& env) {
  QUVENMemoryBlobIO blob;
  std::vector<std::string> texts;
  if (transport.isMaster()) {
    texts.push_back(text);
    for (int rank = 1; rank < transport.getCount(); ++rank) {
      transport.receive(rank, blob, QUVEN_ENV);
      const std::span<const char> bytes = blob.getBytes();
      texts.emplace_back(bytes.data(), bytes.size());
    }
  } else {
    blob.write(text.data(), text.size(), QUVEN_ENV);
    transport.send(0, blob);
  }
  blob.deleteMemory(QUVEN_ENV);
  return texts;
}

}  // namespace

std::string jsonText(std::string_view text) {
  constexpr std::string_view hexDigits = "0123456789abcdef";
  std::string quoted = "\"";
  while (!text.empty()) {
    const Utf8Character character = firstUtf8Character(text);
    if (!character.isValid) {
      quoted += utf8Replacement;
    } else if (character.code == '"' || character.code == '\\') {
      quoted += '\\';
      quoted += text.front();
    } else if (character.code < 0x20) {
      quoted += "\\u00";
      quoted += hexDigits[character.code / 16];
      quoted += hexDigits[character.code % 16];
    } else {
      quoted += text.substr(0, character.numBytes);
    }
    text.remove_prefix(character.numBytes);
  }
  quoted += '"';
  return quoted;
}

std::string rankTimingsJson(const QUVENRunTimings& timings) {
  const std::string indent = "    ";
  std::string json = indent + "{\"rank\": " + std::to_string(timings.rank);
  json += ", \"seconds\": " + exactText(timings.seconds);
  json += ", \"cpuSeconds\": " + exactText(timings.cpuSeconds);
  json += ", \"peakMemoryBytes\": " + std::to_string(timings.peakMemoryBytes) + ",\n";
  json += indent + " \"mostTime\": ";
  if (const std::optional<QUVENPassPhase> costliest = quvenCostliestPhase(timings.passes)) {
    json += "{\"pass\": " + std::to_string(costliest->pass);
    json += ", \"phase\": " + jsonText(quvenPhaseName(costliest->phase));
    json += ", \"seconds\": " + exactText(costliest->seconds) + "},\n";
  } else {
    json += "null,\n";
  }
  json += indent + " \"all\": {" + countersMembers(quvenSumOfPasses(timings.passes)) + "},\n";
  json += indent + " \"passes\": [";
  std::size_t number = 0;
  for (const QUVENPassCounters& pass : timings.passes) {
    json += number == 0 ? "\n" : ",\n";
    json += indent + "  {\"pass\": " + std::to_string(++number) + ", " + countersMembers(pass) + "}";
  }
  json += "]}";
  return json;
}

std::string timingsJson(std::string_view command, std::string_view dataset, std::span<const std::string> ranks) {
  std::string json = "{\n  \"version\": " + jsonText(VESK_VERSION);
  json += ",\n  \"command\": " + jsonText(command);
  json += ",\n  \"dataset\": " + jsonText(dataset);
  json += ",\n  \"ranks\": [";
  for (std::size_t rank = 0; rank < ranks.size(); ++rank) {
    json += rank == 0 ? "\n" : ",\n";
    json += ranks[rank];
  }
  json += "\n  ]\n}\n";
  return json;
}

void writeTimingsFile(const std::string& path, std::string_view command, std::string_view dataset,
                      const QUVENRunTimings& timings, const QUVENWorkerTransport& transport,
                      const QUVENEnvHandle& env) {
  const std::vector<std::string> ranks = gatherTexts(rankTimingsJson(timings), transport, QUVEN_ENV);
  if (!transport.isMaster()) return;
  bool isWritten = false;
  {
    // The report ends the run, so an incomplete file is removed before it.
    QUVENResultFile file(path);
    if (file.isOpen()) file.getStream() << timingsJson(command, dataset, ranks);
    isWritten = file.isOpen() && file.commit();
  }
  constexpr int fileUnusable = 2302;
  if (!isWritten) report_error(fileUnusable, path, timingsUnwritable, QUVEN_ENV, true);
}

}  // namespace vesk_analyze
