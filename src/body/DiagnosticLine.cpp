#include "body/DiagnosticLine.hpp"

#include <string>

#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat::detail {

void writeDiagnosticLine(const Decoder& decoder, std::string_view text,
                         const coding::Status& failure) {
  const DiagnosticSink& sink = decoder.owner().diagnosticSink;
  if (!sink) return;
  std::string line(text);
  if (!failure) line += failure.describe();
  line += '\n';
  sink(line);
}

}  // namespace tovanel::chat::detail
