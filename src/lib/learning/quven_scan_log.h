#ifndef QUVEN_SCAN_LOG_H
#define QUVEN_SCAN_LOG_H

#include <cstdint>
#include <string_view>

#include "util/quven_object_of.h"

/// The log of the scans of one environment, with its verbosity.
///
/// Lifetime: until the environment ends. Each rank has its own; it is not in any stream.
class QUVENScanLog : public QUVENObjectOf<QUVENScanLog, QUVENObject> {
 public:
  /// From this verbosity on a scan writes its warnings about single records and results.
  static constexpr std::int32_t WarningLevel = 2;
  /// From this verbosity on a scan writes the beginning and the end of its steps.
  static constexpr std::int32_t TraceLevel = 4;

  static QUVENScanLog& get(const QUVENEnvHandle& env);

  /// 0 until setVerbosity.
  std::int32_t getVerbosity() const { return verbosity; }
  void setVerbosity(std::int32_t level) { verbosity = level; }
  /// Writes a Log line if the verbosity of the environment is at least the level.
  static void write(std::int32_t level, std::string_view text, const QUVENEnvHandle& env);

 private:
  QUVEN_STATE(verbosity, std::int32_t) = 0;
};

#endif  // QUVEN_SCAN_LOG_H
