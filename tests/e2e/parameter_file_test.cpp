#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;

const std::string version = logLine(0, "vesk-loader version is 2.0.6");
const std::string reading = logLine(0, ">>> VESK loader: starting read_input_file_format: reading input file fmt");
const std::string unexpected = fatal(1322, "unexpected error in read_input_file_format");

/// Parameter files, good and bad, over one record file of two fields.
class LoaderParameterFileRun : public LoaderCase {
 protected:
  LoaderParameterFileRun() { records("a", {"1 5"}); }

  /// The run must end with this error in the parameter file, after what the parser printed, and leave nothing.
  void expectRefused(int code, const std::string& text, const std::string& parserOutput = "") {
    run();
    expectRun(99, version + reading + parserOutput + fatal(code, text) + unexpected + illEnd());
    EXPECT_EQ(files(), Strings{});
  }
  void expectParseError(const std::string& file, const std::string& parserOutput) {
    writeFile("fmt", file);
    expectRefused(1150, "read_input_file_format: Errors when reading input format file", parserOutput);
  }
  /// The same for a mistake that is found after the parameter file was read.
  void expectRefusedLater(int code, const std::string& text) {
    run();
    expectRun(99, head() + fatal(code, text) + illEnd());
    EXPECT_EQ(files(), Strings{});
  }
  void expectComplete(int recordCount = 1) {
    run();
    expectCompleteRun(scanned("a", 1, 3), recordCount, statistics("a", 1));
  }
};

TEST_F(LoaderParameterFileRun, AFileThatIsNotThereIsAnError) {
  expectRefused(1150, "read_input_file_format: Errors when reading input format file");
}

TEST_F(LoaderParameterFileRun, ADirectoryIsAnErrorOfTheParser) {
  std::filesystem::create_directory(path("fmt"));
  run();
  expectRun(99, version + reading + errorLine(2100, "QUVENXMLHandler::readXMLFile, bad ifstream") +
                    "Terminating VESK\n\n*** ERROR in function report_error at line 44 in file quven_reports\n"
                    "    QUVEN Terminating\n" +
                    unexpected + illEnd());
}

TEST_F(LoaderParameterFileRun, AnEmptyFileHasNoRoot) {
  writeFile("fmt", "");
  expectRefused(1160, "read_input_file_format: Cannot find root tag");
}

TEST_F(LoaderParameterFileRun, AnotherRootIsNone) {
  writeFile("fmt", "<loaderparams><Key>1</Key></loaderparams>\n");
  expectRefused(1160, "read_input_file_format: Cannot find root tag");
}

TEST_F(LoaderParameterFileRun, ATagTwiceIsAParseError) {
  expectParseError("<LoaderParams>\n<Key>1</Key>\n<Key>1</Key>\n</LoaderParams>\n",
                   "Duplicate child tag [Key]\n"
                   "XML Parse error.\n"
                   "Current tag stack: __XMLRoot__ LoaderParams \n"
                   "Current XML partial read: \n"
                   "[__XMLRoot__] { }\n  [LoaderParams] { }\n    [Key][1] { }\n\n"
                   "ERROR ecnountered while reading XML file\n");
}

TEST_F(LoaderParameterFileRun, AnUnclosedTagIsAParseErrorWithoutErrorState) {
  expectParseError("<LoaderParams>\n<Key>1</Key>\n",
                   "XML Parse error.\n"
                   "Current tag stack: __XMLRoot__ LoaderParams \n"
                   "Current XML partial read: \n"
                   "[__XMLRoot__] { }\n  [LoaderParams] { }\n    [Key][1] { }\n\n");
}

TEST_F(LoaderParameterFileRun, AClosingTagMustMatch) {
  expectParseError("<LoaderParams><Key>1</key></LoaderParams>",
                   "Closing tag [key] does not match opening tag [Key]\n"
                   "XML Parse error.\n"
                   "Current tag stack: __XMLRoot__ LoaderParams Key \n"
                   "Current XML partial read: \n"
                   "[__XMLRoot__] { }\n  [LoaderParams] { }\n    [Key][1] { }\n\n"
                   "ERROR ecnountered while reading XML file\n");
}

TEST_F(LoaderParameterFileRun, BytesAbove127BecomeBlanks) {
  parameters("fields 1-1 3-3; Key 1; op Add 2 2");
  writeFile("fmt", replaced(words.file(), "f1",
                            "\xc3\xa4 \xff"
                            "f1\xe4"));  // blanks around a value are trimmed
  expectComplete();
}

TEST_F(LoaderParameterFileRun, CarriageReturnsAndTheOrderOfTagsDoNotMatter) {
  words = ParameterWords("fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2");
  writeFile("fmt", replaced(ParameterWords("op Add 2 2; Output Sparse; Key 1; fields 1-1 3-3").file(), "\n", "\r\n"));
  expectComplete();
}

TEST_F(LoaderParameterFileRun, TagsThatMeanNothingAreIgnored) {
  words = ParameterWords("fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2");
  writeFile("fmt", ParameterWords("Comment none; fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2; xml x: y").file());
  expectComplete();
}

struct MissingPart {
  const char* tag;
  int code;
  const char* text;
};

TEST_F(LoaderParameterFileRun, EachMissingPartOfAFieldHasItsError) {
  const std::vector<MissingPart> parts{{"Name", 1164, "read_input_file_format: Missing <Name> in field 2"},
                                       {"Type", 1161, "read_input_file_format: Missing type in field 2"},
                                       {"Start", 1162, "read_input_file_format: Missing <Start> tag in field 2"},
                                       {"End", 1163, "read_input_file_format: Missing <End> tag in field 2"}};
  for (const MissingPart& part : parts) {
    SCOPED_TRACE(part.tag);
    const std::string file = ParameterWords("Key 1; fields 1-1 3-3").file();
    const std::size_t second = file.find("<Field2>");
    writeFile("fmt", file.substr(0, second) + replaced(file.substr(second), std::string(part.tag) + ">", "Other>"));
    expectRefused(part.code, part.text);
  }
}

TEST_F(LoaderParameterFileRun, TheSortIsYesOrNo) {
  for (const std::string value : {"yes", "NO", "1"}) {
    SCOPED_TRACE(value);
    parameters("CyclicTableSort " + value);
    expectRefused(1170, "Cyclic table sort type unknown (Should be Yes or No)");
  }
}

TEST_F(LoaderParameterFileRun, ASpecialListNeedsItsFile) {
  writeFile("fmt", "<LoaderParams><SpecialList><OpName>Exclude</OpName></SpecialList></LoaderParams>");
  expectRefused(1170, "Special list file is missing");
}

TEST_F(LoaderParameterFileRun, ASpecialListThatIsNotThereIsAnError) {
  parameters("list numbers Exclude");
  expectRefused(1170, "Special list file cannot be opened");
}

TEST_F(LoaderParameterFileRun, ASpecialListExcludesOrRestricts) {
  writeFile("numbers", "1 2");
  for (const std::string filter : {"exclude", "None", "RESTRICT"}) {
    SCOPED_TRACE(filter);
    parameters("list numbers " + filter);
    run();
    expectRun(99, version + reading + fatal(1170, "Unknown special list filter type (Should be Restrict or Exclude)") +
                      unexpected + illEnd());
  }
}

TEST_F(LoaderParameterFileRun, AnUnknownOutputIsAnError) {
  for (const std::string form : {"sparse", "Binary", "PML"}) {
    SCOPED_TRACE(form);
    parameters("Output " + form);
    expectRefused(1175, "read_input_file_format: Unknown output format (Supported types are XML, Sparse, and Dense)");
  }
}

TEST_F(LoaderParameterFileRun, ThePartitionsAreOneToAHundred) {
  for (const std::string count : {"0", "101", "-1"}) {
    SCOPED_TRACE(count);
    parameters("NumberOfPartitions " + count);
    expectRefused(1150, "read_input_file_format: number of partitions should be between 1 and 100");
  }
}

TEST_F(LoaderParameterFileRun, EachMissingPartOfAnOperationHasItsError) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"<Input>1</Input>", "Missing name in op 2"},
      {"<OpName>CyclicAdd</OpName>", "Missing input tag in op 2"},
      {"<OpName>CyclicAddPayload</OpName>", "Missing input tag in op 2"},
      {"<OpName>Add</OpName><Input>1</Input>", "Missing output tag in op 2"},
      {"<OpName>Count</OpName><Input>1</Input>", "Missing output tag in op 2"},
      {"<OpName>Add</OpName><Input>1</Input><Output>0</Output>", "Missing output tag in op 2"},
      {"<OpName>Count</OpName><Input>1</Input><Output>-1</Output>", "Missing output tag in op 2"},
      {"<OpName>cyclicadd</OpName><Input>1</Input>", "Unknown operation cyclicadd"},
      {"<OpName>Sum;|5</OpName><Input>1</Input>", "Unknown operation Sum;|5"}};  // nothing is escaped
  for (const auto& [operation, text] : cases) {
    SCOPED_TRACE(operation);
    writeFile("fmt", "<LoaderParams><Operation1><OpName>CyclicAdd</OpName><Input>1</Input></Operation1><Operation2>" +
                         operation + "</Operation2></LoaderParams>");
    expectRefused(1170, "read_input_file_format: " + text);
  }
}

TEST_F(LoaderParameterFileRun, AnErrorInALaterTagIsFoundAfterAllBeforeIt) {
  parameters("op Sum 1; NumberOfPartitions 0; Output none; list numbers; CyclicTableSort maybe");
  expectRefused(1170, "Cyclic table sort type unknown (Should be Yes or No)");
  parameters("op Sum 1; NumberOfPartitions 0; Output none; list numbers");
  expectRefused(1170, "Special list file cannot be opened");
  parameters("op Sum 1; NumberOfPartitions 0; Output none");
  expectRefused(1175, "read_input_file_format: Unknown output format (Supported types are XML, Sparse, and Dense)");
  parameters("op Sum 1; NumberOfPartitions 0");
  expectRefused(1150, "read_input_file_format: number of partitions should be between 1 and 100");
}

TEST_F(LoaderParameterFileRun, WithoutKeyTheSettingsAreNotPrinted) {
  parameters("fields 1-1 3-3; op Add 2 2");
  run();
  expectRun(99, headBeforeSettings() + fatal(1104, "Key field not specified") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderParameterFileRun, TheWarningOfTheOutputComesBeforeTheErrorOfTheKey) {
  parameters("fields 1-1 3-3; Output CSV");
  run();
  expectRun(99, headBeforeSettings() + fatal(1104, "Key field not specified") + illEnd());
  EXPECT_THAT(result.out, ::testing::HasSubstr("Warning;|1000;|only BINARY format"));
}

TEST_F(LoaderParameterFileRun, AKeyOfZeroCountsAsNone) {
  parameters("fields 1-1 3-3; Key 0");
  run();
  expectRun(99, headBeforeSettings() + fatal(1104, "Key field not specified") + illEnd());
}

TEST_F(LoaderParameterFileRun, ATableRunTakesNoPlainOperation) {
  for (const std::string operation : {"Add 2 2", "Count 2 2", "PairSum 2 2"}) {
    SCOPED_TRACE(operation);
    parameters("fields 1-1 3-3; Key 1; CyclicTableSize 1; Output Sparse; op CyclicAdd 2; op " + operation);
    expectRefusedLater(1105, "Table and non table oeration cannot be interleaved");
  }
}

TEST_F(LoaderParameterFileRun, APairSumStandsAlone) {
  parameters("fields 1-1 3-3; Key 1; Output Sparse; op PairSum 2; op Count 2 1");
  expectRefusedLater(1106, "PairSum must be a sole operation");
  parameters("fields 1-1 3-3; Key 1; Output Sparse; op PairSum 2; op PairSum 2");
  expectRefusedLater(1106, "PairSum must be a sole operation");
  parameters("fields 1-1 3-3; Key 1; Output Sparse; CyclicTableSize -1; op PairSum 2");
  expectRefusedLater(1106, "PairSum must be a sole operation");
}

TEST_F(LoaderParameterFileRun, APairSumIsWrittenAsSparseBinaryOrXml) {
  const std::string text = "Pairsum is supported in sparse binary and XML formats only";
  parameters("fields 1-1 3-3; Key 1; Output CSV; op PairSum 2");
  expectRefusedLater(1106, text);
  parameters("fields 1-1 3-3; Key 1; Output Dense; op PairSum 2");
  expectRefusedLater(1106, text);
  parameters("fields 1-1 3-3; Key 1; op PairSum 2");  // without Output: binary and dense
  expectRefusedLater(1106, text);
}

TEST_F(LoaderParameterFileRun, APairSumHasNoPayloads) {
  parameters("fields 1-1 3-3; Key 1; Output Sparse; op PairSum 2; op CyclicAddPayload 1");
  expectRefusedLater(1105, "Payloads are not allowed with Pairsum");
}

TEST_F(LoaderParameterFileRun, APairSumWithoutOutputShowsItInTheSettings) {
  parameters("fields 1-1 3-3; Key 1; Output Sparse; op PairSum 2");
  expectComplete();
  EXPECT_THAT(result.out, ::testing::HasSubstr("\nPairSum 1 -2 NoCondition -1\n"));
  EXPECT_EQ(numbers("out"), (std::vector<double>{1, 0, 1, 1, 5, 1, 1, 0, 7788}));
}

TEST_F(LoaderParameterFileRun, WithoutOutputTheFormIsDense) {
  parameters("fields 1-1 3-3; Key 1; op Add 2 2");
  expectComplete();
  EXPECT_EQ(numbers("out"), (std::vector<double>{1, 5}));
  EXPECT_EQ(content("out.info"), "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\n");
}

TEST_F(LoaderParameterFileRun, WithoutOperationTheLinesAreOnlyCounted) {
  parameters("fields 1-1 3-3; Key 1; Output Sparse");
  expectComplete(0);
  EXPECT_EQ(content("out"), "");
}

TEST_F(LoaderParameterFileRun, AnOperationBehindAGapIsNeverRead) {
  const std::string file =
      ParameterWords("fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2; op Sum 2; op Count 2 2").file();
  writeFile("fmt", replaced(file, "Operation2>", "Operation4>"));
  words = ParameterWords("fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2");
  expectComplete();
}

TEST_F(LoaderParameterFileRun, AFieldBehindAGapIsNeverRead) {
  const std::string file = ParameterWords("fields 1-1 3-3 90-99; Key 1; Output Sparse; op Add 2 2").file();
  writeFile("fmt", replaced(file, "Field3>", "Field4>"));
  words = ParameterWords("fields 1-1 3-3; Key 1; Output Sparse; op Add 2 2");
  expectComplete();
}

TEST_F(LoaderParameterFileRun, AnyOtherConditionAlwaysHolds) {
  parameters("fields 1-1 3-3; Key 1; Output Dense; op Add 2 2 NE 5; op Add 2 3 gt 9");
  expectComplete();
  EXPECT_EQ(numbers("out"), (std::vector<double>{1, 5, 5}));
}

TEST_F(LoaderParameterFileRun, TheSettingsNameEveryValue) {
  parameters(
      "fields 1-1 3-3 5-12 14-14; CyclicTableSize 7; CyclicTableSort No; Output Dense; Key 1; DateField 3; "
      "MultiplicityField 4; DateHorizon 30; NumberOfPartitions 1; op CyclicAdd 2 1 GE 0.25; op CyclicAddPayload 4; "
      "op CyclicAdd 2 LT 1e+06");
  records("a", {"1 5 20120201 1"});
  verbosity = "2";
  run();
  expectCompleteRun(scanned("a", 1, 14), 1, statistics("a", 1));
  EXPECT_THAT(result.out, ::testing::HasSubstr("Log;|2;|VESK loader settings information:\n"
                                               "f1 Number 0 0\n"
                                               "f2 Number 2 2\n"
                                               "f3 Number 4 11\n"
                                               "f4 Number 13 13\n"
                                               "Cyclic table size 7\n"
                                               "Sort cyclic table ? No\n"
                                               "Key 0\n"
                                               "Sparse 0\n"
                                               "No process file will be used.\n"
                                               "Output format: Binary\n"
                                               "Date 2\n"
                                               "Date Horizon 30\n"
                                               "Start Date 20120302\n"
                                               "Verbosity level 2\n"
                                               "Multiplicity field =  3 (ignored in add operations)\n"
                                               "CyclicAdd 1 -1 GE 0.25\n"
                                               "CyclicAdd 1 -1 LT 1e+06\n"
                                               "All data will be processed into one file\n"
                                               ";|LogEnd\n"));
}

TEST_F(LoaderParameterFileRun, TheSettingsNameATableOfDistinctCallees) {
  parameters("fields 1-1 3-3; CyclicTableSize 7; CyclicTableDistinct Yes; Key 1; Output Dense; op CyclicAdd 2");
  records("a", {"1 5"});
  verbosity = "2";
  run();
  EXPECT_THAT(result.out, ::testing::HasSubstr("Sort cyclic table ? Yes\nDistinct cyclic table ? Yes\nKey 0\n"));
}

}  // namespace
}  // namespace vesk_e2e
