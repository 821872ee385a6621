#pragma once
// The library's only output: the diagnostic lines of body decoding, on standard output.

#include <string_view>

namespace tovanel::chat::detail {

/// Writes `text`, then `appended`, then a newline, to standard output in one call, so that lines
/// written from several threads never interleave.
void writeDiagnosticLine(std::string_view text, std::string_view appended = {});

}  // namespace tovanel::chat::detail
