#include "learning/quven_scan_log.h"

#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENScanLog);

QUVENScanLog& QUVENScanLog::get(const QUVENEnvHandle& env) {
  static const QUVENStringWithHash key("QUVENScanLog::cv");
  return *QUVENEnv::getGlobal<QUVENScanLog>(key, QUVEN_ENV);
}

void QUVENScanLog::write(std::int32_t level, std::string_view text, const QUVENEnvHandle& env) {
  if (get(QUVEN_ENV).getVerbosity() >= level) report_log(level, text);
}
