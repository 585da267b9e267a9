#include "day/generation_files.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vesk {

using vesk_files::CardFile;
using vesk_files::DatasetCard;
using vesk_files::DatasetKind;

namespace {

const CardFile& find(const std::vector<CardFile>& files, const std::string& name) {
  const auto found = std::find_if(files.begin(), files.end(), [&](const CardFile& file) { return file.name == name; });
  if (found == files.end()) throw std::runtime_error("the loader has not written " + name);
  return *found;
}

}  // namespace

GenerationFiles::GenerationFiles(const vesk_loader::LoaderSettings& loaderSettings, std::string outputName)
    : settings(loaderSettings), output(std::move(outputName)) {}

std::string GenerationFiles::numbered(const std::string& name, std::size_t partition) const {
  return partitions() == 1 ? name : name + "." + std::to_string(partition);
}

std::string GenerationFiles::ending() const {
  switch (settings.outputFormat) {
    case vesk_loader::OutputFormat::Binary:
      return ".bin";
    case vesk_loader::OutputFormat::XML:
      return ".xml";
    case vesk_loader::OutputFormat::CSV:
      return ".csv";
  }
  return "";
}

std::string GenerationFiles::payloadPart(std::size_t partition, std::size_t payload) const {
  return datasetPart(partition) + "_payload_" + std::to_string(payload);
}

DatasetKind GenerationFiles::kind() const {
  if (settings.sparse == 0) return DatasetKind::Dense;
  if (settings.pairSumFlag != 0) return DatasetKind::PairSum;
  if (settings.cyclicTableSize == 0) return DatasetKind::Sums;
  return settings.sortCyclicTable ? DatasetKind::TableSorted : DatasetKind::TableUnsorted;
}

std::vector<std::string> GenerationFiles::processParts() const {
  std::vector<std::string> names;
  for (std::size_t p = 0; p < partitions(); ++p) names.push_back(process(p));
  return names;
}

std::vector<std::string> GenerationFiles::all() const {
  std::vector<std::string> names = processParts();
  for (std::size_t p = 0; p < partitions(); ++p) {
    names.push_back(datasetPart(p));
    if (!isBinary()) continue;
    names.push_back(datasetPart(p) + ".info");
    for (std::size_t i = 1; i <= settings.payloadInputs.size(); ++i) names.push_back(payloadPart(p, i));
  }
  return names;
}

std::string GenerationFiles::cardName(std::size_t index) const {
  return index == 0 ? output + ".card.json" : output + ".payload_" + std::to_string(index) + ".card.json";
}

std::vector<DatasetCard> GenerationFiles::cards(const std::vector<CardFile>& files,
                                                const std::vector<PartitionCheck>& checks) const {
  std::vector<DatasetCard> cards;
  if (!isBinary()) return cards;
  for (std::size_t payload = 0; payload <= settings.payloadInputs.size(); ++payload) {
    DatasetCard card;
    card.kind = payload == 0 ? kind() : DatasetKind::Payload;
    for (std::size_t p = 0; p < partitions(); ++p) {
      card.callers += checks[p].callers;
      card.records += checks[p].records;
      card.parts.push_back(find(files, payload == 0 ? datasetPart(p) : payloadPart(p, payload)));
      if (payload == 0) card.companions.push_back(find(files, datasetPart(p) + ".info"));
    }
    cards.push_back(std::move(card));
  }
  return cards;
}

}  // namespace vesk
