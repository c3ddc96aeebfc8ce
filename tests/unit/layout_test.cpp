#include <gtest/gtest.h>

#include <string>

#include "layout.h"
#include "support.h"

namespace pava {
namespace {

using enum FieldKind;
using M = Member;

TEST(Layout, WritesEachKindAsTheFieldDemands) {
    PavaFullData rec;
    PAVA_SET_TEXT(rec.text12b, std::string("AB\0CD", 5));
    PAVA_SET_TEXT(rec.text12c, std::string("AB\0CD", 5));
    rec.intValue2 = 42;
    rec.string4 = "xyz";
    constexpr Field fields[] = {
        {0, 12, Raw, M::text12b},       {12, 12, Text, M::text12c}, {24, 3, Decimal, M::intValue2},
        {27, 2, Decimal, M::intValue2, kWriteZero}, {29, 5, Raw, M::string4},
        {34, 2, Text, M::string4},
    };
    std::string body(40, '\x7f');
    ASSERT_TRUE(writeFields(fields, rec, body.data(), 40));
    EXPECT_EQ(test::printable(body),
              test::printable(std::string("AB\0CD\0\0\0\0\0\0\0" "AB\0\0\0\0\0\0\0\0\0\0" "42 " "0 " "xyz\0\0" "xy", 36) +
                              std::string(4, '\x7f')));
}

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

TEST(Layout, ReadsBackIntoArraysStringsAndNumbers) {
    const std::string body = std::string("HELLO\0WORLD!", 12) + "7 " + std::string("ab\0cd", 5) + "65535   ";
    constexpr Field fields[] = {
        {0, 12, Raw, M::text12a}, {0, 12, Text, M::string1}, {0, 12, Raw, M::string2},
        {12, 2, Decimal, M::intValue3}, {14, 5, TextRaw, M::text12d}, {14, 5, Text, M::text12c},
        {19, 8, Decimal, M::fbInt1},
    };
    PavaFullData rec;
    PAVA_SET_TEXT(rec.text12c, "zzzzzzzzzzzz");
    ASSERT_TRUE(readFields(fields, body.data(), static_cast<int>(body.size()), rec));
    EXPECT_EQ(std::string(rec.text12a, 13), std::string("HELLO\0WORLD!\0", 13));
    EXPECT_EQ(rec.string1, "HELLO");
    EXPECT_EQ(rec.string2, std::string("HELLO\0WORLD!", 12));  // raw: exactly the field's width
    EXPECT_EQ(rec.intValue3, 7);
    EXPECT_EQ(std::string(rec.text12d, 5), std::string("ab\0cd", 5));
    // A bounded copy pads the field's width with NUL and leaves the rest of the member.
    EXPECT_EQ(std::string(rec.text12c, 13), std::string("ab\0\0\0zzzzzzz\0", 13));
    EXPECT_EQ(rec.fileBlock.fbInt1, 65535);
}

TEST(Layout, ClearMemberFlagEmptiesTheWholeArrayFirst) {
    PavaFullData rec;
    PAVA_SET_TEXT(rec.text64b, std::string(64, 'q'));
    constexpr Field fields[] = {{0, 3, Raw, M::text64b, kClearMember}};
    ASSERT_TRUE(readFields(fields, "abc", 3, rec));
    EXPECT_EQ(std::string(rec.text64b, 65), std::string("abc") + std::string(62, '\0'));
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

TEST(Layout, MembersResolveOnlyOnTheirOwner) {
    PavaFullData rec;
    PavaDataItem item;
    EXPECT_EQ(slotOf(rec, M::itemId).type, SlotType::None);
    EXPECT_EQ(slotOf(item, M::text12b).type, SlotType::None);
    EXPECT_EQ(slotOf(rec, M::fbCount).ptr, &rec.fileBlock.fbCount);
    EXPECT_EQ(slotOf(rec, M::text26).size, 27);
    EXPECT_STREQ(memberName(M::intValue16), "intValue16");
    EXPECT_STREQ(memberName(M::fieldText2), "fieldText2");
    EXPECT_EQ(memberOwner(M::setText30), MemberOwner::Setting);
}

}  // namespace
}  // namespace pava
