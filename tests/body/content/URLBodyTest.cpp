#include "tovanel/chat/body/content/URLBody.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/CodingOutcome.hpp"

namespace tovanel::chat {
namespace {

using test::decodingOutcome;
using test::kDecodes;
using test::objectWith;
using test::reencode;
using test::without;

// Read-only: the fields are set by the constructor or by decoding, never one by one.
template <class T>
concept FieldsAssignable = requires(T& body) {
  body.text() = std::string();
}
|| requires(T& body) { body.text = std::string(); }
|| requires(T& body) { body.image() = std::nullopt; };
static_assert(!FieldsAssignable<URLBody>);
static_assert(!std::is_default_constructible_v<URLBody>);

const test::Members kTexts{
    {"text", R"("look")"},
    {"originalUrl", R"("http://ex.am/ple")"},
    {"url", R"("https://example.com/ple")"},
    {"title", R"("Example")"},
    {"description", R"("An example page")"},
};

TEST(URLBody, PicturesAreWrittenOnlyWhenPresentAndAnEmptyObjectIsPresent) {
  const std::string texts =
      R"("text":"look","originalUrl":"http://ex.am/ple","url":"https://example.com/ple",)"
      R"("title":"Example","description":"An example page")";
  const std::vector<std::pair<std::vector<test::MemberEdit>, std::string>> rows{
      {{}, "{" + texts + "}"},
      {{{"image", "null"}, {"favicon", "null"}}, "{" + texts + "}"},
      {{{"favicon", "{}"}}, "{" + texts + R"(,"favicon":{}})"},
      {{{"image", "{}"}}, "{" + texts + R"(,"image":{}})"},
      {{{"favicon", R"({"url":"f.ico"})"}, {"image", R"({"width":2,"height":1})"}},
       "{" + texts + R"(,"image":{"width":2,"height":1},"favicon":{"url":"f.ico"}})"},
      {{{"urlDescription", R"("ignored")"}, {"unlisted", "0"}}, "{" + texts + "}"},
  };
  for (const auto& [edits, written] : rows) {
    const std::string json = objectWith(kTexts, edits);
    EXPECT_EQ(reencode<URLBody>(json), written) << json;
  }
}

TEST(URLBody, TextsAreRequiredAndTheFirstFailureInKeyOrderWins) {
  const std::vector<test::EditCase> rows{
      {"text absent", {without("text")}, "keyNotFound at text"},
      {"originalURL spelt like the field",
       {without("originalUrl"), {"originalURL", R"("x")"}},
       "keyNotFound at originalUrl"},
      {"title null", {{"title", "null"}}, "valueNotFound at title"},
      {"urlDescription spelt like the field",
       {without("description"), {"urlDescription", R"("x")"}},
       "keyNotFound at description"},
      {"description a number", {{"description", "3"}}, "typeMismatch at description"},
      {"title null and text absent", {{"title", "null"}, without("text")}, "keyNotFound at text"},
      {"image a string", {{"image", R"("i.png")"}}, "typeMismatch at image"},
      {"favicon an array", {{"favicon", "[]"}}, "typeMismatch at favicon"},
      {"favicon width not a whole number",
       {{"favicon", R"({"width":2.5})"}},
       "dataCorrupted at favicon.width"},
      {"a failing image before a failing favicon",
       {{"favicon", "1"}, {"image", "1"}},
       "typeMismatch at image"},
      {"a failing text before a failing image",
       {{"image", "1"}, {"title", "false"}},
       "typeMismatch at title"},
      {"empty texts",
       {{"text", R"("")"}, {"originalUrl", R"("")"}, {"url", R"("")"}, {"title", R"("")"}},
       kDecodes},
  };
  for (const auto& row : rows) test::expectOutcome<URLBody>(kTexts, row);
  EXPECT_EQ(decodingOutcome<URLBody>(R"("https://example.com")"), "typeMismatch");
}

TEST(URLBody, EqualityAndHashAgree) {
  const std::string bare = objectWith(kTexts);
  const std::string emptyFavicon = objectWith(kTexts, {{"favicon", "{}"}});
  const std::string emptyImage = objectWith(kTexts, {{"image", "{}"}});
  const std::string nullFavicon = objectWith(kTexts, {{"favicon", "null"}});
  const std::string swappedLinks = objectWith(
      kTexts, {{"originalUrl", R"("https://example.com/ple")"}, {"url", R"("http://ex.am/ple")"}});
  const std::string precomposed = objectWith(kTexts, {{"title", "\"\\u00c5\""}});
  const std::string decomposed = objectWith(kTexts, {{"title", "\"A\\u030a\""}});
  const std::vector<test::EqualityCase> rows{
      {"no favicon and a favicon with no fields", bare, emptyFavicon, false},
      {"an empty image and an empty favicon", emptyImage, emptyFavicon, false},
      {"an absent favicon and a null one", bare, nullFavicon, true},
      {"the two links swapped", bare, swappedLinks, false},
      {"canonically equivalent titles", precomposed, decomposed, true},
  };
  for (const auto& row : rows) test::expectEquality<URLBody>(row);
}

}  // namespace
}  // namespace tovanel::chat
