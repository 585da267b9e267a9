#include "learning/quven_transform_tree.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTransformTreeNode);

void QUVENTransformTree::deleteMemory(const QUVENEnvHandle& env) {
  nodes.deleteMemory(QUVEN_ENV);
  models.deleteMemory(QUVEN_ENV);
}

void QUVENTransformTree::open(Models& segmentModels, std::int32_t missingSegment, const QUVENEnvHandle& env) {
  const auto count = static_cast<std::int32_t>(segmentModels.getSize());
  QUVEN_ASSERT(1 <= missingSegment && missingSegment <= count);
  missingNode = missingSegment;
  models.swap(segmentModels);
  nodes.setSizeCapacity(count, 2 * long{count}, QUVEN_ENV);
  for (std::int32_t i = 1; i <= count; ++i) {
    nodes[i].segments.append(i, QUVEN_ENV);
    nodes[i].previous = i - 1;
    nodes[i].next = i < count ? i + 1 : 0;
    setVolume(i, QUVEN_ENV);
  }
}

void QUVENTransformTree::setVolume(std::int32_t index, const QUVENEnvHandle& env) {
  const QUVENModel& model = *models[index];
  const bool isUsable = model.getModelState() != 0 && model.hasUsableData(QUVEN_ENV);
  nodes[index].vol = isUsable ? model.getVolume(QUVEN_ENV) : Node::Unusable;
}

/// The highest number of a node in the frontier. The node need not be at its end.
std::int32_t QUVENTransformTree::getNewest() const {
  auto newest = static_cast<std::int32_t>(nodes.getSize());
  while (newest > 0 && !nodes[newest].isInFrontier()) --newest;
  return newest;
}

std::int32_t QUVENTransformTree::getFirst() const {
  std::int32_t first = getNewest();
  while (first > 0 && nodes[first].previous > 0) first = nodes[first].previous;
  return first;
}

void QUVENTransformTree::leaveFrontier(Node& node) {
  if (node.previous > 0) nodes[node.previous].next = node.next;
  if (node.next > 0) nodes[node.next].previous = node.previous;
  node.previous = node.next = Node::None;
}

void QUVENTransformTree::mergeInto(QUVENModel& target, QUVENModel& source, const QUVENEnvHandle& env) const {
  if (target.mergeModel(&source, QUVEN_ENV) == 0) quvenNotImplemented(QUVEN_ENV);
}

// Folding

/// The smaller neighbour of a node, the next one of two equal ones; 0 if there is none but the missing segment.
std::int32_t QUVENTransformTree::chooseNeighbour(const Node& node) const {
  std::int32_t next = node.next;
  if (next == missingNode) next = nodes[next].next;
  std::int32_t previous = node.previous;
  if (previous == missingNode) previous = nodes[previous].previous;
  if (next == 0 || previous == 0) return next + previous;
  return nodes[previous].vol < nodes[next].vol ? previous : next;
}

void QUVENTransformTree::fold(const QUVENEnvHandle& env) {
  for (std::int32_t i = getFirst(); i > 0;) {
    Node& node = nodes[i];
    const std::int32_t following = node.next;
    const std::int32_t neighbour = node.isUsable() || i == missingNode ? 0 : chooseNeighbour(node);
    if (neighbour > 0) {
      for (const std::int32_t segment : node.segments) nodes[neighbour].segments.append(segment, QUVEN_ENV);
      node.segments.deleteMemory(QUVEN_ENV);
      mergeInto(*models[neighbour], *models[i], QUVEN_ENV);
      models[i].reset(QUVEN_ENV);
      setVolume(neighbour, QUVEN_ENV);
      leaveFrontier(node);
    }
    i = following;
  }
}

// Merging

/// By how much the train score of the merged model is above the sum of both scores.
double QUVENTransformTree::computeCost(std::int32_t index, std::int32_t partner, const QUVENEnvHandle& env) {
  QUVENOwnPtr<QUVENModel> merged(QUVEN_ENV);
  cloneOf(merged, *models[index], QUVEN_ENV);
  mergeInto(*merged, *models[partner], QUVEN_ENV);
  const auto scoreOf = [&](const QUVENModel& model) { return model.getScore(QUVENModelScores::Train, QUVEN_ENV); };
  const double cost = scoreOf(*merged) - scoreOf(*models[index]) - scoreOf(*models[partner]);
  merged.reset(QUVEN_ENV);
  return cost;
}

void QUVENTransformTree::computeCosts(std::int32_t index, const QUVENEnvHandle& env) {
  Node& node = nodes[index];
  node.mergeCosts.setSize(index - 1, QUVEN_ENV);
  std::fill(node.mergeCosts.begin(), node.mergeCosts.end(), Node::NoCost);
  if (index == missingNode) return;
  const auto compute = [&](std::int32_t partner) {
    if (partner <= 0 || partner >= index || partner == missingNode || !nodes[partner].isInFrontier()) return;
    node.mergeCosts[partner] = computeCost(index, partner, QUVEN_ENV);
  };
  if (partners == Partners::Neighbours) {
    compute(node.previous);
    compute(node.next);
  } else {
    for (std::int32_t partner = 1; partner < index; ++partner) compute(partner);
  }
}

void QUVENTransformTree::updateBest(Node& node) const {
  const auto hasLeft = [&](std::int32_t partner) { return partner > 0 && !nodes[partner].isInFrontier(); };
  if (node.best > 0 && !hasLeft(node.best) && !hasLeft(node.bestLow)) return;
  node.best = node.bestLow = Node::None;
  node.bestCost = node.bestLowCost = Node::NoCost;
  for (std::int32_t partner = 1; partner <= node.mergeCosts.getSize(); ++partner) {
    const double cost = node.mergeCosts[partner];
    if (!nodes[partner].isInFrontier()) continue;
    if (cost < node.bestCost) {
      node.bestCost = cost;
      node.best = partner;
    }
    if ((node.isLow() || nodes[partner].isLow()) && cost < node.bestLowCost) {
      node.bestLowCost = cost;
      node.bestLow = partner;
    }
  }
}

/// The node of the cheapest merge, one with a low node before all others; 0 when no merge is allowed. Of equal ones the
/// first wins, in a walk from the newest node to the head of the frontier and then from the newest node to its end.
std::int32_t QUVENTransformTree::pickNode() const {
  std::int32_t bestOwner = 0;
  std::int32_t bestLowOwner = 0;
  double bestCost = Node::NoCost;
  double bestLowCost = Node::NoCost;
  const auto look = [&](std::int32_t index) {
    const Node& node = nodes[index];
    if (node.bestCost < bestCost) {
      bestCost = node.bestCost;
      bestOwner = index;
    }
    if (node.bestLowCost < bestLowCost) {
      bestLowCost = node.bestLowCost;
      bestLowOwner = index;
    }
  };
  const std::int32_t newest = getNewest();
  for (std::int32_t i = newest; i > 0; i = nodes[i].previous) look(i);
  for (std::int32_t i = nodes[newest].next; i > 0; i = nodes[i].next) look(i);
  return bestLowOwner > 0 ? bestLowOwner : bestOwner;
}

void QUVENTransformTree::mergeNodes(std::int32_t index, std::int32_t partner, const QUVENEnvHandle& env) {
  const auto made = static_cast<std::int32_t>(nodes.getSize() + 1);
  nodes.autoExtend(made, QUVEN_ENV);
  models.autoExtend(made, QUVEN_ENV);
  cloneOf(models[made], *models[index], QUVEN_ENV);
  mergeInto(*models[made], *models[partner], QUVEN_ENV);

  Node& node = nodes[made];
  node.child1 = index;
  node.child2 = partner;
  for (const std::int32_t child : {index, partner}) {
    for (const std::int32_t segment : nodes[child].segments) node.segments.append(segment, QUVEN_ENV);
  }
  leaveFrontier(nodes[partner]);
  node.previous = nodes[index].previous;
  node.next = nodes[index].next;
  leaveFrontier(nodes[index]);
  if (node.previous > 0) nodes[node.previous].next = made;
  if (node.next > 0) nodes[node.next].previous = made;
  setVolume(made, QUVEN_ENV);
  computeCosts(made, QUVEN_ENV);
}

void QUVENTransformTree::mergeAll(const QUVENEnvHandle& env) {
  const auto updateFrontier = [&] {
    for (std::int32_t i = getFirst(); i > 0; i = nodes[i].next) updateBest(nodes[i]);
  };
  for (std::int32_t i = getFirst(); i > 0; i = nodes[i].next) computeCosts(i, QUVEN_ENV);
  updateFrontier();
  for (std::int32_t picked = pickNode(); picked > 0; picked = pickNode()) {
    const Node& node = nodes[picked];
    mergeNodes(picked, node.bestLow > 0 ? node.bestLow : node.best, QUVEN_ENV);
    updateFrontier();
  }
}

// Final segments

void QUVENTransformTree::prune(const QUVENEnvHandle& env) {
  constexpr double unusableScore = 0.1 * std::numeric_limits<double>::max();
  std::vector<double> scores(static_cast<std::size_t>(nodes.getSize()) + 1);
  for (std::int32_t i = 1; i <= nodes.getSize(); ++i) {  // children first
    if (models[i] == nullptr) continue;
    Node& node = nodes[i];
    double& score = scores[static_cast<std::size_t>(i)];
    node.selected = 1;
    if (node.isLow()) {
      score = unusableScore;
      continue;
    }
    score = models[i]->getScore(QUVENModelScores::Evaluation, QUVEN_ENV);
    if (node.child1 == 0) continue;
    const double ofChildren =
        scores[static_cast<std::size_t>(node.child2)] + scores[static_cast<std::size_t>(node.child1)];
    if (ofChildren < score) {
      score = ofChildren;
      node.selected = 0;
    }
  }
}

void QUVENTransformTree::collect(Models& finalModels, QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle& env) {
  std::vector<std::int32_t> pending;
  map.setSize(0, QUVEN_ENV);
  for (std::int32_t i = getFirst(); i > 0; i = nodes[i].next) {
    pending.push_back(i);
    while (!pending.empty()) {
      const std::int32_t index = pending.back();
      const Node& node = nodes[index];
      pending.pop_back();
      if (node.selected == 0) {
        pending.insert(pending.end(), {node.child2, node.child1});
        continue;
      }
      finalModels.append(std::move(models[index]), QUVEN_ENV);
      for (const std::int32_t segment : node.segments) {
        map.autoExtend(segment, QUVEN_ENV);
        map[segment] = static_cast<std::int32_t>(finalModels.getSize());
      }
    }
  }
}

// For debugging

std::string QUVENTransformTree::describeNode(std::int32_t index) const {
  const Node& node = nodes.at(index);
  std::ostringstream text;
  text << "[" << index << "] = {";
  for (long i = 1; i <= node.segments.getSize(); ++i) text << (i > 1 ? "," : "") << node.segments[i];
  text << "},  vol = " << node.vol << ",  best = " << node.best << " (" << node.bestCost << ")"
       << ",  bestLow = " << node.bestLow << " (" << node.bestLowCost << ")";
  if (node.child1 > 0) text << "  ==> (" << node.child1 << "," << node.child2 << ")";
  if (index == missingNode) text << ",  MISSING";
  return text.str();
}

std::string QUVENTransformTree::describeFrontier() const {
  std::string text = "\nCurrent Frontier:\n";
  for (std::int32_t i = getFirst(); i > 0; i = nodes[i].next) text += describeNode(i) + "\n";
  return text;
}
