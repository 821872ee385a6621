// System events: the kind that picks the record, the diagnostic lines of a failing record beside
// Body's own, what records read beyond their field tables (FieldTablesTest.cpp), the presence
// event's media with the body-type box, equality across cases and the hash input.

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

using test::userJson;

std::string wrap(std::string_view kind, std::string_view rest = {}) {
  return R"({"type":")" + std::string(kind) + "\"" + std::string(rest) + "}";
}

// A record's "type" is read from the key that selected it, so it equals the kind, and is written
// back (but for the one record without fields).
TEST(EveryEventKind, PicksTheRecordOfItsPositionWhichHoldsTheKind) {
  for (const InfoType kind : allCases<InfoType>()) {
    const auto event = JSONDecoder().decode<InfoBody>(wrap(rawValue(kind)));
    EXPECT_EQ(static_cast<std::size_t>(event.infoCase()), position(kind)) << rawValue(kind);
    EXPECT_EQ(JSONEncoder().encode(event),
              kind == InfoType::roomHistoryCleared ? "{}" : wrap(rawValue(kind)));
  }
}

// The kind cannot be read: the error passes unchanged and only Body writes its line. A record
// fails: its line first, then Body's, both with the record's error. A record that decodes writes
// no line.
TEST(EventLines, ComeFromTheRecordThatFailedThenFromBody) {
  enum Lines { none, bodys, infoThenBodys };
  const std::tuple<std::string, std::string_view, Lines> rows[] = {
      {R"({"recipients":[]})", "keyNotFound at type", bodys},
      {R"({"type":"addedd"})", "dataCorrupted at type", bodys},
      {R"(["added"])", "typeMismatch", bodys},
      {wrap("added", R"(,"recipients":"u1")"), "typeMismatch at recipients", infoThenBodys},
      {wrap("user_present", R"(,"media":"photo")"), "typeMismatch at media", infoThenBodys},
      {wrap("joined"), R"({"type":"joined"})", none},
  };
  for (const auto& [json, expected, lines] : rows) {
    JSONDecoder decoder = test::preparedDecoder(BodyType::info);  // as an envelope hands it over
    const auto outcome = test::decodeCapturing<Body>(decoder, json);
    EXPECT_EQ(outcome.summary(), expected) << json;
    const auto failure = outcome.error();
    const std::string error = std::string(failure ? failure->what() : "") + "\n";
    EXPECT_EQ(outcome.captured.out,
              (lines == infoThenBodys ? std::string(test::kInfoLine) + error : "") +
                  (lines != none ? std::string(test::kBodyLine) + error : ""))
        << json;
    // Read as an event alone, an unreadable kind fails the same way.
    if (lines == bodys) {
      EXPECT_EQ(test::writtenBack<InfoBody>(json), expected);
    }
  }
}

template <class T>
constexpr auto read = &test::writtenBack<T>;

std::vector<test::CodingRow> eventRows() {
  const std::string u1 = userJson("u1"), u2 = userJson("u2");
  // What each field's presence gives is in FieldTablesTest.cpp.
  return {
      {"membership: users kept in order with duplicates, keys in order", read<AddedInfoBody>,
       R"({"recipients":[)" + u2 + "," + u1 + "," + u2 + R"(],"type":"banned"})",
       R"({"type":"banned","recipients":[)" + u2 + "," + u1 + "," + u2 + "]}"},
      {"membership: a kind that is no word", read<AddedInfoBody>, R"({"type":"Joined"})",
       "dataCorrupted at type"},
      {"tags: a null tag", read<RoomTagsInfoBody>, R"({"tags":["a",null]})",
       "valueNotFound at tags[1]"},
      {"cleared: from anything", read<RoomHistoryClearedInfoBody>, "[1,2]", "{}"},
      // written as an empty object, which names no kind and so does not decode again
      {"cleared: no other key looked at", read<InfoBody>,
       R"({"recipients":"nobody","type":"room_history_cleared","request":[],"media":5})", "{}"},
      {"present: a media type unlike the media's kind", read<UserPresentInfoBody>,
       R"({"mediaType":"audio","media":{"type":"hint"}})",
       R"({"mediaType":"audio","media":{"type":"hint"}})"},
      // setting words belong to their own enumeration
      {"setting: request is no visibility", read<RoomVisibility>, R"("request")", "dataCorrupted"},
      {"setting: everyone is no accessibility", read<RoomAccessibility>, R"("everyone")",
       "dataCorrupted"},
      {"setting: capitalised", read<RoomVisibility>, R"("Mutual_basic")", "dataCorrupted"},
  };
}

TEST(EventRecords, ReadBackAsEachRowSays) {
  for (const auto& row : eventRows())
    EXPECT_EQ(row.writtenBack(row.json), row.expected) << row.name;
}

// What the box holds before a media item is decoded: no box at all, or a box with or without a
// kind.
using BoxBefore = std::optional<std::optional<BodyType>>;
const BoxBefore kUnprepared, kEmptyBox{std::optional<BodyType>()}, kInfoLeftInBox{BodyType::info};

struct MediaRow {
  std::string_view name;
  BoxBefore before;
  std::string_view media;
  std::string_view expected;  // the media item written back
  std::string_view lines;     // the diagnostic lines written, as lineKinds gives them
  std::string_view boxAfter;  // "no box", "empty" or the kind left in the box
};
std::string_view describeBox(const JSONDecoder& decoder) {
  const BodyTypeBox* box = bodyType(decoder.userInfo);
  if (box == nullptr) return "no box";
  return box->value ? rawValue(*box->value) : "empty";
}

TEST(MediaItems, KeepWhatCanBeReadLetTheBodysLinesThroughAndLeaveTheirKindInTheBox) {
  const MediaRow rows[] = {
      {"a text body by the media's kind", kInfoLeftInBox,
       R"({"id":"m1","type":"text","body":{"text":"hi"}})",
       R"({"id":"m1","type":"text","body":{"text":"hi"}})", "", "text"},
      {"a kind with a capital letter", kInfoLeftInBox, R"({"type":"Text","body":{"text":"hi"}})",
       "{}", "prepare", "empty"},
      {"no kind clears the enclosing one", kInfoLeftInBox, R"({"body":{"text":"hi"}})", "{}",
       "prepare", "empty"},
      {"no kind and no body", kInfoLeftInBox, R"({"id":"m"})", R"({"id":"m"})", "", "empty"},
      {"a body lacking its text", kEmptyBox, R"({"id":"m","type":"text","body":{}})",
       R"({"id":"m","type":"text"})", "body", "text"},
      {"a null body", kEmptyBox, R"({"type":"text","body":null})", R"({"type":"text"})", "",
       "text"},
      {"a body of a payload-less kind", kEmptyBox, R"({"type":"hint","body":42})",
       R"({"type":"hint","body":{}})", "", "hint"},
      {"an event that fails as the body", kEmptyBox,
       R"({"type":"info","body":{"type":"joined","recipients":1}})", R"({"type":"info"})",
       "info body", "info"},
      {"an unprepared decoder keeps the kind but not the body", kUnprepared,
       R"({"id":"m","type":"text","body":{"text":"hi"}})", R"({"id":"m","type":"text"})", "prepare",
       "no box"},
      {"not an object", kEmptyBox, R"(["m"])", "typeMismatch", "", "empty"}};
  for (const auto& row : rows) {
    JSONDecoder decoder = row.before ? test::preparedDecoder(*row.before) : JSONDecoder();
    const auto outcome = test::decodeCapturing<UserPresentInfoBody::Media>(decoder, row.media);
    EXPECT_EQ(outcome.summary(), row.expected) << row.name;
    EXPECT_EQ(test::lineKinds(outcome.captured), row.lines) << row.name;
    EXPECT_EQ(describeBox(decoder), row.boxAfter) << row.name;
  }
  // One with a body but no kind writes the body alone.
  const UserPresentInfoBody::Media media(std::nullopt, std::nullopt,
                                         Body(TextBody("hi", std::nullopt)));
  EXPECT_EQ(JSONEncoder().encode(media), R"({"body":{"text":"hi"}})");
}

TEST(EventEquality, TakesTheCaseAndTheRecordsOwnTypeAndTheHashFollows) {
  const auto read = [](std::string_view kind, std::string_view rest = {}) {
    return JSONDecoder().decode<InfoBody>(wrap(kind, rest));
  };
  test::expectHashClasses<InfoBody>(
      {{InfoBody(RoomHistoryClearedInfoBody()), InfoBody(RoomHistoryClearedInfoBody())},
       {read("added"), InfoBody(AddedInfoBody(InfoType::added, std::nullopt))},
       {read("added", R"(,"recipients":[])")},
       {read("banned")},
       {InfoBody(JoinedInfoBody(InfoType::joined, std::nullopt))},
       {read("message_delete")},
       {read("room_request")},
       {read("room_topic", R"(,"topic":"a")"), read("room_topic", R"(,"topic":"a","x":1)")}});
}

// The one recorded input of the family: the event's position, then its record, the media's body
// by its own position (text at 9, its text, no mentions); through Body after Body's position.
TEST(EventHashInput, IsThePositionThenTheRecordAndThroughBodyFollowsBodysPosition) {
  const InfoBody event(
      UserPresentInfoBody(std::nullopt, std::nullopt,
                          UserPresentInfoBody::Media(std::nullopt, BodyType::text,
                                                     Body(TextBody("hi", std::nullopt)))));
  const std::string expected = "w16 b0 b0 b1 b0 b1 'text' b1 w9 'hi' b0";
  EXPECT_EQ(test::hashLine(event), expected);
  EXPECT_EQ(test::hashLine(Body(event)),
            "w" + std::to_string(position(BodyType::info)) + " " + expected);
}

}  // namespace
}  // namespace tovanel::chat
