#pragma once
// Text equality is Unicode canonical equivalence: a precomposed letter equals the letter followed
// by its combining mark. The hash feeds the NFC form, so it agrees with the equality.

#include <string>
#include <string_view>

#include "tovanel/chat/Export.hpp"

namespace tovanel::chat {

/// True when every byte is ASCII (ASCII text is its own canonical form).
TOVANEL_CHAT_API bool isAscii(std::string_view text) noexcept;

/// True when `text` is known to be its own NFC form without normalising it: ASCII, or UTF-8 whose
/// code points can neither decompose, nor compose with a neighbour, nor need reordering. False
/// means "not known": the text may still be in NFC. Invalid UTF-8 gives false.
TOVANEL_CHAT_API bool isKnownCanonical(std::string_view text) noexcept;

/// The NFC form of UTF-8 text; text that is not valid UTF-8 is returned unchanged.
TOVANEL_CHAT_API std::string canonicalForm(std::string_view text);

/// Canonical equivalence: byte-equal text, or text known to be in NFC on both sides, decides at
/// once; otherwise the NFC forms are compared.
TOVANEL_CHAT_API bool canonicallyEqual(std::string_view a, std::string_view b);

/// Feeds the canonical form of `text` to a hasher.
template <class H>
void hashCanonical(H& hasher, std::string_view text) {
  if (isKnownCanonical(text)) {
    hasher.combineString(text);
  } else {
    hasher.combineString(canonicalForm(text));
  }
}

}  // namespace tovanel::chat
