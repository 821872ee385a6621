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

// Guards against a moved or emptied folder silently leaving nothing to check.
TEST(JSONConformance, TheWholeSuiteIsChecked) { EXPECT_EQ(suiteFiles().size(), 318u); }

// An i_ file may give either outcome: reaching the end without a crash is the point.
TEST_P(JSONConformanceTest, DecodesExactlyTheValidDocuments) {
  const std::string& file = GetParam();
  std::optional<DecodingError> error;
  ASSERT_NO_THROW(error = test::decodingErrorOf([&] {
                    JSONDecoder().decode(
                        test::slurp(std::filesystem::path(TOVANEL_JSON_TEST_SUITE) / file),
                        [](const Decoder&) { return 0; });
                  }))
      << file;
  if (file[0] != 'i') {
    EXPECT_EQ(error ? std::optional(error->kind()) : std::nullopt,
              file[0] == 'n' ? std::optional(DecodingError::Kind::dataCorrupted) : std::nullopt)
        << file << ": " << (error ? error->what() : "accepted");
  }
}

// Named by position: file names hold "+", "-", "." and the like; failures name the file.
INSTANTIATE_TEST_SUITE_P(Files, JSONConformanceTest, ::testing::ValuesIn(suiteFiles()));

}  // namespace
}  // namespace tovanel::chat
