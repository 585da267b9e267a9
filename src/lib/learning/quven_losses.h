#ifndef QUVEN_LOSSES_H
#define QUVEN_LOSSES_H

// The losses that a boosted model can have.

#include "learning/quven_general_loss.h"

/// (y - F)^2 / 2; the reported loss is (y - F)^2.
class QUVENSimpleSquaredLoss : public QUVENObjectOf<QUVENSimpleSquaredLoss, QUVENGeneralLoss> {
 public:
  explicit QUVENSimpleSquaredLoss(const QUVENEnvHandle& env) : Members(env) {}

  double getReportedLoss(double target, double prediction) const override;

 protected:
  double residualOf(double target, double prediction, const QUVENEnvHandle& env) const override;
  void addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                     const QUVENEnvHandle& env) const override;
  double trialLoss(double target, double prediction, const QUVENEnvHandle& env) const override;
};

/// log(1 + exp(-2 y F)) of classes -1 and 1; F is half the log odds of class 1.
///
/// Units: exactly the value 0 is class -1, any other value is used as it is.
class QUVENLogisticLoss : public QUVENObjectOf<QUVENLogisticLoss, QUVENGeneralLoss> {
 public:
  explicit QUVENLogisticLoss(const QUVENEnvHandle& env) : Members(env) {}

  double getReportedLoss(double target, double prediction) const override;

 protected:
  double residualOf(double target, double prediction, const QUVENEnvHandle& env) const override;
  void addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                     const QUVENEnvHandle& env) const override;
  double trialLoss(double target, double prediction, const QUVENEnvHandle& env) const override;
};

/// exp(F) - y F of a count y; F is the logarithm of its mean. An exp that overflows is infinity.
class QUVENPoissonLoss : public QUVENObjectOf<QUVENPoissonLoss, QUVENGeneralLoss> {
 public:
  explicit QUVENPoissonLoss(const QUVENEnvHandle& env) : Members(env) {}

  double getReportedLoss(double target, double prediction) const override;

 protected:
  double residualOf(double target, double prediction, const QUVENEnvHandle& env) const override;
  void addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                     const QUVENEnvHandle& env) const override;
  double trialLoss(double target, double prediction, const QUVENEnvHandle& env) const override;
};

/// max(0, 1 - y F) of classes -1 and 1.
///
/// Units: exactly the value 0 is class -1, any other value is used as it is.
class QUVENSupportVectorLoss : public QUVENObjectOf<QUVENSupportVectorLoss, QUVENGeneralLoss> {
 public:
  explicit QUVENSupportVectorLoss(const QUVENEnvHandle& env) : Members(env) {}

  double getReportedLoss(double target, double prediction) const override;

 protected:
  double residualOf(double target, double prediction, const QUVENEnvHandle& env) const override;
  void addNewtonTerm(double target, double step, double x, double& gradient, double& hessian,
                     const QUVENEnvHandle& env) const override;
  double trialLoss(double target, double prediction, const QUVENEnvHandle& env) const override;
};

/// The logistic loss whose first stage starts at the log odds: with p the prediction of class 1, F = log(p/(1 - p))/2.
///
/// Units: p is the prediction of the first stage, or (prediction + 1)/2 for a target with values below 0, whose classes
///        are -1 and 1; it is kept within 0.001 and 0.999. Without a distribution of the target its classes are 0 and
///        1.
class QUVENLogisticLinkLoss : public QUVENObjectOf<QUVENLogisticLinkLoss, QUVENLogisticLoss> {
 public:
  explicit QUVENLogisticLinkLoss(const QUVENEnvHandle& env) : Members(env) {}

  double applyLinkOf(long target, double prediction) const override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 protected:
  void noteTargetsBound(const QUVENEnvHandle& env) override;

 private:
  // Per target of a first stage: -1 or 0.
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLowClasses, Channels);
};

/// The Poisson loss whose first stage starts at the logarithm of its prediction.
///
/// Units: the prediction is kept at or above a hundredth of the mean of the target, or 1e-10 when the mean is not above
///        0 or the target has no distribution.
class QUVENPoissonLinkLoss : public QUVENObjectOf<QUVENPoissonLinkLoss, QUVENPoissonLoss> {
 public:
  explicit QUVENPoissonLinkLoss(const QUVENEnvHandle& env) : Members(env) {}

  double applyLinkOf(long target, double prediction) const override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 protected:
  void noteTargetsBound(const QUVENEnvHandle& env) override;

 private:
  // Per target of a first stage.
  QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivFloors, Channels);
};

#endif  // QUVEN_LOSSES_H
