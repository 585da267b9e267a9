#include "support/registry_walk.h"

namespace {

bool isScan(const QUVENTypeName& type) {
  const QUVENClassInfo* info = QUVENClassInfo::find(type);
  while (info != nullptr && info->getType().getName() != std::string("QUVENDataScan")) info = info->getBase();
  return info != nullptr;
}

// Every class of the analytic floor and of the core below it that is no scan. A scan gets a serial number of its own
// and cannot be moved; scans have tests of their own.
TEST(AnalyticTypes, TravelWithAnyContent) {
  RegistryWalk walk;
  walk.skipped = {
      "QUVENDataScanGlobalVars",  // is never saved or copied, and says so
      "QUVENDataPoint",           // has a field in every place, and fields are scans
      "QUVENFieldNameMap",        // the same
      "QUVENSymmetricMatrix",     // has as many elements as some order, and says so
      "QUVENLSData",              // the same
      "QUVENLSCholeskiModel",     // has as many coefficients as its rank, and says so
      "QUVENLSResults",           // has models in the order of their ranks, and says so
      "QUVENNumericSplit",        // has a field and as many segments as intervals, and says so
      "QUVENCategoricalSplit",    // has a field and a segment for each category, and says so
      "QUVENBinaryInputDataset",  // open files are not saved, and say so
      "QUVENMultifileOutput",
      "QUVENSNAData",  // its arrays come in pairs of one length, its state is one of three
      "QUVENCGAData",  // the same, of another set of states
  };
  for (const QUVENTypeName* type : quvenMakableTypes()) {
    if (isScan(*type)) walk.skipped.insert(type->getName());
  }
  EXPECT_GE(walk.walk(), 20);
}

}  // namespace
