#pragma once
// The text side of search: the fields of a message that are indexed, the words of a text as the
// index splits them, the query language, and where a query matches in a message's fields.
// Everything here splits and folds words with the index's own tokenizer, so what the highlighting
// finds is what the index matched.

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tovanel/chat/message/ChatMessage.hpp"
#include "tovanel/chat/store/Search.hpp"

struct sqlite3;
struct Fts5Tokenizer;
struct fts5_tokenizer;

namespace tovanel::chat::store::detail {

inline constexpr std::size_t kSearchFieldCount = 9;

/// What the index puts between two fields of a message: a private-use character, which the
/// tokenizer keeps as a word of its own, so that no phrase runs from one field into the next.
/// Queries never search for it.
inline constexpr std::string_view kFieldBarrier = "\uE000";

/// The form in which text is indexed and searched: canonically decomposed (NFD), so that
/// canonically equivalent text is one text, and every diacritic, precomposed or not, is a mark
/// that the tokenizer drops. Text that is not UTF-8 is kept as it is.
std::string decomposed(std::string_view text);
/// Appends decomposed(text) to `out`.
void appendDecomposed(std::string& out, std::string_view text);

/// The searchable text of a message, by field; an empty view for a field it lacks. Views point
/// into the message, but authorName into `nameBuffer`.
using SearchableText = std::array<std::string_view, kSearchFieldCount>;
SearchableText searchableText(const ChatMessage& message, std::string& nameBuffer);

/// Splits text into words with the tokenizer that the search table names (Schema.cpp): SQLite's
/// unicode61, which folds case, with diacritics removed from every letter, including those written
/// with a combining mark.
class WordSplitter {
 public:
  /// Throws StoreError database when the connection's SQLite has no FTS5.
  explicit WordSplitter(sqlite3* connection);
  ~WordSplitter();
  WordSplitter(const WordSplitter&) = delete;
  WordSplitter& operator=(const WordSplitter&) = delete;

  /// A word of a text: its folded form and its byte span in the text.
  struct Word {
    std::string folded;
    std::size_t begin;
    std::size_t end;
  };
  /// The words of `text`, folded as the index folds them: each word from its decomposed form,
  /// so canonically equivalent text gives the same words; the spans are those of `text`.
  std::vector<Word> split(std::string_view text) const;

  /// The folded words of `text`, which is decomposed already: the words the index holds of it.
  std::vector<Word> indexed(std::string_view text) const { return tokenize(text); }

  /// Calls `each` with every folded word of `text`, which is decomposed already: the words the
  /// index holds of it. The view lasts for the call.
  template <class F>
  void forEachWord(std::string_view text, F&& each) const {
    using Each = std::remove_reference_t<F>;
    tokenize(text, &each, [](void* context, int, const char* token, int size, int, int) {
      (*static_cast<Each*>(context))(std::string_view(token, static_cast<std::size_t>(size)));
      return 0;
    });
  }

  /// Calls `each` with the pieces of `text` between the characters that always separate words:
  /// ASCII characters other than letters and digits, of which no byte of a longer character is
  /// made. The words of a text are those of its pieces, in order; a piece is found again and
  /// again in a language's text, where its words need not be split again.
  template <class F>
  static void forEachPiece(std::string_view text, F&& each) {
    const auto joins = [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
             static_cast<unsigned char>(c) >= 0x80;
    };
    for (std::size_t at = 0; at < text.size();) {
      if (!joins(text[at])) {
        ++at;
        continue;
      }
      std::size_t end = at + 1;
      while (end < text.size() && joins(text[end])) ++end;
      each(text.substr(at, end - at));
      at = end;
    }
  }

 private:
  std::vector<Word> tokenize(std::string_view text) const;
  void tokenize(std::string_view text, void* context,
                int (*callback)(void*, int, const char*, int, int, int)) const;

  fts5_tokenizer* api_;
  Fts5Tokenizer* tokenizer_ = nullptr;
};

/// One term of a query: a word, or the words of a quoted phrase, folded; with a star, the last
/// word is a prefix.
struct QueryTerm {
  std::vector<std::string> words;
  bool prefix = false;
  /// For a prefix, the indexed words that it begins when they are few: the index reads the term
  /// as any of them in place of the last word.
  std::vector<std::string> completions;
};

/// The most words a prefix is read as (see QueryTerm::completions); beyond, the newest entries
/// are read whole, and then the index reads it as a prefix (see SearchIndex.hpp).
inline constexpr std::size_t kMaxPrefixWords = 64;

/// A parsed query: its terms, all of which a message must hold.
struct SearchQuery {
  std::vector<QueryTerm> terms;
};

/// The most words a query may hold, phrases included.
inline constexpr std::size_t kMaxQueryWords = 64;

/// Parses the query language: words separated by white space, "quoted phrases" (inside quotes
/// every character but the quote is text), and a star right after a word or a closing quote,
/// which makes its last word a prefix. Punctuation inside a word splits it as it splits stored
/// text, into a phrase ("don't" is "don t"); words that hold nothing searchable (only
/// punctuation, symbols or emoji) are dropped. Throws StoreError invalidQuery, quoting the query,
/// for text that is not UTF-8, an unclosed quote, a star anywhere else, more than kMaxQueryWords
/// words, and a query left with no word at all.
SearchQuery parseQuery(std::string_view query, const WordSplitter& words);

/// The FTS5 expression that finds the query's terms in the search table's content: every term
/// quoted, so that no text of the user's is read as FTS5 syntax.
std::string matchExpression(const SearchQuery& query);

/// Whether an entry of the index, its author and content as stored (decomposed), holds every term
/// of the query as the index finds them: a term's words in a row within either text, the last
/// one by prefix when the term has a star.
bool holdsEveryTerm(const SearchQuery& query, std::string_view author, std::string_view content,
                    const WordSplitter& words);

/// Where the query's terms are in the message's fields: for each field that holds one, its text
/// and the spans of every occurrence of every term, merged where they overlap.
std::vector<SearchMatch> matchesIn(const ChatMessage& message, const SearchQuery& query,
                                   const WordSplitter& words);

}  // namespace tovanel::chat::store::detail
