#pragma once
// The floor's work on one parsed document: a walk of every value, as the least any decoder must
// do with it. Each object member's key and each string is taken as a view, each number read as
// its own type, recursively (the type is known from the walk, so no
// conversion is checked twice); what is read is folded into the returned sum so that no read can be
// skipped by the compiler.

#include <simdjson.h>

#include <bit>
#include <cstdint>
#include <string_view>

namespace tovanel::chat::bench {

inline std::uint64_t walkValue(simdjson::dom::element value) {
  using simdjson::dom::element_type;
  switch (value.type()) {
    case element_type::OBJECT: {
      const simdjson::dom::object object = value.get_object().value_unsafe();
      std::uint64_t sum = 0;
      for (const simdjson::dom::key_value_pair member : object) {
        sum += member.key.size() + walkValue(member.value);
      }
      return sum;
    }
    case element_type::ARRAY: {
      const simdjson::dom::array array = value.get_array().value_unsafe();
      std::uint64_t sum = 0;
      for (const simdjson::dom::element item : array) sum += walkValue(item);
      return sum;
    }
    case element_type::STRING:
      return value.get_string().value_unsafe().size();
    case element_type::INT64:
      return static_cast<std::uint64_t>(value.get_int64().value_unsafe());
    case element_type::UINT64:
      return value.get_uint64().value_unsafe();
    case element_type::DOUBLE:
      return std::bit_cast<std::uint64_t>(value.get_double().value_unsafe());
    case element_type::BOOL:
      return value.get_bool().value_unsafe() ? 1 : 0;
    case element_type::NULL_VALUE:
      return 0;
  }
  return 0;
}

/// Parses `text` (copied into the parser's padded buffer, as the decoder copies it) and walks
/// every value; false when the text is not JSON.
inline bool parseAndWalk(simdjson::dom::parser& parser, std::string_view text, std::uint64_t& sum) {
  simdjson::dom::element root;
  if (parser.parse(text.data(), text.size(), true).get(root) != simdjson::SUCCESS) return false;
  sum += walkValue(root);
  return true;
}

}  // namespace tovanel::chat::bench
