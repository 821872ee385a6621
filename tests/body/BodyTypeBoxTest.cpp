// The hand-off of a body's kind from the enclosing record to Body's decoding, and the diagnostic
// lines that body decoding writes on the way.

#include <any>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using test::kBodyLine;
using test::kPrepareLine;
const char* const kGoodText = R"({"text":"hi","mentions":[{"userId":"u","rangeStart":0}]})";

/// Decodes a Body through the box, keeping the lines written and the error thrown.
test::Captured decodeBody(JSONDecoder& decoder, std::string_view json, Body& out) {
  return test::captureStdout([&] { out = decoder.decode<Body>(json); });
}

// An application's message envelope: it decodes its kind, hands it over, then decodes its body.
struct Envelope {
  BodyType type = BodyType::action;
  Body body = Body::action();

  static Envelope decode(const Decoder& decoder) {
    const auto container = decoder.container();
    Envelope out;
    out.type = container.decode<BodyType>("type");
    if (auto* box = bodyType(decoder)) box->value = out.type;
    out.body = container.decode<Body>("body");
    return out;
  }
};

// Without a box holding a kind, a body cannot be decoded: the error and the one line say so.
TEST(BodyHandOff, DecodesTheKindInTheBoxOrReportsItMissing) {
  const std::pair<const char*, std::function<void(JSONDecoder&)>> rows[] = {
      {"unprepared", [](JSONDecoder&) {}},
      {"kind cleared by the enclosing record",
       [](JSONDecoder& d) {
         prepareForBodyDecoding(d).value = BodyType::text;
         bodyType(d.userInfo)->value.reset();
       }},
      {"a string under the key",
       [](JSONDecoder& d) { d.userInfo.insert_or_assign(bodyTypeKey(), std::string("text")); }},
      {"text", [](JSONDecoder& d) { d = test::preparedDecoder(BodyType::text); }},
  };
  for (const auto& [name, setUp] : rows) {
    JSONDecoder decoder;
    setUp(decoder);
    Body body = Body::action();
    const auto captured = decodeBody(decoder, kGoodText, body);
    if (std::string_view(name) == "text") {
      EXPECT_EQ(std::pair(!captured.error, captured.out), std::pair(true, std::string()));
      EXPECT_EQ(body.bodyType(), BodyType::text);
    } else {
      EXPECT_TRUE(test::errorAs<Body::BodyDecodingError>(captured.error).has_value()) << name;
      EXPECT_EQ(captured.out, std::string(kPrepareLine) + "\n") << name;
    }
  }
}

TEST(BodyHandOff, AKindStaysAcrossRunsOfTheSameDecoder) {
  JSONDecoder decoder = test::preparedDecoder(BodyType::text);
  Body body = Body::action();
  EXPECT_FALSE(decodeBody(decoder, R"({"text":"one"})", body).error);
  EXPECT_TRUE(decodeBody(decoder, R"({"text":null})", body).error);
  EXPECT_FALSE(decodeBody(decoder, R"({"text":"two"})", body).error);
  ASSERT_NE(body.get<TextBody>(), nullptr);
  EXPECT_EQ(body.get<TextBody>()->text, "two");
  EXPECT_EQ(bodyType(decoder.userInfo)->value, BodyType::text);
}

// A failing body keeps its full path, and Body writes one line.
TEST(BodyHandOff, EachEnvelopeHandsItsKindToItsBody) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  std::vector<Envelope> envelopes;
  const auto captured = test::captureStdout([&] {
    envelopes = decoder.decode<std::vector<Envelope>>(
        R"([{"body":{"text":"hi"},"type":"text"},{"type":"vimeo","body":42},)"
        R"({"type":"hint","body":{"text":7}},{"type":"text","body":{"text":"yo"}}])");
  });
  EXPECT_EQ(std::pair(!captured.error, captured.out), std::pair(true, std::string()));
  std::vector<BodyType> kinds;
  for (const auto& envelope : envelopes) kinds.push_back(envelope.body.bodyType());
  EXPECT_EQ(kinds, (std::vector{BodyType::text, BodyType::vimeo, BodyType::hint, BodyType::text}));
  EXPECT_EQ(envelopes.back().body, Body(TextBody("yo", std::nullopt)));

  const auto failed = test::captureStdout([&] {
    decoder.decode<std::vector<Envelope>>(
        R"([{"type":"hint","body":1},{"type":"text","body":{"text":true}}])");
  });
  const auto error = test::errorAs<DecodingError>(failed.error);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(describe(error->codingPath()), "[1].body.text");
  EXPECT_EQ(failed.lines(), std::vector{std::string(kBodyLine) + error->what()});
}

TEST(BodyHandOff, PreparingAgainInstallsOneFreshEmptyBox) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  const auto first =
      std::any_cast<std::shared_ptr<BodyTypeBox>>(decoder.userInfo.at(bodyTypeKey()));
  first->value = BodyType::url;
  BodyTypeBox& second = prepareForBodyDecoding(decoder);
  EXPECT_EQ(decoder.userInfo.size(), 1u);
  EXPECT_EQ(bodyType(decoder), &second);  // the box returned is the one installed
  EXPECT_NE(bodyType(decoder.userInfo), first.get());
  EXPECT_EQ(bodyType(decoder.userInfo)->value, std::nullopt);
  EXPECT_EQ(first->value, BodyType::url);  // the old box is merely unreachable
}

// Decoding a kind is not handing it over: the box stays empty, and a failure writes no line.
TEST(BodyHandOff, DecodingAKindLeavesTheBoxAloneAndWritesNothing) {
  JSONDecoder decoder;
  prepareForBodyDecoding(decoder);
  EXPECT_EQ(decoder.decode<BodyType>(R"("text")"), BodyType::text);
  EXPECT_EQ(bodyType(decoder.userInfo)->value, std::nullopt);
  const auto captured = test::captureStdout([&] { decoder.decode<BodyType>(R"("Text")"); });
  EXPECT_TRUE(test::errorAs<DecodingError>(captured.error));
  EXPECT_EQ(captured.out, "");
}

TEST(BodyHandOff, DiagnosticLinesGoToTheDecodersSinkOrNowhere) {
  const auto failTwice = [](JSONDecoder& decoder) {
    for (const char* json : {R"({"text":true})", R"({"text":"ok"})"}) {
      try {
        decoder.decode<Body>(json);
      } catch (const DecodingError&) {
      }
    }
    decoder.userInfo.clear();  // and once without a box
    EXPECT_THROW(decoder.decode<Body>(kGoodText), Body::BodyDecodingError);
  };
  JSONDecoder decoder = test::preparedDecoder(BodyType::text);
  std::vector<std::string> received;
  decoder.diagnosticSink = [&](std::string_view line) { received.emplace_back(line); };
  EXPECT_EQ(test::captureStdout([&] { failTwice(decoder); }).out, "");
  ASSERT_EQ(received.size(), 2u);
  EXPECT_TRUE(received[0].starts_with(kBodyLine)) << received[0];
  EXPECT_EQ(received[1], std::string(kPrepareLine) + "\n");

  JSONDecoder silent = test::preparedDecoder(BodyType::text);
  silent.diagnosticSink = nullptr;
  EXPECT_EQ(test::captureStdout([&] { failTwice(silent); }).out, "");
}

}  // namespace
}  // namespace tovanel::chat
