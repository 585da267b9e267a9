#include "analysis_kind.h"

#include "analysis_run.h"
#include "correlations_run.h"
#include "evaluation_run.h"
#include "groups_run.h"
#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"
#include "simple_algorithm/quven_snadata.h"
#include "training_run.h"

namespace vesk_analyze {

namespace {

constexpr const char* outputUnwritable = "vesk-analyze: Unable to write output file";

QUVENParameterSections nothing() { return {}; }

std::string noFailedFile(const QUVENSimpleAlgorithmAbstractData&) { return ""; }

std::string failedFileOfGroups(const QUVENSimpleAlgorithmAbstractData& data) {
  return static_cast<const QUVENCGAData&>(data).getFailedFile();
}

constexpr AnalysisKind kinds[] = {
    {.command = "diffusion",
     .summary = "Energy that spreads from seed subscribers over a pair sum dataset",
     .makeRun = makeRunOf<AnalysisRun>,
     .parameters = QUVENSNAData::parameterSections,
     .passedOver = nothing,
     .datasetKind = vesk_files::DatasetKind::PairSum,
     .modelId = QUVENSimpleAlgorithmModel::DiffusionModel,
     .explanatoryColumns = 2,
     .readsTableRows = false,
     .outputError = "QUVENSNAData::writeDataOutputFile: Unable to open output file",
     .failedFile = noFailedFile},
    {.command = "groups",
     .summary = "Groups of subscribers with their leaders over a table dataset",
     .makeRun = makeRunOf<GroupsRun>,
     .comparesGroups = true,
     .exampleDataset = "table.bin",
     .parameters = QUVENCGAData::parameterSections,
     .passedOver = nothing,
     .datasetKind = vesk_files::DatasetKind::TableSorted,
     .modelId = QUVENSimpleAlgorithmModel::GroupModel,
     .explanatoryColumns = 2,
     .readsTableRows = true,
     .outputError = outputUnwritable,
     .failedFile = failedFileOfGroups},
    {.command = "kernel",
     .summary = "Similarities of subscribers over a table dataset, from which groups can start",
     .makeRun = makeRunOf<AnalysisRun>,
     .exampleDataset = "table.bin",
     .parameters = QUVENKernelData::parameterSections,
     .passedOver = QUVENCGAData::parameterSections,
     .datasetKind = vesk_files::DatasetKind::TableSorted,
     .modelId = QUVENSimpleAlgorithmModel::KernelModel,
     .explanatoryColumns = 2,
     .readsTableRows = true,
     .outputError = outputUnwritable,
     .failedFile = noFailedFile},
    {.command = "train",
     .summary = "A model of a column of a table, with reports",
     .makeRun = makeRunOf<TrainingRun>,
     .exampleDataset = "churn.bin",
     .parameters = TrainingParameters::sections,
     .passedOver = nothing},
    {.command = "correlations",
     .summary = "Correlations of the columns of a table with the target and with each other, after a transform of each",
     .makeRun = makeRunOf<CorrelationsRun>,
     .exampleDataset = "churn.bin",
     .parameters = TrainingParameters::sectionsOfCorrelations,
     .passedOver = TrainingParameters::sections},
    {.command = "evaluate",
     .summary = "How good the predictions of a model are, and which inputs they depend on: tables and a page",
     .makeRun = makeRunOf<EvaluationRun>,
     .exampleDataset = "churn.bin",
     .exampleModel = "churn.model",
     .parameters = EvaluationParameters::sections,
     .passedOver = nothing},
};

}  // namespace

std::span<const AnalysisKind> analysisKinds() { return kinds; }

}  // namespace vesk_analyze
