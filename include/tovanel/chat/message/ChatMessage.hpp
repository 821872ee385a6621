#pragma once
// A message held in a room, received from the service or sent and tracked locally. The
// application builds it from a decoded body, its author and its own metadata; it has no JSON form.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/base/ValueSemantics.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"
#include "tovanel/chat/message/MessageSentStatus.hpp"

namespace tovanel::chat {

/// A message of a room, as the application holds it.
struct ChatMessage {
 private:
  // The fields in declaration order, for equality and the hash input.
  static constexpr auto members() {
    return std::tuple{&ChatMessage::body,      &ChatMessage::createdAt, &ChatMessage::clientID,
                      &ChatMessage::messageID, &ChatMessage::roomID,    &ChatMessage::type,
                      &ChatMessage::updatedAt, &ChatMessage::user,      &ChatMessage::viewCount,
                      &ChatMessage::sentStatus};
  }

 public:
  Body body;                            ///< what the message says
  std::optional<Date> createdAt;        ///< when it was sent
  std::optional<std::string> clientID;  ///< chosen by the sending client
  std::string messageID;                ///< the service's identifier
  std::string roomID;                   ///< the room it belongs to
  /// Stored as given: nothing ties it to body.bodyType().
  BodyType type;
  std::optional<Date> updatedAt;          ///< when it last changed
  ChatMessageUser user;                   ///< its author
  std::optional<std::int64_t> viewCount;  ///< how often it was seen
  MessageSentStatus sentStatus;           ///< delivery state of one's own message

  /// A message with every field, in declaration order.
  ChatMessage(Body bodyValue, std::optional<Date> createdAtValue,
              std::optional<std::string> clientIDValue, std::string messageIDValue,
              std::string roomIDValue, BodyType typeValue, std::optional<Date> updatedAtValue,
              ChatMessageUser userValue, std::optional<std::int64_t> viewCountValue,
              MessageSentStatus sentStatusValue)
      : body(std::move(bodyValue)),
        createdAt(createdAtValue),
        clientID(std::move(clientIDValue)),
        messageID(std::move(messageIDValue)),
        roomID(std::move(roomIDValue)),
        type(typeValue),
        updatedAt(updatedAtValue),
        user(std::move(userValue)),
        viewCount(viewCountValue),
        sentStatus(sentStatusValue) {}

  /// Every field equal.
  friend bool operator==(const ChatMessage& a, const ChatMessage& b) {
    return value::equalMembers(a, b, members());
  }

  /// The fields in declaration order: the kind by its raw string, the view count as a presence
  /// byte and a 64-bit word, the sent status as a 32-bit word.
  template <class H>
  void hashInto(H& hasher) const {
    value::feedMembers(hasher, *this, members());
  }
  /// The hash with the process's seed.
  std::uint64_t hashValue() const noexcept { return hashValueOf(*this); }
};

}  // namespace tovanel::chat

template <>
struct std::hash<tovanel::chat::ChatMessage> {
  std::size_t operator()(const tovanel::chat::ChatMessage& message) const noexcept {
    return static_cast<std::size_t>(message.hashValue());
  }
};
