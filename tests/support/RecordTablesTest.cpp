// The checks of the record tables that the body, event and message tests fill.

#include "support/RecordTables.hpp"

namespace tovanel::chat::test {
namespace {

TEST_P(RecordsReadBack, WriteBackWhatTheRowSaysOrFailAsItSays) {
  EXPECT_EQ(GetParam().writtenBack(GetParam().json), GetParam().expected);
}

TEST_P(RecordPairs, CompareAsTheRowSaysAndEqualOnesHashAlike) {
  EXPECT_EQ(GetParam().compare(GetParam().first, GetParam().second), GetParam().expected);
}

}  // namespace
}  // namespace tovanel::chat::test
