#ifndef MAT_POSITIVE_ARRAY_H
#define MAT_POSITIVE_ARRAY_H

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "mat/MAT_Printable.h"
#include "mat/MAT_Saveable.h"

/// Array of unsigned 32-bit integers. Prints as "[ ]" when empty, else as "[ 1, 2, 3 ]".
class PositiveArrayBase : public virtual Printable, public virtual Saveable {
 public:
  std::uint32_t getSize() const { return static_cast<std::uint32_t>(elements.size()); }
  std::span<const std::uint32_t> getElements() const { return elements; }
  void print(std::ostream& out) const override;
  /// The size and the elements.
  void save(MAT_PortableWriter& writer) const override;
  void load(MAT_PortableReader& reader) override;
  friend bool operator==(const PositiveArrayBase& a, const PositiveArrayBase& b) { return a.elements == b.elements; }

 protected:
  PositiveArrayBase() = default;
  explicit PositiveArrayBase(std::vector<std::uint32_t> values) : elements(std::move(values)) {}

  std::vector<std::uint32_t> elements;
};

/// The same with element access.
class PositiveArray : public PositiveArrayBase {
 public:
  PositiveArray() = default;
  PositiveArray(std::initializer_list<std::uint32_t> values) : PositiveArrayBase(values) {}
  explicit PositiveArray(std::vector<std::uint32_t> values) : PositiveArrayBase(std::move(values)) {}

  /// Requires i < getSize().
  std::uint32_t operator[](std::size_t i) const { return elements[i]; }
  std::uint32_t& operator[](std::size_t i) { return elements[i]; }
  void append(std::uint32_t value) { elements.push_back(value); }
};

/// A list of dimension numbers, from 0.
class Dimensions : public PositiveArray {
 public:
  using PositiveArray::PositiveArray;
};

/// A position in an array: one index per dimension, from 0.
class Indexes : public PositiveArray {
 public:
  using PositiveArray::PositiveArray;
};

#endif  // MAT_POSITIVE_ARRAY_H
