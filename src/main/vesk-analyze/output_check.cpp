#include "output_check.h"

#include <unistd.h>

#include <filesystem>
#include <list>

#include "control/quven_result_file.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

namespace fs = std::filesystem;

constexpr int OutputUnwritable = 2302;

bool isWritable(const OutputFile& file) {
  std::error_code unknown;
  const fs::file_status status = fs::status(file.path, unknown);
  if (fs::is_directory(status)) return false;
  const bool isRegular = fs::is_regular_file(status);
  // A pipe is not opened: closing it would be the end of file for its reader.
  if (fs::exists(status) && (!isRegular || !file.isReplaced)) return ::access(file.path.c_str(), W_OK) == 0;
  const QUVENResultFile attempt(file.path);
  return attempt.isOpen();
}

}  // namespace

void checkOutputsDiffer(std::span<const OutputFile> files, std::span<const std::string> inputs,
                        const QUVENEnvHandle& env) {
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string& path = files[i].path;
    for (const std::string& input : inputs) {
      if (!quvenIsSameFile(path, input)) continue;
      report_error(OutputUnwritable, path, "vesk-analyze: the output would take the place of what is read", QUVEN_ENV,
                   true);
    }
    for (std::size_t j = 0; j < i; ++j) {
      if (!quvenIsSameFile(path, files[j].path)) continue;
      report_error(OutputUnwritable, path, "vesk-analyze: two outputs have one name", QUVEN_ENV, true);
    }
  }
}

void checkOutputsBefore(std::span<const OutputFile> files, const char* words, const QUVENEnvHandle& env) {
  for (const OutputFile& file : files) {
    if (!isWritable(file)) report_error(OutputUnwritable, file.path, words, QUVEN_ENV, true);
  }
}

void checkOutputsAfter(std::span<const OutputFile> files, const std::string& failedFile, const QUVENEnvHandle& env) {
  constexpr const char* words = outputUnwritable;
  if (!failedFile.empty()) report_error(OutputUnwritable, failedFile, words, QUVEN_ENV, true);
  for (const OutputFile& file : files) {
    std::error_code unknown;
    if (!fs::exists(file.path, unknown)) report_error(OutputUnwritable, file.path, words, QUVEN_ENV, true);
  }
}

void RunFiles::checkWritable(const char* words, const QUVENEnvHandle& env) const {
  checkOutputsBefore(outputs, words, QUVEN_ENV);
  const auto checkOne = [&](const std::string& path, const char* itsWords) {
    const OutputFile file[] = {{path}};
    if (!path.empty()) checkOutputsBefore(file, itsWords, QUVEN_ENV);
  };
  checkOne(results, resultsUnwritable);
  checkOne(resultsJson, resultsUnwritable);
  checkOne(timings, timingsUnwritable);
}

void RunFiles::checkNames(const QUVENEnvHandle& env) const {
  std::vector<OutputFile> files = outputs;
  for (const std::string& path : {results, resultsJson, timings}) {
    if (!path.empty()) files.push_back({path});
  }
  checkOutputsDiffer(files, inputs, QUVEN_ENV);
}

void writeOutputs(std::span<const WrittenOutput> outputs, const QUVENEnvHandle& env) {
  std::string unwritable;
  {
    // The report ends the run, so incomplete files are removed before it.
    std::list<QUVENResultFile> files;
    for (const WrittenOutput& output : outputs) {
      QUVENResultFile& file = files.emplace_back(output.path);
      if (file.isOpen()) output.write(file.getStream());
      if (!file.close()) {
        unwritable = output.path;
        break;
      }
    }
    auto output = outputs.begin();
    for (auto file = files.begin(); unwritable.empty() && file != files.end(); ++file, ++output) {
      if (!file->commit()) unwritable = output->path;
    }
  }
  if (unwritable.empty()) return;
  report_error(OutputUnwritable, unwritable, outputUnwritable, QUVEN_ENV, true);
}

}  // namespace vesk_analyze
