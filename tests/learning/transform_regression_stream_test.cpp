// Boosted models in streams: a training that goes on in another run.

#include "kernel/kernel_fixture.h"
#include "learning/boosting_fixture.h"

namespace {

class QUVENTransformRegressionStreamTest : public BoostTest {
 protected:
  /// The fields, their names and the model of a run, as one stream.
  static std::string imageOf(BoostRun& trained, std::int32_t mode) {
    const QUVENEnvHandle env = trained.run.handle();
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    writer.numberScansAnew();
    quvenWriteObject(writer, trained.run.driver.getPoint(), env);
    quvenWriteObject(writer, trained.run.driver.getNames(), env);
    quvenWriteObject(writer, *trained.model, env);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    blob.deleteMemory(env);
    return bytes;
  }
  /// Reads a stream into a run on the same dataset that has nothing yet.
  static void read(BoostRun& fresh, const std::string& image) {
    const QUVENEnvHandle env = fresh.run.handle();
    QUVENViewBlobIO blob({image.data(), image.size()});
    QUVENBinObjReader reader(blob, env);
    quvenReadObject(reader, fresh.run.driver.getPoint(), env);
    quvenReadObject(reader, fresh.run.driver.getNames(), env);
    QUVENOwnPtr<QUVENTransformRegression> model(env);
    quvenReadObject(reader, model, QUVENTransformRegression::typeName(), env);
    EXPECT_EQ(blob.getRemaining(), 0U);
    fresh.model = &fresh.run.driver.addScan(std::move(model), env);
  }

  /// The predictions of a finished model and its file.
  struct Result {
    long numStages = 0;
    std::map<std::string, ChannelValues> predictions;
    std::string modelFile;
  };
  Result resultOf(BoostRun& trained, const BoostTable& table) {
    trained.writePredictions(path + ".predictions");
    trained.writeModel(path + ".model", table);
    return {trained.model->getNumStages(), trained.predictions, folder.read("data.model")};
  }
  static void expectSame(const Result& result, const Result& expected) {
    EXPECT_EQ(result.numStages, expected.numStages);
    EXPECT_TRUE(result.predictions == expected.predictions);
    EXPECT_TRUE(result.modelFile == expected.modelFile);
  }

  /// Trains, with a stream after each pass; then goes on from each of them. Returns the number of streams.
  std::size_t trainFromEachPass(const BoostTable& table, int loss, int mode, std::int32_t streamMode) {
    writeTable(table);
    const QUVENPassSettings settings = settingsOf(table, 0);
    std::vector<std::string> images;
    Result expected;
    {
      BoostRun first(path, table, settings, MPI_COMM_WORLD);
      first.addModel(table, loss, mode, false);
      first.run.driver.setBetweenPasses([&](int) { images.push_back(imageOf(first, streamMode)); });
      first.run.passes();
      EXPECT_EQ(images.size(), first.run.driver.getPasses().size());
      expected = resultOf(first, table);
    }
    for (std::size_t pass = 1; pass <= images.size(); ++pass) {
      SCOPED_TRACE("after pass " + std::to_string(pass));
      BoostRun next(path, table, settings, MPI_COMM_WORLD);
      read(next, images[pass - 1]);
      EXPECT_TRUE(imageOf(next, streamMode) == images[pass - 1]);
      next.addFields(table);
      next.run.passes();
      EXPECT_EQ(next.run.driver.getPasses().size(), images.size() - pass);
      expectSame(resultOf(next, table), expected);
    }
    return images.size();
  }
};

TEST_F(QUVENTransformRegressionStreamTest, ATrainingGoesOnFromAStreamOfEachPass) {
  const BoostTableKind kind{.hasWeights = true, .hasMissing = true, .hasTies = true};
  for (int loss = Squared; loss <= PoissonLink; ++loss) {
    SCOPED_TRACE(loss);
    BoostTableKind ofLoss = kind;
    ofLoss.loss = loss;
    const std::int32_t streamMode = loss % 2 == 0 ? QUVENObjWriter::SaveForWorker : QUVENObjWriter::Save;
    EXPECT_GE(trainFromEachPass(randomBoostTable(31, 240, ofLoss), loss, loss % 3 == 0 ? 8 : 1, streamMode), 14U);
  }
}

}  // namespace
