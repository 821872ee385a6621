#pragma once
// The library's only output: the diagnostic lines of body decoding, handed to the decoder's sink.

#include <string_view>

#include "tovanel/chat/coding/Decoder.hpp"

namespace tovanel::chat::detail {

/// Hands `text`, then the description of `failure` when there is one, then a newline, to the
/// diagnostic sink of the JSONDecoder whose decode `decoder` belongs to, as one line. Describes
/// the failure only when there is a sink.
void writeDiagnosticLine(const Decoder& decoder, std::string_view text,
                         const coding::Status& failure = {});

}  // namespace tovanel::chat::detail
