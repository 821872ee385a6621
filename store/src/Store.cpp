#include "Store.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <utility>

#include "Delivery.hpp"
#include "Schema.hpp"

namespace tovanel::chat::store::detail {

namespace {

std::string selectMessages(const char* rest) {
  return std::string("SELECT ") + kMessageColumns + " FROM messages " + rest;
}

}  // namespace

struct Store::Statements {
  explicit Statements(Database& db)
      : ensureRoom(db, "INSERT INTO rooms (id) VALUES (?1) ON CONFLICT DO NOTHING"),
        insert(db, kInsertMessage),
        update(db, kUpdateMessage),
        removeUnconfirmed(db,
                          "DELETE FROM messages WHERE client_id = ?1 AND unconfirmed = 1 "
                          "RETURNING room_id, message_id"),
        removeMoved(
            db, "DELETE FROM messages WHERE message_id = ?1 AND room_id <> ?2 RETURNING room_id"),
        clientIDTaken(db,
                      "SELECT 1 FROM messages WHERE message_id = ?1 "
                      "OR (client_id = ?1 AND unconfirmed = 1)"),
        messageExists(db, "SELECT 1 FROM messages WHERE message_id = ?1"),
        anyUnconfirmed(db, "SELECT 1 FROM messages WHERE unconfirmed = 1 LIMIT 1"),
        confirm(db,
                "UPDATE messages SET message_id = ?2, sent_status = 0, unconfirmed = 0 "
                "WHERE client_id = ?1 AND unconfirmed = 1 "
                "RETURNING room_id, client_id, message_id, created_at"),
        fail(db,
             "UPDATE messages SET sent_status = 2 "
             "WHERE client_id = ?1 AND unconfirmed = 1 AND sent_status = 1 "
             "RETURNING room_id, message_id, created_at"),
        remove(db, "DELETE FROM messages WHERE message_id = ?1 AND room_id = ?2"),
        setToken(db,
                 "INSERT INTO rooms (id, lurker_token) VALUES (?1, ?2) "
                 "ON CONFLICT (id) DO UPDATE SET lurker_token = excluded.lurker_token"),
        token(db, "SELECT lurker_token FROM rooms WHERE id = ?1"),
        byID(db, selectMessages("WHERE message_id = ?1")),
        newest(db, selectMessages("WHERE room_id = ?1 ORDER BY created_at DESC, message_id DESC "
                                  "LIMIT ?2")),
        before(db, selectMessages("WHERE room_id = ?1 AND created_at < ?2 "
                                  "ORDER BY created_at DESC, message_id DESC LIMIT ?3")),
        undated(db, selectMessages("WHERE room_id = ?1 AND created_at IS NULL "
                                   "ORDER BY message_id DESC LIMIT ?2")),
        ties(db, selectMessages("WHERE room_id = ?1 AND created_at IS ?2 AND message_id < ?3 "
                                "ORDER BY message_id DESC")) {}

  Statement ensureRoom;
  Statement insert;
  Statement update;
  Statement removeUnconfirmed;
  Statement removeMoved;
  Statement clientIDTaken;
  Statement messageExists;
  Statement anyUnconfirmed;
  Statement confirm;
  Statement fail;
  Statement remove;
  Statement setToken;
  Statement token;
  Statement byID;
  // Reads of a room, in the order of createdAt (undated first), then messageID.
  Statement newest;
  Statement before;
  Statement undated;
  Statement ties;
};

namespace {

// Steps through a statement that returns the (room, messageID) of each row it deleted; whether
// it deleted any.
bool collectRemoved(Statement& statement, Changes& changes) {
  bool any = false;
  for (; statement.step(); any = true) changes.removed(statement.text(0), statement.text(1));
  return any;
}

// Steps through a statement that returns the (room, old messageID, messageID, createdAt) of each
// row it changed, or the same without the old messageID.
void collectWritten(Statement& statement, Changes& changes, bool renames) {
  const int column = renames ? 2 : 1;
  while (statement.step()) {
    if (renames) changes.removed(statement.text(0), statement.text(1));
    changes.wrote(statement.text(0), statement.text(column), statement.optionalReal(column + 1));
  }
}

std::optional<double> secondsOf(const std::optional<Date>& date) {
  if (!date) return std::nullopt;
  return date->timeIntervalSinceReferenceDate();
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
  observed_.finish();
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
  Changes changes(observed_);
  ensuredRoom_.clear();
  Transaction transaction(*database_);
  search_->commit(transaction, [&] { change(changes); });
  observed_.publish(changes, *this);
}

bool Store::store(const ChatMessage& message, bool unconfirmed, Changes& changes) {
  // A batch is mostly one room: its row is made sure of once per transaction.
  if (message.roomID != ensuredRoom_) {
    statements_->ensureRoom.bind(message.roomID).run();
    ensuredRoom_ = message.roomID;
  }
  rows_.bind(statements_->insert, message, unconfirmed,
             indexing_ ? search_->keyFor(message) : std::nullopt);
  const bool replaces = statements_->insert.run() == 0;
  if (replaces) {
    // Stored already, in this room or another: the message takes its place.
    rows_.bindAgain(statements_->update, message, unconfirmed,
                    indexing_ ? search_->keyForStored(message) : std::nullopt);
    statements_->update.run();
  }
  changes.wrote(message.roomID, message.messageID, secondsOf(message.createdAt));
  return replaces;
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
    write([&](Changes& changes) { store(pending, true, changes); });
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
    write([&](Changes& changes) {
      if (!serviceID) {
        collectWritten(statements_->fail.bind(clientID), changes, false);
      } else if (*serviceID != clientID && statements_->messageExists.bind(*serviceID).exists()) {
        // The service's copy arrived first, without our clientID: it replaces the send.
        collectRemoved(statements_->removeUnconfirmed.bind(clientID), changes);
      } else {
        collectWritten(statements_->confirm.bind(clientID, *serviceID), changes, true);
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
  write([&](Changes& changes) {
    // Without a send waiting for the service, no message replaces one: the file's write lock
    // keeps it so until the commit.
    const bool sendsWaiting = statements_->anyUnconfirmed.exists();
    for (const ChatMessage& message : messages) {
      bool replaces =
          sendsWaiting && message.clientID &&
          collectRemoved(statements_->removeUnconfirmed.bind(*message.clientID), changes);
      // Storing moves a message from another room by itself; the room it leaves matters only
      // to that room's observers.
      if (observed_.any()) {
        Statement& moved = statements_->removeMoved.bind(message.messageID, message.roomID);
        for (; moved.step(); replaces = true) changes.removed(moved.text(0), message.messageID);
      }
      replaces |= store(message, false, changes);
      ++(replaces ? counts.replaced : counts.added);
    }
  });
  return counts;
}

void Store::remove(const std::string& messageID, const std::string& roomID) {
  requireWritable("deleteMessage");
  write([&](Changes& changes) {
    if (statements_->remove.bind(messageID, roomID).run() == 0) {
      throw StoreError(StoreError::Code::unknownMessage,
                       "no message \"" + messageID + "\" in room \"" + roomID + "\"");
    }
    changes.removed(roomID, messageID);
  });
}

// ---- reading ----

namespace {

// A createdAt of another type than REAL, INTEGER or NULL is no date (the file was edited); SQLite
// orders it after every date.
bool dateReads(const Statement& statement) {
  const auto stored = statement.stored(kCreatedAt);
  return stored == Statement::Stored::real || stored == Statement::Stored::integer ||
         stored == Statement::Stored::null;
}

}  // namespace

Row Store::readRow(const Statement& statement) {
  try {
    return rows_.read(statement);
  } catch (...) {
    const bool dated = dateReads(statement);
    const auto createdAt = dated ? statement.optionalReal(kCreatedAt) : std::nullopt;
    return Unreadable{
        UnreadableRow{
            std::string(statement.text(kMessageID)), std::string(statement.text(kRoomID)),
            createdAt ? std::optional(Date::sinceReferenceDate(*createdAt)) : std::nullopt,
            std::current_exception()},
        !dated};
  }
}

void Store::scan(Statement& statement, Scan& into) {
  while (statement.step()) {
    ++into.rows;
    into.lastDateReadable = dateReads(statement);
    into.lastCreatedAt = into.lastDateReadable ? statement.optionalReal(kCreatedAt) : std::nullopt;
    into.lastMessageID = statement.text(kMessageID);
    Row row = readRow(statement);
    if (auto* message = std::get_if<ChatMessage>(&row)) {
      into.messages.push_back(std::move(*message));
    } else {
      into.unreadable.push_back(std::get<Unreadable>(std::move(row)));
    }
  }
}

Page Store::readPage(const std::string& roomID, std::optional<double> before, std::uint64_t limit) {
  const auto wanted = static_cast<std::int64_t>(
      std::min<std::uint64_t>(limit, std::numeric_limits<std::int64_t>::max()));
  Scan scanned;  // newest first
  Page page;
  if (wanted > 0) {
    if (before) {
      scan(statements_->before.bind(roomID, *before, wanted), scanned);
      // Undated messages are older than any date.
      if (scanned.rows < wanted) {
        scan(statements_->undated.bind(roomID, wanted - scanned.rows), scanned);
      }
    } else {
      scan(statements_->newest.bind(roomID, wanted), scanned);
    }
    page.reachesStart = scanned.rows < wanted;
    // Take in the rest of the messages that share the oldest createdAt of the page.
    if (scanned.rows == wanted && scanned.lastDateReadable) {
      scan(statements_->ties.bind(roomID, scanned.lastCreatedAt, scanned.lastMessageID), scanned);
    }
    // The undated messages are the first of the room, and the page took them all.
    page.reachesStart |= scanned.rows > 0 && scanned.lastDateReadable && !scanned.lastCreatedAt;
  }
  // A page whose every row has a createdAt that is no date starts after every date.
  page.oldest = scanned.lastDateReadable ? scanned.lastCreatedAt
                                         : std::optional(std::numeric_limits<double>::infinity());
  page.messages.assign(std::make_move_iterator(scanned.messages.rbegin()),
                       std::make_move_iterator(scanned.messages.rend()));
  page.unreadable.assign(std::make_move_iterator(scanned.unreadable.rbegin()),
                         std::make_move_iterator(scanned.unreadable.rend()));
  return page;
}

Page Store::page(const std::string& roomID, std::optional<double> before, std::uint64_t limit) {
  Transaction transaction(*database_, Transaction::Mode::read);
  Page page = readPage(roomID, before, limit);
  transaction.commit();
  return page;
}

std::optional<Row> Store::row(const std::string& messageID) {
  Statement& statement = statements_->byID.bind(messageID);
  std::optional<Row> row;
  if (statement.step()) row = readRow(statement);
  statement.reset();
  return row;
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
  Page page = readPage(roomID, before, limit);
  transaction.commit();
  report(reportsOf(page.unreadable));
  // Paging back widens the windows that the page reaches.
  if (before) observed_.takeIn(roomID, *before, page);
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

void Store::observe(const std::string& roomID, std::uint64_t window,
                    const Subscriber<Messages>& subscriber) {
  observed_.subscribe(roomID, window, subscriber, *this);
}

void Store::observeUnreadable(const Subscriber<std::vector<UnreadableRow>>& subscriber) {
  unreadableObservers_.push_back(subscriber);
}

void Store::report(std::vector<UnreadableRow> rows) {
  if (rows.empty()) return;
  dropEnded(unreadableObservers_);
  for (const auto& subscriber : unreadableObservers_) shielded([&] { subscriber.receive(rows); });
}

}  // namespace tovanel::chat::store::detail
