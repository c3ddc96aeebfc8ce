// IEC 61850 reference lists 61850, 61851 and 61901.
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

const string kHead61851 = "IED1" + string(8, '\0') + "LD0" + string(61, '\0');

TEST(ReferenceLists, ReferencesOnlyInOneFrame) {
    PavaFullData rec = referenceRecord(61850);
    rec.dataList = {valueItem("LD0/LLN0.Mod", 1, "x"), valueItem(string(120, 'r'), 2, "")};
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "Data_To_Pava_61850!\n");
    ASSERT_EQ(e.frames.size(), 1u);
    EXPECT_EQ(headOf(e.frames[0]), "1  618500282  00");
    EXPECT_EQ(bodyOf(e.frames[0], 282),
              kHead61851 + "7 2   LD0/LLN0.Mod" + string(88, '\0') + string(100, 'r'));

    PavaFullData back;
    string log;
    ASSERT_EQ(decode(e.frames[0], back, &log), 0);
    EXPECT_EQ(log, "Pava_61850_To_Data!\n");
    EXPECT_EQ(string(back.text12a), "IED1");
    EXPECT_EQ(back.string4, "LD0");
    EXPECT_EQ(back.intValue4, 7);
    ASSERT_EQ(back.dataList.size(), 2u);
    EXPECT_EQ(back.dataList[0].itemText, "LD0/LLN0.Mod");
    EXPECT_EQ(back.dataList[0].itemId, 0);
    EXPECT_EQ(back.dataList[1].itemText, string(100, 'r'));

    // A count beyond the body stops at the body end.
    string body = bodyOf(e.frames[0], 82);
    body.replace(78, 4, "9999");
    EXPECT_EQ(decode(makeFrame("1  61850", body), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(back.dataList.size(), 81u);
    EXPECT_EQ(log, "Pava_61850_To_Data!\nover the max pava message length");
    rec.dataList.resize(82);
    e = encodeInPlace(rec);
    EXPECT_EQ(e.log, "Data_To_Pava_61850!\nover the max pava message length");
}

TEST(ReferenceLists, SingleValueFitsUpToTheBodyEnd) {
    PavaFullData rec = referenceRecord(61851);
    rec.dataList = {valueItem("R", 1, string(8006, 'v'))};
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  6185108192 00"}));
    EXPECT_EQ(bodyOf(e.frames[0], 187), kHead61851 + "1   R" + string(99, '\0') + "1 8006v");

    rec.dataList[0].itemText2 += 'v';
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_61851!\nstruct data is not convert that the reference value is too length");

    // The width member decides the bytes written; the value's length the fit.
    rec.dataList[0].itemInt2 = 2;
    EXPECT_EQ(encodeInPlace(rec).rc, PAVA_ERR_ENCODE);
    rec.dataList = {valueItem("R", 1, "abcde", 2)};
    e = encodeInPlace(rec);
    EXPECT_EQ(headOf(e.frames[0]).substr(9, 5), "188  ");
    EXPECT_EQ(bodyOf(e.frames[0], 189).substr(180), "1 2   ab" + string(1, '\0'));

    // Widths that would leave the body, up to the largest int, are refused.
    for (const int width : {8007, 2147483647}) {
        rec.dataList = {valueItem("R", 1, "abc", width)};
        e = encodeInPlace(rec);
        EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
        EXPECT_TRUE(e.frames.empty());
    }

    rec.msgId = 61901;
    rec.dataList = {valueItem("R", 1, string(7994, 'w'))};
    EXPECT_EQ(encodeInPlace(rec).rc, 0);
    rec.dataList[0].itemText2 += 'w';
    e = encodeInPlace(rec);
    EXPECT_EQ(e.log, "Data_To_Pava_61901!\nconvert failed that Reference value width is too long");
}

PavaFullData itemsOf3000(int id, int n) {
    PavaFullData rec = referenceRecord(id);
    for (int i = 0; i < n; ++i) rec.dataList.push_back(valueItem("ref" + std::to_string(i), i, string(3000, char('a' + i))));
    return rec;
}

TEST(ReferenceLists, SplitFramesKeepTheBodyAndTheCountDiffersBetweenTheTwoLists) {
    PavaFullData rec = itemsOf3000(61851, 3);
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  6185106292 01", "1  6185103186 00"}));
    EXPECT_EQ(string(e.frames[0].body + 76, 4), "2   ");
    EXPECT_EQ(string(e.frames[1].body + 76, 4), "2   ");  // not rewritten
    EXPECT_EQ(string(e.frames[1].body + 80, 4), "ref2");
    EXPECT_EQ(string(e.frames[1].body + 3186, 4), "ref1");  // left from the previous frame

    rec = itemsOf3000(61901, 5);
    e = encodeInPlace(rec);
    ASSERT_EQ(e.frames.size(), 3u);
    const char* flags = "110";
    const char* counts[] = {"2   ", "2   ", "1   "};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(e.frames[i].head[15], flags[i]);
        EXPECT_EQ(string(e.frames[i].body + 88, 4), counts[i]);
    }
    EXPECT_EQ(bodyOf(e.frames[2], 96), "5 123456IED1" + string(8, '\0') + "LD0" + string(61, '\0') + "7 3 1   ref4");
    EXPECT_EQ(headOf(e.frames[2]).substr(8), "03198 00");

    rec.dataList.clear();
    e = encodeInPlace(rec);
    EXPECT_EQ(headOf(e.frames[0]).substr(8), "092   00");
    EXPECT_EQ(string(e.frames[0].body + 88, 4), "0   ");
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
