// The go-live request: its unusual keys, its public key set, dates by the caller's strategies and
// the presence of its nested records.

#include "tovanel/chat/body/info/RoomRequestCreatedInfoBody.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using Request = RoomRequestCreatedInfoBody::Request;

struct Row {
  std::string_view name;
  std::string_view input;
  std::string_view expected;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class RequestEvents : public testing::TestWithParam<Row> {};

TEST_P(RequestEvents, DecodeStrictlyAndWriteWhatIsPresent) {
  EXPECT_EQ(test::writtenBack<RoomRequestCreatedInfoBody>(GetParam().input), GetParam().expected)
      << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(
    Keys, RequestEvents,
    testing::Values(
        Row{"underscored keys", R"({"request":{"appId":"a","__v":2,"_id":"r1"}})",
            R"({"request":{"_id":"r1","__v":2,"appId":"a"}})"},
        Row{"the field names are not keys", R"({"request":{"id":"r1","version":2,"appID":"a"}})",
            R"({"request":{}})"},
        Row{"no request", R"({"type":"room_request_created"})",
            R"({"type":"room_request_created"})"},
        Row{"a null request", R"({"request":null})", "{}"},
        Row{"an empty request", R"({"request":{}})", R"({"request":{}})"},
        Row{"empty metadata", R"({"request":{"metadata":{}}})", R"({"request":{"metadata":{}}})"},
        Row{"the request's own type is free text",
            R"({"type":"room_request_created","request":{"type":"room_request","state":"?"}})",
            R"({"type":"room_request_created","request":{"type":"room_request","state":"?"}})"},
        Row{"every field in declaration order",
            R"({"request":{"metadata":{"previouslyAcceptedCount":0},"updatedAt":5.5,)"
            R"("state":"open","isInvite":true,"createdAt":1.25,"appId":"a","__v":1,)"
            R"("user":"u","type":"t","room":"r","_id":"i"}})",
            R"({"request":{"_id":"i","room":"r","type":"t","user":"u","__v":1,"appId":"a",)"
            R"("createdAt":1.25,"isInvite":true,"state":"open","updatedAt":5.5,)"
            R"("metadata":{"previouslyAcceptedCount":0}}})"},
        Row{"a version given as text", R"({"request":{"__v":"2"}})", "typeMismatch at request.__v"},
        Row{"a version with a fraction", R"({"request":{"__v":2.5}})",
            "dataCorrupted at request.__v"},
        Row{"an invitation flag given as text", R"({"request":{"isInvite":"true"}})",
            "typeMismatch at request.isInvite"},
        Row{"a count given as text", R"({"request":{"metadata":{"previouslyAcceptedCount":"1"}}})",
            "typeMismatch at request.metadata.previouslyAcceptedCount"},
        Row{"metadata as an array", R"({"request":{"metadata":[]}})",
            "typeMismatch at request.metadata"}));

// ---- dates: the caller's strategies decide their form ----

struct DateRow {
  std::string_view name;
  DateDecodingStrategy decoding;
  DateEncodingStrategy encoding;
  std::string_view json;  // read, and expected back
};

void PrintTo(const DateRow& row, std::ostream* out) { *out << row.name; }

class RequestDates : public testing::TestWithParam<DateRow> {};

constexpr double kCreated1970 = 1700000000.5;  // 2023-11-14T22:13:20.500Z
constexpr double kUpdated1970 = 1700000060.0;

TEST_P(RequestDates, AreReadAndWrittenByTheCodersStrategies) {
  JSONDecoder decoder;
  decoder.dateDecodingStrategy = GetParam().decoding;
  const auto request = decoder.decode<Request>(GetParam().json);
  ASSERT_TRUE(request.createdAt() && request.updatedAt());
  EXPECT_EQ(request.createdAt()->timeIntervalSince1970(), kCreated1970);
  EXPECT_EQ(request.updatedAt()->timeIntervalSince1970(), kUpdated1970);
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = GetParam().encoding;
  EXPECT_EQ(encoder.encode(request), GetParam().json);
}

INSTANTIATE_TEST_SUITE_P(
    TwoStrategies, RequestDates,
    testing::Values(
        DateRow{"seconds since 1970", DateDecodingStrategy::secondsSince1970(),
                DateEncodingStrategy::secondsSince1970(),
                R"({"createdAt":1700000000.5,"updatedAt":1700000060})"},
        DateRow{"ISO 8601 text", DateDecodingStrategy::iso8601(), DateEncodingStrategy::iso8601(),
                R"({"createdAt":"2023-11-14T22:13:20.500Z","updatedAt":"2023-11-14T22:14:20Z"})"}),
    [](const auto& info) { return info.index == 0 ? "Seconds" : "Iso8601"; });

TEST(RequestDates, InAnotherFormThanTheStrategysFailTheEvent) {
  JSONDecoder iso;
  iso.dateDecodingStrategy = DateDecodingStrategy::iso8601();
  EXPECT_EQ(test::decodeCapturing<RoomRequestCreatedInfoBody>(
                iso, R"({"request":{"createdAt":1700000000}})")
                .summary(),
            "typeMismatch at request.createdAt");
  JSONDecoder seconds;
  seconds.dateDecodingStrategy = DateDecodingStrategy::secondsSince1970();
  EXPECT_EQ(test::decodeCapturing<RoomRequestCreatedInfoBody>(
                seconds, R"({"request":{"updatedAt":"2023-11-14T22:14:20Z"}})")
                .summary(),
            "typeMismatch at request.updatedAt");
}

TEST(RequestDates, CompareByInstant) {
  JSONDecoder iso;
  iso.dateDecodingStrategy = DateDecodingStrategy::iso8601();
  JSONDecoder seconds;
  seconds.dateDecodingStrategy = DateDecodingStrategy::secondsSince1970();
  const auto a = iso.decode<Request>(R"({"createdAt":"2023-11-15T00:13:20.500+02:00"})");
  const auto b = seconds.decode<Request>(R"({"createdAt":1700000000.5})");
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hashValue(), b.hashValue());
}

}  // namespace
}  // namespace tovanel::chat
