#include "operations.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace vesk_loader {
namespace {

// As the page of the parameter file lists them.
TEST(Operations, HaveTheirNamesRunsAndOutputTags) {
  struct Expected {
    const char* name;
    RunKind run;
    OutputTag output;
    bool addsToSum;
  };
  const Expected expected[] = {{"CyclicAdd", RunKind::Table, OutputTag::Ignored, false},
                               {"CyclicAddPayload", RunKind::Table, OutputTag::Ignored, false},
                               {"Add", RunKind::Plain, OutputTag::Required, true},
                               {"Count", RunKind::Plain, OutputTag::Required, true},
                               {"PairSum", RunKind::Plain, OutputTag::Optional, false}};
  ASSERT_EQ(std::size(expected), operationCount);
  std::set<OperationKind> found;
  for (const Expected& operation : expected) {
    SCOPED_TRACE(operation.name);
    OperationKind kind{};
    ASSERT_TRUE(find_operation(operation.name, kind));
    EXPECT_TRUE(found.insert(kind).second);
    const Operation row = describe(kind);
    EXPECT_EQ(row.run, operation.run);
    EXPECT_EQ(row.output, operation.output);
    EXPECT_EQ(addsToSum(row.effect), operation.addsToSum);
    EXPECT_EQ(row.trace.empty(), row.run == RunKind::Table);
  }
}

TEST(Operations, AreFoundByTheWholeNameOnly) {
  OperationKind kind = OperationKind::Count;
  for (const char* name : {"", "cyclicadd", "Cyclic", "CyclicAddPayloads", "Add ", "Subtract"}) {
    EXPECT_FALSE(find_operation(name, kind)) << name;
  }
  EXPECT_EQ(kind, OperationKind::Count);
}

}  // namespace
}  // namespace vesk_loader
