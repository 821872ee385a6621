#pragma once
// Decoding and encoding JSON text in one call, for tables of cases: the failure of a decode as one
// comparable text (the error kind and the path of the failing value), and JSON objects made by
// editing the members of a valid one.

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat::test {

/// "keyNotFound at location.long", or just the kind for a failure of the top-level value.
inline std::string describeFailure(const DecodingError& error) {
  std::string text(DecodingError::kindName(error.kind()));
  if (!error.codingPath().empty()) text += " at " + describe(error.codingPath());
  return text;
}

template <class T>
T decodeJson(std::string_view json) {
  return JSONDecoder().decode<T>(json);
}

/// A body of `kind` decoded from the text as an envelope has it decoded: through a prepared
/// decoder whose box holds the kind.
inline Body decodeBody(BodyType kind, std::string_view json) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  bodyType(decoder.userInfo)->value = kind;
  return decoder.decode<Body>(json);
}

/// The compact JSON text of a value.
template <class T>
std::string encodeJson(const T& value) {
  return JSONEncoder().encode(value);
}

/// The members of a JSON object, in order: each key with the JSON text of its value.
using Members = std::vector<std::pair<std::string_view, std::string_view>>;

/// A change to one member: a new value for the key (added at the end when the key is new), or
/// no value to take the key out.
struct MemberEdit {
  std::string_view key;
  std::optional<std::string_view> json;
};

/// The edit that takes `key` out.
inline MemberEdit without(std::string_view key) { return {key, std::nullopt}; }

/// The JSON text of an object with `members` changed by `edits`.
inline std::string objectWith(Members members, const std::vector<MemberEdit>& edits = {}) {
  for (const auto& edit : edits) {
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const auto& member) { return member.first == edit.key; });
    if (!edit.json) {
      if (found != members.end()) members.erase(found);
    } else if (found != members.end()) {
      found->second = *edit.json;
    } else {
      members.emplace_back(edit.key, *edit.json);
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

}  // namespace tovanel::chat::test
