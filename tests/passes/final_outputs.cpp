#include "final_outputs.h"

#include <bit>
#include <limits>

#include "kernel/quven_data_point.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENFinalOutputs);

QUVENField& QUVENFinalOutputs::addOutput(std::string_view suffix, QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  QUVENField* const field =
      ivOutputs.addOutput(getTargetFields()[1].getField(), QUVENOutputPredicted, suffix, names, QUVEN_ENV);
  field->setComputed(true);
  return *field;
}

void QUVENFinalOutputs::collectFinalOutputs(std::vector<QUVENField*>& fields) const {
  if (ivIsFinal == 0) return;
  for (const QUVENOwnPtr<QUVENModelResultField>& record : ivOutputs.getResultFields()) {
    fields.push_back(record->getField());
  }
}

bool QUVENFinalOutputs::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  ivChecksum += static_cast<const QUVENFinalOutputs&>(*other).ivChecksum;
  return true;
}

/// One of all that a field may hold: no value, a missing one, a value of each channel, a single one, NaN and -0.
void QUVENFinalOutputs::compute(QUVENField& output, std::int32_t number, std::uint32_t record,
                                const QUVENEnvHandle& env) const {
  ++computed;
  switch (record % 5) {
    case 0:
      return;
    case 1:
      return output.setMissing();
    case 2:
      return output.setNumValue(record + 0.1 * number);
    case 3:
      return output.setNumValue(number == 1 ? std::numeric_limits<double>::quiet_NaN() : -0.0);
    default:
      for (std::int32_t c = 1; c <= getGlobalNumChannels(); ++c) {
        output.setNumValueOfChannel(c, record + 0.1 * number + 0.01 * c, QUVEN_ENV);
      }
  }
}

void QUVENFinalOutputs::learn(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const std::uint32_t record = point.getRecordId();
  std::int32_t number = 0;
  for (const QUVENOwnPtr<QUVENModelResultField>& owner : ivOutputs.getResultFields()) {
    QUVENField& output = *owner->getField();
    ++number;
    if (!output.hasValue()) compute(output, number, record, QUVEN_ENV);
    std::uint32_t sum = hashPair(record, static_cast<std::uint32_t>(number));
    const auto add = [&](std::uint64_t value) {
      sum = hashPair(hashPair(sum, static_cast<std::uint32_t>(value)), static_cast<std::uint32_t>(value >> 32));
    };
    add(output.hasValue() ? 1 : 0);
    if (output.hasValue()) add(output.isMissing() ? 1 : 0);
    if (output.hasValue() && !output.isMissing()) {
      add(static_cast<std::uint64_t>(output.getNumValues()));
      add(std::bit_cast<std::uint64_t>(output.getNumValue(QUVEN_ENV)));
      for (long c = 1; c <= output.getNumValues(); ++c) {
        add(std::bit_cast<std::uint64_t>(output.getNumValueOfChannel(c, QUVEN_ENV)));
      }
    }
    ivChecksum += sum;
  }
}

bool QUVENFinalOutputs::endPass(std::int32_t, const QUVENEnvHandle&) {
  ivIsFinal = 1;
  checksumsOfPasses.push_back(ivChecksum);
  return --ivPassesLeft < 1;
}
