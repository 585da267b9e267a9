#include "simple_algorithm/quven_simple_algorithm_protocol.h"

#include "simple_algorithm/quven_simple_algorithm_model.h"
#include "util/quven_debug.h"

const QUVENTypeName& QUVENSimpleAlgorithmProtocol::getScanClass() const {
  return QUVENSimpleAlgorithmModel::typeName();
}

void QUVENSimpleAlgorithmProtocol::end(QUVENDataScan& scan, std::int32_t, const QUVENEnvHandle& env) const {
  auto& model = static_cast<QUVENSimpleAlgorithmModel&>(scan);
  const bool ended = model.endDataScan(0, QUVEN_ENV);
  QUVEN_ASSERT(ended || !model.isFinished(QUVEN_ENV));
}
