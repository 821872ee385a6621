#pragma once
// The error of a message store operation that failed: what went wrong, as a code, and a
// description that names the file, the message or the room concerned.

#include <cstdint>
#include <string>

#include "tovanel/chat/base/Error.hpp"
#include "tovanel/chat/store/Export.hpp"

namespace tovanel::chat::store {

// Exported so that its type information is one across the library's boundary, for catch clauses.
// A chat::Error, so that one catch serves the store and the library it builds on.
class TOVANEL_CHAT_STORE_API StoreError : public Error {
 public:
  enum class Code : std::uint8_t {
    unknownMessage,  ///< deleteMessage named a message that the room does not hold
    schemaTooNew,    ///< the file was written by a newer version of the store
    notAStore,       ///< the file is a database, but not a message store
    database,        ///< SQLite failed: the file cannot be opened or read, is damaged, or an
                     ///< input or output error occurred
    closed,          ///< the repository was closed before the operation could run
    invalidDate,     ///< a date is NaN, which the file would keep as no date at all
    full,            ///< the disk (or the file's size limit) is full: nothing more can be written
    readOnly,  ///< a write was refused: the store was opened read-only, or the file or its folder
               ///< cannot be written; also a read-only open of a file that needs an upgrade
    busy,      ///< another process held the file locked for longer than the store waits
    invalidQuery,  ///< a search query that does not parse, or holds no word to search for
  };

  StoreError(Code code, const std::string& description) : Error(description), code_(code) {}

  Code code() const noexcept { return code_; }

  /// Whether the failure lies with the file or the machine rather than with the operation: every
  /// later write fails the same way until someone acts (frees disk space, grants write access,
  /// repairs or replaces the file). False for a file that was only busy, and for errors about the
  /// operation's own arguments (unknownMessage, invalidDate, invalidQuery), after which other
  /// writes go on. An import stops at the first lasting error instead of reporting it for every
  /// later batch.
  bool isLasting() const noexcept {
    return code_ != Code::busy && code_ != Code::unknownMessage && code_ != Code::invalidDate &&
           code_ != Code::invalidQuery;
  }

 private:
  Code code_;
};

}  // namespace tovanel::chat::store
