// Code the library must refuse to compile, one case per macro REFUSED_<case>; tests/CMakeLists.txt
// names the diagnostic each case must stop at.

#include <vector>

#include "tovanel/chat.hpp"

using namespace tovanel::chat;

#if defined(REFUSED_access)
// A location made in place, with no decoding to fill it, through the coding machinery.
void refused(const Decoder& decoder, std::vector<LocationBody::Location>& places) {
  static_cast<void>(coding::Access::decodeAppended(decoder, places));
}
#elif defined(REFUSED_encode_message)
void refused(const ChatMessage& message) { JSONEncoder().encode(message); }
#endif
