#include "day/stop_signal.h"

#include <array>
#include <csignal>
#include <string>

#include "command.h"

namespace vesk {

namespace {

constexpr std::array<int, 3> signals = {SIGTERM, SIGINT, SIGHUP};
constexpr std::array<const char*, 3> names = {"SIGTERM", "SIGINT", "SIGHUP"};

volatile std::sig_atomic_t arrived = 0;
std::array<struct sigaction, 3> before;

void remember(int number) { arrived = number; }

}  // namespace

StopSignal::StopSignal() {
  arrived = 0;
  struct sigaction action {};
  action.sa_handler = &remember;
  for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &action, &before[i]);
}

StopSignal::~StopSignal() {
  for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &before[i], nullptr);
}

void StopSignal::check() {
  if (arrived == 0) return;
  std::string name = "a signal";
  for (std::size_t i = 0; i < signals.size(); ++i) {
    if (signals[i] == arrived) name = names[i];
  }
  throw CommandFailure(Status::Failed, "ended by " + name + "; the state is what it was");
}

}  // namespace vesk
