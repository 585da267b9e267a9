#include "util/quven_hashtable.h"

TEST(QUVENHashTable, IsTheSchemeOfTheOpenAddressingTables) {
  QUVENEnv env;
  env.activate();
  QUVENObjectIndexHashTable<long> indices;
  indices.prepare(8, QUVEN_ENV);
  EXPECT_EQ(indices.getNumSlots(), 8);
  EXPECT_EQ(indices.insert(1L, QUVEN_ENV), 1);
  EXPECT_EQ(indices.insert(4L, QUVEN_ENV), 2);
  EXPECT_EQ(indices.remove(1L, QUVEN_ENV), 1);
  EXPECT_EQ(indices.insert(4L, QUVEN_ENV), 2);
  indices.deleteMemory(QUVEN_ENV);

  QUVENKeyValueHashTable<long, double> values;
  EXPECT_EQ(values.put(5L, 0.5, QUVEN_ENV), 1);
  EXPECT_EQ(*values.find(5L), 0.5);
  values.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 0);
}
