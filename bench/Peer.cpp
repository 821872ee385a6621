#include "Peer.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace tovanel::chat::bench::peer {

namespace {

// ---- field helpers, as a client writes them once and uses everywhere ----

template <class T>
void getOptional(const json& j, const char* key, std::optional<T>& out) {
  const auto it = j.find(key);
  if (it != j.end() && !it->is_null()) out = it->template get<T>();
}

// A field whose bad value is skipped (the YouTube preview is best effort).
template <class T>
void getTolerant(const json& j, const char* key, std::optional<T>& out) {
  const auto it = j.find(key);
  if (it == j.end() || it->is_null()) return;
  try {
    out = it->template get<T>();
  } catch (const json::exception&) {
  }
}

template <class T>
void putOptional(json& j, const char* key, const std::optional<T>& value) {
  if (value) j[key] = *value;
}

// ---- dates and durations ----

int digits(std::string_view text, std::size_t at, std::size_t width) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data() + at, text.data() + at + width, value);
  if (error != std::errc() || end != text.data() + at + width) {
    throw std::invalid_argument("bad date");
  }
  return value;
}

std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

// 2026-11-22T10:00:00Z, 2026-11-22T10:00:00.250Z or with a ±HH:MM offset.
double parseDate(std::string_view text) {
  if (text.size() < 20 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':') {
    throw std::invalid_argument("bad date");
  }
  const auto month = static_cast<unsigned>(digits(text, 5, 2));
  const auto day = static_cast<unsigned>(digits(text, 8, 2));
  double seconds = static_cast<double>(daysFromCivil(digits(text, 0, 4), month, day) * 86400 +
                                       digits(text, 11, 2) * 3600 + digits(text, 14, 2) * 60 +
                                       digits(text, 17, 2));
  std::size_t at = 19;
  if (text[at] == '.') {
    double scale = 0.1;
    for (++at; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, scale /= 10) {
      seconds += (text[at] - '0') * scale;
    }
  }
  if (at < text.size() && text[at] == 'Z' && at + 1 == text.size()) return seconds;
  if (at + 6 == text.size() && (text[at] == '+' || text[at] == '-')) {
    const int offset = digits(text, at + 1, 2) * 3600 + digits(text, at + 4, 2) * 60;
    return text[at] == '+' ? seconds - offset : seconds + offset;
  }
  throw std::invalid_argument("bad date");
}

std::string formatDate(double since1970) {
  const auto milliseconds = static_cast<std::int64_t>(std::llround(since1970 * 1000.0));
  std::int64_t seconds = milliseconds / 1000;
  const std::int64_t days = seconds / 86400;
  seconds %= 86400;
  // civil from days
  std::int64_t z = days + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  const std::int64_t y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
  char buffer[48];
  int length = std::snprintf(
      buffer, sizeof buffer, "%04lld-%02u-%02uT%02lld:%02lld:%02lld", static_cast<long long>(y), m,
      d, static_cast<long long>(seconds / 3600), static_cast<long long>(seconds / 60 % 60),
      static_cast<long long>(seconds % 60));
  if (milliseconds % 1000 != 0) {
    length += std::snprintf(buffer + length, sizeof buffer - static_cast<std::size_t>(length),
                            ".%03lld", static_cast<long long>(milliseconds % 1000));
  }
  return std::string(buffer, static_cast<std::size_t>(length)) + 'Z';
}

// P[nW][nD][T[nH][nM][nS]] in seconds; anything else is no duration.
std::optional<double> parseDuration(std::string_view text) {
  if (text.size() < 2 || text[0] != 'P') return std::nullopt;
  double total = 0;
  bool inTime = false;
  for (std::size_t at = 1; at < text.size();) {
    if (text[at] == 'T') {
      inTime = true;
      ++at;
      continue;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data() + at, text.data() + text.size(), value);
    if (error != std::errc() || end == text.data() + text.size()) return std::nullopt;
    at = static_cast<std::size_t>(end - text.data());
    switch (text[at++]) {
      case 'W':
        total += value * 604800;
        break;
      case 'D':
        total += value * 86400;
        break;
      case 'H':
        total += value * 3600;
        break;
      case 'M':
        if (!inTime) return std::nullopt;
        total += value * 60;
        break;
      case 'S':
        total += value;
        break;
      default:
        return std::nullopt;
    }
  }
  return total;
}

}  // namespace

// ---- bodies ----

void from_json(const json& j, TextBody& out) {
  j.at("text").get_to(out.text);
  getOptional(j, "mentions", out.mentions);
}
void to_json(json& j, const TextBody& value) {
  j = json{{"text", value.text}};
  putOptional(j, "mentions", value.mentions);
}

void from_json(const json& j, ImagesBody& out) { j.at("images").get_to(out.images); }
void to_json(json& j, const ImagesBody& value) { j = json{{"images", value.images}}; }

void from_json(const json& j, VideoBody& out) {
  getOptional(j, "video", out.video);
  getOptional(j, "thumbnail", out.thumbnail);
}
void to_json(json& j, const VideoBody& value) {
  j = json::object();
  putOptional(j, "video", value.video);
  putOptional(j, "thumbnail", value.thumbnail);
}

void from_json(const json& j, YoutubeBody& out) {
  getTolerant(j, "url", out.url);
  getTolerant(j, "id", out.id);
  getTolerant(j, "title", out.title);
  getTolerant(j, "image", out.image);
  if (const auto it = j.find("duration"); it != j.end()) {
    if (it->is_number()) {
      out.duration = it->get<double>();
    } else if (it->is_string()) {
      out.duration = parseDuration(it->get_ref<const std::string&>());
    }
  }
  getTolerant(j, "type", out.type);
  getTolerant(j, "description", out.description);
  getTolerant(j, "video", out.video);
  getTolerant(j, "channelTitle", out.channelTitle);
  getTolerant(j, "originalUrl", out.originalUrl);
  getTolerant(j, "site_name", out.siteName);
  getTolerant(j, "favicon", out.favicon);
  getTolerant(j, "viewCount", out.viewCount);
}
void to_json(json& j, const YoutubeBody& value) {
  j = json::object();
  putOptional(j, "url", value.url);
  putOptional(j, "id", value.id);
  putOptional(j, "title", value.title);
  putOptional(j, "image", value.image);
  putOptional(j, "duration", value.duration);
  putOptional(j, "type", value.type);
  putOptional(j, "description", value.description);
  putOptional(j, "video", value.video);
  putOptional(j, "channelTitle", value.channelTitle);
  putOptional(j, "originalUrl", value.originalUrl);
  putOptional(j, "site_name", value.siteName);
  putOptional(j, "favicon", value.favicon);
  putOptional(j, "viewCount", value.viewCount);
}

void from_json(const json& j, URLBody& out) {
  j.at("text").get_to(out.text);
  j.at("originalUrl").get_to(out.originalUrl);
  j.at("url").get_to(out.url);
  j.at("title").get_to(out.title);
  j.at("description").get_to(out.description);
  getOptional(j, "image", out.image);
  getOptional(j, "favicon", out.favicon);
}
void to_json(json& j, const URLBody& value) {
  j = json{{"text", value.text},
           {"originalUrl", value.originalUrl},
           {"url", value.url},
           {"title", value.title},
           {"description", value.description}};
  putOptional(j, "image", value.image);
  putOptional(j, "favicon", value.favicon);
}

void from_json(const json& j, LocationBody& out) {
  j.at("text").get_to(out.text);
  j.at("originalUrl").get_to(out.originalUrl);
  j.at("name").get_to(out.name);
  j.at("description").get_to(out.description);
  const json& location = j.at("location");
  location.at("long").get_to(out.longitude);
  location.at("lat").get_to(out.latitude);
  j.at("image").get_to(out.image);
}
void to_json(json& j, const LocationBody& value) {
  j = json{{"text", value.text},
           {"originalUrl", value.originalUrl},
           {"name", value.name},
           {"description", value.description},
           {"location", {{"long", value.longitude}, {"lat", value.latitude}}},
           {"image", value.image}};
}

void from_json(const json& j, SoundCloudBody& out) {
  getOptional(j, "favorites", out.favorites);
  getOptional(j, "title", out.title);
  getOptional(j, "image", out.image);
  j.at("duration").get_to(out.duration);
  getOptional(j, "streamUrl", out.streamUrl);
  getOptional(j, "username", out.username);
  getOptional(j, "plays", out.plays);
  getOptional(j, "type", out.type);
  getOptional(j, "url", out.url);
  getOptional(j, "originalUrl", out.originalUrl);
}
void to_json(json& j, const SoundCloudBody& value) {
  j = json::object();
  putOptional(j, "favorites", value.favorites);
  putOptional(j, "title", value.title);
  putOptional(j, "image", value.image);
  j["duration"] = value.duration;
  putOptional(j, "streamUrl", value.streamUrl);
  putOptional(j, "username", value.username);
  putOptional(j, "plays", value.plays);
  putOptional(j, "type", value.type);
  putOptional(j, "url", value.url);
  putOptional(j, "originalUrl", value.originalUrl);
}

void from_json(const json& j, TwitchBody& out) {
  getOptional(j, "gameId", out.gameId);
  getOptional(j, "game", out.game);
  getOptional(j, "channelId", out.channelId);
  getOptional(j, "image", out.image);
  getOptional(j, "type", out.type);
  getOptional(j, "views", out.views);
  getOptional(j, "name", out.name);
}
void to_json(json& j, const TwitchBody& value) {
  j = json::object();
  putOptional(j, "gameId", value.gameId);
  putOptional(j, "game", value.game);
  putOptional(j, "channelId", value.channelId);
  putOptional(j, "image", value.image);
  putOptional(j, "type", value.type);
  putOptional(j, "views", value.views);
  putOptional(j, "name", value.name);
}

void from_json(const json& j, HLSBody& out) {
  getOptional(j, "description", out.description);
  getOptional(j, "type", out.type);
  getOptional(j, "provider", out.provider);
  getOptional(j, "originalUrl", out.originalUrl);
  getOptional(j, "url", out.url);
  getOptional(j, "image", out.image);
  getOptional(j, "title", out.title);
  getOptional(j, "duration", out.duration);
  getOptional(j, "tags", out.tags);
  getOptional(j, "meta", out.meta);
  getOptional(j, "trailers", out.trailers);
  getOptional(j, "streamUrls", out.streamUrls);
  getOptional(j, "geoRestricted", out.geoRestricted);
}
void to_json(json& j, const HLSBody& value) {
  j = json::object();
  putOptional(j, "description", value.description);
  putOptional(j, "type", value.type);
  putOptional(j, "provider", value.provider);
  putOptional(j, "originalUrl", value.originalUrl);
  putOptional(j, "url", value.url);
  putOptional(j, "image", value.image);
  putOptional(j, "title", value.title);
  putOptional(j, "duration", value.duration);
  putOptional(j, "tags", value.tags);
  putOptional(j, "meta", value.meta);
  putOptional(j, "trailers", value.trailers);
  putOptional(j, "streamUrls", value.streamUrls);
  putOptional(j, "geoRestricted", value.geoRestricted);
}

constexpr const char* kInfoKinds[] = {"added",
                                      "banned",
                                      "invited",
                                      "joined",
                                      "message_delete",
                                      "room_accessibility",
                                      "room_call_summary",
                                      "room_created",
                                      "room_history_cleared",
                                      "room_request",
                                      "room_request_accepted",
                                      "room_request_created",
                                      "room_tags",
                                      "room_title",
                                      "room_topic",
                                      "room_visibility",
                                      "user_present"};

void from_json(const json& j, InfoBody& out) {
  j.at("type").get_to(out.type);
  if (std::find(std::begin(kInfoKinds), std::end(kInfoKinds), out.type) == std::end(kInfoKinds)) {
    throw std::invalid_argument("unknown event " + out.type);
  }
  getOptional(j, "recipients", out.recipients);
  getOptional(j, "added", out.added);
  getOptional(j, "invited", out.invited);
  getOptional(j, "participants", out.participants);
  getOptional(j, "accessibility", out.accessibility);
  getOptional(j, "visibility", out.visibility);
  getOptional(j, "title", out.title);
  getOptional(j, "topic", out.topic);
  getOptional(j, "status", out.status);
  getOptional(j, "mediaType", out.mediaType);
  getOptional(j, "tags", out.tags);
  getOptional(j, "caller", out.caller);
  if (const auto it = j.find("previously"); it != j.end() && !it->is_null()) {
    std::optional<std::string> title;
    getOptional(*it, "title", title);
    out.previousTitle = title;
  }
  if (const auto it = j.find("request"); it != j.end() && !it->is_null()) {
    RoomRequest& request = out.request.emplace();
    getOptional(*it, "_id", request.id);
    getOptional(*it, "room", request.room);
    getOptional(*it, "type", request.type);
    getOptional(*it, "user", request.user);
    getOptional(*it, "__v", request.version);
    getOptional(*it, "appId", request.appId);
    if (const auto at = it->find("createdAt"); at != it->end() && !at->is_null()) {
      request.createdAt = parseDate(at->get_ref<const std::string&>());
    }
    getOptional(*it, "isInvite", request.isInvite);
    getOptional(*it, "state", request.state);
    if (const auto at = it->find("updatedAt"); at != it->end() && !at->is_null()) {
      request.updatedAt = parseDate(at->get_ref<const std::string&>());
    }
    if (const auto at = it->find("metadata"); at != it->end() && !at->is_null()) {
      request.hasMetadata = true;
      getOptional(*at, "previouslyAcceptedCount", request.previouslyAcceptedCount);
    }
  }
  if (const auto it = j.find("media"); it != j.end() && !it->is_null()) {
    PresentMedia& media = out.media.emplace();
    getTolerant(*it, "id", media.id);
    getTolerant(*it, "type", media.type);
    if (media.type == "text") getTolerant(*it, "body", media.body);
  }
}

void to_json(json& j, const InfoBody& value) {
  if (value.type == "room_history_cleared") {  // an event with nothing to tell writes nothing
    j = json::object();
    return;
  }
  j = json{{"type", value.type}};
  putOptional(j, "recipients", value.recipients);
  putOptional(j, "added", value.added);
  putOptional(j, "invited", value.invited);
  putOptional(j, "participants", value.participants);
  putOptional(j, "accessibility", value.accessibility);
  putOptional(j, "visibility", value.visibility);
  putOptional(j, "title", value.title);
  putOptional(j, "topic", value.topic);
  putOptional(j, "status", value.status);
  putOptional(j, "mediaType", value.mediaType);
  putOptional(j, "tags", value.tags);
  putOptional(j, "caller", value.caller);
  if (value.previousTitle) {
    j["previously"] = json::object();
    putOptional(j["previously"], "title", *value.previousTitle);
  }
  if (value.request) {
    const RoomRequest& request = *value.request;
    json& out = j["request"] = json::object();
    putOptional(out, "_id", request.id);
    putOptional(out, "room", request.room);
    putOptional(out, "type", request.type);
    putOptional(out, "user", request.user);
    putOptional(out, "__v", request.version);
    putOptional(out, "appId", request.appId);
    if (request.createdAt) out["createdAt"] = formatDate(*request.createdAt);
    putOptional(out, "isInvite", request.isInvite);
    putOptional(out, "state", request.state);
    if (request.updatedAt) out["updatedAt"] = formatDate(*request.updatedAt);
    if (request.hasMetadata) {
      out["metadata"] = json::object();
      putOptional(out["metadata"], "previouslyAcceptedCount", request.previouslyAcceptedCount);
    }
  }
  if (value.media) {
    json& out = j["media"] = json::object();
    putOptional(out, "id", value.media->id);
    putOptional(out, "type", value.media->type);
    putOptional(out, "body", value.media->body);
  }
}

namespace {

Body bodyOf(const std::string& type, const json& j) {
  if (type == "info") return j.get<InfoBody>();
  if (type == "text") return j.get<TextBody>();
  if (type == "images") return j.get<ImagesBody>();
  if (type == "video") return j.get<VideoBody>();
  if (type == "youtube") return j.get<YoutubeBody>();
  if (type == "url") return j.get<URLBody>();
  if (type == "location") return j.get<LocationBody>();
  if (type == "soundcloud") return j.get<SoundCloudBody>();
  if (type == "twitch") return j.get<TwitchBody>();
  if (type == "hls") return j.get<HLSBody>();
  if (type == "action" || type == "app" || type == "event" || type == "hint" || type == "vimeo") {
    return std::monostate{};
  }
  throw std::invalid_argument("unknown body type " + type);
}

}  // namespace

// ---- shared records ----

void from_json(const json& j, Image& out) {
  getOptional(j, "width", out.width);
  getOptional(j, "height", out.height);
  getOptional(j, "url", out.url);
  getOptional(j, "optimizedUrl", out.optimizedUrl);
}
void to_json(json& j, const Image& value) {
  j = json::object();
  putOptional(j, "width", value.width);
  putOptional(j, "height", value.height);
  putOptional(j, "url", value.url);
  putOptional(j, "optimizedUrl", value.optimizedUrl);
}

void from_json(const json& j, Video& out) {
  getOptional(j, "width", out.width);
  getOptional(j, "height", out.height);
  getOptional(j, "url", out.url);
  getOptional(j, "duration", out.duration);
}
void to_json(json& j, const Video& value) {
  j = json::object();
  putOptional(j, "width", value.width);
  putOptional(j, "height", value.height);
  putOptional(j, "url", value.url);
  putOptional(j, "duration", value.duration);
}

void from_json(const json& j, User& out) {
  j.at("id").get_to(out.id);
  getOptional(j, "username", out.username);
  j.at("firstName").get_to(out.firstName);
  j.at("lastName").get_to(out.lastName);
  getOptional(j, "bio", out.bio);
  getOptional(j, "avatarUrl", out.avatarUrl);
  j.at("followerCount").get_to(out.followerCount);
  j.at("followingCount").get_to(out.followingCount);
}
void to_json(json& j, const User& value) {
  j = json{{"id", value.id}};
  putOptional(j, "username", value.username);
  j["firstName"] = value.firstName;
  j["lastName"] = value.lastName;
  putOptional(j, "bio", value.bio);
  putOptional(j, "avatarUrl", value.avatarUrl);
  j["followerCount"] = value.followerCount;
  j["followingCount"] = value.followingCount;
}

void from_json(const json& j, Mention& out) {
  getOptional(j, "userId", out.userId);
  getOptional(j, "rangeStart", out.rangeStart);
  getOptional(j, "rangeEnd", out.rangeEnd);
}
void to_json(json& j, const Mention& value) {
  j = json::object();
  putOptional(j, "userId", value.userId);
  putOptional(j, "rangeStart", value.rangeStart);
  putOptional(j, "rangeEnd", value.rangeEnd);
}

void from_json(const json& j, StreamURL& out) {
  getOptional(j, "type", out.type);
  getOptional(j, "url", out.url);
}
void to_json(json& j, const StreamURL& value) {
  j = json::object();
  putOptional(j, "type", value.type);
  putOptional(j, "url", value.url);
}

void from_json(const json& j, GeoRestriction& out) {
  getOptional(j, "allowed", out.allowed);
  getOptional(j, "disallowed", out.disallowed);
}
void to_json(json& j, const GeoRestriction& value) {
  j = json::object();
  putOptional(j, "allowed", value.allowed);
  putOptional(j, "disallowed", value.disallowed);
}

void from_json(const json& j, Rating& out) {
  j.at("source").get_to(out.source);
  j.at("value").get_to(out.value);
}
void to_json(json& j, const Rating& value) {
  j = json{{"source", value.source}, {"value", value.value}};
}

void from_json(const json& j, Meta& out) {
  getOptional(j, "imdbId", out.imdbId);
  getOptional(j, "imdbRating", out.imdbRating);
  getOptional(j, "ratings", out.ratings);
  getOptional(j, "audience", out.audience);
  getOptional(j, "year", out.year);
}
void to_json(json& j, const Meta& value) {
  j = json::object();
  putOptional(j, "imdbId", value.imdbId);
  putOptional(j, "imdbRating", value.imdbRating);
  putOptional(j, "ratings", value.ratings);
  putOptional(j, "audience", value.audience);
  putOptional(j, "year", value.year);
}

void from_json(const json& j, Envelope& out) {
  j.at("messageId").get_to(out.messageId);
  j.at("roomId").get_to(out.roomId);
  getOptional(j, "clientId", out.clientId);
  j.at("type").get_to(out.type);
  out.body = bodyOf(out.type, j.at("body"));
  j.at("user").get_to(out.user);
  if (const auto it = j.find("createdAt"); it != j.end() && !it->is_null()) {
    out.createdAt = parseDate(it->get_ref<const std::string&>());
  }
  if (const auto it = j.find("updatedAt"); it != j.end() && !it->is_null()) {
    out.updatedAt = parseDate(it->get_ref<const std::string&>());
  }
  getOptional(j, "viewCount", out.viewCount);
  if (const auto it = j.find("sentStatus"); it != j.end() && !it->is_null()) {
    out.sentStatus = it->get<int>();
    if (out.sentStatus < 0 || out.sentStatus > 2) throw std::invalid_argument("bad sentStatus");
  }
}

void to_json(json& j, const Envelope& value) {
  j = json{{"messageId", value.messageId}, {"roomId", value.roomId}};
  putOptional(j, "clientId", value.clientId);
  j["type"] = value.type;
  std::visit(
      [&j](const auto& payload) {
        if constexpr (std::is_same_v<std::decay_t<decltype(payload)>, std::monostate>) {
          j["body"] = json::object();
        } else {
          j["body"] = payload;
        }
      },
      value.body);
  j["user"] = value.user;
  if (value.createdAt) j["createdAt"] = formatDate(*value.createdAt);
  if (value.updatedAt) j["updatedAt"] = formatDate(*value.updatedAt);
  putOptional(j, "viewCount", value.viewCount);
  if (value.sentStatus != 0) j["sentStatus"] = value.sentStatus;
}

}  // namespace tovanel::chat::bench::peer
