// How a diffusion analysis travels: its columns as pairs of arrays.

#include "simple_algorithm/quven_snadata.h"
#include "util/quven_debug.h"
#include "util/quven_stream_values.h"

void QUVENSNAData::writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const {
  QUVENSimpleAlgorithmAbstractData::writePrimitive(writer, QUVEN_ENV);
  const std::span<const std::uint32_t> ascending = nodes.getAscending(QUVEN_ENV);
  const auto writeColumn = [&](const QUVENKeyword& values, const QUVENKeyword& samples, const auto& column) {
    quvenWriteColumnValues(writer, values, column, ascending, QUVEN_ENV);
    quvenWriteColumnNodes(writer, samples, column, nodes, ascending, QUVEN_ENV);
  };
  const Column<double> none;

  quvenWrite(writer, QUVEN_KWD(ivIsSparse), ivIsSparse, QUVEN_ENV);
  quvenWrite(writer, QUVEN_KWD(ivVerbosityLvl), ivVerbosityLvl, QUVEN_ENV);
  quvenWrite(writer, QUVEN_KWD(ivState), ivState, QUVEN_ENV);
  quvenWrite(writer, QUVEN_KWD(ivMatState), ivMatState, QUVEN_ENV);
  writeColumn(QUVEN_KWD(ivRowSum), QUVEN_KWD(ivRowSumSamples), rowSumsTravel != 0 ? ivNum2RowSumMap : none);
  quvenWrite(writer, QUVEN_KWD(ivSpreadCoefficient), ivSpreadCoefficient, QUVEN_ENV);
  quvenWrite(writer, QUVEN_KWD(ivDiffVal), ivDiffVal, QUVEN_ENV);
  if (hasExpected()) quvenWrite(writer, QUVEN_KWD(ivHasExpected), ivHasExpected, QUVEN_ENV);
  switch (getState()) {
    case ComputeNormalizer:
      writeColumn(QUVEN_KWD(ivInDegree), QUVEN_KWD(ivInDegreeSamples), ivNum2InDegreeMap);
      writeColumn(QUVEN_KWD(ivOutDegree), QUVEN_KWD(ivOutDegreeSamples), ivNum2OutDegreeMap);
      return;
    case ComputeWeightedInOutDeg:
      writeColumn(QUVEN_KWD(ivWeightedInDegree), QUVEN_KWD(ivWeightedInDegreeSamples), ivNum2WeightedInDegreeMap);
      writeColumn(QUVEN_KWD(ivWeightedOutDegree), QUVEN_KWD(ivWeightedOutDegreeSamples), ivNum2WeightedOutDegreeMap);
      return;
    case DiffusionIterationModel1:
      writeColumn(QUVEN_KWD(ivModel1FreshEnergies), QUVEN_KWD(ivModel1FreshEnergiesSamples),
                  columnsTravelApart ? none : ivModel1FreshEnergyMap);
      if (hasExpected()) {
        writeColumn(QUVEN_KWD(ivExpectedFresh), QUVEN_KWD(ivExpectedFreshSamples),
                    columnsTravelApart ? none : expectedFresh);
      }
      return;
  }
  quvenNotImplemented(QUVEN_ENV);
}

template <class T>
void QUVENSNAData::fillColumn(Column<T>& column, QUVENXaRay<T>& values, QUVENXaRay<std::uint64_t>& samples,
                              const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(values.getSize() == samples.getSize(), "An array of values without a sample number for each");
  column.clear();
  for (long i = 1; i <= values.getSize(); ++i) {
    column.at(nodes.insert(samples[i], QUVEN_ENV), QUVEN_ENV) = values[i];
  }
  values.deleteMemory(QUVEN_ENV);
  samples.deleteMemory(QUVEN_ENV);
}

void QUVENSNAData::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  // From the first pass of diffusion on a stream has no row sums, and a worker keeps those that it has.
  if (getState() != DiffusionIterationModel1 || !ivRowSum.isEmpty()) {
    fillColumn(ivNum2RowSumMap, ivRowSum, ivRowSumSamples, QUVEN_ENV);
    rowSumsTravel = 1;
  }
  switch (getState()) {
    case ComputeNormalizer:
      fillColumn(ivNum2InDegreeMap, ivInDegree, ivInDegreeSamples, QUVEN_ENV);
      fillColumn(ivNum2OutDegreeMap, ivOutDegree, ivOutDegreeSamples, QUVEN_ENV);
      return;
    case ComputeWeightedInOutDeg:
      fillColumn(ivNum2WeightedInDegreeMap, ivWeightedInDegree, ivWeightedInDegreeSamples, QUVEN_ENV);
      fillColumn(ivNum2WeightedOutDegreeMap, ivWeightedOutDegree, ivWeightedOutDegreeSamples, QUVEN_ENV);
      return;
    case DiffusionIterationModel1:
      fillColumn(ivModel1FreshEnergyMap, ivModel1FreshEnergies, ivModel1FreshEnergiesSamples, QUVEN_ENV);
      fillColumn(expectedFresh, ivExpectedFresh, ivExpectedFreshSamples, QUVEN_ENV);
      return;
  }
  quvenNotImplemented(QUVEN_ENV);
}
