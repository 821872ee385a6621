// The transcript's rendering of single bodies: which span of a text a mention highlights.

#include "Transcript.hpp"
#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

const ChatMessageUser kAuthor("u1", "anna", "Anna", "L", std::nullopt, std::nullopt, 0, 0);

// Mentions count UTF-16 units; one that falls inside a surrogate pair, runs beyond the text, is
// reversed or lacks a bound highlights nothing.
TEST(MentionHighlight, SpansCountUtf16Units) {
  const std::pair<std::string, std::string> rows[] = {
      {R"({"text":"hi @bob!","mentions":[{"rangeStart":3,"rangeEnd":7}]})", "@bob"},
      // The emoji takes two UTF-16 units and four bytes.
      {R"({"text":"😀 @bob hi","mentions":[{"rangeStart":3,"rangeEnd":7}]})", "@bob"},
      {R"({"text":"é @zoë","mentions":[{"rangeStart":2,"rangeEnd":6}]})", "@zoë"},
      {R"({"text":"😀 @bob","mentions":[{"rangeStart":1,"rangeEnd":4}]})", ""},
      {R"({"text":"hi","mentions":[{"rangeStart":1,"rangeEnd":40}]})", ""},
      {R"({"text":"hi @bob","mentions":[{"rangeStart":7,"rangeEnd":3}]})", ""},
      {R"({"text":"hi @bob","mentions":[{"rangeStart":3}]})", ""}};
  const tool::Transcript transcript(stdout, true);
  for (const auto& [body, expected] : rows) {
    const std::string rendered =
        transcript.renderBody(test::decodeBody(BodyType::text, body), kAuthor);
    // A highlighted span is the text between the escape sequences that open it and the reset.
    std::string highlighted;
    if (auto textStart = rendered.find('\x1b'); textStart != std::string::npos) {
      while (rendered[textStart] == '\x1b') textStart = rendered.find('m', textStart) + 1;
      highlighted = rendered.substr(textStart, rendered.find("\x1b[0m", textStart) - textStart);
    }
    EXPECT_EQ(highlighted, expected) << rendered;
  }
}

}  // namespace
}  // namespace tovanel::chat
