// Every field of every record read as its table declares it: a record with every key, in any order,
// is written back exactly, in key order, alone and as a body's payload; a key taken out, null or of
// another JSON type fails at that key when the field is required (or, for a wrong type, optional)
// and is left out otherwise; of two failing keys the first in key order fails; every field takes
// part in equality and the hash input.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using coding::Presence;
using test::Members;
using test::objectWith;

struct Shape {
  std::string name;
  std::vector<std::pair<std::string_view, Presence>> fields;
  Members full;
  std::optional<BodyType> kind;  // the body kind whose payload the record is
  std::string (*writtenBack)(std::string_view);
  void (*expectDistinct)(const std::vector<std::string>& jsons);
};
void PrintTo(const Shape& shape, std::ostream* out) { *out << shape.name; }

template <class T>
Shape shape(std::string name, Members full, std::optional<BodyType> kind = std::nullopt) {
  static constexpr auto table = coding::detail::fieldPresences<T>();
  return {std::move(name),
          {table.begin(), table.end()},
          std::move(full),
          kind,
          &test::writtenBack<T>,
          [](const std::vector<std::string>& jsons) {
            std::vector<std::vector<T>> classes;
            for (const auto& json : jsons) {
              classes.push_back({test::preparedDecoder().decode<T>(json)});
            }
            test::expectHashClasses(classes);
          }};
}

/// A value of another JSON type than the one given.
std::string_view otherType(std::string_view json) { return json.starts_with('"') ? "[]" : "\"x\""; }

class EveryField : public testing::TestWithParam<Shape> {};

TEST_P(EveryField, ReadsAsItsPresenceSays) {
  const Shape& record = GetParam();
  const Members& full = record.full;
  ASSERT_EQ(record.fields.size(), full.size());
  const std::string whole = objectWith(full);
  EXPECT_EQ(record.writtenBack(whole), whole);
  EXPECT_EQ(record.writtenBack(objectWith(Members(full.rbegin(), full.rend()))), whole);
  EXPECT_EQ(record.writtenBack("null") + " " + record.writtenBack("[]"),
            "valueNotFound typeMismatch");
  if (record.kind) {  // and as a payload, with no diagnostic line, read back equal
    const auto lines = test::captureStdout([&] {
      const Body once = test::decodeBody(*record.kind, whole);
      const Body again = test::decodeBody(*record.kind, JSONEncoder().encode(once));
      EXPECT_EQ(JSONEncoder().encode(once), whole);
      EXPECT_TRUE(again == once && again.hashValue() == once.hashValue());
    });
    EXPECT_EQ(lines.out, "");
  }
  std::vector<std::string> distinct{whole};
  for (std::size_t i = 0; i < full.size(); ++i) {
    const auto [key, presence] = record.fields[i];
    ASSERT_EQ(key, full[i].first);
    const bool required = presence == Presence::required;
    const std::string at = " at " + std::string(key),
                      absent = objectWith(full, {{key, std::nullopt}});
    EXPECT_EQ(record.writtenBack(absent), required ? "keyNotFound" + at : absent) << key;
    if (!required) distinct.push_back(absent);
    if (presence == Presence::custom) continue;  // its reader decides what else it takes
    EXPECT_EQ(record.writtenBack(objectWith(full, {{key, "null"}})),
              required ? "valueNotFound" + at : absent)
        << key;
    const auto wrong = otherType(full[i].second);
    const bool strict = presence != Presence::tolerant;
    EXPECT_EQ(record.writtenBack(objectWith(full, {{key, wrong}})),
              strict ? "typeMismatch" + at : absent)
        << key;
    for (std::size_t j = i + 1; strict && j < full.size(); ++j) {
      if (record.fields[j].second == Presence::tolerant) continue;
      EXPECT_EQ(record.writtenBack(
                    objectWith(full, {{full[j].first, otherType(full[j].second)}, {key, wrong}})),
                "typeMismatch" + at)
          << key << " before " << full[j].first;
    }
  }
  record.expectDistinct(distinct);
}

const std::string kUser = test::userJson("u1"),
                  kUsers = "[" + kUser + "," + test::userJson("u2") + "]";
const std::string kCall = R"({"type":"room_call_summary","status":"missed","caller":)" + kUser +
                          R"(,"participants":)" + kUsers + "}";
const std::string kCreated = R"({"type":"room_created","added":)" + kUsers +
                             R"(,"invited":[],"visibility":"mutual_basic",)"
                             R"("accessibility":"mutual_basic","title":"Lobby"})";
const std::string kAdded = R"({"type":"added","recipients":)" + kUsers + "}";

std::vector<Shape> shapes() {
  using test::membersOf;
  using test::nested;
  using B = BodyType;
  const auto text = membersOf(
      "{\"text\":\"caf\xC3\xA9\",\"mentions\":[{\"userId\":\"u1\",\"rangeStart\":0,\"rangeEnd\":3}]"
      "}");
  const auto video =
      membersOf(R"({"video":{"width":2,"height":1,"url":"u","duration":-1.25},)"
                R"("thumbnail":{"width":2,"height":1,"url":"w","optimizedUrl":"o"}})");
  const auto location =
      membersOf(R"({"text":"here","originalUrl":"https://maps.example/1","name":"Square",)"
                R"("description":"A square","location":{"long":-0.1,"lat":51.5},)"
                R"("image":{"width":2,"height":1,"url":"i","optimizedUrl":"o"}})");
  const auto hls = membersOf(
      R"({"description":"About","type":"movie","provider":"p","originalUrl":"o","url":"u",)"
      R"("image":{"height":9},"title":"T","duration":5400,"tags":["a","b"],)"
      R"("meta":{"imdbId":"tt1","imdbRating":"7.9","ratings":[{"source":"s","value":"v"}],)"
      R"("audience":"PG","year":"1999"},"trailers":[{"duration":90}],)"
      R"("streamUrls":[{"type":"hls","url":"h"}],"geoRestricted":{"allowed":["DE"],"disallowed":[]}})");
  const auto requestCreated = membersOf(
      R"({"type":"room_request_created","request":{"_id":"r1","room":"room1",)"
      R"("type":"room_request","user":"u1","__v":0,"appId":"app","createdAt":700000123.25,)"
      R"("isInvite":false,"state":"pending","updatedAt":700000180.5,)"
      R"("metadata":{"previouslyAcceptedCount":2}}})");
  const auto title =
      membersOf(R"({"type":"room_title","title":"New","previously":{"title":"Old"}})");
  using Request = RoomRequestCreatedInfoBody::Request;
  return {
      shape<TextBody>("text", text, B::text),
      shape<TextBody::Mention>("mention", nested(text, "mentions")),
      shape<ImagesBody>("images", membersOf(R"({"images":[{"width":2},{}]})"), B::images),
      shape<VideoBody>("videoBody", video, B::video),
      shape<Video>("video", nested(video, "video")),
      shape<Image>("image", nested(video, "thumbnail")),
      shape<YoutubeBody>(
          "youtube",
          membersOf(R"({"url":"https://youtu.be/x","id":"x","title":"Title","image":{"width":640},)"
                    R"("duration":253,"type":"video","description":"About",)"
                    R"("video":{"url":"v","duration":253},"channelTitle":"Channel",)"
                    R"("originalUrl":"o","site_name":"YouTube","favicon":"f","viewCount":"1200"})"),
          B::youtube),
      shape<LocationBody>("location", location, B::location),
      shape<LocationBody::Location>("coordinates", nested(location, "location")),
      shape<URLBody>(
          "link",
          membersOf(
              R"({"text":"see","originalUrl":"http://ex.am/ple","url":"https://ex.am/ple",)"
              R"("title":"Example","description":"Page","image":{"width":640},"favicon":{}})"),
          B::url),
      shape<SoundCloudBody>(
          "track",
          membersOf(R"({"favorites":5000000000,"title":"Track","image":{"url":"c"},)"
                    R"("duration":215.5,"streamUrl":"s","username":"dj","plays":9007199254740993,)"
                    R"("type":"track","url":"u","originalUrl":"o"})"),
          B::soundcloud),
      shape<TwitchBody>("twitch",
                        membersOf(R"({"gameId":"509658","game":"Chess","channelId":"1","image":{},)"
                                  R"("type":"live","views":4294967296,"name":"chan"})"),
                        B::twitch),
      shape<HLSBody>("hls", hls, B::hls),
      shape<HLSBody::StreamURL>("stream", nested(hls, "streamUrls")),
      shape<HLSBody::GeoRestriction>("geo", nested(hls, "geoRestricted")),
      shape<HLSBody::Meta>("meta", nested(hls, "meta")),
      shape<HLSBody::Rating>("rating", nested(nested(hls, "meta"), "ratings")),
      shape<ChatMessageUser>(
          "user", membersOf(R"({"id":"u1","username":"ada","firstName":"Ada","lastName":"L",)"
                            R"("bio":"b","avatarUrl":"a","followerCount":3,"followingCount":4})")),
      shape<AddedInfoBody>("added", membersOf(kAdded), B::info),
      shape<RoomAccessibilityInfoBody>(
          "accessibility",
          membersOf(R"({"type":"room_accessibility","accessibility":"anyone with the link"})"),
          B::info),
      shape<RoomCallSummaryInfoBody>("call", membersOf(kCall), B::info),
      shape<RoomCreatedInfoBody>("created", membersOf(kCreated), B::info),
      shape<RoomRequestCreatedInfoBody>("requestCreated", requestCreated, B::info),
      shape<Request>("request", nested(requestCreated, "request")),
      shape<Request::Metadata>("metadata", nested(nested(requestCreated, "request"), "metadata")),
      shape<RoomTagsInfoBody>("tags", membersOf(R"({"type":"room_tags","tags":["a","b"]})"),
                              B::info),
      shape<RoomTitleInfoBody>("title", title, B::info),
      shape<RoomTitleInfoBody::Previously>("previously", nested(title, "previously")),
      shape<RoomTopicInfoBody>("topic", membersOf(R"({"type":"room_topic","topic":"Talk"})"),
                               B::info),
      shape<RoomVisibilityInfoBody>(
          "visibility", membersOf(R"({"type":"room_visibility","visibility":"secret"})"), B::info),
      shape<MessageDeletedInfoBody>("deleted", membersOf(R"({"type":"message_delete"})"), B::info),
      shape<UserPresentInfoBody>(
          "present",
          membersOf(R"({"type":"user_present","mediaType":"video","media":{"id":"m1",)"
                    R"("type":"text","body":{"text":"hi","mentions":[]}}})"),
          B::info),
  };
}

INSTANTIATE_TEST_SUITE_P(Records, EveryField, testing::ValuesIn(shapes()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tovanel::chat
