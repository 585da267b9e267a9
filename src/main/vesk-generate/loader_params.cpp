#include "loader_params.h"

#include <array>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vesk_generate {

namespace {

// The fields' numbers in the parameter file, in the order of RecordLayout::fields.
constexpr int callerField = 1;
constexpr int calleeField = 2;
constexpr int dateField = 3;
constexpr int durationField = 4;
constexpr int multiplicityField = 5;
constexpr std::array<std::string_view, 5> fieldNames{"Caller", "Callee", "Date", "Duration", "Multiplicity"};

constexpr int longCallSeconds = 300;

/// Writes tags, one a line, with the operations numbered as they come.
class ParamsWriter {
 public:
  explicit ParamsWriter(std::ostream& stream) : out(stream) {}

  template <class Value>
  void tag(std::string_view name, const Value& value) {
    out << "  <" << name << ">" << value << "</" << name << ">\n";
  }

  void field(std::size_t number, const ColumnRange& columns) {
    out << "  <Field" << number << "><Name>" << fieldNames[number - 1] << "</Name><Type>Numeric</Type><Start>"
        << columns.first << "</Start><End>" << columns.last << "</End></Field" << number << ">\n";
  }

  /// `rest` holds the tags beside name and input.
  void operation(std::string_view name, int input, std::string_view rest = {}) {
    ++operations;
    out << "  <Operation" << operations << "><OpName>" << name << "</OpName><Input>" << input << "</Input>" << rest
        << "</Operation" << operations << ">\n";
  }

 private:
  std::ostream& out;
  int operations = 0;
};

void writeTableRun(ParamsWriter& writer, const LoaderParamsSettings& settings) {
  writer.tag("DateField", dateField);
  writer.tag("DateHorizon", settings.horizonDays);
  writer.tag("CyclicTableSize", settings.tableSize);
  writer.operation("CyclicAdd", calleeField);
  if (settings.payload) writer.operation("CyclicAddPayload", durationField);
}

// A run without a table takes no date field.
void writePairSumRun(ParamsWriter& writer) {
  writer.tag("MultiplicityField", multiplicityField);
  writer.operation("PairSum", calleeField);
}

// Output 1 is kept between runs but never comes out, so the sums begin at 2.
void writeSumsRun(ParamsWriter& writer) {
  writer.tag("MultiplicityField", multiplicityField);
  writer.operation("Count", calleeField, "<Output>2</Output>");
  writer.operation("Add", durationField, "<Output>3</Output>");
  writer.operation(
      "Count", durationField,
      "<Output>4</Output><Condition>GE</Condition><Threshold>" + std::to_string(longCallSeconds) + "</Threshold>");
}

void check(const LoaderParamsSettings& settings) {
  if (settings.run == LoaderRun::PairSum && settings.form == DatasetForm::Dense) {
    throw std::invalid_argument("a pair sum has the sparse form only");
  }
  if (settings.partitions < 1 || settings.partitions > 100) {
    throw std::invalid_argument("the number of partitions must be from 1 to 100");
  }
  if (settings.tableSize < 1 || settings.tableSize > 1000000) {
    throw std::invalid_argument("the table size must be from 1 to 1000000");
  }
  if (settings.horizonDays > 24855) throw std::invalid_argument("the horizon must be at most 24855 days");
}

}  // namespace

void writeLoaderParams(std::ostream& out, const LoaderParamsSettings& settings, const RecordLayout& layout) {
  check(settings);
  ParamsWriter writer(out);
  out << "<LoaderParams>\n";
  const auto fields = layout.fields();
  for (std::size_t number = 1; number <= fields.size(); ++number) writer.field(number, fields[number - 1]);
  writer.tag("Key", callerField);
  writer.tag("NumberOfPartitions", settings.partitions);
  writer.tag("Output", settings.form == DatasetForm::Sparse ? "Sparse" : "Dense");
  switch (settings.run) {
    case LoaderRun::Table:
      writeTableRun(writer, settings);
      break;
    case LoaderRun::PairSum:
      writePairSumRun(writer);
      break;
    case LoaderRun::Sums:
      writeSumsRun(writer);
      break;
  }
  out << "</LoaderParams>\n";
}

}  // namespace vesk_generate
