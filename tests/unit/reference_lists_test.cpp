// Reference list decoders on their own stride and hostile widths (golden
// cases are in tests/data/reference_lists.json).
#include <gtest/gtest.h>

#include <string>

#include "list_support.h"

namespace pava::test {
namespace {

using std::string;

PavaDataItem valueItem(const string& ref, int code, const string& value, int width = -1) {
    PavaDataItem item;
    item.itemText = ref;
    item.itemId = code;
    item.itemText2 = value;
    item.itemInt2 = width < 0 ? static_cast<int>(value.size()) : width;
    return item;
}

const string kHead61851 = "IED1" + string(8, '\0') + "LD0" + string(61, '\0');

PavaFullData referenceRecord(int id) {
    PavaFullData rec = recordFor(id);
    PAVA_SET_TEXT(rec.text12a, "IED1");
    rec.string4 = "LD0";
    rec.intValue3 = 3;
    rec.intValue4 = 7;
    rec.intValue5 = 5;
    rec.intValue6 = 123456;
    return rec;
}

TEST(ReferenceLists, DecodersReadAtTheirOwnStride) {
    PavaFullData rec = referenceRecord(61851);
    rec.dataList = {valueItem("R1", 1, "hello"), valueItem("R2", 2, string("a\0b", 3))};
    Encoded e = encodeInPlace(rec);
    PavaFullData back;
    ASSERT_EQ(decode(e.frames[0], back), 0);
    ASSERT_EQ(back.dataList.size(), 2u);
    EXPECT_EQ(back.dataList[0].itemText2, "hello");
    // The second item is read from the first one's value bytes.
    EXPECT_EQ(back.dataList[1].itemText, "helloR2");
    EXPECT_EQ(back.dataList[1].itemInt2, 0);

    rec.msgId = 61901;
    e = encodeInPlace(rec);
    string log;
    ASSERT_EQ(decode(e.frames[0], back, &log), 0);
    EXPECT_EQ(log, "Pava_61901_To_Data!\n");
    EXPECT_EQ(back.intValue5, 5);
    EXPECT_EQ(back.intValue6, 123456);
    EXPECT_EQ(back.intValue3, 3);
    EXPECT_EQ(back.string4.size(), 65u);
    ASSERT_EQ(back.dataList.size(), 2u);
    EXPECT_EQ(back.dataList[0].itemText.size(), 101u);
    EXPECT_EQ(back.dataList[1].itemId, 2);
    EXPECT_EQ(back.dataList[1].itemText2, string("a\0b", 3));

    // Widths and counts that would leave the body.
    string body = bodyOf(e.frames[0], 92 + 106);
    body.replace(92 + 102, 4, "8000");
    EXPECT_EQ(decode(makeFrame("1  61901", body), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_61901_To_Data!\nover the max pava message length when handle value content ");
    body.replace(92 + 102, 4, "-1  ");
    EXPECT_EQ(decode(makeFrame("1  61901", body), back), PAVA_ERR_DECODE);
    body.replace(92 + 102, 4, "0   ");
    body.replace(88, 4, "9999");
    EXPECT_EQ(decode(makeFrame("1  61901", body), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(back.dataList.size(), 76u);
    EXPECT_EQ(log, "Pava_61901_To_Data!\nover the max pava message length");

    // A width past the body end: the bounded copy stops at the first NUL, so
    // the value is that many NUL characters.
    ASSERT_EQ(decode(makeFrame("1  61851", kHead61851 + "1   R" + string(101, '\0') + "8200ab"), back, &log), 0);
    EXPECT_EQ(log, "Pava_61851_To_Data!\n");
    ASSERT_EQ(back.dataList.size(), 1u);
    EXPECT_EQ(back.dataList[0].itemInt2, 8200);
    EXPECT_EQ(back.dataList[0].itemText2, "ab" + string(8198, '\0'));
    EXPECT_EQ(decode(makeFrame("1  61851", kHead61851 + "1   R" + string(101, '\0') + "-1  "), back, &log),
              PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_61851_To_Data!\nover the max pava message length when handle value content ");
}

}  // namespace
}  // namespace pava::test
