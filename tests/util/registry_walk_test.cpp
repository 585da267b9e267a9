#include "support/registry_walk.h"

#include "object_examples.h"

TEST(RegistryWalk, KnowsTheTypesThatCanBeMade) {
  std::set<std::string> names;
  for (const QUVENTypeName* type : quvenMakableTypes()) names.insert(type->getName());
  for (const char* name : {"QUVENObject", "QUVENTestLeaf", "QUVENTestNode", "QUVENTestPlain", "QUVENTestConcrete"}) {
    EXPECT_TRUE(names.contains(name)) << name;
  }
  EXPECT_FALSE(names.contains("QUVENTestAbstract"));
}

TEST(RegistryWalk, ThePatternFillsEveryKindOfMember) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  std::set<std::string> seen;
  for (unsigned seed = 1; seed <= 20; ++seed) {
    QUVENOwnPtr<QUVENTestNode> node(QUVEN_ENV);
    {
      PatternReader pattern(QUVENTestNode::typeName(), seed, QUVEN_ENV);
      quvenReadObject(pattern, node, QUVENTestNode::typeName(), QUVEN_ENV);
    }
    if (node->ivUnsignedLong != 0) seen.insert("number");
    if (node->ivDouble != 0) seen.insert("double");
    if (!node->ivText.empty()) seen.insert("text");
    if (!node->ivInts.isEmpty()) seen.insert("array");
    if (!node->ivLeaves.isEmpty()) seen.insert("objects by value");
    if (node->ivLeaf.ivNumber != 0) seen.insert("object by value");
    if (node->ivOwned != nullptr) seen.insert("owned object");
    if (node->ivOwned == nullptr) seen.insert("no object");
    if (!node->ivChildren.isEmpty() && node->ivChildren[1] != nullptr) seen.insert("owned objects");
    if (node->ivAny != nullptr && node->ivAny->isA(QUVENTestNode::typeName()) == 0) seen.insert("another class");
    QUVEN_DELETE(node);
  }
  EXPECT_EQ(seen.size(), 10U);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

TEST(RegistryWalk, EveryTypeTravelsAndIsCopiedAndMoved) {
  RegistryWalk walk;
  walk.skipped = {"QUVENTestBarren"};  // it makes no new object
  EXPECT_GE(walk.walk(), 6);
}
