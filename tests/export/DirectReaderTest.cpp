// The direct reader against the parser-based decoding of the same text: it reads the generated
// room whole (but for what it must decline), and on every text it accepts (mutated envelopes, and
// every file of the JSON test suite as a member no record reads) both give the same message, the
// same bytes written back, the same date bits and the same body-type box.

#include <bit>
#include <filesystem>
#include <regex>

#include "CorpusGenerator.hpp"
#include "support/RecordTables.hpp"
#include "tovanel/chat/export/Envelope.hpp"

namespace tovanel::chat {
namespace {

std::uint64_t bitsOf(const std::optional<Date>& date) {
  return date ? std::bit_cast<std::uint64_t>(date->timeIntervalSinceReferenceDate()) : 1;
}

// Reads `text` both ways; true when the direct reader accepted it (and then agreed). The direct
// reader reads every text into one message with one decoder, as a reader of a whole room does: a
// text must come out the same whatever the texts before it left in the message and the decoder
// (declined ones included, which leave them part-written).
bool agree(std::string_view text) {
  constexpr BodyType kLeftInBox = BodyType::hint;
  static JSONDecoder direct = [] {
    JSONDecoder made = exports::makeEnvelopeDecoder();
    made.diagnosticSink = {};
    prepareForBodyDecoding(made);
    return made;
  }();
  static ChatMessage read = exports::emptyMessage();
  bodyType(direct)->value = kLeftInBox;
  if (!exports::readEnvelopeDirectly(direct, text, read)) {
    EXPECT_EQ(bodyType(direct)->value, kLeftInBox) << "a declined text changed the box: " << text;
    return false;
  }
  JSONDecoder parser = exports::makeEnvelopeDecoder();
  parser.directReading = false;
  int lines = 0;
  parser.diagnosticSink = [&lines](std::string_view) { ++lines; };
  prepareForBodyDecoding(parser).value = kLeftInBox;
  try {
    const ChatMessage decoded =
        parser.decode(text, [](const Decoder& root) { return exports::decodeEnvelope(root); });
    const JSONEncoder encoder = exports::makeEnvelopeEncoder();
    EXPECT_TRUE(read == decoded) << text;
    EXPECT_EQ(encoder.encode(exports::EnvelopeOut{read}),
              encoder.encode(exports::EnvelopeOut{decoded}))
        << text;
    EXPECT_EQ(bitsOf(read.createdAt), bitsOf(decoded.createdAt)) << text;
    EXPECT_EQ(bitsOf(read.updatedAt), bitsOf(decoded.updatedAt)) << text;
    EXPECT_EQ(bodyType(direct)->value, bodyType(parser)->value) << text;
    EXPECT_EQ(lines, 0) << text;
  } catch (const std::exception& error) {
    ADD_FAILURE() << "accepted what the parser refuses (" << error.what() << "): " << text;
  }
  return true;
}

// White space before each colon and after each comma: no key is then where its table expects it,
// written tight, and each must be found by reading it.
std::string spacedOut(const std::string& envelope) {
  return std::regex_replace(std::regex_replace(envelope, std::regex("\":"), "\" :"),
                            std::regex(",\""), ",\t\"");
}

// The room, tight and spaced out, read whole but for what it must decline (presence events, whose
// media hands a kind of its own); and envelopes with bytes that make or break JSON, numbers,
// escapes and UTF-8 inserted, replaced or taken out anywhere, read alike or declined.
TEST(DirectReader, ReadsTheRoomWholeAndAgreesOrDeclinesOnMutatedEnvelopes) {
  std::size_t accepted = 0, acceptedSpaced = 0, acceptedMutated = 0;
  constexpr std::size_t kMessages = 3000;
  for (std::size_t i = 0; i < kMessages; ++i) {
    const std::string envelope = bench::generateEnvelope(2026, i);
    accepted += agree(envelope) ? 1 : 0;
    acceptedSpaced += agree(spacedOut(envelope)) ? 1 : 0;
  }
  EXPECT_GE(accepted * 100, kMessages * 99);
  EXPECT_GE(acceptedSpaced * 100, kMessages * 99);
  constexpr std::string_view kBytes[] = {
      "\"", "\\",   "{",    "}",    "[", "]",       ",",   ":",     "0",  "-",   ".",           "e",
      " ",  "\x80", "\xC3", "\x01", "n", "\\u0041", "\\n", "1e400", "-0", "5.0", "\xEF\xBB\xBF"};
  for (std::size_t i = 0; i < 200; ++i) {
    const std::string envelope = bench::generateEnvelope(7, i);
    for (std::size_t step = 0; step < envelope.size(); step += 1 + envelope.size() / 40) {
      for (const std::string_view bytes : kBytes) {
        acceptedMutated += agree(std::string(envelope).insert(step, bytes)) ? 1 : 0;
        acceptedMutated += agree(std::string(envelope).replace(step, 1, bytes)) ? 1 : 0;
      }
      acceptedMutated += agree(std::string(envelope).erase(step, 1)) ? 1 : 0;
    }
  }
  EXPECT_GT(acceptedMutated, 0u);  // some mutations keep the text readable (a space, a digit)
}

TEST(DirectReader, StepsOverOnlyWhatIsJson) {
  // Every file of the suite, as the value of a member that no record reads: the reader checks
  // it as it steps over it, so a file the parser refuses must make the reader decline (agree
  // fails any text accepted that the parser refuses).
  const std::string head = bench::generateEnvelope(2026, 0);
  ASSERT_EQ(head.back(), '}');
  std::size_t files = 0;
  std::size_t accepted = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TOVANEL_JSON_TEST_SUITE)) {
    if (entry.path().extension() != ".json") continue;
    const std::string envelope =
        head.substr(0, head.size() - 1) + ",\"unread\":" + test::slurp(entry.path()) + "}";
    accepted += agree(envelope) ? 1 : 0;
    ++files;
  }
  EXPECT_GT(files, 300u);
  EXPECT_GT(accepted, 50u);  // most files the suite says must be read are plain enough
  // Empty containers nested in what it steps over, and exponents with a sign, are no reason to
  // decline.
  EXPECT_TRUE(
      agree(head.substr(0, head.size() - 1) + R"(,"unread":[[],{},[{}],{"a":[]},1e+5,2E-3]})"));
}

TEST(DirectReader, DeclinesTextBeyondTheDecodersSizeLimit) {
  const std::string envelope = bench::generateEnvelope(2026, 0);
  JSONDecoder decoder = exports::makeEnvelopeDecoder();
  prepareForBodyDecoding(decoder);
  ChatMessage message = exports::emptyMessage();
  decoder.maximumDocumentSize = envelope.size();
  EXPECT_TRUE(exports::readEnvelopeDirectly(decoder, envelope, message));
  decoder.maximumDocumentSize = envelope.size() - 1;  // the parser refuses it, unread
  EXPECT_FALSE(exports::readEnvelopeDirectly(decoder, envelope, message));
}

TEST(DirectReader, ReadsIntegersOfEveryLength) {
  // Integers of 1 to 20 digits, with and without a sign, followed at once by the closing brace or
  // by a space: it accepts those of at most 18 digits that JSON allows (no leading zero) but -0,
  // and agrees on each. Those shorter than eight digits are read within one word, the others
  // digit by digit.
  const std::string envelope = bench::generateEnvelope(2026, 0);
  const std::regex count("\"followingCount\":[0-9]+");
  ASSERT_TRUE(std::regex_search(envelope, count));
  ASSERT_TRUE(agree(envelope));
  for (std::size_t digits = 1; digits <= 20; ++digits) {
    for (const char first : {'1', '9', '0'}) {
      std::string number(1, first);
      for (std::size_t i = 1; i < digits; ++i)
        number += static_cast<char>('0' + (i * 7 + digits) % 10);
      for (const std::string sign : {"", "-"}) {
        for (const std::string after : {"", " "}) {
          const std::string text =
              std::regex_replace(envelope, count, "\"followingCount\":" + sign + number + after);
          const bool plain =
              digits <= 18 && !(first == '0' && digits > 1) && !(sign == "-" && number == "0");
          EXPECT_EQ(agree(text), plain) << text;
        }
      }
    }
  }
}

}  // namespace
}  // namespace tovanel::chat
