#include "files/card_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

#include "control/quven_partition.h"
#include "files/descriptor.h"
#include "files/printable.h"
#include "files/sha256.h"

namespace vesk_files {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t mostCardBytes = std::uint64_t{64} << 20;
constexpr std::string_view infoEnding = ".info";

/// Opens a regular file that is no symbolic link. A pipe or a device is refused before its first byte is read.
/// Returns: a closed descriptor if there is no such file.
/// Errors: std::runtime_error with the path.
Descriptor openRegularFile(const std::string& path) {
  const int number = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (number < 0 && errno == ENOENT) return {};
  if (number < 0 && errno == ELOOP) throw std::runtime_error(path + ": a symbolic link; it is not followed");
  if (number < 0) throw std::runtime_error(systemFailure(path, "open the file"));
  Descriptor file(number, path);
  struct stat status {};
  if (::fstat(number, &status) != 0) throw std::runtime_error(systemFailure(path, "read the size"));
  if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": not a regular file");
  return file;
}

/// The names that the binary files of a dataset can have: START END for a single file, START.NUMBER END for a part.
struct NamePattern {
  std::string start;
  std::string end;  ///< "_payload_1" for example; empty for a dataset that is no payload

  std::string single() const { return start + end; }
  std::string part(std::size_t number) const { return start + "." + std::to_string(number) + end; }
  /// Whether a name is the single file or a part with a number that a loader run can give.
  bool fits(std::string_view name) const {
    if (!name.starts_with(start) || !name.ends_with(end) || name.size() < start.size() + end.size()) return false;
    std::string_view middle = name.substr(start.size(), name.size() - start.size() - end.size());
    if (middle.empty()) return true;
    if (middle.front() != '.') return false;
    middle.remove_prefix(1);
    std::size_t number = 0;
    const auto [stop, error] = std::from_chars(middle.data(), middle.data() + middle.size(), number);
    return error == std::errc() && number < static_cast<std::size_t>(largestPartitionCount) && name == part(number);
  }
};

NamePattern patternOf(const std::string& name, DatasetKind kind) {
  if (kind != DatasetKind::Payload) return {name, ""};
  const std::size_t mark = name.rfind("_payload_");
  if (mark == std::string::npos) return {name, ""};
  return {name.substr(0, mark), name.substr(mark)};
}

/// Whether the card lists the single file, or the parts from 0 in their order.
bool hasNames(const NamePattern& pattern, const std::vector<CardFile>& parts) {
  if (parts.size() == 1 && parts.front().name == pattern.single()) return true;
  for (std::size_t number = 0; number < parts.size(); ++number) {
    if (parts[number].name != pattern.part(number)) return false;
  }
  return true;
}

std::string runText(const DatasetCard& card) { return "; the card is of run " + printable(card.run); }

/// What is wrong with a listed file; empty for nothing.
std::string mistakeOf(const std::string& path, const CardFile& listed, CardCheck check, const DatasetCard& card) {
  const Descriptor file = openRegularFile(path);
  if (!file.isOpen()) return "the file is missing, and the dataset's card lists it" + runText(card);
  const std::uint64_t bytes = file.sizeBytes();
  if (bytes != listed.bytes) {
    return "the file has " + std::to_string(bytes) + " bytes and its card says " + std::to_string(listed.bytes) +
           "; it was cut or changed, or is of another run" + runText(card);
  }
  if (check == CardCheck::Sizes) return {};
  Sha256 hash;
  std::vector<char> block(std::size_t{1} << 20);
  while (const std::size_t size = file.read(block.data(), block.size())) hash.update(block.data(), size);
  if (hash.finish() == listed.sha256) return {};
  return "the SHA-256 of the file is not that of its card; it was changed, or is of another run" + runText(card);
}

/// A file of the folder that has a name of the dataset's and that the card does not list; empty for none.
std::string unlistedFile(const std::string& folder, const NamePattern& pattern, const std::set<std::string>& listed) {
  std::vector<std::string> unlisted;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder.empty() ? "." : folder)) {
    const std::string name = entry.path().filename().string();
    const bool isInfo = std::string_view(name).ends_with(infoEnding);
    const std::string_view data = std::string_view(name).substr(0, name.size() - (isInfo ? infoEnding.size() : 0));
    if (!listed.contains(name) && pattern.fits(data)) unlisted.push_back(name);
  }
  return unlisted.empty() ? "" : *std::ranges::min_element(unlisted);
}

/// The text of an error behind the path that it starts with.
std::string withoutPath(std::string text, const std::string& path) {
  if (text.starts_with(path + ": ")) text.erase(0, path.size() + 2);
  return text;
}

}  // namespace

std::optional<std::string> readCardText(const std::string& path) {
  const Descriptor file = openRegularFile(path);
  if (!file.isOpen()) return std::nullopt;
  if (file.sizeBytes() > mostCardBytes) throw std::runtime_error(path + ": too large for a card");
  std::string text(file.sizeBytes(), '\0');
  std::size_t used = 0;
  while (used < text.size()) {
    const std::size_t size = file.read(text.data() + used, text.size() - used);
    if (size == 0) break;
    used += size;
  }
  text.resize(used);
  return text;
}

std::optional<CardMismatch> compareWithCard(const std::string& datasetPath, const DatasetCard& card, CardCheck check) {
  const std::size_t slash = datasetPath.find_last_of('/') + 1;
  const std::string folder = datasetPath.substr(0, slash);
  const std::string name = datasetPath.substr(slash);
  const NamePattern pattern = patternOf(name, card.kind);
  if (!hasNames(pattern, card.parts)) {
    const bool isPart = std::ranges::find(card.parts, name, &CardFile::name) != card.parts.end();
    const std::string text =
        isPart ? "the file is one of the " + std::to_string(card.parts.size()) + " parts of a dataset; name the dataset"
               : "its card " + cardPath(datasetPath) + " is that of other files, the first is " +
                     printable(card.parts.front().name);
    return CardMismatch{datasetPath, text};
  }
  std::set<std::string> listed;
  for (const std::vector<CardFile>* files : {&card.parts, &card.companions}) {
    for (const CardFile& file : *files) {
      const std::string path = folder + file.name;
      listed.insert(file.name);
      try {
        const std::string mistake = mistakeOf(path, file, check, card);
        if (!mistake.empty()) return CardMismatch{printable(path), mistake};
      } catch (const std::runtime_error& error) {
        return CardMismatch{printable(path), printable(withoutPath(error.what(), path))};
      }
    }
  }
  try {
    const std::string unlisted = unlistedFile(folder, pattern, listed);
    if (unlisted.empty()) return std::nullopt;
    return CardMismatch{printable(folder + unlisted),
                        "the file is not listed in the dataset's card; it is left from another run" + runText(card)};
  } catch (const fs::filesystem_error& error) {
    return CardMismatch{folder, "cannot list the folder: " + error.code().message()};
  }
}

}  // namespace vesk_files
