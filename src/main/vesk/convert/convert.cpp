#include "convert/convert.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "command.h"
#include "control/quven_result_file.h"
#include "convert/record_columns.h"
#include "convert/source_columns.h"
#include "csv/column_choice.h"
#include "csv/csv_input.h"
#include "csv/csv_rows.h"
#include "csv/output_file.h"
#include "files/descriptor.h"
#include "ids/id_table.h"

namespace vesk {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
constexpr unsigned privatePermissions = 0640;
constexpr unsigned parameterPermissions = 0644;

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

std::string_view trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

RowCause causeOf(RowFault fault) {
  switch (fault) {
    case RowFault::UnclosedQuote:
      return RowCause::UnclosedQuote;
    case RowFault::TextAfterQuote:
      return RowCause::TextAfterQuote;
    case RowFault::TooLong:
      return RowCause::RowTooLong;
    case RowFault::None:
      break;
  }
  return RowCause::None;
}

/// Writes the number so that its last digit is before `end`.
void putNumberBefore(char* end, std::uint64_t number) {
  do {
    *--end = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number > 0);
}

void refuseSharedFiles(const ConvertOptions& options) {
  std::vector<std::string> outputs = {options.output};
  for (const std::string& name : parameterFileNames(options.output)) outputs.push_back(name);
  if (!options.rejects.empty()) outputs.push_back(options.rejects);
  if (!options.idMap.empty()) std::ranges::move(filesOfIdMap(options.idMap), std::back_inserter(outputs));
  const auto refuseName = [](const std::string& why) { throw CommandFailure(Status::Usage, why); };
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    for (const std::string& input : options.inputs) {
      if (input != "-" && quvenIsSameFile(outputs[i], input)) {
        refuseName("the output " + outputs[i] + " would take the place of the input " + input);
      }
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (quvenIsSameFile(outputs[i], outputs[j])) {
        refuseName(outputs[j] + " and " + outputs[i] + " are the same file");
      }
    }
  }
  std::set<std::string> names;
  std::set<std::pair<dev_t, ino_t>> files;
  for (const std::string& input : options.inputs) {
    struct stat status {};
    const bool isKnown = input != "-" && ::stat(input.c_str(), &status) == 0;
    const bool isNew = names.insert(input).second && (!isKnown || files.emplace(status.st_dev, status.st_ino).second);
    if (!isNew) refuse(input + " is given twice");
  }
}

/// Ids of lines whose numbers are still to be found in the table: many at a time, so that the fetches from memory
/// overlap.
class PendingIds {
 public:
  static constexpr std::size_t MostIds = 128;

  void add(const IdTable& table, std::string_view text, std::size_t end) {
    const std::uint64_t hash = IdTable::hashOf(text);
    table.prefetchSlot(hash);
    ids.push_back({hash, text.size(), end});
    texts += text;
  }
  bool isFull() const { return ids.size() + 2 > MostIds; }

  /// Writes the numbers into the lines; new texts get the next ones.
  void resolve(IdTable& table, IdMap& map, std::string& lines) {
    for (const Id& id : ids) table.prefetchEntry(id.hash);
    std::string_view rest = texts;
    for (const Id& id : ids) {
      const std::string_view text = rest.substr(0, id.textBytes);
      rest.remove_prefix(id.textBytes);
      std::uint64_t number = table.find(text, id.hash);
      if (number == 0) number = map.addToTable(table, text);
      putNumberBefore(lines.data() + id.end, number);
    }
    ids.clear();
    texts.clear();
  }

 private:
  struct Id {
    std::uint64_t hash;
    std::size_t textBytes;
    std::size_t end;  // of the columns of the id in the lines
  };
  std::vector<Id> ids;
  std::string texts;
};

class Conversion {
 public:
  explicit Conversion(const ConvertOptions& convertOptions)
      : options(convertOptions), badRows(!options.rejects.empty(), options.rejectsMax) {
    if (options.idMap.empty()) return;
    map = std::make_unique<IdMap>(options.idMap);
    result.hasNewMap = map->isNew();
    map->load(ids, options.mappedIds);
    result.knownIds = ids.getSize();
  }

  ConvertResult run() {
    OutputFile records(options.output, privatePermissions);
    block.reserve(blockBytes + 4096);
    for (const std::string& input : options.inputs) readInput(input, records);
    result.badRows = badRows.getGroups();
    result.badCount = badRows.getCount();
    if (!options.rejects.empty()) {
      vesk_files::replaceFile(options.rejects, badRows.getFileText(), privatePermissions);
    }
    refuseBadInput();
    if (map != nullptr) saveIds(records);
    const auto parameterFiles = parameterFileNames(options.output);
    vesk_files::replaceFile(parameterFiles[0], columns.tableParameters(), parameterPermissions);
    vesk_files::replaceFile(parameterFiles[1], columns.pairSumParameters(), parameterPermissions);
    vesk_files::replaceFile(parameterFiles[2], columns.sumsParameters(), parameterPermissions);
    records.commit();
    return result;
  }

 private:
  void writeBlock(OutputFile& records) {
    if (map != nullptr) pending.resolve(ids, *map, block);
    records.write(block);
    block.clear();
  }

  void readInput(const std::string& name, OutputFile& records) {
    CsvInput bytes(name);
    CsvRows rows([&bytes](char* data, std::size_t size) { return bytes.read(data, size); });
    ConvertedInput& input = result.inputs.emplace_back();
    input.name = name == "-" ? "standard input" : name;
    input.compression = vesk_files::nameOf(bytes.getCompression());
    if (rows.isUtf16()) refuse(input.name + " is UTF-16 text; make it UTF-8");
    if (rows.peekLine().empty()) refuse(input.name + " is empty");
    input.delimiter = options.delimiter ? *options.delimiter : findDelimiter(rows.peekLine(), input.name);
    rows.setDelimiter(input.delimiter);
    source.emplace(options, rows, input.name);
    if (firstSource) {
      source->refuseOtherNames(*firstSource);
    } else {
      firstSource = source;
      source->addTo(columns);
    }
    bool isWaiting = source->hasRowWaiting();
    while (isWaiting || rows.next()) {
      isWaiting = false;
      ++input.rows;
      takeRow(rows, input.name);
      if (block.size() >= blockBytes) writeBlock(records);
    }
    writeBlock(records);
    input.emptyLines = rows.getEmptyLines();
    result.rows += input.rows;
    if (input.rows > 0) refuseEqualContent(bytes.finishHash(), input.name);
  }

  /// The same day twice would double every sum.
  void refuseEqualContent(const std::string& hash, const std::string& name) {
    const auto [place, isNew] = inputByHash.emplace(hash, name);
    if (!isNew) refuse(name + " holds the same bytes as " + place->second);
  }

  void takeRow(const CsvRows& rows, const std::string& file) {
    const auto reject = [&](RowCause cause, std::string_view field, std::string_view text) {
      badRows.add({file, rows.getLine(), rows.getByte(), cause, field, text});
    };
    if (rows.getFault() != RowFault::None) return reject(causeOf(rows.getFault()), {}, rows.getLineText());
    const std::vector<std::string_view>& cells = rows.getCells();
    if (cells.size() != source->getWidth()) {
      return reject(cells.size() < source->getWidth() ? RowCause::CellsMissing : RowCause::CellsExtra, {},
                    rows.getLineText());
    }
    if (source->isHeader(cells)) return reject(RowCause::HeaderAgain, {}, rows.getLineText());
    const std::vector<RecordField>& fields = columns.getFields();
    const std::vector<std::size_t>& cellOf = source->getPlaces();
    const std::size_t lineBegin = block.size();
    block.append(columns.getLineBytes() - 1, ' ');
    block += '\n';
    std::uint32_t date = 0;
    std::array<std::string_view, 2> mapped;  // texts of the caller and the callee that have a number in the map
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const std::string_view cell = trimmed(cells[cellOf[i]]);
      char* const begin = block.data() + lineBegin + fields[i].first;
      const RowCause cause =
          i < mapped.size() ? putId(cell, begin + fields[i].width, mapped[i]) : putField(fields[i], cell, begin, date);
      if (cause == RowCause::None) continue;
      block.resize(lineBegin);
      return reject(cause, source->getNames()[i], cell);
    }
    // Now the row is good, and may give new texts to the map.
    for (std::size_t i = 0; i < mapped.size(); ++i) {
      if (!mapped[i].empty()) pending.add(ids, mapped[i], lineBegin + fields[i].first + fields[i].width);
    }
    if (pending.isFull()) pending.resolve(ids, *map, block);
    ++result.records;
    if (date == 0) return;
    result.firstDate = result.firstDate == 0 ? date : std::min(result.firstDate, date);
    result.lastDate = std::max(result.lastDate, date);
  }

  /// Writes the value of a cell into its columns.
  RowCause putField(const RecordField& field, std::string_view cell, char* begin, std::uint32_t& date) {
    std::string_view text;
    std::uint64_t number = 0;
    std::uint32_t small = 0;
    RowCause cause = RowCause::None;
    switch (field.role) {
      case FieldRole::Caller:
      case FieldRole::Callee:
        break;
      case FieldRole::Date:
        cause = readDate(cell, options.timeForm, options.timeZone, date);
        number = date;
        break;
      case FieldRole::Count:
        cause = readCount(cell, small);
        number = small;
        break;
      case FieldRole::Duration:
        cause = readDuration(cell, seconds);
        text = seconds;
        break;
      case FieldRole::Payload:
        cause = readPayload(cell, text);
        break;
    }
    if (cause != RowCause::None) return cause;
    if (text.empty()) {
      putNumberBefore(begin + field.width, number);
      return RowCause::None;
    }
    if (text.size() > field.width) return RowCause::TooWide;
    std::memcpy(begin + field.width - text.size(), text.data(), text.size());
    return RowCause::None;
  }

  /// Writes a plain id before `end`, or gives the text whose number is in the map.
  RowCause putId(std::string_view cell, char* end, std::string_view& mapped) const {
    if (cell.empty()) return RowCause::Empty;
    const std::optional<std::uint64_t> plain = readPlainId(cell);
    if (plain == 0) return RowCause::IdZero;
    const bool staysItself =
        plain && (map == nullptr || (options.mappedIds == MappedIds::Texts && *plain < FirstMappedId));
    if (staysItself) {
      putNumberBefore(end, *plain);
      return RowCause::None;
    }
    if (map == nullptr)
      return std::ranges::all_of(cell, isDigitOfNumber) && cell.front() != '0' ? RowCause::IdTooLarge
                                                                               : RowCause::IdNoNumber;
    mapped = cell;
    return mistakeInIdText(cell);
  }
  static bool isDigitOfNumber(char c) { return c >= '0' && c <= '9'; }

  void refuseBadInput() const {
    if (result.rows == 0) refuse("no rows in " + options.inputs.front());
    if (result.badCount == 0) return;
    const double share = static_cast<double>(result.badCount) / static_cast<double>(result.rows);
    if (result.records > 0 && share <= options.maxBad) return;
    std::array<char, 32> limit{};
    std::snprintf(limit.data(), limit.size(), "%.4g %%", 100 * options.maxBad);
    const BadRows::Group& most = result.badRows.front();
    refuse(std::to_string(result.badCount) + " of " + std::to_string(result.rows) + " rows are bad, " +
           (result.records == 0 ? std::string("none is good") : "more than " + std::string(limit.data())) + "; " +
           std::to_string(most.count) + " for: " + most.words + ", such as " + most.example);
  }

  /// Adds the new ids to the map. If another process has added some of them meanwhile, the records get their numbers.
  void saveIds(OutputFile& records) {
    const auto numbers = map->save(ids, options.mappedIds);
    result.addedIds = map->getAdded();
    if (!numbers) return;
    const std::uint64_t first = map->getFirstAdded();
    const std::size_t idWidth = columns.getFields()[0].width;
    const std::array<std::size_t, 2> places = {columns.getFields()[0].first, columns.getFields()[1].first};
    records.rewriteLines(columns.getLineBytes(), [&](char* line) {
      for (const std::size_t place : places) {
        const std::string_view text = trimmed({line + place, idWidth});
        const std::uint64_t id = *readPlainId(text);
        if (id < first) continue;
        putNumberBefore(line + place + idWidth, (*numbers)[id - first]);  // all of them have 16 digits
      }
    });
  }

  const ConvertOptions& options;
  ConvertResult result;
  BadRows badRows;
  std::unique_ptr<IdMap> map;
  IdTable ids;
  RecordColumns columns;
  std::unordered_map<std::string, std::string> inputByHash;  // inputs with rows, by the hash of their content

  std::optional<SourceColumns> firstSource;

  // Of the input that is read.
  std::optional<SourceColumns> source;
  std::string seconds;
  std::string block;   // lines that are not written yet
  PendingIds pending;  // in the block
};

}  // namespace

ConvertResult convertCalls(const ConvertOptions& options) {
  refuseSharedFiles(options);
  return Conversion(options).run();
}

}  // namespace vesk
