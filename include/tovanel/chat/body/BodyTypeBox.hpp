#pragma once
// The hand-off of a body's kind. A body's JSON does not name its kind, so the enclosing record
// passes it through the decoder's user information:
//  1. the application calls prepareForBodyDecoding(decoder) once: an empty box is installed
//     under the key "bodyType" (and returned, for a body decoded on its own:
//     `prepareForBodyDecoding(decoder).value = BodyType::text;`);
//  2. the enclosing record decodes its kind and writes it into the box
//     (`if (BodyTypeBox* box = bodyType(decoder)) box->value = kind;`);
//  3. it then decodes its body field as a Body, which reads the kind from the box.
// The library never clears the box: a kind stays until the next one is written, also across
// runs of the same decoder. One run at a time per decoder: the box has no lock.

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/body/BodyType.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"

namespace tovanel::chat {

/// The box that carries a body's kind from the enclosing record to Body::decode.
using BodyTypeBox = CodingUserInfoValue<BodyType>;

/// The user-information key "bodyType", made once on first use.
TOVANEL_CHAT_API const CodingUserInfoKey& bodyTypeKey();

/// Installs a fresh, empty body-type box in the decoder's user information, replacing whatever
/// was stored under the key, and returns it. The box lives as long as the decoder keeps it.
TOVANEL_CHAT_API BodyTypeBox& prepareForBodyDecoding(JSONDecoder& decoder);

/// The body-type box in this user information, or null when there is none (an entry of another
/// type under the key counts as none).
TOVANEL_CHAT_API BodyTypeBox* bodyType(const UserInfo& userInfo) noexcept;
/// The body-type box of the decoder's user information, or null when it was not prepared.
TOVANEL_CHAT_API BodyTypeBox* bodyType(const JSONDecoder& decoder) noexcept;
/// The body-type box of the user information of the decode that `decoder` belongs to, or null.
TOVANEL_CHAT_API BodyTypeBox* bodyType(const Decoder& decoder) noexcept;

}  // namespace tovanel::chat
