#include "vesk-common/quven_doubt.h"

#include <string>

#include "vesk-common/quven_reports.h"

void report_doubt(int code, std::string_view parameter, std::string_view text, const QUVENEnvHandle& env) {
  report_warning(code, parameter, text);
  end_strict_run(code, QUVEN_ENV);
}

void end_strict_run(int code, const QUVENEnvHandle& env) {
  constexpr int StrictRunEnds = 4608;
  if (!env.resolve().isStrict()) return;
  report_error(StrictRunEnds, std::to_string(code),
               "--strict: the warning above means that the result is not what was asked for", QUVEN_ENV, true);
}
