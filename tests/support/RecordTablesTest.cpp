// The check of the record table that the body, event and message tests fill.

#include "support/RecordTables.hpp"

namespace tovanel::chat::test {
namespace {

TEST_P(RecordsReadBack, WriteBackWhatTheRowSaysOrFailAsItSays) {
  EXPECT_EQ(GetParam().writtenBack(GetParam().json), GetParam().expected);
}

}  // namespace
}  // namespace tovanel::chat::test
