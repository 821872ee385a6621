// The public JSON conformance files: n_ files are not JSON, y_ files are, and i_ files are left
// to the parser, which may accept or reject them but must not crash.

#include <filesystem>
#include <fstream>
#include <iterator>

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

std::string readFile(const std::string& name) {
  std::ifstream file(std::filesystem::path(TOVANEL_JSON_TEST_SUITE) / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// File names hold "+", "-", "." and the like; each becomes x and its hex code, so names stay
// unique.
std::string testName(const std::string& file) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string name;
  for (const char c : file.substr(0, file.size() - 5)) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || c == '_') {
      name += c;
    } else {
      name += {'x', kHex[byte >> 4], kHex[byte & 0xF]};
    }
  }
  return name;
}

class JSONConformanceTest : public ::testing::TestWithParam<std::string> {};

TEST_P(JSONConformanceTest, DecodesExactlyTheValidDocuments) {
  const std::string& file = GetParam();
  JSONDecoder decoder;
  std::optional<DecodingError> error;
  ASSERT_NO_THROW(error = test::decodingErrorOf(
                      [&] { decoder.decode(readFile(file), [](const Decoder&) { return 0; }); }));
  switch (file[0]) {
    case 'y':
      EXPECT_FALSE(error.has_value()) << error->what();
      break;
    case 'n':
      ASSERT_TRUE(error.has_value()) << "accepted invalid JSON";
      EXPECT_EQ(error->kind(), DecodingError::Kind::dataCorrupted);
      break;
    default:
      break;  // either outcome is fine; reaching here without a crash is the point
  }
}

// Guards against a moved or emptied folder silently leaving nothing to check.
TEST(JSONConformance, TheWholeSuiteIsChecked) { EXPECT_EQ(suiteFiles().size(), 318u); }

INSTANTIATE_TEST_SUITE_P(Files, JSONConformanceTest, ::testing::ValuesIn(suiteFiles()),
                         [](const auto& info) { return testName(info.param); });

}  // namespace
}  // namespace tovanel::chat
