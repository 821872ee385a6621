// Encoding a reply: a text body that mentions the person it answers, handed to the repository as
// a NewChatMessage, and written as JSON under the application's own envelope.

#include <optional>
#include <string>
#include <vector>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;

namespace {

// [envelope]
// The application's outgoing envelope: the body's kind travels beside the body, as it does on
// the way in. Any type with `void encode(chat::Encoder&) const` can be encoded.
struct OutgoingEnvelope {
  std::string roomID;
  chat::Body body;

  void encode(chat::Encoder& encoder) const {
    chat::KeyedEncodingContainer envelope = encoder.container();  // closes when destroyed
    envelope.encode("roomId", roomID);
    envelope.encode("type", body.bodyType());
    envelope.encode("body", body);
  }
};
// [envelope]

}  // namespace

int main() {
  // [reply]
  chat::TextBody reply("@anna the café opens at 9",
                       std::vector<chat::TextBody::Mention>{{"u-anna", 0, 5}});
  chat::NewChatMessage outgoing("r-lisbon-weekend", reply);  // for ChatMessageRepository::send

  const std::string json =
      chat::JSONEncoder().encode(OutgoingEnvelope{outgoing.roomID, outgoing.body});
  // {"roomId":"r-lisbon-weekend","type":"text","body":{"text":"@anna the café opens at 9",
  //  "mentions":[{"userId":"u-anna","rangeStart":0,"rangeEnd":5}]}}
  // [reply]
  guide::expectEqual(json,
                     std::string(R"({"roomId":"r-lisbon-weekend","type":"text","body":{"text":)"
                                 R"("@anna the café opens at 9","mentions":[{"userId":"u-anna",)"
                                 R"("rangeStart":0,"rangeEnd":5}]}})"),
                     "the reply's envelope");

  // [presence]
  const std::string withoutMentions =
      chat::JSONEncoder().encode(chat::TextBody("ok", std::nullopt));
  const std::string withNoMentions =
      chat::JSONEncoder().encode(chat::TextBody("ok", std::vector<chat::TextBody::Mention>{}));
  // {"text":"ok"} and {"text":"ok","mentions":[]}: an absent optional writes no key, never null
  // [presence]
  guide::expectEqual(withoutMentions, std::string(R"({"text":"ok"})"), "an absent list");
  guide::expectEqual(withNoMentions, std::string(R"({"text":"ok","mentions":[]})"),
                     "an empty list");

  // [formatting]
  chat::JSONEncoder readable;
  readable.outputFormatting.prettyPrinted = true;  // newlines, two-space indentation
  readable.outputFormatting.sortedKeys = true;     // members ordered by key
  const std::string text = readable.encode(chat::TextBody("ok", std::nullopt));
  // [formatting]
  guide::expectEqual(text, std::string("{\n  \"text\": \"ok\"\n}"), "pretty-printed text");
  return 0;
}
