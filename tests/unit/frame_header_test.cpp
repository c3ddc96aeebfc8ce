#include <gtest/gtest.h>

#include <cstring>

#include "analyzer.h"
#include "frame_header.h"
#include "support.h"

namespace pava {
namespace {

using test::headOf;
using test::makeFrame;

TEST(HeadAccessor, AllFieldsAtOnceAsOneByOne) {
    for (const int v : {0, 7, 999, 1000, 65535, 123456, -5}) {
        PavaMsg together;
        PavaMsg apart;
        std::memset(together.head, '#', PAVA_HEAD_LEN);
        std::memset(apart.head, '#', PAVA_HEAD_LEN);
        PavaHeadAccessor(&together).setAll(v, v, 'T', v, 'F', v % 2 != 0);
        PavaHeadAccessor head(&apart);
        head.setRii(v);
        head.setMsgId(v);
        head.setType('T');
        head.setLength(v);
        head.setHeadFlag('F');
        head.setContinued(v % 2 != 0);
        EXPECT_EQ(headOf(together), headOf(apart)) << v;
    }
}

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
