#ifndef OPERATIONS_H
#define OPERATIONS_H

// The operations of the parameter file, one row each.

#include <cstddef>
#include <string_view>

namespace vesk_loader {

/// Last is the newest operation; the table below is checked against it.
enum class OperationKind { CyclicAdd, CyclicAddPayload, Add, Count, PairSum, Last = PairSum };

/// The kind of run that carries an operation out; any other run ignores it.
enum class RunKind {
  Table,  ///< CyclicTableSize above 0
  Plain,  ///< sums or pair sums
};

/// What an accepted record changes.
enum class Effect {
  AppendEntry,      ///< the caller's row gets an entry: the value, the date if configured, the payloads
  AppendPayload,    ///< the value goes beside each entry of the line; there is no step of its own
  AddValue,         ///< the value is added to the sum at the output position
  AddMultiplicity,  ///< the multiplicity is added to the sum at the output position
  WeighPair,        ///< the multiplicity is added to the weight of the pair of caller and value
};

/// Whether a tag Output is read, and whether it must be there.
enum class OutputTag { Ignored, Optional, Required };

struct Operation {
  std::string_view name;  ///< as in the parameter file
  RunKind run;
  OutputTag output;
  bool needsValue;  ///< the value of the input field is used even if no condition tests it
  Effect effect;
  std::string_view trace;  ///< its name in a sample trace of a plain run
};

/// The row of an operation. A kind without a row is a compile error.
constexpr Operation describe(OperationKind kind) {
  switch (kind) {
    case OperationKind::CyclicAdd:
      return {"CyclicAdd", RunKind::Table, OutputTag::Ignored, true, Effect::AppendEntry, ""};
    case OperationKind::CyclicAddPayload:
      return {"CyclicAddPayload", RunKind::Table, OutputTag::Ignored, true, Effect::AppendPayload, ""};
    case OperationKind::Add:
      return {"Add", RunKind::Plain, OutputTag::Required, true, Effect::AddValue, "Add"};
    case OperationKind::Count:
      return {"Count", RunKind::Plain, OutputTag::Required, false, Effect::AddMultiplicity, "Count"};
    case OperationKind::PairSum:
      return {"PairSum", RunKind::Plain, OutputTag::Optional, true, Effect::WeighPair, "pairSum"};
  }
  return {};
}

constexpr std::size_t operationCount = static_cast<std::size_t>(OperationKind::Last) + 1;
static_assert(describe(static_cast<OperationKind>(operationCount)).name.empty(), "Last is not the newest operation");

/// Sums are what the plain operations with an output position add to.
constexpr bool addsToSum(Effect effect) {
  switch (effect) {
    case Effect::AddValue:
    case Effect::AddMultiplicity:
      return true;
    case Effect::AppendEntry:
    case Effect::AppendPayload:
    case Effect::WeighPair:
      break;
  }
  return false;
}

/// Looks an operation up by its name. False, with `kind` as it was, if there is none of that name.
[[nodiscard]] constexpr bool find_operation(std::string_view name, OperationKind& kind) {
  for (std::size_t i = 0; i < operationCount; ++i) {
    const auto candidate = static_cast<OperationKind>(i);
    if (describe(candidate).name != name) continue;
    kind = candidate;
    return true;
  }
  return false;
}

}  // namespace vesk_loader

#endif  // OPERATIONS_H
