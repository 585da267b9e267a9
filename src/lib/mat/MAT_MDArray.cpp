#include "mat/MAT_MDArray.h"

#include <sstream>

#include "base/BASE_Exception.h"
#include "mat/MAT_MDArrayImpDense.h"
#include "mat/MAT_MDArrayImpSparse.h"

constinit MAT_RefCount* MAT_freeRefCounts = nullptr;

namespace {

constexpr const char* reportedFile = "src/lib/mat/MAT_MDArray";
constexpr std::string_view fileMark = "MDArray";

template <class... Parts>
[[noreturn]] void stop(int line, const Parts&... parts) {
  std::ostringstream message;
  (message << ... << parts);
  BASE_StopOnInternalError(message.str(), reportedFile, line);
}

void checkSameSizes(const DimensionSizes& a, const DimensionSizes& b) {
  if (!(a == b)) stop(__LINE__, "Arrays of different sizes: ", a, " and ", b);
}

void checkPosition(const DimensionSizes& sizes, std::uint64_t position) {
  if (position >= sizes.getNumElements()) {
    stop(__LINE__, "Position ", position, " out of range of sizes ", sizes);
  }
}

}  // namespace

template <class T>
MDArray<T>::MDArray(const DimensionSizes& sizes, T defaultValue)
    : MDArray(std::make_unique<MDArrayImpMap<T>>(sizes, defaultValue)) {}

template <class T>
MDArray<T>::MDArray(const DimensionSizes& sizes, std::vector<T> values) {
  if (values.size() != sizes.getNumElements()) {
    stop(__LINE__, "Values do not fill the array: ", values.size(), " for sizes ", sizes);
  }
  take(std::make_unique<MDArrayImpCArray<T>>(sizes, std::move(values)));
}

template <class T>
MDArray<T>::MDArray(const MDArray& other)
    : Printable(other), Saveable(other), implementation(other.implementation), references(other.references) {
  if (references != nullptr) ++references->count;
}

template <class T>
MDArray<T>& MDArray<T>::operator=(const MDArray& other) {
  MDArray copy(other);
  std::swap(implementation, copy.implementation);
  std::swap(references, copy.references);
  return *this;
}

template <class T>
void MDArray<T>::reset() {
  if (references != nullptr && --references->count < 1) {
    delete implementation;
    MAT_returnRefCount(references);
  }
  implementation = nullptr;
  references = nullptr;
}

template <class T>
void MDArray<T>::take(typename MDArrayImp<T>::Owner owned) {
  MAT_RefCount* const cell = MAT_takeRefCount();
  reset();
  references = cell;
  implementation = owned.release();
}

template <class T>
const MDArrayImp<T>& MDArray<T>::use() const {
  if (implementation == nullptr) stop(__LINE__, "No object exist");
  return *implementation;
}

template <class T>
MDArrayImp<T>& MDArray<T>::change() {
  if (use(), references->count > 1) take(implementation->clone());
  return *implementation;
}

template <class T>
std::int64_t MDArray<T>::getReferenceCount() const {
  use();
  return references->count;
}

template <class T>
T MDArray<T>::get(std::uint64_t position) const {
  checkPosition(use().getDimensionSizes(), position);
  return implementation->get(position);
}

template <class T>
void MDArray<T>::set(std::uint64_t position, T value) {
  if (get(position) != value) change().set(position, value);
}

template <class T>
void MDArray<T>::add(const MDArray& other) {
  checkSameSizes(getDimensionSizes(), other.getDimensionSizes());
  change().add(other.use());
}

template <class T>
void MDArray<T>::multiply(const MDArray& other) {
  checkSameSizes(getDimensionSizes(), other.getDimensionSizes());
  change().multiply(other.use());
}

template <class T>
MDArray<T> MDArray<T>::product(const MDArray& vector) const {
  const DimensionSizes& sizes = getDimensionSizes();
  const DimensionSizes& vectorSizes = vector.getDimensionSizes();
  if (sizes.getNumDimensions() != 2 || vectorSizes.getNumDimensions() != 1 || sizes[1] != vectorSizes[0]) {
    stop(__LINE__, "Product of sizes ", sizes, " and ", vectorSizes);
  }
  return MDArray({sizes[0]}, use().product(vector.use()));
}

template <class T>
MDArray<T> MDArray<T>::slice(std::uint32_t dimension, std::uint32_t index) const {
  if (index >= getDimensionSizes()[dimension]) {
    stop(__LINE__, "Index ", index, " of dim ", dimension, " out of range");
  }
  return MDArray(use().slice(dimension, index));
}

template <class T>
void MDArray<T>::save(MAT_PortableWriter& writer) const {
  const MDArrayImp<T>& saved = use();
  writer.write(fileMark);
  writer.write(saved.getForm());
  saved.getDimensionSizes().save(writer);
  saved.saveElements(writer);
}

template <class T>
void MDArray<T>::load(MAT_PortableReader& reader) {
  if (reader.readString() != fileMark) MAT_PortableReader::refuse("no array");
  const std::uint32_t form = reader.readInteger();
  DimensionSizes sizes;
  sizes.load(reader);
  if (form == MDArrayImpDense<T>::Form) {
    take(std::make_unique<MDArrayImpCArray<T>>(std::move(sizes), reader));
  } else if (form == MDArrayImpMap<T>::Form) {
    take(std::make_unique<MDArrayImpMap<T>>(std::move(sizes), reader));
  } else {
    MAT_PortableReader::refuse("an array of unknown form");
  }
}

template class MDArray<double>;
