#include "output_text.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace vesk_loader {

namespace {

// Process files written under other settings can hold payload columns shorter than the row.
double element_or_zero(const std::vector<double>& column, std::size_t index) {
  return index < column.size() ? column[index] : 0.0;
}

}  // namespace

void append_rounded(std::string& text, double number) {
  char buffer[330];                             // a double has at most 309 digits before the point
  constexpr double exact = 9007199254740992.0;  // 2 to the power 53
  if (number > 0.0 && number < exact && std::floor(number) == number) {
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, static_cast<std::int64_t>(number));
    text.append(buffer, end.ptr);
    return;
  }
  const int length = std::snprintf(buffer, sizeof buffer, "%.0f", number);
  text.append(buffer, static_cast<std::size_t>(length));
}

XmlForm::XmlForm(std::string prefix_, std::string outputNamespace_)
    : prefix(std::move(prefix_)), outputNamespace(std::move(outputNamespace_)) {}

void XmlForm::begin(BlockWriter& file) const {
  file.put("<" + prefix + "Loader-Output" + (outputNamespace.empty() ? "" : " " + outputNamespace) + ">\n\n");
}

void XmlForm::end(BlockWriter& file) const { file.put("</" + prefix + "Loader-Output>\n"); }

void XmlForm::element(std::size_t depth, const char* name, double value) {
  text.append(depth, '\t').append("<").append(prefix).append(name).append("> ");
  append_rounded(text, value);
  text.append(" </").append(prefix).append(name).append(">\n");
}

void XmlForm::row(BlockWriter& file, const OutputRow& row) {
  text = "<" + prefix + "Row>\n";
  element(1, "Key", row.key);
  for (std::size_t i = 0; i < row.values.size(); ++i) {
    text.append("\t<").append(prefix).append("Col>\n");
    element(2, "Index", static_cast<double>(i + 1));
    element(2, "Value", row.values[i]);
    if (row.pairSum) element(2, "SubValue", row.weights[i]);
    for (std::size_t column = 0; column < row.payloads.size(); ++column) {
      text.append("\t\t<").append(prefix).append("Payload>\n");
      element(3, "Index", static_cast<double>(column + 1));
      element(3, "Value", element_or_zero(row.payloads[column], i));
      text.append("\t\t</").append(prefix).append("Payload>\n");
    }
    text.append("\t</").append(prefix).append("Col>\n");
  }
  text.append("</").append(prefix).append("Row>\n\n");
  file.put(text);
}

void CsvForm::row(BlockWriter& file, const OutputRow& row) {
  text.clear();
  append_rounded(text, row.key);
  for (std::size_t i = 0; i < row.values.size(); ++i) {
    text += ", ";
    append_rounded(text, row.values[i]);
    for (const auto& column : row.payloads) {
      text += ", ";
      append_rounded(text, element_or_zero(column, i));
    }
  }
  file.put(text);
  // Straight into the file: a table may be far larger than any row.
  for (std::size_t i = row.values.size(); i < tableSize; ++i) {
    for (std::size_t repeat = 0; repeat < payloadCount + 1; ++repeat) file.put(", 0.0");
  }
  file.put("\n");
}

}  // namespace vesk_loader
