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

/// Keeps each room's messages oldest first. Observers receive the room's whole list at once and
/// after every change. retrieveChatMessages pages backwards: up to `limit` messages created
/// before `from` (the newest ones when there is no `from`), oldest first; a room it has never
/// seen fails. Sent messages wait, as `sending`, until the transport (the test) acknowledges or
/// fails them. The lurker token grants nothing here. Meant for one thread at a time.
class InMemoryChatMessageRepository final : public ChatMessageRepository {
 public:
  explicit InMemoryChatMessageRepository(ChatMessageUser me) : me_(std::move(me)) {}

  void send(NewChatMessage message) override {
    const std::string clientID = "client-" + std::to_string(++sequence_);
    const BodyType type = message.body.bodyType();
    rooms_[message.roomID].push_back(ChatMessage(std::move(message.body), nextInstant(), clientID,
                                                 clientID, message.roomID, type, std::nullopt, me_,
                                                 std::nullopt, MessageSentStatus::sending));
    publish(message.roomID);
  }

  Publisher<Messages> observeChatMessages(std::string roomID) override {
    return Publisher<Messages>([this, roomID](Subscriber<Messages> subscriber) {
      subscriber.receive(rooms_[roomID]);
      observers_[roomID].push_back(std::move(subscriber));
    });
  }

  Future<Messages> retrieveChatMessages(std::string roomID, std::optional<Date> from,
                                        std::optional<std::string>, std::uint64_t limit) override {
    Promise<Messages> promise;
    const auto room = rooms_.find(roomID);
    if (room == rooms_.end()) {
      promise.reject(std::make_exception_ptr(std::out_of_range("no room " + roomID)));
      return promise.future();
    }
    const Messages& all = room->second;
    auto end = from ? std::find_if(all.begin(), all.end(),
                                   [&](const ChatMessage& m) { return !(*m.createdAt < *from); })
                    : all.end();
    const auto count =
        std::min<std::uint64_t>(limit, static_cast<std::uint64_t>(end - all.begin()));
    promise.resolve(Messages(end - static_cast<std::ptrdiff_t>(count), end));
    return promise.future();
  }

  Future<void> deleteMessage(std::string messageID, std::string roomID) override {
    Promise<void> promise;
    Messages& room = rooms_[roomID];
    const auto erased =
        std::erase_if(room, [&](const ChatMessage& m) { return m.messageID == messageID; });
    if (erased == 0) {
      promise.reject(std::make_exception_ptr(std::out_of_range("no message " + messageID)));
    } else {
      publish(roomID);
      promise.resolve();
    }
    return promise.future();
  }

  // ---- the transport's side ----

  /// The service confirms every pending message of the room, giving each its own identifier.
  void acknowledgePending(const std::string& roomID) { settlePending(roomID, true); }
  /// The transport gives up on every pending message of the room.
  void failPending(const std::string& roomID) { settlePending(roomID, false); }
  /// A message from someone else arrives.
  void deliver(const std::string& roomID, const std::string& text, const ChatMessageUser& user) {
    rooms_[roomID].push_back(ChatMessage(Body(TextBody(text, std::nullopt)), nextInstant(),
                                         std::nullopt, "server-" + std::to_string(++sequence_),
                                         roomID, BodyType::text, std::nullopt, user, 0,
                                         MessageSentStatus::sent));
    publish(roomID);
  }

 private:
  Date nextInstant() { return Date::since1970(1795341600.0 + static_cast<double>(++clock_)); }

  void settlePending(const std::string& roomID, bool sent) {
    for (ChatMessage& message : rooms_[roomID]) {
      if (message.sentStatus != MessageSentStatus::sending) continue;
      message.sentStatus = sent ? MessageSentStatus::sent : MessageSentStatus::failed;
      if (sent) message.messageID = "server-" + std::to_string(++sequence_);
    }
    publish(roomID);
  }

  void publish(const std::string& roomID) {
    auto& observers = observers_[roomID];
    std::erase_if(observers, [](const Subscriber<Messages>& s) { return s.ended(); });
    const auto observersNow = observers;  // a callback may start another observation
    for (const auto& observer : observersNow) observer.receive(rooms_[roomID]);
  }

  ChatMessageUser me_;
  std::map<std::string, Messages> rooms_;
  std::map<std::string, std::vector<Subscriber<Messages>>> observers_;
  int sequence_ = 0;
  int clock_ = 0;
};

const ChatMessageUser kMe("me", "me", "Me", "Myself", std::nullopt, std::nullopt, 0, 0);
const ChatMessageUser kAnna("u1", "anna", "Anna", "Berg", std::nullopt, std::nullopt, 3, 4);

std::string textOf(const ChatMessage& message) {
  const auto* text = message.body.get<TextBody>();
  return text != nullptr ? text->text : "(not text)";
}

/// "hello:sending" for each message of a list.
std::vector<std::string> summary(const Messages& messages) {
  static constexpr const char* kStatus[] = {"sent", "sending", "failed"};
  std::vector<std::string> lines;
  for (const auto& m : messages) {
    lines.push_back(textOf(m) + ":" + kStatus[rawValue(m.sentStatus)]);
  }
  return lines;
}

using Lines = std::vector<std::string>;

TEST(ChatMessageRepository, SentMessagesMoveFromSendingToSentOrFailed) {
  for (const bool acknowledged : {true, false}) {
    InMemoryChatMessageRepository memory(kMe);
    ChatMessageRepository& repository = memory;
    std::vector<Lines> lists;
    const Cancellable observation = repository.observeChatMessages("r-1").subscribe(
        [&](const Messages& messages) { lists.push_back(summary(messages)); });
    repository.send(NewChatMessage("r-1", TextBody("hello", std::nullopt)));
    acknowledged ? memory.acknowledgePending("r-1") : memory.failPending("r-1");
    const std::string outcome = acknowledged ? "hello:sent" : "hello:failed";
    EXPECT_EQ(lists, (std::vector<Lines>{{}, {"hello:sending"}, {outcome}})) << outcome;
  }
}

TEST(ChatMessageRepository, AnAcknowledgedMessageKeepsItsClientIDAndGetsTheServicesID) {
  InMemoryChatMessageRepository memory(kMe);
  ChatMessageRepository& repository = memory;
  std::vector<Messages> lists;
  const Cancellable observation = repository.observeChatMessages("r-1").subscribe(
      [&](const Messages& messages) { lists.push_back(messages); });
  repository.send(NewChatMessage(Body(TextBody("hi", std::nullopt)), "r-1"));
  memory.acknowledgePending("r-1");
  ASSERT_EQ(lists.size(), 3U);
  const ChatMessage& pending = lists[1].at(0);
  const ChatMessage& sent = lists[2].at(0);
  EXPECT_EQ(std::pair(sent.clientID, sent.messageID != pending.messageID),
            std::pair(pending.clientID, true));
}

TEST(ChatMessageRepository, PagesBackThroughARoomsHistory) {
  InMemoryChatMessageRepository memory(kMe);
  ChatMessageRepository& repository = memory;
  for (int i = 1; i <= 10; ++i) memory.deliver("r-1", std::to_string(i), kAnna);
  Messages all;
  const Cancellable everything =
      repository.retrieveChatMessages("r-1", std::nullopt, std::nullopt, 100)
          .subscribe([&](const Messages& page) { all = page; });
  ASSERT_EQ(all.size(), 10U);
  const auto createdAt = [&](int n) { return all.at(static_cast<std::size_t>(n - 1)).createdAt; };

  const std::tuple<std::optional<Date>, std::uint64_t, Lines> cases[] = {
      {std::nullopt, 3, {"8:sent", "9:sent", "10:sent"}},
      {createdAt(8), 3, {"5:sent", "6:sent", "7:sent"}},
      {createdAt(3), 3, {"1:sent", "2:sent"}},
      {createdAt(1), 3, {}},
      {std::nullopt, 0, {}},
  };
  for (const auto& [from, limit, expected] : cases) {
    Lines page;
    const Cancellable handle =
        repository.retrieveChatMessages("r-1", from, "token", limit)
            .subscribe([&](const Messages& messages) { page = summary(messages); });
    EXPECT_EQ(page, expected) << limit;
  }
}

TEST(ChatMessageRepository, FailuresArriveThroughTheFuture) {
  InMemoryChatMessageRepository memory(kMe);
  ChatMessageRepository& repository = memory;
  std::string failure;
  const auto recordFailure = [&](std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::out_of_range& e) {
      failure = e.what();
    }
  };
  const Cancellable page = repository.retrieveChatMessages("nowhere", std::nullopt, std::nullopt, 5)
                               .subscribe([](const Messages&) {}, recordFailure);
  EXPECT_EQ(failure, "no room nowhere");
  const Cancellable deletion =
      repository.deleteMessage("m-404", "r-1").subscribe([] {}, recordFailure);
  EXPECT_EQ(failure, "no message m-404");
}

TEST(ChatMessageRepository, DeletingRemovesTheMessageForObservers) {
  InMemoryChatMessageRepository memory(kMe);
  ChatMessageRepository& repository = memory;
  memory.deliver("r-1", "keep", kAnna);
  memory.deliver("r-1", "drop", kAnna);
  Messages latest;
  const Cancellable observation = repository.observeChatMessages("r-1").subscribe(
      [&](const Messages& messages) { latest = messages; });
  bool deleted = false;
  const Cancellable deletion =
      repository.deleteMessage(latest.at(1).messageID, "r-1").subscribe([&] { deleted = true; });
  EXPECT_EQ(std::pair(deleted, summary(latest)), std::pair(true, Lines{"keep:sent"}));
}

TEST(ChatMessageRepository, ACancelledObserverHearsNoMore) {
  InMemoryChatMessageRepository memory(kMe);
  ChatMessageRepository& repository = memory;
  std::vector<Lines> cancelledLists;
  std::vector<Lines> keptLists;
  Cancellable cancelled = repository.observeChatMessages("r-1").subscribe(
      [&](const Messages& messages) { cancelledLists.push_back(summary(messages)); });
  const Cancellable kept = repository.observeChatMessages("r-1").subscribe(
      [&](const Messages& messages) { keptLists.push_back(summary(messages)); });
  memory.deliver("r-1", "one", kAnna);
  cancelled.cancel();
  memory.deliver("r-1", "two", kAnna);
  EXPECT_EQ(std::pair(cancelledLists.size(), keptLists.size()),
            std::pair(std::size_t{2}, std::size_t{3}));
}

}  // namespace
}  // namespace tovanel::chat
