#include "day/reject_file.h"

#include <algorithm>

#include "files/printable.h"

namespace vesk {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 16;
constexpr std::size_t shownOfText = 200;

void appendCell(std::string& row, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    row += text;
    return;
  }
  row += '"';
  for (const char c : text) {
    if (c == '"') row += '"';
    row += c;
  }
  row += '"';
}

}  // namespace

RejectFile::RejectFile(const std::string& path, const vesk_loader::LoaderSettings& settings_, std::uint64_t most)
    : settings(settings_), mostPerCause(most), file(vesk_files::Descriptor::openToWrite(path, 0640)) {
  pending = "file,line,byte,cause,field,columns,text\n";
}

void RejectFile::add(const std::string& name, const RecordLine& record, const Refusal& refusal) {
  const auto cause = static_cast<std::size_t>(refusal.cause);
  ++counts[cause];
  if (counts[cause] > mostPerCause && counts[cause] > 1) return;
  std::string_view text(record.line.text, record.line.length);
  std::string field;
  std::string columns;
  if (refusal.field != Refusal::WholeLine) {
    const auto first = static_cast<std::size_t>(settings.fieldStarts[refusal.field]);
    const auto last = static_cast<std::size_t>(settings.fieldEnds[refusal.field]);
    field = settings.fieldNames[refusal.field];
    columns = std::to_string(first + 1) + "-" + std::to_string(last + 1);
    if (refusal.cause != Cause::ShortLine) text = text.substr(std::min(first, text.size()), last - first + 1);
  }
  text = text.substr(0, shownOfText);
  if (counts[cause] == 1) {
    examples[cause] = vesk_files::printable(name) + " line " + std::to_string(record.number);
    if (!field.empty()) examples[cause] += ", field " + vesk_files::printable(field) + " in columns " + columns;
    examples[cause] += ": [" + vesk_files::printable(text) + "]";
  }
  if (counts[cause] > mostPerCause) return;
  appendCell(pending, name);
  pending += ',' + std::to_string(record.number) + ',' + std::to_string(record.byte) + ',';
  appendCell(pending, nameOf(refusal.cause));
  pending += ',';
  appendCell(pending, field);
  pending += ',' + columns + ',';
  // Readers of CSV files stop at a NUL.
  appendCell(pending, text.find('\0') == std::string_view::npos ? std::string(text) : vesk_files::printable(text));
  pending += '\n';
  if (pending.size() < blockBytes) return;
  file.write(pending);
  pending.clear();
}

void RejectFile::finish() {
  file.write(pending);
  pending.clear();
  file.sync();
  file.close();
}

}  // namespace vesk
