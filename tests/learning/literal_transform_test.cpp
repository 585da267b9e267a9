// The whole training of a feature transform against the literal steps.

#include <map>
#include <random>
#include <set>

#include "literal_tree.h"
#include "transform_fixture.h"

namespace {

/// A set of initial segments: what a regression over their records says, each trained once from the records.
class QUVENLiteralTransformTest : public TransformTest {
 protected:
  struct Numbers {
    bool isUsable;
    double volume;
    double scores[2];
  };
  /// The data of a literal tree.
  struct Group {
    QUVENLiteralTransformTest* test;
    std::set<int> segments;
    bool isUsable() const { return test->numbersOf(segments).isUsable; }
    double volume() const { return test->numbersOf(segments).volume; }
    double score(int which) const { return test->numbersOf(segments).scores[which]; }
    Group operator+(const Group& other) const {
      Group sum = *this;
      sum.segments.insert(other.segments.begin(), other.segments.end());
      return sum;
    }
  };

  const Numbers& numbersOf(const std::set<int>& group) {
    const auto found = known.find(group);
    if (found != known.end()) return found->second;
    TransformTable records;
    for (std::size_t i = 0; i < table.size(); ++i) {
      if (group.contains(segmentOfRecord[i])) records.push_back(table[i]);
    }
    auto model = make<QUVENLinRegModel>();
    addInputs(*model, splitField, true);
    train(*model, 2, records);
    Numbers numbers{model->hasUsableData(QUVEN_ENV), model->getVolume(QUVEN_ENV), {}};
    for (int which = 0; which < 2; ++which) numbers.scores[which] = model->getScore(which, QUVEN_ENV);
    model.reset(QUVEN_ENV);
    return known.emplace(group, numbers).first->second;
  }

  TransformTable table;
  QUVENField* splitField = nullptr;
  std::vector<int> segmentOfRecord;
  std::map<std::set<int>, Numbers> known;
};

TEST_F(QUVENLiteralTransformTest, RandomTablesGiveTheGroupsAndScoresOfTheLiteralSteps) {
  std::mt19937 random(77);
  int unusableStayed = 0;
  int groupsOfSeveral = 0;
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    splitField = round % 2 == 0 ? x : c;
    table.clear();
    const unsigned most = round % 3 == 0 ? 40 : 160;
    const unsigned records = 1 + random() % most;
    for (unsigned i = 0; i < records; ++i) {
      TransformRecord record;
      const double level = static_cast<double>(random() % 8);
      record.x = random() % 15 == 0 ? absent : level * 10 + static_cast<double>(random() % 10000) / 1000;
      record.c = random() % 15 == 0 ? "" : std::string(1, static_cast<char>('a' + static_cast<int>(level)));
      record.z = static_cast<double>(random() % 10000) / 1000;
      record.y = static_cast<double>(static_cast<int>(level) % 3) * 4 + static_cast<double>(random()) / 4e9;
      record.channel = 1 + static_cast<int>(random() % Channels);
      table.push_back(record);
    }
    for (QUVENField* field : {x, c}) {  // distributions begin anew
      field->setSampleFlag(false, QUVEN_ENV);
      field->setSampleFlag(true, QUVEN_ENV);
    }
    gather(table);
    QUVENOwnPtr<QUVENSplitTest> split(QUVEN_ENV);
    QUVENSplitTest::createSplitTest(split, splitField, 2.0 * (Channels - 2), QUVEN_ENV);
    segmentOfRecord.clear();
    for (const TransformRecord& record : table) {
      set(record);
      segmentOfRecord.push_back(split->getSegment(1, QUVEN_ENV));
    }
    known.clear();
    std::vector<Group> leaves;
    for (int i = 1; i <= split->getNumSegments(); ++i) leaves.push_back({this, {i}});
    const LiteralTree<Group> literal(leaves, split->getMissingSegment(), splitField == x);

    makeTransform(splitField, true);
    train(*transform, 1, table);
    ASSERT_EQ(transform->getNumSegments(), static_cast<long>(literal.groups.size()));
    for (std::size_t i = 0; i < table.size(); ++i) {
      set(table[i]);
      const auto segment = static_cast<std::size_t>(transform->getSplitTest()->getSegment(1, QUVEN_ENV));
      ASSERT_TRUE(literal.groups[segment - 1].contains(segmentOfRecord[i])) << i;
    }
    for (long i = 1; i <= transform->getNumSegments(); ++i) {
      const Numbers& expected = numbersOf(literal.groups[static_cast<std::size_t>(i - 1)]);
      const QUVENLinRegModel& segment = transform->getSegmentModel(i);
      EXPECT_EQ(segment.hasUsableData(QUVEN_ENV), expected.isUsable);
      EXPECT_EQ(segment.getVolume(QUVEN_ENV), expected.volume);
      for (int which = 0; which < 2; ++which) {
        EXPECT_NEAR(segment.getScore(which, QUVEN_ENV), expected.scores[which],
                    1e-8 * (1 + std::abs(expected.scores[which])));
      }
    }
    unusableStayed += literal.leftUnusable ? 1 : 0;
    groupsOfSeveral += std::ranges::any_of(literal.groups, [](const auto& group) { return group.size() > 1; }) ? 1 : 0;
    split.reset(QUVEN_ENV);
  }
  EXPECT_GT(unusableStayed, 20);
  EXPECT_GT(groupsOfSeveral, 100);
}

}  // namespace
