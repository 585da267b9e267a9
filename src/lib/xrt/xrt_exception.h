#ifndef XRT_EXCEPTION_H
#define XRT_EXCEPTION_H

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>

/// Memory ran out: the budget of the environment or the allocator failed.
///
/// It records the state of the account at the failure. The report of the failure has been printed already by whoever
/// throws it.
class XRTMemoryException : public std::bad_alloc {
 public:
  /// Errors: when not even the text of the exception can be made, "*** XRT_SEVERE_OUT_OF_MEMORY ***" goes to standard
  ///         output and becomes the text.
  XRTMemoryException(std::string_view cause, std::int64_t asked, std::int64_t inUse) noexcept;

  /// The cause with both byte counts, as "Cannot allocate array memory (80 bytes asked, 16 bytes in use)".
  const char* what() const noexcept override;

  std::int64_t getBytesAsked() const noexcept { return bytesAsked; }
  std::int64_t getBytesInUse() const noexcept { return bytesInUse; }

 private:
  std::shared_ptr<const std::string> text;  // shared, because a copy of an exception must not fail
  std::int64_t bytesAsked;
  std::int64_t bytesInUse;
};

#endif  // XRT_EXCEPTION_H
