#ifndef MAT_MD_ARRAY_IMP_DENSE_H
#define MAT_MD_ARRAY_IMP_DENSE_H

#include <algorithm>
#include <numeric>
#include <span>

#include "mat/MAT_MDArrayImp.h"

/// Dense storage: every element in its place of a block, which the class below provides.
template <class T>
class MDArrayImpDense : public MDArrayImp<T> {
 public:
  static constexpr std::uint32_t Form = 1;

  T get(std::uint64_t position) const override { return block()[position]; }
  void set(std::uint64_t position, T value) override { block()[position] = value; }
  T sum() const override {
    const auto elements = block();
    return std::accumulate(elements.begin(), elements.end(), T());
  }
  void add(T scalar) override {
    for (T& element : block()) element += scalar;
  }
  void add(const MDArrayImp<T>& other) override {
    const auto elements = block();
    for (std::uint64_t position = 0; position < elements.size(); ++position) elements[position] += other.get(position);
  }
  void multiply(T scalar) override {
    for (T& element : block()) element *= scalar;
  }
  void multiply(const MDArrayImp<T>& other) override {
    const auto elements = block();
    for (std::uint64_t position = 0; position < elements.size(); ++position) elements[position] *= other.get(position);
  }
  typename MDArrayImp<T>::Owner slice(std::uint32_t dimension, std::uint32_t index) const override;
  std::uint64_t count(T value) const override {
    const auto elements = block();
    return static_cast<std::uint64_t>(std::count(elements.begin(), elements.end(), value));
  }
  std::vector<std::uint64_t> find(T value) const override {
    std::vector<std::uint64_t> positions;
    visit([&](std::uint64_t position, T element) {
      if (element == value) positions.push_back(position);
    });
    return positions;
  }
  void visit(const typename MDArrayImp<T>::Visitor& visitor) const override {
    const auto elements = block();
    for (std::uint64_t position = 0; position < elements.size(); ++position) visitor(position, elements[position]);
  }

  std::uint32_t getForm() const override { return Form; }
  /// Every element.
  void saveElements(MAT_PortableWriter& writer) const override {
    for (const T element : block()) writer.write(element);
  }

 protected:
  using MDArrayImp<T>::MDArrayImp;
  virtual std::span<T> block() = 0;
  virtual std::span<const T> block() const = 0;
};

/// Dense storage in a contiguous block that it owns.
template <class T>
class MDArrayImpCArray : public MDArrayImpDense<T> {
 public:
  /// Requires a value for each element.
  MDArrayImpCArray(DimensionSizes sizes, std::vector<T> values)
      : MDArrayImpDense<T>(std::move(sizes)), elements(std::move(values)) {}
  MDArrayImpCArray(DimensionSizes sizes, MAT_PortableReader& reader) : MDArrayImpDense<T>(std::move(sizes)) {
    // The sizes are what the file claims: the block grows with what is there.
    for (std::uint64_t left = this->getDimensionSizes().getNumElements(); left > 0; --left) {
      reader.read(elements.emplace_back());
    }
  }

  typename MDArrayImp<T>::Owner clone() const override { return std::make_unique<MDArrayImpCArray>(*this); }

 protected:
  std::span<T> block() override { return elements; }
  std::span<const T> block() const override { return elements; }

 private:
  std::vector<T> elements;
};

template <class T>
typename MDArrayImp<T>::Owner MDArrayImpDense<T>::slice(std::uint32_t dimension, std::uint32_t index) const {
  const std::uint64_t stride = this->getDimensionSizes().getStride(dimension);
  const std::uint64_t step = stride * this->getDimensionSizes()[dimension];
  const auto elements = block();
  std::vector<T> values;
  for (std::uint64_t first = index * stride; first < elements.size(); first += step) {
    const auto run = elements.subspan(first, stride);
    values.insert(values.end(), run.begin(), run.end());
  }
  return std::make_unique<MDArrayImpCArray<T>>(this->sizesWithout(dimension), std::move(values));
}

#endif  // MAT_MD_ARRAY_IMP_DENSE_H
