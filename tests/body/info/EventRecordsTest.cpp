// The event records decoded and written on their own: keys, strictness, presence versus empty,
// and what is ignored.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/RecordTables.hpp"
#include "tovanel/chat/body/info/InfoBody.hpp"

namespace tovanel::chat {
namespace {

using test::userJson;

// ---- the five membership events share one shape; every row holds for each of them ----

template <class Record>
class MembershipEvents : public testing::Test {};

using MembershipRecords = testing::Types<AddedInfoBody, BannedInfoBody, InvitedInfoBody,
                                         JoinedInfoBody, RoomRequestAcceptedInfoBody>;
TYPED_TEST_SUITE(MembershipEvents, MembershipRecords);

struct Row {
  std::string name;
  std::string input;
  std::string expected;  // the JSON written back, or the error's kind and path
};

std::vector<Row> membershipRows() {
  const std::string u1 = userJson("u1");
  const std::string u2 = userJson("u2");
  return {
      {"only a kind", R"({"type":"joined"})", R"({"type":"joined"})"},
      {"nothing at all", "{}", "{}"},
      {"an empty list is kept", R"({"recipients":[]})", R"({"recipients":[]})"},
      {"a null list is absent", R"({"type":"added","recipients":null})", R"({"type":"added"})"},
      {"users kept in order with duplicates",
       R"({"recipients":[)" + u2 + "," + u1 + "," + u2 + "]}",
       R"({"recipients":[)" + u2 + "," + u1 + "," + u2 + "]}"},
      {"keys written in order", R"({"recipients":[)" + u1 + R"(],"type":"banned"})",
       R"({"type":"banned","recipients":[)" + u1 + "]}"},
      {"unknown keys ignored", R"({"type":"invited","room":"r","users":5})",
       R"({"type":"invited"})"},
      {"a kind that is no word", R"({"type":"Joined"})", "dataCorrupted at type"},
      {"a kind that is no string", R"({"type":1})", "typeMismatch at type"},
      {"a list that is an object", R"({"recipients":{}})", "typeMismatch at recipients"},
      {"a second user of a wrong type",
       R"({"recipients":[)" + u1 +
           R"(,{"id":"u2","firstName":"B","lastName":"C",)"
           R"("followerCount":"many","followingCount":0}]})",
       "typeMismatch at recipients[1].followerCount"},
      {"not an object", "[]", "typeMismatch"},
  };
}

TYPED_TEST(MembershipEvents, DecodeStrictlyAndWriteWhatIsPresent) {
  for (const Row& row : membershipRows()) {
    EXPECT_EQ(test::writtenBack<TypeParam>(row.input), row.expected) << row.name;
  }
}

// ---- every other record, one table: which record, what goes in, what comes out ----

struct RecordRow {
  std::string name;
  std::string (*reencode)(std::string_view);
  std::string input;
  std::string expected;
};

void PrintTo(const RecordRow& row, std::ostream* out) { *out << row.name; }

std::vector<RecordRow> recordRows() {
  const std::string u1 = userJson("u1");
  const auto accessibility = &test::writtenBack<RoomAccessibilityInfoBody>;
  const auto visibility = &test::writtenBack<RoomVisibilityInfoBody>;
  const auto tags = &test::writtenBack<RoomTagsInfoBody>;
  const auto title = &test::writtenBack<RoomTitleInfoBody>;
  const auto topic = &test::writtenBack<RoomTopicInfoBody>;
  const auto created = &test::writtenBack<RoomCreatedInfoBody>;
  const auto cleared = &test::writtenBack<RoomHistoryClearedInfoBody>;
  const auto deleted = &test::writtenBack<MessageDeletedInfoBody>;
  const auto call = &test::writtenBack<RoomCallSummaryInfoBody>;
  const auto request = &test::writtenBack<RoomRequestInfoBody>;
  return {
      // accessibility change: free text
      {"accessibility keeps a sentence", accessibility,
       R"({"type":"room_accessibility","accessibility":"Only people I follow"})",
       R"({"type":"room_accessibility","accessibility":"Only people I follow"})"},
      {"accessibility keeps a setting word as text", accessibility,
       R"({"accessibility":"request"})", R"({"accessibility":"request"})"},
      {"accessibility null is absent", accessibility, R"({"accessibility":null})", "{}"},
      // visibility change: a setting word
      {"visibility word", visibility, R"({"visibility":"secret","type":"room_visibility"})",
       R"({"type":"room_visibility","visibility":"secret"})"},
      {"visibility null is absent", visibility, R"({"visibility":null})", "{}"},
      {"visibility that is no string", visibility, R"({"visibility":2})",
       "typeMismatch at visibility"},
      // tags
      {"tags empty list kept", tags, R"({"tags":[]})", R"({"tags":[]})"},
      {"tags absent not written", tags, R"({"type":"room_tags"})", R"({"type":"room_tags"})"},
      {"tags with a null element", tags, R"({"tags":["a",null]})", "valueNotFound at tags[1]"},
      // title and the previous title
      {"title with an empty previous title", title, R"({"title":"New","previously":{}})",
       R"({"title":"New","previously":{}})"},
      {"title without a previous title", title, R"({"type":"room_title"})",
       R"({"type":"room_title"})"},
      {"title null previous title", title, R"({"previously":null})", "{}"},
      {"previous title of a wrong type", title, R"({"previously":{"title":1}})",
       "typeMismatch at previously.title"},
      // topic
      {"topic", topic, R"({"topic":"Talk","type":"room_topic"})",
       R"({"type":"room_topic","topic":"Talk"})"},
      // room created
      {"created with both settings", created,
       R"({"accessibility":"open","visibility":"everyone","title":"Lobby"})",
       R"({"visibility":"everyone","accessibility":"open","title":"Lobby"})"},
      {"created with an empty added list and no invited", created, R"({"added":[]})",
       R"({"added":[]})"},
      {"created with an accessibility word as visibility", created, R"({"visibility":"request"})",
       "dataCorrupted at visibility"},
      {"created with a bad invited user", created, R"({"invited":[{"id":"x"}]})",
       "keyNotFound at invited[0].firstName"},
      {"created with added as an object", created, R"({"added":{}})", "typeMismatch at added"},
      // history cleared: nothing read, an empty object written
      {"cleared from an object", cleared, R"({"type":"room_history_cleared","x":1})", "{}"},
      {"cleared from an array", cleared, "[1,2]", "{}"},
      {"cleared from null", cleared, "null", "{}"},
      // message deleted and request to join: only the kind
      {"deleted holds only its kind", deleted,
       R"({"type":"message_delete","messageId":"m1","room":"r"})", R"({"type":"message_delete"})"},
      {"deleted with a kind of a wrong type", deleted, R"({"type":[]})", "typeMismatch at type"},
      {"request to join holds only its kind", request,
       R"({"type":"room_request","request":{"_id":"r"}})", R"({"type":"room_request"})"},
      {"request to join without a kind", request, R"({})", "{}"},
      // call summary
      {"call with a null caller and no participants", call,
       R"({"type":"room_call_summary","caller":null,"status":"ended"})",
       R"({"type":"room_call_summary","status":"ended"})"},
      {"call caller and participants", call, R"({"participants":[],"caller":)" + u1 + "}",
       R"({"caller":)" + u1 + R"(,"participants":[]})"},
      {"call status that is a number", call, R"({"status":3})", "typeMismatch at status"},
      {"call participants as an object", call, R"({"participants":{}})",
       "typeMismatch at participants"},
  };
}

class EventRecords : public testing::TestWithParam<RecordRow> {};

TEST_P(EventRecords, DecodeStrictlyAndWriteWhatIsPresent) {
  EXPECT_EQ(GetParam().reencode(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(SettingsAndLifecycle, EventRecords, testing::ValuesIn(recordRows()));

}  // namespace
}  // namespace tovanel::chat
