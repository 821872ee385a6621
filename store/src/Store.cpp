#include "Store.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <utility>

#include "Schema.hpp"

namespace tovanel::chat::store::detail {

namespace {

std::string selectMessages(const char* rest) {
  return std::string("SELECT ") + kMessageColumns + " FROM messages " + rest;
}

// An application callback's exception has nobody to go to; it must not stop the deliveries to
// the others.
template <class F>
void shielded(F&& deliver) noexcept {
  try {
    deliver();
  } catch (...) {
  }
}

template <class T>
void dropEnded(std::vector<Subscriber<T>>& subscribers) {
  std::erase_if(subscribers, [](const Subscriber<T>& s) { return s.ended(); });
}

}  // namespace

struct Store::Statements {
  explicit Statements(Database& db)
      : ensureRoom(db, "INSERT INTO rooms (id) VALUES (?1) ON CONFLICT DO NOTHING"),
        upsert(db, kUpsertMessage),
        removeUnconfirmed(
            db, "DELETE FROM messages WHERE client_id = ?1 AND unconfirmed = 1 RETURNING room_id"),
        removeMoved(
            db, "DELETE FROM messages WHERE message_id = ?1 AND room_id <> ?2 RETURNING room_id"),
        clientIDTaken(db,
                      "SELECT 1 FROM messages WHERE message_id = ?1 "
                      "OR (client_id = ?1 AND unconfirmed = 1)"),
        messageExists(db, "SELECT 1 FROM messages WHERE message_id = ?1"),
        confirm(db,
                "UPDATE messages SET message_id = ?2, sent_status = 0, unconfirmed = 0 "
                "WHERE client_id = ?1 AND unconfirmed = 1 RETURNING room_id"),
        fail(db,
             "UPDATE messages SET sent_status = 2 "
             "WHERE client_id = ?1 AND unconfirmed = 1 AND sent_status = 1 RETURNING room_id"),
        remove(db, "DELETE FROM messages WHERE message_id = ?1 AND room_id = ?2"),
        setToken(db,
                 "INSERT INTO rooms (id, lurker_token) VALUES (?1, ?2) "
                 "ON CONFLICT (id) DO UPDATE SET lurker_token = excluded.lurker_token"),
        token(db, "SELECT lurker_token FROM rooms WHERE id = ?1"),
        room(db, selectMessages("WHERE room_id = ?1 ORDER BY created_at, message_id")),
        newest(db, selectMessages("WHERE room_id = ?1 ORDER BY created_at DESC, message_id DESC "
                                  "LIMIT ?2")),
        before(db, selectMessages("WHERE room_id = ?1 AND created_at < ?2 "
                                  "ORDER BY created_at DESC, message_id DESC LIMIT ?3")),
        undated(db, selectMessages("WHERE room_id = ?1 AND created_at IS NULL "
                                   "ORDER BY message_id DESC LIMIT ?2")),
        ties(db, selectMessages("WHERE room_id = ?1 AND created_at IS ?2 AND message_id < ?3 "
                                "ORDER BY message_id DESC")) {}

  Statement ensureRoom;
  Statement upsert;
  Statement removeUnconfirmed;
  Statement removeMoved;
  Statement clientIDTaken;
  Statement messageExists;
  Statement confirm;
  Statement fail;
  Statement remove;
  Statement setToken;
  Statement token;
  // Reads of a room, in the order of createdAt (undated first), then messageID.
  Statement room;
  Statement newest;
  Statement before;
  Statement undated;
  Statement ties;
};

namespace {

// Steps through a statement that returns the rooms it changed; whether it changed any row.
bool collectRooms(Statement& statement, Store::Rooms& rooms) {
  bool any = false;
  for (; statement.step(); any = true) rooms.emplace(statement.text(0));
  return any;
}

}  // namespace

Store::Store(Worker& worker, ChatMessageUser localUser, Transport transport)
    : worker_(worker), localUser_(std::move(localUser)), transport_(std::move(transport)) {
  std::random_device device;
  std::seed_seq seed{device(), device(), device(), device(),
                     device(), device(), device(), device()};
  random_.seed(seed);
}

Store::~Store() = default;

void Store::open(const std::filesystem::path& path, Database::Access access) {
  auto database = std::make_unique<Database>(path, access);
  // Refuse a file of a newer build or of another application before writing anything to it,
  // from one snapshot: another process may be creating the store meanwhile.
  Transaction reading(*database, Transaction::Mode::read);
  const int version = checkSchema(*database);
  reading.commit();
  readOnly_ = access == Database::Access::readOnly;
  if (readOnly_) {
    if (version < currentSchemaVersion()) {
      throw StoreError(
          StoreError::Code::readOnly,
          path.string() +
              (version == 0 ? ": an empty file, not yet a message store"
                            : ": the message store has schema version " + std::to_string(version) +
                                  " and needs an upgrade to version " +
                                  std::to_string(currentSchemaVersion())) +
              ", which a read-only open does not make; open it once for writing");
    }
  } else {
    database->useWriteAheadLog();
  }
  // Durable once committed in WAL mode across a crash of the application; a power cut may lose
  // the last transactions, never consistency.
  database->execute("PRAGMA foreign_keys = ON; PRAGMA synchronous = NORMAL;");
  if (!readOnly_) {
    prepareSchema(*database);
    // The outcome of a send that was waiting when the store last closed is lost.
    database->execute(
        "UPDATE messages SET sent_status = 2 WHERE unconfirmed = 1 AND sent_status = 1");
  }
  statements_ = std::make_unique<Statements>(*database);
  search_ = std::make_unique<SearchIndex>(*database);
  database_ = std::move(database);
}

void Store::close() {
  for (auto& [room, subscribers] : observers_) {
    for (auto& subscriber : subscribers) shielded([&] { subscriber.finish(); });
  }
  observers_.clear();
  for (auto& subscriber : unreadableObservers_) shielded([&] { subscriber.finish(); });
  unreadableObservers_.clear();
  // Cancelling waits for an outcome being reported on another thread; that report only queues
  // a task, which finds the store closed.
  inFlight_.clear();
  statements_.reset();
  search_.reset();
  if (database_ && !readOnly_) database_->checkpointForClosing();
  database_.reset();
}

void Store::requireWritable(const char* operation) const {
  if (!readOnly_) return;
  throw StoreError(StoreError::Code::readOnly, database_->path().string() +
                                                   ": the message store is open read-only, and " +
                                                   operation + " writes to it");
}

template <class Change>
void Store::write(Change&& change) {
  Rooms changed;
  Transaction transaction(*database_);
  search_->commit(transaction, [&] { change(changed); });
  publish(changed);
}

void Store::store(const ChatMessage& message, bool unconfirmed, Rooms& changed) {
  statements_->ensureRoom.bind(message.roomID).run();
  rows_.bind(statements_->upsert, message, unconfirmed,
             indexing_ ? search_->keyFor(message) : std::nullopt);
  statements_->upsert.run();
  changed.insert(message.roomID);
}

// ---- sending ----

std::string Store::freshClientID() {
  for (;;) {
    // A version 4 UUID: 122 random bits.
    std::array<std::uint64_t, 2> bits{random_(), random_()};
    bits[0] = (bits[0] & ~0xF000ULL) | 0x4000ULL;                  // version 4
    bits[1] = (bits[1] & ~(0xC000ULL << 48)) | (0x8000ULL << 48);  // variant 1
    char text[37];
    std::snprintf(text, sizeof text, "%08llx-%04llx-%04llx-%04llx-%012llx",
                  static_cast<unsigned long long>(bits[0] >> 32),
                  static_cast<unsigned long long>((bits[0] >> 16) & 0xFFFF),
                  static_cast<unsigned long long>(bits[0] & 0xFFFF),
                  static_cast<unsigned long long>(bits[1] >> 48),
                  static_cast<unsigned long long>(bits[1] & 0xFFFFFFFFFFFFULL));
    std::string id(text);
    try {
      if (!statements_->clientIDTaken.bind(id).exists()) return id;
    } catch (const StoreError&) {
      return id;  // unchecked, but 122 random bits; the send must still go out
    }
  }
}

void Store::send(NewChatMessage message, Date createdAt) {
  if (readOnly_) return;  // nothing to store it in, no transport to hand it to
  const std::string clientID = freshClientID();
  const BodyType type = message.body.bodyType();
  // Until the service names it, the clientID stands in for the messageID.
  const ChatMessage pending(std::move(message.body), createdAt, clientID, clientID,
                            std::move(message.roomID), type, std::nullopt, localUser_, std::nullopt,
                            MessageSentStatus::sending);
  try {
    write([&](Rooms& changed) { store(pending, true, changed); });
  } catch (...) {
    // The message still goes out; the service's copy shows it when it is received.
  }
  std::optional<Future<std::string>> outcome;
  try {
    outcome.emplace(transport_(pending));
  } catch (...) {
    settle(clientID, std::nullopt);
    return;
  }
  Worker* worker = &worker_;
  inFlight_.insert_or_assign(
      clientID, outcome->subscribe(
                    [this, worker, clientID](const std::string& messageID) {
                      worker->post([this, clientID, messageID] { settle(clientID, messageID); });
                    },
                    [this, worker, clientID](std::exception_ptr) {
                      worker->post([this, clientID] { settle(clientID, std::nullopt); });
                    }));
}

void Store::settle(const std::string& clientID, const std::optional<std::string>& serviceID) {
  if (!isOpen()) return;
  inFlight_.erase(clientID);
  try {
    write([&](Rooms& changed) {
      if (!serviceID) {
        collectRooms(statements_->fail.bind(clientID), changed);
      } else if (*serviceID != clientID && statements_->messageExists.bind(*serviceID).exists()) {
        // The service's copy arrived first, without our clientID: it replaces the send.
        collectRooms(statements_->removeUnconfirmed.bind(clientID), changed);
      } else {
        collectRooms(statements_->confirm.bind(clientID, *serviceID), changed);
      }
    });
  } catch (...) {
    // The send keeps its state; the service's copy replaces it when it is received.
  }
}

// ---- receiving and deleting ----

ReceiveCounts Store::receive(const std::vector<ChatMessage>& messages) {
  requireWritable("receive");
  ReceiveCounts counts;
  write([&](Rooms& changed) {
    for (const ChatMessage& message : messages) {
      bool replaces = message.clientID &&
                      collectRooms(statements_->removeUnconfirmed.bind(*message.clientID), changed);
      if (statements_->messageExists.bind(message.messageID).exists()) {
        replaces = true;
        collectRooms(statements_->removeMoved.bind(message.messageID, message.roomID), changed);
      }
      store(message, false, changed);
      ++(replaces ? counts.replaced : counts.added);
    }
  });
  return counts;
}

void Store::remove(const std::string& messageID, const std::string& roomID) {
  requireWritable("deleteMessage");
  write([&](Rooms& changed) {
    if (statements_->remove.bind(messageID, roomID).run() == 0) {
      throw StoreError(StoreError::Code::unknownMessage,
                       "no message \"" + messageID + "\" in room \"" + roomID + "\"");
    }
    changed.insert(roomID);
  });
}

// ---- reading ----

void Store::scan(Statement& statement, Scan& into) {
  while (statement.step()) {
    ++into.rows;
    const auto stored = statement.stored(kCreatedAt);
    into.lastDateReadable = stored == Statement::Stored::real ||
                            stored == Statement::Stored::integer ||
                            stored == Statement::Stored::null;
    into.lastCreatedAt = into.lastDateReadable ? statement.optionalReal(kCreatedAt) : std::nullopt;
    into.lastMessageID = statement.text(kMessageID);
    try {
      into.messages.push_back(rows_.read(statement));
    } catch (...) {
      into.unreadable.push_back(UnreadableRow{
          into.lastMessageID, std::string(statement.text(kRoomID)),
          into.lastCreatedAt ? std::optional(Date::sinceReferenceDate(*into.lastCreatedAt))
                             : std::nullopt,
          std::current_exception()});
    }
  }
}

Store::Messages Store::readRoom(const std::string& roomID) {
  Scan all;
  scan(statements_->room.bind(roomID), all);
  report(std::move(all.unreadable));
  return std::move(all.messages);
}

Store::Messages Store::retrieve(const std::string& roomID, const std::optional<Date>& from,
                                const std::optional<std::string>& lurkerToken,
                                std::uint64_t limit) {
  const auto before =
      storedSeconds(from, [&] { return "retrieveChatMessages in room \"" + roomID + "\": from"; });
  if (lurkerToken) requireWritable("retrieveChatMessages with a lurker token");
  Transaction transaction(*database_,
                          lurkerToken ? Transaction::Mode::write : Transaction::Mode::read);
  if (lurkerToken) statements_->setToken.bind(roomID, *lurkerToken).run();
  const auto wanted = static_cast<std::int64_t>(
      std::min<std::uint64_t>(limit, std::numeric_limits<std::int64_t>::max()));
  Scan page;  // newest first
  if (wanted > 0) {
    if (before) {
      scan(statements_->before.bind(roomID, *before, wanted), page);
      // Undated messages are older than any date.
      if (page.rows < wanted) scan(statements_->undated.bind(roomID, wanted - page.rows), page);
    } else {
      scan(statements_->newest.bind(roomID, wanted), page);
    }
    // Take in the rest of the messages that share the oldest createdAt of the page.
    if (page.rows == wanted && page.lastDateReadable) {
      scan(statements_->ties.bind(roomID, page.lastCreatedAt, page.lastMessageID), page);
    }
  }
  transaction.commit();
  std::reverse(page.messages.begin(), page.messages.end());
  std::reverse(page.unreadable.begin(), page.unreadable.end());
  report(std::move(page.unreadable));
  return std::move(page.messages);
}

std::optional<std::string> Store::lurkerToken(const std::string& roomID) {
  Statement& token = statements_->token.bind(roomID);
  auto value = token.step() ? token.optionalText(0) : std::nullopt;
  token.reset();
  return value;
}

SearchResults Store::search(const std::string& query, const SearchOptions& options) {
  Transaction transaction(*database_, Transaction::Mode::read);
  SearchIndex::Page page = search_->search(query, options, rows_);
  transaction.commit();
  report(std::move(page.unreadable));
  return std::move(page.results);
}

// ---- observing ----

void Store::observe(const std::string& roomID, const Subscriber<Messages>& subscriber) {
  if (subscriber.ended()) return;
  const Messages messages = readRoom(roomID);
  shielded([&] { subscriber.receive(messages); });
  auto& subscribers = observers_[roomID];
  dropEnded(subscribers);  // so that a room observed and left again and again does not pile up
  subscribers.push_back(subscriber);
}

void Store::observeUnreadable(const Subscriber<std::vector<UnreadableRow>>& subscriber) {
  unreadableObservers_.push_back(subscriber);
}

void Store::publish(const Rooms& rooms) {
  for (const std::string& room : rooms) {
    const auto found = observers_.find(room);
    if (found == observers_.end()) continue;
    auto& subscribers = found->second;
    dropEnded(subscribers);
    if (subscribers.empty()) {
      observers_.erase(found);
      continue;
    }
    try {
      // One read for every observer of the room.
      const Messages messages = readRoom(room);
      for (const auto& subscriber : subscribers) shielded([&] { subscriber.receive(messages); });
    } catch (...) {
      const auto error = std::current_exception();
      for (const auto& subscriber : subscribers) shielded([&] { subscriber.fail(error); });
      observers_.erase(room);
    }
  }
}

void Store::report(std::vector<UnreadableRow> rows) {
  if (rows.empty()) return;
  dropEnded(unreadableObservers_);
  for (const auto& subscriber : unreadableObservers_) shielded([&] { subscriber.receive(rows); });
}

}  // namespace tovanel::chat::store::detail
