#pragma once
// The repository's work, as it runs on the worker thread: the database, the observers of each
// room, and the sends waiting for the transport. Used by the worker thread only, so it has no
// locks; its operations throw, and the caller routes the error to the operation's future.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Database.hpp"
#include "MessageRows.hpp"
#include "ObservedRooms.hpp"
#include "SearchIndex.hpp"
#include "Window.hpp"
#include "Worker.hpp"
#include "tovanel/chat/async/Cancellable.hpp"
#include "tovanel/chat/async/Publisher.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"

namespace tovanel::chat::store::detail {

class Store final : private RowReader {
 public:
  using Messages = std::vector<ChatMessage>;

  /// `worker` receives the outcomes that the transport reports from other threads.
  Store(Worker& worker, ChatMessageUser localUser, Transport transport);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  /// A read-only open writes nothing: no upgrade, no journal change, no marking of sends.
  void open(const std::filesystem::path& path, Database::Access access);
  /// Finishes every observation, stops listening to the transport, closes the file.
  void close();
  bool isOpen() const noexcept { return database_ != nullptr; }
  void setDiagnosticSink(DiagnosticSink sink) { rows_.setDiagnosticSink(std::move(sink)); }

  void send(NewChatMessage message, Date createdAt);
  ReceiveCounts receive(const std::vector<ChatMessage>& messages);
  void observe(const std::string& roomID, std::uint64_t window,
               const Subscriber<Messages>& subscriber);
  Messages retrieve(const std::string& roomID, const std::optional<Date>& from,
                    const std::optional<std::string>& lurkerToken, std::uint64_t limit);
  void remove(const std::string& messageID, const std::string& roomID);
  std::optional<std::string> lurkerToken(const std::string& roomID);
  void observeUnreadable(const Subscriber<std::vector<UnreadableRow>>& subscriber);
  SearchResults search(const std::string& query, const SearchOptions& options);
  /// Whether writes keep the search index (by default they do). Only for measuring what the
  /// index costs: what is written while it is off cannot be found.
  void indexForSearch(bool on) noexcept { indexing_ = on; }

 private:
  struct Statements;

  /// The rows a read went through: the messages that decoded, the rows that did not, and the
  /// position of the last row (oldest or newest, as the read goes).
  struct Scan {
    Messages messages;
    std::vector<Unreadable> unreadable;
    std::int64_t rows = 0;
    std::optional<double> lastCreatedAt;
    /// False when the last row's createdAt is neither a date nor NULL: it has no place to take
    /// the ties of.
    bool lastDateReadable = true;
    std::string lastMessageID;
  };
  void scan(Statement& statement, Scan& into);
  /// The message of the statement's current row, or why it does not decode.
  Row readRow(const Statement& statement);
  /// A page, inside the caller's transaction.
  Page readPage(const std::string& roomID, std::optional<double> before, std::uint64_t limit);

  // The reads of the observed windows, each in a transaction of its own.
  Page page(const std::string& roomID, std::optional<double> before, std::uint64_t limit) override;
  std::optional<Row> row(const std::string& messageID) override;

  /// Runs `change` in a write transaction, then brings the observers of the rooms it changed up
  /// to date.
  template <class Change>
  void write(Change&& change);
  void report(std::vector<UnreadableRow> rows);
  /// Throws StoreError readOnly, naming `operation`, when the store was opened read-only.
  void requireWritable(const char* operation) const;

  /// Writes the message; true when it replaced a stored one with its messageID.
  bool store(const ChatMessage& message, bool unconfirmed, Changes& changes);
  std::string freshClientID();
  void settle(const std::string& clientID, const std::optional<std::string>& serviceID);

  Worker& worker_;
  ChatMessageUser localUser_;
  Transport transport_;
  std::unique_ptr<Database> database_;
  bool readOnly_ = false;
  std::unique_ptr<Statements> statements_;
  std::unique_ptr<SearchIndex> search_;
  bool indexing_ = true;
  MessageRows rows_;
  std::mt19937_64 random_;
  ObservedRooms observed_{[this](std::vector<UnreadableRow> rows) { report(std::move(rows)); }};
  std::vector<Subscriber<std::vector<UnreadableRow>>> unreadableObservers_;
  /// The room whose row the current write transaction has made sure of.
  std::string ensuredRoom_;
  /// The transport's pending outcomes, by clientID.
  std::map<std::string, Cancellable> inFlight_;
};

}  // namespace tovanel::chat::store::detail
