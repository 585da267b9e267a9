#ifndef TESTS_LEARNING_BOOST_TABLES_H
#define TESTS_LEARNING_BOOST_TABLES_H

#include "learning/literal_boosting.h"

/// What a random table is made of.
struct BoostTableKind {
  int loss = Squared;
  bool hasWeights = false;
  bool hasVarianceWeights = false;
  bool hasMissing = false;
  bool hasTies = false;       ///< a second number with few values
  bool hasCategories = true;  ///< a categorical input of six values, two of them rare
  bool hasConstant = false;
  bool hasNoise = false;  ///< an input that says nothing
  int channels = 5;
};

/// A seeded table whose target depends on a bend, on groups of categories and on a product.
BoostTable randomBoostTable(unsigned seed, int records, const BoostTableKind& kind);

#endif  // TESTS_LEARNING_BOOST_TABLES_H
