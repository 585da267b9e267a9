#include "util/quven_array.h"

TEST(QUVENArray, HasTheFieldsAndTheGrowthOfTheGrowingArray) {
  QUVENEnv env;
  env.activate();
  QUVENArray<double> array;
  EXPECT_EQ(sizeof array, 16U);  // two 32-bit counts and a pointer
  std::vector<long> capacities;
  for (long i = 1; i <= 13; ++i) {
    array.append(0.5, QUVEN_ENV);
    if (capacities.empty() || capacities.back() != array.getCapacity()) capacities.push_back(array.getCapacity());
  }
  EXPECT_EQ(capacities, (std::vector<long>{1, 3, 5, 8, 12, 17}));
  array.deleteMemory(QUVEN_ENV);

  QUVENArray<std::string> texts;  // the kind of the cells follows from their type
  texts.append("one", QUVEN_ENV);
  EXPECT_EQ(texts[1], "one");
  texts.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 0);
}
