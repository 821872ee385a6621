#pragma once
// The reading that Scanner does, over a view and a position, for readers that keep no state of
// their own (the duration formatter): code points, Unicode white space, integers.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace tovanel::chat::detail {

/// The Unicode White_Space characters, as inclusive ranges.
struct CodePointRange {
  char32_t first;
  char32_t last;
};
inline constexpr CodePointRange kWhiteSpace[] = {
    {0x0009, 0x000D}, {0x0020, 0x0020}, {0x0085, 0x0085}, {0x00A0, 0x00A0}, {0x1680, 0x1680},
    {0x2000, 0x200A}, {0x2028, 0x2029}, {0x202F, 0x202F}, {0x205F, 0x205F}, {0x3000, 0x3000}};

constexpr bool isWhiteSpace(char32_t c) noexcept {
  for (const auto& range : kWhiteSpace) {
    if (range.first <= c && c <= range.last) return true;
  }
  return false;
}

/// The code point at `at` and its length in bytes (U+FFFD and 1 for a byte that is not UTF-8).
std::pair<char32_t, std::size_t> characterAt(std::string_view text, std::size_t at) noexcept;

/// The position past the white space that starts at `at`.
std::size_t skipWhiteSpace(std::string_view text, std::size_t at) noexcept;

/// An optional "+" or "-" and decimal digits at `at`, every digit consumed, a value beyond the
/// signed 64-bit range giving the nearest limit; `at` moves past them. Nothing, and `at` left as
/// it was, without a digit.
std::optional<std::int64_t> scanInteger(std::string_view text, std::size_t& at) noexcept;

}  // namespace tovanel::chat::detail
