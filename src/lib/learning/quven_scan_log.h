#ifndef QUVEN_SCAN_LOG_H
#define QUVEN_SCAN_LOG_H

#include <cstdint>
#include <string_view>

#include "util/quven_object_of.h"

/// The log of the scans of one environment, and how much they write to it.
///
/// Lifetime: until the environment ends. Each rank has its own; no stream carries it.
class QUVENScanLog : public QUVENObjectOf<QUVENScanLog, QUVENObject> {
 public:
  /// The verbosity from which on the warnings of a scan about single records and results are written.
  static constexpr std::int32_t WarningLevel = 2;
  /// The verbosity from which on the beginning and the end of a step are written.
  static constexpr std::int32_t TraceLevel = 4;

  static QUVENScanLog& get(const QUVENEnvHandle& env);

  /// 0 at first.
  std::int32_t getVerbosity() const { return verbosity; }
  void setVerbosity(std::int32_t level) { verbosity = level; }
  /// Prints a Log line of a level, if the verbosity of the environment is not below the level.
  static void write(std::int32_t level, std::string_view text, const QUVENEnvHandle& env);

 private:
  QUVEN_STATE(verbosity, std::int32_t) = 0;
};

#endif  // QUVEN_SCAN_LOG_H
