// The location, link preview, SoundCloud, Twitch and HLS kinds as whole bodies: decoded by kind,
// written at the body's own place, compared and hashed through Body, and handled by the tool.

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "support/CodingOutcome.hpp"
#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/content/HLSBody.hpp"
#include "tovanel/chat/body/content/LocationBody.hpp"
#include "tovanel/chat/body/content/SoundCloudBody.hpp"
#include "tovanel/chat/body/content/TwitchBody.hpp"
#include "tovanel/chat/body/content/URLBody.hpp"

namespace tovanel::chat {
namespace {

using test::decodeBody;
using test::encodeJson;

struct KindCase {
  BodyType kind;
  std::string_view json;  // as the body's encoding writes it
};

// One body of each kind, every field present.
constexpr std::array<KindCase, 5> kBodies{{
    {BodyType::location, R"({"text":"here","originalUrl":"https://maps.example/1","name":"Square",)"
                         R"("description":"A square","location":{"long":-0.1,"lat":51.5},)"
                         R"("image":{"width":2,"height":1,"url":"i","optimizedUrl":"o"}})"},
    {BodyType::url,
     R"({"text":"see","originalUrl":"http://ex.am/ple","url":"https://example.com/ple",)"
     R"("title":"Example","description":"Page","image":{"width":640},"favicon":{}})"},
    {BodyType::soundcloud,
     R"({"favorites":5000000000,"title":"Track","image":{"url":"c"},"duration":215.5,)"
     R"("streamUrl":"s","username":"dj","plays":9007199254740993,"type":"track","url":"u",)"
     R"("originalUrl":"o"})"},
    {BodyType::twitch,
     R"({"gameId":"509658","game":"Chess","channelId":"1","image":{},"type":"live",)"
     R"("views":4294967296,"name":"chan"})"},
    {BodyType::hls,
     R"({"description":"About","type":"movie","provider":"p","originalUrl":"o","url":"u",)"
     R"("image":{"height":9},"title":"T","duration":5400,"tags":["a","b"],)"
     R"("meta":{"imdbId":"tt1","imdbRating":"7.9","ratings":[{"source":"s","value":"v"}],)"
     R"("audience":"PG","year":"1999"},"trailers":[{"duration":90}],)"
     R"("streamUrls":[{"type":"hls","url":"h"}],"geoRestricted":{"allowed":["DE"],"disallowed":[]}})"},
}};

TEST(EmbedAndPlaceBodies, DecodeAsTheKindTheyWereDecodedWith) {
  for (const auto& row : kBodies) {
    EXPECT_EQ(decodeBody(row.kind, row.json).bodyType(), row.kind) << rawValue(row.kind);
  }
}

TEST(EmbedAndPlaceBodies, WriteTheirPayloadAtTheBodysOwnPlace) {
  for (const auto& row : kBodies) {
    EXPECT_EQ(encodeJson(decodeBody(row.kind, row.json)), row.json) << rawValue(row.kind);
  }
}

TEST(EmbedAndPlaceBodies, DecodingWhatEncodingWroteGivesAnEqualBodyWithTheSameHash) {
  for (const auto& row : kBodies) {
    SCOPED_TRACE(rawValue(row.kind));
    const Body body = decodeBody(row.kind, row.json);
    const Body again = decodeBody(row.kind, encodeJson(body));
    EXPECT_EQ(again, body);
    EXPECT_EQ(again.hashValue(), body.hashValue());
  }
}

TEST(EmbedAndPlaceBodies, BodiesOfDifferentKindsAreNeverEqual) {
  // The empty object is a valid Twitch body and a valid HLS body.
  EXPECT_NE(decodeBody(BodyType::twitch, "{}"), decodeBody(BodyType::hls, "{}"));
}

TEST(EmbedAndPlaceBodies, ABodyBuiltFromAPayloadEqualsTheDecodedOne) {
  const Body built(TwitchBody(std::nullopt, "Chess", std::nullopt, std::nullopt, std::nullopt,
                              4294967296, std::nullopt));
  EXPECT_EQ(built, decodeBody(BodyType::twitch, R"({"views":4294967296,"game":"Chess"})"));
}

// The tool decodes each kind from a file and prints the body re-encoded.
TEST(EmbedAndPlaceBodies, TheToolReencodesEveryKind) {
  for (const auto& row : kBodies) {
    const std::string kind(rawValue(row.kind));
    const std::string path = ::testing::TempDir() + "embed-and-place-" + kind + ".json";
    std::ofstream(path) << row.json;
    const std::string command =
        std::string(TOVANEL_CHAT_TOOL) + " body --type " + kind + " " + path;
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
      char buffer[512];
      std::size_t read = 0;
      while ((read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, read);
      pclose(pipe);
    }
    std::remove(path.c_str());
    EXPECT_EQ(output, std::string(row.json) + "\n") << kind;
  }
}

}  // namespace
}  // namespace tovanel::chat
