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

  /// Reads the parameter, into run what that wrote; nothing if it was refused.
  template <class T>
  std::optional<T> read(const QUVENParameter<T>& parameter) {
    std::optional<T> value;
    run = capturedRun([&] { value = quvenReadParameter(tree->getTag("P", QUVEN_ENV), parameter, QUVEN_ENV); });
    quvenDebugWords = QUVENDebugWords();
    return value;
  }
  std::optional<std::int32_t> readInt(const std::string& value) {
    set(value);
    return read<std::int32_t>({"Key", 7, "default", nullptr, 2202, "illegal", "given "});
  }
  std::optional<double> readDouble(const std::string& value) {
    set(value);
    return read<double>({"Key", 0.5, "default", nullptr, 2202, "illegal", "given "});
  }

  QUVENOwnPtr<QUVENXMLHandler> tree;
  CapturedRun run;
};

constexpr const char* refusal = "Error;|2202;|illegal;|ErrorEnd\n";

TEST_F(QUVENParametersTest, WhatIsNotGivenHasItsDefault) {
  EXPECT_EQ(read<std::int32_t>({"Key", 7, "default taken", nullptr, 2202, "illegal", "given "}), 7);
  EXPECT_EQ(run.out, "Log;|1;|default taken;|LogEnd\n");
  EXPECT_EQ(read<double>({"Key", 0.25, "", nullptr, 2202, "illegal", "given "}), 0.25);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(read<std::string>({"Key", "text", "note", nullptr, 2202, "illegal", "given "}), "text");
  EXPECT_EQ(run.out, "Log;|1;|note;|LogEnd\n");
}

TEST_F(QUVENParametersTest, ADefaultIsNotChecked) {
  const auto never = [](const std::int32_t&) { return false; };
  EXPECT_EQ(read<std::int32_t>({"Key", 7, "", never, 2202, "illegal", ""}), 7);
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
  const auto isPositive = [](const std::int32_t& value) { return value > 0; };
  const QUVENParameter<std::int32_t> parameter{"Key", 7, "", isPositive, 2202, "illegal", ""};
  set("0");
  EXPECT_EQ(read(parameter), std::nullopt);
  EXPECT_THAT(run.out, testing::HasSubstr(refusal));
  set("1");
  EXPECT_EQ(read(parameter), 1);
  EXPECT_EQ(run.out, "");  // without a note
}

TEST_F(QUVENParametersTest, ATextIsTakenAsItIs) {
  set("a text");
  EXPECT_EQ(read<std::string>({"Key", "", "", nullptr, 2202, "illegal", "given "}), "a text");
  EXPECT_EQ(run.out, "Log;|1;|given a text;|LogEnd\n");
  EXPECT_EQ(read<std::string>({"Key", "", "", nullptr, 2202, "illegal", "set", false}), "a text");
  EXPECT_EQ(run.out, "Log;|1;|set;|LogEnd\n");
}

TEST_F(QUVENParametersTest, ARequiredTextHasNoDefault) {
  const auto required = [&] {
    return quvenReadRequiredParameter(tree->getTag("P", QUVEN_ENV), "Key", "File: ", 2202, "no file", QUVEN_ENV);
  };
  run = capturedRun([&] { required(); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::StartsWith("Error;|2202;|no file;|ErrorEnd\n"));
  set("name");
  std::string value;
  run = capturedRun([&] { value = required(); });
  EXPECT_EQ(value, "name");
  EXPECT_EQ(run.out, "Log;|1;|File: name;|LogEnd\n");
  quvenDebugWords = QUVENDebugWords();
}

}  // namespace
