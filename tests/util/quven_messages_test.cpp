#include "util/quven_messages.h"

#include <array>
#include <sstream>

#include "support/captured_run.h"
#include "util/quven_debug.h"

namespace {

// Every message from 9001 on, with <k> for its argument k, the one that may stand at the end included.
constexpr std::array<std::string_view, 137> everyMessage = {
    // clang-format off
    "This is first Trelm message ever.<1>",
    "Cannot open file \"<1>\" for <2>",
    "Error in closing file \"<1>",
    "Enter<1>",
    "Exit<1>",
    "Dummy msg<1>",
    "Failed to allocate memory for <1>",
    "Value <1> of <2> is outside the range of <3> to <4>",
    "Inappropriate value [<1>] for [<2>",
    "Token [<1>] (or whatever should follow it) is missing<2>",
    "Unrecognized token [<1>",
    "Misplaced token [<1>",
    "File \"<1>\", line <2>: Syntax error near [<3>] (expecting [<4>]).<5>",
    "File \"<1>\", line <2>: Syntax error.<3>",
    "Loading of [<1>] from \"<2>\" failed.  <3>",
    "Assertion [<1>] failed<2>",
    "] is not yet implemented<1>",
    "] is not yet implemented, it MUST override [<1>",
    "Attempt made to overwrite data field <1>",
    "Attempt made to retrieve missing data from field <1>",
    "Field number <1> out of range (range is 1..<2>",
    "Field [<1>] is already defined<2>",
    "Undefined data field type for field <1>",
    "Undefined data semantic type for field <1>",
    "The sepecifed semantic type is not valid for the field data type for field <1>",
    "Field name <1> already exists<2>",
    "Attempt to initialize with less than fully defined DataDef object<1>",
    "Attempt to copy DataPoint object with different DataDef object<1>",
    "DataPoint object is not fully defined<1>",
    "GetFrom() format error: no \"{\" or \"=\" or \"}\" found in input string<1>",
    "Input read from GetFrom() has error: class name is not * or <1>",
    "Input read from GetFrom() has error: var <1> is missing<2>",
    "Intialization by GetFrom() failed<1>",
    "Object read from GetFrom() is invalid<1>",
    "Field named [<1>] has type mismatch <2>",
    "I/O failure<1>",
    "Value conversion for var <1> failed<2>",
    "EOF encountered<1>",
    "Field name <1> was defaulted rather than given.<2>",
    "Index <1> is not length+1 (which is <2>) of vector<3>",
    "Index <1> exceeds length <2> of constant vector<3>",
    "Index needs be greater than act_len<1>",
    "tmCopyFrom() failed<1>",
    "Type <1> is not known to be derived from NumberedObject<2>",
    "NumberedObject-s are in conflict over serial number <1>",
    "Given string [<1>] is not readable as <2> for variable <3>",
    "Actual string [<1>] does not match expected string [<2>",
    "Field access mode <1> is invalid<2>",
    "Field access name <1> is invalid<2>",
    "Field access modes not fully defined in data set <1>",
    "Data set <1> has no data definition object<2>",
    "Data set <1> has no field access object<2>",
    "I/O mode <1> is not allowed for data set <2>",
    "Data set <1> cannot be opened in <2> mode; it is already open in <3> mode<4>",
    "Data set <1> is closed and cannot be rewound<2>",
    "Rewind is not allowed for data set <1> in <2> mode<3>",
    "Data set <1> is in <2> mode, which is not a reading mode<3>",
    "Data set <1> is in <2> mode, which is not a writing mode<3>",
    "Data set <1> is in <2> mode, which is not a write-back mode<3>",
    "A successful read-next is required before write-back can be performed on data set <1>",
    "Attempt to set read filter while data set <1> is positioned at <2>",
    " filter is not compatible with data definition of data set <1>",
    "Attempt to set write filter while data set <1> is in <2> mode<3>",
    "Attempt to set write filter for data set <1> after a write-next operation<2>",
    "I/O mode <1> is invalid<2>",
    "I/O mode name <1> is invalid<2>",
    "I/O position <1> is invalid<2>",
    "I/O position name <1> is invalid<2>",
    "Data set is open for writing without all fields' reference set<1>",
    "Cannot create data set.<1>",
    "Cannot open data set.<1>",
    "Could not insert symbol [<1>] into hash table <2>",
    "tmNewCopy failed during CopyFrom on class <1>",
    "Field name <1> read from data file headline is different from name specified by data definition.<2>",
    "Error in defining data field <1>",
    "Data value for field <1> is out of range.<2>",
    "Conversion failure with purported <1> value [<2>",
    "Debug-mode code and super-optimized code cannot coexist<1>",
    "Heap object deleted via standard delete instead of DeletePtr<1>",
    "Array object deleted via standard delete<1>",
    "An array member was assigned to a smart pointer<1>",
    "A non-heap object was assigned to a smart pointer<1>",
    "An object in the process of being deleted was assigned to a smart pointer<1>",
    "An object in the process of being deleted was assigned to a pointer variable on the stack<1>",
    "All stack pointers to a heap object have been dropped without that object being transferred to a smart pointer<1>",
    "An attempt was made to access the value of a deleted object<1>",
    "An object of base type <1> cannot be created, only derived classes are allowed<2>",
    "A deleted object of type <1> is still referenced by <2> pointer variable(s) on the stack<3>",
    "All pointers to a self-managed object of type <1> were dropped without that object being deleted<2>",
    "A deleted self-managed object of type <1> is still referenced by <2> smart pointers<3>",
    "A singly-owned object was assigned to two or more smart pointers that claim sole ownership<1>",
    "A deleted singly-owned object is still referenced by <1> smart pointers<2>",
    "Downcast was called on a numbered object pointer while that pointer was pointing to an object of type <1>",
    "There are <1> duplicated field name(s) in joint data set<2>",
    "Field <1> has duplicates in joint data set<2>",
    "Invalid data specification verification state [<1>] encountered<2>",
    "Category symbol [\"<1>\" : <2>] as defined in the metadata file is identical to the missing value code<3>",
    "Duplicate category declaration [\"<1>\" : <2>] encountered while reading metadata file<3>",
    "Category [<1>] has been added to field [<2>] of data set [<3>",
    "Category [<1>] in field [<2>] of data set [<3>] is not one of the recognized categories<4>",
    "The minimum data value [<1>] in field [<2>] of data set [<3>] is less than the valid minium data value [<4>] defined in the meta-data file<5>",
    "The maximum data value [<1>] in field [<2>] of data set [<3>] is greater than the valid maxium data value [<4>] defined in the meta-data file<5>",
    "The predicate_data_def_ptr has more than one field for nominal predicate<1>",
    "File \"<1>\", line <2>: Invalid predicate value [<3>",
    "File \"<1>\", line <2>: Missing (min or max) predicate value.<3>",
    "The file does not contain the keyword [metadata]<1>",
    "The metadata file contains no fields.<1>",
    "Unrecognized keyword in line [<1>",
    "SetDataSetNameToDataFileName() only works with single data file.<1>",
    "tm_msg_inconsistent_field_length<1>",
    "Keyword [<1>] does not apply to this field type<2>",
    "File \"<1>\", line <2>: Invalid predicate name [<3>",
    "Start scan number <1> of data.<2>",
    "Finish scan number <1> of data.<2>",
    "Premature end of file while reading a quoted string<1>",
    "Model data scan mode [<1>] is not tmModelTraining, tmModelCalibration, or tmModelEvaluation<2>",
    " have been assigned to the <1> model when the model does not support such fields<2>",
    "The <1> have not been specified for the <2> model<3>",
    " have been specified for the <1> model when the correct number of fields should be <2>",
    "Field <1> of the <2> for the <3> model is specified to be of type <4> when the correct type should be <5>",
    "Model training done<1>",
    "Model training failed<1>",
    "Model calibration done<1>",
    "Model calibration failed<1>",
    "Model evaluation done<1>",
    "Model evaluation failed<1>",
    "Reading of KV Parameter file \"<1>\" failed<2>",
    "Writing of KV Parameter file \"<1>\" failed<2>",
    "Initializing rdb data access failed.<1>",
    "Value [<1>] gets precision <2> and recall <3>",
    "Field [<1>] is constant over most of the training data.<2>",
    "Unexpected Missing Value In Data In Response Field<1>",
    "Unexpected Missing Value In Data in Explanatory Field<1>",
    "Response for the <1> model should be a Binary Ordinal Feature<2>",
    "The Generic Naive Bayes Model has  not been Initialized<1>",
    "An incorrect value <1> was found in the response field for this datapoint<2>",
    "Next message was generated from <1>",
    // clang-format on
};

std::string printed(int code, std::initializer_list<QUVENMessageArg> args = {}) {
  std::ostringstream out;
  quvenPrintMessage(out, code, args);
  return out.str();
}

/// A message with as many arguments as it has pieces.
std::string withEveryArgument(int code) {
  switch (quvenMessageTable[static_cast<std::size_t>(code - firstMessage)].getNumPieces()) {
    case 1:
      return printed(code, {"<1>"});
    case 2:
      return printed(code, {"<1>", "<2>"});
    case 3:
      return printed(code, {"<1>", "<2>", "<3>"});
    case 4:
      return printed(code, {"<1>", "<2>", "<3>", "<4>"});
    default:
      return printed(code, {"<1>", "<2>", "<3>", "<4>", "<5>"});
  }
}

}  // namespace

TEST(QUVENMessages, EveryRowHasItsText) {
  for (int code = firstMessage; code <= lastMessage; ++code) {
    const auto row = static_cast<std::size_t>(code - firstMessage);
    EXPECT_EQ(quvenMessageTable[row].code, code);
    EXPECT_EQ(withEveryArgument(code), everyMessage[row]) << code;
  }
}

TEST(QUVENMessages, AnArgumentStandsBehindEachPieceThatHasOne) {
  EXPECT_EQ(printed(9001), "This is first Trelm message ever.");
  EXPECT_EQ(printed(9002, {"a.dat", "reading"}), "Cannot open file \"a.dat\" for reading");
  EXPECT_EQ(printed(9021, {7, 5L}), "Field number 7 out of range (range is 1..5");
  EXPECT_EQ(printed(9130, {0.25, 1.0, 1e-20}), "Value [0.25] gets precision 1 and recall 1e-20");
  EXPECT_EQ(printed(9014, {std::string("a.dat"), 3}), "File \"a.dat\", line 3: Syntax error.");
  EXPECT_EQ(printed(9030), "GetFrom() format error: no \"{\" or \"=\" or \"}\" found in input string");
}

TEST(QUVENMessages, CodeOutsideTheTableFails) {
  for (const int code : {9000, 9138, 0, -1}) {
    EXPECT_TRUE(capturedRun([&] { printed(code); }).threwLibraryException) << code;
  }
  EXPECT_FALSE(capturedRun([] { printed(9137); }).threwLibraryException);
}

TEST(QUVENMessages, TooManyOrTooFewArgumentsFail) {
  EXPECT_TRUE(capturedRun([] { printed(9001, {1, 2}); }).threwLibraryException);
  // A missing one in the middle used to leave a gap: File "", line : Syntax error.
  EXPECT_TRUE(capturedRun([] { printed(9014); }).threwLibraryException);
  EXPECT_TRUE(capturedRun([] { printed(9014, {"a.dat"}); }).threwLibraryException);
}

TEST(QUVENMessages, TakeNumbersOfAnyWidth) {
  EXPECT_EQ(printed(9021, {std::size_t{7}, 18446744073709551615U}),
            "Field number 7 out of range (range is 1..18446744073709551615");
  EXPECT_EQ(printed(9021, {static_cast<short>(-1), 0.5F}), "Field number -1 out of range (range is 1..0.5");
}

TEST(QUVENMessages, SeveritiesAreConverted) {
  EXPECT_EQ(quvenConvertSeverity(0), 0);
  EXPECT_EQ(quvenConvertSeverity(1), 2);
  EXPECT_EQ(quvenConvertSeverity(2), 3);
  EXPECT_TRUE(capturedRun([] { quvenConvertSeverity(3); }).threwLibraryException);
  EXPECT_TRUE(capturedRun([] { quvenConvertSeverity(-1); }).threwLibraryException);
}

TEST(QUVENMessages, ReportGoesThroughTheSeverityFirst) {
  std::ostringstream out;
  EXPECT_EQ(quvenReportMessage(out, 1, 9004), 2);
  EXPECT_EQ(out.str(), "Enter");
  EXPECT_TRUE(capturedRun([&] { quvenReportMessage(out, 7, 9005); }).threwLibraryException);
  EXPECT_EQ(out.str(), "Enter");
}
