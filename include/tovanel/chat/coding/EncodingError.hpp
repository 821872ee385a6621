#pragma once
// The error of a failed encode: a value that JSON cannot hold (NaN, an infinity, text that is
// not UTF-8), with the coding path where it stood.

#include <stdexcept>
#include <string>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingKey.hpp"

namespace tovanel::chat {

class TOVANEL_CHAT_API EncodingError : public std::exception {
 public:
  EncodingError(CodingPath codingPath, std::string debugDescription);

  const CodingPath& codingPath() const noexcept { return codingPath_; }
  const std::string& debugDescription() const noexcept { return debugDescription_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  CodingPath codingPath_;
  std::string debugDescription_;
  std::string description_;
};

}  // namespace tovanel::chat
