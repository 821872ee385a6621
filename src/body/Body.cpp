// Body's dispatch: one table row per kind says how its payload decodes, encodes, compares,
// hashes and is destroyed. The rows are generated from BodyPayloads.

#include "tovanel/chat/body/Body.hpp"

#include <array>
#include <memory>

#include "body/DiagnosticLine.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/body/info/InfoBody.hpp"
#include "tovanel/chat/coding/Codec.hpp"
#include "tovanel/chat/coding/DirectReader.hpp"

namespace tovanel::chat {

template <class T>
struct BodyPayloadOps {
  using Box = detail::BodyPayloadBox<T>;
  static const T& payload(const detail::BodyPayloadHeader* header) {
    return static_cast<const Box*>(header)->value;
  }
  static coding::Status decode(const Decoder& decoder, Body& out) {
    // Decoded in place, in the allocation the body will keep.
    auto box = coding::Access::decodeHeld<T, Box>(decoder, T::kind);
    if (!box) return box.status();
    out = Body(static_cast<const detail::BodyPayloadHeader*>(box->release()));
    return {};
  }
  static bool readDirect(coding::direct::Cursor& cursor, Body& out) {
    if (out.holdsUnsharedPayload() && out.header()->kind == T::kind) {
      // No other body shares the payload: it is read again where it is.
      return coding::direct::readValue(
          cursor, const_cast<Box*>(static_cast<const Box*>(out.header()))->value);
    }
    // Otherwise into the payload of this kind that the decoder kept, or a new one; the payload
    // the body gives up is kept in turn.
    constexpr std::size_t slot = position(T::kind);
    std::unique_ptr<Box> box(
        static_cast<Box*>(static_cast<detail::BodyPayloadHeader*>(cursor.takeSpare(slot))));
    if (!box) box = std::make_unique<Box>(T::kind, coding::Access::construct<T>());
    if (!coding::direct::readValue(cursor, box->value)) {
      cursor.setAside(slot, static_cast<detail::BodyPayloadHeader*>(box.release()), &destroy);
      return false;
    }
    out.setAside(cursor);
    out = Body(static_cast<const detail::BodyPayloadHeader*>(box.release()));
    return true;
  }
  static void encode(const detail::BodyPayloadHeader* header, Encoder& encoder) {
    coding::Codec<T>::encode(encoder, payload(header));
  }
  static bool equal(const detail::BodyPayloadHeader* a, const detail::BodyPayloadHeader* b) {
    return payload(a) == payload(b);
  }
  static void hash(const detail::BodyPayloadHeader* header, Hasher& hasher) {
    payload(header).hashInto(hasher);
  }
  static void hashRef(const detail::BodyPayloadHeader* header, HasherRef& hasher) {
    payload(header).hashInto(hasher);
  }
  // Of a header, as void* for the decoder's spare payloads.
  static void destroy(void* header) noexcept {
    delete static_cast<Box*>(static_cast<detail::BodyPayloadHeader*>(header));
  }
};

namespace {

struct PayloadOps {
  coding::Status (*decode)(const Decoder&, Body&) = nullptr;  // null: a kind without payload
  bool (*readDirect)(coding::direct::Cursor&, Body&) = nullptr;
  void (*encode)(const detail::BodyPayloadHeader*, Encoder&) = nullptr;
  bool (*equal)(const detail::BodyPayloadHeader*, const detail::BodyPayloadHeader*) = nullptr;
  void (*hash)(const detail::BodyPayloadHeader*, Hasher&) = nullptr;
  void (*hashRef)(const detail::BodyPayloadHeader*, HasherRef&) = nullptr;
  void (*destroy)(void*) noexcept = nullptr;
};

// Payloads without fields are kept inline, like the kinds without a payload.
template <class T>
constexpr PayloadOps opsFor() {
  if constexpr (std::is_empty_v<T>) {
    return {};
  } else {
    using Ops = BodyPayloadOps<T>;
    return {&Ops::decode, &Ops::readDirect, &Ops::encode, &Ops::equal,
            &Ops::hash,   &Ops::hashRef,    &Ops::destroy};
  }
}

// Each kind's row: its record's operations, or none for a kind that no record names.
constexpr std::size_t kKindCount = RawValues<BodyType>::values.size();

template <class... T>
constexpr std::array<PayloadOps, kKindCount> opsTable(TypeList<T...>) {
  std::array<PayloadOps, kKindCount> table{};
  ((table[position(T::kind)] = opsFor<T>()), ...);
  return table;
}

// Refuses a list where two records name one kind, or a record names a kind beyond BodyType.
static_assert(detail::recordOfKind<BodyPayloads, kKindCount>().size() == kKindCount);
constexpr auto kPayloadOps = opsTable(BodyPayloads{});

const PayloadOps& opsOf(BodyType kind) { return kPayloadOps[position(kind)]; }

constexpr std::string_view kPrepareLine =
    "[Body] Can't decode BodyType. Prepare your JSONDecoder with `prepareForBodyDecoding()`.";
constexpr std::string_view kPayloadFailedLine = "[Body] Can't decode due to error: ";

}  // namespace

Body::BodyDecodingError::BodyDecodingError()
    : Error(
          "bodyTypeMissing: the decoder holds no body kind; prepare it with "
          "prepareForBodyDecoding() and write the kind into its box before decoding a body") {}

void Body::release() noexcept {
  if (isInline()) return;
  const auto* payload = header();
  if (payload->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    opsOf(payload->kind).destroy(const_cast<detail::BodyPayloadHeader*>(payload));
  }
  bits_ = 0;
}

void Body::setAside(coding::direct::Cursor& cursor) noexcept {
  if (!holdsUnsharedPayload()) return;
  const BodyType kind = header()->kind;
  cursor.setAside(position(kind), const_cast<detail::BodyPayloadHeader*>(header()),
                  opsOf(kind).destroy);
  bits_ = 0;  // as release() leaves it
}

coding::Status Body::tryDecode(const Decoder& decoder, Body& out) {
  const BodyTypeBox* box = tovanel::chat::bodyType(decoder);
  if (box == nullptr || !box->value) {
    detail::writeDiagnosticLine(decoder, kPrepareLine);
    return decoder.failure(std::make_exception_ptr(BodyDecodingError()));
  }
  return tryDecode(decoder, *box->value, out);
}

coding::Status Body::tryDecode(const Decoder& decoder, BodyType kind, Body& out) {
  const PayloadOps& ops = opsOf(kind);
  if (ops.decode == nullptr) {
    out = Body(kind);  // nothing is read, whatever the value holds
    return {};
  }
  coding::Status status = ops.decode(decoder, out);
  if (!status) detail::writeDiagnosticLine(decoder, kPayloadFailedLine, status);
  return status;
}

bool Body::readDirect(coding::direct::Cursor& cursor, Body& out) {
  const auto kind = cursor.bodyKind();
  if (!kind) return false;
  const PayloadOps& ops = opsOf(*kind);
  if (ops.readDirect == nullptr) {
    if (!cursor.skip()) return false;  // nothing is read, but the value must be JSON
    out = Body(*kind);
    return true;
  }
  return ops.readDirect(cursor, out);
}

Body Body::decode(const Decoder& decoder) {
  Body out;
  if (coding::Status status = tryDecode(decoder, out); !status) status.raise();
  return out;
}

Body Body::decode(const Decoder& decoder, BodyType kind) {
  Body out;
  if (coding::Status status = tryDecode(decoder, kind, out); !status) status.raise();
  return out;
}

void Body::encode(Encoder& encoder) const {
  if (isInline()) return;
  opsOf(header()->kind).encode(header(), encoder);
}

bool operator==(const Body& a, const Body& b) {
  const BodyType kind = a.bodyType();
  if (kind != b.bodyType()) return false;
  if (a.isInline()) return true;
  return opsOf(kind).equal(a.header(), b.header());
}

void Body::hashPayload(Hasher& hasher) const { opsOf(header()->kind).hash(header(), hasher); }

void Body::hashPayload(HasherRef& hasher) const { opsOf(header()->kind).hashRef(header(), hasher); }

}  // namespace tovanel::chat
