#pragma once
// A message body: one of the fifteen kinds of BodyType, holding the payload record of its kind.
// A Body is one pointer wide. Its payload lives in an immutable, reference-counted allocation
// that copies share (the counts are thread-safe); the four payload-less kinds (action, app,
// event, hint) and vimeo allocate nothing.
//
// This header brings every payload record with it through the list of kinds in BodyType.hpp, but
// one: InfoBody, the info kind's, which holds events that may hold a Body, so it comes with
// InfoBody.hpp (or <tovanel/chat.hpp>).

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <type_traits>
#include <utility>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/base/Hasher.hpp"
#include "tovanel/chat/base/HasherRef.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/body/EmptyBody.hpp"
#include "tovanel/chat/coding/Decoder.hpp"
#include "tovanel/chat/coding/Encoder.hpp"

namespace tovanel::chat {

namespace coding::direct {
class Cursor;
}  // namespace coding::direct

/// A record of BodyPayloads: the payload of the kind it names as `T::kind`.
template <class T>
concept BodyPayload = detail::ListContains<BodyPayloads, T>::value;

namespace detail {
struct BodyPayloadHeader {
  mutable std::atomic<std::uint32_t> references{1};
  BodyType kind;
};
template <class T>
struct BodyPayloadBox : BodyPayloadHeader {
  BodyPayloadBox(BodyType k, T v) : BodyPayloadHeader{{1}, k}, value(std::move(v)) {}
  T value;
};
}  // namespace detail

/// A message body: its kind and the payload record of that kind.
class TOVANEL_CHAT_API Body {
 public:
  /// Thrown by the decoding that reads the kind from the body-type box when there is none. Its
  /// `what()` says what was missing and how to prepare the decoder.
  struct TOVANEL_CHAT_API BodyDecodingError : Error {
    /// The one case: no kind in the box.
    enum class Code : std::uint8_t { bodyTypeMissing };
    Code code = Code::bodyTypeMissing;  ///< always bodyTypeMissing

    BodyDecodingError();
    // Written out: a defaulted comparison would need one for the base.
    friend bool operator==(const BodyDecodingError& a, const BodyDecodingError& b) noexcept {
      return a.code == b.code;
    }
    /// Feeds the case's position (0) as a 64-bit word.
    template <class H>
    void hashInto(H& hasher) const {
      hasher.combine(static_cast<std::uint64_t>(code));
    }
  };

  /// What `visit` passes for the four kinds without a payload.
  struct NoPayload {
    BodyType kind;  ///< the body's kind
  };

  /// A body of the kind action (no payload).
  static Body action() noexcept { return Body(BodyType::action); }
  /// A body of the kind app (no payload).
  static Body app() noexcept { return Body(BodyType::app); }
  /// A body of the kind event (no payload).
  static Body event() noexcept { return Body(BodyType::event); }
  /// A body of the kind hint (no payload).
  static Body hint() noexcept { return Body(BodyType::hint); }
  /// A body of the kind vimeo (an EmptyBody payload).
  static Body vimeo() noexcept { return Body(BodyType::vimeo); }
  /// A body of the payload's kind (text for a TextBody, and so on). A payload without fields
  /// (EmptyBody) allocates nothing.
  template <BodyPayload T>
  explicit Body(T payload) noexcept(std::is_empty_v<T>) : Body(T::kind) {
    if constexpr (!std::is_empty_v<T>) {
      bits_ = reinterpret_cast<std::uintptr_t>(static_cast<const detail::BodyPayloadHeader*>(
          new detail::BodyPayloadBox<T>(T::kind, std::move(payload))));
    }
  }

  /// Shares the other body's payload.
  Body(const Body& other) noexcept : bits_(other.bits_) { retain(); }
  /// Takes the other body's payload; the other is left valid, of an unspecified kind.
  Body(Body&& other) noexcept : bits_(std::exchange(other.bits_, 0)) {}
  /// Shares the other body's payload, releasing this one's.
  Body& operator=(const Body& other) noexcept {
    Body copy(other);
    swap(copy);
    return *this;
  }
  /// Takes the other body's payload, releasing this one's.
  Body& operator=(Body&& other) noexcept {
    Body moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~Body() { release(); }
  void swap(Body& other) noexcept { std::swap(bits_, other.bits_); }

  BodyType bodyType() const noexcept {
    return isInline() ? static_cast<BodyType>(bits_) : header()->kind;
  }

  /// The payload when the body is of T's kind, else null. (EmptyBody for vimeo.)
  template <BodyPayload T>
  const T* get() const noexcept;

  /// Calls `f` with the payload (EmptyBody for vimeo, NoPayload for the payload-less kinds).
  template <class F>
  decltype(auto) visit(F&& f) const;

  /// Decodes a body whose kind is in the decoder's body-type box (see prepareForBodyDecoding).
  /// Without a box or a kind: writes a diagnostic line and throws BodyDecodingError.
  static Body decode(const Decoder& decoder);
  /// Decodes a body of a known kind from the value at the decoder's place. When the payload fails
  /// to decode: writes a diagnostic line and throws the payload's error unchanged.
  static Body decode(const Decoder& decoder, BodyType kind);
  /// The checking form of decode.
  static coding::Status tryDecode(const Decoder& decoder, Body& out);
  /// The checking form of decode with a known kind.
  static coding::Status tryDecode(const Decoder& decoder, BodyType kind, Body& out);

  /// The direct reader's reading of a body of the kind handed over (coding/DirectReader.hpp):
  /// false to decline. A payload that no other body shares is read again in place, or, for a
  /// body of another kind, kept by the decoder for the next body of its kind.
  static bool readDirect(coding::direct::Cursor& cursor, Body& out);

  /// Writes the payload at the encoder's place; the payload-less kinds and vimeo write nothing.
  void encode(Encoder& encoder) const;

  friend bool operator==(const Body& a, const Body& b);

  /// Feeds the kind's position as a 64-bit word, then the payload's own input.
  template <class H>
  void hashInto(H& hasher) const {
    hasher.combine(static_cast<std::uint64_t>(position(bodyType())));
    if (isInline()) return;
    if constexpr (std::is_same_v<H, Hasher>) {
      hashPayload(hasher);
    } else {
      HasherRef ref(hasher);
      hashPayload(ref);
    }
  }
  /// The hash with the process's seed.
  std::uint64_t hashValue() const noexcept { return hashValueOf(*this); }

 private:
  friend struct coding::Access;
  template <class T>
  friend struct BodyPayloadOps;
  static constexpr std::size_t kKindCount = RawValues<BodyType>::values.size();

  // Payload-less kinds and vimeo are stored as their position; payloads as their address, which
  // is never that small.
  static constexpr std::uintptr_t kInlineLimit = kKindCount;

  Body() noexcept : Body(BodyType::action) {}
  explicit Body(BodyType inlineKind) noexcept : bits_(static_cast<std::uintptr_t>(inlineKind)) {}
  explicit Body(const detail::BodyPayloadHeader* payload) noexcept
      : bits_(reinterpret_cast<std::uintptr_t>(payload)) {}

  bool isInline() const noexcept { return bits_ < kInlineLimit; }
  const detail::BodyPayloadHeader* header() const noexcept {
    return reinterpret_cast<const detail::BodyPayloadHeader*>(bits_);
  }
  void retain() const noexcept {
    if (!isInline()) header()->references.fetch_add(1, std::memory_order_relaxed);
  }
  // A payload that no other body shares: the direct reader may read into it again.
  bool holdsUnsharedPayload() const noexcept {
    return !isInline() && header()->references.load(std::memory_order_acquire) == 1;
  }
  void release() noexcept;
  // Hands a payload that no other body shares to the direct reader's decoder, to be read into
  // again by the next body of its kind; otherwise leaves the body as it is.
  void setAside(coding::direct::Cursor& cursor) noexcept;
  void hashPayload(Hasher& hasher) const;
  void hashPayload(HasherRef& hasher) const;

  std::uintptr_t bits_;
};

/// Bodies of one kind with equal payloads.
TOVANEL_CHAT_API bool operator==(const Body& a, const Body& b);

static_assert(sizeof(Body) == sizeof(void*));

template <BodyPayload T>
const T* Body::get() const noexcept {
  if constexpr (std::is_empty_v<T>) {
    static constexpr T empty{};
    return bodyType() == T::kind ? &empty : nullptr;
  } else {
    if (isInline() || header()->kind != T::kind) return nullptr;
    return &static_cast<const detail::BodyPayloadBox<T>*>(header())->value;
  }
}

template <class F>
decltype(auto) Body::visit(F&& f) const {
  // One call per kind, generated from the payload list: the payload of the kind's record, or
  // NoPayload for a kind without one.
  using Result = decltype(f(std::declval<const NoPayload&>()));
  using Call = Result (*)(const Body&, F&);
  static constexpr auto calls = []<class... T>(TypeList<T...>) {
    std::array<Call, kKindCount> table{};
    table.fill([](const Body& body, F& g) -> Result { return g(NoPayload{body.bodyType()}); });
    ((table[position(T::kind)] = [](const Body& body, F& g) -> Result {
       return g(*body.get<T>());
     }),
     ...);
    return table;
  }(BodyPayloads{});
  return calls[position(bodyType())](*this, f);
}

}  // namespace tovanel::chat

template <>
struct std::hash<tovanel::chat::Body> {
  std::size_t operator()(const tovanel::chat::Body& body) const noexcept {
    return static_cast<std::size_t>(body.hashValue());
  }
};
