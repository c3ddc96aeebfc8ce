// Data lists split over frames: where frames close, their marks and lengths,
// the make-frame log lines, empty lists, items that fit no frame, decoders.
#include <gtest/gtest.h>

#include "analyzer.h"
#include "list_support.h"
#include "message.h"

namespace pava::test {
namespace {

PavaFullData blockList(int id, size_t count) {
    PavaFullData rec = listRecord(id, count, "T");
    for (PavaDataItem& item : rec.dataList) PAVA_SET_TEXT(item.itemBlock, "BLOCK-OF-15-CHR");
    PAVA_SET_TEXT(rec.text12b, "ADDRESS00001");
    PAVA_SET_TEXT(rec.text12c, "CCCCCCCCCCCC");
    PAVA_SET_TEXT(rec.text12d, "DDDDDDDDDDDD");
    return rec;
}

TEST(SplitLists, BlockListClosesAFrameWhenItemAndTrailerNoLongerFit) {
    const Encoded e = encode(blockList(20018, 340));
    ASSERT_TRUE(sent(e, {"1  2001828176 11", "1  20018264   20"}));
    EXPECT_EQ(bodyOf(e.frames[0], 16), "ADDRESS00001339 ");
    EXPECT_EQ(bodyOf(e.frames[0], 8176).substr(8128), "338     TBLOCK-OF-15-CHRCCCCCCCCCCCCDDDDDDDDDDDD");
    EXPECT_EQ(declaredBody(e.frames[1]),
              "ADDRESS000011   339     TBLOCK-OF-15-CHRCCCCCCCCCCCCDDDDDDDDDDDD");
    EXPECT_EQ(e.log,
              "Data_To_Pava_20018!\n"
              "Data_To_Pava_20018 make frame datanum 339, frmidx = 1 frmlen = 8152 \r\n"
              "Data_To_Pava_20018 make frame datanum 1, frmidx = 2 \r\n"
              "Leave Data_To_Pava_20018!\n");

    const Decoded d = decode(e.frames[1]);
    ASSERT_EQ(d.rc, 0);
    ASSERT_EQ(d.rec.dataList.size(), 1u);
    EXPECT_EQ(d.rec.dataList[0].itemId, 339);
    EXPECT_EQ(d.rec.dataList[0].itemText, "T");
    EXPECT_STREQ(d.rec.dataList[0].itemBlock, "BLOCK-OF-15-CHR");
    EXPECT_STREQ(d.rec.text12c, "CCCCCCCCCCCC");
    EXPECT_STREQ(d.rec.text12d, "DDDDDDDDDDDD");
    EXPECT_EQ(d.rec.headFlag, 2);
    EXPECT_EQ(d.rec.contFlag, 0);
}

TEST(SplitLists, HeadFlagTwoMarksEveryFrameOfTheBlockLists) {
    for (int id : {20018, 20020, 30018}) {
        PavaFullData rec = blockList(id, 700);
        rec.headFlag = 2;
        const Encoded e = encode(rec);
        ASSERT_EQ(e.rc, 0) << id;
        ASSERT_GE(e.frames.size(), 2u) << id;
        for (const PavaMsg& frame : e.frames) EXPECT_EQ(headAt(frame, 14), '2') << id;
    }
    PavaFullData rec = listRecord(20014, 600);
    rec.headFlag = 2;
    const Encoded e = encode(rec);
    EXPECT_EQ(headAt(e.frames.at(1), 14), '2');
    EXPECT_EQ(headAt(e.frames.at(0), 14), '1');
}

TEST(SplitLists, TenFramesCountOnPastTheDigits) {
    // 408 items of 20 bytes fill a frame (16 + 408 * 20 = 8176).
    const Encoded e = encode(blockList(20020, 9 * 408 + 1));
    ASSERT_EQ(e.rc, 0);
    ASSERT_EQ(e.frames.size(), 10u);
    for (size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(headAt(e.frames[i], 8), ':');
        EXPECT_EQ(headAt(e.frames[i], 14), static_cast<char>('1' + i));
        EXPECT_EQ(headAt(e.frames[i], 15), i < 9 ? '1' : '0');
    }
    EXPECT_EQ(headOf(e.frames[8]), "1  20020:8176 91");
    EXPECT_EQ(headOf(e.frames[9]), "1  20020:36   :0");
    EXPECT_EQ(declaredBody(e.frames[9]), "ADDRESS000011   3672TBLOCK-OF-15-CHR");
    EXPECT_NE(e.log.find("Data_To_Pava_20020 make frame datanum 408, frmidx = 9 frmlen = 8176 \r\n"
                         "Data_To_Pava_20020 make frame datanum 1, frmidx = 10 \r\n"
                         "Leave Data_To_Pava_20020!\n"),
              std::string::npos);
}

TEST(SplitLists, EmptyListGivesOneFrameWithCountZero) {
    const struct {
        int id;
        int length;
        const char* warning;
    } cases[] = {
        {20014, 21, "warning:: count = 0, only make a pava msg !\r\n"},
        {20016, 21, "warning:: count = 0, only make a pava \r\n"},
        {20018, 40, "warning:: count = 0, only make a pava msg !\r\n"},
        {20020, 16, "warning:: count = 0, only make a pava msg !\r\n"},
        {20155, 22, "warning:: count = 0, only make a pava msg !\r\n"},
        {30014, 21, "warning:: count = 0, only make a pava msg !\r\n"},
        {30016, 21, "warning:: count = 0, only make a pava \r\n"},
        {30018, 16, "warning:: count = 0, only make a pava msg !\r\n"},
    };
    for (const auto& c : cases) {
        const Encoded e = encode(blockList(c.id, 0));
        ASSERT_EQ(e.rc, 0) << c.id;
        ASSERT_EQ(e.frames.size(), 1u) << c.id;
        const std::string id = std::to_string(c.id);
        const std::string length = std::to_string(c.length);
        EXPECT_EQ(headOf(e.frames[0]), "1  " + id + "1" + length + "   10") << c.id;
        EXPECT_EQ(e.log, "Data_To_Pava_" + id + "!\n" + c.warning + "Leave Data_To_Pava_" + id + "!\n");
    }
    EXPECT_EQ(declaredBody(encode(blockList(20018, 0)).frames.at(0)),
              "ADDRESS000010   CCCCCCCCCCCCDDDDDDDDDDDD");
    EXPECT_EQ(declaredBody(encode(blockList(30018, 0)).frames.at(0)), "ADDRESS000010   ");
}

TEST(SplitLists, ExtendedIdsPrintTheMakeFrameLinesOfTheirModels) {
    // 509 items of 16 bytes: 21 + 509 * 16 = 8165, and 8165 + 16 > 8171.
    const Encoded e = encode(listRecord(30014, 510));
    ASSERT_EQ(e.frames.size(), 2u);
    EXPECT_EQ(e.log,
              "Data_To_Pava_30014!\n"
              "Data_To_Pava_20014 make frame datanum 509, frmidx = 1 frmlen = 8165 \r\n"
              "Data_To_Pava_20014 make frame datanum 1, frmidx = 2 \r\n"
              "Leave Data_To_Pava_30014!\n");
    EXPECT_EQ(encode(listRecord(30016, 1)).log,
              "Data_To_Pava_30016!\nData_To_Pava_20016 make frame datanum 1, frmidx = 1 \r\nLeave Data_To_Pava_30016!\n");
}

TEST(SplitLists, EscapedTextsTravelWholeInTheirOwnFrames) {
    PavaFullData rec = recordFor(20016);
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    rec.intValue3 = 1;
    rec.intValue2 = 22;
    rec.intValue6 = 3;
    const std::string long300(300, 'L');
    rec.dataList = {dataItem(1, "ABCDEFGH"), dataItem(2, "ABCDEFGHI"), dataItem(3, long300)};
    const Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))),
              printable("ADDR" + nuls(8) + "1 2233   1       ABCDEFGH2       $$$9    ABCDEFGHI3       $$$300  " +
                        long300));
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rc, 0);
    ASSERT_EQ(d.rec.dataList.size(), 3u);
    EXPECT_EQ(d.rec.dataList[1].itemText, "ABCDEFGHI");
    EXPECT_EQ(d.rec.dataList[2].itemText, long300);
    EXPECT_EQ(d.rec.intValue6, 3);
}

TEST(SplitLists, CodedTextsSendTheFirstEightBytesOfTheString) {
    PavaFullData rec = recordFor(20014);
    rec.dataList = {dataItem(1, std::string("AB\0CDEFGHIJ", 12))};
    const Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))),
              printable(nuls(12) + "0 0 01   1       " + std::string("AB\0CDEFG", 8)));
    EXPECT_EQ(decode(e.frames[0]).rec.dataList.at(0).itemText, "AB");
}

TEST(SplitLists, AnItemThatFitsNoFrameFailsKeepingTheClosedFrames) {
    // id, the longest text an empty frame takes (its own space test is not
    // applied to the first item of a frame), and the body length it gives.
    for (const auto& [id, longest, length] : {std::tuple{20016, 8155, 8192}, {30016, 8155, 8192}, {30014, 8155, 8192}}) {
        PavaFullData rec = recordFor(id);
        rec.dataList = {dataItem(1, std::string(static_cast<size_t>(longest), 'x'))};
        const Encoded fits = encode(rec);
        ASSERT_EQ(fits.rc, 0) << id;
        EXPECT_EQ(std::string(fits.frames[0].head + 9, 5), std::to_string(length) + " ");

        rec.dataList = {dataItem(1, "short"), dataItem(2, std::string(static_cast<size_t>(longest) + 1, 'x'))};
        const Encoded over = encode(rec);
        EXPECT_EQ(over.rc, PAVA_ERR_ENCODE) << id;
        EXPECT_EQ(over.frames.size(), 1u) << id;  // the frame closed before it
        EXPECT_NE(over.log.find("make frame datanum 1, frmidx = 1 frmlen = 37 \r\n"), std::string::npos);
        EXPECT_TRUE(over.log.ends_with("Data_To_Pava_" + std::to_string(id) + " single data size overflow!"));
    }
}

TEST(SplitLists, LengthPrefixedTextsTakeTheHeaderFromTheRecord) {
    PavaFullData rec = recordFor(20155);
    rec.msgType = 3;
    rec.headFlag = 4;
    rec.contFlag = 1;
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    rec.intValue3 = 1;
    rec.intValue2 = 2;
    rec.intValue8 = 33;
    rec.dataList = {dataItem(5, "ab")};
    rec.dataList[0].itemText2 = "xyz";
    const Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(headOf(e.frames.at(0)), "1  20155143   10");
    EXPECT_EQ(printable(declaredBody(e.frames[0])), printable("ADDR" + nuls(8) + "1 2 331   5       2   ab3   xyz"));
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rc, 0);
    EXPECT_EQ(d.rec.dataList.at(0).itemText, "ab");
    EXPECT_EQ(d.rec.dataList.at(0).itemText2, "xyz");
    EXPECT_EQ(d.rec.intValue8, 33);

    // 22 + 16 + 8132 = 8170.
    rec.dataList[0].itemText = std::string(8129, 'a');
    EXPECT_EQ(encode(rec).rc, 0);
    rec.dataList[0].itemText += 'a';
    const Encoded over = encode(rec);
    EXPECT_EQ(over.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(over.frames.empty());
    EXPECT_EQ(over.log, "Data_To_Pava_20155!\nData_To_Pava_20155 single data size overflow!");
}

TEST(SplitLists, DecodersKeepTheItemsInsideTheBody) {
    // 340 items of 24 bytes end at 8176; the 341st would end at 8200.
    const Decoded many = decode(makeFrame("1  200181", "ADDRESS000019999"));
    EXPECT_EQ(many.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(many.rec.dataList.size(), 340u);
    EXPECT_EQ(many.log, "Pava_20018_To_Data!\nerror:: CPavaMsgAnalyze::Pava_20018_To_Data data out of body! ");

    const Decoded noTrailer = decode(encode(blockList(30018, 1)).frames.at(0));
    ASSERT_EQ(noTrailer.rc, 0);
    EXPECT_STREQ(noTrailer.rec.text12c, "");

    const Decoded text = decode(makeFrame("1  201551", "ADDR" + nuls(8) + "1 2 331   5       9999ab"));
    EXPECT_EQ(text.rc, PAVA_ERR_DECODE);
    EXPECT_TRUE(text.rec.dataList.empty());

    PavaMsg escaped = makeFrame("1  200161", "ADDR" + nuls(8) + "0 0 02   1       $$$8200 ");
    EXPECT_EQ(decode(escaped).rc, PAVA_ERR_DECODE);

    PavaFullData rec;
    CPavaMsgAnalyze analyzer(&rec);
    const MessageDef* def = findMessage(30016);
    ASSERT_NE(def, nullptr);
    LogCapture capture;
    EXPECT_EQ(def->decode(*def, nullptr, &analyzer), -1);
    EXPECT_EQ(capture.text(), "Pava_30016_To_Data!\nerror:: CPavaMsgAnalyze::Pava_30016_To_Data pPavaMsg == NULL! ");
}

}  // namespace
}  // namespace pava::test
