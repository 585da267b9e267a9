#ifndef VESK_ANALYZE_SHARED_WORDS_H
#define VESK_ANALYZE_SHARED_WORDS_H

#include "learning/quven_fold_dealing.h"
#include "passes/quven_worker_transport.h"

namespace vesk_analyze {

/// Collective: every rank gets the word of 32 bits that rank 0 has.
template <class Word>
void shareWord(Word& word, const QUVENWorkerTransport& transport) {
  static_assert(sizeof(Word) == sizeof(std::int32_t));
  word = static_cast<Word>(transport.broadcastWord(static_cast<std::int32_t>(word)));
}

/// Collective: every rank gets the dealing that rank 0 has.
inline void shareDealing(QUVENFoldDealing& dealing, const QUVENWorkerTransport& transport) {
  shareWord(dealing.testPercent, transport);
  shareWord(dealing.heldOutPercent, transport);
  shareWord(dealing.numFolds, transport);
  shareWord(dealing.seed, transport);
}

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_SHARED_WORDS_H
