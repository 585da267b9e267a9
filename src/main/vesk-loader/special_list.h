#ifndef SPECIAL_LIST_H
#define SPECIAL_LIST_H

#include <cstddef>
#include <vector>

namespace vesk_loader {

/// The numbers of the special list file: an ordered set of doubles, built once and then only asked.
class SpecialList {
 public:
  void clear() { numbers.clear(); }

  /// Takes any numbers in any order; each is kept once.
  void assign(std::vector<double> values);

  /// Cost: a binary search. A NaN is in no list.
  bool contains(double number) const;

  std::size_t size() const { return numbers.size(); }

 private:
  std::vector<double> numbers;  // ascending, distinct
};

}  // namespace vesk_loader

#endif  // SPECIAL_LIST_H
