#include "simple_algorithm/quven_simple_algorithm_data.h"

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENSimpleAlgorithmAbstractData);

namespace {
/// For the operations that are called without a handle.
[[noreturn]] void unreachableHere(const char* function, int line) {
  quvenUnreachable(QUVENEnvHandle(static_cast<QUVENEnv*>(nullptr), __FILE__, line, function));
}
}  // namespace

void QUVENSimpleAlgorithmAbstractData::reservedOperation(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
int QUVENSimpleAlgorithmAbstractData::beginDataScan(std::int32_t, const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
void QUVENSimpleAlgorithmAbstractData::update(const QUVENXaRay<double>&, const QUVENXaRay<double>&, SampleNumber,
                                              const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
int QUVENSimpleAlgorithmAbstractData::endDataScan(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
int QUVENSimpleAlgorithmAbstractData::updateWithoutDataScan(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
std::int64_t QUVENSimpleAlgorithmAbstractData::updateFromKeptRows(QUVENKeptRows&, const QUVENEnvHandle&) { return -1; }
int QUVENSimpleAlgorithmAbstractData::initIteration(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
int QUVENSimpleAlgorithmAbstractData::finishIteration(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
bool QUVENSimpleAlgorithmAbstractData::isFinished() const { unreachableHere(__func__, __LINE__); }
void QUVENSimpleAlgorithmAbstractData::merge(QUVENSimpleAlgorithmAbstractData*, const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
void QUVENSimpleAlgorithmAbstractData::print(std::ostream&) const { unreachableHere(__func__, __LINE__); }
bool QUVENSimpleAlgorithmAbstractData::resultsAvailable() const { unreachableHere(__func__, __LINE__); }
void QUVENSimpleAlgorithmAbstractData::writeResultsToTag(QUVENXMLTag&, const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
QUVENScanType QUVENSimpleAlgorithmAbstractData::getScanKind(const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
double QUVENSimpleAlgorithmAbstractData::getScanFraction(const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
int QUVENSimpleAlgorithmAbstractData::needsMerge() const { unreachableHere(__func__, __LINE__); }
