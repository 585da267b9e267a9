#ifndef QUVEN_MODEL_INPUT_H
#define QUVEN_MODEL_INPUT_H

#include "kernel/quven_field_name_map.h"

/// What a model does with a field.
enum QUVENFieldUsage : std::int32_t {
  QUVENUsageTarget = 1,
  QUVENUsageExplanatory = 2,
  QUVENUsageExplanatory3 = 3,
  QUVENUsageCarried = 4,  ///< explanatory, and carried into every sub-model
  QUVENUsageCaseWeight = 5,
  QUVENUsageInverseVarianceWeight = 6,
  QUVENUsageSupplementary = 7  ///< listed, never regressed on: the line number
};

/// A field that a model reads, and what for.
class QUVENModelInput : public QUVENObjectOf<QUVENModelInput, QUVENObject> {
 public:
  QUVENModelInput() = default;
  QUVENModelInput(QUVENField* field, std::int32_t usage) : ivFieldPtr(field), ivUsage(usage) {}

  QUVENField* getField() const { return ivFieldPtr; }
  std::int32_t getUsage() const { return ivUsage; }

  friend bool operator==(const QUVENModelInput& a, const QUVENModelInput& b) {
    return a.ivFieldPtr == b.ivFieldPtr && a.ivUsage == b.ivUsage;
  }

 private:
  QUVEN_MEMBER(ivFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivUsage, std::int32_t) = 0;
};

#endif  // QUVEN_MODEL_INPUT_H
