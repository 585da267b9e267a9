// Graphs: clusters of a large graph, and page rank of graphs of the size of one cluster beside a plain power iteration
// over compressed rows. Items are edges (of page rank: edges times steps).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

#include "gl/GL_Digraph.h"
#include "gl/GL_Graph.h"

namespace {

std::vector<GL_Edge> randomEdges(std::size_t numNodes, std::size_t numEdges) {
  std::mt19937 random(20240611);
  std::vector<GL_Edge> edges(numEdges);
  for (auto& [a, b] : edges) {
    a = static_cast<GL_Node>(random() % numNodes);
    b = static_cast<GL_Node>(random() % numNodes);
  }
  return edges;
}

constexpr std::size_t meanDegree = 10;
constexpr int steps = 10;
constexpr double jumpProbability = 0.15;

/// The textbook form: rows of predecessors with a probability each, in compressed storage.
struct CompressedRows {
  explicit CompressedRows(const Digraph& graph) : begins(graph.getNumNodes() + 1) {
    Digraph reversed = graph;
    reversed.transpose();
    for (GL_Node i = 0; i < graph.getNumNodes(); ++i) {
      for (const GL_Node j : reversed.getSuccessors(i)) {
        columns.push_back(j);
        values.push_back(1.0 / static_cast<double>(graph.getSuccessors(j).size()) * (1 - jumpProbability));
      }
      begins[i + 1] = columns.size();
    }
  }

  std::vector<double> pageRank(double tolerance) const {
    const std::size_t n = begins.size() - 1;
    std::vector<double> rank(n, 1.0 / static_cast<double>(n));
    std::vector<double> next(n);
    for (int t = 1;; ++t) {
      double sum = 0;
      for (std::size_t i = 0; i < n; ++i) {
        double value = 0;
        for (std::size_t k = begins[i]; k < begins[i + 1]; ++k) value += values[k] * rank[columns[k]];
        next[i] = value;
        sum += value;
      }
      double difference = 0;
      for (std::size_t i = 0; i < n; ++i) {
        next[i] += (1 - sum) / static_cast<double>(n);
        difference += std::abs(next[i] - rank[i]);
      }
      rank.swap(next);
      if (difference <= tolerance || t >= steps) return rank;
    }
  }

  std::vector<std::size_t> begins;
  std::vector<GL_Node> columns;
  std::vector<double> values;
};

Digraph clusterOf(const benchmark::State& state) {
  const auto numNodes = static_cast<std::size_t>(state.range(0));
  return Digraph(numNodes, randomEdges(numNodes, numNodes * meanDegree));
}

void countSteps(benchmark::State& state, const Digraph& graph) {
  state.SetItemsProcessed(state.iterations() * steps * static_cast<std::int64_t>(graph.getNumEdges()));
}

void BM_DigraphPageRank(benchmark::State& state) {
  const Digraph graph = clusterOf(state);
  std::vector<double> result;
  graph.pageRank(result, steps, 0, jumpProbability);
  if (result != CompressedRows(graph).pageRank(0)) state.SkipWithError("the plain iteration gives another result");
  for (auto _ : state) {
    graph.pageRank(result, steps, 0, jumpProbability);
    benchmark::DoNotOptimize(result.data());
  }
  countSteps(state, graph);
}

/// What a plain program would do: the rows are made of the graph each time, as page rank starts from the graph too.
void BM_PlainPageRank(benchmark::State& state) {
  const Digraph graph = clusterOf(state);
  for (auto _ : state) benchmark::DoNotOptimize(CompressedRows(graph).pageRank(0));
  countSteps(state, graph);
}

/// The iteration alone, with the rows ready.
void BM_PlainPageRankSteps(benchmark::State& state) {
  const Digraph graph = clusterOf(state);
  const CompressedRows rows(graph);
  for (auto _ : state) benchmark::DoNotOptimize(rows.pageRank(0));
  countSteps(state, graph);
}

void BM_GraphBuild(benchmark::State& state) {
  const auto numNodes = static_cast<std::size_t>(state.range(0));
  const auto edges = randomEdges(numNodes, numNodes * meanDegree);
  for (auto _ : state) benchmark::DoNotOptimize(Graph(numNodes, edges).getNumNodes());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(edges.size()));
}

void BM_GraphClusters(benchmark::State& state) {
  const auto numNodes = static_cast<std::size_t>(state.range(0));
  const auto edges = randomEdges(numNodes, numNodes * meanDegree);
  const Graph graph(numNodes, edges);
  std::vector<std::vector<GL_Node>> list;
  std::vector<double> densities;
  graph.clusters(list, 100, densities);
  std::vector<int> uses(numNodes);
  for (const auto& cluster : list) {
    for (const GL_Node v : cluster) ++uses[v];
    if (cluster.size() < 2 || cluster.size() > 100) state.SkipWithError("a cluster of a wrong size");
  }
  if (*std::max_element(uses.begin(), uses.end()) != 1) state.SkipWithError("no cluster, or a node in two");
  for (auto _ : state) {
    graph.clusters(list, 100, densities);
    benchmark::DoNotOptimize(densities.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(edges.size()));
}

BENCHMARK(BM_DigraphPageRank)->Arg(10)->Arg(100)->Arg(800);
BENCHMARK(BM_PlainPageRank)->Arg(10)->Arg(100)->Arg(800);
BENCHMARK(BM_PlainPageRankSteps)->Arg(10)->Arg(100)->Arg(800);
BENCHMARK(BM_GraphBuild)->Arg(5000)->Arg(50000)->Arg(500000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GraphClusters)->Arg(5000)->Arg(50000)->Arg(500000)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
#ifndef NDEBUG
  std::fputs("a debug build says nothing about speed\n", stderr);
  return 1;
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
