#ifndef QUVEN_KEPT_ROWS_H
#define QUVEN_KEPT_ROWS_H

// The rows of a dataset in memory, for the passes after the first.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "passes/quven_worker_transport.h"
#include "simple_algorithm/quven_node_table.h"

class QUVENBinaryInputDataset;

/// The rows that a rank reads once and keeps: a dense number for each subscriber, and the contacts of all callers in
/// one array of these numbers.
///
/// Only regular rows are kept: a header, entries and a footer of one caller, no caller twice, all subscribers positive
/// integers below 2^53. In a table the positions run 1, 2, 3 and so on. In a pair sum the weights of a caller are
/// finite, and so is their sum, which is not 0. Passes over the file deal with all other rows.
/// Shapes:     rows run from 0, in the order of the file. Nodes are the indices of a QUVENNodeIndex, from 1; after
///             orderNodes they ascend with the subscribers.
/// Memory:     4 bytes a contact, 8 a weight, 12 a row, and the index of the nodes.
/// Collective: load.
class QUVENKeptRows {
 public:
  using Node = std::uint32_t;
  enum class Form : std::int32_t {
    Table,    ///< all rows of a table dataset, without weights
    PairSums  ///< those rows of a pair sum dataset whose callers are dealt to this rank, with their weights
  };

  /// Dataset and transport are borrowed. The rows and their nodes take at most that many bytes on a rank; with a limit
  /// of 0 none are kept.
  QUVENKeptRows(QUVENBinaryInputDataset& inputDataset, const QUVENWorkerTransport& workerTransport,
                std::int64_t limitOfBytes)
      : dataset(inputDataset), transport(workerTransport), memoryLimit(limitOfBytes) {}

  /// Reads the rows, and enters their subscribers into an index. Returns whether they are kept, which is the same on
  /// all ranks. A log line of rank 0 says so, and what the other way would have needed. The reason is why this pass
  /// cannot use them, if there is one: nothing is read then.
  bool load(Form form, QUVENNodeIndex& nodes, const std::string& reason, const QUVENEnvHandle& env);
  /// The same for the rows of a table, with the nodes in order.
  bool loadTable(const std::string& reason, const QUVENEnvHandle& env);
  /// Whether the rows are in memory.
  bool isLoaded() const { return state == Kept; }
  /// Whether load has been called, so that it is known for all passes of the run.
  bool isDecided() const { return state != Undecided; }
  /// Renumbers the nodes so that they ascend with the subscribers, and keeps the subscribers in place of the index.
  void orderNodes(QUVENNodeIndex& nodes, const QUVENEnvHandle& env);
  /// Replaces each node by numbers[node]. Element 0 is not used. No two nodes get the same number.
  void renumber(std::span<const Node> numbers);
  const QUVENWorkerTransport& getTransport() const { return transport; }
  /// Gives back all memory.
  void drop();

  std::int64_t getNumRows() const { return static_cast<std::int64_t>(callers.size()); }
  std::int64_t getNumContacts() const { return static_cast<std::int64_t>(contacts.size()); }
  /// The number of records of these rows in the file: one per entry, and a header and a footer per row.
  std::int64_t getNumRecords() const { return getNumContacts() + 2 * getNumRows(); }
  Node getCaller(std::int64_t row) const { return callers[static_cast<std::size_t>(row)]; }
  std::span<const Node> getContacts(std::int64_t row) const { return partOf(std::span(contacts), row); }
  std::span<const double> getWeights(std::int64_t row) const { return partOf(std::span(weights), row); }
  std::span<double> getWeights(std::int64_t row) { return partOf(std::span(weights), row); }
  /// The same for one row.
  std::int64_t getNumRecords(std::int64_t row) const { return static_cast<std::int64_t>(getContacts(row).size()) + 2; }

  // After orderNodes.
  std::int64_t getNumNodes() const { return static_cast<std::int64_t>(subscribers.size()); }
  std::uint64_t getSubscriber(Node node) const { return subscribers[node - 1]; }
  /// Whether the caller of a row is dealt to this rank.
  bool isOwn(std::int64_t row) const {
    return transport.isAlone() || isDealtTo(getSubscriber(getCaller(row)), transport);
  }

  /// The bytes read from the file since the last call.
  std::int64_t takeBytesRead();
  /// The seconds since the last call in which rows were read and nodes numbered.
  double takeSecondsOfReading();

 private:
  enum State : std::int32_t { Undecided, FromFile, Kept };
  enum class Outcome : std::int32_t { Kept = 0, TooLarge = 1, Irregular = 2, NotWanted = 3 };

  template <class T>
  std::span<T> partOf(std::span<T> array, std::int64_t row) const {
    const auto place = static_cast<std::size_t>(row);
    return array.subspan(static_cast<std::size_t>(starts[place]),
                         static_cast<std::size_t>(starts[place + 1] - starts[place]));
  }

  static bool isDealtTo(std::uint64_t subscriber, const QUVENWorkerTransport& transport);

  Outcome read(Form form, QUVENNodeIndex& nodes, const QUVENEnvHandle& env);
  bool take(Form form, std::span<const double> records, QUVENNodeIndex& nodes, const QUVENEnvHandle& env);
  void numberContacts(QUVENNodeIndex& nodes, const QUVENEnvHandle& env);
  bool hasEachCallerOnce(const QUVENNodeIndex& nodes) const;
  int numShares(Form form) const;
  std::int64_t expectedBytes(Form form) const;
  std::int64_t bytesInUse(const QUVENNodeIndex& nodes) const;
  void reportChoice(Outcome outcome, const std::string& reason) const;

  QUVENBinaryInputDataset& dataset;
  const QUVENWorkerTransport& transport;
  std::int64_t memoryLimit;
  State state = Undecided;

  std::vector<Node> callers;         // by row
  std::vector<std::int64_t> starts;  // by row: where its contacts begin; one more than rows
  std::vector<Node> contacts;
  std::vector<double> weights;
  std::vector<std::uint64_t> subscribers;  // by node

  // While the file is read.
  std::vector<std::uint64_t> blockContacts;  // of the current block, not yet numbered
  double rowCaller = 0;
  double rowWidth = 0;
  double rowSum = 0;
  std::int64_t rowSize = 0;
  bool isInRow = false;
  bool isOwnRow = false;  // dealt to this rank

  std::int64_t bytesNeeded = 0;  // to keep the rows
  std::int64_t bytesRead = 0;
  double secondsOfReading = 0;
};

#endif  // QUVEN_KEPT_ROWS_H
