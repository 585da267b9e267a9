// Any bytes as the parameter file of the group analysis: it is refused with a report, or opened with parameters in
// their ranges; an analysis that is open can be written, read and asked for its parameters.

#include "control/quven_XML_handler.h"
#include "fuzz_support.h"
#include "simple_algorithm/quven_cgadata.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

namespace {

constexpr const char* topElement = "AnalysisParams";

int number(const QUVENXMLTag& tag, const char* path, QUVENEnv* env) {
  return std::atoi(tag.getTag(path, QUVEN_ENV).getValue().c_str());
}

void checkOpened(QUVENCGAData& analysis, QUVENEnv* env) {
  QUVENXMLTag results;
  analysis.writeResultsToTag(results, QUVEN_ENV);
  const int least = number(results, "InputParameters/MinClusterSize", env);
  REQUIRE(least >= 1);
  REQUIRE(number(results, "InputParameters/MaxClusterSize", env) >= least);
  REQUIRE(number(results, "InputParameters/NumIterationsConnectingNodes", env) >= 1);
  REQUIRE(results.getTag("InputParameters/Kernel/KernelType", QUVEN_ENV).getValue() == "Friends");
  results.destroyPrimitive(QUVEN_ENV);
  if (analysis.getState() == QUVENCGAData::StartFromKernel) return;
  REQUIRE(analysis.getState() == QUVENCGAData::BuildingKernel);

  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::SaveForWorker);
  quvenWriteObject(writer, analysis, QUVEN_ENV);
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  QUVENOwnPtr<QUVENCGAData> copy(QUVEN_ENV);
  quvenReadObject(reader, copy, QUVENCGAData::typeName(), QUVEN_ENV);
  REQUIRE(blob.getRemaining() == 0);
  REQUIRE(copy->getScanKind(QUVEN_ENV) == analysis.getScanKind(QUVEN_ENV));
  QUVEN_DELETE(copy);
  QUVEN_DELETE(blob);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  const std::string path = folder.write("params.xml", {data, size});
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  auto tree = QUVENXMLHandler::create(QUVEN_ENV);
  auto analysis = quvenMake<QUVENCGAData>(QUVEN_ENV);
  bool isOpen = false;
  const FuzzRun run = fuzzRun([&] {
    tree->resetTree(QUVEN_ENV);
    if (tree->readXMLFile(path, QUVEN_ENV) != 1 || !tree->hasTag(topElement, QUVEN_ENV)) return;
    analysis->open(tree->getTag(topElement, QUVEN_ENV), QUVEN_ENV);
    isOpen = true;
  });
  REQUIRE(!(run.terminated && isOpen));
  if (isOpen) {
    REQUIRE(run.out.ends_with("Log;|0;|Reading parameter file is done.;|LogEnd\n"));
    checkOpened(*analysis, env);
  }
  QUVEN_DELETE(analysis);
  QUVEN_DELETE(tree);
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
