#include "table_generator.h"

#include <array>
#include <cmath>
#include <stdexcept>

namespace vesk_generate {

namespace {

// Thousandths of the target everywhere, so that all arithmetic is of integers.
constexpr std::array<CurvePoint, 5> curve = {{{0, 20000}, {20, 60000}, {50, 45000}, {80, 45000}, {120, 5000}}};
constexpr std::int64_t valueWithoutTenure = 30000;
constexpr std::int64_t slopeOfMinutes = 30;

constexpr std::int64_t mostTenths = 1200;
constexpr std::int64_t mostMinutes = 1000;
constexpr std::int64_t mostCalls = 200;
constexpr std::uint64_t regions = 12;

// Of a table with signals.
constexpr std::int64_t mostTenthsOfRate = 100;
constexpr std::int64_t lastCallBeforeStep = 120;
constexpr std::int64_t valueAfterStep = 12000;
constexpr std::int64_t valueWithoutCalls = -15000;

struct Plan {
  const char* name;
  std::int64_t effect;
};
constexpr std::array<Plan, 6> plans = {
    {{"basic", -6000}, {"prepaid", -6000}, {"family", 0}, {"duo", 0}, {"premium", 6000}, {"business", 6000}}};

/// The curve at a tenure in tenths of a month. The points are such that every value is a whole number.
std::int64_t curveAt(std::int64_t tenths) {
  std::size_t next = 1;
  while (next + 1 < curve.size() && tenths > curve[next].tenure * 10) ++next;
  const CurvePoint& from = curve[next - 1];
  const CurvePoint& to = curve[next];
  return from.value + (to.value - from.value) * (tenths - from.tenure * 10) / ((to.tenure - from.tenure) * 10);
}

/// Appends a number given in units of 10^-decimals.
void addDecimal(std::string& text, std::int64_t number, std::size_t decimals) {
  std::string digits = std::to_string(number < 0 ? -number : number);
  if (digits.size() <= decimals) digits.insert(0, decimals + 1 - digits.size(), '0');
  digits.insert(digits.size() - decimals, 1, '.');
  if (number < 0) text += '-';
  text += digits;
}

}  // namespace

void checkTableSettings(const TableSettings& settings) {
  if (settings.rows < 1) throw std::invalid_argument("the number of rows must be at least 1");
  // A number below 0 is read as one near 2^64.
  if (settings.rows > 100000000000000ULL) {
    throw std::invalid_argument("the number of rows must be at most 100000000000000");
  }
  if (!(settings.noise >= 0.0 && settings.noise <= 1000.0)) {
    throw std::invalid_argument("the noise must be from 0 to 1000");
  }
  if (!(settings.missingShare >= 0.0 && settings.missingShare <= 1.0)) {
    throw std::invalid_argument("the share of missing cells must be from 0 to 1");
  }
}

TableGenerator::TableGenerator(const TableSettings& settings)
    : random(settings.seed, RandomStream::Table),
      noise(std::llround(settings.noise * 1000)),
      missingThreshold(shareThreshold(settings.missingShare)),
      hasSignals(settings.hasSignals) {
  checkTableSettings(settings);
}

/// Twelve draws from 0 to 65535: their sum has the mean 6 * 65535 and the variance 65536^2 - 1.
std::int64_t TableGenerator::drawNoise() {
  constexpr std::int64_t mean = std::int64_t{6} * 65535;
  std::int64_t sum = -mean;
  for (int i = 0; i < 3; ++i) {
    const std::uint64_t word = random.next();
    for (int part = 0; part < 4; ++part) sum += static_cast<std::int64_t>(word >> (16 * part) & 0xFFFF);
  }
  return sum * noise / 65536;
}

void TableGenerator::addRow(std::string& text) {
  // Every row takes the same draws, missing or not.
  const auto draw = [this](std::int64_t largest) {
    return static_cast<std::int64_t>(random.below(static_cast<std::uint64_t>(largest) + 1));
  };
  const std::int64_t tenths = draw(mostTenths);
  const std::int64_t minutes = draw(mostMinutes);
  const std::int64_t calls = draw(mostCalls);
  const Plan& plan = plans[random.below(plans.size())];
  const std::uint64_t region = 1 + random.below(regions);
  const bool hasTenure = !random.hit(missingThreshold);
  const bool hasCalls = !random.hit(missingThreshold);
  const bool hasPlan = !random.hit(missingThreshold);
  const std::int64_t rate = hasSignals ? draw(mostTenthsOfRate) : 0;
  std::int64_t signals = minutes * rate;  // a hundredth of the product with the rate in units
  if (hasSignals && !hasCalls) signals += valueWithoutCalls;
  if (hasSignals && hasCalls && calls > lastCallBeforeStep) signals += valueAfterStep;
  const std::int64_t spend = (hasTenure ? curveAt(tenths) : valueWithoutTenure) + slopeOfMinutes * minutes +
                             (hasPlan ? plan.effect : 0) + signals + drawNoise();

  if (hasTenure) {
    addDecimal(text, tenths, 1);
  } else {
    text += "NA";
  }
  text += ',' + std::to_string(minutes) + ',' + (hasCalls ? std::to_string(calls) : "NA") + ',';
  if (hasSignals) {
    addDecimal(text, rate, 1);
    text += ',';
  }
  if (hasPlan) text += plan.name;
  text += region < 10 ? ",R0" : ",R";
  text += std::to_string(region) + ',';
  addDecimal(text, spend, 3);
  text += '\n';
}

std::span<const CurvePoint> plantedCurve() { return curve; }

std::string plantedCurveText() {
  std::string text = "x,y\n";
  for (const CurvePoint& point : curve) {
    text += std::to_string(point.tenure) + ',';
    // The effects of the plans have the mean 0.
    addDecimal(text, point.value + slopeOfMinutes * mostMinutes / 2, 3);
    text += '\n';
  }
  return text;
}

}  // namespace vesk_generate
