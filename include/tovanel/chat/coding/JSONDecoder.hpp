#pragma once
// Decodes values from JSON text. A JSONDecoder owns one parser, reused across calls, and the
// user information that every nested decoder of a run sees. One decode at a time per decoder.

#include <cstddef>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/DateStrategy.hpp"
#include "tovanel/chat/coding/Decoder.hpp"

namespace tovanel::chat {

/// Decodes values from JSON text, one decode at a time.
class TOVANEL_CHAT_API JSONDecoder {
 public:
  JSONDecoder();
  ~JSONDecoder();
  /// Takes over the other decoder's parser, user information and strategy.
  JSONDecoder(JSONDecoder&&) noexcept;
  /// Takes over the other decoder's parser, user information and strategy.
  JSONDecoder& operator=(JSONDecoder&&) noexcept;

  /// Seen, as the same objects, by every decoder of a run.
  UserInfo userInfo;
  /// How dates are read; seconds since the reference date unless set.
  DateDecodingStrategy dateDecodingStrategy;

  /// Decodes a T from JSON text. Malformed JSON is dataCorrupted.
  template <class T>
  T decode(std::string_view json) {
    return decode(json, [](const Decoder& root) { return root.decode<T>(); });
  }

  /// Parses the text and hands its top-level value to `decodeRoot`, returning what it returns.
  template <class F>
  std::invoke_result_t<F&, const Decoder&> decode(std::string_view json, F&& decodeRoot) {
    DecodingRun run(*this);
    const Decoder root(parse(json), run);
    return decodeRoot(root);
  }

 private:
  coding::JsonRef parse(std::string_view json);

  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace tovanel::chat
