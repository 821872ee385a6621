#pragma once
// Helpers shared by the system-event tests: decoding as an application does (a prepared decoder,
// or through Body with the info kind) with the diagnostic lines captured, and one comparable text
// for what a decode gave.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "support/Capture.hpp"
#include "support/CodingOutcome.hpp"
#include "tovanel/chat.hpp"

namespace tovanel::chat::test {

inline constexpr std::string_view kInfoLine = "[Body][InfoBody] Can't decode: ";
inline constexpr std::string_view kBodyLine = "[Body] Can't decode due to error: ";
inline constexpr std::string_view kPrepareLine =
    "[Body] Can't decode BodyType. Prepare your JSONDecoder with `prepareForBodyDecoding()`.";

/// A decoder as an application prepares it: an empty body-type box.
inline JSONDecoder preparedDecoder() {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  return decoder;
}

/// What one decode gave: the value or the error, and what was written to standard output.
template <class T>
struct Outcome {
  std::optional<T> value;
  Captured captured;

  std::optional<DecodingError> error() const { return errorAs<DecodingError>(captured.error); }
  /// The error's full description, as the diagnostic lines append it.
  std::string errorText() const {
    const auto failure = error();
    return failure ? failure->what() : std::string();
  }
  /// The value written back, or the failure as describeFailure gives it.
  std::string summary() const {
    if (value) return encodeJson(*value);
    if (const auto failure = error()) return describeFailure(*failure);
    return errorAs<Body::BodyDecodingError>(captured.error) ? "bodyTypeMissing" : "nothing";
  }
};

/// Decodes `json` as a T with `decoder`, capturing standard output.
template <class T>
Outcome<T> decodeCapturing(JSONDecoder& decoder, std::string_view json) {
  Outcome<T> outcome;
  outcome.captured = captureStdout([&] { outcome.value.emplace(decoder.decode<T>(json)); });
  return outcome;
}

/// The same with a prepared decoder.
template <class T>
Outcome<T> decodeCapturing(std::string_view json) {
  JSONDecoder decoder = preparedDecoder();
  return decodeCapturing<T>(decoder, json);
}

/// Decodes `json` as a body of the info kind, as a message envelope hands it over.
inline Outcome<Body> decodeInfoAsBody(std::string_view json) {
  JSONDecoder decoder = preparedDecoder();
  bodyType(decoder.userInfo)->value = BodyType::info;
  return decodeCapturing<Body>(decoder, json);
}

/// The JSON written back for a T decoded from `json` by a prepared decoder, or the failure.
template <class T>
std::string writtenBack(std::string_view json) {
  return decodeCapturing<T>(json).summary();
}

/// A user object in the key order that users are written in.
inline std::string userJson(std::string_view id) {
  std::string json = R"({"id":")";
  json.append(id).append(R"(","firstName":"Ada","lastName":"Lovelace","followerCount":3,)");
  json.append(R"("followingCount":4})");
  return json;
}

}  // namespace tovanel::chat::test
