// Reading a decoded body: its kind, the payload record of that kind, and the system event that an
// info body holds.

#include <string>
#include <string_view>
#include <type_traits>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;

namespace {

// [describe]
// One line per body, whatever its kind: visit calls the function with the payload record.
std::string describe(const chat::Body& body) {
  return body.visit([&body](const auto& payload) -> std::string {
    using Payload = std::decay_t<decltype(payload)>;
    if constexpr (std::is_same_v<Payload, chat::TextBody>) {
      return "text: " + payload.text;
    } else if constexpr (std::is_same_v<Payload, chat::ImagesBody>) {
      return std::to_string(payload.images().size()) + " pictures";
    } else if constexpr (std::is_same_v<Payload, chat::InfoBody>) {
      return "a system event";
    } else if constexpr (std::is_same_v<Payload, chat::Body::NoPayload>) {
      return std::string(chat::rawValue(payload.kind)) + ", without a payload";
    } else {
      return std::string(chat::rawValue(body.bodyType()));
    }
  });
}
// [describe]

}  // namespace

int main() {
  // [decodeAs]
  chat::JSONDecoder decoder;
  chat::BodyTypeBox& box = chat::prepareForBodyDecoding(decoder);
  // The envelope's part of the hand-off, for a body on its own: the kind, then the body.
  const auto decodeAs = [&decoder, &box](chat::BodyType kind, std::string_view json) {
    box.value = kind;
    return decoder.decode<chat::Body>(json);
  };
  // [decodeAs]

  // [get]
  const chat::Body body = decodeAs(chat::BodyType::text, R"({"text": "see you at 9"})");
  std::string shown;
  if (const chat::TextBody* text = body.get<chat::TextBody>()) {
    shown = text->text;  // "see you at 9"; body.bodyType() is BodyType::text
  }
  // body.get<chat::ImagesBody>() is null: the body is of another kind
  // [get]
  guide::expectEqual(shown, std::string("see you at 9"), "a text body's payload");
  guide::expect(body.get<chat::ImagesBody>() == nullptr, "no pictures in a text body");

  guide::expectEqual(describe(body), std::string("text: see you at 9"), "a text body described");
  guide::expectEqual(describe(decodeAs(chat::BodyType::images, R"({"images": [{}, {}]})")),
                     std::string("2 pictures"), "a picture body described");
  guide::expectEqual(describe(decodeAs(chat::BodyType::hint, "{}")),
                     std::string("hint, without a payload"), "a hint described");
  guide::expectEqual(describe(decodeAs(chat::BodyType::vimeo, "{}")), std::string("vimeo"),
                     "a vimeo body described");

  // [info]
  const chat::Body event = decodeAs(
      chat::BodyType::info,
      R"({"type": "room_title", "title": "Lisbon 🇵🇹", "previously": {"title": "Lisbon"}})");
  const chat::InfoBody& info = *event.get<chat::InfoBody>();
  // info.infoCase() is InfoBody::Case::roomTitle: the event's own "type" chose the record
  const chat::RoomTitleInfoBody* retitled = info.get<chat::RoomTitleInfoBody>();
  // retitled->title is "Lisbon 🇵🇹", retitled->previously->title is "Lisbon"
  // [info]
  guide::expect(info.infoCase() == chat::InfoBody::Case::roomTitle, "a room-title event");
  guide::expect(retitled != nullptr && retitled->title == "Lisbon 🇵🇹" && retitled->previously &&
                    retitled->previously->title == "Lisbon",
                "the new and the previous title");
  return 0;
}
