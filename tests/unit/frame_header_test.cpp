#include <gtest/gtest.h>

#include "analyzer.h"

namespace pava {
namespace {

// Header fields at their edges, written and read through the entry points,
// are in tests/data/headers.json; here the calls without a frame or record.
TEST(RecordHeader, RefusesNullArguments) {
    PavaFullData rec;
    CPavaMsgAnalyze an(&rec);
    PavaMsg frame{};
    EXPECT_EQ(an.setHeadFromData(nullptr), PAVA_ERR_NULL);
    EXPECT_EQ(an.parseHeadToData(nullptr), PAVA_ERR_NULL);
    CPavaMsgAnalyze none(nullptr);
    EXPECT_EQ(none.setHeadFromData(&frame), PAVA_ERR_NULL);
}

}  // namespace
}  // namespace pava
