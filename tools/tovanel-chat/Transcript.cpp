#include "Transcript.hpp"

#include <fmt/color.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <type_traits>
#include <vector>

#include "Errors.hpp"
#include "Output.hpp"
#include "tovanel/chat.hpp"
#include "tovanel/chat/export/EnvelopeReader.hpp"

namespace tovanel::chat::tool {

namespace {

enum Style { kDim, kAuthor, kMention, kEvent, kFailure, kDay, kTitle, kRoom };

// A line is built with marks where the transcript's own styles and line breaks go; data never holds
// the mark's byte, which is not UTF-8 (decoded text always is). Writing the line escapes
// everything else and turns the marks into colours and indented line breaks.
constexpr char kMark = '\xFF';
constexpr char kEndStyle = 'z';
constexpr char kBreak = 'n';

std::string paint(std::string_view text, Style style) {
  std::string out{kMark, static_cast<char>('a' + style)};
  return out.append(text).append({kMark, kEndStyle});
}

// Text whose line breaks are kept, as continuation lines.
std::string breakLines(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\n') {
      out.append({kMark, kBreak});
    } else {
      out += c;
    }
  }
  return out;
}

fmt::text_style styleOf(int style) {
  switch (style) {
    case kDim:
      return fmt::fg(fmt::terminal_color::bright_black);
    case kAuthor:
      return fmt::fg(fmt::terminal_color::cyan) | fmt::emphasis::bold;
    case kMention:
      return fmt::fg(fmt::terminal_color::yellow) | fmt::emphasis::bold;
    case kEvent:
      return fmt::fg(fmt::terminal_color::magenta) | fmt::emphasis::italic;
    case kFailure:
      return fmt::fg(fmt::terminal_color::red) | fmt::emphasis::bold;
    case kDay:
      return fmt::fg(fmt::terminal_color::blue) | fmt::emphasis::bold;
    case kRoom:
      return fmt::fg(fmt::terminal_color::green) | fmt::emphasis::bold;
    default:
      return fmt::emphasis::bold;
  }
}

// The escape sequence that starts a style.
std::string styleStart(Style style) {
  const std::string sample = fmt::format(styleOf(style), "{}", "|");
  return sample.substr(0, sample.find('|'));
}

std::string nameOf(const ChatMessageUser& user) {
  return user.userWasDeletedOnTheBackend() ? "a deleted account" : *user.username;
}

std::string handleOf(const ChatMessageUser& user) {
  return user.atUsername().value_or("deleted account");
}

std::string joinNames(const std::optional<std::vector<ChatMessageUser>>& users) {
  if (!users || users->empty()) return "nobody";
  std::string text;
  for (std::size_t i = 0; i < users->size(); ++i) {
    if (i > 0) text += i + 1 == users->size() ? " and " : ", ";
    text += nameOf((*users)[i]);
  }
  return text;
}

// m:ss, or h:mm:ss from an hour on.
std::string clock(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return "?:??";
  const auto total = static_cast<long long>(std::llround(seconds));
  if (total >= 3600)
    return fmt::format("{}:{:02}:{:02}", total / 3600, total / 60 % 60, total % 60);
  return fmt::format("{}:{:02}", total / 60, total % 60);
}

std::string hostOf(const std::string& url) {
  std::string_view rest = url;
  if (const auto scheme = rest.find("://"); scheme != std::string_view::npos) {
    rest.remove_prefix(scheme + 3);
  }
  return std::string(rest.substr(0, rest.find_first_of("/?#")));
}

std::string sizeOf(const std::optional<std::int64_t>& width,
                   const std::optional<std::int64_t>& height) {
  if (!width || !height) return "size unknown";
  return fmt::format("{}×{}", *width, *height);
}

// The byte offset in UTF-8 text of a position counted in UTF-16 code units, when it falls on a
// character boundary inside the text.
std::optional<std::size_t> byteOffsetOfUtf16(const std::string& text, std::int64_t position) {
  if (position < 0) return std::nullopt;
  std::int64_t units = 0;
  std::size_t i = 0;
  while (units < position && i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    units += length == 4 ? 2 : 1;
    i += length;
  }
  if (units != position || i > text.size()) return std::nullopt;
  return i;
}

// The coordinates of a location, read back through the library's own JSON form: outside the
// library they are not reachable otherwise.
std::string coordinatesOf(const LocationBody::Location& location) {
  try {
    const std::string json = JSONEncoder().encode(location);
    return JSONDecoder().decode(json, [](const Decoder& decoder) {
      const auto point = decoder.container();
      return fmt::format("{:.4f}, {:.4f}", point.decode<double>("lat"),
                         point.decode<double>("long"));
    });
  } catch (const std::exception&) {
    return "coordinates unavailable";
  }
}

}  // namespace

std::string Transcript::finish(std::string_view line) const {
  std::string out;
  for (;;) {
    const std::size_t mark = line.find(kMark);
    out += escapeControls(line.substr(0, mark));
    if (mark == std::string_view::npos || mark + 1 == line.size()) return out;
    const char code = line[mark + 1];
    line.remove_prefix(mark + 2);
    if (code == kBreak) {
      out += "\n       ";  // continuation lines line up under the first line's text
    } else if (colour_) {
      out += code == kEndStyle ? "\x1b[0m" : styleStart(static_cast<Style>(code - 'a'));
    }
  }
}

void Transcript::writeLine(std::string_view line) { writeText(out_, finish(line) + '\n'); }

void Transcript::enterRoom(const std::string& roomID) {
  if (room_ == roomID) return;
  if (room_ || day_) writeLine("");
  writeLine(paint("═══ room " + roomID + " ═══", kRoom));
  room_ = roomID;
  day_.reset();
}

void Transcript::separateDay(const std::optional<Date>& when) {
  if (!when) return;
  const auto seconds = static_cast<std::time_t>(std::floor(when->timeIntervalSince1970()));
  std::tm local{};
  localtime_r(&seconds, &local);
  char label[64];
  std::strftime(label, sizeof label, "%A %e %B %Y", &local);
  if (day_ == label) return;
  if (day_) writeLine("");
  day_ = label;
  writeLine(paint(fmt::format("──── {} ────", label), kDay));
}

std::string Transcript::renderBody(const Body& body, const ChatMessageUser& author) const {
  return finish(rendered(body, author));
}

std::string Transcript::rendered(const Body& body, const ChatMessageUser& author) const {
  return body.visit([&](const auto& payload) -> std::string {
    using T = std::decay_t<decltype(payload)>;
    if constexpr (std::is_same_v<T, TextBody>) {
      const std::string& text = payload.text;
      if (!payload.mentions) return breakLines(text);
      // Paint the mentions from the last to the first so earlier offsets stay valid.
      std::vector<std::pair<std::size_t, std::size_t>> spans;
      for (const auto& mention : *payload.mentions) {
        const auto range = mention.range();
        if (!range || range->length <= 0) continue;
        const auto begin = byteOffsetOfUtf16(text, range->location);
        const auto end = byteOffsetOfUtf16(text, range->location + range->length);
        if (begin && end) spans.emplace_back(*begin, *end);
      }
      std::sort(spans.begin(), spans.end());
      std::string out;
      std::size_t at = 0;
      for (const auto& [begin, end] : spans) {
        if (begin < at) continue;  // overlapping spans: keep the first
        out += breakLines(text.substr(at, begin - at));
        out += paint(breakLines(text.substr(begin, end - begin)), kMention);
        at = end;
      }
      return out + breakLines(text.substr(at));
    } else if constexpr (std::is_same_v<T, ImagesBody>) {
      const auto& images = payload.images();
      std::string sizes;
      for (const auto& image : images) {
        sizes += sizes.empty() ? "" : ", ";
        sizes += sizeOf(image.width, image.height);
      }
      return fmt::format("🖼  {} {}{}", images.size(), images.size() == 1 ? "image" : "images",
                         images.empty() ? "" : ": " + sizes);
    } else if constexpr (std::is_same_v<T, VideoBody>) {
      if (!payload.video) return "▶ a video";
      return fmt::format("▶ video {} ({})",
                         payload.video->duration ? clock(*payload.video->duration) : "?:??",
                         sizeOf(payload.video->width, payload.video->height));
    } else if constexpr (std::is_same_v<T, YoutubeBody>) {
      return fmt::format("▶ YouTube: {}{}", paint(payload.title.value_or("a video"), kTitle),
                         payload.duration ? " (" + clock(*payload.duration) + ")" : "");
    } else if constexpr (std::is_same_v<T, SoundCloudBody>) {
      return fmt::format(
          "♫ SoundCloud: {}{} ({})", paint(payload.title.value_or("a track"), kTitle),
          payload.username ? " by " + *payload.username : "", clock(payload.duration));
    } else if constexpr (std::is_same_v<T, URLBody>) {
      const std::string site =
          hostOf(payload.url().empty() ? payload.originalURL() : payload.url());
      std::string line = payload.text().empty() ? "" : breakLines(payload.text()) + kMark + kBreak;
      return line + fmt::format("🔗 {} — {}", paint(payload.title(), kTitle), site);
    } else if constexpr (std::is_same_v<T, LocationBody>) {
      std::string line = payload.text.empty() ? "" : breakLines(payload.text) + kMark + kBreak;
      return line +
             fmt::format("📍 {} ({})", paint(payload.name, kTitle), coordinatesOf(payload.location));
    } else if constexpr (std::is_same_v<T, HLSBody>) {
      std::string details;
      if (payload.meta && payload.meta->year) details += *payload.meta->year;
      if (payload.meta && payload.meta->imdbRating) {
        details += (details.empty() ? "" : ", ") + ("IMDb " + *payload.meta->imdbRating);
      }
      return fmt::format("🎬 {}{}", paint(payload.title.value_or("a stream"), kTitle),
                         details.empty() ? "" : " (" + details + ")");
    } else if constexpr (std::is_same_v<T, TwitchBody>) {
      return fmt::format("📺 Twitch: {}{}", paint(payload.name.value_or("a channel"), kTitle),
                         payload.game ? " playing " + *payload.game : "");
    } else if constexpr (std::is_same_v<T, EmptyBody>) {
      return "▶ a Vimeo video";
    } else if constexpr (std::is_same_v<T, InfoBody>) {
      return renderEvent(payload, author);
    } else {
      return paint(fmt::format("({})", rawValue(payload.kind)), kDim);
    }
  });
}

std::string Transcript::renderEvent(const InfoBody& event, const ChatMessageUser& author) const {
  const std::string actor = nameOf(author);
  const std::string sentence = event.visit([&](const auto& record) -> std::string {
    using T = std::decay_t<decltype(record)>;
    if constexpr (std::is_same_v<T, AddedInfoBody>) {
      return fmt::format("{} added {}", actor, joinNames(record.recipients));
    } else if constexpr (std::is_same_v<T, BannedInfoBody>) {
      return fmt::format("{} banned {}", actor, joinNames(record.recipients));
    } else if constexpr (std::is_same_v<T, InvitedInfoBody>) {
      return fmt::format("{} invited {}", actor, joinNames(record.recipients));
    } else if constexpr (std::is_same_v<T, JoinedInfoBody>) {
      return fmt::format("{} joined", record.recipients ? joinNames(record.recipients) : actor);
    } else if constexpr (std::is_same_v<T, RoomRequestAcceptedInfoBody>) {
      return fmt::format("{} let {} in", actor, joinNames(record.recipients));
    } else if constexpr (std::is_same_v<T, MessageDeletedInfoBody>) {
      return fmt::format("{} deleted a message", actor);
    } else if constexpr (std::is_same_v<T, RoomRequestInfoBody>) {
      return fmt::format("{} asked to join", actor);
    } else if constexpr (std::is_same_v<T, RoomAccessibilityInfoBody>) {
      return fmt::format("{} set who may enter to “{}”", actor,
                         record.accessibility.value_or("unknown"));
    } else if constexpr (std::is_same_v<T, RoomVisibilityInfoBody>) {
      if (!record.visibility) return fmt::format("{} changed who can see the room", actor);
      switch (*record.visibility) {
        case RoomVisibility::everyone:
          return fmt::format("{} made the room visible to everyone", actor);
        case RoomVisibility::secret:
          return fmt::format("{} made the room secret", actor);
        case RoomVisibility::mutualBasic:
          return fmt::format("{} made the room visible to mutual followers", actor);
      }
      return actor;
    } else if constexpr (std::is_same_v<T, RoomTagsInfoBody>) {
      std::string tags;
      for (const auto& tag : record.tags.value_or(std::vector<std::string>{})) {
        tags += (tags.empty() ? "#" : ", #") + tag;
      }
      return tags.empty() ? fmt::format("{} removed the tags", actor)
                          : fmt::format("{} tagged the room {}", actor, tags);
    } else if constexpr (std::is_same_v<T, RoomTitleInfoBody>) {
      const std::string now = record.title.value_or("");
      if (record.previously && record.previously->title) {
        return fmt::format("{} changed the title from “{}” to “{}”", actor,
                           *record.previously->title, now);
      }
      return fmt::format("{} set the title to “{}”", actor, now);
    } else if constexpr (std::is_same_v<T, RoomTopicInfoBody>) {
      return fmt::format("{} set the topic to “{}”", actor, record.topic.value_or(""));
    } else if constexpr (std::is_same_v<T, RoomCreatedInfoBody>) {
      std::string text = fmt::format("{} created the room", actor);
      if (record.title) text += fmt::format(" “{}”", *record.title);
      if (record.added && !record.added->empty()) text += " with " + joinNames(record.added);
      if (record.invited && !record.invited->empty()) {
        text += " and invited " + joinNames(record.invited);
      }
      return text;
    } else if constexpr (std::is_same_v<T, RoomHistoryClearedInfoBody>) {
      return fmt::format("{} cleared the history", actor);
    } else if constexpr (std::is_same_v<T, RoomCallSummaryInfoBody>) {
      std::string text = fmt::format("call {}", record.status.value_or("ended"));
      if (record.caller) text += fmt::format(": {} called", nameOf(*record.caller));
      if (record.participants && !record.participants->empty()) {
        text += ", with " + joinNames(record.participants);
      }
      return text;
    } else if constexpr (std::is_same_v<T, RoomRequestCreatedInfoBody>) {
      const auto state = record.request ? record.request->state() : std::nullopt;
      return fmt::format("{} asked to go live{}", actor, state ? " (" + *state + ")" : "");
    } else if constexpr (std::is_same_v<T, UserPresentInfoBody>) {
      if (record.media && record.media->body) {
        return fmt::format("{} is here with: {}", actor, rendered(*record.media->body, author));
      }
      return fmt::format("{} is here", actor);
    } else {
      return actor;
    }
  });
  return paint("· " + sentence, kEvent);
}

void Transcript::add(const ChatMessage& message) {
  enterRoom(message.roomID);
  separateDay(message.createdAt);
  std::string time = "--:--";
  if (message.createdAt) {
    const auto seconds =
        static_cast<std::time_t>(std::floor(message.createdAt->timeIntervalSince1970()));
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[8];
    std::strftime(text, sizeof text, "%H:%M", &local);
    time = text;
  }
  std::string status;
  if (message.sentStatus == MessageSentStatus::sending) status = paint("  (sending…)", kDim);
  if (message.sentStatus == MessageSentStatus::failed) {
    status = paint("  (failed to send)", kFailure);
  }
  const std::string body = rendered(message.body, message.user);
  if (message.body.bodyType() == BodyType::info) {
    writeLine(fmt::format("{}  {}{}", paint(time, kDim), body, status));
  } else {
    writeLine(fmt::format("{}  {} {}{}", paint(time, kDim), paint(handleOf(message.user), kAuthor),
                          body, status));
  }
}

void Transcript::addFailure(std::size_t number, const std::string& messageId,
                            const std::string& error, const std::string& place) {
  writeLine(paint(fmt::format("✗ message {} ({}) could not be read: {}{}", number, messageId, error,
                              place.empty() ? "" : " (" + place + ")"),
                  kFailure));
}

int runRoom(const std::string& file, const ReadingSettings& settings) {
  auto input = exports::Input::open(file);
  exports::EnvelopeReader reader(input, readingOptions(settings));
  // Standard output is the transcript alone.
  reader.decoder().diagnosticSink = diagnosticSinkTo(stderr);
  Transcript transcript(stdout, wantsColour(stdout));
  bool failed = false;
  try {
    while (const auto result = reader.next()) {
      if (result->message) {
        transcript.add(*result->message);
      } else {
        failed = true;
        transcript.addFailure(result->number, result->messageId, describeFailure(result->failure),
                              result->describePlace());
      }
    }
  } catch (const DecodingError&) {
    return reportFailure(std::current_exception());  // an array whose frame is broken
  }
  return failed ? 1 : 0;
}

}  // namespace tovanel::chat::tool
