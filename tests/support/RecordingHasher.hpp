#pragma once
// A hasher for tests: it writes down every call that a `hashInto` makes as one line of tokens, so
// a test can assert the exact hash input of a value (presence bytes, words and strings, in order).

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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

/// Over classes of values: values of one class are equal, feed the hasher the same input and hash
/// alike; values of different classes are unequal and feed different inputs, so that the hash
/// input tells apart all that equality tells apart.
template <class T>
void expectHashClasses(const std::vector<std::vector<T>>& classes) {
  for (std::size_t i = 0; i < classes.size(); ++i) {
    for (std::size_t j = 0; j < classes.size(); ++j) {
      for (const T& a : classes[i]) {
        for (const T& b : classes[j]) {
          const std::string inputs = hashLine(a) + "\n  against " + hashLine(b);
          EXPECT_EQ(a == b, i == j) << "classes " << i << " and " << j << ": " << inputs;
          EXPECT_EQ(hashLine(a) == hashLine(b), i == j) << inputs;
          if (i == j) {
            EXPECT_EQ(a.hashValue(), b.hashValue()) << inputs;
          }
        }
      }
    }
  }
}

}  // namespace tovanel::chat::test
