#pragma once
// A ChatMessage as a row of the messages table and back: the body and the author as the
// library's JSON, the kinds as their raw strings, dates as REAL seconds since 2001. A system
// event is read back by the case kept beside it, since its JSON need not name it (a cleared
// history writes `{}`).

#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "Database.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"
#include "tovanel/chat/store/StoreError.hpp"

namespace tovanel::chat::store::detail {

/// What a read selects, in the order of MessageColumn.
inline constexpr const char* kMessageColumns =
    "message_id, room_id, client_id, type, body_kind, event_kind, body, created_at, updated_at, "
    "author, view_count, sent_status";

/// The columns of a selected row, by position.
enum MessageColumn : int {
  kMessageID,
  kRoomID,
  kClientID,
  kType,
  kBodyKind,
  kEventKind,
  kBody,
  kCreatedAt,
  kUpdatedAt,
  kAuthor,
  kViewCount,
  kSentStatus,
};

/// Stores a message whose messageID is not stored yet, and does nothing when it is: then
/// kUpdateMessage replaces the stored one. Two statements, because an insert that may update costs
/// SQLite a look-up more for every row, and most rows are new. MessageRows::bind binds either.
inline constexpr const char* kInsertMessage =
    "INSERT INTO messages (message_id, room_id, client_id, type, body_kind, event_kind, body, "
    "created_at, updated_at, author, view_count, sent_status, unconfirmed, search_key) "
    "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14) "
    "ON CONFLICT (message_id) DO NOTHING";
inline constexpr const char* kUpdateMessage =
    "UPDATE messages SET room_id = ?2, client_id = ?3, type = ?4, body_kind = ?5, "
    "event_kind = ?6, body = ?7, created_at = ?8, updated_at = ?9, author = ?10, "
    "view_count = ?11, sent_status = ?12, unconfirmed = ?13, search_key = ?14 "
    "WHERE message_id = ?1";

/// The error for a NaN date, whose description starts with `what`, the name of the date.
StoreError nanDate(const std::string& what);

/// A date's seconds as the file keeps them, NULL for none. SQLite keeps a NaN REAL as NULL, which
/// reads back as no date, so a NaN date throws nanDate(name()) instead; the name is only made
/// then.
template <class Name>
std::optional<double> storedSeconds(const std::optional<Date>& date, Name&& name) {
  if (!date) return std::nullopt;
  const double seconds = date->timeIntervalSinceReferenceDate();
  if (std::isnan(seconds)) throw nanDate(name());
  return seconds;
}

class MessageRows {
 public:
  /// With a decoder prepared for body decoding; the date strategies are the coders' defaults,
  /// the same both ways, so dates inside bodies come back as they were.
  MessageRows();

  /// The message of the statement's current row. Throws DecodingError whose coding path starts
  /// at the message's field (body, user, type, sentStatus, createdAt, updatedAt, viewCount).
  ChatMessage read(const Statement& row);

  /// Binds the message, and its key in the search index (see SearchIndex), to the parameters of
  /// kInsertMessage or kUpdateMessage, to be run at once: the texts are the message's and this
  /// object's, borrowed (see Borrowed). Throws EncodingError for a body or author that has no
  /// JSON form (a NaN coordinate), StoreError invalidDate for a NaN createdAt or updatedAt.
  void bind(Statement& statement, const ChatMessage& message, bool unconfirmed,
            std::optional<std::int64_t> searchKey);
  /// Binds the message of the last bind to another statement, without encoding it again.
  void bindAgain(Statement& statement, const ChatMessage& message, bool unconfirmed,
                 std::optional<std::int64_t> searchKey);

  void setDiagnosticSink(DiagnosticSink sink) { decoder_.diagnosticSink = std::move(sink); }

 private:
  JSONDecoder decoder_;
  JSONEncoder encoder_;
  std::string body_;
  std::string author_;
};

}  // namespace tovanel::chat::store::detail
