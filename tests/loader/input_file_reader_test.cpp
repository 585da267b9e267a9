#include "input_file_reader.h"

#include <limits>

#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

class InputFileReader : public LoaderTest {
 protected:
  CapturedRun readText(const std::string& text) {
    folder.write("params.xml", text);
    return capturedRun([&] { result = read_input_file_format(path, settings); });
  }
  // Tags below the top element.
  CapturedRun read(const std::string& tags) { return readText("<LoaderParams>\n" + tags + "\n</LoaderParams>\n"); }

  std::string startLine() const {
    return logLine(0, ">>> VESK loader: starting read_input_file_format: reading input file " + path);
  }
  void expectError(const std::string& tags, int code, const std::string& text) {
    const CapturedRun run = read(tags);
    EXPECT_TRUE(run.threwLibraryException) << tags;
    EXPECT_EQ(run.out,
              startLine() + errorLine(code, text) + errorLine(1322, "unexpected error in read_input_file_format"));
  }

  const std::string path = folder.path("params.xml");
  LoaderSettings settings;
  int result = -1;
};

constexpr const char* twoFields =
    "<Field1><Name>Caller</Name><Type>Numeric</Type><Start>1</Start><End>15</End></Field1>"
    "<Field2><Name>Callee</Name><Type>Id</Type><Start>17</Start><End>31</End></Field2>";

TEST_F(InputFileReader, ReadsEveryTag) {
  folder.write("list", "5 6");
  const CapturedRun run = read(std::string(twoFields) +
                               "<CyclicTableSize>20</CyclicTableSize><CyclicTableSort>No</CyclicTableSort>"
                               "<SpecialList><File>" +
                               folder.path("list") +
                               "</File><OpName>Exclude</OpName></SpecialList>"
                               "<Output>Sparse</Output><Key>1</Key><DateField>3</DateField>"
                               "<MultiplicityField>5</MultiplicityField><NumberOfPartitions>7</NumberOfPartitions>"
                               "<DateHorizon>30</DateHorizon>"
                               "<Operation1><OpName>CyclicAdd</OpName><Input>2</Input><Condition>GE</Condition>"
                               "<Threshold>1.5</Threshold></Operation1>"
                               "<Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2>");
  EXPECT_EQ(run.out, startLine() + logLine(0, ">>> VESK loader: read input file format done."));
  EXPECT_EQ(result, 1);
  using Texts = std::vector<std::string>;
  using Numbers = std::vector<std::int32_t>;
  EXPECT_EQ(settings.fieldNames, (Texts{"Caller", "Callee"}));
  EXPECT_EQ(settings.fieldTypes, (Texts{"Numeric", "Id"}));
  EXPECT_EQ(settings.fieldStarts, (Numbers{0, 16}));
  EXPECT_EQ(settings.fieldEnds, (Numbers{14, 30}));
  EXPECT_EQ(settings.cyclicTableSize, 20);
  EXPECT_FALSE(settings.sortCyclicTable);
  EXPECT_EQ(settings.specialListFilter, SpecialListFilter::Exclude);
  EXPECT_TRUE(settings.specialList.contains(6));
  EXPECT_EQ(settings.outputFormat, OutputFormat::Binary);
  EXPECT_EQ(settings.sparse, 1);
  EXPECT_EQ(settings.keyField, 0);
  EXPECT_EQ(settings.dateField, 2);
  EXPECT_EQ(settings.multiplicityField, 4);
  EXPECT_EQ(settings.numberOfPartitions, 7);
  EXPECT_EQ(settings.dateHorizon, 30);
  EXPECT_EQ(settings.operationNames, (Texts{"CyclicAdd"}));
  EXPECT_EQ(settings.operationInputs, (Numbers{1}));
  EXPECT_EQ(settings.operationOutputs, (Numbers{-1}));
  EXPECT_EQ(settings.operationConditions, (Texts{"GE"}));
  EXPECT_EQ(settings.operationThresholds, (std::vector<double>{1.5}));
  EXPECT_EQ(settings.payloadInputs, (Numbers{3}));
  EXPECT_EQ(settings.pairSumFlag, 0);
}

TEST_F(InputFileReader, LeavesTheInitialValuesOfAbsentTags) {
  read("");
  const LoaderSettings initial;
  EXPECT_TRUE(settings.fieldNames.empty());
  EXPECT_EQ(settings.cyclicTableSize, 0);
  EXPECT_TRUE(settings.sortCyclicTable);
  EXPECT_EQ(settings.specialListFilter, SpecialListFilter::None);
  EXPECT_EQ(settings.sparse, 0);
  EXPECT_EQ(settings.outputFormat, OutputFormat::Binary);
  EXPECT_EQ(settings.keyField, -1);
  EXPECT_EQ(settings.dateField, -1);
  EXPECT_EQ(settings.dateHorizon, -1);
  EXPECT_EQ(settings.multiplicityField, -1);
  EXPECT_EQ(settings.numberOfPartitions, 1);
  EXPECT_TRUE(settings.operationNames.empty());
}

TEST_F(InputFileReader, ClearsWhatTheSettingsHeld) {
  read(twoFields);
  read("<Key>1</Key>");
  EXPECT_TRUE(settings.fieldNames.empty());
}

TEST_F(InputFileReader, StopsAtTheFirstNumberThatIsMissing) {
  read(
      "<Field1><Name>a</Name><Type>t</Type><Start>1</Start><End>2</End></Field1>"
      "<Field3><Name>c</Name><Type>t</Type><Start>1</Start><End>2</End></Field3>"
      "<Operation2><OpName>nonsense</OpName></Operation2>");
  EXPECT_EQ(settings.fieldNames, (std::vector<std::string>{"a"}));
  EXPECT_TRUE(settings.operationNames.empty());
}

TEST_F(InputFileReader, TakesTheLeadingNumberOfAnInteger) {
  for (const auto& [text, number] : std::initializer_list<std::pair<const char*, int>>{
           {"12abc", 12}, {"  7 ", 7}, {"x", 0}, {"-3", -3}, {"+4", 4}, {"2.9", 2}}) {
    read(std::string("<DateHorizon>") + text + "</DateHorizon>");
    EXPECT_EQ(settings.dateHorizon, number) << text;
  }
}

TEST_F(InputFileReader, KnowsTheOutputForms) {
  for (const auto& [name, format, sparse] :
       std::initializer_list<std::tuple<const char*, OutputFormat, int>>{{"Sparse", OutputFormat::Binary, 1},
                                                                         {"Dense", OutputFormat::Binary, 0},
                                                                         {"CSV", OutputFormat::CSV, 0},
                                                                         {"XML", OutputFormat::XML, 0}}) {
    read(std::string("<Output>") + name + "</Output>");
    EXPECT_EQ(settings.outputFormat, format) << name;
    EXPECT_EQ(settings.sparse, sparse) << name;
  }
  expectError("<Output>sparse</Output>", 1175,
              "read_input_file_format: Unknown output format (Supported types are XML, Sparse, and Dense)");
}

TEST_F(InputFileReader, ReadsTheXmlTagForXmlOutputOnly) {
  const std::string xml =
      "<XML><TagPrefix>x:</TagPrefix><OutputNamespace>xmlns:x=&quot;c&quot;</OutputNamespace></XML>";
  read("<Output>XML</Output>" + xml);
  EXPECT_EQ(settings.tagPrefix, "x:");
  EXPECT_EQ(settings.outputNamespace, "xmlns:x=\"c\"");
  read("<Output>Sparse</Output>" + xml);
  EXPECT_EQ(settings.tagPrefix, "");
  EXPECT_EQ(settings.outputNamespace, "");
}

TEST_F(InputFileReader, ReadsEveryOperation) {
  read(
      "<Operation1><OpName>Add</OpName><Input>2</Input><Output>3</Output></Operation1>"
      "<Operation2><OpName>Count</OpName><Input>4</Input><Output>1</Output><Condition>LT</Condition></Operation2>"
      "<Operation3><OpName>PairSum</OpName><Input>5</Input></Operation3>"
      "<Operation4><OpName>PairSum</OpName><Input>5</Input><Output>9</Output></Operation4>");
  EXPECT_EQ(settings.operationNames, (std::vector<std::string>{"Add", "Count", "PairSum", "PairSum"}));
  EXPECT_EQ(settings.operationInputs, (std::vector<std::int32_t>{1, 3, 4, 4}));
  EXPECT_EQ(settings.operationOutputs, (std::vector<std::int32_t>{2, 0, -2, 8}));
  EXPECT_EQ(settings.operationConditions,
            (std::vector<std::string>{"NoCondition", "LT", "NoCondition", "NoCondition"}));
  EXPECT_EQ(settings.operationThresholds, (std::vector<double>{-1, -1, -1, -1}));
  EXPECT_EQ(settings.pairSumFlag, 1);
}

// Counting from 0 used to go below the lowest number.
TEST_F(InputFileReader, KeepsTheLowestNumber) {
  constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
  const CapturedRun run = read(
      "<Field1><Name>F</Name><Type>T</Type><Start>-2147483648</Start><End>-9999999999</End></Field1>"
      "<Key>-2147483648</Key><DateField>-2147483647</DateField>");
  EXPECT_FALSE(run.threwLibraryException);
  EXPECT_EQ(settings.fieldStarts, (std::vector<std::int32_t>{lowest}));
  EXPECT_EQ(settings.fieldEnds, (std::vector<std::int32_t>{lowest}));
  EXPECT_EQ(settings.keyField, lowest);
  EXPECT_EQ(settings.dateField, lowest);
}

TEST_F(InputFileReader, RestrictsIfTheSpecialListHasNoOperation) {
  folder.write("list", "5");
  read("<SpecialList><File>" + folder.path("list") + "</File></SpecialList>");
  EXPECT_EQ(settings.specialListFilter, SpecialListFilter::Restrict);
}

TEST_F(InputFileReader, AcceptsOneToAHundredPartitions) {
  for (const char* good : {"1", "100"}) {
    read(std::string("<NumberOfPartitions>") + good + "</NumberOfPartitions>");
    EXPECT_EQ(settings.numberOfPartitions, std::stoi(good));
  }
  for (const char* bad : {"0", "101", "-1", "x"}) {
    expectError(std::string("<NumberOfPartitions>") + bad + "</NumberOfPartitions>", 1150,
                "read_input_file_format: number of partitions should be between 1 and 100");
  }
}

TEST_F(InputFileReader, NamesWhatAFieldMisses) {
  const std::string name = "<Name>a</Name>", type = "<Type>t</Type>", start = "<Start>1</Start>", end = "<End>1</End>";
  const std::string first = "<Field1>" + name + type + start + end + "</Field1>";
  const auto second = [&](const std::string& tags) { return first + "<Field2>" + tags + "</Field2>"; };
  expectError(second(type + start + end), 1164, "read_input_file_format: Missing <Name> in field 2");
  expectError(second(name + start + end), 1161, "read_input_file_format: Missing type in field 2");
  expectError(second(name + type + end), 1162, "read_input_file_format: Missing <Start> tag in field 2");
  expectError(second(name + type + start), 1163, "read_input_file_format: Missing <End> tag in field 2");
  expectError("<Field1></Field1>", 1164, "read_input_file_format: Missing <Name> in field 1");
}

TEST_F(InputFileReader, NamesWhatAnOperationMisses) {
  expectError("<Operation1><Input>1</Input></Operation1>", 1170, "read_input_file_format: Missing name in op 1");
  expectError("<Operation1><OpName>nonsense</OpName></Operation1>", 1170,
              "read_input_file_format: Missing input tag in op 1");
  expectError("<Operation1><OpName>nonsense</OpName><Input>1</Input></Operation1>", 1170,
              "read_input_file_format: Unknown operation nonsense");
  for (const char* name : {"Add", "Count"}) {
    const std::string operation = std::string("<Operation1><OpName>") + name + "</OpName><Input>1</Input>";
    expectError(operation + "</Operation1>", 1170, "read_input_file_format: Missing output tag in op 1");
    expectError(operation + "<Output>0</Output></Operation1>", 1170,
                "read_input_file_format: Missing output tag in op 1");
  }
}

TEST_F(InputFileReader, NamesWhatIsWrongWithTheSpecialList) {
  expectError("<SpecialList><OpName>Exclude</OpName></SpecialList>", 1170, "Special list file is missing");
  expectError("<SpecialList><File>" + folder.path("nothing") + "</File></SpecialList>", 1170,
              "Special list file cannot be opened");
  folder.write("list", "5");
  expectError("<SpecialList><File>" + folder.path("list") + "</File><OpName>exclude</OpName></SpecialList>", 1170,
              "Unknown special list filter type (Should be Restrict or Exclude)");
}

TEST_F(InputFileReader, RefusesAnotherSort) {
  expectError("<CyclicTableSort>yes</CyclicTableSort>", 1170, "Cyclic table sort type unknown (Should be Yes or No)");
}

TEST_F(InputFileReader, ReadsWhetherCalleesAreDistinct) {
  for (const bool distinct : {true, false}) {
    const std::string word = distinct ? "Yes" : "No";
    folder.write("params", "<LoaderParams><CyclicTableDistinct>" + word + "</CyclicTableDistinct></LoaderParams>");
    settings.distinctCyclicTable = !distinct;
    EXPECT_EQ(read_input_file_format(folder.path("params"), settings), 1);
    EXPECT_EQ(settings.distinctCyclicTable, distinct);
  }
  EXPECT_FALSE(LoaderSettings().distinctCyclicTable);
  expectError("<CyclicTableDistinct>yes</CyclicTableDistinct>", 1170,
              "Cyclic table distinct type unknown (Should be Yes or No)");
}

TEST_F(InputFileReader, FindsTheErrorsInAFixedOrder) {
  expectError("<CyclicTableDistinct>x</CyclicTableDistinct><CyclicTableSort>x</CyclicTableSort><Output>x</Output>",
              1170, "Cyclic table sort type unknown (Should be Yes or No)");
  expectError("<CyclicTableDistinct>x</CyclicTableDistinct><Output>x</Output>", 1170,
              "Cyclic table distinct type unknown (Should be Yes or No)");
  expectError("<Operation1></Operation1><CyclicTableSort>x</CyclicTableSort><Output>x</Output>", 1170,
              "Cyclic table sort type unknown (Should be Yes or No)");
  expectError("<Operation1></Operation1><NumberOfPartitions>0</NumberOfPartitions><Output>x</Output>", 1175,
              "read_input_file_format: Unknown output format (Supported types are XML, Sparse, and Dense)");
}

TEST_F(InputFileReader, ReportsAFileThatDoesNotParse) {
  const CapturedRun run = readText("<LoaderParams>\n<Key>1</Kex>\n</LoaderParams>\n");
  EXPECT_EQ(run.out, startLine() +
                         "Closing tag [Kex] does not match opening tag [Key]\n"
                         "XML Parse error.\n"
                         "Current tag stack: __XMLRoot__ LoaderParams Key \n"
                         "Current XML partial read: \n"
                         "[__XMLRoot__] { }\n"
                         "  [LoaderParams] { }\n"
                         "    [Key][1] { }\n"
                         "\n"
                         "ERROR ecnountered while reading XML file\n" +
                         errorLine(1150, "read_input_file_format: Errors when reading input format file") +
                         errorLine(1322, "unexpected error in read_input_file_format"));
}

TEST_F(InputFileReader, ReportsAFileThatIsNotThereOrHasAnotherRoot) {
  const CapturedRun missing = capturedRun([&] { read_input_file_format(folder.path("nothing"), settings); });
  EXPECT_EQ(missing.out, logLine(0, ">>> VESK loader: starting read_input_file_format: reading input file " +
                                        folder.path("nothing")) +
                             errorLine(1150, "read_input_file_format: Errors when reading input format file") +
                             errorLine(1322, "unexpected error in read_input_file_format"));
  for (const char* text : {"", "<Params></Params>\n"}) {
    EXPECT_EQ(readText(text).out, startLine() + errorLine(1160, "read_input_file_format: Cannot find root tag") +
                                      errorLine(1322, "unexpected error in read_input_file_format"));
  }
}

}  // namespace
}  // namespace vesk_loader::testing
