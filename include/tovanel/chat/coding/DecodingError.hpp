#pragma once
// The error of a failed decode: one of four kinds, where it happened and what was found.

#include <cstdint>
#include <string>
#include <string_view>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"

namespace tovanel::chat {

/// Thrown when JSON does not decode as the value asked for.
class TOVANEL_CHAT_API DecodingError : public Error {
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

  /// The dataCorrupted error of a value that is none of a raw-value type's raw values:
  /// "cannot initialize <typeName> from invalid raw value <shown>", where `shown` is the value
  /// as the caller shows it (a string quoted, a number as it is).
  static DecodingError invalidRawValue(CodingPath codingPath, std::string_view typeName,
                                       std::string_view shown);

  Kind kind() const noexcept { return kind_; }
  /// Where: the path from the top-level value (empty for it, and for malformed JSON).
  const CodingPath& codingPath() const noexcept { return codingPath_; }
  /// What was expected and what was found.
  const std::string& debugDescription() const noexcept { return debugDescription_; }

  /// "keyNotFound", "valueNotFound", "typeMismatch" or "dataCorrupted".
  static std::string_view kindName(Kind kind) noexcept;

 private:
  Kind kind_;
  CodingPath codingPath_;
  std::string debugDescription_;
};

}  // namespace tovanel::chat
