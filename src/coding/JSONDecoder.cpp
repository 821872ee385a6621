// What the decoder says about text it refuses: where the UTF-8 breaks and which control character
// stands raw in a string. The parser itself lives in Decoder.cpp.

#include "tovanel/chat/coding/JSONDecoder.hpp"

#include <cstdio>
#include <optional>
#include <string>

#include "coding/Text.hpp"

namespace tovanel::chat {

namespace {

// The offset of the first control character written raw inside a string, or nothing.
std::optional<std::size_t> firstRawControlInString(std::string_view text) {
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (!inString) {
      inString = c == '"';
    } else if (c == '\\') {
      ++i;  // the escaped character cannot end the string
    } else if (c == '"') {
      inString = false;
    } else if (c < 0x20) {
      return i;
    }
  }
  return std::nullopt;
}

}  // namespace

std::string coding::detail::describeRawControlCharacter(std::string_view text) {
  const auto offset = firstRawControlInString(text);
  if (!offset) return "a string holds an unescaped control character";
  const auto c = static_cast<unsigned char>(text[*offset]);
  char code[8];
  std::snprintf(code, sizeof code, "U+%04X", c);
  std::string what = "a string holds the control character ";
  what += code;
  if (c == 0) what += " (a NUL byte)";
  what += " unescaped at byte offset " + std::to_string(*offset) +
          "; control characters inside strings must be written as escapes";
  return what;
}

std::optional<std::size_t> coding::detail::firstMalformedUtf8(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  const auto continuation = [](unsigned b) { return (b & 0xC0u) == 0x80u; };
  std::size_t i = 0;
  while (i < text.size()) {
    const unsigned lead = byte(i);
    std::size_t length = 1;
    unsigned secondLow = 0x80, secondHigh = 0xBF;  // the range the second byte must fall in
    if (lead < 0x80) {
      ++i;
      continue;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      if (lead == 0xE0) secondLow = 0xA0;   // overlong
      if (lead == 0xED) secondHigh = 0x9F;  // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      if (lead == 0xF0) secondLow = 0x90;   // overlong
      if (lead == 0xF4) secondHigh = 0x8F;  // above U+10FFFF
    } else {
      return i;
    }
    const unsigned second = byte(i + 1);
    if (i + length > text.size() || second < secondLow || second > secondHigh) return i;
    for (std::size_t k = 2; k < length; ++k) {
      if (!continuation(byte(i + k))) return i;
    }
    i += length;
  }
  return std::nullopt;
}

void writeToStandardOutput(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace tovanel::chat
