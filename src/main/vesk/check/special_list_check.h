#ifndef VESK_CHECK_SPECIAL_LIST_CHECK_H
#define VESK_CHECK_SPECIAL_LIST_CHECK_H

#include <string>

#include "special_list.h"  // of vesk-loader

namespace vesk {

/// Reads the file of a special list, numbers separated by white space.
/// @return what is wrong with it, empty for nothing
std::string readSpecialList(const std::string& path, vesk_loader::SpecialList& list);

}  // namespace vesk

#endif  // VESK_CHECK_SPECIAL_LIST_CHECK_H
