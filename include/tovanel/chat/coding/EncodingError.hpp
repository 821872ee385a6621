#pragma once
// The error of a failed encode: a value that JSON cannot hold (NaN, an infinity, text that is
// not UTF-8) or a second value at one place, with the coding path where it stood.

#include <string>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"

namespace tovanel::chat {

/// Thrown when a value cannot be written as JSON.
class TOVANEL_CHAT_API EncodingError : public Error {
 public:
  /// An error at `codingPath`, described by `debugDescription`.
  EncodingError(CodingPath codingPath, std::string debugDescription);

  /// Where: the path from the top-level value.
  const CodingPath& codingPath() const noexcept { return codingPath_; }
  /// What could not be written.
  const std::string& debugDescription() const noexcept { return debugDescription_; }

 private:
  CodingPath codingPath_;
  std::string debugDescription_;
};

}  // namespace tovanel::chat
