// Threads: the library runs none of its own and shares no state between calls, except what the
// caller shares. These are the rules for using it from several threads.

#include <array>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "Expect.hpp"
#include "tovanel/chat.hpp"

namespace chat = tovanel::chat;

int main() {
  const std::array<std::string, 4> texts = {R"({"text": "one"})", R"({"text": "two"})",
                                            R"({"text": "three"})", R"({"text": "four"})"};

  // [decoders]
  // One JSONDecoder per thread: a decoder, its parser and its body-type box serve one decode at
  // a time. One JSONEncoder whose options nobody changes may serve every thread.
  const chat::JSONEncoder encoder;
  std::array<std::string, 4> reencoded;
  std::vector<std::thread> workers;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    workers.emplace_back([&, i] {
      chat::JSONDecoder decoder;  // this thread's own
      chat::prepareForBodyDecoding(decoder).value = chat::BodyType::text;
      reencoded[i] = encoder.encode(decoder.decode<chat::Body>(texts[i]));
    });
  }
  for (std::thread& worker : workers) worker.join();
  // [decoders]
  guide::expectEqual(reencoded[2], std::string(R"({"text":"three"})"),
                     "a body decoded on a thread");

  // [values]
  // Records are values. The copies of a Body share one immutable payload whose count is atomic,
  // so copies may be made, read and dropped on any thread; a const record may be read by many.
  const chat::Body body(chat::TextBody("shared", std::nullopt));
  std::array<bool, 4> equal{};
  std::vector<std::thread> readers;
  for (std::size_t i = 0; i < equal.size(); ++i) {
    readers.emplace_back(
        [body, &equal, i] { equal[i] = body.get<chat::TextBody>()->text == "shared"; });
  }
  for (std::thread& reader : readers) reader.join();
  // [values]
  guide::expect(equal == std::array<bool, 4>{true, true, true, true}, "every copy to read alike");

  // [async]
  // A Promise may be resolved, and a Subscriber fed, from any thread: the callbacks run on the
  // thread that resolves or sends. Deliveries to one subscription never overlap.
  chat::Promise<std::string> promise;
  std::string result;
  std::thread::id deliveredOn;
  chat::Cancellable waiting = promise.future().subscribe([&](const std::string& value) {
    result = value;
    deliveredOn = std::this_thread::get_id();
  });
  std::thread producer([&promise] { promise.resolve("page 1"); });
  const std::thread::id producerThread = producer.get_id();
  producer.join();
  // result is "page 1", and deliveredOn is the producer's thread
  // [async]
  guide::expectEqual(result, std::string("page 1"), "the resolved value");
  guide::expect(deliveredOn == producerThread, "the callback to run on the resolving thread");
  return 0;
}
