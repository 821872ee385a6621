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

// Without a box holding a kind, a body cannot be decoded: the error and the one line say so (an
// empty box is among the media items of EventsTest.cpp; a box with a kind, the next test).
TEST(BodyHandOff, DecodesTheKindInTheBoxOrReportsItMissing) {
  for (const bool stringUnderTheKey : {false, true}) {
    JSONDecoder decoder;
    if (stringUnderTheKey) decoder.userInfo.insert_or_assign(bodyTypeKey(), std::string("text"));
    Body body = Body::action();
    const auto captured = decodeBody(decoder, kGoodText, body);
    EXPECT_TRUE(test::errorAs<Body::BodyDecodingError>(captured.error).has_value());
    EXPECT_EQ(captured.out, std::string(kPrepareLine) + "\n") << stringUnderTheKey;
  }
}

// A kind stays across runs of the same decoder, failing ones included. Decoding a kind is not
// handing it over: the box keeps what it holds, and a failure writes no line.
TEST(BodyHandOff, AKindStaysAcrossRunsAndDecodingAKindLeavesTheBoxAlone) {
  JSONDecoder decoder = test::preparedDecoder(BodyType::text);
  Body body = Body::action();
  EXPECT_FALSE(decodeBody(decoder, R"({"text":"one"})", body).error);
  EXPECT_TRUE(decodeBody(decoder, R"({"text":null})", body).error);
  EXPECT_EQ(decoder.decode<BodyType>(R"("url")"), BodyType::url);
  const auto captured = test::captureStdout([&] { decoder.decode<BodyType>(R"("Text")"); });
  EXPECT_TRUE(test::errorAs<DecodingError>(captured.error));
  EXPECT_EQ(captured.out, "");
  EXPECT_FALSE(decodeBody(decoder, R"({"text":"two"})", body).error);
  ASSERT_NE(body.get<TextBody>(), nullptr);
  EXPECT_EQ(body.get<TextBody>()->text, "two");
  EXPECT_EQ(bodyType(decoder.userInfo)->value, BodyType::text);
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
