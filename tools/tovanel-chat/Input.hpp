#pragma once
// Reading the tool's input and reporting its failures the same way in every command.

#include <exception>
#include <stdexcept>
#include <string>

namespace tovanel::chat::tool {

/// A mistake in how the tool was called (exit status 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The whole of FILE, or of standard input for "" or "-". UsageError when it cannot be read.
std::string readInput(const std::string& path);

/// Writes `error: <kind>: <description>` on stderr for a failure of decoding or encoding and
/// returns the exit status 1. Rethrows anything else.
int reportFailure(const std::exception_ptr& failure);

}  // namespace tovanel::chat::tool
