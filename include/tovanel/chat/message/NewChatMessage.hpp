#pragma once
// A message about to be sent: its body and the room it goes to. It is handed to
// ChatMessageRepository::send; it has no equality, hash or JSON form.

#include <string>
#include <utility>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"

namespace tovanel::chat {

/// A message to send: a body and a room.
struct NewChatMessage {
  Body body;           ///< what to send
  std::string roomID;  ///< where to send it

  /// A message of any body.
  NewChatMessage(Body bodyValue, std::string roomIDValue)
      : body(std::move(bodyValue)), roomID(std::move(roomIDValue)) {}
  /// A text message.
  NewChatMessage(std::string roomIDValue, TextBody textBody)
      : body(std::move(textBody)), roomID(std::move(roomIDValue)) {}
};

}  // namespace tovanel::chat
