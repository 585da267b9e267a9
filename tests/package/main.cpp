// A class of somebody else, and the classes of the package that nothing here mentions.

#include "util/quven_registration.h"

class QUVENConsumerThing : public QUVENObjectOf<QUVENConsumerThing, QUVENObject> {
 public:
  QUVEN_MEMBER(ivNumber, double) = 1;
};
QUVEN_REGISTER(QUVENConsumerThing);

int main() {
  for (const char* name : {"QUVENConsumerThing", "QUVENXMLTag", "QUVENSNAData", "QUVENNumField"}) {
    if (QUVENTypeNameAux::find(name) == nullptr) return 1;
  }
  return 0;
}
