// The content bodies and their media records read on their own, beyond what their field tables
// say (FieldTablesTest.cpp): which of two absent keys fails, paths into lists, YouTube's durations,
// what equality makes equal, and what is private. The kinds through Body are in EveryKindTest.cpp.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

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

// A location at `coordinates`.
std::string locationAt(std::string_view coordinates) {
  return R"({"text":"t","originalUrl":"o","name":"n","description":"d","location":)" +
         std::string(coordinates) + R"(,"image":{}})";
}

std::vector<test::CodingRow> contentRows() {
  const auto youtube = read<YoutubeBody>;
  // (what each field's presence gives is in FieldTablesTest.cpp, and integers are read as the
  // decoder reads them, JSONDecoderTest.cpp)
  return {
      {"location: no coordinates, longitude read first", read<LocationBody>, locationAt("{}"),
       "keyNotFound at location.long"},
      // YouTube: the duration a number or ISO 8601 text
      {"youtube: a part that fails is left out", youtube,
       R"({"id":"x","image":{"width":"wide"},"video":{"duration":"long"}})", R"({"id":"x"})"},
      {"youtube: duration text in seconds", youtube, R"({"duration":"P1DT2H"})",
       R"({"duration":93600})"},
      {"youtube: duration text naming no unit", youtube, R"({"duration":"P"})",
       R"({"duration":0})"},
      {"youtube: duration text beyond the range", youtube,
       R"({"duration":"PT99999999999999999999S"})", R"({"duration":9.223372036854776e+18})"},
      {"youtube: duration digits as text", youtube, R"({"duration":"253"})", "{}"},
      {"youtube: duration of a wrong type", youtube, R"({"duration":[253]})", "{}"},
      {"text: null mention", read<TextBody>, R"({"text":"a","mentions":[{},null]})",
       "valueNotFound at mentions[1]"},
  };
}

TEST(ContentRecords, ReadBackAsEachRowSays) {
  for (const auto& row : contentRows()) {
    EXPECT_EQ(row.writtenBack(row.json), row.expected) << row.name;
  }
}

template <class T>
T from(std::string_view json) {
  return JSONDecoder().decode<T>(json);
}

TEST(ContentRecords, EqualRecordsFeedTheSameHashInputAndOthersDiffer) {
  const auto at = [](std::string_view coordinates) {
    return from<LocationBody>(locationAt(coordinates));
  };
  test::expectHashClasses<LocationBody>(
      {{at(R"({"long":13.4,"lat":52.5})")},
       {at(R"({"long":52.5,"lat":13.4})")},
       {at(R"({"long":0,"lat":0})"), at(R"({"long":-0.0,"lat":-0.0})")}});
  // Counts that differ beyond the 53 bits of a double.
  test::expectHashClasses<SoundCloudBody>(
      {{from<SoundCloudBody>(R"({"duration":1,"plays":9007199254740992})")},
       {from<SoundCloudBody>(R"({"duration":1,"plays":9007199254740993})")}});
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

struct AspectRow {
  std::optional<std::int64_t> width, height;
  std::optional<double> ratio;
};

// An image's aspect ratio is height over width when both are positive; a video whose duration is
// not a number is not equal to itself.
TEST(Image, AspectRatioIsHeightOverWidthWhenBothArePositive) {
  const Video notANumber(std::nullopt, std::nullopt, std::nullopt, std::nan(""));
  EXPECT_FALSE(notANumber == notANumber);
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
