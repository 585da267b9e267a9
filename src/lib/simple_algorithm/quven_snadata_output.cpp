// The result of a diffusion analysis.

#include <charconv>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>

#include "control/quven_result_file.h"
#include "simple_algorithm/quven_snadata.h"
#include "vesk-common/quven_reports.h"

namespace {

constexpr int OutputUnwritable = 2302;

/// Number, DA_DiffusedEnergy, InDegree, OutDegree, WeightedInDegree, WeightedOutDegree.
struct ResultRow {
  std::uint64_t number;
  double energy;
  std::int32_t inDegree;
  std::int32_t outDegree;
  std::int32_t weightedInDegree;
  std::int32_t weightedOutDegree;
  double expectedEnergy;  // 0 without LiftColumns
};

/// Numbers as text in the classic form, whatever the locale.
class RowText {
 public:
  template <class Integer>
  RowText& add(Integer value) {
    return addNumber(value);
  }
  RowText& add(double value) {
    // As many digits as results of different numbers of workers agree on: they add in another order, and differ in the
    // last bits of a double.
    constexpr int digits = 9;
    return addNumber(value, std::chars_format::general, digits);
  }
  RowText& add(char character) {
    text.push_back(character);
    return *this;
  }
  /// The quotient; nothing if it is no number, as for a denominator of 0.
  RowText& addQuotient(double numerator, double denominator) {
    const double quotient = numerator / denominator;
    return denominator != 0 && std::isfinite(quotient) ? add(quotient) : *this;
  }
  void clear() { text.clear(); }
  std::string_view view() const { return text; }

 private:
  template <class Number, class... Format>
  RowText& addNumber(Number value, Format... format) {
    char number[32];  // an integer has at most 20 characters, a double of nine digits at most 16
    text.append(number, std::to_chars(number, number + sizeof number, value, format...).ptr);
    return *this;
  }

  std::string text;
};

}  // namespace

bool QUVENSNAData::isInResult(long index) const {
  return ivModel1TotalEnergies.has(index) || ivNum2InDegreeMap.has(index) || ivNum2OutDegreeMap.has(index) ||
         ivNum2WeightedInDegreeMap.has(index) || ivNum2WeightedOutDegreeMap.has(index);
}

/// Every node that has a total or a degree, in ascending order.
template <class Action>
void QUVENSNAData::forEachResultRow(Action action, const QUVENEnvHandle& env) const {
  for (const std::uint32_t i : nodes.getAscending(QUVEN_ENV)) {
    if (!isInResult(i)) continue;
    action(ResultRow{nodes.getNode(i), ivModel1TotalEnergies.get(i), ivNum2InDegreeMap.get(i),
                     ivNum2OutDegreeMap.get(i), ivNum2WeightedInDegreeMap.get(i), ivNum2WeightedOutDegreeMap.get(i),
                     expectedTotals.get(i)});
  }
}

void QUVENSNAData::writeCsv(std::ostream& out, const QUVENEnvHandle& env) const {
  out << "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree"
      << (hasExpected() ? ",EnergyPerWeightedInDegree,EnergyOverExpected\n" : "\n");
  RowText text;
  const auto writeRow = [&](const ResultRow& row) {
    text.clear();
    text.add(row.number).add(',').add(row.energy).add(',').add(row.inDegree).add(',').add(row.outDegree);
    text.add(',').add(row.weightedInDegree).add(',').add(row.weightedOutDegree);
    if (hasExpected()) {
      text.add(',').addQuotient(row.energy, row.weightedInDegree).add(',');
      text.addQuotient(row.energy, row.expectedEnergy);
    }
    text.add('\n');
    out << text.view();
  };
  forEachResultRow(writeRow, QUVEN_ENV);
}

void QUVENSNAData::writeTagged(std::ostream& out, const QUVENEnvHandle& env) const {
  const auto opening = [&](std::string_view name) { out << '<' << ivTagPrefix << name << '>'; };
  const auto closing = [&](std::string_view name) { out << "</" << ivTagPrefix << name << ">\n"; };
  const auto leaf = [&](std::string_view name, auto value) {
    out << '\t';
    opening(name);
    out << ' ' << RowText().add(value).view() << ' ';
    closing(name);
  };
  opening("SNA Output");
  out << '\n';
  const auto writeNode = [&](const ResultRow& row) {
    opening("Node");
    out << '\n';
    leaf("Number", row.number);
    leaf("DA_DiffusedEnergy", row.energy);
    leaf("In degree", row.inDegree);
    leaf("Out degree", row.outDegree);
    leaf("Weighted in degree", row.weightedInDegree);
    leaf("Weighted out degree", row.weightedOutDegree);
    closing("Node");
  };
  forEachResultRow(writeNode, QUVEN_ENV);
  closing("SNA Output");
}

void QUVENSNAData::writeDataOutputFile(const QUVENEnvHandle& env) const {
  QUVENResultFile file(ivOutputFileName);
  if (!file.isOpen()) {
    report_error(OutputUnwritable, ivOutputFileName, "QUVENSNAData::writeDataOutputFile: Unable to open output file",
                 QUVEN_ENV, true);
  }
  if (ivOutputFormat == Csv) {
    writeCsv(file.getStream(), QUVEN_ENV);
  } else {
    writeTagged(file.getStream(), QUVEN_ENV);
  }
  if (!file.commit()) {
    report_error(OutputUnwritable, ivOutputFileName, "QUVENSNAData::writeDataOutputFile: Unable to write output file",
                 QUVEN_ENV, true);
  }
}
