#ifndef MAT_MD_ARRAY_IMP_H
#define MAT_MD_ARRAY_IMP_H

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "mat/MAT_DimensionSizes.h"

/// Root of the implementations of every element type.
class MDArrayImpBase : public Printable {};

/// What an array of many dimensions does, for a store of any form. MDArray, the handle, checks the arguments.
///
/// Shapes: positions are linear, from 0, in the order of DimensionSizes.
template <class T>
class MDArrayImp : public MDArrayImpBase {
 public:
  using Visitor = std::function<void(std::uint64_t position, T value)>;
  using Owner = std::unique_ptr<MDArrayImp>;

  const DimensionSizes& getDimensionSizes() const { return *sharedSizes; }
  virtual Owner clone() const = 0;

  virtual T get(std::uint64_t position) const = 0;
  T getAt(const Indexes& indexes) const { return get(sharedSizes->getPosition(indexes)); }
  virtual void set(std::uint64_t position, T value) = 0;
  /// The elements in their order; those that are not stored count as one product with the default value.
  virtual T sum() const = 0;
  virtual void add(T scalar) = 0;
  /// Element by element, as multiply. Requires an array of the same sizes; it may be the same array.
  virtual void add(const MDArrayImp& other) = 0;
  virtual void multiply(T scalar) = 0;
  virtual void multiply(const MDArrayImp& other) = 0;
  /// The elements with one index of a dimension, without that dimension.
  virtual Owner slice(std::uint32_t dimension, std::uint32_t index) const = 0;
  /// How many elements have a value, and the positions of these, ascending.
  virtual std::uint64_t count(T value) const = 0;
  virtual std::vector<std::uint64_t> find(T value) const = 0;

  /// The stored elements in ascending order of position.
  virtual void visit(const Visitor& visitor) const = 0;
  /// The value of what is not stored; 0 if everything is.
  virtual T getDefault() const { return T(); }

  /// Matrix times vector: element i is the sum over ascending j of get(i, j) * vector[j].
  /// Requires two dimensions, and a vector of the size of the second. Cost: the stored elements if the default is 0.
  std::vector<T> product(const MDArrayImp& vector) const;

  /// One dimension is a line, two are a line for each row. More are cut into slices of the first two, each below a line
  /// "(:,:", the other indexes, each behind a ",", and ")". No element, no line.
  void print(std::ostream& out) const override;

  /// What tells the forms apart in a file, and what a form has to say there, behind the sizes.
  virtual std::uint32_t getForm() const = 0;
  virtual void saveElements(MAT_PortableWriter& writer) const = 0;

 protected:
  explicit MDArrayImp(DimensionSizes dimensionSizes)
      : sharedSizes(std::make_shared<const DimensionSizes>(std::move(dimensionSizes))) {}

  /// The sizes without one dimension.
  DimensionSizes sizesWithout(std::uint32_t dimension) const;

 private:
  std::shared_ptr<const DimensionSizes> sharedSizes;  ///< copies of an array refer to the same
};

template <class T>
std::vector<T> MDArrayImp<T>::product(const MDArrayImp& vector) const {
  std::vector<T> result((*sharedSizes)[0]);
  const std::uint64_t columns = (*sharedSizes)[1];
  const Visitor take = [&](std::uint64_t position, T value) {
    result[position / columns] += value * vector.get(position % columns);
  };
  if (getDefault() == T()) {
    visit(take);
  } else {
    for (std::uint64_t position = 0; position < sharedSizes->getNumElements(); ++position)
      take(position, get(position));
  }
  return result;
}

template <class T>
void MDArrayImp<T>::print(std::ostream& out) const {
  if (sharedSizes->getNumElements() == 0) return;
  const std::uint32_t numDimensions = sharedSizes->getNumDimensions();
  const std::uint64_t rows = numDimensions < 2 ? 1 : (*sharedSizes)[0];
  const std::uint64_t columns = numDimensions < 2 ? sharedSizes->getNumElements() : (*sharedSizes)[1];
  Dimensions further;
  for (std::uint32_t d = 2; d < numDimensions; ++d) further.append(d);
  const DimensionSizes slices = sharedSizes->select(further);

  Indexes slice = slices.start();
  for (std::uint64_t k = 0;; ++k) {
    if (numDimensions > 2) {
      out << "(:,:";
      for (const std::uint32_t index : slice.getElements()) out << "," << index;
      out << ")\n";
    }
    for (std::uint64_t i = 0; i < rows; ++i) {
      for (std::uint64_t j = 0; j < columns; ++j) {
        out << (j == 0 ? "" : " ") << get((i * columns + j) * slices.getNumElements() + k);
      }
      out << "\n";
    }
    if (!slices.advance(slice)) return;
  }
}

template <class T>
DimensionSizes MDArrayImp<T>::sizesWithout(std::uint32_t dimension) const {
  Dimensions others;
  for (std::uint32_t d = 0; d < sharedSizes->getNumDimensions(); ++d) {
    if (d != dimension) others.append(d);
  }
  return sharedSizes->select(others);
}

#endif  // MAT_MD_ARRAY_IMP_H
