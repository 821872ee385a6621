#include "tovanel/chat/base/Formatter.hpp"

#include <gtest/gtest.h>

#include <any>
#include <string>

namespace tovanel::chat {
namespace {

TEST(Formatter, TheBaseConvertsNothingInEitherDirection) {
  const Formatter formatter;
  std::any slot = std::string("untouched");
  std::string error = "untouched";
  EXPECT_EQ(formatter.string(std::any(1)), std::nullopt);
  EXPECT_FALSE(formatter.getObjectValue(&slot, "anything", &error));
  EXPECT_EQ(std::any_cast<std::string>(slot), "untouched");
}

TEST(Formatter, RestoringFromAnArchiveGivesAFormatterUnlessTheArchiveHasFailed) {
  Coder archive;
  EXPECT_NE(Formatter::make(archive), nullptr);
  archive.failWithError("truncated archive");
  EXPECT_EQ(Formatter::make(archive), nullptr);
}

}  // namespace
}  // namespace tovanel::chat
