#ifndef TESTS_LEARNING_LOSS_FIXTURE_H
#define TESTS_LEARNING_LOSS_FIXTURE_H

#include <cmath>
#include <limits>

#include "kernel/kernel_fixture.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel/quven_scan_results.h"
#include "learning/quven_losses.h"

inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
inline constexpr double infinite = std::numeric_limits<double>::infinity();
// With e = exp(1): 1/(1 + e), e/(1 + e) and e itself.
inline constexpr double oneInOnePlusE = 0.26894142136999512;
inline constexpr double eInOnePlusE = 0.73105857863000488;
inline constexpr double euler = 2.7182818284590452;

inline constexpr std::int32_t squaredId = 1;
inline constexpr std::int32_t logisticId = 2;
inline constexpr std::int32_t poissonId = 3;
inline constexpr std::int32_t supportVectorId = 4;
inline constexpr std::int32_t logisticLinkId = 5;
inline constexpr std::int32_t poissonLinkId = 6;
inline constexpr std::int32_t numLosses = 6;

/// The losses of two stages over the targets y and y2. The models of the residuals are left out: a test gives what they
/// predict.
class LossTest : public KernelTest {
 protected:
  static constexpr int Channels = 5;

  LossTest() {
    QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(Channels);
    names = make<QUVENFieldNameMap>();
    point = make<QUVENDataPoint>();
    y = addField<QUVENNumField>("y");
    y2 = addField<QUVENNumField>("y2");
    weight = addField<QUVENNumField>("weight");
    text = addField<QUVENCatField>("text");
  }
  void TearDown() override {
    closeLosses();
    names.reset(QUVEN_ENV);
    point.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }
  void closeLosses() {
    second.reset(QUVEN_ENV);
    first.reset(QUVEN_ENV);
  }

  template <class Field>
  QUVENField* addField(const char* name) {
    auto field = make<Field>();
    field->setName(name);
    const long index = point->addField(std::move(field), QUVEN_ENV);
    names->addReference(&point->getField(index), QUVEN_ENV);
    return &point->getField(index);
  }

  QUVENOwnPtr<QUVENGeneralLoss> makeLoss(std::int32_t lossId) {
    QUVENOwnPtr<QUVENGeneralLoss> loss(QUVEN_ENV);
    QUVENGeneralLoss::create(loss, lossId, QUVEN_ENV);
    return loss;
  }
  /// A loss of the first stage that was just bound to its targets.
  void openFirst(std::int32_t lossId, const std::vector<QUVENField*>& targets, QUVENField* invVarWeight = nullptr) {
    closeLosses();
    first = makeLoss(lossId);
    QUVENModel::Inputs inputs;
    for (QUVENField* target : targets) inputs.append(QUVENModelInput(target, QUVENUsageTarget), QUVEN_ENV);
    first->openFirst(inputs, invVarWeight, "1", *names, QUVEN_ENV);
    inputs.deleteMemory(QUVEN_ENV);
  }
  /// The loss of a later stage, made as a stage makes it.
  QUVENOwnPtr<QUVENGeneralLoss> makeNext(const QUVENGeneralLoss& previous, const std::string& suffix) {
    QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
    previous.makeNewObject(made, QUVEN_ENV);
    QUVENOwnPtr<QUVENGeneralLoss> next(QUVEN_ENV);
    quvenMoveAs(next, made, QUVEN_ENV);
    next->openNext(previous, suffix, *names, QUVEN_ENV);
    return next;
  }

  /// To state 2, with a prediction and, unless it is left out, a standard deviation of 0.25 for each residual.
  void fitResiduals(QUVENGeneralLoss& loss, bool withStdDev = true) {
    loss.enterResidualScan(QUVEN_ENV);
    for (long i = 1; i <= loss.getNumTargets(); ++i) {
      QUVENModelOutputs& outputs = loss.getResidualModelOutputs()[i];
      outputs.addOutput(loss.getResiduals()[i], QUVENOutputPredicted, "", *names, QUVEN_ENV);
      if (!withStdDev) continue;
      outputs.addOutput(loss.getResiduals()[i], QUVENOutputStdDev, "", *names, QUVEN_ENV)->setNumValue(0.25);
    }
    loss.noteResidualModelDone(QUVEN_ENV);
    loss.enterResidualModelsDone(QUVEN_ENV);
  }
  /// A first stage whose predictions a later one reads.
  void finishFirst(std::int32_t lossId, const std::vector<QUVENField*>& targets, bool withStdDev = true) {
    openFirst(lossId, targets);
    fitResiduals(*first, withStdDev);
    EXPECT_FALSE(first->enterStepSearch(QUVEN_ENV));
    first->enterOutputsMade(*names, QUVEN_ENV);
    first->enterPredecessor(QUVEN_ENV);
  }
  /// A second stage in state 2.
  void fitSecond(std::int32_t lossId, const std::vector<QUVENField*>& targets, bool withStdDev = true) {
    finishFirst(lossId, targets, withStdDev);
    second = makeNext(*first, "2");
    fitResiduals(*second, withStdDev);
  }
  void fitSecond(std::int32_t lossId) { fitSecond(lossId, {y}); }
  /// A second stage in a pass of the Newton search.
  void searchSecond(std::int32_t lossId, const std::vector<QUVENField*>& targets) {
    fitSecond(lossId, targets);
    EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
    second->beginRecords(QUVEN_ENV);
  }
  void searchSecond(std::int32_t lossId) { searchSecond(lossId, {y}); }
  void finishSearch() {
    EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
    second->enterOutputsMade(*names, QUVEN_ENV);
  }

  static void setNumber(QUVENField& field, double value) {
    std::isnan(value) ? field.setMissing() : field.setNumValue(value);
  }
  /// F of the second stage, the prediction of the first.
  QUVENField& previous(long target = 1) { return *first->getCurrentPredictedValues()[target]; }
  /// The prediction of the model of a residual.
  QUVENField& predictedResidual(QUVENGeneralLoss& loss, long target = 1) {
    return *loss.getResidualPredictions()[target];
  }
  /// A record with one value for all channels: the target, F, and r of the second stage.
  void setRecord(double target, double f, double r, std::int32_t channel = 3) {
    setNumber(*y, target);
    previous().setNumValue(f);
    if (!second->getResidualPredictions().isEmpty()) predictedResidual(*second).setNumValue(r);
    point->setChannel(channel);
  }
  /// Gives the present record to all channels of a step search, as a stage does.
  void step(QUVENGeneralLoss& loss) {
    for (std::int32_t c = 1; c <= Channels; ++c) loss.stepRecord(c, *point, QUVEN_ENV);
  }
  void stepWith(double target, double f, double r, std::int32_t channel = 3) {
    setRecord(target, f, r, channel);
    step(*second);
  }

  template <int kind>
  static std::vector<double> listOf(const QUVENXaRay<double, kind>& values) {
    return {values.begin(), values.end()};
  }
  std::vector<double> channelValues(const QUVENField& field) {
    std::vector<double> values;
    for (long c = 1; c <= Channels; ++c) values.push_back(field.getNumValueOrSingle(c));
    return values;
  }
  double residual(long target = 1) { return second->getResiduals()[target]->getNumValueOrSingle(1); }

  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  QUVENOwnPtr<QUVENGeneralLoss> first;
  QUVENOwnPtr<QUVENGeneralLoss> second;
  QUVENField *y, *y2, *weight, *text;
};

#endif  // TESTS_LEARNING_LOSS_FIXTURE_H
