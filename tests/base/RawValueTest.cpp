#include "support/RecordTables.hpp"

namespace tovanel::chat {

enum class Fruit : std::uint8_t { apple, bananaSplit, cherry };

template <>
struct RawValues<Fruit> {
  static constexpr std::string_view typeName = "Fruit";
  static constexpr std::array<std::string_view, 3> values{"apple", "banana_split", "cherry"};
};

namespace {

TEST(RawValue, OnlyTheExactStringNamesACase) {
  const std::array<std::string_view, 7> rejected{
      "", "Apple", "APPLE", " apple", "apple ", "bananaSplit", std::string_view("apple\0", 6)};
  for (const auto text : rejected) {
    EXPECT_EQ(fromRawValue<Fruit>(text), std::nullopt) << '"' << text << '"';
  }
}

}  // namespace
}  // namespace tovanel::chat
