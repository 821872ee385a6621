#pragma once
// The fifteen kinds of message body, and the payload records of the kinds that have one. A body's
// JSON does not name its kind: the enclosing record carries it beside the body (see
// BodyTypeBox.hpp for how it reaches the body's decoding).
//
// This file is the one list of body kinds: a new kind is its enumerator, its raw value, its record's
// declaration and list entry here, and its record's header included at the end; nothing else
// names the kinds. The info kind's record is the one exception: InfoBody holds every event record
// by value, and an event may hold a Body, so InfoBody.hpp is included by those who need it (the
// event kinds have their own list, in InfoType.hpp).

#include <array>
#include <cstdint>
#include <string_view>

#include "tovanel/chat/base/RawValue.hpp"
#include "tovanel/chat/base/TypeList.hpp"

namespace tovanel::chat {

/// Positions matter: they are fed to the hash of Body.
enum class BodyType : std::uint8_t {
  action,
  app,
  event,
  hint,
  hls,
  images,
  info,
  location,
  soundcloud,
  text,
  twitch,
  url,
  video,
  vimeo,
  youtube,
};

/// The raw values of BodyType: the case names.
template <>
struct RawValues<BodyType> {
  static constexpr std::string_view typeName = "BodyType";  ///< as errors name it
  /// In case order.
  static constexpr auto values = std::to_array<std::string_view>(
      {"action", "app", "event", "hint", "hls", "images", "info", "location", "soundcloud", "text",
       "twitch", "url", "video", "vimeo", "youtube"});
};

struct HLSBody;
struct ImagesBody;
class InfoBody;
struct LocationBody;
struct SoundCloudBody;
struct TextBody;
struct TwitchBody;
struct URLBody;
struct VideoBody;
struct YoutubeBody;
template <auto Kind>
struct EmptyRecord;

/// The payload records, in any order; each names its kind as `T::kind`. The kinds that no record
/// names (action, app, event and hint) have no payload. Body's dispatch is generated from this
/// list.
using BodyPayloads =
    TypeList<HLSBody, ImagesBody, InfoBody, LocationBody, SoundCloudBody, TextBody, TwitchBody,
             URLBody, VideoBody, EmptyRecord<BodyType::vimeo>, YoutubeBody>;

}  // namespace tovanel::chat

// The payload records themselves, after the list: each of their headers includes this one for
// its kind, so they come last, and any header that includes BodyType.hpp sees them all.
#include "tovanel/chat/body/EmptyBody.hpp"
#include "tovanel/chat/body/content/HLSBody.hpp"
#include "tovanel/chat/body/content/ImagesBody.hpp"
#include "tovanel/chat/body/content/LocationBody.hpp"
#include "tovanel/chat/body/content/SoundCloudBody.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/body/content/TwitchBody.hpp"
#include "tovanel/chat/body/content/URLBody.hpp"
#include "tovanel/chat/body/content/VideoBody.hpp"
#include "tovanel/chat/body/content/YoutubeBody.hpp"
