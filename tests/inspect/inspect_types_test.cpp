#include "inspect_types.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "util/quven_registration.h"

class QUVENTypesBase : public QUVENObjectOf<QUVENTypesBase, QUVENObject> {
 public:
  QUVEN_MEMBER(ivFirst, std::int32_t) = 0;
  QUVEN_STATE(notInStreams, double) = 0;

 protected:
  QUVENTypesBase() = default;
};
class QUVENTypesDerived : public QUVENObjectOf<QUVENTypesDerived, QUVENTypesBase> {
 public:
  QUVEN_MEMBER_AS("others", ivOthers, QUVENXaRay<QUVENOwnPtr<QUVENTypesBase>, 0>);
  QUVEN_MEMBER_IF(writerMode == 0, ivFlag, bool) = false;
};
QUVEN_REGISTER(QUVENTypesBase);
QUVEN_REGISTER(QUVENTypesDerived);

namespace {

using ::testing::HasSubstr;

std::string typesText(const std::string& name) {
  std::ostringstream out;
  vesk_inspect::inspectTypes(name, out);
  return out.str();
}

std::string indexText(const QUVENTypeName& type) {
  std::ostringstream out;
  out.width(4);
  out << type.getIndex();
  return out.str();
}

TEST(InspectTypes, ShowsATypeWithItsBases) {
  EXPECT_EQ(typesText("QUVENTypesDerived"),
            indexText(QUVENTypesDerived::typeName()) +
                "  QUVENTypesDerived : QUVENTypesBase\n"
                "       8  others                       array of owned QUVENTypesBase\n"
                "       9  ivFlag                       boolean byte, not in every stream\n" +
                indexText(QUVENTypesBase::typeName()) +
                "  QUVENTypesBase : QUVENObject (abstract)\n"
                "       7  ivFirst                      32-bit integer\n" +
                indexText(QUVENObject::typeName()) + "  QUVENObject\n");
}

TEST(InspectTypes, ListsEveryTypeOnce) {
  const std::string all = typesText("");
  for (long i = 1; i <= QUVENTypeNameAux::getNumTypes(); ++i) {
    const QUVENTypeName* type = QUVENTypeNameAux::getType(i);
    if (type == nullptr) continue;
    const std::string line = indexText(*type) + "  " + type->getName();
    const std::size_t first = all.find(line + " ") != std::string::npos ? all.find(line + " ") : all.find(line + "\n");
    ASSERT_NE(first, std::string::npos) << line;
  }
}

TEST(InspectTypes, RefusesAnUnknownName) {
  EXPECT_THROW(typesText("QUVENNothing"), std::runtime_error);
  try {
    typesText("QUVENNothing");
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "no type QUVENNothing is registered");
  }
}

}  // namespace
