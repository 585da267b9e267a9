#include "day/day_run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <thread>

#include "check/input_check.h"
#include "check/parameter_check.h"
#include "counted.h"
#include "day/day_plan.h"
#include "day/feed_progress.h"
#include "day/generation_files.h"
#include "day/input_feed.h"
#include "day/loader_process.h"
#include "day/record_pipe.h"
#include "day/reject_file.h"
#include "day/room.h"
#include "day/state_check.h"
#include "day/state_folder.h"
#include "day/state_settings.h"
#include "day/stop_signal.h"
#include "files/descriptor.h"
#include "files/printable.h"
#include "files/sha256.h"

namespace vesk {

using vesk_files::CardFile;
using vesk_files::Descriptor;

namespace {

constexpr std::uint64_t checkedLines = 10000;
constexpr double mostOfStateDropped = 0.5;
constexpr std::uint64_t loaderLineLimit = std::uint64_t{1} << 32;  // its counters have 32 bits
constexpr std::uint64_t parameterLimitBytes = std::uint64_t{1} << 24;

[[noreturn]] void dataError(const std::string& text) { throw CommandFailure(Status::Data, text); }

bool isNotSupported(int error) { return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; }

// From where the file is read now to its end.
void copyBlocks(const Descriptor& in, const Descriptor& out) {
  std::string block(std::size_t{1} << 20, '\0');
  while (const std::size_t size = in.read(block.data(), block.size())) out.write({block.data(), size});
}

// Copies a file of the generation before; a file system that can share the blocks does so.
void copyFile(const std::string& from, const std::string& to) {
  const Descriptor in = Descriptor::openRegular(from);
  const Descriptor out = Descriptor::openToWrite(to, 0640);
  for (std::uint64_t left = in.sizeBytes(); left > 0;) {
    const ssize_t count = ::copy_file_range(in.get(), nullptr, out.get(), nullptr, left, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && isNotSupported(errno)) return copyBlocks(in, out);
    if (count < 0) throw std::runtime_error(vesk_files::systemFailure(to, "copy the state to it"));
    if (count == 0) throw std::runtime_error(from + ": became shorter while it was copied");
    left -= static_cast<std::uint64_t>(count);
  }
}

CardFile describeFile(const std::string& folder, const std::string& name) {
  const Descriptor file = Descriptor::openRegular(folder + "/" + name);
  return {name, file.sizeBytes(), vesk_files::sha256Of(file)};
}

bool exists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

std::uint64_t sizeOfFiles(const std::vector<CardFile>& files) {
  std::uint64_t sum = 0;
  for (const CardFile& file : files) sum += file.bytes;
  return sum;
}

// One run, step by step; the members are what the later steps need of the earlier ones.
class DayRun {
 public:
  DayRun(const DayOptions& options_, DayReport& report_, std::ostream& err_)
      : options(options_), report(report_), err(err_) {}

  void run() {
    const auto start = std::chrono::steady_clock::now();
    report.state = options.state;
    report.line.date = options.date.iso();
    readParameters();
    listFiles();
    openState();
    chooseStart();
    work = state->makeWork();
    try {
      load();
      describe();
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      report.line.seconds = seconds.count();
      commit();
    } catch (const CommandFailure& failure) {
      abandon(failure.getStatus(), failure.what());
      throw;
    } catch (const std::exception& error) {
      abandon(Status::Failed, error.what());
      throw;
    }
  }

  int horizonDays() const { return settings().dateHorizon; }

 private:
  const vesk_loader::LoaderSettings& settings() const { return parameters.settings; }

  void remark(const std::string& text) {
    report.remarks.push_back(text);
    err << "vesk: " << text << '\n';
  }

  void readParameters() {
    try {
      parameterText = vesk_files::readWholeFile(options.parameters, parameterLimitBytes);
    } catch (const std::runtime_error& error) {
      dataError(error.what());
    }
    parameters = checkParameters(parameterText, options.parameters);
    requireNoErrors(parameters.findings, vesk_files::printable(options.parameters));
  }

  // Findings that are errors end the run.
  void requireNoErrors(const std::vector<ParameterFinding>& findings, const std::string& name) {
    std::vector<std::string> errors;
    for (const ParameterFinding& finding : findings) {
      if (finding.isError) errors.push_back(finding.text);
    }
    if (errors.empty()) return;
    if (errors.size() == 1) dataError(errors.front());
    for (const std::string& text : errors) remark(text);
    dataError(counted(errors.size(), "error") + " in " + name + "; nothing was loaded");
  }

  void listFiles() {
    files = listInput(options.input);
    requireOtherFile(options.rejects, files);
    const auto list = parameters.tags.find("SpecialList/File");
    if (list != parameters.tags.end()) requireOtherFile(options.rejects, listInput(list->second));
  }

  void openState() {
    state = std::make_unique<StateFolder>(StateFolder::forRun(options.state, options.isNew, options.waitSeconds));
    for (const std::string& found : state->recover()) remark(found);
    listFiles();  // files can have come and gone while the run waited for the lock
  }

  void chooseStart() {
    base = chooseBase(*state, options);
    if (options.redo && base.generation != state->getCurrent()) {
      remark("the day " + options.date.iso() + " is taken back: generation " + state->getCurrent());
    }
    const std::string recordDates = chooseRecordDates(options, settings(), base);
    report.line.settings = stateSettings(settings(), recordDates);
    requireSameSettings(report.line.settings, base);
    if (recordDates == "none" && settings().dateHorizon != -1) {
      remark("the DateHorizon has no effect with --record-dates none");
    }
    dates = datesOf(settings(), recordDates, options.date);
    requireNewFiles(files, base, state->getLedger());
    if (options.check) {
      requireNoErrors(checkInput(parameters, files, dates, checkedLines),
                      "the first lines of " + vesk_files::printable(options.input));
    }
    requireRoom();
    names = std::make_unique<GenerationFiles>(settings(), options.output);
  }

  void requireRoom() {
    const std::vector<LedgerLine>& lines = state->getLedger().getLines();
    const auto last = std::find_if(lines.rbegin(), lines.rend(),
                                   [](const LedgerLine& line) { return line.action == LedgerLine::Action::Day; });
    if (last == lines.rend()) return;
    std::uint64_t bytes = 0;
    for (const InputFile& file : files) bytes += file.bytes;
    const std::optional<std::string> lack = lackOfRoom(estimateRoom(*last, bytes), options.state);
    if (!lack) return;
    if (!options.force) throw CommandFailure(Status::Refused, *lack + "; --force runs all the same");
    remark(*lack);
  }

  std::string inWork(const std::string& name) const { return work + "/" + name; }

  void load() {
    vesk_files::replaceFile(inWork(ParametersName), parameterText, 0640);
    if (!base.generation.empty()) {
      for (const std::string& name : names->processParts()) {
        copyFile(state->folderOf(base.generation) + "/" + name, inWork(name));
      }
    }
    RecordPipe pipe(inWork("records"));
    RejectFile rejects(options.rejects.empty() ? inWork(RejectsName) : options.rejects, settings(), options.rejectsMax);
    report.rejects = options.rejects;
    LoaderProcess loader(
        {"datadir", pipe.getFolder(), inWork(ParametersName), inWork(ProcessName), inWork(names->dataset()),
         std::to_string(dates.format), std::to_string(options.date.loaderNumber()), "-v", "0"},
        inWork(LoaderLogName));
    countBase();
    std::atomic<bool> loaderHasEnded = false;
    std::future<std::vector<PartitionCheck>> checking;
    try {
      checking = std::async(std::launch::async, [&] { return checkPartitions(loaderHasEnded); });
      feedAll(pipe, loader, rejects);
      pipe.close();
      finishLoader(loader, pipe);
    } catch (const LoaderEnded& ended) {
      loaderHasEnded = true;
      finishLoader(loader, pipe);
      throw std::runtime_error(ended.what());
    } catch (...) {
      loaderHasEnded = true;  // what the check then finds is a consequence
      throw;
    }
    loaderHasEnded = true;
    takeChecks(checking.get());
    pipe.remove();
  }

  // Follows the loader: a partition's process file is complete when its dataset is begun, and the dataset when its
  // description is there.
  std::vector<PartitionCheck> checkPartitions(const std::atomic<bool>& loaderHasEnded) const {
    std::vector<PartitionCheck> found;
    for (std::size_t p = 0; p < names->partitions(); ++p) {
      const std::string process = inWork(names->process(p));
      const std::string dataset = inWork(names->datasetPart(p));
      while (!loaderHasEnded && !exists(dataset)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      if (names->isBinary()) {
        const IsWritten isWritten = [&] { return loaderHasEnded || exists(dataset + ".info"); };
        found.push_back(checkPartition(process, dataset, settings(), isWritten));
      } else {
        found.push_back({countState(process, shapeOf(settings()), std::nullopt)});
      }
    }
    return found;
  }

  void takeChecks(std::vector<PartitionCheck> found) {
    checks = std::move(found);
    for (const PartitionCheck& check : checks) {
      report.line.callers += check.state.callers;
      report.line.entries += check.state.entries;
      report.files.insert(report.files.end(), check.state.files.begin(), check.state.files.end());
      report.files.insert(report.files.end(), check.files.begin(), check.files.end());
    }
    for (const std::string& name : names->all()) {
      const bool isKnown = std::any_of(report.files.begin(), report.files.end(),
                                       [&](const CardFile& file) { return file.name == name; });
      if (!isKnown) report.files.push_back(describeFile(work, name));
    }
    report.line.stateBytes = sizeOfFiles(report.files);
  }

  // Reads the state before while the loader reads its copy.
  void countBase() {
    if (base.generation.empty()) return;
    const std::string folder = state->folderOf(base.generation);
    const std::vector<CardFile> stored = readStoredReport(folder + "/" + RunReportName).files;
    StateCounts counts;
    for (const std::string& name : names->processParts()) {
      std::optional<vesk_loader::CutoffTest> cutoff;
      if (dates.cutoff != 0.0) cutoff.emplace(dates.cutoff, static_cast<std::uint32_t>(dates.format));
      counts += countState(folder + "/" + name, shapeOf(settings()), cutoff);
      requireStored(folder, stored, counts.files.back());
    }
    report.line.droppedByHorizon = counts.tooOld;
    const bool isMost = static_cast<double>(counts.tooOld) > mostOfStateDropped * static_cast<double>(counts.entries);
    if (!isMost || options.force) return;
    dataError(grouped(counts.tooOld) + " of the " + grouped(counts.entries) +
              " entries of the state are older than the horizon of " + std::to_string(settings().dateHorizon) +
              " days before " + options.date.iso() +
              "; nothing was loaded. Check --date and --record-dates; --force drops them");
  }

  void requireStored(const std::string& folder, const std::vector<CardFile>& stored, const CardFile& found) const {
    const auto known =
        std::find_if(stored.begin(), stored.end(), [&](const CardFile& file) { return file.name == found.name; });
    if (known != stored.end() && known->bytes == found.bytes && known->sha256 == found.sha256) return;
    throw std::runtime_error(folder + "/" + found.name + ": not what the run of " + base.days.front()->date +
                             " has written; --rollback goes back to a day before");
  }

  void feedAll(RecordPipe& pipe, LoaderProcess& loader, RejectFile& rejects) {
    std::uint64_t bytes = 0;
    for (const InputFile& file : files) bytes += file.bytes;
    const InputFeed feed(files, settings(), dates);
    FeedProgress progress(err, ::isatty(STDERR_FILENO) == 1, bytes * names->partitions());
    const auto pass = [&](std::size_t partition, RejectFile* file) {
      pipe.open(loader);
      FeedResult result =
          feed.run([&](std::string_view lines) { pipe.write(lines); }, file,
                   [&](std::uint64_t readBytes, std::uint64_t readLines) {
                     progress.show(bytes * partition + readBytes, report.line.lines * partition + readLines);
                   });
      pipe.close();
      return result;
    };
    const FeedResult first = pass(0, &rejects);
    rejects.finish();
    take(first, rejects);
    for (std::size_t partition = 1; partition < names->partitions(); ++partition) {
      requireSame(first, pass(partition, nullptr));
    }
    requireSameFiles();
  }

  // A file that came while the others were read is not in this day.
  void requireSameFiles() const {
    const std::vector<InputFile> now = listInput(options.input);
    for (const InputFile& file : now) {
      if (!std::ranges::binary_search(files, file.name, {}, &InputFile::name))
        dataError(vesk_files::printable(file.path) + ": came while the input was read; run again when it is complete");
    }
    if (now.size() != files.size()) {
      dataError(vesk_files::printable(options.input) +
                ": files went away while the input was read; run again when it is complete");
    }
  }

  void take(const FeedResult& result, const RejectFile& rejects) {
    LedgerLine& line = report.line;
    line.inputs = result.inputs;
    line.lines = result.lines;
    line.accepted = result.accepted;
    line.restricted = result.restricted;
    for (std::size_t i = 0; i < CauseCount; ++i) {
      const auto cause = static_cast<Cause>(i);
      if (cause != Cause::Restricted && rejects.count(cause) > 0)
        line.refused[std::string(nameOf(cause))] = rejects.count(cause);
    }
    for (const std::string& text : result.remarks) remark(text);
    requireNewInputs(line.inputs, base, state->getLedger());
    requireGoodLines(rejects);
  }

  void requireGoodLines(const RejectFile& rejects) const {
    const LedgerLine& line = report.line;
    const std::uint64_t refused = line.lines - line.accepted;
    const double share = line.lines == 0 ? 0.0 : static_cast<double>(refused) / static_cast<double>(line.lines);
    if (line.lines == 0) dataError("the input has no line; nothing was loaded");
    if (line.accepted > 0 && share <= options.maxBad) return;
    Cause worst = Cause::ShortLine;
    for (std::size_t i = 0; i < CauseCount; ++i) {
      const auto cause = static_cast<Cause>(i);
      if (cause != Cause::Restricted && rejects.count(cause) > rejects.count(worst)) worst = cause;
    }
    const std::string what = line.accepted == 0
                                 ? "none of the " + counted(line.lines, "line") + " can be loaded"
                                 : grouped(refused) + " of " + counted(line.lines, "line") + " (" + percentText(share) +
                                       ") cannot be loaded, more than --max-bad " + percentText(options.maxBad);
    const bool isOfDates = worst == Cause::NoSuchDate || worst == Cause::AfterDay || worst == Cause::BeforeHorizon;
    dataError(what + "; the most frequent cause is \"" + std::string(nameOf(worst)) + "\" (" +
              counted(rejects.count(worst), "line") + "), as in " + rejects.example(worst) + "; nothing was loaded" +
              (isOfDates ? ". Check --date and --record-dates" : ""));
  }

  static void requireSame(const FeedResult& first, const FeedResult& other) {
    for (std::size_t i = 0; i < first.inputs.size(); ++i) {
      if (first.inputs[i].sha256 != other.inputs[i].sha256) {
        dataError(vesk_files::printable(first.inputs[i].name) +
                  ": the file changed while it was read; run again when it is complete");
      }
    }
  }

  void finishLoader(LoaderProcess& loader, const RecordPipe& pipe) {
    const LoaderEnd end = loader.wait();
    report.line.peakMemoryBytes = end.peakMemoryBytes;
    const LoaderReports reports = readLoaderLog(inWork(LoaderLogName), pipe.getPath());
    if (end.status != 0) throw std::runtime_error(whyLoaderFailed(end, reports));
    const std::uint64_t passes = names->partitions();
    if (reports.linesOmitted != 0 || reports.linesScanned != report.line.accepted % loaderLineLimit * passes) {
      throw std::runtime_error("the loader has scanned " + counted(reports.linesScanned, "line") + " and omitted " +
                               grouped(reports.linesOmitted) + " of the " + grouped(report.line.accepted) +
                               " that it was given; nothing was loaded");
    }
    for (const std::string& text : reports.warnings) {
      if (!text.starts_with("1372")) remark("loader: " + text);  // 1372 says that no line was omitted
    }
  }

  std::string whyLoaderFailed(const LoaderEnd& end, const LoaderReports& reports) const {
    std::string why = "the loader ended with status " + std::to_string(end.status);
    if (end.status > 128) why = "the loader was ended by signal " + std::to_string(end.status - 128);
    if (!reports.errors.empty()) why += ": " + vesk_files::printable(reports.errors.front());
    constexpr std::uint64_t little = 1 << 20;
    if (availableDisk(options.state) < little)
      why += "; the disk of " + vesk_files::printable(options.state) + " is full";
    return why;
  }

  void describe() {
    report.line.generation = state->nextName(options.date);
    report.line.parent = base.generation;
    report.line.version = VESK_VERSION;
    report.line.output = options.output;
    std::vector<vesk_files::DatasetCard> cards = names->cards(report.files, checks);
    for (std::size_t i = 0; i < cards.size(); ++i) {
      cards[i].run = report.line.generation;
      cards[i].version = VESK_VERSION;
      cards[i].settings = report.line.settings;
      Descriptor::openToWrite(inWork(names->cardName(i)), 0640).write(writeCard(cards[i]));
    }
  }

  void commit() {
    report.line.finished = utcNow();
    if (report.rejects.empty()) report.rejects = options.state + "/current/" + RejectsName;
    Descriptor::openToWrite(inWork(RunReportName), 0640).write(report.json());
    StopSignal::check();
    for (const std::string& text : state->commit(work, report.line)) remark(text);
    try {
      state->prune(options.keep);
    } catch (const std::exception& error) {
      remark(error.what());
    }
  }

  // The run ends without a commit.
  void abandon(Status status, const std::string& message) {
    report.status = status;
    report.message = message;
    if (report.rejects.empty()) report.rejects = options.state + "/last-failed/" + RejectsName;
    report.line.generation.clear();
    try {
      Descriptor::openToWrite(inWork(RunReportName), 0640).write(report.json());
    } catch (const std::exception& error) {
      remark(error.what());
    }
    try {
      state->abandon(work);
    } catch (const std::exception& error) {
      remark(error.what());
    }
  }

  const DayOptions& options;
  DayReport& report;
  std::ostream& err;
  std::string parameterText;
  CheckedParameters parameters;
  std::vector<InputFile> files;
  std::unique_ptr<StateFolder> state;
  DayBase base;
  RecordDates dates;
  std::unique_ptr<GenerationFiles> names;
  std::vector<PartitionCheck> checks;
  std::string work;
};

}  // namespace

void runDay(const DayOptions& options, DayReport& report, std::ostream& out, std::ostream& err) {
  const StopSignal stop;
  DayRun run(options, report, err);
  run.run();
  printDay(out, report, run.horizonDays());
}

}  // namespace vesk
