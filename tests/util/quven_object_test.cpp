#include "util/quven_object.h"

#include <gtest/gtest.h>

#include "object_examples.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

TEST(QUVENObject, TravelsThroughAStreamWithItsMembers) {
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENMemoryBlobIO blob;
  auto node = quvenMake<QUVENTestNode>(QUVEN_ENV);
  node->ivText = "text";
  node->ivDoubles.append(1.5, QUVEN_ENV);
  node->ivAny = quvenMake<QUVENTestPlain>(QUVEN_ENV);
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  quvenWriteObject(writer, *node, QUVEN_ENV);

  QUVENBinObjReader reader(blob, QUVEN_ENV);
  QUVENOwnPtr<QUVENTestNode> copy(QUVEN_ENV);
  quvenReadObject(reader, copy, QUVENTestNode::typeName(), QUVEN_ENV);
  EXPECT_EQ(copy->ivText, "text");
  EXPECT_EQ(copy->ivDoubles[1], 1.5);
  EXPECT_STREQ(copy->ivAny->getTypeName().getName(), "QUVENTestPlain");
  EXPECT_EQ(reader.getDepth(), 0);

  QUVEN_DELETE(node);
  QUVEN_DELETE(copy);
  QUVEN_DELETE(blob);
  EXPECT_EQ(environment.getBytesInUse(), 0);
}
