#include <gtest/gtest.h>

#include <cstring>
#include <span>
#include <string>

#include "layout.h"
#include "record_image.h"
#include "support.h"

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
    std::string imageA, imageB;
    fuzz::detail::appendMembers(imageA, const_cast<PavaDataItem&>(a), MemberOwner::Item);
    fuzz::detail::appendMembers(imageB, const_cast<PavaDataItem&>(b), MemberOwner::Item);
    EXPECT_EQ(test::printable(imageA), test::printable(imageB)) << path;
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
