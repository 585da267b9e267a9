// Any doubles as the rows of the kernel's two passes: they end in order or in one report. Rows of sizes that the
// literal kernel can hold have its cutoff and its kept values, to the bit. What a pass has learned travels unchanged.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "control/quven_XML_tag.h"
#include "fuzz_support.h"
#include "groups/literal_kernel.h"
#include "kernel/quven_sample_number.h"
#include "simple_algorithm/quven_kernel_data.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

namespace {

using literal::Line;

/// What a dataset of a run may have in the place of doubles: the first byte is the choice of parameters.
literal::KernelParameters parametersOf(unsigned char choice) {
  constexpr double factors[] = {1000, 150, 50000000, 3};
  constexpr double markers[] = {0, 0, -1, 7};
  literal::KernelParameters parameters;
  parameters.filterSimilarities = (choice & 1U) == 0;
  parameters.normalizingFactor = factors[(choice >> 1U) & 3U];
  parameters.emptyMarker = markers[(choice >> 3U) & 3U];
  parameters.sparsityLevel = 0.125 * (1 + ((choice >> 5U) % 7U));
  parameters.random = [state = 1U]() mutable {
    state = state * 1103515245U + 12345U;
    return static_cast<int>((state >> 16U) & 0x7fffU);
  };
  return parameters;
}

/// Rows that ask for more memory than a fuzzer has, but not for too much.
bool isTooLarge(const std::vector<Line>& lines) {
  constexpr double large = 20000;
  constexpr double tooMuch = QUVENSparseRows::MaxPosition + 1.0;
  const auto isLarge = [](double number) { return number > large && number < tooMuch; };
  return std::any_of(lines.begin(), lines.end(),
                     [&](const Line& line) { return isLarge(line.x1) || (std::abs(line.x1) < 1 && isLarge(line.x2)); });
}

/// Rows whose numbers are such as the literal kernel converts.
bool isLiteral(const std::vector<Line>& lines) {
  const auto isWhole = [](double number, double limit) {
    return std::abs(number) <= limit && std::trunc(number) == number;
  };
  return std::all_of(lines.begin(), lines.end(), [&](const Line& line) {
    return line.caller >= 0 && line.caller < 9e18 && isWhole(line.x1, 1000) && line.x2 >= 0 &&
           line.x2 < (line.x1 == 0 ? 1000 : 9e18);
  });
}

std::string image(const QUVENKernelData& data, std::int32_t mode, QUVENEnv* env) {
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, mode);
  quvenWriteObject(writer, data, QUVEN_ENV);
  std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
  QUVEN_DELETE(blob);
  return bytes;
}

void checkStream(const QUVENKernelData& data, QUVENEnv* env) {
  const std::string written = image(data, QUVENObjWriter::ScanResults, env);
  QUVENViewBlobIO blob({written.data(), written.size()});
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  QUVENOwnPtr<QUVENKernelData> copy(QUVEN_ENV);
  quvenReadObject(reader, copy, QUVENKernelData::typeName(), QUVEN_ENV);
  const std::string again = image(*copy, QUVENObjWriter::ScanResults, env);
  REQUIRE(again.size() == written.size());  // infinite numbers come back as the largest one
  const std::string twice = image(*copy, QUVENObjWriter::ScanResults, env);
  REQUIRE(again == twice);
  QUVEN_DELETE(copy);
}

void open(QUVENKernelData& data, const literal::KernelParameters& parameters, QUVENEnv* env) {
  QUVENXMLTag tag;
  const auto set = [&](const char* key, double value) {
    tag.addLeafTagPath(key, QUVEN_ENV).setValue(value, QUVEN_ENV);
  };
  tag.addLeafTagPath("KernelType", QUVEN_ENV).setValue("Friends", QUVEN_ENV);
  set("FilterSimilarities", parameters.filterSimilarities ? 1 : 0);
  set("isSparseData", 1);
  set("IsSparseKernel", 1);
  set("SparsityLevel", parameters.sparsityLevel);
  set("EmptyMarker", parameters.emptyMarker);
  set("NormalizingFactor", parameters.normalizingFactor);
  REQUIRE(!fuzzRun([&] { data.open(tag, QUVEN_ENV); }).terminated);
  tag.destroyPrimitive(QUVEN_ENV);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const literal::KernelParameters parameters = parametersOf(bytes[0]);
  std::vector<Line> lines((size - 1) / sizeof(Line));
  if (!lines.empty()) std::memcpy(lines.data(), bytes + 1, lines.size() * sizeof(Line));
  if (isTooLarge(lines)) return 0;

  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  auto data = quvenMake<QUVENKernelData>(QUVEN_ENV);
  open(*data, parameters, env);
  QUVENXaRay<double> values;
  QUVENXaRay<double> targets;
  values.setSize(2, QUVEN_ENV);
  bool failed = false;
  while (!failed && !data->isFinished()) {
    const FuzzRun run = fuzzRun([&] {
      data->initIteration(QUVEN_ENV);
      for (const Line& line : lines) {
        values[1] = literal::seen(line.x1);
        values[2] = literal::seen(line.x2);
        data->update(values, targets, quvenSampleNumber(line.caller), QUVEN_ENV);
      }
      data->finishIteration(QUVEN_ENV);
    });
    failed = run.terminated;
    if (failed) {
      REQUIRE(run.out.find("Error;|3503;|") != std::string::npos || run.out.find("Error;|4607;|") != std::string::npos);
      break;
    }
    checkStream(*data, env);
    const FuzzRun end = fuzzRun([&] { data->endDataScan(QUVEN_ENV); });
    failed = end.terminated;
    // Pairs at random are missed at the end, and missing only where there is no sample.
    REQUIRE(!failed || (lines.empty() && end.out.find("Error;|3503;|") != std::string::npos));
  }
  if (isLiteral(lines)) {
    const literal::KernelResult expected = literal::runKernel(lines, parameters, 1);
    REQUIRE(failed == expected.failed);
    if (!failed) {
      REQUIRE(data->getSparsityThreshold() == expected.cutoff);
      std::vector<literal::KernelValue> kept;
      for (const auto& cell : data->getKernelValues(QUVEN_ENV)) {
        kept.push_back(
            {data->getKernelColSampleNumbers().at(cell.column), data->getOtherSamplesOrder().at(cell.row), cell.value});
      }
      REQUIRE(kept == expected.keptByWorker[0]);
    }
  }
  QUVEN_DELETE(data);
  QUVEN_DELETE(values);
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
