#include "dataset_form.h"

#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "control/quven_file_formats.h"

namespace vesk_inspect {

namespace {

constexpr std::uint32_t tripleColumns = sparse_format::columns;

[[noreturn]] void failLine(const std::string& path, std::uint32_t line, const std::string& text) {
  throw std::runtime_error(path + ", line " + std::to_string(line) + ": " + text);
}

/// A column from a line "name type purpose".
dataset_info::Column columnOf(const std::string& line, const std::string& path, std::uint32_t number) {
  std::istringstream words(line);
  std::string name;
  std::string type;
  std::string purpose;
  std::string rest;
  if (!(words >> name >> type >> purpose) || words >> rest) failLine(path, number, "not three words");
  if (type != "Numeric" && type != "Categorical") failLine(path, number, "unknown type '" + type + "'");
  if (purpose != "Explanatory" && purpose != "Target" && purpose != "LineNumber") {
    failLine(path, number, "unknown purpose '" + purpose + "'");
  }
  return {name, type == "Numeric" ? dataset_info::Numeric : dataset_info::Categorical,
          purpose == "Explanatory" ? dataset_info::Explanatory
          : purpose == "Target"    ? dataset_info::Target
                                   : dataset_info::LineNumber};
}

/// Nothing when there is no such file.
std::optional<DatasetShape> readDescription(const std::string& path) {
  errno = 0;
  std::ifstream file(path);
  if (!file) {
    if (errno == ENOENT) return std::nullopt;
    throw std::runtime_error("cannot open " + path + ": " + std::generic_category().message(errno));
  }
  std::vector<dataset_info::Column> description;
  for (std::string line; std::getline(file, line);) {
    description.push_back(columnOf(line, path, static_cast<std::uint32_t>(description.size() + 1)));
  }
  if (file.bad()) throw std::runtime_error("cannot read " + path);
  const std::uint32_t columns = static_cast<std::uint32_t>(description.size());
  if (columns == 0) throw std::runtime_error(path + " has no columns");
  const bool lineNumberFirst = description.front().purpose == dataset_info::LineNumber;
  if (lineNumberFirst && columns != tripleColumns) {
    throw std::runtime_error(path + " describes a sparse dataset of " + std::to_string(columns) +
                             " columns; it has three");
  }
  return DatasetShape{lineNumberFirst ? DatasetForm::Sparse : DatasetForm::Dense, columns, path, description};
}

DatasetShape shapeOf(DatasetForm form, std::optional<std::uint32_t> columns, const std::string& source) {
  if (form == DatasetForm::Dense) {
    if (!columns) throw std::runtime_error("the dense form needs the number of columns (--columns)");
    return {form, *columns, source, {}};
  }
  if (columns.value_or(tripleColumns) != tripleColumns) {
    throw std::runtime_error("the sparse form has three columns");
  }
  return {form, tripleColumns, source, {}};
}

}  // namespace

DatasetShape findDatasetShape(const std::string& path, std::optional<DatasetForm> form,
                              std::optional<std::uint32_t> columns) {
  const std::string infoPath = path + ".info";
  if (form && (columns || *form == DatasetForm::Sparse)) return shapeOf(*form, columns, "as given");
  if (columns) return shapeOf(DatasetForm::Dense, columns, "as given");
  const std::optional<DatasetShape> described = readDescription(infoPath);
  if (form) {
    DatasetShape shape = shapeOf(*form, described ? std::optional(described->columns) : std::nullopt, infoPath);
    if (described) shape.description = described->description;
    return shape;
  }
  if (described) return *described;
  return shapeOf(DatasetForm::Sparse, std::nullopt, "no " + infoPath + ", so assumed");
}

}  // namespace vesk_inspect
