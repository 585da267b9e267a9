#include "generator_settings.h"

#include <stdexcept>
#include <string>

#include "random.h"

namespace vesk_generate {

namespace {

void demand(bool holds, const std::string& text) {
  if (!holds) throw std::invalid_argument(text);
}

bool isShare(double value) { return value >= 0.0 && value <= 1.0; }  // false for a NaN

void checkBadShares(const BadLineShares& shares) {
  std::uint64_t sum = 0;
  for (const double share : shares) {
    demand(isShare(share), "a share of bad lines must be from 0 to 1");
    sum += shareThreshold(share);
  }
  demand(sum <= shareThreshold(1.0), "the shares of bad lines add up to more than 1");
}

}  // namespace

void checkSettings(const GeneratorSettings& s) {
  demand(s.records <= 100000000000000ULL, "the number of records must be at most 100000000000000");
  demand(s.callers >= 2 && s.callers <= 2000000000U, "the number of callers must be from 2 to 2000000000");
  demand(s.firstCaller >= 1, "the first caller must be at least 1");
  demand(s.activityExponent >= 0.0 && s.activityExponent <= 4.0, "the activity exponent must be from 0 to 4");
  demand(s.popularityExponent >= 0.0 && s.popularityExponent <= 4.0, "the popularity exponent must be from 0 to 4");

  demand(s.groupSizeMin >= 2, "a group must have at least 2 members");
  demand(s.groupSizeMin <= s.groupSizeMax, "the smallest group size is above the largest");
  demand(s.groupCount == 0 || s.groupSizeMax < s.callers, "a group must be smaller than the number of callers");
  demand(std::uint64_t{s.groupCount} * s.groupSizeMax <= s.callers,
         "the groups may need more callers than there are (number of groups times largest size)");
  demand(isShare(s.insideShare), "the share of calls inside the group must be from 0 to 1");

  demand(s.startDate.ok() && s.startDate.year() >= std::chrono::year{1950}, "the start date must be from 1950 on");
  demand(s.days >= 1 && s.days <= 36525, "the number of days must be from 1 to 36525");
  demand(lastDay(s.startDate, s.days).year() <= std::chrono::year{9999}, "the last day is after the year 9999");
  demand(s.meanDurationSeconds >= 1.0 && s.meanDurationSeconds <= 10000.0, "the mean duration must be from 1 to 10000");
  demand(s.maxMultiplicity >= 1 && s.maxMultiplicity <= 20, "the largest multiplicity must be from 1 to 20");
  checkBadShares(s.badShares);

  checkLayout(s.layout);
  const std::uint64_t largestId = s.firstCaller + (s.callers - 1);
  demand(largestId >= s.firstCaller, "the largest caller does not fit into its columns");
  demand(largestId <= s.layout.caller.largest(), "the largest caller does not fit into its columns");
  demand(largestId <= s.layout.callee.largest(), "the largest callee does not fit into its columns");
  demand(s.maxMultiplicity <= s.layout.multiplicity.largest(),
         "the largest multiplicity does not fit into its columns");
}

}  // namespace vesk_generate
