// The words of event kinds and room settings: each raw value, its position, and the near misses
// that must not be taken for one.

#include "tovanel/chat/body/info/InfoType.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "support/RecordTables.hpp"
#include "tovanel/chat/body/info/RoomAccessibility.hpp"
#include "tovanel/chat/body/info/RoomVisibility.hpp"

namespace tovanel::chat {
namespace {

struct KindRow {
  InfoType kind;
  std::string_view raw;
  std::size_t position;
};

void PrintTo(const KindRow& row, std::ostream* out) { *out << row.raw; }

class InfoKinds : public testing::TestWithParam<KindRow> {};

TEST_P(InfoKinds, DecodeFromTheirRawValueAndEncodeBackAtTheirPosition) {
  const KindRow& row = GetParam();
  const std::string json = "\"" + std::string(row.raw) + "\"";
  EXPECT_EQ(JSONDecoder().decode<InfoType>(json), row.kind);
  EXPECT_EQ(JSONEncoder().encode(row.kind), json);
  EXPECT_EQ(position(row.kind), row.position);
}

INSTANTIATE_TEST_SUITE_P(
    AllSeventeen, InfoKinds,
    testing::Values(KindRow{InfoType::added, "added", 0}, KindRow{InfoType::banned, "banned", 1},
                    KindRow{InfoType::invited, "invited", 2},
                    KindRow{InfoType::joined, "joined", 3},
                    KindRow{InfoType::messageDeleted, "message_delete", 4},
                    KindRow{InfoType::roomAccessibility, "room_accessibility", 5},
                    KindRow{InfoType::roomCallSummary, "room_call_summary", 6},
                    KindRow{InfoType::roomCreated, "room_created", 7},
                    KindRow{InfoType::roomHistoryCleared, "room_history_cleared", 8},
                    KindRow{InfoType::roomRequestedToJoin, "room_request", 9},
                    KindRow{InfoType::roomRequestToJoinAccepted, "room_request_accepted", 10},
                    KindRow{InfoType::roomRequestCreated, "room_request_created", 11},
                    KindRow{InfoType::roomTags, "room_tags", 12},
                    KindRow{InfoType::roomTitle, "room_title", 13},
                    KindRow{InfoType::roomTopic, "room_topic", 14},
                    KindRow{InfoType::roomVisibility, "room_visibility", 15},
                    KindRow{InfoType::userPresent, "user_present", 16}));

struct RejectedRow {
  std::string_view json;
  std::string_view expected;  // the error's kind
};

void PrintTo(const RejectedRow& row, std::ostream* out) { *out << row.json; }

class RejectedKindWords : public testing::TestWithParam<RejectedRow> {};

TEST_P(RejectedKindWords, FailWithTheirErrorKind) {
  EXPECT_EQ(test::writtenBack<InfoType>(GetParam().json), GetParam().expected);
}

// Misspellings of the other kinds are covered with the event union; these are near misses of
// the renamed kinds.
INSTANTIATE_TEST_SUITE_P(NearMisses, RejectedKindWords,
                         testing::Values(RejectedRow{R"("message_deleted")", "dataCorrupted"},
                                         RejectedRow{R"("messageDeleted")", "dataCorrupted"},
                                         RejectedRow{R"("room_request_to_go_live")",
                                                     "dataCorrupted"}));

// Each setting word and how it decodes as an accessibility and as a visibility.
struct SettingRow {
  std::string_view word;
  std::optional<RoomAccessibility> accessibility;
  std::optional<RoomVisibility> visibility;
};

void PrintTo(const SettingRow& row, std::ostream* out) { *out << '"' << row.word << '"'; }

class RoomSettingWords : public testing::TestWithParam<SettingRow> {};

template <class E>
std::string expectedSummary(std::string_view word, std::optional<E> value) {
  return value ? "\"" + std::string(word) + "\"" : "dataCorrupted";
}

TEST_P(RoomSettingWords, DecodeOnlyAsTheirOwnEnumeration) {
  const SettingRow& row = GetParam();
  const std::string json = "\"" + std::string(row.word) + "\"";
  EXPECT_EQ(test::writtenBack<RoomAccessibility>(json),
            expectedSummary(row.word, row.accessibility));
  EXPECT_EQ(test::writtenBack<RoomVisibility>(json), expectedSummary(row.word, row.visibility));
  EXPECT_EQ(fromRawValue<RoomAccessibility>(row.word), row.accessibility);
  EXPECT_EQ(fromRawValue<RoomVisibility>(row.word), row.visibility);
}

INSTANTIATE_TEST_SUITE_P(
    Words, RoomSettingWords,
    testing::Values(SettingRow{"request", RoomAccessibility::request, std::nullopt},
                    SettingRow{"open", RoomAccessibility::open, std::nullopt},
                    SettingRow{"mutual_basic", RoomAccessibility::mutualBasic,
                               RoomVisibility::mutualBasic},
                    SettingRow{"everyone", std::nullopt, RoomVisibility::everyone},
                    SettingRow{"secret", std::nullopt, RoomVisibility::secret},
                    SettingRow{"Mutual_basic", std::nullopt, std::nullopt},
                    SettingRow{"mutualBasic", std::nullopt, std::nullopt},
                    SettingRow{"", std::nullopt, std::nullopt}));

TEST(RoomSettingWords, RejectNullAndNonStringsWithTheirOwnKinds) {
  EXPECT_EQ(test::writtenBack<RoomAccessibility>("null"), "valueNotFound");
  EXPECT_EQ(test::writtenBack<RoomVisibility>("1"), "typeMismatch");
}

}  // namespace
}  // namespace tovanel::chat
