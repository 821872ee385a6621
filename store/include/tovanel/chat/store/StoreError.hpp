#pragma once
// The error of a message store operation that failed: what went wrong, as a code, and a
// description that names the file, the message or the room concerned.

#include <cstdint>
#include <stdexcept>
#include <string>

#include "tovanel/chat/store/Export.hpp"

namespace tovanel::chat::store {

// Exported so that its type information is one across the library's boundary, for catch clauses.
class TOVANEL_CHAT_STORE_API StoreError : public std::runtime_error {
 public:
  enum class Code : std::uint8_t {
    unknownMessage,  ///< deleteMessage named a message that the room does not hold
    schemaTooNew,    ///< the file was written by a newer version of the store
    notAStore,       ///< the file is a database, but not a message store
    database,        ///< SQLite failed: the file cannot be opened, read or written
    closed,          ///< the repository was closed before the operation could run
    invalidDate,     ///< a date is NaN, which the file would keep as no date at all
  };

  StoreError(Code code, const std::string& description)
      : std::runtime_error(description), code_(code) {}

  Code code() const noexcept { return code_; }

 private:
  Code code_;
};

}  // namespace tovanel::chat::store
