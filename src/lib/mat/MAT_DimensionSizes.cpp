#include "mat/MAT_DimensionSizes.h"

#include <optional>
#include <sstream>

#include "base/BASE_Exception.h"

namespace {

constexpr const char* reportedFile = "src/lib/mat/MAT_DimensionSizes";

/// The product of the sizes, nothing if it does not fit.
std::optional<std::uint64_t> productOf(std::span<const std::uint32_t> sizes) {
  std::uint64_t product = 1;
  bool isTooLarge = false;
  for (const std::uint32_t size : sizes) {
    if (size == 0) return 0;
    isTooLarge = __builtin_mul_overflow(product, size, &product) || isTooLarge;
  }
  return isTooLarge ? std::nullopt : std::optional(product);
}

}  // namespace

DimensionSizes::DimensionSizes(std::initializer_list<std::uint32_t> sizes)
    : DimensionSizes(std::vector<std::uint32_t>(sizes)) {}

DimensionSizes::DimensionSizes(std::vector<std::uint32_t> sizes) : PositiveArrayBase(std::move(sizes)) {
  const auto found = productOf(elements);
  if (!found) BASE_StopOnInternalError("Array of too many elements", reportedFile, __LINE__);
  product = *found;
}

void DimensionSizes::checkDimension(std::size_t dimension) const {
  if (dimension >= elements.size()) {
    BASE_StopOnInternalError("Dim " + std::to_string(dimension) + " out of range 0.." +
                                 std::to_string(static_cast<std::int64_t>(elements.size()) - 1),
                             reportedFile, __LINE__);
  }
}

std::uint32_t DimensionSizes::operator[](std::size_t dimension) const {
  checkDimension(dimension);
  return elements[dimension];
}

DimensionSizes DimensionSizes::select(const Dimensions& dimensions) const {
  std::vector<std::uint32_t> sizes;
  for (const std::uint32_t dimension : dimensions.getElements()) sizes.push_back((*this)[dimension]);
  return DimensionSizes(std::move(sizes));
}

std::uint64_t DimensionSizes::getStride(std::size_t dimension) const {
  checkDimension(dimension);
  std::uint64_t stride = 1;
  while (++dimension < elements.size()) stride *= elements[dimension];
  return stride;
}

std::uint64_t DimensionSizes::getPosition(const Indexes& indexes) const {
  std::uint64_t position = 0;
  bool isInside = indexes.getSize() == getNumDimensions();
  for (std::size_t i = 0; isInside && i < elements.size(); ++i) {
    position = position * elements[i] + indexes[i];
    isInside = indexes[i] < elements[i];
  }
  if (!isInside) {
    std::ostringstream message;
    message << "Indexes " << indexes << " out of range of sizes " << *this;
    BASE_StopOnInternalError(message.str(), reportedFile, __LINE__);
  }
  return position;
}

Indexes DimensionSizes::start() const {
  if (product == 0) BASE_StopOnInternalError("no start value", reportedFile, __LINE__);
  return Indexes(std::vector<std::uint32_t>(elements.size()));
}

bool DimensionSizes::advance(Indexes& indexes) const {
  for (std::size_t i = elements.size(); i > 0; --i) {
    if (++indexes[i - 1] < elements[i - 1]) return true;
    indexes[i - 1] = 0;
  }
  return false;
}

void DimensionSizes::load(MAT_PortableReader& reader) {
  PositiveArrayBase::load(reader);
  const auto found = productOf(elements);
  if (!found) MAT_PortableReader::refuse("an array of too many elements");
  product = *found;
}
