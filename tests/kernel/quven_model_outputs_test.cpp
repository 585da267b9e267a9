#include "kernel/quven_model_outputs.h"

#include "model_fixture.h"
#include "support/stream_text.h"

namespace {

class QUVENModelOutputsTest : public ModelTest {
 protected:
  QUVENModelOutputsTest() { outputs = make<QUVENModelOutputs>(); }
  void TearDown() override {
    outputs.reset(QUVEN_ENV);
    ModelTest::TearDown();
  }

  QUVENField* add(QUVENField* target, std::int32_t type, std::string_view suffix = "") {
    return outputs->addOutput(target, type, suffix, *world.names, QUVEN_ENV);
  }
  const QUVENResultFieldOwner& owner(long index) const {
    return static_cast<const QUVENResultFieldOwner&>(*outputs->getResultFields()[index]);
  }
  long numFields() const { return world.names->getNumFields(); }

  static constexpr long Columns = 7;
  QUVENOwnPtr<QUVENModelOutputs> outputs;
};

TEST_F(QUVENModelOutputsTest, EveryTypeHasItsPrefix) {
  const char* prefixes[] = {"Predicted_",
                            "PredictedDisplay_",
                            "UnnormalizedPredicted_",
                            "IncrementalPredicted_",
                            "InverseVarianceWeight_",
                            "StdDev_",
                            "UnnormalizedStdDev_",
                            "Probability_",
                            "Residual_",
                            "ResidualStdDev_",
                            "Warning_"};
  for (std::int32_t type = 1; type <= 11; ++type) {
    EXPECT_EQ(quvenOutputPrefix(type, QUVEN_ENV), prefixes[type - 1]);
    EXPECT_EQ(add(t, type)->getName().str(), std::string(prefixes[type - 1]) + "t");
  }
  for (const std::int32_t type : {-1, 0, 12}) {
    expectFailure([&] { quvenOutputPrefix(type, QUVEN_ENV); }, "Invalid feature specified");
    expectFailure([&] { add(t, type); }, "Invalid feature specified");
  }
  EXPECT_EQ(outputs->getResultFields().getSize(), 11);
  EXPECT_EQ(numFields(), Columns + 11);
}

TEST_F(QUVENModelOutputsTest, ASuffixStandsBehindTheTarget) {
  EXPECT_EQ(add(t, QUVENOutputResidual, "stage2")->getName().str(), "Residual_t_stage2");
  EXPECT_EQ(owner(1).getTargetField(), t);
  EXPECT_EQ(owner(1).getOutputType(), QUVENOutputResidual);
  EXPECT_EQ(owner(1).getSuffix(), "stage2");
  EXPECT_EQ(owner(1).getLineNumberFieldOrder(), -1);
  EXPECT_TRUE(owner(1).getField()->isComputed());
}

TEST_F(QUVENModelOutputsTest, PredictionsOfACategoricalTargetAreCategorical) {
  for (std::int32_t type = 1; type <= 11; ++type) {
    EXPECT_TRUE(add(t, type)->isNumeric()) << type;
    QUVENField* ofText = add(kind, type);
    EXPECT_EQ(ofText->isNumeric(), type > 2) << type;
    EXPECT_EQ(ofText->isA(type > 2 ? QUVENNumField::typeName() : QUVENCatField::typeName()), 1) << type;
  }
}

TEST_F(QUVENModelOutputsTest, TheSameOutputIsMadeOnce) {
  QUVENField* made = add(t, QUVENOutputPredicted, "x");
  EXPECT_EQ(add(t, QUVENOutputPredicted, "x"), made);
  EXPECT_EQ(outputs->findOutput(t, QUVENOutputPredicted, "x"), made);
  EXPECT_EQ(numFields(), Columns + 1);
  EXPECT_NE(add(t, QUVENOutputPredicted), made);
  EXPECT_NE(add(t, QUVENOutputStdDev, "x"), made);
  EXPECT_NE(add(a, QUVENOutputPredicted, "x"), made);
  EXPECT_EQ(outputs->findOutput(b, QUVENOutputPredicted, "x"), nullptr);
  EXPECT_EQ(outputs->getResultFields().getSize(), 4);
}

TEST_F(QUVENModelOutputsTest, ANameThatIsTakenGetsANumber) {
  auto second = make<QUVENModelOutputs>();
  auto third = make<QUVENModelOutputs>();
  third->setStartingSuffix(5);
  EXPECT_EQ(add(t, 1)->getName().str(), "Predicted_t");
  EXPECT_EQ(second->addOutput(t, 1, "", *world.names, QUVEN_ENV)->getName().str(), "Predicted_t1");
  EXPECT_EQ(third->addOutput(t, 1, "", *world.names, QUVEN_ENV)->getName().str(), "Predicted_t5");
  EXPECT_EQ(third->addOutput(a, 9, "s", *world.names, QUVEN_ENV)->getName().str(), "Residual_a_s5");
  second.reset(QUVEN_ENV);
  EXPECT_EQ(world.field("Predicted_t1"), nullptr);
  EXPECT_NE(world.field("Predicted_t"), nullptr);
  EXPECT_NE(world.field("Predicted_t5"), nullptr);
  third.reset(QUVEN_ENV);
}

TEST_F(QUVENModelOutputsTest, TheFieldsGoWithTheirOutputs) {
  add(t, 1);
  add(kind, 2);
  EXPECT_TRUE(owner(1).ownsField());
  outputs.reset(QUVEN_ENV);
  EXPECT_EQ(numFields(), Columns);
  EXPECT_EQ(QUVENDataScanGlobalVars::get(QUVEN_ENV).getNumScans(), Columns);
}

TEST_F(QUVENModelOutputsTest, WithoutATargetNothingIsMade) {
  expectFailure([&] { add(nullptr, 1); }, "targetField != nullptr", "An output without a target field");
  EXPECT_EQ(outputs->getResultFields().getSize(), 0);
  EXPECT_EQ(numFields(), Columns);
}

TEST_F(QUVENModelOutputsTest, WithoutMemoryNothingIsMadeAndTheAccountIsInOrder) {
  std::set<std::string> texts;
  for (std::int64_t room = 0;; room += 8) {
    const std::int64_t before = environment.getBytesInUse();
    environment.setBytesBudget(before + room);
    const CapturedRun run = capturedRun([&] { add(t, 1); });
    environment.setBytesBudget(0);
    quvenDebugWords = QUVENDebugWords();
    if (!run.threwMemoryException) break;
    texts.insert(run.out.find("object memory") != std::string::npos ? "object" : "array");
    EXPECT_EQ(outputs->getResultFields().getSize(), 0) << room;
    EXPECT_EQ(numFields(), Columns) << room;
    ASSERT_LT(room, 100000);
  }
  EXPECT_EQ(texts, (std::set<std::string>{"array", "object"}));
  EXPECT_EQ(numFields(), Columns + 1);
}

TEST_F(QUVENModelOutputsTest, ACopyRefersAndOwnsNothing) {
  QUVENField* made = add(t, 1, "x");
  outputs->setStartingSuffix(4);
  auto copy = quvenNewCopy(*outputs, QUVEN_ENV);
  EXPECT_EQ(copy->findOutput(t, 1, "x"), made);
  EXPECT_EQ(copy->getStartingSuffix(), 4);
  copy.reset(QUVEN_ENV);
  EXPECT_EQ(world.field("Predicted_t_x"), made);
}

TEST_F(QUVENModelOutputsTest, ACopyOverAnOwnerGivesItsFieldUp) {
  add(t, 1);
  auto second = make<QUVENResultFieldOwner>();
  second->open(a, 6, "", 0, *world.names, QUVEN_ENV);
  second->copyFromPrimitive(&owner(1), QUVEN_ENV);
  EXPECT_EQ(world.field("StdDev_a"), nullptr);
  EXPECT_EQ(second->getField(), world.field("Predicted_t"));
  EXPECT_FALSE(second->ownsField());
  second->copyFromPrimitive(second.get(), QUVEN_ENV);
  second.reset(QUVEN_ENV);
  EXPECT_NE(world.field("Predicted_t"), nullptr);
}

TEST_F(QUVENModelOutputsTest, ATransferTakesTheFieldsAlong) {
  add(t, 1);
  auto target = make<QUVENModelOutputs>();
  target->addOutput(a, 1, "", *world.names, QUVEN_ENV);
  target->transferFromPrimitive(outputs.get(), QUVEN_ENV);
  EXPECT_EQ(outputs->getResultFields().getSize(), 0);
  EXPECT_EQ(world.field("Predicted_a"), nullptr);
  outputs.reset(QUVEN_ENV);
  EXPECT_EQ(target->findOutput(t, 1, ""), world.field("Predicted_t"));

  // And of one record to another.
  auto record = make<QUVENResultFieldOwner>();
  record->open(b, 1, "", 0, *world.names, QUVEN_ENV);
  record->transferFromPrimitive(target->getResultFields()[1].get(), QUVEN_ENV);
  EXPECT_EQ(world.field("Predicted_b"), nullptr);
  target.reset(QUVEN_ENV);
  EXPECT_TRUE(record->ownsField());
  EXPECT_NE(world.field("Predicted_t"), nullptr);
  record.reset(QUVEN_ENV);
  EXPECT_EQ(numFields(), Columns);
}

TEST_F(QUVENModelOutputsTest, OpenedAgainARecordGivesItsFirstFieldUp) {
  auto record = make<QUVENResultFieldOwner>();
  EXPECT_EQ(record->getField(), nullptr);
  EXPECT_FALSE(record->ownsField());
  record->open(b, 1, "", 0, *world.names, QUVEN_ENV);
  record->open(b, 3, "", 0, *world.names, QUVEN_ENV);
  EXPECT_EQ(world.field("Predicted_b"), nullptr);
  expectFailure([&] { record->open(b, 0, "", 0, *world.names, QUVEN_ENV); }, "Invalid feature specified");
  EXPECT_EQ(record->getField(), world.field("UnnormalizedPredicted_b"));
  record.reset(QUVEN_ENV);
}

TEST_F(QUVENModelOutputsTest, InAStreamAFieldIsItsName) {
  add(t, 1, "x");
  outputs->setStartingSuffix(2);
  QUVENModelResultField& record = *outputs->getResultFields()[1];
  record.getExplanatoryFieldOrder().append(3, QUVEN_ENV);
  record.getTargetFieldOrder().append(1, QUVEN_ENV);
  record.setLineNumberFieldOrder(6);
  EXPECT_EQ(hexOf(imageOf(*outputs)),
            hexOfText("c1 91 'QUVENModelOutputs' c6 c4 81 c1 95 'QUVENResultFieldOwner' c6 81 't' c7 81 c8 81 'x' "
                      "c9 c4 81 83 c5 ca c4 81 81 c5 cb 86 cc 8d 'Predicted_t_x' c2 c5 c7 82 c2"));
}

TEST_F(QUVENModelOutputsTest, TheMapBringsTheFieldsAndTheOutputsTakeThemOver) {
  add(t, 1);
  add(kind, 2, "y");
  const std::string bytes = written(QUVENObjWriter::SaveForWorker, [&](QUVENObjWriter& writer) {
    quvenWriteObject(writer, *world.names, QUVEN_ENV);
    quvenWriteObject(writer, *outputs, QUVEN_ENV);
  });
  ModelWorld worker = makeWorld();
  QUVENOwnPtr<QUVENModelOutputs> read(QUVEN_ENV);
  readFrom(bytes, [&](QUVENObjReader& reader) {
    quvenReadObject(reader, *worker.names, QUVEN_ENV);
    quvenReadObject(reader, read, QUVENModelOutputs::typeName(), QUVEN_ENV);
  });
  EXPECT_EQ(read->findOutput(worker.field("t"), 1, ""), worker.field("Predicted_t"));
  EXPECT_NE(worker.field("PredictedDisplay_kind_y"), nullptr);
  EXPECT_FALSE(worker.field("PredictedDisplay_kind_y")->isNumeric());
  EXPECT_EQ(imageOf(*read), imageOf(*outputs));

  // Read again into what is there already, it all stays in its place.
  const QUVENField* field = worker.field("Predicted_t");
  readFrom(bytes, [&](QUVENObjReader& reader) {
    quvenReadObject(reader, *worker.names, QUVEN_ENV);
    quvenReadObject(reader, *read, QUVEN_ENV);
  });
  EXPECT_EQ(worker.field("Predicted_t"), field);
  EXPECT_EQ(read->findOutput(worker.field("t"), 1, ""), field);
  read.reset(QUVEN_ENV);
  EXPECT_EQ(worker.names->getNumFields(), Columns);
  end(worker);
}

TEST_F(QUVENModelOutputsTest, AFieldThatARecordGivesUpInAStreamStaysInTheMap) {
  add(t, 1);
  const std::string bytes = imageOf(owner(1));
  QUVENOwnPtr<QUVENResultFieldOwner> second = make<QUVENResultFieldOwner>();
  second->open(a, 6, "", 0, *world.names, QUVEN_ENV);
  readWith(*world.names, bytes, second);
  // A later element of the stream may refer to it: two outputs that have changed places do.
  EXPECT_NE(world.field("StdDev_a"), nullptr);
  EXPECT_TRUE(second->ownsField());
  second.reset(QUVEN_ENV);
  EXPECT_EQ(world.field("Predicted_t"), nullptr);  // of two records of one field the latest takes it out
  outputs.reset(QUVEN_ENV);
  EXPECT_EQ(numFields(), Columns + 1);
  world.names->remove("StdDev_a", QUVEN_ENV);
}

TEST_F(QUVENModelOutputsTest, OutputsThatChangePlacesInAnArrayKeepTheirFields) {
  using Array = QUVENXaRay<QUVENModelOutputs, 0>;
  Array array;
  array.setSize(2, QUVEN_ENV);
  array[1].addOutput(t, 1, "first", *world.names, QUVEN_ENV);
  array[2].addOutput(t, 1, "second", *world.names, QUVEN_ENV);
  const auto image = [&] {
    return written(QUVENObjWriter::SaveForWorker, [&](QUVENObjWriter& writer) {
      quvenWriteObject(writer, *world.names, QUVEN_ENV);
      QUVENStreamValue<Array>::write(writer, array, QUVEN_ENV);
    });
  };
  ModelWorld worker = makeWorld();
  Array read;
  const auto readImage = [&](const std::string& bytes) {
    readFrom(bytes, [&](QUVENObjReader& reader) {
      quvenReadObject(reader, *worker.names, QUVEN_ENV);
      QUVENStreamValue<Array>::read(reader, read, QUVEN_ENV);
    });
  };
  readImage(image());
  QUVENField* const first = worker.field("Predicted_t_first");
  QUVENField* const second = worker.field("Predicted_t_second");
  QUVENModelOutputs kept;
  kept.transferFromPrimitive(&array[1], QUVEN_ENV);
  array[1].transferFromPrimitive(&array[2], QUVEN_ENV);
  array[2].transferFromPrimitive(&kept, QUVEN_ENV);
  readImage(image());
  EXPECT_EQ(read[1].findOutput(worker.field("t"), 1, "second"), second);
  EXPECT_EQ(read[2].findOutput(worker.field("t"), 1, "first"), first);
  EXPECT_EQ(worker.field("Predicted_t_first"), first);

  // One output fewer: the map of the reader loses the field with the stream.
  array.setSize(1, QUVEN_ENV);
  readImage(image());
  EXPECT_EQ(worker.field("Predicted_t_first"), nullptr);
  EXPECT_EQ(worker.field("Predicted_t_second"), second);
  read.deleteMemory(QUVEN_ENV);
  EXPECT_EQ(worker.names->getNumFields(), Columns);
  array.deleteMemory(QUVEN_ENV);
  kept.destroyPrimitive(QUVEN_ENV);
  end(worker);
}

TEST_F(QUVENModelOutputsTest, WithoutAMapAStreamOfOutputsIsRefused) {
  add(t, 1);
  const std::string bytes = imageOf(*outputs);
  QUVENOwnPtr<QUVENModelOutputs> read(QUVEN_ENV);
  expectFailure([&] { readImage(bytes, read); }, "ptr != 0", "No field with specified name");
  read.reset(QUVEN_ENV);
}

TEST_F(QUVENModelOutputsTest, ExportedFieldsAreSeenByTheCaller) {
  add(t, 1);
  add(t, 6);
  auto callerNames = make<QUVENFieldNameMap>();
  auto exported = make<QUVENExportedOutputs>();
  exported->exportOutputs(*outputs, *callerNames, QUVEN_ENV);
  exported->exportOutputs(*outputs, *callerNames, QUVEN_ENV);
  EXPECT_EQ(exported->getResultFields().getSize(), 2);
  EXPECT_EQ(callerNames->getNumFields(), 2);
  EXPECT_EQ(callerNames->find("StdDev_t"), world.field("StdDev_t"));
  EXPECT_EQ(exported->findOutput(t, 6, ""), world.field("StdDev_t"));
  EXPECT_EQ(exported->findOutput(t, 7, ""), nullptr);
  auto copy = quvenNewCopy(*exported, QUVEN_ENV);
  copy.reset(QUVEN_ENV);
  EXPECT_EQ(callerNames->getNumFields(), 2);
  exported.reset(QUVEN_ENV);
  EXPECT_EQ(callerNames->getNumFields(), 0);
  EXPECT_EQ(numFields(), Columns + 2);
  callerNames.reset(QUVEN_ENV);
}

TEST_F(QUVENModelOutputsTest, ExportedIntoTheMapTheyStandInFieldsStayThere) {
  add(t, 1);
  auto exported = make<QUVENExportedOutputs>();
  exported->exportOutputs(*outputs, *world.names, QUVEN_ENV);
  exported.reset(QUVEN_ENV);
  EXPECT_NE(world.field("Predicted_t"), nullptr);
}

TEST_F(QUVENModelOutputsTest, AnotherFieldOfTheNameKeepsAnExportOut) {
  add(t, 1);
  ModelWorld caller = makeWorld();
  auto taken = make<QUVENModelOutputs>();
  taken->addOutput(caller.field("t"), 1, "", *caller.names, QUVEN_ENV);
  auto exported = make<QUVENExportedOutputs>();
  expectFailure([&] { exported->exportOutputs(*outputs, *caller.names, QUVEN_ENV); },
                "A field with this name exists already");
  EXPECT_EQ(exported->getResultFields().getSize(), 0);
  auto unopened = make<QUVENResultFieldOwner>();
  auto exporter = make<QUVENResultFieldExporter>();
  expectFailure([&] { exporter->open(*unopened, *caller.names, QUVEN_ENV); }, "field != nullptr",
                "A record of an output without its field");
  for (auto* object : {static_cast<QUVENOwnPtrBase*>(&exported), static_cast<QUVENOwnPtrBase*>(&taken),
                       static_cast<QUVENOwnPtrBase*>(&unopened), static_cast<QUVENOwnPtrBase*>(&exporter)}) {
    object->reset(QUVEN_ENV);
  }
  end(caller);
}

TEST_F(QUVENModelOutputsTest, AnExportTravelsAsItsName) {
  add(t, 1);
  auto exported = make<QUVENExportedOutputs>();
  exported->exportOutputs(*outputs, *world.names, QUVEN_ENV);
  QUVENOwnPtr<QUVENExportedOutputs> read(QUVEN_ENV);
  readWith(*world.names, imageOf(*exported), read);
  EXPECT_EQ(imageOf(*read), imageOf(*exported));
  EXPECT_EQ(read->findOutput(t, 1, ""), world.field("Predicted_t"));
  read.reset(QUVEN_ENV);
  EXPECT_NE(world.field("Predicted_t"), nullptr);
  exported.reset(QUVEN_ENV);
}

TEST_F(QUVENModelOutputsTest, APairKeepsAModelWithItsOutputs) {
  auto pair = make<QUVENModelOutputPair>();
  EXPECT_EQ(pair->getModel(), nullptr);
  EXPECT_EQ(hexOf(imageOf(*pair)), hexOfText("c1 94 'QUVENModelOutputPair' c6 c1 91 'QUVENModelOutputs' c6 c4 80 c5 "
                                             "c7 80 c2 c7 c1 80 c2"));
  auto model = make<QUVENTestModel>();
  model->addInput(t, 1, QUVEN_ENV);
  model->ivRecords = 3;
  pair->setModel(std::move(model));
  pair->getOutputs().addOutput(t, 1, "", *world.names, QUVEN_ENV);
  QUVENOwnPtr<QUVENModelOutputPair> read(QUVEN_ENV);
  readWith(*world.names, imageOf(*pair), read);
  EXPECT_EQ(static_cast<QUVENTestModel*>(read->getModel())->ivRecords, 3);
  EXPECT_EQ(read->getOutputs().findOutput(t, 1, ""), world.field("Predicted_t"));
  read.reset(QUVEN_ENV);
  pair.reset(QUVEN_ENV);
  EXPECT_EQ(numFields(), Columns);
}

}  // namespace
