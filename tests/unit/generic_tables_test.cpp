// Generic tables 10001-10006: golden frames, splits, frame marks, limits,
// log lines, and decoding of hostile frames.
#include <gtest/gtest.h>

#include <string>

#include "analyzer.h"
#include "message.h"
#include "list_support.h"

namespace pava::test {
namespace {

using std::string;

PavaFieldItem entry(int type, int len, const string& text) { return {type, len, text, {}}; }

PavaRecordItem recordOf(std::initializer_list<PavaFieldItem> fields, std::initializer_list<PavaFieldItem> items = {}) {
    PavaRecordItem r;
    r.fieldList = fields;
    r.fieldList2 = items;
    return r;
}

PavaFullData table(int id, int fn, int sub) {
    PavaFullData rec = recordFor(id);
    PAVA_SET_TEXT(rec.text64b, "ABCDEFGHIJKLMNOPQRS");
    rec.intValue14 = fn;
    rec.intValue15 = 77;
    rec.intValue16 = sub;
    return rec;
}

string prefix(const string& fn, const string& sub) { return "ABCDEFGHIJKLMNO" + fn + "77   " + sub; }

TEST(GenericTables, FunctionTypeOneIsThePrefixAloneAndUnknownTypesSendNothing) {
    PavaFullData rec = table(10001, 1, 9);
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  10001128   10"}));
    EXPECT_EQ(bodyOf(e.frames[0], 29), prefix("1  ", "9    ") + string(1, '\0'));
    EXPECT_EQ(e.log, "");

    rec.intValue14 = 4;
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());

    rec.intValue14 = 2;
    rec.intValue16 = 3;
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_EQ(e.log, "error:: CPavaMsgAnalyze::Data_To_Pava_10001 error 10001 msg funtype ");
}

TEST(GenericTables, FieldsAndItemsOfTheFirstRecordWithCStringValues) {
    PavaFullData rec = table(10001, 2, 2);
    // "xyz" runs past its declared length and is overwritten by the item count;
    // "q" is shorter than its length and leaves NUL bytes.
    rec.recordList = {recordOf({entry(1, 3, "abc"), entry(12, 2, "xyz")}, {entry(3, 4, "q")}),
                      recordOf({entry(5, 1, "never sent")})};
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  10001161   10"}));
    const string body = prefix("2  ", "2    ") + "2   " + "1 3   abc" + "122   xy" + "1 " + "3 4   q" + string(3, '\0');
    EXPECT_EQ(printable(bodyOf(e.frames[0], 62)), printable(body + string(1, '\0')));

    // The decoder appends the record with its fields, then again with its items.
    PavaFullData back;
    string log;
    ASSERT_EQ(decode(e.frames[0], back, &log), 0);
    EXPECT_EQ(log, "Pava_10001_To_Data\n");
    EXPECT_EQ(string(back.text64b), "ABCDEFGHIJKLMNO");
    EXPECT_EQ(back.intValue15, 77);
    ASSERT_EQ(back.recordList.size(), 2u);
    EXPECT_EQ(back.recordList[0].fieldList.size(), 2u);
    EXPECT_TRUE(back.recordList[0].fieldList2.empty());
    ASSERT_EQ(back.recordList[1].fieldList2.size(), 1u);
    EXPECT_EQ(back.recordList[1].fieldList[1].fieldText1, "xy");
    EXPECT_EQ(back.recordList[1].fieldList2[0].fieldText1, string("q\0\0\0", 4));
}

TEST(GenericTables, TheBodyEndsWithTheLastEntryWritten) {
    // Fields without items: the item count stands behind the fields but
    // outside the body length.
    PavaFullData rec = table(10001, 2, 2);
    rec.recordList = {recordOf({entry(1, 3, "abc")})};
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(headOf(e.frames[0]), "1  10001141   10");
    EXPECT_EQ(printable(bodyOf(e.frames[0], 44)), printable(prefix("2  ", "2    ") + "1   " + "1 3   abc" + "0 " + string(1, '\0')));
    // A first record without fields or items: nothing is sent.
    rec.recordList = {recordOf({})};
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
}

TEST(GenericTables, ATableEndingAtOrBeforeTheBodyStartSendsNothing) {
    // The last item's negative length takes the position back to the body
    // start or before it: nothing follows it, and no frame is sent.
    PavaFullData rec = table(10001, 3, 2);
    for (const int len : {-40, -100, -2147483647 - 1}) {
        rec.recordList = {recordOf({}, {entry(1, len, "v")})};
        Encoded e = encodeInPlace(rec);
        EXPECT_EQ(e.rc, 0) << len;
        EXPECT_TRUE(e.frames.empty()) << len;
        EXPECT_EQ(e.log, "") << len;
    }
    rec.recordList = {recordOf({}, {entry(1, -39, "v")})};
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  100011" "1    10"}));
}

TEST(GenericTables, FirstFieldSizeTestStartsFromZero) {
    // 8154 passes the test (the position before the first field counts as 0)
    // and ends exactly at the body end; the item count behind it cannot fit.
    PavaFullData rec = table(10003, 0, 3);
    rec.recordList = {recordOf({entry(1, 8154, string(8154, 'v'))})};
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {"1  1000318192 10"}));
    EXPECT_EQ(e.log, "make frame fieldnum 1, frmidx = 1 \r\n");

    rec.msgId = 10001;
    rec.intValue14 = 2;
    rec.intValue16 = 2;
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Insert single data ! over max pava message size[8194] ");

    rec.recordList[0].fieldList[0].fieldLen = 8155;
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_EQ(e.log, "");
    // A second field is tested against its real position.
    rec.recordList[0].fieldList = {entry(1, 100, "a"), entry(2, 8055, "b")};
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
}

// Three records of 3010 bytes: two fit a frame, the third is taken back.
PavaFullData threeRecords(int id, int sub) {
    PavaFullData rec = table(id, 2, sub);
    for (char c : {'a', 'b', 'c'}) rec.recordList.push_back(recordOf({entry(7, 3000, string(3000, c))}));
    return rec;
}

TEST(GenericTables, RecordsSplitOverFramesWithTheFrameCountAtPositionThirteen) {
    PavaFullData rec = threeRecords(10002, 1);
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    ASSERT_EQ(e.frames.size(), 2u);
    EXPECT_EQ(e.log, "make frame recordnum 2, frmidx = 1 \r\nmake frame recordnum 1, frmidx = 2 \r\n");
    EXPECT_EQ(headOf(e.frames[0]), "1  1000226052 11");
    EXPECT_EQ(headOf(e.frames[1]), "1  1000223042 20");
    // Non-last frame: own count at 13 (over text64b and the function type),
    // total at 28; the taken-back record's count stays behind the length.
    EXPECT_EQ(bodyOf(e.frames[0], 36), "ABCDEFGHIJKLM2    77   1    3   1   ");
    EXPECT_EQ(string(e.frames[0].body + 3042, 10), "1   7 3000");
    EXPECT_EQ(string(e.frames[0].body + 6052, 4), "1   ");
    // Last frame: the previous frame's count still at 13, its own at 28.
    EXPECT_EQ(bodyOf(e.frames[1], 42), "ABCDEFGHIJKLM2    77   1    1   1   7 3000");
    EXPECT_EQ(e.frames[1].body[41 + 3000], 'c');
    EXPECT_EQ(e.frames[1].body[3042], '\0');

    // The count at 13 covers the function type of both frames, so they decode
    // to the prefix only; one frame decodes record by record.
    PavaFullData back;
    for (const PavaMsg& frame : e.frames) {
        ASSERT_EQ(decode(frame, back), 0);
        EXPECT_EQ(back.intValue14, 0);
        EXPECT_EQ(string(back.text64b), "ABCDEFGHIJKLM2 ");
        EXPECT_TRUE(back.recordList.empty());
    }
    rec.recordList.pop_back();
    e = encodeInPlace(rec);
    ASSERT_EQ(e.frames.size(), 1u);
    ASSERT_EQ(decode(e.frames[0], back), 0);
    ASSERT_EQ(back.recordList.size(), 2u);
    EXPECT_EQ(back.recordList[1].fieldList[0].fieldText1, string(3000, 'b'));
}

TEST(GenericTables, ThreeFramesAndRecordsThatCanNeverFit) {
    PavaFullData rec = threeRecords(10002, 2);
    rec.recordList.push_back(rec.recordList[0]);
    rec.recordList.push_back(rec.recordList[0]);
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    ASSERT_EQ(e.frames.size(), 3u);
    EXPECT_EQ(headOf(e.frames[0]).substr(8), "36052 11");
    EXPECT_EQ(headOf(e.frames[1]).substr(8), "36052 21");
    EXPECT_EQ(headOf(e.frames[2]).substr(8), "33042 30");

    // A first record too long for any frame, and a later one alone in its frame.
    rec.recordList = {recordOf({entry(1, 8154, "x"), entry(1, 0, "")})};
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    rec.recordList = {recordOf({entry(1, 10, "")}), recordOf({entry(1, 8000, ""), entry(1, 8000, "")})};
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "make frame recordnum 1, frmidx = 1 \r\n");
    rec.recordList = {recordOf({entry(1, 8155, "")})};
    EXPECT_EQ(encodeInPlace(rec).rc, PAVA_ERR_ENCODE);
    rec.recordList.clear();
    EXPECT_EQ(encodeInPlace(rec).rc, PAVA_ERR_ENCODE);
    rec.intValue16 = 3;
    EXPECT_EQ(encodeInPlace(rec).log, "error:: CPavaMsgAnalyze::Data_To_Pava_10002 error 10002 msg funtype ");
}

TEST(GenericTables, FieldFormOfTenThousandTwo) {
    PavaFullData rec = table(10002, 1, 0);
    rec.recordList = {recordOf({entry(4, 2, "hello"), entry(-3, 0, "")})};
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "make frame fieldnum 2, frmidx = 1 \r\n");
    EXPECT_EQ(headOf(e.frames[0]), "1  10002146   10");
    EXPECT_EQ(bodyOf(e.frames[0], 46), prefix("1  ", "0    ") + "2   4 2   he-30   ");
    PavaFullData back;
    ASSERT_EQ(decode(e.frames[0], back), 0);
    ASSERT_EQ(back.recordList.size(), 1u);
    EXPECT_EQ(back.recordList[0].fieldList[1].fieldType, -3);

    rec.recordList[0].fieldList.clear();
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
}

TEST(GenericTables, InsertedFramesAreNotCounted) {
    PavaFullData rec = table(10003, 0, 5);
    rec.recordList = {recordOf({}, {entry(7, 6, "hello!")})};
    Encoded e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {string("1  10003040   \0" "0", 16)}));
    EXPECT_EQ(string(e.frames[0].body + 28, 13), string("7 6   hello!\0", 13));
    PavaFullData back;
    ASSERT_EQ(decode(e.frames[0], back), 0);
    ASSERT_EQ(back.recordList.size(), 1u);
    EXPECT_EQ(back.recordList[0].fieldList2[0].fieldText1, "hello!");

    // The body length is 34 plus the declared length, whatever its sign.
    rec.recordList[0].fieldList2[0].fieldLen = -100;
    e = encodeInPlace(rec);
    ASSERT_TRUE(sent(e, {string("1  100030-66  \0" "0", 16)}));
    EXPECT_EQ(string(e.frames[0].body + 28, 13), string("7 -100hello!\0", 13));
    rec.recordList[0].fieldList2[0].fieldLen = 8159;
    EXPECT_EQ(encodeInPlace(rec).rc, PAVA_ERR_ENCODE);
    rec.recordList.clear();
    e = encodeInPlace(rec);
    EXPECT_EQ(headOf(e.frames[0]), "1  10003132   10");

    rec = table(10004, 0, 7);
    rec.intValue4 = 6;
    e = encodeInPlace(rec);
    EXPECT_EQ(headOf(e.frames[0]), string("1  10004029   \0" "0", 16));
    EXPECT_EQ(e.frames[0].body[28], '6');
    ASSERT_EQ(decode(e.frames[0], back), 0);
    EXPECT_EQ(back.intValue4, 6);
    rec.intValue16 = 8;
    e = encodeInPlace(rec);
    EXPECT_EQ(e.log, "error:: CPavaMsgAnalyze::Data_To_Pava_10004 error 10003 msg funtype ");
    rec.intValue16 = 2;
    rec.msgId = 10003;
    EXPECT_EQ(encodeInPlace(rec).log, "error:: CPavaMsgAnalyze::Data_To_Pava_10003 error 10003 msg funtype ");
}

TEST(GenericTables, WhereItemsDefaultAndSplit) {
    PavaFullData rec = table(10004, 0, 3);
    Encoded e = encodeInPlace(rec);
    EXPECT_EQ(headOf(e.frames[0]), "1  10004136   10");
    EXPECT_EQ(bodyOf(e.frames[0], 36), prefix("0  ", "3    ") + "0   0   ");

    rec.recordList = {recordOf({entry(1, 2, "ab")}), recordOf({}, {entry(8, 1, "w"), entry(9, 0, "")})};
    e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "make end frame recordnum 2, frmidx = 1 \r\n");
    EXPECT_EQ(bodyOf(e.frames[0], 67).substr(28), "2   1   1 2   ab3 0   0   8 1   w9 0   ");
    PavaFullData back;
    ASSERT_EQ(decode(e.frames[0], back), 0);
    ASSERT_EQ(back.recordList.size(), 2u);
    EXPECT_EQ(back.recordList[0].fieldList2[0].fieldType, 3);
    EXPECT_EQ(back.recordList[1].fieldList.size(), 0u);
    ASSERT_EQ(back.recordList[1].fieldList2.size(), 2u);
    EXPECT_EQ(back.recordList[1].fieldList2[0].fieldText1, "w");

    // Taken back during the fields, then during the where-items.
    rec.recordList = {recordOf({entry(1, 5000, "")}), recordOf({entry(1, 3200, "")}),
                      recordOf({entry(1, 10, "")}, {entry(2, 5000, "")})};
    e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log,
              "make frame recordnum 1, record_idx = 1, frmidx = 1 \r\n"
              "make frame recordnum 1, frmidx = 2 \r\n"
              "make end frame recordnum 1, frmidx = 3 \r\n");
    ASSERT_EQ(e.frames.size(), 3u);
    EXPECT_EQ(headOf(e.frames[2]).substr(8), "35058 30");

    rec.recordList = {recordOf({entry(1, 8157, "")})};
    EXPECT_EQ(encodeInPlace(rec).log, "Insert single data ! over max pava message size[8167] ");
    rec.recordList = {recordOf({}, {entry(1, 8157, "")})};
    EXPECT_EQ(encodeInPlace(rec).log, "Insert single where data  over max pava message size[8167] ");
    rec.recordList = {recordOf({entry(1, 4000, "")}, {entry(1, 4200, "")})};
    e = encodeInPlace(rec);
    EXPECT_EQ(e.log, "Insert single where data over max pava message size[8216] ");
    EXPECT_TRUE(e.frames.empty());
}

TEST(GenericTables, FreeTextLimit) {
    PavaFullData rec = table(10005, 0, 42);
    rec.msgType = 3;
    rec.string4 = string(8172, 't');
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "Data_To_Pava_10005!\n");
    EXPECT_EQ(headOf(e.frames[0]), "1  1000538192 00");
    EXPECT_EQ(bodyOf(e.frames[0], 21), "ABCDEFGHIJKLMNO42   t");
    rec.string4 += 't';
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, PAVA_ERR_ENCODE);
    EXPECT_TRUE(e.frames.empty());
    EXPECT_EQ(e.log, "Data_To_Pava_10005!\nData_To_Pava_10005! len too length return -1! \n ");

    PavaFullData back;
    string log;
    ASSERT_EQ(decode(makeFrame("1  100050", "ABCDEFGHIJKLMNO42   text"), back, &log), 0);
    EXPECT_EQ(log, "Pava_10005_To_Data!\n");
    EXPECT_EQ(back.intValue16, 42);
    EXPECT_EQ(back.string4, "");  // as many characters as it held: none after the reset
}

TEST(GenericTables, ShortFormClearsTheCallersText) {
    PavaFullData rec = table(10006, 0, 4);
    rec.intValue4 = 9;
    Encoded e = encodeInPlace(rec);
    ASSERT_EQ(e.rc, 0);
    EXPECT_EQ(e.log, "Data_To_Pava_10006!\n");
    EXPECT_EQ(headOf(e.frames[0]), "1  10006121   10");
    EXPECT_EQ(bodyOf(e.frames[0], 21), string(15, '\0') + "4    9");
    EXPECT_EQ(string(rec.text64b, 19), string(15, '\0') + "PQRS");

    rec = threeRecords(10006, 1);
    e = encodeInPlace(rec);
    ASSERT_EQ(e.frames.size(), 2u);
    EXPECT_EQ(headOf(e.frames[0]), "1  1000626044 11");
    EXPECT_EQ(bodyOf(e.frames[0], 28), string(5, '\0') + "2   " + string(6, '\0') + "1    3   1   ");
    EXPECT_EQ(bodyOf(e.frames[1], 28).substr(15), "1    1   1   ");
    PavaFullData back;
    string log;
    ASSERT_EQ(decode(e.frames[1], back, &log), 0);
    EXPECT_EQ(log, "Pava_10006_To_Data!\n");
    ASSERT_EQ(back.recordList.size(), 1u);
    EXPECT_EQ(back.recordList[0].fieldList[0].fieldText1, string(3000, 'c'));

    rec.intValue16 = 6;
    e = encodeInPlace(rec);
    EXPECT_EQ(e.rc, 0);
    EXPECT_TRUE(e.frames.empty());
}

TEST(GenericTables, EntryParserKeepsTwentySevenCharactersInReserve) {
    PavaFullData back;
    // 15 + 27 + 8150 reaches the body end exactly; one character more fails.
    const string pre = prefix("0  ", "3    ") + "1   1 ";
    PavaMsg frame = makeFrame("1  10003", pre + "8150");
    ASSERT_EQ(decode(frame, back), 0);
    ASSERT_EQ(back.recordList.size(), 1u);
    EXPECT_EQ(back.recordList[0].fieldList[0].fieldText1.size(), 8150u);
    frame = makeFrame("1  10003", pre + "8151");
    ASSERT_EQ(decode(frame, back), 0);
    EXPECT_TRUE(back.recordList.empty());

    string log;
    EXPECT_EQ(decode(makeFrame("1  10003", prefix("0  ", "6    ")), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_10003_To_Data\nerror:: CPavaMsgAnalyze::Pava_10003_To_Data error 10003 msg funtype ");
    EXPECT_EQ(decode(makeFrame("1  10001", prefix("2  ", "3    ")), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_10001_To_Data\nerror:: CPavaMsgAnalyze::Data_To_Pava_10003 error 10003 msg funtype ");
    EXPECT_EQ(decode(makeFrame("1  10004", prefix("2  ", "8    ")), back, &log), PAVA_ERR_DECODE);
    EXPECT_EQ(log, "Pava_10004_To_Data\nerror:: CPavaMsgAnalyze::Data_To_Pava_10004 error 10004 msg funtype ");
}

TEST(GenericTables, NullFramesAndHostileCounts) {
    PavaFullData rec;
    const struct {
        int id;
        const char* text;
    } nulls[] = {
        {10001, "Pava_10001_To_Data\nerror:: CPavaMsgAnalyze::Pava_10001_To_Data pPavaMsg == NULL! "},
        {10002, "Pava_10002_To_Data\nerror:: CPavaMsgAnalyze Pava_10002_To_Data pPavaMsg parameter is NULL!\n"},
        {10006, "Pava_10006_To_Data!\nerror:: CPavaMsgAnalyze::Pava_10006_To_Data pPavaMsg == NULL! "},
    };
    for (const auto& n : nulls) {
        const MessageDef* def = findMessage(n.id);
        ASSERT_NE(def, nullptr);
        CPavaMsgAnalyze an(&rec);
        LogCapture cap;
        EXPECT_EQ(def->decode(*def, nullptr, &an), -1);
        EXPECT_EQ(cap.text(), n.text);
    }
    // Counts of 9999 over bodies of spaces, digits and maximal lengths.
    for (const char fill : {' ', '9', '\0', '1'}) {
        string body(MAX_PAVA_MSG_LEN, fill);
        for (const char* id : {"1  10001", "1  10002", "1  10003", "1  10004", "1  10006"}) {
            for (const string& head : {prefix("2  ", "2    "), prefix("1  ", "3    "), string(15, 'x') + "2    "}) {
                body.replace(0, head.size(), head);
                body.replace(28, 4, "9999");
                PavaMsg frame = makeFrame(string(id) + "0" + "8192 ", body);
                PavaFullData back;
                EXPECT_LE(decode(frame, back), PAVA_ERR_DECODE);
                for (const PavaRecordItem& r : back.recordList)
                    for (const PavaFieldItem& f : r.fieldList) EXPECT_LE(f.fieldText1.size(), 8150u);
            }
        }
    }
}

}  // namespace
}  // namespace pava::test
