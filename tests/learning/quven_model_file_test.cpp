#include "learning/quven_model_file.h"

#include "lin_reg_fixture.h"
#include "support/temporary_folder.h"

namespace {

class QUVENModelFileTest : public LinearRegressionTest {
 protected:
  QUVENModelFileTest() { openWorld(5); }

  /// Writes the model with facts that an action changes.
  template <class Change>
  void writeFile(Change&& change) {
    QUVENXaRay<QUVENField*> fields;
    for (QUVENField* field : {x[0], x[1], x[2], y, predicted(), stdDev()}) fields.append(field, QUVEN_ENV);
    auto facts = make<QUVENTrainingFacts>();
    facts->setDealing({.testPercent = 10, .heldOutPercent = 20, .numFolds = 3, .seed = 7});
    facts->addInput(*x[0], QUVEN_ENV);
    change(*facts);
    EXPECT_TRUE(quvenWriteModelFile(path, fields, *model, *facts, QUVEN_ENV));
    facts.reset(QUVEN_ENV);
    fields.deleteMemory(QUVEN_ENV);
  }
  void expectRefused(const std::string& words) {
    QUVENModelFile file(path, QUVEN_ENV);
    expectFailure([&] { file.readFacts(QUVEN_ENV); }, words);
    file.release(QUVEN_ENV);
  }

  TemporaryFolder folder;
  std::string path = folder.path("model");
};

TEST_F(QUVENModelFileTest, GivesFactsFieldsAndModel) {
  const RegressionTable table = randomRecords(100);
  trainModel(table);
  const double expected = predict(*model, table[0], 2);
  writeFile([](QUVENTrainingFacts&) {});
  QUVENModelFile file(path, QUVEN_ENV);
  const QUVENFoldDealing dealing = file.readFacts(QUVEN_ENV).getDealing();
  EXPECT_EQ(dealing.testPercent, 10);
  EXPECT_EQ(dealing.heldOutPercent, 20);
  EXPECT_EQ(dealing.numFolds, 3);
  EXPECT_EQ(dealing.seed, 7U);
  EXPECT_EQ(file.readFields(QUVEN_ENV).getNumFields(), 6);
  QUVENOwnPtr<QUVENModel> read = file.readModel(*names, QUVEN_ENV);
  EXPECT_EQ(predict(static_cast<QUVENLinRegModel&>(*read), table[0], 2), expected);
  read.reset(QUVEN_ENV);
  file.release(QUVEN_ENV);
}

TEST_F(QUVENModelFileTest, RefusesADealingThatNoTrainingHas) {
  trainModel(randomRecords(50));
  using Facts = QUVENTrainingFacts;
  const std::string refused = "the file is cut, or is no model file";
  for (const std::int32_t folds : {-2000000000, -1, 0, 1, 21, 2000000000}) {
    writeFile([&](Facts& facts) { facts.ivNumFolds = folds; });
    expectRefused(refused);
  }
  for (const std::int32_t percent : {-1, 51, 2000000000}) {
    writeFile([&](Facts& facts) { facts.ivTestPercent = percent; });
    expectRefused(refused);
    writeFile([&](Facts& facts) { facts.ivHeldOutPercent = percent; });
    expectRefused(refused);
  }
  writeFile([](Facts& facts) { facts.ivForm = 2; });
  expectRefused("another version");
}

}  // namespace
