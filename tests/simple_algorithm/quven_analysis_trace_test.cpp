#include "simple_algorithm/quven_analysis_trace.h"

#include <gtest/gtest.h>

#include <iostream>

#include "support/captured_run.h"

namespace {

TEST(QUVENAnalysisTrace, ShowsAnEventUpToItsVerbosity) {
  const QUVENAnalysisTrace trace;
  EXPECT_EQ(capturedRun([&] { trace.event(6, "text", 5); }).out, "");
  EXPECT_EQ(capturedRun([&] { trace.event(5, "text", 5); }).out,
            "<<<<<< Worker 0 [TraceEventStarts]\n-- text\n>>>>>> Worker 0 [TraceEventEnds]\n");
  EXPECT_EQ(capturedRun([&] { trace.event(5, "", 5, [](std::ostream& out) { out << "dump\n"; }); }).out,
            "<<<<<< Worker 0 [TraceEventStarts]\ndump\n>>>>>> Worker 0 [TraceEventEnds]\n");
  const QUVENAnalysisTrace kernel("TraceKernel");
  EXPECT_EQ(capturedRun([&] { kernel.event(0, "", 0); }).out,
            "<<<<<< Worker 0 [TraceKernelEventStarts]\n>>>>>> Worker 0 [TraceKernelEventEnds]\n");
}

TEST(QUVENAnalysisTrace, SamplesTheFirstNineAndFiveOfEachMillion) {
  QUVENAnalysisTrace trace;
  std::vector<long> traced;
  const CapturedRun run = capturedRun([&] {
    for (long event = 1; event <= 2000010; ++event) {
      if (trace.sample(5, 6)) traced.push_back(event);
    }
  });
  EXPECT_EQ(traced, (std::vector<long>{1, 2, 3, 4, 5, 6, 7, 8, 9, 1000000, 1000001, 1000002, 1000003, 1000004, 2000000,
                                       2000001, 2000002, 2000003, 2000004}));
  const std::string start = ">>>>>> Worker 0[SampleTraceEventStarts]\n";
  const std::string end = ">>>>>> Worker 0[SampleTraceEventEnds]\n";
  EXPECT_EQ(run.out, start + end + start + end + start + end);
}

TEST(QUVENAnalysisTrace, AtTheLevelItselfNothingIsSampled) {
  QUVENAnalysisTrace trace;
  EXPECT_EQ(capturedRun([&] { EXPECT_FALSE(trace.sample(5, 5)); }).out, "");
}

TEST(QUVENAnalysisTrace, AtFullVerbosityEverythingIsTraced) {
  QUVENAnalysisTrace trace("TraceKernel");
  const CapturedRun run = capturedRun([&] {
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(trace.sample(5, QUVENAnalysisTrace::FullVerbosity));
  });
  EXPECT_EQ(run.out, ">>>>>> Worker 0[SampleTraceKernelEventStarts]\n");
}

TEST(QUVENAnalysisTrace, CountsItsProgressReports) {
  QUVENAnalysisTrace trace;
  const CapturedRun run = capturedRun([&] {
    trace.progress("some text", "QUVENThing::method", 3);
    trace.progress("more", "QUVENThing::other", 4);
  });
  EXPECT_EQ(
      run.out,
      "Log;|1;|\n[Worker:0, Iteration: 3, ProgressReport:0]\nMethod name:QUVENThing::method: some text\n\n;|LogEnd\n"
      "Log;|1;|\n[Worker:0, Iteration: 4, ProgressReport:1]\nMethod name:QUVENThing::other: more\n\n;|LogEnd\n");
}

}  // namespace
