#pragma once
// The base of every exception the libraries throw: DecodingError, EncodingError and
// Body::BodyDecodingError here, exports::InputError and store::StoreError beside them. Catching
// `const Error&` catches them all; each keeps its own kinds.

#include <exception>
#include <string>

#include "tovanel/chat/Export.hpp"

namespace tovanel::chat {

/// What the library throws when it cannot do what it was asked.
class TOVANEL_CHAT_API Error : public std::exception {
 public:
  /// The whole description: the kind, where, and what was wrong.
  const char* what() const noexcept override { return description_.c_str(); }

 protected:
  explicit Error(std::string description) : description_(std::move(description)) {}

 private:
  std::string description_;
};

}  // namespace tovanel::chat
