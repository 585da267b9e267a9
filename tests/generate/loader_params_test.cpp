#include "loader_params.h"

#include <sstream>
#include <stdexcept>

namespace vesk_generate {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;

std::string paramsText(const LoaderParamsSettings& settings, const RecordLayout& layout = {}) {
  std::ostringstream out;
  writeLoaderParams(out, settings, layout);
  return out.str();
}

const std::string fieldTags =
    "  <Field1><Name>Caller</Name><Type>Numeric</Type><Start>1</Start><End>15</End></Field1>\n"
    "  <Field2><Name>Callee</Name><Type>Numeric</Type><Start>17</Start><End>31</End></Field2>\n"
    "  <Field3><Name>Date</Name><Type>Numeric</Type><Start>33</Start><End>40</End></Field3>\n"
    "  <Field4><Name>Duration</Name><Type>Numeric</Type><Start>42</Start><End>47</End></Field4>\n"
    "  <Field5><Name>Multiplicity</Name><Type>Numeric</Type><Start>49</Start><End>50</End></Field5>\n"
    "  <Key>1</Key>\n";

TEST(LoaderParams, ATableRunAddsTheCalleeWithItsDurationBesideIt) {
  EXPECT_EQ(paramsText({}), "<LoaderParams>\n" + fieldTags +
                                "  <NumberOfPartitions>1</NumberOfPartitions>\n"
                                "  <Output>Sparse</Output>\n"
                                "  <DateField>3</DateField>\n"
                                "  <DateHorizon>30</DateHorizon>\n"
                                "  <CyclicTableSize>20</CyclicTableSize>\n"
                                "  <Operation1><OpName>CyclicAdd</OpName><Input>2</Input></Operation1>\n"
                                "  <Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2>\n"
                                "</LoaderParams>\n");
}

TEST(LoaderParams, APairSumRunHasOneOperationAndNoDate) {
  LoaderParamsSettings settings;
  settings.run = LoaderRun::PairSum;
  EXPECT_EQ(paramsText(settings), "<LoaderParams>\n" + fieldTags +
                                      "  <NumberOfPartitions>1</NumberOfPartitions>\n"
                                      "  <Output>Sparse</Output>\n"
                                      "  <MultiplicityField>5</MultiplicityField>\n"
                                      "  <Operation1><OpName>PairSum</OpName><Input>2</Input></Operation1>\n"
                                      "</LoaderParams>\n");
}

TEST(LoaderParams, ASumsRunStartsAtOutputTwo) {
  LoaderParamsSettings settings;
  settings.run = LoaderRun::Sums;
  settings.form = DatasetForm::Dense;
  settings.partitions = 3;
  EXPECT_EQ(paramsText(settings),
            "<LoaderParams>\n" + fieldTags +
                "  <NumberOfPartitions>3</NumberOfPartitions>\n"
                "  <Output>Dense</Output>\n"
                "  <MultiplicityField>5</MultiplicityField>\n"
                "  <Operation1><OpName>Count</OpName><Input>2</Input><Output>2</Output></Operation1>\n"
                "  <Operation2><OpName>Add</OpName><Input>4</Input><Output>3</Output></Operation2>\n"
                "  <Operation3><OpName>Count</OpName><Input>4</Input><Output>4</Output><Condition>GE</Condition>"
                "<Threshold>300</Threshold></Operation3>\n"
                "</LoaderParams>\n");
}

TEST(LoaderParams, TableSettingsAndLayoutAreTaken) {
  LoaderParamsSettings settings;
  settings.tableSize = 7;
  settings.horizonDays = 90;
  settings.payload = false;
  const std::string text = paramsText(settings, parseLayout("40-54,1-9,12-21,23-30,32-32"));
  EXPECT_THAT(text, HasSubstr("<CyclicTableSize>7</CyclicTableSize>"));
  EXPECT_THAT(text, HasSubstr("<DateHorizon>90</DateHorizon>"));
  EXPECT_THAT(text, HasSubstr("<Name>Caller</Name><Type>Numeric</Type><Start>40</Start><End>54</End>"));
  EXPECT_THAT(text, Not(HasSubstr("CyclicAddPayload")));
}

TEST(LoaderParams, RefusesWhatTheLoaderWouldRefuse) {
  const auto refuses = [](const LoaderParamsSettings& settings, const std::string& text) {
    EXPECT_THAT([&] { (void)paramsText(settings); }, ThrowsMessage<std::invalid_argument>(HasSubstr(text)));
  };
  refuses({.run = LoaderRun::PairSum, .form = DatasetForm::Dense}, "a pair sum has the sparse form only");
  refuses({.partitions = 0}, "partitions");
  refuses({.partitions = 101}, "partitions");
  refuses({.tableSize = 0}, "table size");
  refuses({.tableSize = 1000001}, "table size");
  refuses({.horizonDays = 24856}, "horizon");
}

}  // namespace
}  // namespace vesk_generate
