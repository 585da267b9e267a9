#include "learning/quven_losses.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "kernel/quven_num_field.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENSimpleSquaredLoss);
QUVEN_REGISTER(QUVENLogisticLoss);
QUVEN_REGISTER(QUVENPoissonLoss);
QUVEN_REGISTER(QUVENSupportVectorLoss);
QUVEN_REGISTER(QUVENLogisticLinkLoss);
QUVEN_REGISTER(QUVENPoissonLinkLoss);

namespace {

template <class Loss>
void make(QUVENOwnPtr<QUVENGeneralLoss>& result, const QUVENEnvHandle& env) {
  result = quvenMake<Loss>(QUVEN_ENV);
}

/// A loss: its name in the parameters, and how it is made. Its id is its place, from 1.
struct LossKind {
  std::string_view name;
  void (*make)(QUVENOwnPtr<QUVENGeneralLoss>& result, const QUVENEnvHandle& env);
};
constexpr std::array<LossKind, 6> lossKinds = {{{"Squared", make<QUVENSimpleSquaredLoss>},
                                                {"Logistic", make<QUVENLogisticLoss>},
                                                {"Poisson", make<QUVENPoissonLoss>},
                                                {"SupportVector", make<QUVENSupportVectorLoss>},
                                                {"LogisticLink", make<QUVENLogisticLinkLoss>},
                                                {"PoissonLink", make<QUVENPoissonLinkLoss>}}};

const LossKind* findKind(std::string_view name) {
  return std::find_if(lossKinds.begin(), lossKinds.end(), [&](const LossKind& kind) { return kind.name == name; });
}

/// The class -1 or 1 of a target whose values are 0 and 1, or -1 and 1.
double classOf(double target) { return target == 0.0 ? 2 * target - 1 : target; }

/// e/(e + 1) with e = exp(x), in a form that holds for an e that overflows.
double shareOfExp(double x) { return 1 / (1 + std::exp(-x)); }

const QUVENNumFieldDist* distributionOf(QUVENField* field) {
  return field->isNumeric() ? static_cast<const QUVENNumField*>(field)->getDistribution() : nullptr;
}

}  // namespace

void QUVENGeneralLoss::create(QUVENOwnPtr<QUVENGeneralLoss>& result, std::int32_t lossId, const QUVENEnvHandle& env) {
  const bool isKnown = 1 <= lossId && lossId <= static_cast<std::int32_t>(lossKinds.size());
  lossKinds[static_cast<std::size_t>(isKnown ? lossId - 1 : 0)].make(result, QUVEN_ENV);
}

std::int32_t QUVENGeneralLoss::idOf(std::string_view name) {
  return isName(name) ? static_cast<std::int32_t>(findKind(name) - lossKinds.begin()) + 1 : 1;
}

bool QUVENGeneralLoss::isName(std::string_view name) { return findKind(name) != lossKinds.end(); }

// Squared

double QUVENSimpleSquaredLoss::getReportedLoss(double target, double prediction) const {
  return (target - prediction) * (target - prediction);
}

double QUVENSimpleSquaredLoss::residualOf(double target, double prediction, const QUVENEnvHandle&) const {
  return target - prediction;
}

void QUVENSimpleSquaredLoss::addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                                           const QUVENEnvHandle&) const {
  gradient += (target - step) * x;
  hessian += x * x;
}

double QUVENSimpleSquaredLoss::trialLoss(double target, double prediction, const QUVENEnvHandle&) const {
  return 0.5 * (target - prediction) * (target - prediction);
}

// Logistic

double QUVENLogisticLoss::getReportedLoss(double target, double prediction) const {
  const double x = -2 * classOf(target) * prediction;
  return x > 0 ? x + std::log1p(std::exp(-x)) : std::log1p(std::exp(x));
}

double QUVENLogisticLoss::residualOf(double target, double prediction, const QUVENEnvHandle&) const {
  const double t = -2 * classOf(target);
  return -t * shareOfExp(t * prediction);
}

void QUVENLogisticLoss::addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                                      const QUVENEnvHandle&) const {
  const double t = -2 * classOf(target);
  const double q = shareOfExp(t * step);
  gradient += -(t * q) * x;
  hessian += t * t * q * (1 - q) * x * x;
}

double QUVENLogisticLoss::trialLoss(double target, double prediction, const QUVENEnvHandle&) const {
  // Not log1p: a loss that is 0 here is 0 in the rule for losses that are all zero.
  constexpr double largestExponent = 700;
  const double x = -2 * classOf(target) * prediction;
  return x > largestExponent ? x : std::log(std::exp(x) + 1);
}

// Poisson

double QUVENPoissonLoss::getReportedLoss(double target, double prediction) const {
  return std::exp(prediction) - prediction * target;
}

double QUVENPoissonLoss::residualOf(double target, double prediction, const QUVENEnvHandle&) const {
  return target - std::exp(prediction);
}

void QUVENPoissonLoss::addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                                     const QUVENEnvHandle&) const {
  const double e = std::exp(step);
  gradient += -(e - target) * x;
  hessian += e * x * x;
}

double QUVENPoissonLoss::trialLoss(double target, double prediction, const QUVENEnvHandle&) const {
  return getReportedLoss(target, prediction);
}

// Support vector

double QUVENSupportVectorLoss::getReportedLoss(double target, double prediction) const {
  return std::max(1 - classOf(target) * prediction, 0.0);
}

double QUVENSupportVectorLoss::residualOf(double target, double prediction, const QUVENEnvHandle&) const {
  const double y = classOf(target);
  return y * prediction <= 1.0 ? y : 0.0;
}

void QUVENSupportVectorLoss::addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                                           const QUVENEnvHandle& env) const {
  gradient += residualOf(target, step, QUVEN_ENV) * x;
  hessian += x * x;
}

double QUVENSupportVectorLoss::trialLoss(double target, double prediction, const QUVENEnvHandle&) const {
  const double margin = classOf(target) * prediction;
  return margin <= 1.0 ? 1 - margin : 0.0;
}

// Logistic with a link

void QUVENLogisticLinkLoss::noteTargetsBound(const QUVENEnvHandle& env) {
  ivLowClasses.setSize(0, QUVEN_ENV);
  for (QUVENField* target : getTargets()) {
    double smallest = 0;
    if (const QUVENNumFieldDist* dist = distributionOf(target)) {
      for (long i = 1; i <= dist->getNumBins(); ++i) {
        if (dist->getBin(i).getCount() > 0) smallest = std::min(smallest, dist->getBin(i).getMinValue());
      }
    }
    ivLowClasses.append(smallest < 0 ? -1.0 : 0.0, QUVEN_ENV);
  }
}

double QUVENLogisticLinkLoss::applyLinkOf(long target, double prediction) const {
  constexpr double smallestShare = 0.001;
  const double low = ivLowClasses.at(target);
  const double p = std::clamp((prediction - low) / (1 - low), smallestShare, 1 - smallestShare);
  return std::log(p / (1 - p)) / 2;
}

void QUVENLogisticLinkLoss::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(!isFirstStage() || ivLowClasses.getSize() == getNumTargets());
}

// Poisson with a link

void QUVENPoissonLinkLoss::noteTargetsBound(const QUVENEnvHandle& env) {
  constexpr double floorOfNoMean = 1e-10;
  constexpr double partOfMean = 100;
  ivFloors.setSize(0, QUVEN_ENV);
  for (QUVENField* target : getTargets()) {
    double sum = 0;
    double count = 0;
    if (const QUVENNumFieldDist* dist = distributionOf(target)) {
      for (long i = 1; i <= dist->getNumBins(); ++i) {
        const QUVENNumFieldBin& bin = dist->getBin(i);
        // The mean of an empty bin is the middle of its ends, which can be infinite.
        if (bin.getCount() == 0) continue;
        sum += bin.getCount() * bin.getMean();
        count += bin.getCount();
      }
    }
    ivFloors.append(sum > 0 ? sum / count / partOfMean : floorOfNoMean, QUVEN_ENV);
  }
}

double QUVENPoissonLinkLoss::applyLinkOf(long target, double prediction) const {
  return std::log(std::max(prediction, ivFloors.at(target)));
}

void QUVENPoissonLinkLoss::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(!isFirstStage() || ivFloors.getSize() == getNumTargets());
}
