#ifndef TESTS_SIMPLE_ALGORITHM_DIFFUSION_FIXTURE_H
#define TESTS_SIMPLE_ALGORITHM_DIFFUSION_FIXTURE_H

// Diffusion analyses without a dataset: rows are handed to them as a driver would, on one or more workers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "control/quven_XML_handler.h"
#include "literal_diffusion.h"
#include "simple_algorithm/quven_snadata.h"
#include "support/captured_run.h"
#include "support/temporary_folder.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"

class DiffusionTest : public ::testing::Test {
 protected:
  DiffusionTest() { environment.activate(); }
  ~DiffusionTest() override {
    dataVec.deleteMemory(QUVEN_ENV);
    targetVec.deleteMemory(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
  }

  using Data = QUVENOwnPtr<QUVENSNAData>;

  /// Opens an analysis with these tags beside Seed and OutputFileName; seeds is the text of the seed file.
  Data open(const std::string& tags, const std::string& seeds) {
    folder.write("seeds", seeds);
    return openFile("<AnalysisParams>\n<Seed>" + folder.path("seeds") + "</Seed>\n<OutputFileName>" +
                    folder.path("out.csv") + "</OutputFileName>\n" + tags + "</AnalysisParams>\n");
  }
  Data openFile(const std::string& text) {
    const std::string path = folder.write("params.xml", text);
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    EXPECT_EQ(tree->readXMLFile(path, QUVEN_ENV), 1);
    auto data = quvenMake<QUVENSNAData>(QUVEN_ENV);
    run = capturedRun([&] { data->open(tree->getTag("AnalysisParams", QUVEN_ENV), path, QUVEN_ENV); });
    QUVEN_DELETE(tree);
    if (run.threwLibraryException) QUVEN_DELETE(data);
    return data;
  }

  void record(QUVENSNAData& data, std::uint64_t caller, double x1, double x2) {
    dataVec.setSize(2, QUVEN_ENV);
    dataVec[1] = x1;
    dataVec[2] = x2;
    data.update(dataVec, targetVec, caller, QUVEN_ENV);
  }
  void row(QUVENSNAData& data, const LiteralRow& literal) {
    record(data, literal.caller, 0, static_cast<double>(literal.callees.size()));
    for (const auto& [callee, weight] : literal.callees) record(data, literal.caller, callee, weight);
    record(data, literal.caller, 0, 7788);
  }

  std::string image(const QUVENSNAData& data, std::int32_t mode) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    quvenWriteObject(writer, data, QUVEN_ENV);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    QUVEN_DELETE(blob);
    return bytes;
  }
  void readInto(Data& data, const std::string& bytes) {
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, data, QUVENSNAData::typeName(), QUVEN_ENV);
  }

  /// Runs the passes on a number of workers and leaves the master's object open.
  void runPasses(Data& master, const std::vector<LiteralRow>& rows, std::size_t workers) {
    std::vector<Data> others(workers - 1);
    run = capturedRun([&] {
      master->beginDataScan(2, QUVEN_ENV);
      bool ended = false;
      while (!ended) {
        const std::string state = image(*master, QUVENObjWriter::SaveForWorker);
        for (Data& other : others) readInto(other, state);
        for (std::size_t worker = 0; worker < workers; ++worker) {
          QUVENSNAData& data = worker == 0 ? *master : *others[worker - 1];
          data.initIteration(QUVEN_ENV);
          for (const LiteralRow& literal : rows) {
            if (literal.caller % workers == worker) row(data, literal);
          }
          data.finishIteration(QUVEN_ENV);
        }
        for (const Data& other : others) {
          Data result(QUVEN_ENV);
          readInto(result, image(*other, QUVENObjWriter::ScanResults));
          master->merge(result.get(), QUVEN_ENV);
          QUVEN_DELETE(result);
        }
        ended = master->endDataScan(QUVEN_ENV) != 0;
      }
    });
    for (Data& other : others) QUVEN_DELETE(other);
  }

  /// The result file as numbers.
  std::map<std::uint64_t, LiteralResult> results() const {
    std::map<std::uint64_t, LiteralResult> nodes;
    std::istringstream lines(folder.read("out.csv"));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree");
    std::uint64_t last = 0;
    while (std::getline(lines, line)) {
      std::istringstream fields(line);
      std::uint64_t number = 0;
      LiteralResult node;
      char comma = 0;
      fields >> number >> comma >> node.energy >> comma >> node.inDegree >> comma >> node.outDegree >> comma >>
          node.weightedInDegree >> comma >> node.weightedOutDegree;
      EXPECT_TRUE(fields && fields.eof()) << line;
      EXPECT_TRUE(nodes.empty() || number > last) << line;
      last = number;
      nodes[number] = node;
    }
    return nodes;
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  CapturedRun run;
  QUVENXaRay<double> dataVec;
  QUVENXaRay<double> targetVec;
};

#endif  // TESTS_SIMPLE_ALGORITHM_DIFFUSION_FIXTURE_H
