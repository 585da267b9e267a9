#ifndef VESK_ANALYZE_LOSS_WORDS_H
#define VESK_ANALYZE_LOSS_WORDS_H

#include <cstdint>
#include <string>

namespace vesk_analyze {

/// Whether it is the name of a loss function, "Squared" or empty.
bool isLossName(const std::string& name);
/// What the loss of a record is called in reports.
const char* lossTitle(std::int32_t lossId);

// With a link or without.
bool isSquared(std::int32_t lossId);
bool isLogistic(std::int32_t lossId);
bool isPoisson(std::int32_t lossId);
bool hasLink(std::int32_t lossId);
/// Logistic and support vector.
bool isOfTwoClasses(std::int32_t lossId);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_LOSS_WORDS_H
