#include "analysis_examples.h"

#include <ostream>
#include <sstream>

#include "control/quven_XML_tag.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTestAnalysis);
QUVEN_REGISTER(QUVENTestBareAnalysis);

std::string QUVENTestAnalysis::takeCalls() { return std::exchange(calls, std::string()); }

int QUVENTestAnalysis::beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle&) {
  note("begin " + std::to_string(numExplanatoryFields));
  return 0;
}

void QUVENTestAnalysis::update(const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec,
                               SampleNumber sampleNumber, const QUVENEnvHandle&) {
  std::ostringstream text;
  text << "update";
  for (const double value : dataVec) text << ' ' << value;
  text << " |";
  for (const double value : targetVec) text << ' ' << value;
  text << " | " << sampleNumber;
  note(text.str());
  if (!dataVec.isEmpty()) ivSum += dataVec[1];
  lastSample = sampleNumber;
}

int QUVENTestAnalysis::endDataScan(const QUVENEnvHandle&) {
  note("end");
  return ivHasEnded;
}

int QUVENTestAnalysis::updateWithoutDataScan(const QUVENEnvHandle&) {
  note("without data");
  return 1;
}

int QUVENTestAnalysis::initIteration(const QUVENEnvHandle&) {
  note("init");
  return 1;
}

int QUVENTestAnalysis::finishIteration(const QUVENEnvHandle&) {
  note("finish");
  return 1;
}

void QUVENTestAnalysis::merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle&) {
  note("merge");
  ivSum += static_cast<QUVENTestAnalysis*>(other)->ivSum;
}

void QUVENTestAnalysis::print(std::ostream& out) const { out << "sum " << ivSum; }

void QUVENTestAnalysis::writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  tag.addLeafTagPath("Sum", QUVEN_ENV).setValue(ivSum, QUVEN_ENV);
}
