// Whole runs of the loader against lower bounds that make the same files, in turns, each run in a process of its own.
//
//   whole_run_bench [--records N] [--callers N] [--rounds N] [--directory DIR]
//
// Prints the median of the rounds: seconds, records and bytes a second, peak memory, and the ratio to the bounds. The
// output of a run is compared with that of its bound, byte by byte, before anything is timed.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "loader_driver.h"
#include "loader_params.h"
#include "lower_bounds.h"
#include "record_generator.h"
#include "record_layout.h"

namespace {

namespace fs = std::filesystem;

struct Options {
  std::uint64_t records = 10'000'000;
  std::uint32_t callers = 500'000;
  int rounds = 5;
  fs::path directory = fs::temp_directory_path() / "whole_run_bench";
};

struct Measure {
  double seconds = 0.0;
  double peakMebibytes = 0.0;
};

// Runs a function in a child process with its standard output thrown away.
Measure measure(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    work();
    std::fflush(stdout);
    ::_exit(0);
  }
  int status = 0;
  rusage usage{};
  if (::wait4(child, &status, 0, &usage) != child || status != 0) throw std::runtime_error("a run failed");
  Measure result;
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  result.peakMebibytes = static_cast<double>(usage.ru_maxrss) / 1024.0;
  return result;
}

Measure median(std::vector<Measure> measures) {
  std::sort(measures.begin(), measures.end(), [](const Measure& a, const Measure& b) { return a.seconds < b.seconds; });
  return measures[measures.size() / 2];
}

bool same_bytes(const fs::path& a, const fs::path& b) {
  std::ifstream first(a, std::ios::binary);
  std::ifstream second(b, std::ios::binary);
  return first && second &&
         std::equal(std::istreambuf_iterator<char>(first), {}, std::istreambuf_iterator<char>(second), {});
}

struct Run {
  const char* name;
  vesk_generate::LoaderRun kind;
  void (*bound)(const std::string& records, const std::string& stem);
  std::vector<std::string> suffixes;  // of the files that are compared
  double target;                      // ratio to the bound
};

class Bench {
 public:
  explicit Bench(const Options& options_)
      : options(options_), input(options_.directory / "in"), records(input / "calls") {
    fs::create_directories(input);
    writeRecords();
    bytes = static_cast<double>(fs::file_size(records));
    lines = measureRounds([this] { lower_bounds::read_lines(records); });
    print("read, find line ends", lines);
    inserts = measureRounds([this] { lower_bounds::read_and_insert(records); });
    print("and numbers, one insert", inserts);
  }

  void run(const Run& run) {
    const std::string params = (options.directory / run.name).string() + ".xml";
    writeParams(run.kind, params);
    const std::string loaderStem = (options.directory / run.name).string() + ".loader";
    const std::string boundStem = (options.directory / run.name).string() + ".bound";
    const auto loader = [&] {
      const std::string directory = input.string();
      const char* const arguments[] = {"vesk-loader", directory.c_str(), params.c_str(), "none", loaderStem.c_str(),
                                       "2",           "20200101"};
      vesk_loader::run_loader(7, arguments);
    };
    const auto bound = [&] { run.bound(records, boundStem); };
    measure(loader);
    measure(bound);
    for (const std::string& suffix : run.suffixes) {
      if (!same_bytes(loaderStem + suffix, boundStem + suffix)) {
        throw std::runtime_error(std::string(run.name) + suffix + ": the bound writes other bytes than the loader");
      }
    }
    std::vector<Measure> loaderRounds;
    std::vector<Measure> boundRounds;
    std::vector<double> ratios;
    for (int round = 0; round < options.rounds; ++round) {
      boundRounds.push_back(measure(bound));
      loaderRounds.push_back(measure(loader));
      ratios.push_back(loaderRounds.back().seconds / boundRounds.back().seconds);
    }
    std::sort(ratios.begin(), ratios.end());
    print((std::string(run.name) + ", bound").c_str(), median(boundRounds));
    const Measure result = median(loaderRounds);
    print((std::string(run.name) + ", loader").c_str(), result);
    std::printf("%-26s ratio to its bound %.2f (%.2f to %.2f, aim %.1f); to the line ends %.2f\n", run.name,
                ratios[ratios.size() / 2], ratios.front(), ratios.back(), run.target, result.seconds / lines.seconds);
    const auto outputBytes = static_cast<double>(fs::file_size(loaderStem));
    std::printf("%-26s %.0f bytes of peak memory a caller, %.1f bytes a triple of the output\n", run.name,
                result.peakMebibytes * 1048576.0 / options.callers,
                result.peakMebibytes * 1048576.0 / (outputBytes / 24.0));
  }

 private:
  void writeRecords() {
    vesk_generate::GeneratorSettings settings;
    settings.records = options.records;
    settings.callers = options.callers;
    vesk_generate::RecordGenerator generator(settings);
    std::ofstream file(records, std::ios::binary);
    std::vector<char> buffer(20000 * generator.lineBytes());
    while (generator.recordsLeft() > 0) {
      file.write(buffer.data(), static_cast<std::streamsize>(generator.fill(20000, buffer)));
    }
    if (!file.flush()) throw std::runtime_error("cannot write the records");
  }

  static void writeParams(vesk_generate::LoaderRun kind, const std::string& path) {
    vesk_generate::LoaderParamsSettings settings;
    settings.run = kind;
    std::ofstream file(path);
    vesk_generate::writeLoaderParams(file, settings, vesk_generate::RecordLayout());
    if (!file.flush()) throw std::runtime_error("cannot write the parameter file");
  }

  Measure measureRounds(const std::function<void()>& work) {
    measure(work);
    std::vector<Measure> rounds;
    for (int round = 0; round < options.rounds; ++round) rounds.push_back(measure(work));
    return median(rounds);
  }

  void print(const char* name, const Measure& result) const {
    std::printf("%-26s %6.3f s %7.2f M records/s %7.0f MB/s %7.0f MiB peak\n", name, result.seconds,
                static_cast<double>(options.records) / result.seconds / 1e6, bytes / result.seconds / 1e6,
                result.peakMebibytes);
    std::fflush(stdout);
  }

  Options options;
  fs::path input;
  fs::path records;
  double bytes = 0.0;
  Measure lines;
  Measure inserts;
};

Options read_options(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--records") options.records = std::strtoull(argv[i + 1], nullptr, 10);
    if (name == "--callers") options.callers = static_cast<std::uint32_t>(std::strtoul(argv[i + 1], nullptr, 10));
    if (name == "--rounds") options.rounds = std::atoi(argv[i + 1]);
    if (name == "--directory") options.directory = argv[i + 1];
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
#ifndef NDEBUG
  std::fprintf(stderr, "whole_run_bench: a debug build tells nothing about speed\n");
  return 1;
#endif
  try {
    const Options options = read_options(argc, argv);
    Bench bench(options);
    bench.run({"pairsum", vesk_generate::LoaderRun::PairSum, lower_bounds::pair_sums, {"", ".info"}, 1.5});
    bench.run({"table", vesk_generate::LoaderRun::Table, lower_bounds::table_of_20, {"", "_payload_1", ".info"}, 2.0});
    bench.run({"sums", vesk_generate::LoaderRun::Sums, lower_bounds::sums, {"", ".info"}, 2.0});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "whole_run_bench: %s\n", error.what());
    return 1;
  }
}
