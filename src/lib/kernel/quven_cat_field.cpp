#include "kernel/quven_cat_field.h"

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENCatField);

QUVENCatField::QUVENCatField(const QUVENEnvHandle& env) : Members(QUVENFieldType::Categorical, QUVEN_ENV) {}
