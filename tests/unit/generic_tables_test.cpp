// Generic tables 10001-10006 on hostile frames (their golden cases are in
// tests/data/generic_tables.json).
#include <gtest/gtest.h>

#include <string>

#include "analyzer.h"
#include "message.h"
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

// The 10005 decoder takes as many characters as the record's text holds on
// entry. Called directly, without the reset of the entry point, a text longer
// than the body behind position 20 must not make it read past the frame.
TEST(GenericTables, FreeTextDecodeStaysInsideTheBody) {
    const MessageDef* def = findMessage(10005);
    ASSERT_NE(def, nullptr);
    const PavaMsg frame = makeFrame("1  100050", "ABCDEFGHIJKLMNO42   " + string(MAX_PAVA_MSG_LEN - 20, 't'));
    for (const size_t held : {size_t{8172}, size_t{8173}, size_t{9000}}) {
        PavaFullData rec;
        rec.string4.assign(held, 'x');
        CPavaMsgAnalyze an(&rec);
        LogCapture capture;
        const int rc = def->decode(*def, &frame, &an);
        if (held <= 8172) {
            EXPECT_EQ(rc, 0);
            EXPECT_EQ(rec.string4, string(held, 't'));
        } else {
            EXPECT_NE(rc, 0) << held;
            EXPECT_EQ(rec.string4, string(held, 'x')) << held;
        }
    }
}

}  // namespace
}  // namespace pava::test
