// The repository interface, implemented in memory the way an application would implement it
// over its own transport, and used only through the interface.

#include "tovanel/chat/message/ChatMessageRepository.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tovanel/chat/body/content/TextBody.hpp"

namespace tovanel::chat {
namespace {

using Messages = std::vector<ChatMessage>;

static_assert(std::is_abstract_v<ChatMessageRepository>);
static_assert(std::has_virtual_destructor_v<ChatMessageRepository>);
static_assert(std::is_same_v<decltype(&ChatMessageRepository::send),
                             void (ChatMessageRepository::*)(NewChatMessage)>);
static_assert(std::is_same_v<decltype(&ChatMessageRepository::observeChatMessages),
                             Publisher<Messages> (ChatMessageRepository::*)(std::string)>);
static_assert(std::is_same_v<decltype(&ChatMessageRepository::retrieveChatMessages),
                             Future<Messages> (ChatMessageRepository::*)(
                                 std::string, std::optional<Date>, std::optional<std::string>,
                                 std::uint64_t)>);
static_assert(std::is_same_v<decltype(&ChatMessageRepository::deleteMessage),
                             Future<void> (ChatMessageRepository::*)(std::string, std::string)>);

/// Keeps each room's messages oldest first; observers receive the room's whole list at once and
/// after every change. A page is the newest `limit` messages; a room never seen fails. Sent
/// messages stay `sending` until the transport (the test) settles them.
class InMemoryChatMessageRepository final : public ChatMessageRepository {
 public:
  void send(NewChatMessage message) override {
    const std::string id = "client-" + std::to_string(rooms_[message.roomID].size());
    const BodyType type = message.body.bodyType();
    rooms_[message.roomID].push_back(ChatMessage(std::move(message.body), Date::since1970(0), id,
                                                 id, message.roomID, type, std::nullopt, kMe,
                                                 std::nullopt, MessageSentStatus::sending));
    publish(message.roomID);
  }

  Publisher<Messages> observeChatMessages(std::string roomID) override {
    return Publisher<Messages>([this, roomID](Subscriber<Messages> subscriber) {
      subscriber.receive(rooms_[roomID]);
      observers_[roomID].push_back(std::move(subscriber));
    });
  }

  Future<Messages> retrieveChatMessages(std::string roomID, std::optional<Date>,
                                        std::optional<std::string>, std::uint64_t limit) override {
    Promise<Messages> promise;
    const auto room = rooms_.find(roomID);
    if (room == rooms_.end()) {
      promise.reject(std::make_exception_ptr(std::out_of_range("no room " + roomID)));
    } else {
      const auto count = std::min<std::size_t>(limit, room->second.size());
      promise.resolve(
          Messages(room->second.end() - static_cast<std::ptrdiff_t>(count), room->second.end()));
    }
    return promise.future();
  }

  Future<void> deleteMessage(std::string messageID, std::string roomID) override {
    Promise<void> promise;
    if (std::erase_if(rooms_[roomID], [&](const auto& m) { return m.messageID == messageID; })) {
      publish(roomID);
      promise.resolve();
    } else {
      promise.reject(std::make_exception_ptr(std::out_of_range("no message " + messageID)));
    }
    return promise.future();
  }

  /// The transport settles every pending message of the room.
  void settlePending(const std::string& roomID, MessageSentStatus status) {
    for (ChatMessage& message : rooms_[roomID]) {
      if (message.sentStatus == MessageSentStatus::sending) message.sentStatus = status;
    }
    publish(roomID);
  }

  static inline const ChatMessageUser kMe{"me", "me", "Me", "Myself", {}, {}, 0, 0};

 private:
  void publish(const std::string& roomID) {
    for (const auto& observer : observers_[roomID]) observer.receive(rooms_[roomID]);
  }

  std::map<std::string, Messages> rooms_;
  std::map<std::string, std::vector<Subscriber<Messages>>> observers_;
};

using Lines = std::vector<std::string>;

const char* nameOf(MessageSentStatus status) {
  static constexpr const char* kNames[] = {"sent", "sending", "failed"};
  return kNames[rawValue(status)];
}

/// "hello:sending" for each message of a list.
Lines summary(const Messages& messages) {
  Lines lines;
  for (const auto& m : messages) {
    const auto* text = m.body.get<TextBody>();
    lines.push_back((text ? text->text : "(not text)") + ":" + nameOf(m.sentStatus));
  }
  return lines;
}

std::string failureOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::out_of_range& e) {
    return e.what();
  }
}

TEST(ChatMessageRepository, ObserversSeeASentMessageMoveFromSendingToItsOutcome) {
  for (const auto outcome : {MessageSentStatus::sent, MessageSentStatus::failed}) {
    InMemoryChatMessageRepository memory;
    ChatMessageRepository& repository = memory;
    std::vector<Lines> lists;
    const Cancellable observation = repository.observeChatMessages("r-1").subscribe(
        [&](const Messages& messages) { lists.push_back(summary(messages)); });
    repository.send(NewChatMessage("r-1", TextBody("hello", std::nullopt)));
    memory.settlePending("r-1", outcome);
    const std::string last = "hello:" + std::string(nameOf(outcome));
    EXPECT_EQ(lists, (std::vector<Lines>{{}, {"hello:sending"}, {last}})) << last;
  }
}

TEST(ChatMessageRepository, PagesDeletionsAndFailuresArriveThroughFutures) {
  InMemoryChatMessageRepository memory;
  ChatMessageRepository& repository = memory;
  for (const char* text : {"1", "2", "3"})
    repository.send(NewChatMessage("r-1", TextBody(text, {})));
  Lines page, failures;
  const auto fail = [&](std::exception_ptr e) { failures.push_back(failureOf(e)); };
  Cancellable handle = repository.retrieveChatMessages("r-1", std::nullopt, "token", 2)
                           .subscribe([&](const Messages& m) { page = summary(m); }, fail);
  EXPECT_EQ(page, (Lines{"2:sending", "3:sending"}));
  bool deleted = false;
  handle = repository.deleteMessage("client-0", "r-1").subscribe([&] { deleted = true; }, fail);
  EXPECT_TRUE(deleted);
  handle = repository.deleteMessage("client-0", "r-1").subscribe([] {}, fail);
  handle = repository.retrieveChatMessages("nowhere", std::nullopt, std::nullopt, 5)
               .subscribe([](const Messages&) {}, fail);
  EXPECT_EQ(failures, (Lines{"no message client-0", "no room nowhere"}));
}

}  // namespace
}  // namespace tovanel::chat
