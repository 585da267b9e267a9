#include "table/right_side.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "table/cell_value.h"
#include "table/csv_columns.h"
#include "table/dataset_files.h"
#include "table/key_value.h"
#include "table/table_source.h"

namespace vesk {

namespace {

/// The columns of a CSV file.
class CsvSide : public RightSide {
 public:
  CsvSide(const RightFile& rightFile, const JoinKey& joinKey) : RightSide(rightFile, joinKey), csv({rightFile.path}) {
    const std::vector<std::string>& names = csv.getNames();
    if (const std::optional<std::string> number = csv.findNumberForName()) {
      remarks.push_back(file.path + ": a column has the number " + *number +
                        " for a name; the first row must have the names");
    }
    const auto found = std::ranges::find(names, key.name);
    keyPlace = found == names.end() ? 0 : static_cast<std::size_t>(found - names.begin());
    keyName = names[keyPlace];
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (i != keyPlace) columns.push_back({newName(names[i])});
    }
  }

  std::vector<std::string> getFiles() const override { return {file.path}; }

  void load(std::optional<std::size_t> target) override {
    using Wish = TableColumn::Wish;
    TableColumn keyColumn(keyName, key.isCategorical ? Wish::CategoryKey : Wish::Key, false);
    if (key.labels != nullptr) keyColumn.compareWith(key.labels->labels);
    csv.choose(keyPlace, std::move(keyColumn));
    for (std::size_t c = 0; c < columns.size(); ++c) {
      csv.choose(c < keyPlace ? c : c + 1, TableColumn(columns[c].name, Wish::Any, target == c));
    }
    makeRows(csv.findTypes());
    csv.readRows([this](std::span<const double> numbers, std::uint64_t line) {
      const std::uint32_t earlier = rows->add(numbers.front(), numbers.subspan(1));
      if (earlier != KeyedRows::NoRow) refuseSecond(earlier, line);
    });
    for (std::size_t c = 0; c < columns.size(); ++c) columns[c] = csv.getColumns()[c + 1].describe();
    for (const TableColumn& column : csv.getColumns()) {
      if (const std::string remark = column.remark(); !remark.empty()) remarks.push_back(file.path + ": " + remark);
    }
  }

  void addLabels(QUVENTableLabels& labels) const override {
    for (const TableColumn& column : csv.getColumns()) column.addLabels(labels);
  }

 private:
  /// Refuses a second row of a key. The texts of the keys are not kept, so both rows are read again for the message.
  [[noreturn]] void refuseSecond(std::uint32_t earlier, std::uint64_t line) const {
    std::uint64_t earlierLine = 0;
    std::uint64_t lineAgain = 0;
    const std::string first = csv.readRow(earlier, earlierLine)[keyPlace];
    const std::string second = csv.readRow(rows->size(), lineAgain)[keyPlace];
    const bool isClash = key.isCategorical && first != second;
    throw std::runtime_error(file.path + ", line " + std::to_string(line) + ": the key " + shownText(second) +
                             (isClash ? " has the same code as " + shownText(first) : " is there a second time,") +
                             (isClash ? "" : " first") + " in line " + std::to_string(earlierLine));
  }

  CsvColumns csv;
  std::size_t keyPlace = 0;
};

/// The columns of a table with named columns.
class TableSide : public RightSide {
 public:
  TableSide(const RightFile& rightFile, const JoinKey& joinKey)
      : RightSide(rightFile, joinKey), source(rightFile.path) {
    const std::optional<std::size_t> found = source.findColumn(key.name);
    if (!found) throw std::runtime_error(file.path + " has no column " + key.name);
    keyPlace = *found;
    keyName = key.name;
    refuseOtherType();
    for (std::size_t c = 0; c < source.getColumns().size(); ++c) {
      const dataset_info::Column& column = source.getColumns()[c];
      if (c != keyPlace) columns.push_back({newName(column.name), column.type, dataset_info::Explanatory});
    }
  }

  std::vector<std::string> getFiles() const override { return source.getFiles(); }

  void load(std::optional<std::size_t> target) override {
    if (target && columns[*target].type != dataset_info::Numeric) {
      throw std::runtime_error(file.path + ": the target " + columns[*target].name +
                               " is categorical; a target is numeric");
    }
    if (target) columns[*target].purpose = dataset_info::Target;
    makeRows(source.countRecords());
    const std::uint64_t most = source.countRecords();
    std::vector<double> cells(columns.size());
    while (const double* record = source.next()) {
      if (rows->size() == most) throw std::runtime_error(file.path + " was changed while it was read");
      const double number = record[keyPlace];
      checkKey(number);
      std::copy(record, record + keyPlace, cells.begin());
      std::copy(record + keyPlace + 1, record + columns.size() + 1,
                cells.begin() + static_cast<std::ptrdiff_t>(keyPlace));
      const std::uint32_t earlier = rows->add(number, cells);
      if (earlier == KeyedRows::NoRow) continue;
      throw std::runtime_error(source.place() + ": the key " + numberText(number) +
                               " is there a second time, first in row " + std::to_string(earlier + 1));
    }
    for (const dataset_info::Column& column : source.getColumns()) {
      if (column.purpose != dataset_info::Target || column.name == keyName || target) continue;
      const std::string name = newName(column.name);
      remarks.push_back(file.path + ": the target " + column.name + " is explanatory in the result; --target " + name +
                        " makes it the target");
    }
  }

  void addLabels(QUVENTableLabels& labels) const override {
    for (const dataset_info::Column& column : source.getColumns()) {
      const QUVENTableLabels::Column* found = source.getLabels().findColumn(column.name);
      if (found == nullptr || column.name == keyName) continue;
      for (const auto& [code, label] : found->labels) static_cast<void>(labels.add(newName(column.name), code, label));
    }
  }

 private:
  void refuseOtherType() const {
    const bool isCategorical = source.getColumns()[keyPlace].type == dataset_info::Categorical;
    if (isCategorical == key.isCategorical) return;
    throw std::runtime_error("column " + key.name + " is " + (isCategorical ? "categorical" : "numeric") + " in " +
                             file.path + " and " + (isCategorical ? "numeric" : "categorical") + " in " + key.base);
  }

  void checkKey(double number) const {
    if (!isKey(number)) {
      throw std::runtime_error(source.place() + ": " + numberText(number) + " of column " + keyName +
                               " is no key; a key must be a whole number below 2^53");
    }
    if (!key.isCategorical) return;
    const std::string* label = source.getLabels().find(keyName, number);
    if (label == nullptr && number >= FirstHashedCode) {
      throw std::runtime_error(source.place() + ": the key " + numberText(number) + " has no label");
    }
    if (label == nullptr || key.labels == nullptr) return;
    const auto other = key.labels->labels.find(static_cast<std::uint64_t>(number));
    if (other == key.labels->labels.end() || other->second == *label) return;
    throw std::runtime_error(source.place() + ": the code " + numberText(number) + " of column " + keyName + " means " +
                             shownText(*label) + ", and " + shownText(other->second) + " in " + key.base);
  }

  TableSource source;
  std::size_t keyPlace = 0;
};

}  // namespace

std::unique_ptr<RightSide> RightSide::open(const RightFile& file, const JoinKey& key) {
  if (file.path.ends_with(".csv") || descriptionPathOf(file.path).empty()) return std::make_unique<CsvSide>(file, key);
  return std::make_unique<TableSide>(file, key);
}

void RightSide::makeRows(std::uint64_t count) {
  if (count == 0) throw std::runtime_error(file.path + " has no rows");
  if (count >= KeyedRows::NoRow) {
    throw std::runtime_error(file.path + " has more than " + std::to_string(KeyedRows::NoRow - 1) + " rows");
  }
  rows.emplace(columns.size(), count);
}

}  // namespace vesk
