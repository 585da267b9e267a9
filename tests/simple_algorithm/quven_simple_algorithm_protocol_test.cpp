// A whole run of the model over the scan protocol in one process: every worker has its own data point and names, reads
// its model from the master's stream, and sends its results back through streams.

#include <random>

#include "diffusion_fixture.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel/quven_scan_results.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"
#include "util/quven_env_aux.h"

namespace {

struct Worker {
  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  QUVENOwnPtr<QUVENSimpleAlgorithmModel> model;
};

class SimpleAlgorithmProtocolTest : public DiffusionTest {
 protected:
  void TearDown() override {
    for (Worker& worker : workers) {
      worker.model.reset(QUVEN_ENV);
      worker.names.reset(QUVEN_ENV);
      worker.point.reset(QUVEN_ENV);
    }
    EXPECT_EQ(QUVENDataScanGlobalVars::get(QUVEN_ENV).getNumScans(), 0);
    environment.getAux().deleteMemory(QUVEN_ENV);
  }

  Worker makeWorker() {
    Worker worker;
    worker.point = quvenMake<QUVENDataPoint>(QUVEN_ENV);
    worker.names = quvenMake<QUVENFieldNameMap>(QUVEN_ENV);
    for (const char* name : {"caller", "callee", "weight"}) {
      QUVENOwnPtr<QUVENField> field = quvenMake<QUVENNumField>(QUVEN_ENV);
      field->setName(name);
      const long index = worker.point->addField(std::move(field), QUVEN_ENV);
      worker.names->addReference(&worker.point->getField(index), QUVEN_ENV);
    }
    return worker;
  }

  void openMaster(const std::string& tags) {
    const std::string path =
        folder.write("params.xml", "<P>\n<Seed>" + folder.write("seeds", "3\n8\n") + "</Seed>\n<OutputFileName>" +
                                       folder.path("out.csv") + "</OutputFileName>\n" + tags + "</P>\n");
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    ASSERT_EQ(tree->readXMLFile(path, QUVEN_ENV), 1);
    Worker& master = workers.front();
    master.model = quvenMake<QUVENSimpleAlgorithmModel>(QUVEN_ENV);
    QUVENXaRay<QUVENField*> fields;
    for (long i = 1; i <= 3; ++i) {
      QUVENField* field = &master.point->getField(i);
      master.model->addInput(field, i == 1 ? QUVENUsageSupplementary : QUVENUsageExplanatory, QUVEN_ENV);
      fields.append(field, QUVEN_ENV);
    }
    master.model->setMiningMode(QUVENModel::BestModelTrainDataOnly, nullptr, QUVEN_ENV);
    master.model->setParameterFileName(path);
    master.model->open(QUVENSimpleAlgorithmModel::DiffusionModel, fields, tree->getTag("P", QUVEN_ENV), QUVEN_ENV);
    fields.deleteMemory(QUVEN_ENV);
    tree.reset(QUVEN_ENV);
  }

  void show(const Worker& worker, double caller, double callee, double weight) {
    worker.point->getField(1).setNumValue(caller);
    worker.point->getField(2).setNumValue(callee);
    worker.point->getField(3).setNumValue(weight);
    worker.model->update(*worker.point, QUVEN_ENV);
  }
  void show(const Worker& worker, const LiteralRow& row) {
    const auto caller = static_cast<double>(row.caller);
    show(worker, caller, 0, static_cast<double>(row.callees.size()));
    for (const auto& [callee, weight] : row.callees) show(worker, caller, callee, weight);
    show(worker, caller, 0, 7788);
  }

  template <class Action>
  std::string written(std::int32_t mode, Action action) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    action(writer);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    QUVEN_DELETE(blob);
    return bytes;
  }
  void readModel(Worker& worker, const std::string& bytes) {
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    worker.names->putInto(reader, QUVEN_ENV);
    quvenReadObject(reader, worker.model, QUVENSimpleAlgorithmModel::typeName(), QUVEN_ENV);
  }
  std::string merged(const std::string& a, const std::string& b) {
    QUVENViewBlobIO blobA({a.data(), a.size()});
    QUVENViewBlobIO blobB({b.data(), b.size()});
    QUVENBinObjReader readerA(blobA, QUVEN_ENV);
    QUVENBinObjReader readerB(blobB, QUVEN_ENV);
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenMergeDataScanResults(readerA, readerB, writer, keyword, QUVEN_ENV);
    });
  }

  /// One pass of all workers; gives whether the run has ended.
  bool pass(const std::vector<LiteralRow>& rows) {
    QUVENSimpleAlgorithmModel& master = *workers.front().model;
    const std::string state = written(QUVENObjWriter::SaveForWorker,
                                      [&](QUVENObjWriter& writer) { quvenWriteObject(writer, master, QUVEN_ENV); });
    for (std::size_t i = 1; i < workers.size(); ++i) readModel(workers[i], state);
    std::string results;
    for (std::size_t i = 0; i < workers.size(); ++i) {
      const Worker& worker = workers[i];
      EXPECT_EQ(worker.model->getScanType(QUVEN_ENV), QUVENScanType::Lines);
      worker.model->initIteration(QUVEN_ENV);
      for (const LiteralRow& row : rows) {
        if (row.caller % workers.size() == i) show(worker, row);
      }
      worker.model->finishIteration(QUVEN_ENV);
      if (i == 0) continue;
      const std::string own = written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
        quvenWriteScanResults(*worker.model, writer, keyword, QUVEN_ENV);
      });
      results = i == 1 ? own : merged(results, own);
    }
    QUVENViewBlobIO blob({results.data(), results.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadDataScanResults(reader, keyword, QUVEN_ENV);
    return master.endDataScan(0, QUVEN_ENV);
  }

  void runOn(std::size_t workerCount, const std::vector<LiteralRow>& rows, const std::string& tags) {
    for (std::size_t i = 0; i < workerCount; ++i) workers.push_back(makeWorker());
    run = capturedRun([&] {
      openMaster(tags);
      EXPECT_TRUE(workers.front().model->beginDataScan(QUVEN_ENV));
      int passes = 1;
      while (!pass(rows)) ASSERT_LT(++passes, 200);
      EXPECT_EQ(workers.front().model->getIterationCount(), passes);
    });
    ASSERT_FALSE(run.threwLibraryException) << run.out;
  }

  /// A network of so many callers, with callees that call nobody, and one caller without calls.
  static std::vector<LiteralRow> makeRows(unsigned seed, std::uint64_t callers) {
    std::mt19937 random(seed);
    std::vector<LiteralRow> rows;
    for (std::uint64_t caller = 1; caller <= callers; ++caller) {
      LiteralRow row{caller, {}};
      const auto callees = caller == 5 ? 0 : 1 + random() % 4;
      for (std::uint64_t callee = 1; callee <= callees; ++callee) {
        row.callees.emplace_back(static_cast<double>(callee * 7 + random() % 5), 0.5 + random() % 9);
      }
      rows.push_back(row);
    }
    return rows;
  }

  const QUVENKeyword& keyword = quvenScanResultKeyword();
  std::vector<Worker> workers;
};

class SimpleAlgorithmWorkersTest : public SimpleAlgorithmProtocolTest,
                                   public testing::WithParamInterface<std::size_t> {};

TEST_P(SimpleAlgorithmWorkersTest, GivesTheResultOfTheLiteralDiffusion) {
  constexpr unsigned seed = 20260;
  SCOPED_TRACE("seed " + std::to_string(seed));
  const std::vector<LiteralRow> rows = makeRows(seed, 40);
  runOn(GetParam(), rows, "<SpreadCoefficient>0.6</SpreadCoefficient>\n<EndConditionValue>1e-6</EndConditionValue>\n");
  const LiteralDiffusion literal = literalDiffusion(rows, {3, 8}, 0.6, 1e-6, 100);
  ASSERT_GT(literal.iterations, 5);
  EXPECT_EQ(workers.front().model->getIterationCount(), literal.iterations + 2);
  EXPECT_EQ(workers.front().model->getModelState(), -1);
  const std::map<std::uint64_t, LiteralResult> nodes = results();
  ASSERT_EQ(nodes.size(), literal.nodes.size());
  for (const auto& [number, expected] : literal.nodes) {
    ASSERT_TRUE(nodes.contains(number)) << number;
    const LiteralResult& node = nodes.at(number);
    EXPECT_NEAR(node.energy, expected.energy, 1e-5 * std::max(1e-6, std::fabs(expected.energy))) << number;
    EXPECT_EQ(node.inDegree, expected.inDegree) << number;
    EXPECT_EQ(node.outDegree, expected.outDegree) << number;
    EXPECT_EQ(node.weightedInDegree, expected.weightedInDegree) << number;
    EXPECT_EQ(node.weightedOutDegree, expected.weightedOutDegree) << number;
  }
}

INSTANTIATE_TEST_SUITE_P(Workers, SimpleAlgorithmWorkersTest, testing::Values(1, 2, 3, 4));

TEST_F(SimpleAlgorithmProtocolTest, AWorkerCarriesTheNumberOfTheMasterAndNotItsOwn) {
  workers.push_back(makeWorker());
  workers.push_back(makeWorker());
  run = capturedRun([&] {
    openMaster("");
    workers[0].model->beginDataScan(QUVEN_ENV);
    pass({{3, {{4, 1}}}, {4, {{3, 1}}}});
  });
  ASSERT_FALSE(run.threwLibraryException) << run.out;
  EXPECT_EQ(workers[1].model->getMergeWithSerialNumber(), workers[0].model->getSerialNumber());
  EXPECT_NE(workers[1].model->getSerialNumber(), workers[0].model->getSerialNumber());
  EXPECT_EQ(workers[0].model->getMergeWithSerialNumber(), 0);
  EXPECT_EQ(workers[1].model->getExplanatoryFields()[1].getField(), &workers[1].point->getField(1));
}

TEST_F(SimpleAlgorithmProtocolTest, AResultWithoutItsMasterIsRefused) {
  workers.push_back(makeWorker());
  workers.push_back(makeWorker());
  run = capturedRun([&] {
    openMaster("");
    workers[0].model->beginDataScan(QUVEN_ENV);
    pass({{3, {{4, 1}}}});
  });
  const std::string results = written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
    quvenWriteScanResults(*workers[1].model, writer, keyword, QUVEN_ENV);
  });
  workers[0].model.reset(QUVEN_ENV);
  run = capturedRun([&] {
    QUVENViewBlobIO blob({results.data(), results.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadDataScanResults(reader, keyword, QUVEN_ENV);
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, testing::HasSubstr("Cannot find corresponding data scan object"));
}

}  // namespace
