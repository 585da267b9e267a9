#ifndef TESTS_SIMPLE_ALGORITHM_SIMPLE_MODEL_FIXTURE_H
#define TESTS_SIMPLE_ALGORITHM_SIMPLE_MODEL_FIXTURE_H

#include "analysis_examples.h"
#include "control/quven_XML_handler.h"
#include "kernel/kernel_fixture.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_field_name_map.h"
#include "kernel/quven_num_field.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"
#include "support/stream_text.h"
#include "support/temporary_folder.h"

/// A model over the columns line, x, y, t (numbers) and text; its analysis is an example of the tests, which comes in
/// by a stream, as every analysis of a worker does.
class SimpleModelTest : public KernelTest {
 protected:
  SimpleModelTest() {
    point = make<QUVENDataPoint>();
    names = make<QUVENFieldNameMap>();
    line = addField(make<QUVENNumField>(), "line");
    x = addField(make<QUVENNumField>(), "x");
    y = addField(make<QUVENNumField>(), "y");
    t = addField(make<QUVENNumField>(), "t");
    text = addField(make<QUVENCatField>(), "text");
    model = make<QUVENSimpleAlgorithmModel>();
    tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
  }
  void TearDown() override {
    fieldList.deleteMemory(QUVEN_ENV);
    model.reset(QUVEN_ENV);
    read.reset(QUVEN_ENV);
    tree.reset(QUVEN_ENV);
    names.reset(QUVEN_ENV);
    point.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }

  QUVENField* addField(QUVENOwnPtr<QUVENField>&& field, std::string_view name) {
    field->setName(name);
    const long index = point->addField(std::move(field), QUVEN_ENV);
    names->addReference(&point->getField(index), QUVEN_ENV);
    return &point->getField(index);
  }

  void addInputs() {
    model->addInput(x, QUVENUsageExplanatory, QUVEN_ENV);
    model->addInput(line, QUVENUsageSupplementary, QUVEN_ENV);
    model->addInput(y, QUVENUsageExplanatory, QUVEN_ENV);
    model->addInput(t, QUVENUsageTarget, QUVEN_ENV);
  }

  /// Opens the diffusion analysis, with parameters that are legal unless a test says others.
  CapturedRun open(const std::vector<QUVENField*>& fields, std::int32_t modelId = 24, const std::string& tags = "") {
    const std::string params =
        folder.write("params.xml", "<P>\n<Seed>" + folder.write("seeds", "1\n") + "</Seed>\n<OutputFileName>" +
                                       folder.path("out") + "</OutputFileName>\n" + tags + "</P>\n");
    tree->resetTree(QUVEN_ENV);
    EXPECT_EQ(tree->readXMLFile(params, QUVEN_ENV), 1);
    fieldList.fromZeroBased(fields, QUVEN_ENV);
    model->setParameterFileName(params);
    return capturedRun([&] { model->open(modelId, fieldList, tree->getTag("P", QUVEN_ENV), QUVEN_ENV); });
  }

  template <class T>
  void readWith(const std::string& bytes, QUVENOwnPtr<T>& object) {
    EXPECT_EQ(readFrom(bytes,
                       [&](QUVENObjReader& reader) {
                         names->putInto(reader, QUVEN_ENV);
                         quvenReadObject(reader, object, T::typeName(), QUVEN_ENV);
                       }),
              0U);
  }

  /// Puts an analysis of the class, which has the image behind its name, in the place of the present one.
  void putAnalysis(const std::string& typeName, const std::string& image) {
    const auto size = static_cast<char>(0x80 + typeName.size());
    readWith(bytesOf("c1 99 'QUVENSimpleAlgorithmModel' d0 c1") + size + typeName + bytesOf(image + "c2 c2"), model);
  }
  /// A model that is bound, in mode 1 and scanning with the example.
  QUVENTestAnalysis& startExample(const std::string& image = "") {
    if (model->getExplanatoryFields().isEmpty()) addInputs();
    if (model->getState() == QUVENSimpleAlgorithmModel::Empty) {
      EXPECT_FALSE(open({line, x, y, t}).threwLibraryException);
    }
    putAnalysis("QUVENTestAnalysis", image);
    model->setMiningMode(1, nullptr, QUVEN_ENV);
    EXPECT_TRUE(model->beginDataScan(QUVEN_ENV));
    return example();
  }
  QUVENTestAnalysis& example() { return static_cast<QUVENTestAnalysis&>(model->getData(QUVEN_ENV)); }

  void record(double lineNumber, double xValue, double yValue, double tValue, std::int32_t channel = 0) {
    line->setNumValue(lineNumber);
    x->setNumValue(xValue);
    y->setNumValue(yValue);
    t->setNumValue(tValue);
    point->setChannel(channel);
    model->update(*point, QUVEN_ENV);
  }
  std::string dump() const {
    std::ostringstream out;
    model->print(out);
    return out.str();
  }

  TemporaryFolder folder;
  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  QUVENOwnPtr<QUVENXMLHandler> tree;
  QUVENOwnPtr<QUVENSimpleAlgorithmModel> model;
  QUVENOwnPtr<QUVENSimpleAlgorithmModel> read;
  QUVENXaRay<QUVENField*> fieldList;
  QUVENField *line, *x, *y, *t, *text;
};

#endif  // TESTS_SIMPLE_ALGORITHM_SIMPLE_MODEL_FIXTURE_H
