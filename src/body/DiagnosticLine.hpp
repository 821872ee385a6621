#pragma once
// The library's only output: the diagnostic lines of body decoding, handed to the decoder's sink.

#include <string_view>

namespace tovanel::chat {
class Decoder;
}

namespace tovanel::chat::detail {

/// Hands `text`, then `appended`, then a newline, to the diagnostic sink of the JSONDecoder whose
/// run `decoder` belongs to, as one line.
void writeDiagnosticLine(const Decoder& decoder, std::string_view text,
                         std::string_view appended = {});

}  // namespace tovanel::chat::detail
