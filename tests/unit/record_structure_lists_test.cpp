// Data object type structures split over frames and read back from hostile
// frames (golden cases are in tests/data/record_structure_lists.json).
#include <gtest/gtest.h>

#include <string>

#include "list_support.h"

namespace pava::test {
namespace {

using std::string;

PavaRecordItem structure(std::initializer_list<int> widths) {
    PavaRecordItem s;
    int code = 10;
    for (int w : widths) s.fieldList.push_back({code++, w, "LD0/XCBR1.Pos", string(static_cast<size_t>(w), 'v')});
    return s;
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
