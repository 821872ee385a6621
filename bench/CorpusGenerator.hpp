#pragma once
// A deterministic room export for benchmarks: newline-delimited envelopes mixed as a busy room
// mixes them (mostly text with mentions and non-ASCII text, then images, system events of every
// kind, video, YouTube with numeric and ISO 8601 durations, link previews, locations, SoundCloud,
// Twitch, HLS and the payload-less kinds). The same seed gives the same bytes on every machine.

#include <cstddef>
#include <cstdint>
#include <string>

namespace tovanel::chat::bench {

/// What the envelopes hold.
enum class Mix : std::uint8_t {
  room,               ///< every kind, as a busy room mixes them
  roomWithoutEvents,  ///< the same with text in place of system events
  asciiText,          ///< text messages whose every string is ASCII
  nonAsciiText,       ///< text messages whose text is never ASCII (accents, emoji, scripts)
};

/// One envelope as one line of JSON (no newline).
std::string generateEnvelope(std::uint64_t seed, std::size_t index, Mix mix = Mix::room);

/// `count` envelopes, one per line, each followed by a newline.
std::string generateCorpus(std::size_t count, std::uint64_t seed = 2026, Mix mix = Mix::room);

}  // namespace tovanel::chat::bench
