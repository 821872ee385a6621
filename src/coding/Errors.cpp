#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"

namespace tovanel::chat {

std::string describe(const CodingPath& path) {
  std::string text;
  for (const auto& key : path) {
    if (key.intValue) {
      text += '[';
      text += std::to_string(*key.intValue);
      text += ']';
    } else {
      if (!text.empty()) text += '.';
      text += key.stringValue;
    }
  }
  return text;
}

namespace {
std::string describeError(std::string_view kind, const CodingPath& path,
                          const std::string& debugDescription) {
  std::string text(kind);
  if (!path.empty()) {
    text += " at ";
    text += describe(path);
  }
  text += ": ";
  text += debugDescription;
  return text;
}
}  // namespace

DecodingError::DecodingError(Kind kind, CodingPath codingPath, std::string debugDescription)
    : Error(describeError(kindName(kind), codingPath, debugDescription)),
      kind_(kind),
      codingPath_(std::move(codingPath)),
      debugDescription_(std::move(debugDescription)) {}

DecodingError DecodingError::invalidRawValue(CodingPath codingPath, std::string_view typeName,
                                             std::string_view shown) {
  std::string message = "cannot initialize ";
  message.append(typeName).append(" from invalid raw value ").append(shown);
  return DecodingError(Kind::dataCorrupted, std::move(codingPath), std::move(message));
}

std::string_view DecodingError::kindName(Kind kind) noexcept {
  switch (kind) {
    case Kind::keyNotFound:
      return "keyNotFound";
    case Kind::valueNotFound:
      return "valueNotFound";
    case Kind::typeMismatch:
      return "typeMismatch";
    case Kind::dataCorrupted:
      return "dataCorrupted";
  }
  return "dataCorrupted";
}

EncodingError::EncodingError(CodingPath codingPath, std::string debugDescription)
    : Error(describeError("invalidValue", codingPath, debugDescription)),
      codingPath_(std::move(codingPath)),
      debugDescription_(std::move(debugDescription)) {}

}  // namespace tovanel::chat
