#include "MessageRows.hpp"

#include <cstddef>
#include <utility>

#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/body/info/InfoBody.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat::store::detail {

namespace {

// What a column holds that its field cannot be read from, for an error's description.
std::string describeStored(const Statement& row, int column) {
  switch (row.stored(column)) {
    case Statement::Stored::text:
      return "text \"" + std::string(row.text(column)) + '"';
    case Statement::Stored::blob:
      return "a blob";
    case Statement::Stored::real:
      return "the number " + std::string(row.text(column));
    default:
      return std::string(row.text(column));
  }
}

DecodingError wrongStoredType(const char* field, const char* expected, const Statement& row,
                              int column) {
  return DecodingError(
      DecodingError::Kind::typeMismatch, {CodingKey::key(field)},
      std::string("expected ") + expected + ", found " + describeStored(row, column));
}

// A date column holds REAL seconds (an INTEGER when whole, as SQLite may keep it) or NULL; text
// or a blob there would otherwise read as 0, a date of 2001 that was never stored.
std::optional<Date> dateOf(const char* field, const Statement& row, int column) {
  const auto stored = row.stored(column);
  if (stored == Statement::Stored::null) return std::nullopt;
  if (stored != Statement::Stored::real && stored != Statement::Stored::integer) {
    throw wrongStoredType(field, "a date (seconds since 2001)", row, column);
  }
  return Date::sinceReferenceDate(row.real(column));
}

// Runs `decode`, putting `field` in front of the coding path of its error.
template <class F>
auto atField(const char* field, F&& decode) {
  try {
    return decode();
  } catch (const DecodingError& error) {
    CodingPath path{CodingKey::key(field)};
    path.insert(path.end(), error.codingPath().begin(), error.codingPath().end());
    throw DecodingError(error.kind(), std::move(path), error.debugDescription());
  }
}

template <class E>
E kindOf(const char* field, const Statement& row, int column) {
  const auto kind = row.isNull(column) ? std::nullopt : fromRawValue<E>(row.text(column));
  if (!kind) {
    throw DecodingError::invalidRawValue(
        {CodingKey::key(field)}, RawValues<E>::typeName,
        row.isNull(column) ? "null" : '"' + std::string(row.text(column)) + '"');
  }
  return *kind;
}

std::optional<std::string_view> eventKindOf(const Body& body) {
  const auto* event = body.get<InfoBody>();
  if (event == nullptr) return std::nullopt;
  return rawValue(static_cast<InfoType>(event->infoCase()));
}

}  // namespace

StoreError nanDate(const std::string& what) {
  return StoreError(
      StoreError::Code::invalidDate,
      what + " is NaN, a date that SQLite cannot hold (it would read back as no date)");
}

MessageRows::MessageRows() { prepareForBodyDecoding(decoder_); }

ChatMessage MessageRows::read(const Statement& row) {
  const auto type = kindOf<BodyType>("type", row, kType);
  const auto kind = kindOf<BodyType>("body", row, kBodyKind);
  const auto event = kind == BodyType::info
                         ? std::optional(kindOf<InfoType>("body", row, kEventKind))
                         : std::nullopt;
  Body body = atField("body", [&] {
    return decoder_.decode(row.text(kBody), [&](const Decoder& root) {
      if (event) return Body(InfoBody::decode(root, *event));
      if (BodyTypeBox* box = bodyType(root)) box->value = kind;
      return Body::decode(root);
    });
  });
  ChatMessageUser user =
      atField("user", [&] { return decoder_.decode<ChatMessageUser>(row.text(kAuthor)); });
  const auto status = row.isInteger(kSentStatus)
                          ? fromRawValue<MessageSentStatus>(row.integer(kSentStatus))
                          : std::nullopt;
  if (!status) {
    throw DecodingError::invalidRawValue(
        {CodingKey::key("sentStatus")}, "MessageSentStatus",
        row.isNull(kSentStatus) ? "null" : std::string(row.text(kSentStatus)));
  }
  const auto stored = row.stored(kViewCount);
  if (stored != Statement::Stored::integer && stored != Statement::Stored::null) {
    throw wrongStoredType("viewCount", "an integer", row, kViewCount);
  }
  return ChatMessage(std::move(body), dateOf("createdAt", row, kCreatedAt),
                     row.optionalText(kClientID), std::string(row.text(kMessageID)),
                     std::string(row.text(kRoomID)), type, dateOf("updatedAt", row, kUpdatedAt),
                     std::move(user), row.optionalInteger(kViewCount), *status);
}

void MessageRows::bind(Statement& statement, const ChatMessage& message, bool unconfirmed,
                       std::optional<std::int64_t> searchKey) {
  body_.clear();
  encoder_.encode(message.body, body_);
  author_.clear();
  encoder_.encode(message.user, author_);
  bindAgain(statement, message, unconfirmed, searchKey);
}

void MessageRows::bindAgain(Statement& statement, const ChatMessage& message, bool unconfirmed,
                            std::optional<std::int64_t> searchKey) {
  const auto named = [&](const char* field) {
    return [&message, field] {
      return "message \"" + message.messageID + "\" in room \"" + message.roomID + "\": " + field;
    };
  };
  const std::optional<Borrowed> clientID =
      message.clientID ? std::optional(Borrowed{*message.clientID}) : std::nullopt;
  statement.bind(Borrowed{message.messageID}, Borrowed{message.roomID}, clientID,
                 rawValue(message.type), rawValue(message.body.bodyType()),
                 eventKindOf(message.body), Borrowed{body_},
                 storedSeconds(message.createdAt, named("createdAt")),
                 storedSeconds(message.updatedAt, named("updatedAt")), Borrowed{author_},
                 message.viewCount, static_cast<std::int64_t>(rawValue(message.sentStatus)),
                 static_cast<std::int64_t>(unconfirmed ? 1 : 0), searchKey);
}

}  // namespace tovanel::chat::store::detail
