#pragma once
// The tool's failures, reported the same way by every command: a usage error (exit status 2), or
// a failure of decoding, encoding or input (exit status 1) as `error: <kind>: <description>`.

#include <exception>
#include <stdexcept>
#include <string>

namespace tovanel::chat::tool {

/// A mistake in how the tool was called, or an input it cannot read (exit status 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// `<kind>: <description>` of a failure of decoding or encoding (rethrows anything else).
std::string describeFailure(const std::exception_ptr& failure);

/// Writes `error: <about><kind>: <description>` on stderr for a failure of decoding or encoding,
/// after what standard output holds, and returns the exit status 1. Rethrows anything else.
int reportFailure(const std::exception_ptr& failure, const std::string& about = "");

}  // namespace tovanel::chat::tool
