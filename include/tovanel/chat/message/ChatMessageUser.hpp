#pragma once
// A chat user as the service describes one: the author of every message and the people named in
// system events.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

/// A user of the chat service.
struct ChatMessageUser : coding::Record<ChatMessageUser> {
  /// The public key set; `avatarURL` travels as "avatarUrl".
  enum class CodingKeys : std::uint8_t {
    id,
    username,
    firstName,
    lastName,
    bio,
    avatarURL,
    followerCount,
    followingCount,
  };

  std::string id;                        ///< the user's identifier
  std::optional<std::string> username;   ///< the handle; empty for a deleted account
  std::string firstName;                 ///< given name
  std::string lastName;                  ///< family name
  std::optional<std::string> bio;        ///< the user's own description
  std::optional<std::string> avatarURL;  ///< "avatarUrl": the picture's link
  std::int64_t followerCount = 0;        ///< how many follow the user
  std::int64_t followingCount = 0;       ///< how many the user follows

  /// A user with every field, in declaration order.
  ChatMessageUser(std::string idValue, std::optional<std::string> usernameValue,
                  std::string firstNameValue, std::string lastNameValue,
                  std::optional<std::string> bioValue, std::optional<std::string> avatarURLValue,
                  std::int64_t followerCountValue, std::int64_t followingCountValue)
      : id(std::move(idValue)),
        username(std::move(usernameValue)),
        firstName(std::move(firstNameValue)),
        lastName(std::move(lastNameValue)),
        bio(std::move(bioValue)),
        avatarURL(std::move(avatarURLValue)),
        followerCount(followerCountValue),
        followingCount(followingCountValue) {}

  /// "@" followed by the username, when there is a non-empty one.
  std::optional<std::string> atUsername() const {
    if (userWasDeletedOnTheBackend()) return std::nullopt;
    return "@" + *username;
  }
  /// True when the username is absent or empty (a blank is not empty).
  bool userWasDeletedOnTheBackend() const noexcept { return !username || username->empty(); }

 private:
  friend struct coding::Access;
  explicit ChatMessageUser(coding::detail::Unfilled) {}
  static constexpr auto codingFields() {
    return std::tuple{coding::requiredKey("id", &ChatMessageUser::id),
                      coding::optionalKey("username", &ChatMessageUser::username),
                      coding::requiredKey("firstName", &ChatMessageUser::firstName),
                      coding::requiredKey("lastName", &ChatMessageUser::lastName),
                      coding::optionalKey("bio", &ChatMessageUser::bio),
                      coding::optionalKey("avatarUrl", &ChatMessageUser::avatarURL),
                      coding::requiredKey("followerCount", &ChatMessageUser::followerCount),
                      coding::requiredKey("followingCount", &ChatMessageUser::followingCount)};
  }
};

/// The JSON keys of ChatMessageUser, from its field table.
template <>
struct RawValues<ChatMessageUser::CodingKeys> {
  static constexpr std::string_view typeName = "ChatMessageUser.CodingKeys";  ///< as errors name it
  static constexpr auto values = coding::keysOf<ChatMessageUser>();           ///< in key order
};

}  // namespace tovanel::chat
