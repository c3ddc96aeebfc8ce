// One-frame item lists: bodies, per-id limits and failure texts, and decoders
// facing counts that point past the body.
#include <gtest/gtest.h>

#include "list_support.h"

namespace pava::test {
namespace {

TEST(OneFrameLists, TextIdListBodyAndItsRoundTrip) {
    PavaFullData rec = recordFor(20002);
    rec.dataList = {dataItem(3, "TEXT"), dataItem(12, "ABCDEFGHIJKLMNOP")};
    rec.dataList[0].itemInt2 = 77;  // not sent: the two-digit field goes out as 0
    PAVA_SET_TEXT(rec.text12c, "TRAILER");
    const Encoded e = encode(rec);
    ASSERT_TRUE(sent(e, {std::string("1  20002046   00", 16)}));
    EXPECT_EQ(printable(declaredBody(e.frames[0])),
              printable("2   TEXT" + nuls(8) + "30 ABCDEFGHIJKL10 TRAILER" + nuls(5)));
    EXPECT_EQ(e.log, "Data_To_Pava_20002!\n");

    PavaMsg frame = e.frames[0];
    frame.body[17] = '4';  // a value in the two-digit field reads into itemInt2
    const Decoded d = decode(frame);
    ASSERT_EQ(d.rc, 0);
    ASSERT_EQ(d.rec.dataList.size(), 2u);
    EXPECT_EQ(d.rec.dataList[0].itemText, "TEXT");
    EXPECT_EQ(d.rec.dataList[0].itemInt2, 4);
    EXPECT_EQ(d.rec.dataList[1].itemId, 1);  // 12 cut to one character
    EXPECT_EQ(d.rec.dataList[1].itemText, "ABCDEFGHIJKL");
    EXPECT_STREQ(d.rec.text12c, "TRAILER");
    EXPECT_EQ(d.log, "Pava_20002_To_Data!\n");
}

TEST(OneFrameLists, EmptyListsKeepPrefixAndTrailer) {
    PavaFullData rec = recordFor(20002);
    PAVA_SET_TEXT(rec.text12c, "CCCCCCCCCCCC");
    EXPECT_EQ(declaredBody(encode(rec).frames.at(0)), "0   CCCCCCCCCCCC");

    rec = recordFor(20010);
    PAVA_SET_TEXT(rec.text12b, "ADDRESS00001");
    PAVA_SET_TEXT(rec.text15a, "FIFTEEN-LETTERS");
    PAVA_SET_TEXT(rec.text12d, "DDDDDDDDDDDD");
    rec.intValue2 = 7;
    EXPECT_EQ(declaredBody(encode(rec).frames.at(0)), "ADDRESS000017 FIFTEEN-LETTERS0   DDDDDDDDDDDD");
    rec.dataList = {dataItem(42, "XYZ")};
    EXPECT_EQ(declaredBody(encode(rec).frames.at(0)),
              "ADDRESS000017 FIFTEEN-LETTERS1   42      XDDDDDDDDDDDD");

}

TEST(OneFrameLists, OtherAddressAndCodedPrefixes) {
    PavaFullData rec = recordFor(20063);
    PAVA_SET_TEXT(rec.text12a, "OTHERADDRESS");
    PAVA_SET_TEXT(rec.text12b, "NOT-SENT");
    rec.dataList = {dataItem(12345, "Q"), dataItem(9, "")};
    EXPECT_EQ(printable(declaredBody(encode(rec).frames.at(0))), printable("OTHERADDRESS2   1234Q9   " + nuls(1)));

    rec = recordFor(20104);
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    rec.intValue3 = 12;
    rec.intValue2 = 3;
    rec.intValue6 = 5;
    rec.dataList = {dataItem(7, "123456789")};
    const Encoded e = encode(rec);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))), printable("ADDR" + nuls(8) + "123 51   7       12345678"));
    const Decoded d = decode(e.frames[0]);
    EXPECT_EQ(d.rec.intValue3, 12);
    EXPECT_EQ(d.rec.intValue6, 5);
    EXPECT_EQ(d.rec.dataList.at(0).itemText, "12345678");
}

// Item texts go out as the string's own bytes (a NUL inside included) and
// come back up to their first NUL.
TEST(OneFrameLists, ItemTextsTravelAsTheStringsBytes) {
    const std::string text("AB\0CD", 5);
    for (const auto& [id, at, width] : {std::tuple{20002, 4, 12}, {20004, 0, 12}, {20100, 4, 12}, {20084, 4, 12},
                                        {20103, 4, 12}, {20006, 41, 8}, {20008, 41, 8}, {20104, 29, 8}}) {
        PavaFullData rec = recordFor(id);
        rec.dataList = {dataItem(1, text)};
        const Encoded e = encode(rec);
        ASSERT_EQ(e.rc, 0) << id;
        EXPECT_EQ(printable(bodyOf(e.frames[0], static_cast<size_t>(at + width)).substr(static_cast<size_t>(at))),
                  printable(text + nuls(static_cast<size_t>(width) - 5)))
            << id;
        EXPECT_EQ(decode(e.frames[0]).rec.dataList.at(0).itemText, "AB") << id;
    }
}

TEST(OneFrameLists, FirstItemMessageSendsOneItemAndLogsTheListEntryText) {
    PavaFullData rec = recordFor(20004);
    rec.dataList = {dataItem(5, "FIRST"), dataItem(6, "SECOND")};
    PAVA_SET_TEXT(rec.text12c, "CODE");
    const Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))), printable("FIRST" + nuls(7) + "50 CODE" + nuls(8)));
    EXPECT_EQ(e.log, "Data_To_Pava_20002!\n");
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rec.dataList.size(), 1u);
    EXPECT_EQ(d.rec.dataList[0].itemText, "FIRST");
    EXPECT_STREQ(d.rec.text12c, "CODE");

    rec.dataList.clear();
    const Encoded empty = encode(rec);
    EXPECT_EQ(empty.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(empty.frames.empty());
    EXPECT_EQ(empty.log, "Data_To_Pava_20002!\n");
}

// Largest accepted list, its body length, and the text of one item more.
struct Limit {
    int id;
    size_t most;
    int length;
    const char* text;
};

TEST(OneFrameLists, EachIdAcceptsItsLimitAndRefusesOneMore) {
    const Limit limits[] = {
        {20002, 545, 8191, "error:: CPavaMsgAnalyze::Data_To_Pava_20002 too long return -1! "},
        {20100, 545, 8191, "Data_To_Pava_20100 error:: too long return -1 !\n"},
        {20084, 628, 8180, "Data_To_Pava_20084 error:: too long return -1 !\n"},
        {20103, 628, 8180, "error:: CPavaMsgAnalyze::Data_To_Pava_20103 too long return -1! "},
        {20006, 509, 8177, "error:: CPavaMsgAnalyze::Data_To_Pava_20006 too long return -1 ! "},
        {20008, 509, 8177, "error:: CPavaMsgAnalyze::Data_To_Pava_20008 too long return -1! "},
        {20010, 905, 8190, "error:: CPavaMsgAnalyze::Data_To_Pava_20010 too long return -1! "},
        {20012, 906, 8187, "error:: CPavaMsgAnalyze::Data_To_Pava_20012 too long return -1! "},
        {20102, 906, 8187, "error:: CPavaMsgAnalyze::Data_To_Pava_20102 too long return -1 ! "},
        {20104, 510, 8181, "error:: CPavaMsgAnalyze::Data_To_Pava_20104 too long return -1! "},
        // Its running count would let 1636 and 1637 items run past the body.
        {20063, 1635, 8191, "Data_To_Pava_20063 error:: too long return -1 !\n"},
        {20113, 908, 8190, "Data_To_Pava_20113 error:: too long return -1 !\n"},
        {20114, 908, 8191, "Data_To_Pava_20114 error:: too long return -1 !\n"},
        {20119, 163, 8154, "Data_To_Pava_20119 error:: too long return -1 !\n"},
    };
    for (const Limit& l : limits) {
        const Encoded fits = encode(listRecord(l.id, l.most));
        ASSERT_EQ(fits.rc, 0) << l.id;
        EXPECT_EQ(std::string(fits.frames.at(0).head + 9, 5), std::to_string(l.length) + " ") << l.id;

        const Encoded over = encode(listRecord(l.id, l.most + 1));
        EXPECT_EQ(over.rc, PAVA_ERR_ENCODE) << l.id;
        EXPECT_TRUE(over.frames.empty()) << l.id;
        EXPECT_EQ(over.log, "Data_To_Pava_" + std::to_string(l.id) + "!\n" + l.text) << l.id;
    }
    EXPECT_EQ(encode(listRecord(20063, 1637)).rc, PAVA_ERR_ENCODE);
}

TEST(OneFrameLists, DecodersStopWhereTheCountLeavesTheBody) {
    // 545 items and the trailer fill the body; a 546th item would end at 8194.
    for (const char* count : {"9999", "546 "}) {
        const Decoded d = decode(makeFrame("1  200020", count));
        EXPECT_EQ(d.rc, PAVA_ERR_DECODE) << count;
        EXPECT_EQ(d.rec.dataList.size(), 545u) << count;
        EXPECT_EQ(d.log, "Pava_20002_To_Data!\nerror:: CPavaMsgAnalyze::Pava_20002_To_Data data out of body! ");
    }
    // A count beyond the items present reads the NUL body as empty items.
    const Decoded nulItems = decode(makeFrame("1  200020", "545 "));
    ASSERT_EQ(nulItems.rc, 0);
    EXPECT_EQ(nulItems.rec.dataList.back().itemId, 0);
    EXPECT_EQ(nulItems.rec.dataList.back().itemText, "");
    // A negative count reads no item; the trailer follows the count.
    const Decoded negative = decode(makeFrame("1  200020", "-3  TRAILERCODES"));
    ASSERT_EQ(negative.rc, 0);
    EXPECT_TRUE(negative.rec.dataList.empty());
    EXPECT_STREQ(negative.rec.text12c, "TRAILERCODES");

    const Decoded chars = decode(makeFrame("1  201190", "9999"));
    EXPECT_EQ(chars.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(chars.rec.dataList.size(), 163u);
}

TEST(ShortItemLists, ItemsCarryOneCharacterOrFiftyBytes) {
    PavaFullData rec = recordFor(20114);
    PAVA_SET_TEXT(rec.text12b, "ADDRESS-CODE");
    rec.intValue2 = 42;
    rec.intValue4 = 7;
    rec.dataList = {dataItem(1, "ABC"), dataItem(123456789, "")};
    const Encoded e = encode(rec);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))),
              printable("ADDRESS-CODE422   1       A12345678" + nuls(1) + "7"));
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rec.dataList.size(), 2u);
    EXPECT_EQ(d.rec.dataList[0].itemText, "A");
    EXPECT_EQ(d.rec.dataList[1].itemText, "");
    EXPECT_EQ(d.rec.intValue4, 7);

    EXPECT_EQ(declaredBody(encode(recordFor(20113)).frames.at(0)), nuls(12) + "0 0   ");
    EXPECT_EQ(declaredBody(encode(recordFor(20118)).frames.at(0)), nuls(12) + "0 0   0");
    EXPECT_EQ(declaredBody(encode(recordFor(20119)).frames.at(0)), "0   ");

    rec = recordFor(20119);
    rec.dataList = {dataItem(0, std::string(60, 'x')), dataItem(0, "short")};
    const Encoded texts = encode(rec);
    EXPECT_EQ(printable(declaredBody(texts.frames.at(0))),
              printable("2   " + std::string(50, 'x') + "short" + nuls(45)));
    const Decoded back = decode(texts.frames[0]);
    EXPECT_EQ(back.rec.dataList.at(0).itemText, std::string(50, 'x'));
    EXPECT_EQ(back.rec.dataList.at(1).itemText, "short");
}

}  // namespace
}  // namespace pava::test
