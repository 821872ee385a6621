#pragma once
// `tovanel-chat check [FILE]`: decodes every envelope of a room export and reports each failure.

#include <string>

#include "Reading.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"

namespace tovanel::chat::tool {

/// `message <n> (<messageId>): error: <kind>: <description> (<line or byte>)`: how a failing
/// envelope is reported.
std::string envelopeFailureLine(const exports::EnvelopeResult& result);

/// Prints a failure line for each failing message and `checked <N> messages: <K> ok, <F> failed`
/// last. Returns 0 when none failed, else 1 (also when an array's frame is broken, reported on
/// stderr after the count).
int runCheck(const std::string& file, const ReadingSettings& settings);

}  // namespace tovanel::chat::tool
