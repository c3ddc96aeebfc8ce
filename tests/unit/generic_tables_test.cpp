// Generic tables 10001-10006 on hostile frames (their golden cases are in
// tests/data/generic_tables.json).
#include <gtest/gtest.h>

#include <string>

#include "support.h"

namespace pava::test {
namespace {

using std::string;

// Counts of 9999 over bodies of spaces, digits, NULs and maximal lengths.
TEST(GenericTables, HostileCountsStayInsideTheBody) {
    for (const char fill : {' ', '9', '\0', '1'}) {
        string body(MAX_PAVA_MSG_LEN, fill);
        for (const char* id : {"1  10001", "1  10002", "1  10003", "1  10004", "1  10006"}) {
            for (const string& head : {string("ABCDEFGHIJKLMNO2  77   2    "), string("ABCDEFGHIJKLMNO1  77   3    "),
                                       string(15, 'x') + "2    "}) {
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
