#include "day/day_report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>

#include "counted.h"
#include "day/room.h"
#include "files/descriptor.h"
#include "files/printable.h"

namespace vesk {

namespace {

constexpr int causeWidth = 28;
constexpr int deepestReport = 16;  // a hostile one must not exhaust the stack

void printRow(std::ostream& out, const std::string& name, const std::string& value) {
  out << "  " << name << std::string(causeWidth > name.size() ? causeWidth - name.size() : 1, ' ') << value << '\n';
}

double shareOf(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

std::string DayReport::json() const {
  using Json = nlohmann::ordered_json;
  Json report;
  report["status"] = static_cast<int>(status);
  report["message"] = message;
  report["state"] = state;
  report["rejects"] = rejects;
  report["remarks"] = remarks;
  report["files"] = Json::array();
  for (const vesk_files::CardFile& file : files) {
    report["files"].push_back({{"name", file.name}, {"bytes", file.bytes}, {"sha256", file.sha256}});
  }
  report["ledger"] = line.generation.empty() ? Json() : Json::parse(writeLedgerLine(line));
  return report.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}

StoredReport readStoredReport(const std::string& path) {
  try {
    const auto limitDepth = [](int depth, nlohmann::ordered_json::parse_event_t, nlohmann::ordered_json&) {
      if (depth > deepestReport) throw std::runtime_error("it is nested too deeply");
      return true;
    };
    const auto json =
        nlohmann::ordered_json::parse(vesk_files::readWhole(vesk_files::Descriptor::openRegular(path)), limitDepth);
    StoredReport report;
    report.line = readLedgerLine(json.at("ledger").dump());
    for (const auto& file : json.at("files")) {
      report.files.push_back({file.at("name").get<std::string>(), file.at("bytes").get<std::uint64_t>(),
                              file.at("sha256").get<std::string>()});
    }
    return report;
  } catch (const nlohmann::json::exception&) {
    throw std::runtime_error(path + ": not the report of a run");
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(path + ": the report of the run cannot be used: " + error.what());
  }
}

std::string percentText(double share) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), share > 0.0 && share < 0.001 ? "%.4f %%" : "%.2f %%", share * 100.0);
  return text.data();
}

std::string utcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text.data();
}

void printRefusals(std::ostream& out, const LedgerLine& line) {
  std::vector<std::pair<std::string, std::uint64_t>> causes(line.refused.begin(), line.refused.end());
  std::stable_sort(causes.begin(), causes.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  for (const auto& [cause, count] : causes) {
    printRow(out, cause, grouped(count) + " (" + percentText(shareOf(count, line.lines)) + ")");
  }
}

void printDay(std::ostream& out, const DayReport& report, int horizonDays) {
  const LedgerLine& line = report.line;
  const std::uint64_t refused = line.lines - line.accepted;
  out << line.date << ": " << counted(line.inputs.size(), "file") << ", " << counted(line.lines, "line") << ", "
      << grouped(line.accepted) << " loaded, " << grouped(refused) << " refused ("
      << percentText(shareOf(refused, line.lines)) << ")\n";
  printRefusals(out, line);
  if (line.restricted > 0) {
    out << "left out by the special list: " << grouped(line.restricted) << " of the loaded entries\n";
  }
  out << "state: " << counted(line.callers, "caller") << ", " << grouped(line.entries) << " entries";
  if (line.droppedByHorizon > 0) {
    out << "; " << grouped(line.droppedByHorizon) << " were older than the horizon of " << horizonDays << " days";
  }
  out << '\n';
  out << "generation " << line.generation << " is current: " << vesk_files::printable(report.state) << "/current, "
      << bytesText(line.stateBytes) << '\n';
  if (refused > 0) out << "refused lines: " << vesk_files::printable(report.rejects) << '\n';
}

}  // namespace vesk
