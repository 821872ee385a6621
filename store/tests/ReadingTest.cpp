// What the store gives back: messages as they were stored, across sessions; observed lists
// after each change and none after cancelling; deletions; dates the file cannot hold; and a row
// that no longer decodes, replaced.

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

using ReadingTest = StoreTest;

Messages wholeRoom(SqliteChatMessageRepository& repository, const std::string& roomID) {
  return waitFor(repository.retrieveChatMessages(roomID, std::nullopt, std::nullopt, 100000));
}

// ---- persistence ----

TEST_F(ReadingTest, messagesOfEveryKindComeBackEqualAfterClosingAndOpeningAgain) {
  const Messages stored = corpusMessages(600);
  waitFor(open()->receive(stored));
  auto repository = open();
  const Messages read = wholeRoom(*repository, stored.front().roomID);
  // The corpus is in the room's order already: each message one minute after the last.
  ASSERT_EQ(read.size(), stored.size());
  for (std::size_t i = 0; i < stored.size(); ++i) {
    EXPECT_EQ(read[i], stored[i]) << stored[i].messageID;
  }
}

TEST_F(ReadingTest, emptyAndPresentOptionalFieldsComeBackAsTheyWere) {
  ChatMessage full = textMessage("m1", "r1", 1795341600.25, "full", std::string("c1"));
  full.updatedAt = Date::since1970(1795341660.5);
  full.sentStatus = MessageSentStatus::failed;
  ChatMessage bare = textMessage("m2", "r1", std::nullopt, "bare");
  bare.viewCount = std::nullopt;
  bare.user = ChatMessageUser("u-gone", std::nullopt, "", "", std::nullopt, std::nullopt, 0, 0);
  // Stored as given: nothing ties the message's kind to its body's.
  bare.type = BodyType::hint;
  waitFor(open()->receive({full, bare}));
  EXPECT_EQ(wholeRoom(*open(), "r1"), (Messages{bare, full}));
}

// ---- replacing by messageID ----

TEST_F(ReadingTest, aReceivedMessageReplacesTheOneWithItsMessageIDInWhateverRoom) {
  auto repository = open();
  std::vector<ReceiveCounts> counts{
      waitFor(repository->receive(textMessage("m1", "r1", 100, "first"))),
      waitFor(repository->receive(textMessage("m1", "r1", 100, "edited"))),
      waitFor(repository->receive({textMessage("m2", "r1", 200, "moving"),
                                   textMessage("m3", "r1", 300, "twice"),
                                   textMessage("m3", "r1", 300, "twice, the later")})),
      waitFor(repository->receive(textMessage("m2", "r2", 200, "moved")))};
  EXPECT_EQ(wholeRoom(*repository, "r1"),
            (Messages{textMessage("m1", "r1", 100, "edited"),
                      textMessage("m3", "r1", 300, "twice, the later")}));
  EXPECT_EQ(wholeRoom(*repository, "r2"), (Messages{textMessage("m2", "r2", 200, "moved")}));
  EXPECT_EQ(counts, (std::vector<ReceiveCounts>{{1, 0}, {0, 1}, {2, 1}, {0, 1}}));
}

// ---- dates the file cannot hold ----

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct NaNDateCase {
  const char* name;
  std::function<void(SqliteChatMessageRepository&)> operation;  // with a NaN date, in room r1
  const char* named;  // what the error's description starts with
};

class NaNDateTest : public StoreTest, public ::testing::WithParamInterface<NaNDateCase> {};

// SQLite keeps a NaN REAL as NULL: stored, such a date would read back as no date at all.
TEST_P(NaNDateTest, isRefusedNamingTheDateAndNothingChanges) {
  const NaNDateCase& row = GetParam();
  auto repository = open();
  const ChatMessage kept = textMessage("m0", "r1", 100, "kept");
  waitFor(repository->receive(kept));
  try {
    row.operation(*repository);
    FAIL() << "accepted";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.code(), StoreError::Code::invalidDate);
    EXPECT_EQ(std::string(error.what()),
              std::string(row.named) +
                  " is NaN, a date that SQLite cannot hold (it would read back as no date)");
  }
  EXPECT_EQ(wholeRoom(*repository, "r1"), Messages{kept});
  EXPECT_EQ(waitFor(repository->lurkerToken("r1")), std::nullopt);
}

// A receive of a good message and one whose `date` is `value`, which stores neither.
std::function<void(SqliteChatMessageRepository&)> receivingWith(
    std::optional<Date> ChatMessage::*date, double value) {
  return [=](SqliteChatMessageRepository& repository) {
    ChatMessage bad = textMessage("m2", "r1", 200, "bad");
    bad.*date = Date::sinceReferenceDate(value);
    waitFor(repository.receive({textMessage("m1", "r1", 150, "good"), bad}));
  };
}

const char* const kCreatedAt = "message \"m2\" in room \"r1\": createdAt";
INSTANTIATE_TEST_SUITE_P(
    Dates, NaNDateTest,
    ::testing::Values(
        NaNDateCase{"createdAt", receivingWith(&ChatMessage::createdAt, kNaN), kCreatedAt},
        NaNDateCase{"updatedAt", receivingWith(&ChatMessage::updatedAt, kNaN),
                    "message \"m2\" in room \"r1\": updatedAt"},
        NaNDateCase{"negativeNaN", receivingWith(&ChatMessage::createdAt, -kNaN), kCreatedAt},
        NaNDateCase{"pageFrom",
                    [](SqliteChatMessageRepository& repository) {
                      waitFor(repository.retrieveChatMessages("r1", Date::sinceReferenceDate(kNaN),
                                                              "token", 10));
                    },
                    "retrieveChatMessages in room \"r1\": from"}),
    [](const auto& info) { return std::string(info.param.name); });

class ExtremeDateTest : public StoreTest, public ::testing::WithParamInterface<double> {};

// Every other double is a REAL that SQLite keeps bit for bit.
TEST_P(ExtremeDateTest, comesBackAsItWas) {
  ChatMessage message = textMessage("m1", "r1", std::nullopt, "extreme");
  message.createdAt = Date::sinceReferenceDate(GetParam());
  message.updatedAt = Date::sinceReferenceDate(-GetParam());
  auto repository = open();
  waitFor(repository->receive(message));
  EXPECT_EQ(wholeRoom(*repository, "r1"), Messages{message});
}

INSTANTIATE_TEST_SUITE_P(Dates, ExtremeDateTest,
                         ::testing::Values(std::numeric_limits<double>::infinity(),
                                           std::numeric_limits<double>::max(),
                                           std::numeric_limits<double>::denorm_min()));

// ---- observing ----

TEST_F(ReadingTest, anObserverGetsTheListOnSubscribingThenOneListPerChange) {
  auto repository = open();
  waitFor(repository->receive(textMessage("m1", "r1", 100, "before")));
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  // One receive of two messages is one change.
  waitFor(repository->receive(
      {textMessage("m2", "r1", 200, "two"), textMessage("m3", "r1", 300, "three")}));
  // Another room's change is not this room's.
  waitFor(repository->receive(textMessage("m9", "r2", 150, "elsewhere")));
  waitFor(repository->deleteMessage("m1", "r1"));
  drain(*repository);

  const auto lists = recorder.values();
  ASSERT_EQ(lists.size(), 3u);
  EXPECT_EQ(idsIn(lists[0]) + " | " + idsIn(lists[1]) + " | " + idsIn(lists[2]),
            "m1 | m1 m2 m3 | m2 m3");
}

TEST_F(ReadingTest, nothingArrivesAfterCancelling) {
  auto repository = open();
  Recorder<Messages> kept;
  Recorder<Messages> cancelled;
  const auto keptSubscription = kept.subscribeTo(repository->observeChatMessages("r1"));
  auto subscription = cancelled.subscribeTo(repository->observeChatMessages("r1"));
  waitFor(repository->receive(textMessage("m1", "r1", 100, "one")));
  subscription.cancel();
  waitFor(repository->receive(textMessage("m2", "r1", 200, "two")));
  drain(*repository);
  EXPECT_EQ(cancelled.values().size(), 2u);  // the first list and one change
  EXPECT_EQ(kept.values().size(), 3u);
}

TEST_F(ReadingTest, closingTheRepositoryFinishesObservations) {
  auto repository = open();
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1"));
  auto publisher = repository->observeChatMessages("r1");
  repository.reset();
  EXPECT_TRUE(recorder.ended());
  EXPECT_EQ(recorder.error(), nullptr);

  // A publisher subscribed to after the repository is gone fails at once.
  Recorder<Messages> late;
  const auto lateSubscription = late.subscribeTo(publisher);
  ASSERT_TRUE(late.ended());
  try {
    std::rethrow_exception(late.error());
  } catch (const StoreError& error) {
    EXPECT_EQ(error.code(), StoreError::Code::closed);
  }
}

// ---- deleting ----

TEST_F(ReadingTest, aDeletionIsCommittedWhenItsFutureCompletes) {
  {
    auto repository = open();
    waitFor(repository->receive(
        {textMessage("m1", "r1", 100, "one"), textMessage("m2", "r1", 200, "two")}));
    waitFor(repository->deleteMessage("m1", "r1"));
    // Another connection to the file sees it at once.
    RawDatabase raw(file());
    EXPECT_EQ(raw.integer("SELECT count(*) FROM messages WHERE message_id = 'm1'"), 0);
  }
  EXPECT_EQ(idsOf(wholeRoom(*open(), "r1")), std::vector<std::string>{"m2"});
}

TEST_F(ReadingTest, deletingAMessageTheRoomDoesNotHoldFailsNamingTheMessageAndTheRoom) {
  auto repository = open();
  waitFor(repository->receive(textMessage("m1", "r1", 100, "one")));
  // One never stored, and one stored in another room.
  for (const auto& [messageID, roomID] : {std::pair("m7", "r1"), std::pair("m1", "r2")}) {
    try {
      waitFor(repository->deleteMessage(messageID, roomID));
      ADD_FAILURE() << "deleted " << messageID;
    } catch (const StoreError& error) {
      EXPECT_EQ(error.code(), StoreError::Code::unknownMessage);
      EXPECT_EQ(std::string(error.what()),
                std::string("no message \"") + messageID + "\" in room \"" + roomID + "\"");
    }
  }
}

// ---- rows that no longer decode ----

TEST_F(ReadingTest, aReplacedCorruptRowIsReadAgain) {
  waitFor(open()->receive(textMessage("m1", "r1", 100, "one")));
  RawDatabase(file()).execute("UPDATE messages SET body = 'garbage'");
  auto repository = open();
  waitFor(repository->receive(textMessage("m1", "r1", 100, "one again")));
  EXPECT_EQ(wholeRoom(*repository, "r1"), (Messages{textMessage("m1", "r1", 100, "one again")}));
}

}  // namespace
}  // namespace tovanel::chat::store::test
