#pragma once
// Helpers that run a piece of code and keep what it left behind: the lines it wrote to standard
// output (the library writes its diagnostic lines there) and the error it threw.

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat::test {

struct Captured {
  std::string out;           ///< everything written to standard output
  std::exception_ptr error;  ///< what was thrown, if anything

  /// The output split into lines (each without its newline; a last unterminated piece counts).
  std::vector<std::string> lines() const {
    std::vector<std::string> result;
    std::size_t start = 0;
    while (start < out.size()) {
      const auto end = out.find('\n', start);
      if (end == std::string::npos) {
        result.push_back(out.substr(start));
        break;
      }
      result.push_back(out.substr(start, end - start));
      start = end + 1;
    }
    return result;
  }
};

/// Runs `f` while capturing standard output; whatever it throws is kept, not propagated.
template <class F>
Captured captureStdout(F&& f) {
  Captured captured;
  std::fflush(stdout);
  ::testing::internal::CaptureStdout();
  try {
    f();
  } catch (...) {
    captured.error = std::current_exception();
  }
  std::fflush(stdout);  // the library writes with fwrite: flush before reading
  captured.out = ::testing::internal::GetCapturedStdout();
  return captured;
}

/// The error of type E that `error` holds, or nothing (also when nothing was thrown).
template <class E>
std::optional<E> errorAs(const std::exception_ptr& error) {
  if (!error) return std::nullopt;
  try {
    std::rethrow_exception(error);
  } catch (const E& e) {
    return e;
  } catch (...) {
  }
  return std::nullopt;
}

/// Runs `f` and returns the DecodingError it throws, or nothing when it throws none.
template <class F>
std::optional<DecodingError> decodingErrorOf(F&& f) {
  try {
    f();
  } catch (const DecodingError& error) {
    return error;
  }
  return std::nullopt;
}

}  // namespace tovanel::chat::test
