#pragma once
// A hasher for tests: it writes down every call that a `hashInto` makes as one line of tokens, so
// a test can assert the exact hash input of a value (presence bytes, words and strings, in order).

#include <cstdint>
#include <string>
#include <string_view>

namespace tovanel::chat::test {

/// Tokens: b<byte>, w32:<word>, w<word> and 'text', separated by spaces.
class RecordingHasher {
 public:
  void combine(std::uint8_t value) { add("b" + std::to_string(value)); }
  void combine(std::uint32_t value) { add("w32:" + std::to_string(value)); }
  void combine(std::uint64_t value) { add("w" + std::to_string(value)); }
  void combineString(std::string_view value) { add("'" + std::string(value) + "'"); }

  std::string line;

 private:
  void add(const std::string& token) { line += (line.empty() ? "" : " ") + token; }
};

/// The calls that `value.hashInto` makes, as one line of tokens.
template <class T>
std::string hashLine(const T& value) {
  RecordingHasher hasher;
  value.hashInto(hasher);
  return hasher.line;
}

}  // namespace tovanel::chat::test
