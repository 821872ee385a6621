#pragma once
// The full-text index of the stored messages (an FTS5 table) and the queries on it.
//
// An entry's rowid is its search key, which orders the entries as the hits are ordered: the
// message's createdAt to the millisecond in the high bits (no date lowest), a number unique
// within that millisecond in the low 20. FTS5 reads a query's entries in rowid order from the
// newest, so the first page of even a very common word reads little more than the page; the
// hits of one millisecond are put in their exact order (createdAt, then messageID) after
// reading. messages.search_key holds each message's key (NULL when nothing of it is indexed),
// and a trigger removes the entry of a row that is deleted, whatever deletes it.
//
// A write transaction queues its entries and writes them just before it commits: once FTS5 has
// been written in a transaction, every later statement that keeps a statement journal (any
// write to messages, whose foreign key may fail) makes it flush what it holds, and interleaving
// the two would write one tiny segment per message.
//
// FTS5 answers a prefix by merging the whole lists of every word it begins, however few hits are
// wanted: a prefix of a common word would read a good share of the index. So search_terms keeps
// every word ever indexed (never pruned: a word no longer indexed finds nothing), and a prefix
// that begins few words becomes those words, which FTS5 reads from the newest like any word.
// Reading a word costs a seek in every segment however few hits are wanted, so a prefix that
// begins more words is looked for in the newest entries that hold the query's other terms (the
// newest entries, when it has none), each read whole and checked here: a page found among them
// costs no more than reading them. Only what a bounded number of them does not hold is left to
// FTS5's prefix search, below the last entry read.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Database.hpp"
#include "MessageRows.hpp"
#include "SearchText.hpp"
#include "tovanel/chat/store/Search.hpp"
#include "tovanel/chat/store/SqliteChatMessageRepository.hpp"

namespace tovanel::chat::store::detail {

/// Hashes words for lookups by string_view.
struct WordHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view word) const noexcept {
    return std::hash<std::string_view>{}(word);
  }
};

class SearchIndex {
 public:
  /// On an open store at the current schema.
  explicit SearchIndex(Database& database);

  /// Runs `change`, the work of a write transaction, writes the entries it queued and commits;
  /// what a change that fails queued is dropped with it. Every write transaction ends here.
  template <class Change>
  void commit(Transaction& transaction, Change&& change) {
    drop();
    try {
      change();
      flush();
      transaction.commit();
    } catch (...) {
      drop();
      throw;
    }
    remember();
  }

  /// The key of a message about to be written as a new row, whose entry is queued; empty, and no
  /// entry, when nothing of the message is searchable. The row must hold the key by the end of
  /// the transaction. Inside commit() only.
  std::optional<std::int64_t> keyFor(const ChatMessage& message);
  /// The key of the message of the last keyFor when it is written over the stored row with its
  /// messageID instead: the stored key while the message stays in its millisecond (so that its
  /// place among the hits does not change), else keyFor's; the stored key's entry is removed when
  /// it changes.
  std::optional<std::int64_t> keyForStored(const ChatMessage& message);

  /// A page of hits and the rows met that do not decode, read inside the caller's transaction.
  struct Page {
    SearchResults results;
    std::vector<UnreadableRow> unreadable;
  };
  /// Throws StoreError invalidQuery for a malformed query, invalidDate for a cursor with a NaN
  /// date.
  Page search(std::string_view query, const SearchOptions& options, MessageRows& rows);

 private:
  friend void buildSearchIndex(Database& database);

  struct Entry {
    std::string room;
    std::string author;
    std::string content;
  };
  std::int64_t freeKey(std::int64_t bucket);
  /// Writes the queued entries and the words new to the dictionary.
  void flush();
  void drop();
  /// Takes the words that the transaction added to the dictionary as known, once it committed.
  void remember();
  /// The prefix's words in the dictionary, in order; empty when there are more than `most`.
  std::optional<std::vector<std::string>> wordsStartingWith(std::string_view prefix,
                                                            std::size_t most);

  WordSplitter words_;
  Statement keyOf_;
  Statement lastKeyIn_;
  Statement keyTaken_;
  Statement gapIn_;
  Statement forget_;
  Statement write_;
  Statement hits_;
  Statement hitsInRoom_;
  Statement newest_;
  Statement newestInRoom_;
  Statement holding_;
  Statement holdingInRoom_;
  Statement byKey_;
  Statement addWord_;
  Statement wordsFrom_;
  std::string nameBuffer_;
  /// The entries to write at the end of the transaction, by key; and the keys to remove first.
  std::map<std::int64_t, Entry> pending_;
  std::set<std::int64_t> forgotten_;
  /// The key that the last keyFor gave.
  std::optional<std::int64_t> fresh_;
  /// Words known to be in the dictionary (search_terms), which need no insert; and those that the
  /// open transaction inserted.
  std::unordered_set<std::string, WordHash, std::equal_to<>> known_;
  std::vector<std::string> added_;
  /// Pieces of indexed text (WordSplitter::forEachPiece) whose words are all known, which need
  /// not be split again; and those that the open transaction added.
  std::unordered_set<std::string, WordHash, std::equal_to<>> knownPieces_;
  std::vector<std::string> addedPieces_;
};

/// Indexes every message of the store: the upgrade of a store made before search, inside its
/// transaction. Rows that do not decode are left out until a received copy replaces them.
void buildSearchIndex(Database& database);

}  // namespace tovanel::chat::store::detail
