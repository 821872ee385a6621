#pragma once
// `tovanel-chat check [FILE]`: decodes every envelope of a room export and reports each failure.

#include <string>

#include "Envelope.hpp"

namespace tovanel::chat::tool {

/// `message <n> (<messageId>): error: <kind>: <description>`: how a failing envelope is reported.
std::string envelopeFailureLine(const EnvelopeResult& result);

/// Prints `message <n> (<messageId>): error: <kind>: <description>` for each failing message and
/// `checked <N> messages: <K> ok, <F> failed` last. Returns 0 when none failed, else 1.
int runCheck(const std::string& file);

}  // namespace tovanel::chat::tool
