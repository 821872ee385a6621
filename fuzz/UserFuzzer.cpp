// Decodes a user from JSON. A user decodes or fails with a DecodingError; a decoded user's copies
// equal it and hash alike, and its "@" name exists exactly when it was not deleted.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "FuzzSupport.hpp"
#include "tovanel/chat/message/ChatMessageUser.hpp"

using namespace tovanel::chat;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  JSONDecoder decoder;
  const auto user = fuzz::decodeOrNothing([&] {
    return decoder.decode<ChatMessageUser>(
        std::string_view(reinterpret_cast<const char*>(data), size));
  });
  if (!user) return 0;
  fuzz::checkValue(*user);
  const auto atUsername = user->atUsername();
  TOVANEL_FUZZ_CHECK(atUsername.has_value() == !user->userWasDeletedOnTheBackend());
  TOVANEL_FUZZ_CHECK(!atUsername || *atUsername == "@" + *user->username);
  return 0;
}
