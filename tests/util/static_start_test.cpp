#include <gtest/gtest.h>

#include <new>

#include "object_examples.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

// A static object that works with types, keywords and streams in its constructor: whatever it needs has to be there on
// first use, also when this source is initialised before those of the library and of the classes.

namespace {

struct AtStart {
  AtStart() {
    QUVENEnv environment;
    environment.activate();
    QUVENEnv* env = &environment;
    {
      QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
      QUVENTestDerived::typeName().create(made, QUVEN_ENV);
      static_cast<QUVENTestDerived&>(*made).ivNumber = 11;
      typeIndex = made->getTypeName().getIndex();
      isLeaf = made->isA(QUVENTestLeaf::typeName());
      isNode = made->isA(QUVENTestNode::typeName());

      QUVENMemoryBlobIO blob;
      QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
      quvenWriteObject(writer, *made, QUVEN_ENV);
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      QUVENOwnPtr<QUVENTestDerived> copy(QUVEN_ENV);
      quvenReadObject(reader, copy, QUVENTestDerived::typeName(), QUVEN_ENV);
      numberRead = copy->ivNumber;
      QUVEN_DELETE(made);
      QUVEN_DELETE(copy);
      QUVEN_DELETE(blob);
    }
    bytesAtEnd = environment.getBytesInUse();
  }

  std::int32_t typeIndex = 0;
  int isLeaf = 0;
  int isNode = 1;
  std::int32_t numberRead = 0;
  std::int64_t bytesAtEnd = -1;
};

// Before the statics of every other source of the program.
[[gnu::init_priority(101)]] AtStart atStart;

}  // namespace

TEST(StaticStart, TypesAndStreamsWorkBeforeMain) {
  EXPECT_EQ(atStart.typeIndex, QUVENTestDerived::typeName().getIndex());
  EXPECT_GT(atStart.typeIndex, 0);
  EXPECT_EQ(atStart.isLeaf, 1);
  EXPECT_EQ(atStart.isNode, 0);
  EXPECT_EQ(atStart.numberRead, 11);
  EXPECT_EQ(atStart.bytesAtEnd, 0);
}

TEST(StaticStart, RegistrationAfterAnEarlyUseKeepsTheIndex) {
  EXPECT_EQ(QUVENTypeNameAux::find("QUVENTestDerived"), &QUVENTestDerived::typeName());
  EXPECT_EQ(QUVENTypeNameAux::getType(atStart.typeIndex), &QUVENTestDerived::typeName());
}
