#include "tovanel/chat/body/info/UserPresentInfoBody.hpp"

#include "tovanel/chat/body/BodyTypeBox.hpp"

namespace tovanel::chat {

coding::Status UserPresentInfoBody::Media::tryDecode(const Decoder& decoder, Media& out) {
  const auto container = decoder.tryContainer();
  if (!container) return container.status();
  // The keys are read as the table states them (tolerantly, so they cannot fail); only the
  // hand-off of the kind sits between "type" and "body".
  constexpr auto fields = codingFields();
  static_assert(std::get<1>(fields).key == "type" && std::get<2>(fields).key == "body");
  static_cast<void>(coding::detail::readField(*container, out, std::get<0>(fields)));
  static_cast<void>(coding::detail::readField(*container, out, std::get<1>(fields)));
  // An empty kind is written too, so that the body never sees a kind left in the box by an
  // enclosing record (the info kind of the message holding this event).
  if (BodyTypeBox* box = bodyType(decoder)) box->value = out.type;
  static_cast<void>(coding::detail::readField(*container, out, std::get<2>(fields)));
  return {};
}

}  // namespace tovanel::chat
