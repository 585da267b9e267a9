// Any doubles as the rows of a diffusion pass: a sound order of rows goes through all three states, any other ends in
// one of the reports of the row check. What is learned travels through a stream unchanged.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iostream>
#include <limits>
#include <map>
#include <vector>

#include "fuzz_support.h"
#include "kernel/quven_sample_number.h"
#include "simple_algorithm/quven_snadata.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

namespace {

struct Triple {
  double caller;
  double x1;
  double x2;
};

/// What the order of the rows and the weights have to be: header, at most as many rows as it says, footer, over and
/// over; and at each footer a sum of weights that energy can be shared out by.
bool isSound(const std::vector<Triple>& triples) {
  std::map<std::uint64_t, long> callees;
  bool inside = false;
  std::uint64_t caller = 0;
  double expected = 0;
  double seen = 0;
  double sum = 0;
  for (const Triple& triple : triples) {
    const std::uint64_t number = quvenSampleNumber(triple.caller);
    if (!inside) {
      if (triple.x1 != 0) return false;
      inside = true;
      caller = number;
      // A count is a 32-bit integer, and no count is none.
      expected = triple.x2 > -2147483647.0 ? std::min(std::trunc(triple.x2), 2147483647.0) : 0;
      seen = 0;
      sum = 0;
    } else if (number == caller && triple.x1 == 0 && triple.x2 == 7788) {
      inside = false;
      const bool isUsable = sum != 0 && !std::isnan(sum) && sum != std::numeric_limits<double>::infinity();
      if (callees[caller] != 0 && !isUsable) return false;
    } else {
      if (number != caller) return false;
      if (++seen > expected) return false;
      if (triple.x1 == 0) continue;
      sum += triple.x2;
      ++callees[caller];
    }
  }
  return !inside;
}

std::string image(const QUVENSNAData& data, std::int32_t mode, QUVENEnv* env) {
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, mode);
  quvenWriteObject(writer, data, QUVEN_ENV);
  std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
  QUVEN_DELETE(blob);
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<Triple> triples(size / sizeof(Triple));
  if (!triples.empty()) std::memcpy(triples.data(), data, triples.size() * sizeof(Triple));

  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  auto analysis = quvenMake<QUVENSNAData>(QUVEN_ENV);
  QUVENXaRay<double> values;
  QUVENXaRay<double> targets;
  values.setSize(2, QUVEN_ENV);
  std::cerr.setstate(std::ios::failbit);  // the row of a report
  bool failed = false;
  for (int state = 0; state < 3 && !failed; ++state) {
    const FuzzRun run = fuzzRun([&] {
      analysis->initIteration(QUVEN_ENV);
      for (const Triple& triple : triples) {
        values[1] = triple.x1;
        values[2] = triple.x2;
        analysis->update(values, targets, quvenSampleNumber(triple.caller), QUVEN_ENV);
      }
      analysis->finishIteration(QUVEN_ENV);
    });
    failed = run.terminated;
    REQUIRE(failed != isSound(triples));
    if (failed) break;
    const std::string written = image(*analysis, QUVENObjWriter::ScanResults, env);
    QUVENViewBlobIO blob({written.data(), written.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    QUVENOwnPtr<QUVENSNAData> copy(QUVEN_ENV);
    quvenReadObject(reader, copy, QUVENSNAData::typeName(), QUVEN_ENV);
    const std::string again = image(*copy, QUVENObjWriter::ScanResults, env);
    REQUIRE(again.size() == written.size());  // infinite sums come back as the largest number
    QUVEN_DELETE(copy);
    if (state < 2) failed = fuzzRun([&] { REQUIRE(analysis->endDataScan(QUVEN_ENV) == 0); }).terminated;
  }
  QUVEN_DELETE(analysis);
  QUVEN_DELETE(values);
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
