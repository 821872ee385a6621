#include "Check.hpp"

#include <unistd.h>

#include <cstdio>

#include "Envelope.hpp"
#include "Input.hpp"

namespace tovanel::chat::tool {

namespace {
void writeLine(FILE* stream, const std::string& text) {
  const std::string line = text + '\n';
  std::fwrite(line.data(), 1, line.size(), stream);
}
}  // namespace

std::string envelopeFailureLine(const EnvelopeResult& result) {
  return "message " + std::to_string(result.number) + " (" + result.messageId +
         "): error: " + describeFailure(result.failure);
}

int runCheck(const std::string& file) {
  InputStream input(file);
  const bool showProgress = isatty(STDERR_FILENO) != 0;
  std::size_t total = 0;
  std::size_t failed = 0;
  try {
    forEachEnvelope(input.stream(), [&](const EnvelopeResult& result) {
      ++total;
      if (result.failure) {
        ++failed;
        writeLine(stdout, envelopeFailureLine(result));
      }
      if (showProgress && total % 50000 == 0) {
        std::fprintf(stderr, "\rchecked %zu messages...", total);
      }
    });
  } catch (...) {
    if (showProgress && total >= 50000) std::fputs("\n", stderr);
    return reportFailure(std::current_exception());  // an array that is not JSON at all
  }
  if (showProgress && total >= 50000) std::fputs("\r\033[K", stderr);
  writeLine(stdout, "checked " + std::to_string(total) + " messages: " +
                        std::to_string(total - failed) + " ok, " + std::to_string(failed) +
                        " failed");
  return failed == 0 ? 0 : 1;
}

}  // namespace tovanel::chat::tool
