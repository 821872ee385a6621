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
#include "tovanel/chat/coding/DirectReader.hpp"

namespace tovanel::chat {

namespace coding::direct {
class SparePayloads;
}  // namespace coding::direct

/// Receives the library's diagnostic lines, one whole line per call, its newline included.
using DiagnosticSink = std::function<void(std::string_view line)>;

/// The default sink: standard output, each line written with one call, so that lines written from
/// several threads never interleave.
TOVANEL_CHAT_API void writeToStandardOutput(std::string_view line);

/// JSON text followed by at least JSONDecoder::kTextPadding bytes that may be read (whatever
/// they hold): the parser reads it where it is instead of copying it into a padded buffer.
struct PaddedText {
  std::string_view text;
};

/// Decodes values from JSON text, one decode at a time.
class TOVANEL_CHAT_API JSONDecoder {
 public:
  /// The bytes a PaddedText must have readable past its end.
  static constexpr std::size_t kTextPadding = 64;

  /// Default for `maximumDocumentSize`: far beyond any message or page of history, and low enough
  /// that a hostile document cannot make the parser reserve gigabytes.
  static constexpr std::size_t kDefaultMaximumDocumentSize = std::size_t{64} << 20;
  /// Default for `maximumDepth`: the depth the parser allows unless told otherwise. The records
  /// themselves nest fewer than ten levels.
  static constexpr std::size_t kDefaultMaximumDepth = 1024;

  JSONDecoder();
  ~JSONDecoder();
  /// Takes over the other decoder's parser, user information and strategy. The other is left to
  /// be assigned to or destroyed: it decodes nothing.
  JSONDecoder(JSONDecoder&&) noexcept;
  /// Takes over the other decoder's parser, user information and strategy. The other is left to
  /// be assigned to or destroyed: it decodes nothing.
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
  /// Whether `decode<T>` and `decodeInto` first try the direct reader (coding/DirectReader.hpp),
  /// a single pass over the text that fills records from their field tables and hands anything
  /// unusual to the parser. The results are the same either way; on unless the environment
  /// variable TOVANEL_DIRECT_READING is "off" when the program starts.
  bool directReading = coding::direct::enabledByDefault();

  /// Decodes a T from JSON text. Malformed JSON is dataCorrupted.
  template <class T>
  T decode(std::string_view json) {
    if constexpr (coding::direct::readable<T>()) {
      if (directReading) {
        if (auto out = coding::direct::readNew<T>(*this, json)) return std::move(*out);
      }
    }
    return decode(json, [](const Decoder& root) { return root.decode<T>(); });
  }

  /// The same, from text the parser need not copy.
  template <class T>
  T decode(PaddedText json) {
    if constexpr (coding::direct::readable<T>()) {
      if (directReading) {
        if (auto out = coding::direct::readNew<T>(*this, json.text)) return std::move(*out);
      }
    }
    return parse(json.text, true).decode<T>();
  }

  /// Decodes a T from JSON text into `out`, reusing what it holds (its strings' and lists'
  /// storage) where the direct reader reads it. A body payload that `out` gives up for one of
  /// another kind is kept by the decoder, one per kind, for the next body of its kind. On failure
  /// `out` is left valid but unspecified.
  template <class T>
  void decodeInto(std::string_view json, T& out) {
    if constexpr (coding::direct::readable<T>()) {
      if (directReading && coding::direct::read(*this, json, out)) return;
    }
    out = decode(json, [](const Decoder& root) { return root.decode<T>(); });
  }

  /// Parses the text and hands its top-level value to `decodeRoot`, returning what it returns.
  template <class F>
  std::invoke_result_t<F&, const Decoder&> decode(std::string_view json, F&& decodeRoot) {
    const Decoder root = parse(json);
    return decodeRoot(root);
  }

  /// The same, from text the parser need not copy.
  template <class F>
  std::invoke_result_t<F&, const Decoder&> decode(PaddedText json, F&& decodeRoot) {
    const Decoder root = parse(json.text, true);
    return decodeRoot(root);
  }

 private:
  friend class coding::direct::Cursor;

  /// `padded`: the text has kTextPadding readable bytes past its end.
  Decoder parse(std::string_view json, bool padded = false);
  /// The payloads kept for the direct reader (one decode at a time, so one reader at a time).
  coding::direct::SparePayloads& spares() const noexcept;

  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace tovanel::chat
