#ifndef QUVEN_CAT_FIELD_H
#define QUVEN_CAT_FIELD_H

#include "kernel/quven_field.h"

/// A column of texts.
class QUVENCatField : public QUVENObjectOf<QUVENCatField, QUVENField> {
 public:
  explicit QUVENCatField(const QUVENEnvHandle& env);
};

#endif  // QUVEN_CAT_FIELD_H
