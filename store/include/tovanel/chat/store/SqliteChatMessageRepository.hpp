#pragma once
// A ChatMessageRepository over one SQLite file: an application's offline message cache. It keeps
// every room's messages, tracks the application's own sends through its transport, and delivers
// each room's whole list to observers after every change.
//
// Threads: the repository owns one worker thread. Every database access and every delivery
// (observed lists, futures, reports of unreadable rows) happens on it, in the order the calls
// were made; the calls themselves only queue work and return at once, from any thread. The one
// exception is Future's own rule: a future subscribed to after it settled delivers at once on
// the subscribing thread. Callbacks must not block on the application's other threads while
// those wait for the store, and must not destroy the repository.

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tovanel/chat/async/Future.hpp"
#include "tovanel/chat/async/Publisher.hpp"
#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"
#include "tovanel/chat/message/ChatMessageRepository.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"
#include "tovanel/chat/message/NewChatMessage.hpp"
#include "tovanel/chat/store/Export.hpp"
#include "tovanel/chat/store/Search.hpp"
#include "tovanel/chat/store/StoreError.hpp"

namespace tovanel::chat::store {

/// The application's way to the service: delivers one outgoing message and settles the returned
/// future with the service's identifier of the message, or fails it. Called on the store's
/// worker thread, so it should hand the work to the network and return at once. The future may
/// settle on any thread; a transport that throws counts as failing.
using Transport = std::function<Future<std::string>(const ChatMessage& message)>;

/// A stored message that no longer decodes (its body, its author, its kind, its status, a date or
/// its view count): it is reported, never shown with a value made up in place of what is stored.
struct UnreadableRow {
  std::string messageID;
  std::string roomID;
  /// Empty when the row has none, and when it is the date that does not read.
  std::optional<Date> createdAt;
  /// Why it does not decode: a DecodingError whose coding path starts at the message's field
  /// ("body", "user", "type", "sentStatus", "createdAt", "updatedAt" or "viewCount").
  std::exception_ptr error;
};

/// What one receive stored. A message is `added` when the store held nothing it replaces, and
/// `replaced` when it replaced a stored message with its messageID (in whatever room) or a send
/// of ours with its clientID; a messageID given twice in one receive is added, then replaced.
/// The two add up to the number of messages received.
struct ReceiveCounts {
  std::uint64_t added = 0;
  std::uint64_t replaced = 0;
  bool operator==(const ReceiveCounts&) const = default;
};

class TOVANEL_CHAT_STORE_API SqliteChatMessageRepository final : public ChatMessageRepository {
 public:
  using Messages = std::vector<ChatMessage>;

  /// Opens the database at `path`, creating it when absent, and upgrades an older schema
  /// (versioned with PRAGMA user_version; WAL journal while open; foreign keys on). Blocks until
  /// the file is ready; another process creating or upgrading the same file at the same time is
  /// waited for (up to five seconds, then StoreError busy). Sends of an earlier session still
  /// `sending` become `failed`: their outcome can no longer be learnt. `localUser` is the author of
  /// every send. Throws StoreError: schemaTooNew for a file of a newer store, notAStore for another
  /// application's database, database when SQLite cannot open or read the file;
  /// std::invalid_argument for an empty transport.
  static std::unique_ptr<SqliteChatMessageRepository> open(const std::filesystem::path& path,
                                                           ChatMessageUser localUser,
                                                           Transport transport);

  /// Opens an existing store for reading only, with SQLite's read-only flags: nothing is written
  /// to the file or created beside it when it was closed cleanly, so a file that cannot be
  /// written, or one in a folder that cannot be written, opens. Nothing is upgraded and sends of
  /// an earlier session keep their stored status. Writes fail with StoreError readOnly: receive,
  /// deleteMessage and retrieveChatMessages with a lurker token (a page without one reads as
  /// usual); send does nothing at all, since there is neither a file to keep the message nor a
  /// transport to send it. Throws StoreError: database when the file does not exist or cannot be
  /// read (nothing is created), readOnly for an empty file or an older schema (which only an open
  /// for writing upgrades), schemaTooNew and notAStore as open does.
  static std::unique_ptr<SqliteChatMessageRepository> openReadOnly(
      const std::filesystem::path& path);

  /// Runs the work already queued, ends every observation (with completion), stops listening to
  /// the transport and closes the file. Sends still waiting for the transport keep `sending`
  /// until the next open marks them `failed`. Closing a writable store moves everything
  /// committed into the file itself and, unless another connection has the file open, removes
  /// the -wal and -shm files beside it: a copy of the file alone then loses nothing.
  ~SqliteChatMessageRepository() override;

  SqliteChatMessageRepository(const SqliteChatMessageRepository&) = delete;
  SqliteChatMessageRepository& operator=(const SqliteChatMessageRepository&) = delete;

  /// Stores the message at once as `sending`, with a fresh random clientID (a version 4 UUID,
  /// unique among the sends the service has not confirmed), the local user as author, the time
  /// of the call as createdAt, and the clientID standing in for the messageID. Then hands it to
  /// the transport: success replaces the messageID with the service's and sets `sent`; failure
  /// sets `failed`. Each step is a change that observers see. Should the file refuse the write,
  /// the message still goes to the transport and shows when the service's copy is received.
  void send(NewChatMessage message) override;

  /// Stores messages from the service, all in one transaction: each replaces the stored message
  /// with its messageID (in whatever room), and a message whose clientID is that of one of our
  /// sends that the service has not confirmed replaces that send (sending or failed), so it is
  /// never shown twice. Completes once committed, with how many messages were added and how many
  /// replaced stored ones. Fails and stores none of them when a message cannot be encoded
  /// (EncodingError) or written (StoreError: full for a full disk, readOnly, busy, database; see
  /// StoreError::isLasting), or has a NaN createdAt or updatedAt (StoreError invalidDate, naming
  /// the message and the date: the file would keep it as no date). A failed receive leaves the
  /// file as the last commit left it.
  Future<ReceiveCounts> receive(std::vector<ChatMessage> messages);
  Future<ReceiveCounts> receive(ChatMessage message);

  /// How many of a room's latest messages an observer holds unless it asks for another window:
  /// a few screens of a conversation, far short of a busy room's history.
  static constexpr std::uint64_t kDefaultWindow = 200;

  /// The room's latest messages in a window of kDefaultWindow; see the overload.
  Publisher<Messages> observeChatMessages(std::string roomID) override;

  /// The room's latest `window` messages (at least one): on subscription, then again after every
  /// committed change to them, as a whole list each time; a change to several messages at once
  /// (one receive) is one list. Ordered by createdAt, then by messageID (byte order); messages
  /// without createdAt come first, as older than any date.
  ///
  /// The window is a page that stays current. Like a page it never splits the messages that
  /// share its oldest createdAt, so it may hold a few more than `window`; it holds the whole room
  /// while the room has fewer. As newer messages arrive the oldest leave; a message older than
  /// the window's oldest does not enter it. When one of its messages is deleted, moved to another
  /// room or made older than the window, the messages just before the window take its place. So
  /// the list is always what retrieveChatMessages(roomID, std::nullopt, std::nullopt, size) would
  /// read, `size` being `window` until paging back widens it. A change that touches nothing in
  /// the window, and brings nothing into it, delivers no list.
  ///
  /// Paging back widens the window: a page read with a `from` that is not before the window's
  /// oldest message brings the page's older messages into it, and the window holds that many
  /// more from then on (its observers receive the wider list before the page's future
  /// completes). A page read further back leaves a gap and changes no window, nor does a page
  /// without `from`.
  ///
  /// The store keeps each window and updates it from the rows each commit wrote or deleted,
  /// decoding only those: the time a change takes to reach an observer, and the memory an
  /// observed room holds, follow the window and the change, not the room's history. Observers of
  /// one room that ask for the same window share it. Unreadable rows take their place in the
  /// window but are left out of its list; each list that leaves some out is preceded by one
  /// report of them (see observeUnreadableRows). Cancelling stops the deliveries; closing the
  /// repository finishes the stream. A database failure fails the stream with StoreError.
  Publisher<Messages> observeChatMessages(std::string roomID, std::uint64_t window);

  /// A page of history going back: up to `limit` messages created strictly before `from` (the
  /// newest messages when `from` is empty; messages without createdAt count as older than any
  /// date), oldest first. A page never splits the messages that share its oldest createdAt: when
  /// it would, it grows to take them all, so the next page, asked with `from` set to the page's
  /// first createdAt, misses nothing. History ends with an empty page, or with a page whose first
  /// message has no createdAt. Unreadable rows count towards `limit` but are left out of the page
  /// (see observeUnreadableRows). `lurkerToken` grants nothing here: it is kept for the room (see
  /// lurkerToken()), reserved for a transport that fetches older history from the service. A NaN
  /// `from` fails with StoreError invalidDate: it is before or after no date.
  Future<Messages> retrieveChatMessages(std::string roomID, std::optional<Date> from,
                                        std::optional<std::string> lurkerToken,
                                        std::uint64_t limit) override;

  /// Completes once the deletion is committed (observers of the room have their new list by
  /// then). Fails with StoreError unknownMessage, naming the message and the room, when the room
  /// holds no such message.
  Future<void> deleteMessage(std::string messageID, std::string roomID) override;

  /// The last lurker token that retrieveChatMessages was given for the room, if any.
  Future<std::optional<std::string>> lurkerToken(std::string roomID);

  /// Finds the stored messages that hold every term of `query`, newest first, a page at a time.
  ///
  /// The query language: words separated by white space, each of which a message must hold
  /// (in any of its searchable fields, see SearchField); a "quoted phrase", whose words must
  /// follow one another in one field; and a star right after a word or a closing quote, which
  /// makes the last word a prefix ("lisb*" finds "Lisbon"). Nothing else has a meaning: AND, OR,
  /// NOT, NEAR, parentheses, colons and minus signs are ordinary text. Case, diacritics and the
  /// form of canonically equivalent text do not matter ("cafe" finds "Café" written with a
  /// precomposed é or with a combining accent). Words are split as stored text is: punctuation
  /// separates words, so "don't" is the phrase "don t"; punctuation, symbols and emoji are not
  /// searchable. Scripts written without spaces (Japanese, Chinese, Thai) make one word of each
  /// run of letters: search them with a star ("日本*").
  ///
  /// Fails with StoreError invalidQuery, quoting the query (its first 80 bytes) and saying why, for
  /// text that is not UTF-8, an unclosed quote, a star anywhere else than at the end of a word or
  /// phrase, more than 64 words, and a query with no word to search for; with invalidDate for a
  /// cursor whose createdAt is NaN. The index is kept in the transaction of every write, so a
  /// search sees every write committed before it.
  Future<SearchResults> search(std::string query, SearchOptions options = {});

  /// Reports stored messages that no longer decode. A read (an observed list, a page) leaves such
  /// a row out, delivers the rows beside it, and first sends this stream the rows it left out:
  /// one value per read that met any. Until the row is replaced or deleted, every read that
  /// meets it reports it again; an observed list meets the rows of its window, and the lists of
  /// one change to a room make one report.
  Publisher<std::vector<UnreadableRow>> observeUnreadableRows();

  /// Whether the repository was opened with openReadOnly.
  bool isReadOnly() const noexcept;

  /// Where the library's diagnostic lines go when a stored row does not decode (see
  /// JSONDecoder::diagnosticSink): standard output unless set, nowhere for an empty sink. Called on
  /// the worker thread; applies to the reads queued after this call.
  void setDiagnosticSink(DiagnosticSink sink);

 private:
  struct Shared;
  explicit SqliteChatMessageRepository(std::shared_ptr<Shared> shared);
  static std::unique_ptr<SqliteChatMessageRepository> openWith(std::shared_ptr<Shared> shared,
                                                               const std::filesystem::path& path);

  std::shared_ptr<Shared> shared_;
};

}  // namespace tovanel::chat::store
