#ifndef TESTS_SIMPLE_ALGORITHM_KEPT_ROWS_FIXTURE_H
#define TESTS_SIMPLE_ALGORITHM_KEPT_ROWS_FIXTURE_H

// Datasets of rows, and their rows in memory. Under mpirun all ranks run a case together, with the files of rank 0.

#include <mpi.h>

#include <cstring>
#include <memory>
#include <set>

#include "control/quven_binaryindataset.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_num_field.h"
#include "kernel_data_fixture.h"
#include "simple_algorithm/quven_kept_rows.h"
#include "support/mpi_run.h"
#include "util/quven_env_aux.h"

class KeptRowsTest : public KernelDataTest {
 protected:
  using Form = QUVENKeptRows::Form;
  static constexpr std::int64_t NoLimit = std::int64_t{1} << 40;
  static constexpr const char* TripleInfo =
      "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n";

  struct Entry {
    std::uint64_t subscriber;
    double weight = 1;
    bool operator==(const Entry&) const = default;
  };
  struct Row {
    std::uint64_t caller;
    std::vector<Entry> entries;
    bool operator==(const Row&) const = default;
  };
  using Rows = std::vector<Row>;

  KeptRowsTest() {
    startMpi();
    transport = std::make_unique<QUVENWorkerTransport>();
    std::string shared = folder.path();
    auto size = static_cast<int>(shared.size());
    MPI_Bcast(&size, 1, MPI_INT, 0, MPI_COMM_WORLD);
    shared.resize(static_cast<std::size_t>(size));
    MPI_Bcast(shared.data(), size, MPI_CHAR, 0, MPI_COMM_WORLD);
    path = shared + "/data";
    dataset.setProgressLines(false);
  }
  void TearDown() override {
    close();
    environment.getAux().deleteMemory(QUVEN_ENV);
    MPI_Barrier(MPI_COMM_WORLD);
    KernelDataTest::TearDown();
  }
  void close() {
    nodes.deleteMemory(QUVEN_ENV);
    rows.reset();
    point.destroyPrimitive(QUVEN_ENV);
    dataset.destroyPrimitive(QUVEN_ENV);
  }

  /// The records of rows; those of a table have so many places, or as many as a row has entries.
  static std::vector<double> recordsOf(Form form, const Rows& rows, std::size_t places = 0) {
    std::vector<double> records;
    for (const auto& [caller, entries] : rows) {
      const auto key = static_cast<double>(caller);
      const auto width = static_cast<double>(std::max(entries.size(), places));
      records.insert(records.end(), {key, 0, width});
      double position = 0;
      for (const auto& [subscriber, weight] : entries) {
        if (form == Form::Table) {
          records.insert(records.end(), {key, ++position, static_cast<double>(subscriber)});
        } else {
          records.insert(records.end(), {key, static_cast<double>(subscriber), weight});
        }
      }
      if (form == Form::Table) {
        records.insert(records.end(), {key, width + 1, 0});
      } else {
        records.insert(records.end(), {key, 0, 7788});
      }
    }
    return records;
  }

  /// Writes a dataset as one file, or as parts that begin at records, and opens it on all ranks.
  void write(const std::vector<double>& values, const std::vector<std::size_t>& partStarts = {},
             const std::string& info = TripleInfo) {
    close();
    if (transport->isMaster()) {
      for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        std::filesystem::remove(entry.path());
      }
      folder.write("data.info", info);
      std::string bytes(values.size() * sizeof(double), '\0');
      if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
      if (partStarts.empty()) folder.write("data", bytes);
      for (std::size_t part = 0; part < partStarts.size(); ++part) {
        const std::size_t start = partStarts[part] * 24;
        const std::size_t end = part + 1 < partStarts.size() ? partStarts[part + 1] * 24 : bytes.size();
        folder.write("data." + std::to_string(part), bytes.substr(start, end - start));
      }
    }
    MPI_Barrier(MPI_COMM_WORLD);
    if (!transport->isMaster()) addFields(info);
    dataset.setMultiFile(!partStarts.empty());
    ASSERT_EQ(dataset.open(path, &point, transport->getRank(), transport->getCount(), QUVEN_ENV), 1);
  }

  bool load(Form form, std::int64_t limit = NoLimit, const std::string& reason = "") {
    nodes.deleteMemory(QUVEN_ENV);
    rows = std::make_unique<QUVENKeptRows>(dataset, *transport, limit);
    bool isKept = false;
    run = capturedRun([&] { isKept = rows->load(form, nodes, reason, QUVEN_ENV); });
    EXPECT_FALSE(run.threwLibraryException) << run.out;
    EXPECT_TRUE(rows->isDecided());
    EXPECT_EQ(rows->isLoaded(), isKept);
    return isKept;
  }

  /// The rows of these that are dealt to this rank.
  Rows ownOf(const Rows& all) const {
    Rows own;
    for (const Row& row : all) {
      if (row.caller % static_cast<std::uint64_t>(transport->getCount()) ==
          static_cast<std::uint64_t>(transport->getRank()))
        own.push_back(row);
    }
    return own;
  }
  using KernelDataTest::keptBy;
  /// The rows in memory, by a function that gives the subscriber of a node.
  template <class SubscriberOf>
  Rows keptBy(Form form, SubscriberOf subscriberOf) const {
    Rows kept;
    for (std::int64_t row = 0; row < rows->getNumRows(); ++row) {
      Row& one = kept.emplace_back(Row{subscriberOf(rows->getCaller(row)), {}});
      const auto contacts = rows->getContacts(row);
      const auto weights = form == Form::PairSums ? rows->getWeights(row) : std::span<double>{};
      for (std::size_t i = 0; i < contacts.size(); ++i) {
        one.entries.push_back({subscriberOf(contacts[i]), form == Form::PairSums ? weights[i] : 1});
      }
      EXPECT_EQ(rows->getNumRecords(row), static_cast<std::int64_t>(contacts.size()) + 2);
    }
    return kept;
  }
  static std::set<std::uint64_t> subscribersOf(const Rows& all) {
    std::set<std::uint64_t> subscribers;
    for (const auto& [caller, entries] : all) {
      subscribers.insert(caller);
      for (const Entry& entry : entries) subscribers.insert(entry.subscriber);
    }
    return subscribers;
  }
  /// The bytes that rows in memory take.
  static std::int64_t bytesOf(Form form, const Rows& all) {
    std::size_t bytes = 19 * subscribersOf(all).size();
    for (const Row& row : all) bytes += 12 + row.entries.size() * (form == Form::PairSums ? 12 : 4);
    return static_cast<std::int64_t>(bytes);
  }
  static std::string rowsLog(const std::string& text) { return log(1, "Rows: " + text); }

  std::string path;
  std::unique_ptr<QUVENWorkerTransport> transport;
  QUVENBinaryInputDataset dataset;
  QUVENDataPoint point;
  QUVENNodeIndex nodes;
  std::unique_ptr<QUVENKeptRows> rows;

 private:
  /// What rank 0 sends to the ranks above it.
  void addFields(const std::string& info) {
    std::istringstream lines(info);
    for (std::string name, rest; lines >> name && std::getline(lines, rest);) {
      auto field = quvenMake<QUVENNumField>(QUVEN_ENV);
      field->setName(name);
      field->setPurpose(rest.find("LineNumber") != std::string::npos ? 7 : 0);
      point.addField(std::move(field), QUVEN_ENV);
    }
  }
};

#endif  // TESTS_SIMPLE_ALGORITHM_KEPT_ROWS_FIXTURE_H
