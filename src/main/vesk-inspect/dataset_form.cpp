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

/// The purpose of a column, from a line "name type purpose".
std::string purposeOf(const std::string& line, const std::string& path, std::uint32_t number) {
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
  return purpose;
}

/// Nothing when there is no such file.
std::optional<DatasetShape> readDescription(const std::string& path) {
  errno = 0;
  std::ifstream file(path);
  if (!file) {
    if (errno == ENOENT) return std::nullopt;
    throw std::runtime_error("cannot open " + path + ": " + std::generic_category().message(errno));
  }
  std::uint32_t columns = 0;
  bool lineNumberFirst = false;
  for (std::string line; std::getline(file, line);) {
    const std::string purpose = purposeOf(line, path, ++columns);
    if (columns == 1) lineNumberFirst = purpose == "LineNumber";
  }
  if (file.bad()) throw std::runtime_error("cannot read " + path);
  if (columns == 0) throw std::runtime_error(path + " has no columns");
  if (lineNumberFirst && columns != tripleColumns) {
    throw std::runtime_error(path + " describes a sparse dataset of " + std::to_string(columns) +
                             " columns; it has three");
  }
  return DatasetShape{lineNumberFirst ? DatasetForm::Sparse : DatasetForm::Dense, columns, path};
}

DatasetShape shapeOf(DatasetForm form, std::optional<std::uint32_t> columns, const std::string& source) {
  if (form == DatasetForm::Dense) {
    if (!columns) throw std::runtime_error("the dense form needs the number of columns (--columns)");
    return {form, *columns, source};
  }
  if (columns.value_or(tripleColumns) != tripleColumns) {
    throw std::runtime_error("the sparse form has three columns");
  }
  return {form, tripleColumns, source};
}

}  // namespace

DatasetShape findDatasetShape(const std::string& path, std::optional<DatasetForm> form,
                              std::optional<std::uint32_t> columns) {
  const std::string infoPath = path + ".info";
  if (form && (columns || *form == DatasetForm::Sparse)) return shapeOf(*form, columns, "as given");
  if (columns) return shapeOf(DatasetForm::Dense, columns, "as given");
  const std::optional<DatasetShape> described = readDescription(infoPath);
  if (form) return shapeOf(*form, described ? std::optional(described->columns) : std::nullopt, infoPath);
  if (described) return *described;
  return shapeOf(DatasetForm::Sparse, std::nullopt, "no " + infoPath + ", so assumed");
}

}  // namespace vesk_inspect
