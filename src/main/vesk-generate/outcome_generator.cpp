#include "outcome_generator.h"

#include <algorithm>
#include <cstddef>

#include "power_law.h"

namespace vesk_generate {

namespace {

/// x / (x + mean), with the mean over all callers: 0 for x = 0, one half for the mean.
double saturating(std::uint64_t x, std::uint64_t total, std::size_t numCallers) {
  if (x == 0) return 0;
  const double value = static_cast<double>(x);
  return value / (value + static_cast<double>(total) / static_cast<double>(numCallers));
}

double logistic(double logOdds) {
  constexpr double e = 2.718281828459045;
  constexpr double mostLogOdds = 16;  // limit of powerBySquareRoots
  if (logOdds > 0) return 1 - logistic(-logOdds);
  return 1 / (1 + powerBySquareRoots(e, std::min(-logOdds, mostLogOdds)));
}

}  // namespace

OutcomeGenerator::OutcomeGenerator(const GeneratorSettings& settings, const CallNetwork& network)
    : firstCaller(settings.firstCaller),
      callers(settings.callers),
      levels(std::size_t{network.groupCount()} + 1),
      random(settings.seed, RandomStream::Outcomes) {
  std::vector<std::uint64_t> rates(levels.size(), shareThreshold(lowRate));
  for (std::uint32_t group = 1; group <= network.groupCount(); ++group) {
    if (random.hit(shareThreshold(highShare))) rates[group] = shareThreshold(highRate);
    levels[group] = static_cast<double>(random.next() >> 11) * 0x1p-52 - 1;
    for (const std::uint64_t member : network.groupMembers(group)) callers[member - firstCaller].group = group;
  }
  for (Caller& caller : callers) caller.before = random.hit(rates[caller.group]);
}

void OutcomeGenerator::addRecord(const CallNetwork::Call& call, std::uint32_t seconds, std::uint32_t multiplicity) {
  Caller& caller = callers[call.caller - firstCaller];
  Caller& callee = callers[call.callee - firstCaller];
  caller.callsMade += multiplicity;
  caller.seconds += seconds;
  totalCalls += multiplicity;
  totalSeconds += seconds;
  caller.calls += multiplicity;
  callee.calls += multiplicity;
  if (callee.before) caller.callsToBefore += multiplicity;
  if (caller.before) callee.callsToBefore += multiplicity;
}

double OutcomeGenerator::probabilityOf(const Caller& caller) const {
  const double share =
      caller.calls == 0 ? 0 : static_cast<double>(caller.callsToBefore) / static_cast<double>(caller.calls);
  return logistic(base + callWeight * saturating(caller.callsMade, totalCalls, callers.size()) +
                  minuteWeight * saturating(caller.seconds, totalSeconds, callers.size()) + levels[caller.group] +
                  contactWeight * share);
}

void OutcomeGenerator::addRow(std::string& text) {
  const Caller& caller = callers[rowsMade];
  const bool outcome = random.hit(shareThreshold(probabilityOf(caller)));
  text += std::to_string(firstCaller + rowsMade);
  text += caller.before ? ",1" : ",0";
  text += outcome ? ",1\n" : ",0\n";
  ++rowsMade;
}

}  // namespace vesk_generate
