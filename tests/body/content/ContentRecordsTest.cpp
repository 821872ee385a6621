// The content bodies and their media records read on their own: which keys are required, the
// types their values must have, what a tolerant body leaves out, what is written back and in which
// order, and what takes part in equality. The kinds through Body are in EveryKindTest.cpp.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using test::objectWith;
using test::RecordsReadBack;
using test::without;
using Location = LocationBody::Location;

// A location is made only by decoding, and its coordinates are reachable only through decoding,
// encoding, equality and hashing; a link preview's fields are not assigned one by one, nor
// decoded into a record that exists. A body of no pictures is spelt ImagesBody({}).
template <class T>
concept Exposed = requires(T& v) {
  v.longitude;
}
|| requires(T& v) { v.lat; }
|| requires(T& v) { v.text() = std::string(); }
|| requires(T& v) { v.text = ""; }
|| requires(T& v, const Decoder& decoder) { coding::Access::decodeFields(decoder, v); };
static_assert(!Exposed<Location> && !Exposed<URLBody> && !std::is_default_constructible_v<URLBody>);
static_assert(requires { ImagesBody({}); });
static_assert(!std::is_default_constructible_v<LocationBody> &&
              !std::is_default_constructible_v<Location> &&
              !std::is_constructible_v<Location, double, double> &&
              !std::is_constructible_v<LocationBody, std::string, std::string, std::string,
                                       std::string, Location, Image>);

template <class T>
constexpr auto read = &test::writtenBack<T>;

const test::Members kLocation{
    {"text", R"("Meet here")"},
    {"originalUrl", R"("o")"},
    {"name", R"("Square")"},
    {"description", R"("A square")"},
    {"location", R"({"long":13.4,"lat":52.5})"},
    {"image", "{}"},
};
const test::Members kLink{{"text", R"("look")"},
                          {"originalUrl", R"("o")"},
                          {"url", R"("u")"},
                          {"title", R"("Example")"},
                          {"description", R"("A page")"}};
const test::Members kTrack{{"favorites", "12"}, {"duration", "215.5"}, {"url", R"("u")"}};

std::vector<test::CodingRow> contentRows() {
  const auto location = read<LocationBody>, link = read<URLBody>, track = read<SoundCloudBody>;
  const auto twitch = read<TwitchBody>, hls = read<HLSBody>, youtube = read<YoutubeBody>;
  const auto text = read<TextBody>, image = read<Image>, video = read<Video>;
  return {
      // location: every key required, coordinates written longitude first
      {"location: text absent", location, objectWith(kLocation, {without("text")}),
       "keyNotFound at text"},
      {"location: description under its field name", location,
       objectWith(kLocation, {without("description"), {"locationDescription", R"("x")"}}),
       "keyNotFound at description"},
      {"location: the first missing key in key order", location,
       objectWith(kLocation, {without("name"), without("image")}), "keyNotFound at name"},
      {"location: null image", location, objectWith(kLocation, {{"image", "null"}}),
       "valueNotFound at image"},
      {"location: coordinates as an array", location,
       objectWith(kLocation, {{"location", "[13.4,52.5]"}}), "typeMismatch at location"},
      {"location: no coordinates, longitude read first", location,
       objectWith(kLocation, {{"location", "{}"}}), "keyNotFound at location.long"},
      {"location: null latitude", location,
       objectWith(kLocation, {{"location", R"({"long":1,"lat":null})"}}),
       "valueNotFound at location.lat"},
      {"location: coordinates in the other order", location,
       objectWith(kLocation, {{"location", R"({"lat":52.5,"long":13.4})"}}), objectWith(kLocation)},
      // link preview: texts required, pictures written only when present
      {"link: null title", link, objectWith(kLink, {{"title", "null"}}), "valueNotFound at title"},
      {"link: description under its field name", link,
       objectWith(kLink, {without("description"), {"urlDescription", R"("x")"}}),
       "keyNotFound at description"},
      {"link: a bad image before a bad favicon", link,
       objectWith(kLink, {{"favicon", "1"}, {"image", "1"}}), "typeMismatch at image"},
      {"link: null pictures are absent", link,
       objectWith(kLink, {{"image", "null"}, {"favicon", "null"}}), objectWith(kLink)},
      // SoundCloud: only the duration is required; counts keep all 64 bits
      {"track: duration absent", track, objectWith(kTrack, {without("duration")}),
       "keyNotFound at duration"},
      {"track: duration as duration text", track, objectWith(kTrack, {{"duration", R"("PT3M")"}}),
       "typeMismatch at duration"},
      {"track: a fractional count", track, objectWith(kTrack, {{"favorites", "2.5"}}),
       "dataCorrupted at favorites"},
      {"track: a count beyond 64 bits", track,
       objectWith(kTrack, {{"favorites", "9223372036854775808"}}), "dataCorrupted at favorites"},
      {"track: a bad count before a missing duration", track,
       objectWith(kTrack, {without("duration"), {"favorites", "true"}}),
       "typeMismatch at favorites"},
      {"track: written in key order without nulls", track,
       R"({"plays":-9223372036854775808,"title":null,"duration":1,"favorites":1e2})",
       R"({"favorites":100,"duration":1,"plays":-9223372036854775808})"},
      {"track: a count that is no double", track, R"({"duration":1,"plays":9007199254740993})",
       R"({"duration":1,"plays":9007199254740993})"},
      // Twitch: everything optional
      {"twitch: a channel number", twitch, R"({"channelId":141981764})",
       "typeMismatch at channelId"},
      {"twitch: views with an exponent", twitch, R"({"views":1.5e4,"image":null})",
       R"({"views":15000})"},
      // HLS (every key in key order is in EveryKindTest.cpp)
      {"hls: an empty restriction list is kept", hls,
       R"({"geoRestricted":{"allowed":[],"disallowed":null}})",
       R"({"geoRestricted":{"allowed":[]}})"},
      {"hls: duration as duration text", hls, R"({"duration":"PT1H30M"})",
       "typeMismatch at duration"},
      {"hls: a rating value that is a number", hls,
       R"({"meta":{"ratings":[{"source":"imdb","value":7.9}]}})",
       "typeMismatch at meta.ratings[0].value"},
      {"hls: a tag that is a number", hls, R"({"tags":["a",1]})", "typeMismatch at tags[1]"},
      {"hls: a rating without value", hls, R"({"meta":{"ratings":[{"source":"imdb"}]}})",
       "keyNotFound at meta.ratings[0].value"},
      {"hls: a null country", hls, R"({"geoRestricted":{"disallowed":[null]}})",
       "valueNotFound at geoRestricted.disallowed[0]"},
      {"hls: description read before type", hls, R"({"type":1,"description":2})",
       "typeMismatch at description"},
      {"hls: trailers read before stream links", hls, R"({"streamUrls":1,"trailers":1})",
       "typeMismatch at trailers"},
      // YouTube: tolerant, the duration a number or ISO 8601 text
      {"youtube: fields that fail are left out", youtube,
       R"({"title":5,"id":"x","url":null,"image":{"width":"wide"},"video":{"duration":"long"},)"
       R"("viewCount":1200,"favicon":{"url":"f"},"bodyDescription":"A","siteName":"Y"})",
       R"({"id":"x"})"},
      {"youtube: duration text in seconds", youtube, R"({"duration":"P1DT2H"})",
       R"({"duration":93600})"},
      {"youtube: duration text naming no unit", youtube, R"({"duration":"P"})",
       R"({"duration":0})"},
      {"youtube: duration text beyond the range", youtube,
       R"({"duration":"PT99999999999999999999S"})", R"({"duration":9.223372036854776e+18})"},
      {"youtube: duration digits as text", youtube, R"({"duration":"253"})", "{}"},
      {"youtube: duration of a wrong type", youtube, R"({"duration":[253]})", "{}"},
      // text: mentions optional, absent apart from empty
      {"text: null mention", text, R"({"text":"a","mentions":[{},null]})",
       "valueNotFound at mentions[1]"},
      {"text: null mentions are absent", text, R"({"text":"hi","mentions":null})",
       R"({"text":"hi"})"},
      {"text: empty mentions are kept", text, R"({"text":"","mentions":[]})",
       R"({"text":"","mentions":[]})"},
      // media records
      {"image: nulls are absent", image, R"({"width":null,"url":"u"})", R"({"url":"u"})"},
      {"image: fractional width", image, R"({"width":200.5})", "dataCorrupted at width"},
      {"image: an array", image, "[]", "typeMismatch"},
      {"image: null", image, "null", "valueNotFound"},
      {"video: every key in key order", video,
       R"({"duration":-1.25,"url":"u","height":1,"width":2})",
       R"({"width":2,"height":1,"url":"u","duration":-1.25})"},
      {"video: duration as duration text", video, R"({"duration":"PT1M30S"})",
       "typeMismatch at duration"},
  };
}

INSTANTIATE_TEST_SUITE_P(Content, RecordsReadBack, testing::ValuesIn(contentRows()),
                         test::kRowName);

template <class T>
T from(std::string_view json) {
  return JSONDecoder().decode<T>(json);
}

TEST(ContentRecords, EqualRecordsFeedTheSameHashInputAndOthersDiffer) {
  const auto link = [](std::vector<test::MemberEdit> edits) {
    return from<URLBody>(objectWith(kLink, std::move(edits)));
  };
  test::expectHashClasses<URLBody>({{link({{"image", "{}"}})},
                                    {link({{"favicon", "{}"}})},
                                    {link({}), link({{"favicon", "null"}})}});
  const auto at = [](std::string_view coordinates) {
    return from<LocationBody>(objectWith(kLocation, {{"location", coordinates}}));
  };
  test::expectHashClasses<LocationBody>(
      {{at(R"({"long":13.4,"lat":52.5})")},
       {at(R"({"long":52.5,"lat":13.4})")},
       {at(R"({"long":0,"lat":0})"), at(R"({"long":-0.0,"lat":-0.0})")}});
  // Counts that differ beyond the 53 bits of a double.
  test::expectHashClasses<SoundCloudBody>(
      {{from<SoundCloudBody>(R"({"duration":1,"plays":9007199254740992})")},
       {from<SoundCloudBody>(R"({"duration":1,"plays":9007199254740993})")}});
  test::expectHashClasses<TwitchBody>(
      {{from<TwitchBody>(R"({"game":"x"})")}, {from<TwitchBody>(R"({"name":"x"})")}});
  test::expectHashClasses<HLSBody>(
      {{from<HLSBody>(
           R"({"meta":{"ratings":[{"source":"a","value":"1"},{"source":"b","value":"2"}]}})")},
       {from<HLSBody>(
           R"({"meta":{"ratings":[{"source":"b","value":"2"},{"source":"a","value":"1"}]}})")}});
  test::expectHashClasses<YoutubeBody>(
      {{from<YoutubeBody>(R"({"duration":253})"), from<YoutubeBody>(R"({"duration":"PT4M13S"})")},
       {from<YoutubeBody>(R"({"duration":254})")}});
  // The Kelvin sign is K; absent and empty mentions differ, and so do an absent and an empty user.
  test::expectHashClasses<TextBody>(
      {{from<TextBody>("{\"text\":\"3 \\u212a\"}"), from<TextBody>(R"({"text":"3 K"})")},
       {from<TextBody>(R"({"text":"hi"})")},
       {from<TextBody>(R"({"text":"hi","mentions":[]})")},
       {from<TextBody>(R"({"text":"hi","mentions":[{"rangeStart":0}]})")},
       {from<TextBody>(R"({"text":"hi","mentions":[{"userId":"","rangeStart":0}]})")}});
}

// Decoding into a record that held a value keeps nothing of that value.
TEST(ContentRecords, DecodingIntoAUsedRecordGivesWhatAFreshOneGets) {
  auto used = from<YoutubeBody>(R"({"id":"x","duration":253,"title":"t","image":{}})");
  EXPECT_TRUE(JSONDecoder().decode(R"({"id":"y","duration":"soon"})", [&](const Decoder& root) {
    return static_cast<bool>(YoutubeBody::tryDecode(root, used));
  }));
  EXPECT_EQ(used, from<YoutubeBody>(R"({"id":"y"})"));
}

TEST(Video, ANotANumberDurationIsNotEqualToItself) {
  const Video notANumber(std::nullopt, std::nullopt, std::nullopt, std::nan(""));
  EXPECT_FALSE(notANumber == notANumber);
}

struct AspectRow {
  std::optional<std::int64_t> width, height;
  std::optional<double> ratio;
};

TEST(Image, AspectRatioIsHeightOverWidthWhenBothArePositive) {
  const AspectRow rows[] = {{200, 100, 0.5},
                            {INT64_MAX, 1, 1.0 / 9223372036854775807.0},
                            {0, 100, std::nullopt},
                            {100, -1, std::nullopt},
                            {std::nullopt, 100, std::nullopt}};
  for (const auto& [width, height, ratio] : rows) {
    EXPECT_EQ(Image(width, height, std::nullopt, std::nullopt).aspectRatio(), ratio)
        << width.value_or(-999) << " x " << height.value_or(-999);
  }
}

// A mention's span runs from its start to just before its end, when that length fits.
TEST(MentionRange, SpansFromStartToJustBeforeEndWhenThatLengthFits) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  using Bound = std::optional<std::int64_t>;
  const std::tuple<Bound, Bound, std::optional<Range>> rows[] = {
      {3, 8, Range{3, 5}},
      {8, 3, Range{8, -5}},
      {3, std::nullopt, std::nullopt},
      {std::nullopt, 8, std::nullopt},
      {kMin, -1, Range{kMin, kMax}},  // the lowest that fits
      {-1, kMax, std::nullopt},       // overflows by one
      {0, kMin, Range{0, kMin}},      // down to the minimum
      {kMin, 0, std::nullopt}};       // overflows when negated
  for (const auto& [start, end, range] : rows) {
    EXPECT_EQ(TextBody::Mention("u", start, end).range(), range)
        << start.value_or(-1) << " " << end.value_or(-1);
  }
}

}  // namespace
}  // namespace tovanel::chat
