// Item lists with the "$$$" escape: slot or escape, the 256-byte cut, the fit
// test that counts the whole text, and the decoder skipping the declared length.
#include <gtest/gtest.h>

#include "list_support.h"

namespace pava::test {
namespace {

TEST(EscapedItemLists, ShortTextsUseTheSlotLongerOnesTheEscape) {
    PavaFullData rec = recordFor(20169);
    PAVA_SET_TEXT(rec.text12b, "ADDR");
    rec.intValue2 = 9;
    const std::string text256(256, 'a');
    const std::string text257 = std::string(256, 'b') + "c";
    rec.dataList = {dataItem(1, "ABCDEFGH"), dataItem(2, "ABCDEFGHI"), dataItem(3, text256), dataItem(4, text257),
                    dataItem(5, "")};
    const Encoded e = encode(rec);
    ASSERT_EQ(e.rc, 0);
    const std::string expected = "ADDR" + nuls(8) + "9 5   " + "1       ABCDEFGH" + "2       $$$9    ABCDEFGHI" +
                                 "3       $$$256  " + text256 + "4       $$$257  " + text257.substr(0, 256) +
                                 "5       " + nuls(8);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))), printable(expected));
    EXPECT_EQ(e.log, "Data_To_Pava_20169!\n");

    // The decoder skips the 257 declared bytes, one more than were written,
    // so the entry after the cut text is read one byte late.
    const Decoded d = decode(e.frames[0]);
    ASSERT_EQ(d.rc, 0);
    ASSERT_EQ(d.rec.dataList.size(), 5u);
    EXPECT_EQ(d.rec.dataList[0].itemText, "ABCDEFGH");
    EXPECT_EQ(d.rec.dataList[1].itemText, "ABCDEFGHI");
    EXPECT_EQ(d.rec.dataList[2].itemText, text256);
    EXPECT_EQ(d.rec.dataList[3].itemText, text257.substr(0, 256));
    EXPECT_EQ(d.rec.dataList[4].itemId, 0);
    EXPECT_EQ(d.rec.intValue2, 9);
    EXPECT_STREQ(d.rec.text12b, "ADDR");
}

TEST(EscapedItemLists, EmptyListsAndTheTrailingDigit) {
    PavaFullData rec = recordFor(20172);
    rec.intValue4 = 3;
    const Encoded e = encode(rec);
    EXPECT_EQ(printable(declaredBody(e.frames.at(0))), printable(nuls(12) + "0 0   3" + nuls(1)));
    EXPECT_EQ(decode(e.frames[0]).rec.intValue4, 3);
    EXPECT_EQ(declaredBody(encode(recordFor(20174)).frames.at(0)).size(), 18u);
}

TEST(EscapedItemLists, FitTestCountsTheWholeText) {
    PavaFullData rec = recordFor(20171);
    rec.dataList = {dataItem(1, std::string(8176, 't'))};
    const Encoded fits = encode(rec);
    ASSERT_EQ(fits.rc, 0);
    EXPECT_EQ(std::string(fits.frames[0].head + 9, 5), "290  ");

    rec.dataList[0].itemText += 't';
    const Encoded over = encode(rec);
    EXPECT_EQ(over.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(over.frames.empty());
    EXPECT_EQ(over.log, "Data_To_Pava_20171!\nData_To_Pava_20171 error:: too long return -1 !\n");

    // After the first entry the test counts from the body start.
    // The first entry ends at 290; 290 + 16 + 7886 = 8192.
    rec.dataList = {dataItem(1, std::string(256, 'a')), dataItem(2, std::string(7886, 'b'))};
    EXPECT_EQ(encode(rec).rc, 0);
    rec.dataList[1].itemText += 'b';
    EXPECT_EQ(encode(rec).rc, PAVA_ERR_ENCODE);
}

TEST(EscapedItemLists, TrailingDigitMustFitBehindTheItems) {
    // 29 entries of 272 bytes, one of 25 and one of 16 + tail bytes end the
    // items at 18 + 7888 + 25 + 16 + tail.
    auto items = [](int tail) {
        PavaFullData rec = recordFor(20170);
        rec.intValue4 = 6;
        for (int i = 0; i < 29; ++i) rec.dataList.push_back(dataItem(i, std::string(256, 'x')));
        rec.dataList.push_back(dataItem(29, std::string(9, 'y')));
        rec.dataList.push_back(dataItem(30, std::string(static_cast<size_t>(tail), 'z')));
        return rec;
    };
    const Encoded full = encode(items(243));  // items end at 8190: digit and NUL fill the body
    ASSERT_EQ(full.rc, 0);
    EXPECT_EQ(std::string(full.frames[0].head + 9, 5), "8192 ");

    // Items end at 8191: the digit takes the last body byte, and the length
    // still counts the NUL behind it.
    const Encoded last = encode(items(244));
    ASSERT_EQ(last.rc, 0);
    EXPECT_EQ(std::string(last.frames[0].head + 9, 5), "8193 ");
    EXPECT_EQ(last.frames[0].body[8191], '6');
    EXPECT_EQ(decode(last.frames[0]).rec.intValue4, 6);

    PavaFullData base = items(245);  // items end at 8192
    base.msgId = 20169;
    EXPECT_EQ(encode(base).rc, 0);
    const Encoded over = encode(items(245));
    EXPECT_EQ(over.rc, PAVA_ERR_ENCODE);
    EXPECT_EQ(over.log, "Data_To_Pava_20170!\nData_To_Pava_20170 error:: too long return -1 !\n");
}

TEST(EscapedItemLists, HostileLengthsStayInTheBody) {
    const std::string head = nuls(12) + "0 ";
    // The first entry declares 8100 bytes, so the second starts at 8134 and
    // its 200 text bytes would end past the body.
    PavaMsg frame = makeFrame("1  201690", head + "2   1       $$$8100 ");
    std::memcpy(frame.body + 8134, "2       $$$200  ", 16);
    const Decoded past = decode(frame);
    EXPECT_EQ(past.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(past.rec.dataList.size(), 1u);
    EXPECT_EQ(past.log, "Pava_20169_To_Data!\nerror:: CPavaMsgAnalyze::Pava_20169_To_Data data out of body! ");

    // A declared length may lead past the body as long as nothing is read there.
    EXPECT_EQ(decode(makeFrame("1  201690", head + "1   1       $$$99999")).rc, 0);
    const Decoded next = decode(makeFrame("1  201690", head + "2   1       $$$99999"));
    EXPECT_EQ(next.rc, PAVA_ERR_DECODE);
    EXPECT_EQ(next.rec.dataList.size(), 1u);
    const Decoded digit = decode(makeFrame("1  201700", head + "1   1       $$$99999"));
    EXPECT_EQ(digit.rc, PAVA_ERR_DECODE);

    const Decoded negative = decode(makeFrame("1  201690", head + "1   1       $$$-5   "));
    EXPECT_EQ(negative.rc, PAVA_ERR_DECODE);
    EXPECT_TRUE(negative.rec.dataList.empty());
}

}  // namespace
}  // namespace pava::test
