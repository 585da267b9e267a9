#ifndef QUVEN_OUTPUT_CACHE_H
#define QUVEN_OUTPUT_CACHE_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/quven_field.h"

/// Keeps computed outputs of finished models per record, so that a later pass sets them without scoring the models.
///
/// An output is known by the name of its field. Its values are taken in the first pass in which it is final, and are
/// set before each record of the later passes, until it is no longer given as final or its field no longer exists. The
/// bits of a value are kept, also that a record has no value or a missing one.
///
/// Shapes:   an output takes C doubles and one byte for each record of this rank, C being the number of channels.
/// Requires: the records of this rank are one range of record numbers, and the same in every pass. The first pass tells
///           the range, so nothing is kept in it; another range empties the cache.
/// Memory:   not charged to the environment. What a model decides by the memory in use would otherwise depend on the
///           number of ranks.
class QUVENOutputCache {
 public:
  using Fields = std::vector<QUVENField*>;

  /// bytes: the most that the outputs take on this rank; 0 keeps nothing.
  QUVENOutputCache(std::int64_t bytes, std::int32_t channels) : mostBytes(bytes), numChannels(channels) {}

  bool isUsed() const { return mostBytes > 0; }
  std::int64_t getBytes() const { return static_cast<std::int64_t>(outputs.size()) * bytesOfOutput(); }
  /// Whether an output is complete.
  bool has(std::string_view name) const;

  /// Drops all outputs.
  void clear() { outputs.clear(); }
  /// Drops the outputs that are not final any more, and makes room for the new ones in their order, as long as there is
  /// room.
  void beginPass(const Fields& finalOutputs);
  /// The new outputs are complete if all records of the rank were seen.
  void endPass();

 private:
  friend class QUVENCachedOutputs;

  enum class Content : std::uint8_t { None, Missing, Single, Channels };
  struct Output {
    bool isComplete = false;
    bool hasContent = false;        // of any record
    bool isKept = true;             // false when a record has values of some channels only
    std::vector<Content> contents;  // index = record of this rank, from 0
    std::vector<double> values;     // record by record, the channels side by side
  };
  using Outputs = std::map<std::string, Output, std::less<>>;

  std::int64_t bytesOfOutput() const {
    return numRecords * (static_cast<std::int64_t>(numChannels * sizeof(double)) + 1);
  }
  void noteRecord(std::int64_t recordNumber);
  bool isRecord(std::int64_t recordNumber) const {
    return firstRecord <= recordNumber && recordNumber < firstRecord + numRecords;
  }
  void restore(QUVENField& field, const Output& output, std::size_t record, const QUVENEnvHandle& env) const;
  void store(const QUVENField& field, Output& output, std::size_t record) const;

  std::int64_t mostBytes;
  std::int32_t numChannels;
  Outputs outputs;
  std::int64_t firstRecord = 0;  // the range that the last pass has told
  std::int64_t numRecords = 0;
  std::int64_t firstSeen = 0;  // in the present pass
  std::int64_t numSeen = 0;
  bool isOneRange = true;
};

/// The outputs of a cache in one world, for the records of a pass.
class QUVENCachedOutputs {
 public:
  QUVENCachedOutputs() = default;
  /// The fields of the world that are final. Requires: the cache has begun the pass, and outlives this.
  QUVENCachedOutputs(QUVENOutputCache& outputCache, const QUVENOutputCache::Fields& finalOutputs);

  /// Sets the outputs of a record that are known. Requires: result fields were cleared.
  void restore(std::int64_t recordNumber, const QUVENEnvHandle& env) const {
    if (!known.empty()) restoreKnown(recordNumber, env);
  }
  /// Keeps those outputs of a record that are not known yet.
  void store(std::int64_t recordNumber) const {
    if (cache != nullptr) storeNew(recordNumber);
  }

 private:
  struct Bound {
    QUVENField* field;
    QUVENOutputCache::Output* output;
  };

  void restoreKnown(std::int64_t recordNumber, const QUVENEnvHandle& env) const;
  void storeNew(std::int64_t recordNumber) const;

  QUVENOutputCache* cache = nullptr;
  std::vector<Bound> known;
  std::vector<Bound> fresh;
};

#endif  // QUVEN_OUTPUT_CACHE_H
