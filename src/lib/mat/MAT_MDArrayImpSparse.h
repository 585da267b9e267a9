#ifndef MAT_MD_ARRAY_IMP_SPARSE_H
#define MAT_MD_ARRAY_IMP_SPARSE_H

#include <cstdlib>
#include <iostream>
#include <map>

#include "mat/MAT_MDArrayImp.h"

/// Sparse storage: what is not stored has the default value.
template <class T>
class MDArrayImpSparse : public MDArrayImp<T> {
 public:
  T getDefault() const override { return defaultValue; }

 protected:
  MDArrayImpSparse(DimensionSizes sizes, T valueOfRest) : MDArrayImp<T>(std::move(sizes)), defaultValue(valueOfRest) {}

  T defaultValue;
};

/// Sparse storage in an ordered map from linear position to value. No entry has the default value.
template <class T>
class MDArrayImpMap : public MDArrayImpSparse<T> {
 public:
  static constexpr std::uint32_t Form = 2;

  MDArrayImpMap(DimensionSizes sizes, T valueOfRest) : MDArrayImpSparse<T>(std::move(sizes), valueOfRest) {}
  MDArrayImpMap(DimensionSizes sizes, MAT_PortableReader& reader);

  typename MDArrayImp<T>::Owner clone() const override { return std::make_unique<MDArrayImpMap>(*this); }

  T get(std::uint64_t position) const override {
    const auto entry = entries.find(position);
    return entry == entries.end() ? defaultValue : entry->second;
  }
  /// A value that the element has already changes nothing.
  void set(std::uint64_t position, T value) override;
  T sum() const override;
  void add(T scalar) override {
    changeEach([scalar](T element) { return element + scalar; });
  }
  void add(const MDArrayImp<T>& other) override {
    combine(other, [](T a, T b) { return a + b; });
  }
  void multiply(T scalar) override {
    changeEach([scalar](T element) { return element * scalar; });
  }
  void multiply(const MDArrayImp<T>& other) override {
    combine(other, [](T a, T b) { return a * b; });
  }
  typename MDArrayImp<T>::Owner slice(std::uint32_t dimension, std::uint32_t index) const override;
  /// Both know the value 0.0 alone, and take what is not stored for it, whatever the default value is.
  /// Errors: any other value prints "Error: need to replace __gnu_cxx" and ends the process with status 1.
  std::uint64_t count(T value) const override;
  std::vector<std::uint64_t> find(T value) const override;
  void visit(const typename MDArrayImp<T>::Visitor& visitor) const override {
    for (const auto& [position, value] : entries) visitor(position, value);
  }

  std::uint32_t getForm() const override { return Form; }
  /// The default value, the count of entries, and each entry: position and value. Counts and positions are two
  /// integers, the upper half first.
  void saveElements(MAT_PortableWriter& writer) const override;

 private:
  using MDArrayImpSparse<T>::defaultValue;

  template <class Change>
  void changeEach(Change change) {
    for (auto& [position, value] : entries) value = change(value);
    defaultValue = change(defaultValue);
    dropDefaults();
  }
  template <class Operation>
  void combine(const MDArrayImp<T>& other, Operation operation);
  void dropDefaults() {
    std::erase_if(entries, [this](const auto& entry) { return entry.second == defaultValue; });
  }
  static void checkSearched(T value);

  std::map<std::uint64_t, T> entries;
};

template <class T>
MDArrayImpMap<T>::MDArrayImpMap(DimensionSizes sizes, MAT_PortableReader& reader)
    : MDArrayImpSparse<T>(std::move(sizes), T()) {
  const auto readLong = [&reader] {
    const std::uint64_t upper = reader.readInteger();
    return upper << 32U | reader.readInteger();
  };
  reader.read(defaultValue);
  std::uint64_t lowest = 0;
  for (std::uint64_t left = readLong(); left > 0; --left) {
    const std::uint64_t position = readLong();
    T value = T();
    reader.read(value);
    if (position < lowest || position >= this->getDimensionSizes().getNumElements()) {
      MAT_PortableReader::refuse("an entry out of its place");
    }
    if (value == defaultValue) MAT_PortableReader::refuse("an entry of the default value");
    entries.emplace_hint(entries.end(), position, value);
    lowest = position + 1;
  }
}

template <class T>
void MDArrayImpMap<T>::set(std::uint64_t position, T value) {
  const auto entry = entries.lower_bound(position);
  const bool isStored = entry != entries.end() && entry->first == position;
  if (value == (isStored ? entry->second : defaultValue)) return;
  if (!isStored) {
    entries.emplace_hint(entry, position, value);
  } else if (value == defaultValue) {
    entries.erase(entry);
  } else {
    entry->second = value;
  }
}

template <class T>
T MDArrayImpMap<T>::sum() const {
  T total = T();
  for (const auto& [position, value] : entries) total += value;
  if (const std::uint64_t rest = this->getDimensionSizes().getNumElements() - entries.size(); rest > 0) {
    total += static_cast<T>(rest) * defaultValue;
  }
  return total;
}

template <class T>
typename MDArrayImp<T>::Owner MDArrayImpMap<T>::slice(std::uint32_t dimension, std::uint32_t index) const {
  const std::uint64_t stride = this->getDimensionSizes().getStride(dimension);
  const std::uint64_t size = this->getDimensionSizes()[dimension];
  auto result = std::make_unique<MDArrayImpMap>(this->sizesWithout(dimension), defaultValue);
  for (const auto& [position, value] : entries) {
    const std::uint64_t run = position / stride;
    if (run % size != index) continue;
    result->entries.emplace_hint(result->entries.end(), run / size * stride + position % stride, value);
  }
  return result;
}

template <class T>
void MDArrayImpMap<T>::checkSearched(T value) {
  if (value == T()) return;
  std::cout << "Error: need to replace __gnu_cxx" << std::endl;
  std::exit(1);
}

template <class T>
std::uint64_t MDArrayImpMap<T>::count(T value) const {
  checkSearched(value);
  return this->getDimensionSizes().getNumElements() - entries.size();
}

template <class T>
std::vector<std::uint64_t> MDArrayImpMap<T>::find(T value) const {
  checkSearched(value);
  std::vector<std::uint64_t> positions;
  auto entry = entries.begin();
  for (std::uint64_t position = 0; position < this->getDimensionSizes().getNumElements(); ++position) {
    if (entry != entries.end() && entry->first == position) {
      ++entry;
    } else {
      positions.push_back(position);
    }
  }
  return positions;
}

template <class T>
void MDArrayImpMap<T>::saveElements(MAT_PortableWriter& writer) const {
  const auto writeLong = [&writer](std::uint64_t value) {
    writer.write(static_cast<std::uint32_t>(value >> 32U));
    writer.write(static_cast<std::uint32_t>(value));
  };
  writer.write(defaultValue);
  writeLong(entries.size());
  for (const auto& [position, value] : entries) {
    writeLong(position);
    writer.write(value);
  }
}

template <class T>
template <class Operation>
void MDArrayImpMap<T>::combine(const MDArrayImp<T>& other, Operation operation) {
  std::map<std::uint64_t, T> combined;
  for (const auto& [position, value] : entries) {
    combined.emplace_hint(combined.end(), position, operation(value, other.get(position)));
  }
  other.visit([&](std::uint64_t position, T value) {
    if (!entries.contains(position)) combined.emplace(position, operation(defaultValue, value));
  });
  defaultValue = operation(defaultValue, other.getDefault());
  entries = std::move(combined);
  dropDefaults();
}

#endif  // MAT_MD_ARRAY_IMP_SPARSE_H
