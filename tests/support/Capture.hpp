#pragma once
// Helpers that run a piece of code and keep what it left behind: the lines it wrote to standard
// output (the library writes its diagnostic lines there) and the error it threw; and a file's
// content.

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
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
    std::istringstream text(out);
    for (std::string line; std::getline(text, line);) result.push_back(line);
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

/// The whole content of a file.
inline std::string slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
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
