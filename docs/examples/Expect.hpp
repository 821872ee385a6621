#pragma once
// How the guide's examples check what they show: a failed expectation prints what was expected
// and what came, and ends the example with status 1, so that ctest reports it.

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace guide {

inline void expect(bool condition, std::string_view what) {
  if (condition) return;
  std::cerr << "expected: " << what << '\n';
  std::exit(1);
}

template <class A, class B>
void expectEqual(const A& actual, const B& expected, std::string_view what) {
  if (actual == expected) return;
  std::cerr << what << ": expected " << expected << ", found " << actual << '\n';
  std::exit(1);
}

}  // namespace guide
