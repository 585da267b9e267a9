#include "ids/id_texts.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <ostream>
#include <system_error>

#include "command.h"
#include "control/quven_result_file.h"
#include "convert/call_values.h"
#include "csv/column_choice.h"
#include "csv/csv_input.h"
#include "csv/csv_rows.h"
#include "csv/output_file.h"

namespace vesk {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
constexpr unsigned privatePermissions = 0640;

class Replacement {
 public:
  Replacement(IdMap& idMap, const IdTextsOptions& idOptions)
      : map(idMap), options(idOptions), mapsAll(map.getMappedIds() == MappedIds::All) {}

  IdTextsResult run(std::ostream& standardOutput) {
    std::unique_ptr<OutputFile> file;
    if (!options.output.empty()) file = std::make_unique<OutputFile>(options.output, privatePermissions);
    const auto writeBlock = [&] {
      if (file != nullptr) {
        file->write(block);
      } else {
        standardOutput << block;
      }
      block.clear();
    };
    CsvInput bytes(options.input);
    CsvRows rows([&bytes](char* data, std::size_t size) { return bytes.read(data, size); });
    const std::string_view line = rows.peekLine();
    if (line.find_first_of(",;\t") != std::string_view::npos) delimiter = findDelimiter(line, options.input);
    rows.setDelimiter(delimiter);
    while (rows.next()) {
      takeRow(rows);
      if (block.size() >= blockBytes) writeBlock();
    }
    if (isReplaced.empty()) refuse(options.input + " is empty");
    if (result.unknown > 0 && result.replaced == 0) {
      refuse(map.getPath() + " has none of the " + std::to_string(result.unknown) + " numbers from 2^52 on in " +
             options.input + ", such as " + result.unknownExample);
    }
    writeBlock();
    if (file != nullptr) file->commit();
    return result;
  }

 private:
  [[noreturn]] static void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }
  [[noreturn]] void refuseRow(const CsvRows& rows, const std::string& why) const {
    refuse(options.input + ", line " + std::to_string(rows.getLine()) + ": " + why);
  }

  void takeRow(const CsvRows& rows) {
    if (rows.getFault() != RowFault::None) refuseRow(rows, "a quote that is not closed, or a row that is too long");
    const auto& cells = rows.getCells();
    const bool isFirst = isReplaced.empty();
    if (isFirst) chooseColumns({cells.begin(), cells.end()});
    if (cells.size() != isReplaced.size()) {
      refuseRow(rows, std::to_string(cells.size()) + " cells, not " + std::to_string(isReplaced.size()));
    }
    const bool isHeader = isFirst && options.hasHeader;
    if (!isHeader) ++result.rows;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) block += delimiter;
      if (isHeader || !isReplaced[i]) {
        block += csvCell(cells[i], delimiter);
      } else if (options.toText) {
        addText(cells[i], rows);
      } else {
        addNumber(cells[i], rows);
      }
    }
    block += '\n';
  }

  void chooseColumns(const std::vector<std::string>& headings) {
    isReplaced.assign(headings.size(), false);
    for (const std::string& column : options.columns) {
      isReplaced[placeOfColumn(headings, options.hasHeader, column, options.input)] = true;
    }
  }

  /// Whether a text that is no plain id is a number of a map all the same, as programs write doubles.
  static bool isNumberInOtherForm(std::string_view text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    constexpr double rounded = 0.999;  // digits that are left out can lead below the first number
    return error == std::errc{} && stop == end && number >= rounded * static_cast<double>(FirstMappedId) &&
           number <= static_cast<double>(LargestPlainId);
  }

  void addText(std::string_view cell, const CsvRows& rows) {
    const std::optional<std::uint64_t> id = readPlainId(cell);
    // The last digits of such a number may be those of another subscriber.
    if (!id && isNumberInOtherForm(cell)) {
      refuseRow(rows, "[" + std::string(cell) +
                          "] is a number of a map in another form; write it with all its digits and nothing else");
    }
    const std::optional<std::string_view> text = id && *id >= FirstMappedId ? map.findText(*id) : std::nullopt;
    block += csvCell(text ? *text : cell, delimiter);
    if (text) {
      ++result.replaced;
    } else if (id && *id >= FirstMappedId && result.unknown++ == 0) {
      result.unknownExample = std::to_string(*id) + " in line " + std::to_string(rows.getLine());
    }
  }

  void addNumber(std::string_view cell, const CsvRows& rows) {
    const std::optional<std::uint64_t> plain = readPlainId(cell);
    if (plain && *plain < FirstMappedId && !mapsAll) {
      block += cell;
      return;
    }
    const std::optional<std::uint64_t> id = map.findId(cell);
    if (!id) refuseRow(rows, map.getPath() + " does not have [" + std::string(cell.substr(0, 200)) + "]");
    ++result.replaced;
    block += std::to_string(*id);
  }

  IdMap& map;
  const IdTextsOptions& options;
  bool mapsAll;
  IdTextsResult result;
  char delimiter = ',';
  std::vector<bool> isReplaced;  // by column; empty before the first row
  std::string block;             // rows that are not written yet
};

}  // namespace

IdTextsResult replaceIds(IdMap& map, const IdTextsOptions& options, std::ostream& standardOutput) {
  std::vector<std::string> others = filesOfIdMap(map.getPath());
  others.push_back(options.input);
  for (const std::string& other : others) {
    if (!options.output.empty() && other != "-" && quvenIsSameFile(options.output, other)) {
      throw CommandFailure(Status::Usage, "the output " + options.output + " would take the place of " + other);
    }
  }
  return Replacement(map, options).run(standardOutput);
}

}  // namespace vesk
