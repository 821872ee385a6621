#pragma once
// A hasher for tests: it records every call that a `hashInto` makes, so a test can assert the
// exact hash input of a value (presence bytes, words and strings, in order).

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tovanel::chat::test {

/// One call made to a hasher.
struct HashCall {
  enum class Kind : std::uint8_t { byte, word32, word64, string };
  Kind kind;
  std::uint64_t word = 0;  ///< the byte or word fed (unused for strings)
  std::string text;        ///< the string fed (strings only)

  friend bool operator==(const HashCall&, const HashCall&) = default;
  friend std::ostream& operator<<(std::ostream& out, const HashCall& call);
};

inline HashCall byte(std::uint8_t value) { return {HashCall::Kind::byte, value, {}}; }
inline HashCall word32(std::uint32_t value) { return {HashCall::Kind::word32, value, {}}; }
inline HashCall word64(std::uint64_t value) { return {HashCall::Kind::word64, value, {}}; }
inline HashCall text(std::string_view value) {
  return {HashCall::Kind::string, 0, std::string(value)};
}

class RecordingHasher {
 public:
  void combine(std::uint8_t value) { calls.push_back(byte(value)); }
  void combine(std::uint32_t value) { calls.push_back(word32(value)); }
  void combine(std::uint64_t value) { calls.push_back(word64(value)); }
  void combineString(std::string_view value) { calls.push_back(text(value)); }

  std::vector<HashCall> calls;
};

/// The calls that `value.hashInto` makes.
template <class T>
std::vector<HashCall> hashInputOf(const T& value) {
  RecordingHasher hasher;
  value.hashInto(hasher);
  return hasher.calls;
}

/// One call as a token: b<byte>, w32:<word>, w<word> or 'text'.
inline std::string token(const HashCall& call) {
  switch (call.kind) {
    case HashCall::Kind::byte:
      return "b" + std::to_string(call.word);
    case HashCall::Kind::word32:
      return "w32:" + std::to_string(call.word);
    case HashCall::Kind::word64:
      return "w" + std::to_string(call.word);
    case HashCall::Kind::string:
      return "'" + call.text + "'";
  }
  return "?";
}

inline std::ostream& operator<<(std::ostream& out, const HashCall& call) {
  return out << token(call);
}

/// The calls that `value.hashInto` makes as one line of tokens.
template <class T>
std::string hashLine(const T& value) {
  std::string line;
  for (const auto& call : hashInputOf(value)) line += (line.empty() ? "" : " ") + token(call);
  return line;
}

}  // namespace tovanel::chat::test
