#include "export/exported_files.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "control/quven_file_formats.h"
#include "control/quven_partition.h"
#include "export/sparse_rows.h"
#include "files/card_files.h"
#include "table/dataset_files.h"

namespace vesk {

namespace {

using vesk_files::DatasetKind;

constexpr std::string_view payloadMark = "_payload_";

bool exists(const std::string& path) {
  std::error_code unknown;  // opening the file reports it
  return std::filesystem::exists(path, unknown);
}

/// The name of a payload file: that of its dataset, and the ending from "_payload_".
struct PayloadName {
  std::string dataset;
  std::string ending;
};

std::optional<PayloadName> payloadNameOf(const std::string& name) {
  const std::size_t slash = name.find_last_of('/') + 1;
  const std::size_t mark = name.rfind(payloadMark);
  if (mark == std::string::npos || mark <= slash) return std::nullopt;
  const std::string number = name.substr(mark + payloadMark.size());
  if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  return PayloadName{name.substr(0, mark), name.substr(mark)};
}

/// The payload file, or those of the parts in their order.
std::vector<std::string> payloadFiles(const std::string& name, const PayloadName& payload) {
  if (exists(name)) return {name};
  std::vector<std::string> files;
  std::string missing;
  for (std::int32_t part = 0; part < largestPartitionCount; ++part) {
    const std::string path = payload.dataset + "." + std::to_string(part) + payload.ending;
    if (!exists(path)) {
      if (missing.empty()) missing = path;
      continue;
    }
    if (!missing.empty()) throw std::runtime_error(missing + ": a part of the dataset is missing");
    files.push_back(path);
  }
  return files.empty() ? std::vector{name} : files;
}

bool isOfSparseForm(const std::vector<dataset_info::Column>& columns) {
  return columns.size() == sparse_format::columns && columns.front().purpose == dataset_info::LineNumber;
}

/// Compares the dataset with its card. The result is the kind on the card; nothing without a card.
std::optional<DatasetKind> kindOnCard(const std::string& dataset, bool verifies, std::vector<std::string>& inputs) {
  const std::string path = vesk_files::cardPath(dataset);
  const auto text = vesk_files::readCardText(path);
  if (!text) return std::nullopt;
  inputs.push_back(path);
  const vesk_files::DatasetCard card = vesk_files::readCard(*text, path);
  const auto check = verifies ? vesk_files::CardCheck::Hashes : vesk_files::CardCheck::Sizes;
  if (const auto mismatch = vesk_files::compareWithCard(dataset, card, check)) {
    throw std::runtime_error(mismatch->file + ": " + mismatch->text);
  }
  return card.kind;
}

/// Reads the description of the dataset, and checks that those of the parts are the same.
void readColumns(const std::string& dataset, ExportedFiles& files) {
  const std::string path = descriptionPathOf(dataset);
  if (path.empty()) throw std::runtime_error(dataset + " has no description " + dataset + ".info");
  files.columns = readDescription(path);
  files.inputs.push_back(path);
  if (files.columns.empty()) throw std::runtime_error(path + " has no columns");
  for (const std::string& part : files.parts) {
    const std::string own = part + ".info";
    if (own == path || !exists(own)) continue;
    files.inputs.push_back(own);
    if (readDescription(own) == files.columns) continue;
    throw std::runtime_error(own + ": the columns are not those of " + path + "; export the parts one by one");
  }
}

void readLabels(const std::string& dataset, ExportedFiles& files) {
  const std::string path = QUVENTableLabels::pathOf(dataset);
  if (!exists(path)) return;
  files.inputs.push_back(path);
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path + ": " + std::generic_category().message(errno));
  if (const std::string mistake = files.labels.readFrom(file); !mistake.empty()) {
    throw std::runtime_error(path + ": " + mistake);
  }
}

ExportKind kindOf(DatasetKind kind) {
  switch (kind) {
    case DatasetKind::TableSorted:
    case DatasetKind::TableUnsorted:
      return ExportKind::Table;
    case DatasetKind::PairSum:
      return ExportKind::PairSum;
    case DatasetKind::Sums:
      return ExportKind::Sums;
    case DatasetKind::Payload:
      return ExportKind::Payload;
    case DatasetKind::Dense:
      break;
  }
  return ExportKind::Dense;
}

/// What the rows of a sparse dataset tell. The first part that has rows decides.
ExportKind kindOfRows(const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    const auto form = findSparseForm(part);
    if (!form) continue;
    if (*form == SparseForm::Pairs) return ExportKind::PairSum;
    return hasEntryAtWidth(part) ? ExportKind::Table : ExportKind::Sums;
  }
  return ExportKind::Sums;
}

}  // namespace

ExportedFiles findExportedFiles(const std::string& dataset, bool verifies) {
  ExportedFiles files;
  const auto card = kindOnCard(dataset, verifies, files.inputs);
  const auto payload = payloadNameOf(dataset);
  // A table may have such a name; then it has a description.
  const bool isPayload = payload && !exists(dataset + ".info");
  files.parts = isPayload ? payloadFiles(dataset, *payload) : datasetFilesOf(dataset);
  for (const std::string& part : files.parts) {
    if (!exists(part)) throw std::runtime_error(part + ": there is no such dataset");
    files.inputs.push_back(part);
  }
  readColumns(isPayload ? payload->dataset : dataset, files);
  files.isSparse = isOfSparseForm(files.columns);
  const bool isDenseOnCard = card && *card == DatasetKind::Dense;
  if (card && *card != DatasetKind::Payload && isDenseOnCard == files.isSparse) {
    throw std::runtime_error(dataset + ": the description does not fit the card, which says " +
                             std::string(vesk_files::nameOf(*card)));
  }
  if (files.isSparse) {
    files.kind = card ? kindOf(*card) : isPayload ? ExportKind::Payload : kindOfRows(files.parts);
    files.columns.clear();
  } else {
    readLabels(dataset, files);
  }
  return files;
}

}  // namespace vesk
