#pragma once
// Helpers shared by the system-event tests: decoding with the diagnostic lines captured, and a
// compact text for what a decode gave (the re-encoded JSON, or the error's kind and path).

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// "keyNotFound at request.createdAt", or "keyNotFound" for the top-level value.
inline std::string describeError(const DecodingError& error) {
  std::string text(DecodingError::kindName(error.kind()));
  const std::string path = describe(error.codingPath());
  if (!path.empty()) text.append(" at ").append(path);
  return text;
}

/// What one decode gave: the value or the error, and what was written to standard output.
template <class T>
struct Outcome {
  std::optional<T> value;
  std::optional<DecodingError> error;
  bool bodyTypeMissing = false;
  std::string output;

  /// The re-encoded value, or the error described.
  std::string summary() const {
    if (value) return JSONEncoder().encode(*value);
    if (error) return describeError(*error);
    return bodyTypeMissing ? "bodyTypeMissing" : "nothing";
  }
  /// The error's full description, as the diagnostic lines append it.
  std::string errorText() const { return error ? error->what() : std::string(); }
};

/// Decodes `json` as a T with `decoder`, capturing standard output.
template <class T>
Outcome<T> decodeCapturing(JSONDecoder& decoder, std::string_view json) {
  Outcome<T> outcome;
  testing::internal::CaptureStdout();
  try {
    outcome.value.emplace(decoder.decode<T>(json));
  } catch (const DecodingError& error) {
    outcome.error.emplace(error);
  } catch (const Body::BodyDecodingError&) {
    outcome.bodyTypeMissing = true;
  }
  outcome.output = testing::internal::GetCapturedStdout();
  return outcome;
}

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

/// The re-encoded JSON of a T decoded from `json`, or its error's kind and path.
template <class T>
std::string reencode(std::string_view json) {
  return decodeCapturing<T>(json).summary();
}

/// The lines of some output, without their newlines.
inline std::vector<std::string> linesOf(std::string_view output) {
  std::vector<std::string> lines;
  while (!output.empty()) {
    const auto end = output.find('\n');
    lines.emplace_back(output.substr(0, end));
    if (end == std::string_view::npos) break;
    output.remove_prefix(end + 1);
  }
  return lines;
}

/// A user object in the key order that users are written in.
inline std::string userJson(std::string_view id) {
  std::string json = R"({"id":")";
  json.append(id).append(R"(","firstName":"Ada","lastName":"Lovelace","followerCount":3,)");
  json.append(R"("followingCount":4})");
  return json;
}

}  // namespace tovanel::chat::test
