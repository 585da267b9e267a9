#ifndef VESK_CHECK_COLUMN_RULER_H
#define VESK_CHECK_COLUMN_RULER_H

#include <string>
#include <vector>

#include "loader_settings.h"  // of vesk-loader

namespace vesk {

/// Record lines under a ruler of their columns and bars with the numbers of the fields, in slices that fit a terminal.
/// Fields that overlap have bars in further rows. What is not printable ASCII is shown as "?".
std::string drawRuler(const vesk_loader::LoaderSettings& settings, const std::vector<std::string>& lines);

}  // namespace vesk

#endif  // VESK_CHECK_COLUMN_RULER_H
