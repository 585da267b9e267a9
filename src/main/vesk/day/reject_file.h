#ifndef VESK_DAY_REJECT_FILE_H
#define VESK_DAY_REJECT_FILE_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/descriptor.h"
#include "loader_settings.h"
#include "records/record_lines.h"
#include "records/refusal.h"

namespace vesk {

/// Refused lines as a CSV file: file,line,byte,cause,field,columns,text. Line and columns count from 1, the byte from 0
/// in the content of the file. The text is that of the field, or the start of the line where the cause is about the
/// whole line.
///
/// Errors: std::runtime_error when writing fails.
class RejectFile {
 public:
  /// At most `most` lines a cause are written.
  RejectFile(const std::string& path, const vesk_loader::LoaderSettings& settings, std::uint64_t most);

  void add(const std::string& file, const RecordLine& record, const Refusal& refusal);
  void finish();

  std::uint64_t count(Cause cause) const { return counts[static_cast<std::size_t>(cause)]; }
  /// The first one of a cause in words: file, line, field and text.
  const std::string& example(Cause cause) const { return examples[static_cast<std::size_t>(cause)]; }

 private:
  const vesk_loader::LoaderSettings& settings;
  std::uint64_t mostPerCause;
  vesk_files::Descriptor file;
  std::string pending;
  std::array<std::uint64_t, CauseCount> counts{};
  std::array<std::string, CauseCount> examples;
};

}  // namespace vesk

#endif  // VESK_DAY_REJECT_FILE_H
