#include "SearchIndex.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "tovanel/chat/base/CanonicalString.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"

namespace tovanel::chat::store::detail {

namespace {

constexpr int kSequenceBits = 20;
constexpr std::int64_t kSequenceMask = (std::int64_t{1} << kSequenceBits) - 1;
// Milliseconds from 2001 either way that keep a bucket of their own: about 139 years. Dates
// beyond share the first or the last, where the exact order still holds.
constexpr std::int64_t kMillisecondSpan = std::int64_t{1} << 42;

// The bucket of a createdAt: 0 for none, then each millisecond in order, from 1 to 2^43.
std::int64_t bucketOf(std::optional<double> seconds) {
  if (!seconds) return 0;
  const double milliseconds = std::floor(*seconds * 1000.0);
  std::int64_t offset = 0;
  if (!(milliseconds > -static_cast<double>(kMillisecondSpan))) {
    offset = -kMillisecondSpan;
  } else if (milliseconds >= static_cast<double>(kMillisecondSpan - 1)) {
    offset = kMillisecondSpan - 1;
  } else {
    offset = static_cast<std::int64_t>(milliseconds);
  }
  return offset + kMillisecondSpan + 1;
}

std::int64_t firstKey(std::int64_t bucket) { return bucket << kSequenceBits; }
std::int64_t lastKey(std::int64_t bucket) { return firstKey(bucket) | kSequenceMask; }

std::optional<double> secondsOf(const std::optional<Date>& date) {
  if (!date) return std::nullopt;
  return date->timeIntervalSinceReferenceDate();
}

// One token for a room: FNV-1a of its identifier in hexadecimal, which the tokenizer keeps whole.
// Another room with the same token only costs the check of room_id that follows.
std::string roomToken(std::string_view roomID) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  for (const char c : roomID) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
  }
  std::string token = "r";
  for (int shift = 60; shift >= 0; shift -= 4) token += "0123456789abcdef"[(hash >> shift) & 0xF];
  return token;
}

// The longest piece of text (see WordSplitter::forEachPiece) whose words are remembered as known:
// a word, or a few joined by other characters than ASCII ones. Longer ones are split each time.
constexpr std::size_t kLongestKnownPiece = 64;

// The most entries read whole for a query with a wide prefix (see the header): about ten
// milliseconds of reading and checking.
constexpr std::int64_t kMostEntriesRead = 2000;

// The newest entries from ?1 down, at most ?2, that hold the FTS5 expression ?4 (when
// `matching`), with what hitsQuery gives of each and the entry's text.
std::string entriesQuery(bool inRoom, bool matching) {
  return std::string(
             "SELECT s.rowid, m.created_at, m.message_id, s.author, s.content "
             "FROM message_search AS s CROSS JOIN messages AS m ON m.search_key = s.rowid "
             "WHERE s.rowid <= ?1") +
         (matching ? " AND message_search MATCH ?4" : "") + (inRoom ? " AND m.room_id = ?3" : "") +
         " ORDER BY s.rowid DESC LIMIT ?2";
}

std::string hitsQuery(bool inRoom) {
  return std::string(
             "SELECT s.rowid, m.created_at, m.message_id FROM message_search AS s "
             "CROSS JOIN messages AS m ON m.search_key = s.rowid "
             "WHERE message_search MATCH ?1 AND s.rowid <= ?2") +
         (inRoom ? " AND m.room_id = ?3" : "") + " ORDER BY s.rowid DESC";
}

// A hit's place in the order of results: newest first.
struct Position {
  std::int64_t bucket = 0;
  std::optional<double> createdAt;
  std::string messageID;
  std::int64_t key = 0;

  // Whether this comes before `other` in the results.
  bool precedes(const Position& other) const {
    if (bucket != other.bucket) return bucket > other.bucket;
    if (createdAt != other.createdAt) return createdAt > other.createdAt;  // none is last
    return messageID > other.messageID;
  }
};

// The stored createdAt of a row, when it is a number; text there is reported when the row is
// read.
std::optional<double> storedDate(const Statement& row, int column) {
  const auto stored = row.stored(column);
  if (stored != Statement::Stored::real && stored != Statement::Stored::integer) {
    return std::nullopt;
  }
  return row.real(column);
}

// Fields in their decomposed form, separated by a barrier token so that no phrase runs from one
// field into the next.
void appendFields(std::string& out, const std::string_view* begin, const std::string_view* end) {
  for (; begin != end; ++begin) {
    if (begin->empty()) continue;
    if (!out.empty()) out.append(" ").append(kFieldBarrier).append(" ");
    appendDecomposed(out, *begin);
  }
}

}  // namespace

SearchIndex::SearchIndex(Database& database)
    : words_(database.handle()),
      keyOf_(database, "SELECT search_key FROM messages WHERE message_id = ?1"),
      lastKeyIn_(database,
                 "SELECT search_key FROM messages WHERE search_key BETWEEN ?1 AND ?2 "
                 "ORDER BY search_key DESC LIMIT 1"),
      keyTaken_(database, "SELECT 1 FROM messages WHERE search_key = ?1"),
      gapIn_(database,
             "SELECT k.search_key + 1 FROM messages AS k WHERE k.search_key BETWEEN ?1 AND ?2 - 1 "
             "AND NOT EXISTS (SELECT 1 FROM messages WHERE search_key = k.search_key + 1) "
             "ORDER BY k.search_key LIMIT 1"),
      forget_(database, "DELETE FROM message_search WHERE rowid = ?1"),
      write_(database,
             "INSERT OR REPLACE INTO message_search (rowid, room, author, content) "
             "VALUES (?1, ?2, ?3, ?4)"),
      hits_(database, hitsQuery(false)),
      hitsInRoom_(database, hitsQuery(true)),
      newest_(database, entriesQuery(false, false)),
      newestInRoom_(database, entriesQuery(true, false)),
      holding_(database, entriesQuery(false, true)),
      holdingInRoom_(database, entriesQuery(true, true)),
      byKey_(database,
             std::string("SELECT ") + kMessageColumns + " FROM messages WHERE search_key = ?1"),
      addWord_(database, "INSERT OR IGNORE INTO search_terms (term) VALUES (?1)"),
      wordsFrom_(database,
                 "SELECT term FROM search_terms WHERE term >= ?1 ORDER BY term LIMIT ?2") {}

std::int64_t SearchIndex::freeKey(std::int64_t bucket) {
  Statement& last = lastKeyIn_.bind(firstKey(bucket), lastKey(bucket));
  const auto taken = last.step() ? std::optional(last.integer(0)) : std::nullopt;
  last.reset();
  if (!taken) return firstKey(bucket);
  if (*taken < lastKey(bucket)) return *taken + 1;
  // The millisecond's numbers are used up to the last: take one that a deletion freed.
  if (!keyTaken_.bind(firstKey(bucket)).exists()) return firstKey(bucket);
  Statement& gap = gapIn_.bind(firstKey(bucket), lastKey(bucket));
  const auto free = gap.step() ? std::optional(gap.integer(0)) : std::nullopt;
  gap.reset();
  return free.value_or(-1);
}

std::optional<std::int64_t> SearchIndex::keyFor(const ChatMessage& message) {
  const SearchableText text = searchableText(message, nameBuffer_);
  constexpr auto kAuthor = static_cast<std::size_t>(SearchField::username);
  Entry entry;
  appendFields(entry.content, text.data(), text.data() + kAuthor);
  appendFields(entry.author, text.data() + kAuthor, text.data() + text.size());
  fresh_.reset();
  if (entry.content.empty() && entry.author.empty()) return std::nullopt;
  // -1: a millisecond that already holds 2^20 messages.
  const std::int64_t key = freeKey(bucketOf(secondsOf(message.createdAt)));
  if (key < 0) return std::nullopt;
  entry.room = roomToken(message.roomID);
  pending_.insert_or_assign(key, std::move(entry));
  fresh_ = key;
  return key;
}

std::optional<std::int64_t> SearchIndex::keyForStored(const ChatMessage& message) {
  Statement& row = keyOf_.bind(message.messageID);
  const std::optional<std::int64_t> stored = row.step() ? row.optionalInteger(0) : std::nullopt;
  row.reset();
  if (!stored) return fresh_;
  if (fresh_ && (*stored >> kSequenceBits) == (*fresh_ >> kSequenceBits)) {
    // Still in its millisecond: the entry keeps its key, which keeps its place among the hits,
    // and replaces what the key held, also an entry queued by this transaction (the messageID
    // twice in one receive).
    auto entry = pending_.extract(*fresh_);
    pending_.insert_or_assign(*stored, std::move(entry.mapped()));
    return stored;
  }
  pending_.erase(*stored);
  forgotten_.insert(*stored);
  return fresh_;
}

void SearchIndex::flush() {
  // The dictionary first: nothing that writes may follow the index's writes (see the header).
  auto add = [&](std::string_view word) {
    if (known_.find(word) != known_.end()) return;
    known_.emplace(word);
    added_.emplace_back(word);
    addWord_.bind(word).run();
  };
  for (const auto& [key, entry] : pending_) {
    for (const std::string* text : {&entry.author, &entry.content}) {
      WordSplitter::forEachPiece(*text, [&](std::string_view piece) {
        if (knownPieces_.find(piece) != knownPieces_.end()) return;
        words_.forEachWord(piece, add);
        if (piece.size() > kLongestKnownPiece) return;
        knownPieces_.emplace(piece);
        addedPieces_.emplace_back(piece);
      });
    }
  }
  for (const std::int64_t key : forgotten_) forget_.bind(key).run();
  for (const auto& [key, entry] : pending_) {
    // A message stored and then moved to another room in the same receive left its first key.
    if (!keyTaken_.bind(key).exists()) continue;
    write_.bind(key, Borrowed{entry.room}, Borrowed{entry.author}, Borrowed{entry.content}).run();
  }
  pending_.clear();
  forgotten_.clear();
}

void SearchIndex::drop() {
  pending_.clear();
  forgotten_.clear();
  // Not in the dictionary after all.
  for (const std::string& word : added_) known_.erase(word);
  added_.clear();
  for (const std::string& piece : addedPieces_) knownPieces_.erase(piece);
  addedPieces_.clear();
}

void SearchIndex::remember() {
  added_.clear();
  addedPieces_.clear();
  // A bound on memory: the words of a long-lived store's history only cost their inserts again.
  if (known_.size() + knownPieces_.size() > 200000) {
    known_.clear();
    knownPieces_.clear();
  }
}

std::optional<std::vector<std::string>> SearchIndex::wordsStartingWith(std::string_view prefix,
                                                                       std::size_t most) {
  std::vector<std::string> words;
  Statement& from = wordsFrom_.bind(prefix, static_cast<std::int64_t>(most + 1));
  while (from.step()) {
    const std::string_view word = from.text(0);
    if (!word.starts_with(prefix)) break;
    words.emplace_back(word);
  }
  from.reset();
  if (words.size() > most) return std::nullopt;
  return words;
}

SearchIndex::Page SearchIndex::search(std::string_view query, const SearchOptions& options,
                                      MessageRows& rows) {
  SearchQuery parsed = parseQuery(query, words_);
  // A prefix that begins few words of the dictionary is those words; one that begins none finds
  // nothing; one that begins more is wide.
  bool wide = false;
  for (QueryTerm& term : parsed.terms) {
    if (!term.prefix) continue;
    auto words = wordsStartingWith(term.words.back(), kMaxPrefixWords);
    if (!words) {
      wide = true;
    } else if (words->empty()) {
      return {};
    } else {
      term.completions = std::move(*words);
    }
  }
  Position after;  // the cursor, when there is one
  std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  if (options.after) {
    after.createdAt = storedSeconds(options.after->createdAt,
                                    [] { return std::string("search: the cursor's createdAt"); });
    after.bucket = bucketOf(after.createdAt);
    after.messageID = options.after->messageID;
    highest = lastKey(after.bucket);
  }
  // The hits in index order, up to one past the page and the rest of that one's millisecond;
  // then in their exact order. Returns whether they are all there.
  const std::uint64_t wanted = options.limit;
  std::vector<Position> found;
  const auto take = [&](const Statement& hit) {
    Position position{hit.integer(0) >> kSequenceBits, storedDate(hit, 1), std::string(hit.text(2)),
                      hit.integer(0)};
    if (options.after && !after.precedes(position)) return false;
    if (found.size() > wanted && position.bucket != found.back().bucket) return true;
    found.push_back(std::move(position));
    return false;
  };
  bool complete = wanted == 0;
  if (wide && !complete) {
    // The entries to read whole: those that hold the other terms, or the newest.
    SearchQuery others;
    for (const QueryTerm& term : parsed.terms) {
      if (!term.prefix || !term.completions.empty()) others.terms.push_back(term);
    }
    const std::string room = options.roomID.value_or("");
    const std::string match =
        others.terms.empty() ? ""
        : options.roomID     ? matchExpression(others) + " AND room : \"" + roomToken(room) + '"'
                             : matchExpression(others);
    Statement& entries = others.terms.empty()
                             ? (options.roomID ? newestInRoom_.bind(highest, kMostEntriesRead, room)
                                               : newest_.bind(highest, kMostEntriesRead))
                             : (options.roomID ? holdingInRoom_ : holding_)
                                   .bind(highest, kMostEntriesRead, room, match);
    std::int64_t read = 0;
    while (!complete && entries.step()) {
      ++read;
      highest = entries.integer(0) - 1;
      complete = holdsEveryTerm(parsed, entries.text(3), entries.text(4), words_) && take(entries);
    }
    entries.reset();
    complete = complete || read < kMostEntriesRead;
  }
  if (!complete) {
    const std::string match = matchExpression(parsed);
    Statement& hits =
        options.roomID
            ? hitsInRoom_.bind(match + " AND room : \"" + roomToken(*options.roomID) + '"', highest,
                               *options.roomID)
            : hits_.bind(match, highest);
    while (!complete && hits.step()) complete = take(hits);
    hits.reset();
  }
  std::sort(found.begin(), found.end(),
            [](const Position& a, const Position& b) { return a.precedes(b); });

  Page page;
  const std::size_t taken = std::min<std::size_t>(found.size(), wanted);
  if (found.size() > taken) {
    const Position& last = found[taken - 1];
    page.results.next = SearchCursor{
        last.createdAt ? std::optional(Date::sinceReferenceDate(*last.createdAt)) : std::nullopt,
        last.messageID};
  }
  for (std::size_t i = 0; i < taken; ++i) {
    Statement& row = byKey_.bind(found[i].key);
    if (!row.step()) {
      row.reset();
      continue;
    }
    try {
      ChatMessage message = rows.read(row);
      auto matches = matchesIn(message, parsed, words_);
      page.results.hits.push_back(SearchHit{std::move(message), std::move(matches)});
    } catch (...) {
      page.unreadable.push_back(UnreadableRow{
          std::string(row.text(kMessageID)), std::string(row.text(kRoomID)),
          found[i].createdAt ? std::optional(Date::sinceReferenceDate(*found[i].createdAt))
                             : std::nullopt,
          std::current_exception()});
    }
    row.reset();
  }
  return page;
}

void buildSearchIndex(Database& database) {
  SearchIndex index(database);
  MessageRows rows;
  rows.setDiagnosticSink({});  // a row that does not decode is reported when a read meets it
  // A chunk at a time, each read to its end before its entries are written.
  Statement chunk(database,
                  std::string("SELECT ") + kMessageColumns +
                      ", rowid FROM messages WHERE rowid > ?1 ORDER BY rowid LIMIT 10000");
  constexpr int kRowID = kSentStatus + 1;
  Statement setKey(database, "UPDATE messages SET search_key = ?2 WHERE message_id = ?1");
  std::int64_t after = std::numeric_limits<std::int64_t>::min();
  for (bool more = true; more;) {
    std::vector<ChatMessage> messages;
    more = false;
    for (Statement& row = chunk.bind(after); row.step();) {
      more = true;
      after = row.integer(kRowID);
      try {
        messages.push_back(rows.read(row));
      } catch (const DecodingError&) {
        // Indexed once a received copy replaces it; reads report it meanwhile.
      }
    }
    chunk.reset();
    for (const ChatMessage& message : messages) {
      setKey.bind(message.messageID, index.keyFor(message)).run();
    }
    index.flush();
  }
}

}  // namespace tovanel::chat::store::detail
