#ifndef VESK_CHECK_RUN_CHECK_H
#define VESK_CHECK_RUN_CHECK_H

#include <cstddef>

#include "check/tag_values.h"
#include "loader_settings.h"  // of vesk-loader

namespace vesk {

/// Reads Operation1, Operation2, ... and checks what kind of run they and the other tags make together.
/// Requires: the other settings are read.
/// @param top the tag LoaderParams
void checkOperations(TagValues& values, std::size_t top, vesk_loader::LoaderSettings& settings);

}  // namespace vesk

#endif  // VESK_CHECK_RUN_CHECK_H
