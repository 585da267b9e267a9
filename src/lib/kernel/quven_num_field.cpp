#include "kernel/quven_num_field.h"

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENNumField);

QUVENNumField::QUVENNumField(const QUVENEnvHandle& env) : Members(QUVENFieldType::Numeric, QUVEN_ENV) {}
