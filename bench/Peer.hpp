#pragma once
// The peer the benchmarks compare against: the same envelopes mapped the way a C++ chat client
// usually writes it, with nlohmann::json (`j.at(...)`, `find`, `from_json`/`to_json` and a
// std::variant body). The structs hold what our records hold, dates as seconds since 1970.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tovanel::chat::bench::peer {

using nlohmann::json;

struct Image {
  std::optional<std::int64_t> width, height;
  std::optional<std::string> url, optimizedUrl;
};

struct Video {
  std::optional<std::int64_t> width, height;
  std::optional<std::string> url;
  std::optional<double> duration;
};

struct User {
  std::string id;
  std::optional<std::string> username;
  std::string firstName, lastName;
  std::optional<std::string> bio, avatarUrl;
  std::int64_t followerCount = 0, followingCount = 0;
};

struct Mention {
  std::optional<std::string> userId;
  std::optional<std::int64_t> rangeStart, rangeEnd;
};

struct TextBody {
  std::string text;
  std::optional<std::vector<Mention>> mentions;
};

struct ImagesBody {
  std::vector<Image> images;
};

struct VideoBody {
  std::optional<Video> video;
  std::optional<Image> thumbnail;
};

struct YoutubeBody {
  std::optional<std::string> url, id, title;
  std::optional<Image> image;
  std::optional<double> duration;
  std::optional<std::string> type, description;
  std::optional<Video> video;
  std::optional<std::string> channelTitle, originalUrl, siteName, favicon, viewCount;
};

struct URLBody {
  std::string text, originalUrl, url, title, description;
  std::optional<Image> image, favicon;
};

struct LocationBody {
  std::string text, originalUrl, name, description;
  double longitude = 0, latitude = 0;
  Image image;
};

struct SoundCloudBody {
  std::optional<std::int64_t> favorites;
  std::optional<std::string> title;
  std::optional<Image> image;
  double duration = 0;
  std::optional<std::string> streamUrl, username;
  std::optional<std::int64_t> plays;
  std::optional<std::string> type, url, originalUrl;
};

struct TwitchBody {
  std::optional<std::string> gameId, game, channelId;
  std::optional<Image> image;
  std::optional<std::string> type;
  std::optional<std::int64_t> views;
  std::optional<std::string> name;
};

struct StreamURL {
  std::optional<std::string> type, url;
};
struct GeoRestriction {
  std::optional<std::vector<std::string>> allowed, disallowed;
};
struct Rating {
  std::string source, value;
};
struct Meta {
  std::optional<std::string> imdbId, imdbRating;
  std::optional<std::vector<Rating>> ratings;
  std::optional<std::string> audience, year;
};
struct HLSBody {
  std::optional<std::string> description, type, provider, originalUrl, url;
  std::optional<Image> image;
  std::optional<std::string> title;
  std::optional<double> duration;
  std::optional<std::vector<std::string>> tags;
  std::optional<Meta> meta;
  std::optional<std::vector<Video>> trailers;
  std::optional<std::vector<StreamURL>> streamUrls;
  std::optional<GeoRestriction> geoRestricted;
};

/// A system event as a client keeps one: its kind and the fields of every kind, present or not.
struct RoomRequest {
  std::optional<std::string> id, room, type, user;
  std::optional<std::int64_t> version;
  std::optional<std::string> appId;
  std::optional<double> createdAt;
  std::optional<bool> isInvite;
  std::optional<std::string> state;
  std::optional<double> updatedAt;
  std::optional<std::int64_t> previouslyAcceptedCount;
  bool hasMetadata = false;
};
struct PresentMedia {
  std::optional<std::string> id, type;
  std::optional<TextBody> body;
};
struct InfoBody {
  std::string type;
  std::optional<std::vector<User>> recipients, added, invited, participants;
  std::optional<std::string> accessibility, visibility, title, topic, status, mediaType;
  std::optional<std::vector<std::string>> tags;
  std::optional<std::optional<std::string>> previousTitle;  // "previously", and its title
  std::optional<User> caller;
  std::optional<RoomRequest> request;
  std::optional<PresentMedia> media;
};

/// The payload-less kinds and vimeo hold nothing.
using Body = std::variant<std::monostate, TextBody, ImagesBody, VideoBody, YoutubeBody, URLBody,
                          LocationBody, SoundCloudBody, TwitchBody, HLSBody, InfoBody>;

struct Envelope {
  std::string messageId, roomId;
  std::optional<std::string> clientId;
  std::string type;
  Body body;
  User user;
  std::optional<double> createdAt, updatedAt;  // seconds since 1970
  std::optional<std::int64_t> viewCount;
  int sentStatus = 0;
};

// Reads throw nlohmann's exceptions (or std::invalid_argument for a bad date or kind).
void from_json(const json& j, Image& out);
void from_json(const json& j, Video& out);
void from_json(const json& j, User& out);
void from_json(const json& j, Mention& out);
void from_json(const json& j, StreamURL& out);
void from_json(const json& j, GeoRestriction& out);
void from_json(const json& j, Rating& out);
void from_json(const json& j, Meta& out);
void from_json(const json& j, Envelope& out);
void from_json(const json& j, TextBody& out);
void from_json(const json& j, ImagesBody& out);
void from_json(const json& j, VideoBody& out);
void from_json(const json& j, YoutubeBody& out);
void from_json(const json& j, URLBody& out);
void from_json(const json& j, LocationBody& out);
void from_json(const json& j, SoundCloudBody& out);
void from_json(const json& j, TwitchBody& out);
void from_json(const json& j, HLSBody& out);
void from_json(const json& j, InfoBody& out);

void to_json(json& j, const Image& value);
void to_json(json& j, const Video& value);
void to_json(json& j, const User& value);
void to_json(json& j, const Mention& value);
void to_json(json& j, const StreamURL& value);
void to_json(json& j, const GeoRestriction& value);
void to_json(json& j, const Rating& value);
void to_json(json& j, const Meta& value);
void to_json(json& j, const Envelope& value);
void to_json(json& j, const TextBody& value);
void to_json(json& j, const ImagesBody& value);
void to_json(json& j, const VideoBody& value);
void to_json(json& j, const YoutubeBody& value);
void to_json(json& j, const URLBody& value);
void to_json(json& j, const LocationBody& value);
void to_json(json& j, const SoundCloudBody& value);
void to_json(json& j, const TwitchBody& value);
void to_json(json& j, const HLSBody& value);
void to_json(json& j, const InfoBody& value);

}  // namespace tovanel::chat::bench::peer
