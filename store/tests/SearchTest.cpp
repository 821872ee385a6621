// Full-text search: which messages a query finds in a small fixed room, newest first, and where
// in them, also in a store of the previous schema that opening upgraded, and the queries that are
// refused; then the pages of wide prefixes. How writes keep the index current, and the order of
// pages, is in the random changes.

#include <tuple>

#include "StoreTesting.hpp"
#include "support/RecordTables.hpp"

namespace tovanel::chat::store::test {
namespace {

const ChatMessageUser kBo("u-bo", "bo", "Bo", "Ek", std::nullopt, std::nullopt, 3, 4);
const ChatMessageUser kZoe("u-zoe", "zoe", "Zoë", "Quist", std::nullopt, std::nullopt, 5, 6);

ChatMessage message(const std::string& id, double minute, BodyType kind, std::string_view json,
                    const ChatMessageUser& author = kBo, const std::string& room = "r1") {
  return ChatMessage(chat::test::decodeBody(kind, json), Date::since1970(1.8e9 + minute * 60),
                     std::nullopt, id, room, kind, std::nullopt, author, std::nullopt,
                     MessageSentStatus::sent);
}

ChatMessage text(const std::string& id, double minute, std::string_view words,
                 const ChatMessageUser& author = kBo, const std::string& room = "r1") {
  return message(id, minute, BodyType::text, R"({"text":")" + std::string(words) + R"("})", author,
                 room);
}

// Every kind of body that search reads, events it leaves out, and text in forms that are
// canonically equivalent to what queries type.
Messages fixedRoom() {
  return {
      text("m01", 1, "Café au lait in Lisbon", kAnna),
      text("m02", 2, "Cafe\u0301 noir, don't wait"),
      text("m03", 3, "Καλημε\u0301ρα from Athens"),
      text("m04", 4, "\u1112\u1161\u11ab\u1100\u1173\u11af glass"),
      message("m05", 5, BodyType::url,
              R"({"text":"look at this","originalUrl":"https://p.example","url":"https://p.example",
                  "title":"Porto guide","description":"Where to eat francesinha"})"),
      message("m06", 6, BodyType::youtube,
              R"({"title":"Fado night","channelTitle":"Coimbra Sessions"})"),
      message("m07", 7, BodyType::soundcloud,
              R"({"title":"Morning tide","duration":1,"username":"wavemaker"})"),
      message("m08", 8, BodyType::twitch, R"({"game":"Just Chatting","name":"quietstreamer"})"),
      message("m09", 9, BodyType::hls,
              R"({"title":"Ocean documentary","provider":"CinemaStream"})"),
      message("m10", 10, BodyType::location,
              R"({"text":"meet here","originalUrl":"https://m.example","name":"Praça do Comércio",
                  "description":"Terreiro do Paço, Lisboa","location":{"long":-9.1,"lat":38.7},
                  "image":{}})"),
      message("m11", 11, BodyType::info,
              R"({"type":"room_title","title":"Weekend plans","previously":{"title":"Old name"}})"),
      message("m12", 12, BodyType::info, R"({"type":"room_topic","topic":"Trips and trains"})"),
      message("m13", 13, BodyType::info, R"({"type":"room_created","title":"Lisbon crew"})"),
      message("m14", 14, BodyType::info,
              R"({"type":"joined","recipients":[{"id":"u-x","username":"lisbonfan",
                  "firstName":"Lis","lastName":"Bon","followerCount":0,"followingCount":0}]})",
              kAnna),
      message("m15", 15, BodyType::info,
              R"({"type":"user_present","mediaType":"text",
                  "media":{"id":"p1","type":"text","body":{"text":"zanzibar"}}})"),
      message("m16", 16, BodyType::images, R"({"images":[]})", kZoe),
      text("m17", 17, "the train was late"),
      text("m18", 18, "late was the train"),
      text("m19", 19, "Lisbon again", kAnna, "r2"),
      text("m20", 20, "日本語のテキスト"),
  };
}

// "field:offset+length,..." for each field, space-separated.
std::string rendered(const std::vector<SearchMatch>& matches) {
  static const char* const kFields[] = {"text",    "title", "description", "channel",   "place",
                                        "address", "topic", "username",    "authorName"};
  std::vector<std::string> fields;
  for (const SearchMatch& match : matches) {
    std::vector<std::string> ranges;
    for (const Range& range : match.ranges)
      ranges.push_back(std::to_string(range.location) + '+' + std::to_string(range.length));
    fields.push_back(kFields[static_cast<std::size_t>(match.field)] + (':' + joined(ranges, ",")));
  }
  return joined(fields);
}

const std::string kLongWord = std::string(100000, 'a') + '*';

struct QueryCase {
  const char* name;
  std::string query;
  const char* hits;  // newest first
  const char* firstMatches = nullptr;
  std::string refused = "done";  // how the search ends
};

/// A query refused for `why`, quoted in the error as `quoted` when not whole.
QueryCase refused(const char* name, const std::string& query, const char* why,
                  std::optional<std::string> quoted = std::nullopt) {
  QueryCase row{name, query, ""};
  row.refused =
      "invalidQuery: the search query \"" + quoted.value_or(query) + "\" is malformed: " + why;
  return row;
}

std::string manyWords(int count) {
  std::string query;
  for (int i = 0; i < count; ++i) query += "lisbon ";
  return query;
}

class SearchTest : public StoreTest,
                   public ::testing::WithParamInterface<std::tuple<bool, QueryCase>> {};

TEST_P(SearchTest, findsTheMessagesThatHoldTheQueryNewestFirst) {
  const auto& [upgraded, row] = GetParam();
  auto repository = open();
  waitFor(repository->receive(fixedRoom()));
  if (upgraded) {
    // A store of the previous schema: this one with the search index taken out again.
    repository.reset();
    sql(file(),
        "DROP TRIGGER message_search_forget; DROP TABLE message_search; DROP TABLE search_terms;"
        "DROP INDEX messages_by_search_key; ALTER TABLE messages DROP COLUMN search_key;"
        "PRAGMA user_version = 2;");
    repository = open();
  }
  SearchResults results;
  EXPECT_EQ(outcome([&] { results = waitFor(repository->search(row.query, {})); }), row.refused);
  Messages found;
  for (const SearchHit& hit : results.hits) found.push_back(hit.message);
  EXPECT_EQ(idsIn(found), row.hits);
  EXPECT_FALSE(results.next);
  if (row.firstMatches && !found.empty()) {
    EXPECT_EQ(rendered(results.hits.front().matches), row.firstMatches);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Queries, SearchTest,
    ::testing::Combine(
        ::testing::Bool(),
        ::testing::ValuesIn(std::vector<QueryCase>{
            {"caseAndDiacriticsAndCanonicalForms", "cafe", "m02 m01", "text:0+6"},
            {"upperCaseWithAnAccent", "CAFÉ", "m02 m01"},
            {"aCombiningAccentInTheQuery", "cafe\u0301", "m02 m01"},
            {"precomposedGreekFindsDecomposed", "καλημέρα", "m03", "text:0+18"},
            {"greekWithoutItsAccent", "καλημερα", "m03"},
            {"hangulSyllablesFindTheirLetters", "한글", "m04", "text:0+18"},
            {"aPrefix", "lisb*", "m19 m13 m10 m01", "text:0+6"},
            {"aWholeWordIsNotAPrefix", "lisbon", "m19 m13 m01"},
            {"aPrefixOfNoWord", "lisbz*", ""},
            {"aPhraseInItsOrder", "\"train was\"", "m17", "text:4+9"},
            {"wordsInAnyOrder", "train was", "m18 m17", "text:5+3,13+5"},
            {"aPhraseEndingInAPrefix", "\"porto gu\"*", "m05", "title:0+11"},
            {"aPhraseDoesNotRunIntoTheNextField", "\"guide where\"", ""},
            {"link", "look porto francesinha", "m05", "text:0+4 title:0+5 description:13+11"},
            {"video", "fado coimbra", "m06", "title:0+4 channel:0+7"},
            {"track", "tide wavemaker", "m07", "title:8+4 channel:0+9"},
            {"twitch", "chatting quietstreamer", "m08", "title:5+8 channel:0+13"},
            {"stream", "ocean cinemastream", "m09", "title:0+5 channel:0+12"},
            {"place", "comercio terreiro", "m10", "place:10+9 address:0+8"},
            {"roomTitle", "weekend", "m11", "title:0+7"},
            {"notAPreviousRoomTitle", "old", ""},
            {"roomTopic", "trips", "m12", "topic:0+5"},
            {"roomCreatedWithATitle", "crew", "m13", "title:7+4"},
            {"notTheUsersOfAnEvent", "lisbonfan", ""},
            {"notTheMediaOfAPresenceEvent", "zanzibar", ""},
            {"authorNotOfEvents", "anna", "m19 m01", "username:0+4 authorName:0+4"},
            {"authorNameWithoutItsDiacritic", "zoe", "m16"},
            {"authorNamesAsAPhrase", "\"anna berg\"", "m19 m01", "authorName:0+9"},
            {"wordsInDifferentFields", "anna lisbon", "m19 m01",
             "text:0+6 username:0+4 authorName:0+4"},
            {"punctuationSplitsAWordIntoAPhrase", "don't", "m02", "text:13+5"},
            {"aRunOfJapaneseByItsBeginning", "日本*", "m20"},
            {"aRunOfJapaneseIsOneWord", "日本語", ""},
            {"orIsAWord", "lisbon OR porto", ""},
            {"nearIsAWord", "NEAR(lisbon crew)", ""},
            {"aColumnFilterIsText", "{room author}: lisbon", ""},
            {"aMinusIsPunctuation", "-lisbon", "m19 m13 m01"},
            {"aCharacterOfTheLastPlaneIsAWord", "lisbon \xF4\x8F\xBF\xBD", ""},
            {"phrasesSideBySide", "\"lisbon\"\"crew\"", "m13"},
            {"aQuoteClosedInsideIsNoOperator", "crew\" OR \"porto", ""},
            {"operatorsOfTheIndexAreText", "^crew + lisbon", "m13"},
            {"aControlCharacterSplitsAWordIntoAPhrase",
             "lisbon\x01"
             "crew",
             "m13"},
            {"aWordLongerThanAnyIndexed", kLongWord, ""},
            refused("empty", "", "it has no word to search for"),
            refused("blanksPunctuationAndEmoji", " \t\n?! \"...\" 🎉 😀",
                    "it has no word to search for"),
            refused("anUnclosedQuote", "\"lisbon crew", "a quote is not closed"),
            refused("aLeadingStar", "*bon", "a star must end a word or a quoted phrase"),
            refused("aStarInsideAWord", "lis*bon", "a star must end a word or a quoted phrase"),
            refused("notUtf8", "lisb\xff", "it is not UTF-8 text"),
            refused("anEncodedSurrogate", "lisb\xed\xa0\x80", "it is not UTF-8 text"),
            refused("tooManyWords", manyWords(65), "it has more than 64 words",
                    manyWords(11) + "lis…"),
            refused("aLongQueryQuotedUpToACharacter", std::string(79, 'a') + "é\"",
                    "a quote is not closed", std::string(79, 'a') + "…")})),
    [](const auto& info) {
      return std::string(std::get<0>(info.param) ? "upgraded_" : "") + std::get<1>(info.param).name;
    });

// A prefix that begins more words than a query reads as words, alone or with another word:
// pages still walk every hit once, newest first, whether the entries read whole hold them all or
// entries among them that do not match are more than are read whole.
TEST_F(StoreTest, pagesOfAWidePrefixWalkEveryHitOnceNewestFirst) {
  Messages messages;
  for (int i = 0; i < 300; ++i) {
    messages.push_back(textMessage("m" + std::to_string(i), "r1", 1000 + i * 37 % 101,
                                   "user" + std::to_string(i) + " u"));
  }
  auto repository = open();
  waitFor(repository->receive(messages));
  waitFor(repository->receive(textMessage("elsewhere", "r2", 1600, "user1 u")));
  std::sort(messages.begin(), messages.end(), [](const ChatMessage& a, const ChatMessage& b) {
    return std::tuple(*a.createdAt, a.messageID) > std::tuple(*b.createdAt, b.messageID);
  });
  for (const int fillers : {0, 2100}) {
    Messages newer;
    for (int i = 0; i < fillers; ++i) {
      newer.push_back(textMessage("f" + std::to_string(i), "r1", 1050 + i * 0.01, "u us"));
    }
    waitFor(repository->receive(newer));
    for (const char* query : {"user*", "user* u"}) {
      for (const std::uint64_t limit : {7, 1000}) {
        SearchOptions options;
        options.limit = limit;
        options.roomID = "r1";
        EXPECT_EQ(idsIn(searchAll(*repository, query, options)), idsIn(messages))
            << query << " in pages of " << limit << " beside " << fillers;
      }
    }
  }
}

// A millisecond holds 2^20 entries: once its last is taken, a message takes one left free, not
// one of the next millisecond (where e is).
TEST_F(StoreTest, aMillisecondWhoseLastEntryIsTakenStillTakesMessages) {
  auto repository = open();
  waitFor(
      repository->receive({textMessage("a", "r1", 100, "tea"), textMessage("b", "r1", 100, "tea"),
                           textMessage("e", "r1", 100.001, "tea")}));
  repository.reset();
  // b's entry moves to the millisecond's last place, as if every place between were taken.
  sql(file(),
      "UPDATE message_search SET rowid = rowid | 1048575 WHERE rowid = "
      "(SELECT search_key FROM messages WHERE message_id = 'b');"
      "UPDATE messages SET search_key = search_key | 1048575 WHERE message_id = 'b'");
  repository = open();
  waitFor(repository->receive(
      {textMessage("c", "r1", 100, "tea"), textMessage("d", "r1", 100, "tea")}));
  EXPECT_EQ(idsIn(searchAll(*repository, "tea", {})), "e d c b a");
}

}  // namespace
}  // namespace tovanel::chat::store::test
