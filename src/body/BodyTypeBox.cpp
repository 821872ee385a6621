#include "tovanel/chat/body/BodyTypeBox.hpp"

#include <any>

namespace tovanel::chat {

const CodingUserInfoKey& bodyTypeKey() {
  static const CodingUserInfoKey key("bodyType");
  return key;
}

void prepareForBodyDecoding(JSONDecoder& decoder) {
  decoder.userInfo.insert_or_assign(bodyTypeKey(),
                                    std::any(coding::BoxFactory::make<BodyType>()));
}

BodyTypeBox* bodyType(const UserInfo& userInfo) noexcept {
  return coding::findBox<BodyType>(userInfo, bodyTypeKey());
}

}  // namespace tovanel::chat
