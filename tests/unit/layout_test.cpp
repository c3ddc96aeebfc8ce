#include <gtest/gtest.h>

#include <cstring>
#include <span>
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

// Item tables of every kind and flag, members of every storage type and a
// field without member; the long one is too long to resolve at run time.
constexpr Field kMixedItem[] = {
    {0, 8, Decimal, M::itemId},           {8, 3, Text, M::itemText},
    {11, 15, Raw, M::itemBlock},          {26, 20, TextRaw, M::itemText2, kNulPadded},
    {46, 2, Decimal, M::itemInt2, kWriteZero}, {48, 4, Decimal, M::None},
    {52, 6, Raw, M::itemText},            {58, 4, Text, M::itemBlock, kClearMember},
};
constexpr Field kLongItem[] = {
    {0, 2, Decimal, M::itemId},  {2, 2, Decimal, M::itemInt},  {4, 2, Decimal, M::itemInt2},
    {6, 2, Decimal, M::itemInt3}, {8, 2, Text, M::itemText},   {10, 2, Text, M::itemText2},
    {12, 2, Raw, M::itemBlock},  {14, 2, Decimal, M::itemId},  {16, 2, Raw, M::itemText},
};
// Single characters: a letter, then a NUL that must leave the text empty.
constexpr Field kCharItem[] = {{0, 1, Text, M::itemText}, {1, 1, Text, M::itemText2}};

void expectSameItem(const PavaDataItem& a, const PavaDataItem& b, const char* path) {
    EXPECT_EQ(a.itemId, b.itemId) << path;
    EXPECT_EQ(a.itemInt, b.itemInt) << path;
    EXPECT_EQ(a.itemInt2, b.itemInt2) << path;
    EXPECT_EQ(a.itemInt3, b.itemInt3) << path;
    EXPECT_EQ(a.itemText, b.itemText) << path;
    EXPECT_EQ(a.itemText2, b.itemText2) << path;
    EXPECT_EQ(std::string(a.itemBlock, 16), std::string(b.itemBlock, 16)) << path;
}

// A list's item table resolved once at run time, and unrolled at compile
// time, runs exactly as the field-by-field path: the same bytes out, the same
// item back, and a window too small refused.
template <const auto& Table>
void checkItemTable() {
    const std::span<const Field> fields(Table);
    PavaDataItem item;
    item.itemId = -1234567;
    item.itemInt = 5;
    item.itemInt2 = 77;
    item.itemInt3 = 123;
    item.itemText = std::string("ab\0c", 4);
    item.itemText2 = "a longer second text";
    std::memcpy(item.itemBlock, "BLOCK\0OF-15-CH", 15);
    const ItemFields<PavaDataItem> resolved(fields);
    for (const int room : {70, 61, 0}) {
        std::string generic(70, '\x7f');
        std::string once(70, '\x7f');
        EXPECT_EQ(resolved.write(item, once.data(), room), writeFields(fields, item, generic.data(), room));
        EXPECT_EQ(test::printable(once), test::printable(generic)) << room;
        PavaDataItem readGeneric;
        PavaDataItem readOnce;
        EXPECT_EQ(resolved.read(generic.data(), room, readOnce), readFields(fields, generic.data(), room, readGeneric));
        expectSameItem(readOnce, readGeneric, "resolved");
    }
    std::string generic(70, '\x7f');
    std::string unrolled(70, '\x7f');
    writeFields(fields, item, generic.data(), 70);
    writeUnrolled<Table>(item, unrolled.data());
    EXPECT_EQ(test::printable(unrolled), test::printable(generic));
    // Read back over members that hold something, as a reused item may not.
    PavaDataItem readGeneric = item;
    PavaDataItem readUnrolledItem = item;
    readFields(fields, generic.data(), 70, readGeneric);
    readUnrolled<Table>(generic.data(), readUnrolledItem);
    expectSameItem(readUnrolledItem, readGeneric, "unrolled");
}

TEST(ItemFieldsTable, WritesAndReadsAsTheFieldByFieldPath) {
    checkItemTable<kMixedItem>();
    checkItemTable<kLongItem>();
    checkItemTable<kCharItem>();
    PavaDataItem item;
    item.itemText = "left over";
    item.itemText2 = "left over";
    readUnrolled<kCharItem>(std::string("x\0", 2).data(), item);
    EXPECT_EQ(item.itemText, "x");
    EXPECT_EQ(item.itemText2, "");
}

}  // namespace
}  // namespace pava
