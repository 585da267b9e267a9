#ifndef TESTS_SUPPORT_INTERNAL_ERROR_H
#define TESTS_SUPPORT_INTERNAL_ERROR_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

/// For EXPECT_EXIT: what standard error holds after an internal error that names the file, at any line of it.
inline testing::Matcher<const std::string&> internalError(const std::string& message, std::string file) {
  file.resize(std::max<std::size_t>(file.size(), 50), ' ');
  // The line stands in a column of 5, at the right.
  const auto withoutLine = [](const std::string& text) {
    return text.substr(0, text.find_last_not_of("0123456789 \n") + 1);
  };
  return testing::AllOf(
      testing::EndsWith("\n"),
      testing::ResultOf(withoutLine, "\nInternal Error - " + message + "\nThrown         - " + file + " :"));
}

/// The same for an error of the user.
inline testing::Matcher<const std::string&> userError(const std::string& message) {
  return "\nUser Error     - " + message + "\n";
}

#define EXPECT_INTERNAL_ERROR(statement, message, file) \
  EXPECT_EXIT(statement, testing::ExitedWithCode(1), internalError(message, file))
#define EXPECT_USER_ERROR(statement, message) EXPECT_EXIT(statement, testing::ExitedWithCode(1), userError(message))

#endif  // TESTS_SUPPORT_INTERNAL_ERROR_H
