#include "body/DiagnosticLine.hpp"

#include <string>

#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat::detail {

void writeDiagnosticLine(const Decoder& decoder, std::string_view text, std::string_view appended) {
  const DiagnosticSink& sink = decoder.run().owner().diagnosticSink;
  if (!sink) return;
  std::string line;
  line.reserve(text.size() + appended.size() + 1);
  line.append(text).append(appended).push_back('\n');
  sink(line);
}

}  // namespace tovanel::chat::detail
