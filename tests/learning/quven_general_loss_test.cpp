// Residuals, predictions, names and states of a loss.

#include "learning/quven_general_loss.h"

#include "loss_fixture.h"
#include "util/quven_registration.h"

using testing::Each;
using testing::ElementsAre;

/// A loss that gives no slot.
class QUVENTestLossWithoutSlots : public QUVENObjectOf<QUVENTestLossWithoutSlots, QUVENLossFunction> {
 public:
  explicit QUVENTestLossWithoutSlots(const QUVENEnvHandle& env) : Members(env) {}
  using QUVENLossFunction::noteOutputsMade;
};
QUVEN_REGISTER(QUVENTestLossWithoutSlots);

namespace {

class QUVENGeneralLossTest : public LossTest {};

TEST_F(QUVENGeneralLossTest, TheKeywordsAreInTheOrderOfTheStream) {
  const auto keywordsOf = [](auto keywords) {
    std::vector<std::string> list;
    for (const QUVENKeyword& keyword : keywords) list.emplace_back(keyword.getName());
    return list;
  };
  EXPECT_THAT(keywordsOf(QUVENLossFunction::keywords()),
              ElementsAre("pseudoResiduals", "inverseVarianceWeights", "ivResidualModelOutputs",
                          "currentUnnormalizedOutputs", "ivState", "ivLineSearchType"));
  EXPECT_THAT(keywordsOf(QUVENGeneralLoss::keywords()),
              ElementsAre("ivTargets", "ivPreviousPredictedValues", "ivResiduals", "ivInvVarFields",
                          "ivResidualPredictions", "ivResidualStdDevs", "ivCurrentPredictedValues",
                          "ivFinalPredictedValues", "ivFinalStandardDeviations", "ivInvVarPtr", "ivNegGradVector",
                          "ivHessianVector", "ivAlphaVector", "ivMultiAlpha", "ivMultiAlphaStepSize"));
  for (const auto keywords : {QUVENSimpleSquaredLoss::keywords(), QUVENLogisticLoss::keywords(),
                              QUVENPoissonLoss::keywords(), QUVENSupportVectorLoss::keywords()}) {
    EXPECT_TRUE(keywords.empty());
  }
}

// Residuals

TEST_F(QUVENGeneralLossTest, TheFirstResidualIsTheTargetInOneValue) {
  for (std::int32_t id = 1; id <= numLosses; ++id) {
    openFirst(id, {y, y2});
    EXPECT_TRUE(first->isFirstStage());
    y->setNumValue(0);
    y2->setNumValue(-7);
    for (const bool isOne : {false, true}) {
      isOne ? first->computeResidualsOne(4, QUVEN_ENV) : first->computeResidualsAll(QUVEN_ENV);
      EXPECT_EQ(first->getResiduals()[1]->getNumValue(QUVEN_ENV), 0);
      EXPECT_EQ(first->getResiduals()[2]->getNumValue(QUVEN_ENV), -7);
      EXPECT_EQ(first->getResiduals()[1]->getNumValues(), 0);
    }
  }
}

TEST_F(QUVENGeneralLossTest, AMissingTargetHasMissingResiduals) {
  for (std::int32_t id = 1; id <= numLosses; ++id) {
    fitSecond(id);
    previous().setNumValue(1);
    for (QUVENGeneralLoss* loss : {first.get(), second.get()}) {
      const QUVENField& residuals = *loss->getResiduals()[1];
      for (const char* how : {"missing", "absent", "NaN"}) {
        SCOPED_TRACE(how);
        y->setNumValue(1);
        loss->computeResidualsAll(QUVEN_ENV);
        EXPECT_FALSE(residuals.isMissing());
        if (how[0] == 'm') y->setMissing();
        if (how[0] == 'a') y->clearValue();
        if (how[0] == 'N') y->setNumValue(notANumber);
        loss->computeResidualsAll(QUVEN_ENV);
        EXPECT_TRUE(residuals.isMissing());
        loss->getResiduals()[1]->setNumValue(1);
        loss->computeResidualsOne(2, QUVEN_ENV);
        EXPECT_TRUE(residuals.isMissing());
      }
    }
  }
}

TEST_F(QUVENGeneralLossTest, EachChannelHasItsResidual) {
  fitSecond(squaredId);
  y->setNumValue(10);
  for (long c = 1; c <= Channels; ++c) previous().setNumValueOfChannel(c, static_cast<double>(c), QUVEN_ENV);
  second->computeResidualsAll(QUVEN_ENV);
  EXPECT_THAT(channelValues(*second->getResiduals()[1]), ElementsAre(9, 8, 7, 6, 5));
  // The other channels stay as they are.
  y->setNumValue(20);
  second->computeResidualsOne(4, QUVEN_ENV);
  EXPECT_THAT(channelValues(*second->getResiduals()[1]), ElementsAre(9, 8, 7, 16, 5));
  // A target with a value per channel.
  for (long c = 1; c <= Channels; ++c) y->setNumValueOfChannel(c, 100.0 * static_cast<double>(c), QUVEN_ENV);
  second->computeResidualsAll(QUVEN_ENV);
  EXPECT_THAT(channelValues(*second->getResiduals()[1]), ElementsAre(99, 198, 297, 396, 495));
  first->computeResidualsAll(QUVEN_ENV);
  EXPECT_THAT(channelValues(*first->getResiduals()[1]), ElementsAre(100, 200, 300, 400, 500));
}

TEST_F(QUVENGeneralLossTest, ATextIsTheTarget0) {
  openFirst(squaredId, {text});
  text->setCatValue("7");
  first->computeResidualsAll(QUVEN_ENV);
  EXPECT_EQ(first->getResiduals()[1]->getNumValue(QUVEN_ENV), 0);
}

// Fields

TEST_F(QUVENGeneralLossTest, ResidualsAreNamedByTargetAndStage) {
  fitSecond(squaredId, {y, y2});
  const std::vector<std::pair<QUVENGeneralLoss*, std::string>> stages = {{first.get(), "1"}, {second.get(), "2"}};
  for (const auto& [loss, suffix] : stages) {
    EXPECT_EQ(loss->getResiduals()[1], names->find("Residual_y_" + suffix));
    EXPECT_EQ(loss->getResiduals()[2], names->find("Residual_y2_" + suffix));
    for (const QUVENField* field : loss->getResiduals()) {
      ASSERT_NE(field, nullptr);
      EXPECT_EQ(field->getActualChannelCount(), Channels);
      EXPECT_TRUE(field->isComputed());
    }
  }
  EXPECT_EQ(names->find("Predicted_Residual_y_2"), &predictedResidual(*second));
}

TEST_F(QUVENGeneralLossTest, OutputsAreNamedByTargetAndStageAndGatherTheirDistribution) {
  finishFirst(squaredId, {y, y2});
  for (const char* target : {"y", "y2"}) {
    const std::string end = std::string(target) + "_1";
    auto* prediction = static_cast<QUVENNumField*>(names->find("UnnormalizedPredicted_" + end));
    auto* stdDev = static_cast<QUVENNumField*>(names->find("UnnormalizedStdDev_" + end));
    auto* fitted = static_cast<QUVENNumField*>(names->find("Predicted_Residual_" + end));
    ASSERT_TRUE(prediction != nullptr && stdDev != nullptr && fitted != nullptr);
    EXPECT_EQ(prediction->getActualChannelCount(), Channels);
    EXPECT_EQ(stdDev->getActualChannelCount(), Channels);
    EXPECT_TRUE(prediction->isSampled());
    EXPECT_TRUE(fitted->isSampled());
    EXPECT_FALSE(stdDev->isSampled());
  }
  EXPECT_EQ(first->getCurrentPredictedValues()[2], names->find("UnnormalizedPredicted_y2_1"));
  EXPECT_EQ(first->getCurrentUnnormalizedOutputs().getResultFields().getSize(), 4);
  // Without a standard deviation there is none.
  finishFirst(squaredId, {y}, false);
  EXPECT_EQ(names->find("UnnormalizedStdDev_y_1"), nullptr);
  EXPECT_EQ(first->getCurrentUnnormalizedOutputs().getResultFields().getSize(), 1);
}

TEST_F(QUVENGeneralLossTest, TheDeviationOfAResidualIsAStandardDeviationToo) {
  openFirst(squaredId, {y});
  first->enterResidualScan(QUVEN_ENV);
  QUVENModelOutputs& outputs = first->getResidualModelOutputs()[1];
  outputs.addOutput(first->getResiduals()[1], QUVENOutputResidualStdDev, "", *names, QUVEN_ENV)->setNumValue(0.5);
  outputs.addOutput(first->getResiduals()[1], QUVENOutputPredicted, "", *names, QUVEN_ENV)->setNumValue(2);
  first->enterResidualModelsDone(QUVEN_ENV);
  EXPECT_FALSE(first->enterStepSearch(QUVEN_ENV));
  first->enterOutputsMade(*names, QUVEN_ENV);
  first->updatePredictionsAll(QUVEN_ENV);
  ASSERT_NE(names->find("UnnormalizedStdDev_y_1"), nullptr);
  EXPECT_THAT(channelValues(*names->find("UnnormalizedStdDev_y_1")), Each(0.5));
  EXPECT_THAT(channelValues(previous()), Each(2));
}

TEST_F(QUVENGeneralLossTest, AResidualModelWithoutAPredictionIsRefused) {
  openFirst(squaredId, {y});
  first->enterResidualScan(QUVEN_ENV);
  expectFailure([&] { first->enterResidualModelsDone(QUVEN_ENV); }, "A residual model without a prediction");
}

TEST_F(QUVENGeneralLossTest, TheOutputsOfAPredecessorAreComputed) {
  finishFirst(squaredId, {y});
  QUVENField* stdDev = names->find("StdDev_Residual_y_1");
  for (QUVENField* field : {&previous(), &predictedResidual(*first), stdDev}) field->setComputed(false);
  first->enterPredecessor(QUVEN_ENV);
  for (QUVENField* field : {&previous(), &predictedResidual(*first), stdDev}) EXPECT_TRUE(field->isComputed());
}

TEST_F(QUVENGeneralLossTest, TheFieldsUsedAreThePredictionsOfThePreviousStage) {
  fitSecond(squaredId, {y, y2});
  auto used = make<QUVENModelFieldsUsed>();
  first->collectFieldsUsed(*used, QUVEN_ENV);
  EXPECT_TRUE(used->getFields().isEmpty());
  second->collectFieldsUsed(*used, QUVEN_ENV);
  EXPECT_EQ(used->getFields().getSize(), 2);
  EXPECT_TRUE(used->contains(names->find("UnnormalizedPredicted_y_1")));
  EXPECT_TRUE(used->contains(names->find("UnnormalizedPredicted_y2_1")));
  used.reset(QUVEN_ENV);
}

TEST_F(QUVENGeneralLossTest, TheWeightGoesOnFromStageToStage) {
  finishFirst(squaredId, {y, y2});
  EXPECT_TRUE(first->getInvVarFields().isEmpty());
  openFirst(squaredId, {y, y2}, weight);
  fitResiduals(*first);
  EXPECT_FALSE(first->enterStepSearch(QUVEN_ENV));
  first->enterOutputsMade(*names, QUVEN_ENV);
  second = makeNext(*first, "2");
  for (const QUVENGeneralLoss* loss : {first.get(), second.get()}) {
    EXPECT_THAT(std::vector<QUVENField*>(loss->getInvVarFields().begin(), loss->getInvVarFields().end()),
                ElementsAre(weight, weight));
  }
}

// Predictions

TEST_F(QUVENGeneralLossTest, TheFirstPredictionIsThatOfTheResidualModel) {
  for (const std::int32_t id : {squaredId, logisticId, poissonId, supportVectorId}) {
    finishFirst(id, {y});
    EXPECT_EQ(first->getAlpha(1, 1), 1.0);
    EXPECT_EQ(first->getLineSearchType(), QUVENLossFunction::NoLineSearch);
    for (long c = 1; c <= Channels; ++c) predictedResidual(*first).setNumValueOfChannel(c, 1.0 / c, QUVEN_ENV);
    first->updatePredictionsAll(QUVEN_ENV);
    EXPECT_THAT(channelValues(previous()), ElementsAre(1.0, 0.5, 1.0 / 3, 0.25, 0.2));
    EXPECT_THAT(channelValues(*names->find("UnnormalizedStdDev_y_1")), Each(0.25));
  }
}

// y = 3, F = 1: the residual is 2 in all channels, r = 4. Channels 1 to 4 get the record: alpha = 2*4/4^2 = 0.5.
TEST_F(QUVENGeneralLossTest, ALaterPredictionAddsTheStep) {
  searchSecond(squaredId);
  stepWith(3, 1, 4, 5);
  finishSearch();
  EXPECT_THAT(listOf(second->getAlphas()), ElementsAre(0.5, 0.5, 0.5, 0.5, 1.0));
  const QUVENField& prediction = *second->getCurrentPredictedValues()[1];
  second->updatePredictionsAll(QUVEN_ENV);
  EXPECT_THAT(channelValues(prediction), ElementsAre(3, 3, 3, 3, 5));
  EXPECT_THAT(channelValues(*names->find("UnnormalizedStdDev_y_2")), Each(0.25));
  previous().setNumValue(100);
  second->updatePredictionsOne(5, QUVEN_ENV);
  EXPECT_THAT(channelValues(prediction), ElementsAre(3, 3, 3, 3, 104));
}

TEST_F(QUVENGeneralLossTest, APredictionOfWhatIsNotANumberIsNone) {
  fitSecond(squaredId);
  EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
  finishSearch();
  const QUVENField& prediction = *second->getCurrentPredictedValues()[1];
  for (const auto& [f, r] : {std::pair(notANumber, 1.0), std::pair(1.0, notANumber)}) {
    previous().setNumValue(f);
    predictedResidual(*second).setNumValue(r);
    second->updatePredictionsAll(QUVEN_ENV);
    EXPECT_TRUE(std::isnan(prediction.getNumValueOrSingle(3)));
  }
}

TEST_F(QUVENGeneralLossTest, ExportedOutputsRepeatThePrediction) {
  finishFirst(squaredId, {y, y2});
  auto outputs = make<QUVENModelOutputs>();
  first->exportOutputs(*outputs, "", *names, QUVEN_ENV);
  const double predictions[] = {2, -3};
  for (long i = 1; i <= 2; ++i) {
    predictedResidual(*first, i).setNumValue(predictions[i - 1]);
    names->find(i == 1 ? "StdDev_Residual_y_1" : "StdDev_Residual_y2_1")->setNumValue(0.5 * static_cast<double>(i));
  }
  first->updatePredictionsAll(QUVEN_ENV);
  EXPECT_THAT(channelValues(*names->find("Predicted_y")), Each(2));
  EXPECT_THAT(channelValues(*names->find("Predicted_y2")), Each(-3));
  EXPECT_THAT(channelValues(*names->find("StdDev_y")), Each(0.5));
  EXPECT_THAT(channelValues(*names->find("StdDev_y2")), Each(1));
  predictedResidual(*first).setNumValue(9);
  first->updatePredictionsOne(2, QUVEN_ENV);
  EXPECT_THAT(channelValues(*names->find("Predicted_y")), ElementsAre(2, 9, 2, 2, 2));
  first.reset(QUVEN_ENV);
  outputs.reset(QUVEN_ENV);
}

// States

TEST_F(QUVENGeneralLossTest, TheStatesFollowEachOther) {
  openFirst(squaredId, {y});
  EXPECT_EQ(first->getState(), 0);
  first->enterResidualScan(QUVEN_ENV);
  EXPECT_EQ(first->getState(), 1);
  first->noteResidualModelDone(QUVEN_ENV);
  first->noteResidualModelDone(QUVEN_ENV);
  EXPECT_EQ(first->getState(), 1);
  fitSecond(squaredId);
  EXPECT_EQ(second->getState(), 2);
  EXPECT_EQ(second->getLineSearchType(), 0);
  EXPECT_FALSE(second->hasScanResult(QUVEN_ENV));
  EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
  EXPECT_EQ(second->getState(), 3);
  EXPECT_EQ(second->getLineSearchType(), 1);
  EXPECT_TRUE(second->hasScanResult(QUVEN_ENV));
  EXPECT_FALSE(second->wantsRecords());
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_EQ(second->getState(), 4);
  second->enterOutputsMade(*names, QUVEN_ENV);
  EXPECT_EQ(second->getState(), 5);
  for (int again = 0; again < 2; ++again) {
    second->enterPredecessor(QUVEN_ENV);
    EXPECT_EQ(second->getState(), 6);
    second->enterEnded(QUVEN_ENV);
    EXPECT_EQ(second->getState(), 7);
  }
  // A first stage has no search.
  openFirst(squaredId, {y});
  fitResiduals(*first);
  EXPECT_FALSE(first->enterStepSearch(QUVEN_ENV));
  EXPECT_EQ(first->getState(), 4);
}

TEST_F(QUVENGeneralLossTest, AStateOutOfTurnIsRefused) {
  using Enter = std::function<void(QUVENGeneralLoss&)>;
  const Enter enterScan = [&](QUVENGeneralLoss& loss) { loss.enterResidualScan(QUVEN_ENV); };
  const Enter enterDone = [&](QUVENGeneralLoss& loss) { loss.enterResidualModelsDone(QUVEN_ENV); };
  const Enter enterSearch = [&](QUVENGeneralLoss& loss) { static_cast<void>(loss.enterStepSearch(QUVEN_ENV)); };
  const Enter leaveSearch = [&](QUVENGeneralLoss& loss) { static_cast<void>(loss.leaveStepSearch(QUVEN_ENV)); };
  const Enter enterMade = [&](QUVENGeneralLoss& loss) { loss.enterOutputsMade(*names, QUVEN_ENV); };
  const Enter enterPredecessor = [&](QUVENGeneralLoss& loss) { loss.enterPredecessor(QUVEN_ENV); };
  const Enter enterEnded = [&](QUVENGeneralLoss& loss) { loss.enterEnded(QUVEN_ENV); };
  // What may follow each state but the last ones.
  const std::vector<std::pair<Enter, std::string>> all = {{enterScan, "ivState == NotBegun"},
                                                          {enterDone, "ivState == ResidualScan"},
                                                          {enterSearch, "ivState == ResidualModelsDone"},
                                                          {leaveSearch, "ivState == StepSearch"},
                                                          {enterMade, "ivState == StepKnown"},
                                                          {enterPredecessor, "ivState >= OutputsMade"},
                                                          {enterEnded, "ivState >= OutputsMade"}};
  fitSecond(squaredId);
  const auto expectOnly = [&](std::size_t allowed, std::size_t alsoAllowed) {
    SCOPED_TRACE(second->getState());
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (i == allowed || i == alsoAllowed) continue;
      expectFailure([&] { all[i].first(*second); }, all[i].second);
    }
  };
  expectOnly(2, 2);
  all[2].first(*second);
  expectOnly(3, 3);
  all[3].first(*second);
  expectOnly(4, 4);
  all[4].first(*second);
  for (const std::size_t next : {5U, 6U, 5U}) {
    expectOnly(5, 6);
    all[next].first(*second);
  }
  openFirst(squaredId, {y});
  expectFailure([&] { enterDone(*first); }, "ivState == ResidualScan");
  expectFailure([&] { first->noteResidualModelDone(QUVEN_ENV); }, "getState() == ResidualScan");
  expectFailure([&] { first->updatePredictionsAll(QUVEN_ENV); }, "getState() >= OutputsMade");
  expectFailure([&] { first->stepRecord(1, *point, QUVEN_ENV); }, "getState() == StepSearch");
  expectFailure([&] { static_cast<void>(makeNext(*first, "2")); }, "previous.getState() >= OutputsMade");
  auto unbound = makeLoss(squaredId);
  expectFailure([&] { unbound->enterResidualScan(QUVEN_ENV); }, "!ivTargets.isEmpty()");
  unbound.reset(QUVEN_ENV);
}

TEST_F(QUVENGeneralLossTest, ALossIsBoundOnce) {
  finishFirst(squaredId, {y});
  second = makeNext(*first, "2");
  expectFailure([&] { second->openNext(*first, "2", *names, QUVEN_ENV); }, "ivTargets.isEmpty()");
  QUVENModel::Inputs none;
  expectFailure([&] { first->openFirst(none, nullptr, "1", *names, QUVEN_ENV); }, "ivTargets.isEmpty()");
}

TEST_F(QUVENGeneralLossTest, TheLossOfALaterStageHasNothingButTargetsAndPredictions) {
  searchSecond(poissonId, {y, y2});
  for (QUVENField* field : {y, y2, &previous(1), &previous(2)}) field->setNumValue(1);
  for (const long i : {1, 2}) predictedResidual(*second, i).setNumValue(0.5);
  point->setChannel(4);
  step(*second);
  finishSearch();
  auto third = makeNext(*second, "3");
  EXPECT_TRUE(third->isA(QUVENPoissonLoss::typeName()));
  EXPECT_EQ(third->getState(), 0);
  EXPECT_EQ(third->getLineSearchType(), 0);
  EXPECT_EQ(third->getAlpha(1, 1), 1.0);
  EXPECT_TRUE(third->getAlphas().isEmpty());
  EXPECT_TRUE(third->getGradient().isEmpty());
  EXPECT_TRUE(third->getResidualPredictions().isEmpty());
  EXPECT_TRUE(third->getCurrentPredictedValues().isEmpty());
  EXPECT_TRUE(third->getCurrentUnnormalizedOutputs().getResultFields().isEmpty());
  EXPECT_EQ(third->getResidualModelOutputs().getSize(), 2);
  EXPECT_EQ(third->getTargets()[2], y2);
  EXPECT_EQ(third->getPreviousPredictedValues()[2], names->find("UnnormalizedPredicted_y2_2"));
  EXPECT_EQ(third->getResiduals()[1], names->find("Residual_y_3"));
  third.reset(QUVEN_ENV);
}

// Slots

TEST_F(QUVENGeneralLossTest, ALossFunctionHasNoSlots) {
  auto loss = make<QUVENTestLossWithoutSlots>();
  auto outputs = make<QUVENModelOutputs>();
  const std::vector<std::function<void()>> slots = {[&] { loss->initResidualScan(QUVEN_ENV); },
                                                    [&] { loss->noteResidualModelDone(QUVEN_ENV); },
                                                    [&] { loss->afterResidualModels(QUVEN_ENV); },
                                                    [&] { static_cast<void>(loss->beginStepSearch(QUVEN_ENV)); },
                                                    [&] { static_cast<void>(loss->endStepSearch(QUVEN_ENV)); },
                                                    [&] { loss->stepRecord(1, *point, QUVEN_ENV); },
                                                    [&] { static_cast<void>(loss->getAlpha(1, 1)); },
                                                    [&] { loss->updatePredictionsAll(QUVEN_ENV); },
                                                    [&] { loss->updatePredictionsOne(1, QUVEN_ENV); },
                                                    [&] { loss->exportOutputs(*outputs, "", *names, QUVEN_ENV); },
                                                    [&] { loss->computeResidualsAll(QUVEN_ENV); },
                                                    [&] { loss->computeResidualsOne(1, QUVEN_ENV); },
                                                    [&] { loss->noteOutputsMade(QUVEN_ENV); }};
  for (const auto& slot : slots) expectFailure(slot, unreachableText);
  outputs.reset(QUVEN_ENV);
  loss.reset(QUVEN_ENV);
}

TEST_F(QUVENGeneralLossTest, TheSlotsOfAClassBelowAreNotImplemented) {
  first = make<QUVENGeneralLoss>();
  QUVENModel::Inputs inputs;
  inputs.append(QUVENModelInput(y, QUVENUsageTarget), QUVEN_ENV);
  first->openFirst(inputs, nullptr, "1", *names, QUVEN_ENV);
  inputs.deleteMemory(QUVEN_ENV);
  fitResiduals(*first);
  EXPECT_FALSE(first->enterStepSearch(QUVEN_ENV));
  first->enterOutputsMade(*names, QUVEN_ENV);
  second = makeNext(*first, "2");
  fitResiduals(*second);
  setRecord(1, 1, 1, 5);
  EXPECT_EQ(first->applyLink(7), 7);
  expectFailure([&] { static_cast<void>(second->getReportedLoss(1, 1)); }, notImplementedText);
  expectFailure([&] { second->computeResidualsAll(QUVEN_ENV); }, notImplementedText);
  expectFailure([&] { second->computeResidualsOne(1, QUVEN_ENV); }, notImplementedText);
  EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
  expectFailure([&] { second->stepRecord(1, *point, QUVEN_ENV); }, notImplementedText);
  second.reset(QUVEN_ENV);
  second = makeNext(*first, "3");
  fitResiduals(*second);
  second->beginMultiAlpha(QUVEN_ENV);
  predictedResidual(*second).setNumValue(1);
  expectFailure([&] { second->stepRecord(1, *point, QUVEN_ENV); }, notImplementedText);
}

}  // namespace
