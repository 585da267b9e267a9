#include "report/energy_curve.h"

#include <algorithm>
#include <cmath>

#include "command.h"
#include "top/result_rows.h"

namespace vesk {

namespace {

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

struct Subscriber {
  double energy;
  std::uint64_t id : 63;
  std::uint64_t isSeed : 1;
};
static_assert(sizeof(Subscriber) == 16);

std::uint64_t idOf(const Subscriber& subscriber) { return subscriber.id; }

/// The rows of the file, and the energies of the groups.
std::vector<Subscriber> readRows(const std::string& file, const std::unordered_set<std::uint64_t>& seeds,
                                 FoundGroups* groups, EnergyCurve& curve) {
  std::vector<Subscriber> subscribers;
  bool isAscending = true;
  bool hasMember = false;
  bool hasSeed = false;
  ResultRows rows(file, {"Number", "DA_DiffusedEnergy", "InDegree", "OutDegree"},
                  "the OutputFileName of vesk-analyze diffusion");
  while (rows.next()) {
    const std::uint64_t id = rows.getWhole(0);
    const double energy = rows.getNumber(1);
    isAscending = isAscending && (subscribers.empty() || idOf(subscribers.back()) < id);
    const bool isSeed = seeds.contains(id);
    subscribers.push_back({energy, id, isSeed ? 1U : 0U});
    if (isSeed) {
      hasSeed = true;
      if (rows.getWhole(2) > 0 || rows.getWhole(3) > 0) ++curve.seedsInCalls;
    }
    if (groups == nullptr) continue;
    const auto member = std::ranges::lower_bound(groups->members, id, {}, &FoundGroups::Member::id);
    if (member == groups->members.end() || member->id != id) continue;
    hasMember = true;
    groups->groups[member->group].energy += std::max(energy, 0.0);
  }
  if (!isAscending) {
    std::ranges::sort(subscribers, {}, idOf);
    const auto twice = std::ranges::adjacent_find(subscribers, {}, idOf);
    if (twice != subscribers.end()) refuse(file + " has two rows of subscriber " + std::to_string(idOf(*twice)));
  }
  if (!seeds.empty() && !hasSeed) refuse(file + " has none of the " + std::to_string(seeds.size()) + " seeds");
  if (groups != nullptr && !groups->members.empty() && !hasMember) {
    refuse(file + " has no member of the groups; the two are of different calls");
  }
  return subscribers;
}

/// The ranks up to `last` of which the curve has a point: ascending, `perDecade` in each decade, and the last one.
std::vector<std::uint64_t> spacedRanks(std::uint64_t last, double perDecade) {
  std::vector<std::uint64_t> ranks;
  for (double step = 0;; ++step) {
    const auto rank = static_cast<std::uint64_t>(std::llround(std::pow(10, step / perDecade)));
    if (rank >= last) break;
    if (ranks.empty() || rank > ranks.back()) ranks.push_back(rank);
  }
  if (last > 0) ranks.push_back(last);
  return ranks;
}

}  // namespace

EnergyCurve readEnergyCurve(const std::string& file, const std::unordered_set<std::uint64_t>& seeds,
                            FoundGroups* groups) {
  EnergyCurve curve;
  std::vector<Subscriber> subscribers = readRows(file, seeds, groups, curve);
  curve.subscribers = subscribers.size();
  curve.seeds = seeds.size();
  std::erase_if(subscribers, [](const Subscriber& subscriber) { return !(subscriber.energy > 0); });
  std::ranges::sort(subscribers, [](const Subscriber& a, const Subscriber& b) {
    return a.energy != b.energy ? a.energy > b.energy : a.id < b.id;
  });
  curve.withEnergy = subscribers.size();
  for (const Subscriber& subscriber : subscribers) {
    curve.sum += subscriber.energy;
    if (subscriber.isSeed == 0) continue;
    ++curve.seedsWithEnergy;
    curve.seedShare += subscriber.energy;
  }
  if (subscribers.empty()) return curve;
  curve.seedShare /= curve.sum;
  curve.largest = subscribers.front().energy;
  curve.median = (subscribers[(subscribers.size() - 1) / 2].energy + subscribers[subscribers.size() / 2].energy) / 2;
  constexpr double pointsPerDecade = 20;
  const std::vector<std::uint64_t> ranks = spacedRanks(subscribers.size(), pointsPerDecade);
  const std::vector<std::uint64_t> decades = spacedRanks(subscribers.size(), 1);
  auto nextRank = ranks.begin();
  auto nextDecade = decades.begin();
  EnergyPoint point;
  double sum = 0;
  for (const Subscriber& subscriber : subscribers) {
    ++point.rank;
    point.energy = subscriber.energy;
    sum += subscriber.energy;
    point.seeds += subscriber.isSeed;
    point.share = sum / curve.sum;
    if (nextRank != ranks.end() && *nextRank == point.rank) {
      curve.points.push_back(point);
      ++nextRank;
    }
    if (nextDecade != decades.end() && *nextDecade == point.rank) {
      curve.decades.push_back(point);
      ++nextDecade;
    }
  }
  return curve;
}

}  // namespace vesk
