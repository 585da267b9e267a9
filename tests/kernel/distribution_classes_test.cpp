#include "support/registry_walk.h"

// The parts of distributions and what else of fields is no scan: a scan gets a serial number of its own and cannot be
// moved, so that the walk is not for it.
TEST(DistributionClasses, TravelWithAnyContent) {
  const std::set<std::string> walked{"QUVENRealPQElement",     "QUVENNumFieldBin",    "QUVENNumFieldDist",
                                     "QUVENStringPQElement",   "QUVENCatFieldCat",    "QUVENCatFieldDist",
                                     "QUVENFieldCorrelations", "QUVENFieldGlobalVars"};
  RegistryWalk walk;
  for (const QUVENTypeName* type : quvenMakableTypes()) {
    if (!walked.contains(type->getName())) walk.skipped.insert(type->getName());
  }
  EXPECT_EQ(walk.walk(), static_cast<int>(walked.size()));
}
