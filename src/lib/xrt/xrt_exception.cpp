#include "xrt/xrt_exception.h"

#include <cstdio>

namespace {
constexpr const char* severeShortage = "*** XRT_SEVERE_OUT_OF_MEMORY ***";
}  // namespace

XRTMemoryException::XRTMemoryException(std::string_view cause, std::int64_t asked, std::int64_t inUse) noexcept
    : bytesAsked(asked), bytesInUse(inUse) {
  try {
    std::string message(cause);
    message += " (" + std::to_string(bytesAsked) + " bytes asked, " + std::to_string(bytesInUse) + " bytes in use)";
    text = std::make_shared<const std::string>(std::move(message));
  } catch (const std::bad_alloc&) {
    std::fputs(severeShortage, stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
  }
}

const char* XRTMemoryException::what() const noexcept { return text ? text->c_str() : severeShortage; }
