// Two-level lists: the record and field list 20138 and the data object type
// list 61858.
#include <gtest/gtest.h>

#include <string>

#include "list_support.h"

namespace pava::test {
namespace {

using std::string;

PavaRecordItem withFields(int n, int recInt = 0) {
    PavaRecordItem r;
    r.recInt = recInt;
    r.fieldList.resize(static_cast<size_t>(n));
    return r;
}

TEST(RecordFieldList, GoldenBodyAndFixedWidthDecode) {
    PavaFullData rec = recordFor(20138);
    PAVA_SET_TEXT(rec.text12b, "ADDR1234");
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  20138014   00"}));
    EXPECT_EQ(bodyOf(e.frames[0], 14), "ADDR1234" + string(4, '\0') + "0 ");

    PavaRecordItem record = withFields(0, 7);
    record.fieldList.push_back({9, 9, "AB", "second"});
    record.fieldList.push_back({0, 0, string(13, 'x'), string(31, 'y')});
    rec.recordList = {record};
    e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "Data_To_Pava_20138!\n");
    EXPECT_EQ(headOf(e.frames[0]), "1  201380103  00");
    EXPECT_EQ(bodyOf(e.frames[0], 103), "ADDR1234" + string(4, '\0') + "1 7 2  AB" + string(10, '\0') + "second" +
                                            string(24, '\0') + string(12, 'x') + string(30, 'y'));

    PavaFullData back;
    string log;
    ASSERT_EQ(decode(e.frames[0], back, &log), 0);
    EXPECT_EQ(log, "Pava_20138_To_Data!\n");
    ASSERT_EQ(back.recordList.size(), 1u);
    EXPECT_EQ(back.recordList[0].recInt, 7);
    const PavaFieldItem& f = back.recordList[0].fieldList[0];
    EXPECT_EQ(f.fieldText1, "AB" + string(11, '\0'));
    EXPECT_EQ(f.fieldText2.size(), 31u);
    EXPECT_EQ(f.fieldType, 0);
    EXPECT_EQ(back.recordList[0].fieldList[1].fieldText2, string(30, 'y') + '\0');
}

TEST(RecordFieldList, CountLimitsAndTheBodyEnd) {
    PavaFullData rec = recordFor(20138);
    rec.recordList.assign(99, withFields(0));
    EXPECT_EQ(encodeInPlace(rec).rc, 0);
    rec.recordList.assign(100, withFields(0));
    Encoded e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_20138!\nerror:: CPavaMsgAnalyze::Data_To_Pava_20138  item count(100) Illegal! ");

    rec.recordList = {withFields(1000)};
    EXPECT_EQ(encodeInPlace(rec).log,
              "Data_To_Pava_20138!\nerror:: CPavaMsgAnalyze::Data_To_Pava_20138  equipment count(1000) Illegal! ");
    // 999 fields pass the count test but not the body: 194 is the most one frame holds.
    rec.recordList = {withFields(999)};
    EXPECT_EQ(encodeInPlace(rec).rc, PAVA_ERR_ENCODE);
    rec.recordList = {withFields(194)};
    e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(headOf(e.frames[0]).substr(9, 5), "8167 ");
    rec.recordList = {withFields(194), withFields(1)};
    EXPECT_EQ(encodeInPlace(rec).rc, PAVA_ERR_ENCODE);

    PavaFullData back;
    EXPECT_EQ(decode(makeFrame("1  20138", string(12, 'a') + "1 0 999"), back), PAVA_ERR_DECODE);
    EXPECT_TRUE(back.recordList.empty());
}

PavaRecordItem structure(std::initializer_list<int> widths) {
    PavaRecordItem s;
    int code = 10;
    for (int w : widths) s.fieldList.push_back({code++, w, "LD0/XCBR1.Pos", string(static_cast<size_t>(w), 'v')});
    return s;
}

TEST(DataObjectTypes, NulPaddedNumbersAndStructureLayout) {
    PavaFullData rec = recordFor(61858);
    PAVA_SET_TEXT(rec.text12a, "IED1");
    rec.string4 = "LD";
    rec.intValue5 = 4;
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  61858082   00"}));
    EXPECT_EQ(bodyOf(e.frames[0], 82).substr(76), "4 0   ");

    PavaRecordItem s;
    s.fieldList.push_back({123, 3, "A.B", "xyz"});
    rec.recordList = {PavaRecordItem{}, s};
    e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(headOf(e.frames[0]).substr(9, 5), "199  ");
    EXPECT_EQ(bodyOf(e.frames[0], 199).substr(76),
              "4 2   " + string("0\0\0\0" "1\0\0\0", 8) + "A.B" + string(97, '\0') + "12" + string("3\0\0\0", 4) + "xyz");

    PavaFullData back;
    string log;
    ASSERT_EQ(decode(e.frames[0], back, &log), 0);
    EXPECT_EQ(log, "Pava_61858_To_Data!\n");
    EXPECT_EQ(back.string4.size(), 65u);
    EXPECT_EQ(back.intValue5, 4);
    ASSERT_EQ(back.recordList.size(), 2u);
    EXPECT_TRUE(back.recordList[0].fieldList.empty());
    const PavaFieldItem& a = back.recordList[1].fieldList[0];
    EXPECT_EQ(a.fieldText1.size(), 101u);
    EXPECT_EQ(a.fieldType, 12);
    EXPECT_EQ(a.fieldLen, 3);
    EXPECT_EQ(a.fieldText2, string("xyz\0", 4));
}

TEST(DataObjectTypes, StructuresAreNeverSplit) {
    PavaFullData rec = recordFor(61858);
    rec.recordList = {structure({8000})};
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(headOf(e.frames[0]).substr(9, 5), "8192 ");
    rec.recordList = {structure({8001})};
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log,
              "Data_To_Pava_61858!\nmsgbody space is not enough when write the Dotype Data list\r\n"
              "the first do struct length is longer than max pava message lenght\r\n");

    // Three structures of 3000 bytes: two frames, the last count not rewritten.
    rec.recordList = {structure({2890}), structure({2890}), structure({100, 2684})};
    e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "Data_To_Pava_61858!\nmsgbody space is not enough when write the Dotype Data list\r\n");
    ASSERT_EQ(e.frames.size(), 2u);
    EXPECT_EQ(headOf(e.frames[0]), "1  6185806082 01");
    EXPECT_EQ(headOf(e.frames[1]), "1  6185803082 00");
    EXPECT_EQ(string(e.frames[0].body + 78, 4), "2   ");
    EXPECT_EQ(string(e.frames[1].body + 78, 4), "2   ");
    // The part of the third structure written into the first frame stays there.
    EXPECT_EQ(string(e.frames[0].body + 6082, 4), string("2\0\0\0", 4));
    EXPECT_EQ(string(e.frames[1].body + 82, 4), string("2\0\0\0", 4));
    EXPECT_EQ(string(e.frames[1].body + 3082, 5), string("1\0\0\0L", 5));  // the body is not cleared

    PavaFullData back;
    string log;
    // A width past the body end: at most W bytes up to the first NUL.
    string body = bodyOf(e.frames[1], 82) + string("1\0\0\0", 4) + string(102, 'r') + "9000xy";
    body.replace(78, 4, "1   ");
    ASSERT_EQ(decode(makeFrame("1  61858", body), back, &log), 0);
    ASSERT_EQ(back.recordList.size(), 1u);
    ASSERT_EQ(back.recordList[0].fieldList.size(), 1u);
    EXPECT_EQ(back.recordList[0].fieldList[0].fieldLen, 9000);
    EXPECT_EQ(back.recordList[0].fieldList[0].fieldText2, "xy" + string(8999, '\0'));
    body.replace(82, 1, "2");  // a second attribute would start past the body
    EXPECT_EQ(decode(makeFrame("1  61858", body), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_61858_To_Data!\nover the max pava message length");
    body = bodyOf(e.frames[1], 82) + string("1\0\0\0", 4) + string(102, 'r') + "-7  ";
    EXPECT_EQ(decode(makeFrame("1  61858", body), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_61858_To_Data!\nover the max pava message length when handle value content ");
    EXPECT_EQ(Pava_To_Data(nullptr, &back), PAVA_ERR_NULL);
}

}  // namespace
}  // namespace pava::test
