#ifndef TESTS_SIMPLE_ALGORITHM_GROUP_FIXTURE_H
#define TESTS_SIMPLE_ALGORITHM_GROUP_FIXTURE_H

// Group analyses without a dataset: rows are handed to them as a driver would, on one worker.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "control/quven_XML_handler.h"
#include "simple_algorithm/quven_cgadata.h"
#include "support/captured_run.h"
#include "support/temporary_folder.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_text_obj_writer.h"

class GroupTest : public ::testing::Test {
 protected:
  GroupTest() {
    environment.activate();
    tags = {{"MaxClusterSize", "100"}, {"OutputFileName", folder.path("out")}, {"OutputFormat", "CSV"}};
    kernelTags = {{"KernelType", "Friends"}, {"FilterSimilarities", "1"}, {"isSparseData", "1"},
                  {"IsSparseKernel", "1"},   {"SparsityLevel", "0.01"},   {"NormalizingFactor", "50"}};
  }
  ~GroupTest() override {
    dataVec.deleteMemory(QUVEN_ENV);
    targetVec.deleteMemory(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
  }

  using Data = QUVENOwnPtr<QUVENCGAData>;
  using Tags = std::map<std::string, std::string>;
  using Contacts = std::vector<double>;
  using Rows = std::vector<std::pair<std::uint64_t, Contacts>>;  ///< callers with their contacts

  static std::string log(int level, const std::string& text) {
    return "Log;|" + std::to_string(level) + ";|" + text + ";|LogEnd\n";
  }
  static std::string error(int code, const std::string& text) {
    return "Error;|" + std::to_string(code) + ";|" + text + ";|ErrorEnd";
  }
  /// The error line that ended a run, which is the last one of an output; or all of the output.
  static std::string reportIn(const std::string& out) {
    const std::size_t start = out.rfind("Error;|");
    return start == std::string::npos ? out : out.substr(start, out.find('\n', start) - start);
  }
  static std::string unreachable() { return "Program control should never reach this point"; }

  /// Opens an analysis with `tags` and `kernelTags`; null when it is refused.
  Data open() {
    const auto leaves = [](const Tags& list) {
      std::string text;
      for (const auto& [name, value] : list) text += "<" + name + ">" + value + "</" + name + ">\n";
      return text;
    };
    const std::string path =
        folder.write("params.xml", "<AnalysisParams>\n" + leaves(tags) + "<KernelParams>\n" + leaves(kernelTags) +
                                       "</KernelParams>\n</AnalysisParams>\n");
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    EXPECT_EQ(tree->readXMLFile(path, QUVEN_ENV), 1);
    auto data = quvenMake<QUVENCGAData>(QUVEN_ENV);
    run = capturedRun([&] { data->open(tree->getTag("AnalysisParams", QUVEN_ENV), QUVEN_ENV); });
    QUVEN_DELETE(tree);
    if (run.threwLibraryException) QUVEN_DELETE(data);
    return data;
  }
  /// The report of an analysis opened with these tags in place of or beside the ordinary ones, or "opened".
  std::string opening(const Tags& others) {
    const Tags ordinary = tags;
    for (const auto& [name, value] : others) tags[name] = value;
    Data data = open();
    tags = ordinary;
    if (run.threwLibraryException) return reportIn(run.out);
    QUVEN_DELETE(data);
    return "opened";
  }

  /// An analysis whose initial clusters come from these lines of a kernel values file; it is to connect nodes next.
  Data connecting(const std::string& kernelValues) {
    tags["KernelValuesFileName"] = folder.write("values", kernelValues);
    Data data = open();
    run = capturedRun([&] { EXPECT_EQ(data->beginDataScan(2, QUVEN_ENV), 0); });
    EXPECT_EQ(data->getState(), QUVENCGAData::ConnectingIsolatedNodes) << run.out;
    return data;
  }

  void record(QUVENCGAData& data, std::uint64_t caller, double x1, double x2) {
    dataVec.setSize(2, QUVEN_ENV);
    dataVec[1] = x1;
    dataVec[2] = x2;
    data.update(dataVec, targetVec, caller, QUVEN_ENV);
  }
  /// All contacts stand in the row, zeros too.
  void row(QUVENCGAData& data, std::uint64_t caller, const Contacts& contacts) {
    record(data, caller, 0, static_cast<double>(contacts.size()));
    for (std::size_t i = 0; i < contacts.size(); ++i) record(data, caller, static_cast<double>(i + 1), contacts[i]);
    record(data, caller, static_cast<double>(contacts.size() + 1), 0);
  }
  /// The pass that the state asks for, without its end.
  void scan(QUVENCGAData& data, const Rows& rows) {
    data.initIteration(QUVEN_ENV);
    if (data.getScanKind(QUVEN_ENV) == QUVENScanType::NoPass) {
      EXPECT_EQ(data.updateWithoutDataScan(QUVEN_ENV), 1);
    } else {
      for (const auto& [caller, contacts] : rows) row(data, caller, contacts);
    }
    data.finishIteration(QUVEN_ENV);
  }
  /// A pass with its end, whose answer it gives. What is written is added to the run.
  int pass(Data& data, const Rows& rows) {
    int answer = -1;
    const CapturedRun more = capturedRun([&] {
      scan(*data, rows);
      answer = data->endDataScan(QUVEN_ENV);
    });
    run.out += more.out;
    run.threwLibraryException = more.threwLibraryException;
    EXPECT_FALSE(more.threwLibraryException) << more.out;
    return answer;
  }
  /// Passes until a state is reached.
  void passesTo(QUVENCGAData::State state, Data& data, const Rows& rows) {
    constexpr int most = 20;
    for (int i = 0; i < most && data->getState() != state; ++i) pass(data, rows);
    ASSERT_EQ(data->getState(), state) << run.out;
  }

  /// Four callers in a ring of kernel pairs with a fifth, and the calls among them.
  static Rows ringRows() { return {{1, {2, 3}}, {2, {1, 3}}, {3, {1, 2}}, {4, {2, 4}}}; }
  /// An analysis in any state. Kernel states come from a kernel, the others from a kernel values file.
  Data inState(QUVENCGAData::State state) {
    Data data;
    if (state == QUVENCGAData::BuildingKernel || state == QUVENCGAData::CollectingKernelEdges) {
      tags.erase("KernelValuesFileName");
      data = open();
      run = capturedRun([&] { EXPECT_EQ(data->beginDataScan(2, QUVEN_ENV), 1); });
    } else if (state == QUVENCGAData::StartFromKernel) {
      tags["KernelValuesFileName"] = folder.write("values", "1,2,0\n2,3,0\n");
      data = open();
    } else {
      data = connecting("1,2,0\n2,3,0\n");
    }
    passesTo(state, data, ringRows());
    return data;
  }

  std::string image(const QUVENCGAData& data, std::int32_t mode) {
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
    quvenReadObject(reader, data, QUVENCGAData::typeName(), QUVEN_ENV);
    EXPECT_EQ(blob.getRemaining(), 0U);
  }
  /// What a stream carries, a line a member: "keyword = value".
  std::string streamOf(const QUVENCGAData& data) {
    std::ostringstream text;
    QUVENTextObjWriter writer(text, QUVENObjWriter::ScanResults);
    quvenWriteObject(writer, data, QUVEN_ENV);
    return text.str();
  }
  /// The value of a member in a stream, an array as "[size] element element ...", or "" where it has no such member.
  static std::string valueIn(const std::string& stream, const std::string& keyword) {
    const std::string key = "\n  " + keyword + " = ";
    const std::size_t start = stream.find(key);
    if (start == std::string::npos) return "";
    const std::size_t value = start + key.size();
    const std::string line = stream.substr(value, stream.find('\n', value) - value);
    if (!line.starts_with('[') || !line.ends_with(" {")) return line;
    const std::size_t elements = value + line.size();
    std::istringstream words(stream.substr(elements, stream.find('}', elements) - elements));
    std::string text = line.substr(0, line.find(' '));
    for (std::string word; words >> word;) text += ' ' + word;
    return text;
  }
  std::string member(const Data& data, const std::string& keyword) { return valueIn(streamOf(*data), keyword); }
  /// The least and the greatest cluster of the slice at hand.
  std::string slice(const Data& data) {
    return member(data, "ivMinIndRelevantClusters") + ".." + member(data, "ivMaxIndRelevantClusters");
  }

  std::string clustersCsv() const { return folder.read("out_1.clusters.csv"); }
  std::string nodesCsv() const { return folder.read("out_1.nodes.csv"); }
  static std::string clusterHeader() {
    return "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,MaxRankType1,MinRankType1,MaxMinRankRatioType1,"
           "MaxRankLinksType2,MinRankLinksType2,MaxMinRankRatioLinksType2\n";
  }
  static std::string nodeHeader() {
    return "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
           "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
           "GroupLeaderType2Conf\n";
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  Tags tags;
  Tags kernelTags;
  CapturedRun run;
  QUVENXaRay<double> dataVec;
  QUVENXaRay<double> targetVec;
};

#endif  // TESTS_SIMPLE_ALGORITHM_GROUP_FIXTURE_H
