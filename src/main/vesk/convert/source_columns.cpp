#include "convert/source_columns.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "command.h"
#include "csv/column_choice.h"

namespace vesk {

namespace {

[[noreturn]] void refuse(const std::string& why) { throw CommandFailure(Status::Data, why); }

/// Whether a heading is an id: digits, with + and blanks allowed.
bool looksLikeId(std::string_view text) {
  return std::ranges::any_of(text, [](char c) { return c >= '0' && c <= '9'; }) &&
         std::ranges::all_of(text, [](char c) { return (c >= '0' && c <= '9') || c == '+' || c == ' '; });
}

}  // namespace

SourceColumns::SourceColumns(const ConvertOptions& options, CsvRows& rows, std::string file)
    : fileName(std::move(file)), hasHeader(options.hasHeader) {
  if (!rows.next()) refuse(fileName + " is empty");
  if (rows.getFault() != RowFault::None) refuse(fileName + ": the first row cannot be read: a quote is not closed");
  headings.assign(rows.getCells().begin(), rows.getCells().end());
  rowWaiting = !hasHeader;
  choose(FieldRole::Caller, options.caller, "Caller");
  choose(FieldRole::Callee, options.callee, "Callee");
  if (places[0] == places[1]) refuse(fileName + ": the caller and the callee are the same column");
  if (!options.time.empty()) choose(FieldRole::Date, options.time, "Date");
  if (!options.duration.empty()) choose(FieldRole::Duration, options.duration, "Duration");
  if (!options.count.empty()) choose(FieldRole::Count, options.count, "Count");
  for (const std::string& payload : options.payloads) choose(FieldRole::Payload, payload, nullptr);
  if (hasHeader && looksLikeId(headings[places[0]]) && looksLikeId(headings[places[1]])) {
    refuse(fileName + ": the first row looks like a record and not like a header; use --no-header");
  }
}

void SourceColumns::choose(FieldRole role, const std::string& column, const char* name) {
  const std::size_t place = placeOfColumn(headings, hasHeader, column, fileName);
  const std::string heading = hasHeader ? headings[place] : "column " + std::to_string(place + 1);
  roles.push_back(role);
  places.push_back(place);
  names.push_back(heading);
  fieldNames.push_back(name == nullptr ? heading : name);
}

void SourceColumns::refuseOtherNames(const SourceColumns& first) const {
  const auto lower = [](unsigned char c) { return std::tolower(c); };
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (std::ranges::equal(names[i], first.names[i], {}, lower, lower)) continue;
    refuse(fileName + ": column " + std::to_string(places[i] + 1) + " is " + names[i] + ", but " + first.names[i] +
           " in " + first.fileName + "; name the columns, or convert the files one by one");
  }
}

void SourceColumns::addTo(RecordColumns& columns) const {
  for (std::size_t i = 0; i < roles.size(); ++i) columns.add(roles[i], fieldNames[i]);
}

}  // namespace vesk
