#include "passes/quven_output_cache.h"

#include <algorithm>
#include <span>

// Between passes

bool QUVENOutputCache::has(std::string_view name) const {
  const auto found = outputs.find(name);
  return found != outputs.end() && found->second.isComplete;
}

void QUVENOutputCache::beginPass(const Fields& finalOutputs) {
  std::erase_if(outputs, [&](const auto& entry) {
    return std::none_of(finalOutputs.begin(), finalOutputs.end(),
                        [&](const QUVENField* field) { return field->getName() == entry.first; });
  });
  firstSeen = numSeen = 0;
  isOneRange = true;
  if (!isUsed() || numRecords == 0) return;
  for (const QUVENField* field : finalOutputs) {
    // Only a computed field is cleared before each record, so that a restored value is not one of another record.
    if (!field->isNumeric() || !field->isComputed() || outputs.contains(field->getName().str())) continue;
    if (getBytes() + bytesOfOutput() > mostBytes) return;
    Output& output = outputs[std::string(field->getName().str())];
    output.contents.resize(static_cast<std::size_t>(numRecords), Content::None);
    output.values.resize(static_cast<std::size_t>(numRecords * numChannels));
  }
}

void QUVENOutputCache::endPass() {
  const bool isSameRange = isOneRange && firstSeen == firstRecord && numSeen == numRecords;
  if (numSeen > 0 && !isSameRange) {
    outputs.clear();
    firstRecord = isOneRange ? firstSeen : 0;
    numRecords = isOneRange ? numSeen : 0;
    return;
  }
  for (auto& [name, output] : outputs) {
    output.isComplete = output.isComplete || (numSeen > 0 && output.hasContent && output.isKept);
  }
  std::erase_if(outputs, [](const auto& entry) { return !entry.second.isComplete; });
}

// Records

void QUVENOutputCache::noteRecord(std::int64_t recordNumber) {
  if (numSeen == 0) firstSeen = recordNumber;
  isOneRange = isOneRange && recordNumber == firstSeen + numSeen;
  ++numSeen;
}

void QUVENOutputCache::restore(QUVENField& field, const Output& output, std::size_t record,
                               const QUVENEnvHandle& env) const {
  const auto channels = static_cast<std::size_t>(numChannels);
  const std::span<const double> values(output.values.data() + record * channels, channels);
  switch (output.contents[record]) {
    case Content::None:
      return;
    case Content::Missing:
      return field.setMissing();
    case Content::Single:
      return field.setNumValue(values.front());
    case Content::Channels:
      return field.setNumValuesOfChannels(values, QUVEN_ENV);
  }
}

void QUVENOutputCache::store(const QUVENField& field, Output& output, std::size_t record) const {
  if (!field.hasValue()) return;
  output.hasContent = true;
  Content& content = output.contents[record];
  if (field.isMissing()) {
    content = Content::Missing;
    return;
  }
  const long count = field.getNumValues();
  output.isKept = output.isKept && (count == 0 || count == numChannels);
  content = count == 0 ? Content::Single : Content::Channels;
  double* const place = output.values.data() + record * static_cast<std::size_t>(numChannels);
  const double* const values = field.getNumValuesOrSingle(numChannels, place);
  if (values != place) std::copy_n(values, numChannels, place);
}

QUVENCachedOutputs::QUVENCachedOutputs(QUVENOutputCache& outputCache, const QUVENOutputCache::Fields& finalOutputs)
    : cache(&outputCache) {
  for (QUVENField* field : finalOutputs) {
    const auto found = cache->outputs.find(field->getName().str());
    if (found == cache->outputs.end()) continue;
    (found->second.isComplete ? known : fresh).push_back({field, &found->second});
  }
}

void QUVENCachedOutputs::restoreKnown(std::int64_t recordNumber, const QUVENEnvHandle& env) const {
  if (!cache->isRecord(recordNumber)) return;
  const auto record = static_cast<std::size_t>(recordNumber - cache->firstRecord);
  for (const Bound& bound : known) cache->restore(*bound.field, *bound.output, record, QUVEN_ENV);
}

void QUVENCachedOutputs::storeNew(std::int64_t recordNumber) const {
  cache->noteRecord(recordNumber);
  if (!cache->isRecord(recordNumber)) return;
  const auto record = static_cast<std::size_t>(recordNumber - cache->firstRecord);
  for (const Bound& bound : fresh) cache->store(*bound.field, *bound.output, record);
}
