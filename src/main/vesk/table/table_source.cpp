#include "table/table_source.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <system_error>

#include "control/quven_file_formats.h"
#include "table/column_names.h"
#include "table/dataset_files.h"

namespace vesk {

namespace {

/// Whether this is the description that the loader writes for a sparse dataset.
bool isOfSparseDataset(const std::vector<dataset_info::Column>& columns) {
  return columns.size() == sparse_format::columns && columns.front().name == "Col1" &&
         columns.front().purpose == dataset_info::LineNumber;
}

void refuseColumns(const std::string& path, const std::vector<dataset_info::Column>& columns) {
  if (columns.empty()) throw std::runtime_error(path + " has no columns");
  if (isOfSparseDataset(columns)) {
    throw std::runtime_error(path + " describes a sparse dataset, not a table; vesk table rows makes a table of sums");
  }
  if (columns.size() > MostColumns) {
    throw std::runtime_error(path + " has more than " + std::to_string(MostColumns) + " columns");
  }
  std::set<std::string> names;
  for (const dataset_info::Column& column : columns) {
    if (!names.insert(column.name).second) throw std::runtime_error(path + " has two columns " + column.name);
  }
}

}  // namespace

TableSource::TableSource(const std::string& tableName) : name(tableName), parts(datasetFilesOf(tableName)) {
  const std::string description = descriptionPathOf(name);
  if (description.empty()) throw std::runtime_error(name + " has no description " + name + ".info");
  columns = readDescription(description);
  refuseColumns(description, columns);
  files = parts;
  files.push_back(description);
  const std::string labelsPath = QUVENTableLabels::pathOf(name);
  std::error_code unknown;  // a file that exists but cannot be read is reported below
  if (std::filesystem::status(labelsPath, unknown).type() == std::filesystem::file_type::not_found) return;
  files.push_back(labelsPath);
  std::ifstream file(labelsPath, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + labelsPath + ": " + std::generic_category().message(errno));
  if (const std::string mistake = labels.readFrom(file); !mistake.empty()) {
    throw std::runtime_error(labelsPath + ": " + mistake);
  }
}

std::optional<std::size_t> TableSource::findColumn(const std::string& columnName) const {
  const auto found = std::ranges::find(columns, columnName, &dataset_info::Column::name);
  if (found == columns.end()) return std::nullopt;
  return static_cast<std::size_t>(found - columns.begin());
}

std::uint64_t TableSource::countRecords() const {
  std::uint64_t records = 0;
  for (const std::string& path : parts) {
    std::error_code unknown;
    const std::uintmax_t bytes = std::filesystem::file_size(path, unknown);
    if (!unknown) records += bytes / (columns.size() * sizeof(double));
  }
  return records;
}

const double* TableSource::next() {
  while (true) {
    if (part != nullptr) {
      if (const double* record = part->next()) return record;
      part.reset();
    }
    if (nextPart == parts.size()) return nullptr;
    part = std::make_unique<RecordFile>(parts[nextPart++], columns.size(), "record");
  }
}

std::string TableSource::place() const { return part->getPath() + ", record " + std::to_string(part->getNumber()); }

}  // namespace vesk
