#include "tovanel/chat/base/Formatter.hpp"

namespace tovanel::chat {

std::optional<std::string> Formatter::string(const std::any& /*object*/) const {
  return std::nullopt;
}

bool Formatter::getObjectValue(std::any* /*object*/, std::string_view /*text*/,
                               std::string* /*errorDescription*/) const {
  return false;
}

}  // namespace tovanel::chat
