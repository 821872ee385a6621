#include "tovanel/chat/body/info/UserPresentInfoBody.hpp"

#include "tovanel/chat/body/BodyTypeBox.hpp"

namespace tovanel::chat {

bool UserPresentInfoBody::Media::decodeInto(const Decoder& decoder, Media& out) {
  const auto container = decoder.keyedContainer();
  if (!container) return false;
  // The keys are read as the table states them (tolerantly); only the hand-off of the kind sits
  // between "type" and "body".
  constexpr auto fields = codingFields();
  static_assert(std::get<1>(fields).key == "type" && std::get<2>(fields).key == "body");
  if (!coding::readField(*container, out, std::get<0>(fields))) return false;
  if (!coding::readField(*container, out, std::get<1>(fields))) return false;
  // An empty kind is written too, so that the body never sees a kind left in the box by an
  // enclosing record (the info kind of the message holding this event).
  if (BodyTypeBox* box = bodyType(decoder.userInfo())) box->value = out.type;
  if (!coding::readField(*container, out, std::get<2>(fields))) return false;
  return true;
}

}  // namespace tovanel::chat
