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
    run.finish();
    EXPECT_EQ(out, "") << rawValue(kind);
    EXPECT_EQ(encoder.encode(body), "{}") << rawValue(kind);
    EXPECT_EQ(encoder.encode(std::vector<Body>{body, body}), "[{},{}]") << rawValue(kind);
  }
  // Only the empty record by itself writes an object.
  EXPECT_EQ(JSONEncoder().encode(EmptyBody{}), "{}");
}

// ---- values ----

// The one recorded input of the family: the kind's position, then the payload's fields in order.
TEST(Body, FeedsItsPositionThenItsPayload) {
  const Body body = textBody("caf\xC3\xA9 @bob",
                             std::vector{Mention("u1", 5, std::nullopt), Mention({}, {}, -2)});
  EXPECT_EQ(test::hashLine(body),
            "w9 'caf\xC3\xA9 @bob' b1 w2 b1 'u1' b1 w5 b0 b0 b0 b1 w18446744073709551614");
}

TEST(Body, EqualBodiesFeedTheSameInputAndOthersDiffer) {
  EXPECT_EQ(Body(EmptyBody{}).bodyType(), BodyType::vimeo);
  test::expectHashClasses<Body>(
      {{Body::action()},
       {Body::app()},
       {Body::event()},
       {Body::hint()},
       {Body::vimeo(), Body(EmptyBody{})},
       {textBody("hi"), textBody("hi")},
       {textBody("hi", std::vector<Mention>{})},
       {textBody("caf\xC3\xA9", std::vector{Mention("u1", 1, 2)}),
        textBody("cafe\xCC\x81", std::vector{Mention("u1", 1, 2)})},
       {textBody("caf\xC3\xA9", std::vector{Mention("u1", 1, std::nullopt)})},
       {textBody("caf\xC3\xA9", std::vector{Mention({}, 1, 2)})}});
}

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
