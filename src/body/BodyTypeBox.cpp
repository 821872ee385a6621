#include "tovanel/chat/body/BodyTypeBox.hpp"

#include <any>

namespace tovanel::chat {

const CodingUserInfoKey& bodyTypeKey() {
  static const CodingUserInfoKey key("bodyType");
  return key;
}

BodyTypeBox& prepareForBodyDecoding(JSONDecoder& decoder) {
  std::shared_ptr<BodyTypeBox> box(new BodyTypeBox());
  BodyTypeBox& installed = *box;
  decoder.userInfo.insert_or_assign(bodyTypeKey(), std::any(std::move(box)));
  return installed;
}

BodyTypeBox* bodyType(const UserInfo& userInfo) noexcept {
  return coding::detail::findBox<BodyType>(userInfo, bodyTypeKey());
}

BodyTypeBox* bodyType(const JSONDecoder& decoder) noexcept { return bodyType(decoder.userInfo); }

BodyTypeBox* bodyType(const Decoder& decoder) noexcept { return bodyType(decoder.userInfo()); }

}  // namespace tovanel::chat
