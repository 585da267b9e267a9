#include "learning/quven_feature_transform.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "kernel/quven_data_point.h"
#include "kernel/quven_scan_results.h"
#include "learning/quven_training_mode.h"
#include "learning/quven_transform_tree.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTransformGlobalVars);
QUVEN_REGISTER(QUVENFeatureTransform);

namespace {

/// The channels that are no folds: the test and the held-out records.
constexpr int channelsWithoutFold = QUVENFoldDealing::FirstFold - 1;
/// A segment is to have this many records per fold.
constexpr double recordsPerFold = 2.0;

/// Fails as an assertion of the given text and hint, which are fixed parts of the system's reports.
void require(bool condition, const char* text, const char* hint, const QUVENEnvHandle& env) {
  if (!condition) quvenOrdinaryAssertionFailed(text, hint, env.getFunction(), env.getLine(), env.getFile());
}

void cloneRegression(QUVENOwnPtr<QUVENModel>& result, const QUVENModel& source, const QUVENEnvHandle& env) {
  QUVENOwnPtr<QUVENLinRegModel> made(QUVEN_ENV);
  static_cast<const QUVENLinRegModel&>(source).cloneGathered(made, QUVEN_ENV);
  result = std::move(made);
}

}  // namespace

QUVENTransformGlobalVars& QUVENTransformGlobalVars::get(const QUVENEnvHandle& env) {
  static const QUVENStringWithHash key("QUVENFeatureTransform::cv");
  return *QUVENEnv::getGlobal<QUVENTransformGlobalVars>(key, QUVEN_ENV);
}

void QUVENFeatureTransform::getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                                       const QUVENEnvHandle& env) {
  QUVENField* target = getTargetFields().at(1).getField();
  QUVENField* const prediction = outputs.addOutput(target, QUVENOutputPredicted, suffix, names, QUVEN_ENV);
  QUVENField* const stdDev = outputs.addOutput(target, QUVENOutputStdDev, suffix, names, QUVEN_ENV);
  for (QUVENField* field : {prediction, stdDev}) field->setActualChannelCount(getGlobalNumChannels());
  setOutputFields(prediction, stdDev);
}

void QUVENFeatureTransform::setOutputFields(QUVENField* prediction, QUVENField* stdDev) {
  predValField = prediction;
  predValStdDevField = stdDev;
  if (ivRootModelPtr == nullptr) return;
  forRootAndSegments([&](QUVENLinRegModel& model) { model.setOutputFields(prediction, stdDev); });
}

const QUVENSplitTest& QUVENFeatureTransform::splitTest() const {
  QUVEN_ASSERT(ivSplitTestPtr != nullptr);
  return *ivSplitTestPtr;
}

QUVENLinRegModel& QUVENFeatureTransform::rootModel() const {
  QUVEN_ASSERT(ivRootModelPtr != nullptr);
  return *ivRootModelPtr;
}

QUVENLinRegModel& QUVENFeatureTransform::segmentModel(std::int32_t segment) const {
  const QUVENOwnPtr<QUVENLinRegModel>& model = ivSegmentModelVec.at(segment);
  QUVEN_ASSERT(model != nullptr);
  return *model;
}

template <class Action>
void QUVENFeatureTransform::forRootAndSegments(Action action) const {
  action(rootModel());
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) action(segmentModel(i));
}

template <class Number>
double QUVENFeatureTransform::sumOverSegments(Number number) const {
  double sum = 0;
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) sum += number(segmentModel(i));
  return sum;
}

// The scans of root and segments

void QUVENFeatureTransform::makeRootModel(QUVENOwnPtr<QUVENLinRegModel>& result, const QUVENEnvHandle& env) const {
  result = quvenMake<QUVENLinRegModel>(QUVEN_ENV);
}

void QUVENFeatureTransform::releaseModels(const QUVENEnvHandle& env) {
  scorer.clear();
  ivSegmentModelVec.deleteMemory(QUVEN_ENV);
  ivSplitTestPtr.reset(QUVEN_ENV);
  ivRootModelPtr.reset(QUVEN_ENV);
}

bool QUVENFeatureTransform::setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle& env) {
  quvenRequireTrainingMode(mode, "Invalid model state", QUVEN_ENV);
  return true;
}

bool QUVENFeatureTransform::beginPass(const QUVENEnvHandle& env) {
  quvenRequireTrainingMode(getMiningMode(QUVEN_ENV), "Invalid model state", QUVEN_ENV);
  releaseModels(QUVEN_ENV);

  makeRootModel(ivRootModelPtr, QUVEN_ENV);
  for (const Inputs* inputs : {&getTargetFields(), &getExplanatoryFields()}) {
    for (const QUVENModelInput& input : *inputs) {
      ivRootModelPtr->addInput(input.getField(), input.getUsage(), QUVEN_ENV);
    }
  }
  if (getCaseWeightField() != nullptr) {
    ivRootModelPtr->addInput(getCaseWeightField(), QUVENUsageCaseWeight, QUVEN_ENV);
  }
  if (getInvVarWeightField() != nullptr) {
    ivRootModelPtr->addInput(getInvVarWeightField(), QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  }
  ivRootModelPtr->setOutputFields(predValField, predValStdDevField);

  const double minRecords = recordsPerFold * (getGlobalNumChannels() - channelsWithoutFold);
  QUVENSplitTest::createSplitTest(ivSplitTestPtr, ivSplitFieldPtr, minRecords, QUVEN_ENV);
  numInitialSegments = ivSplitTestPtr->getNumSegments();
  ivSegmentModelVec.setSize(numInitialSegments, QUVEN_ENV);
  for (QUVENOwnPtr<QUVENLinRegModel>& segment : ivSegmentModelVec) {
    QUVENOwnPtr<QUVENModel> made(QUVEN_ENV);
    ivRootModelPtr->clone(made, QUVEN_ENV);
    segment.assign(static_cast<QUVENLinRegModel*>(made.detach()), QUVEN_ENV);
    segment->setOutputFields(predValField, predValStdDevField);
  }
  require(beginBottomUpTraining(TrainForMerging, QUVEN_ENV), "beginBottomUpTraining (TrainForMerging, QUVEN_ENV)",
          "Segment models must scan data in train-for-merging mode", QUVEN_ENV);
  return true;
}

bool QUVENFeatureTransform::beginBottomUpTraining(std::int32_t mode, const QUVENEnvHandle& env) {
  QUVENModel* const refModelPtr = &rootModel();
  require(refModelPtr->setMiningMode(BestModelTrainDataOnly, nullptr, QUVEN_ENV),
          "ivRootModelPtr->setMiningMode (QUVENModel::BestModelTrainDataOnly, QUVEN_ENV)",
          "Segment models must implement best model train data only", QUVEN_ENV);
  require(refModelPtr->beginDataScan(QUVEN_ENV), "ivRootModelPtr->beginDataScan (QUVEN_ENV)",
          "Segment models must scan data in best-model-train-data-only mode", QUVEN_ENV);
  for (QUVENOwnPtr<QUVENLinRegModel>& segment : ivSegmentModelVec) {
    require(segment->setMiningMode(mode, refModelPtr, QUVEN_ENV),
            "ivSegmentModelVec[k]->setMiningMode (mode, refModelPtr, QUVEN_ENV)",
            "Segment models must implement training mode", QUVEN_ENV);
    require(segment->beginDataScan(QUVEN_ENV), "ivSegmentModelVec[k]->beginDataScan (QUVEN_ENV)",
            "Segment models must scan data in train-for-merging mode", QUVEN_ENV);
  }
  return !ivSegmentModelVec.isEmpty();
}

// Records

bool QUVENFeatureTransform::isLearning() const {
  constexpr std::int32_t scanning = 100;
  return getModelState() == scanning + BestModelTrainDataOnly || getModelState() == scanning + quvenModeOfHeldOut;
}

QUVENDataScan::UpdateFunction QUVENFeatureTransform::recordHandler(const QUVENEnvHandle&) const {
  return isLearning() ? static_cast<UpdateFunction>(&QUVENFeatureTransform::learn) : nullptr;
}

QUVENDataScan::UpdateFunction QUVENFeatureTransform::batchHandler(const QUVENEnvHandle&) const {
  return isLearning() ? static_cast<UpdateFunction>(&QUVENFeatureTransform::learnBatch) : nullptr;
}

void QUVENFeatureTransform::beginRecords(const QUVENEnvHandle& env) {
  forRootAndSegments([&](QUVENLinRegModel& model) { model.beginRecords(QUVEN_ENV); });
}

void QUVENFeatureTransform::learn(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const QUVENSplitTest& split = *ivSplitTestPtr;
  if (!split.hasValuePerChannel()) {
    QUVENLinRegModel& segment = segmentModel(split.getSegment(1, QUVEN_ENV));
    QUVENLinRegModel& root = rootModel();  // looks up for all segments: they have the same inputs
    if (segment.isOneValued() && root.hasOneValueNow()) return segment.learnOneValued(point, QUVEN_ENV);
    if (root.lookUpRecord(QUVEN_ENV)) segment.learnLookedUp(root, point.getChannel(), QUVEN_ENV);
    return;
  }
  for (std::int32_t channel = 1; channel <= getGlobalNumChannels(); ++channel) {
    segmentModel(split.getSegment(channel, QUVEN_ENV)).learnChannel(channel, point, QUVEN_ENV);
  }
}

void QUVENFeatureTransform::addToBlock(QUVENBlockOfTransform& part, long record, const QUVENEnvHandle& env) const {
  const QUVENSplitTest& split = *ivSplitTestPtr;
  QUVEN_ASSERT(part.channels > 1 || !split.hasValuePerChannel());
  for (long c = 0; c < part.channels; ++c) {
    const auto place = static_cast<std::size_t>(record * part.channels + c);
    part.segments[place] = split.getSegment(c + 1, QUVEN_ENV);
    const double value = ivSplitFieldPtr->getNumValueOrSingle(c + 1);  // 0.0 for categories
    part.values[place] = std::isnan(value) ? 0.0 : value;
  }
}

void QUVENFeatureTransform::learnBlock(const QUVENRecordBlock& block, const QUVENBlockOfTransform& part,
                                       const QUVENEnvHandle& env) {
  const long channels = getGlobalNumChannels();
  const long first = part.hasOwnVariable ? 1 : 0;
  const long shared = block.getNumVariables();
  blockRecord.setSize(first + shared, QUVEN_ENV);
  double* const variables = blockRecord.begin();
  for (long r = 0; r < block.getNumRecords(); ++r) {
    const auto recordChannel = static_cast<std::int32_t>(block.getRecordChannel(r));
    for (long c = 0; c < channels; ++c) {
      const auto channel = static_cast<std::int32_t>(c + 1);
      const double* const values = block.at(r, c);
      const bool isSeen = channel == recordChannel || QUVENLinRegModel::trains(recordChannel, channel);
      if (!isSeen || std::isnan(values[shared - 1])) continue;
      const auto place = static_cast<std::size_t>(part.channels == 1 ? r : r * channels + c);
      if (part.hasOwnVariable) variables[0] = part.values[place];
      for (long i = 0; i < shared; ++i) variables[first + i] = values[i];
      QUVENLinRegModel& segment = *ivSegmentModelVec[part.segments[place]];
      if (segment.isOneValued()) segment.leaveOneValued(QUVEN_ENV);
      segment.addRecord(channel, channel == recordChannel, blockRecord, values[shared], values[shared + 1]);
    }
  }
}

void QUVENFeatureTransform::learnChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  segmentModel(ivSplitTestPtr->getSegment(channel, QUVEN_ENV)).learnChannel(channel, point, QUVEN_ENV);
}

void QUVENFeatureTransform::learnBatch(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  learnChannel(batchChannel, point, QUVEN_ENV);
}

/// Gives the root the records of the segments: each channel of a record went to one segment.
void QUVENFeatureTransform::endRecords(const QUVENEnvHandle& env) {
  forRootAndSegments([&](QUVENLinRegModel& model) { model.endRecords(QUVEN_ENV); });
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) rootModel().mergeGathered(segmentModel(i), QUVEN_ENV);
}

void QUVENFeatureTransform::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                                  const QUVENEnvHandle& env) const {
  if (ivRootModelPtr == nullptr) return;
  forRootAndSegments([&](const QUVENLinRegModel& model) { quvenWriteScanResults(model, writer, keyword, QUVEN_ENV); });
}

// The end of the training

bool QUVENFeatureTransform::endPass(std::int32_t lastPass, const QUVENEnvHandle& env) {
  quvenRequireTrainingMode(getMiningMode(QUVEN_ENV), "Invalid model state", QUVEN_ENV);
  bool isFinished = true;
  forRootAndSegments(
      [&](QUVENLinRegModel& model) { isFinished = model.endDataScan(lastPass, QUVEN_ENV) && isFinished; });
  if (isFinished) mergeSegments(QUVEN_ENV);
  return isFinished;
}

void QUVENFeatureTransform::mergeSegments(const QUVENEnvHandle& env) {
  using Partners = QUVENTransformTree::Partners;
  QUVENTransformTree::Models models;
  for (QUVENOwnPtr<QUVENLinRegModel>& segment : ivSegmentModelVec) models.append(std::move(segment), QUVEN_ENV);

  QUVENTransformTree tree(ivSplitFieldPtr->isNumeric() ? Partners::Neighbours : Partners::All, cloneRegression);
  tree.open(models, ivSplitTestPtr->getMissingSegment(), QUVEN_ENV);
  tree.fold(QUVEN_ENV);
  tree.mergeAll(QUVEN_ENV);
  tree.prune(QUVEN_ENV);
  QUVENXaRay<std::int32_t> map;
  tree.collect(models, map, QUVEN_ENV);
  tree.deleteMemory(QUVEN_ENV);

  ivSplitTestPtr->mapSegments(map, QUVEN_ENV);
  map.deleteMemory(QUVEN_ENV);
  ivSegmentModelVec.setSize(models.getSize(), QUVEN_ENV);
  for (long i = 1; i <= models.getSize(); ++i) {
    ivSegmentModelVec[i].assign(static_cast<QUVENLinRegModel*>(models[i].detach()), QUVEN_ENV);
  }
  models.deleteMemory(QUVEN_ENV);
  forRootAndSegments([&](QUVENLinRegModel& model) { model.releaseStatistics(QUVEN_ENV); });
  findUnusableSegments(QUVEN_ENV);
}

void QUVENFeatureTransform::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  scorer.clear();
}

/// After every change of the segments.
void QUVENFeatureTransform::findUnusableSegments(const QUVENEnvHandle& env) {
  scorer.clear();
  isUnusable.setSize(ivSegmentModelVec.getSize(), QUVEN_ENV);
  for (long i = 1; i <= isUnusable.getSize(); ++i) {
    isUnusable[i] = ivSegmentModelVec[i] == nullptr || !ivSegmentModelVec[i]->hasUsableData(QUVEN_ENV);
  }
}

void QUVENFeatureTransform::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT((ivSplitTestPtr == nullptr ? 0 : ivSplitTestPtr->getNumSegments()) == getNumSegments());
  if (ivRootModelPtr != nullptr) {
    predValField = ivRootModelPtr->getPredValField();
    predValStdDevField = ivRootModelPtr->getPredValStdDevField();
  }
  numInitialSegments = 0;
  findUnusableSegments(QUVEN_ENV);
}

// Queries

std::vector<QUVENSegmentDescription> QUVENFeatureTransform::describeSegments(const QUVENEnvHandle& env) const {
  return splitTest().describeSegments(QUVEN_ENV);
}

bool QUVENFeatureTransform::hasUsableData(const QUVENEnvHandle& env) const {
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) {
    if (segmentModel(i).hasUsableData(QUVEN_ENV)) return true;
  }
  return false;
}

double QUVENFeatureTransform::getVolume(const QUVENEnvHandle& env) const {
  if (ivSegmentModelVec.isEmpty()) return 0.0;
  double volume = std::numeric_limits<double>::max();
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) {
    volume = std::min(volume, segmentModel(i).getVolume(QUVEN_ENV));
  }
  return volume;
}

void QUVENFeatureTransform::getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores,
                                                 const QUVENEnvHandle& env) const {
  QUVENModelScores sum;
  QUVENXaRay<QUVENModelScores> ofSegment;
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) {
    ofSegment.setSize(0, QUVEN_ENV);
    segmentModel(i).getModelScoresVector(ofSegment, QUVEN_ENV);
    QUVEN_ASSERT(ofSegment.getSize() == 1);  // a final segment has its candidate selected
    for (const int slot : {QUVENModelScores::Train, QUVENModelScores::Evaluation, QUVENModelScores::HeldOut}) {
      sum.accumulate(slot, ofSegment[1][slot]);
    }
  }
  ofSegment.deleteMemory(QUVEN_ENV);
  scores.append(sum, QUVEN_ENV);
}

double QUVENFeatureTransform::getScore(int which, const QUVENEnvHandle& env) const {
  return sumOverSegments([&](const QUVENLinRegModel& model) { return model.getScore(which, QUVEN_ENV); });
}

double QUVENFeatureTransform::getScoreVariance(int which, const QUVENEnvHandle& env) const {
  return sumOverSegments([&](const QUVENLinRegModel& model) { return model.getScoreVariance(which, QUVEN_ENV); });
}

bool QUVENFeatureTransform::hasNoSignal(const QUVENEnvHandle& env) const {
  int withVariance = 0;
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) {
    const QUVENLinRegModel& model = segmentModel(i);
    if (!(model.getScoreVariance(QUVENModelScores::Train, QUVEN_ENV) > 0.0)) continue;
    if (++withVariance > 1 || !model.hasNoSignal(QUVEN_ENV)) return false;
  }
  return true;
}

void QUVENFeatureTransform::pruneInputs(const QUVENEnvHandle& env) {
  if (ivRootModelPtr == nullptr) return;
  scorer.clear();
  forRootAndSegments([&](QUVENLinRegModel& model) { model.pruneInputs(QUVEN_ENV); });
  pruneUnusedInputs(QUVEN_ENV);
}

void QUVENFeatureTransform::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  if (ivSplitFieldPtr != nullptr) fieldsUsed.add(ivSplitFieldPtr, QUVEN_ENV);
  if (ivRootModelPtr == nullptr) {
    for (const QUVENModelInput& input : getExplanatoryFields()) fieldsUsed.add(input.getField(), QUVEN_ENV);
    return;
  }
  forRootAndSegments([&](const QUVENLinRegModel& model) { model.collectFieldsUsed(fieldsUsed, QUVEN_ENV); });
}

// Scoring

void QUVENFeatureTransform::finishScoring(const QUVENEnvHandle& env) {
  if (ivRootModelPtr == nullptr) return;
  forRootAndSegments([&](QUVENLinRegModel& model) { model.finishScoring(QUVEN_ENV); });
}

QUVENChannelScorer& QUVENFeatureTransform::getScorer() {
  if (!scorer.isEmpty()) return scorer;
  for (std::int32_t i = 1; i <= getNumSegments(); ++i) segmentModel(i).addTo(scorer);
  rootModel().addTo(scorer);
  return scorer;
}

/// The segment of the scorer for a channel of the present record. Counts a segment without usable data.
long QUVENFeatureTransform::scorerOf(std::int32_t segment, std::int32_t channel, const QUVENEnvHandle& env) {
  if (!isUnusable.at(segment)) return segment;
  const QUVENTransformGlobalVars& settings = QUVENTransformGlobalVars::get(QUVEN_ENV);
  if (QUVENField* warning = settings.getWarningField()) {
    const double count = warning->hasValue() ? warning->getNumValueOrSingle(channel) : 0.0;
    warning->setNumValueOfChannel(channel, std::isnan(count) ? 1.0 : count + 1.0, QUVEN_ENV);
  }
  const bool isMissingSegment = segment == splitTest().getMissingSegment();
  return settings.isUnseenFromRoot() && isMissingSegment ? getNumSegments() + 1 : segment;
}

void QUVENFeatureTransform::scoreChannel(std::int32_t channel, QUVENDataPoint&, const QUVENEnvHandle& env) {
  const QUVENChannelScorer& models = getScorer();
  const long segment = scorerOf(splitTest().getSegment(channel, QUVEN_ENV), channel, QUVEN_ENV);
  const double prediction = models.predict(segment, channel - 1);
  if (predValField != nullptr) predValField->setNumValueOfChannel(channel, prediction, QUVEN_ENV);
  if (predValStdDevField == nullptr) return;
  predValStdDevField->setNumValueOfChannel(channel, models.getStdDevs(segment)[channel - 1], QUVEN_ENV);
}

void QUVENFeatureTransform::scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const QUVENSplitTest& split = splitTest();
  QUVENChannelScorer& models = getScorer();
  const std::int32_t channels = getGlobalNumChannels();
  const std::int32_t found = split.getSegment(1, QUVEN_ENV);
  if (split.hasValuePerChannel() || isUnusable.at(found)) {
    for (std::int32_t channel = 1; channel <= channels; ++channel) scoreChannel(channel, point, QUVEN_ENV);
    return;
  }
  if (predValField != nullptr) {
    models.predictAll(found, predValField->beginNumValuesOfChannels(QUVEN_ENV));
    predValField->endNumValuesOfChannels();
  }
  if (predValStdDevField == nullptr) return;
  predValStdDevField->setNumValuesOfChannels({models.getStdDevs(found), static_cast<std::size_t>(channels)}, QUVEN_ENV);
}
