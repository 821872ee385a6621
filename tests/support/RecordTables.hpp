#pragma once
// What every test file of the library includes; and tables of cases over many records at once:
// decoding as an application does (with a prepared decoder) with the diagnostic lines captured, one
// comparable text for what a decode gave (the value written back, or the error kind and the path of
// the failing value), JSON objects made by editing a valid one, and rows of records read back or
// compared.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "support/Capture.hpp"
#include "support/RecordingHasher.hpp"
#include "tovanel/chat.hpp"

namespace tovanel::chat::test {

/// "keyNotFound at location.long", or just the kind for a failure of the top-level value.
inline std::string describeFailure(const DecodingError& error) {
  std::string text(DecodingError::kindName(error.kind()));
  if (!error.codingPath().empty()) text += " at " + describe(error.codingPath());
  return text;
}

/// A decoder as an application prepares it: a body-type box, holding `kind` as an envelope that
/// has read it hands it over.
inline JSONDecoder preparedDecoder(std::optional<BodyType> kind = std::nullopt) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder).value = kind;
  return decoder;
}

/// A body of `kind` decoded from the text as an envelope has it decoded.
inline Body decodeBody(BodyType kind, std::string_view json) {
  return preparedDecoder(kind).decode<Body>(json);
}

/// The members of a JSON object, in order: each key with the JSON text of its value.
using Members = std::vector<std::pair<std::string_view, std::string_view>>;

/// A change to one of the members: a new value for its key, or no value to take the key out.
struct MemberEdit {
  std::string_view key;
  std::optional<std::string_view> json;
};

/// The JSON text of an object with `members` changed by `edits`.
inline std::string objectWith(Members members, const std::vector<MemberEdit>& edits = {}) {
  for (const auto& edit : edits) {
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const auto& member) { return member.first == edit.key; });
    if (edit.json) {
      found->second = *edit.json;
    } else {
      members.erase(found);
    }
  }
  std::string text = "{";
  for (const auto& [key, json] : members) {
    if (text.size() > 1) text += ',';
    text += '"';
    text += key;
    text += "\":";
    text += json;
  }
  return text + "}";
}

inline constexpr std::string_view kInfoLine = "[Body][InfoBody] Can't decode: ";
inline constexpr std::string_view kBodyLine = "[Body] Can't decode due to error: ";
inline constexpr std::string_view kPrepareLine =
    "[Body] Can't decode BodyType. Prepare your JSONDecoder with `prepareForBodyDecoding()`.";

/// Which diagnostic line each line of the output is: "prepare", "body", "info" or the line itself,
/// joined by spaces (the error descriptions the lines end with are the decoder's own wording).
inline std::string lineKinds(const Captured& captured) {
  std::string kinds;
  for (const auto& line : captured.lines()) {
    const auto kind = line == kPrepareLine          ? std::string("prepare")
                      : line.starts_with(kBodyLine) ? std::string("body")
                      : line.starts_with(kInfoLine) ? std::string("info")
                                                    : line;
    kinds += (kinds.empty() ? "" : " ") + kind;
  }
  return kinds;
}

/// What one decode gave: the value or the error, and what was written to standard output.
template <class T>
struct Outcome {
  std::optional<T> value;
  Captured captured;

  std::optional<DecodingError> error() const { return errorAs<DecodingError>(captured.error); }
  /// The value written back, or the failure as describeFailure gives it.
  std::string summary() const {
    if (value) return JSONEncoder().encode(*value);
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

/// The JSON written back for a T decoded from `json` by a prepared decoder, or the failure; then
/// whatever was written to standard output on the way, if anything.
template <class T>
std::string writtenBack(std::string_view json) {
  JSONDecoder decoder = preparedDecoder();
  const auto outcome = decodeCapturing<T>(decoder, json);
  return outcome.summary() + (outcome.captured.out.empty() ? "" : "\n" + outcome.captured.out);
}

/// A row of a table over several records: `json` read as the row's record and written back gives
/// `expected` (see writtenBack).
struct CodingRow {
  std::string name;
  std::string (*writtenBack)(std::string_view);
  std::string json;
  std::string expected;
};

/// A user object in the key order that users are written in.
inline std::string userJson(std::string_view id) {
  return R"({"id":")" + std::string(id) +
         R"(","firstName":"Ada","lastName":"Lovelace","followerCount":3,"followingCount":4})";
}

/// The members of a JSON object's text, which must outlive them.
inline Members membersOf(std::string_view json) {
  Members members;
  std::size_t depth = 0, start = 1, colon = 0;
  for (std::size_t i = 1, quoted = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (quoted) {
      i += c == '\\', quoted = c != '"';
    } else if (c == '"') {
      quoted = 1;
    } else if (c == ':' && depth == 0 && colon <= start) {
      colon = i;
    } else if ((c == ',' || c == '}') && depth == 0 && colon > start) {
      members.emplace_back(json.substr(start + 1, colon - start - 2),
                           json.substr(colon + 1, i - colon - 1));
      start = i + 1;
    } else {
      depth += (c == '{' || c == '[') - (c == '}' || c == ']');
    }
  }
  return members;
}

/// The members of the object under `key`, or of the first element of the array under it.
inline Members nested(const Members& members, std::string_view key) {
  const auto json = std::find_if(members.begin(), members.end(), [&](const auto& member) {
                      return member.first == key;
                    })->second;
  return membersOf(json.starts_with('[') ? json.substr(1) : json);
}

}  // namespace tovanel::chat::test
