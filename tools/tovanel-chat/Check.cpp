#include "Check.hpp"

#include <cstdio>

#include "Errors.hpp"
#include "Output.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat::tool {

std::string envelopeFailureLine(const exports::EnvelopeResult& result) {
  return "message " + std::to_string(result.number) + " (" + result.messageId +
         "): error: " + describeFailure(result.failure) + " (" + result.describePlace() + ")";
}

int runCheck(const std::string& file, const ReadingSettings& settings) {
  auto input = exports::Input::open(file);
  exports::EnvelopeReader reader(input, readingOptions(settings));
  reader.decoder().diagnosticSink = diagnosticSinkTo(stdout);
  Progress progress("checked");
  std::size_t total = 0;
  std::size_t failed = 0;
  std::exception_ptr broken;
  // One message and one result, reused: nothing is built per envelope that decodes.
  ChatMessage message = exports::emptyMessage();
  exports::EnvelopeResult result;
  try {
    while (reader.nextInto(message, result)) {
      ++total;
      if (result.failure) {
        ++failed;
        writeLine(stdout, envelopeFailureLine(result));
      }
      progress.update(total);
    }
  } catch (const DecodingError&) {
    broken = std::current_exception();  // an array whose frame is broken: the rest is lost
  }
  progress.finish();
  writeLine(stdout, "checked " + std::to_string(total) +
                        " messages: " + std::to_string(total - failed) + " ok, " +
                        std::to_string(failed) + " failed");
  if (broken) return reportFailure(broken);
  return failed == 0 ? 0 : 1;
}

}  // namespace tovanel::chat::tool
