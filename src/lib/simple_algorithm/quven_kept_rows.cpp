#include "simple_algorithm/quven_kept_rows.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <limits>
#include <new>
#include <sstream>
#include <utility>

#include "control/quven_binaryindataset.h"
#include "control/quven_file_formats.h"
#include "kernel/quven_data_scan.h"
#include "simple_algorithm/quven_sparse_rows.h"
#include "vesk-common/quven_reports.h"

namespace {

constexpr std::int32_t recordColumns = static_cast<std::int32_t>(sparse_format::columns);
constexpr std::int64_t recordBytes = recordColumns * static_cast<std::int64_t>(sizeof(double));
constexpr std::int64_t bytesOfNode = 19;  // in the index: 8, and at most 11 for its slot

/// Whether a value is the number of a subscriber: a positive integer that a double holds exactly.
bool isSubscriber(double value) {
  constexpr double twoTo53 = 9007199254740992.0;
  return value >= 1 && value < twoTo53 && static_cast<double>(static_cast<std::int64_t>(value)) == value;
}

std::uint64_t subscriberOf(double value) { return static_cast<std::uint64_t>(static_cast<std::int64_t>(value)); }

/// Whether the value of a header is a number of places or entries that a row may have.
bool isWidth(QUVENKeptRows::Form form, double value) {
  const bool isTable = form == QUVENKeptRows::Form::Table;
  const double most = isTable ? QUVENSparseRows::MaxPosition : std::numeric_limits<std::int32_t>::max();
  return value >= (isTable ? 1 : 0) && value <= most && std::floor(value) == value;
}

bool isUsableSum(double sum) { return std::isfinite(sum) && sum != 0; }

}  // namespace

bool QUVENKeptRows::load(Form form, QUVENNodeIndex& nodes, const std::string& reason, const QUVENEnvHandle& env) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  Outcome outcome = Outcome::NotWanted;
  if (reason.empty()) {
    outcome = read(form, nodes, QUVEN_ENV);
    // The rows are kept on all ranks or on none: in some passes the ranks read the file together.
    outcome = static_cast<Outcome>(transport.largestOfAll(static_cast<std::int32_t>(outcome)));
    // Rank 0 reports what the largest share would have needed, which may be that of another rank.
    if (outcome == Outcome::TooLarge) bytesNeeded = transport.largestOfAll(bytesNeeded);
  }
  if (outcome == Outcome::NotWanted) bytesNeeded = expectedBytes(form);
  if (outcome != Outcome::Kept) drop();
  state = outcome == Outcome::Kept ? Kept : FromFile;
  secondsOfReading += std::chrono::duration<double>(Clock::now() - start).count();
  if (transport.isMaster()) reportChoice(outcome, reason);
  return isLoaded();
}

bool QUVENKeptRows::loadTable(const std::string& reason, const QUVENEnvHandle& env) {
  QUVENNodeIndex nodes;
  if (load(Form::Table, nodes, reason, QUVEN_ENV)) orderNodes(nodes, QUVEN_ENV);
  nodes.deleteMemory(QUVEN_ENV);
  return isLoaded();
}

void QUVENKeptRows::drop() {
  callers = {};
  starts = {};
  contacts = {};
  weights = {};
  subscribers = {};
  blockContacts = {};
}

std::int64_t QUVENKeptRows::takeBytesRead() { return std::exchange(bytesRead, 0); }
double QUVENKeptRows::takeSecondsOfReading() { return std::exchange(secondsOfReading, 0); }

std::int64_t QUVENKeptRows::bytesInUse(const QUVENNodeIndex& nodes) const {
  const std::int64_t bytesOfRow = sizeof(Node) + sizeof(std::int64_t);
  return getNumContacts() * static_cast<std::int64_t>(sizeof(Node)) + getNumRows() * bytesOfRow +
         static_cast<std::int64_t>(weights.size() * sizeof(double)) + nodes.getSize() * bytesOfNode;
}

void QUVENKeptRows::reportChoice(Outcome outcome, const std::string& reason) const {
  const auto megabytes = [](std::int64_t bytes) {
    constexpr double bytesOfMegabyte = 1e6;
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << static_cast<double>(bytes) / bytesOfMegabyte << " MB";
    return text.str();
  };
  const std::string pass = megabytes(dataset.getTotalBytes());
  std::string text;
  if (outcome == Outcome::Kept) {
    text = "Rows: kept in memory, " + megabytes(bytesNeeded) + " of " + megabytes(memoryLimit) +
           " on this rank; from the file a pass would read " + pass;
  } else {
    text = "Rows: read from the file in each pass, " + pass;
    if (outcome == Outcome::Irregular) text += ", because they are not all regular";
    if (outcome == Outcome::NotWanted) text += ", because " + reason;
    if (outcome != Outcome::Irregular)
      text += "; in memory they would need about " + megabytes(bytesNeeded) + " on a rank";
    if (outcome == Outcome::TooLarge) text += ", of " + megabytes(memoryLimit);
  }
  report_log(1, text);
}

// Reading

/// Reads until the rows are complete, too large, or not regular.
QUVENKeptRows::Outcome QUVENKeptRows::read(Form form, QUVENNodeIndex& nodes, const QUVENEnvHandle& env) {
  drop();
  starts.push_back(0);
  isInRow = false;
  const bool hasTriples = dataset.getNumColumns() == recordColumns && dataset.getLineNumberColumn() == 0 &&
                          dataset.getTargetColumn() < 0 && dataset.hasNumericColumnsOnly();
  if (!hasTriples) return Outcome::Irregular;
  bytesNeeded = expectedBytes(form);
  if (bytesNeeded / 2 > memoryLimit) return Outcome::TooLarge;  // even if half of the records are headers and footers
  try {
    // Memory is reserved for the share that is to be expected, and used as it fills.
    const std::int64_t share = dataset.getTotalBytes() / recordBytes / numShares(form);
    const auto reserved = static_cast<std::size_t>(share + (numShares(form) > 1 ? share / 8 : 0));
    contacts.reserve(reserved);
    if (form == Form::PairSums) weights.reserve(reserved);
    dataset.setWorker(0, 1, QUVEN_ENV);
    dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
    dataset.rewind(QUVEN_ENV);
    for (std::span<const double> block; !(block = dataset.readBlock(QUVEN_ENV)).empty();) {
      bytesRead += static_cast<std::int64_t>(block.size_bytes());
      if (!take(form, block, nodes, QUVEN_ENV)) return Outcome::Irregular;
      const std::int64_t used = bytesInUse(nodes);
      if (used <= memoryLimit) continue;
      bytesNeeded = std::max(bytesNeeded, used);
      return Outcome::TooLarge;
    }
  } catch (const std::bad_alloc&) {
    return Outcome::TooLarge;
  }
  blockContacts = {};
  bytesNeeded = bytesInUse(nodes);
  return !isInRow && hasEachCallerOnce(nodes) ? Outcome::Kept : Outcome::Irregular;
}

int QUVENKeptRows::numShares(Form form) const { return form == Form::PairSums ? transport.getCount() : 1; }

/// What the contacts of a share would take if every record were one.
std::int64_t QUVENKeptRows::expectedBytes(Form form) const {
  const std::int64_t bytesOfContact = sizeof(Node) + (form == Form::PairSums ? sizeof(double) : 0);
  return dataset.getTotalBytes() / recordBytes / numShares(form) * bytesOfContact;
}

/// Whole lines are dealt over the ranks by their number.
bool QUVENKeptRows::isDealtTo(std::uint64_t subscriber, const QUVENWorkerTransport& transport) {
  const auto count = static_cast<std::uint64_t>(transport.getCount());
  return subscriber % count == static_cast<std::uint64_t>(transport.getRank());
}

/// Takes the records of a block. Returns whether they are regular.
bool QUVENKeptRows::take(Form form, std::span<const double> records, QUVENNodeIndex& nodes, const QUVENEnvHandle& env) {
  const bool isAlone = form == Form::Table || transport.isAlone();
  blockContacts.clear();
  const double* const end = records.data() + records.size();
  for (const double* record = records.data(); record != end; record += recordColumns) {
    const double caller = record[0];
    const double position = record[1];
    const double value = record[2];
    if (!isInRow) {
      if (!isSubscriber(caller) || position != 0 || !isWidth(form, value)) return false;
      isInRow = true;
      rowCaller = caller;
      rowWidth = value;
      rowSize = 0;
      rowSum = 0;
      isOwnRow = isAlone || isDealtTo(subscriberOf(caller), transport);
      if (isOwnRow) callers.push_back(static_cast<Node>(nodes.insert(subscriberOf(caller), QUVEN_ENV)));
      continue;
    }
    if (caller != rowCaller) return false;
    if (form == Form::Table) {
      if (position == static_cast<double>(rowSize + 1) && position <= rowWidth) {
        if (!isSubscriber(value)) return false;
        ++rowSize;
        blockContacts.push_back(subscriberOf(value));
        continue;
      }
      const bool isAfterPlaces = position > rowWidth && position <= QUVENSparseRows::MaxPosition;
      if (!isAfterPlaces || value != sparse_format::footerValue) return false;
    } else if (position != 0) {
      if (!isSubscriber(position) || !std::isfinite(value) || value == dataset_format::missingValue) return false;
      if (static_cast<double>(++rowSize) > rowWidth) return false;
      if (!isOwnRow) continue;
      rowSum += value;
      blockContacts.push_back(subscriberOf(position));
      weights.push_back(value);
      continue;
    } else if (value != sparse_format::pairSumFooterMark || !(rowSize == 0 || !isOwnRow || isUsableSum(rowSum))) {
      return false;
    }
    isInRow = false;
    if (isOwnRow) starts.push_back(getNumContacts() + static_cast<std::int64_t>(blockContacts.size()));
  }
  numberContacts(nodes, QUVEN_ENV);
  return true;
}

/// Enters the contacts of the current block into the index. Their places in it are prefetched.
void QUVENKeptRows::numberContacts(QUVENNodeIndex& nodes, const QUVENEnvHandle& env) {
  constexpr std::size_t slotsAhead = 24;
  constexpr std::size_t nodesAhead = 12;
  const std::size_t count = blockContacts.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (i + slotsAhead < count) nodes.prefetch(blockContacts[i + slotsAhead]);
    if (i + nodesAhead < count) nodes.prefetchNode(blockContacts[i + nodesAhead]);
    contacts.push_back(static_cast<Node>(nodes.insert(blockContacts[i], env)));
  }
}

bool QUVENKeptRows::hasEachCallerOnce(const QUVENNodeIndex& nodes) const {
  std::vector<bool> isCaller(static_cast<std::size_t>(nodes.getSize()) + 1);
  for (const Node caller : callers) {
    if (isCaller[caller]) return false;
    isCaller[caller] = true;
  }
  return true;
}

void QUVENKeptRows::orderNodes(QUVENNodeIndex& nodes, const QUVENEnvHandle& env) {
  const std::span<const std::uint32_t> ascending = nodes.getAscending(QUVEN_ENV);
  std::vector<Node> places(ascending.size() + 1);
  subscribers.resize(ascending.size());
  for (std::size_t place = 0; place < ascending.size(); ++place) {
    places[ascending[place]] = static_cast<Node>(place + 1);
    subscribers[place] = nodes.getNode(ascending[place]);
  }
  nodes.deleteMemory(QUVEN_ENV);
  renumber(places);
}

void QUVENKeptRows::renumber(std::span<const Node> numbers) {
  for (Node& node : callers) node = numbers[node];
  for (Node& node : contacts) node = numbers[node];
}
