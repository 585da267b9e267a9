#include "day/state_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

#include "command.h"
#include "day/day_report.h"
#include "day/stop_signal.h"
#include "files/printable.h"

namespace vesk {

namespace fs = std::filesystem;
using vesk_files::Descriptor;

namespace {

constexpr const char* generationsName = "generations";
constexpr const char* currentName = "current";
constexpr const char* nextLinkName = ".current.new";
constexpr const char* ledgerName = "ledger.jsonl";
constexpr const char* failedName = "last-failed";
constexpr const char* lockName = ".lock";
constexpr const char* workStart = ".work-";
constexpr const char* removedStart = ".old-";
constexpr double graceSeconds = 5.0;
constexpr unsigned folderPermissions = 0750;
constexpr unsigned filePermissions = 0640;

enum class Kind { Nothing, File, Folder, Link, Other };

Kind kindOf(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return Kind::Nothing;
    throw std::runtime_error(vesk_files::systemFailure(path, "read what it is"));
  }
  if (S_ISREG(status.st_mode)) return Kind::File;
  if (S_ISDIR(status.st_mode)) return Kind::Folder;
  return S_ISLNK(status.st_mode) ? Kind::Link : Kind::Other;
}

[[noreturn]] void refuse(const std::string& text) { throw CommandFailure(Status::Refused, text); }
[[noreturn]] void fail(const std::string& text) { throw CommandFailure(Status::Failed, text); }

// Each name in the folder of a state has its kind; another kind could lead out of the folder.
void requireKind(const std::string& path, Kind kind, const char* what) {
  if (kindOf(path) != kind) fail(path + ": not " + what + "; the state cannot be used");
}

void makeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), folderPermissions) != 0 && errno != EEXIST) {
    throw std::runtime_error(vesk_files::systemFailure(path, "make the folder"));
  }
}

void renameOrFail(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0) throw std::runtime_error(vesk_files::systemFailure(to, "rename to it"));
}

void removeTree(const std::string& path) {
  std::error_code error;
  fs::remove_all(path, error);
  if (error) throw std::runtime_error(path + ": cannot remove: " + error.message());
}

bool isOwnName(const std::string& name) {
  static const std::set<std::string> names = {generationsName, currentName, nextLinkName,
                                              ledgerName,      failedName,  lockName};
  return names.contains(name) || name.starts_with(workStart) || name.starts_with(removedStart);
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string readRegular(const std::string& path) {
  requireKind(path, Kind::File, "a file");
  return vesk_files::readWhole(Descriptor::openRegular(path));
}

// The process that has written itself into the lock, 0 for none.
pid_t holderOf(int descriptor) {
  std::string text(20, '\0');
  const ssize_t size = ::pread(descriptor, text.data(), text.size(), 0);
  return size > 0 ? static_cast<pid_t>(std::atoll(text.c_str())) : 0;
}

LedgerLine rollbackLine(const std::string& generation, const std::string& before, const std::string& finished) {
  LedgerLine line;
  line.action = LedgerLine::Action::Rollback;
  line.generation = generation;
  line.parent = before;
  line.date = generation.substr(0, generation.find('.'));
  line.finished = finished;
  return line;
}

}  // namespace

StateFolder::StateFolder(std::string folder) : path(std::move(folder)) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
}

StateFolder StateFolder::forReading(const std::string& path) {
  StateFolder state(path);
  if (!fs::is_directory(path)) refuse(vesk_files::printable(path) + ": there is no such state folder");
  state.readContent();
  if (state.current.empty()) refuse(vesk_files::printable(path) + ": the folder holds no state");
  return state;
}

StateFolder StateFolder::forRun(const std::string& path, bool isNew, double waitSeconds) {
  StateFolder state(path);
  if (!fs::exists(path)) {
    if (!isNew) refuse(vesk_files::printable(path) + ": there is no such state folder; a first run says --new");
    makeFolder(state.path);
    vesk_files::syncFolder(fs::absolute(state.path).parent_path());
  }
  if (!fs::is_directory(path)) refuse(vesk_files::printable(path) + ": the state is no folder");
  for (const std::string& name : namesIn(state.path)) {
    if (!isOwnName(name)) {
      refuse(vesk_files::printable(path) + ": holds " + vesk_files::printable(name) +
             ", which is no part of a state; choose a folder of its own");
    }
  }
  state.lock(waitSeconds);
  state.readContent();
  const bool hasState = !state.current.empty();
  if (!hasState && !state.ledger.getLines().empty()) {
    refuse(state.path + ": the link current is missing; vesk day --rollback DATE " + state.path +
           " makes a generation current");
  }
  if (!hasState && !isNew) refuse(state.path + ": the folder holds no state yet; a first run says --new");
  if (hasState && isNew) {
    refuse(state.path + ": there is a state already, of " + state.current + "; leave --new away to go on with it");
  }
  return state;
}

StateFolder StateFolder::forRollback(const std::string& path, double waitSeconds) {
  StateFolder state(path);
  if (!fs::is_directory(path)) refuse(vesk_files::printable(path) + ": there is no such state folder");
  if (kindOf(state.path + "/" + ledgerName) == Kind::Nothing)
    refuse(vesk_files::printable(path) + ": the folder holds no state");
  state.lock(waitSeconds);
  state.readContent();
  return state;
}

void StateFolder::lock(double waitSeconds) {
  const std::string name = path + "/" + lockName;
  const int descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, filePermissions);
  if (descriptor < 0) throw std::runtime_error(vesk_files::systemFailure(name, "open the lock"));
  lockFile = Descriptor(descriptor, name);
  const auto start = std::chrono::steady_clock::now();
  while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) throw std::runtime_error(vesk_files::systemFailure(name, "lock"));
    StopSignal::check();
    const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
    const pid_t holder = holderOf(descriptor);
    // The child of a killed run can hold the lock for a moment.
    const bool isGone = holder > 0 && ::kill(holder, 0) != 0 && errno == ESRCH;
    if (waited.count() >= std::max(waitSeconds, isGone ? graceSeconds : 0.0)) {
      refuse(path + ": another run works on this state (process " + std::to_string(holder) +
             "); --wait SECONDS waits for its end");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  const std::string holder = std::to_string(::getpid());
  if (::ftruncate(descriptor, 0) != 0 || ::pwrite(descriptor, holder.data(), holder.size(), 0) < 0) {
    throw std::runtime_error(vesk_files::systemFailure(name, "write"));
  }
}

std::string StateFolder::readCurrent() const {
  const std::string name = path + "/" + currentName;
  const Kind kind = kindOf(name);
  if (kind == Kind::Nothing) return "";
  if (kind != Kind::Link) fail(name + ": not a link; the state cannot be used");
  const std::string target = fs::read_symlink(name);
  const std::string start = std::string(generationsName) + "/";
  if (!target.starts_with(start) || !isGenerationName(target.substr(start.size()))) {
    fail(name + ": leads to " + vesk_files::printable(target) + ", which is no generation of this state");
  }
  const std::string generation = target.substr(start.size());
  if (!has(generation)) fail(name + ": leads to " + generation + ", which is not there");
  return generation;
}

void StateFolder::readContent() {
  const std::string name = path + "/" + ledgerName;
  if (kindOf(name) != Kind::Nothing) {
    try {
      ledger = Ledger(readRegular(name), name);
    } catch (const CommandFailure&) {
      throw;
    } catch (const std::runtime_error& error) {
      fail(error.what());
    }
  }
  current = readCurrent();
}

bool StateFolder::has(const std::string& generation) const {
  const std::string folder = path + "/" + generationsName;
  if (kindOf(folder) == Kind::Nothing) return false;
  requireKind(folder, Kind::Folder, "a folder");
  return kindOf(folderOf(generation)) == Kind::Folder;
}

std::string StateFolder::folderOf(const std::string& generation) const {
  return path + "/" + generationsName + "/" + generation;
}

std::vector<std::string> StateFolder::namesOfGenerations() const {
  const std::string folder = path + "/" + generationsName;
  if (kindOf(folder) == Kind::Nothing) return {};
  requireKind(folder, Kind::Folder, "a folder");
  return namesIn(folder);
}

std::vector<std::string> StateFolder::recover() {
  std::vector<std::string> found;
  removeLeftovers(found);
  if (ledger.hasCutLine()) {
    if (::truncate((path + "/" + ledgerName).c_str(), static_cast<off_t>(ledger.wholeBytes())) != 0) {
      throw std::runtime_error(vesk_files::systemFailure(path + "/" + ledgerName, "cut the unfinished line"));
    }
    found.push_back("the last line of the ledger was not finished and was removed");
  }
  if (!current.empty()) {
    completeLedger(found);
    try {
      ledger.daysOf(current);
    } catch (const std::runtime_error& error) {
      fail(path + "/" + ledgerName + ": " + error.what());
    }
  }
  removeUncommitted(found);
  return found;
}

void StateFolder::removeLeftovers(std::vector<std::string>& found) const {
  for (const std::string& name : namesIn(path)) {
    if (name.starts_with(workStart)) {
      removeTree(path + "/" + name);
      found.push_back("a run before this one ended before its commit; its folder " + vesk_files::printable(name) +
                      " was removed");
    } else if (name.starts_with(removedStart)) {
      try {
        removeTree(path + "/" + name);
      } catch (const std::runtime_error& error) {
        found.emplace_back(error.what());  // the next run tries again
      }
    }
  }
  ::unlink((path + "/" + nextLinkName).c_str());
}

// Adds the line that a run or a rollback did not write because it was killed after the rename of the link.
void StateFolder::completeLedger(std::vector<std::string>& found) {
  if (ledger.findDay(current) == nullptr) {
    const std::string report = folderOf(current) + "/" + RunReportName;
    try {
      requireKind(report, Kind::File, "a file");
      const LedgerLine line = readStoredReport(report).line;
      if (line.generation != current) throw std::runtime_error("it is of another generation");
      appendToLedger(line);
    } catch (const std::exception& error) {
      fail(report + ": the ledger has no line for " + current + ", and the report cannot give it: " + error.what());
    }
    found.push_back("the ledger had no line for the current generation " + current + "; it was added");
  }
  const std::string last = ledger.getLines().back().generation;
  if (last == current) return;
  appendToLedger(rollbackLine(current, last, utcNow()));
  found.push_back("the link current leads to " + current + " and the last line of the ledger was of " + last +
                  "; a line for the rollback was added");
}

// A killed run leaves at most one generation without a line, made from one that has a line. More of them show that the
// ledger has lost lines; then nothing is removed.
void StateFolder::removeUncommitted(std::vector<std::string>& found) const {
  std::vector<std::string> uncommitted;
  for (const std::string& name : namesOfGenerations()) {
    if (!isGenerationName(name)) {
      refuse(path + "/" + generationsName + " holds " + vesk_files::printable(name) +
             ", which is no generation; move it away");
    }
    if (ledger.findDay(name) == nullptr) uncommitted.push_back(name);
  }
  if (uncommitted.empty()) return;
  const std::string& name = uncommitted.front();
  if (uncommitted.size() > 1 || !isParentKnown(name)) {
    fail(path + "/" + ledgerName + ": has no line for the generation " + name +
         (uncommitted.size() > 1 ? " and others" : "") +
         ", so lines are missing; put the whole ledger back, or move these generations away");
  }
  removeTree(folderOf(name));
  found.push_back("a run before this one ended before its commit; its generation " + name + " was removed");
}

// Without a report nothing tells the parent: the removal of the generation had begun.
bool StateFolder::isParentKnown(const std::string& generation) const {
  const std::string report = folderOf(generation) + "/" + RunReportName;
  if (kindOf(report) != Kind::File) return true;
  const std::string parent = readStoredReport(report).line.parent;
  return parent.empty() || ledger.findDay(parent) != nullptr;
}

std::string StateFolder::newestOf(const std::string& date) const {
  const std::vector<LedgerLine>& lines = ledger.getLines();
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    if (line->action == LedgerLine::Action::Day && line->date == date && has(line->generation)) return line->generation;
  }
  return "";
}

std::string StateFolder::nextName(const CalendarDay& date) const {
  std::uint32_t last = 0;
  const std::string start = date.iso() + ".";
  const auto take = [&](const std::string& name) {
    if (isGenerationName(name) && name.starts_with(start)) {
      last = std::max(last, static_cast<std::uint32_t>(std::stoul(name.substr(start.size()))));
    }
  };
  for (const LedgerLine& line : ledger.getLines()) take(line.generation);
  for (const std::string& name : namesOfGenerations()) take(name);
  std::string name = start + std::to_string(last + 1);
  if (!isGenerationName(name)) fail(path + ": no number is left for a generation of " + date.iso());
  return name;
}

std::string StateFolder::makeWork() {
  std::string name = path + "/" + workStart + "XXXXXX";
  if (::mkdtemp(name.data()) == nullptr)
    throw std::runtime_error(vesk_files::systemFailure(path, "make a folder in it"));
  if (::chmod(name.c_str(), folderPermissions) != 0)
    throw std::runtime_error(vesk_files::systemFailure(name, "open to the group"));
  return name;
}

void StateFolder::makeCurrent(const std::string& generation) {
  const std::string next = path + "/" + nextLinkName;
  const std::string target = std::string(generationsName) + "/" + generation;
  ::unlink(next.c_str());
  if (::symlink(target.c_str(), next.c_str()) != 0)
    throw std::runtime_error(vesk_files::systemFailure(next, "make the link"));
  renameOrFail(next, path + "/" + currentName);
  current = generation;
}

void StateFolder::appendToLedger(const LedgerLine& line) {
  const std::string name = path + "/" + ledgerName;
  const int descriptor = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, filePermissions);
  if (descriptor < 0) throw std::runtime_error(vesk_files::systemFailure(name, "open"));
  Descriptor file(descriptor, name);
  file.write(writeLedgerLine(line) + "\n");
  file.sync();
  file.close();
  ledger.add(line);
}

std::vector<std::string> StateFolder::commit(const std::string& work, const LedgerLine& line) {
  for (const std::string& name : namesIn(work)) Descriptor::openToRead(work + "/" + name).sync();
  vesk_files::syncFolder(work);
  const std::string generations = path + "/" + generationsName;
  makeFolder(generations);
  requireKind(generations, Kind::Folder, "a folder");
  renameOrFail(work, folderOf(line.generation));
  vesk_files::syncFolder(generations);
  vesk_files::syncFolder(path);
  makeCurrent(line.generation);
  std::vector<std::string> remarks;
  try {
    vesk_files::syncFolder(path);
    appendToLedger(line);
  } catch (const std::exception& error) {
    remarks.push_back(std::string(error.what()) + "; the day is loaded, and the next run adds its line to the ledger");
  }
  return remarks;
}

void StateFolder::abandon(const std::string& work) {
  if (kindOf(work) != Kind::Folder) return;
  const std::string failed = path + "/" + failedName;
  try {
    removeTree(failed);
    makeFolder(failed);
    for (const char* name : {LoaderLogName, RejectsName, RunReportName}) {
      if (kindOf(work + "/" + name) == Kind::File) renameOrFail(work + "/" + name, failed + "/" + name);
    }
  } catch (...) {
    removeTree(work);  // a full disk has room again
    throw;
  }
  removeTree(work);
}

std::vector<std::string> StateFolder::rollback(const std::string& generation) {
  requireWhole(generation);
  const LedgerLine line = rollbackLine(generation, current, utcNow());
  makeCurrent(generation);
  std::vector<std::string> remarks;
  try {
    vesk_files::syncFolder(path);
    appendToLedger(line);
  } catch (const std::exception& error) {
    remarks.push_back(std::string(error.what()) + "; the next run adds the line of the rollback to the ledger");
  }
  return remarks;
}

// All files that the run has listed are there, with their sizes; the next run compares the hashes of those it reads.
void StateFolder::requireWhole(const std::string& generation) const {
  const std::string folder = folderOf(generation) + "/";
  for (const vesk_files::CardFile& file : readStoredReport(folder + RunReportName).files) {
    if (file.name.find('/') != std::string::npos) fail(folder + RunReportName + ": lists a file of another folder");
    if (Descriptor::openRegular(folder + file.name).sizeBytes() != file.bytes) {
      fail(folder + vesk_files::printable(file.name) + ": not what the run has written; choose another date");
    }
  }
}

void StateFolder::prune(std::size_t keep) {
  std::vector<std::string> wanted;
  for (const LedgerLine* const day : ledger.daysOf(current)) wanted.push_back(day->generation);
  const std::vector<LedgerLine>& lines = ledger.getLines();
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    if (line->action == LedgerLine::Action::Day) wanted.push_back(line->generation);
  }
  std::set<std::string> kept;
  for (const std::string& name : wanted) {
    if (kept.size() < keep && has(name)) kept.insert(name);
  }
  for (const std::string& name : namesOfGenerations()) {
    if (kept.contains(name)) continue;
    // A generation is there whole or not at all, also if the removal is interrupted.
    const std::string removed = path + "/" + removedStart + name;
    renameOrFail(folderOf(name), removed);
    removeTree(removed);
  }
}

}  // namespace vesk
