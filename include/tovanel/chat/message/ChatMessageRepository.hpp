#pragma once
// The interface of a message store or transport: it sends messages, keeps a room's messages
// current, pages back through a room's history and deletes messages. The library holds no
// implementation; the application implements it over its own network and storage.
//
// Only the signatures are fixed. Each implementation decides the rest and should document it:
// whether each list from observeChatMessages is the room's whole list or only what changed, and
// in which order; in which direction retrieveChatMessages pages from `from` (and what no `from`
// means), whether `limit` is a maximum, and what `lurkerToken` grants; when deleteMessage's
// future completes; how send assigns clientID and moves sentStatus from sending to sent or
// failed; and on which threads values arrive. No operation throws: results and failures travel
// through the returned publisher or future.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tovanel/chat/async/Future.hpp"
#include "tovanel/chat/async/Publisher.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"
#include "tovanel/chat/message/NewChatMessage.hpp"

namespace tovanel::chat {

/// What sends, keeps and deletes messages; implemented by the application.
class ChatMessageRepository {
 public:
  virtual ~ChatMessageRepository() = default;

  /// Sends a message. Its outcome shows only in the messages that the repository delivers.
  virtual void send(NewChatMessage message) = 0;

  /// The messages of a room, delivered again whenever they change.
  virtual Publisher<std::vector<ChatMessage>> observeChatMessages(std::string roomID) = 0;

  /// A page of a room's history.
  virtual Future<std::vector<ChatMessage>> retrieveChatMessages(
      std::string roomID, std::optional<Date> from, std::optional<std::string> lurkerToken,
      std::uint64_t limit) = 0;

  /// Deletes a message of a room.
  virtual Future<void> deleteMessage(std::string messageID, std::string roomID) = 0;

 protected:
  // Repositories are used through references to the interface; copying one through it would
  // slice it.
  ChatMessageRepository() = default;
  /// Copies for subclasses only.
  ChatMessageRepository(const ChatMessageRepository&) = default;
  /// Assigns for subclasses only.
  ChatMessageRepository& operator=(const ChatMessageRepository&) = default;
};

}  // namespace tovanel::chat
