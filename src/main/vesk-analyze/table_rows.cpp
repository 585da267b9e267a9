#include "table_rows.h"

#include <cmath>

namespace vesk_analyze {

bool TableRows::accept(double caller, double position, double value) {
  if (!inside) {
    inside = true;
    currentCaller = caller;
    width = value;
    return position == 0 && value >= 0 && std::floor(value) == value;
  }
  if (position == width + 1) inside = false;
  return caller == currentCaller && position >= 1 && position <= width + 1 && std::floor(position) == position;
}

}  // namespace vesk_analyze
