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

TEST(HeadAccessor, WritesEachFieldInPlace) {
    PavaMsg frame{};
    PavaHeadAccessor head(&frame);
    EXPECT_EQ(head.body(), frame.body);
    head.setRii(7);
    head.setMsgId(20001);
    EXPECT_EQ(frame.head[8], '\0');  // the id's terminator lands on the type position
    head.setType('1');
    head.setLength(12);
    head.setHeadFlag('0');
    head.setContinued(true);
    EXPECT_EQ(headOf(frame), "7  200011" "12   " "01");
    EXPECT_EQ(head.getRii(), 7);
    EXPECT_EQ(head.getMsgId(), 20001);
    EXPECT_EQ(head.getLength(), 12);
    EXPECT_TRUE(head.isContinued());
    head.setRii(1000);  // above 999: positions 0-2 are left as they are
    EXPECT_EQ(headOf(frame).substr(0, 3), "7  ");
    head.setLength(123456);  // cut to five characters
    EXPECT_EQ(headOf(frame).substr(9, 5), "12345");
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

TEST(HeadAccessor, ContinuationIsSetOnlyByTheDigitOne) {
    for (char c : {'1', '0', '2', ' ', 'Y', '\0'}) {
        PavaMsg frame = makeFrame(std::string("1  200010") + "0    0" + c);
        EXPECT_EQ(readHead(&frame).isContinued(), c == '1') << c;
    }
}

TEST(HeadAccessor, LengthIsReadFromPositionNineOnward) {
    PavaMsg frame = makeFrame("1  200010123451" "Y");
    EXPECT_EQ(readHead(&frame).getLength(), 123451);  // runs into the flag position
    frame = makeFrame("1  200010  42 00");
    EXPECT_EQ(readHead(&frame).getLength(), 42);
    frame = makeFrame("1  200010abc  00");
    EXPECT_EQ(readHead(&frame).getLength(), 0);
}

TEST(HeadAccessor, LengthScanStopsAtTheEndOfTheFrame) {
    // A frame of digits from position 9 to its very last byte.
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
