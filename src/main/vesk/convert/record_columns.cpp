#include "convert/record_columns.h"

#include <algorithm>
#include <cctype>

namespace vesk {

namespace {

constexpr int horizonDays = 30;
constexpr int tableSize = 20;
constexpr int longCallSeconds = 300;

std::size_t widthOf(FieldRole role) {
  switch (role) {
    case FieldRole::Caller:
    case FieldRole::Callee:
      return 16;
    case FieldRole::Date:
      return 8;
    case FieldRole::Duration:
      return 12;
    case FieldRole::Count:
      return 10;
    case FieldRole::Payload:
      return 24;
  }
  return 0;
}

std::string tag(const std::string& name, const std::string& content) {
  return std::string("<").append(name).append(">").append(content).append("</").append(name).append(">");
}
std::string tagLine(const std::string& name, const std::string& content) {
  return std::string("  ").append(tag(name, content)).append("\n");
}
std::string tagLine(const std::string& name, std::size_t number) { return tagLine(name, std::to_string(number)); }

/// Writes operations with the numbers 1, 2, ...
class Operations {
 public:
  void add(const std::string& name, int field, const std::string& rest = {}) {
    text += tagLine("Operation" + std::to_string(++count),
                    tag("OpName", name) + tag("Input", std::to_string(field)) + rest);
  }
  /// Output 1 of sums is kept between runs but never written, so the outputs begin at 2.
  void addSum(const std::string& name, int field, const std::string& rest = {}) {
    add(name, field, tag("Output", std::to_string(++output)) + rest);
  }
  std::string text;

 private:
  int count = 0;
  int output = 1;
};

}  // namespace

void RecordColumns::add(FieldRole role, std::string_view name) {
  RecordField field{role, std::string(name), columns == 0 ? 0 : columns + 1, widthOf(role)};
  std::ranges::replace_if(
      field.name, [](unsigned char c) { return std::isalnum(c) == 0 || c >= 0x80; }, '_');
  if (field.name.empty()) field.name.push_back('_');
  columns = field.first + field.width;
  fields.push_back(std::move(field));
}

/// The number of the first field of a role in a parameter file; 0 if there is none.
int RecordColumns::numberOf(FieldRole role) const {
  const auto place = std::ranges::find(fields, role, &RecordField::role);
  return place == fields.end() ? 0 : static_cast<int>(place - fields.begin()) + 1;
}

std::string RecordColumns::beginParameters() const {
  std::string text = "<LoaderParams>\n";
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const RecordField& field = fields[i];
    text += tagLine("Field" + std::to_string(i + 1), tag("Name", field.name) + tag("Type", "Numeric") +
                                                         tag("Start", std::to_string(field.first + 1)) +
                                                         tag("End", std::to_string(field.first + field.width)));
  }
  return text + tagLine("Key", 1) + tagLine("Output", "Sparse");
}

std::string RecordColumns::tableParameters() const {
  std::string text = beginParameters();
  if (const int date = numberOf(FieldRole::Date); date != 0) {
    text += tagLine("DateField", static_cast<std::size_t>(date)) + tagLine("DateHorizon", horizonDays);
  }
  text += tagLine("CyclicTableSize", tableSize);
  Operations operations;
  operations.add("CyclicAdd", numberOf(FieldRole::Callee));
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const bool isPayload = fields[i].role == FieldRole::Duration || fields[i].role == FieldRole::Payload;
    if (isPayload) operations.add("CyclicAddPayload", static_cast<int>(i) + 1);
  }
  return text + operations.text + "</LoaderParams>\n";
}

// A run without a table takes no date field.
std::string RecordColumns::pairSumParameters() const {
  std::string text = beginParameters();
  if (const int count = numberOf(FieldRole::Count); count != 0) {
    text += tagLine("MultiplicityField", static_cast<std::size_t>(count));
  }
  Operations operations;
  operations.add("PairSum", numberOf(FieldRole::Callee));
  return text + operations.text + "</LoaderParams>\n";
}

std::string RecordColumns::sumsParameters() const {
  std::string text = beginParameters();
  if (const int count = numberOf(FieldRole::Count); count != 0) {
    text += tagLine("MultiplicityField", static_cast<std::size_t>(count));
  }
  Operations operations;
  operations.addSum("Count", numberOf(FieldRole::Callee));
  if (const int duration = numberOf(FieldRole::Duration); duration != 0) {
    operations.addSum("Add", duration);
    operations.addSum("Count", duration, tag("Condition", "GE") + tag("Threshold", std::to_string(longCallSeconds)));
  }
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].role == FieldRole::Payload) operations.addSum("Add", static_cast<int>(i) + 1);
  }
  return text + operations.text + "</LoaderParams>\n";
}

std::array<std::string, 3> parameterFileNames(const std::string& records) {
  return {records + ".xml", records + ".pairs.xml", records + ".sums.xml"};
}

}  // namespace vesk
