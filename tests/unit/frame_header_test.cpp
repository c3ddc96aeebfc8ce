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

// The continuation flag is the digit one alone; the length is read from
// position nine on, into the flag and on to the frame's very last byte.
TEST(HeadAccessor, ContinuationAndLength) {
    for (char c : {'1', '0', '2', ' ', 'Y', '\0'}) {
        PavaMsg frame = makeFrame(std::string("1  200010") + "0    0" + c);
        EXPECT_EQ(readHead(&frame).isContinued(), c == '1') << c;
    }
    const std::pair<const char*, int> lengths[] = {
        {"1  200010123451Y", 123451}, {"1  200010  42 00", 42}, {"1  200010abc  00", 0}};
    for (const auto& [head, length] : lengths) {
        PavaMsg frame = makeFrame(head);
        EXPECT_EQ(readHead(&frame).getLength(), length) << head;
    }
    PavaMsg frame{};
    std::memset(frame.head + 9, '9', sizeof frame - 9);
    EXPECT_EQ(readHead(&frame).getLength(), 2147483647);
    std::memset(frame.head + 9, ' ', sizeof frame - 9);
    EXPECT_EQ(readHead(&frame).getLength(), 0);
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
