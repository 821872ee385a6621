// The public JSON conformance files: n_ files are not JSON, y_ files are, and i_ files are left
// to the parser, which may accept or reject them but must not crash.

#include <filesystem>

#include "support/RecordTables.hpp"

namespace tovanel::chat {
namespace {

std::vector<std::string> suiteFiles() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(TOVANEL_JSON_TEST_SUITE)) {
    const auto name = entry.path().filename().string();
    if (entry.path().extension() == ".json") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

class JSONConformanceTest : public ::testing::TestWithParam<std::string> {};

TEST_P(JSONConformanceTest, DecodesExactlyTheValidDocuments) {
  const std::string& file = GetParam();
  JSONDecoder decoder;
  std::optional<DecodingError> error;
  ASSERT_NO_THROW(error = test::decodingErrorOf([&] {
                    decoder.decode(
                        test::slurp(std::filesystem::path(TOVANEL_JSON_TEST_SUITE) / file),
                        [](const Decoder&) { return 0; });
                  }))
      << file;
  switch (file[0]) {
    case 'y':
      EXPECT_FALSE(error.has_value()) << file << ": " << error->what();
      break;
    case 'n':
      ASSERT_TRUE(error.has_value()) << file << ": accepted invalid JSON";
      EXPECT_EQ(error->kind(), DecodingError::Kind::dataCorrupted) << file;
      break;
    default:
      break;  // either outcome is fine; reaching here without a crash is the point
  }
}

// Guards against a moved or emptied folder silently leaving nothing to check.
TEST(JSONConformance, TheWholeSuiteIsChecked) { EXPECT_EQ(suiteFiles().size(), 318u); }

// Named by position: file names hold "+", "-", "." and the like; failures name the file.
INSTANTIATE_TEST_SUITE_P(Files, JSONConformanceTest, ::testing::ValuesIn(suiteFiles()));

}  // namespace
}  // namespace tovanel::chat
