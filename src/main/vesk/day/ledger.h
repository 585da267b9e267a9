#ifndef VESK_DAY_LEDGER_H
#define VESK_DAY_LEDGER_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vesk {

/// A record file as a run has loaded it.
struct LedgerInput {
  std::string name;
  std::uint64_t bytes = 0;    ///< of the file, compressed or not
  std::string sha256;         ///< of the file
  std::string contentSha256;  ///< of what it holds; of a plain file the same
  std::uint64_t lines = 0;
  std::uint64_t accepted = 0;
};

/// One line of the ledger: a day that was loaded, or a step back to an earlier generation.
struct LedgerLine {
  enum class Action { Day, Rollback };

  Action action = Action::Day;
  std::string generation;  ///< that is current from here on
  std::string parent;      ///< Day: the generation it was made from, "" for none; Rollback: the one that was current
  std::string date;        ///< of the generation, YYYY-MM-DD
  std::string finished;    ///< UTC, YYYY-MM-DDThh:mm:ssZ

  // Of a day only.
  std::string version;
  std::map<std::string, std::string> settings;  ///< those that shape the state, by their tags
  std::string output;                           ///< name of the dataset
  std::vector<LedgerInput> inputs;
  std::uint64_t lines = 0;
  std::uint64_t accepted = 0;
  std::map<std::string, std::uint64_t> refused;  ///< lines by cause
  std::uint64_t restricted = 0;                  ///< entries left out by the special list
  std::uint64_t callers = 0;                     ///< of the state
  std::uint64_t entries = 0;                     ///< of the state
  std::uint64_t droppedByHorizon = 0;            ///< entries of the state before
  std::uint64_t stateBytes = 0;                  ///< of all files of the generation
  std::uint64_t peakMemoryBytes = 0;
  double seconds = 0.0;

  std::uint64_t inputBytes() const;
};

/// One line of JSON without a line feed.
std::string writeLedgerLine(const LedgerLine& line);

/// Errors: std::runtime_error with what is wrong: no JSON, a missing member, a generation or a date that is none.
LedgerLine readLedgerLine(const std::string& text);

/// Whether the text is the name of a generation: its date, a point and a number from 1, as in 2026-11-21.1.
bool isGenerationName(const std::string& text);

/// The lines of a ledger in the order in which they were written.
class Ledger {
 public:
  Ledger() = default;
  /// Reads the text of a ledger. A last line without its line feed is left out, see hasCutLine.
  /// Errors: std::runtime_error with the file's name and the number of the line that is wrong.
  Ledger(const std::string& text, const std::string& name);

  const std::vector<LedgerLine>& getLines() const { return lines; }
  /// Bytes of the whole lines.
  std::uint64_t wholeBytes() const { return whole; }
  bool hasCutLine() const { return isCut; }
  void add(LedgerLine line) { lines.push_back(std::move(line)); }

  /// The day that made a generation, or null.
  const LedgerLine* findDay(const std::string& generation) const;

  /// The days whose records a generation holds, the newest first.
  /// Errors: std::runtime_error if one of them has no line, or they lead in a circle.
  std::vector<const LedgerLine*> daysOf(const std::string& generation) const;

 private:
  std::vector<LedgerLine> lines;
  std::uint64_t whole = 0;
  bool isCut = false;
};

}  // namespace vesk

#endif  // VESK_DAY_LEDGER_H
