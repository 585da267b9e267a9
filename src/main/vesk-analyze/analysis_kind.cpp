#include "analysis_kind.h"

#include "simple_algorithm/quven_simple_algorithm_model.h"

namespace vesk_analyze {

namespace {

constexpr const char* diffusionParameters[] = {"isSparseData", "VerbosityLevel",    "SpreadCoefficient",
                                               "Seed",         "OutputFileName",    "OutputFormat",
                                               "TagPrefix",    "EndConditionValue", "MaxNumIterations"};

constexpr AnalysisKind kinds[] = {
    {"diffusion", "Energy that spreads from seed subscribers over a pair sum dataset",
     QUVENSimpleAlgorithmModel::DiffusionModel, diffusionParameters, 2},
};

}  // namespace

std::span<const AnalysisKind> analysisKinds() { return kinds; }

}  // namespace vesk_analyze
