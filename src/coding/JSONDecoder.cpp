#include "tovanel/chat/coding/JSONDecoder.hpp"

#include <simdjson.h>

#include <bit>

namespace tovanel::chat {

struct JSONDecoder::Parser {
  simdjson::dom::parser parser;
};

JSONDecoder::JSONDecoder() : parser_(std::make_unique<Parser>()) {}
JSONDecoder::~JSONDecoder() = default;
JSONDecoder::JSONDecoder(JSONDecoder&&) noexcept = default;
JSONDecoder& JSONDecoder::operator=(JSONDecoder&&) noexcept = default;

coding::JsonRef JSONDecoder::parse(std::string_view json) {
  // The parser copies the text into its own padded buffer, which it keeps for the next call.
  simdjson::dom::element root;
  const auto error = parser_->parser.parse(json.data(), json.size(), true).get(root);
  if (error != simdjson::SUCCESS) {
    throw DecodingError(DecodingError::Kind::dataCorrupted, {},
                        std::string("the data is not valid JSON: ") +
                            simdjson::error_message(error));
  }
  return std::bit_cast<coding::JsonRef>(root);
}

}  // namespace tovanel::chat
