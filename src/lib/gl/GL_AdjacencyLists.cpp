#include "gl/GL_AdjacencyLists.h"

#include <algorithm>
#include <string>

#include "base/BASE_Exception.h"

GL_AdjacencyLists::GL_AdjacencyLists(std::size_t numNodes, std::span<const GL_Edge> edges, Direction direction)
    : lists(numNodes) {
  for (const auto& [a, b] : edges) {
    checkNode(a);
    checkNode(b);
    ++lists[a].end;
    if (direction == Direction::Both) ++lists[b].end;
  }
  layOut();
  for (const auto& [a, b] : edges) {
    append(a, b);
    if (direction == Direction::Both) append(b, a);
  }
  for (List& list : lists) {
    const auto first = successors.begin() + static_cast<std::ptrdiff_t>(list.begin);
    const auto last = successors.begin() + static_cast<std::ptrdiff_t>(list.end);
    std::sort(first, last);
    list.end = static_cast<std::size_t>(std::unique(first, last) - successors.begin());
  }
}

std::size_t GL_AdjacencyLists::getNumEdges() const {
  std::size_t count = 0;
  for (const List& list : lists) count += list.end - list.begin;
  return count;
}

bool GL_AdjacencyLists::hasEdge(GL_Edge edge) const {
  const auto found = getSuccessors(edge.first);
  return std::binary_search(found.begin(), found.end(), edge.second);
}

void GL_AdjacencyLists::removeEdge(GL_Edge edge) {
  if (!hasEdge(edge)) return;
  List& list = lists[edge.first];
  GL_Node* const first = successors.data() + list.begin;
  GL_Node* const place = std::lower_bound(first, successors.data() + list.end, edge.second);
  std::move_backward(first, place, place + 1);
  ++list.begin;
}

void GL_AdjacencyLists::transpose() {
  const GL_AdjacencyLists old = *this;
  for (List& list : lists) list = {};
  for (GL_Node a = 0; a < old.lists.size(); ++a) {
    for (const GL_Node b : old.getSuccessors(a)) ++lists[b].end;
  }
  layOut();
  for (GL_Node a = 0; a < old.lists.size(); ++a) {
    for (const GL_Node b : old.getSuccessors(a)) append(b, a);
  }
}

void GL_AdjacencyLists::stopAtNode(GL_Node node) const {
  BASE_StopOnInternalError(
      "Trying to access node " + std::to_string(node) + " in graph of size " + std::to_string(lists.size()),
      "src/lib/gl/GL_AdjacencyLists", __LINE__);
}

void GL_AdjacencyLists::layOut() {
  std::size_t place = 0;
  for (List& list : lists) {
    const std::size_t size = list.end;
    list = {place, place};
    place += size;
  }
  successors.assign(place, 0);
}
