// Random sequences of everything an application does with a store (receives of messages of every
// kind, moves, sends from one thread or several that the service confirms, fails or copies,
// deletions, pages, searches, NaN dates refused, observers coming and going, the store closed and
// opened again), checked after every step against a plain model of the rooms: what each read,
// page, search and receive gives, and that every observer holds exactly a fresh read of its
// window, delivered once per change and never for a change that leaves it as it was.

#include <limits>
#include <map>
#include <random>
#include <regex>
#include <thread>
#include <tuple>

#include "StoreTesting.hpp"

namespace tovanel::chat::store::test {
namespace {

/// A room's order: undated first, then by createdAt, then by messageID.
bool older(const ChatMessage& a, const ChatMessage& b) {
  const auto key = [](const ChatMessage& m) {
    return std::tuple(m.createdAt.has_value(),
                      m.createdAt ? m.createdAt->timeIntervalSinceReferenceDate() : 0.0,
                      m.messageID);
  };
  return key(a) < key(b);
}

/// The rooms as the store is documented to keep them, and what its reads should give.
class Model {
 public:
  /// Stores `message`, replacing the unconfirmed send with its clientID and the message with its
  /// messageID in whatever room; true when it replaced one.
  bool receive(const ChatMessage& message) {
    bool replaced = message.clientID && erase([&](const Row& row) {
                      return row.unconfirmed && row.message.clientID == message.clientID;
                    });
    replaced |= erase([&](const Row& row) { return row.message.messageID == message.messageID; });
    rows_.push_back({message, false});
    return replaced;
  }
  void send(const ChatMessage& pending) { rows_.push_back({pending, true}); }
  /// The transport's outcome: the service's identifier of the send, or none when it failed.
  void settle(const std::string& clientID, const std::optional<std::string>& serviceID) {
    const auto send = [&](const Row& row) {
      return row.unconfirmed && row.message.clientID == clientID;
    };
    const auto found = std::find_if(rows_.begin(), rows_.end(), send);
    if (found == rows_.end()) return;
    if (!serviceID) {
      if (found->message.sentStatus == MessageSentStatus::sending) {
        found->message.sentStatus = MessageSentStatus::failed;
      }
    } else if (*serviceID != clientID && holds(*serviceID)) {
      erase(send);  // the service's copy came first, without our clientID
    } else {
      found->unconfirmed = false;
      found->message.messageID = *serviceID;
      found->message.sentStatus = MessageSentStatus::sent;
    }
  }
  bool remove(const std::string& messageID, const std::string& roomID) {
    return erase([&](const Row& row) {
      return row.message.messageID == messageID && row.message.roomID == roomID;
    });
  }
  bool holds(const std::string& messageID) const {
    return std::any_of(rows_.begin(), rows_.end(),
                       [&](const Row& row) { return row.message.messageID == messageID; });
  }

  /// A room's messages, or all rooms', in order.
  Messages room(const std::optional<std::string>& roomID = std::nullopt) const {
    Messages messages;
    for (const Row& row : rows_) {
      if (!roomID || row.message.roomID == *roomID) messages.push_back(row.message);
    }
    std::sort(messages.begin(), messages.end(), older);
    return messages;
  }
  /// The last `limit` messages strictly before `from`, grown to the whole of its oldest instant.
  Messages page(const std::string& roomID, std::optional<Date> from, std::uint64_t limit) const {
    Messages before;
    for (const ChatMessage& message : room(roomID)) {
      if (!from || !message.createdAt || *message.createdAt < *from) before.push_back(message);
    }
    std::size_t first = before.size() - std::min<std::uint64_t>(limit, before.size());
    while (first > 0 && first < before.size() &&
           before[first - 1].createdAt == before[first].createdAt) {
      --first;
    }
    return {before.begin() + static_cast<std::ptrdiff_t>(first), before.end()};
  }
  /// The messages whose text holds `word`, newest first.
  Messages search(const std::string& word, const std::optional<std::string>& roomID) const {
    Messages found = room(roomID);
    std::erase_if(found, [&](const ChatMessage& message) {
      const auto* text = message.body.get<TextBody>();
      return !text || (" " + text->text + " ").find(" " + word + " ") == std::string::npos;
    });
    std::reverse(found.begin(), found.end());
    return found;
  }

 private:
  struct Row {
    ChatMessage message;
    bool unconfirmed;
  };
  template <class Predicate>
  bool erase(Predicate predicate) {
    return std::erase_if(rows_, predicate) > 0;
  }
  std::vector<Row> rows_;
};

using Answer = ManualTransport::Answer;

struct Observer {
  std::string roomID;
  std::uint64_t window;
  Recorder<Messages> recorder;
  Cancellable subscription;
  std::size_t lists = 0;  // delivered before the step
};

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Messages go to r1, r2 and r3; r3 is never observed, r4 is observed and stays empty.
const std::vector<std::string> kRooms{"r1", "r2", "r3", "r4"};
const std::vector<std::string> kWords{"tea", "rain", "fado"};

class RandomChangesTest : public StoreTest, public ::testing::WithParamInterface<std::uint64_t> {
 protected:
  void SetUp() override { repository = open(); }

  std::size_t below(std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
  }
  bool chance(int percent) { return below(100) < static_cast<std::size_t>(percent); }
  const std::string& someRoom() { return kRooms[below(3)]; }
  std::optional<Date> someDate(std::size_t span = 40) {
    if (chance(5)) return std::nullopt;
    // Now and then as far as a double goes: every double but NaN is a date the file holds. Not
    // far ahead yet: search does not find a message dated after about 2140 (updatedAt goes there).
    const double far[] = {-kInfinity, -kMax, std::numeric_limits<double>::denorm_min()};
    if (chance(2)) return Date::sinceReferenceDate(far[below(3)]);
    // Whole seconds, and some a fraction of a millisecond after one.
    return Date::since1970(1000.0 + static_cast<double>(below(span)) +
                           (chance(20) ? 0.0001 * static_cast<double>(below(5)) : 0));
  }
  ChatMessage fresh(const std::string& roomID) {
    const std::string id = "m" + std::to_string(++made);
    ChatMessage message = textMessage(id, roomID, 0, kWords[below(3)] + " " + id);
    if (chance(30)) {
      // A message of any kind, its optional fields there or not, its kind not always its body's.
      static const Messages kCorpus = corpusMessages(200);
      message = kCorpus[below(kCorpus.size())];
      if (chance(10)) message.type = kCorpus[below(kCorpus.size())].type;
      message.messageID = id;
      message.roomID = roomID;
      message.clientID.reset();
    }
    if (chance(3)) message.updatedAt = Date::sinceReferenceDate(chance(50) ? kMax : kInfinity);
    message.createdAt = someDate();
    return message;
  }
  std::optional<ChatMessage> someStored() {
    const Messages all = model.room();
    if (all.empty()) return std::nullopt;
    return all[below(all.size())];
  }
  Messages read(const Observer& observer) {
    return model.page(observer.roomID, std::nullopt, std::max<std::uint64_t>(observer.window, 1));
  }

  void observe(const std::string& roomID, std::uint64_t window) {
    Observer& observer = *observers.emplace_back(std::make_unique<Observer>());
    observer.roomID = roomID;
    observer.window = window;
    observer.subscription =
        observer.recorder.subscribeTo(repository->observeChatMessages(roomID, window));
  }

  void receive(const Messages& batch) {
    ReceiveCounts expected;
    for (const auto& message : batch)
      ++(model.receive(message) ? expected.replaced : expected.added);
    EXPECT_EQ(waitFor(repository->receive(batch)), expected);
  }

  /// Sends one message, or one from each of several threads at once while the service answers an
  /// earlier send from another thread, as a network would. Returns how many changes an observer
  /// may see.
  int send() {
    const Answer answer =
        std::vector{Answer::later, Answer::later, Answer::atOnce, Answer::throws}[below(4)];
    transport.answer(answer);
    const std::string& roomID = someRoom();
    const std::string text = kWords[below(3)];
    const std::size_t first = transport.sent().size();
    int changes = 0;
    const Date before = Date::now();
    {
      std::vector<std::jthread> threads;
      for (std::size_t i = 0, n = chance(25) ? 4 : 1; i < n; ++i) {
        threads.emplace_back(
            [&] { repository->send(NewChatMessage(roomID, TextBody(text, std::nullopt))); });
      }
      if (threads.size() > 1 && !pending_.empty()) {
        threads.emplace_back([this] { settle(); });
        ++changes;
      }
    }
    drain(*repository);
    const Date after = Date::now();
    const Messages sent = transport.sent();
    for (std::size_t index = first; index < sent.size(); ++index) {
      const ChatMessage& pending = sent[index];
      // Stored at once as sending, by the local user, under a fresh clientID standing in for the
      // messageID; the model checks that the transport was handed the stored message itself.
      EXPECT_TRUE(
          std::regex_match(pending.clientID.value_or(""),
                           std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-"
                                      "[0-9a-f]{12}")));
      EXPECT_EQ(std::tuple(pending.messageID, pending.roomID, textOf(pending), pending.sentStatus),
                std::tuple(*pending.clientID, roomID, text, MessageSentStatus::sending));
      EXPECT_EQ(pending.user, kMe);
      EXPECT_TRUE(*pending.createdAt >= before && *pending.createdAt <= after);
      model.send(pending);
      changes += answer == Answer::later ? 1 : 2;
      if (answer == Answer::later) {
        pending_.push_back(index);
        continue;
      }
      std::optional<std::string> serviceID;
      if (answer == Answer::atOnce) serviceID = ManualTransport::atOnceID(index + 1);
      if (serviceID) known.emplace(index, *serviceID);
      model.settle(*pending.clientID, serviceID);
    }
    return changes;
  }

  void settle() {
    const std::size_t at = below(pending_.size());
    const std::size_t index = pending_[at];
    pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(at));
    std::optional<std::string> serviceID;
    // The service names the message, by the name of a copy it sent already or one of its own, or
    // names another message; or fails.
    if (const auto copy = known.find(index); copy != known.end() && chance(60)) {
      serviceID = copy->second;
    } else if (const auto stored = someStored(); stored && chance(25)) {
      serviceID = stored->messageID;
    }
    if (!serviceID && chance(70)) serviceID = "s" + std::to_string(++made);
    model.settle(*transport.sent().at(index).clientID, serviceID);
    if (serviceID) known.try_emplace(index, *serviceID);
    transport.settle(index, serviceID);
  }

  void remove() {
    std::optional<ChatMessage> target = someStored();
    if (!target || chance(15)) {
      // One never stored, or one asked for in a room that does not hold it.
      target = target ? *target : fresh("r1");
      target->roomID = target->roomID == "r1" ? "r2" : "r1";
    }
    const bool held = model.remove(target->messageID, target->roomID);
    EXPECT_EQ(
        outcome([&] { waitFor(repository->deleteMessage(target->messageID, target->roomID)); }),
        held ? "done"
             : "unknownMessage: no message \"" + target->messageID + "\" in room \"" +
                   target->roomID + "\"");
    // Committed once the future completes: another connection no longer finds it.
    EXPECT_EQ(sql(file(), "SELECT count(*) FROM messages WHERE message_id = '" + target->messageID +
                              "' AND room_id = '" + target->roomID + "'"),
              "0");
  }

  /// Pages back from an observer's oldest message or from anywhere, and widens the windows that
  /// the page reaches as a window is documented to widen.
  void page() {
    const Observer& chosen = *observers[below(observers.size())];
    const Messages shown = chosen.recorder.values().back();
    std::optional<Date> from = someDate(45);
    if (!shown.empty() && shown.front().createdAt && chance(60)) from = shown.front().createdAt;
    const std::uint64_t limit =
        chance(5) ? std::numeric_limits<std::uint64_t>::max() : below(7) + (chance(90) ? 1 : 0);
    const Messages expected = model.page(chosen.roomID, from, limit);
    const Messages all = model.room(chosen.roomID);
    for (auto& observer : observers) {
      if (observer->roomID != chosen.roomID || !from) continue;
      const Messages held = read(*observer);
      if (expected.empty() || held.size() == all.size()) continue;
      const Date oldest = *held.front().createdAt;
      const auto& reached = expected.front().createdAt;
      if (*from < oldest || (reached && *reached >= oldest)) continue;
      observer->window = static_cast<std::uint64_t>(
          std::count_if(all.begin(), all.end(), [&](const ChatMessage& message) {
            return !reached || (message.createdAt && *message.createdAt >= *reached);
          }));
    }
    std::optional<std::string> token;
    if (chance(50)) token = "t" + std::to_string(++made);
    EXPECT_EQ(waitFor(repository->retrieveChatMessages(chosen.roomID, from, token, limit)),
              expected);
    if (token) tokens[chosen.roomID] = token;  // a page without one keeps the last
    const std::string& roomID = kRooms[below(kRooms.size())];
    EXPECT_EQ(waitFor(repository->lurkerToken(roomID)), tokens[roomID]) << roomID;
  }

  /// Walks the pages of a search for one word, in one room or all, against the model.
  void search() {
    SearchOptions options;
    options.limit = below(6);  // 0: no hits, and no next page
    if (chance(30)) options.roomID = someRoom();
    const std::string& word = kWords[below(3)];
    EXPECT_EQ(searchAll(*repository, word, options),
              options.limit == 0 ? Messages{} : model.search(word, options.roomID))
        << word;
  }

  /// A NaN date, which SQLite cannot hold, is refused wherever it is given, naming where; nothing
  /// changes, not even the room's lurker token.
  void refuseNaN() {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Date date = Date::sinceReferenceDate(chance(50) ? nan : -nan);
    const std::string& roomID = someRoom();
    Messages batch{fresh(roomID), fresh(roomID)};
    const std::size_t where = below(4);
    (where == 0 ? batch[1].createdAt : batch[1].updatedAt) = date;
    SearchOptions options;
    options.after = SearchCursor{date, "m1"};
    const std::string message = "message \"" + batch[1].messageID + "\" in room \"" + roomID;
    const std::string named[] = {message + "\": createdAt", message + "\": updatedAt",
                                 "retrieveChatMessages in room \"" + roomID + "\": from",
                                 "search: the cursor's createdAt"};
    EXPECT_EQ(outcome([&] {
                if (where < 2) waitFor(repository->receive(batch));
                if (where == 2) waitFor(repository->retrieveChatMessages(roomID, date, "t", 10));
                if (where == 3) waitFor(repository->search(kWords[0], options));
              }),
              "invalidDate: " + named[where] +
                  " is NaN, a date that SQLite cannot hold (it would read back as no date)");
    EXPECT_EQ(waitFor(repository->lurkerToken(roomID)), tokens[roomID]);
  }

  /// Closes the store: every observation completes, and one begun later fails at once. A
  /// read-only open reads every room as it was, sends still waiting included. The next open for
  /// writing fails those sends, and the service answering one late changes nothing any more. The
  /// windows are observed again.
  void reopen() {
    const auto publisher = repository->observeChatMessages("r1");
    repository.reset();
    Recorder<Messages> late;
    const auto subscription = late.subscribeTo(publisher);
    EXPECT_EQ(late.ending(), "closed (lasting): the message store is closed");
    for (const auto& observer : observers) EXPECT_EQ(observer->recorder.ending(), "completed");
    for (const std::string& roomID : kRooms) {
      EXPECT_EQ(wholeRoom(*SqliteChatMessageRepository::openReadOnly(file()), roomID),
                model.room(roomID));
    }
    repository = open();
    for (const std::size_t index : pending_) model.settle(*transport.sent().at(index).clientID, {});
    if (!pending_.empty()) transport.settle(pending_.front(), "late");
    pending_.clear();
    std::vector<std::unique_ptr<Observer>> ended;
    ended.swap(observers);
    for (auto& observer : ended) {
      observe(observer->roomID, observer->window);
      cancelled.push_back(std::move(observer));
    }
  }

  int step() {
    const std::size_t roll = below(100);
    int changes = 1;
    if (roll < 24) {
      // A few messages, or many: more than any window holds.
      Messages batch;
      const std::string& room = someRoom();
      for (std::size_t i = 0, n = roll < 20 ? 1 + below(3) : 25; i < n; ++i) {
        ChatMessage message = fresh(n == 25 ? room : someRoom());
        // A new version of a stored message, in its room or another one.
        if (const auto stored = someStored(); stored && chance(40)) {
          message.messageID = stored->messageID;
          if (chance(50)) message.roomID = stored->roomID;
        }
        batch.push_back(message);
        if (chance(15)) {
          // Received twice in one receive, as edited within its millisecond.
          message.body = Body(TextBody(kWords[below(3)] + " " + message.messageID, std::nullopt));
          batch.push_back(message);
        }
      }
      receive(batch);
    } else if (roll < 38) {
      changes = send();
    } else if (roll < 52 && !pending_.empty()) {
      settle();
    } else if (const Messages sends = transport.sent(); roll < 59 && !sends.empty()) {
      // The service's copy of one of our sends, confirmed or not, mostly with our clientID.
      const std::size_t index = below(sends.size());
      const ChatMessage& sent = sends.at(index);
      ChatMessage copy = fresh(sent.roomID);
      if (chance(75)) copy.clientID = sent.clientID;
      copy.createdAt = sent.createdAt;
      if (const auto named = known.find(index); named != known.end() && chance(60)) {
        copy.messageID = named->second;
      }
      known.try_emplace(index, copy.messageID);
      receive({copy});
    } else if (roll < 72) {
      remove();
    } else if (roll < 84) {
      page();
    } else if (roll < 86) {
      refuseNaN();
    } else if (roll < 88) {
      reopen();
    } else if (roll < 94) {
      search();
    } else if (observers.size() < 6) {
      observe(kRooms[std::vector{0, 1, 3}[below(3)]],
              std::vector<std::uint64_t>{0, 1, 3, 7}[below(4)]);
    } else {
      // A cancelled observer hears nothing more.
      const auto at = observers.begin() + static_cast<std::ptrdiff_t>(below(observers.size()));
      (*at)->subscription.cancel();
      cancelled.push_back(std::move(*at));
      observers.erase(at);
    }
    drain(*repository);
    return changes;
  }

  std::mt19937_64 random{GetParam()};
  Model model;
  Repository repository;
  std::vector<std::unique_ptr<Observer>> observers;
  std::vector<std::unique_ptr<Observer>> cancelled;
  std::vector<std::size_t> pending_;
  std::map<std::string, std::optional<std::string>> tokens;  // the last lurker token of a room
  std::map<std::size_t, std::string> known;  // the service's name for a send, once it gave one
  int made = 0;
};

TEST_P(RandomChangesTest, everyReadAgreesWithTheModelAndEveryObserverWithAFreshRead) {
  observe("r1", 3);
  observe("r1", 7);
  observe("r2", 0);
  Messages start;
  for (int i = 0; i < 30; ++i) start.push_back(fresh(someRoom()));
  receive(start);
  drain(*repository);
  for (const auto& observer : observers) observer->lists = observer->recorder.values().size();
  for (int i = 0; i < 200; ++i) {
    const int changes = step();
    for (const std::string& roomID : kRooms) {
      ASSERT_EQ(wholeRoom(*repository, roomID), model.room(roomID)) << "step " << i;
    }
    for (const auto& observer : observers) {
      const auto lists = observer->recorder.values();
      const Messages expected = read(*observer);
      SCOPED_TRACE("step " + std::to_string(i) + ", room " + observer->roomID + ", window " +
                   std::to_string(observer->window));
      ASSERT_FALSE(lists.empty());
      ASSERT_EQ(lists.back(), expected);
      if (observer->lists > 0) {
        const bool changed = lists[observer->lists - 1] != expected;
        ASSERT_LE(lists.size() - observer->lists, changed ? static_cast<std::size_t>(changes) : 0u);
      }
      observer->lists = lists.size();
    }
    for (const auto& observer : cancelled) {
      ASSERT_EQ(observer->recorder.values().size(), observer->lists) << "step " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChangesTest, ::testing::Values(1, 2, 3, 4, 5, 6));

TEST_F(StoreTest, aTransportIsRequired) {
  EXPECT_THROW(SqliteChatMessageRepository::open(file(), kMe, Transport()), std::invalid_argument);
}

}  // namespace
}  // namespace tovanel::chat::store::test
