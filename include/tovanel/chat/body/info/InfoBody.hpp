#pragma once
// A system event: one of the seventeen kinds of InfoType, holding the event record of its kind by
// value. An event names its own kind in its "type" key, which selects the record; the record then
// reads its keys, "type" included, from the same object.

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/body/info/KindOnlyInfoBody.hpp"
#include "tovanel/chat/body/info/MembershipInfoBody.hpp"
#include "tovanel/chat/body/info/RoomAccessibilityInfoBody.hpp"
#include "tovanel/chat/body/info/RoomCallSummaryInfoBody.hpp"
#include "tovanel/chat/body/info/RoomCreatedInfoBody.hpp"
#include "tovanel/chat/body/info/RoomHistoryClearedInfoBody.hpp"
#include "tovanel/chat/body/info/RoomRequestCreatedInfoBody.hpp"
#include "tovanel/chat/body/info/RoomTagsInfoBody.hpp"
#include "tovanel/chat/body/info/RoomTitleInfoBody.hpp"
#include "tovanel/chat/body/info/RoomTopicInfoBody.hpp"
#include "tovanel/chat/body/info/RoomVisibilityInfoBody.hpp"
#include "tovanel/chat/body/info/UserPresentInfoBody.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

class InfoBody {
 public:
  /// The cases, in the order of InfoType (whose positions they share, fed to the hash). The kind
  /// roomRequestCreated selects the case roomRequestToGoLive.
  enum class Case : std::uint8_t {
    added,
    banned,
    invited,
    joined,
    messageDeleted,
    roomAccessibility,
    roomCallSummary,
    roomCreated,
    roomHistoryCleared,
    roomRequestedToJoin,
    roomRequestToJoinAccepted,
    roomRequestToGoLive,
    roomTags,
    roomTitle,
    roomTopic,
    roomVisibility,
    userPresent,
  };

  /// One record per case, in case order.
  using Records =
      std::variant<AddedInfoBody, BannedInfoBody, InvitedInfoBody, JoinedInfoBody,
                   MessageDeletedInfoBody, RoomAccessibilityInfoBody, RoomCallSummaryInfoBody,
                   RoomCreatedInfoBody, RoomHistoryClearedInfoBody, RoomRequestInfoBody,
                   RoomRequestAcceptedInfoBody, RoomRequestCreatedInfoBody, RoomTagsInfoBody,
                   RoomTitleInfoBody, RoomTopicInfoBody, RoomVisibilityInfoBody,
                   UserPresentInfoBody>;

  /// What reads an event's kind: the required key "type", as an InfoType. It decodes only.
  class GenericInfoBody {
   public:
    static GenericInfoBody decode(const Decoder& decoder) {
      return decoder.decode<GenericInfoBody>();
    }
    static bool decodeInto(const Decoder& decoder, GenericInfoBody& out) {
      return coding::decodeFields(decoder, out);
    }

   private:
    friend struct coding::Access;
    friend class InfoBody;
    GenericInfoBody() = default;
    static constexpr auto codingFields() {
      return std::tuple{coding::requiredKey("type", &GenericInfoBody::type)};
    }
    InfoType type = InfoType::added;
  };

  /// The event of the record's case.
  template <class T>
  requires std::is_constructible_v<Records, std::in_place_type_t<T>, T>
  explicit InfoBody(T record) : records_(std::in_place_type<T>, std::move(record)) {}

  Case infoCase() const noexcept { return static_cast<Case>(records_.index()); }

  /// The record when the event is of T's case, else null.
  template <class T>
  const T* get() const noexcept {
    return std::get_if<T>(&records_);
  }

  /// Calls `f` with the record.
  template <class F>
  decltype(auto) visit(F&& f) const {
    return std::visit(std::forward<F>(f), records_);
  }

  /// Decodes an event from the object at the decoder's place. A kind that cannot be read fails
  /// silently; a record that fails to decode writes a diagnostic line first. Either way the error
  /// is thrown unchanged.
  static InfoBody decode(const Decoder& decoder) { return decoder.decode<InfoBody>(); }
  /// The checking form: false after the failure is recorded in the decoder's run.
  static bool decodeInto(const Decoder& decoder, InfoBody& out);

  /// The record writes itself at the encoder's place; the case writes nothing of its own, so the
  /// "type" written is the record's.
  void encode(Encoder& encoder) const;

  friend bool operator==(const InfoBody& a, const InfoBody& b) { return a.records_ == b.records_; }

  /// The case's position as a 64-bit word, then the record's own input.
  template <class H>
  void hashInto(H& hasher) const {
    hasher.combine(static_cast<std::uint64_t>(records_.index()));
    std::visit([&hasher](const auto& record) { record.hashInto(hasher); }, records_);
  }
  std::uint64_t hashValue() const noexcept { return hashValueOf(*this); }

 private:
  friend struct coding::Access;
  InfoBody() noexcept : records_(std::in_place_type<RoomHistoryClearedInfoBody>) {}

  Records records_;
};

static_assert(std::variant_size_v<InfoBody::Records> == RawValues<InfoType>::values.size());
// Cases, kinds and records share their positions.
static_assert(static_cast<std::size_t>(InfoBody::Case::roomRequestToGoLive) ==
              position(InfoType::roomRequestCreated));
static_assert(static_cast<std::size_t>(InfoBody::Case::userPresent) ==
              position(InfoType::userPresent));
static_assert(std::is_same_v<RoomRequestCreatedInfoBody,
                             std::variant_alternative_t<position(InfoType::roomRequestCreated),
                                                        InfoBody::Records>>);

}  // namespace tovanel::chat

template <>
struct std::hash<tovanel::chat::InfoBody> {
  std::size_t operator()(const tovanel::chat::InfoBody& info) const noexcept {
    return static_cast<std::size_t>(info.hashValue());
  }
};
