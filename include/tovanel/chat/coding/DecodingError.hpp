#pragma once
// The error of a failed decode: one of four kinds, where it happened and what was found.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"

namespace tovanel::chat {

/// Thrown when JSON does not decode as the value asked for.
class TOVANEL_CHAT_API DecodingError : public std::exception {
 public:
  /// What went wrong.
  enum class Kind : std::uint8_t {
    keyNotFound,    ///< a required key is absent
    valueNotFound,  ///< a value is JSON null where a value is required
    typeMismatch,   ///< a value has the wrong JSON type
    dataCorrupted,  ///< malformed JSON, an unknown raw value, a number that does not fit
  };

  /// An error of `kind` at `codingPath`, described by `debugDescription`.
  DecodingError(Kind kind, CodingPath codingPath, std::string debugDescription);

  /// What went wrong.
  Kind kind() const noexcept { return kind_; }
  /// Where: the path from the top-level value (empty for it, and for malformed JSON).
  const CodingPath& codingPath() const noexcept { return codingPath_; }
  /// What was expected and what was found.
  const std::string& debugDescription() const noexcept { return debugDescription_; }
  /// The kind, the path and the debug description in one line.
  const char* what() const noexcept override { return description_.c_str(); }

  /// "keyNotFound", "valueNotFound", "typeMismatch" or "dataCorrupted".
  static std::string_view kindName(Kind kind) noexcept;

 private:
  Kind kind_;
  CodingPath codingPath_;
  std::string debugDescription_;
  std::string description_;
};

}  // namespace tovanel::chat
