#pragma once
// Reads integers and runs of characters from the front of UTF-8 text, skipping the characters to
// be skipped (white space and newlines unless changed) before each item. An item that is not
// there is not consumed, and neither is what was skipped before it.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/base/CharacterSet.hpp"

namespace tovanel::chat {

/// Reads items from the front of UTF-8 text.
class TOVANEL_CHAT_API Scanner {
 public:
  /// A scanner at the start of `text`.
  explicit Scanner(std::string text) : text_(std::move(text)) {}

  /// Skipped before each item; nothing skips nothing.
  std::optional<CharacterSet> charactersToBeSkipped = CharacterSet::whitespacesAndNewlines();

  /// The whole text being scanned.
  const std::string& string() const noexcept { return text_; }
  /// The byte offset of the next character to read.
  std::size_t currentIndex() const noexcept { return position_; }
  /// True when nothing but characters to be skipped remains.
  bool isAtEnd() const;

  /// An optional "+" or "-" followed by decimal digits. Every digit is consumed; a value beyond
  /// the signed 64-bit range gives the nearest limit. Nothing without a digit.
  std::optional<std::int64_t> scanInteger();
  /// The longest non-empty run of characters from `set`; nothing when the next character is not
  /// in it.
  std::optional<std::string> scanCharacters(const CharacterSet& set);

 private:
  /// Where the next item starts: the current position past the characters to be skipped.
  std::size_t skipped() const;

  std::string text_;
  std::size_t position_ = 0;
};

}  // namespace tovanel::chat
