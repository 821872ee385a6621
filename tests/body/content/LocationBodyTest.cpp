#include "tovanel/chat/body/content/LocationBody.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/CodingOutcome.hpp"

namespace tovanel::chat {
namespace {

using test::decodingOutcome;
using test::kDecodes;
using test::objectWith;
using test::reencode;
using test::without;
using Location = LocationBody::Location;

// A location body is made only by decoding, and its coordinates are reachable only through
// decoding, encoding, equality and hashing.
static_assert(!std::is_default_constructible_v<LocationBody>);
static_assert(!std::is_constructible_v<LocationBody, std::string, std::string, std::string,
                                       std::string, Location, Image>);
static_assert(!std::is_default_constructible_v<Location>);
static_assert(!std::is_constructible_v<Location, double, double>);
template <class T>
concept ExposesCoordinates = requires(const T& location) {
  location.longitude;
}
|| requires(const T& location) { location.lat; };
static_assert(!ExposesCoordinates<Location>);
static_assert(std::is_copy_assignable_v<LocationBody>);

const test::Members kComplete{
    {"text", R"("Meet here")"},
    {"originalUrl", R"("https://maps.example/p/1")"},
    {"name", R"("Alexanderplatz")"},
    {"description", R"("A square in Berlin")"},
    {"location", R"({"long":13.4,"lat":52.5})"},
    {"image", "{}"},
};

TEST(LocationBody, EmptyTextsDecodeAndEncodeBackUnchanged) {
  const std::string json = objectWith(
      kComplete,
      {{"text", R"("")"}, {"originalUrl", R"("")"}, {"name", R"("")"}, {"description", R"("")"}});
  EXPECT_EQ(reencode<LocationBody>(json), json);
}

TEST(LocationBody, EveryKeyIsRequiredAndTheFirstFailureInKeyOrderWins) {
  const std::vector<test::EditCase> rows{
      {"text absent", {without("text")}, "keyNotFound at text"},
      {"originalURL spelt like the field",
       {without("originalUrl"), {"originalURL", R"("x")"}},
       "keyNotFound at originalUrl"},
      {"locationDescription spelt like the field",
       {without("description"), {"locationDescription", R"("x")"}},
       "keyNotFound at description"},
      {"image absent", {without("image")}, "keyNotFound at image"},
      {"name and image absent", {without("name"), without("image")}, "keyNotFound at name"},
      {"text null", {{"text", "null"}}, "valueNotFound at text"},
      {"image null", {{"image", "null"}}, "valueNotFound at image"},
      {"image null before location fails",
       {{"image", "null"}, {"location", "[]"}},
       "typeMismatch at location"},
      {"text a number", {{"text", "1"}}, "typeMismatch at text"},
      {"location an array", {{"location", "[13.4,52.5]"}}, "typeMismatch at location"},
      {"image a string", {{"image", R"("pic.png")"}}, "typeMismatch at image"},
      {"location with only lat", {{"location", R"({"lat":52.5})"}}, "keyNotFound at location.long"},
      {"location empty: long is read first", {{"location", "{}"}}, "keyNotFound at location.long"},
      {"long a string holding a number",
       {{"location", R"({"long":"13.4","lat":52.5})"}},
       "typeMismatch at location.long"},
      {"lat null", {{"location", R"({"long":13.4,"lat":null})"}}, "valueNotFound at location.lat"},
      {"longitude spelt out",
       {{"location", R"({"longitude":13.4,"lat":52.5})"}},
       "keyNotFound at location.long"},
      {"image width not a whole number",
       {{"image", R"({"width":2.5})"}},
       "dataCorrupted at image.width"},
      {"image with any subset of its fields", {{"image", R"({"url":"u"})"}}, kDecodes},
      {"unlisted keys", {{"long", "1"}, {"lat", "2"}}, kDecodes},
  };
  for (const auto& row : rows) test::expectOutcome<LocationBody>(kComplete, row);
  EXPECT_EQ(decodingOutcome<LocationBody>("[]"), "typeMismatch");
}

TEST(LocationBodyLocation, CoordinatesAreWrittenLongitudeFirstAndUnchanged) {
  const std::vector<std::pair<std::string_view, std::string_view>> rows{
      {R"({"long":13.4,"lat":52.5})", R"({"long":13.4,"lat":52.5})"},
      {R"({"lat":52.5,"long":13.4})", R"({"long":13.4,"lat":52.5})"},
      {R"({"long":-0.0,"lat":1e2})", R"({"long":-0,"lat":100})"},
      {R"({"long":1,"lat":2,"alt":3})", R"({"long":1,"lat":2})"},
      {R"({"long":1,"long":5,"lat":2})", R"({"long":5,"lat":2})"},
  };
  for (const auto& [input, written] : rows) {
    EXPECT_EQ(reencode<Location>(input), written) << input;
  }
}

TEST(LocationBody, EqualityAndHashAgree) {
  const std::string base = objectWith(kComplete);
  const std::string otherName = objectWith(kComplete, {{"name", R"("Potsdamer Platz")"}});
  const std::string decomposed = objectWith(kComplete, {{"name", "\"Caf\\u0065\\u0301\""}});
  const std::string precomposed = objectWith(kComplete, {{"name", "\"Caf\\u00e9\""}});
  const std::string zeros = objectWith(kComplete, {{"location", R"({"long":0,"lat":0})"}});
  const std::string minusZeros =
      objectWith(kComplete, {{"location", R"({"long":-0.0,"lat":-0.0})"}});
  const std::string swapped = objectWith(kComplete, {{"location", R"({"long":52.5,"lat":13.4})"}});
  const std::string sizedImage = objectWith(kComplete, {{"image", R"({"width":1})"}});
  const std::vector<test::EqualityCase> rows{
      {"the same body", base, base, true},
      {"different names", base, otherName, false},
      {"canonically equivalent names", decomposed, precomposed, true},
      {"coordinates differing only in the sign of zero", zeros, minusZeros, true},
      {"longitude and latitude swapped", base, swapped, false},
      {"an empty image and one with a width", base, sizedImage, false},
  };
  for (const auto& row : rows) test::expectEquality<LocationBody>(row);
}

}  // namespace
}  // namespace tovanel::chat
