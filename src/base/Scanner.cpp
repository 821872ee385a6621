#include "tovanel/chat/base/Scanner.hpp"

#include <utf8proc.h>

#include <limits>

#include "base/TextScanning.hpp"

namespace tovanel::chat {

std::pair<char32_t, std::size_t> detail::characterAt(std::string_view text,
                                                     std::size_t at) noexcept {
  utf8proc_int32_t codePoint = 0;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                                       static_cast<utf8proc_ssize_t>(text.size() - at), &codePoint);
  if (length <= 0) return {U'\uFFFD', 1};
  return {static_cast<char32_t>(codePoint), static_cast<std::size_t>(length)};
}

std::size_t detail::skipWhiteSpace(std::string_view text, std::size_t at) noexcept {
  while (at < text.size()) {
    // ASCII first: the common case needs no decoding.
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      if (!isWhiteSpace(byte)) break;
      ++at;
      continue;
    }
    const auto [character, length] = characterAt(text, at);
    if (!isWhiteSpace(character)) break;
    at += length;
  }
  return at;
}

std::optional<std::int64_t> detail::scanInteger(std::string_view text,
                                                std::size_t& position) noexcept {
  std::size_t at = position;
  bool negative = false;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    negative = text[at] == '-';
    ++at;
  }
  const auto isDigit = [&](std::size_t i) {
    return i < text.size() && text[i] >= '0' && text[i] <= '9';
  };
  if (!isDigit(at)) return std::nullopt;

  // Accumulated towards the sign so that the negative limit, whose magnitude is one more than
  // the positive limit's, is reached exactly; past a limit the value stays there.
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  std::int64_t value = 0;
  bool saturated = false;
  for (; isDigit(at); ++at) {
    if (saturated) continue;
    const int digit = text[at] - '0';
    if (negative) {
      if (value < (kMin + digit) / 10) {
        value = kMin;
        saturated = true;
      } else {
        value = value * 10 - digit;
      }
    } else if (value > (kMax - digit) / 10) {
      value = kMax;
      saturated = true;
    } else {
      value = value * 10 + digit;
    }
  }
  position = at;
  return value;
}

std::size_t Scanner::skipped() const {
  std::size_t at = position_;
  if (!charactersToBeSkipped) return at;
  while (at < text_.size()) {
    const auto [character, length] = detail::characterAt(text_, at);
    if (!charactersToBeSkipped->contains(character)) break;
    at += length;
  }
  return at;
}

bool Scanner::isAtEnd() const { return skipped() == text_.size(); }

std::optional<std::int64_t> Scanner::scanInteger() {
  std::size_t at = skipped();
  const auto value = detail::scanInteger(text_, at);
  if (value) position_ = at;
  return value;
}

std::optional<std::string> Scanner::scanCharacters(const CharacterSet& set) {
  const std::size_t start = skipped();
  std::size_t at = start;
  while (at < text_.size()) {
    const auto [character, length] = detail::characterAt(text_, at);
    if (!set.contains(character)) break;
    at += length;
  }
  if (at == start) return std::nullopt;
  position_ = at;
  return text_.substr(start, at - start);
}

}  // namespace tovanel::chat
