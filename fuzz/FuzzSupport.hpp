#pragma once
// What the fuzz targets share: invariant checks that abort (so that libFuzzer keeps the input),
// decoding that lets only the library's own decoding errors through, and the checks every
// decoded value must pass (copies equal and hash alike; encoding and decoding again give it back).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tovanel/chat/body/Body.hpp"
#include "tovanel/chat/body/BodyTypeBox.hpp"
#include "tovanel/chat/coding/DecodingError.hpp"
#include "tovanel/chat/coding/EncodingError.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat::fuzz {

[[noreturn]] inline void violated(const char* what, const char* file, int line,
                                  std::string_view detail = {}) {
  std::fprintf(stderr, "\ninvariant violated at %s:%d: %s\n", file, line, what);
  if (!detail.empty()) {
    std::fprintf(stderr, "  %.*s\n", static_cast<int>(detail.size()), detail.data());
  }
  std::abort();
}

/// The fuzz input as text, without its first byte (which the caller used to pick something).
inline std::string_view textAfterFirstByte(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data) + 1, size - 1};
}

/// The library writes its diagnostic lines to standard output; at fuzzing speed they would only
/// slow the run down. libFuzzer reports on standard error.
inline void silenceStandardOutput() {
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
}

/// Checks what a failed decode threw: a DecodingError that says what went wrong. Anything else,
/// or a description lost on the way, is a fault.
inline void checkDecodingFailure(std::exception_ptr failure) {
  try {
    std::rethrow_exception(std::move(failure));
  } catch (const DecodingError& error) {
    // The text a failure recorded without its description falls back to.
    if (error.debugDescription().empty() ||
        error.debugDescription() == "the value could not be decoded") {
      violated("a decoding error describes what went wrong", __FILE__, __LINE__, error.what());
    }
  } catch (const std::exception& error) {
    violated("decoding throws only DecodingError", __FILE__, __LINE__, error.what());
  } catch (...) {
    violated("decoding throws only DecodingError", __FILE__, __LINE__);
  }
}

/// The value `decode` returns, or nothing when it failed as it may.
template <class F>
auto decodeOrNothing(F&& decode) -> std::optional<decltype(decode())> {
  try {
    return decode();
  } catch (...) {
    checkDecodingFailure(std::current_exception());
  }
  return std::nullopt;
}

#define TOVANEL_FUZZ_CHECK(condition, ...)                             \
  ((condition) ? void(0)                                               \
               : ::tovanel::chat::fuzz::violated(#condition, __FILE__, \
                                                 __LINE__ __VA_OPT__(, ) __VA_ARGS__))

/// Copies and moves of a decoded value equal it and hash alike.
template <class T>
void checkValue(const T& value) {
  const T copy = value;
  TOVANEL_FUZZ_CHECK(copy == value);
  TOVANEL_FUZZ_CHECK(copy.hashValue() == value.hashValue());
  TOVANEL_FUZZ_CHECK(std::hash<T>{}(copy) == std::hash<T>{}(value));
  T moved = T(copy);
  const T target = std::move(moved);
  TOVANEL_FUZZ_CHECK(target == value);
}

/// Whatever decoded must encode, in every output format, and decoding that text must give an
/// equal value with an equal hash. The compact text is stable: encoding the value decoded from it
/// writes it again byte for byte.
template <class T, class Decode>
void checkRoundTrip(const T& value, Decode&& decodeAgain) {
  const auto encode = [](const T& v, OutputFormatting formatting) {
    JSONEncoder encoder;
    encoder.outputFormatting = formatting;
    try {
      return encoder.encode(v);
    } catch (const std::exception& error) {
      violated("a decoded value encodes", __FILE__, __LINE__, error.what());
    }
  };
  for (const OutputFormatting formatting :
       {OutputFormatting{}, OutputFormatting{true, false}, OutputFormatting{false, true}}) {
    const std::string text = encode(value, formatting);
    std::optional<T> again;
    try {
      again.emplace(decodeAgain(std::string_view(text)));
    } catch (const std::exception& error) {
      violated("what was encoded decodes", __FILE__, __LINE__,
               std::string(error.what()) + "\n  text: " + text);
    }
    TOVANEL_FUZZ_CHECK(*again == value, text);
    TOVANEL_FUZZ_CHECK(again->hashValue() == value.hashValue(), text);
    const bool compact = !formatting.prettyPrinted && !formatting.sortedKeys;
    if (compact) TOVANEL_FUZZ_CHECK(encode(*again, formatting) == text, text);
  }
}

/// A decoder as an application prepares one for bodies, holding `kind` in its box.
inline JSONDecoder bodyDecoder(BodyType kind) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  bodyType(decoder.userInfo)->value = kind;
  return decoder;
}

}  // namespace tovanel::chat::fuzz
