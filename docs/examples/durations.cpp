// Durations: ISO 8601 duration text read into calendar components, and components turned into
// seconds or back into text.

#include <optional>
#include <string>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;

int main() {
  // [formatter]
  const chat::ISO8601DurationFormatter formatter;
  const std::optional<chat::DateComponents> parts = formatter.dateComponents("PT4M13S");
  // parts->minute is 4, parts->second is 13, every other component is absent

  const double seconds = chat::toTimeInterval(*parts);       // 253
  const std::string text = chat::toISO8601Duration(*parts);  // "P0Y0M0W0DT0H4M13S"

  const bool unreadable = !formatter.dateComponents("4 minutes");  // nothing: not ISO 8601
  // [formatter]
  guide::expect(parts && parts->minute == 4 && parts->second == 13 && !parts->hour,
                "minutes and seconds only");
  guide::expectEqual(seconds, 253.0, "the seconds of PT4M13S");
  guide::expectEqual(text, std::string("P0Y0M0W0DT0H4M13S"), "the text written back");
  guide::expect(unreadable, "prose to be no duration");

  // [fixed-units]
  chat::DateComponents month;
  month.month = 1;
  const double monthSeconds = chat::toTimeInterval(month);  // 2592000: a month is 30 days
  // [fixed-units]
  guide::expectEqual(monthSeconds, 2592000.0, "a month of 30 days");

  // [youtube]
  chat::JSONDecoder decoder;
  const chat::YoutubeBody video =
      decoder.decode<chat::YoutubeBody>(R"({"title": "Tram 28", "duration": "PT12M30S"})");
  // video.duration is 750 seconds; it is written back as a number
  // [youtube]
  guide::expect(video.duration == 750.0, "the video's seconds");
  guide::expectEqual(chat::JSONEncoder().encode(video),
                     std::string(R"({"title":"Tram 28","duration":750})"), "the video re-encoded");
  return 0;
}
