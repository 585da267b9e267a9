// The friends kernel over lists of contacts, beside a count of the common ones with the standard library, and an online
// histogram that is full. Items are list elements, and values.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <set>
#include <vector>

#include "simple_algorithm/quven_kernel_function_friends.h"
#include "simple_algorithm/quven_online_histogram_data.h"
#include "util/quven_own_ptr.h"

namespace {

using List = std::vector<double>;

constexpr double population = 1000000;
constexpr std::size_t numElements = 400000;  // of all lists: more than a processor's branch history can learn

/// Ascending lists, of whose neighbours about half is common.
std::vector<List> randomLists(std::size_t length) {
  std::mt19937 random(20240612);
  std::vector<List> lists;
  std::set<double> numbers;
  while (lists.size() * length < numElements) {
    while (numbers.size() < length) numbers.insert(1 + random() % static_cast<unsigned>(20 * length + 100));
    lists.emplace_back(numbers.begin(), numbers.end());
    std::erase_if(numbers, [&](double) { return random() % 2 == 0; });
  }
  return lists;
}

/// Counts what is written to it.
struct Counter {
  using value_type = double;
  void push_back(double) { ++count; }
  long count = 0;
};

/// The same information from the counts of the standard library: the elements up to the last of the other list.
double valueByCounts(const List& x, const List& y) {
  Counter common;
  std::set_intersection(x.begin(), x.end(), y.begin(), y.end(), std::back_inserter(common));
  const auto upTo = [](const List& list, double last) {
    return static_cast<double>(std::upper_bound(list.begin(), list.end(), last) - list.begin());
  };
  const double m11 = static_cast<double>(common.count);
  const double m10 = upTo(x, y.back()) - m11;
  const double m01 = upTo(y, x.back()) - m11;
  const double m00 = population - m11 - m01 - m10;
  double sum = 0;
  const auto add = [&](double both, double one, double other) {
    if (both > 0) sum += both / population * std::log2(both * population / (one * other));
  };
  add(m00, m00 + m10, m00 + m01);
  add(m01, m01 + m11, m00 + m01);
  add(m10, m00 + m10, m10 + m11);
  add(m11, m01 + m11, m10 + m11);
  return m01 + m10 > m00 + m11 ? -sum : sum;
}

class Lists {
 public:
  explicit Lists(std::size_t length) : lists(randomLists(length)) {
    environment.activate();
    function = quvenMake<QUVENKernelFunctionFriends>(QUVEN_ENV, 1, 0.0, population);
    arrays.resize(lists.size());
    for (std::size_t i = 0; i < lists.size(); ++i) arrays[i].fromZeroBased(lists[i], QUVEN_ENV);
  }
  ~Lists() {
    for (auto& array : arrays) array.deleteMemory(QUVEN_ENV);
    function.reset(QUVEN_ENV);
  }
  Lists(const Lists&) = delete;
  Lists& operator=(const Lists&) = delete;

  /// The value of list i and the next, from the lists as they are or as arrays that may have fillers.
  double fromContacts(std::size_t i) const { return function->computeFromContacts(lists[i], lists[next(i)]); }
  double fromVectors(std::size_t i) const { return function->ComputeKernel(arrays[i], arrays[next(i)], 0, 0); }
  double fromCounts(std::size_t i) const { return valueByCounts(lists[i], lists[next(i)]); }

  /// Null, or what is wrong.
  const char* proof() const {
    for (std::size_t i = 0; i < lists.size(); ++i) {
      if (fromContacts(i) != fromVectors(i)) return "the two forms of the kernel differ";
      const double counted = fromCounts(i);
      // The terms are about 1 and nearly cancel each other; one contact more or less makes 1e-6.
      if (!(std::abs(fromContacts(i) - counted) <= 1e-13)) return "the kernel is not the information";
    }
    return nullptr;
  }
  std::size_t next(std::size_t i) const { return (i + 1) % lists.size(); }
  std::size_t getSize() const { return lists.size(); }

 private:
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENKernelFunctionFriends> function;
  std::vector<List> lists;
  std::vector<QUVENXaRay<double>> arrays;
};

template <class Compute>
void timeLists(benchmark::State& state, Compute compute) {
  const auto length = static_cast<std::size_t>(state.range(0));
  const Lists lists(length);
  if (const char* wrong = lists.proof()) return state.SkipWithError(wrong);
  for (auto _ : state) {
    double sum = 0;
    for (std::size_t i = 0; i < lists.getSize(); ++i) sum += compute(lists, i);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(2 * length * lists.getSize()));
}

void BM_FriendsKernelFromContacts(benchmark::State& state) {
  timeLists(state, [](const Lists& lists, std::size_t i) { return lists.fromContacts(i); });
}
void BM_FriendsKernelFromVectors(benchmark::State& state) {
  timeLists(state, [](const Lists& lists, std::size_t i) { return lists.fromVectors(i); });
}
void BM_SetIntersectionCounts(benchmark::State& state) {
  timeLists(state, [](const Lists& lists, std::size_t i) { return lists.fromCounts(i); });
}

/// Values of a kernel: many of them again and again, or all new.
void BM_HistogramAdd(benchmark::State& state) {
  const bool areNew = state.range(0) != 0;
  std::mt19937 random(20240613);
  std::vector<double> values(20000);
  for (double& value : values) value = areNew ? random() / 4294967296.0 : static_cast<double>(random() % 900) / 900;
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  for (auto _ : state) {
    auto histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
    for (const double value : values) histogram->add(value, QUVEN_ENV);
    state.PauseTiming();
    QUVENXaRay<double> locations;
    QUVENXaRay<std::int32_t> counts;
    histogram->getBins(locations, counts, QUVEN_ENV);
    long sum = 0;
    for (const std::int32_t count : counts) sum += count;
    // No mean of these comes to lie on another bin, so that nothing is lost.
    if (sum != static_cast<long>(values.size())) state.SkipWithError("the histogram has lost values");
    if (!std::is_sorted(locations.begin(), locations.end())) state.SkipWithError("bins are out of order");
    QUVEN_DELETE(locations);
    QUVEN_DELETE(counts);
    QUVEN_DELETE(histogram);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(values.size()));
}

BENCHMARK(BM_FriendsKernelFromContacts)->Arg(5)->Arg(20)->Arg(100)->Arg(1000);
BENCHMARK(BM_FriendsKernelFromVectors)->Arg(5)->Arg(20)->Arg(100)->Arg(1000);
BENCHMARK(BM_SetIntersectionCounts)->Arg(5)->Arg(20)->Arg(100)->Arg(1000);
BENCHMARK(BM_HistogramAdd)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
