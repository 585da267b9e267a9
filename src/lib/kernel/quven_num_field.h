#ifndef QUVEN_NUM_FIELD_H
#define QUVEN_NUM_FIELD_H

#include "kernel/quven_field.h"

/// A column of numbers.
class QUVENNumField : public QUVENObjectOf<QUVENNumField, QUVENField> {
 public:
  explicit QUVENNumField(const QUVENEnvHandle& env);
};

#endif  // QUVEN_NUM_FIELD_H
