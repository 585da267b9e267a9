#ifndef VESK_ANALYZE_SHARED_WORDS_H
#define VESK_ANALYZE_SHARED_WORDS_H

#include <string>
#include <vector>

#include "learning/quven_fold_dealing.h"
#include "passes/quven_worker_transport.h"

namespace vesk_analyze {

/// Collective: broadcasts a 32-bit value from rank 0.
template <class Word>
void shareWord(Word& word, const QUVENWorkerTransport& transport) {
  static_assert(sizeof(Word) == sizeof(std::int32_t));
  word = static_cast<Word>(transport.broadcastWord(static_cast<std::int32_t>(word)));
}

/// Collective: broadcasts the dealing from rank 0.
inline void shareDealing(QUVENFoldDealing& dealing, const QUVENWorkerTransport& transport) {
  shareWord(dealing.testPercent, transport);
  shareWord(dealing.heldOutPercent, transport);
  shareWord(dealing.numFolds, transport);
  shareWord(dealing.seed, transport);
}

/// Collective: broadcasts a text from rank 0.
inline void shareText(std::string& text, const QUVENWorkerTransport& transport, const QUVENEnvHandle& env) {
  if (transport.isAlone()) return;
  QUVENMemoryBlobIO blob;
  if (transport.isMaster()) blob.write(text.data(), text.size(), QUVEN_ENV);
  transport.broadcast(blob, QUVEN_ENV);
  if (!transport.isMaster()) text.assign(blob.getBytes().data(), blob.getBytes().size());
  blob.deleteMemory(QUVEN_ENV);
}

/// Collective: broadcasts a list of texts from rank 0.
inline void shareTexts(std::vector<std::string>& texts, const QUVENWorkerTransport& transport,
                       const QUVENEnvHandle& env) {
  auto count = static_cast<std::int32_t>(texts.size());
  shareWord(count, transport);
  texts.resize(static_cast<std::size_t>(count));
  for (std::string& text : texts) shareText(text, transport, QUVEN_ENV);
}

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_SHARED_WORDS_H
