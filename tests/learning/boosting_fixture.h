#ifndef TESTS_LEARNING_BOOSTING_FIXTURE_H
#define TESTS_LEARNING_BOOSTING_FIXTURE_H

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "learning/boost_tables.h"
#include "learning/quven_model_file.h"
#include "learning/quven_transform_regression.h"
#include "passes/pass_fixture.h"

/// What a stage of the library's model had learned when it got its score.
struct StageFacts {
  std::vector<double> alphas;        ///< per channel; empty in stage 1
  std::vector<double> outputAlphas;  ///< empty without an output transform
  std::size_t rank = 0;
  bool hasNoSignal = false;
  QUVENScoreTriple score;
  std::size_t passes = 0;  ///< of the run, until then
};

/// What is known of a training after its run.
struct TrainedFacts {
  std::vector<StageFacts> stages;                    ///< all that were trained
  std::map<std::string, ChannelValues> predictions;  ///< of the ensemble, by the name of the field
  QUVENTransformRegression::StopReason stopReason;
  long bestStage;
  long numStages;              ///< of the model at the end
  std::string predictionName;  ///< of the last of them
};

/// A run with one boosted model of the target y.
struct BoostRun {
  BoostRun(const std::string& dataset, const BoostTable& table, const QUVENPassSettings& settings, MPI_Comm ranks)
      : run(dataset, settings, ranks), numChannels(table.channels) {}

  /// Adds the model with the inputs x0, x1, ... On rank 0.
  void addModel(const BoostTable& table, int loss, int mode, bool choosesLater) {
    addFields(table);
    model = &run.driver.addScan(quvenMake<QUVENTransformRegression>(run.handle()), run.handle());
    for (std::size_t i = 0; i < table.isCategorical.size(); ++i) {
      model->addInput(&run.field("x" + std::to_string(i)), QUVENUsageExplanatory, run.handle());
    }
    model->addInput(&run.field("y"), QUVENUsageTarget, run.handle());
    const auto isWeight = [](double BoostRow::*weight) {
      return [weight](const BoostRow& row) { return row.*weight != 1; };
    };
    if (std::ranges::any_of(table.rows, isWeight(&BoostRow::w))) {
      model->addInput(&run.field("w"), QUVENUsageCaseWeight, run.handle());
    }
    if (std::ranges::any_of(table.rows, isWeight(&BoostRow::v))) {
      model->addInput(&run.field("v"), QUVENUsageInverseVarianceWeight, run.handle());
    }
    model->setNames(run.driver.getNames());
    model->setLossId(loss);
    model->setChoosesLater(choosesLater);
    observe();
    EXPECT_TRUE(model->setMiningMode(mode, nullptr, run.handle()));
  }
  /// Asks for the distributions of the inputs and of the target. On rank 0.
  void addFields(const BoostTable& table) {
    for (std::size_t i = 0; i < table.isCategorical.size(); ++i) addField("x" + std::to_string(i));
    addField("y");
  }
  void observe() {
    model->setStageObserver([this](long stage) { noteStage(stage); });
  }

  /// Every prediction of the ensemble that a record has, by record, stage and channel: a line of `bits` per record, and
  /// on the reading rank the numbers by the name of the field. Collective.
  void writePredictions(const std::string& file) {
    predictions.clear();
    const auto writeRow = [&](QUVENDataPoint&, std::int64_t, std::string& row) {
      for (int stage = 1; stage <= QUVENTransformRegression::MostStages; ++stage) {
        for (const char* kind : {"", "_output"}) {
          const std::string name = "UnnormalizedPredicted_y_" + std::to_string(stage) + kind;
          QUVENField* field = run.driver.getNames().find(name);
          if (field == nullptr || !field->hasValue()) continue;
          predictions[name].emplace_back();
          for (int c = 1; c <= numChannels; ++c) {
            const double value = field->getNumValueOrSingle(c);
            predictions[name].back().push_back(value);
            row += " " + std::to_string(std::bit_cast<std::uint64_t>(value));
          }
        }
      }
    };
    run.driver.writeRows(file, "predictions", writeRow, run.handle());
  }

  /// The model file, as far as it is the same for the same model. On rank 0.
  void writeModel(const std::string& file, const BoostTable& table) {
    QUVENXaRay<QUVENField*> fields;
    for (std::size_t i = 0; i < table.isCategorical.size(); ++i) {
      fields.append(&run.field("x" + std::to_string(i)), run.handle());
    }
    for (const char* name : {"y", "w", "v"}) fields.append(&run.field(name), run.handle());
    for (const QUVENOwnPtr<QUVENField>& field : run.driver.getNames().getOwnedFields()) {
      if (field->isComputed()) fields.append(field.get(), run.handle());
    }
    auto training = quvenMake<QUVENTrainingFacts>(run.handle());
    EXPECT_TRUE(quvenWriteModelFile(file, fields, *model, *training, run.handle()));
    training.reset(run.handle());
    fields.deleteMemory(run.handle());
  }

  /// On the reading rank, after writePredictions.
  TrainedFacts getFacts() {
    const long numStages = model->getNumStages();
    const QUVENField* prediction = model->getStage(numStages).getLoss().getCurrentPredictedValues().at(1);
    return {facts,
            predictions,
            model->getStopReason(),
            model->getBestStage(),
            numStages,
            std::string(std::string_view(prediction->getName()))};
  }

  PassRun run;
  int numChannels;
  QUVENTransformRegression* model = nullptr;
  std::vector<StageFacts> facts;
  std::map<std::string, ChannelValues> predictions;

 private:
  void addField(const std::string& name) { run.driver.addField(run.field(name), run.handle()); }
  static std::vector<double> alphasOf(const QUVENGradBoostStage& stage) {
    const auto& alphas = stage.getLoss().getAlphas();
    return {alphas.begin(), alphas.end()};
  }
  void noteStage(long stage) {
    const QUVENGradBoostStage& learner = model->getStage(stage);
    const auto& residualModel = static_cast<const QUVENTransRegResidualModel&>(*learner.getResidualModels().at(1));
    StageFacts noted;
    if (stage > 1) noted.alphas = alphasOf(learner);
    if (model->getOutputTransform(stage) != nullptr) noted.outputAlphas = alphasOf(*model->getOutputTransform(stage));
    noted.rank = static_cast<std::size_t>(residualModel.getRegression()->getInputFields().getSize());
    noted.hasNoSignal = learner.hasNoSignal(run.handle());
    noted.score = model->getStageScores().at(stage).get();
    noted.passes = run.driver.getPasses().size();
    facts.push_back(noted);
  }
};

/// Boosted models of tables in memory, through the pass driver.
class BoostTest : public PassTest {
 protected:
  static QUVENPassSettings settingsOf(const BoostTable& table, std::int32_t slices) {
    std::vector<std::int32_t> channels;
    for (const BoostRow& row : table.rows) channels.push_back(row.channel);
    return {.numChannels = table.channels,
            .dealChannel = [channels](std::int64_t record) { return channels.at(static_cast<std::size_t>(record)); },
            .numSlices = slices};
  }
  void writeTable(const BoostTable& table) {
    std::string info;
    for (std::size_t i = 0; i < table.isCategorical.size(); ++i) {
      info += "x" + std::to_string(i) + (table.isCategorical[i] ? " Categorical" : " Numeric") + " Explanatory\n";
    }
    std::vector<double> values;
    for (const BoostRow& row : table.rows) {
      for (const double value : row.x) values.push_back(std::isnan(value) ? Missing : value);
      for (const double value : {row.y, row.w, row.v}) values.push_back(std::isnan(value) ? Missing : value);
    }
    write(info + "y Numeric Target\nw Numeric Explanatory\nv Numeric Explanatory\n", values);
  }
  /// The table is the dataset.
  std::unique_ptr<BoostRun> train(const BoostTable& table, int loss, int mode, const QUVENPassSettings& settings,
                                  MPI_Comm ranks = MPI_COMM_WORLD, bool choosesLater = false) {
    auto made = std::make_unique<BoostRun>(path, table, settings, ranks);
    if (made->run.isRank0()) made->addModel(table, loss, mode, choosesLater);
    made->run.passes();
    return made;
  }
};

#endif  // TESTS_LEARNING_BOOSTING_FIXTURE_H
