#ifndef VESK_INSPECT_NUMBER_FORMAT_H
#define VESK_INSPECT_NUMBER_FORMAT_H

#include <string>

namespace vesk_inspect {

/// An integer when the number is one and below 2^63, else the shortest text that reads back as the same number.
std::string formatNumber(double number);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_NUMBER_FORMAT_H
