// What an observer holds as its room grows: the room's latest messages in a window that slides
// with new messages, refills when one leaves, and widens when the application pages back; and,
// after every step of random sequences of changes, exactly what a fresh read of the window gives.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

// ---- the window's rules ----

ChatMessage at(const std::string& messageID, double second) {
  return textMessage(messageID, "r1", second, messageID);
}

/// a1 to a5, one second apart.
Messages fiveInARow() {
  Messages messages;
  for (int i = 1; i <= 5; ++i) messages.push_back(at("a" + std::to_string(i), i));
  return messages;
}

using Act = std::function<void(SqliteChatMessageRepository&)>;

Act receiving(Messages messages) {
  return [messages](SqliteChatMessageRepository& repository) {
    waitFor(repository.receive(messages));
  };
}

Act deleting(const char* messageID) {
  return [messageID](SqliteChatMessageRepository& repository) {
    waitFor(repository.deleteMessage(messageID, "r1"));
  };
}

Act pagingBack(std::optional<double> from, std::uint64_t limit) {
  return [from, limit](SqliteChatMessageRepository& repository) {
    std::optional<Date> date;
    if (from) date = Date::since1970(*from);
    waitFor(repository.retrieveChatMessages("r1", date, std::nullopt, limit));
  };
}

struct WindowCase {
  const char* name;
  Messages room;
  std::uint64_t window;
  std::vector<Act> acts;
  const char* lists;  // every list delivered, the first one included: "a1 a2 | a2 a3"
};

/// The identifiers of each list, as WindowCase::lists writes them.
std::string listsOf(const std::vector<Messages>& lists) {
  std::string text;
  for (const auto& list : lists) text += (text.empty() ? "" : " | ") + idsIn(list);
  return text;
}

template <class... Acts>
WindowCase rule(const char* name, Messages room, std::uint64_t window, const char* lists,
                Acts... acts) {
  return {name, std::move(room), window, {acts...}, lists};
}

class WindowRuleTest : public StoreTest, public ::testing::WithParamInterface<WindowCase> {};

TEST_P(WindowRuleTest, deliversTheListsOfTheWindow) {
  const WindowCase& row = GetParam();
  auto repository = open();
  waitFor(repository->receive(row.room));
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1", row.window));
  for (const Act& act : row.acts) act(*repository);
  drain(*repository);
  EXPECT_EQ(listsOf(recorder.values()), row.lists);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, WindowRuleTest,
    ::testing::Values(
        rule("aWindowOfNoMessageHoldsOne", fiveInARow(), 0, "a5 | a6", receiving({at("a6", 6)})),
        rule("anOlderMessageStaysOutAndDeliversNothing", fiveInARow(), 3, "a3 a4 a5 | a4 a5 a7",
             receiving({at("a0", 0.5)}), receiving({at("a7", 7)})),
        rule("oneReceiveOfManyIsOneList", fiveInARow(), 3, "a3 a4 a5 | b4 b1 b2",
             receiving({at("b1", 8), at("b2", 9), at("b3", 0), at("b4", 7)})),
        rule("changesBeforeTheWindowDeliverNothing", fiveInARow(), 3, "a3 a4 a5 | a4 a5 a6",
             deleting("a1"), receiving({at("a2", 1.5)}), receiving({at("a6", 6)})),
        rule("theOldestInstantIsNeverSplit",
             {at("b", 2), at("d", 2), at("c", 2), at("e", 3), at("a", 1)}, 2, "b c d e | e f",
             receiving({at("f", 4)})),
        rule("aRoomShorterThanTheWindowIsHeldWhole", {at("a1", 1), at("a2", 2)}, 3,
             "a1 a2 | a2 | a0 a2", deleting("a1"), receiving({at("a0", 0)})),
        rule("pagingBackFromTheOldestWidensTheWindowForGood", fiveInARow(), 2,
             "a4 a5 | a2 a3 a4 a5 | a3 a4 a5 a6", pagingBack(4, 2), receiving({at("a6", 6)})),
        rule("aPageThatLeavesAGapWidensNothing", fiveInARow(), 2, "a4 a5 | a5 a6", pagingBack(3, 1),
             receiving({at("a6", 6)})),
        rule("aPageFromBeforeTheOldestMessageHeldWidensNothing",
             {at("a", 1), at("b", 2), at("c", 2), at("d", 3)}, 2, "b c d | d e | e f",
             receiving({textMessage("b", "r2", 2, "b"), textMessage("c", "r2", 2, "c"),
                        at("e", 5)}),
             pagingBack(2.5, 5), receiving({at("f", 6)})),
        rule("aPageWithoutFromWidensNothing", fiveInARow(), 2, "a4 a5 | a5 a6",
             pagingBack(std::nullopt, 5), receiving({at("a6", 6)})),
        rule("aPageReachingTheFirstMessageMakesTheWindowTheWholeRoom", fiveInARow(), 2,
             "a4 a5 | a1 a2 a3 a4 a5 | a1 a2 a3 a4 | a0 a1 a2 a3 a4", pagingBack(4.5, 10),
             deleting("a5"), receiving({at("a0", 0)}))),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, anUnreadableRowTakesItsPlaceInTheWindowAndIsReportedWithEachList) {
  waitFor(open()->receive(fiveInARow()));
  RawDatabase(file()).execute("UPDATE messages SET body = 'garbage' WHERE message_id = 'a4'");
  auto repository = open();
  Recorder<std::vector<UnreadableRow>> reports;
  const auto reportSubscription = reports.subscribeTo(repository->observeUnreadableRows());
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1", 3));
  waitFor(repository->receive(at("a6", 6)));       // a4 (unreadable), a5, a6
  waitFor(repository->deleteMessage("a6", "r1"));  // a3 comes back
  waitFor(repository->deleteMessage("a4", "r1"));  // and a2
  drain(*repository);

  EXPECT_EQ(listsOf(recorder.values()), "a3 a5 | a5 a6 | a3 a5 | a2 a3 a5");
  std::vector<std::string> reported;
  for (const auto& report : reports.values()) {
    for (const auto& row : report) reported.push_back(row.messageID);
  }
  EXPECT_EQ(reported, (std::vector<std::string>{"a4", "a4", "a4"}));
}

TEST_F(StoreTest, aRowWhoseDateIsNoDateStandsAfterEveryDateInTheWindowAsInAPage) {
  waitFor(open()->receive(fiveInARow()));
  RawDatabase(file()).execute("UPDATE messages SET created_at = 'soon' WHERE message_id = 'a2'");
  auto repository = open();
  Recorder<Messages> recorder;
  const auto subscription = recorder.subscribeTo(repository->observeChatMessages("r1", 2));
  const auto checkAgainstAFreshRead = [&] {
    drain(*repository);
    EXPECT_EQ(recorder.values().back(),
              waitFor(repository->retrieveChatMessages("r1", std::nullopt, std::nullopt, 2)));
  };
  checkAgainstAFreshRead();  // a5, and a2 left out
  waitFor(repository->receive(at("a6", 6)));
  checkAgainstAFreshRead();  // a6
  waitFor(repository->deleteMessage("a6", "r1"));
  checkAgainstAFreshRead();  // a5 again
  EXPECT_EQ(recorder.values().size(), 3u);
}

// ---- against a fresh read, after every step of random changes ----

struct Observer {
  std::string roomID;
  std::uint64_t window;
  Recorder<Messages> recorder;
  Cancellable subscription;
};

class RandomChangesTest : public StoreTest, public ::testing::WithParamInterface<std::uint64_t> {
 protected:
  void SetUp() override { repository = open(); }

  Messages read(const std::string& roomID, std::uint64_t limit) {
    return waitFor(repository->retrieveChatMessages(roomID, std::nullopt, std::nullopt, limit));
  }

  std::size_t below(std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
  }
  bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }
  const std::string& someRoom() { return kRooms[below(2)]; }
  std::optional<double> someDate() {
    if (chance(5)) return std::nullopt;
    return 1000.0 + static_cast<double>(below(40));
  }
  ChatMessage fresh(const std::string& roomID) {
    return textMessage("m" + std::to_string(++made), roomID, someDate(), "new");
  }
  /// A stored message of either room, if there is one.
  std::optional<ChatMessage> someStored() {
    Messages all = wholeRoom(*repository, kRooms[0]);
    const Messages other = wholeRoom(*repository, kRooms[1]);
    all.insert(all.end(), other.begin(), other.end());
    if (all.empty()) return std::nullopt;
    return all[below(all.size())];
  }

  void observe(const std::string& roomID, std::uint64_t window) {
    auto observer = std::make_unique<Observer>();
    observer->roomID = roomID;
    observer->window = window;
    observer->subscription =
        observer->recorder.subscribeTo(repository->observeChatMessages(roomID, window));
    observers.push_back(std::move(observer));
  }

  /// Pages back from an observer's oldest message or from anywhere, and widens the windows that
  /// the page reaches as a window is documented to widen.
  void page() {
    const Observer& chosen = *observers[below(observers.size())];
    const Messages shown = chosen.recorder.values().back();
    std::optional<Date> from = Date::since1970(1000.0 + static_cast<double>(below(45)));
    if (!shown.empty() && shown.front().createdAt && chance(60)) from = shown.front().createdAt;
    const Messages page =
        waitFor(repository->retrieveChatMessages(chosen.roomID, from, std::nullopt, 1 + below(6)));
    const Messages all = wholeRoom(*repository, chosen.roomID);
    for (auto& observer : observers) {
      if (observer->roomID != chosen.roomID) continue;
      const Messages held = read(observer->roomID, observer->window);
      if (page.empty() || held.size() == all.size()) continue;
      const Date oldest = *held.front().createdAt;
      const auto& reached = page.front().createdAt;
      if (*from < oldest || (reached && *reached >= oldest)) continue;
      observer->window = static_cast<std::uint64_t>(
          std::count_if(all.begin(), all.end(), [&](const ChatMessage& message) {
            return !reached || (message.createdAt && *message.createdAt >= *reached);
          }));
    }
  }

  void step() {
    const std::size_t roll = below(100);
    if (roll < 20) {
      Messages batch;
      for (std::size_t i = 0, n = 1 + below(3); i < n; ++i) {
        ChatMessage message = fresh(someRoom());
        // A new version of a stored message, in its room or another one.
        if (const auto stored = someStored(); stored && chance(40)) {
          message.messageID = stored->messageID;
          if (chance(50)) message.roomID = stored->roomID;
        }
        batch.push_back(message);
      }
      waitFor(repository->receive(batch));
    } else if (roll < 25) {
      Messages many;
      const std::string& roomID = someRoom();
      for (int i = 0; i < 25; ++i) many.push_back(fresh(roomID));
      waitFor(repository->receive(many));
    } else if (roll < 40) {
      repository->send(NewChatMessage(someRoom(), TextBody("sent", std::nullopt)));
      drain(*repository);
      pending.push_back(sends++);
    } else if (roll < 55 && !pending.empty()) {
      const std::size_t index = below(pending.size());
      if (chance(30)) {
        transport.fail(pending[index]);
      } else {
        // The service names the message, or names one it has sent us already.
        const auto stored = someStored();
        transport.acknowledge(pending[index], stored && chance(30) ? stored->messageID
                                                                   : "s" + std::to_string(++made));
      }
      pending.erase(pending.begin() + static_cast<std::ptrdiff_t>(index));
    } else if (roll < 62 && sends > 0) {
      // The service's copy of one of our sends, confirmed or not.
      const ChatMessage sent = transport.sent().at(below(sends));
      ChatMessage copy = fresh(sent.roomID);
      copy.clientID = sent.clientID;
      copy.createdAt = sent.createdAt;
      waitFor(repository->receive(copy));
    } else if (roll < 77) {
      if (const auto stored = someStored()) {
        waitFor(repository->deleteMessage(stored->messageID, stored->roomID));
      }
    } else if (roll < 95) {
      page();
    } else if (observers.size() < 6) {
      observe(someRoom(), std::vector<std::uint64_t>{1, 3, 7}[below(3)]);
    } else {
      observers.erase(observers.begin() + static_cast<std::ptrdiff_t>(below(observers.size())));
    }
    drain(*repository);
  }

  const std::vector<std::string> kRooms{"r1", "r2"};
  std::mt19937_64 random{GetParam()};
  Repository repository;
  std::vector<std::unique_ptr<Observer>> observers;
  std::vector<std::size_t> pending;
  std::size_t sends = 0;
  int made = 0;
};

TEST_P(RandomChangesTest, everyObserverHoldsWhatAFreshReadOfItsWindowGives) {
  observe("r1", 3);
  observe("r1", 7);
  observe("r2", 4);
  Messages start;
  for (int i = 0; i < 30; ++i) start.push_back(fresh(someRoom()));
  waitFor(repository->receive(start));
  for (int i = 0; i < 150; ++i) {
    step();
    for (const auto& observer : observers) {
      ASSERT_EQ(observer->recorder.values().back(), read(observer->roomID, observer->window))
          << "step " << i << ", room " << observer->roomID << ", window " << observer->window;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChangesTest, ::testing::Values(1, 2, 3, 4, 5, 6));

}  // namespace
}  // namespace tovanel::chat::store::test
