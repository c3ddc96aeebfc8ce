// Data lists split over frames with many items: where frames close, their
// marks and lengths, the make-frame log lines (smaller cases are in
// tests/data/split_lists.json).
#include <gtest/gtest.h>

#include "analyzer.h"
#include "support.h"
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
    ASSERT_EQ(e.rc, 0);
    ASSERT_EQ(e.frames.size(), 2u);
    EXPECT_EQ(headOf(e.frames[0]) + headOf(e.frames[1]), "1  2001828176 11" "1  20018264   20");
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

}  // namespace
}  // namespace pava::test
