#include "SearchText.hpp"

#include <sqlite3.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "tovanel/chat/base/CanonicalString.hpp"
#include "tovanel/chat/body/content/HLSBody.hpp"
#include "tovanel/chat/body/content/LocationBody.hpp"
#include "tovanel/chat/body/content/SoundCloudBody.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/body/content/TwitchBody.hpp"
#include "tovanel/chat/body/content/URLBody.hpp"
#include "tovanel/chat/body/content/YoutubeBody.hpp"
#include "tovanel/chat/body/info/InfoBody.hpp"
#include "tovanel/chat/store/StoreError.hpp"

namespace tovanel::chat::store::detail {

// ---- the fields ----

namespace {

class Fields {
 public:
  explicit Fields(SearchableText& text) : text_(text) {}
  void set(SearchField field, std::string_view value) {
    text_[static_cast<std::size_t>(field)] = value;
  }
  void set(SearchField field, const std::string& value) { set(field, std::string_view(value)); }
  void set(SearchField field, const std::optional<std::string>& value) {
    if (value) set(field, std::string_view(*value));
  }

 private:
  SearchableText& text_;
};

}  // namespace

SearchableText searchableText(const ChatMessage& message, std::string& nameBuffer) {
  SearchableText text{};
  Fields fields(text);
  const Body& body = message.body;
  if (const auto* event = body.get<InfoBody>()) {
    // Of the system events, only the text a person wrote: a room's title and topic.
    if (const auto* title = event->get<RoomTitleInfoBody>()) {
      fields.set(SearchField::title, title->title);
    } else if (const auto* created = event->get<RoomCreatedInfoBody>()) {
      fields.set(SearchField::title, created->title);
    } else if (const auto* topic = event->get<RoomTopicInfoBody>()) {
      fields.set(SearchField::topic, topic->topic);
    } else {
      return text;
    }
  } else if (const auto* plain = body.get<TextBody>()) {
    fields.set(SearchField::text, plain->text);
  } else if (const auto* link = body.get<URLBody>()) {
    fields.set(SearchField::text, link->text());
    fields.set(SearchField::title, link->title());
    fields.set(SearchField::description, link->urlDescription());
  } else if (const auto* place = body.get<LocationBody>()) {
    fields.set(SearchField::text, place->text);
    fields.set(SearchField::place, place->name);
    fields.set(SearchField::address, place->locationDescription);
  } else if (const auto* youtube = body.get<YoutubeBody>()) {
    fields.set(SearchField::title, youtube->title);
    fields.set(SearchField::channel, youtube->channelTitle);
  } else if (const auto* track = body.get<SoundCloudBody>()) {
    fields.set(SearchField::title, track->title);
    fields.set(SearchField::channel, track->username);
  } else if (const auto* twitch = body.get<TwitchBody>()) {
    fields.set(SearchField::title, twitch->game);
    fields.set(SearchField::channel, twitch->name);
  } else if (const auto* stream = body.get<HLSBody>()) {
    fields.set(SearchField::title, stream->title);
    fields.set(SearchField::channel, stream->provider);
  }
  fields.set(SearchField::username, message.user.username);
  const std::string& first = message.user.firstName;
  const std::string& last = message.user.lastName;
  if (first.empty() || last.empty()) {
    fields.set(SearchField::authorName, first.empty() ? last : first);
  } else {
    nameBuffer.assign(first).append(1, ' ').append(last);
    fields.set(SearchField::authorName, std::string_view(nameBuffer));
  }
  return text;
}

// ---- words ----

namespace {

// Whether NFD leaves the code point as it is and never moves a mark across it: a starter without a
// canonical decomposition. (Hangul syllables decompose by rule, not by table.)
bool keptByDecomposition(utf8proc_int32_t c) {
  if (c >= 0xAC00 && c <= 0xD7A3) return false;
  const utf8proc_property_t* property = utf8proc_get_property(c);
  return property->combining_class == 0 &&
         (property->decomp_seqindex == UINT16_MAX || property->decomp_type != 0);
}

// Appends the canonical decomposition of `run` to `out`; false when it is not UTF-8. Runs are
// mostly a character or two: they decompose into a buffer on the stack.
bool appendDecomposedRun(std::string_view run, std::string& out) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(run.data());
  const auto size = static_cast<utf8proc_ssize_t>(run.size());
  const auto options = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE);
  std::array<utf8proc_int32_t, 64> onStack{};
  std::vector<utf8proc_int32_t> onHeap;
  utf8proc_int32_t* points = onStack.data();
  auto count = utf8proc_decompose(bytes, size, points, onStack.size(), options);
  if (count > static_cast<utf8proc_ssize_t>(onStack.size())) {
    onHeap.resize(static_cast<std::size_t>(count));
    points = onHeap.data();
    count = utf8proc_decompose(bytes, size, points, count, options);
  }
  if (count < 0) return false;
  utf8proc_uint8_t encoded[4];
  for (utf8proc_ssize_t i = 0; i < count; ++i) {
    const auto length = utf8proc_encode_char(points[i], encoded);
    out.append(reinterpret_cast<const char*>(encoded), static_cast<std::size_t>(length));
  }
  return true;
}

}  // namespace

void appendDecomposed(std::string& out, std::string_view text) {
  // NFD works run by run between the code points it keeps: only the runs of others are handed to
  // utf8proc, which is slow on long text.
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto size = static_cast<utf8proc_ssize_t>(text.size());
  const auto next = [&](utf8proc_ssize_t at, utf8proc_int32_t& c) {
    return utf8proc_iterate(bytes + at, size - at, &c);
  };
  const std::size_t start = out.size();
  const auto keptAsItIs = [&] {  // not UTF-8
    out.resize(start);
    out.append(text);
  };
  utf8proc_ssize_t copied = 0;
  for (utf8proc_ssize_t at = 0; at < size;) {
    utf8proc_int32_t c = bytes[at];
    const utf8proc_ssize_t length = c < 0x80 ? 1 : next(at, c);
    if (length < 0) return keptAsItIs();
    if (c < 0x80 || keptByDecomposition(c)) {
      at += length;
      continue;
    }
    utf8proc_ssize_t end = at + length;
    while (end < size) {
      utf8proc_int32_t d = bytes[end];
      const utf8proc_ssize_t more = d < 0x80 ? 1 : next(end, d);
      if (more < 0) return keptAsItIs();
      if (d < 0x80 || keptByDecomposition(d)) break;
      end += more;
    }
    out.append(
        text.substr(static_cast<std::size_t>(copied), static_cast<std::size_t>(at - copied)));
    if (!appendDecomposedRun(
            text.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(end - at)), out)) {
      return keptAsItIs();
    }
    at = copied = end;
  }
  out.append(text.substr(static_cast<std::size_t>(copied)));
}

std::string decomposed(std::string_view text) {
  std::string out;
  appendDecomposed(out, text);
  return out;
}

WordSplitter::WordSplitter(sqlite3* connection) {
  fts5_api* fts5 = nullptr;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(connection, "SELECT fts5(?1)", -1, &statement, nullptr) == SQLITE_OK) {
    sqlite3_bind_pointer(statement, 1, static_cast<void*>(&fts5), "fts5_api_ptr", nullptr);
    sqlite3_step(statement);
  }
  sqlite3_finalize(statement);
  auto api = std::make_unique<fts5_tokenizer>();
  void* context = nullptr;
  const char* arguments[] = {"remove_diacritics", "2"};
  if (fts5 == nullptr ||
      fts5->xFindTokenizer(fts5, "unicode61", &context, api.get()) != SQLITE_OK ||
      api->xCreate(context, arguments, 2, &tokenizer_) != SQLITE_OK) {
    throw StoreError(StoreError::Code::database,
                     "SQLite was built without full-text search (FTS5), which the store needs");
  }
  api_ = api.release();
}

WordSplitter::~WordSplitter() {
  api_->xDelete(tokenizer_);
  delete api_;
}

void WordSplitter::tokenize(std::string_view text, void* context,
                            int (*callback)(void*, int, const char*, int, int, int)) const {
  api_->xTokenize(tokenizer_, context, FTS5_TOKENIZE_DOCUMENT, text.data(),
                  static_cast<int>(text.size()), callback);
}

std::vector<WordSplitter::Word> WordSplitter::tokenize(std::string_view text) const {
  std::vector<Word> words;
  tokenize(text, &words, [](void* context, int, const char* token, int size, int begin, int end) {
    static_cast<std::vector<Word>*>(context)->push_back(
        Word{std::string(token, static_cast<std::size_t>(size)), static_cast<std::size_t>(begin),
             static_cast<std::size_t>(end)});
    return SQLITE_OK;
  });
  return words;
}

std::vector<WordSplitter::Word> WordSplitter::split(std::string_view text) const {
  std::vector<Word> words = tokenize(text);
  if (isAscii(text)) return words;
  // The index holds the decomposed form: fold each word from its own, keeping its span.
  std::vector<Word> folded;
  folded.reserve(words.size());
  for (const Word& word : words) {
    const std::string_view original = text.substr(word.begin, word.end - word.begin);
    if (isAscii(original)) {
      folded.push_back(word);
      continue;
    }
    for (Word& part : tokenize(decomposed(original))) {
      folded.push_back(Word{std::move(part.folded), word.begin, word.end});
    }
  }
  return folded;
}

// ---- the query language ----

namespace {

bool isUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t size = text.size();
  for (std::size_t at = 0; at < size;) {
    const unsigned char lead = bytes[at];
    std::size_t length = 1;
    char32_t minimum = 0;
    char32_t value = lead;
    if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4, minimum = 0x10000, value = lead & 0x07;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3, minimum = 0x800, value = lead & 0x0F;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2, minimum = 0x80, value = lead & 0x1F;
    } else if (lead >= 0x80) {
      return false;
    }
    if (size - at < length) return false;
    for (std::size_t i = 1; i < length; ++i) {
      if ((bytes[at + i] & 0xC0) != 0x80) return false;
      value = (value << 6) | (bytes[at + i] & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
    at += length;
  }
  return true;
}

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

class QueryParser {
 public:
  QueryParser(std::string_view query, const WordSplitter& words) : raw_(query), words_(words) {}

  SearchQuery parse() {
    if (!isUtf8(raw_)) fail("it is not UTF-8 text");
    const std::string_view text = raw_;
    std::size_t at = 0;
    while (at < text.size()) {
      const char c = text[at];
      if (isSpace(c)) {
        ++at;
      } else if (c == '"') {
        const auto close = text.find('"', at + 1);
        if (close == std::string::npos) fail("a quote is not closed");
        at = addTerm(text.substr(at + 1, close - at - 1), text, close + 1);
      } else if (c == '*') {
        fail("a star must end a word or a quoted phrase");
      } else {
        std::size_t end = at;
        while (end < text.size() && !isSpace(text[end]) && text[end] != '"' && text[end] != '*') {
          ++end;
        }
        at = addTerm(text.substr(at, end - at), text, end);
      }
    }
    if (parsed_.terms.empty()) fail("it has no word to search for");
    return std::move(parsed_);
  }

 private:
  // Adds the term whose text ends at `next` in `text`, with the star that may follow; returns
  // where parsing goes on.
  std::size_t addTerm(std::string_view termText, std::string_view text, std::size_t next) {
    QueryTerm term;
    if (next < text.size() && text[next] == '*') {
      term.prefix = true;
      ++next;
      if (next < text.size() && !isSpace(text[next])) {
        fail("a star must end a word or a quoted phrase");
      }
    }
    for (auto& word : words_.split(termText)) {
      if (word.folded != kFieldBarrier) term.words.push_back(std::move(word.folded));
    }
    if (term.words.empty()) return next;  // nothing searchable in it
    wordCount_ += term.words.size();
    if (wordCount_ > kMaxQueryWords) {
      fail("it has more than " + std::to_string(kMaxQueryWords) + " words");
    }
    // A term said twice asks nothing more, and would cost its reading twice.
    const auto same = [&](const QueryTerm& other) {
      return other.prefix == term.prefix && other.words == term.words;
    };
    if (std::none_of(parsed_.terms.begin(), parsed_.terms.end(), same)) {
      parsed_.terms.push_back(std::move(term));
    }
    return next;
  }

  // Quotes the query's first kQuotedBytes, cut where a character begins: enough to recognise it
  // by, while a query of megabytes does not make a message of megabytes.
  [[noreturn]] void fail(const std::string& why) const {
    std::string quoted(raw_);
    if (quoted.size() > kQuotedBytes) {
      std::size_t cut = kQuotedBytes;
      while (cut > 0 && (static_cast<unsigned char>(quoted[cut]) & 0xC0) == 0x80) --cut;
      quoted.resize(cut);
      quoted += "…";
    }
    throw StoreError(StoreError::Code::invalidQuery,
                     "the search query \"" + quoted + "\" is malformed: " + why);
  }

  static constexpr std::size_t kQuotedBytes = 80;

  std::string_view raw_;
  const WordSplitter& words_;
  SearchQuery parsed_;
  std::size_t wordCount_ = 0;
};

}  // namespace

SearchQuery parseQuery(std::string_view query, const WordSplitter& words) {
  return QueryParser(query, words).parse();
}

std::string matchExpression(const SearchQuery& query) {
  std::string match = "{author content} : (";
  // A phrase as an FTS5 string: its words, the last one replaced by `last`.
  const auto phrase = [&](const QueryTerm& term, const std::string& last) {
    match += '"';
    for (std::size_t i = 0; i < term.words.size(); ++i) {
      if (i > 0) match += ' ';
      for (const char c : i + 1 == term.words.size() ? last : term.words[i]) {
        if (c == '"') match += '"';  // FTS5 writes a quote inside a string as two
        match += c;
      }
    }
    match += '"';
  };
  for (const QueryTerm& term : query.terms) {
    if (&term != &query.terms.front()) match += " AND ";
    if (!term.completions.empty()) {
      match += '(';
      for (const std::string& completion : term.completions) {
        if (&completion != &term.completions.front()) match += " OR ";
        phrase(term, completion);
      }
      match += ')';
    } else {
      phrase(term, term.words.back());
      if (term.prefix) match += " *";
    }
  }
  match += ')';
  return match;
}

// ---- highlighting ----

namespace {

// Whether the term's words start at `at` in `words`; the last one by prefix when the term has
// a star.
bool termAt(const QueryTerm& term, const std::vector<WordSplitter::Word>& words, std::size_t at) {
  if (words.size() - at < term.words.size()) return false;
  for (std::size_t i = 0; i < term.words.size(); ++i) {
    const std::string& found = words[at + i].folded;
    const std::string& wanted = term.words[i];
    const bool last = i + 1 == term.words.size();
    if (last && term.prefix ? !found.starts_with(wanted) : found != wanted) return false;
  }
  return true;
}

// Whether the term's words are anywhere in `words`.
bool termIn(const QueryTerm& term, const std::vector<WordSplitter::Word>& words) {
  for (std::size_t at = 0; at < words.size(); ++at) {
    if (termAt(term, words, at)) return true;
  }
  return false;
}

}  // namespace

bool holdsEveryTerm(const SearchQuery& query, std::string_view author, std::string_view content,
                    const WordSplitter& words) {
  const auto authorWords = words.indexed(author);
  const auto contentWords = words.indexed(content);
  return std::all_of(query.terms.begin(), query.terms.end(), [&](const QueryTerm& term) {
    return termIn(term, authorWords) || termIn(term, contentWords);
  });
}

std::vector<SearchMatch> matchesIn(const ChatMessage& message, const SearchQuery& query,
                                   const WordSplitter& words) {
  std::string nameBuffer;
  const SearchableText text = searchableText(message, nameBuffer);
  std::vector<SearchMatch> matches;
  for (std::size_t field = 0; field < text.size(); ++field) {
    if (text[field].empty()) continue;
    const auto split = words.split(text[field]);
    std::vector<std::pair<std::size_t, std::size_t>> spans;  // begin, end
    for (const QueryTerm& term : query.terms) {
      for (std::size_t at = 0; at < split.size(); ++at) {
        if (termAt(term, split, at)) {
          spans.emplace_back(split[at].begin, split[at + term.words.size() - 1].end);
        }
      }
    }
    if (spans.empty()) continue;
    std::sort(spans.begin(), spans.end());
    SearchMatch match{static_cast<SearchField>(field), std::string(text[field]), {}};
    for (const auto& [begin, end] : spans) {
      auto* last = match.ranges.empty() ? nullptr : &match.ranges.back();
      if (last != nullptr && static_cast<std::int64_t>(begin) <= last->location + last->length) {
        last->length = std::max(last->length, static_cast<std::int64_t>(end) - last->location);
      } else {
        match.ranges.push_back(
            Range{static_cast<std::int64_t>(begin), static_cast<std::int64_t>(end - begin)});
      }
    }
    matches.push_back(std::move(match));
  }
  return matches;
}

}  // namespace tovanel::chat::store::detail
