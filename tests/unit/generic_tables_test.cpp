// Generic tables called past the entry point (their golden cases are in
// tests/data/generic_tables.json; hostile frames are the fuzz harnesses' work).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "analyzer.h"
#include "message.h"
#include "support.h"

namespace pava::test {
namespace {

using std::string;

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
            // The log names how far the read would reach: 20 plus at most 8187 characters.
            EXPECT_NE(capture.text().find(std::to_string(20 + std::min<size_t>(held, 8187))), string::npos)
                << capture.text();
        }
    }
}

}  // namespace
}  // namespace pava::test
