// The parameters of the diffusion analysis, its seeds, and what it says of itself.

#include <sstream>

#include "control/quven_XML_tag.h"
#include "simple_algorithm/quven_parameters.h"
#include "simple_algorithm/quven_seed_file.h"
#include "simple_algorithm/quven_snadata.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { IllegalParameter = 2202, NoUsableSeed = 5009 };

bool isCsv(const std::string& format) { return format == "CSV"; }
bool isYesOrNo(const std::string& word) { return word == "Yes" || word == "No"; }

}  // namespace

QUVENParameterSections QUVENSNAData::parameterSections() {
  using D = QUVENSNAData;
  static constexpr QUVENParameter rows[] = {
      {.key = "isSparseData",
       .target = quvenParameterTarget<&D::ivIsSparse>(),
       .defaultValue = "1",
       .isLegal = [](double value) { return value == 0 || value == 1; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: illegal value: isSparseData flag must be 0 or 1 ",
       .isSupported = [](double value) { return value != 0; },
       .unsupportedCode = IllegalParameter,
       .unsupportedText = "QUVENSNAData::open: Data must be sparse!",
       .defaultNote = "Using default sparse data flag",
       .note = "Using sparse data - flag set to 1",
       .noteHasValue = false,
       .meaning = "the dataset is the sparse output of a pair sum run",
       .legalValues = "1"},
      {.key = "VerbosityLevel",
       .target = quvenParameterTarget<&D::ivVerbosityLvl>(),
       .defaultValue = "1",
       .isLegal = [](double level) { return level >= 0 && level <= 100; },
       .errorCode = IllegalParameter,
       // A fixed text, which names another class; do not correct.
       .errorText = "QUVENCGAData::open, illegal verbosity level",
       .defaultNote = "Defaulting verbosity level to 1",
       .meaning = "from 31 on some records are traced on standard output, at 100 all",
       .legalValues = "an integer from 0 to 100"},
      {.key = "SpreadCoefficient",
       .target = quvenParameterTarget<&D::ivSpreadCoefficient>(),
       .defaultValue = "0.5",
       .isLegal = [](double share) { return share > 0 && share < 1; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: Illegal value. Spreading coefficient must be in the range (0,1)",
       .defaultNote = "Using default spreading coeeficient value of 0.5 ",
       .note = "Using spreading coefficient: ",
       .meaning = "share of its fresh energy that a subscriber passes on",
       .legalValues = "a number above 0 and below 1"},
      {.key = "Seed",
       .target = quvenParameterTarget<&D::ivSeedFileName>(),
       .isRequired = true,
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: No seed file specified",
       .note = "Seed file: ",
       .file = QUVENParameterFile::Input,
       .isFoundInText = true,
       .meaning = "the seed file: one subscriber number per line",
       .legalValues = "a file name",
       .example = "seeds.txt"},
      {.key = "OutputFileName",
       .target = quvenParameterTarget<&D::ivOutputFileName>(),
       .isRequired = true,
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: No output file name specified",
       .note = "Output file: ",
       .file = QUVENParameterFile::Output,
       .meaning = "the result; it appears under this name when it is complete",
       .legalValues = "a file name",
       .example = "energy.csv"},
      {.key = "OutputFormat",
       .defaultValue = "CSV",
       .isLegalText = isCsv,
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: Data format must be CSV",
       .defaultNote = "Using default output format - CSV ",
       .note = "Output format set to CSV",
       .noteHasValue = false,
       .meaning = "the form of the result",
       .legalValues = "CSV"},
      {.key = "TagPrefix",
       .target = quvenParameterTarget<&D::ivTagPrefix>(),
       .defaultNote = "Using default tag prefix - empty string",
       .note = "Using tagprefix: ",
       .meaning = "of tagged results; not used by CSV"},
      {.key = "EndConditionValue",
       .target = quvenParameterTarget<&D::ivEpsilon>(),
       .defaultValue = "0.01",
       .isLegal = [](double value) { return value > 0; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: Illegal value. End condition value must be positive",
       .defaultNote = "Using default end condition value of 0.01",
       .note = "Using EndConditionValue of ",
       .meaning = "the analysis ends when no total changes by more than this in a pass",
       .legalValues = "a number above 0"},
      {.key = "MaxNumIterations",
       .target = quvenParameterTarget<&D::ivMaxNumIterations>(),
       .defaultValue = "100",
       .isLegal = [](double number) { return number >= 1; },
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: Illegal value. Maximal number of iterations must be a positive integer",
       .defaultNote = "Using default maximal number of iterations value of 100",
       .note = "Maximal number of iterations set to ",
       .meaning = "passes of diffusion at most",
       .legalValues = "an integer of at least 1"},
      {.key = "SeedWeights",
       .target = quvenParameterTarget<&D::ivSeedWeights>(),
       .defaultValue = "No",
       .isLegalText = isYesOrNo,
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: Illegal value. SeedWeights must be Yes or No",
       .note = "Seed weights: ",
       .isOptional = true,
       .meaning = "a second number on a seed line is the energy of the seed at the start, instead of 1",
       .legalValues = "Yes or No"},
      {.key = "SeedColumn",
       .target = quvenParameterTarget<&D::ivSeedColumn>(),
       .note = "Column of the seeds: ",
       .isOptional = true,
       .meaning = "a heading of the seed file, which is CSV then: the column of the seeds"},
      {.key = "SeedWeightColumn",
       .target = quvenParameterTarget<&D::ivSeedWeightColumn>(),
       .note = "Column of the seed weights: ",
       .isOptional = true,
       .meaning = "with SeedColumn and SeedWeights Yes: the heading of the energies of the seeds"},
      {.key = "LiftColumns",
       .target = quvenParameterTarget<&D::ivLiftColumns>(),
       .defaultValue = "No",
       .isLegalText = isYesOrNo,
       .errorCode = IllegalParameter,
       .errorText = "QUVENSNAData::open: Illegal value. LiftColumns must be Yes or No",
       .note = "Lift columns: ",
       .isOptional = true,
       .meaning = "two more columns: the energy over the weighted in-degree, and over that of seeds everywhere",
       .legalValues = "Yes or No"},
  };
  static constexpr QUVENParameterSection section{.rows = rows};
  return {&section, 1};
}

void QUVENSNAData::open(const QUVENXMLTag& tag, const std::string& parameterFileName, const QUVENEnvHandle& env) {
  const QUVENParameterSections sections = parameterSections();
  QUVENParameterReader(tag, sections).read(sections.front(), *this, QUVEN_ENV);
  ivOutputFormat = Csv;
  ivHasExpected = ivLiftColumns == "Yes" ? 1 : 0;
  readSeedFile(parameterFileName, QUVEN_ENV);
}

void QUVENSNAData::readSeedFile(const std::string& parameterFileName, const QUVENEnvHandle& env) {
  const QUVENSeedForm form{ivSeedWeights == "Yes", ivSeedColumn, ivSeedWeightColumn};
  const bool fitsTogether = form.weightColumn.empty() == (form.column.empty() || !form.hasWeights);
  if (!fitsTogether) {
    report_error(IllegalParameter, "SeedWeightColumn",
                 "QUVENSNAData::open: SeedWeightColumn goes with SeedColumn and SeedWeights Yes, and these two with it",
                 QUVEN_ENV, true);
  }
  std::vector<QUVENSeed> seeds;
  seedLines = parameterFileName.empty() ? quvenReadSeeds(ivSeedFileName, form, seeds, QUVEN_ENV)
                                        : quvenReadSeedFile(parameterFileName, form, seeds, QUVEN_ENV);
  seedsTaken = static_cast<long>(seeds.size());
  for (const QUVENSeed& seed : seeds) {
    const long index = nodes.insert(seed.number, QUVEN_ENV);
    ivModel1TotalEnergies.at(index, QUVEN_ENV) += seed.energy;
    ivModel1FreshEnergyMap.at(index, QUVEN_ENV) += seed.energy;
  }
}

void QUVENSNAData::reportSeeds(const QUVENEnvHandle& env) {
  for (long i = 1; i <= nodes.getSize(); ++i) {
    if (!ivModel1TotalEnergies.has(i)) continue;  // before the first pass of diffusion seeds alone have energy
    ++seedNodes;
    if (ivNum2RowSumMap.has(i) || ivNum2InDegreeMap.has(i)) ++seedsInData;
    if (ivNum2OutDegreeMap.get(i) >= 1) ++seedsThatCall;
  }
  std::ostringstream text;
  text << "Seeds: lines read: " << seedLines << ", taken: " << seedsTaken << ", different subscribers: " << seedNodes
       << ", occurring in the data: " << seedsInData << ", calling somebody: " << seedsThatCall;
  report_log(1, text);
  if (seedNodes > 0 && seedsInData == 0) {
    report_doubt(NoUsableSeed, ivSeedFileName,
                 "QUVENSNAData::endDataScan: no seed occurs in the data, so no energy spreads", QUVEN_ENV);
  }
}

void QUVENSNAData::writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  tag.addBranchTagPath("InputParameters", QUVEN_ENV);
  const auto set = [&](const char* path, auto value) {
    tag.addLeafTagPath(path, QUVEN_ENV).setValue(value, QUVEN_ENV);
  };
  set("InputParameters/Spreading Coefficient", ivSpreadCoefficient);
  set("InputParameters/End Condition Value", ivEpsilon);
  set("InputParameters/Max Number of Iterations", ivMaxNumIterations);
  set("InputParameters/IsSparse", ivIsSparse);
  set("InputParameters/OutputFormat", ivOutputFormat == Csv ? "CSV" : "XML");
  tag.addBranchTagPath("RunParameters", QUVEN_ENV);
  set("RunParameters/Model 1 iterations", ivModel1NumIterations);
  set("RunParameters/Model 1 Diff Val at Convergence", ivDiffVal);
  const auto setCount = [&](const char* path, long count) { set(path, std::to_string(count)); };
  setCount("RunParameters/Seeds/LinesRead", seedLines);
  setCount("RunParameters/Seeds/Taken", seedsTaken);
  setCount("RunParameters/Seeds/DifferentSubscribers", seedNodes);
  setCount("RunParameters/Seeds/OccurringInTheData", seedsInData);
  setCount("RunParameters/Seeds/CallingSomebody", seedsThatCall);
}
