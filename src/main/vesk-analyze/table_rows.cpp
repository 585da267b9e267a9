#include "table_rows.h"

#include "control/quven_file_formats.h"

namespace vesk_analyze {

bool TableRows::accept(double caller, double position, double value) {
  const bool isHeader = position == sparse_format::headerPosition;
  if (!begun) {
    begun = true;
    firstCaller = caller;
    return isHeader;
  }
  decided = caller != firstCaller;
  return decided || !isHeader || value != sparse_format::pairSumFooterMark;
}

bool TableRows::isFooter(double position, double value) {
  return position > sparse_format::headerPosition && value == 0;
}

}  // namespace vesk_analyze
