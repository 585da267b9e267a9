#ifndef MAT_MD_ARRAY_H
#define MAT_MD_ARRAY_H

#include "mat/MAT_MDArrayImp.h"
#include "mat/MAT_RefCount.h"

/// An array of any number of dimensions. The object is a handle: copies share the implementation and their count of
/// references, and a write through one that shares makes it a copy of its own first.
///
/// Shapes:  indexes run from 0; a linear position runs from 0 in the order of DimensionSizes.
/// Errors:  misuse is an internal error that ends the process with status 1: "No object exist" for any use of a handle
///          without implementation but assignment, reset and load, and what stands at the operations.
/// Cost:    a copy of a handle is two pointers and a count; counts come from a free list. One thread at a time.
template <class T>
class MDArray : public Printable, public Saveable {
 public:
  /// A handle without implementation.
  MDArray() = default;
  /// A sparse array whose elements all have the default value.
  MDArray(const DimensionSizes& sizes, T defaultValue);
  /// A dense array of the values, in their order. Errors: "Values do not fill the array".
  MDArray(const DimensionSizes& sizes, std::vector<T> values);
  MDArray(const MDArray& other);
  MDArray& operator=(const MDArray& other);
  ~MDArray() override { reset(); }

  /// Lets go of the implementation, which is destroyed with its last handle.
  void reset();
  bool hasObject() const { return implementation != nullptr; }
  std::int64_t getReferenceCount() const;

  const DimensionSizes& getDimensionSizes() const { return use().getDimensionSizes(); }
  /// Errors: an element that is not there, as of DimensionSizes::getPosition and
  ///         "Position ", the position, " out of range of sizes ", the sizes.
  T get(const Indexes& indexes) const { return use().getAt(indexes); }
  T get(std::uint64_t position) const;
  /// A write of the value that the element has already changes nothing, not even who shares. Errors: as of get.
  void set(const Indexes& indexes, T value) { set(use().getDimensionSizes().getPosition(indexes), value); }
  void set(std::uint64_t position, T value);

  T sum() const { return use().sum(); }
  void add(T scalar) { change().add(scalar); }
  void multiply(T scalar) { change().multiply(scalar); }
  /// Element by element. Errors: "Arrays of different sizes".
  void add(const MDArray& other);
  void multiply(const MDArray& other);
  /// Matrix times vector, a dense array of one dimension; see MDArrayImp::product.
  /// Errors: "Product of sizes ", the sizes, " and ", those of the vector, if they do not fit.
  MDArray product(const MDArray& vector) const;
  /// The elements with one index of a dimension, without that dimension, in the same form.
  /// Errors: as of DimensionSizes::operator[]; "Index ", the index, " of dim ", the dimension, " out of range".
  MDArray slice(std::uint32_t dimension, std::uint32_t index) const;
  /// See MDArrayImpMap for what sparse arrays know of.
  std::uint64_t count(T value) const { return use().count(value); }
  std::vector<std::uint64_t> find(T value) const { return use().find(value); }

  void print(std::ostream& out) const override { use().print(out); }
  /// The string "MDArray", the form, the sizes, and the elements as the form tells.
  void save(MAT_PortableWriter& writer) const override;
  void load(MAT_PortableReader& reader) override;

 private:
  explicit MDArray(typename MDArrayImp<T>::Owner owned) { take(std::move(owned)); }
  void take(typename MDArrayImp<T>::Owner owned);
  const MDArrayImp<T>& use() const;
  /// The implementation for a write: shared with nobody.
  MDArrayImp<T>& change();

  MDArrayImp<T>* implementation = nullptr;
  MAT_RefCount* references = nullptr;
};

extern template class MDArray<double>;

#endif  // MAT_MD_ARRAY_H
