// The event union: which record each kind selects, the diagnostic line of a failing record and
// its order beside Body's own, what is written, equality across cases and the exact hash input.

#include "tovanel/chat/body/info/InfoBody.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/RecordTables.hpp"
#include "support/RecordingHasher.hpp"

namespace tovanel::chat {
namespace {

using test::userJson;

std::string wrap(std::string_view kind, std::string_view rest = {}) {
  std::string json = R"({"type":")";
  json.append(kind).append("\"").append(rest).append("}");
  return json;
}

// A record's "type" is read from the key that selected it, so it equals the kind.
class KindOnlyEvents : public testing::TestWithParam<InfoType> {};

TEST_P(KindOnlyEvents, HoldTheirKindInTheRecord) {
  const InfoType kind = GetParam();
  const auto outcome = test::decodeCapturing<InfoBody>(wrap(rawValue(kind)));
  ASSERT_TRUE(outcome.value) << outcome.summary();
  ASSERT_EQ(static_cast<std::size_t>(outcome.value->infoCase()), position(kind));
  const auto recordKind = outcome.value->visit([](const auto& record) -> std::optional<InfoType> {
    if constexpr (requires { record.type; }) {
      return record.type;
    } else {
      return InfoType::roomHistoryCleared;  // the one record without fields
    }
  });
  EXPECT_EQ(recordKind, kind);
}

INSTANTIATE_TEST_SUITE_P(AllKinds, KindOnlyEvents, testing::ValuesIn(allCases<InfoType>()),
                         [](const auto& info) { return std::string(rawValue(info.param)); });

TEST(HistoryClearedEvent, LooksAtNoOtherKeyEvenOneOfAWrongType) {
  const auto outcome = test::decodeCapturing<InfoBody>(
      R"({"recipients":"nobody","type":"room_history_cleared","request":[],"media":5})");
  ASSERT_TRUE(outcome.value) << outcome.summary();
  EXPECT_EQ(outcome.value->infoCase(), InfoBody::Case::roomHistoryCleared);
}

TEST(HistoryClearedEvent, WritesAnEmptyObjectThatDoesNotDecodeAgain) {
  const std::string json = JSONEncoder().encode(InfoBody(RoomHistoryClearedInfoBody()));
  EXPECT_EQ(json, "{}");
  EXPECT_EQ(test::writtenBack<InfoBody>(json), "keyNotFound at type");
}

// ---- the kind cannot be read: the error passes unchanged and no line is written ----

struct KindFailureRow {
  std::string_view json;
  std::string_view expectedError;
};

void PrintTo(const KindFailureRow& row, std::ostream* out) { *out << row.json; }

class UnreadableKinds : public testing::TestWithParam<KindFailureRow> {};

TEST_P(UnreadableKinds, FailWithoutALineOfTheirOwnButBodysLineThroughBody) {
  const auto outcome = test::decodeCapturing<InfoBody>(GetParam().json);
  EXPECT_EQ(outcome.summary(), GetParam().expectedError);
  EXPECT_EQ(outcome.captured.out, "");
  const auto body = test::decodeInfoAsBody(GetParam().json);
  EXPECT_EQ(body.captured.out, std::string(test::kBodyLine) + body.errorText() + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, UnreadableKinds,
    testing::Values(KindFailureRow{R"({"recipients":[]})", "keyNotFound at type"},
                    KindFailureRow{R"({"type":null})", "valueNotFound at type"},
                    KindFailureRow{R"({"type":7})", "typeMismatch at type"},
                    KindFailureRow{R"({"type":"addedd"})", "dataCorrupted at type"},
                    KindFailureRow{R"({"type":""})", "dataCorrupted at type"},
                    KindFailureRow{R"(["added"])", "typeMismatch"},
                    KindFailureRow{R"(null)", "valueNotFound"}));

// ---- a record fails: its line first, then its own error ----

struct RecordFailureRow {
  std::string json;
  std::string_view expectedError;
};

void PrintTo(const RecordFailureRow& row, std::ostream* out) { *out << row.json; }

class FailingRecords : public testing::TestWithParam<RecordFailureRow> {};

TEST_P(FailingRecords, FailWithTheRecordsErrorAfterTheInfoLineThenBodysLine) {
  const auto outcome = test::decodeInfoAsBody(GetParam().json);
  ASSERT_TRUE(outcome.error());
  EXPECT_EQ(outcome.summary(), GetParam().expectedError);
  const std::string description = outcome.errorText();
  EXPECT_EQ(outcome.captured.out, std::string(test::kInfoLine) + description + "\n" +
                                      std::string(test::kBodyLine) + description + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    EveryFamily, FailingRecords,
    testing::Values(
        RecordFailureRow{wrap("added", R"(,"recipients":"u1")"), "typeMismatch at recipients"},
        RecordFailureRow{wrap("banned", R"(,"recipients":[)" + userJson("u1") +
                                            R"(,{"id":5,"firstName":"B","lastName":"C"}])"),
                         "typeMismatch at recipients[1].id"},
        RecordFailureRow{wrap("invited", R"(,"recipients":{})"), "typeMismatch at recipients"},
        RecordFailureRow{wrap("joined", R"(,"recipients":[null])"),
                         "valueNotFound at recipients[0]"},
        RecordFailureRow{wrap("room_request_accepted", R"(,"recipients":[{"id":"u"}])"),
                         "keyNotFound at recipients[0].firstName"},
        RecordFailureRow{wrap("room_accessibility", R"(,"accessibility":1)"),
                         "typeMismatch at accessibility"},
        RecordFailureRow{wrap("room_visibility", R"(,"visibility":"open")"),
                         "dataCorrupted at visibility"},
        RecordFailureRow{wrap("room_tags", R"(,"tags":["a",2])"), "typeMismatch at tags[1]"},
        RecordFailureRow{wrap("room_title", R"(,"previously":"Old")"),
                         "typeMismatch at previously"},
        RecordFailureRow{wrap("room_topic", R"(,"topic":[])"), "typeMismatch at topic"},
        RecordFailureRow{wrap("room_created", R"(,"accessibility":"everyone")"),
                         "dataCorrupted at accessibility"},
        RecordFailureRow{wrap("room_call_summary", R"(,"caller":{})"), "keyNotFound at caller.id"},
        RecordFailureRow{wrap("room_request_created", R"(,"request":{"__v":"1"})"),
                         "typeMismatch at request.__v"},
        RecordFailureRow{wrap("user_present", R"(,"media":"photo")"), "typeMismatch at media"},
        RecordFailureRow{R"({"recipients":5,"type":"added"})", "typeMismatch at recipients"}));

TEST(EventReadTolerantly, StillWritesTheLineWithTheDescription) {
  JSONDecoder decoder = test::preparedDecoder();
  testing::internal::CaptureStdout();
  const auto event = decoder.decode(
      R"({"event":{"type":"joined","recipients":"u1"}})",
      [](const Decoder& root) { return root.container().decodeTolerantly<InfoBody>("event"); });
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_FALSE(event.has_value());
  EXPECT_EQ(output, std::string(test::kInfoLine) +
                        "typeMismatch at event.recipients: expected an array, found a string\n");
}

TEST(EventInsideABody, ThatDecodesWritesNoLine) {
  const auto outcome = test::decodeInfoAsBody(wrap("joined"));
  ASSERT_TRUE(outcome.value) << outcome.summary();
  EXPECT_EQ(outcome.captured.out, "");
}

// ---- what is written ----

struct WrittenRow {
  InfoBody event;
  std::string_view expected;
};

void PrintTo(const WrittenRow& row, std::ostream* out) { *out << row.expected; }

class WrittenEvents : public testing::TestWithParam<WrittenRow> {};

TEST_P(WrittenEvents, WriteTheRecordsOwnType) {
  EXPECT_EQ(JSONEncoder().encode(GetParam().event), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    TypeFromTheRecord, WrittenEvents,
    testing::Values(
        WrittenRow{InfoBody(AddedInfoBody(InfoType::banned, std::nullopt)), R"({"type":"banned"})"},
        WrittenRow{InfoBody(AddedInfoBody(std::nullopt, std::nullopt)), "{}"},
        WrittenRow{InfoBody(RoomTopicInfoBody(std::nullopt, "Talk")), R"({"topic":"Talk"})"},
        WrittenRow{InfoBody(MessageDeletedInfoBody(InfoType::roomTitle)),
                   R"({"type":"room_title"})"},
        WrittenRow{InfoBody(RoomHistoryClearedInfoBody()), "{}"}));

TEST(WrittenEvents, ReadBackByTheirWrittenTypeNotTheirCase) {
  const std::string json = JSONEncoder().encode(InfoBody(AddedInfoBody(InfoType::banned, {})));
  const auto outcome = test::decodeCapturing<InfoBody>(json);
  ASSERT_TRUE(outcome.value) << outcome.summary();
  EXPECT_EQ(outcome.value->infoCase(), InfoBody::Case::banned);
}

// ---- equality and the hash ----

TEST(EventEquality, FollowsCaseRecordPresenceAndCanonicalTextAndHashesAgree) {
  const std::string u1 = userJson("u1"), u2 = userJson("u2");
  struct Row {
    std::string_view name;
    std::string first, second;  // owned: the shared check reads views of them
    bool equal;
  };
  const std::vector<Row> rows{
      {"membership events of different cases", wrap("added"), wrap("banned"), false},
      {"kind-only events of different cases", wrap("message_delete"), wrap("room_request"), false},
      {"recipients in another order", wrap("joined", R"(,"recipients":[)" + u1 + "," + u2 + "]"),
       wrap("joined", R"(,"recipients":[)" + u2 + "," + u1 + "]"), false},
      {"absent and empty recipients", wrap("joined"), wrap("joined", R"(,"recipients":[])"), false},
      {"absent and empty previous title", wrap("room_title", R"(,"title":"New")"),
       wrap("room_title", R"(,"title":"New","previously":{})"), false},
      {"canonically equivalent titles", wrap("room_title", R"(,"title":"Caf\u00e9")"),
       wrap("room_title", R"(,"title":"Cafe\u0301")"), true},
  };
  for (const auto& row : rows) {
    test::expectEquality<InfoBody>({row.name, row.first, row.second, row.equal});
  }
  // Records whose own type differs, and two history-cleared events (no fields at all).
  EXPECT_NE(InfoBody(JoinedInfoBody(InfoType::joined, std::nullopt)),
            InfoBody(JoinedInfoBody(InfoType::added, std::nullopt)));
  EXPECT_EQ(InfoBody(RoomHistoryClearedInfoBody()), InfoBody(RoomHistoryClearedInfoBody()));
}

using test::byte;
using test::HashCall;
using test::hashInputOf;
using test::text;
using test::word64;

struct HashRow {
  std::string_view name;
  InfoBody event;
  std::vector<HashCall> expected;
};

void PrintTo(const HashRow& row, std::ostream* out) { *out << row.name; }

std::vector<HashRow> hashRows() {
  using Request = RoomRequestCreatedInfoBody::Request;
  const Request versionOnly(std::nullopt, std::nullopt, std::nullopt, std::nullopt, 3, std::nullopt,
                            std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                            Request::Metadata(std::nullopt));
  const auto media =
      UserPresentInfoBody::Media(std::nullopt, BodyType::text, Body(TextBody("hi", std::nullopt)));
  return {
      {"history cleared: the position alone", InfoBody(RoomHistoryClearedInfoBody()), {word64(8)}},
      {"added: kind, then the empty list's count",
       InfoBody(AddedInfoBody(InfoType::added, std::vector<ChatMessageUser>{})),
       {word64(0), byte(1), text("added"), byte(1), word64(0)}},
      {"message deleted without a kind",
       InfoBody(MessageDeletedInfoBody(std::nullopt)),
       {word64(4), byte(0)}},
      {"visibility: the setting's raw string",
       InfoBody(RoomVisibilityInfoBody(InfoType::roomVisibility, RoomVisibility::mutualBasic)),
       {word64(15), byte(1), text("room_visibility"), byte(1), text("mutual_basic")}},
      {"title: the nested previous title",
       InfoBody(RoomTitleInfoBody(std::nullopt, "New", RoomTitleInfoBody::Previously("Old"))),
       {word64(13), byte(0), byte(1), text("New"), byte(1), byte(1), text("Old")}},
      {"go-live request: every request field in order",
       InfoBody(RoomRequestCreatedInfoBody(InfoType::roomRequestCreated, versionOnly)),
       {word64(11), byte(1), text("room_request_created"), byte(1),  //
        byte(0), byte(0), byte(0), byte(0),                          // id, room, type, user
        byte(1), word64(3),                                          // version
        byte(0), byte(0), byte(0), byte(0),
        byte(0),             // appID, createdAt, isInvite, state, updatedAt
        byte(1), byte(0)}},  // metadata holding no count
      {"user present: the media's body by its own position",
       InfoBody(UserPresentInfoBody(std::nullopt, std::nullopt, media)),
       {word64(16), byte(0), byte(0), byte(1),      // type, mediaType, media
        byte(0), byte(1), text("text"),             // id, type
        byte(1), word64(9), text("hi"), byte(0)}},  // body: text at 9, its text, no mentions
  };
}

class EventHashInput : public testing::TestWithParam<HashRow> {};

TEST_P(EventHashInput, IsThePositionThenTheRecordAndThroughBodyFollowsBodysPosition) {
  EXPECT_EQ(hashInputOf(GetParam().event), GetParam().expected) << GetParam().name;
  std::vector<HashCall> expected{word64(position(BodyType::info))};
  expected.insert(expected.end(), GetParam().expected.begin(), GetParam().expected.end());
  EXPECT_EQ(hashInputOf(Body(GetParam().event)), expected) << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(Events, EventHashInput, testing::ValuesIn(hashRows()));

}  // namespace
}  // namespace tovanel::chat
