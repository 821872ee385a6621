#pragma once
// What every command that reads an input takes from the command line.

#include <cstddef>

#include "tovanel/chat/export/ExportReader.hpp"

namespace tovanel::chat::tool {

struct ReadingSettings {
  /// --max-message-size: the longest line or element of an export, or single value.
  std::size_t maximumMessageSize = exports::ReadingOptions::kDefaultMaximumMessageSize;
};

/// The export reader's options for these settings.
inline exports::ReadingOptions readingOptions(const ReadingSettings& settings) {
  exports::ReadingOptions options;
  options.maximumMessageSize = settings.maximumMessageSize;
  return options;
}

}  // namespace tovanel::chat::tool
