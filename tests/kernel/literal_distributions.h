#ifndef TESTS_KERNEL_LITERAL_DISTRIBUTIONS_H
#define TESTS_KERNEL_LITERAL_DISTRIBUTIONS_H

// Distributions of fields, as slow and as literal as can be: whole samples are sorted instead of kept in heaps, a value
// is compared with both ends of every bin, means and deviations are taken in two passes over the values.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace literal {

constexpr double highest = std::numeric_limits<double>::max();

/// A value that was sampled: its priority and itself, which decides among equal priorities.
template <class T>
using Sampled = std::pair<std::uint32_t, T>;

/// The values with the highest priorities, in ascending order.
template <class T>
std::vector<Sampled<T>> sampleOf(std::vector<Sampled<T>> all, std::size_t capacity) {
  std::sort(all.begin(), all.end());
  if (all.size() > capacity) all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(capacity));
  return all;
}

/// A full sample in the order in which a heap has it: the first leaves first. Cell 0 is not used.
template <class T>
class SampleHeap {
 public:
  explicit SampleHeap(std::size_t capacity) : most(capacity) {}

  void add(const Sampled<T>& value) {
    if (cells.size() - 1 >= most) {
      if (most == 0 || !(cells[1] < value)) return;
      cells[1] = value;
      siftDown(1);
    } else {
      cells.push_back(value);
      if (cells.size() - 1 != most) return;
      for (std::size_t i = (most + 1) / 2; i >= 1; --i) siftDown(i);
    }
  }
  std::vector<Sampled<T>> values() const { return {cells.begin() + 1, cells.end()}; }

 private:
  void siftDown(std::size_t top) {
    const std::size_t left = 2 * top;
    const std::size_t right = left + 1;
    if (left > most) return;
    const std::size_t child = right <= most && cells[right] < cells[left] ? right : left;
    if (!(cells[child] < cells[top])) return;
    std::swap(cells[top], cells[child]);
    siftDown(child);
  }

  std::size_t most;
  std::vector<Sampled<T>> cells{1};
};

/// Heap sort of the cells 1..n as the steps say; less(a, b) puts a before b. Cell 0 is not used.
template <class T, class Less>
void heapSort(std::vector<T>& cells, Less less) {
  const std::size_t n = cells.size() - 1;
  if (n < 2) return;
  const auto siftDown = [&](std::size_t top, std::size_t last) {
    while (2 * top <= last) {
      std::size_t child = 2 * top;
      if (child + 1 <= last && less(cells[child], cells[child + 1])) child = child + 1;
      if (!less(cells[top], cells[child])) break;
      std::swap(cells[top], cells[child]);
      top = child;
    }
  };
  for (std::size_t i = (n + 1) / 2; i >= 1; --i) siftDown(i, n);
  for (std::size_t k = n; k >= 2; --k) {
    std::swap(cells[1], cells[k]);
    siftDown(1, k - 1);
  }
}

struct Bin {
  double lo = 0;
  double hi = 0;
  bool incLo = false;
  bool incHi = false;

  bool holds(double x) const {
    const bool aboveLo = x > lo || (incLo && x == lo);
    const bool belowHi = x < hi || (incHi && x == hi);
    return aboveLo && belowHi;
  }
  friend bool operator==(const Bin&, const Bin&) = default;
};

/// The bins of a sample, step by step.
inline std::vector<Bin> potentialBins(std::vector<double> values) {
  std::vector<Bin> bins;
  const long n = static_cast<long>(values.size());
  if (n < 1) return bins;
  std::sort(values.begin(), values.end());
  const auto sample = [&](long position) { return values.at(static_cast<std::size_t>(position - 1)); };
  const long b = std::min(100L, static_cast<long>(std::floor(std::sqrt(static_cast<double>(n)))));
  const long step = n / b;
  double lo = -highest;
  bool nextIncLo = true;
  long pos = 1;
  for (;;) {
    double hi = highest;
    bool run = false;
    pos = pos + step;
    if (pos < n) {
      bool found = false;
      while (pos < n) {
        if (sample(pos) > lo) {
          found = true;
          break;
        }
        pos = pos + 1;
        run = true;
      }
      if (found) {
        hi = sample(pos);
        long before = pos - 1;
        while (before >= 1 && sample(before) >= hi) before = before - 1;
        pos = before + 1;
      }
    }
    if (run) {
      bins.push_back({lo, lo, true, true});
      nextIncLo = false;
    } else {
      bins.push_back({lo, hi, nextIncLo, false});
      lo = hi;
      nextIncLo = true;
    }
    if (pos > n) return bins;
  }
}

/// Infinity counts as the largest number.
inline double finite(double x) { return std::clamp(x, -highest, highest); }

/// The one bin that holds a number, counted from 0; the last takes the largest number and what is beyond.
inline std::size_t binOf(const std::vector<Bin>& bins, double x) {
  x = finite(x);
  std::vector<std::size_t> holders;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    if (bins[i].holds(x)) holders.push_back(i);
  }
  if (holders.empty() && x >= highest) return bins.size() - 1;
  if (holders.size() != 1) throw std::logic_error("a number in " + std::to_string(holders.size()) + " bins");
  return holders[0];
}

/// What a bin gathers of some values.
struct Statistics {
  int count = 0;
  double sum = 0;
  double squares = 0;  // of the deviations from the mean
  double max = -highest;
  double min = highest;
};

inline Statistics statisticsOf(const std::vector<double>& values) {
  Statistics s;
  for (const double x : values) {
    ++s.count;
    s.sum += x;
    s.max = std::max(s.max, x);
    s.min = std::min(s.min, x);
  }
  for (const double x : values) s.squares += (x - s.sum / s.count) * (x - s.sum / s.count);
  return s;
}

/// The chosen approximation: the quotient of the counts is cut to a whole number.
inline Statistics merged(const Statistics& a, const Statistics& b) {
  Statistics s;
  s.count = a.count + b.count;
  s.sum = a.sum + b.sum;
  s.max = std::max(a.max, b.max);
  s.min = std::min(a.min, b.min);
  s.squares = a.squares + b.squares;
  if (a.count > 0 && b.count > 0) {
    const int q = (a.count + b.count) / a.count;
    const double d = s.sum / s.count - b.sum / b.count;
    s.squares += d * d * q * b.count;
  }
  return s;
}

/// The categories of a sample, the most frequent first, with their counts; what is over goes to the default count.
struct Categories {
  std::vector<std::pair<std::string, double>> kept;
  double defaultCount = 0;
};

inline Categories categoriesOf(const std::vector<Sampled<std::string>>& sorted, std::size_t maxCats, double minCount) {
  std::vector<std::pair<std::string, double>> counted(1);  // from 1 on
  for (const auto& [priority, text] : sorted) {
    const auto same = [&text = text](const auto& one) { return one.first == text; };
    const auto found = std::find_if(counted.begin() + 1, counted.end(), same);
    if (found == counted.end()) {
      counted.emplace_back(text, 1);
    } else {
      ++found->second;
    }
  }
  heapSort(counted, [](const auto& a, const auto& b) { return a.second > b.second; });
  Categories result;
  std::size_t i = 1;
  for (; i < counted.size() && counted[i].second >= minCount && result.kept.size() < maxCats; ++i) {
    if (counted[i].first.empty()) {
      result.defaultCount += counted[i].second;
    } else {
      result.kept.push_back(counted[i]);
    }
  }
  for (; i < counted.size(); ++i) result.defaultCount += counted[i].second;
  return result;
}

}  // namespace literal

#endif  // TESTS_KERNEL_LITERAL_DISTRIBUTIONS_H
