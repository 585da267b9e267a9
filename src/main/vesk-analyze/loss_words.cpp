#include "loss_words.h"

#include "learning/quven_general_loss.h"

namespace vesk_analyze {

namespace {

enum LossId : std::int32_t { Squared = 1, Logistic, Poisson, SupportVector, LogisticLink, PoissonLink };

// Index = id - 1.
constexpr const char* titles[] = {"Mean squared error", "Mean logistic loss", "Mean Poisson loss",
                                  "Mean hinge loss",    "Mean logistic loss", "Mean Poisson loss"};

}  // namespace

bool isLossName(const std::string& name) {
  return name.empty() || name == "Squared" || QUVENGeneralLoss::idOf(name) != Squared;
}

const char* lossTitle(std::int32_t lossId) { return titles[lossId - Squared]; }

bool isSquared(std::int32_t lossId) { return lossId == Squared; }

bool isLogistic(std::int32_t lossId) { return lossId == Logistic || lossId == LogisticLink; }

bool isPoisson(std::int32_t lossId) { return lossId == Poisson || lossId == PoissonLink; }

bool hasLink(std::int32_t lossId) { return lossId == LogisticLink || lossId == PoissonLink; }

bool isOfTwoClasses(std::int32_t lossId) { return isLogistic(lossId) || lossId == SupportVector; }

}  // namespace vesk_analyze
