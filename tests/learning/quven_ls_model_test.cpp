#include "learning/quven_ls_model.h"

#include "ls_fixture.h"
#include "support/stream_text.h"

namespace {

class QUVENLSModelTest : public LeastSquaresTest {
 protected:
  /// 1 + 3 x[4] + 2 x[2] of the first variables of this list; the fits hold 1 to 8.
  QUVENOwnPtr<QUVENLSCholeskiModel> modelOfRank(std::int32_t rank) {
    QUVENOwnPtr<QUVENLSCholeskiModel> model = make<QUVENLSCholeskiModel>();
    Held<QUVENXaRay<std::int32_t>> permutation(environment);
    Held<QUVENXaRay<double>> coefficients(environment);
    permutation->fromZeroBased(std::vector<std::int32_t>{4, 2, 3, 1, 5}, QUVEN_ENV);
    coefficients->fromZeroBased(std::vector<double>{0, 2, 0, 3, -1}, QUVEN_ENV);
    model->setCoefficients(rank, *permutation, *coefficients, QUVEN_ENV);
    model->setIntercept(1);
    model->setVariance(16);
    model->setTrain({1, 2, 3, 4});
    model->setEval({5, 6, 7, 8});
    return model;
  }
  void fillPath(QUVENLSResults& results, int models) {
    for (int rank = 0; rank < models; ++rank) results.addModel(modelOfRank(rank), QUVEN_ENV);
  }
};

TEST_F(QUVENLSModelTest, AnswersByVariableAndByPosition) {
  QUVENOwnPtr<QUVENLSCholeskiModel> model = modelOfRank(2);
  EXPECT_EQ(model->getModelRank(), 2);
  EXPECT_EQ(model->getModelStdDev(), 4);
  EXPECT_EQ(model->getIntercept(), 1);
  EXPECT_EQ(model->getVariableAt(1), 4);
  EXPECT_EQ(model->getVariableAt(2), 2);
  EXPECT_EQ(model->getCoefficientAt(1), 3);
  EXPECT_EQ(model->getCoefficientAt(2), 2);
  EXPECT_EQ(model->getCoefficientOfVariable(4), 3);
  EXPECT_EQ(model->getCoefficientOfVariable(2), 2);
  EXPECT_TRUE(model->usesVariable(4));
  for (const long outside : {-1L, 0L, 1L, 3L, 5L, 1000L}) {
    EXPECT_FALSE(model->usesVariable(outside));
    EXPECT_EQ(model->getCoefficientOfVariable(outside), 0.0);
  }
  for (const long position : {0L, 3L}) {
    expectFailure([&] { model->getCoefficientAt(position); }, "1 <= index && index <= this->getSize()");
    expectFailure([&] { model->getVariableAt(position); }, "1 <= index && index <= this->getSize()");
  }
  const QUVENLSFit train = model->getTrain();
  const QUVENLSFit eval = model->getEval();
  EXPECT_EQ((std::vector<double>{train.points, train.residSSQ, train.score, train.scoreVariance}),
            (std::vector<double>{1, 2, 3, 4}));
  EXPECT_EQ((std::vector<double>{eval.points, eval.residSSQ, eval.score, eval.scoreVariance}),
            (std::vector<double>{5, 6, 7, 8}));
  model.reset(QUVEN_ENV);
}

TEST_F(QUVENLSModelTest, Predicts) {
  Held<QUVENXaRay<double>> values(environment);
  values->fromZeroBased(std::vector<double>{100, 10, 1000, 1}, QUVEN_ENV);
  const double expected[] = {1, 4, 24, 24};
  for (std::int32_t rank = 0; rank <= 3; ++rank) {
    QUVENOwnPtr<QUVENLSCholeskiModel> model = modelOfRank(rank);
    EXPECT_EQ(model->predict(*values), expected[rank]);
    model.reset(QUVEN_ENV);
  }
  QUVENOwnPtr<QUVENLSCholeskiModel> model = modelOfRank(2);
  values->setSize(3, QUVEN_ENV);
  expectFailure([&] { model->predict(*values); }, "index <= this->getSize()");
  model.reset(QUVEN_ENV);
}

TEST_F(QUVENLSModelTest, RefusesARankThatItCannotHave) {
  for (const std::int32_t rank : {-1, 5}) {
    expectFailure([&] { modelOfRank(rank); }, "getModelRank() >= 0 && getModelRank() < numFields");
  }
}

TEST_F(QUVENLSModelTest, ACloneIsAModelOfItsOwn) {
  QUVENOwnPtr<QUVENLSCholeskiModel> model = modelOfRank(2);
  const std::string image = imageOf(*model);
  QUVENOwnPtr<QUVENLSModel> clone = model->clone(QUVEN_ENV);
  model.reset(QUVEN_ENV);
  EXPECT_EQ(imageOf(*clone), image);
  clone.reset(QUVEN_ENV);
}

TEST_F(QUVENLSModelTest, HasAFixedImage) {
  QUVENOwnPtr<QUVENLSCholeskiModel> model = modelOfRank(2);
  const std::string expected = bytesOf(
      "C1 94 'QUVENLSCholeskiModel'"
      "C6 82"                       // rank
      "C7 00 00 00 00 00 00 10 40"  // standard deviation
      "C8 00 00 00 00 00 00 F0 3F C9 00 00 00 00 00 00 00 40"
      "CA 00 00 00 00 00 00 08 40 CB 00 00 00 00 00 00 10 40"
      "CC 00 00 00 00 00 00 14 40 CD 00 00 00 00 00 00 18 40"
      "CE 00 00 00 00 00 00 1C 40 CF 00 00 00 00 00 00 20 40"
      "D0 00 00 00 00 00 00 F0 3F"  // intercept
      "D1 C4 82 84 82 C5"
      "D2 C4 82 00 00 00 00 00 00 08 40 00 00 00 00 00 00 00 40 C5 C2");
  for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
    EXPECT_EQ(hexOf(imageOf(*model, mode)), hexOf(expected));
  }
  QUVENOwnPtr<QUVENLSModel> read(QUVEN_ENV);
  readImage(expected, read);
  EXPECT_EQ(imageOf(*read), expected);
  EXPECT_EQ(read->getVariableAt(2), 2);
  read.reset(QUVEN_ENV);
  model.reset(QUVEN_ENV);
}

TEST_F(QUVENLSModelTest, RefusesDamagedStreams) {
  QUVENOwnPtr<QUVENLSCholeskiModel> model = modelOfRank(2);
  const std::string image = imageOf(*model);
  model.reset(QUVEN_ENV);
  for (const int array : {1, 2}) {
    expectFailure([&] { objectOf<QUVENLSCholeskiModel>(withoutArrayEnd(image, array)); },
                  "Syntax Error: EndArray keyword expected");
  }
  for (std::size_t size = 0; size < image.size(); ++size) {
    SCOPED_TRACE(size);
    expectFailure([&] { objectOf<QUVENLSCholeskiModel>(image.substr(0, size)); }, "");
  }
  std::string changed = image;
  changed.at(changed.find(bytesOf("C6 82")) + 1) = '\x81';
  expectFailure([&] { objectOf<QUVENLSCholeskiModel>(changed); }, "ivCmprPerm.getSize() == getModelRank()");
  changed = image;
  changed.at(changed.find(bytesOf("D1 C4 82")) + 3) = '\x80';
  expectFailure([&] { objectOf<QUVENLSCholeskiModel>(changed); }, "variable >= 1");
}

TEST_F(QUVENLSModelTest, TheBaseHasNoFactory) {
  EXPECT_TRUE(QUVENLSModel::typeName().isAbstract());
  EXPECT_EQ(QUVENLSCholeskiModel().isA(QUVENLSModel::typeName()), 1);
}

TEST_F(QUVENLSModelTest, APathTakesModelsInTheOrderOfTheirRanks) {
  Held<QUVENLSResults> results(environment);
  EXPECT_EQ(results->getNumModels(), 0);
  EXPECT_EQ(results->getSelectedModel(), nullptr);
  fillPath(*results, 3);
  EXPECT_EQ(results->getNumModels(), 3);
  for (long rank = 0; rank < 3; ++rank) EXPECT_EQ(results->getModel(rank).getModelRank(), rank);
  for (const long rank : {-1L, 3L}) {
    expectFailure([&] { results->getModel(rank); }, "1 <= index && index <= this->getSize()");
    expectFailure([&] { results->selectRank(rank, QUVEN_ENV); }, "1 <= index && index <= this->getSize()");
  }
  for (const int rank : {2, 4}) {
    QUVENOwnPtr<QUVENLSModel> model = modelOfRank(rank);
    expectFailure([&] { results->addModel(std::move(model), QUVEN_ENV); },
                  "newlsmodelPtr->getModelRank() == ivLSModels.getSize()");
    EXPECT_TRUE(model);
    model.reset(QUVEN_ENV);
  }
  EXPECT_EQ(results->getNumModels(), 3);
}

TEST_F(QUVENLSModelTest, TheSelectedModelOutlivesThePath) {
  Held<QUVENLSResults> results(environment);
  fillPath(*results, 4);
  results->selectRank(3, QUVEN_ENV);
  results->selectRank(2, QUVEN_ENV);
  EXPECT_NE(results->getSelectedModel(), &results->getModel(2));
  EXPECT_EQ(results->getSelectedModel()->getModelRank(), 2);
  results->releaseOthers(QUVEN_ENV);
  EXPECT_EQ(results->getNumModels(), 0);
  EXPECT_EQ(results->getSelectedModel()->getCoefficientAt(2), 2);
}

TEST_F(QUVENLSModelTest, PathsTravelWithTheirSelection) {
  for (const bool selected : {false, true}) {
    for (const bool released : {false, true}) {
      Held<QUVENLSResults> results(environment);
      fillPath(*results, 3);
      if (selected) results->selectRank(1, QUVEN_ENV);
      if (released) results->releaseOthers(QUVEN_ENV);
      for (const std::int32_t mode :
           {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
        const std::string image = imageOf(*results, mode);
        QUVENOwnPtr<QUVENLSResults> read = objectOf<QUVENLSResults>(image);
        EXPECT_EQ(imageOf(*read, mode), image);
        EXPECT_EQ(read->getNumModels(), released ? 0 : 3);
        ASSERT_EQ(read->getSelectedModel() != nullptr, selected);
        EXPECT_EQ(selected ? read->getSelectedModel()->getModelRank() : 1, 1);
        QUVENOwnPtr<QUVENLSResults> copy = quvenNewCopy(*read, QUVEN_ENV);
        read.reset(QUVEN_ENV);
        EXPECT_EQ(imageOf(*copy, mode), image);
        copy.reset(QUVEN_ENV);
      }
    }
  }
}

TEST_F(QUVENLSModelTest, RefusesPathsThatAreNone) {
  Held<QUVENLSResults> results(environment);
  fillPath(*results, 2);
  const std::string image = imageOf(*results);
  // The arrays of the models, two each, end before that of the path.
  expectFailure([&] { objectOf<QUVENLSResults>(withoutArrayEnd(image, 5)); },
                "Syntax Error: EndArray keyword expected");
  std::string changed = image;
  changed.at(changed.find(bytesOf("'QUVENLSCholeskiModel' C6 80")) + 21) = '\x81';
  expectFailure([&] { objectOf<QUVENLSResults>(changed); }, "getModelRank()");
  const std::string withNull = bytesOf("C1 8E 'QUVENLSResults' C6 C4 81 C1 80 C5 C7 C1 80 C2");
  expectFailure([&] { objectOf<QUVENLSResults>(withNull); }, "model != nullptr && model->getModelRank() == rank");
  results->releaseOthers(QUVEN_ENV);
  results->addModel(modelOfRank(0), QUVEN_ENV);
  const std::string one = imageOf(*results);
  std::string second = image.substr(image.find(bytesOf("C1 94 'QUVENLSCholeskiModel' C6 81")));
  const std::string head = one.substr(0, one.find(bytesOf("C1 94")));
  // A path that begins with rank 1.
  expectFailure([&] { objectOf<QUVENLSResults>(head + second); }, "model != nullptr && model->getModelRank() == rank");
}

}  // namespace
