#include "learning/quven_ls_method.h"

#include <algorithm>
#include <cmath>

#include "learning/quven_candidate_queue.h"
#include "learning/quven_choleski_fs_data.h"
#include "learning/quven_fold_dealing.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLSMethod);
QUVEN_REGISTER(QUVENLSCholeskiMethod);

namespace {

constexpr long firstFold = QUVENFoldDealing::FirstFold;

/// Rejections of the first variable after which the next candidate is added untried.
constexpr long mostRejections = 999999;

/// Whether the score with a candidate is below the score without it, by more than rounding can explain. False for NaN.
/// scale: the sum of the case weights that both scores are taken over.
bool improves(double without, double with, double scale) {
  return without - with > 0x1p-36 * std::max(std::abs(without), scale);
}

/// Factorisations that select the same variables in the same order. The judges among them decide which.
class Factorisations {
 public:
  void add(const QUVENLSData& train, const QUVENLSData& eval, double floorFactor, const QUVENEnvHandle& env) {
    all.append(QUVENLSCholeskiFSData::createFSData(&train, &eval, floorFactor, QUVEN_ENV), QUVEN_ENV);
    QUVEN_ASSERT(all[1]->getNumFields() == all[all.getSize()]->getNumFields());
  }
  /// The judges are the factorisations of this number and above.
  void setFirstJudge(long index) { firstJudge = index; }
  void deleteMemory(const QUVENEnvHandle& env) {
    queue.deleteMemory(QUVEN_ENV);
    all.deleteMemory(QUVEN_ENV);
  }

  QUVENLSCholeskiFSData& operator[](long index) { return *all[index]; }

  bool canAddNewFeature() const {
    return std::all_of(all.begin(), all.end(), [](const auto& data) { return data->canAddNewFeature(); });
  }
  /// The score of the current rank, summed over the judges.
  double getCVScore() {
    double score = 0;
    for (long i = firstJudge; i <= all.getSize(); ++i) score += all[i]->getCVScore();
    return score;
  }
  double tryCandidate(long position) {
    double score = 0;
    for (long i = firstJudge; i <= all.getSize(); ++i) score += all[i]->tryCandidate(position);
    return score;
  }
  /// The sum of the case weights of the eval data of the judges.
  double getSumCaseWeights() const {
    double sum = 0;
    for (long i = firstJudge; i <= all.getSize(); ++i) sum += all[i]->getEvalData().getSumCaseWeights();
    return sum;
  }

  /// The candidates that every factorisation can select, in the order of the reduction of the judges. All others are
  /// excluded.
  QUVENCandidateQueue& collectCandidates(const QUVENEnvHandle& env) {
    queue.clear();
    const std::int32_t n = static_cast<std::int32_t>(all[1]->getNumFields());
    for (std::int32_t position = static_cast<std::int32_t>(all[1]->getRank()) + 1; position < n; ++position) {
      if (std::all_of(all.begin(), all.end(), [&](auto& data) { return data->canSelectCandidateFeature(position); })) {
        double reduction = 0;
        for (long i = firstJudge; i <= all.getSize(); ++i) reduction += all[i]->getReduction(position);
        queue.push(position, reduction, QUVEN_ENV);
      } else {
        excludeFeature(position);
      }
    }
    queue.heapify(QUVEN_ENV);
    return queue;
  }
  void addFeature(long position) {
    for (auto& data : all) data->addFeature(position);
  }
  void excludeFeature(long position) {
    for (auto& data : all) data->excludeFeature(position);
  }

 private:
  QUVENXaRay<QUVENOwnPtr<QUVENLSCholeskiFSData>, 0> all;
  QUVENCandidateQueue queue;
  long firstJudge = 1;
};

/// Tries the candidates by descending reduction, adds the first one that improves the score, and excludes those before
/// it. False: no candidate improves it. After mostRejections candidates the next one is added untried.
bool addImprovingCandidate(Factorisations& fits, const QUVENEnvHandle& env) {
  const double score = fits.getCVScore();
  const double scale = fits.getSumCaseWeights();
  QUVENCandidateQueue& queue = fits.collectCandidates(QUVEN_ENV);
  for (long rejections = 0; !queue.isEmpty(); ++rejections) {
    const std::int32_t position = queue.pop(QUVEN_ENV);
    if (rejections >= mostRejections || improves(score, fits.tryCandidate(position), scale)) {
      fits.addFeature(position);
      return true;
    }
    fits.excludeFeature(position);
  }
  return false;
}

/// Adds the candidate of the largest reduction. False: there is none.
bool addLargestReduction(Factorisations& fits, const QUVENEnvHandle& env) {
  QUVENCandidateQueue& queue = fits.collectCandidates(QUVEN_ENV);
  if (queue.isEmpty()) return false;
  fits.addFeature(queue.pop(QUVEN_ENV));
  return true;
}

}  // namespace

QUVENOwnPtr<QUVENLSMethod> QUVENLSMethod::clone(const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
void QUVENLSMethod::selectFolds(const QUVENXaRay<QUVENLSData, 0>&, const QUVENXaRay<QUVENLSData, 0>&,
                                QUVENXaRay<QUVENLSResults, 0>&, double, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
void QUVENLSMethod::selectTwoWay(const QUVENLSData&, const QUVENLSData&, QUVENLSResults&, double,
                                 const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
void QUVENLSMethod::selectSingle(const QUVENLSData&, QUVENLSResults&, double, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}

QUVENOwnPtr<QUVENLSMethod> QUVENLSCholeskiMethod::clone(const QUVENEnvHandle& env) const {
  return quvenNewCopy(*this, QUVEN_ENV);
}

void QUVENLSCholeskiMethod::selectFolds(const QUVENXaRay<QUVENLSData, 0>& trainVec,
                                        const QUVENXaRay<QUVENLSData, 0>& evalVec,
                                        QUVENXaRay<QUVENLSResults, 0>& resultsVec, double floorFactor,
                                        const QUVENEnvHandle& env) const {
  const long channels = trainVec.getSize();
  QUVEN_ASSERT(channels >= 2 && evalVec.getSize() == channels);
  resultsVec.setSize(0, QUVEN_ENV);
  resultsVec.setSize(channels, QUVEN_ENV);

  // The variances of channels 1 and 2 are estimated from residuals on eval data, scaled to the weight of the train
  // data.
  double evalWeight = 0;
  for (long c = firstFold; c <= channels; ++c) evalWeight += evalVec[c].getSumCaseXInvVarWeights();
  const double scale2 = evalWeight > 0 ? trainVec[2].getSumCaseXInvVarWeights() / evalWeight : 1.0;
  evalWeight += evalVec[2].getSumCaseXInvVarWeights();
  const double scale1 = evalWeight > 0 ? trainVec[1].getSumCaseXInvVarWeights() / evalWeight : 1.0;

  Factorisations fits;
  fits.setFirstJudge(firstFold);
  // Channel 1 is judged on its own train data: its eval data is the final test.
  for (long c = 1; c <= channels; ++c) fits.add(trainVec[c], c == 1 ? trainVec[1] : evalVec[c], floorFactor, QUVEN_ENV);
  for (bool added = true; added;) {
    double rss = 0;
    for (long c = firstFold; c <= channels; ++c) {
      QUVENOwnPtr<QUVENLSModel> model = fits[c].getModel(QUVEN_ENV);
      rss += model->getEval().residSSQ;
      resultsVec[c].addModel(std::move(model), QUVEN_ENV);
    }
    resultsVec[2].addModel(fits[2].getModel(fits[2].getTrainVariance(rss * scale2), QUVEN_ENV), QUVEN_ENV);
    rss += fits[2].getEvalResidSSQ();
    resultsVec[1].addModel(fits[1].getModel(fits[1].getTrainVariance(rss * scale1), QUVEN_ENV), QUVEN_ENV);
    if (!fits.canAddNewFeature()) break;
    added = fits[1].getRank() == 0 ? addImprovingCandidate(fits, QUVEN_ENV) : addLargestReduction(fits, QUVEN_ENV);
  }
  fits.deleteMemory(QUVEN_ENV);
}

void QUVENLSCholeskiMethod::selectTwoWay(const QUVENLSData& dataA, const QUVENLSData& dataB, QUVENLSResults& results,
                                         double floorFactor, const QUVENEnvHandle& env) const {
  QUVENLSData merged;
  merged.copyFromPrimitive(&dataA, QUVEN_ENV);
  merged.merge(dataB, QUVEN_ENV);
  results.destroyPrimitive(QUVEN_ENV);
  Factorisations fits;
  fits.setFirstJudge(2);
  fits.add(merged, merged, floorFactor, QUVEN_ENV);
  fits.add(dataB, dataA, floorFactor, QUVEN_ENV);
  fits.add(dataA, dataB, floorFactor, QUVEN_ENV);
  do {
    results.addModel(fits[1].getModel(QUVEN_ENV), QUVEN_ENV);
  } while (fits.canAddNewFeature() && addImprovingCandidate(fits, QUVEN_ENV));
  fits.deleteMemory(QUVEN_ENV);
  merged.destroyPrimitive(QUVEN_ENV);
}

void QUVENLSCholeskiMethod::selectSingle(const QUVENLSData& data, QUVENLSResults& results, double floorFactor,
                                         const QUVENEnvHandle& env) const {
  results.destroyPrimitive(QUVEN_ENV);
  Factorisations fits;
  fits.add(data, data, floorFactor, QUVEN_ENV);
  do {
    results.addModel(fits[1].getModel(QUVEN_ENV), QUVEN_ENV);
  } while (fits.canAddNewFeature() && addLargestReduction(fits, QUVEN_ENV));
  fits.deleteMemory(QUVEN_ENV);
}
