#include "run_timings.h"

#include <gtest/gtest.h>

#include "control/quven_result_file.h"
#include "support/captured_run.h"
#include "support/mpi_run.h"
#include "support/temporary_folder.h"

namespace vesk_analyze {
namespace {

TEST(JsonText, IsQuotedAndUtf8) {
  EXPECT_EQ(jsonText(""), "\"\"");
  EXPECT_EQ(jsonText("calls.bin"), "\"calls.bin\"");
  EXPECT_EQ(jsonText("a\"b\\c/d"), "\"a\\\"b\\\\c/d\"");
  EXPECT_EQ(jsonText(std::string("\n\t\x1f\0\x7f", 5)), "\"\\u000a\\u0009\\u001f\\u0000\x7f\"");
  EXPECT_EQ(jsonText("Zürich €"), "\"Zürich €\"");
  EXPECT_EQ(jsonText("a\xff\xc3z"), "\"a\xEF\xBF\xBD\xEF\xBF\xBDz\"");
}

class TimingsFile : public ::testing::Test {
 protected:
  TimingsFile() {
    environment.activate();
    startMpi();
    passes.push_back({.records = 3, .bytes = 72, .seconds = {0.1, 0.5, 0, 0, 0.125}});
    timings = {.rank = 0, .seconds = 1.5, .cpuSeconds = 1.25, .peakMemoryBytes = 4096, .passes = passes};
  }

  std::vector<QUVENPassCounters> passes;
  QUVENRunTimings timings;
  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

constexpr const char* ofRank0 = R"(    {"rank": 0, "seconds": 1.5, "cpuSeconds": 1.25, "peakMemoryBytes": 4096,
     "mostTime": {"pass": 1, "phase": "update", "seconds": 0.5},
     "all": {"records": 3, "bytesRead": 72, "seconds": {"read": 0.10000000000000001, "update": 0.5, "transport": 0, "merge": 0, "end": 0.125}, "recordsPerSecond": {"read": 30, "update": 6, "transport": null, "merge": null, "end": 24}},
     "passes": [
      {"pass": 1, "records": 3, "bytesRead": 72, "seconds": {"read": 0.10000000000000001, "update": 0.5, "transport": 0, "merge": 0, "end": 0.125}, "recordsPerSecond": {"read": 30, "update": 6, "transport": null, "merge": null, "end": 24}}]})";

TEST_F(TimingsFile, HasTheObjectsOfTheRanks) {
  EXPECT_EQ(rankTimingsJson(timings), ofRank0);
  EXPECT_EQ(timingsJson("groups", "a\"b", std::vector<std::string>{"    {}", "    {}"}),
            "{\n  \"version\": \"2.0.6\",\n  \"command\": \"groups\",\n  \"dataset\": \"a\\\"b\",\n"
            "  \"ranks\": [\n    {},\n    {}\n  ]\n}\n");
}

TEST_F(TimingsFile, NamesNoPhaseWithoutPasses) {
  timings.passes = {};
  EXPECT_NE(rankTimingsJson(timings).find("\"mostTime\": null,\n"), std::string::npos);
  EXPECT_TRUE(rankTimingsJson(timings).ends_with("\"passes\": []}"));
}

TEST_F(TimingsFile, IsWrittenWholeOrNotAtAll) {
  const QUVENWorkerTransport transport;
  writeTimingsFile(folder.path("t.json"), "groups", "calls", timings, transport, QUVEN_ENV);
  EXPECT_EQ(folder.read("t.json"), timingsJson("groups", "calls", std::vector<std::string>{ofRank0}));
  for (const std::string& path : {folder.path("missing/t.json"), std::string("/dev/full")}) {
    const CapturedRun run =
        capturedRun([&] { writeTimingsFile(path, "groups", "calls", timings, transport, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_TRUE(run.out.starts_with("Error;|2302;|" + path + ";|vesk-analyze: Unable to write timings file;|ErrorEnd"))
        << run.out;
  }
}

}  // namespace
}  // namespace vesk_analyze
