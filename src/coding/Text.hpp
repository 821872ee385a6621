#pragma once
// What the coding sources share about text: UTF-8 checks and the descriptions of refused text.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tovanel::chat::coding::detail {

/// True when the bytes are well-formed UTF-8 (simdjson's validator, in Decoder.cpp).
bool isValidUtf8(std::string_view text) noexcept;

/// The offset of the first byte that neither is nor continues a well-formed UTF-8 sequence
/// (overlong forms, surrogates and code points above U+10FFFF are malformed), or nothing.
std::optional<std::size_t> firstMalformedUtf8(std::string_view text);

/// Which control character stands raw inside a string of the text, and where.
std::string describeRawControlCharacter(std::string_view text);

}  // namespace tovanel::chat::coding::detail
