// Text, number, block and setting messages (00101-00901, 30042, 30171,
// 20176-20178): golden bodies, log lines, the deliberate oddities, and
// hostile counts and header lengths.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "message.h"
#include "support.h"

namespace pava::test {
namespace {

std::string nul(size_t n) { return std::string(n, '\0'); }
std::string pad(const std::string& text, size_t width) { return text + nul(width - text.size()); }

// The header an encoder writes for recordFor(id) with this body length.
std::string headFor(int id, int length, char continued = '0') {
    char text[32];
    std::snprintf(text, sizeof text, "1  %05d0%-5d0%c", id, length, continued);
    return text;
}

struct Encoded {
    int rc;
    PavaMsgList frames;
    std::string log;
};

Encoded encode(PavaFullData rec) {
    LogCapture capture;
    Encoded e{0, {}, {}};
    e.rc = Data_To_Pava(&rec, &e.frames);
    e.log = capture.text();
    return e;
}

struct Decoded {
    int rc;
    PavaFullData rec;
    std::string log;
};

Decoded decode(const PavaMsg& frame) {
    LogCapture capture;
    Decoded d{0, {}, {}};
    d.rc = Pava_To_Data(&frame, &d.rec);
    d.log = capture.text();
    return d;
}

// A frame on the heap, sized exactly, so that any read past it is caught.
std::unique_ptr<PavaMsg> frameFor(int id, int length, char fill) {
    auto frame = std::make_unique<PavaMsg>();
    std::memset(frame->body, fill, sizeof frame->body);
    const std::string head = headFor(id, length);
    std::memcpy(frame->head, head.data(), PAVA_HEAD_LEN);
    return frame;
}

// --- 00800-00804 -------------------------------------------------------------

TEST(NumberPairs, GoldenBodiesAndDroppedFrames) {
    PavaFullData rec = recordFor(801);
    rec.intValue12 = 5;
    rec.intValue13 = -12;
    Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    ASSERT_EQ(e.frames.size(), 1u);
    EXPECT_EQ(headOf(e.frames[0]), headFor(801, 12));
    EXPECT_EQ(bodyOf(e.frames[0], 13), std::string("5       -12 ") + nul(1));
    EXPECT_EQ(e.log, "Data_To_Pava_00801!\n");

    rec.msgId = 803;
    rec.intValue13 = 123456789;
    rec.intValue12 = 345;
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(803, 10));
    EXPECT_EQ(bodyOf(e.frames[0], 10), "1234567834");

    // 00800 and 00802 succeed without a frame; 00800 refuses a text over 8180.
    rec.msgId = 802;
    e = encode(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_00802!\n");
    rec.msgId = 800;
    rec.string6.assign(8180, 'x');
    e = encode(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
    rec.string6.push_back('x');
    e = encode(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_EQ(e.log, "Data_To_Pava_00800!\n"
                     "error:: CPavaMsgAnalyze::Data_To_Pava_00800 block length > MAX_PAVA_MSG_LEN ! ");
}

TEST(NumberPairs, DecodersReadTheirOwnWidths) {
    // 00802 reads 10 + 8 characters where its encoder writes 8 + 4.
    Decoded d = decode(makeFrame(headFor(802, 12), "123456789   "));
    ASSERT_EQ(d.rc, 0);
    EXPECT_EQ(d.rec.intValue11, 123456789);
    EXPECT_EQ(d.rec.intValue12, 0);
    EXPECT_EQ(d.log, "Pava_00802_To_Data!\n");

    PavaFullData rec = recordFor(804);
    rec.string5.assign(300, 'y');
    rec.intValue12 = 42;
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(804, 263));
    EXPECT_EQ(bodyOf(e.frames[0], 264), std::string(255, 'y') + "42      " + nul(1));
    d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.string5, std::string(255, 'y'));
    EXPECT_EQ(d.rec.intValue12, 42);

    d = decode(makeFrame(headFor(800, 15), "7       9   abcdef"));
    EXPECT_EQ(d.rec.intValue12, 7);
    EXPECT_EQ(d.rec.intValue13, 9);
    EXPECT_EQ(d.rec.string6, "abc");
    EXPECT_EQ(decode(makeFrame(headFor(800, 12), "7       9   abc")).rec.string6, "");
}

// --- 00101, 00102, 00203 -----------------------------------------------------

TEST(BlockAndText, FileBlockRoundTrip) {
    PavaFullData rec = recordFor(101);
    PavaFileBlock& block = rec.fileBlock;
    PAVA_SET_TEXT(block.fbText16a, "ABC");
    PAVA_SET_TEXT(block.fbText16b, "B");
    PAVA_SET_TEXT(block.fbText32a, "D");
    block.fbInt1 = 65535;
    block.fbInt2 = 7;
    block.fbCount = 2;
    PAVA_SET_TEXT(block.fbCodes[0], "C1");
    PAVA_SET_TEXT(block.fbCodes[1], "C2");
    PAVA_SET_TEXT(block.fbCodes[2], "not sent");
    const Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "Data_To_Pava_00101\n");
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(101, 155));
    EXPECT_EQ(printable(bodyOf(e.frames[0], 156)),
              printable(pad("ABC", 16) + pad("B", 16) + nul(16) + pad("D", 32) + "65535   " + nul(32) +
                        "7       2  " + pad("C1", 12) + pad("C2", 12) + nul(1)));

    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rc, 0);
    EXPECT_EQ(d.log, "Pava_00101_To_Data\n");
    EXPECT_STREQ(d.rec.fileBlock.fbText16a, "ABC");
    EXPECT_EQ(d.rec.fileBlock.fbInt1, 65535);
    EXPECT_EQ(d.rec.fileBlock.fbCount, 2);
    EXPECT_STREQ(d.rec.fileBlock.fbCodes[1], "C2");
    EXPECT_STREQ(d.rec.fileBlock.fbCodes[2], "");

    // 00102 carries a subset and leaves the rest of the block at its reset value.
    rec.msgId = 102;
    const Decoded d102 = decode(encode(rec).frames.at(0));
    EXPECT_STREQ(d102.rec.fileBlock.fbText16b, "B");
    EXPECT_EQ(d102.rec.fileBlock.fbInt1, 65535);
    EXPECT_STREQ(d102.rec.fileBlock.fbText16a, "");
    EXPECT_EQ(d102.rec.fileBlock.fbCount, 0);
}

TEST(BlockAndText, CountAboveTheRowsIsRefusedOnBothSides) {
    PavaFullData rec = recordFor(101);
    rec.fileBlock.fbCount = 200;
    EXPECT_EQ(headOf(encode(rec).frames.at(0)), headFor(101, 2531));
    rec.fileBlock.fbCount = 201;
    const Encoded e = encode(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_00101\nCPavaMsgAnalyze::Data_To_Pava_00101 too long return -1 !\n");

    // A received count of 999 fills the 200 rows, then fails.
    auto frame = frameFor(101, 131, 'z');
    std::memcpy(frame->body + 128, "999", 3);
    const Decoded d = decode(*frame);
    EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(d.log, "Pava_00101_To_Data\nCPavaMsgAnalyze::Pava_00101_To_Data too long return -1 !\n");
    EXPECT_EQ(std::string(d.rec.fileBlock.fbCodes[199]), std::string(12, 'z'));
}

TEST(BlockAndText, Message00203) {
    PavaFullData rec = recordFor(203);
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    rec.intValue8 = 123;
    rec.string3 = "ABC";
    const Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(203, 254));
    EXPECT_EQ(bodyOf(e.frames[0], 58), pad("ADDR", 12) + "12" + nul(40) + "ABC" + nul(1));
    const Decoded d = decode(e.frames[0]);
    EXPECT_EQ(d.log, "Pava_00203_To_Data!\nPava_00102_To_Data!\n");
    EXPECT_EQ(d.rec.string3, pad("ABC", 201));
    EXPECT_EQ(d.rec.intValue8, 12);

    // The entry point refuses a null frame itself; the decoder logs its own text.
    LogCapture capture;
    const MessageDef& def = *findMessage(203);
    CPavaMsgAnalyze analyzer(&rec);
    EXPECT_EQ(def.decode(def, nullptr, &analyzer), -1);
    EXPECT_EQ(capture.text(), "Pava_00203_To_Data!\nPava_00102_To_Data!\n"
                              "error:: CPavaMsgAnalyze::Pava_00203_To_Data pPavaMsg == NULL! ");
}

// --- 00204, 00209 ------------------------------------------------------------

TEST(SettingLists, Message00204) {
    PavaFullData rec = recordFor(204);
    rec.contFlag = 1;
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(204, 16, '1'));
    EXPECT_EQ(bodyOf(e.frames[0], 16), nul(12) + "0   ");

    PavaSettingItem item;
    item.setText = "AB";
    PAVA_SET_TEXT(item.setText30, "0123456789abcdefghijKLMNOP");
    item.setId = 77;
    rec.settingList.assign(35, item);
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(204, 7996, '1'));
    EXPECT_EQ(bodyOf(e.frames[0], 244).substr(12), "35  " + pad("AB", 200) + "0123456789abcdefghij77      ");
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rec.settingList.size(), 35u);
    EXPECT_EQ(d.rec.settingList[0].setText, pad("AB", 201));
    EXPECT_EQ(std::string(d.rec.settingList[0].setText30, 30), "0123456789abcdefghij" + nul(10));
    EXPECT_EQ(d.rec.settingList[34].setId, 77);

    rec.settingList.push_back(item);
    e = encode(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_00204!\nCPavaMsgAnalyze::Data_To_Pava_00204 too long return -1 !\n");

    // A count past the body decodes the 35 rows that fit, then fails.
    auto frame = frameFor(204, 16, 'q');
    std::memcpy(frame->body + 12, "9999", 4);
    const Decoded hostile = decode(*frame);
    EXPECT_EQ(hostile.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(hostile.rec.settingList.size(), 35u);
    EXPECT_EQ(hostile.log, "Pava_00204_To_Data!\nCPavaMsgAnalyze::Pava_00204_To_Data too long return -1 !\n");
}

TEST(SettingLists, Message00209) {
    PavaFullData rec = recordFor(209);
    PavaSettingItem item;
    item.setText = "AB";
    rec.settingList.assign(42, item);
    Encoded e = encode(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
    rec.settingList.push_back(item);
    e = encode(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_EQ(e.log, "Data_To_Pava_00209!\ntotal_len + 192 > MAX_PAVA_MSG_LEN error return ");

    auto frame = frameFor(209, 0, '\0');
    std::memcpy(frame->body, "43  AB", 6);
    const Decoded d = decode(*frame);
    EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
    ASSERT_EQ(d.rec.settingList.size(), 42u);
    EXPECT_EQ(d.rec.settingList[0].setText, "AB");
    EXPECT_EQ(d.log, "Pava_00209_To_Data!\ntotal_len + 192 > MAX_PAVA_MSG_LEN - 4 error return -1 ");
}

// --- 00205, 00206, 00208 -----------------------------------------------------

TEST(TextMessages, FixedBodiesAndThe00205Asymmetry) {
    PavaFullData rec = recordFor(205);
    rec.string2 = "A";
    rec.string1 = "B";
    rec.string4 = "C";
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(205, 550));
    EXPECT_EQ(bodyOf(e.frames[0], 551), pad("A", 255) + pad("B", 255) + pad("C", 41));
    Decoded d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.string2, "A");
    EXPECT_EQ(d.rec.string1, "C");
    EXPECT_EQ(d.rec.string4, "");

    rec.msgId = 206;
    PAVA_SET_TEXT(rec.text15a, "ABCDEFGHIJKLMNO");
    rec.intValue5 = -5;
    rec.intValue4 = 1234567890;
    rec.intValue8 = 8;
    rec.intValue6 = 6;
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(206, 38));
    EXPECT_EQ(bodyOf(e.frames[0], 39), "ABCDEFGHIJKLMN-512345678908       6   " + nul(1));
    d = decode(e.frames[0]);
    EXPECT_STREQ(d.rec.text15a, "ABCDEFGHIJKLMN");
    EXPECT_EQ(d.rec.intValue4, 1234567890);

    rec.msgId = 208;
    rec.string3 = "xyz";
    PAVA_SET_TEXT(rec.text64b, "ABCDEFGHIJKLMNO");
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(208, 232));
    EXPECT_EQ(bodyOf(e.frames[0], 233), pad("xyz", 192) + pad("ABCDEFGHIJKLMNO", 41));
    d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.string3, "xyz");
    EXPECT_STREQ(d.rec.text64b, "ABCDEFGHIJKLMNO");
}

// --- 00901 -------------------------------------------------------------------

TEST(LongText, Message00901) {
    PavaFullData rec = recordFor(901);
    rec.intValue1 = 1;
    rec.intValue4 = 4;
    PAVA_SET_TEXT(rec.text15a, "fifteen chars!!");
    PAVA_SET_TEXT(rec.text32, "t32");
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(901, 62));
    EXPECT_EQ(bodyOf(e.frames[0], 63), nul(3) + "1    4   fifteen chars!0 0 " + pad("t32", 33));

    rec.string4 = std::string("a\0b", 3) + std::string(9997, 'c');
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(901, 8192));
    const Decoded d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.string4, rec.string4.substr(0, 8130));
    EXPECT_STREQ(d.rec.text15a, "fifteen chars!");
}

// --- 00210-00215 -------------------------------------------------------------

TEST(AddressText, FixedLengthAndOwnLengthTexts) {
    PavaFullData rec = recordFor(210);
    PAVA_SET_TEXT(rec.text12b, "123456789012");
    rec.string5 = "AB";
    rec.string6 = "CD";
    rec.intValue13 = 13;
    rec.intValue5 = 5;
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(210, 264));
    EXPECT_EQ(bodyOf(e.frames[0], 265), "123456789012" + pad("AB", 200) + "13      " + pad("CD", 40) + "5   " + nul(1));
    Decoded d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.string5, pad("AB", 201));
    EXPECT_EQ(d.rec.string6, pad("CD", 41));

    rec.msgId = 213;
    rec.intValue12 = 12;
    d = decode(encode(rec).frames.at(0));
    EXPECT_EQ(d.rec.string5, "AB");
    EXPECT_EQ(d.rec.string6, "CD");
    EXPECT_EQ(d.rec.intValue12, 12);

    // 00211 carries rii in the body, and its decoder stores it over the header's.
    rec.msgId = 211;
    rec.rii = 7;
    e = encode(rec);
    EXPECT_EQ(bodyOf(e.frames.at(0), 225).substr(212), "13      7   " + nul(1));
    std::memcpy(e.frames[0].body + 220, "12  ", 4);
    d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.rii, 12);
    EXPECT_EQ(d.rec.string6, "");

    rec.msgId = 212;
    rec.intValue4 = 12;
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), "7  002120223  00");
    EXPECT_EQ(bodyOf(e.frames[0], 224).substr(212), "15         " + nul(1));

    rec.msgId = 215;
    rec.intValue13 = 25;
    rec.intValue11 = 11;
    e = encode(rec);
    EXPECT_EQ(bodyOf(e.frames.at(0), 228).substr(212), "211        12  " + nul(1));
    d = decode(e.frames[0]);
    EXPECT_EQ(d.log, "Pava_00215_To_Data()!\n");
    EXPECT_EQ(d.rec.intValue13, 2);
}

TEST(AddressText, Message00214CarriesTheWholeText) {
    PavaFullData rec = recordFor(214);
    rec.contFlag = 1;
    rec.string6.assign(7968, 's');
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(214, 8192, '1'));
    EXPECT_EQ(decode(e.frames[0]).rec.string6, rec.string6);
    rec.string6.push_back('s');
    e = encode(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_00214!\nData_To_Pava_00214 length error!");

    const Decoded d = decode(*frameFor(214, 200, ' '));
    EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(d.log, "Pava_00214_To_Data!\nPava_00214_To_Data length error!");
}

// Every message whose text length comes from the header, over hostile
// lengths: each reads at most to the body's end (-1: the decoder refuses).
TEST(HeaderLength, HostileLengthsStayInsideTheFrame) {
    struct Case {
        int id;
        std::string PavaFullData::*text;
        int expected[6];
    };
    const int lengths[6] = {0, 61, 223, 224, 8192, 65535};
    const Case cases[] = {
        {800, &PavaFullData::string6, {0, 49, 211, 212, 8180, 8180}},
        {901, &PavaFullData::string4, {8130, 8130, 161, 162, 8130, 8130}},
        {211, &PavaFullData::string6, {7968, 7968, 7968, 0, 7968, 7968}},
        {214, &PavaFullData::string6, {-1, -1, -1, 0, 7968, -1}},
    };
    for (const Case& c : cases) {
        for (int i = 0; i < 6; ++i) {
            SCOPED_TRACE(testing::Message() << c.id << " length " << lengths[i]);
            const Decoded d = decode(*frameFor(c.id, lengths[i], 'h'));
            if (c.expected[i] < 0) {
                EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
                continue;
            }
            EXPECT_EQ(d.rc, 0);
            EXPECT_EQ(d.rec.*c.text, std::string(static_cast<size_t>(c.expected[i]), 'h'));
        }
    }
}

// --- 30042, 30171, 20176-20178 -----------------------------------------------

TEST(AddressTextOthers, FixedSlotsAndCappedTexts) {
    PavaFullData rec = recordFor(30042);
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    rec.string5 = "AB";
    rec.intValue6 = 6;
    Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(30042, 132));
    EXPECT_EQ(decode(e.frames[0]).rec.string5, pad("AB", 100));

    rec.msgId = 30171;
    rec.intValue5 = 123;
    rec.string4.assign(2000, 'w');
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(30171, 1038));
    EXPECT_EQ(bodyOf(e.frames[0], 15).substr(12), "12w");
    EXPECT_EQ(decode(e.frames[0]).rec.string4, std::string(1024, 'w') + nul(1));

    rec.msgId = 20176;
    PAVA_SET_TEXT(rec.text12a, "A");
    PAVA_SET_TEXT(rec.text12c, "C");
    rec.intValue8 = 8;
    rec.string4.assign(1200, 'v');
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(20176, 1038));
    EXPECT_EQ(bodyOf(e.frames[0], 39), pad("A", 12) + pad("ADDR", 12) + "8 " + pad("C", 12) + "v");
    EXPECT_EQ(decode(e.frames[0]).rec.string4, std::string(1000, 'v') + nul(1));

    rec.msgId = 20177;
    rec.string4 = std::string("ten chars!\0more", 15);
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(20177, 53));
    EXPECT_EQ(bodyOf(e.frames[0], 54).substr(38), pad("ten chars!", 16));
    EXPECT_EQ(decode(e.frames[0]).rec.string4, pad("ten chars!", 256));

    rec.msgId = 20178;
    rec.string4.clear();
    rec.intValue4 = 4;
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(20178, 295));
    EXPECT_EQ(bodyOf(e.frames[0], 296), pad("A", 12) + "124 " + pad("ADDR", 12) + pad("C", 12) + nul(256));
    EXPECT_EQ(decode(e.frames[0]).rec.string4, nul(256));
}

}  // namespace
}  // namespace pava::test
