// What the store gives back: messages of every kind as they were stored, across sessions; NaN
// dates, which the file cannot hold; and sends from many threads at once.

#include <limits>
#include <set>
#include <thread>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Every kind of message, and optional fields both empty and present, and dates as far as a
// double goes (every double but NaN is a REAL that SQLite keeps bit for bit); the corpus is in
// its room's order already (each message one minute after the last).
TEST_F(StoreTest, messagesComeBackEqualAfterClosingAndOpeningAgain) {
  const Messages corpus = corpusMessages(600);
  ChatMessage full = textMessage("full", "r1", 1795341600.25, "full", std::string("c1"));
  full.updatedAt = Date::since1970(1795341660.5);
  full.sentStatus = MessageSentStatus::failed;
  ChatMessage bare = textMessage("bare", "r1", std::nullopt, "bare");
  bare.viewCount = std::nullopt;
  bare.user = ChatMessageUser("u-gone", std::nullopt, "", "", std::nullopt, std::nullopt, 0, 0);
  bare.type = BodyType::hint;  // stored as given: nothing ties the message's kind to its body's
  Messages extremes;
  for (const double extreme :
       {std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::max(), kInfinity}) {
    extremes.push_back(textMessage("x" + std::to_string(extremes.size()), "r1", 0, "extreme"));
    extremes.back().createdAt = Date::sinceReferenceDate(extreme);
    extremes.back().updatedAt = Date::sinceReferenceDate(-extreme);
  }
  waitFor(open()->receive(corpus));
  waitFor(open()->receive({full, bare, extremes[0], extremes[1], extremes[2]}));
  auto repository = open();
  EXPECT_EQ(wholeRoom(*repository, corpus.front().roomID), corpus);
  EXPECT_EQ(wholeRoom(*repository, "r1"),
            (Messages{bare, extremes[0], full, extremes[1], extremes[2]}));
}

// SQLite keeps a NaN REAL as NULL: stored, such a date would read back as no date at all.
TEST_F(StoreTest, aNaNDateIsRefusedNamingItAndNothingChanges) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  auto repository = open();
  const ChatMessage kept = textMessage("m0", "r1", 100, "kept");
  waitFor(repository->receive(kept));
  // A receive of a good message and one whose `date` is `value`, which stores neither.
  const auto receiving = [&](std::optional<Date> ChatMessage::*date, double value) {
    return [&repository, date, value] {
      ChatMessage bad = textMessage("m2", "r1", 200, "bad");
      bad.*date = Date::sinceReferenceDate(value);
      waitFor(repository->receive({textMessage("m1", "r1", 150, "good"), bad}));
    };
  };
  const std::string createdAt = "message \"m2\" in room \"r1\": createdAt";
  const std::pair<std::function<void()>, std::string> operations[] = {
      {receiving(&ChatMessage::createdAt, kNaN), createdAt},
      {receiving(&ChatMessage::updatedAt, kNaN), "message \"m2\" in room \"r1\": updatedAt"},
      {receiving(&ChatMessage::createdAt, -kNaN), createdAt},
      {[&] {
         waitFor(repository->retrieveChatMessages("r1", Date::sinceReferenceDate(kNaN), "t", 10));
       },
       "retrieveChatMessages in room \"r1\": from"},
      {[&] {
         SearchOptions options;
         options.after = SearchCursor{Date::sinceReferenceDate(kNaN), "m0"};
         waitFor(repository->search("kept", options));
       },
       "search: the cursor's createdAt"}};
  for (const auto& [operation, named] : operations) {
    EXPECT_EQ(outcome(operation), "invalidDate: " + named +
                                      " is NaN, a date that SQLite cannot hold (it would read "
                                      "back as no date)");
  }
  EXPECT_EQ(wholeRoom(*repository, "r1"), Messages{kept});
  EXPECT_EQ(waitFor(repository->lurkerToken("r1")), std::nullopt);
}

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
