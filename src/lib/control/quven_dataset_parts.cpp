#include "control/quven_dataset_parts.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "control/quven_partition.h"

namespace {

namespace fs = std::filesystem;

std::string partName(const std::string& dataset, std::size_t number) { return dataset + "." + std::to_string(number); }

bool isFile(const std::string& path) {
  std::error_code unknown;  // an unknown status counts as no such file
  return fs::exists(path, unknown) && !fs::is_directory(path, unknown);
}

/// The largest number of a part, plus 1.
std::size_t countParts(const std::string& dataset) {
  const fs::path folder = fs::path(dataset).parent_path();
  const std::string prefix = fs::path(dataset).filename().string() + ".";
  std::size_t count = 0;
  std::error_code unreadable;  // a folder that cannot be listed has no parts
  for (fs::directory_iterator entry(folder.empty() ? "." : folder, unreadable), end; !unreadable && entry != end;
       entry.increment(unreadable)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(prefix)) continue;
    std::size_t number = 0;
    const auto [stop, error] = std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number);
    if (error != std::errc() || prefix + std::to_string(number) != name) continue;
    if (number < largestPartitionCount) count = std::max(count, number + 1);
  }
  return count;
}

}  // namespace

QUVENDatasetFiles quvenFindDatasetFiles(const std::string& name) {
  QUVENDatasetFiles files;
  if (isFile(name)) {
    files.paths = {name};
    for (std::size_t number = 0; number < largestPartitionCount && files.wrongFile.empty(); ++number) {
      if (!isFile(partName(name, number))) continue;
      files.wrongFile = partName(name, number);
      files.mistake = "a part is beside the single file " + name + "; one of them is of another run";
    }
    return files;
  }
  const std::size_t count = countParts(name);
  for (std::size_t number = 0; number < count; ++number) {
    files.paths.push_back(partName(name, number));
    if (!files.wrongFile.empty() || isFile(files.paths.back())) continue;
    files.wrongFile = files.paths.back();
    files.mistake = "a part of the dataset is missing";
  }
  files.areParts = count > 0;
  if (!files.areParts) files.paths = {name};
  return files;
}
