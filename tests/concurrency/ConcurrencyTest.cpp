// Decoding on several threads at once, one decoder per thread, and values shared across threads:
// bodies whose one payload many threads copy, compare, hash and release at the same moment, and
// events read by all of them. Under ThreadSanitizer (scripts/test --tsan) a data race fails the
// run; the assertions here catch what a race would corrupt.

#include <gtest/gtest.h>

#include <barrier>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/Capture.hpp"
#include "tovanel/chat.hpp"
#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 20;

struct Document {
  BodyType kind;
  const char* json;
};

// One body of every kind that has a payload and two without, events among them whose decoding
// writes the body-type box (user_present) and reads dates (room_request_created).
const std::vector<Document> kDocuments{
    {BodyType::text,
     R"({"text":"Grüße, @anna","mentions":[{"userId":"u-anna","rangeStart":7,"rangeEnd":12}]})"},
    {BodyType::images,
     R"({"images":[{"width":4032,"height":3024,"url":"https://cdn.example.chat/i/tram28.jpg","optimizedUrl":"https://cdn.example.chat/i/tram28@1x.jpg"}]})"},
    {BodyType::location,
     R"({"text":"Hotel","originalUrl":"https://maps.example.com/?q=38.7,-9.1","name":"Hotel Baixa","description":"Rua Augusta 100","location":{"long":-9.1394,"lat":38.7139},"image":{"width":600,"height":300,"url":"https://maps.example.com/static.png"}})"},
    {BodyType::url,
     R"({"text":"look","originalUrl":"https://example.com/r?ref=chat","url":"https://example.com/r","title":"Tasca — fado","description":"A tiny tavern","image":{"width":1200,"height":630,"url":"https://example.com/og.jpg"}})"},
    {BodyType::video,
     R"({"video":{"width":1920,"height":1080,"url":"https://cdn.example.chat/v/m.mp4","duration":42.5},"thumbnail":{"width":640,"height":360,"url":"https://cdn.example.chat/v/m.jpg"}})"},
    {BodyType::youtube,
     R"({"url":"https://youtube.example/watch?v=f","id":"f","title":"Fado","duration":"PT4M13S","type":"video"})"},
    {BodyType::soundcloud,
     R"({"favorites":412,"title":"Barco Negro","duration":221.5,"username":"fado-archive","plays":5300000001,"type":"track","url":"https://soundcloud.example/t"})"},
    {BodyType::twitch,
     R"({"gameId":"509658","game":"Just Chatting","channelId":"44322889","type":"live","views":15000,"name":"lisbon_live"})"},
    {BodyType::hls,
     R"({"description":"A documentary","type":"movie","provider":"CinemaStream","url":"https://cinema.example/fado/watch","title":"Fados","duration":5280,"tags":["documentary","music"]})"},
    {BodyType::info,
     R"({"type":"room_created","added":[{"id":"u-bob","username":"bob","firstName":"Bob","lastName":"Okafor","followerCount":87,"followingCount":92}],"visibility":"secret","accessibility":"request","title":"Lisbon"})"},
    {BodyType::info,
     R"({"type":"user_present","mediaType":"text","media":{"id":"p-2","type":"text","body":{"text":"listening along"}}})"},
    {BodyType::info,
     R"({"type":"room_request_created","request":{"_id":"req-9","room":"r-1","type":"go_live","user":"u-carl","__v":0,"appId":"app-1","createdAt":"2026-11-19T09:29:58Z","isInvite":false,"state":"pending","updatedAt":"2026-11-19T09:30:00.500Z","metadata":{"previouslyAcceptedCount":2}}})"},
    {BodyType::info, R"({"type":"room_tags","tags":["travel","lisbon","food"]})"},
    {BodyType::vimeo, R"({"url":"https://vimeo.example/123456"})"},
    {BodyType::action, "{}"},
};

Body decodeWith(JSONDecoder& decoder, const Document& document) {
  bodyType(decoder.userInfo)->value = document.kind;
  return decoder.decode<Body>(document.json);
}

std::string encode(const Body& body) {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = DateEncodingStrategy::iso8601();
  return encoder.encode(body);
}

std::vector<Body> decodeAll() {
  JSONDecoder decoder = exports::makeEnvelopeDecoder();
  std::vector<Body> bodies;
  for (const auto& document : kDocuments) bodies.push_back(decodeWith(decoder, document));
  return bodies;
}

/// Runs `work(threadIndex)` on kThreads threads and waits for them all.
void onThreads(const std::function<void(int)>& work) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(work, t);
  for (auto& thread : threads) thread.join();
}

TEST(Concurrency, ThreadsDecodingWithADecoderEachGetTheSameValuesAndTexts) {
  const std::vector<Body> expected = decodeAll();
  std::vector<std::string> expectedTexts;
  for (const auto& body : expected) expectedTexts.push_back(encode(body));

  std::vector<int> mismatches(kThreads, 0);
  std::barrier start(kThreads);
  onThreads([&](int t) {
    JSONDecoder decoder = exports::makeEnvelopeDecoder();
    start.arrive_and_wait();
    for (int round = 0; round < kRounds; ++round) {
      for (std::size_t i = 0; i < kDocuments.size(); ++i) {
        const Body body = decodeWith(decoder, kDocuments[i]);
        if (!(body == expected[i]) || body.hashValue() != expected[i].hashValue() ||
            encode(body) != expectedTexts[i]) {
          ++mismatches[t];
        }
      }
    }
  });
  EXPECT_EQ(mismatches, std::vector<int>(kThreads, 0));
}

TEST(Concurrency, DiagnosticLinesOfFailuresOnManyThreadsNeverInterleave) {
  const Document broken{BodyType::text, R"({"text":5})"};
  const auto failOnce = [&] {
    JSONDecoder decoder = exports::makeEnvelopeDecoder();
    try {
      decodeWith(decoder, broken);
    } catch (const DecodingError&) {
    }
  };
  const auto expectedLines = test::captureStdout(failOnce).lines();
  ASSERT_EQ(expectedLines.size(), 1u);

  const auto captured = test::captureStdout([&] {
    std::barrier start(kThreads);
    onThreads([&](int) {
      start.arrive_and_wait();
      for (int round = 0; round < kRounds; ++round) failOnce();
    });
  });
  const auto lines = captured.lines();
  EXPECT_EQ(lines, std::vector<std::string>(kThreads * kRounds, expectedLines.front()));
}

TEST(Concurrency, SharedPayloadsAreCopiedComparedHashedAndReleasedFromManyThreadsAtOnce) {
  // Each thread starts with its own copies, sharing the payloads with the others, and the
  // originals are gone: the last reference to each payload is dropped by whichever thread lets
  // go last, all of them letting go at the same moment.
  std::vector<Body> originals = decodeAll();
  std::vector<std::vector<Body>> handedOver(kThreads, originals);
  originals.clear();

  std::vector<std::vector<std::uint64_t>> hashes(kThreads);
  std::vector<int> mismatches(kThreads, 0);
  std::barrier step(kThreads);
  onThreads([&](int t) {
    std::vector<Body> mine = std::move(handedOver[t]);
    step.arrive_and_wait();
    // In a process of its own, the hasher's seed is first asked for here, on every thread at once.
    for (const auto& body : mine) hashes[t].push_back(body.hashValue());
    for (int round = 0; round < kRounds; ++round) {
      std::vector<Body> copies = mine;  // counts go up on every thread at once
      for (std::size_t i = 0; i < copies.size(); ++i) {
        Body assigned = copies[(i + 1) % copies.size()];
        assigned = copies[i];
        if (!(assigned == mine[i]) || assigned.hashValue() != hashes[t][i]) ++mismatches[t];
      }
    }  // and down again
    step.arrive_and_wait();
    mine.clear();  // all threads drop their last references together
  });

  EXPECT_EQ(mismatches, std::vector<int>(kThreads, 0));
  // A fresh decode of each document is the same value, with the hash every thread computed.
  std::vector<std::uint64_t> fresh;
  for (const auto& body : decodeAll()) fresh.push_back(body.hashValue());
  EXPECT_EQ(hashes, std::vector<std::vector<std::uint64_t>>(kThreads, fresh));
}

TEST(Concurrency, EventsReadByManyThreadsStayEqualToTheirCopiesAndHashAlike) {
  std::vector<InfoBody> events;
  for (const auto& body : decodeAll()) {
    if (const auto* info = body.get<InfoBody>()) events.push_back(*info);
  }
  ASSERT_EQ(events.size(), 4u);

  std::vector<std::set<std::uint64_t>> distinctHashes(kThreads);
  std::vector<int> mismatches(kThreads, 0);
  onThreads([&](int t) {
    for (int round = 0; round < kRounds; ++round) {
      for (const auto& event : events) {
        const InfoBody copy = event;
        const Body held(copy);  // a payload of its own, made and freed on this thread
        if (!(copy == event) || !(*held.get<InfoBody>() == event)) ++mismatches[t];
        distinctHashes[t].insert(event.hashValue());
        distinctHashes[t].insert(copy.hashValue());
      }
    }
  });
  EXPECT_EQ(mismatches, std::vector<int>(kThreads, 0));
  // Four different events: four hashes, the same on every thread.
  std::set<std::uint64_t> expected;
  for (const auto& event : events) expected.insert(event.hashValue());
  ASSERT_EQ(expected.size(), 4u);
  EXPECT_EQ(distinctHashes, std::vector<std::set<std::uint64_t>>(kThreads, expected));
}

}  // namespace
}  // namespace tovanel::chat
