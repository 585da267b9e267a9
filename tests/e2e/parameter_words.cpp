#include "parameter_words.h"

#include <sstream>

namespace vesk_e2e {

namespace {

std::string element(const std::string& tag, const std::string& content) {
  return "<" + tag + ">" + content + "</" + tag + ">\n";
}

bool isNumber(const std::string& word) { return word.find_first_not_of("-0123456789") == std::string::npos; }

std::string less(const std::string& number, int by) { return std::to_string(std::stoi(number) - by); }

}  // namespace

std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
  std::string result;
  std::size_t done = 0;
  for (std::size_t at = 0; (at = text.find(from, done)) != std::string::npos; done = at + from.size()) {
    result += text.substr(done, at - done) + to;
  }
  return result + text.substr(done);
}

ParameterWords::ParameterWords(const std::string& statements) {
  std::istringstream stream(statements);
  for (std::string statement; std::getline(stream, statement, ';');) {
    std::istringstream parts(statement);
    Words words;
    for (std::string word; parts >> word;) words.push_back(word);
    if (!words.empty()) take(words);
  }
  text = "<LoaderParams>\n" + text + "</LoaderParams>\n";
}

void ParameterWords::take(const Words& words) {
  if (words[0] == "fields") {
    takeFields(words);
  } else if (words[0] == "op") {
    takeOperation(words);
  } else if (words[0] == "list") {
    text += element("SpecialList",
                    element("File", words[1]) + (words.size() > 2 ? element("OpName", words[2]) : std::string()));
  } else if (words[0] == "xml") {
    std::string content = words[1] == "-" ? "" : element("TagPrefix", words[1]);
    std::string nameSpace;
    for (std::size_t i = 2; i < words.size(); ++i) nameSpace += (i > 2 ? " " : "") + words[i];
    if (!nameSpace.empty()) content += element("OutputNamespace", nameSpace);
    text += element("XML", content);
  } else {
    takeTag(words[0], words.size() > 1 ? words[1] : "");
  }
}

void ParameterWords::takeFields(const Words& words) {
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::string number = std::to_string(i);
    const std::size_t dash = words[i].find('-', 1);
    const std::string start = words[i].substr(0, dash);
    const std::string end = words[i].substr(dash + 1);
    text += element("Field" + number, element("Name", "f" + number) + element("Type", "Number") +
                                          element("Start", start) + element("End", end));
    fieldLines += "f" + number + " Number " + less(start, 1) + " " + less(end, 1) + "\n";
  }
}

void ParameterWords::takeOperation(const Words& words) {
  std::string content = element("OpName", words[1]) + element("Input", words[2]);
  std::size_t next = 3;
  std::string output = words[1] == "CyclicAdd" ? "-1" : "-2";
  if (next < words.size() && isNumber(words[next])) {
    content += element("Output", words[next]);
    if (words[1] != "CyclicAdd") output = less(words[next], 1);
    ++next;
  }
  const std::string condition = next < words.size() ? words[next++] : "";
  const std::string threshold = next < words.size() ? words[next] : "";
  if (!condition.empty()) content += element("Condition", condition);
  if (!threshold.empty()) content += element("Threshold", threshold);
  text += element("Operation" + std::to_string(++operations), content);
  if (words[1] == "CyclicAddPayload") return;
  operationLines += words[1] + " " + less(words[2], 1) + " " + output + " " +
                    (condition.empty() ? "NoCondition" : condition) + " " + (threshold.empty() ? "-1" : threshold) +
                    "\n";
}

void ParameterWords::takeTag(const std::string& tag, const std::string& value) {
  text += element(tag, value);
  if (tag == "Key") key = std::stoi(value) - 1;
  if (tag == "DateField") date = std::stoi(value) - 1;
  if (tag == "MultiplicityField") multiplicity = std::stoi(value) - 1;
  if (tag == "CyclicTableSize") tableSize = value;
  if (tag == "CyclicTableSort") sort = value;
  if (tag == "CyclicTableDistinct") distinct = value;
  if (tag == "DateHorizon") horizon = value;
  if (tag == "NumberOfPartitions") partitionCount = std::stoi(value);
  if (tag == "Output") {
    sparse = value == "Sparse" ? 1 : 0;
    format = value == "CSV" || value == "XML" ? value : "Binary";
  }
}

std::string ParameterWords::settingsBeforeProcessFile() const {
  return "VESK loader settings information:\n" + fieldLines + "Cyclic table size " + tableSize +
         "\nSort cyclic table ? " + sort + (distinct == "Yes" ? "\nDistinct cyclic table ? Yes" : "") + "\nKey " +
         std::to_string(key) + "\nSparse " + std::to_string(sparse) + "\n";
}

std::string ParameterWords::settingsOfDates() const {
  return "Output format: " + format + "\nDate " + std::to_string(date) + "\nDate Horizon " + horizon + "\n";
}

std::string ParameterWords::settingsOfOperations() const {
  const std::string field =
      multiplicity >= 1 ? "Multiplicity field =  " + std::to_string(multiplicity) + " (ignored in add operations)\n"
                        : "No multiplicity field\n";
  return field + operationLines +
         (partitionCount == 1 ? "All data will be processed into one file\n"
                              : "Data will be paritioned into " + std::to_string(partitionCount) + " files\n");
}

}  // namespace vesk_e2e
