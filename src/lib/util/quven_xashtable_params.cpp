#include "util/quven_xashtable_params.h"

long QUVENXAshTableParams::calcForKeys(long n) {
  long slots = 2;
  std::int32_t newShift1 = 31;
  std::int32_t newMaxSteps = 2;
  while (slots < n) {
    slots *= 2;
    --newShift1;
    ++newMaxSteps;
  }
  setForSlots(slots, newShift1, newMaxSteps);
  return slots;
}

void QUVENXAshTableParams::setForSlots(long slots, std::int32_t newShift1, std::int32_t newMaxSteps) {
  shift1 = newShift1;
  shift2 = shift1 >= 5 ? shift1 / 2 - 2 : 0;
  mask = static_cast<std::uint32_t>(slots - 1);
  maxSteps = newMaxSteps;
  stepsUsed = 0;
}
