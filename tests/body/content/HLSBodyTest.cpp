#include "tovanel/chat/body/content/HLSBody.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/CodingOutcome.hpp"

namespace tovanel::chat {
namespace {

using test::decodeJson;
using test::decodingOutcome;
using test::encodeJson;
using test::kDecodes;
using test::reencode;
using Strings = std::vector<std::string>;

// Every field present, each with a value of its own.
HLSBody completeBody() {
  return HLSBody(
      "movie", "provider", "https://o.example", "https://u.example",
      Image(1, std::nullopt, std::nullopt, std::nullopt), "Title",
      std::vector{HLSBody::StreamURL("hls", "https://s.example")}, "About", 5400.0,
      Strings{"drama"}, HLSBody::GeoRestriction(Strings{"DE"}, std::nullopt),
      HLSBody::Meta("tt1", "7.9", std::vector{HLSBody::Rating("imdb", "7.9/10")}, "PG", "1999"),
      std::vector{Video(std::nullopt, std::nullopt, "https://t.example", 90.0)});
}

// The JSON of completeBody(), keys in the order they are read and written.
constexpr std::string_view kCompleteJson =
    R"({"description":"About","type":"movie","provider":"provider",)"
    R"("originalUrl":"https://o.example","url":"https://u.example","image":{"width":1},)"
    R"("title":"Title","duration":5400,"tags":["drama"],)"
    R"("meta":{"imdbId":"tt1","imdbRating":"7.9","ratings":[{"source":"imdb","value":"7.9/10"}],)"
    R"("audience":"PG","year":"1999"},"trailers":[{"url":"https://t.example","duration":90}],)"
    R"("streamUrls":[{"type":"hls","url":"https://s.example"}],"geoRestricted":{"allowed":["DE"]}})";

// The same members in field order, for decoding.
const test::Members kFieldOrder{
    {"type", R"("movie")"},
    {"provider", R"("provider")"},
    {"originalUrl", R"("https://o.example")"},
    {"url", R"("https://u.example")"},
    {"image", R"({"width":1})"},
    {"title", R"("Title")"},
    {"streamUrls", R"([{"type":"hls","url":"https://s.example"}])"},
    {"description", R"("About")"},
    {"duration", "5400"},
    {"tags", R"(["drama"])"},
    {"geoRestricted", R"({"allowed":["DE"]})"},
    {"meta", R"({"imdbId":"tt1","imdbRating":"7.9","ratings":[{"source":"imdb","value":"7.9/10"}],)"
             R"("audience":"PG","year":"1999"})"},
    {"trailers", R"([{"url":"https://t.example","duration":90}])"},
};

TEST(HLSBody, KeysAreWrittenInKeyOrderNotFieldOrder) {
  EXPECT_EQ(encodeJson(completeBody()), kCompleteJson);
}

TEST(HLSBody, DecodingAnObjectInFieldOrderGivesTheSameBody) {
  EXPECT_EQ(decodeJson<HLSBody>(test::objectWith(kFieldOrder)), completeBody());
}

TEST(HLSBody, PresenceIsKeptAndFieldNamesAreNotKeys) {
  const std::vector<std::pair<std::string_view, std::string_view>> rows{
      {"{}", "{}"},
      {R"({"description":"d"})", R"({"description":"d"})"},
      {R"({"bodyDescription":"d"})", "{}"},
      {R"({"geoRestricted":{}})", R"({"geoRestricted":{}})"},
      {R"({"geoRestriction":{"allowed":["DE"]}})", "{}"},
      {R"({"geoRestricted":{"allowed":[],"disallowed":null}})",
       R"({"geoRestricted":{"allowed":[]}})"},
      {R"({"tags":[]})", R"({"tags":[]})"},
      {R"({"tags":null,"meta":null,"trailers":null})", "{}"},
      {R"({"streamUrls":[],"description":""})", R"({"description":"","streamUrls":[]})"},
      {R"({"meta":{}})", R"({"meta":{}})"},
      {R"({"meta":{"ratings":[]}})", R"({"meta":{"ratings":[]}})"},
      {R"({"duration":-0.0})", R"({"duration":-0})"},
      {R"({"streamURLs":[],"originalURL":"o","Description":"d"})", "{}"},
  };
  for (const auto& [input, written] : rows) {
    EXPECT_EQ(reencode<HLSBody>(input), written) << input;
  }
}

TEST(HLSBody, DecodesStrictlyAndTheFirstFailureInKeyOrderWins) {
  const std::vector<test::EditCase> rows{
      {"duration as duration text", {{"duration", R"("PT1H30M")"}}, "typeMismatch at duration"},
      {"tags one string", {{"tags", R"("drama")"}}, "typeMismatch at tags"},
      {"tags holding a number", {{"tags", R"(["a",1])"}}, "typeMismatch at tags[1]"},
      {"a rating without value",
       {{"meta", R"({"ratings":[{"source":"imdb"}]})"}},
       "keyNotFound at meta.ratings[0].value"},
      {"a rating with a null source",
       {{"meta", R"({"ratings":[{"source":null,"value":"7"}]})"}},
       "valueNotFound at meta.ratings[0].source"},
      {"a rating value as a number",
       {{"meta", R"({"ratings":[{"source":"imdb","value":7.9}]})"}},
       "typeMismatch at meta.ratings[0].value"},
      {"the year as a number", {{"meta", R"({"year":1999})"}}, "typeMismatch at meta.year"},
      {"meta not an object", {{"meta", R"("x")"}}, "typeMismatch at meta"},
      {"a trailer with a fractional width",
       {{"trailers", R"([{"width":2.5}])"}},
       "dataCorrupted at trailers[0].width"},
      {"a trailer with duration text",
       {{"trailers", R"([{},{"duration":"PT1M"}])"}},
       "typeMismatch at trailers[1].duration"},
      {"streamUrls an object", {{"streamUrls", "{}"}}, "typeMismatch at streamUrls"},
      {"a stream link with a numeric url",
       {{"streamUrls", R"([{"url":1}])"}},
       "typeMismatch at streamUrls[0].url"},
      {"geoRestricted an array", {{"geoRestricted", "[]"}}, "typeMismatch at geoRestricted"},
      {"allowed one string",
       {{"geoRestricted", R"({"allowed":"DE"})"}},
       "typeMismatch at geoRestricted.allowed"},
      {"disallowed holding null",
       {{"geoRestricted", R"({"disallowed":[null]})"}},
       "valueNotFound at geoRestricted.disallowed[0]"},
      {"description is read before type",
       {{"type", "1"}, {"description", "2"}},
       "typeMismatch at description"},
      {"duration is read before tags",
       {{"tags", "1"}, {"duration", "[]"}},
       "typeMismatch at duration"},
      {"trailers are read before stream links",
       {{"streamUrls", "1"}, {"trailers", "1"}},
       "typeMismatch at trailers"},
      {"stream links are read before the restriction",
       {{"geoRestricted", "1"}, {"streamUrls", "1"}},
       "typeMismatch at streamUrls"},
      {"meta is read before trailers", {{"trailers", "1"}, {"meta", "1"}}, "typeMismatch at meta"},
      {"the field names of renamed keys are ignored",
       {{"bodyDescription", "1"}, {"geoRestriction", "1"}},
       kDecodes},
  };
  for (const auto& row : rows) test::expectOutcome<HLSBody>(kFieldOrder, row);
  EXPECT_EQ(decodingOutcome<HLSBody>("[]"), "typeMismatch");
}

TEST(HLSBody, EqualityAndHashAgree) {
  const std::vector<test::EqualityCase> rows{
      {"tags in another order", R"({"tags":["a","b"]})", R"({"tags":["b","a"]})", false},
      {"an empty tag list and none", R"({"tags":[]})", "{}", false},
      {"an empty restriction and none", R"({"geoRestricted":{}})", "{}", false},
      {"an empty allowed list and none", R"({"geoRestricted":{"allowed":[]}})",
       R"({"geoRestricted":{}})", false},
      {"one empty stream link and none", R"({"streamUrls":[{}]})", R"({"streamUrls":[]})", false},
      {"ratings in another order",
       R"({"meta":{"ratings":[{"source":"a","value":"1"},{"source":"b","value":"2"}]}})",
       R"({"meta":{"ratings":[{"source":"b","value":"2"},{"source":"a","value":"1"}]}})", false},
      {"durations of plus and minus zero", R"({"duration":0})", R"({"duration":-0.0})", true},
      {"trailer durations of plus and minus zero", R"({"trailers":[{"duration":0}]})",
       R"({"trailers":[{"duration":-0.0}]})", true},
      {"canonically equivalent descriptions", "{\"description\":\"\\u00f1\"}",
       "{\"description\":\"n\\u0303\"}", true},
      {"the same text as description and as title", R"({"description":"x"})", R"({"title":"x"})",
       false},
  };
  for (const auto& row : rows) test::expectEquality<HLSBody>(row);
}

// Records the calls as one line of tokens: b<byte>, w<word>, 'text'.
struct TokenHasher {
  void combine(std::uint8_t byte) { add("b" + std::to_string(byte)); }
  void combine(std::uint32_t word) { add("w32:" + std::to_string(word)); }
  void combine(std::uint64_t word) { add("w" + std::to_string(word)); }
  void combineString(std::string_view text) { add("'" + std::string(text) + "'"); }
  void add(const std::string& token) { line += (line.empty() ? "" : " ") + token; }
  std::string line;
};

std::string bitsOf(double number) {
  return "w" + std::to_string(std::bit_cast<std::uint64_t>(number));
}

TEST(HLSBody, HashInputFollowsTheFieldOrder) {
  TokenHasher hasher;
  completeBody().hashInto(hasher);
  const std::vector<std::string> fields{
      "b1 'movie'",                                                    // type
      "b1 'provider'",                                                 // provider
      "b1 'https://o.example'",                                        // originalUrl
      "b1 'https://u.example'",                                        // url
      "b1 b1 w1 b0 b0 b0",                                             // image
      "b1 'Title'",                                                    // title
      "b1 w1 b1 'hls' b1 'https://s.example'",                         // streamUrls
      "b1 'About'",                                                    // bodyDescription
      "b1 " + bitsOf(5400.0),                                          // duration
      "b1 w1 'drama'",                                                 // tags
      "b1 b1 w1 'DE' b0",                                              // geoRestriction
      "b1 b1 'tt1' b1 '7.9' b1 w1 'imdb' '7.9/10' b1 'PG' b1 '1999'",  // meta
      "b1 w1 b0 b0 b1 'https://t.example' b1 " + bitsOf(90.0),         // trailers
  };
  std::string expected;
  for (const auto& field : fields) expected += (expected.empty() ? "" : " ") + field;
  EXPECT_EQ(hasher.line, expected);
}

}  // namespace
}  // namespace tovanel::chat
