#include "learning/boost_tables.h"

#include <cmath>
#include <random>

BoostTable randomBoostTable(unsigned seed, int records, const BoostTableKind& kind) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  const auto uniform = [&] { return static_cast<double>(random() % 100000) / 100000; };
  const auto orMissing = [&](double value) { return kind.hasMissing && random() % 12 == 0 ? absentNumber : value; };
  // Never near 0 or 1: in a group of one class, the margin of a support vector would be met up to rounding.
  const auto share = [](double signal) { return 0.15 + 0.7 / (1 + std::exp(-2 * signal)); };
  BoostTable table;
  table.channels = kind.channels;
  table.isCategorical = {false};
  for (const bool hasColumn : {kind.hasTies, kind.hasCategories, kind.hasConstant, kind.hasNoise}) {
    if (hasColumn) table.isCategorical.push_back(false);
  }
  if (kind.hasCategories) table.isCategorical[kind.hasTies ? 2 : 1] = true;
  for (int i = 0; i < records; ++i) {
    BoostRow row;
    const double x = 4 * uniform() - 2;
    const double level = static_cast<double>(random() % 5);
    const unsigned draw = random() % 24;
    const double category = draw < 20 ? draw % 4 : draw % 2 + 4;
    row.x.push_back(orMissing(x));
    if (kind.hasTies) row.x.push_back(orMissing(level));
    if (kind.hasCategories) row.x.push_back(orMissing(category));
    if (kind.hasConstant) row.x.push_back(7);
    if (kind.hasNoise) row.x.push_back(normal(random));
    double signal = std::abs(x) - 1 + (std::isnan(row.x[0]) ? 0.8 : 0);
    if (kind.hasTies) signal += 0.2 * x * level;
    if (kind.hasCategories) signal += 0.5 * std::fmod(category, 3.0) - 0.4;
    switch (kind.loss) {
      case Logistic:
      case LogisticLink:
        row.y = uniform() < share(signal) ? 1 : 0;
        break;
      case SupportVector:
        row.y = uniform() < share(signal) ? 1 : -1;
        break;
      case Poisson:
      case PoissonLink: {
        std::poisson_distribution<int> counts(std::exp(0.7 * signal - (kind.loss == Poisson ? 1.2 : 0)));
        row.y = counts(random);
        break;
      }
      default:
        row.y = signal + 0.4 * normal(random);
    }
    if (kind.hasMissing && random() % 20 == 0) row.y = absentNumber;
    // Groups of few records of counts or classes have equal means unless their weights differ.
    if (kind.hasWeights) row.w = random() % 9 == 0 ? 0.0 : 0.2 + 3 * uniform();
    if (kind.hasWeights && kind.hasMissing && i % 23 == 7) row.w = absentNumber;
    if (kind.hasVarianceWeights) row.v = i % 11 == 5 ? 0.0 : 0.5 + i * 37 % 101 / 101.0;
    if (kind.hasVarianceWeights && kind.hasMissing && i % 29 == 3) row.v = absentNumber;
    const auto part = static_cast<int>(random() % 10);
    const auto fold = static_cast<int>(random() % static_cast<unsigned>(kind.channels - 2));
    row.channel = part < 2 ? 1 + part : 3 + fold;
    table.rows.push_back(row);
  }
  return table;
}
