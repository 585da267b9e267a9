#include "literal_cases.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <sstream>
#include <utility>

namespace vesk_loader::testing {

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// Texts that a field may hold instead of an ordinary number.
constexpr std::array<const char*, 64> oddTexts = {"abc",
                                                  "-5",
                                                  "+7",
                                                  "1.5",
                                                  "0",
                                                  "-0",
                                                  "0.9",
                                                  "1e3",
                                                  "1E+2",
                                                  "2e",
                                                  "0x1F",
                                                  "0x1.8p1",
                                                  "0x",
                                                  "1e400",
                                                  "-1e400",
                                                  "1e-400",
                                                  "99999999999999999999",
                                                  "9223372036854775808",
                                                  "9223372036854775807",
                                                  "18446744073709551615",
                                                  "18446744073709551616",
                                                  "4294967297",
                                                  "2147483648",
                                                  "nan",
                                                  "NAN",
                                                  "nan(12)",
                                                  "-nan",
                                                  "inf",
                                                  "INFINITY",
                                                  "-inf",
                                                  "infx",
                                                  ".5",
                                                  "5.",
                                                  ".",
                                                  "-",
                                                  "3,",
                                                  ",3",
                                                  "1 2",
                                                  "1,2",
                                                  "\t3",
                                                  "4\t",
                                                  "\r",
                                                  "5\r",
                                                  "\v6",
                                                  "\f",
                                                  "--1",
                                                  "1_2",
                                                  "00012",
                                                  "1d2",
                                                  "\xff\xfe",
                                                  "123456789012345678",
                                                  "9007199254740993",
                                                  "0.1",
                                                  "4503599627370497.5",
                                                  "179769313486231580793e289",
                                                  "2.5",
                                                  "3.5",
                                                  "1000000",
                                                  "12345678.9",
                                                  "-9223372036854775809",
                                                  "-3.7",
                                                  "1e15",
                                                  "7919",
                                                  "15838"};

constexpr std::array<double, 16> thresholds = {-1.0, 0.0,  1.0,  2.0, 3.0,      5.0, 7.5,   100.0,
                                               1e3,  -2.0, 12.0, 4.0, infinity, nan, 1e300, 0.1};

constexpr std::array<double, 12> processValues = {1.0, 2.0,      5.0,   0.5,  -5.0, -1.0,
                                                  0.0, infinity, 1e300, -0.0, 3.25, 20200101.0};

template <class Number>
std::string numbered(std::string name, Number number) {
  name += std::to_string(number);
  return name;
}

std::string text(double number) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.17g", number);
  return buffer;
}

/// Eight digits in the given format around the start dates of the runs.
std::string dateText(Choices& choices, std::int32_t format) {
  const int year = 2012 + choices.between(0, 1) - (choices.oneIn(8) ? 12 : 0);
  const int month = choices.between(1, 12);
  const int day = choices.between(1, 28);
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d%02d%02d", year, format == 2 ? month : day, format == 2 ? day : month);
  return buffer;
}

void makeFields(Choices& choices, LoaderSettings& settings) {
  const bool wild = choices.oneIn(5);
  const int count = choices.oneIn(12) ? choices.between(0, 1) : choices.between(2, 6);
  int next = choices.oneIn(6) ? choices.between(1, 5) : 0;
  for (int i = 0; i < count; ++i) {
    int start = next;
    int end = next + (choices.oneIn(2) ? 7 : choices.between(2, 9));  // a date has eight columns
    next = end + 1 + (choices.oneIn(4) ? choices.between(1, 3) : 0);
    if (wild && choices.oneIn(2)) {
      start = choices.between(0, 24);
      end = start + choices.between(-4, 10);
      if (choices.oneIn(12)) start = choices.between(-3, -1);
      if (choices.oneIn(12)) end = choices.pick(std::array<int, 3>{-1, 12000, std::numeric_limits<int>::max() - 1});
    }
    settings.fieldNames.push_back(numbered("F", i + 1));
    settings.fieldTypes.push_back("Numeric");
    settings.fieldStarts.push_back(start);
    settings.fieldEnds.push_back(end);
  }
}

/// An index of a field, seldom one of no field.
std::int32_t fieldIndex(Choices& choices, const LoaderSettings& settings) {
  if (choices.oneIn(150)) return choices.between(-3, -2);
  const auto count = static_cast<int>(settings.fieldStarts.size());
  if (count == 0 || choices.oneIn(60)) return count + choices.between(0, 2);
  return choices.between(0, count - 1);
}

void addOperation(Choices& choices, LoaderSettings& settings, const std::string& name, std::int32_t output) {
  constexpr std::array<const char*, 10> conditions = {"NoCondition", "NoCondition", "NoCondition", "NoCondition", "EQ",
                                                      "LE",          "GE",          "GT",          "LT",          "XX"};
  settings.operationNames.push_back(name);
  settings.operationInputs.push_back(fieldIndex(choices, settings));
  settings.operationOutputs.push_back(output);
  settings.operationConditions.emplace_back(choices.pick(conditions));
  settings.operationThresholds.push_back(choices.pick(thresholds));
}

void makeTable(Choices& choices, LoaderCase& made) {
  LoaderSettings& settings = made.settings;
  settings.cyclicTableSize = choices.oneIn(10) ? choices.between(10, 200) : choices.between(1, 6);
  const int operations = choices.oneIn(20) ? 0 : choices.between(1, choices.oneIn(3) ? 3 : 1);
  for (int i = 0; i < operations; ++i) addOperation(choices, settings, "CyclicAdd", -1);
  const int payloads = choices.oneIn(2) ? 0 : choices.between(0, 3);
  for (int i = 0; i < payloads; ++i) settings.payloadInputs.push_back(fieldIndex(choices, settings));
  if (!choices.oneIn(3)) {
    settings.dateField = fieldIndex(choices, settings);
    if (!choices.oneIn(3)) settings.dateHorizon = choices.between(0, 800);
    if (choices.oneIn(40)) settings.dateHorizon = choices.pick(std::array<int, 3>{-7, 30000, 24856});
  }
  if (choices.oneIn(3)) {
    settings.specialListFilter = choices.oneIn(2) ? SpecialListFilter::Exclude : SpecialListFilter::Restrict;
    const int numbers = choices.between(0, 8);
    for (int i = 0; i < numbers; ++i)
      made.specialNumbers.push_back(choices.between(-1, 9) / (choices.oneIn(4) ? 2. : 1.));
    settings.specialList.assign(made.specialNumbers);
  }
}

void makePlain(Choices& choices, LoaderSettings& settings) {
  const int operations = choices.between(choices.oneIn(12) ? 0 : 1, 4);
  for (int i = 0; i < operations; ++i) {
    const std::int32_t output = choices.oneIn(25) ? choices.between(20, 300) : choices.between(0, 4);
    if (choices.oneIn(12)) {
      addOperation(choices, settings, "CyclicAdd", -1);
    } else {
      addOperation(choices, settings, choices.oneIn(2) ? "Add" : "Count", output);
    }
  }
  if (choices.oneIn(12)) settings.payloadInputs.assign(choices.below(3) + 1, fieldIndex(choices, settings));
  if (choices.oneIn(30)) settings.dateField = fieldIndex(choices, settings);
}

void makePairSum(Choices& choices, LoaderSettings& settings) {
  addOperation(choices, settings, "PairSum", choices.pick(std::array<std::int32_t, 4>{-2, 0, 1, 7}));
  if (!choices.oneIn(4)) settings.operationConditions[0] = "NoCondition";
  settings.pairSumFlag = 1;
  if (choices.oneIn(30)) settings.dateField = fieldIndex(choices, settings);
}

void makeOutput(Choices& choices, LoaderSettings& settings, RunKind kind) {
  const std::uint32_t form = kind == RunKind::PairSum ? choices.below(2) : choices.below(4);
  if (form == 0) settings.sparse = 1;
  if (form == 1) settings.outputFormat = OutputFormat::XML;
  if (form == 2) settings.outputFormat = OutputFormat::CSV;
  if (form == 1 && choices.oneIn(2)) settings.tagPrefix = std::string(choices.oneIn(2) ? "x:" : "Tag");
  if (form == 1 && choices.oneIn(2)) settings.outputNamespace = "xmlns:x=urn";
  settings.sortCyclicTable = !choices.oneIn(3);
  if (kind == RunKind::Table) settings.distinctCyclicTable = choices.oneIn(2);
}

/// One text for a field of `width` columns; seldom wider.
std::string fieldText(Choices& choices, const LoaderCase& made, std::size_t index, std::size_t width) {
  const LoaderSettings& settings = made.settings;
  std::string content;
  if (choices.oneIn(12)) {
    content = choices.pick(oddTexts);
  } else if (settings.dateField == static_cast<std::int32_t>(index)) {
    content = dateText(choices, made.dateFormat);
  } else if (settings.keyField == static_cast<std::int32_t>(index)) {
    content = std::to_string(choices.oneIn(4) ? choices.between(1, 99999) : choices.between(1, 9));
  } else {
    content = std::to_string(choices.oneIn(6) ? choices.between(-9, 999) : choices.between(0, 9));
  }
  if (content.size() > width && !choices.oneIn(20)) content.resize(width);
  const std::size_t padding = content.size() < width ? width - content.size() : 0;
  const std::size_t left = choices.oneIn(3) ? choices.below(static_cast<std::uint32_t>(padding) + 1) : padding;
  std::string field(left, ' ');
  field += content;
  field.append(padding - left, choices.oneIn(20) ? ',' : ' ');
  return field;
}

std::string makeLine(Choices& choices, const LoaderCase& made) {
  const LoaderSettings& settings = made.settings;
  std::string line;
  for (std::size_t i = 0; i < settings.fieldStarts.size(); ++i) {
    const int start = settings.fieldStarts[i];
    const std::int64_t width = std::int64_t{settings.fieldEnds[i]} - start + 1;
    if (start < 0 || width < 1 || width > 24) continue;
    const std::string field = fieldText(choices, made, i, static_cast<std::size_t>(width));
    const auto column = static_cast<std::size_t>(start);
    if (line.size() < column) line.resize(column, choices.oneIn(4) ? '7' : ' ');
    line.replace(column, std::min(field.size(), line.size() - column), field);
  }
  return line;
}

/// Spoils a line in one of the ways in which files are spoilt.
void spoil(Choices& choices, std::string& line) {
  constexpr std::array<char, 14> characters = {' ', ',', '\t', '\r', '\0', 'x',    '-',
                                               '.', 'e', '9',  '0',  '\v', '\xff', '\n'};
  const std::uint32_t place = choices.below(static_cast<std::uint32_t>(line.size()) + 1);
  switch (choices.below(7)) {
    case 0:
      line.resize(place);
      break;
    case 1:
      line.insert(place, 1, choices.pick(characters));
      break;
    case 2:
      if (place < line.size()) line[place] = choices.pick(characters);
      break;
    case 3:
      line += choices.oneIn(2) ? "\r" : "  77";
      break;
    case 4:
      line.clear();
      break;
    case 5:
      line.assign(line.size(), ' ');
      break;
    default:
      line.erase(0, place);
      break;
  }
}

std::string makeRecordFile(Choices& choices, const LoaderCase& made) {
  std::string bytes;
  const int lines = choices.oneIn(8) ? choices.between(0, 2) : choices.between(3, choices.oneIn(30) ? 400 : 40);
  const bool spoilt = choices.oneIn(2);
  for (int i = 0; i < lines; ++i) {
    std::string line = makeLine(choices, made);
    if (spoilt && choices.oneIn(4)) spoil(choices, line);
    if (choices.oneIn(600))
      line.resize(static_cast<std::size_t>(choices.between(9998, 10002)), choices.oneIn(2) ? ' ' : '8');
    bytes += line + "\n";
  }
  if (choices.oneIn(6)) bytes += makeLine(choices, made);
  if (choices.oneIn(150)) bytes.append(static_cast<std::size_t>(choices.between(9998, 10001)), '5');
  return bytes;
}

/// A process file of the settings' own format with numbers of any kind; seldom cut or with another count of payloads.
std::string makeProcessFile(Choices& choices, const LoaderSettings& settings) {
  std::string bytes;
  const auto put = [&](double number) {
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    bytes.append(raw, sizeof raw);
  };
  double key = choices.pick(std::array<double, 4>{-3.0, 0.0, 0.5, 1.0});
  const int records = choices.between(0, 6);
  for (int i = 0; i < records; ++i, key += choices.between(1, 3)) {
    put(key);
    const int entries = choices.oneIn(10) ? 0 : choices.between(1, 7);
    for (int j = 0; j < entries; ++j) {
      put(settings.pairSumFlag != 0 ? j * 2.0 - 1.5 : choices.oneIn(5) ? choices.pick(processValues) : j + 1.0);
      if (settings.dateField != -1) put(std::atof(dateText(choices, 1).c_str()));
      if (settings.pairSumFlag != 0) put(choices.between(1, 5));
    }
    put(-2.0);
    const std::size_t columns = settings.payloadInputs.size() + (choices.oneIn(40) ? 1 : 0);
    for (std::size_t c = choices.oneIn(40) ? 1 : 0; c < columns; ++c) {
      for (int j = 0; j < std::max(entries, 1); ++j) put(j * 10.0 + static_cast<double>(c));
      put(-2.0);
    }
    put(-1.0);
  }
  if (choices.oneIn(10)) bytes.resize(bytes.size() - std::min<std::size_t>(bytes.size(), choices.below(40)));
  return bytes;
}

LoaderCase::Run makeRun(Choices& choices, const LoaderCase& made) {
  LoaderCase::Run run;
  run.cyclicTableSize = made.settings.cyclicTableSize;
  if (run.cyclicTableSize > 0 && choices.oneIn(6)) run.cyclicTableSize = choices.between(1, 8);
  run.startDate = std::atof(dateText(choices, 1).c_str());
  if (choices.oneIn(40)) run.startDate = choices.pick(std::array<double, 4>{0.0, 20129999.0, 20120000.7, 19700101.0});
  run.directoryExists = !choices.oneIn(80);
  const int files = choices.oneIn(5) ? choices.between(0, 3) : 1;
  for (int i = 0; i < files; ++i) {
    LiteralDirectory::Entry entry{numbered("f", i) += ".cdr", std::nullopt};
    if (!choices.oneIn(25)) entry.bytes = makeRecordFile(choices, made);
    run.entries.push_back(std::move(entry));
  }
  return run;
}

}  // namespace

LoaderSettings LoaderCase::settingsOf(const Run& run) const {
  LoaderSettings changed = settings;
  changed.cyclicTableSize = run.cyclicTableSize;
  return changed;
}

LoaderCase makeSettings(Choices& choices, RunKind kind) {
  LoaderCase made;
  LoaderSettings& settings = made.settings;
  makeFields(choices, settings);
  settings.keyField = fieldIndex(choices, settings);
  if (kind == RunKind::Table) makeTable(choices, made);
  if (kind == RunKind::Plain) makePlain(choices, settings);
  if (kind == RunKind::PairSum) makePairSum(choices, settings);
  if (choices.oneIn(3)) settings.multiplicityField = fieldIndex(choices, settings);
  makeOutput(choices, settings, kind);
  settings.numberOfPartitions = choices.oneIn(3) ? choices.between(2, 5) : 1;
  made.verbosity = choices.pick(std::array<std::int32_t, 6>{1, 1, 0, 2, 100, 100});
  made.dateFormat = choices.oneIn(5) ? 0 : choices.between(1, 2);
  return made;
}

void makeIllegal(Choices& choices, LoaderSettings& settings) {
  switch (choices.below(5)) {
    case 0:
      settings.keyField = -1;
      break;
    case 1:
      if (choices.oneIn(2)) {
        addOperation(choices, settings, "Count", 1);
      } else {
        addOperation(choices, settings, "CyclicAdd", -1);
      }
      break;
    case 2:
      settings.outputFormat = OutputFormat::CSV;
      settings.sparse = 0;
      break;
    case 3:
      settings.outputFormat = OutputFormat::Binary;
      settings.sparse = 0;
      break;
    default:
      settings.payloadInputs.push_back(fieldIndex(choices, settings));
      break;
  }
}

LoaderCase makeCase(Choices& choices, RunKind kind) {
  LoaderCase made = makeSettings(choices, kind);
  made.processFileInUse = !choices.oneIn(4);
  made.modeWord = !choices.oneIn(4);
  const int runs = made.processFileInUse ? choices.between(1, 4) : 1;
  for (int i = 0; i < runs; ++i) made.runs.push_back(makeRun(choices, made));
  if (made.modeWord && choices.oneIn(3)) made.singleFile = choices.oneIn(10) ? "missing" : "f0.cdr";
  if (made.processFileInUse && choices.oneIn(5)) {
    for (std::int32_t p = 0; p < made.settings.numberOfPartitions; ++p) {
      const std::string suffix = made.settings.numberOfPartitions > 1 ? numbered(".", p) : std::string();
      made.processFiles[suffix] = makeProcessFile(choices, made.settings);
    }
  }
  return made;
}

std::string parameterText(const LoaderSettings& settings, const std::string& specialListName) {
  std::ostringstream out;
  const auto tag = [&out](const std::string& name, const auto& value) {
    out << "<" << name << ">" << value << "</" << name << ">\n";
  };
  out << "<LoaderParams>\n";
  for (std::size_t i = 0; i < settings.fieldNames.size(); ++i) {
    const std::string field = numbered("Field", i + 1);
    out << "<" << field << ">\n";
    tag("Name", settings.fieldNames[i]);
    tag("Type", settings.fieldTypes[i]);
    tag("Start", std::int64_t{settings.fieldStarts[i]} + 1);
    tag("End", std::int64_t{settings.fieldEnds[i]} + 1);
    out << "</" << field << ">\n";
  }
  if (settings.cyclicTableSize != 0) tag("CyclicTableSize", settings.cyclicTableSize);
  tag("CyclicTableSort", settings.sortCyclicTable ? "Yes" : "No");
  if (settings.distinctCyclicTable) tag("CyclicTableDistinct", "Yes");
  if (settings.specialListFilter != SpecialListFilter::None) {
    out << "<SpecialList>\n";
    tag("File", specialListName);
    if (settings.specialListFilter == SpecialListFilter::Exclude) tag("OpName", "Exclude");
    out << "</SpecialList>\n";
  }
  if (settings.outputFormat == OutputFormat::Binary) tag("Output", settings.sparse == 1 ? "Sparse" : "Dense");
  if (settings.outputFormat == OutputFormat::CSV) tag("Output", "CSV");
  if (settings.outputFormat == OutputFormat::XML) {
    tag("Output", "XML");
    out << "<XML>\n";
    if (!settings.tagPrefix.empty()) tag("TagPrefix", settings.tagPrefix);
    tag("OutputNamespace", settings.outputNamespace);
    out << "</XML>\n";
  }
  tag("Key", settings.keyField + 1);
  if (settings.dateField != -1) tag("DateField", settings.dateField + 1);
  if (settings.multiplicityField != -1) tag("MultiplicityField", settings.multiplicityField + 1);
  tag("NumberOfPartitions", settings.numberOfPartitions);
  if (settings.dateHorizon != -1) tag("DateHorizon", settings.dateHorizon);
  std::size_t number = 0;
  const auto operation = [&](const std::string& name, std::int32_t input, const auto& rest) {
    const std::string element = numbered("Operation", ++number);
    out << "<" << element << ">\n";
    tag("OpName", name);
    tag("Input", input + 1);
    rest();
    out << "</" << element << ">\n";
  };
  for (const std::int32_t input : settings.payloadInputs) operation("CyclicAddPayload", input, [] {});
  for (std::size_t i = 0; i < settings.operationNames.size(); ++i) {
    operation(settings.operationNames[i], settings.operationInputs[i], [&] {
      if (settings.operationOutputs[i] >= 0) tag("Output", settings.operationOutputs[i] + 1);
      if (settings.operationConditions[i] != "NoCondition") tag("Condition", settings.operationConditions[i]);
      tag("Threshold", text(settings.operationThresholds[i]));
    });
  }
  out << "</LoaderParams>\n";
  return out.str();
}

std::string specialListText(const LoaderCase& loaderCase) {
  std::string list;
  for (const double number : loaderCase.specialNumbers) list += text(number) + "\n";
  return list;
}

}  // namespace vesk_loader::testing
