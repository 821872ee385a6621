#pragma once
// Full-text search of a message store: what to search for and where, and the messages found,
// each with the spans of its text that the query matched, for a client to highlight.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tovanel/chat/base/Date.hpp"
#include "tovanel/chat/base/Range.hpp"
#include "tovanel/chat/message/ChatMessage.hpp"

namespace tovanel::chat::store {

/// The text of a message that search looks at. Every other field, and every system event but
/// those that carry a room's title or topic, is left out.
enum class SearchField : std::uint8_t {
  text,         ///< what the author wrote: a text message, or the text of a link or location
  title,        ///< the title of a link preview, a YouTube video, a SoundCloud track or an HLS
                ///< stream; the game of a Twitch item; a room's title set by a system event
  description,  ///< a link preview's description
  channel,      ///< a YouTube channel, a SoundCloud uploader, a Twitch channel, an HLS provider
  place,        ///< a location's name
  address,      ///< a location's description: where the place is
  topic,        ///< a room's topic set by a system event
  username,     ///< the author's username
  authorName,   ///< the author's first name, a space, and last name (either alone when the
                ///< other is empty)
};

/// Where a query matched in one field of a message.
struct SearchMatch {
  SearchField field;
  /// The field's text exactly as the message holds it (for authorName, the two names joined).
  std::string text;
  /// The matched spans of `text`, as byte offsets in its UTF-8 (location) and byte counts
  /// (length); in order and apart from one another. A span covers whole words: a query word
  /// matched by prefix ("lisb*") covers the word it begins ("Lisbon"), a phrase covers its
  /// words and what separates them.
  std::vector<Range> ranges;

  friend bool operator==(const SearchMatch&, const SearchMatch&) = default;
};

/// A message that a query found.
struct SearchHit {
  ChatMessage message;  ///< its room is message.roomID
  /// The fields in which the query's words were found, in the order of SearchField. Empty only
  /// when the stored text was changed behind the store's back since it was indexed.
  std::vector<SearchMatch> matches;
};

/// A position in the order of hits: newest first, by createdAt and then by messageID (both
/// descending), messages without createdAt last. A page of results ends at one; the next page
/// starts just after it.
struct SearchCursor {
  std::optional<Date> createdAt;
  std::string messageID;

  friend bool operator==(const SearchCursor&, const SearchCursor&) = default;
};

/// Where to search and how much to return.
struct SearchOptions {
  /// One room, or every room when empty.
  std::optional<std::string> roomID;
  /// At most this many messages per page (unreadable rows count; see SearchResults). Zero
  /// returns an empty page.
  std::uint64_t limit = 50;
  /// The page after this position (SearchResults::next of the previous page); the newest
  /// messages when empty.
  std::optional<SearchCursor> after;
};

/// One page of results.
struct SearchResults {
  /// Newest first. Stored messages that no longer decode are left out and reported through
  /// observeUnreadableRows, as every read reports them; they count towards the limit, so a page
  /// may hold fewer hits than the limit and still have a next one.
  std::vector<SearchHit> hits;
  /// Where the next page starts, to pass as SearchOptions::after; empty when this page is the
  /// last.
  std::optional<SearchCursor> next;
};

}  // namespace tovanel::chat::store
