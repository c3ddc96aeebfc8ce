// Text, number, block and setting messages (00101-00901, 30042, 30171,
// 20176-20178): golden bodies, log lines, the deliberate oddities, and
// hostile counts and header lengths.
#include <gtest/gtest.h>

#include <memory>

#include "message.h"
#include "support.h"

namespace pava::test {
namespace {

std::string nul(size_t n) { return nuls(n); }

// An encoder that refuses the record: failure, no frame, exactly these lines.
void expectRefused(const PavaFullData& rec, const std::string& log) {
    const Encoded e = encode(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, log);
}

// A frame on the heap, sized exactly, so that any read past it is caught.
std::unique_ptr<PavaMsg> frameFor(int id, int length, char fill) {
    auto frame = std::make_unique<PavaMsg>();
    std::memset(frame->body, fill, sizeof frame->body);
    const std::string head = headFor(id, static_cast<size_t>(length));
    std::memcpy(frame->head, head.data(), PAVA_HEAD_LEN);
    return frame;
}

// Every member these messages carry, each with its own value.
PavaFullData sample(int id) {
    PavaFullData rec = recordFor(id);
    rec.intValue1 = 1, rec.intValue4 = 4, rec.intValue5 = 5, rec.intValue6 = 6, rec.intValue8 = 8;
    rec.intValue9 = 9, rec.intValue10 = 10, rec.intValue11 = 11, rec.intValue12 = 12, rec.intValue13 = 13;
    PAVA_SET_TEXT(rec.text12a, "A");
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    PAVA_SET_TEXT(rec.text12c, "C");
    PAVA_SET_TEXT(rec.text15a, "ABCDEFGHIJKLMNO");
    PAVA_SET_TEXT(rec.text20a, "T20");
    PAVA_SET_TEXT(rec.text20b, "U20");
    PAVA_SET_TEXT(rec.text32, "t32");
    PAVA_SET_TEXT(rec.text64b, "S64");
    rec.string1 = "B", rec.string2 = "A", rec.string3 = "ABC", rec.string4 = "s4", rec.string5 = "AB", rec.string6 = "CD";
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
    return rec;
}

TEST(TextMessages, GoldenBodiesOfTheSample) {
    const std::string front = pad("ADDR", 12) + pad("AB", 200);  // 00210-00215
    const struct {
        int id;
        std::string body;
    } cases[] = {
        {801, "12      13  "},
        {803, "13      12"},
        {804, pad("AB", 255) + "12      "},
        {101, pad("ABC", 16) + pad("B", 16) + nul(16) + pad("D", 32) + "65535   " + nul(32) + "7       2  " +
                  pad("C1", 12) + pad("C2", 12)},
        {102, pad("B", 16) + pad("D", 32) + "65535   "},
        {203, pad("ADDR", 12) + "8 " + pad("T20", 20) + pad("U20", 20) + pad("ABC", 200)},
        {204, pad("ADDR", 12) + "0   "},
        {205, pad("A", 255) + pad("B", 255) + pad("s4", 40)},
        {206, "ABCDEFGHIJKLMN5 4         8       6   "},
        {208, pad("ABC", 192) + pad("S64", 40)},
        {901, nul(3) + "1    4   ABCDEFGHIJKLMN9 10" + pad("t32", 32) + "s4"},
        {210, front + "13      " + pad("CD", 40) + "5   "},
        {211, front + "13      1   "},
        {212, front + "45         "},
        {213, front + "13      " + pad("CD", 40) + "12  "},
        {214, front + "13      12  CD"},
        {215, front + "111        12  "},
        {30042, pad("ADDR", 12) + pad("AB", 100) + "6   13      12      "},
        {30171, pad("ADDR", 12) + "5 " + pad("s4", 1024)},
        {20176, pad("A", 12) + pad("ADDR", 12) + "8 " + pad("C", 12) + "s4"},
        {20177, pad("A", 12) + "5 " + pad("ADDR", 12) + pad("C", 12) + "s4"},
        {20178, pad("A", 12) + "5 4 " + pad("ADDR", 12) + pad("C", 12) + pad("s4", 255)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        const Encoded e = encode(sample(c.id));
        ASSERT_EQ(e.rc, 0);
        ASSERT_EQ(e.frames.size(), 1u);
        EXPECT_EQ(headOf(e.frames[0]), headFor(c.id, c.body.size()));
        EXPECT_EQ(printable(bodyOf(e.frames[0], c.body.size() + 1)), printable(c.body + nul(1)));
        char entry[32];
        std::snprintf(entry, sizeof entry, c.id == 101 ? "Data_To_Pava_00101\n" : "Data_To_Pava_%05d!\n", c.id);
        EXPECT_EQ(e.log, entry);
    }
}

// What the decoders make of the sample's frames: fixed-length texts where
// the layout says so, own-length texts elsewhere, and the odd cases.
TEST(TextMessages, DecodedTexts) {
    const struct {
        int id;
        std::string PavaFullData::*text;
        std::string expected;
    } cases[] = {
        {804, &PavaFullData::string5, "AB"},          {203, &PavaFullData::string3, pad("ABC", 201)},
        {205, &PavaFullData::string2, "A"},           {205, &PavaFullData::string1, "s4"},
        {205, &PavaFullData::string4, ""},            {208, &PavaFullData::string3, "ABC"},
        {901, &PavaFullData::string4, "s4"},          {210, &PavaFullData::string5, pad("AB", 201)},
        {210, &PavaFullData::string6, pad("CD", 41)}, {211, &PavaFullData::string6, ""},
        {213, &PavaFullData::string5, "AB"},          {213, &PavaFullData::string6, "CD"},
        {214, &PavaFullData::string6, "CD"},          {30042, &PavaFullData::string5, pad("AB", 100)},
        {30171, &PavaFullData::string4, pad("s4", 1025)}, {20176, &PavaFullData::string4, pad("s4", 1001)},
        {20177, &PavaFullData::string4, pad("s4", 256)},  {20178, &PavaFullData::string4, pad("s4", 256)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        const Decoded d = decode(encode(sample(c.id)).frames.at(0));
        ASSERT_EQ(d.rc, 0);
        EXPECT_EQ(printable(d.rec.*c.text), printable(c.expected));
    }

    Decoded d = decode(encode(sample(101)).frames.at(0));
    EXPECT_EQ(d.log, "Pava_00101_To_Data\n");
    EXPECT_STREQ(d.rec.fileBlock.fbText16a, "ABC");
    EXPECT_EQ(d.rec.fileBlock.fbInt1, 65535);
    EXPECT_STREQ(d.rec.fileBlock.fbCodes[1], "C2");
    EXPECT_STREQ(d.rec.fileBlock.fbCodes[2], "");
    d = decode(encode(sample(102)).frames.at(0));
    EXPECT_STREQ(d.rec.fileBlock.fbText32a, "D");
    EXPECT_STREQ(d.rec.fileBlock.fbText16a, "");  // not carried by 00102
    EXPECT_EQ(decode(encode(sample(203)).frames.at(0)).log, "Pava_00203_To_Data!\nPava_00102_To_Data!\n");
    d = decode(encode(sample(215)).frames.at(0));
    EXPECT_EQ(d.log, "Pava_00215_To_Data()!\n");
    EXPECT_EQ(d.rec.intValue13, 1);  // 13 travelled in one character
    d = decode(encode(sample(901)).frames.at(0));
    EXPECT_STREQ(d.rec.text15a, "ABCDEFGHIJKLMN");

    // 00211 stores the body's number over the header's rii.
    PavaMsg frame = encode(sample(211)).frames.at(0);
    std::memcpy(frame.body + 220, "12  ", 4);
    EXPECT_EQ(decode(frame).rec.rii, 12);
    // 00802 reads 10 + 8 characters where its encoder writes 8 + 4.
    d = decode(makeFrame(headFor(802, 12), "123456789   "));
    EXPECT_EQ(d.rec.intValue11, 123456789);
    EXPECT_EQ(d.rec.intValue12, 0);

    // A null frame reaches only a decoder called directly; 00203 logs its echo first.
    LogCapture capture;
    const MessageDef& def = *findMessage(203);
    PavaFullData rec;
    CPavaMsgAnalyze analyzer(&rec);
    EXPECT_EQ(def.decode(def, nullptr, &analyzer), -1);
    EXPECT_EQ(capture.text(), "Pava_00203_To_Data!\nPava_00102_To_Data!\n"
                              "error:: CPavaMsgAnalyze::Pava_00203_To_Data pPavaMsg == NULL! ");
}

TEST(TextMessages, EncoderLimitsAndDroppedFrames) {
    PavaFullData rec = sample(802);
    Encoded e = encode(rec);  // 00800, 00802 and 00209 build their frame and drop it
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_00802!\n");
    rec.msgId = 800;
    rec.string6.assign(8180, 'x');
    EXPECT_TRUE(encode(rec).frames.empty());
    rec.string6.push_back('x');
    expectRefused(rec, "Data_To_Pava_00800!\n"
                       "error:: CPavaMsgAnalyze::Data_To_Pava_00800 block length > MAX_PAVA_MSG_LEN ! ");

    rec.msgId = 214;
    rec.contFlag = 1;  // 00214 and 00204 keep it
    rec.string6.assign(7968, 's');
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(214, 8192, '1'));
    EXPECT_EQ(decode(e.frames[0]).rec.string6, rec.string6);
    rec.string6.push_back('s');
    expectRefused(rec, "Data_To_Pava_00214!\nData_To_Pava_00214 length error!");

    rec.msgId = 901;
    rec.string4 = std::string("a\0b", 3) + std::string(9997, 'c');
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(901, 8192));
    EXPECT_EQ(decode(e.frames[0]).rec.string4, rec.string4.substr(0, 8130));

    rec.msgId = 20177;  // the text is cut at the cap and at its first NUL
    rec.string4 = std::string("ten chars!\0more", 15) + std::string(300, 'm');
    e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(20177, 38 + 255, '0'));
    EXPECT_EQ(bodyOf(e.frames[0], 294).substr(38), pad("ten chars!", 256));

    rec.msgId = 101;
    rec.fileBlock.fbCount = 200;
    EXPECT_EQ(headOf(encode(rec).frames.at(0)), headFor(101, 2531));
    rec.fileBlock.fbCount = 201;
    expectRefused(rec, "Data_To_Pava_00101\nCPavaMsgAnalyze::Data_To_Pava_00101 too long return -1 !\n");
}

TEST(SettingLists, RowsAndTheirLimits) {
    PavaFullData rec = sample(204);
    rec.contFlag = 1;
    PavaSettingItem item;
    item.setText = "AB";
    PAVA_SET_TEXT(item.setText30, "0123456789abcdefghijKLMNOP");
    item.setId = 77;
    rec.settingList.assign(35, item);
    const Encoded e = encode(rec);
    EXPECT_EQ(headOf(e.frames.at(0)), headFor(204, 7996, '1'));
    EXPECT_EQ(bodyOf(e.frames[0], 244).substr(12), "35  " + pad("AB", 200) + "0123456789abcdefghij77      ");
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rec.settingList.size(), 35u);
    EXPECT_EQ(d.rec.settingList[0].setText, pad("AB", 201));
    EXPECT_EQ(std::string(d.rec.settingList[0].setText30, 30), "0123456789abcdefghij" + nul(10));
    EXPECT_EQ(d.rec.settingList[34].setId, 77);
    rec.settingList.push_back(item);
    expectRefused(rec, "Data_To_Pava_00204!\nCPavaMsgAnalyze::Data_To_Pava_00204 too long return -1 !\n");

    rec.msgId = 209;
    rec.settingList.resize(42);
    const Encoded dropped = encode(rec);
    EXPECT_EQ(dropped.rc, 0);
    EXPECT_TRUE(dropped.frames.empty());
    rec.settingList.push_back(item);
    expectRefused(rec, "Data_To_Pava_00209!\ntotal_len + 192 > MAX_PAVA_MSG_LEN error return ");
}

// Counts that would run past the body or the record's rows: the decoder
// stores what fits, then fails.
TEST(HostileFrames, CountsStayInsideTheFrameAndTheRecord) {
    auto frame = frameFor(101, 131, 'z');
    std::memcpy(frame->body + 128, "999", 3);
    Decoded d = decode(*frame);
    EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(d.log, "Pava_00101_To_Data\nCPavaMsgAnalyze::Pava_00101_To_Data too long return -1 !\n");
    EXPECT_EQ(std::string(d.rec.fileBlock.fbCodes[199]), std::string(12, 'z'));

    frame = frameFor(204, 16, 'q');
    std::memcpy(frame->body + 12, "9999", 4);
    d = decode(*frame);
    EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(d.rec.settingList.size(), 35u);
    EXPECT_EQ(d.log, "Pava_00204_To_Data!\nCPavaMsgAnalyze::Pava_00204_To_Data too long return -1 !\n");
}

// Every message whose text length comes from the header, over hostile
// lengths: each reads at most to the body's end (-1: the decoder refuses).
// 00214 checks the header's own number; the others its 16-bit msgLen, so
// 65836 counts as 300 for them.
TEST(HostileFrames, HeaderLengthsStayInsideTheFrame) {
    struct Case {
        int id;
        std::string PavaFullData::*text;
        int expected[7];
    };
    const int lengths[7] = {0, 61, 223, 224, 8192, 65535, 65836};
    const Case cases[] = {
        {800, &PavaFullData::string6, {0, 49, 211, 212, 8180, 8180, 288}},
        {901, &PavaFullData::string4, {8130, 8130, 161, 162, 8130, 8130, 238}},
        {211, &PavaFullData::string6, {7968, 7968, 7968, 0, 7968, 7968, 76}},
        {214, &PavaFullData::string6, {-1, -1, -1, 0, 7968, -1, -1}},
    };
    for (const Case& c : cases) {
        for (int i = 0; i < 7; ++i) {
            SCOPED_TRACE(testing::Message() << c.id << " length " << lengths[i]);
            auto frame = frameFor(c.id, lengths[i], 'h');
            frame->head[14] = 'A';  // ends the length's digits
            const Decoded d = decode(*frame);
            if (c.expected[i] < 0) {
                EXPECT_EQ(d.rc, PAVA_ERR_DECODE);
                EXPECT_EQ(d.log, "Pava_00214_To_Data!\nPava_00214_To_Data length error!");
                continue;
            }
            EXPECT_EQ(d.rc, 0);
            EXPECT_EQ(d.rec.*c.text, std::string(static_cast<size_t>(c.expected[i]), 'h'));
        }
    }
}

}  // namespace
}  // namespace pava::test
