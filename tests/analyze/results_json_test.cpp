#include "results_json.h"

#include <gtest/gtest.h>

#include "control/quven_XML_handler.h"

namespace vesk_analyze {
namespace {

class ResultsJson : public ::testing::Test {
 protected:
  ResultsJson() : tree(QUVEN_ENV) {
    environment.activate();
    tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    top = &tree->getTag("", QUVEN_ENV).addBranchTag("AnalysisResults", QUVEN_ENV);
  }
  ~ResultsJson() override { tree.reset(QUVEN_ENV); }

  void set(const std::string& path, const std::string& value) {
    top->addLeafTagPath(path, QUVEN_ENV).setValue(value, QUVEN_ENV);
  }
  /// The only member of the object, "a", as it is written.
  std::string writtenAs(const std::string& value) {
    set("a", value);
    const std::string json = write();
    EXPECT_EQ(json.substr(0, 9), "{\n  \"a\": ");
    EXPECT_EQ(json.substr(json.size() - 3), "\n}\n");
    return json.substr(9, json.size() - 12);
  }
  std::string write() {
    return resultsJson(*top, [](std::string_view path) { return path == "Run/Dataset"; });
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENXMLHandler> tree;
  QUVENXMLTag* top = nullptr;
};

TEST_F(ResultsJson, BranchesAreObjectsInTheOrderOfTheTree) {
  EXPECT_EQ(write(), "{}\n");
  set("Run/Ranks", "2");
  set("Run/Dataset", "2");
  set("InputParameters/Output Format", "CSV");
  top->addBranchTagPath("Empty", QUVEN_ENV);
  EXPECT_EQ(write(),
            "{\n  \"Run\": {\n    \"Ranks\": 2,\n    \"Dataset\": \"2\"\n  },\n"
            "  \"InputParameters\": {\n    \"OutputFormat\": \"CSV\"\n  },\n  \"Empty\": {}\n}\n");
}

TEST_F(ResultsJson, ANumberHasTheDigitsOfTheLeaf) {
  for (const char* number : {"0", "-0", "12", "18446744073709551615", "0.10000000000000001", "1.50", "1e-17", "2E+5"}) {
    EXPECT_EQ(writtenAs(number), number);
  }
  // Numbers of a form that JSON does not have.
  EXPECT_EQ(writtenAs(".5"), "0.5");
  EXPECT_EQ(writtenAs("5."), "5");
  EXPECT_EQ(writtenAs("+7"), "7");
  EXPECT_EQ(writtenAs("010"), "10");
}

TEST_F(ResultsJson, WhatIsNoFiniteNumberIsAText) {
  for (const char* text : {"", "nan", "inf", "-inf", "1e999", "1 2", "0x10", "2.0.6", "-", "1e", "+-1"}) {
    EXPECT_EQ(writtenAs(text), "\"" + std::string(text) + "\"");
  }
  EXPECT_EQ(writtenAs("</script>\"\\\n\xff&"), "\"</script>\\\"\\\\\\u000a\xEF\xBF\xBD&\"");
}

TEST_F(ResultsJson, NumberedChildrenAreArrays) {
  set("Passes/Pass-1/Records", "3");
  set("Passes/Pass-2/Records", "4");
  set("Warnings/Count", "1");
  set("Warnings/Warning-1", "first");
  set("Coefficients/v1", "0.5");
  set("Coefficients/v2", "-1");
  set("Gap/Step-2", "1");
  EXPECT_EQ(write(),
            "{\n  \"Passes\": {\n    \"Pass\": [\n      {\n        \"Records\": 3\n      },\n"
            "      {\n        \"Records\": 4\n      }\n    ]\n  },\n"
            "  \"Warnings\": {\n    \"Count\": 1,\n    \"Warning\": [\n      \"first\"\n    ]\n  },\n"
            "  \"Coefficients\": [\n    0.5,\n    -1\n  ],\n  \"Gap\": {\n    \"Step-2\": 1\n  }\n}\n");
}

}  // namespace
}  // namespace vesk_analyze
