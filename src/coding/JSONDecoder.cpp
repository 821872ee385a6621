#include "tovanel/chat/coding/JSONDecoder.hpp"

#include <simdjson.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tovanel::chat {

namespace {

constexpr std::string_view kUtf8ByteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void failText(std::string_view what) {
  std::string description = "the data is not valid JSON: ";
  description += what;
  throw DecodingError(DecodingError::Kind::dataCorrupted, {}, std::move(description));
}

bool startsWithForeignByteOrderMark(std::string_view text) {
  constexpr std::string_view kMarks[] = {"\xFE\xFF", "\xFF\xFE",
                                         std::string_view("\x00\x00\xFE\xFF", 4)};
  return std::any_of(std::begin(kMarks), std::end(kMarks),
                     [&](std::string_view mark) { return text.starts_with(mark); });
}

// The offset of the first byte that neither is nor continues a well-formed UTF-8 sequence
// (overlong forms, surrogates and code points above U+10FFFF are malformed), or nothing.
std::optional<std::size_t> firstMalformedUtf8(std::string_view text) {
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

std::string describeControlCharacterAt(std::string_view text) {
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

std::string describeParseFailure(simdjson::error_code error, std::string_view text,
                                 std::size_t maximumDepth) {
  switch (error) {
    case simdjson::EMPTY:
      return "the text is empty or only white space";
    case simdjson::DEPTH_ERROR:
      return "arrays and objects nest deeper than the decoder's maximumDepth of " +
             std::to_string(maximumDepth);
    case simdjson::NUMBER_ERROR:
      return "a number is malformed or out of range (an integer must fit in 64 bits, any other "
             "number in a double)";
    case simdjson::STRING_ERROR:
      return "a string holds an invalid escape sequence, or a \\u escape of a lone surrogate";
    case simdjson::UTF8_ERROR: {
      const auto offset = firstMalformedUtf8(text);
      return offset ? "the text is not valid UTF-8 (first malformed byte at byte offset " +
                          std::to_string(*offset) + ")"
                    : "the text is not valid UTF-8";
    }
    case simdjson::UNESCAPED_CHARS:
      return describeControlCharacterAt(text);
    case simdjson::UNCLOSED_STRING:
      return "a string is not closed";
    case simdjson::T_ATOM_ERROR:
    case simdjson::F_ATOM_ERROR:
    case simdjson::N_ATOM_ERROR:
      return "a word that is not true, false or null";
    case simdjson::TAPE_ERROR:
      return "the structure is malformed (a missing or extra comma, colon, bracket, brace or "
             "key, or text after the value)";
    default:
      return simdjson::error_message(error);
  }
}

}  // namespace

struct JSONDecoder::Parser {
  simdjson::dom::parser parser;
};

void writeToStandardOutput(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
}

JSONDecoder::JSONDecoder() : parser_(std::make_unique<Parser>()) {}
JSONDecoder::~JSONDecoder() = default;
JSONDecoder::JSONDecoder(JSONDecoder&&) noexcept = default;
JSONDecoder& JSONDecoder::operator=(JSONDecoder&&) noexcept = default;

coding::JsonRef JSONDecoder::parse(std::string_view json) {
  if (json.size() > maximumDocumentSize) {
    failText("the text is " + std::to_string(json.size()) + " bytes long, more than the " +
             std::to_string(maximumDocumentSize) + " bytes of the decoder's maximumDocumentSize");
  }
  if (startsWithForeignByteOrderMark(json)) {
    failText("the text starts with a UTF-16 or UTF-32 byte-order mark; only UTF-8 is read");
  }
  if (json.starts_with(kUtf8ByteOrderMark)) json.remove_prefix(kUtf8ByteOrderMark.size());

  simdjson::dom::parser& parser = parser_->parser;
  // The parser counts the top-level value as one level, and a value inside it as the next.
  const std::size_t parserDepth = maximumDepth + (maximumDepth < SIZE_MAX ? 1 : 0);
  if (parser.max_depth() != parserDepth) {
    if (const auto error = parser.allocate(std::max(parser.capacity(), json.size()), parserDepth)) {
      failText(describeParseFailure(error, json, maximumDepth));
    }
  }
  // The parser copies the text into its own padded buffer, which it keeps for the next call.
  simdjson::dom::element root;
  if (const auto error = parser.parse(json.data(), json.size(), true).get(root)) {
    failText(describeParseFailure(error, json, maximumDepth));
  }
  return std::bit_cast<coding::JsonRef>(root);
}

}  // namespace tovanel::chat
