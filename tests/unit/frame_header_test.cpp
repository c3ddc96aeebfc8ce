#include <gtest/gtest.h>

#include <cstring>

#include "analyzer.h"
#include "frame_header.h"
#include "support.h"

namespace pava {
namespace {

using test::headOf;
using test::makeFrame;

TEST(TypeDigit, EncodeAndDecode) {
    // Values past 15 go out as their low byte; characters read back sign-extended.
    for (const auto& [value, c] : {std::pair{0, '0'}, {9, '9'}, {10, 'A'}, {15, 'F'}, {0x47, 'G'}, {0x1234, '\x34'}})
        EXPECT_EQ(typeDigitChar(static_cast<uint16_t>(value)), c) << value;
    for (const auto& [c, value] : {std::pair{'7', 7}, {'a', 10}, {'A', 10}, {'f', 15}, {'G', 0x47}, {'\0', 0},
                                   {'\xC1', 0xFFC1}, {'\x80', 0xFF80}})
        EXPECT_EQ(typeDigitValue(c), value) << c;
}

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

TEST(RecordHeader, SetFromRecord) {
    PavaFullData rec;
    rec.rii = 5;
    rec.msgId = 20001;
    rec.msgType = 1;
    rec.headFlag = 0;
    rec.contFlag = 3;
    CPavaMsgAnalyze an(&rec);
    PavaMsg frame{};
    ASSERT_EQ(an.setHeadFromData(&frame), 0);
    EXPECT_EQ(headOf(frame), "5  200011" "0    " "01");

    rec.rii = 1000;
    rec.msgType = 10;
    rec.headFlag = 0x47;
    rec.contFlag = 0;
    rec.msgId = 101;
    PavaMsg fresh{};
    ASSERT_EQ(an.setHeadFromData(&fresh), 0);
    EXPECT_EQ(headOf(fresh), std::string("\0\0\0" "00101A0    G0", 16));

    EXPECT_EQ(an.setHeadFromData(nullptr), PAVA_ERR_NULL);
    CPavaMsgAnalyze none(nullptr);
    EXPECT_EQ(none.setHeadFromData(&frame), PAVA_ERR_NULL);
}

TEST(RecordHeader, ParseIntoRecord) {
    PavaFullData rec;
    CPavaMsgAnalyze an(&rec);
    PavaMsg frame = makeFrame("7  20014a8192 21");
    ASSERT_EQ(an.parseHeadToData(&frame), 0);
    EXPECT_EQ(rec.rii, 7);
    EXPECT_EQ(rec.msgId, 20014);
    EXPECT_EQ(rec.msgType, 10);
    EXPECT_EQ(rec.msgLen, 8192);
    EXPECT_EQ(rec.headFlag, 2);
    EXPECT_EQ(rec.contFlag, 1);

    // Five length digits followed by a digit flag read as one number, cut to 16 bits.
    frame = makeFrame("   xxxxx\xC1" "999999Y");
    ASSERT_EQ(an.parseHeadToData(&frame), 0);
    EXPECT_EQ(rec.rii, 0);
    EXPECT_EQ(rec.msgId, 0);
    EXPECT_EQ(rec.msgType, 0xFFC1);
    EXPECT_EQ(rec.msgLen, static_cast<uint16_t>(999999));
    EXPECT_EQ(rec.headFlag, 9);
    EXPECT_EQ(rec.contFlag, 0);
    EXPECT_EQ(an.parseHeadToData(nullptr), PAVA_ERR_NULL);
}

}  // namespace
}  // namespace pava
