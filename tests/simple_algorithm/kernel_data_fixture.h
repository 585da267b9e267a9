#ifndef TESTS_SIMPLE_ALGORITHM_KERNEL_DATA_FIXTURE_H
#define TESTS_SIMPLE_ALGORITHM_KERNEL_DATA_FIXTURE_H

// Kernel analyses without a dataset: rows are handed to them as a driver would, on one or more workers.

#include <map>
#include <variant>

#include "control/quven_XML_handler.h"
#include "groups/literal_kernel.h"
#include "kernel/quven_sample_number.h"
#include "kernel_tools_fixture.h"
#include "simple_algorithm/quven_kernel_data.h"
#include "support/temporary_folder.h"
#include "util/quven_class_info.h"

/// A stream that sets a few members of an object that is there.
class MemberReader : public QUVENObjReader {
 public:
  using Integers = std::vector<std::int64_t>;
  using Doubles = std::vector<double>;
  using Value = std::variant<std::int64_t, double, std::string, Integers, Doubles>;
  using List = std::vector<std::pair<std::string, Value>>;

  MemberReader(std::string type, List memberList, const QUVENEnvHandle& env)
      : QUVENObjReader(env), members(std::move(memberList)) {
    typeName.assign(type);
  }

  void readNextKeyword(const QUVENEnvHandle& env) override {
    if (isInArray) {
      bufferCode(QUVEN_KWD(EndArray).getCode());
      isInArray = false;
    } else if (next == members.size()) {
      bufferCode(QUVEN_KWD(EndObject).getCode());
    } else {
      bufferName(members[next++].first, QUVEN_ENV);
    }
  }
  std::int8_t readSignedByte(const QUVENEnvHandle&) override { return static_cast<std::int8_t>(value<std::int64_t>()); }
  std::uint8_t readUnsignedByte(const QUVENEnvHandle&) override {
    return static_cast<std::uint8_t>(value<std::int64_t>());
  }
  void readString(std::string& text, const QUVENEnvHandle&) override { text = value<std::string>(); }
  std::uint64_t readUnsignedVarint(const QUVENEnvHandle&) override {
    return static_cast<std::uint64_t>(value<std::int64_t>());
  }
  std::int64_t readSignedVarint(const QUVENEnvHandle&) override {
    return isInArray ? value<Integers>().at(element++) : value<std::int64_t>();
  }
  double readDouble(const QUVENEnvHandle&) override {
    return isInArray ? value<Doubles>().at(element++) : value<double>();
  }
  const QUVENStringWithHash& readObjectType(const QUVENEnvHandle&) override { return typeName; }
  void expectBeginObject(const QUVENEnvHandle&) override {}
  std::int64_t expectBeginArraySize(const QUVENEnvHandle&) override {
    isInArray = true;
    element = 0;
    const Value& array = members.at(next - 1).second;
    return static_cast<std::int64_t>(std::holds_alternative<Doubles>(array) ? std::get<Doubles>(array).size()
                                                                            : std::get<Integers>(array).size());
  }

 private:
  template <class T>
  const T& value() const {
    return std::get<T>(members.at(next - 1).second);
  }

  QUVENStringWithHash typeName;
  List members;
  std::size_t next = 0;
  std::size_t element = 0;
  bool isInArray = false;
};

class KernelDataTest : public KernelToolsTest {
 protected:
  using Data = QUVENOwnPtr<QUVENKernelData>;
  using Keys = std::map<std::string, std::string>;
  using Kept = std::vector<literal::KernelValue>;
  using Lines = std::vector<literal::Line>;

  void TearDown() override {
    shownRow.deleteMemory(QUVEN_ENV);
    target.deleteMemory(QUVEN_ENV);
    KernelToolsTest::TearDown();
  }

  /// Opens an analysis with keys in the place of, or beside, legal ones.
  Data open(const Keys& changes = {}) {
    Keys keys{{"KernelType", "Friends"}, {"FilterSimilarities", "1"},   {"isSparseData", "1"},
              {"IsSparseKernel", "1"},   {"NormalizingFactor", "1000"}, {"SparsityLevel", "0.5"}};
    for (const auto& [key, value] : changes) keys[key] = value;
    std::string text = "<KernelParams>\n";
    for (const auto& [key, value] : keys) text += "<" + key + ">" + value + "</" + key + ">\n";
    const std::string path = folder.write("params.xml", "<P>\n" + text + "</KernelParams>\n</P>\n");
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    EXPECT_EQ(tree->readXMLFile(path, QUVEN_ENV), 1);
    auto data = quvenMake<QUVENKernelData>(QUVEN_ENV);
    run = capturedRun([&] { data->open(tree->getTag("P", QUVEN_ENV), QUVEN_ENV); });
    EXPECT_FALSE(run.threwLibraryException) << run.out;
    QUVEN_DELETE(tree);
    return data;
  }
  /// Sets members that no parameter reaches.
  void setMembers(Data& data, MemberReader::List members) {
    MemberReader reader("QUVENKernelData", std::move(members), QUVEN_ENV);
    quvenReadObject(reader, data, QUVENKernelData::typeName(), QUVEN_ENV);
  }

  void record(QUVENKernelData& data, const literal::Line& line) {
    fill(shownRow, {literal::seen(line.x1), literal::seen(line.x2)});
    data.update(shownRow, target, quvenSampleNumber(line.caller), QUVEN_ENV);
  }
  void records(QUVENKernelData& data, const Lines& lines) {
    for (const literal::Line& line : lines) record(data, line);
  }
  void dense(QUVENKernelData& data, std::uint64_t sample, const std::vector<double>& values) {
    fill(shownRow, values);
    data.update(shownRow, target, sample, QUVEN_ENV);
  }

  /// One pass on a single worker.
  void pass(QUVENKernelData& data, const Lines& lines) {
    data.initIteration(QUVEN_ENV);
    records(data, lines);
    data.finishIteration(QUVEN_ENV);
  }
  /// Both passes on a single worker, which runs on to the end or to a report.
  void runAlone(QUVENKernelData& data, const Lines& lines) {
    run = capturedRun([&] {
      while (!data.isFinished()) {
        pass(data, lines);
        data.endDataScan(QUVEN_ENV);
      }
    });
  }

  /// The kept values with the numbers of their samples, by column and row.
  Kept keptBy(const QUVENKernelData& data) {
    Kept kept;
    for (const auto& cell : data.getKernelValues(QUVEN_ENV)) {
      kept.push_back(
          {data.getKernelColSampleNumbers()[cell.column], data.getOtherSamplesOrder()[cell.row], cell.value});
    }
    return kept;
  }
  /// The members that a stream has, in their order, without those of objects within.
  std::vector<std::string> keywordsOf(const QUVENKernelData& data, std::int32_t mode) {
    std::vector<std::string> keywords;
    std::istringstream lines(textOf(data, mode));
    for (std::string line; std::getline(lines, line);) {
      const std::size_t equals = line.find(" = ");
      if (line.starts_with("  ") && line[2] != ' ' && equals != std::string::npos) {
        keywords.push_back(line.substr(2, equals - 2));
      }
    }
    return keywords;
  }
  /// The text of a member that a stream has, an array or an object without its frame.
  std::string memberOf(const QUVENKernelData& data, const std::string& name) {
    const std::string text = textOf(data);
    const std::string start = "\n  " + name + " = ";
    const std::size_t place = text.find(start);
    EXPECT_NE(place, std::string::npos) << name;
    const std::string rest = text.substr(place + start.size());
    return rest.substr(0, std::min(rest.find("\n  iv"), rest.find("\n}")));
  }
  /// The numbers of a member that is an array.
  std::vector<double> numbersOf(const QUVENKernelData& data, const std::string& name) {
    std::istringstream text(memberOf(data, name));
    text.ignore(1000, ']').ignore(1000, '{');
    std::vector<double> numbers;
    for (double number = 0; text >> number;) numbers.push_back(number);
    return numbers;
  }

  /// Runs the two passes on a number of workers and gives what each has kept, and the workers in workers. Records are
  /// dealt by their sample in the first pass, and everybody sees all in the second.
  std::vector<Kept> runWorkers(const Lines& lines, int numWorkers, const Keys& keys, std::vector<Data>& workers) {
    workers.clear();
    workers.resize(static_cast<std::size_t>(numWorkers));
    workers[0] = open(keys);
    run = capturedRun([&] {
      bool ended = false;
      while (!ended) {
        const std::string state = imageOf(*workers[0], QUVENObjWriter::SaveForWorker);
        for (std::size_t rank = 1; rank < workers.size(); ++rank) readInto(workers[rank], state);
        const bool dealt = workers[0]->getScanKind(QUVEN_ENV) == QUVENScanType::Lines;
        for (int rank = 0; rank < numWorkers; ++rank) {
          pass(*workers[static_cast<std::size_t>(rank)], dealt ? literal::shareOf(lines, rank, numWorkers) : lines);
        }
        mergeResults(workers);
        ended = workers[0]->endDataScan(QUVEN_ENV) == 1;
      }
    });
    std::vector<Kept> kept;
    for (const Data& worker : workers) kept.push_back(keptBy(*worker));
    return kept;
  }

  TemporaryFolder folder;
  Vector shownRow;
  Vector target;

 private:
  /// As streams, up a tree of neighbours, lower rank first; the master takes in the last one.
  void mergeResults(std::vector<Data>& workers) {
    std::vector<std::string> results;
    for (std::size_t rank = 1; rank < workers.size(); ++rank) {
      results.push_back(imageOf(*workers[rank], QUVENObjWriter::ScanResults));
    }
    for (std::size_t step = 1; step < results.size(); step *= 2) {
      for (std::size_t place = 0; place + step < results.size(); place += 2 * step) {
        Data low(QUVEN_ENV);
        Data high(QUVEN_ENV);
        readInto(low, results[place]);
        readInto(high, results[place + step]);
        low->merge(high.get(), QUVEN_ENV);
        results[place] = imageOf(*low, QUVENObjWriter::ScanResults);
        QUVEN_DELETE(low);
        QUVEN_DELETE(high);
      }
    }
    if (results.empty()) return;
    Data result(QUVEN_ENV);
    readInto(result, results[0]);
    workers[0]->merge(result.get(), QUVEN_ENV);
    QUVEN_DELETE(result);
  }
};

#endif  // TESTS_SIMPLE_ALGORITHM_KERNEL_DATA_FIXTURE_H
