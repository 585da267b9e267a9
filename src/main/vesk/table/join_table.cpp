#include "table/join_table.h"

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

#include "control/quven_file_formats.h"
#include "table/cell_value.h"
#include "table/column_names.h"
#include "table/key_value.h"
#include "table/table_files.h"
#include "table/table_source.h"

namespace vesk {

namespace {

/// A right side during the pass over the base table.
class Partner {
 public:
  explicit Partner(std::unique_ptr<RightSide> rightSide) : side(std::move(rightSide)) {}

  RightSide& getSide() { return *side; }
  const RightSide& getSide() const { return *side; }
  void startPass() { isInBase.assign(side->getRows().size(), false); }

  /// Copies the cells of a key, or missing values. Returns whether this is the first record with the key.
  bool takeCells(double key, std::span<double> cells) {
    const std::uint32_t row = side->getRows().find(key);
    if (row == KeyedRows::NoRow) {
      std::ranges::fill(cells, dataset_format::missingValue);
      ++recordsWithoutPartner;
      return false;
    }
    std::ranges::copy(side->getRows().cellsOf(row), cells.begin());
    if (isInBase[row]) return false;
    isInBase[row] = true;
    ++keysInBase;
    return true;
  }

  JoinTable::Side describe() const {
    return {side->getPath(),        side->getKeyName(), side->getColumns(),
            side->getRows().size(), keysInBase,         recordsWithoutPartner};
  }

 private:
  std::unique_ptr<RightSide> side;
  std::vector<bool> isInBase;
  std::uint64_t keysInBase = 0;
  std::uint64_t recordsWithoutPartner = 0;
};

class Join {
 public:
  explicit Join(const JoinOptions& joinOptions) : options(joinOptions), base(options.base) {
    const std::optional<std::size_t> found = base.findColumn(options.key);
    if (!found) throw std::runtime_error(options.base + " has no column " + options.key);
    keyPlace = *found;
    const bool isCategorical = base.getColumns()[keyPlace].type == dataset_info::Categorical;
    const JoinKey key{options.base, options.key, isCategorical, base.getLabels().findColumn(options.key)};
    isCategoricalKey = isCategorical;
    keyLabels = key.labels;
    for (const RightFile& file : options.with) partners.emplace_back(RightSide::open(file, key));
    refuseInputs();
    takeNames();
  }

  JoinTable run() {
    std::vector<dataset_info::Column> description = baseColumns();
    loadSides();
    TableFiles files(options.output);
    writeRecords(files);
    for (const Partner& partner : partners) refuseStranger(partner.describe());
    addBaseLabels();
    for (const Partner& partner : partners) {
      const RightSide& side = partner.getSide();
      description.insert(description.end(), side.getColumns().begin(), side.getColumns().end());
      side.addLabels(table.labels);
      table.remarks.insert(table.remarks.end(), side.getRemarks().begin(), side.getRemarks().end());
      table.sides.push_back(partner.describe());
    }
    files.complete(description, table.labels);
    table.columns = description.size();
    return std::move(table);
  }

 private:
  void refuseInputs() const {
    for (const std::string& path : base.getFiles()) TableFiles::refuseInput(options.output, path);
    for (const Partner& partner : partners) {
      for (const std::string& path : partner.getSide().getFiles()) TableFiles::refuseInput(options.output, path);
    }
  }

  /// Refuses a name that a dataset cannot have, and a name that two columns have.
  void takeNames() {
    std::map<std::string, std::string> fileOfName;
    for (const dataset_info::Column& column : base.getColumns()) fileOfName.emplace(column.name, options.base);
    for (std::size_t i = 0; i < partners.size(); ++i) {
      const std::string& path = options.with[i].path;
      for (const dataset_info::Column& column : partners[i].getSide().getColumns()) {
        if (const std::string mistake = columnNameMistake(column.name); !mistake.empty()) {
          throw std::runtime_error(path + ": the name " + shownText(column.name) + mistake);
        }
        const auto [entry, isNew] = fileOfName.emplace(column.name, path);
        if (isNew) continue;
        throw std::runtime_error(path + ": the name " + column.name + " is taken by a column of " + entry->second +
                                 "; a prefix makes another name: --with " + path + ":PREFIX");
      }
    }
    if (fileOfName.size() > MostColumns) {
      throw std::runtime_error(options.output + " would have more than " + std::to_string(MostColumns) + " columns");
    }
    if (options.target && !fileOfName.contains(*options.target)) {
      throw std::runtime_error("no column of the result has the name of the target " + *options.target);
    }
  }

  void loadSides() {
    for (Partner& partner : partners) {
      const std::vector<dataset_info::Column>& columns = partner.getSide().getColumns();
      const auto found = std::ranges::find_if(columns, [this](const auto& c) { return options.target == c.name; });
      std::optional<std::size_t> target;
      if (found != columns.end()) target = static_cast<std::size_t>(found - columns.begin());
      partner.getSide().load(target);
      partner.startPass();
    }
  }

  void writeRecords(TableFiles& files) {
    const std::size_t baseWidth = base.getColumns().size();
    std::size_t width = baseWidth;
    for (const Partner& partner : partners) width += partner.getSide().getColumns().size();
    std::vector<double> record(width);
    while (const double* values = base.next()) {
      ++table.records;
      std::copy(values, values + baseWidth, record.begin());
      const double key = values[keyPlace];
      if (key == dataset_format::missingValue) {
        ++table.missingKeys;
      } else if (!isKey(key)) {
        noteWrongKey(key);
      }
      std::span<double> rest = std::span(record).subspan(baseWidth);
      for (Partner& partner : partners) {
        const std::size_t columns = partner.getSide().getColumns().size();
        if (partner.takeCells(key, rest.first(columns)) && isCategoricalKey) checkLabel(key);
        rest = rest.subspan(columns);
      }
      files.writeRecord(record);
    }
    if (table.records == 0) throw std::runtime_error(options.base + " has no records");
    if (wrongKeys > 0) {
      table.remarks.push_back(firstWrongKey + " of column " + options.key + " is no key, the first of " +
                              std::to_string(wrongKeys) + "; a key must be a whole number below 2^53");
    }
  }

  void noteWrongKey(double key) {
    if (wrongKeys++ == 0) firstWrongKey = base.place() + ": " + numberText(key);
  }

  /// Refuses a hashed code without a label: without its text, another text with the same code would match it.
  void checkLabel(double key) const {
    if (key < FirstHashedCode) return;  // the code is the text
    if (keyLabels != nullptr && keyLabels->labels.contains(static_cast<std::uint64_t>(key))) return;
    throw std::runtime_error(base.place() + ": the key " + numberText(key) + " has no label");
  }

  void refuseStranger(const JoinTable::Side& side) const {
    if (side.keysInBase > 0) return;
    throw std::runtime_error(side.path + ": no key of column " + side.keyName + " is in column " + options.key +
                             " of " + options.base);
  }

  std::vector<dataset_info::Column> baseColumns() const {
    std::vector<dataset_info::Column> columns = base.getColumns();
    for (dataset_info::Column& column : columns) {
      if (column.name == options.target) {
        if (column.type != dataset_info::Numeric) {
          throw std::runtime_error(options.base + ": the target " + column.name +
                                   " is categorical; a target is numeric");
        }
        column.purpose = dataset_info::Target;
      } else if (options.target && column.purpose == dataset_info::Target) {
        column.purpose = dataset_info::Explanatory;
      }
    }
    return columns;
  }

  void addBaseLabels() {
    for (const dataset_info::Column& column : base.getColumns()) {
      const QUVENTableLabels::Column* found = base.getLabels().findColumn(column.name);
      if (found == nullptr) continue;
      for (const auto& [code, label] : found->labels) static_cast<void>(table.labels.add(column.name, code, label));
    }
  }

  const JoinOptions& options;
  TableSource base;
  std::size_t keyPlace = 0;
  bool isCategoricalKey = false;
  const QUVENTableLabels::Column* keyLabels = nullptr;
  std::vector<Partner> partners;
  std::uint64_t wrongKeys = 0;  // numbers in the key column of the base table that are not keys
  std::string firstWrongKey;
  JoinTable table;
};

}  // namespace

JoinTable makeJoinTable(const JoinOptions& options) { return Join(options).run(); }

}  // namespace vesk
