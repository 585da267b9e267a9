// Losses in streams: files, copies of workers, results; and their merging.

#include <cstring>

#include "loss_fixture.h"

using testing::Each;
using testing::ElementsAre;

namespace {

/// A record of a search: target, F, r and channel.
struct StepRecord {
  double target;
  double f;
  double r;
  std::int32_t channel;
};

// Multiples of a quarter, so that every order of addition gives the same sum.
const std::vector<StepRecord> stepRecords = {{3, 1, 4, 5},      {4, 3, 3, 4},    {0, 0.5, 1, 3},
                                             {-1, 2, -0.25, 2}, {2, -1, 1.5, 1}, {notANumber, 1, 1, 5},
                                             {1, 0.25, 2, 5},   {5, 2, 0.5, 4},  {7, 1.5, -2, 3}};

class QUVENGeneralLossStreamTest : public LossTest {
 protected:
  template <class T = QUVENGeneralLoss>
  QUVENOwnPtr<T> readWithNames(const std::string& image) {
    // The losses that are read share the fields of this world, which stay in the map when they end.
    names->setMirror(true);
    QUVENOwnPtr<T> read(QUVEN_ENV);
    readFrom(image, [&](QUVENObjReader& reader) {
      names->putInto(reader, QUVEN_ENV);
      quvenReadObject(reader, read, T::typeName(), QUVEN_ENV);
    });
    return read;
  }
  std::string resultOf(const QUVENDataScan& scan) {
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenWriteScanResults(scan, writer, quvenScanResultKeyword(), QUVEN_ENV);
    });
  }
  /// Two results merged without the live scan, as slices are.
  std::string mergedResults(const std::string& a, const std::string& b) {
    QUVENViewBlobIO blobA({a.data(), a.size()});
    QUVENViewBlobIO blobB({b.data(), b.size()});
    QUVENBinObjReader readerA(blobA, QUVEN_ENV);
    QUVENBinObjReader readerB(blobB, QUVEN_ENV);
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenMergeDataScanResults(readerA, readerB, writer, quvenScanResultKeyword(), QUVEN_ENV);
    });
  }
  void readResults(const std::string& results) {
    readFrom(results,
             [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, quvenScanResultKeyword(), QUVEN_ENV); });
  }

  void show(QUVENGeneralLoss& loss, const StepRecord& record) {
    setRecord(record.target, record.f, record.r, record.channel);
    step(loss);
  }
  void begin(std::int32_t lossId, bool isMulti) {
    fitSecond(lossId);
    if (isMulti) {
      second->beginMultiAlpha(QUVEN_ENV);
    } else {
      EXPECT_TRUE(second->enterStepSearch(QUVEN_ENV));
    }
    second->beginRecords(QUVEN_ENV);
  }
  std::vector<double> alphasOfOnePass(std::int32_t lossId, bool isMulti) {
    begin(lossId, isMulti);
    for (const StepRecord& record : stepRecords) show(*second, record);
    EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
    return listOf(second->getAlphas());
  }
  /// The bytes of an array of numbers.
  static std::string bytesOf(const std::vector<double>& numbers) {
    std::string bytes(numbers.size() * sizeof(double), '\0');
    std::memcpy(bytes.data(), numbers.data(), bytes.size());
    return bytes;
  }
  QUVENField* stdDevOf(QUVENGeneralLoss& loss) {
    return loss.getCurrentUnnormalizedOutputs().findOutput(y, QUVENOutputUnnormalizedStdDev, "2");
  }
  /// What a loss makes of a record after its search.
  std::vector<double> answers(QUVENGeneralLoss& loss) {
    setRecord(2, 0.5, 3, 4);
    loss.computeResidualsAll(QUVEN_ENV);
    loss.updatePredictionsAll(QUVEN_ENV);
    std::vector<double> list = channelValues(*loss.getResiduals()[1]);
    for (const QUVENField* field : {loss.getCurrentPredictedValues()[1], stdDevOf(loss)}) {
      for (const double value : channelValues(*field)) list.push_back(value);
    }
    return list;
  }
};

TEST_F(QUVENGeneralLossStreamTest, ALossThatWasReadAnswersTheSame) {
  for (std::int32_t id = 1; id <= numLosses; ++id) {
    begin(id, false);
    for (const StepRecord& record : stepRecords) show(*second, record);
    finishSearch();
    const std::vector<double> expected = answers(*second);
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker}) {
      auto read = readWithNames<>(imageOf(*second, mode));
      EXPECT_TRUE(read->isA(second->getTypeName()));
      EXPECT_EQ(read->getState(), 5);
      EXPECT_EQ(read->getLineSearchType(), 1);
      EXPECT_EQ(read->getTargets()[1], y);
      EXPECT_EQ(read->getPreviousPredictedValues()[1], &previous());
      stdDevOf(*read)->clearValue();
      EXPECT_EQ(answers(*read), expected) << id;
      read.reset(QUVEN_ENV);
    }
    names->setMirror(false);
  }
}

TEST_F(QUVENGeneralLossStreamTest, ASearchThatWasReadGoesOnToTheSameStep) {
  for (std::int32_t id = 1; id <= numLosses; ++id) {
    for (const bool isMulti : {false, true}) {
      const std::vector<double> expected = alphasOfOnePass(id, isMulti);
      begin(id, isMulti);
      auto read = readWithNames<>(imageOf(*second));
      EXPECT_EQ(read->getState(), 3);
      read->beginRecords(QUVEN_ENV);
      for (const StepRecord& record : stepRecords) show(*read, record);
      EXPECT_TRUE(read->leaveStepSearch(QUVEN_ENV));  // one pass is enough here, too
      EXPECT_EQ(listOf(read->getAlphas()), expected) << id;
      EXPECT_EQ(read->getState(), 4);
      read.reset(QUVEN_ENV);
      names->setMirror(false);
    }
  }
}

TEST_F(QUVENGeneralLossStreamTest, ResultsOfWorkersMergeToThoseOfOnePass) {
  for (const bool isMulti : {false, true}) {
    const std::vector<double> expected = alphasOfOnePass(squaredId, isMulti);
    for (const std::size_t workers : {1U, 2U, 3U, 5U}) {
      begin(squaredId, isMulti);
      const std::string state = imageOf(*second, QUVENObjWriter::SaveForWorker);
      std::vector<std::string> results;
      for (std::size_t worker = 0; worker < workers; ++worker) {
        auto copy = readWithNames<>(state);
        copy->beginRecords(QUVEN_ENV);
        for (std::size_t i = worker; i < stepRecords.size(); i += workers) show(*copy, stepRecords[i]);
        results.push_back(resultOf(*copy));
        copy.reset(QUVEN_ENV);
      }
      // The first results are merged with each other, as those of slices are; the last goes to the live loss alone.
      std::string merged = results[0];
      for (std::size_t i = 1; i + 1 < results.size(); ++i) merged = mergedResults(merged, results[i]);
      readResults(merged);
      if (workers > 1) readResults(results.back());
      EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
      EXPECT_EQ(listOf(second->getAlphas()), expected) << workers << " workers";
      names->setMirror(false);
    }
  }
}

TEST_F(QUVENGeneralLossStreamTest, AResultIsWhatAPassHasGathered) {
  begin(squaredId, false);
  show(*second, {3, 1, 4, 5});
  auto read = objectOf<QUVENGeneralLoss>(imageOf(*second, QUVENObjWriter::ScanResults));  // it needs no fields
  EXPECT_EQ(read->getState(), 0);
  EXPECT_THAT(listOf(read->getGradient()), ElementsAre(8, 8, 8, 8, 0));
  EXPECT_THAT(listOf(read->getHessian()), ElementsAre(16, 16, 16, 16, 0));
  EXPECT_TRUE(read->getAlphas().isEmpty());
  EXPECT_TRUE(read->getTrials().isEmpty());
  EXPECT_TRUE(read->getTargets().isEmpty());
  read.reset(QUVEN_ENV);
  begin(squaredId, true);
  show(*second, {3, 1, 4, 5});
  read = objectOf<QUVENGeneralLoss>(imageOf(*second, QUVENObjWriter::ScanResults));
  ASSERT_EQ(read->getTrials().getSize(), 10);
  EXPECT_THAT(listOf(read->getTrials()[1]), ElementsAre(0, 0, 0, 0, 0));  // 3 - (2 + 1)
  EXPECT_THAT(listOf(read->getTrials()[2]), ElementsAre(2, 2, 2, 2, 0));  // 2^2/2
  read.reset(QUVEN_ENV);
  // Outside of a search there is nothing to send.
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_FALSE(second->hasScanResult(QUVEN_ENV));
  read = objectOf<QUVENGeneralLoss>(imageOf(*second, QUVENObjWriter::ScanResults));
  EXPECT_TRUE(read->getGradient().isEmpty());
  EXPECT_TRUE(read->getTrials().isEmpty());
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENGeneralLossStreamTest, ResultsOfOtherShapesAreNotMerged) {
  begin(squaredId, true);
  show(*second, {3, 1, 4, 5});
  auto trials = objectOf<QUVENGeneralLoss>(imageOf(*second, QUVENObjWriter::ScanResults));
  begin(squaredId, false);
  show(*second, {3, 1, 4, 5});
  EXPECT_FALSE(second->merge(trials.get(), QUVEN_ENV));
  EXPECT_FALSE(trials->merge(second.get(), QUVEN_ENV));
  EXPECT_THAT(listOf(second->getGradient()), ElementsAre(8, 8, 8, 8, 0));
  auto empty = makeLoss(squaredId);
  EXPECT_FALSE(second->merge(empty.get(), QUVEN_ENV));
  auto same = objectOf<QUVENGeneralLoss>(imageOf(*second, QUVENObjWriter::ScanResults));
  EXPECT_TRUE(second->merge(same.get(), QUVEN_ENV));
  EXPECT_THAT(listOf(second->getGradient()), ElementsAre(16, 16, 16, 16, 0));
  EXPECT_THAT(listOf(second->getHessian()), ElementsAre(32, 32, 32, 32, 0));
  for (QUVENOwnPtr<QUVENGeneralLoss>* loss : {&trials, &empty, &same}) loss->reset(QUVEN_ENV);
}

// A step from alpha = 0.25, which only a stream has: F + alpha r = 1 + 0.25 * 4 = 2, gradient (3 - 2) 4.
TEST_F(QUVENGeneralLossStreamTest, TheTermsAreThoseOfTheStepSoFar) {
  begin(squaredId, false);
  show(*second, {3, 1, 4, 5});
  std::string image = imageOf(*second);
  const std::size_t gradient = image.find(bytesOf({8, 8, 8, 8, 0}));
  const std::size_t hessian = image.find(bytesOf({16, 16, 16, 16, 0}));
  ASSERT_NE(gradient, std::string::npos);
  ASSERT_NE(hessian, std::string::npos);
  const std::size_t alpha = hessian + (hessian - gradient);  // the three arrays follow each other
  const std::string none = bytesOf({0, 0, 0, 0, 0});
  ASSERT_EQ(image.substr(alpha, none.size()), none);
  image.replace(alpha, none.size(), bytesOf({0.25, 0.25, 0.25, 0.25, 0.25}));
  auto read = readWithNames<>(image);
  EXPECT_EQ(read->getAlpha(1, 3), 0.25);
  read->beginRecords(QUVEN_ENV);
  EXPECT_EQ(read->getAlpha(1, 3), 0.25);
  show(*read, {3, 1, 4, 5});
  EXPECT_THAT(listOf(read->getGradient()), ElementsAre(4, 4, 4, 4, 0));
  EXPECT_THAT(listOf(read->getHessian()), ElementsAre(16, 16, 16, 16, 0));
  EXPECT_TRUE(read->leaveStepSearch(QUVEN_ENV));
  EXPECT_THAT(listOf(read->getAlphas()), ElementsAre(0.25, 0.25, 0.25, 0.25, 1));
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENGeneralLossStreamTest, ALinkTravels) {
  y->setSampleFlag(true, QUVEN_ENV);
  for (int pass = 0; pass < 2; ++pass) {
    y->beginDistributionPass(QUVEN_ENV);
    for (const double value : {-100.0, 300.0}) {
      y->setNumValue(value);
      y->updateDistribution(value < 0 ? 1 : 2, QUVEN_ENV);
    }
    y->endDistributionPass(QUVEN_ENV);
  }
  for (const std::int32_t id : {logisticLinkId, poissonLinkId}) {
    finishFirst(id, {y2, y});
    auto read = readWithNames<>(imageOf(*first));
    for (const long target : {1, 2}) {
      for (const double r : {-0.5, 0.75}) EXPECT_EQ(read->applyLinkOf(target, r), first->applyLinkOf(target, r));
    }
    EXPECT_NE(read->applyLinkOf(1, 0), read->applyLinkOf(2, 0));
    read.reset(QUVEN_ENV);
    names->setMirror(false);
  }
}

// Damaged streams

TEST_F(QUVENGeneralLossStreamTest, AStreamOfAnotherNumberOfChannelsIsRefused) {
  const auto expectRefusal = [&](const std::string& words) {
    const std::string image = imageOf(*second);
    QUVENOwnPtr<QUVENGeneralLoss> read(QUVEN_ENV);
    for (const int count : {Channels - 1, Channels + 1}) {
      QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(count);
      expectFailure([&] { read = readWithNames<>(image); }, words);
    }
    QUVENFieldGlobalVars::get(QUVEN_ENV).setGlobalNumChannels(Channels);
    names->setMirror(false);
  };
  for (const bool isMulti : {false, true}) {
    begin(squaredId, isMulti);
    expectRefusal("ivAlphaVector.getSize() == getGlobalNumChannels()");
    EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
    // A trained stage is read before the number of channels is known; then a step that is not there is refused.
    QUVENOwnPtr<QUVENGeneralLoss> read = readWithNames<>(imageOf(*second));
    EXPECT_EQ(read->getAlpha(1, Channels), second->getAlpha(1, Channels));
    expectFailure([&] { static_cast<void>(read->getAlpha(1, Channels + 1)); }, "index <= this->getSize()");
    read.reset(QUVEN_ENV);
    names->setMirror(false);
  }
}

/// The places of a text in an image.
std::vector<std::size_t> placesOf(const std::string& text, const std::string& image) {
  std::vector<std::size_t> places;
  for (std::size_t at = image.find(text); at != std::string::npos; at = image.find(text, at + 1)) places.push_back(at);
  return places;
}

// Each reference to a field is replaced by one to no field: the loss is refused, or it does without the field.
TEST_F(QUVENGeneralLossStreamTest, AReferenceToNoFieldIsRefusedWhereOneIsNeeded) {
  begin(squaredId, false);
  for (const StepRecord& record : stepRecords) show(*second, record);
  finishSearch();
  const std::string image = imageOf(*second);
  int refused = 0;
  int accepted = 0;
  for (const char* field : {"y", "UnnormalizedPredicted_y_1", "Residual_y_2", "Predicted_Residual_y_2",
                            "StdDev_Residual_y_2", "UnnormalizedPredicted_y_2", "UnnormalizedStdDev_y_2"}) {
    const std::string name = static_cast<char>(0x80 + std::strlen(field)) + std::string(field);
    for (const std::size_t place : placesOf(name, image)) {
      std::string damaged = image;
      damaged.replace(place, name.size(), 1, '\x80');
      QUVENOwnPtr<QUVENGeneralLoss> read(QUVEN_ENV);
      const CapturedRun run = capturedRun([&] { read = readWithNames<>(damaged); });
      run.threwLibraryException ? ++refused : ++accepted;
      quvenDebugWords.error = 0;
      if (!run.threwLibraryException) {
        read->computeResidualsAll(QUVEN_ENV);
        read->updatePredictionsAll(QUVEN_ENV);
      }
      read.reset(QUVEN_ENV);
    }
  }
  EXPECT_EQ(refused, 5);   // one for each vector that needs its fields
  EXPECT_GE(accepted, 5);  // in the records of the outputs
}

TEST_F(QUVENGeneralLossStreamTest, AVectorOfFewerFieldsIsRefused) {
  begin(squaredId, false);
  finishSearch();
  const std::string image = imageOf(*second);
  const auto expectRefusal = [&](const char* field, const std::string& words) {
    const std::string name = static_cast<char>(0x80 + std::strlen(field)) + std::string(field);
    int refused = 0;
    for (const std::size_t place : placesOf(name, image)) {
      if (image.substr(place - 2, 2) != "\xC4\x81") continue;  // an array of one element
      std::string damaged = image;
      damaged.erase(place, name.size());
      damaged.at(place - 1) = '\x80';
      QUVENOwnPtr<QUVENGeneralLoss> read(QUVEN_ENV);
      expectFailure([&] { read = readWithNames<>(damaged); }, words);
      read.reset(QUVEN_ENV);
      ++refused;
    }
    EXPECT_EQ(refused, 1) << field;
  };
  expectRefusal("y", "fields->getSize() == targets");
  expectRefusal("Residual_y_2", "fields->getSize() == targets");
  expectRefusal("Predicted_Residual_y_2", "ivResidualPredictions.getSize() == targets");
  expectRefusal("StdDev_Residual_y_2", "ivResidualStdDevs.getSize() == targets");
  expectRefusal("UnnormalizedPredicted_y_2", "ivCurrentPredictedValues.getSize() == targets");
}

TEST_F(QUVENGeneralLossStreamTest, AnArrayOfOutputsWithoutItsEndIsASyntaxError) {
  finishFirst(squaredId, {y});
  const std::string image = imageOf(*first);
  constexpr char arrayEnd = '\xC5';
  constexpr char objectEnd = '\xC2';
  const std::size_t inOutputs = image.find("Predicted_Residual_y_1");
  ASSERT_NE(inOutputs, std::string::npos);
  int damages = 0;
  QUVENOwnPtr<QUVENGeneralLoss> read(QUVEN_ENV);
  for (std::size_t at = image.find(arrayEnd, inOutputs); at != std::string::npos; at = image.find(arrayEnd, at + 1)) {
    if (++damages > 8) break;
    std::string damaged = image;
    damaged.at(at) = objectEnd;
    expectFailure([&] { read = readWithNames<>(damaged); }, "Syntax Error: EndArray keyword expected");
  }
  EXPECT_EQ(damages, 9);
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENGeneralLossStreamTest, ACopyHasTheWholeState) {
  begin(squaredId, false);
  for (const StepRecord& record : stepRecords) show(*second, record);
  auto copy = quvenNewCopy(*second, QUVEN_ENV);
  EXPECT_TRUE(second->leaveStepSearch(QUVEN_ENV));
  EXPECT_TRUE(copy->leaveStepSearch(QUVEN_ENV));
  EXPECT_EQ(listOf(copy->getAlphas()), listOf(second->getAlphas()));
  copy.reset(QUVEN_ENV);
}

}  // namespace
