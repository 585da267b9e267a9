#include "loader_tables.h"

#include "scan_plan.h"

namespace vesk_loader {

LoaderTables LoaderTables::create(const LoaderSettings& settings) {
  LoaderTables tables;
  KeyTable::Shape shape;
  // A table size below 0 is no table: the run is a plain one.
  shape.tableSize = settings.cyclicTableSize > 0 ? static_cast<std::uint32_t>(settings.cyclicTableSize) : 0;
  shape.dates = settings.dateField != -1;
  shape.payloadCount = static_cast<std::uint32_t>(settings.payloadInputs.size());
  shape.sumCount = ScanPlan(settings).sumCount;
  shape.distinct = shape.tableSize > 0 && settings.distinctCyclicTable;
  tables.keys = std::make_unique<KeyTable>(shape);
  if (settings.pairSumFlag != 0) tables.pairs = std::make_unique<PairSumTable>();
  return tables;
}

}  // namespace vesk_loader
