#include "literal_dataset.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace literal {

namespace {

constexpr double missing = -99999.0;

/// One pass over a dataset, record by record.
class Pass {
 public:
  explicit Pass(const Dataset& itsDataset) : data(itsDataset), fields(itsDataset.columns.size(), "?") {
    width = static_cast<std::int64_t>(data.scanType == 8 ? 4 : data.columns.size());
    totalBytes = static_cast<std::int64_t>(data.values.size() * 8 + data.tailBytes);
    const std::int64_t records = totalBytes / (width * 8);
    const std::int64_t per = records / data.count;
    const std::int64_t rem = records % data.count;
    const std::int64_t own = data.rank * per;
    std::int64_t ownLast = own + per - 1;
    if (data.rank == data.count - 1) ownLast += rem;
    current = 0;
    last = records - 1;
    if (data.scanType == 0 || data.scanType == 8) {
      current = own;
      last = ownLast;
    }
    holdOutFirst = own;
    holdOutLast = ownLast;
    for (std::size_t c = 0; c < data.columns.size(); ++c) {
      if (data.columns[c].purpose == 3) lineColumn = c;
      if (data.columns[c].purpose == 2) targetColumn = static_cast<int>(c);
    }
  }

  /// False at the end.
  bool next(Delivery& delivery) {
    if (data.scanType == 4) {
      const std::int64_t skip = randomSkip(data.clock(), data.samplingRate);
      current += skip == -1 ? 4294967295 : skip;
    }
    if (data.scanType == 3 || atEnd || current > last) return false;
    if (data.scanType == 8) return nextLine(delivery);
    std::vector<double> record;
    if (!fetchByType(record)) return false;
    for (std::size_t c = 0; c < record.size(); ++c) set(c, record[c]);
    delivery = {static_cast<std::int32_t>(current - 1), fields, {}};
    return true;
  }

 private:
  bool fetch(std::vector<double>& record) {
    record.clear();
    const std::int64_t first = current * width;
    if ((first + width) * 8 > totalBytes) return false;
    for (std::int64_t i = 0; i < width; ++i) record.push_back(data.values[static_cast<std::size_t>(first + i)]);
    return true;
  }

  bool fetchByType(std::vector<double>& record) {
    if (data.scanType == 1) {
      bool found = fetch(record);
      while (holdOutFirst <= current && current <= holdOutLast) {
        ++current;
        found = fetch(record);
      }
      ++current;
      return found;
    }
    if (data.scanType == 5) {
      while (fetch(record)) {
        ++current;
        if (lineNumber(record[lineColumn]) % static_cast<unsigned>(data.count) == static_cast<unsigned>(data.rank))
          return true;
      }
      return false;
    }
    if (data.scanType == 7) return fetchSampled(record);
    const bool found = fetch(record);
    ++current;
    return found;
  }

  bool fetchSampled(std::vector<double>& record) {
    if (!fetch(record)) return false;
    ++current;
    std::uint64_t line = lineNumber(record[lineColumn]);
    if (line == lastLine) return true;
    lastLine = line;
    std::int64_t s = randomSkip(data.clock(), data.samplingRate);
    while (fetch(record)) {
      ++current;
      line = lineNumber(record[lineColumn]);
      if (line != lastLine) {
        lastLine = line;
        s = s - 1;
        if (s <= 0) return true;
      }
    }
    return false;
  }

  bool nextLine(Delivery& delivery) {
    std::vector<double> record;
    do {
      if (current > last || !fetch(record)) return false;
      ++current;
    } while (!headerSeen && record[2] != 0.0);
    headerSeen = true;
    const std::int32_t line = static_cast<std::int32_t>(lineNumber(record[1]));
    const int entries = static_cast<int>(record[3]);
    std::vector<std::int32_t> active;
    for (int i = 0; i < entries; ++i) {
      if (!fetch(record)) return false;
      ++current;
      const int column = static_cast<int>(record[2]);
      set(static_cast<std::size_t>(column - 1), record[3]);
      active.push_back(column);
    }
    if (!fetch(record)) return false;
    ++current;
    if (targetColumn >= 0) set(static_cast<std::size_t>(targetColumn), record[3]);
    if (current > last) atEnd = true;
    delivery = {line, fields, active};
    return true;
  }

  void set(std::size_t column, double value) {
    fields[column] = value == missing ? "-" : data.columns[column].isNumeric ? numericText(value) : categoryText(value);
  }

  const Dataset& data;
  std::vector<std::string> fields;
  std::int64_t width = 0;
  std::int64_t totalBytes = 0;
  std::int64_t current = 0;
  std::int64_t last = 0;
  std::int64_t holdOutFirst = 0;
  std::int64_t holdOutLast = 0;
  std::size_t lineColumn = 0;
  int targetColumn = -1;
  std::uint64_t lastLine = 0;
  bool headerSeen = false;
  bool atEnd = false;
};

}  // namespace

void PrintTo(const Delivery& delivery, std::ostream* out) {
  *out << delivery.number << ":";
  for (const std::string& field : delivery.fields) *out << " " << field;
  for (const std::int32_t index : delivery.active) *out << " +" << index;
}

std::string numericText(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

/// The fewest digits that read back as the number; whole numbers below 1e15 without an exponent.
std::string categoryText(double value) {
  if (value == std::floor(value) && std::fabs(value) < 1e15) {
    return std::to_string(static_cast<long long>(value));
  }
  for (int digits = 1;; ++digits) {
    std::ostringstream text;
    text << std::setprecision(digits) << value;
    if (std::strtod(text.str().c_str(), nullptr) == value || digits == 17) return text.str();
  }
}

std::int64_t randomSkip(std::uint32_t milliseconds, double rate) {
  std::srand(milliseconds % 1000);
  if (rate >= 10.0) return -1;
  std::int64_t result = -1;
  while (true) {
    const int r = std::rand();
    result = result + 1;
    if ((r % 1000) / 1000.0 <= rate) return result;
  }
}

std::uint64_t lineNumber(double value) {
  if (value >= 9.223372036854776e18) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value - 9.223372036854776e18)) + 0x8000000000000000U;
  }
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
}

std::vector<Delivery> Dataset::pass() const {
  Pass pass(*this);
  std::vector<Delivery> result;
  for (Delivery delivery; pass.next(delivery);) result.push_back(delivery);
  return result;
}

}  // namespace literal
