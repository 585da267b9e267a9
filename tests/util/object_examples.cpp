#include "object_examples.h"

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTestLeaf);
QUVEN_REGISTER(QUVENTestNode);
QUVEN_REGISTER(QUVENTestDerived);
QUVEN_REGISTER(QUVENTestPlain);
QUVEN_REGISTER(QUVENTestAbstract);
QUVEN_REGISTER(QUVENTestConcrete);

void QUVENTestDerived::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  ++postReads;
}
