#ifndef VESK_TESTS_ANALYZE_SAMPLE_EVALUATION_H
#define VESK_TESTS_ANALYZE_SAMPLE_EVALUATION_H

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "evaluation_report.h"

namespace vesk_analyze {

inline DescribedSegment intervalSegment(double from, double to) {
  DescribedSegment segment;
  segment.kind = DescribedSegment::Kind::Interval;
  segment.from = from;
  segment.to = to;
  return segment;
}

inline DescribedSegment categorySegment(std::vector<std::string> categories) {
  DescribedSegment segment;
  segment.kind = DescribedSegment::Kind::Categories;
  segment.categories = std::move(categories);
  return segment;
}

inline DescribedSegment missingSegment(std::vector<std::string> categories = {}) {
  DescribedSegment segment = categorySegment(std::move(categories));
  segment.kind = DescribedSegment::Kind::Missing;
  return segment;
}

inline ResidualRow residualRow(const std::string& field, DescribedSegment segment, double records, double actual,
                               double predicted, double stdDev = 0.5) {
  return {field, std::move(segment), records, actual, predicted, actual - predicted, stdDev};
}

inline FieldCurve fieldCurve(const std::string& field, bool isNumeric, double smallest = 0, double largest = 0) {
  FieldCurve curve;
  curve.transform.field = field;
  curve.transform.isNumeric = isNumeric;
  curve.smallest = smallest;
  curve.largest = largest;
  return curve;
}

/// An evaluation of 400 records with a mean target of 0.25. No part of it is empty.
inline EvaluationReport sampleEvaluation() {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();
  EvaluationReport report;
  report.modelFile = "calls.model";
  report.modelKind = "TransformRegression";
  report.dataset = "calls.bin";
  report.trainedOn = "calls";
  report.target = "leaves";
  report.loss = "LogisticLink";
  report.chosenRecords = "Test";
  report.isOfTwoClasses = true;
  report.numRecords = 400;
  report.numWithoutTarget = 7;
  report.numNotFinite = 3;
  report.numBelowLastBin = 40;
  report.meanActual = 0.25;
  report.quality = {{"records", 400}, {"rmse", 0.3712345678}, {"R_squared_plain", 0.2651}, {"auc", noNumber}};
  report.lift = {{0.75, 100, 100, 70, -10, 60, 2.4, -2.5},
                 {0.25, 0, 100, 0, 0, 60, 2.4, noNumber},
                 {0.125, 260, 360, 40, 0, 100, 10.0 / 9, infinity}};
  report.optimum = {{1, 100, 100, 100, 0, 100, 4, 0}, {0, 300, 400, 0, 0, 100, 1, 0}};
  report.twentieths = {residualRow("", intervalSegment(-infinity, 0.125), 200, 0.0625, 0.05),
                       residualRow("", intervalSegment(0.125, infinity), 200, 0.4375, 0.45)};
  report.segments = {residualRow("minutes", intervalSegment(-infinity, 12.5), 199, 0.1, 0.125),
                     residualRow("minutes", intervalSegment(12.5, infinity), 200, 0.4, 0.39),
                     residualRow("minutes", missingSegment(), 1, 1, 0.5, noNumber),
                     residualRow("plan", categorySegment({"gold", "silver, old"}), 400, 0.25, 0.26),
                     {"plan", missingSegment({"*"}), 0}};
  report.curves = {fieldCurve("minutes", true, 0, 100), fieldCurve("plan", false)};
  report.hasSensitivities = true;
  report.sensitivities = {{"minutes", 0.8125, 400}, {"plan", 0.1875, 400}};
  report.stages.resize(2);
  report.stages[0].rank = 2;
  report.stages[0].alphas = {1, 1};
  report.stages[0].transforms = {DescribedTransform(), report.curves[0].transform, report.curves[1].transform};
  report.stages[1].isOutput = true;
  report.stages[1].alphas = {1.3712345, 1};
  report.stages[1].outputAlphas = {1.25, 1};
  return report;
}

}  // namespace vesk_analyze

#endif  // VESK_TESTS_ANALYZE_SAMPLE_EVALUATION_H
