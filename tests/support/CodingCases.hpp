#pragma once
// Decoding and encoding helpers for table-driven tests of records.

#include <optional>
#include <string>
#include <string_view>

#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat::testing {

template <class T>
T decode(std::string_view json) {
  return JSONDecoder().decode<T>(json);
}

template <class T>
std::string encode(const T& value) {
  return JSONEncoder().encode(value);
}

/// The error that decoding `json` as a T throws; nothing when it decodes.
template <class T>
std::optional<DecodingError> decodingError(std::string_view json) {
  try {
    JSONDecoder().decode<T>(json);
    return std::nullopt;
  } catch (const DecodingError& error) {
    return error;
  }
}

/// "keyNotFound at followerCount" for an error, "decoded" for none: one comparable line.
inline std::string outcome(const std::optional<DecodingError>& error) {
  if (!error) return "decoded";
  std::string text(DecodingError::kindName(error->kind()));
  return text + " at " + describe(error->codingPath());
}

template <class T>
std::string decodingOutcome(std::string_view json) {
  return outcome(decodingError<T>(json));
}

}  // namespace tovanel::chat::testing
