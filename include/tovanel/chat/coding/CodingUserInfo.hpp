#pragma once
// The user information a decoder or encoder carries into every nested value of a run: a dictionary
// keyed by CodingUserInfoKey whose values are of any type. A CodingUserInfoValue is a shared,
// mutable box: every holder of the dictionary sees the one object.

#include <any>
#include <compare>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tovanel/chat/Export.hpp"

namespace tovanel::chat {

/// A key of user information: a string.
class CodingUserInfoKey {
 public:
  /// The key named `rawValue`.
  explicit CodingUserInfoKey(std::string rawValue) : rawValue_(std::move(rawValue)) {}
  /// The key's name.
  const std::string& rawValue() const noexcept { return rawValue_; }
  friend auto operator<=>(const CodingUserInfoKey&, const CodingUserInfoKey&) = default;

 private:
  std::string rawValue_;
};

/// User information: values of any type by key.
using UserInfo = std::map<CodingUserInfoKey, std::any>;

class JSONDecoder;
enum class BodyType : std::uint8_t;
template <class T>
class CodingUserInfoValue;
TOVANEL_CHAT_API CodingUserInfoValue<BodyType>& prepareForBodyDecoding(JSONDecoder& decoder);

/// A reference box in user information. It has no public constructor: the one box the library
/// uses, the body-type box, is made by prepareForBodyDecoding, which installs it.
template <class T>
class CodingUserInfoValue {
 public:
  std::optional<T> value;  ///< what the box holds; anyone may read or write it

 private:
  CodingUserInfoValue() = default;
  friend CodingUserInfoValue<BodyType>& prepareForBodyDecoding(JSONDecoder& decoder);
};

namespace coding::detail {
/// The box of type T stored under `key`, or null when there is none or it is of another type.
template <class T>
CodingUserInfoValue<T>* findBox(const UserInfo& userInfo, const CodingUserInfoKey& key) noexcept {
  const auto entry = userInfo.find(key);
  if (entry == userInfo.end()) return nullptr;
  const auto* box = std::any_cast<std::shared_ptr<CodingUserInfoValue<T>>>(&entry->second);
  return box != nullptr ? box->get() : nullptr;
}
}  // namespace coding::detail

}  // namespace tovanel::chat
