// The transcript's rendering of single bodies: which span of a text a mention highlights.

#include "Transcript.hpp"
#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

const ChatMessageUser kAuthor("u1", "anna", "Anna", "L", std::nullopt, std::nullopt, 0, 0);

struct MentionCase {
  const char* name;
  std::string body;
  std::string highlighted;  // empty: nothing is highlighted
};

class MentionHighlight : public ::testing::TestWithParam<MentionCase> {};

TEST_P(MentionHighlight, SpansCountUtf16Units) {
  const auto& row = GetParam();
  const tool::Transcript transcript(stdout, true);
  const std::string rendered =
      transcript.renderBody(test::decodeBody(BodyType::text, row.body), kAuthor);
  // A highlighted span is the text between the escape sequences that open it and the reset.
  std::string highlighted;
  if (auto textStart = rendered.find('\x1b'); textStart != std::string::npos) {
    while (rendered[textStart] == '\x1b') textStart = rendered.find('m', textStart) + 1;
    highlighted = rendered.substr(textStart, rendered.find("\x1b[0m", textStart) - textStart);
  }
  EXPECT_EQ(highlighted, row.highlighted) << rendered;
}

INSTANTIATE_TEST_SUITE_P(
    Mentions, MentionHighlight,
    ::testing::Values(
        MentionCase{"Ascii", R"({"text":"hi @bob!","mentions":[{"rangeStart":3,"rangeEnd":7}]})",
                    "@bob"},
        // The emoji takes two UTF-16 units and four bytes.
        MentionCase{"AfterAnEmoji",
                    R"({"text":"😀 @bob hi","mentions":[{"rangeStart":3,"rangeEnd":7}]})", "@bob"},
        MentionCase{"AfterAnAccent",
                    R"({"text":"é @zoë","mentions":[{"rangeStart":2,"rangeEnd":6}]})", "@zoë"},
        MentionCase{"InsideASurrogatePairIsIgnored",
                    R"({"text":"😀 @bob","mentions":[{"rangeStart":1,"rangeEnd":4}]})", ""},
        MentionCase{"BeyondTheTextIsIgnored",
                    R"({"text":"hi","mentions":[{"rangeStart":1,"rangeEnd":40}]})", ""},
        MentionCase{"ReversedIsIgnored",
                    R"({"text":"hi @bob","mentions":[{"rangeStart":7,"rangeEnd":3}]})", ""},
        MentionCase{"MissingBoundIsIgnored", R"({"text":"hi @bob","mentions":[{"rangeStart":3}]})",
                    ""}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovanel::chat
