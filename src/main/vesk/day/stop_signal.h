#ifndef VESK_DAY_STOP_SIGNAL_H
#define VESK_DAY_STOP_SIGNAL_H

namespace vesk {

/// While it lives, SIGTERM, SIGINT and SIGHUP do not end the process; they are remembered, and system calls that wait
/// return early. One at a time.
class StopSignal {
 public:
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// Errors: CommandFailure (Failed) when one of the signals has arrived.
  static void check();
};

}  // namespace vesk

#endif  // VESK_DAY_STOP_SIGNAL_H
