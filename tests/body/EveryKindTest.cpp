// Body kinds through Body, as an envelope decodes them (every key of every kind is in
// FieldTablesTest.cpp): nothing written for the kinds without a payload, whatever they were given,
// unknown keys and escapes, how a failing payload fails (kind, path and Body's one diagnostic
// line); equality, the hash and sharing.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using test::decodeBody;

struct KindRow {
  BodyType kind;
  std::string sent;
  std::string written;  // written back, or the failure; empty: written back exactly as sent
  const std::string& expected() const { return written.empty() ? sent : written; }
};
void PrintTo(const KindRow& row, std::ostream* out) {
  *out << rawValue(row.kind) << " " << row.sent;
}

std::vector<KindRow> kindRows() {
  using B = BodyType;
  return {
      {B::action, R"({"x":1})", "{}"},
      {B::app, "42", "{}"},
      {B::event, R"({"text":5})", "{}"},
      {B::hint, "[null]", "{}"},
      {B::vimeo, "{}", ""},
      {B::images, R"({"images":[{"width":2,"height":1,"url":"w"},{}],"caption":"x"})",
       R"({"images":[{"width":2,"height":1,"url":"w"},{}]})"},
      // payloads that fail, at the path from the payload (what each field's presence gives, and the
      // path within each record, is in FieldTablesTest.cpp)
      {B::images, R"({"images":[{},{"width":"2"}]})", "typeMismatch at images[1].width"},
      {B::video, "null", "valueNotFound"},
  };
}

class EveryKind : public testing::TestWithParam<KindRow> {};

// A payload that decodes is written back without a line (that it then decodes to an equal body is
// in FieldTablesTest.cpp); one that fails gives its kind and path, after Body's one line.
TEST_P(EveryKind, WritesBackEveryKeyInKeyOrderOrFailsAfterBodysLine) {
  std::optional<Body> decoded;
  const auto captured =
      test::captureStdout([&] { decoded.emplace(decodeBody(GetParam().kind, GetParam().sent)); });
  if (const auto error = test::errorAs<DecodingError>(captured.error)) {
    EXPECT_EQ(test::describeFailure(*error), GetParam().expected());
    EXPECT_EQ(captured.out, std::string(test::kBodyLine) + error->what() + "\n");
    return;
  }
  ASSERT_TRUE(decoded) << captured.out;
  EXPECT_EQ(captured.out, "");
  EXPECT_EQ(decoded->bodyType(), GetParam().kind);
  EXPECT_EQ(JSONEncoder().encode(*decoded), GetParam().expected());
}

INSTANTIATE_TEST_SUITE_P(Bodies, EveryKind, testing::ValuesIn(kindRows()));

using B = BodyType;
using Mention = TextBody::Mention;
Body textBody(std::string value, std::optional<std::vector<Mention>> mentions = std::nullopt) {
  return Body(TextBody(std::move(value), std::move(mentions)));
}

// The one recorded input of the family: the kind's position, then the payload's fields in order.
TEST(Body, FeedsItsPositionThenItsPayload) {
  const Body body = textBody("caf\xC3\xA9 @bob",
                             std::vector{Mention("u1", 5, std::nullopt), Mention({}, {}, -2)});
  EXPECT_EQ(test::hashLine(body),
            "w9 'caf\xC3\xA9 @bob' b1 w2 b1 'u1' b1 w5 b0 b0 b0 b1 w18446744073709551614");
}

// Equal payloads make equal bodies only under the same kind; presence and order take part.
TEST(Body, EqualBodiesFeedTheSameHashInputAndOthersDiffer) {
  test::expectHashClasses<Body>(
      {{Body::action()},
       {Body::app()},
       {Body::event()},
       {Body::hint(), decodeBody(B::hint, "[1]")},
       {Body::vimeo(), Body(EmptyBody{}), decodeBody(B::vimeo, "{}")},
       {decodeBody(B::twitch, "{}")},
       {decodeBody(B::hls, "{}")},
       {textBody("hi"), textBody("hi")},
       {textBody("caf\xC3\xA9", std::vector{Mention("u1", 1, 2)}),
        textBody("cafe\xCC\x81", std::vector{Mention("u1", 1, 2)})},
       {textBody("caf\xC3\xA9", std::vector{Mention("u1", 1, std::nullopt)})},
       {textBody("caf\xC3\xA9", std::vector{Mention({}, 1, 2)})},
       {decodeBody(B::images, R"({"images":[{"width":1},{}]})")},
       {decodeBody(B::images, R"({"images":[]})")},
       {decodeBody(B::images, R"({"images":[{"url":"caf\u00e9"}]})"),
        decodeBody(B::images, R"({"images":[{"url":"cafe\u0301"}]})")},
       {decodeBody(B::video, R"({"video":{}})")},
       {decodeBody(B::video, "{}")},
       {decodeBody(B::video, R"({"video":{"duration":0}})"),
        decodeBody(B::video, R"({"video":{"duration":-0.0}})")}});
}

TEST(Body, IsOnePointerAndCopiesShareThePayloadOfItsKindOnly) {
  EXPECT_EQ(sizeof(Body), sizeof(void*));
  std::optional<Body> original(textBody("shared"));
  const TextBody* payload = original->get<TextBody>();
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(original->get<EmptyBody>(), nullptr);
  EXPECT_NE(Body::vimeo().get<EmptyBody>(), nullptr);
  EXPECT_EQ(Body::vimeo().get<TextBody>(), nullptr);
  EXPECT_EQ(Body::hint().get<EmptyBody>(), nullptr);
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

}  // namespace
}  // namespace tovanel::chat
