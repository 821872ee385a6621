// Decoding on several threads at once, one decoder per thread, and values shared across threads:
// bodies (events among them) whose one payload many threads copy, compare, hash and release at
// the same moment. Under ThreadSanitizer (scripts/test --tsan) a data race fails the
// run; the assertions here catch what a race would corrupt.

#include <barrier>
#include <thread>

#include "CorpusGenerator.hpp"
#include "support/RecordTables.hpp"
#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 20;

// Envelopes of every body kind and every event kind, as a busy room mixes them.
const std::vector<std::string> kEnvelopes = [] {
  std::vector<std::string> envelopes;
  for (std::size_t i = 0; i < 120; ++i) envelopes.push_back(bench::generateEnvelope(2026, i));
  return envelopes;
}();

ChatMessage decodeWith(JSONDecoder& decoder, const std::string& envelope) {
  return decoder.decode(envelope, exports::decodeEnvelope);
}

std::string encode(const ChatMessage& message) {
  return exports::makeEnvelopeEncoder().encode(exports::EnvelopeOut{message});
}

// Each thread decodes every envelope with a decoder of its own, and gets the values and texts
// decoded here. It starts with its own copies of those values, sharing their payloads with the
// others, and the originals are gone: payloads are copied, compared and hashed on every thread at
// once, and the last reference to each is dropped by whichever thread lets go last, all of them
// letting go at the same moment. In each round each thread also fails on a text message whose
// body is a number: the diagnostic lines of all those failures never interleave.
TEST(Concurrency, ThreadsDecodingAloneGetTheSameValuesShareTheirPayloadsAndWriteWholeLines) {
  JSONDecoder one = exports::makeEnvelopeDecoder();
  const std::string_view text = R"("type":"text","body":)";
  std::string broken = *std::find_if(kEnvelopes.begin(), kEnvelopes.end(), [&](const auto& e) {
    return e.find(text) != std::string::npos;
  });
  broken.insert(broken.find(text) + text.size(), R"(5,"x":)");
  const auto failOnce = [&](JSONDecoder& decoder) {
    EXPECT_THROW(decodeWith(decoder, broken), DecodingError);
  };
  const auto expectedLines = test::captureStdout([&] { failOnce(one); }).lines();
  ASSERT_EQ(expectedLines.size(), 1u);
  std::vector<ChatMessage> originals;
  std::vector<std::string> texts;
  for (const auto& envelope : kEnvelopes) {
    originals.push_back(decodeWith(one, envelope));
    texts.push_back(encode(originals.back()));
  }
  std::vector<std::vector<ChatMessage>> handedOver(kThreads, originals);
  originals.clear();

  std::vector<std::vector<std::uint64_t>> hashes(kThreads);
  std::vector<int> mismatches(kThreads, 0);
  std::barrier step(kThreads);
  const auto work = [&](int t) {
    JSONDecoder decoder = exports::makeEnvelopeDecoder();
    std::vector<ChatMessage> mine = std::move(handedOver[t]);
    step.arrive_and_wait();
    // In a process of its own, the hasher's seed is first asked for here, on every thread at once.
    for (const auto& message : mine) hashes[t].push_back(message.hashValue());
    for (int round = 0; round < kRounds; ++round) {
      failOnce(decoder);
      std::vector<ChatMessage> copies = mine;  // counts go up on every thread at once
      for (std::size_t i = 0; i < copies.size(); ++i) {
        const ChatMessage decoded = decodeWith(decoder, kEnvelopes[i]);
        ChatMessage assigned = copies[(i + 1) % copies.size()];
        assigned = copies[i];
        if (!(assigned == decoded) || decoded.hashValue() != hashes[t][i] ||
            assigned.hashValue() != hashes[t][i] || encode(decoded) != texts[i]) {
          ++mismatches[t];
        }
      }
    }  // and down again
    step.arrive_and_wait();
    mine.clear();  // all threads drop their last references together
  };
  const auto captured = test::captureStdout([&] {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(work, t);
    for (auto& thread : threads) thread.join();
  });
  EXPECT_EQ(captured.lines(), std::vector(kThreads * kRounds, expectedLines.front()));
  EXPECT_EQ(mismatches, std::vector<int>(kThreads, 0));
  EXPECT_EQ(hashes, std::vector(kThreads, hashes[0]));
}

}  // namespace
}  // namespace tovanel::chat
