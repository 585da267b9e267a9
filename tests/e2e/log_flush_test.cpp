#include <poll.h>
#include <sys/stat.h>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

/// A loader that waits for its records: the record file is a pipe that stays open and empty.
class LoaderLogRun : public LoaderCase {
 protected:
  LoaderLogRun() {
    parameters("fields 1-5 7-7; Key 1; Output Sparse; op Add 2 2");
    if (::mkfifo(path("in/a").c_str(), 0600) != 0) throw std::runtime_error("cannot make a pipe");
    recordPipe = ::open(path("in/a").c_str(), O_RDWR | O_CLOEXEC);  // for both directions: waits for no reader
    if (recordPipe < 0) throw std::runtime_error("cannot open the pipe");
  }
  ~LoaderLogRun() override {
    if (loader > 0) {
      ::kill(loader, SIGKILL);
      ::waitpid(loader, nullptr, 0);
    }
    if (log >= 0) ::close(log);
    ::close(recordPipe);
  }

  void start() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
    const std::string program = std::string(VESK_BIN_DIR) + "/vesk-loader";
    const std::string directory = path("");
    loader = ::fork();
    if (loader < 0) throw std::runtime_error("cannot fork");
    if (loader == 0) {
      if (::dup2(ends[1], 1) < 0 || ::chdir(directory.c_str()) != 0) ::_exit(126);
      ::execl(program.c_str(), "vesk-loader", "in", "fmt", "none", "out", "0", startDate.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    log = ends[0];
  }

  /// Reads the log until it has `size` bytes, ends, or is silent for 20 seconds.
  std::string read(std::size_t size) const {
    std::string text;
    pollfd waiting{log, POLLIN, 0};
    while (text.size() < size && ::poll(&waiting, 1, 20000) > 0) {
      char bytes[4096];
      const ssize_t count = ::read(log, bytes, sizeof bytes);
      if (count <= 0) break;
      text.append(bytes, static_cast<std::size_t>(count));
    }
    return text;
  }

  pid_t loader = -1;

 private:
  int recordPipe = -1;
  int log = -1;
};

// The log used to come in one piece at the end of the run, and not at all from a run that was killed.
TEST_F(LoaderLogRun, ThroughAPipeTheLogIsCompleteWhenTheScanOfAFileBegins) {
  const std::string expected = head() + opened() + listed({"a"}) + scanBegins("a");
  start();
  EXPECT_EQ(read(expected.size()), expected);
}

}  // namespace
}  // namespace vesk_e2e
