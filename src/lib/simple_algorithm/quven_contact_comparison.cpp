#include "simple_algorithm/quven_contact_comparison.h"

#include <algorithm>

namespace {

using Contacts = std::span<const QUVENKeptRows::Node>;

constexpr unsigned bitsOfRemembered = 10;
constexpr std::uint64_t noKey = ~std::uint64_t{0};
/// Rows whose lengths differ by more than this are compared by searching the contacts of the one in the other.
constexpr std::size_t searchedRatio = 8;

/// The place of the first element from a place on that is not below a node. Searches in steps that double.
std::size_t placeFrom(Contacts contacts, std::size_t place, QUVENKeptRows::Node node) {
  std::size_t step = 1;
  std::size_t last = place;  // all before it are below the node
  while (last + step <= contacts.size() && contacts[last + step - 1] < node) {
    last += step;
    step *= 2;
  }
  const std::size_t end = std::min(last + step, contacts.size());
  return static_cast<std::size_t>(std::lower_bound(contacts.begin() + static_cast<std::ptrdiff_t>(last),
                                                   contacts.begin() + static_cast<std::ptrdiff_t>(end), node) -
                                  contacts.begin());
}

using Steps = QUVENContactComparison::Steps;

/// The walk itself, for rows in any order.
Steps walkThrough(Contacts x, Contacts y) {
  Steps steps;
  // Which row to step in cannot be foreseen, so it is no branch.
  while (steps.inX != x.size() && steps.inY != y.size()) {
    const QUVENKeptRows::Node nodeX = x[steps.inX];
    const QUVENKeptRows::Node nodeY = y[steps.inY];
    steps.common += static_cast<std::size_t>(nodeX == nodeY);
    steps.inX += static_cast<std::size_t>(nodeX <= nodeY);
    steps.inY += static_cast<std::size_t>(nodeY <= nodeX);
  }
  return steps;
}

/// The same for ascending rows, of which x is the shorter.
Steps walkBySearching(Contacts x, Contacts y) {
  Steps steps;
  while (steps.inX != x.size()) {
    steps.inY = placeFrom(y, steps.inY, x[steps.inX]);
    if (steps.inY == y.size()) break;
    const auto isCommon = static_cast<std::size_t>(y[steps.inY] == x[steps.inX]);
    steps.common += isCommon;
    steps.inY += isCommon;
    ++steps.inX;
    if (steps.inY == y.size()) break;
  }
  return steps;
}

}  // namespace

QUVENContactComparison::QUVENContactComparison(const QUVENKeptRows& keptRows,
                                               const QUVENKernelFunctionFriends& kernelFunction)
    : rows(keptRows), function(kernelFunction), rememberedValues(std::size_t{1} << bitsOfRemembered, {noKey, 0}) {
  const auto numNodes = static_cast<std::size_t>(rows.getNumNodes());
  sampleOf.resize(numNodes + 1);
  marks.resize(numNodes + 1);
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    if (!rows.isOwn(row)) continue;
    ownRows.push_back(row);
    samples.push_back(listOf(rows.getContacts(row)));
    sampleOf[rows.getCaller(row)] = static_cast<std::int32_t>(ownRows.size());
  }
}

QUVENContactComparison::List QUVENContactComparison::listOf(Contacts contacts) {
  Order order = Ascending;
  for (std::size_t i = 1; i < contacts.size(); ++i) {
    if (contacts[i] > contacts[i - 1]) continue;
    order = contacts[i] < contacts[i - 1] ? Unordered : WithRepeats;
    if (order == Unordered) break;
  }
  return {contacts.data(), static_cast<std::uint32_t>(contacts.size()), order};
}

/// Marks the contacts of a list and finds the own samples among them, each once.
void QUVENContactComparison::markAndFindCandidates(const List& list) {
  if (++lastMark == 0) {  // all marks have been used
    std::fill(marks.begin(), marks.end(), 0);
    lastMark = 1;
  }
  candidates.clear();
  for (const Node contact : list.getContacts()) {
    const bool isNew = marks[contact] != lastMark;
    marks[contact] = lastMark;
    if (isNew && sampleOf[contact] != 0) candidates.push_back(sampleOf[contact]);
  }
}

/// The walk through the marked list and another one.
QUVENContactComparison::Steps QUVENContactComparison::walk(const List& listX, const List& listY) const {
  const Contacts x = listX.getContacts();
  const Contacts y = listY.getContacts();
  const Order order = std::max(listX.order, listY.order);
  if (order == Unordered) return walkThrough(x, y);
  if (x.size() * searchedRatio < y.size()) return walkBySearching(x, y);
  if (order == Ascending) return walkMarked(x, y);
  if (y.size() * searchedRatio < x.size()) {
    const Steps exchanged = walkBySearching(y, x);
    return {exchanged.common, exchanged.inY, exchanged.inX};
  }
  return walkThrough(x, y);
}

QUVENContactComparison::Steps QUVENContactComparison::walkMarked(Contacts x, Contacts y) const {
  if (y.empty()) return {};
  // The walk ends after the lower of the two last contacts.
  const auto placeAfter = [](Contacts contacts, Node node) {
    const bool isWhole = contacts.back() <= node;
    return isWhole
               ? contacts.size()
               : static_cast<std::size_t>(std::upper_bound(contacts.begin(), contacts.end(), node) - contacts.begin());
  };
  Steps steps{0, placeAfter(x, y.back()), placeAfter(y, x.back())};
  for (const Node contact : y.first(steps.inY)) {
    steps.common += static_cast<std::size_t>(marks[contact] == lastMark);
  }
  return steps;
}

/// The similarity of a walk. Most counts come often, so that their value is remembered.
double QUVENContactComparison::valueOf(std::size_t common, std::size_t stepsX, std::size_t stepsY) {
  constexpr unsigned bitsOfCount = 21;
  if (((common | stepsX | stepsY) >> bitsOfCount) != 0) return function.computeFromCounts(common, stepsX, stepsY);
  const std::uint64_t key = common | (stepsX << bitsOfCount) | (stepsY << (2 * bitsOfCount));
  constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;  // 2^64 over the golden ratio: Knuth, vol. 3, 6.4
  Remembered& place = rememberedValues[(key * factor) >> (64 - bitsOfRemembered)];
  if (place.key != key) place = {key, function.computeFromCounts(common, stepsX, stepsY)};
  return place.value;
}

std::int64_t QUVENContactComparison::addOwnPairs(QUVENOnlineHistogramData& histogram, const QUVENEnvHandle& env) {
  for (const List& list : samples) {
    compare(list, [&](std::int32_t, const Steps& steps) {
      histogram.add(valueOf(steps.common, steps.inX, steps.inY), env);
      exchangedValues.push_back(valueOf(steps.common, steps.inY, steps.inX));
    });
  }
  return static_cast<std::int64_t>(exchangedValues.size());
}

void QUVENContactComparison::collect(double cutoff, QUVENSimilarityStore& store, const QUVENEnvHandle& env) {
  auto exchanged = exchangedValues.cbegin();
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    const auto keep = [&](std::int32_t sample, double value) {
      if (value >= cutoff) store.set(sample, static_cast<std::int32_t>(row + 1), value, env);
    };
    const std::int32_t ownSample = sampleOf[rows.getCaller(row)];
    if (ownSample != 0) {
      markAndFindCandidates(samples[static_cast<std::size_t>(ownSample - 1)]);
      for (const std::int32_t candidate : candidates) keep(candidate, *exchanged++);
      continue;
    }
    compare(listOf(rows.getContacts(row)), [&](std::int32_t sample, const Steps& steps) {
      keep(sample, valueOf(steps.common, steps.inY, steps.inX));
    });
  }
}
