// What the random changes do not reach: a store opened without a transport, and sends from many
// threads at once.

#include <set>
#include <thread>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

TEST_F(StoreTest, aTransportIsRequired) {
  EXPECT_THROW(SqliteChatMessageRepository::open(file(), kMe, Transport()), std::invalid_argument);
}

// Sends from several threads at once, each acknowledged from a thread of its own as a network
// would: every send is stored once and acknowledged, and the observer ends with the room's latest.
TEST_F(StoreTest, sendsFromSeveralThreadsAtOnceAreAllStoredAndAcknowledged) {
  std::mutex mutex;
  std::vector<std::jthread> service;
  auto repository = SqliteChatMessageRepository::open(file(), kMe, [&](const ChatMessage& sent) {
    Promise<std::string> outcome;
    std::lock_guard lock(mutex);
    service.emplace_back(
        [outcome, id = *sent.clientID]() mutable { outcome.resolve("srv-" + id); });
    return outcome.future();
  });
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  std::set<std::string> expected;
  {
    std::vector<std::jthread> senders;
    for (int t = 0; t < 8; ++t) {
      for (int i = 0; i < 40; ++i) expected.insert(std::to_string(t) + "-" + std::to_string(i));
      senders.emplace_back([&, t] {
        for (int i = 0; i < 40; ++i) {
          repository->send(NewChatMessage(
              "r1", TextBody(std::to_string(t) + "-" + std::to_string(i), std::nullopt)));
        }
      });
    }
  }
  drain(*repository);
  {
    std::vector<std::jthread> acknowledging;  // joined once every send is acknowledged
    std::lock_guard lock(mutex);
    acknowledging.swap(service);
  }
  drain(*repository);
  std::set<std::string> texts;
  for (const auto& message : wholeRoom(*repository, "r1")) {
    EXPECT_TRUE(texts.insert(textOf(message)).second) << textOf(message);
    EXPECT_EQ(message.sentStatus, MessageSentStatus::sent);
    EXPECT_EQ(message.messageID, "srv-" + message.clientID.value_or("")) << textOf(message);
  }
  EXPECT_EQ(texts, expected);
  EXPECT_EQ(recorder.values().back(),
            waitFor(repository->retrieveChatMessages("r1", std::nullopt, std::nullopt,
                                                     SqliteChatMessageRepository::kDefaultWindow)));
}

}  // namespace
}  // namespace tovanel::chat::store::test
