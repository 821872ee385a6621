#include "tovanel/chat/body/Body.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Capture.hpp"
#include "support/RecordingHasher.hpp"
#include "tovanel/chat/body/content/TextBody.hpp"
#include "tovanel/chat/coding/JSONDecoder.hpp"
#include "tovanel/chat/coding/JSONEncoder.hpp"

namespace tovanel::chat {
namespace {

using Mention = TextBody::Mention;

Body textBody(std::string value, std::optional<std::vector<Mention>> mentions = std::nullopt) {
  return Body(TextBody(std::move(value), std::move(mentions)));
}

// ---- the kinds without a payload of their own ----

const std::vector<BodyType> kSilentKinds{BodyType::action, BodyType::app, BodyType::event,
                                         BodyType::hint, BodyType::vimeo};

struct AnyJson {
  const char* name;
  const char* json;
};

class SilentKindTest : public ::testing::TestWithParam<std::tuple<BodyType, AnyJson>> {};

TEST_P(SilentKindTest, DecodesOverAnyValueReadingNothing) {
  const auto [kind, value] = GetParam();
  Body body = Body::action();
  const auto captured = test::captureStdout([&, kind = kind, json = value.json] {
    body =
        JSONDecoder().decode(json, [&](const Decoder& root) { return Body::decode(root, kind); });
  });
  EXPECT_FALSE(captured.error);
  EXPECT_EQ(body.bodyType(), kind);
  EXPECT_EQ(captured.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    AnyValue, SilentKindTest,
    ::testing::Combine(::testing::ValuesIn(kSilentKinds),
                       ::testing::Values(AnyJson{"Number", "42"},
                                         AnyJson{"BadTextBody", R"({"text":5})"})),
    [](const auto& info) {
      return std::string(rawValue(std::get<0>(info.param))) + "_" + std::get<1>(info.param).name;
    });

TEST(Body, SilentKindsWriteNothingAndTheEncoderMakesItAnEmptyObject) {
  for (const BodyType kind : kSilentKinds) {
    const Body body =
        JSONDecoder().decode("{}", [&](const Decoder& root) { return Body::decode(root, kind); });
    const JSONEncoder encoder;
    std::string out;
    coding::detail::EncodingRun run(encoder, out);
    Encoder place(run);
    body.encode(place);
    EXPECT_EQ(out, "") << rawValue(kind);
    EXPECT_EQ(encoder.encode(body), "{}") << rawValue(kind);
    EXPECT_EQ(encoder.encode(std::vector<Body>{body, body}), "[{},{}]") << rawValue(kind);
  }
  // Only the empty record by itself writes an object.
  EXPECT_EQ(JSONEncoder().encode(EmptyBody{}), "{}");
}

// ---- values ----

struct BodyRow {
  const char* name;
  Body body;
  BodyType kind;
  std::string hashInput;
};

const std::vector<BodyRow>& bodyRows() {
  static const std::vector<BodyRow> rows{
      {"Action", Body::action(), BodyType::action, "w0"},
      {"App", Body::app(), BodyType::app, "w1"},
      {"Event", Body::event(), BodyType::event, "w2"},
      {"Vimeo", Body::vimeo(), BodyType::vimeo, "w13"},
      {"VimeoFromEmptyBody", Body(EmptyBody{}), BodyType::vimeo, "w13"},
      {"TextWithNoMentions", textBody("hi", std::vector<Mention>{}), BodyType::text,
       "w9 'hi' b1 w0"},
      // text, two mentions: a user and a start, then only an end
      {"TextWithMentions",
       textBody("caf\xC3\xA9 @bob",
                std::vector{Mention("u1", 5, std::nullopt), Mention({}, {}, -2)}),
       BodyType::text,
       "w9 'caf\xC3\xA9 @bob' b1 w2 b1 'u1' b1 w5 b0 b0 b0 b1 w18446744073709551614"},
  };
  return rows;
}

class BodyValueTest : public ::testing::TestWithParam<BodyRow> {};

TEST_P(BodyValueTest, HasItsKindAndFeedsItsPositionThenItsPayload) {
  EXPECT_EQ(GetParam().body.bodyType(), GetParam().kind);
  EXPECT_EQ(test::hashLine(GetParam().body), GetParam().hashInput);
}

TEST_P(BodyValueTest, FeedsTheProcessHasherWhatItFeedsAnyOther) {
  const Hasher::Seed seed{1, 2};
  Hasher direct(seed);
  GetParam().body.hashInto(direct);
  Hasher target(seed);
  HasherRef forwarded(target);
  GetParam().body.hashInto(forwarded);
  EXPECT_EQ(direct.finalize(), target.finalize());
}

INSTANTIATE_TEST_SUITE_P(Bodies, BodyValueTest, ::testing::ValuesIn(bodyRows()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Body, IsOnePointerAndCopiesShareThePayload) {
  EXPECT_EQ(sizeof(Body), sizeof(void*));
  std::optional<Body> original(textBody("shared"));
  const TextBody* payload = original->get<TextBody>();
  ASSERT_NE(payload, nullptr);
  Body copy = *original;
  Body assigned = Body::hint();
  assigned = copy;
  EXPECT_EQ(copy.get<TextBody>(), payload);
  EXPECT_EQ(assigned.get<TextBody>(), payload);
  original.reset();  // the copies keep the payload alive
  EXPECT_EQ(copy.get<TextBody>()->text, "shared");
  Body moved = std::move(copy);
  EXPECT_EQ(moved.get<TextBody>(), payload);
}

TEST(Body, TypedAccessGivesOnlyThePayloadOfItsKind) {
  EXPECT_EQ(Body::vimeo().get<TextBody>(), nullptr);
  EXPECT_NE(Body::vimeo().get<EmptyBody>(), nullptr);
  EXPECT_EQ(Body::hint().get<EmptyBody>(), nullptr);
  EXPECT_EQ(textBody("x").get<EmptyBody>(), nullptr);
}

}  // namespace
}  // namespace tovanel::chat
