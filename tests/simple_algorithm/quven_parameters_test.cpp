#include "simple_algorithm/quven_parameters.h"

#include <limits>
#include <optional>

#include "control/quven_XML_handler.h"
#include "kernel/kernel_fixture.h"

namespace {

class QUVENParametersTest : public KernelTest {
 protected:
  QUVENParametersTest() {
    tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    tree->getTag("", QUVEN_ENV).addBranchTag("P", QUVEN_ENV);
  }
  void TearDown() override {
    tree.reset(QUVEN_ENV);
    KernelTest::TearDown();
  }

  void set(const std::string& value) {
    tree->resetTree(QUVEN_ENV);
    tree->getTag("", QUVEN_ENV)
        .addBranchTag("P", QUVEN_ENV)
        .addLeafTagPath("Key", QUVEN_ENV)
        .setValue(value, QUVEN_ENV);
  }

  struct Owner {
    std::int32_t integer = -1;
    double number = -1;
    std::string text = "none";
    struct {
      double deep = -1;
    } inner;
  };
  static constexpr QUVENParameterTarget integerTarget = quvenParameterTarget<&Owner::integer>();
  static constexpr QUVENParameterTarget numberTarget = quvenParameterTarget<&Owner::number>();
  static constexpr QUVENParameterTarget textTarget = quvenParameterTarget<&Owner::text>();

  /// Reads the row into an owner, into run what that wrote; nothing if it was refused.
  std::optional<Owner> read(const QUVENParameter& row) {
    Owner owner;
    const QUVENParameterSection section{.rows = {&row, 1}};
    const QUVENXMLTag& tag = tree->getTag("P", QUVEN_ENV);
    run = capturedRun([&] { QUVENParameterReader(tag, {&section, 1}).read(section, owner, QUVEN_ENV); });
    quvenDebugWords = QUVENDebugWords();
    return run.threwLibraryException ? std::nullopt : std::optional(owner);
  }
  template <class T>
  std::optional<T> read(const QUVENParameter& row, T Owner::*member) {
    const std::optional<Owner> owner = read(row);
    return owner ? std::optional((*owner).*member) : std::nullopt;
  }
  static QUVENParameter rowOf(const QUVENParameterTarget& target, const char* byDefault) {
    return {.key = "Key",
            .target = target,
            .defaultValue = byDefault,
            .errorCode = 2202,
            .errorText = "illegal",
            .defaultNote = "default",
            .note = "given ",
            .meaning = ""};
  }
  std::optional<std::int32_t> readInt(const std::string& value) {
    set(value);
    return read(rowOf(integerTarget, "7"), &Owner::integer);
  }
  std::optional<double> readDouble(const std::string& value) {
    set(value);
    return read(rowOf(numberTarget, "0.5"), &Owner::number);
  }

  QUVENOwnPtr<QUVENXMLHandler> tree;
  CapturedRun run;
};

constexpr const char* refusal = "Error;|2202;|illegal;|ErrorEnd\n";

TEST_F(QUVENParametersTest, WhatIsNotGivenHasItsDefault) {
  EXPECT_EQ(read(rowOf(integerTarget, "7"), &Owner::integer), 7);
  EXPECT_EQ(run.out, "Log;|1;|default;|LogEnd\n");
  QUVENParameter silent = rowOf(numberTarget, "0.25");
  silent.defaultNote = "";
  EXPECT_EQ(read(silent, &Owner::number), 0.25);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(read(rowOf(textTarget, "text"), &Owner::text), "text");
  EXPECT_EQ(run.out, "Log;|1;|default;|LogEnd\n");
}

TEST_F(QUVENParametersTest, ADefaultIsNotCheckedFirstButSecond) {
  QUVENParameter row = rowOf(integerTarget, "7");
  row.isLegal = [](double) { return false; };
  EXPECT_EQ(read(row, &Owner::integer), 7);
  row.isSupported = row.isLegal;
  row.unsupportedCode = 2204;
  row.unsupportedText = "unsupported";
  EXPECT_EQ(read(row, &Owner::integer), std::nullopt);
  EXPECT_THAT(run.out, testing::HasSubstr("Error;|2204;|Key;|the default \"7\" is illegal;|ErrorEnd\n"
                                          "Error;|2204;|unsupported;|ErrorEnd\nTerminating VESK\n"));
}

TEST_F(QUVENParametersTest, AMemberOfAMemberIsATargetToo) {
  set("2.5");
  const auto owner = read(rowOf(quvenParameterTarget<&Owner::inner, &decltype(Owner::inner)::deep>(), ""));
  ASSERT_TRUE(owner);
  EXPECT_EQ(owner->inner.deep, 2.5);
  EXPECT_EQ(owner->number, -1);
}

TEST_F(QUVENParametersTest, ARowWithoutATargetIsCheckedAndNotStored) {
  set("a");
  QUVENParameter row = rowOf({}, "");
  EXPECT_TRUE(read(row));
  row.isLegalText = [](const std::string& text) { return text == "b"; };
  EXPECT_FALSE(read(row));
}

TEST_F(QUVENParametersTest, AnIntegerIsReadAsADecimalWhateverItsPrefix) {
  EXPECT_EQ(readInt("12"), 12);
  EXPECT_EQ(run.out, "Log;|1;|given 12;|LogEnd\n");
  EXPECT_EQ(readInt("-3"), -3);
  EXPECT_EQ(readInt("010"), 10);
  EXPECT_EQ(readInt("0x10"), 0);
  EXPECT_EQ(run.out, "Log;|1;|given 0;|LogEnd\n");
}

TEST_F(QUVENParametersTest, AnIntegerBeyondItsRangeIsTheNearest) {
  EXPECT_EQ(readInt("2147483647"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(readInt("2147483648"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(readInt("-2147483649"), std::numeric_limits<std::int32_t>::min());
}

TEST_F(QUVENParametersTest, WhatIsNoIntegerIsRefused) {
  for (const char* text : {"", "x", "1.5", "12x", "0x", "09", "1 2"}) {
    EXPECT_EQ(readInt(text), std::nullopt) << text;
    EXPECT_TRUE(run.threwLibraryException) << text;
    EXPECT_THAT(run.out, testing::HasSubstr(refusal)) << text;
    EXPECT_THAT(run.out, testing::HasSubstr("Terminating VESK")) << text;
  }
}

TEST_F(QUVENParametersTest, ANumberHasTheFormsOfC) {
  EXPECT_EQ(readDouble("0.125"), 0.125);
  EXPECT_EQ(run.out, "Log;|1;|given 0.125;|LogEnd\n");
  EXPECT_EQ(readDouble("-1e3"), -1000);
  EXPECT_EQ(readDouble("3"), 3);
  for (const char* text : {"x", "1.5x", "1,5"}) {
    EXPECT_EQ(readDouble(text), std::nullopt) << text;
    EXPECT_THAT(run.out, testing::HasSubstr(refusal)) << text;
  }
}

TEST_F(QUVENParametersTest, AnEmptyNumberPassesAndIsZero) {
  EXPECT_EQ(readDouble(""), 0);
  EXPECT_FALSE(run.threwLibraryException);
}

TEST_F(QUVENParametersTest, AValueThatIsNotLegalIsRefusedWithTheSameWords) {
  QUVENParameter row = rowOf(integerTarget, "7");
  row.isLegal = [](double value) { return value > 0; };
  row.note = "";
  set("0");
  EXPECT_EQ(read(row, &Owner::integer), std::nullopt);
  EXPECT_THAT(run.out, testing::HasSubstr(refusal));
  set("1");
  EXPECT_EQ(read(row, &Owner::integer), 1);
  EXPECT_EQ(run.out, "");  // without a note
}

TEST_F(QUVENParametersTest, TheValueInUseIsTheOneThatIsRead) {
  const auto inUse = [](QUVENParameterTarget target, const std::string& text) {
    return quvenValueInUse(rowOf(target, ""), text);
  };
  EXPECT_EQ(inUse(integerTarget, "010"), "10");
  EXPECT_EQ(inUse(integerTarget, "0x10"), "0");
  EXPECT_EQ(inUse(integerTarget, "99999999999"), "2147483647");
  EXPECT_EQ(inUse(integerTarget, "-7"), "-7");
  EXPECT_EQ(inUse(numberTarget, "0.50"), "0.50");
  EXPECT_EQ(inUse(numberTarget, "1e3"), "1e3");
  EXPECT_EQ(inUse(numberTarget, ""), "0");
  EXPECT_EQ(inUse(numberTarget, "nan"), "0");
  EXPECT_EQ(inUse(numberTarget, "1e999"), "1.7976931348623157e+308");
  EXPECT_EQ(inUse(textTarget, "010"), "010");
}

TEST_F(QUVENParametersTest, ATextIsTakenAsItIs) {
  set("a text");
  QUVENParameter row = rowOf(textTarget, "");
  EXPECT_EQ(read(row, &Owner::text), "a text");
  EXPECT_EQ(run.out, "Log;|1;|given a text;|LogEnd\n");
  row.note = "set";
  row.noteHasValue = false;
  EXPECT_EQ(read(row, &Owner::text), "a text");
  EXPECT_EQ(run.out, "Log;|1;|set;|LogEnd\n");
}

TEST_F(QUVENParametersTest, ARequiredParameterHasNoDefault) {
  QUVENParameter row = rowOf(textTarget, "");
  row.isRequired = true;
  EXPECT_EQ(read(row, &Owner::text), std::nullopt);
  EXPECT_THAT(run.out,
              testing::StartsWith("Error;|2202;|Key;|the parameter is missing;|ErrorEnd\n" + std::string(refusal)));
  set("name");
  EXPECT_EQ(read(row, &Owner::text), "name");
  EXPECT_EQ(run.out, "Log;|1;|given name;|LogEnd\n");
}

TEST_F(QUVENParametersTest, TheRemarkSeesTheAcceptedValue) {
  QUVENParameter row = rowOf(integerTarget, "7");
  row.remark = [](double value) { std::printf("remark %g\n", value); };
  set("12");
  EXPECT_TRUE(read(row));
  EXPECT_EQ(run.out, "remark 12\nLog;|1;|given 12;|LogEnd\n");
  set("x");
  EXPECT_FALSE(read(row));
  EXPECT_THAT(run.out, testing::Not(testing::HasSubstr("remark")));
}

}  // namespace
