#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "layout.h"

namespace pava {
namespace {

using enum FieldKind;
using M = Member;

// What each field kind and flag writes and reads is pinned by the golden corpus
// through the message tables; these are the edges no table reaches.
TEST(Layout, RefusesFieldsPastTheWindowWithoutWriting) {
    PavaFullData rec;
    rec.intValue1 = 5;
    constexpr Field fields[] = {{0, 2, Decimal, M::intValue1}, {8190, 4, Decimal, M::intValue1}};
    std::string body(MAX_PAVA_MSG_LEN, '\0');
    EXPECT_FALSE(writeFields(fields, rec, body.data(), MAX_PAVA_MSG_LEN));
    EXPECT_EQ(body[0], '\0');
    EXPECT_FALSE(readFields(fields, body.data(), MAX_PAVA_MSG_LEN, rec));
    EXPECT_EQ(rec.intValue1, 5);
}

TEST(Layout, NeverTouchesMemoryOutsideAMember) {
    // Fields wider than their members: reads stop at the member's size,
    // writes into the member stop there too.
    PavaDataItem item;
    std::memset(item.itemBlock, 'b', sizeof item.itemBlock);  // no terminator at all
    constexpr Field fields[] = {{0, 20, Text, M::itemBlock}, {20, 30, Raw, M::itemBlock}};
    std::string body(50, '\x7f');
    ASSERT_TRUE(writeFields(fields, item, body.data(), 50));
    EXPECT_EQ(body, std::string(16, 'b') + std::string(4, '\0') + std::string(16, 'b') + std::string(14, '\0'));
    const std::string wide(50, 'w');
    ASSERT_TRUE(readFields(fields, wide.data(), 50, item));
    EXPECT_EQ(std::string(item.itemBlock, 16), std::string(16, 'w'));
}

}  // namespace
}  // namespace pava
