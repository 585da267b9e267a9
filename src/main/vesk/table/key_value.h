#ifndef VESK_KEY_VALUE_H
#define VESK_KEY_VALUE_H

#include <cmath>
#include <string>

#include "control/quven_category_code.h"
#include "control/quven_file_formats.h"

namespace vesk {

/// The first whole number whose successor is not exact in a double: 2 to the power 53.
inline constexpr double KeyLimit = 9007199254740992.0;

/// A category code below this number is the text itself, read as a number, see quvenCategoryCode.
inline constexpr double FirstHashedCode = 1e14;

/// Whether a number can be the key of a record: whole, below 2^53 in absolute value, and not the missing value.
inline bool isKey(double number) {
  return std::fabs(number) < KeyLimit && std::trunc(number) == number && number != dataset_format::missingValue;
}

/// The exact text of a number, for a message.
inline std::string numberText(double number) { return std::string(QUVENCategoryText(number).get()); }

}  // namespace vesk

#endif  // VESK_KEY_VALUE_H
