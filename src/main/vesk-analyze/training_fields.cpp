#include "training_fields.h"

#include <algorithm>
#include <limits>
#include <set>
#include <sstream>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_model_input.h"
#include "kernel/quven_num_field.h"
#include "loss_words.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

enum Code : int { IllegalParameter = 2202, FileUnusable = 2302 };

[[noreturn]] void refuseColumn(const std::string& column, const std::string& text, const QUVENEnvHandle& env) {
  report_error(IllegalParameter, column, "vesk-analyze: " + text, QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);
}

/// Looks up columns by name and sees to it that each has one role.
class RoleFinder {
 public:
  RoleFinder(const QUVENDataPoint& dataPoint, const QUVENEnvHandle& env) : point(dataPoint) {
    static_cast<void>(env);
    taken.resize(static_cast<std::size_t>(point.getNumFields()) + 1);
  }

  QUVENField& find(const std::string& name, const char* key, const QUVENEnvHandle& env) {
    const long index = point.getFieldIndex(name);
    if (index == 0) refuseColumn(name, std::string(key) + " is no column of the dataset", QUVEN_ENV);
    return point.getField(index);
  }
  /// Null for an empty name.
  QUVENField* take(const std::string& name, const char* key, const QUVENEnvHandle& env) {
    if (name.empty()) return nullptr;
    QUVENField& field = find(name, key, QUVEN_ENV);
    std::string& role = taken[static_cast<std::size_t>(point.getFieldIndex(name))];
    if (!role.empty()) refuseColumn(name, "the column is " + role + " and " + key, QUVEN_ENV);
    role = key;
    return &field;
  }
  QUVENField* takeNumeric(const std::string& name, const char* key, const QUVENEnvHandle& env) {
    QUVENField* field = take(name, key, QUVEN_ENV);
    if (field != nullptr && !field->isNumeric()) {
      refuseColumn(name, std::string(key) + " must be a numeric column", QUVEN_ENV);
    }
    return field;
  }
  bool isTaken(long index) const { return !taken[static_cast<std::size_t>(index)].empty(); }
  const std::string& roleOf(const std::string& name) const {
    return taken[static_cast<std::size_t>(point.getFieldIndex(name))];
  }

 private:
  const QUVENDataPoint& point;
  std::vector<std::string> taken;  // the role of each field, from 1
};

/// The name of the target: of the parameter, or of the column with that purpose.
std::string targetName(const TrainingParameters& parameters, const QUVENDataPoint& point, const QUVENEnvHandle& env) {
  if (!parameters.target.empty()) return parameters.target;
  constexpr auto target = static_cast<std::int32_t>(QUVENFieldPurpose::Target);
  for (long i = point.getNumFields(); i >= 1; --i) {  // of several, the last counts
    if (point.getField(i).getPurpose() == target) return point.getField(i).getName().str();
  }
  refuseColumn("Target", "neither the parameter nor a column of purpose target says what is to be predicted",
               QUVEN_ENV);
}

void setPurposes(const TrainingFields& fields) {
  for (QUVENField* field : fields.inputs) field->setPurpose(QUVENUsageExplanatory);
  // Not usage 7: that purpose is the line number's.
  for (QUVENField* field : fields.supplementary) field->setPurpose(QUVENUsageExplanatory);
  fields.target->setPurpose(QUVENUsageTarget);
  if (fields.caseWeight != nullptr) fields.caseWeight->setPurpose(QUVENUsageCaseWeight);
  if (fields.inverseVarianceWeight != nullptr) {
    fields.inverseVarianceWeight->setPurpose(QUVENUsageInverseVarianceWeight);
  }
}

/// Two weights times the square of a target or input, summed over 100 million records, stay below the largest number.
constexpr double largestValue = 1e100;
constexpr double largestWeight = 1e50;

[[noreturn]] void refuseBeyond(const std::string& column, const std::string& what, double limit,
                               const QUVENEnvHandle& env) {
  std::ostringstream text;
  text << what << " has a value beyond " << limit << ", so that sums of squares overflow";
  refuseColumn(column, text.str(), QUVEN_ENV);
}

/// The smallest and the largest value of a column; the smallest is above the largest without a value.
struct Range {
  double smallest = std::numeric_limits<double>::infinity();
  double largest = -std::numeric_limits<double>::infinity();

  bool isEmpty() const { return smallest > largest; }
  bool isWithin(double limit) const { return -limit <= smallest && largest <= limit; }
};

Range rangeOf(const QUVENField& field) {
  Range range;
  const QUVENNumFieldDist* distribution = static_cast<const QUVENNumField&>(field).getDistribution();
  for (long b = 1; b <= distribution->getNumBins(); ++b) {
    const QUVENNumFieldBin& bin = distribution->getBin(b);
    if (bin.getCount() == 0) continue;
    range.smallest = std::min(range.smallest, bin.getMinValue());
    range.largest = std::max(range.largest, bin.getMaxValue());
  }
  return range;
}

constexpr double largestPoissonMean = 1;

/// What is known of the values of a target by the bins of its distribution.
struct TargetValues {
  double count = 0;
  double sum = 0;
  double smallest = std::numeric_limits<double>::infinity();
  std::set<double> ends;        // of the bins
  bool hasValueWithin = false;  // in a bin, between its ends

  double mean() const { return count > 0 ? sum / count : 0; }
  /// A target with one value is no fault of the loss.
  bool areTwoClasses() const {
    const bool hasNegative = ends.count(0) != 0 || ends.count(-1) != 0;
    return !hasValueWithin && ends.size() <= 2 && (hasNegative || ends.size() < 2);
  }
};

TargetValues valuesOf(const QUVENField& target) {
  TargetValues values;
  const QUVENNumFieldDist& distribution = *static_cast<const QUVENNumField&>(target).getDistribution();
  for (long b = 1; b <= distribution.getNumBins(); ++b) {
    const QUVENNumFieldBin& bin = distribution.getBin(b);
    if (bin.getCount() == 0) continue;
    values.count += bin.getCount();
    values.sum += bin.getCount() * bin.getMean();
    values.smallest = std::min(values.smallest, bin.getMinValue());
    values.ends.insert({bin.getMinValue(), bin.getMaxValue()});
    // A bin with values at its ends only has the largest variance that there can be.
    const double largestVariance = (bin.getMean() - bin.getMinValue()) * (bin.getMaxValue() - bin.getMean());
    constexpr double rounding = 1e-6;
    if (bin.getVariance() < largestVariance * (1 - rounding)) values.hasValueWithin = true;
  }
  return values;
}

/// Whether the field has two values: a missing value is one.
bool varies(const QUVENField& field) {
  if (field.isNumeric()) {
    const Range range = rangeOf(field);
    const bool hasMissing = static_cast<const QUVENNumField&>(field).getDistribution()->getMissingCount() > 0;
    return range.smallest < range.largest || (hasMissing && !range.isEmpty());
  }
  const QUVENCatFieldDist& distribution = *static_cast<const QUVENCatField&>(field).getDistribution();
  long values = (distribution.getMissingCount() > 0 ? 1 : 0) + (distribution.getDefaultCount() > 0 ? 1 : 0);
  for (long c = 1; c <= distribution.getNumCats(); ++c) values += distribution.getCat(c).getCount() > 0 ? 1 : 0;
  return values > 1;
}

}  // namespace

std::vector<QUVENField*> TrainingFields::weights() const {
  std::vector<QUVENField*> fields;
  for (QUVENField* field : {caseWeight, inverseVarianceWeight}) {
    if (field != nullptr) fields.push_back(field);
  }
  return fields;
}

const QUVENField* TrainingFields::findInput(const std::string& name) const {
  const auto found = std::find_if(inputs.begin(), inputs.end(),
                                  [&](const QUVENField* field) { return field->getName().str() == name; });
  return found == inputs.end() ? nullptr : *found;
}

std::vector<QUVENField*> TrainingFields::learnable() const {
  std::vector<QUVENField*> fields;
  std::copy_if(inputs.begin(), inputs.end(), std::back_inserter(fields),
               [this](const QUVENField* field) { return learnsCategories || field->isNumeric() || field == split; });
  return fields;
}

std::vector<QUVENField*> TrainingFields::described() const {
  std::vector<QUVENField*> fields = inputs;
  fields.push_back(target);
  for (QUVENField* field : weights()) fields.push_back(field);
  return fields;
}

void checkNumRecords(RunDataset& dataset, const QUVENFoldDealing& dealing, const QUVENEnvHandle& env) {
  const std::int64_t records = dataset.getNumRecords();
  if (records >= dealing.getNumChannels()) return;
  report_error(FileUnusable, dataset.getName(),
               "vesk-analyze: the dataset has " + std::to_string(records) + " records, too few for " +
                   std::to_string(dealing.getNumChannels()) + " channels",
               QUVEN_ENV, true);
}

void askForDistributions(const TrainingFields& fields, const TrainingParameters& parameters, QUVENPassDriver& driver,
                         const QUVENEnvHandle& env) {
  for (QUVENField* field : fields.described()) {
    driver.addField(*field, QUVEN_ENV);
    if (field->isNumeric()) {
      static_cast<QUVENNumField*>(field)->setSampleCapacity(parameters.sampleSize, QUVEN_ENV);
      continue;
    }
    auto& categories = static_cast<QUVENCatField&>(*field);
    categories.setSampleCapacity(parameters.sampleSize, QUVEN_ENV);
    categories.setMaxCatsAllowed(parameters.maxCategories, QUVEN_ENV);
    categories.setMinCatOccuranceThreshold(parameters.minCategoryCount, QUVEN_ENV);
  }
}

TrainingFields chooseTrainingFields(const TrainingParameters& parameters, const std::string& dataset,
                                    const QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (long i = 1; i <= point.getNumFields(); ++i) {
    if (!point.getField(i).isLineNumber()) continue;
    report_error(FileUnusable, dataset,
                 "vesk-analyze: the sparse output of a loader run is no table; make one with vesk table", QUVEN_ENV,
                 true);
  }
  TrainingFields fields;
  RoleFinder finder(point, QUVEN_ENV);
  fields.target = finder.takeNumeric(targetName(parameters, point, QUVEN_ENV), "Target", QUVEN_ENV);
  fields.caseWeight = finder.takeNumeric(parameters.caseWeight, "CaseWeight", QUVEN_ENV);
  fields.inverseVarianceWeight =
      finder.takeNumeric(parameters.inverseVarianceWeight, "InverseVarianceWeight", QUVEN_ENV);
  for (const std::string& name : parameters.getSupplementaryNames()) {
    fields.supplementary.push_back(finder.take(name, "Supplementary", QUVEN_ENV));
  }
  if (!parameters.splitField.empty()) {
    fields.split = finder.take(parameters.splitField, "SplitField", QUVEN_ENV);
  }
  for (long i = 1; i <= point.getNumFields(); ++i) {
    QUVENField& field = point.getField(i);
    if (!finder.isTaken(i) || &field == fields.split) fields.inputs.push_back(&field);
  }
  if (fields.inputs.empty()) {
    report_error(FileUnusable, dataset, "vesk-analyze: the dataset has no column that could be an input", QUVEN_ENV,
                 true);
  }
  setPurposes(fields);
  return fields;
}

void checkDistributions(const TrainingFields& fields, bool endsWithoutSignal, const std::string& dataset,
                        const TakeWarning& warn, const QUVENEnvHandle& env) {
  const std::string target = fields.target->getName().str();
  const Range range = rangeOf(*fields.target);
  if (range.isEmpty()) refuseColumn(target, "the target is missing in every record", QUVEN_ENV);
  if (range.smallest == range.largest) {
    const std::string text = "the target has the same value everywhere";
    if (!endsWithoutSignal) refuseColumn(target, text, QUVEN_ENV);
    warn({target, text + "; there is nothing to learn"});
  }
  if (!range.isWithin(largestValue)) refuseBeyond(target, "the target", largestValue, QUVEN_ENV);
  for (const QUVENField* weight : fields.weights()) {
    const Range weights = rangeOf(*weight);
    const std::string name = weight->getName().str();
    if (!weights.isEmpty() && weights.smallest < 0) refuseColumn(name, "the weight is negative", QUVEN_ENV);
    if (weights.isEmpty() || weights.largest <= 0) {
      refuseColumn(name, "the weight is nowhere above 0", QUVEN_ENV);
    }
    if (!weights.isWithin(largestWeight)) refuseBeyond(name, "the weight", largestWeight, QUVEN_ENV);
  }
  const std::vector<QUVENField*> inputs = fields.learnable();
  for (const QUVENField* input : inputs) {
    if (!input->isNumeric() || rangeOf(*input).isWithin(largestValue)) continue;
    std::ostringstream text;
    text << "an input has a value beyond " << largestValue << "; it may count for nothing";
    warn({input->getName().str(), text.str()});
  }
  if (std::any_of(inputs.begin(), inputs.end(), [](const QUVENField* field) { return varies(*field); })) return;
  const std::string text = "every input is constant, missing or of rare categories only";
  if (!endsWithoutSignal) report_error(FileUnusable, dataset, "vesk-analyze: " + text, QUVEN_ENV, true);
  warn({dataset, text + "; there is nothing to learn"});
}

void checkTarget(const TrainingFields& fields, std::int32_t lossId, const TakeWarning& warn) {
  const std::string target = fields.target->getName().str();
  const TargetValues values = valuesOf(*fields.target);
  std::ostringstream text;
  if (isPoisson(lossId) && values.smallest < 0) {
    text << "the target has the value " << values.smallest << "; a Poisson loss is for counts from 0 up";
  } else if (isPoisson(lossId) && !hasLink(lossId) && values.mean() > largestPoissonMean) {
    text << "the mean of the target is " << values.mean()
         << "; a Poisson loss without a link is for means up to 1, PoissonLink for any";
  } else if (isOfTwoClasses(lossId) && !values.areTwoClasses()) {
    text << "the target has other values than two of which one is 0 or -1, which this loss is for";
  }
  if (!text.view().empty()) warn({target, text.str()});
}

}  // namespace vesk_analyze
