#pragma once
// Reading the tool's input and reporting its failures the same way in every command.

#include <exception>
#include <istream>
#include <memory>
#include <stdexcept>
#include <string>

namespace tovanel::chat::tool {

/// A mistake in how the tool was called (exit status 2).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The whole of FILE, or of standard input for "" or "-". UsageError when it cannot be read.
std::string readInput(const std::string& path);

/// `<kind>: <description>` of a failure of decoding or encoding (rethrows anything else).
std::string describeFailure(const std::exception_ptr& failure);

/// Opens FILE, or standard input for "" or "-", as a stream. UsageError when it cannot be read.
class InputStream {
 public:
  explicit InputStream(const std::string& path);
  std::istream& stream() noexcept { return *stream_; }

 private:
  std::unique_ptr<std::istream> file_;
  std::istream* stream_;
};

/// Writes `error: <kind>: <description>` on stderr for a failure of decoding or encoding and
/// returns the exit status 1. Rethrows anything else.
int reportFailure(const std::exception_ptr& failure);

}  // namespace tovanel::chat::tool
