#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "command.h"
#include "convert/convert.h"
#include "convert/record_columns.h"
#include "option_lists.h"

namespace vesk {

namespace {

/// The texts of the options as they were given.
struct RawOptions {
  ConvertOptions convert;
  std::string payloads;
  std::string delimiter;
  std::string timeForm = "auto";
  std::string timeZone = "utc";
  std::string maxBad = "5%";
  bool noHeader = false;
  bool mapAll = false;
};

constexpr const char* footer = R"(
COL is a name of the header or a number from 1. Plain files, gzip and zstd are read as what they hold; - is standard input.
A time with a zone and a unix time get their date in UTC; --time-zone +01:00 takes the date of that zone, --time-zone
as-written the date that is written. A time without zone keeps its date. Eight digits are yyyymmdd unless --time-format says
ydm. Durations are seconds or h:m:s.
Ids that are plain numbers from 1 to 2^53 stay themselves. Other ids (+49151..., 0049..., 0x1F, names) need --ids MAP, an
SQLite file that keeps their numbers, from 2^52 on, from day to day; a plain number from 2^52 on then goes through it too.
Written: OUT, and the loader's parameter files OUT.xml (table), OUT.pairs.xml (pair sums), OUT.sums.xml (sums).
Dates are yyyymmdd, which is the loader's date format 2.

Example:
  vesk convert calls.csv.gz -o in/calls --caller caller --callee callee --time start --duration duration \
    --ids ids.map --rejects rejects.csv
)";

char readDelimiter(const std::string& text) {
  if (text == "tab" || text == "\\t") return '\t';
  constexpr const char* choices = ",;|: \t#~^&/!";
  if (text.size() == 1 && std::string(choices).find(text) != std::string::npos) return text.front();
  throw CLI::ValidationError("--delimiter", "[" + text + "] is none of , ; | : # ~ ^ & / ! blank, tab");
}

TimeForm readTimeForm(const std::string& text) {
  static const std::map<std::string, TimeForm> forms = {
      {"auto", TimeForm::Auto},        {"iso", TimeForm::Iso},
      {"unix", TimeForm::UnixSeconds}, {"unix-ms", TimeForm::UnixMilliseconds},
      {"ymd", TimeForm::YearMonthDay}, {"ydm", TimeForm::YearDayMonth}};
  const auto place = forms.find(text);
  if (place != forms.end()) return place->second;
  throw CLI::ValidationError("--time-format", "[" + text + "] is none of auto, iso, unix, unix-ms, ymd, ydm");
}

/// "utc", "as-written", or an offset such as +01:00.
TimeZoneRule readTimeZone(const std::string& text) {
  if (text == "utc") return {};
  if (text == "as-written") return {.asWritten = true};
  const auto digit = [&](std::size_t place) { return text[place] - '0'; };
  bool isOffset = text.size() == 6 && (text[0] == '+' || text[0] == '-') && text[3] == ':';
  for (const std::size_t place : {1U, 2U, 4U, 5U}) isOffset = isOffset && digit(place) >= 0 && digit(place) <= 9;
  if (isOffset && 10 * digit(1) + digit(2) <= 15 && digit(4) <= 5) {
    const int minutes = 60 * (10 * digit(1) + digit(2)) + 10 * digit(4) + digit(5);
    return {.offsetMinutes = text[0] == '-' ? -minutes : minutes};
  }
  throw CLI::ValidationError("--time-zone", "[" + text + "] is none of utc, as-written, an offset such as +01:00");
}

/// "5%" or 0.05.
void readTexts(RawOptions& raw, const CLI::App& command) {
  ConvertOptions& convert = raw.convert;
  convert.payloads = readList("--payload", raw.payloads);
  for (const std::string& payload : convert.payloads) {
    if (payload.empty()) throw CLI::ValidationError("--payload", "[" + raw.payloads + "] has an empty name");
  }
  if (command.count("--delimiter") > 0) convert.delimiter = readDelimiter(raw.delimiter);
  convert.hasHeader = !raw.noHeader;
  convert.timeForm = readTimeForm(raw.timeForm);
  convert.timeZone = readTimeZone(raw.timeZone);
  convert.maxBad = readShare("--max-bad", raw.maxBad);
  convert.mappedIds = raw.mapAll ? MappedIds::All : MappedIds::Texts;
  if (raw.mapAll && convert.idMap.empty()) throw CLI::ValidationError("--map-all", "needs --ids");
  if (command.count("--rejects-max") > 0 && convert.rejects.empty()) {
    throw CLI::ValidationError("--rejects-max", "needs --rejects");
  }
  if (convert.output.empty() || convert.output == "-") throw CLI::ValidationError("-o", "must be the name of a file");
}

std::string isoDate(std::uint32_t date) {
  const std::string text = std::to_string(date);
  return text.substr(0, 4) + "-" + text.substr(4, 2) + "-" + text.substr(6);
}

void printReport(const ConvertOptions& options, const ConvertResult& result, std::ostream& out) {
  out << options.output << ": " << result.records << " records of " << result.rows << " rows";
  if (result.firstDate != 0) out << ", dates " << isoDate(result.firstDate) << " to " << isoDate(result.lastDate);
  out << '\n';
  constexpr std::size_t mostInputs = 20;
  for (std::size_t i = 0; i < std::min(mostInputs, result.inputs.size()); ++i) {
    const ConvertedInput& input = result.inputs[i];
    out << "  " << input.name << ": " << input.rows << " rows, " << input.compression << ", delimiter ";
    if (input.delimiter == '\t') {
      out << "tab";
    } else {
      out << input.delimiter;
    }
    if (input.emptyLines > 0) out << ", " << input.emptyLines << " empty lines";
    out << '\n';
  }
  if (result.inputs.size() > mostInputs) out << "  and " << result.inputs.size() - mostInputs << " further files\n";
  if (!options.idMap.empty()) {
    out << "ids: " << options.idMap << (result.hasNewMap ? " is new" : " knew " + std::to_string(result.knownIds))
        << ", " << result.addedIds << " added\n";
  }
  const auto names = parameterFileNames(options.output);
  out << "parameter files: " << names[0] << " (table), " << names[1] << " (pair sums), " << names[2] << " (sums)\n";
  if (result.badCount == 0) return;
  std::array<char, 32> share{};
  std::snprintf(share.data(), share.size(), "%.3g %%",
                100 * static_cast<double>(result.badCount) / static_cast<double>(result.rows));
  out << "bad rows: " << result.badCount << " (" << share.data() << ")";
  if (!options.rejects.empty()) out << ", in " << options.rejects;
  out << '\n';
  for (const BadRows::Group& group : result.badRows) {
    out << "  " << group.count << "  " << group.words << ", such as " << group.example << '\n';
  }
}

void addOptions(CLI::App& command, Action& action) {
  auto raw = std::make_shared<RawOptions>();
  ConvertOptions& convert = raw->convert;
  command.add_option("IN", convert.inputs, "The CSV files")->required()->type_name("FILE");
  command.add_option("-o,--output", convert.output, "The records to write")->required()->type_name("OUT");
  command.add_option("--caller", convert.caller, "The column of the caller")->required()->type_name("COL");
  command.add_option("--callee", convert.callee, "The column of the callee")->required()->type_name("COL");
  command.add_option("--time", convert.time, "The column of the time")->type_name("COL");
  command.add_option("--duration", convert.duration, "The column of the duration")->type_name("COL");
  command.add_option("--count", convert.count, "The column of the number of calls in a row")->type_name("COL");
  command.add_option("--payload", raw->payloads, "Columns of further numbers from 0 on")->type_name("COL,..");
  command.add_option("--ids", convert.idMap, "The map of ids that are no plain numbers; made if there is none")
      ->type_name("MAP");
  command.add_flag("--map-all", raw->mapAll, "Plain numbers go through the map as well");
  command.add_option("--time-format", raw->timeForm, "auto, iso, unix, unix-ms, ymd or ydm")->capture_default_str();
  command.add_option("--time-zone", raw->timeZone, "Whose date a time with a zone gets: utc, as-written, or +hh:mm")
      ->capture_default_str();
  command.add_option("--delimiter", raw->delimiter, "What separates cells, tab for a tab (found: , ; tab)")
      ->type_name("C");
  command.add_flag("--no-header", raw->noHeader, "The first row is a record; columns are numbers");
  command.add_option("--rejects", convert.rejects, "Write the bad rows: file,line,byte,cause,field,text")
      ->type_name("FILE");
  command.add_option("--rejects-max", convert.rejectsMax, "Rows of a field and cause in this file")
      ->check(wholeNumberFrom(0))
      ->capture_default_str();
  command.add_option("--max-bad", raw->maxBad, "Share of bad rows above which nothing is written")
      ->capture_default_str();
  command.footer(footer);
  command.callback([raw, &command, &action] {
    readTexts(*raw, command);
    if (raw->convert.output == "-")
      throw CLI::ValidationError("-o", "the records need a file, the parameter files stand beside it");
    action = [raw](std::ostream& out, std::ostream&) { printReport(raw->convert, convertCalls(raw->convert), out); };
  });
}

}  // namespace

const Command convertCommand = {"", "convert", "CSV files of calls: records and parameter files for the loader",
                                &addOptions};

}  // namespace vesk
