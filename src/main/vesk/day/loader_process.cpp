#include "day/loader_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "day/stop_signal.h"
#include "files/descriptor.h"

namespace vesk {

namespace {

constexpr const char* programName = "vesk-loader";
constexpr int cannotStart = 127;

std::string pathOfLoader() {
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe");
  std::string path = own.parent_path() / programName;
  if (::access(path.c_str(), X_OK) != 0) throw std::runtime_error(vesk_files::systemFailure(path, "run the loader"));
  return path;
}

// In the child: nothing here allocates.
[[noreturn]] void becomeLoader(const char* program, char* const* arguments, int log, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(cannotStart);
  for (const int number : {SIGPIPE, SIGXFSZ, SIGTERM, SIGINT, SIGHUP}) ::signal(number, SIG_DFL);
  const int nothing = ::open("/dev/null", O_RDONLY);
  if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0 || ::dup2(log, STDOUT_FILENO) < 0 ||
      ::dup2(log, STDERR_FILENO) < 0) {
    ::_exit(cannotStart);
  }
  ::execv(program, arguments);
  ::_exit(cannotStart);
}

// The fields of a report line between ";|" marks: "Error;|code;|text;|ErrorEnd", with a parameter before some texts.
std::string textOfReport(std::string_view report) {
  std::vector<std::string_view> fields;
  while (true) {
    const std::size_t mark = report.find(";|");
    fields.push_back(report.substr(0, mark));
    if (mark == std::string_view::npos) break;
    report.remove_prefix(mark + 2);
  }
  if (fields.size() < 2) return std::string(fields.front());
  return std::string(fields.front()) + ": " + std::string(fields.back());
}

std::uint64_t numberBefore(std::string_view text, std::string_view words) {
  const std::size_t place = text.find(words);
  if (place == std::string_view::npos) return 0;
  std::size_t start = place;
  while (start > 0 && text[start - 1] >= '0' && text[start - 1] <= '9') --start;
  std::uint64_t number = 0;
  std::from_chars(text.data() + start, text.data() + place, number);
  return number;
}

}  // namespace

LoaderProcess::LoaderProcess(const std::vector<std::string>& arguments, const std::string& log) {
  const std::string program = pathOfLoader();
  std::vector<std::string> texts{programName};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  const vesk_files::Descriptor logFile = vesk_files::Descriptor::openToWrite(log, 0640);
  const pid_t parent = ::getpid();
  child = ::fork();
  if (child == 0) becomeLoader(program.c_str(), pointers.data(), logFile.get(), parent);
  if (child < 0) throw std::runtime_error(vesk_files::systemFailure(program, "start the loader"));
}

LoaderProcess::~LoaderProcess() {
  if (end) return;
  ::kill(child, SIGKILL);
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

void LoaderProcess::take(int status, std::uint64_t peakMemoryBytes) {
  end = LoaderEnd{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), peakMemoryBytes};
}

bool LoaderProcess::isRunning() {
  if (end) return false;
  int status = 0;
  struct rusage usage {};
  const pid_t result = ::wait4(child, &status, WNOHANG, &usage);
  if (result == child) take(status, static_cast<std::uint64_t>(usage.ru_maxrss) * 1024);
  return !end;
}

LoaderEnd LoaderProcess::wait() {
  while (!end) {
    int status = 0;
    struct rusage usage {};
    const pid_t result = ::wait4(child, &status, 0, &usage);
    if (result == child) {
      take(status, static_cast<std::uint64_t>(usage.ru_maxrss) * 1024);
    } else if (errno == EINTR) {
      StopSignal::check();
    } else {
      throw std::runtime_error(vesk_files::systemFailure(programName, "wait for the loader"));
    }
  }
  return *end;
}

LoaderReports readLoaderLog(const std::string& path, const std::string& recordFile) {
  const std::string text = vesk_files::readWholeFile(path);
  LoaderReports reports;
  const std::string_view all = text;
  const auto collect = [&](std::string_view start, std::string_view finish, std::vector<std::string>& list) {
    for (std::size_t place = all.find(start); place != std::string_view::npos; place = all.find(start, place + 1)) {
      const std::size_t from = place + start.size();
      const std::size_t stop = all.find(finish, from);
      if (stop == std::string_view::npos) return;
      const std::string found = textOfReport(all.substr(from, stop - from));
      if (std::find(list.begin(), list.end(), found) == list.end()) list.push_back(found);
    }
  };
  collect("Error;|", ";|ErrorEnd", reports.errors);
  collect("Warning;|", ";|WarningEnd", reports.warnings);
  // The name of the file can hold anything, also line feeds and the words themselves.
  const std::string statistics = "Stats for file: " + recordFile + "\n";
  for (std::size_t place = all.find(statistics); place != std::string_view::npos;
       place = all.find(statistics, place + 1)) {
    const std::size_t line = place + statistics.size();
    const std::string_view counts = all.substr(line, all.find('\n', line) - line);
    reports.linesScanned += numberBefore(counts, " lines ");
    reports.linesOmitted += numberBefore(counts, " omitted ");
  }
  return reports;
}

}  // namespace vesk
