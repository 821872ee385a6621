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
  NewChatMessage(Body body, std::string roomID)
      : body(std::move(body)), roomID(std::move(roomID)) {}
  /// A text message.
  NewChatMessage(std::string roomID, TextBody textBody)
      : body(std::move(textBody)), roomID(std::move(roomID)) {}
};

}  // namespace tovanel::chat
