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

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/base/TypeList.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/info/InfoType.hpp"
#include "tovanel/chat/coding/Record.hpp"

namespace tovanel::chat {

namespace coding::direct {
class Cursor;
}  // namespace coding::direct

namespace detail {
/// True when each of `kindCount` kinds has a record in `List`.
template <class List, std::size_t kindCount>
constexpr bool everyKindHasARecord() {
  for (const std::size_t record : recordOfKind<List, kindCount>()) {
    if (record == List::size) return false;
  }
  return true;
}
/// A variant of the records of `List` in the order of their kinds.
template <class List, std::size_t... kind>
auto variantByKind(std::index_sequence<kind...>)
    -> std::variant<typename TypeAt<List, recordOfKind<List, sizeof...(kind)>()[kind]>::type...>;
}  // namespace detail

static_assert(detail::everyKindHasARecord<InfoRecords, RawValues<InfoType>::values.size()>(),
              "every kind of InfoType needs its record in InfoRecords");

/// A system event: its kind and the event record of that kind.
class TOVANEL_CHAT_API InfoBody {
 public:
  static constexpr BodyType kind = BodyType::info;  ///< the body kind of this payload

  /// The cases are the kinds; the kind roomRequestCreated selects the case roomRequestToGoLive,
  /// its second name.
  using Case = InfoType;

  /// One record per case, in case order.
  using Records = decltype(detail::variantByKind<InfoRecords>(
      std::make_index_sequence<RawValues<InfoType>::values.size()>{}));

  /// What reads an event's kind: the required key "type", as an InfoType. It decodes only.
  class GenericInfoBody {
   public:
    /// Reads the event's kind (throws DecodingError).
    static GenericInfoBody decode(const Decoder& decoder) {
      return decoder.decode<GenericInfoBody>();
    }
    static coding::Status tryDecode(const Decoder& decoder, GenericInfoBody& out) {
      return coding::Access::decodeFields(decoder, out);
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

  /// The event of the record's kind.
  template <class T>
  requires detail::ListContains<InfoRecords, T>::value explicit InfoBody(T record)
      : records_(std::in_place_type<T>, std::move(record)) {}

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
  /// Decodes the record of a known kind from the object at the decoder's place (its "type" is
  /// read as the record reads it, and does not choose the record). A record that fails to decode
  /// writes a diagnostic line first; the error is thrown unchanged.
  static InfoBody decode(const Decoder& decoder, InfoType kind);
  /// The checking form of decode.
  static coding::Status tryDecode(const Decoder& decoder, InfoBody& out);
  /// The checking form of decode with a known kind.
  static coding::Status tryDecode(const Decoder& decoder, InfoType kind, InfoBody& out);

  /// The direct reader's reading of an event (coding/DirectReader.hpp): false to decline, and
  /// for an event whose first key is not "type".
  static bool readDirect(coding::direct::Cursor& cursor, InfoBody& out);

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
  /// The hash with the process's seed.
  std::uint64_t hashValue() const noexcept { return hashValueOf(*this); }

 private:
  friend struct coding::Access;
  explicit InfoBody(coding::detail::Unfilled) noexcept
      : records_(std::in_place_type<RoomHistoryClearedInfoBody>) {}

  Records records_;
};

}  // namespace tovanel::chat

template <>
struct std::hash<tovanel::chat::InfoBody> {
  std::size_t operator()(const tovanel::chat::InfoBody& info) const noexcept {
    return static_cast<std::size_t>(info.hashValue());
  }
};
