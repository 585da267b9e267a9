#ifndef TESTS_LEARNING_LITERAL_TREE_H
#define TESTS_LEARNING_LITERAL_TREE_H

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <set>
#include <utility>
#include <vector>

/// The steps that merge segments bottom-up, written down again without a cache and with sets in the place of lists.
///
/// Data is what a segment has gathered: operator+ merges it, isUsable and volume say how much it is, score is 0 for the
/// train score and 1 for the evaluation.
template <class Data>
class LiteralTree {
 public:
  static constexpr double most = std::numeric_limits<double>::max();

  LiteralTree(const std::vector<Data>& segments, int missingSegment, bool neighboursOnly)
      : missing(missingSegment), adjacent(neighboursOnly) {
    nodes.emplace_back();  // from 1
    for (std::size_t i = 0; i < segments.size(); ++i) {
      nodes.push_back({{static_cast<int>(i) + 1}, segments[i]});
      frontier.push_back(static_cast<int>(i) + 1);
    }
    fold();
    while (mergeOnce()) {
    }
    for (const int node : frontier) {
      total += prune(node);
      collect(node);
    }
  }

  std::vector<std::set<int>> groups;  // in the order in which they are collected
  double total = 0;
  bool leftUnusable = false;

 private:
  struct Node {
    std::set<int> segments;
    Data data;
    int child1 = 0;
    int child2 = 0;
    bool selected = false;
    double vol() const { return data.isUsable() ? data.volume() : -1; }
  };
  Node& at(int node) { return nodes[static_cast<std::size_t>(node)]; }
  int neighbour(std::size_t place, int step) {
    for (auto i = static_cast<int>(place) + step; i >= 0 && i < static_cast<int>(frontier.size()); i += step) {
      if (frontier[static_cast<std::size_t>(i)] != missing) return frontier[static_cast<std::size_t>(i)];
    }
    return 0;
  }

  void fold() {
    for (std::size_t place = 0; place < frontier.size();) {
      const int node = frontier[place];
      if (at(node).vol() >= 0 || node == missing) {
        ++place;
        continue;
      }
      const int next = neighbour(place, 1);
      const int previous = neighbour(place, -1);
      int target = next;
      if (next == 0 || (previous != 0 && at(previous).vol() < at(next).vol())) target = previous;
      if (target == 0) {
        leftUnusable = true;
        ++place;
        continue;
      }
      at(target).segments.insert(at(node).segments.begin(), at(node).segments.end());
      at(target).data = at(target).data + at(node).data;
      frontier.erase(frontier.begin() + static_cast<long>(place));
    }
  }

  std::optional<double> cost(int node, int partner) {
    if (partner >= node || node == missing || partner == missing) return {};
    if (adjacent) {
      const auto place = std::ranges::find(frontier, node) - frontier.begin();
      const bool isNext = place + 1 < std::ssize(frontier) && frontier[static_cast<std::size_t>(place) + 1] == partner;
      const bool isPrevious = place > 0 && frontier[static_cast<std::size_t>(place) - 1] == partner;
      if (!isNext && !isPrevious) return {};
    }
    return (at(node).data + at(partner).data).score(0) - at(node).data.score(0) - at(partner).data.score(0);
  }

  /// The best partner of a node and its cost; of lowOnly among pairs with a node of a volume below 1.
  std::pair<int, double> best(int node, bool lowOnly) {
    std::pair<int, double> result{-1, most};
    for (const int partner : std::set<int>(frontier.begin(), frontier.end())) {
      if (lowOnly && at(node).vol() >= 1 && at(partner).vol() >= 1) continue;
      const std::optional<double> price = cost(node, partner);
      if (price && *price < result.second) result = {partner, *price};
    }
    return result;
  }

  bool mergeOnce() {
    std::vector<int> walk;
    const auto newest = std::ranges::max_element(frontier);
    for (auto i = newest;; --i) {
      walk.push_back(*i);
      if (i == frontier.begin()) break;
    }
    walk.insert(walk.end(), newest + 1, frontier.end());
    for (const bool lowOnly : {true, false}) {
      int owner = 0;
      std::pair<int, double> smallest{-1, most};
      for (const int node : walk) {
        const auto candidate = best(node, lowOnly);
        if (candidate.second < smallest.second) {
          smallest = candidate;
          owner = node;
        }
      }
      if (owner == 0) continue;
      const int partner = smallest.first;
      Node made{at(owner).segments, at(owner).data + at(partner).data, owner, partner};
      made.segments.insert(at(partner).segments.begin(), at(partner).segments.end());
      nodes.push_back(made);
      *std::ranges::find(frontier, owner) = static_cast<int>(nodes.size()) - 1;
      frontier.erase(std::ranges::find(frontier, partner));
      return true;
    }
    return false;
  }

  double prune(int index) {
    Node& node = at(index);
    if (node.vol() < 1) {
      node.selected = true;
      return 0.1 * most;
    }
    const double own = node.data.score(1);
    if (node.child1 == 0) {
      node.selected = true;
      return own;
    }
    const double a = prune(node.child2);
    const double b = prune(node.child1);
    node.selected = !(a + b < own);
    return node.selected ? own : a + b;
  }

  void collect(int index) {
    if (at(index).selected) return groups.push_back(at(index).segments);
    collect(at(index).child1);
    collect(at(index).child2);
  }

  std::vector<Node> nodes;
  std::vector<int> frontier;
  int missing;
  bool adjacent;
};

#endif  // TESTS_LEARNING_LITERAL_TREE_H
