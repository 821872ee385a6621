// Equality and hashing: records compare by value, text by Unicode canonical equivalence, and the
// hash agrees with the equality, so records work as keys of unordered containers.

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;

int main() {
  // [equality]
  const chat::TextBody composed("café", std::nullopt);          // "é" as one code point
  const chat::TextBody decomposed("cafe\u0301", std::nullopt);  // "e", then a combining accent
  const chat::TextBody noMentions("café", std::vector<chat::TextBody::Mention>{});

  const bool sameText = composed == decomposed;  // true: canonically equivalent
  const bool sameHash = composed.hashValue() == decomposed.hashValue();  // true, as equal values
  const bool absentIsEmpty = composed == noMentions;  // false: absent is not empty
  // [equality]
  guide::expect(sameText, "canonically equivalent text to be equal");
  guide::expect(sameHash, "equal records to hash alike");
  guide::expect(!absentIsEmpty, "absent mentions to differ from an empty list");

  // [containers]
  std::unordered_set<chat::TextBody> distinct{composed, decomposed, noMentions};  // two elements

  std::unordered_map<chat::Body, int> seen;  // bodies, events and messages hash as well
  ++seen[chat::Body(composed)];
  ++seen[chat::Body(decomposed)];  // the same key
  // [containers]
  guide::expectEqual(distinct.size(), std::size_t{2}, "distinct text bodies");
  guide::expectEqual(seen.size(), std::size_t{1}, "distinct bodies");
  guide::expectEqual(seen.begin()->second, 2, "the count of the one body");

  // [seed]
  // hashValue() and std::hash use a random seed drawn once per process, so they change from run
  // to run. A hasher with a fixed seed gives the same value every time.
  chat::Hasher hasher(chat::Hasher::Seed{0x0123456789abcdef, 0xfedcba9876543210});
  composed.hashInto(hasher);
  const std::uint64_t stable = hasher.finalize();
  // [seed]
  chat::Hasher again(chat::Hasher::Seed{0x0123456789abcdef, 0xfedcba9876543210});
  decomposed.hashInto(again);
  guide::expectEqual(again.finalize(), stable, "a fixed seed's hash of an equal record");
  return 0;
}
