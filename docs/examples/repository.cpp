// Implementing ChatMessageRepository: the library fixes only the four signatures; the application
// implements them over its own network and storage, and returns its results through Publisher and
// Future. This one keeps messages in memory.

#include <algorithm>
#include <cstdint>
#include <exception>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;
using Messages = std::vector<chat::ChatMessage>;

namespace {

// [repository]
// Keeps each room's messages in memory, oldest first, and delivers on the calling thread; meant
// for one thread at a time. The choices that every implementation makes and documents:
// observers receive the room's whole list, at once and after every change; retrieveChatMessages
// pages back in time from `from` (from the newest message when there is none), at most `limit`
// messages, oldest first; the lurker token grants nothing; send marks a message sent at once;
// deleting a message that is not there fails.
class MemoryRepository final : public chat::ChatMessageRepository {
 public:
  explicit MemoryRepository(chat::ChatMessageUser me) : me_(std::move(me)) {}

  void send(chat::NewChatMessage message) override {
    const std::string number = std::to_string(++sent_);
    const chat::BodyType type = message.body.bodyType();
    rooms_[message.roomID].emplace_back(std::move(message.body), chat::Date::now(), "c" + number,
                                        "m" + number, message.roomID, type, std::nullopt, me_,
                                        std::nullopt, chat::MessageSentStatus::sent);
    publish(message.roomID);
  }

  chat::Publisher<Messages> observeChatMessages(std::string roomID) override {
    // Runs once per subscription, on the subscribing thread; the repository must outlive it.
    return chat::Publisher<Messages>([this, roomID](chat::Subscriber<Messages> subscriber) {
      subscriber.receive(rooms_[roomID]);
      observers_[roomID].push_back(std::move(subscriber));
    });
  }

  chat::Future<Messages> retrieveChatMessages(std::string roomID, std::optional<chat::Date> from,
                                              std::optional<std::string> /*lurkerToken*/,
                                              std::uint64_t limit) override {
    const Messages& room = rooms_[roomID];
    const auto end = std::find_if(room.begin(), room.end(), [&](const chat::ChatMessage& m) {
      return from && !(m.createdAt < from);
    });
    const auto count =
        std::min<std::uint64_t>(limit, static_cast<std::uint64_t>(end - room.begin()));
    chat::Promise<Messages> promise;
    promise.resolve(Messages(end - static_cast<std::ptrdiff_t>(count), end));
    return promise.future();
  }

  chat::Future<void> deleteMessage(std::string messageID, std::string roomID) override {
    chat::Promise<void> promise;
    if (std::erase_if(rooms_[roomID], [&](const auto& m) { return m.messageID == messageID; })) {
      publish(roomID);
      promise.resolve();
    } else {
      promise.reject(std::make_exception_ptr(std::out_of_range("no message " + messageID)));
    }
    return promise.future();
  }

 private:
  void publish(const std::string& roomID) {
    auto& observers = observers_[roomID];
    std::erase_if(observers, [](const auto& observer) { return observer.ended(); });
    for (const auto& observer : observers) observer.receive(rooms_[roomID]);
  }

  chat::ChatMessageUser me_;
  std::uint64_t sent_ = 0;
  std::map<std::string, Messages> rooms_;
  std::map<std::string, std::vector<chat::Subscriber<Messages>>> observers_;
};
// [repository]

}  // namespace

int main() {
  const chat::ChatMessageUser me("u-bob", "bob", "Bob", "Okafor", std::nullopt, std::nullopt, 87,
                                 92);

  // [observe]
  MemoryRepository repository(me);
  chat::ChatMessageRepository& messages = repository;  // the views know only the interface

  std::size_t shown = 0;             // what a view shows: the length of the latest list
  std::exception_ptr streamFailure;  // the completion brings null when the stream just finished
  chat::Cancellable observing = messages.observeChatMessages("r1").subscribe(
      [&](const Messages& list) { shown = list.size(); },
      [&](std::exception_ptr error) { streamFailure = error; });

  messages.send(chat::NewChatMessage("r1", chat::TextBody("first", std::nullopt)));
  messages.send(chat::NewChatMessage("r1", chat::TextBody("second", std::nullopt)));
  // shown is 2: the list arrived at once (empty), then after each send
  // [observe]
  guide::expectEqual(shown, std::size_t{2}, "the observed list's length");
  guide::expect(streamFailure == nullptr, "a stream that has not failed");

  // [future]
  const chat::Future<Messages> newest =
      messages.retrieveChatMessages("r1", std::nullopt, std::nullopt, 1);
  std::vector<std::string> page;
  chat::Cancellable paging = newest.subscribe([&](const Messages& list) {
    for (const chat::ChatMessage& message : list) page.push_back(message.messageID);
  });
  // page is {"m2"}: the future was already resolved, so the callback ran before subscribe returned

  std::string failure;
  const auto onDeleted = [] { /* the message is gone */ };
  const auto onFailure = [&](std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::out_of_range& notThere) {
      failure = notThere.what();  // "no message m9"
    }
  };
  chat::Cancellable deleting = messages.deleteMessage("m9", "r1").subscribe(onDeleted, onFailure);
  // [future]
  guide::expect(page == std::vector<std::string>{"m2"}, "the newest message's page");
  guide::expectEqual(failure, std::string("no message m9"), "the failed deletion");

  // [cancel]
  observing.cancel();  // or let the handle go out of scope: nothing more is delivered
  messages.send(chat::NewChatMessage("r1", chat::TextBody("third", std::nullopt)));
  // shown stays 2
  // [cancel]
  guide::expectEqual(shown, std::size_t{2}, "no delivery after cancelling");
  return 0;
}
