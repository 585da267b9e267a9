#include "dataset_form.h"

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class DatasetFormTest : public testing::InspectTest {
 protected:
  DatasetShape shape(std::optional<DatasetForm> form = {}, std::optional<std::uint32_t> columns = {}) const {
    return findDatasetShape(path(), form, columns);
  }
  void describe(const std::string& text) const { writeText(text, "file.info"); }
  void expectError(const std::string& text) const {
    EXPECT_THAT([this] { (void)shape(); }, ThrowsMessage<std::runtime_error>(HasSubstr(text)));
  }
};

const std::string sparseInfo =
    "Col1 Numeric LineNumber\n"
    "Col2 Numeric Explanatory\n"
    "Col3 Numeric Explanatory\n";
const std::string denseInfo =
    "Col0 Numeric Explanatory\n"
    "Col1 Numeric Explanatory\n"
    "Col2 Numeric Explanatory\n";

TEST_F(DatasetFormTest, ALineNumberColumnMakesItSparse) {
  describe(sparseInfo);
  EXPECT_EQ(shape().form, DatasetForm::Sparse);
  EXPECT_EQ(shape().columns, 3U);
  EXPECT_EQ(shape().source, path("file.info"));
}

// A table of size 2 in the dense form has three columns as well.
TEST_F(DatasetFormTest, ThreeColumnsWithoutALineNumberAreDense) {
  describe(denseInfo);
  EXPECT_EQ(shape().form, DatasetForm::Dense);
  EXPECT_EQ(shape().columns, 3U);
}

TEST_F(DatasetFormTest, OneColumnIsTheKeyAlone) {
  describe("Col0 Numeric Explanatory\n");
  EXPECT_EQ(shape().form, DatasetForm::Dense);
  EXPECT_EQ(shape().columns, 1U);
}

TEST_F(DatasetFormTest, WithoutDescriptionItIsTakenAsSparse) {
  EXPECT_EQ(shape().form, DatasetForm::Sparse);
  EXPECT_EQ(shape().source, "no " + path("file.info") + ", so assumed");
}

TEST_F(DatasetFormTest, TheCommandLineGoesFirst) {
  describe(sparseInfo);
  EXPECT_EQ(shape(DatasetForm::Dense, 5).columns, 5U);
  EXPECT_EQ(shape(DatasetForm::Dense, 5).form, DatasetForm::Dense);
  EXPECT_EQ(shape({}, 4).form, DatasetForm::Dense);
  EXPECT_EQ(shape({}, 4).columns, 4U);
  EXPECT_EQ(shape(DatasetForm::Dense).columns, 3U);
  describe("no description\n");
  EXPECT_EQ(shape(DatasetForm::Sparse).form, DatasetForm::Sparse);
}

TEST_F(DatasetFormTest, RefusesADescriptionThatCannotBeUnderstood) {
  describe("");
  expectError("file.info has no columns");
  describe("Col1 Numeric LineNumber\nCol2 Numeric\n");
  expectError("file.info, line 2: not three words");
  describe("Col1 Numeric LineNumber rest\n");
  expectError("file.info, line 1: not three words");
  describe("Col1 Text LineNumber\n");
  expectError("file.info, line 1: unknown type 'Text'");
  describe("Col1 Numeric Key\n");
  expectError("file.info, line 1: unknown purpose 'Key'");
  describe("Col1 Numeric LineNumber\nCol2 Numeric Explanatory\n");
  expectError("describes a sparse dataset of 2 columns; it has three");
}

TEST_F(DatasetFormTest, RefusesOptionsThatDoNotFit) {
  EXPECT_THAT([this] { (void)shape(DatasetForm::Dense); },
              ThrowsMessage<std::runtime_error>("the dense form needs the number of columns (--columns)"));
  EXPECT_THAT([this] { (void)shape(DatasetForm::Sparse, 4); },
              ThrowsMessage<std::runtime_error>("the sparse form has three columns"));
}

}  // namespace
}  // namespace vesk_inspect
