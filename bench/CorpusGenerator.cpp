#include "CorpusGenerator.hpp"

#include <array>
#include <cstdio>
#include <span>
#include <string_view>

#include "tovanel/chat/body/info/InfoType.hpp"

namespace tovanel::chat::bench {
namespace {

// splitmix64: tiny, portable and deterministic (the standard distributions are not). It also
// carries the words that texts are made of, which the mix chooses.
class Random {
 public:
  Random(std::uint64_t seed, std::span<const std::string_view> words, bool asciiOnly)
      : words(words), asciiOnly(asciiOnly), state_(seed) {}
  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9e3779b97f4a7c15ULL);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    return z ^ (z >> 31);
  }
  std::size_t below(std::size_t n) { return static_cast<std::size_t>(next() % n); }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <class T, std::size_t N>
  const T& pick(const std::array<T, N>& items) {
    return items[below(N)];
  }

  std::span<const std::string_view> words;
  bool asciiOnly;

 private:
  std::uint64_t state_;
};

constexpr std::array<std::string_view, 24> kWords{
    "the",        "train", "was",      "late",   "again",      "but",      "coffee",
    "helps",      "café",  "naïve",    "résumé", "über",       "smørbrød", "jalapeño",
    "😀",          "🎉",     "👍🏽", "Olá",    "こんにちは", "привет",   "e\u0301te\u0301",
    "cafe\u0301", "ok",    "tomorrow"};
constexpr std::array<std::string_view, 16> kAsciiWords{
    "the",  "train", "was",    "late", "again",    "but", "coffee", "helps",
    "cafe", "naive", "resume", "ok",   "tomorrow", "see", "you",    "there"};
constexpr std::array<std::string_view, 12> kNonAsciiWords{
    "café", "naïve", "résumé",   "über",       "smørbrød", "jalapeño",
    "😀",    "🎉",     "👍🏽", "こんにちは", "привет",   "e\u0301te\u0301"};

// Every event kind, as the library spells them.
constexpr const auto& kInfoKinds = RawValues<InfoType>::values;

class Writer {
 public:
  explicit Writer(std::string& out) : out_(out) {}
  Writer& raw(std::string_view text) {
    out_ += text;
    return *this;
  }
  Writer& str(std::string_view text) {
    out_ += '"';
    for (char c : text) {
      if (c == '"' || c == '\\') out_ += '\\';
      out_ += c;
    }
    out_ += '"';
    return *this;
  }
  Writer& key(std::string_view name) {
    if (!out_.empty() && out_.back() != '{' && out_.back() != '[') out_ += ',';
    str(name);
    out_ += ':';
    return *this;
  }
  Writer& num(std::int64_t n) {
    out_ += std::to_string(n);
    return *this;
  }
  Writer& dbl(double d) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.3f", d);
    out_ += buffer;
    return *this;
  }
  Writer& open() { return raw("{"); }
  Writer& close() { return raw("}"); }
  Writer& comma() { return raw(","); }

 private:
  std::string& out_;
};

std::string sentence(Random& random, std::size_t words) {
  std::string text;
  for (std::size_t i = 0; i < words; ++i) {
    if (i > 0) text += ' ';
    text += random.words[random.below(random.words.size())];
  }
  return text;
}

void user(Writer& w, Random& random) {
  const std::size_t id = random.below(500);
  w.open().key("id").str("u" + std::to_string(id));
  if (!random.chance(3)) w.key("username").str("user" + std::to_string(id));
  w.key("firstName")
      .str(random.chance(30) ? (random.asciiOnly ? "Zoe" : "Zoë") : "Anna")
      .key("lastName")
      .str("Lindqvist");
  if (random.chance(40)) w.key("bio").str(sentence(random, 6));
  if (random.chance(70)) {
    w.key("avatarUrl").str("https://cdn.example.chat/u/" + std::to_string(id) + ".jpg");
  }
  w.key("followerCount").num(static_cast<std::int64_t>(random.below(5000000)));
  w.key("followingCount").num(static_cast<std::int64_t>(random.below(2000))).close();
}

void image(Writer& w, Random& random) {
  w.open().key("width").num(640 + static_cast<std::int64_t>(random.below(3000)));
  w.key("height").num(480 + static_cast<std::int64_t>(random.below(3000)));
  w.key("url").str("https://cdn.example.chat/i/" + std::to_string(random.next() % 100000) + ".jpg");
  if (random.chance(50)) w.key("optimizedUrl").str("https://cdn.example.chat/i/o.jpg");
  w.close();
}

void video(Writer& w, Random& random) {
  w.open().key("width").num(1920).key("height").num(1080);
  w.key("url").str("https://cdn.example.chat/v/" + std::to_string(random.next() % 100000) + ".mp4");
  w.key("duration").dbl(static_cast<double>(random.below(600000)) / 1000.0).close();
}

void users(Writer& w, Random& random, std::string_view key, std::size_t max) {
  w.key(key).raw("[");
  const std::size_t count = 1 + random.below(max);
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) w.comma();
    user(w, random);
  }
  w.raw("]");
}

void textBody(Writer& w, Random& random) {
  const std::string text = sentence(random, 4 + random.below(30));
  w.open().key("text").str(text);
  if (random.chance(35)) {
    w.key("mentions").raw("[");
    const std::size_t count = 1 + random.below(3);
    for (std::size_t i = 0; i < count; ++i) {
      if (i > 0) w.comma();
      const auto start = static_cast<std::int64_t>(random.below(20));
      w.open().key("userId").str("u" + std::to_string(random.below(500)));
      w.key("rangeStart").num(start).key("rangeEnd").num(start + 5).close();
    }
    w.raw("]");
  }
  w.close();
}

void infoBody(Writer& w, Random& random) {
  const std::string_view kind = random.pick(kInfoKinds);
  w.open().key("type").str(kind);
  if (kind == "added" || kind == "banned" || kind == "invited" || kind == "joined" ||
      kind == "room_request_accepted") {
    users(w, random, "recipients", 3);
  } else if (kind == "room_accessibility") {
    w.key("accessibility").str("open");
  } else if (kind == "room_visibility") {
    w.key("visibility").str(random.chance(50) ? "everyone" : "mutual_basic");
  } else if (kind == "room_tags") {
    w.key("tags").raw(R"(["travel","food","📷"])");
  } else if (kind == "room_title") {
    w.key("title").str(sentence(random, 3)).key("previously").open().key("title").str("Old");
    w.close();
  } else if (kind == "room_topic") {
    w.key("topic").str(sentence(random, 8));
  } else if (kind == "room_created") {
    users(w, random, "added", 3);
    w.key("visibility").str("secret").key("accessibility").str("request");
    w.key("title").str(sentence(random, 2));
  } else if (kind == "room_call_summary") {
    w.key("status").str("ended").key("caller");
    user(w, random);
    users(w, random, "participants", 4);
  } else if (kind == "room_request_created") {
    w.key("request").open().key("_id").str("req1").key("room").str("r1");
    w.key("type").str("go_live").key("user").str("u1").key("__v").num(0);
    w.key("appId").str("app").key("createdAt").str("2026-11-20T10:00:00Z");
    w.key("isInvite").raw("false").key("state").str("pending");
    w.key("metadata").open().key("previouslyAcceptedCount").num(2).close().close();
  } else if (kind == "user_present") {
    w.key("mediaType").str("text").key("media").open().key("id").str("p1");
    w.key("type").str("text").key("body");
    textBody(w, random);
    w.close();
  }
  w.close();
}

void youtubeBody(Writer& w, Random& random) {
  w.open().key("url").str("https://youtube.example/watch?v=abc").key("id").str("abc");
  w.key("title").str(sentence(random, 6)).key("image");
  image(w, random);
  w.key("duration");
  if (random.chance(50)) {
    w.num(static_cast<std::int64_t>(random.below(4000)));
  } else {
    w.str("PT" + std::to_string(random.below(59)) + "M" + std::to_string(random.below(59)) + "S");
  }
  w.key("type").str("video").key("description").str(sentence(random, 12));
  w.key("channelTitle").str("Channel").key("site_name").str("YouTube");
  w.key("viewCount").str(std::to_string(random.below(10000000))).close();
}

void urlBody(Writer& w, Random& random) {
  w.open().key("text").str(sentence(random, 5)).key("originalUrl").str("https://ex.com/a?b=c");
  w.key("url").str("https://ex.com/a").key("title").str(sentence(random, 6));
  w.key("description").str(sentence(random, 14)).key("image");
  image(w, random);
  if (random.chance(50)) {
    w.key("favicon").open().key("url").str("https://ex.com/favicon.ico").close();
  }
  w.close();
}

void locationBody(Writer& w, Random& random) {
  w.open().key("text").str("here").key("originalUrl").str("https://maps.example/?q=1");
  w.key("name").str("Praça do Comércio").key("description").str(sentence(random, 5));
  w.key("location").open().key("long").dbl(-9.1366).key("lat").dbl(38.7075).close();
  w.key("image");
  image(w, random);
  w.close();
}

void soundcloudBody(Writer& w, Random& random) {
  w.open().key("favorites").num(static_cast<std::int64_t>(random.below(1000)));
  w.key("title").str(sentence(random, 4)).key("duration").dbl(221.5);
  w.key("username").str("artist").key("plays").num(5300000001).key("type").str("track");
  w.key("url").str("https://soundcloud.example/a/b").close();
}

void twitchBody(Writer& w, Random& random) {
  w.open().key("gameId").str("509658").key("game").str("Just Chatting");
  w.key("channelId").str("4432").key("image");
  image(w, random);
  w.key("type").str("live").key("views").num(static_cast<std::int64_t>(random.below(100000)));
  w.key("name").str("channel").close();
}

void hlsBody(Writer& w, Random& random) {
  w.open().key("description").str(sentence(random, 10)).key("type").str("movie");
  w.key("provider").str("CinemaStream").key("url").str("https://cinema.example/w");
  w.key("title").str(sentence(random, 2)).key("duration").num(5280);
  w.key("tags").raw(R"(["documentary","music"])");
  w.key("meta").open().key("imdbId").str("tt01").key("imdbRating").str("7.3");
  w.key("ratings").raw(R"([{"source":"IMDb","value":"7.3/10"}])").key("year").str("2007");
  w.close().key("trailers").raw("[");
  video(w, random);
  w.raw("]").key("streamUrls").raw(R"([{"type":"hls","url":"https://cinema.example/m.m3u8"}])");
  w.key("geoRestricted").raw(R"({"allowed":["PT"]})").close();
}

}  // namespace

std::string generateEnvelope(std::uint64_t seed, std::size_t index, Mix mix) {
  const bool ascii = mix == Mix::asciiText;
  std::span<const std::string_view> words = kWords;
  if (mix == Mix::asciiText) words = kAsciiWords;
  if (mix == Mix::nonAsciiText) words = kNonAsciiWords;
  Random random(seed * 0x100000001b3ULL + index, words, ascii);
  std::string out;
  out.reserve(1024);
  Writer w(out);
  std::size_t roll = random.below(1000);
  if (mix == Mix::asciiText || mix == Mix::nonAsciiText) roll = 0;
  if (mix == Mix::roomWithoutEvents && roll >= 680 && roll < 780) roll = 0;
  // The mix of a busy room, in thousandths.
  std::string_view type = roll < 600   ? "text"
                          : roll < 680 ? "images"
                          : roll < 780 ? "info"
                          : roll < 820 ? "video"
                          : roll < 860 ? "youtube"
                          : roll < 900 ? "url"
                          : roll < 920 ? "location"
                          : roll < 940 ? "soundcloud"
                          : roll < 960 ? "twitch"
                          : roll < 970 ? "hls"
                          : roll < 980 ? "vimeo"
                          : roll < 990 ? "hint"
                                       : "action";
  w.open().key("messageId").str("m" + std::to_string(index));
  w.key("roomId").str("r-" + std::to_string(seed % 97));
  if (random.chance(80)) w.key("clientId").str("c" + std::to_string(random.next() % 1000000));
  w.key("type").str(type).key("body");
  if (type == "text") {
    textBody(w, random);
  } else if (type == "images") {
    w.open().key("images").raw("[");
    const std::size_t count = 1 + random.below(4);
    for (std::size_t i = 0; i < count; ++i) {
      if (i > 0) w.comma();
      image(w, random);
    }
    w.raw("]").close();
  } else if (type == "info") {
    infoBody(w, random);
  } else if (type == "video") {
    w.open().key("video");
    video(w, random);
    w.key("thumbnail");
    image(w, random);
    w.close();
  } else if (type == "youtube") {
    youtubeBody(w, random);
  } else if (type == "url") {
    urlBody(w, random);
  } else if (type == "location") {
    locationBody(w, random);
  } else if (type == "soundcloud") {
    soundcloudBody(w, random);
  } else if (type == "twitch") {
    twitchBody(w, random);
  } else if (type == "hls") {
    hlsBody(w, random);
  } else {
    w.raw("{}");
  }
  w.key("user");
  user(w, random);
  const std::size_t minute = index % 1440;
  char date[40];
  std::snprintf(date, sizeof date, "2026-11-%02zuT%02zu:%02zu:00Z", 1 + index / 1440 % 28,
                minute / 60, minute % 60);
  w.key("createdAt").str(date);
  if (random.chance(20)) w.key("updatedAt").str("2026-11-22T10:01:00.250Z");
  if (random.chance(70)) w.key("viewCount").num(static_cast<std::int64_t>(random.below(100)));
  if (random.chance(10)) w.key("sentStatus").num(static_cast<std::int64_t>(random.below(3)));
  w.close();
  return out;
}

std::string generateCorpus(std::size_t count, std::uint64_t seed, Mix mix) {
  std::string corpus;
  corpus.reserve(count * 700);
  for (std::size_t i = 0; i < count; ++i) {
    corpus += generateEnvelope(seed, i, mix);
    corpus += '\n';
  }
  return corpus;
}

}  // namespace tovanel::chat::bench
