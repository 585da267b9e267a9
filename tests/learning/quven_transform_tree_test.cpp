#include "learning/quven_transform_tree.h"

#include <array>
#include <random>
#include <set>

#include "kernel/kernel_fixture.h"
#include "kernel/quven_learning_model.h"
#include "literal_tree.h"
#include "util/quven_registration.h"

namespace {

/// Whole numbers in two folds, each of which is predicted by the mean of the other. The sums are exact, so that scores
/// do not depend on the order of merges.
struct Sums {
  std::array<double, 2> count{};
  std::array<double, 2> sum{};
  std::array<double, 2> squares{};

  void add(int fold, double value) {
    const auto f = static_cast<std::size_t>(fold);
    count[f] += 1;
    sum[f] += value;
    squares[f] += value * value;
  }
  Sums operator+(const Sums& other) const {
    Sums result = *this;
    for (std::size_t f = 0; f < 2; ++f) {
      result.count[f] += other.count[f];
      result.sum[f] += other.sum[f];
      result.squares[f] += other.squares[f];
    }
    return result;
  }
  bool isUsable() const { return count[0] >= 1 && count[1] >= 1; }
  double volume() const { return 0.5 * std::min(count[0], count[1]); }
  double score(int which) const {
    double result = 0;
    for (std::size_t f = 0; f < 2; ++f) {
      const std::size_t other = 1 - f;
      const double mean = count[other] > 0 ? sum[other] / count[other] : 0;
      const std::size_t judged = which == 0 ? other : f;
      result += squares[judged] - 2 * mean * sum[judged] + count[judged] * mean * mean;
    }
    return result;
  }
};

}  // namespace

/// A model of such sums.
class QUVENTestSums : public QUVENObjectOf<QUVENTestSums, QUVENLearningModel> {
 public:
  explicit QUVENTestSums(const QUVENEnvHandle& env) : Members(env) {}

  static void cloneOf(QUVENOwnPtr<QUVENModel>& result, const QUVENModel& source, const QUVENEnvHandle& env) {
    source.clone(result, QUVEN_ENV);
    auto& made = static_cast<QUVENTestSums&>(*result);
    const auto& given = static_cast<const QUVENTestSums&>(source);
    made.copyTraining(given);
    made.sums = given.sums;
    made.canMerge = given.canMerge;
    ++clones;
  }
  bool setMiningModeHook(std::int32_t, QUVENModel*, const QUVENEnvHandle&) override { return true; }
  bool merge(QUVENDataScan* other, const QUVENEnvHandle&) override {
    sums = sums + static_cast<const QUVENTestSums&>(*other).sums;
    return canMerge;
  }
  void beginRecords(const QUVENEnvHandle&) override {}
  void learn(QUVENDataPoint&, const QUVENEnvHandle&) override {}
  bool hasUsableData(const QUVENEnvHandle&) const override { return sums.isUsable(); }
  double getVolume(const QUVENEnvHandle&) const override { return sums.volume(); }
  double getScore(int which, const QUVENEnvHandle&) const override { return sums.score(which); }
  void scoreChannel(std::int32_t, QUVENDataPoint&, const QUVENEnvHandle&) override {}

  static inline int clones = 0;
  Sums sums;
  bool canMerge = true;
};

QUVEN_REGISTER(QUVENTestSums);

namespace {

using testing::ElementsAre;

class QUVENTransformTreeTest : public KernelTest {
 protected:
  using Partners = QUVENTransformTree::Partners;

  void TearDown() override {
    models.deleteMemory(QUVEN_ENV);
    map.deleteMemory(QUVEN_ENV);
    tree.deleteMemory(QUVEN_ENV);
    anyTree.deleteMemory(QUVEN_ENV);
    KernelTest::TearDown();
  }

  /// A segment of values, dealt over the folds in turn.
  static Sums of(const std::vector<double>& values) {
    Sums sums;
    int fold = 0;
    for (const double value : values) sums.add(fold++ % 2, value);
    return sums;
  }
  /// A segment of 2 n records with the values x and x + 1 in both folds.
  static Sums around(double x, int n) {
    Sums sums;
    for (int i = 0; i < n; ++i) {
      sums.add(0, x + i % 2);
      sums.add(1, x + i % 2);
    }
    return sums;
  }

  /// Models trained in mode 2, of which the last is the missing one.
  void open(QUVENTransformTree& opened, const std::vector<Sums>& segments) {
    models.deleteMemory(QUVEN_ENV);
    for (const Sums& sums : segments) {
      auto model = make<QUVENTestSums>();
      EXPECT_TRUE(model->setMiningMode(QUVENModel::TrainForMerging, nullptr, QUVEN_ENV));
      model->sums = sums;
      models.append(std::move(model), QUVEN_ENV);
    }
    opened.open(models, static_cast<std::int32_t>(segments.size()), QUVEN_ENV);
  }
  void run(QUVENTransformTree& opened) {
    opened.fold(QUVEN_ENV);
    opened.mergeAll(QUVEN_ENV);
    opened.prune(QUVEN_ENV);
    models.deleteMemory(QUVEN_ENV);
    opened.collect(models, map, QUVEN_ENV);
    opened.deleteMemory(QUVEN_ENV);
  }
  /// The initial segments of each final one.
  std::vector<std::set<int>> groups() const {
    std::vector<std::set<int>> result(static_cast<std::size_t>(models.getSize()));
    for (long i = 1; i <= map.getSize(); ++i)
      result.at(static_cast<std::size_t>(map[i] - 1)).insert(static_cast<int>(i));
    return result;
  }
  Sums sumsOf(long segment) const { return static_cast<const QUVENTestSums&>(*models[segment]).sums; }

  QUVENTransformTree tree{Partners::Neighbours, QUVENTestSums::cloneOf};
  QUVENTransformTree anyTree{Partners::All, QUVENTestSums::cloneOf};
  QUVENTransformTree::Models models;
  QUVENXaRay<std::int32_t> map;
};

TEST_F(QUVENTransformTreeTest, MergesNeighboursThatAreAlike) {
  open(tree, {around(0, 10), around(0, 12), around(50, 10), around(50, 10), around(0, 10), around(0, 4)});
  run(tree);
  std::vector<std::set<int>> found = groups();
  std::ranges::sort(found);
  EXPECT_THAT(found, ElementsAre(std::set{1, 2}, std::set{3, 4}, std::set{5}, std::set{6}));
}

TEST_F(QUVENTransformTreeTest, MergesAnySegmentsThatAreAlike) {
  open(anyTree, {around(0, 10), around(0, 12), around(50, 10), around(50, 10), around(0, 10), around(0, 4)});
  run(anyTree);
  std::vector<std::set<int>> found = groups();
  std::ranges::sort(found);
  EXPECT_THAT(found, ElementsAre(std::set{1, 2, 5}, std::set{3, 4}, std::set{6}));
}

TEST_F(QUVENTransformTreeTest, TheMissingSegmentAloneStays) {
  open(tree, {Sums()});
  run(tree);
  EXPECT_THAT(groups(), ElementsAre(std::set{1}));
  open(tree, {around(7, 3), Sums()});
  run(tree);
  EXPECT_THAT(groups(), ElementsAre(std::set{1}, std::set{2}));
}

TEST_F(QUVENTransformTreeTest, AnUnusableNodeIsFoldedIntoItsSmallerNeighbour) {
  open(tree, {around(0, 4), Sums(), around(90, 2), Sums()});
  tree.fold(QUVEN_ENV);
  EXPECT_FALSE(tree.getNode(2).isInFrontier());
  EXPECT_EQ(tree.getNode(3).segments.getSize(), 2);
  EXPECT_EQ(tree.getNode(3).vol, 1);
  tree.deleteMemory(QUVEN_ENV);
  // The next one of two equal ones.
  open(tree, {around(0, 4), Sums(), around(90, 4), Sums()});
  tree.fold(QUVEN_ENV);
  EXPECT_EQ(tree.getNode(3).segments.getSize(), 2);
  tree.deleteMemory(QUVEN_ENV);
  // The last one has only one neighbour beside the missing segment.
  open(tree, {around(0, 4), of({5}), Sums()});
  tree.fold(QUVEN_ENV);
  EXPECT_THAT(std::vector<int>(tree.getNode(1).segments.begin(), tree.getNode(1).segments.end()), ElementsAre(1, 2));
  EXPECT_EQ(tree.getNode(1).vol, 2);
}

TEST_F(QUVENTransformTreeTest, UnusableNodesAreCollectedOnTheWay) {
  open(tree, {of({1}), of({2}), of({3, 3}), of({4}), around(9, 5), Sums()});
  tree.fold(QUVEN_ENV);
  // 1 goes to 2, which stays unusable and goes to 3: two records in fold 0 and one in each fold.
  EXPECT_EQ(tree.getNode(3).segments.getSize(), 4);
  EXPECT_EQ(tree.getNode(5).segments.getSize(), 1);
  EXPECT_EQ(tree.describeFrontier().find("[1]"), std::string::npos);
}

TEST_F(QUVENTransformTreeTest, AnUnusableNodeWithoutANeighbourStays) {
  open(tree, {of({1}), of({2}), around(3, 8)});
  run(tree);
  EXPECT_THAT(groups(), ElementsAre(std::set{1, 2}, std::set{3}));
  EXPECT_FALSE(sumsOf(1).isUsable());
}

TEST_F(QUVENTransformTreeTest, AModelWithoutAModeIsUnusable) {
  open(tree, {around(0, 10), around(50, 10), Sums()});
  EXPECT_EQ(tree.getNode(1).vol, 5);
  tree.deleteMemory(QUVEN_ENV);
  for (int i = 0; i < 2; ++i) {
    auto model = make<QUVENTestSums>();
    model->sums = around(0, 10);
    models.append(std::move(model), QUVEN_ENV);
  }
  tree.open(models, 2, QUVEN_ENV);
  EXPECT_EQ(tree.getNode(1).vol, -1);
}

// Segment 2 has one record in each fold: a volume of 0.5.
TEST_F(QUVENTransformTreeTest, SmallNodesAreMergedFirstAndNeverStayAlone) {
  open(anyTree, {around(0, 10), around(50, 1), around(0, 10), around(51, 10), Sums()});
  anyTree.fold(QUVEN_ENV);
  anyTree.mergeAll(QUVEN_ENV);
  EXPECT_EQ(anyTree.getNode(6).child1, 4);
  EXPECT_EQ(anyTree.getNode(6).child2, 2);
  anyTree.prune(QUVEN_ENV);
  EXPECT_EQ(anyTree.getNode(6).selected, 1);
  models.deleteMemory(QUVEN_ENV);
  anyTree.collect(models, map, QUVEN_ENV);
  // The children of the top are its picked node, which is made of 1 and 3, and the one of 2 and 4.
  std::vector<std::set<int>> found = groups();
  std::ranges::sort(found);
  EXPECT_THAT(found, ElementsAre(std::set{1, 3}, std::set{2, 4}, std::set{5}));
}

TEST_F(QUVENTransformTreeTest, WithNeighboursOnlyFrontierNeighboursHaveACost) {
  open(tree, {around(0, 10), around(3, 10), around(60, 10), around(61, 10), around(5, 9)});
  tree.fold(QUVEN_ENV);
  tree.mergeAll(QUVEN_ENV);
  constexpr double none = QUVENTransformTreeNode::NoCost;
  for (long i = 1; i <= 5; ++i) {
    const auto& costs = tree.getNode(i).mergeCosts;
    ASSERT_EQ(costs.getSize(), i - 1);
    for (long j = 1; j < i; ++j) EXPECT_EQ(costs[j] < none, j == i - 1 && i < 5) << i << " " << j;
  }
  // 3 and 4 merge first, to node 6, whose neighbour is 2; then 1 and 2, to node 7, and both of them.
  EXPECT_EQ(tree.getNode(6).child1, 4);
  EXPECT_EQ(tree.getNode(6).child2, 3);
  for (long j = 1; j <= 5; ++j) EXPECT_EQ(tree.getNode(6).mergeCosts[j] < none, j == 2) << j;
  EXPECT_EQ(tree.getNode(7).child1, 2);
  EXPECT_EQ(tree.getNode(7).child2, 1);
  for (long j = 1; j <= 6; ++j) EXPECT_EQ(tree.getNode(7).mergeCosts[j] < none, j == 6) << j;
  EXPECT_EQ(tree.getNumNodes(), 8);
}

TEST_F(QUVENTransformTreeTest, DescribesTheFrontier) {
  open(tree, {around(0, 10), around(0, 10), of({5}), Sums()});
  EXPECT_EQ(tree.describeFrontier(),
            "\nCurrent Frontier:\n"
            "[1] = {1},  vol = 5,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308)\n"
            "[2] = {2},  vol = 5,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308)\n"
            "[3] = {3},  vol = -1,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308)\n"
            "[4] = {4},  vol = -1,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308),  MISSING\n");
  tree.fold(QUVEN_ENV);
  tree.mergeAll(QUVEN_ENV);
  EXPECT_EQ(tree.describeFrontier(),
            "\nCurrent Frontier:\n"
            "[5] = {2,3,1},  vol = 10,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308)  ==> (2,1)\n"
            "[4] = {4},  vol = -1,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308),  MISSING\n");
  EXPECT_EQ(tree.describeNode(1), "[1] = {1},  vol = 5,  best = -1 (1.79769e+308),  bestLow = -1 (1.79769e+308)");
  EXPECT_THAT(tree.describeNode(2), testing::StartsWith("[2] = {2,3},  vol = 5,  best = 1 ("));
}

TEST_F(QUVENTransformTreeTest, ModelsThatCannotMergeStopTheRun) {
  for (const bool folds : {true, false}) {
    models.deleteMemory(QUVEN_ENV);
    for (int i = 0; i < 3; ++i) {
      auto model = make<QUVENTestSums>();
      EXPECT_TRUE(model->setMiningMode(QUVENModel::TrainForMerging, nullptr, QUVEN_ENV));
      model->sums = folds && i == 0 ? Sums() : around(0, 4);
      model->canMerge = false;
      models.append(std::move(model), QUVEN_ENV);
    }
    tree.open(models, 3, QUVEN_ENV);
    if (folds) {
      expectFailure([&] { tree.fold(QUVEN_ENV); }, notImplementedText);
    } else {
      tree.fold(QUVEN_ENV);
      expectFailure([&] { tree.mergeAll(QUVEN_ENV); }, notImplementedText);
    }
    tree.deleteMemory(QUVEN_ENV);
  }
}

TEST_F(QUVENTransformTreeTest, CostsAreComputedOncePerPair) {
  std::vector<Sums> segments;
  for (int i = 0; i < 30; ++i) segments.push_back(around(i * i % 17, 5 + i % 3));
  segments.emplace_back();
  QUVENTestSums::clones = 0;
  open(tree, segments);
  run(tree);
  // 29 pairs at first; then each of 29 merges makes a model and has at most two neighbours.
  EXPECT_LE(QUVENTestSums::clones, 29 + 29 + 2 * 29);
  QUVENTestSums::clones = 0;
  open(anyTree, segments);
  run(anyTree);
  // After k merges there are 30 - k nodes, and the newest is compared with the 29 - k others.
  EXPECT_EQ(QUVENTestSums::clones, 30 * 29 / 2 + 29 + 29 * 28 / 2);
}

TEST_F(QUVENTransformTreeTest, RandomTablesGroupAsTheLiteralSteps) {
  std::mt19937 random(2026);
  int unusableStayed = 0;
  int pruned = 0;
  for (int table = 0; table < 300; ++table) {
    SCOPED_TRACE(table);
    const bool neighboursOnly = table % 2 == 0;
    // Small segments in a third of the tables, so that many are unusable or low.
    const unsigned mostRecords = table % 3 == 0 ? 3 : 12;
    std::vector<Sums> segments(1 + random() % (table % 3 == 0 ? 4 : 12));
    for (std::size_t i = 0; i < segments.size(); ++i) {
      const double level = static_cast<double>(random() % 4) * 3;
      const unsigned records = random() % (mostRecords + 1);
      for (unsigned r = 0; r < records; ++r) {
        segments[i].add(static_cast<int>(random() % 2), level + static_cast<double>(random() % 5));
      }
    }
    const LiteralTree<Sums> literal(segments, static_cast<int>(segments.size()), neighboursOnly);
    QUVENTransformTree& tested = neighboursOnly ? tree : anyTree;
    open(tested, segments);
    run(tested);
    ASSERT_EQ(groups(), literal.groups);
    double total = 0;
    for (long i = 1; i <= models.getSize(); ++i) {
      Sums expected;
      for (const int segment : literal.groups[static_cast<std::size_t>(i - 1)]) {
        expected = expected + segments[static_cast<std::size_t>(segment - 1)];
      }
      EXPECT_EQ(sumsOf(i).score(1), expected.score(1));
      EXPECT_EQ(sumsOf(i).count, expected.count);
      const bool isLow = !expected.isUsable() || expected.volume() < 1;
      total += isLow ? 0.1 * LiteralTree<Sums>::most : expected.score(1);
    }
    if (total < 0.05 * LiteralTree<Sums>::most) {
      EXPECT_NEAR(total, literal.total, 1e-9 * (1 + total));
    }
    unusableStayed += literal.leftUnusable ? 1 : 0;
    pruned += std::ranges::any_of(literal.groups, [](const auto& group) { return group.size() > 1; }) ? 1 : 0;
  }
  EXPECT_GT(unusableStayed, 20);
  EXPECT_GT(pruned, 100);
}

}  // namespace
