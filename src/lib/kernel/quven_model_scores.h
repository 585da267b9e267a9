#ifndef QUVEN_MODEL_SCORES_H
#define QUVEN_MODEL_SCORES_H

#include <array>

#include "util/quven_debug.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// A criterion over some records; smaller is better.
struct QUVENScoreTriple {
  double ivPts = 0;  ///< records
  double ivFit = 0;
  double ivVar = 0;  ///< variance of the criterion
};

/// The scores of one candidate of a model.
struct QUVENModelScores {
  enum Slot : int { Train = 0, Evaluation = 1, HeldOut = 2 };

  /// Adds to a triple. Requires: one of the three slots, an assertion failure otherwise.
  void accumulate(int slot, const QUVENScoreTriple& added) {
    QUVEN_ASSERT(Train <= slot && slot <= HeldOut);
    QUVENScoreTriple& triple = triples[static_cast<std::size_t>(slot)];
    triple.ivPts += added.ivPts;
    triple.ivFit += added.ivFit;
    triple.ivVar += added.ivVar;
  }
  const QUVENScoreTriple& operator[](int slot) const { return triples[static_cast<std::size_t>(slot)]; }

  std::array<QUVENScoreTriple, 3> triples{};
  std::int32_t kind = 0;
};

/// What the models of an environment share: one vector of scores, so that choosing allocates nothing for each model.
class QUVENModelGlobalVars : public QUVENObjectOf<QUVENModelGlobalVars, QUVENObject> {
 public:
  static QUVENModelGlobalVars& get(const QUVENEnvHandle& env);
  QUVENXaRay<QUVENModelScores>& getScoresVector() { return scores; }

 private:
  QUVEN_STATE(scores, QUVENXaRay<QUVENModelScores>);
};

#endif  // QUVEN_MODEL_SCORES_H
