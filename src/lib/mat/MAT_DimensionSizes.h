#ifndef MAT_DIMENSION_SIZES_H
#define MAT_DIMENSION_SIZES_H

#include "mat/MAT_PositiveArray.h"

/// The size of each dimension of an array, and with it the order of the elements: row after row, the last index
/// fastest.
///
/// An array of no dimensions has one element, at the position without an index.
/// Errors: misuse is an internal error that ends the process with status 1.
class DimensionSizes : public PositiveArrayBase {
 public:
  DimensionSizes() = default;
  /// Errors: "Array of too many elements", from 2 to the 64 on.
  DimensionSizes(std::initializer_list<std::uint32_t> sizes);
  explicit DimensionSizes(std::vector<std::uint32_t> sizes);

  std::uint32_t getNumDimensions() const { return getSize(); }
  /// The product of all sizes.
  std::uint64_t getNumElements() const { return product; }

  /// Errors: "Dim ", the number, " out of range 0..", the last valid number (-1 if there is no dimension).
  std::uint32_t operator[](std::size_t dimension) const;
  /// The sizes of some dimensions, in the order in which they are listed. Errors: as of each.
  DimensionSizes select(const Dimensions& dimensions) const;
  /// Elements between neighbours along a dimension. Errors: as of operator[].
  std::uint64_t getStride(std::size_t dimension) const;

  /// The linear position of an element, from 0.
  /// Errors: "Indexes ", the position, " out of range of sizes ", the sizes; for a wrong count of indexes, too.
  std::uint64_t getPosition(const Indexes& indexes) const;
  /// The first position in the order of the elements. Errors: "no start value" if there is no element.
  Indexes start() const;
  /// Moves on to the next position; false behind the last one. Requires a position of these sizes.
  bool advance(Indexes& indexes) const;

  void load(MAT_PortableReader& reader) override;

 private:
  void checkDimension(std::size_t dimension) const;

  std::uint64_t product = 1;
};

#endif  // MAT_DIMENSION_SIZES_H
