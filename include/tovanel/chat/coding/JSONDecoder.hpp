#pragma once
// Decodes values from JSON text. A JSONDecoder owns one parser, reused across calls, and the
// user information that every nested decoder of a run sees. One decode at a time per decoder;
// decoders on different threads share nothing.
//
// What the decoder accepts, since its input comes from a network:
//  - Text of at most `maximumDocumentSize` bytes (64 MiB unless set), where no value is enclosed
//    by more than `maximumDepth` arrays and objects (1024 unless set). Beyond either:
//    dataCorrupted, before anything is read.
//  - UTF-8 only. A UTF-8 byte-order mark at the very start is skipped; a UTF-16 or UTF-32 one, or
//    any byte sequence that is not UTF-8, is dataCorrupted (naming the offset of the first bad
//    byte). `\u` escapes must pair surrogates: a lone one is dataCorrupted.
//  - Control characters (U+0000 to U+001F) inside a string only as escapes: a raw NUL byte, tab or
//    newline inside a string is dataCorrupted. The escape `\u0000` reads as a NUL character
//    inside the std::string (and is written back as `\u0000`).
//  - Numbers: an integer must fit in 64 bits (signed, or unsigned up to 18446744073709551615) and
//    any other number in a double. One that does not fails the whole document with
//    dataCorrupted, even where the record would ignore or tolerate that value. Reading an
//    unsigned value above the signed range as an Int is dataCorrupted too, for that value only.
//  - Duplicate keys in an object: the last occurrence wins, for every read (required, optional
//    and tolerant keys alike). `KeyedDecodingContainer::allKeys()` lists every occurrence.
// Every failure of the text itself is dataCorrupted with an empty coding path, and its
// description starts "the data is not valid JSON: " and says what was wrong.

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tovanel/chat/Export.hpp"
#include "tovanel/chat/coding/CodingUserInfo.hpp"
#include "tovanel/chat/coding/DateStrategy.hpp"
#include "tovanel/chat/coding/Decoder.hpp"

namespace tovanel::chat {

/// Receives the library's diagnostic lines, one whole line per call, its newline included.
using DiagnosticSink = std::function<void(std::string_view line)>;

/// The default sink: standard output, each line written with one call, so that lines written from
/// several threads never interleave.
TOVANEL_CHAT_API void writeToStandardOutput(std::string_view line);

/// Decodes values from JSON text, one decode at a time.
class TOVANEL_CHAT_API JSONDecoder {
 public:
  /// Default for `maximumDocumentSize`: far beyond any message or page of history, and low enough
  /// that a hostile document cannot make the parser reserve gigabytes.
  static constexpr std::size_t kDefaultMaximumDocumentSize = std::size_t{64} << 20;
  /// Default for `maximumDepth`: the depth the parser allows unless told otherwise. The records
  /// themselves nest fewer than ten levels.
  static constexpr std::size_t kDefaultMaximumDepth = 1024;

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
  /// Longer texts (in bytes, a byte-order mark included) are refused with dataCorrupted. The
  /// parser's own ceiling is 4 GiB.
  std::size_t maximumDocumentSize = kDefaultMaximumDocumentSize;
  /// How many arrays and objects may enclose a value: 1 allows `[1, []]` but not `[[1]]`, 0 only
  /// a single number, string, word or empty array or object. Deeper documents are refused with
  /// dataCorrupted.
  std::size_t maximumDepth = kDefaultMaximumDepth;
  /// Where body decoding writes its diagnostic lines (standard output unless set). An empty sink
  /// drops them. The sink is called on the decoding thread, during the decode; what it throws
  /// replaces the decoding error.
  DiagnosticSink diagnosticSink = writeToStandardOutput;

  /// Decodes a T from JSON text. Malformed JSON is dataCorrupted.
  template <class T>
  T decode(std::string_view json) {
    return decode(json, [](const Decoder& root) { return root.decode<T>(); });
  }

  /// Parses the text and hands its top-level value to `decodeRoot`, returning what it returns.
  template <class F>
  std::invoke_result_t<F&, const Decoder&> decode(std::string_view json, F&& decodeRoot) {
    const Decoder root = parse(json);
    return decodeRoot(root);
  }

 private:
  Decoder parse(std::string_view json);

  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace tovanel::chat
